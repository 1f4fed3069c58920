#pragma once
// Small enumerations shared by fields, nodes, name scopes and contexts.

namespace Kalvex {

// Node part kinds: bit 0 initialisable, bit 1 receives, bit 2 sends. Other values are invalid
// but are carried, so that a bad table can be reported.
using NodePartType = int;
enum NodePartTypeValue : int {
    PartField = 1,
    PartEventIn = 2,
    PartEventOut = 4,
    PartExposedField = 7
};

// Lifecycle states of a node (and of a context).
enum NodeState : int { Creation = 0, Setup = 1, Realize = 2, Live = 3, Dispose = 4 };

// Who made a node. The values are distinct bits, so that walks can skip by creator.
enum NodeCreator : int {
    CreatorUnknown = 0,
    CreatorSystem = 1,
    CreatorRuntime = 2,
    CreatorLoader = 4,
    CreatorDynamic = 8
};

// Maturity of a node type, parsed from its status word.
enum NodeTypeStatus : int {
    StatusNone = 0,
    StatusExperimental = 1,
    StatusAlpha = 2,
    StatusBeta = 3,
    StatusStable = 4,
    StatusDeprecated = 5
};

// 0 searches type names exactly; any other value searches them in lower case.
using SearchCaseType = int;
enum SearchCaseTypeValue : int { SearchExact = 0, SearchLowerCase = 1 };

// Bits of the flags argument of the getTypeVec family.
enum TypeVecFlag : int {
    TypeVecClear = 0x1,         // empty the output first
    TypeVecParents = 0x2,       // registries: go on in the parent registries
    TypeVecDeprecated = 0x4,    // the id map walk: take deprecated types too
    TypeVecProtoOnly = 0x8,     // only prototype types
    TypeVecConcreteOnly = 0x10  // only concrete types; with TypeVecProtoOnly it changes nothing
};

}  // namespace Kalvex
