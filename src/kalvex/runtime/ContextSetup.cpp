#include "kalvex/runtime/ContextSetup.h"

#include "kalvex/runtime/Context.h"

namespace Kalvex {

const unsigned int ContextSetupProc::_forbidFieldFreeID =
    Context::createParamID("forbidFieldFree", "forbid Field free optimize", "Context", false);
const unsigned int ContextSetupProc::_forbidNodeFreeID =
    Context::createParamID("forbidNodeFree", "forbid Node free optimize", "Context", false);

}  // namespace Kalvex
