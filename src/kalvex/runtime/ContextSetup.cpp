#include "kalvex/runtime/ContextSetup.h"

#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/runtime/Context.h"

namespace Kalvex {

// No rows of its own: the type has Node's two parts, and its interface grows at run time.
NodeType ContextSetup::_type(theBaseNodeTypeFactory(), "ContextSetup", "Base", "Node", nullptr,
                             "1.0", "Core", "The parameters of a context", "stable",
                             "ContextState holds dynamic fields which define the context state",
                             "Kalvex", false, true, &ContextSetup::isType,
                             &ContextSetup::createNode, &ContextSetupProc::createProc, nullptr, 0);

ContextSetup::ContextSetup(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name) {}

ContextSetupProc* ContextSetup::getContextSetupProc() const {
    return static_cast<ContextSetupProc*>(_proc);
}

const unsigned int ContextSetupProc::_forbidFieldFreeID =
    Context::createParamID("forbidFieldFree", "forbid Field free optimize", "Context", false);
const unsigned int ContextSetupProc::_forbidNodeFreeID =
    Context::createParamID("forbidNodeFree", "forbid Node free optimize", "Context", false);
const unsigned int ContextSetupProc::_cacheClearOnReloadID =
    Context::createParamID("cacheClearOnReload", "clear all caches on reload", "Context", true);

}  // namespace Kalvex
