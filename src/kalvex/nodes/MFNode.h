#pragma once

#include <list>
#include <string>

#include "kalvex/fields/FieldImpl.h"
#include "kalvex/fields/XField.h"
#include "kalvex/nodes/NodeLink.h"

namespace Kalvex {

struct MFNodeCodec {
    using F = MLField<NodeLink, true>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
    static bool setField(F& f, const Field& other, ConvertParam* param);
};

extern template class FieldImpl<MLField<NodeLink, true>, MFNodeCodec>;

// A field that holds a list of links. Given itself as a value it keeps what it has, without the
// clear and re-add that would tell every child it left and came back. A list, so that the addresses
// of the links, which the children keep as their parent links, stay put. The list may hold empty
// links.
class MFNode final : public FieldImpl<MLField<NodeLink, true>, MFNodeCodec>, public NodeTypeLink {
  public:
    using Inherited = FieldImpl<MLField<NodeLink, true>, MFNodeCodec>;

    explicit MFNode(Node& node) : Inherited(node) {}
    // The type argument is what a row would restrict; a field without a row accepts any node.
    MFNode(Node& node, NodeType*) : Inherited(node) {}
    MFNode(Node& node, const MFNode& other);
    MFNode(const MFNode& other);

    KALVEX_FIELD_CLASS_MEMBERS(MFNode, 24)

    // Appends a link to node and returns it, also when the node was refused: the list then
    // holds an empty entry there.
    NodeLink* addChild(Node* node);
    // Inserts before index; a negative index or one past the end appends.
    NodeLink* insertChild(int index, Node* node);
    // Removes every entry that points at node (raw, or seen through an instance).
    bool removeChild(Node* node);
    // Removes the entry at index; a negative index takes the first.
    bool removeChild(int index);

    NodeType* nodeType() const override;
    NodeLink* linkNode(Node* node) override { return addChild(node); }
};

// Walks the children of a node in field order: the target of each filled SFNode and every
// non-null entry of each MFNode, whatever the part kind. Empty links are passed over. The node
// must not change its fields while the walk goes on.
class ChildIterator {
  public:
    explicit ChildIterator(const Node& node) : _node(&node) {}
    // The next child, or null at the end (and from then on).
    Node* next();
    Node* child() const { return _child; }

  private:
    const Node* _node;
    int _fieldIndex = -1;
    Node* _child = nullptr;
    const MFNode* _list = nullptr;
    std::list<NodeLink>::const_iterator _position;
};

}  // namespace Kalvex
