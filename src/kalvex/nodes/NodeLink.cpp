#include "kalvex/nodes/NodeLink.h"

#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"

namespace Kalvex {

NodeLink::NodeLink() : _field(nullptr) {}

NodeLink::NodeLink(const NodeLink& other) : _field(nullptr), _node(other._node) {}

NodeLink::~NodeLink() = default;

NodeLink& NodeLink::operator=(const NodeLink& other) {
    _node = other._node;
    return *this;
}

Node* NodeLink::parentNode() const {
    return _field ? _field->getNode() : nullptr;
}

}  // namespace Kalvex
