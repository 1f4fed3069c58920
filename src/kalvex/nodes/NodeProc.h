#pragma once

#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Field;
class Node;
class NodeType;

// The behaviour half of a node. Node classes outside the library derive from it and override
// its callbacks; Node keeps only data.
class NodeProc : public AttachmentBag {
  public:
    NodeProc(NodeType& type, Node& node);
    ~NodeProc() override = default;

    Node& node() const { return _node; }

    // Called for every field change the node accepts; keeps the log feature mask in step with
    // the logFeature field.
    void fieldChanged(Node& node, Field& field, const TimeStamp& time, Field* source);
    void updateLogFeatureMask();

  protected:
    Node& _node;
};

}  // namespace Kalvex
