#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Context;

// The process-wide singleton a host starts first and stops last. It builds the type trees,
// fixes the log header and owns the context bag that runContextBag runs one frame at a time.
// The loop itself belongs to the host.
class System : public RefCountObject {
  public:
    // Bits of the third argument of init. What is not given is off; 0x1 and 0x400 are free for
    // hosts.
    enum Flags : int {
        SysColorLog = 0x002,
        SysAtExit = 0x004,
        SysSigInt = 0x008,
        SysInitOpenSG = 0x010,
        SysExitOpenSG = 0x020,
        SysExitWithoutContext = 0x040,
        SysKeepAllFields = 0x080,
        SysCLocale = 0x100,
        SysAutoExitContext = 0x200,
        SysLogHeaderExtra = 0x800
    };

    static System& the();

    ~System() override;
    void shutdown() const override;

    void init(int argc, char** argv, int flags);
    void exit();
    void initHandler();
    static void atExitHandler();
    static void sigIntHandler(int);

    bool addContext(Context& context);
    SmartPtr<Context> removeContext(Context& context);
    Context* findContext(const std::string& name);
    bool setRootState(const TimeStamp& time, NodeState state);
    static double runContextBag();

    void dump();
    int allocAspect() { return 0; }
    int releaseAspect(int) { return 0; }

    static Subject* initSystemSubject();
    static Subject* exitSystemSubject();
    static Subject* shutdownSystemSubject();

    bool isInitialized() const { return _initialized; }
    int32_t logHeader() const { return _logHeader; }
    int64_t flags() const { return _flags; }
    bool hasFlag(int flag) const { return (_flags & flag) != 0; }
    const std::string& name() const { return _name; }
    const std::string& versionLine() const { return _versionLine; }
    const std::list<SmartPtr<Context>>& contextBag() const { return _contextBag; }

    static const std::string _version;
    static const char* const _buildTag;
    static const char* const _buildDate;

  private:
    System();

    int32_t _logHeader;
    std::list<SmartPtr<Context>> _contextBag;
    bool _initialized;
    std::string _name;
    std::string _versionLine;
    int64_t _flags;

    static System* _the;
    static Subject* _initSystemSubject;
    static Subject* _exitSystemSubject;
    static Subject* _shutdownSystemSubject;
};

}  // namespace Kalvex
