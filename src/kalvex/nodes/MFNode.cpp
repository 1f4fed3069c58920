#include "kalvex/nodes/MFNode.h"

#include <iterator>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

void MFNodeCodec::setStr(F&, const char*) {
    KFATAL("In MFNode::setValueByStr\n");
}

void MFNodeCodec::getStr(const F&, std::string&) {}

const char* MFNodeCodec::addStr(F&, const char*, Field::Cardinality) {
    KFATAL("In MFNode::addValueByStr\n");
    return nullptr;
}

bool MFNodeCodec::setField(F& f, const Field& other, ConvertParam*) {
    MFNode& self = static_cast<MFNode&>(f);
    switch (other.dataType()) {
        case MFNodeType: {
            if (&other == &f) return true;
            // The source may die with our old children: hold its targets first.
            std::vector<SmartPtr<Node>> targets;
            for (const NodeLink& link : static_cast<const MFNode&>(other).getValue())
                targets.emplace_back(link.rawNode());
            self.clear();
            for (const SmartPtr<Node>& target : targets) self.addChild(target.get());
            return true;
        }
        case SFNodeType: {
            // Taken over, but reported as no change: callers do not mark the field.
            SmartPtr<Node> target = static_cast<const SFNode&>(other).rawNode();
            self.clear();
            if (target) self.addChild(target.get());
            return false;
        }
        default:
            return fromOtherField(f, other);
    }
}

MFNode::MFNode(Node& node, const MFNode& other) : Inherited(node) {
    for (const NodeLink& link : other._value) addChild(link.rawNode());
}

MFNode::MFNode(const MFNode& other) : MFNode(other.node(), other) {}

namespace {

// A new entry takes its node; an empty one is kept as a hole and reported.
NodeLink* fillEntry(MFNode& field, NodeLink& link, Node* node) {
    if (!node) {
        Node& owner = field.node();
        const NodePartDesc* desc = field.getDesc();
        KNOTICE("Add Child(NULL) to Node(%s/%s), field: %s\n", owner.typeName(),
                owner.getName().c_str(), desc ? desc->name.c_str() : "NoName");
        return &link;
    }
    link.setNode(node);
    return &link;
}

}  // namespace

NodeLink* MFNode::addChild(Node* node) {
    return fillEntry(*this, addValue(NodeLink()), node);
}

NodeLink* MFNode::insertChild(int index, Node* node) {
    if (index < 0 || size_t(index) >= _value.size()) return addChild(node);
    auto it = _value.emplace(std::next(_value.begin(), index));
    it->setField(this);
    return fillEntry(*this, *it, node);
}

bool MFNode::removeChild(Node* node) {
    auto hit = _value.begin();
    for (; hit != _value.end(); ++hit)
        if (hit->rawNode() == node || hit->node() == node) break;
    if (hit == _value.end()) return false;
    Node* raw = hit->rawNode();
    // Erasing a link clears it through setNode(null), which may run callbacks that touch this
    // list: erase one entry at a time and search again.
    for (;;) {
        auto it = _value.begin();
        while (it != _value.end() && it->rawNode() != raw) ++it;
        if (it == _value.end()) break;
        _value.erase(it);
    }
    return true;
}

bool MFNode::removeChild(int index) {
    if (_value.empty() || (index >= 0 && size_t(index) >= _value.size())) return false;
    _value.erase(std::next(_value.begin(), index < 0 ? 0 : index));
    return true;
}

NodeType* MFNode::nodeType() const {
    const NodePartDesc* desc = getDesc();
    NodeType* required = desc ? desc->requiredNodeType() : nullptr;
    return required ? required : &Node::_type;
}

Node* ChildIterator::next() {
    if (_list) {
        for (++_position; _position != _list->getValue().end(); ++_position)
            if ((_child = _position->rawNode())) return _child;
        _list = nullptr;
    }
    const int count = int(_node->partDescCount());
    while (++_fieldIndex < count) {
        const Field* field = _node->getField(unsigned(_fieldIndex));
        if (!field) continue;
        if (field->dataType() == SFNodeType) {
            if ((_child = static_cast<const SFNode*>(field)->rawNode())) return _child;
        } else if (field->dataType() == MFNodeType) {
            const MFNode* list = static_cast<const MFNode*>(field);
            for (_position = list->getValue().begin(); _position != list->getValue().end();
                 ++_position) {
                if ((_child = _position->rawNode())) {
                    _list = list;
                    return _child;
                }
            }
        }
    }
    _fieldIndex = count;
    _child = nullptr;
    return nullptr;
}

}  // namespace Kalvex
