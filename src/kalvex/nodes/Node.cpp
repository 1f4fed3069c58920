#include "kalvex/nodes/Node.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <map>
#include <mutex>

#include "kalvex/events/EventSlot.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/SpinLock.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/object/Subject.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "kalvex/traversal/NameSpaceTransferAction.h"

namespace Kalvex {

const char* const Node::_stateName[5] = {"Creation", "Setup", "Realize", "Live", "Dispose"};
const char* const Node::_creatorName[9] = {"Unknown", "System",  "Runtime", "Invalid", "Loader",
                                           "Invalid", "Invalid", "Invalid", "Dynamic"};
bool Node::_regID = true;
const NodePartMask Node::logFeatureMask(1);
const NodePartMask Node::metadataMask(2);
const int Node::_rootNameSpaceKey = AttachmentBag::createUniqueID();

NodePartDesc Node::_desc[2] = {
    NodePartDesc(0, NodePartMask(1), PartExposedField, MFStringType, NodePartDesc::OptAutoProcess,
                 "logFeature", nullptr, nullptr, "state,child,parent,route,eventIn,eventOut",
                 "controls the logging of changes, state: log state changes (e.g. live), child: "
                 "log child add/remove, parent: log parent add/remove, route: log route "
                 "add/remove; eventIn: log receiving of events, eventOut: log sending of events"),
    NodePartDesc(1, NodePartMask(2), PartExposedField, SFNodeType, NodePartDesc::OptAutoProcess,
                 "metadata", nullptr, nullptr, "MetadataObject",
                 "container for payload metadata inside MetadataSet element")};

NodeType Node::_type(theBaseNodeTypeFactory(), "Node", "Base", nullptr, nullptr, "1.0", "Core",
                     "Base Node Class", "stable",
                     "The root of the type tree: every node has its logFeature and metadata "
                     "parts",
                     "Kalvex", false, false, &Node::isNodeType, &Node::createNode,
                     &Node::createProc, Node::_desc, 2);

namespace {

// The live nodes by address: an open-addressing set, so that making and destroying a node
// allocates nothing here. Walks in id order sort a copy.
class NodeIdSet {
  public:
    size_t size() const { return _size; }

    void insert(Node* node) {
        if ((_size + _deleted + 1) * 2 > _slots.size()) rehash(_size * 4 > 16 ? _size * 4 : 16);
        size_t i = find(node, true);
        if (_slots[i] == node) return;
        if (_slots[i] == tombstone()) --_deleted;
        _slots[i] = node;
        ++_size;
    }

    void erase(Node* node) {
        if (_slots.empty()) return;
        size_t i = find(node, false);
        if (_slots[i] != node) return;
        _slots[i] = tombstone();
        --_size;
        ++_deleted;
    }

    Node* lookUp(uint64_t id) const {
        if (_slots.empty()) return nullptr;
        Node* key = reinterpret_cast<Node*>(id);
        if (key == nullptr || key == tombstone()) return nullptr;
        size_t i = find(key, false);
        return _slots[i] == key ? key : nullptr;
    }

    std::vector<Node*> sorted() const {
        std::vector<Node*> out;
        out.reserve(_size);
        for (Node* node : _slots)
            if (node && node != tombstone()) out.push_back(node);
        std::sort(out.begin(), out.end(), [](Node* a, Node* b) { return a->ID() < b->ID(); });
        return out;
    }

  private:
    static Node* tombstone() { return reinterpret_cast<Node*>(uintptr_t(1)); }
    static size_t hash(const Node* node) {
        uint64_t x = reinterpret_cast<uintptr_t>(node) >> 4;
        x *= 0x9E3779B97F4A7C15ull;
        return size_t(x >> 17);
    }
    // The slot of node, or where it would go: the first tombstone on the way when inserting.
    size_t find(Node* node, bool forInsert) const {
        const size_t mask = _slots.size() - 1;
        size_t i = hash(node) & mask;
        size_t firstFree = SIZE_MAX;
        while (_slots[i]) {
            if (_slots[i] == node) return i;
            if (forInsert && _slots[i] == tombstone() && firstFree == SIZE_MAX) firstFree = i;
            i = (i + 1) & mask;
        }
        return firstFree != SIZE_MAX ? firstFree : i;
    }
    void rehash(size_t wanted) {
        size_t capacity = 16;
        while (capacity < wanted) capacity <<= 1;
        std::vector<Node*> old;
        old.swap(_slots);
        _slots.assign(capacity, nullptr);
        _size = 0;
        _deleted = 0;
        for (Node* node : old)
            if (node && node != tombstone()) insert(node);
    }

    std::vector<Node*> _slots;
    size_t _size = 0;
    size_t _deleted = 0;
};

// Live nodes by id, and the node subjects. The holder is never freed, so that nodes may die
// during static destruction; the id set is made on first use.
struct NodeStatics {
    SpinLock idMutex;
    NodeIdSet* idMap = nullptr;
    std::mutex subjectMutex;
};

NodeStatics& statics() {
    static NodeStatics* instance = new NodeStatics;
    return *instance;
}

enum SubjectIndex {
    NewObject,
    StateChanged,
    LogFeatureChanged,
    ChildAdded,
    ChildRemoved,
    NameSpaceChanged,
    CodeError,
    DeleteObject,
    SubjectCount
};

const char* const kSubjectNames[SubjectCount] = {"newNode",    "stateChanged", "logFeatureChanged",
                                                 "childAdded", "childRemoved", "nameSpaceChanged",
                                                 "codeError",  "deleteNode"};

// Senders ask for their subject on every node they touch: after the first call that is one load.
std::atomic<Subject*> nodeSubjects[SubjectCount] = {};

Subject* nodeSubject(SubjectIndex index) {
    Subject* subject = nodeSubjects[index].load(std::memory_order_acquire);
    if (subject) return subject;
    NodeStatics& s = statics();
    std::lock_guard<std::mutex> lock(s.subjectMutex);
    subject = nodeSubjects[index].load(std::memory_order_relaxed);
    if (!subject) {
        subject = new Subject(kSubjectNames[index]);
        nodeSubjects[index].store(subject, std::memory_order_release);
    }
    return subject;
}

const char* stateNameOf(int state) {
    return state >= Creation && state <= Dispose ? Node::_stateName[state] : "Invalid";
}

bool startsWithDigit(const std::string& text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
}

// The callbacks of the state machine, and the steps of each legal transition.
enum Callback { CbSetup, CbInitialize, CbAttach, CbDetach, CbShutdown, CbDispose };
struct Step {
    NodeState state;
    Callback callback;
};
struct Transition {
    NodeState from;
    NodeState to;
    Step steps[3];
    int count;
};
constexpr Transition kTransitions[] = {
    {Creation, Setup, {{Setup, CbSetup}}, 1},
    {Setup, Realize, {{Realize, CbInitialize}}, 1},
    {Realize, Live, {{Live, CbAttach}}, 1},
    {Live, Realize, {{Realize, CbDetach}}, 1},
    {Realize, Setup, {{Setup, CbShutdown}}, 1},
    {Live, Setup, {{Realize, CbDetach}, {Setup, CbShutdown}}, 2},
    {Setup, Live, {{Realize, CbInitialize}, {Live, CbAttach}}, 2},
    {Setup, Dispose, {{Dispose, CbDispose}}, 1},
    {Realize, Dispose, {{Setup, CbShutdown}, {Dispose, CbDispose}}, 2},
    {Live, Dispose, {{Realize, CbDetach}, {Setup, CbShutdown}, {Dispose, CbDispose}}, 3}};

const Transition* findTransition(NodeState from, NodeState to) {
    for (const Transition& t : kTransitions)
        if (t.from == from && t.to == to) return &t;
    return nullptr;
}

void runCallback(NodeProc& proc, Callback callback, const TimeStamp& time) {
    switch (callback) {
        case CbSetup:
            proc.setup(time);
            break;
        case CbInitialize:
            proc.initialize(time);
            break;
        case CbAttach:
            proc.attach(time);
            break;
        case CbDetach:
            proc.detach(time);
            break;
        case CbShutdown:
            proc.shutdown(time);
            break;
        case CbDispose:
            proc.dispose(time);
            break;
    }
}

// The link fields of a node, by data type: no cast on the walk.
inline bool isFieldOf(const Field* field, NodePartDataType type) {
    return field && Node::linkKind(*field) == type;
}
inline bool isSFNode(const Field* field) {
    return isFieldOf(field, SFNodeType);
}
inline bool isMFNode(const Field* field) {
    return isFieldOf(field, MFNodeType);
}
inline NodeTypeLink* asTypeLink(Field* field) {
    if (isSFNode(field)) return static_cast<SFNode*>(field);
    if (isMFNode(field)) return static_cast<MFNode*>(field);
    return nullptr;
}

// The raw targets of a link field, held, so that callbacks may change the field meanwhile.
void heldTargets(Field* field, std::vector<SmartPtr<Node>>& out) {
    if (isSFNode(field)) {
        if (Node* target = static_cast<SFNode*>(field)->rawNode()) out.emplace_back(target);
    } else if (isMFNode(field)) {
        for (const NodeLink& link : static_cast<MFNode*>(field)->getValue())
            if (link.rawNode()) out.emplace_back(link.rawNode());
    }
}

}  // namespace

Subject* Node::newObjectSubject() {
    return nodeSubject(NewObject);
}
Subject* Node::stateChangedSubject() {
    return nodeSubject(StateChanged);
}
Subject* Node::logFeatureChangedSubject() {
    return nodeSubject(LogFeatureChanged);
}
Subject* Node::childAddedSubject() {
    return nodeSubject(ChildAdded);
}
Subject* Node::childRemovedSubject() {
    return nodeSubject(ChildRemoved);
}
Subject* Node::nameSpaceChangedSubject() {
    return nodeSubject(NameSpaceChanged);
}
Subject* Node::codeErrorSubject() {
    return nodeSubject(CodeError);
}
Subject* Node::deleteObjectSubject() {
    return nodeSubject(DeleteObject);
}

// --- construction ------------------------------------------------------------------------------

Node::Node(NodeType& type, NodeNameSpace& nameSpace, const char* name) : _nodeType(&type) {
    _fieldVec.assign(type.descCount(), nullptr);
    regField(_logFeature, type, 0, true);
    regField(_metadata, type, 1, true);
    type.changeObjCounter(1);
    if (_regID) {
        NodeStatics& s = statics();
        std::lock_guard<SpinLock> lock(s.idMutex);
        if (!s.idMap) s.idMap = new NodeIdSet;
        s.idMap->insert(this);
    }
    nameSpace.regNode(*this, type, name);
    _changedMask = NodePartMask(~0UL);
    if (&type == &_type) {
        _proc = new NodeProc(type, *this);
    } else {
        _proc = type.createProc(*this);
        // A type whose chain ends without a behaviour factory still gets the plain behaviour,
        // so that no node runs without one.
        if (!_proc) _proc = new NodeProc(type, *this);
    }
}

Node::Node(const Node& other) : AttachmentBag(other), _nodeType(other._nodeType) {
    KFATAL("Runing Node copy constructor for %s\n", other.getName().c_str());
    _nodeType->changeObjCounter(1);
}

Node::~Node() {
    while (!_nodeLinkBag.empty()) {
        NodeLink* link = _nodeLinkBag.front();
        if (!link) {
            KFATAL("Invalid Null entry in _nodeLinkBag\n");
            break;
        }
        KFATAL("Have still valid parent links in Node Destructor\n");
        // The link's reference is gone already: unlink it without releasing again.
        _nodeLinkBag.erase(_nodeLinkBag.begin());
        link->_node = nullptr;
    }
    // The base parts outlive this body; their routes go now, while the behaviour and the name
    // that route removal reports to are still here.
    for (Field* field : {static_cast<Field*>(&_logFeature), static_cast<Field*>(&_metadata)}) {
        if (EventInSlot* slot = field->inSlot()) slot->disconnectAll();
        if (EventOutSlot* slot = field->outSlot()) slot->disconnectAll();
    }
    unregField(0);
    unregField(1);
    const unsigned int protoRows = _nodeType->protoDescCount();
    for (unsigned int i = 0; i < protoRows && i < _fieldVec.size(); ++i) {
        Field*& slot = _fieldVec[_fieldVec.size() - 1 - i];
        delete slot;
        slot = nullptr;
    }
    delete _proc;
    _proc = nullptr;
    if (NodeNameSpace* nameSpace = _nameSpace) {
        nameSpace->unregNode(*this);
        if (nameSpace->getRoot() == this) nameSpace->setRoot(nullptr);
        if (_nodeType->contextRoot()) delAttachment(_rootNameSpaceKey);
    }
    delete _idStr;
    _idStr = nullptr;
    {
        NodeStatics& s = statics();
        std::lock_guard<SpinLock> lock(s.idMutex);
        if (s.idMap) s.idMap->erase(this);
    }
    // Instances of prototypes count on the instance type; that comes with prototype types.
    _nodeType->changeObjCounter(-1);
}

Node* Node::createNode(NodeType& type, NodeNameSpace& nameSpace, const char* name) {
    return new Node(type, nameSpace, name);
}

NodeProc* Node::createProc(NodeType& type, Node& node) {
    return new NodeProc(type, node);
}

void Node::shutdown() const {
    Node& self = const_cast<Node&>(*this);
    if (!self.setState(0.0, Dispose))
        KFATAL("%s/%s: Could not switch state to DISPOSED in shutdown()\n", typeName(),
               getName().c_str());
    else
        notifySubject(nodeSubjects[DeleteObject].load(std::memory_order_acquire), 0.0, &self);
    // Children lose this parent before the destructor runs: the link rows of the type, then
    // the node's own parts.
    auto unlink = [](Field* field) {
        if (isSFNode(field))
            static_cast<SFNode*>(field)->link().setNode(nullptr);
        else if (isMFNode(field))
            field->clear();
    };
    const unsigned int typeRows = _nodeType->descCount();
    for (unsigned int id : _nodeType->linkIDs())
        if (id < _fieldVec.size()) unlink(_fieldVec[id]);
    for (unsigned int id = typeRows; id < _fieldVec.size(); ++id) unlink(_fieldVec[id]);
}

void Node::fieldChanged(Field& field, const TimeStamp& time, Field* source) {
    // guardedFieldChanged written out: every routed event passes here.
    const bool guarded = !field.partMask().isZero();
    if (guarded && !enterFieldChange(field)) return;
    _proc->fieldChanged(*this, field, time, source);
    if (guarded) leaveFieldChange(field);
}

void Node::reportChangeLoop(const Field& field) const {
    const NodePartDesc* desc = field.getDesc();
    KINFO("Field %s/%s.%s is already changing; break loop\n", typeName(), getName().c_str(),
          desc ? desc->name.c_str() : "NoName");
}

void Node::guardedFieldChanged(Field& field, const TimeStamp& time, Field* source) {
    if (!enterFieldChange(field)) return;
    _proc->fieldChanged(*this, field, time, source);
    leaveFieldChange(field);
}

// --- identity ----------------------------------------------------------------------------------

const std::string& Node::getIDStr() const {
    if (!_idStr) updateIDStr();
    return *_idStr;
}

void Node::updateIDStr() const {
    if (!_idStr)
        _idStr = new std::string(std::to_string(ID()));
    else
        *_idStr = std::to_string(ID());
}

const char* Node::stateName() const {
    return stateNameOf(_state);
}

bool Node::isAutoNamed() const {
    return _name && _nameSpace && _nameSpace->isAutoNamed(*_name);
}

bool Node::rename(const std::string& name) {
    if (NodeNameSpace::findNode(_nameSpace, name)) {
        KWARNING("Can not rename() node to %s, name already give\n", name.c_str());
        return false;
    }
    NodeNameSpace* nameSpace = _nameSpace;
    if (!nameSpace) return false;
    nameSpace->unregNode(*this);
    nameSpace->regNode(*this, *_nodeType, name.c_str());
    return true;
}

bool Node::hasAbsolutAddress() const {
    return _name && _nameSpace && _nameSpace->hasAbsolutAddress();
}

bool Node::fillAbsolutAddress(std::string& out) const {
    out.clear();
    if (!hasAbsolutAddress() || !_nameSpace->fillAbsolutAddress(out)) return false;
    out += "::" + *_name;
    return true;
}

Node* Node::native() {
    // A prototype node stands for the first node of its body; that walk comes with prototypes.
    return this;
}

Node* Node::contextRoot() const {
    for (NodeNameSpace* ns = _nameSpace; ns; ns = ns->getParent()) {
        Node* root = ns->getRoot();
        if (root && root->getType().contextRoot()) return root;
    }
    return nullptr;
}

Context* Node::context() const {
    return _nameSpace ? _nameSpace->context() : nullptr;
}

Node* Node::findNode(uint64_t id) {
    NodeStatics& s = statics();
    std::lock_guard<SpinLock> lock(s.idMutex);
    return s.idMap ? s.idMap->lookUp(id) : nullptr;
}

bool Node::findNode(Node* node) {
    return findNode(reinterpret_cast<uint64_t>(node)) != nullptr;
}

unsigned int Node::idMapSize() {
    NodeStatics& s = statics();
    std::lock_guard<SpinLock> lock(s.idMutex);
    return s.idMap ? unsigned(s.idMap->size()) : 0;
}

bool Node::hasIDMap() {
    NodeStatics& s = statics();
    std::lock_guard<SpinLock> lock(s.idMutex);
    return s.idMap != nullptr;
}

void Node::fillNodeVec(std::vector<Node*>& out, NodeType* type, bool namedOnly) {
    out.clear();
    NodeStatics& s = statics();
    std::lock_guard<SpinLock> lock(s.idMutex);
    if (!s.idMap) return;
    for (Node* node : s.idMap->sorted()) {
        if (type && !node->getType().isA(*type)) continue;
        if (namedOnly && !node->hasName()) continue;
        out.push_back(node);
    }
}

// --- parts -------------------------------------------------------------------------------------

NodePartDesc* Node::findPartDesc(unsigned int id) const {
    if (NodePartDesc* desc = _nodeType->findPartDesc(id)) return desc;
    return _proc ? _proc->findDynamicPartDesc(id) : nullptr;
}

unsigned int Node::partDescCount() const {
    const NodeProc::PartDescMap* dynamic = _proc ? _proc->partDescMap() : nullptr;
    return _nodeType->descCount() + (dynamic ? unsigned(dynamic->size()) : 0);
}

Field* Node::findField(const std::string& name, FieldSearchOrder order) const {
    if (name.empty()) return nullptr;
    const std::string text = trimmed(name);
    if (startsWithDigit(text)) {
        // An index; a name that begins with a digit is therefore never found by name.
        long index = std::strtol(text.c_str(), nullptr, 10);
        if (index >= 0 && size_t(index) < _fieldVec.size() && _fieldVec[size_t(index)])
            return _fieldVec[size_t(index)];
    } else {
        const NodePartDesc* desc = nullptr;
        if (order < 1) {
            auto it = _nodeType->fieldMap().find(text);
            if (it != _nodeType->fieldMap().end()) desc = _nodeType->followRedirect(it->second);
        } else {
            desc = _nodeType->findPart(text);
        }
        if (desc && desc->ID < _fieldVec.size() && _fieldVec[desc->ID]) return _fieldVec[desc->ID];
        const unsigned int rows = _nodeType->descCount();
        if (_fieldVec.size() > rows) {
            KINFO("Try to find obj field >%s< (%d-%d) \n", text.c_str(), int(rows),
                  int(_fieldVec.size()));
            for (size_t i = rows; i < _fieldVec.size(); ++i) {
                const NodePartDesc* row = _fieldVec[i] ? _fieldVec[i]->getDesc() : nullptr;
                if (!row) continue;
                if (row->name == text ||
                    (order >= 1 && (row->inSlotName == text || row->outSlotName == text)))
                    return _fieldVec[i];
            }
        }
    }
    return _proc ? _proc->findField(name, order) : nullptr;
}

Field* Node::findField(NodePartValueRestriction restriction) const {
    for (Field* field : _fieldVec)
        if (field && field->getDesc() && field->getDesc()->valueRestriction == restriction)
            return field;
    return nullptr;
}

namespace {

// The id of the slot of that name: a number as it stands, then the type's slot map, then the
// dynamic rows.
int findSlotID(const Node& node, const std::string& name, const NodeType::DescMap& map,
               std::string NodePartDesc::*slotName) {
    if (startsWithDigit(name)) return int(std::strtol(name.c_str(), nullptr, 10));
    const NodeType& type = node.getType();
    auto it = map.find(name);
    if (it != map.end())
        if (const NodePartDesc* desc = type.followRedirect(it->second)) return int(desc->ID);
    const unsigned int rows = type.descCount();
    if (node.fieldCount() > rows) {
        KINFO("Try to find obj slot >%s< (%d-%d) \n", name.c_str(), int(rows),
              int(node.fieldCount()));
        for (unsigned int i = rows; i < node.fieldCount(); ++i) {
            const Field* field = node.getField(i);
            const NodePartDesc* desc = field ? field->getDesc() : nullptr;
            if (desc && desc->*slotName == name) return int(i);
        }
    }
    return -1;
}

}  // namespace

int Node::findEventInSlotID(const std::string& name) const {
    return findSlotID(*this, name, _nodeType->inSlotMap(), &NodePartDesc::inSlotName);
}

int Node::findEventOutSlotID(const std::string& name) const {
    return findSlotID(*this, name, _nodeType->outSlotMap(), &NodePartDesc::outSlotName);
}

EventInSlot* Node::findEventInSlot(const std::string& name, bool create) const {
    int id = findEventInSlotID(name);
    return id < 0 ? nullptr : findEventInSlot(unsigned(id), create, false);
}

EventOutSlot* Node::findEventOutSlot(const std::string& name, bool create) const {
    int id = findEventOutSlotID(name);
    return id < 0 ? nullptr : findEventOutSlot(unsigned(id), create, false);
}

bool Node::receiveEventIn(const char* slotName, const TimeStamp& time, const char* value) {
    EventInSlot* slot = findEventInSlot(slotName ? slotName : "", true);
    if (!slot) {
        KFATAL("There is no inSlot %s in the node %s (type: %s\n", slotName ? slotName : "",
               getName().c_str(), typeName());
        return false;
    }
    slot->receiveEvent(time, value, nullptr);
    return true;
}

bool Node::sendEventOut(const char* slotName, const TimeStamp& time, const char* value) {
    EventOutSlot* slot = findEventOutSlot(slotName ? slotName : "", true);
    if (!slot) {
        KFATAL("There is no outSlot %s in the node %s (type: %s\n", slotName ? slotName : "",
               getName().c_str(), typeName());
        return false;
    }
    slot->sendEvent(time, value, false);
    return true;
}

EventInSlot* Node::findEventInSlot(unsigned int id, bool create, bool force) const {
    Field* field = getField(id);
    if (!field) return nullptr;
    if (!field->inSlot() && create) field->createInSlot(force);
    return field->inSlot();
}

EventOutSlot* Node::findEventOutSlot(unsigned int id, bool create, bool force) const {
    Field* field = getField(id);
    if (!field) return nullptr;
    if (!field->outSlot() && create) field->createOutSlot(force);
    return field->outSlot();
}

bool Node::regLinkOrBadField(Field& field, NodeType& type, unsigned int id) {
    NodePartDesc* desc = type.findPartDesc(id);
    if (!desc || id >= _fieldVec.size()) {
        KFATAL("Cannot reg part %d; invalid Part ID\n", id);
        return false;
    }
    field.setDesc(desc);
    _fieldVec[id] = &field;
    if (desc->dataType == SFNodeType) {
        if (field.dataType() != SFNodeType)
            KFATAL("SNODED Field nodeType init failed !\n");
        else
            static_cast<SFNode&>(field).link().setField(&field);
        return true;
    }
    if (field.dataType() != MFNodeType) KFATAL("MNODED Field nodeType init failed !\n");
    return true;
}

bool Node::unregField(unsigned int id) {
    if (id < _fieldVec.size()) _fieldVec[id] = nullptr;
    return true;
}

Field* Node::addDynamicField(NodePartType partType, NodePartDataType dataType, const char* name,
                             const char* group, const char* defaultValue, const char* valueType,
                             bool autoProcess, bool privateAccess, bool objExtension,
                             const char* description) {
    NodePartDesc* desc =
        _proc->addNodePart(partType, dataType, name, group, defaultValue, valueType, autoProcess,
                           privateAccess, objExtension, description);
    return desc ? getField(desc->ID) : nullptr;
}

Field* Node::addDynamicField(const NodePartDesc& source, BitVector<unsigned int>* flags) {
    NodePartDesc* desc = _proc->addNodePart(source, flags);
    return desc ? getField(desc->ID) : nullptr;
}

bool Node::removeDynamicField(unsigned int id) {
    return _proc->removeNodePart(id);
}

bool Node::hasDynamicField() const {
    return _fieldVec.size() > _nodeType->descCount();
}

NodePartMask Node::dynamicFieldMask() const {
    return _proc->extNodePartMask();
}

bool Node::equalFieldValues(const Node& other) const {
    if (_fieldVec.size() != other._fieldVec.size()) return false;
    for (size_t i = 0; i < _fieldVec.size(); ++i) {
        if (!_fieldVec[i] || !other._fieldVec[i]) {
            KFATAL("Invalid NULL _fieldVec[] elem\n");
            continue;
        }
        if (!_fieldVec[i]->equalValue(*other._fieldVec[i])) return false;
    }
    return true;
}

void Node::dumpField(const BitVector<unsigned long>& mask) const {
    for (Field* field : _fieldVec)
        if (field && field->partMask().test(mask)) field->dump(false);
}

// --- children and parents ----------------------------------------------------------------------

bool Node::isLinkField(const Field* field) const {
    return isSFNode(field) || isMFNode(field);
}

bool Node::isChildField(const Field* field) const {
    return isLinkField(field) && (field->type() & PartField);
}

NodeLink* Node::addChild(Node* child, const char* fieldName, NameSpaceTransfer transfer,
                         NodeTypeMatchMode mode) {
    if (!child) return nullptr;
    std::vector<Field*> candidates;
    if (fieldName) {
        Field* named = findField(fieldName, SearchAllNames);
        if (named && (named->type() & PartField)) candidates.push_back(named);
    } else {
        for (Field* field : _fieldVec)
            if (field && (field->type() & PartField)) candidates.push_back(field);
    }
    NodeLink* link = nullptr;
    const NodeType& childType = child->getType();
    if (mode == MatchFirstFit) {
        for (Field* field : candidates) {
            if (isSFNode(field)) {
                SFNode* sf = static_cast<SFNode*>(field);
                if (!childType.isA(*sf->nodeType()) || !sf->link().setNode(child)) continue;
                link = &sf->link();
                break;
            }
            if (isMFNode(field)) {
                MFNode* mf = static_cast<MFNode*>(field);
                if (!childType.isA(*mf->nodeType())) continue;
                link = mf->addChild(child);
                break;
            }
        }
    } else {
        NodeTypeLink* best = nullptr;
        int bestDistance = -1;
        for (Field* field : candidates) {
            NodeTypeLink* typeLink = asTypeLink(field);
            if (!typeLink) continue;
            int distance = childType.isADistance(*typeLink->nodeType());
            if (distance < 0) continue;
            if (best && distance < bestDistance)
                KWARNING("Remap bestMatch Field in addChild(): %d/%d\n", bestDistance, distance);
            if (!best || distance < bestDistance) {
                best = typeLink;
                bestDistance = distance;
            }
        }
        if (best) link = best->linkNode(child);
    }
    if (!link) {
        KFATAL("node type %s doesn't have _any_ field with the type %s\n", typeName(),
               child->typeName());
        return nullptr;
    }
    if (transfer != TransferNone) {
        NodeNameSpace* target =
            transfer == TransferToNodeScope ? _nameSpace : _proc->childNameSpace();
        if (target && child->_nameSpace != target) child->transfer(0.0, *target);
    }
    return link;
}

Field* Node::removeChild(Node* child) {
    for (Field* field : _fieldVec) {
        if (!isChildField(field)) continue;
        if (isSFNode(field)) {
            NodeLink& link = static_cast<SFNode*>(field)->link();
            if (link.rawNode() == child || link.node() == child) {
                link.setNode(nullptr);
                return field;
            }
        } else if (static_cast<MFNode*>(field)->removeChild(child)) {
            return field;
        }
    }
    return nullptr;
}

unsigned int Node::childCount() const {
    unsigned int count = 0;
    for (Field* field : _fieldVec) {
        if (!isChildField(field)) continue;
        if (isSFNode(field)) {
            if (static_cast<SFNode*>(field)->rawNode()) ++count;
        } else {
            for (const NodeLink& link : static_cast<MFNode*>(field)->getValue())
                if (link.rawNode()) ++count;
        }
    }
    return count;
}

NodeLink* Node::findChildLink(Node* child) {
    for (Field* field : _fieldVec) {
        if (isSFNode(field)) {
            NodeLink& link = static_cast<SFNode*>(field)->link();
            if (link.rawNode() == child) return &link;
        } else if (isMFNode(field)) {
            NodeLink* last = nullptr;
            for (NodeLink& link : static_cast<MFNode*>(field)->editValue())
                if (link.rawNode() == child) last = &link;
            if (last) return last;
        }
    }
    return nullptr;
}

unsigned int Node::removeAllChildren(const TimeStamp& time) {
    unsigned int removed = 0;
    for (Field* field : _fieldVec) {
        unsigned int held = 0;
        if (isSFNode(field)) {
            NodeLink& link = static_cast<SFNode*>(field)->link();
            if (link.rawNode()) ++held;
            link.setNode(nullptr);
        } else if (isMFNode(field)) {
            for (const NodeLink& link : static_cast<MFNode*>(field)->getValue())
                if (link.rawNode()) ++held;
            field->clear();
        } else {
            continue;
        }
        removed += held;
        if (held) field->processValueChange(time, Field::CallerDefault);
    }
    return removed;
}

SmartPtr<Node> Node::removeAllParentLinks(const TimeStamp& time) {
    SmartPtr<Node> self(this);
    while (!_nodeLinkBag.empty()) {
        NodeLink* link = _nodeLinkBag.front();
        Field* field = link ? link->field() : nullptr;
        if (isMFNode(field))
            static_cast<MFNode*>(field)->removeChild(this);
        else if (link)
            link->setNode(nullptr);
        // A link that does not point here cannot be cleared through the graph; drop it so the
        // walk ends.
        if (!_nodeLinkBag.empty() && _nodeLinkBag.front() == link) {
            KFATAL("Invalid parent link in _nodeLinkBag\n");
            _nodeLinkBag.erase(_nodeLinkBag.begin());
        }
        if (field) field->processValueChange(time, Field::CallerDefault);
    }
    return self;
}

void Node::markParent(int bits) {
    const uint32_t mark = uint32_t(bits);
    for (NodeLink* link : _nodeLinkBag) {
        Node* parent = link ? link->parent() : nullptr;
        if (!parent || (parent->_changeFlags & mark)) continue;
        parent->_changeFlags |= mark;
        parent->markParent(bits);
    }
}

unsigned int Node::collectAllChildren(std::vector<Node*>& out, unsigned int flags) const {
    auto take = [&](const NodeLink& link) {
        Node* target = (flags & CollectRawTargets) ? link.rawNode() : link.node();
        if (target) out.push_back(target);
    };
    for (Field* field : _fieldVec) {
        if (!isChildField(field)) continue;
        if ((flags & CollectSkipDynamic) && field->getDesc() && field->getDesc()->objExtension())
            continue;
        if (isSFNode(field))
            take(static_cast<SFNode*>(field)->link());
        else
            for (const NodeLink& link : static_cast<MFNode*>(field)->getValue()) take(link);
    }
    return unsigned(out.size());
}

void Node::collectNonProtoParents(Node* child, std::vector<Node*>& out) {
    // A prototype parent whose body starts with child stands for it; until prototype nodes
    // exist every parent is a plain one.
    if (!child) return;
    for (NodeLink* link : child->_nodeLinkBag)
        if (Node* parent = link ? link->parent() : nullptr) out.push_back(parent);
}

int Node::countAmbiguousChildFields(NodeType& type) const {
    int count = 0;
    for (Field* field : _fieldVec) {
        if (!isChildField(field)) continue;
        if (type.isA(*asTypeLink(field)->nodeType())) ++count;
    }
    return count;
}

bool Node::hasAmbiguousChildFields() const {
    std::vector<NodeType*> types;
    for (Field* field : _fieldVec)
        if (NodeTypeLink* link = asTypeLink(field)) types.push_back(link->nodeType());
    for (size_t i = 1; i < types.size(); ++i)
        if (types[i]->isA(*types[i - 1]) || types[i - 1]->isA(*types[i])) return true;
    return false;
}

unsigned int Node::inSlotConnectionCount(bool all) const {
    unsigned int count = 0;
    for (Field* field : _fieldVec)
        if (field) count += field->inRouteCount(all, false);
    return count;
}

unsigned int Node::outSlotConnectionCount(bool all) const {
    unsigned int count = 0;
    for (Field* field : _fieldVec)
        if (field) count += field->outRouteCount(all, false);
    return count;
}

// --- whole-node operations ---------------------------------------------------------------------

Node* Node::clone(NodeNameSpace* nameSpace, const char* name) const {
    Node* copy = _nodeType->createNode(nameSpace, name, CreatorSystem);
    if (!copy) {
        KFATAL("Node clone failed\n");
        return nullptr;
    }
    const size_t count = std::min(_fieldVec.size(), copy->_fieldVec.size());
    for (size_t i = 0; i < count; ++i) {
        Field* from = _fieldVec[i];
        Field* to = copy->_fieldVec[i];
        if (from && to && to->setValueByField(*from, nullptr)) to->markChanged();
    }
    return copy;
}

bool Node::replace(Node& other) {
    if (&other == this) return false;
    SmartPtr<Node> hold(&other);  // it may lose its last link here
    // Each setNode takes the link out of other's list, so the front is always the next one.
    for (size_t n = other._nodeLinkBag.size(); n > 0 && !other._nodeLinkBag.empty(); --n) {
        NodeLink* link = other._nodeLinkBag.front();
        if (!link) {
            KFATAL("Invalid NULL parentLink in Node::replace()\n");
            other._nodeLinkBag.erase(other._nodeLinkBag.begin());
            continue;
        }
        link->setNode(this);
        if (!other._nodeLinkBag.empty() && other._nodeLinkBag.front() == link)
            other._nodeLinkBag.erase(other._nodeLinkBag.begin());  // refused: it stays empty
    }
    return true;
}

bool Node::merge(Node& other) {
    if (!other.getType().contextRoot()) {
        KFATAL("%s/%s: Skip merge; only allowed for contextRoot nodes\n", typeName(),
               getName().c_str());
        return false;
    }
    return _proc->mergeNode(other, nullptr);
}

bool Node::transfer(const TimeStamp& time, NodeNameSpace& nameSpace) {
    NameSpaceTransferAction action(time);
    action.setOldNameSpace(_nameSpace);
    action.setNewNameSpace(&nameSpace);
    _proc->transferNameSpace(action);
    action.reset();
    return true;
}

// --- lifecycle ---------------------------------------------------------------------------------

bool Node::setState(const TimeStamp& time, NodeState state) {
    const NodeState from = _state;
    if (from == state) return true;
    const Transition* transition = findTransition(from, state);
    if (!transition) {
        KWARNING("Invalid node %s/%s/%s state transition: %s to %s\n",
                 _nameSpace ? _nameSpace->getName().c_str() : "", typeName(), getName().c_str(),
                 stateNameOf(from), stateNameOf(state));
        return false;
    }
    for (int i = 0; i < transition->count; ++i) {
        _state = transition->steps[i].state;
        runCallback(*_proc, transition->steps[i].callback, time);
    }
    _state = state;
    if (!_isChangingMask.isZero())
        KFATAL("Invalid node %s/%s/%s state transition: %s to %s (ChangingMask is %u)\n",
               _nameSpace ? _nameSpace->getName().c_str() : "", typeName(), getName().c_str(),
               stateNameOf(from), stateNameOf(state), unsigned(_isChangingMask.getValue()));
    notifySubject(nodeSubjects[StateChanged].load(std::memory_order_acquire), time, this);
    if (logFeature(LogState))
        KLOG("Valid node %s/%s/%s state transition: %s to %s\n",
             _nameSpace ? _nameSpace->getName().c_str() : "", typeName(), getName().c_str(),
             stateNameOf(from), stateNameOf(state));
    return true;
}

bool Node::setTreeState(const TimeStamp& time, NodeState state) {
    return updateTreeState(time, state);
}

bool Node::updateTreeState(const TimeStamp& time, NodeState state) {
    if (_state == state) return true;
    bool result = setState(time, state);
    std::vector<SmartPtr<Node>> targets;
    for (Field* field : _fieldVec) heldTargets(field, targets);
    for (const SmartPtr<Node>& target : targets)
        if (!target->updateTreeState(time, state)) result = false;
    return result;
}

void Node::updateLiveState(const TimeStamp& time, NodeLink* excluded) {
    NodeState target = Realize;
    for (NodeLink* link : _nodeLinkBag) {
        if (link == excluded || !link || !link->field()) continue;
        if (link->field()->getNode()->_state == Live) {
            target = Live;
            break;
        }
    }
    if (target == _state) return;
    setState(time, target);
    for (Field* field : _fieldVec) {
        if (isSFNode(field)) {
            if (Node* child = static_cast<SFNode*>(field)->rawNode())
                child->updateLiveState(time, nullptr);
        } else if (isMFNode(field)) {
            std::vector<SmartPtr<Node>> targets;
            heldTargets(field, targets);
            for (const SmartPtr<Node>& child : targets)
                // Only this copy holds it: it is on its way out.
                if (child->refCount() > 1) child->updateLiveState(time, nullptr);
        }
    }
}

bool Node::setNodeState(const TimeStamp&, NodeState) {
    return false;
}

void Node::dump() const {
    KLOG("NodeDump: %s, %s, %s, %s\n", getName().c_str(), typeName(), stateName(),
         (_creator >= 0 && _creator <= 8) ? _creatorName[_creator] : "Invalid");
    KLOG("Check NodeLinkList (Parent links): %d\n", int(_nodeLinkBag.size()));
    for (NodeLink* link : _nodeLinkBag) {
        if (!link)
            KLOG("Invalid Null link in _nodeLinkBag\n");
        else if (!link->parent())
            KLOG("Invalid parent link in _nodeLinkBag\n");
        else if (link->rawNode() != this)
            KLOG("Invalid child node link in _nodeLinkBag\n");
    }
    for (size_t i = 0; i < _fieldVec.size(); ++i) {
        const Field* field = _fieldVec[i];
        if (!field) {
            KLOG("\tInvalid part entry: %d\n", int(i));
            continue;
        }
        const NodePartDesc* desc = field->getDesc();
        std::string value;
        if (field->cardinality() == Field::CardinalityMulti)
            value = std::to_string(field->size()) + " elem";
        else if (!isLinkField(field))
            field->getStrValue(value);
        const char* kind = field->isNodeTypePart() ? "TP" : "NP";
        if (!desc) {
            KLOG("\t%s: %2d %s\t%s\t(%s %s %d/%s %s %d/%s %s %d) (%s)\n", kind, int(i),
                 "INVALID DESC", value.c_str(), "INVALID PART", "", 0, "in", "",
                 int(field->inRouteCount(true, false)), "out", "",
                 int(field->outRouteCount(true, false)), "UNSET_");
            continue;
        }
        KLOG("\t%s: %2d %s\t%s\t(%s %s %d/%s %s %d/%s %s %d) (%s)\n", kind, int(i),
             desc->name.c_str(), value.c_str(), desc->partTypeName(), desc->dataTypeName(),
             int(desc->ID), "in", desc->inSlotName.c_str(), int(field->inRouteCount(true, false)),
             "out", desc->outSlotName.c_str(), int(field->outRouteCount(true, false)),
             desc->defaultValue.empty() ? "UNSET_" : desc->defaultValue.c_str());
    }
}

}  // namespace Kalvex
