#pragma once
// Small enumerations shared by fields, nodes and contexts.

namespace Kalvex {

// Node part kinds: bit 0 initialisable, bit 1 receives, bit 2 sends.
using NodePartType = int;
enum NodePartTypeValue : int {
    PartField = 1,
    PartEventIn = 2,
    PartEventOut = 4,
    PartExposedField = 7
};

// Lifecycle states of a node (and of a context).
enum NodeState : int { Creation = 0, Setup = 1, Realize = 2, Live = 3, Dispose = 4 };

}  // namespace Kalvex
