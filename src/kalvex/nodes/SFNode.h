#pragma once

#include <string>

#include "kalvex/fields/FieldImpl.h"
#include "kalvex/fields/XField.h"
#include "kalvex/nodes/NodeLink.h"

namespace Kalvex {

// A node reference has no text or binary form of its own (the writers walk the graph): the
// text forms only refuse, and other fields set node fields through their links.
struct SFNodeCodec {
    using F = SField<NodeLink, true>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static void set1Bin(F& f, int index, const std::string& data);
    static bool setField(F& f, const Field& other, ConvertParam* param);
};

extern template class FieldImpl<SField<NodeLink, true>, SFNodeCodec>;

// A field that holds one link. Its row may restrict the node type it accepts.
class SFNode final : public FieldImpl<SField<NodeLink, true>, SFNodeCodec>, public NodeTypeLink {
  public:
    using Inherited = FieldImpl<SField<NodeLink, true>, SFNodeCodec>;

    explicit SFNode(Node& node) : Inherited(node) {}
    SFNode(Node& node, Node* target) : Inherited(node) { _value.setNode(target); }
    SFNode(Node& node, const NodeLink& link) : Inherited(node) { _value.setNode(link.rawNode()); }
    SFNode(Node& node, const SFNode& other) : SFNode(node, other._value) {}
    SFNode(SFNode& other) : SFNode(other.node(), other._value) {}
    ~SFNode() override { _value.setNode(nullptr); }

    KALVEX_FIELD_CLASS_MEMBERS(SFNode, 23)

    NodeLink& link() { return _value; }
    const NodeLink& link() const { return _value; }
    Node* rawNode() const { return _value.rawNode(); }

    NodeType* nodeType() const override { return _value.nodeType(); }
    NodeLink* linkNode(Node* node) override { return _value.setNode(node) ? &_value : nullptr; }
};

}  // namespace Kalvex
