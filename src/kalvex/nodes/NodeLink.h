#pragma once

#include "kalvex/object/SmartPtr.h"

namespace Kalvex {

class Field;
class Node;

// One edge of the node graph: held by the parent's SFNode or MFNode field, it holds a reference
// on the child and knows the field it lives in.
class NodeLink {
  public:
    NodeLink();
    NodeLink(const NodeLink& other);
    ~NodeLink();
    // Takes the target only: the back pointer to the field is never replaced.
    NodeLink& operator=(const NodeLink& other);

    Field* field() const { return _field; }
    void setField(Field* field) { _field = field; }
    Node* node() const { return _node.get(); }
    Node* parentNode() const;

    bool operator==(const NodeLink& other) const { return _node.get() == other._node.get(); }

  protected:
    Field* _field;
    SmartPtr<Node> _node;
};

}  // namespace Kalvex
