#pragma once
// An owner for fields under test: a plain node in a name scope of its own.

#include "kalvex/nodes/Node.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace KalvexTest {

// Builds the part tables of every registered type once, as System::init does for a host.
void initTypes();

// A node of the type "Node" in state Setup, held while the holder lives.
struct NodeHolder {
    NodeHolder();
    ~NodeHolder();
    NodeHolder(const NodeHolder&) = delete;
    NodeHolder& operator=(const NodeHolder&) = delete;

    Kalvex::SmartPtr<Kalvex::NodeNameSpace> scope;
    Kalvex::Node* node;
};

}  // namespace KalvexTest
