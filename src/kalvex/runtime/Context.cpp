#include "kalvex/runtime/Context.h"

#include <cstdlib>
#include <mutex>
#include <sstream>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/runtime/ContextSetup.h"
#include "kalvex/runtime/System.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

namespace {

// The parameter rows. They live as long as the process; rows are kept by address, so that a
// pointer from paramDesc stays valid when the table grows.
struct ParamTable {
    std::mutex mutex;
    std::vector<NodePartDesc*>* rows = nullptr;
};

ParamTable& paramTable() {
    static ParamTable* instance = new ParamTable;
    return *instance;
}

// A parameter's value as its field holds it, for the typed readers.
struct ParamValue {
    NodePartDataType type = NoDataType;
    const Field* field = nullptr;
    std::string text;

    long integer() const { return std::strtol(text.c_str(), nullptr, 10); }
    double real() const { return std::strtod(text.c_str(), nullptr); }
};

bool readParam(Context& context, unsigned int id, ParamValue& out) {
    const Field* field = context.paramField(id);
    if (!field) {
        KFATAL("No valid context ID ( %p.%d )\n", static_cast<const void*>(&context), int(id));
        return false;
    }
    out.type = field->dataType();
    out.field = field;
    if (out.type == SFStringType)
        out.text = static_cast<const SFString*>(field)->getValue();
    else if (out.type != SFBoolType && out.type != SFInt32Type && out.type != SFFloatType)
        out.text = field->strValue();
    return true;
}

std::string streamText(double value) {
    std::ostringstream out;
    out << float(value);
    return out.str();
}

}  // namespace

Subject* Context::_loadContextSubject = nullptr;
Subject* Context::_syncSetupSubject = nullptr;

Context::Context()
    : _externRefCount(0),
      _state(Creation),
      _runFrameSubject(nullptr),
      _sourceUrlChangedSubject(nullptr),
      _logMessageSubject(nullptr),
      _setup(nullptr),
      _timeStamp(0.0),
      _frameRate(0.0),
      _frameTimes{0.0, 0.0, 0.0},
      _frameValue(0.0f),
      _queueClears(0) {}

Context::~Context() {
    // Only a context deleted past the release protocol still has roots here.
    if (!_rootBag.empty()) KWARNING("RootBag is not empty in Context destructor\n");
    while (!_rootBag.empty()) dropRoot(_rootBag.begin());
    // Pending loads go before the subjects: their contexts die here.
    _commandQueue.clear();
    delete _runFrameSubject;
    delete _sourceUrlChangedSubject;
    delete _logMessageSubject;
}

void Context::shutdown() const {
    Context& self = const_cast<Context&>(*this);
    for (auto& entry : self._rootBag)
        if (entry.second && entry.second->getState() == Live)
            entry.second->setTreeState(0.0, Realize);
    while (!self._rootBag.empty()) self.dropRoot(self._rootBag.begin());
}

void Context::setFrameState(const TimeStamp& time, const Time& a, const Time& b, const Time& c,
                            const float& d) {
    _timeStamp = time;
    _frameTimes[0] = a;
    _frameTimes[1] = b;
    _frameTimes[2] = c;
    _frameValue = d;
}

// --- creation ----------------------------------------------------------------------------------

Context* Context::loadContext(const std::string& dataType, const std::string& urlOrData) {
    if (!_loadContextSubject || !_loadContextSubject->hasObserverList() ||
        _loadContextSubject->countObserver() == 0) {
        KFATAL("No _loadContextSubject Observer, cannot load %s\n", urlOrData.c_str());
        return nullptr;
    }
    BaseTypeObject<std::string> source(urlOrData);
    BaseTypeObject<std::string> type(dataType);
    BaseTypeObject<Context*> answer(nullptr);
    KNOTICE("Try to load Context by Observer: >%s<\n", urlOrData.c_str());
    notifySubject(_loadContextSubject, 0.0, &source, dataType.empty() ? nullptr : &type, &answer);
    if (!answer._value) KINFO("Could not load Context: >%s<\n", urlOrData.c_str());
    return answer._value;
}

void Context::createSetup() {
    if (_setup) {
        KWARNING("Have valid context setup; do not create a second one\n");
        return;
    }
    // Made with this context as parent, the node comes in through addRoot, which sets _setup.
    ContextSetup::_type.createNode(this, nullptr, CreatorSystem);
    if (!_setup) {
        KFATAL("Could not autocreate ContextSetup on access\n");
        std::exit(EXIT_FAILURE);
    }
    KINFO("Autocreate ContextSetup on access\n");
}

// --- loads and commands ------------------------------------------------------------------------

namespace {

// The pieces of a line: the whole line without a separator.
std::vector<std::string> linePieces(const std::string& line, const std::string& separator) {
    std::vector<std::string> pieces;
    if (separator.empty())
        pieces.push_back(line);
    else
        stringTokenizer(line, pieces, separator);
    return pieces;
}

}  // namespace

bool Context::queueLoad(std::vector<SmartPtr<Context>>& contexts, LoadType type) {
    if (contexts.empty()) return false;
    _commandQueue.push_back(
        Command{type == LoadAdd ? CommandAdd : CommandReplace, std::move(contexts)});
    return true;
}

bool Context::load(Context& other, LoadType type) {
    std::vector<SmartPtr<Context>> contexts{SmartPtr<Context>(&other)};
    return queueLoad(contexts, type);
}

bool Context::load(const std::string& url, LoadType type, std::string separator) {
    std::vector<SmartPtr<Context>> contexts;
    for (const std::string& piece : linePieces(url, separator))
        if (Context* context = create(piece)) contexts.emplace_back(context);
    if (!queueLoad(contexts, type)) {
        KWARNING("Could not loadURL %s\n", url.c_str());
        return false;
    }
    return true;
}

bool Context::load(const std::string& dataType, const std::string& data, LoadType type,
                   std::string separator) {
    std::vector<SmartPtr<Context>> contexts;
    for (const std::string& piece : linePieces(data, separator))
        if (Context* context = create(dataType, piece)) contexts.emplace_back(context);
    if (!queueLoad(contexts, type)) {
        KWARNING("Could not loadData %s\n", data.c_str());
        return false;
    }
    return true;
}

bool Context::reload() {
    if (_sourceUrl.empty()) {
        KWARNING("Cannot reload Context; empty source\n");
        return false;
    }
    sendLogMessage(_timeStamp, "Reload context", osg::LOG_LOG);
    std::string line;
    line.swap(_sourceUrl);
    if (_setup && !paramBValue(ContextSetupProc::_cacheClearOnReloadID)) {
        KLOG("Skip  Image/Proto cache clear on reload\n");
    } else {
        KLOG("Clear Image/Proto cache\n");
        // The image download cache and the proto libraries are cleared here once they exist.
    }
    return load(line, LoadReplace, " ");
}

void Context::runCommand(const Command& command) {
    if (command.type < CommandReplace || command.type > CommandNone) {
        KFATAL("Invalid Context::Command type: %d\n", int(command.type));
        return;
    }
    if (command.type == CommandNone) return;
    notifyBrowserListeners(BrowserListener::ActionLoadBegin);
    if (command.type == CommandReplace) {
        // Exactly the types that come in go; the setup node is never replaced this way.
        for (const SmartPtr<Context>& context : command.contexts) {
            if (!context) continue;
            std::vector<Node*> roots;
            context->getRootVec(roots);
            for (Node* root : roots)
                if (!ContextSetup::isType(root)) removeRoot(root->getType());
        }
        _sourceUrl.clear();
    }
    for (const SmartPtr<Context>& context : command.contexts)
        if (context) mergeRoot(*context, nullptr);
    setRootState(_timeStamp, Live);
    notifyBrowserListeners(BrowserListener::ActionLoadEnd);
}

void Context::dispatchCommandQueue() {
    // Nothing below may end the context through the count.
    addExternRef();
    // Each command moves to a list of its own while it runs, so that a listener may queue more
    // (run in this pass) or exit (which drops what was walked) without breaking the walk.
    std::list<Command> walked;
    uint32_t clears = _queueClears;
    while (!_commandQueue.empty()) {
        walked.splice(walked.end(), _commandQueue, _commandQueue.begin());
        runCommand(walked.back());
        if (clears != _queueClears) {
            clears = _queueClears;
            walked.clear();
        }
    }
    _commandQueue.splice(_commandQueue.begin(), walked);
    subExternRef();
}

// --- life --------------------------------------------------------------------------------------

double Context::runFrame() {
    if (_state == Dispose) {
        KFATAL("Context State is DISPOSED in runFrame\n");
        return -1.0;
    }
    if (!_commandQueue.empty()) {
        dispatchCommandQueue();
        std::list<Command> done;
        done.swap(_commandQueue);
    }
    // Live on every frame, also after an exit during the dispatch.
    _state = Live;
    notifySubject(runFrameSubject(), _timeStamp, this);
    return _frameRate != 0.0 ? 1.0 / _frameRate : 0.0;
}

void Context::exit() {
    std::list<Command> dropped;
    dropped.swap(_commandQueue);
    ++_queueClears;
    _state = Dispose;
}

void Context::subExternRef() {
    --_externRefCount;
    if (_externRefCount == 0 && System::the().hasFlag(System::SysAutoExitContext)) {
        KLOG("Auto exit Context on extern RefCount\n");
        exit();
    }
}

// --- roots -------------------------------------------------------------------------------------

void Context::dropRoot(std::map<NodeType*, SmartPtr<Node>>::iterator entry) {
    if (_setup && entry->second.get() == static_cast<Node*>(_setup)) _setup = nullptr;
    SmartPtr<NodeNameSpace> scope(entry->second ? entry->second->getNameSpace() : nullptr);
    entry->second = nullptr;
    if (scope) scope->setContext(nullptr);
    scope = nullptr;
    _rootBag.erase(entry);
}

bool Context::addRoot(Node& node) {
    NodeType& type = node.getType();
    if (!type.contextRoot()) return false;
    NodeNameSpace* scope = node.getNameSpace();
    if (scope && scope->context() == this) return true;
    auto existing = _rootBag.find(&type);
    if (existing != _rootBag.end()) dropRoot(existing);
    Context* former = scope ? scope->ownContext() : nullptr;
    if (scope) scope->setContext(this);
    _rootBag[&type] = &node;
    if (former && former != this) {
        if (former->_setup && static_cast<Node*>(former->_setup) == &node) former->_setup = nullptr;
        former->_rootBag.erase(&type);
    }
    if (ContextSetup* setup = dynamic_cast<ContextSetup*>(&node)) _setup = setup;
    return true;
}

bool Context::removeRoot(NodeType& type) {
    auto entry = _rootBag.find(&type);
    if (entry == _rootBag.end()) {
        KWARNING("Could not find node in Context::removeRoot\n");
        return false;
    }
    dropRoot(entry);
    return true;
}

Node* Context::findRoot(const NodeType& type) const {
    auto entry = _rootBag.find(const_cast<NodeType*>(&type));
    return entry == _rootBag.end() ? nullptr : entry->second.get();
}

unsigned int Context::getRootVec(std::vector<Node*>& out) const {
    unsigned int walked = 0;
    for (const auto& entry : _rootBag) {
        ++walked;
        if (!entry.second) {
            KFATAL("Invalid root node in context\n");
            continue;
        }
        out.push_back(entry.second.get());
    }
    return walked;
}

bool Context::mergeRoot(Context& source, NodeType* glueType) {
    if (&source == this) return true;
    // The walk takes roots away from source, so it runs over a copy.
    std::vector<Node*> raw;
    source.getRootVec(raw);
    const std::vector<SmartPtr<Node>> roots(raw.begin(), raw.end());
    for (const SmartPtr<Node>& root : roots) {
        NodeType& type = root->getType();
        SmartPtr<Node> present(findRoot(type));
        if (!present) {
            addRoot(*root);
            continue;
        }
        KNOTICE("Merge context root %s, glue type: %s\n", type.getCName(),
                glueType ? glueType->getCName() : "None");
        source.removeRoot(type);
        if (present->getProc()) present->getProc()->mergeNode(*root, glueType);
    }
    if (_sourceUrl.empty())
        _sourceUrl = source._sourceUrl;
    else
        _sourceUrl += " " + source._sourceUrl;
    notifySubject(_sourceUrlChangedSubject, _timeStamp, this);
    return true;
}

bool Context::setRootState(const TimeStamp& time, NodeState state) {
    // The scene root is started by whoever displays it, not here.
    NodeType* scene = NodeType::findContextRootType("Scene");
    bool result = true;
    for (auto& entry : _rootBag) {
        Node* root = entry.second.get();
        if (!root) {
            KFATAL("Invalid root node in Context::setRootState()\n");
            continue;
        }
        if (state != Live) {
            if (root->getState() != state && !root->setTreeState(time, state)) result = false;
        } else if (root->getState() != Live && !(scene && root->getType().isA(*scene))) {
            if (!root->setTreeState(time, Live)) result = false;
        }
    }
    return result;
}

void Context::dump() const {
    KLOG("--- Context Dump ---\n");
    for (const auto& entry : _rootBag) {
        if (!entry.second) continue;
        KLOG("RootNode: %s/%s/%s\n", entry.second->typeName(), entry.second->getName().c_str(),
             entry.second->stateName());
    }
    KLOG("--- Context Dump ---\n");
}

// --- source line -------------------------------------------------------------------------------

void Context::setSourceUrl(const std::string& url) {
    _sourceUrl = url;
    notifySubject(_sourceUrlChangedSubject, _timeStamp, this);
}

void Context::addSourceUrl(const std::string& url) {
    if (!_sourceUrl.empty()) _sourceUrl += ' ';
    _sourceUrl += url;
    notifySubject(_sourceUrlChangedSubject, _timeStamp, this);
}

// --- subjects and messages ---------------------------------------------------------------------

Subject* Context::runFrameSubject() {
    if (!_runFrameSubject) _runFrameSubject = new Subject("runFrame");
    return _runFrameSubject;
}

Subject* Context::logMessageSubject() {
    if (!_logMessageSubject) _logMessageSubject = new Subject("logMessage");
    return _logMessageSubject;
}

Subject* Context::sourceUrlChangedSubject() {
    if (!_sourceUrlChangedSubject) _sourceUrlChangedSubject = new Subject("sourceUrlChanged");
    return _sourceUrlChangedSubject;
}

Subject* Context::loadContextSubject() {
    if (!_loadContextSubject) _loadContextSubject = new Subject("loadContext");
    return _loadContextSubject;
}

Subject* Context::syncSetupSubject() {
    if (!_syncSetupSubject) _syncSetupSubject = new Subject("syncSetup");
    return _syncSetupSubject;
}

void Context::sendLogMessage(const TimeStamp& time, const std::string& message,
                             osg::LogLevel level) {
    BaseTypeObject<std::string> text(message);
    BaseTypeObject<int> levelObject{int(level)};
    notifySubject(_logMessageSubject, time, this, &text, &levelObject);
}

// --- description, listeners, services ----------------------------------------------------------

void Context::setDescription(const std::string& description) {
    static const char* const blanks = " \t\r\n";
    const size_t last = description.find_last_not_of(blanks);
    _description = last == std::string::npos ? std::string() : description.substr(0, last + 1);
    _description.erase(0, _description.find_first_not_of(blanks));
    // A listener may remove itself, or another one, while it is told.
    const std::set<DescriptionListener*> listeners = _descriptionListeners;
    for (DescriptionListener* listener : listeners)
        if (_descriptionListeners.count(listener)) listener->descriptionChanged(_description);
}

void Context::addDescriptionListener(DescriptionListener* listener) {
    if (listener) _descriptionListeners.insert(listener);
}

void Context::removeDescriptionListener(DescriptionListener* listener) {
    _descriptionListeners.erase(listener);
}

void Context::addBrowserListener(BrowserListener* listener) {
    if (listener) _browserListeners.insert(listener);
}

void Context::removeBrowserListener(BrowserListener* listener) {
    _browserListeners.erase(listener);
}

void Context::notifyBrowserListeners(BrowserListener::Action action) {
    const std::set<BrowserListener*> listeners = _browserListeners;
    for (BrowserListener* listener : listeners)
        if (_browserListeners.count(listener)) listener->browserAction(action);
}

void Context::addService(const std::string& name, const std::string& value) {
    _services[name] = value;
}

void Context::removeService(const std::string& name) {
    _services.erase(name);
}

// --- parameters --------------------------------------------------------------------------------

unsigned int Context::createTypedParamID(NodePartDataType type, const std::string& name,
                                         const std::string& group, const std::string& defaultValue,
                                         const std::string& description, const char* valueType) {
    ParamTable& table = paramTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    if (!table.rows) {
        table.rows = new std::vector<NodePartDesc*>;
        table.rows->reserve(32);
    }
    const unsigned int id = unsigned(table.rows->size());
    std::string value = defaultValue;
    const std::string variable = "KCP_" + name;
    if (const char* overridden = std::getenv(variable.c_str())) {
        value = overridden;
        KNOTICE("Overwrite context default value: %s/%s\n", variable.c_str(), overridden);
    }
    table.rows->push_back(new NodePartDesc(
        id, partMaskOf(id), PartExposedField, type, NodePartDesc::OptAutoProcess, name.c_str(),
        group.c_str(), value.c_str(), valueType, description.c_str(), 0));
    return id;
}

unsigned int Context::createParamID(const std::string& name, const std::string& description,
                                    const std::string& group, bool value) {
    return createTypedParamID(SFBoolType, name, group, value ? "TRUE" : "FALSE", description,
                              nullptr);
}

unsigned int Context::createParamID(const std::string& name, const std::string& description,
                                    const std::string& group, int value) {
    return createTypedParamID(SFInt32Type, name, group, std::to_string(value), description,
                              nullptr);
}

unsigned int Context::createParamID(const std::string& name, const std::string& description,
                                    const std::string& group, float value) {
    return createTypedParamID(SFFloatType, name, group, streamText(value), description, nullptr);
}

unsigned int Context::createParamID(const std::string& name, const std::string& description,
                                    const std::string& group, const char* value,
                                    const char* valueType) {
    return createTypedParamID(SFStringType, name, group, value ? value : "", description,
                              valueType);
}

unsigned int Context::createParamID(const std::string& name, const std::string& description,
                                    const std::string& group, const std::string& value,
                                    const char* valueType) {
    return createTypedParamID(SFStringType, name, group, value, description, valueType);
}

NodePartDesc* Context::paramDesc(unsigned int id) {
    ParamTable& table = paramTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    if (!table.rows || id >= table.rows->size()) return nullptr;
    return (*table.rows)[id];
}

unsigned int Context::paramCount() {
    ParamTable& table = paramTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    return table.rows ? unsigned(table.rows->size()) : 0;
}

Field* Context::paramField(unsigned int id) {
    if (!_setup) createSetup();
    const unsigned int rows = paramCount();
    ContextSetupProc* proc = _setup->getContextSetupProc();
    if (proc && id < rows && _setup->partDescCount() - 2 < rows) proc->updateParamFieldMaps();
    if (Field* field = _setup->getField(id + 2)) return field;
    KFATAL("Could not return ContextSetup field %d/%d\n", int(id), int(rows));
    return nullptr;
}

Field* Context::paramField(const std::string& name) {
    if (!_setup) createSetup();
    return _setup->findField(name, Node::SearchAllNames);
}

bool Context::paramBValue(unsigned int id) {
    ParamValue value;
    if (!readParam(*this, id, value)) return false;
    switch (value.type) {
        case SFBoolType:
            return static_cast<const SFBool*>(value.field)->getValue();
        case SFInt32Type:
            return static_cast<const SFInt32*>(value.field)->getValue() != 0;
        case SFFloatType:
            return long(static_cast<const SFFloat*>(value.field)->getValue()) != 0;
        default:
            return value.integer() != 0;
    }
}

int Context::paramIValue(unsigned int id) {
    ParamValue value;
    if (!readParam(*this, id, value)) return 0;
    switch (value.type) {
        case SFBoolType:
            return static_cast<const SFBool*>(value.field)->getValue() ? 1 : 0;
        case SFInt32Type:
            return static_cast<const SFInt32*>(value.field)->getValue();
        case SFFloatType:
            return int(static_cast<const SFFloat*>(value.field)->getValue());
        case SFStringType: {
            const NodePartDesc* desc = value.field->getDesc();
            if (desc && desc->valueRestriction == RestrictionList) {
                const auto& list = desc->valueList;
                for (size_t i = 0; i < list.size(); ++i)
                    if (list[i] == value.text) return int(i);
                return 0;
            }
            return int(value.integer());
        }
        default:
            return int(value.integer());
    }
}

float Context::paramFValue(unsigned int id) {
    ParamValue value;
    if (!readParam(*this, id, value)) return 0.0f;
    switch (value.type) {
        case SFBoolType:
            return static_cast<const SFBool*>(value.field)->getValue() ? 1.0f : 0.0f;
        case SFInt32Type:
            return float(static_cast<const SFInt32*>(value.field)->getValue());
        case SFFloatType:
            return static_cast<const SFFloat*>(value.field)->getValue();
        case SFStringType:
            return float(value.real());
        default:
            // Other types read their text as an integer, not as a real number.
            return float(value.integer());
    }
}

std::string Context::paramSValue(unsigned int id) {
    ParamValue value;
    if (!readParam(*this, id, value)) return std::string();
    switch (value.type) {
        case SFBoolType:
            return static_cast<const SFBool*>(value.field)->getValue() ? "TRUE" : "FALSE";
        case SFInt32Type:
            return std::to_string(static_cast<const SFInt32*>(value.field)->getValue());
        case SFFloatType:
            return streamText(static_cast<const SFFloat*>(value.field)->getValue());
        default:
            return value.text;
    }
}

// --- command line ------------------------------------------------------------------------------

namespace {

void printUsage(const char* program) {
    KLOG("%s usage: \n", program);
    for (unsigned int id = 0;; ++id) {
        const NodePartDesc* row = Context::paramDesc(id);
        if (!row) break;
        KLOG("  --%s %s (%s)\n", row->name.c_str(), row->defaultValue.c_str(),
             row->_valueType.c_str());
        KLOG("    %s\n", row->description.c_str());
    }
}

// Sets one parameter from its text; false when no field came or the field refused the text.
bool setParam(ContextSetup& setup, const std::string& name, const char* value, bool verbose) {
    Field* field = setup.findField(name, Node::SearchAllNames);
    if (!field) return false;
    const bool valid = field->setAndValidateValueByStr(value, verbose);
    field->processValueChange(0.0, Field::CallerDefault);
    return valid;
}

}  // namespace

bool Context::createContextVec(int argc, char** argv, ContextSetup& setup,
                               std::vector<Context*>& contexts, bool verbose) {
    const char* program = argc > 0 && argv && argv[0] ? argv[0] : "";
    for (int i = 1; i < argc; ++i) {
        const char* word = argv[i];
        if (!word) continue;
        if (word[0] != '-') {
            Context* context = create(std::string(word));
            if (!context) {
                if (verbose) KFATAL("Could not load URL: %s\n", word);
                return false;
            }
            contexts.push_back(context);
            continue;
        }
        std::string rest(word);
        rest.erase(0, rest.find_first_not_of('-') == std::string::npos
                          ? rest.size()
                          : rest.find_first_not_of('-'));
        const size_t equals = rest.find('=');
        if (equals != std::string::npos && equals + 1 < rest.size()) {
            const std::string name = rest.substr(0, equals);
            const std::string value = rest.substr(equals + 1);
            // This form never stops the walk: a refused value is passed over.
            if (setParam(setup, name, value.c_str(), verbose))
                KINFO("Valid parameter set: %s/%s\n", name.c_str(), value.c_str());
            continue;
        }
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (!value || !setParam(setup, rest, value, verbose)) {
            if (verbose) {
                KFATAL("Invalid param/value: >%s/%s<\n", rest.c_str(), value ? value : "");
                printUsage(program);
            }
            return false;
        }
        KINFO("Valid parameter set: %s/%s\n", rest.c_str(), value);
        ++i;
    }
    return true;
}

}  // namespace Kalvex
