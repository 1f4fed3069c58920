#pragma once

#include "kalvex/object/BaseObject.h"
#include "kalvex/object/BitVector.h"

namespace Kalvex {

class Field;
class Node;
class NodeType;
class Subject;

// One edge of the node graph. It knows the field that holds it and the node it points at,
// holds one reference on that node and stands in that node's list of parent links. Everything
// that must happen when the graph changes (type check, callbacks, parent bookkeeping,
// notifications, change marks) happens in setNode.
class NodeLink : public BaseObject {
  public:
    NodeLink() : _node(nullptr), _field(nullptr) {}
    // A link without a field, to the same node.
    NodeLink(const NodeLink& other);
    ~NodeLink() override;
    // Sets the target; the field stays.
    NodeLink& operator=(const NodeLink& other);

    // Points the link at node (null empties it). A node of a type that the field's row does not
    // allow is refused with false, and the link is then empty.
    bool setNode(const Node* node);
    // The target, seen through prototype instances to the first node of their body.
    Node* node() const;
    // The target as it is stored.
    Node* rawNode() const { return _node; }
    // The node that holds the link's field, or null.
    Node* parent() const;
    // The type the field requires; the type "Node" when nothing is required.
    NodeType* nodeType() const;
    unsigned int getFieldID() const;
    const NodePartMask& getFieldMask() const;
    // Swaps the targets of two links of one field, without any callback.
    bool swap(NodeLink& other);

    Field* field() const { return _field; }
    void setField(Field* field) { _field = field; }

    bool operator==(const NodeLink& other) const { return _node == other._node; }

    static Subject* newLinkSubject();
    static Subject* deleteLinkSubject();
    static const NodePartMask _nullMask;

  private:
    friend class Node;  // its destructor unlinks what should have been unlinked before

    Node* _node;
    Field* _field;
};

// What a node field does with a value field as source: a wildcard is taken as it is (true,
// nothing stored); anything else is refused with a warning.
bool fromOtherField(const Field& self, const Field& other);

// The interface of a field that holds links: SFNode and MFNode.
class NodeTypeLink {
  public:
    virtual NodeType* nodeType() const = 0;
    virtual ~NodeTypeLink() = default;
    // Links node in this field; the link that now holds it, or null.
    virtual NodeLink* linkNode(Node* node) = 0;
};

}  // namespace Kalvex
