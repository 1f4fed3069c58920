#pragma once

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/BaseObject.h"
#include "kalvex/object/BitVector.h"

namespace Kalvex {

class Node;
class NodePartDesc;

// One member of a node: its owner and its row in the node type's table of parts. A part without
// a row is legal; the operations that need one say what they do without it.
class NodePart : public BaseObject {
  public:
    explicit NodePart(Node& node) : _node(&node), _desc(nullptr) {}
    ~NodePart() override = default;

    virtual const char* findName() const = 0;
    virtual NodePartDataType dataType() const = 0;
    virtual const char* dataTypeName() const = 0;
    virtual NodePartType type() const = 0;
    virtual const char* typeName() const = 0;

    Node& node() const { return *_node; }
    Node* getNode() const { return _node; }
    NodePartDesc* getDesc() const { return _desc; }
    void setDesc(NodePartDesc* desc) { _desc = desc; }

    // True when the row is the type's own row under the part's index, not a dynamic row.
    bool isNodeTypePart() const;

    static const NodePartMask _nullMask;

  protected:
    Node* _node;
    NodePartDesc* _desc;
};

}  // namespace Kalvex
