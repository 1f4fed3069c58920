#include "kalvex/runtime/Context.h"

#include <cstdlib>
#include <mutex>
#include <sstream>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
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

// A parameter's value read from its text by the rules of the typed readers.
struct ParamValue {
    NodePartDataType type;
    const NodePartDesc* row;
    std::string text;

    long integer() const { return std::strtol(text.c_str(), nullptr, 10); }
    double real() const { return std::strtod(text.c_str(), nullptr); }
};

bool readParam(const Context& context, unsigned int id, ParamValue& out) {
    const NodePartDesc* row = Context::paramDesc(id);
    if (!row) {
        KFATAL("No valid context ID ( %p.%d )\n", static_cast<const void*>(&context), int(id));
        return false;
    }
    out.type = row->dataType;
    out.row = row;
    out.text = row->defaultValue;
    return true;
}

std::string streamText(double value) {
    std::ostringstream out;
    out << float(value);
    return out.str();
}

}  // namespace

Context::Context()
    : _state(Creation),
      _runFrameSubject(nullptr),
      _timeStamp(0.0),
      _frameRate(0.0),
      _frameTimes{0.0, 0.0, 0.0},
      _frameValue(0.0f) {}

Context::~Context() {
    // Only a context deleted past the release protocol still has roots here.
    if (!_rootBag.empty()) KWARNING("RootBag is not empty in Context destructor\n");
    while (!_rootBag.empty()) dropRoot(_rootBag.begin());
    delete _runFrameSubject;
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

Subject* Context::runFrameSubject() {
    if (!_runFrameSubject) _runFrameSubject = new Subject("runFrame");
    return _runFrameSubject;
}

double Context::runFrame() {
    if (_state == Dispose) {
        KFATAL("Context State is DISPOSED in runFrame\n");
        return -1.0;
    }
    _state = Live;
    notifySubject(runFrameSubject(), _timeStamp, this);
    return _frameRate != 0.0 ? 1.0 / _frameRate : 0.0;
}

void Context::exit() {
    _state = Dispose;
}

// --- roots -------------------------------------------------------------------------------------

void Context::dropRoot(std::map<NodeType*, SmartPtr<Node>>::iterator entry) {
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
    if (former && former != this) former->_rootBag.erase(&type);
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

bool Context::paramBValue(unsigned int id) const {
    ParamValue value;
    if (!readParam(*this, id, value)) return false;
    switch (value.type) {
        case SFBoolType:
            return value.text == "TRUE";
        case SFFloatType:
            return long(value.real()) != 0;
        default:
            return value.integer() != 0;
    }
}

int Context::paramIValue(unsigned int id) const {
    ParamValue value;
    if (!readParam(*this, id, value)) return 0;
    switch (value.type) {
        case SFBoolType:
            return value.text == "TRUE" ? 1 : 0;
        case SFFloatType:
            return int(value.real());
        case SFStringType:
            if (value.row->valueRestriction == RestrictionList) {
                const auto& list = value.row->valueList;
                for (size_t i = 0; i < list.size(); ++i)
                    if (list[i] == value.text) return int(i);
                return 0;
            }
            return int(value.integer());
        default:
            return int(value.integer());
    }
}

float Context::paramFValue(unsigned int id) const {
    ParamValue value;
    if (!readParam(*this, id, value)) return 0.0f;
    switch (value.type) {
        case SFBoolType:
            return value.text == "TRUE" ? 1.0f : 0.0f;
        case SFFloatType:
        case SFStringType:
            return float(value.real());
        default:
            return float(value.integer());
    }
}

std::string Context::paramSValue(unsigned int id) const {
    ParamValue value;
    if (!readParam(*this, id, value)) return std::string();
    switch (value.type) {
        case SFBoolType:
            return value.text == "TRUE" ? "TRUE" : "FALSE";
        case SFInt32Type:
            return std::to_string(value.integer());
        case SFFloatType:
            return streamText(value.real());
        default:
            return value.text;
    }
}

}  // namespace Kalvex
