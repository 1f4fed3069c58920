#pragma once

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeProc.h"

namespace Kalvex {

class ContextSetupProc;

// A context's parameter node: a context root of its own, made on first need by
// Context::createSetup or brought along by a loaded scene. Its type has only the parts of Node
// so far: the parameters are not fields of the node yet, and every context reads the declared
// defaults (see Context::paramBValue).
class ContextSetup : public Node {
  public:
    ContextSetup(NodeType& type, NodeNameSpace& nameSpace, const char* name);

    ContextSetupProc* getContextSetupProc() const;

    static bool isType(Node* node) { return dynamic_cast<ContextSetup*>(node) != nullptr; }
    static Node* createNode(NodeType& type, NodeNameSpace& nameSpace, const char* name) {
        return new ContextSetup(type, nameSpace, name);
    }
    static NodeType _type;
};

// The behaviour of a context's parameter node. The parameters that the node model and the
// context read are declared here.
class ContextSetupProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    static NodeProc* createProc(NodeType& type, Node& node) {
        return new ContextSetupProc(type, node);
    }

    // Whether field data and whole nodes may be freed to save memory.
    static const unsigned int _forbidFieldFreeID;
    static const unsigned int _forbidNodeFreeID;
    // Whether reload clears the image and proto caches.
    static const unsigned int _cacheClearOnReloadID;
};

}  // namespace Kalvex
