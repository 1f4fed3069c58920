#include "kalvex/nodes/NodeProc.h"

#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"

namespace Kalvex {

NodeProc::NodeProc(NodeType&, Node& node) : _node(node) {}

void NodeProc::fieldChanged(Node&, Field& field, const TimeStamp&, Field*) {
    NodePartDesc* desc = field.getDesc();
    if (!desc || desc->ID == 0) updateLogFeatureMask();
}

void NodeProc::updateLogFeatureMask() {
    // The logFeature field arrives with the node's base parts; until then the mask stays as set.
}

}  // namespace Kalvex
