#pragma once

#include "kalvex/nodes/NodeProc.h"

namespace Kalvex {

// The behaviour of a context's parameter node. The parameters that the node model reads are
// declared here; the node type that holds their values per context builds on them.
class ContextSetupProc : public NodeProc {
  public:
    using NodeProc::NodeProc;

    // Whether field data and whole nodes may be freed to save memory.
    static const unsigned int _forbidFieldFreeID;
    static const unsigned int _forbidNodeFreeID;
};

}  // namespace Kalvex
