#include "kalvex/traversal/GenericAction.h"

#include "kalvex/nodes/Node.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

GenericAction::GenericAction(const TimeStamp& time) : TraversAction(time) {}

void GenericAction::pre(std::vector<Node*>& children) {
    if (_nodeStack.empty() || !_nodeStack.back()) {
        KFATAL("Run GenericAction on empty node stack\n");
        return;
    }
    Node& node = *_nodeStack.back();
    KNOTICE("Run GenericAction on %s/%s (stack depth %d)\n", node.typeName(),
            node.getName().c_str(), int(_nodeStack.size()));
    node.collectAllChildren(children, 0);
}

void GenericAction::post() {}

void GenericAction::reset() {
    _nodeStack.clear();
    TraversAction::reset();
}

}  // namespace Kalvex
