#include "kalvex/nodes/NodeType.h"

#include <algorithm>
#include <ostream>

#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace {

// Types built so far, in construction order, and the id map that initTypeTree fills.
std::vector<NodeType*>& pendingTypes() {
    static std::vector<NodeType*> types;
    return types;
}
std::map<unsigned int, NodeType*>& typeIDMap() {
    static std::map<unsigned int, NodeType*> map;
    return map;
}

}  // namespace

std::mutex& NodeType::typeIDMapMutex() {
    static std::mutex mutex;
    return mutex;
}

NodeType::NodeType(const char* name, NodePartDesc* descs, unsigned int descCount, NodeType* parent)
    : _name(name ? name : ""), _id(0), _parent(parent), _protoDeclaration(nullptr), _objCounter(0) {
    _descVec.reserve(descCount);
    for (unsigned int i = 0; i < descCount; ++i) {
        descs[i]._refType = this;
        _descVec.push_back(&descs[i]);
    }
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    pendingTypes().push_back(this);
}

NodeType::~NodeType() {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    auto& pending = pendingTypes();
    pending.erase(std::remove(pending.begin(), pending.end(), this), pending.end());
    if (_id) typeIDMap().erase(_id);
}

bool NodeType::isA(const NodeType& other) const {
    for (const NodeType* t = this; t; t = t->_parent)
        if (t == &other) return true;
    return false;
}

unsigned int NodeType::typeCount() {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    return unsigned(typeIDMap().size());
}

NodeType* NodeType::findType(unsigned int id) {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    auto it = typeIDMap().find(id);
    return it == typeIDMap().end() ? nullptr : it->second;
}

bool NodeType::initTypeTree(bool) {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    auto& map = typeIDMap();
    for (NodeType* type : pendingTypes()) {
        if (type->_id) continue;
        type->_id = map.empty() ? 1 : map.rbegin()->first + 1;
        map[type->_id] = type;
    }
    return true;
}

bool NodeType::reportDocStatus(std::ostream&, bool) {
    return true;
}

}  // namespace Kalvex
