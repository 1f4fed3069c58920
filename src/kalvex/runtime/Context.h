#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"
#include "kalvex/platform/osg/Log.h"

namespace Kalvex {

class ContextSetup;
class Field;
class Node;
class NodePartDesc;
class NodeType;

// One running scene. It owns no clock: the time stamp and the frame rate are written from
// outside, and the frame's work is done by the observers of its runFrame subject. It holds its
// root nodes, at most one of each type; a root owns its scope, and the context marks the scope
// as its own while the root is here.
//
// Nothing is parsed here. load() asks the observers of the process-wide "loadContext" subject,
// at once and on the caller's stack, to build a separate context from a URL or from data; only
// the contexts built go into a command, and the next runFrame moves their roots in.
//
// Writing a context out needs the writers, which do not exist yet: there is no write() here
// until they do.
class Context : public AttachmentBag {
  public:
    // What a queued command does with the roots of its contexts.
    enum CommandType : int32_t { CommandReplace = 1, CommandAdd = 2, CommandNone = 3 };
    enum LoadType : int32_t { LoadReplace = 0, LoadAdd = 1 };

    struct Command {
        int32_t type;
        std::vector<SmartPtr<Context>> contexts;
    };

    // Told around each command that changes the roots. Not owned by the context.
    class BrowserListener {
      public:
        enum Action : int32_t { ActionLoadEnd = 0, ActionLoadBegin = 1 };
        virtual ~BrowserListener() = default;
        virtual void browserAction(Action action) = 0;
    };

    // Told every new description, already trimmed. Not owned by the context.
    class DescriptionListener {
      public:
        virtual ~DescriptionListener() = default;
        virtual void descriptionChanged(const std::string& description) = 0;
    };

    Context();
    ~Context() override;
    // Lets the roots go: live roots fall back to Realize first.
    void shutdown() const override;

    // A new empty context; the host enters it in System.
    static Context* create() { return new Context; }
    static Context* create(const std::string& url) { return loadContext("", url); }
    static Context* create(const std::string& dataType, const std::string& data) {
        return loadContext(dataType, data);
    }
    // Asks the observers of "loadContext" for a new context. They get the URL or data, the
    // data type (null for a URL) and a BaseTypeObject<Context*> to store their answer in; all
    // are asked, the last answer wins. Null when nobody could read it.
    static Context* loadContext(const std::string& dataType, const std::string& urlOrData);
    // Makes the ContextSetup root, unless there is one. A setup that cannot be made ends the
    // process: parameters cannot work without it.
    void createSetup();
    ContextSetup* getSetup() const { return _setup; }

    const std::string& getName() const { return _name; }
    void setName(const std::string& name) { _name = name; }
    NodeState getState() const { return _state; }

    const TimeStamp& getTimeStamp() const { return _timeStamp; }
    void setTimeStamp(const TimeStamp& time) { _timeStamp = time; }
    double getFrameRate() const { return _frameRate; }
    void setFrameRate(double frameRate) { _frameRate = frameRate; }
    // What a context root node reports about its frame: the time stamp and four values that
    // the node's own code defines.
    void setFrameState(const TimeStamp& time, const Time& a, const Time& b, const Time& c,
                       const float& d);
    const Time* frameTimes() const { return _frameTimes; }
    float frameValue() const { return _frameValue; }

    // Loads: each queues one command at the end of the queue, or none. A line is cut at the
    // separator when one is given; a piece that cannot be read is skipped, and only a line of
    // which no piece could be read fails.
    bool load(Context& other, LoadType type = LoadReplace);
    bool load(const std::string& url, LoadType type = LoadReplace, std::string separator = "");
    bool load(const std::string& dataType, const std::string& data, LoadType type = LoadReplace,
              std::string separator = "");
    // Loads the source URL line again, each URL of it, replacing. The image download cache and
    // the proto libraries do not exist yet: reload writes its cache line and clears nothing.
    bool reload();
    // Applies the queued commands in order, oldest first; runFrame empties the queue after it.
    // A command queued by a listener meanwhile is applied in the same pass.
    void dispatchCommandQueue();
    const std::list<Command>& commandQueue() const { return _commandQueue; }

    // Runs one frame and returns the seconds the host should wait: 1/frameRate, 0 without a
    // frame rate, -1 for a disposed context.
    double runFrame();
    // Drops the pending commands and disposes the context; System lets it go on its next pass.
    void exit();
    // Outside users. With SysAutoExitContext the context exits when the last one leaves.
    void addExternRef() { ++_externRefCount; }
    void subExternRef();
    int32_t externRefCount() const { return _externRefCount; }

    // Roots, one for each node type. A root taken from another context leaves it, and a setup
    // node taken that way leaves that context without a setup.
    bool addRoot(Node& node);
    bool removeRoot(NodeType& type);
    Node* findRoot(const NodeType& type) const;
    unsigned int getRootVec(std::vector<Node*>& out) const;
    // Moves the roots of source here; a root of a type already here is merged into the present
    // one by its behaviour, under a new node of glueType if one is given. The source line is
    // appended to this one. Merging a context into itself changes nothing.
    bool mergeRoot(Context& source, NodeType* glueType);
    bool setRootState(const TimeStamp& time, NodeState state);
    void dump() const;

    // The source URL line: URLs separated by a single blank.
    void setSourceUrl(const std::string& url);
    void addSourceUrl(const std::string& url);
    std::string getSourceUrlLine() const { return _sourceUrl; }

    // Subjects. The per-context ones are made on first use and heard only once someone asked.
    Subject* runFrameSubject();
    Subject* logMessageSubject();
    Subject* sourceUrlChangedSubject();
    static Subject* loadContextSubject();
    static Subject* syncSetupSubject();
    // How messages reach a host's console, apart from the log: logMessage hears the context, a
    // BaseTypeObject<std::string> with the text and a BaseTypeObject<int> with the level.
    void sendLogMessage(const TimeStamp& time, const std::string& message, osg::LogLevel level);

    // The description is stored trimmed of blanks, tabs and line ends.
    void setDescription(const std::string& description);
    const std::string& getDescription() const { return _description; }
    void addDescriptionListener(DescriptionListener* listener);
    void removeDescriptionListener(DescriptionListener* listener);
    void addBrowserListener(BrowserListener* listener);
    void removeBrowserListener(BrowserListener* listener);
    void notifyBrowserListeners(BrowserListener::Action action);

    // Services by name.
    void addService(const std::string& name, const std::string& value);
    void removeService(const std::string& name);
    const std::map<std::string, std::string>& services() const { return _services; }

    // Parameters: rows of one process-wide table, declared at static initialisation; the id is
    // the row number. KCP_<name> in the environment replaces the declared default.
    static unsigned int createTypedParamID(NodePartDataType type, const std::string& name,
                                           const std::string& group,
                                           const std::string& defaultValue,
                                           const std::string& description, const char* valueType);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, bool value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, int value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, float value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, const char* value,
                                      const char* valueType);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, const std::string& value,
                                      const char* valueType);
    static NodePartDesc* paramDesc(unsigned int id);
    static unsigned int paramCount();

    // The field of a parameter on this context's setup node, which is made on first access; a
    // node made before a plug-in declared more parameters gets their fields here. Null with a
    // fatal message for an id past the table.
    Field* paramField(unsigned int id);
    // Any non-empty name gives a field: one that nobody has declared yet waits in the setup
    // node's store until somebody does.
    Field* paramField(const std::string& name);
    // The value of a parameter, converted from the type of its field; false, 0, 0.0 or empty
    // for an id past the table.
    bool paramBValue(unsigned int id);
    int paramIValue(unsigned int id);
    float paramFValue(unsigned int id);
    std::string paramSValue(unsigned int id);

    // The command line: words without a leading dash are URLs, each loaded into a new context
    // appended to contexts; "--name=value" and "--name value" set a parameter on setup (one, two
    // or more dashes alike). False when a URL cannot be loaded or the two-word form fails; with
    // verbose that failure prints the usage: every declared parameter with its default.
    static bool createContextVec(int argc, char** argv, ContextSetup& setup,
                                 std::vector<Context*>& contexts, bool verbose);

  protected:
    friend class ContextSetupProc;

    // Drops the root of that entry: its scope loses this context and, with the root's
    // reference, maybe its life.
    void dropRoot(std::map<NodeType*, SmartPtr<Node>>::iterator entry);
    void runCommand(const Command& command);
    bool queueLoad(std::vector<SmartPtr<Context>>& contexts, LoadType type);

    int32_t _externRefCount;
    NodeState _state;
    Subject* _runFrameSubject;
    Subject* _sourceUrlChangedSubject;
    Subject* _logMessageSubject;
    std::list<Command> _commandQueue;
    std::string _name;
    std::string _description;
    std::set<DescriptionListener*> _descriptionListeners;
    std::set<BrowserListener*> _browserListeners;
    ContextSetup* _setup;
    TimeStamp _timeStamp;
    double _frameRate;
    std::string _sourceUrl;
    std::map<std::string, std::string> _services;
    std::map<NodeType*, SmartPtr<Node>> _rootBag;
    Time _frameTimes[3];
    float _frameValue;
    // Counts the times exit emptied the queue, so that a dispatch that a listener's exit
    // interrupts drops what it walked.
    uint32_t _queueClears;

    static Subject* _loadContextSubject;
    static Subject* _syncSetupSubject;
};

}  // namespace Kalvex
