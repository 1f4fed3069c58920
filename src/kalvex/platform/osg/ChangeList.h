#pragma once
// The scene graph's per-thread change recording, without aspects: each thread has one change
// list, a list of changed objects that can be cleared, merged and swapped.

#include <string>
#include <vector>

namespace Kalvex::osg {

class ChangeList {
  public:
    void addChanged(const void* object) { _changed.push_back(object); }
    void clearAll() { _changed.clear(); }
    void merge(const ChangeList& other) {
        _changed.insert(_changed.end(), other._changed.begin(), other._changed.end());
    }
    void swap(ChangeList& other) { _changed.swap(other._changed); }
    size_t size() const { return _changed.size(); }
    bool empty() const { return _changed.empty(); }

    static void setReadWriteDefault(bool readWrite) { _readWriteDefault = readWrite; }
    static bool getReadWriteDefault() { return _readWriteDefault; }

  private:
    std::vector<const void*> _changed;
    static bool _readWriteDefault;
};

class PThreadBase {
  public:
    // The change list of the calling thread.
    static ChangeList* getCurrentChangeList();
    // One aspect only: every thread reads the same data.
    static unsigned int getAspect() { return 0; }
};

// A thread that the scene graph did not start, given its own change list on initialize.
class ExternalThread {
  public:
    static ExternalThread* get(const char* name);
    bool initialize(unsigned int aspect);
    void addRef() { ++_refCount; }
    void subRef();
    const std::string& getName() const { return _name; }

  private:
    explicit ExternalThread(const char* name) : _name(name ? name : ""), _refCount(0) {}
    std::string _name;
    int _refCount;
};

// Start and end of the scene graph; the version arguments say which version the caller was
// made for.
bool osgInit(int argc, char** argv, unsigned short major = 1, unsigned short minor = 8,
             unsigned short release = 1, bool loadPlugins = false, bool textureCompression = false,
             bool threadSafe = false);
bool osgExit();
bool osgIsInitialized();

}  // namespace Kalvex::osg
