#pragma once
// An owner for fields under test: a plain node in a name scope of its own.

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace KalvexTest {

// Builds the part tables of every registered type once, as System::init does for a host.
inline void initTypes() {
    static const bool done = (Kalvex::NodeType::initTypeTree(true), true);
    (void)done;
}

// A node of the type "Node" in state Setup, held while the holder lives.
struct NodeHolder {
    NodeHolder() = default;
    NodeHolder(const NodeHolder&) = delete;
    NodeHolder& operator=(const NodeHolder&) = delete;

    bool typesBuilt = (initTypes(), true);
    Kalvex::SmartPtr<Kalvex::NodeNameSpace> scope{
        new Kalvex::NodeNameSpace("test", nullptr, false)};
    Kalvex::SmartPtr<Kalvex::Node> held{
        Kalvex::Node::_type.createNode(scope.get(), "n", Kalvex::CreatorSystem)};
    Kalvex::Node* node = held.get();
};

}  // namespace KalvexTest
