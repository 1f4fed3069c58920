#include "kalvex/nodes/Node.h"

#include "kalvex/fields/Field.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

const char* Node::_stateName[5] = {"Creation", "Setup", "Realize", "Live", "Dispose"};
bool Node::_regID = true;

namespace {

std::mutex& idMapMutex() {
    static std::mutex mutex;
    return mutex;
}
// Created on first use; never freed, as nodes may die during static destruction.
std::map<uint64_t, Node*>* idMap = nullptr;

}  // namespace

Node::Node(NodeType& type, const char* name) : _type(&type) {
    _fieldVec.assign(type.descCount(), nullptr);
    type.changeObjCounter(1);
    if (_regID) {
        std::lock_guard<std::mutex> lock(idMapMutex());
        if (!idMap) idMap = new std::map<uint64_t, Node*>;
        (*idMap)[ID()] = this;
    }
    if (name && *name) {
        _ownName = name;
        _name = &_ownName;
    }
    _proc = new NodeProc(type, *this);
}

Node::Node(const Node& other) : AttachmentBag(other), _type(other._type) {
    KFATAL("Runing Node copy constructor for %s\n", other.getName().c_str());
    if (_type) _type->changeObjCounter(1);
}

Node::~Node() {
    delete _proc;
    delete _idStr;
    {
        std::lock_guard<std::mutex> lock(idMapMutex());
        if (idMap) idMap->erase(ID());
    }
    if (_type) _type->changeObjCounter(-1);
}

const std::string& Node::getIDStr() const {
    if (!_idStr) _idStr = new std::string(std::to_string(ID()));
    return *_idStr;
}

const char* Node::typeName() const {
    return _type ? _type->getCName() : "";
}

const char* Node::stateName() const {
    return (_state >= Creation && _state <= Dispose) ? _stateName[_state] : "";
}

bool Node::regField(Field& field, NodeType& type, unsigned int id, bool setDefault) {
    NodePartDesc* desc = type.findPartDesc(id);
    if (!desc || id >= _fieldVec.size()) {
        KFATAL("Cannot reg part %d; invalid Part ID\n", id);
        return false;
    }
    field.setDesc(desc);
    _fieldVec[id] = &field;
    if (desc->dataType != SFNodeType && desc->dataType != MFNodeType && setDefault &&
        !desc->defaultValue.empty())
        field.setDefaultValue(0.0);
    return true;
}

bool Node::unregField(unsigned int id) {
    if (id < _fieldVec.size()) _fieldVec[id] = nullptr;
    return true;
}

void Node::markParent(int bits) {
    for (NodeLink* link : _nodeLinkBag) {
        Node* parent = link ? link->parentNode() : nullptr;
        if (!parent || (parent->_changeFlags & uint32_t(bits)) == uint32_t(bits)) continue;
        parent->_changeFlags |= uint32_t(bits);
        parent->markParent(bits);
    }
}

void Node::fieldChanged(Field& field, const TimeStamp& time, Field* source) {
    const NodePartMask& mask = field.partMask();
    if (mask.isZero()) {
        _proc->fieldChanged(*this, field, time, source);
        return;
    }
    if (_isChangingMask.test(mask)) {
        KINFO("Field %s/%s.%s is already changing; break loop\n", typeName(), getName().c_str(),
              field.findName());
        return;
    }
    _isChangingMask |= mask;
    _proc->fieldChanged(*this, field, time, source);
    _isChangingMask &= ~mask;
}

Node* Node::findNode(uint64_t id) {
    std::lock_guard<std::mutex> lock(idMapMutex());
    if (!idMap) return nullptr;
    auto it = idMap->find(id);
    return it == idMap->end() ? nullptr : it->second;
}

bool Node::findNode(Node* node) {
    return findNode(reinterpret_cast<uint64_t>(node)) != nullptr;
}

unsigned int Node::idMapSize() {
    std::lock_guard<std::mutex> lock(idMapMutex());
    return idMap ? unsigned(idMap->size()) : 0;
}

}  // namespace Kalvex
