#include "support/TestNode.h"

#include "kalvex/nodes/NodeType.h"

namespace KalvexTest {

void initTypes() {
    static const bool done = (Kalvex::NodeType::initTypeTree(true), true);
    (void)done;
}

NodeHolder::NodeHolder() : scope(new Kalvex::NodeNameSpace("test", nullptr, false)) {
    initTypes();
    node = Kalvex::Node::_type.createNode(scope.get(), "n", Kalvex::CreatorSystem);
    node->addRef();
}

NodeHolder::~NodeHolder() {
    node->subRef();
}

}  // namespace KalvexTest
