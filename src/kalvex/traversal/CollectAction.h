#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "kalvex/traversal/TraversAction.h"

namespace Kalvex {

// The walk that gathers nodes by type (NodeProc::collect). Each type given to addNodeType
// gets an entry; a node met on the walk is counted in every entry whose type it is a kind
// of, once for each arrival, so a node shared by two branches counts 2.
class CollectAction : public TraversAction {
  public:
    // Bits of the option word.
    enum Param : uint32_t {
        CollectDeclaredOnly = 0x1,  // follow only node fields of rows without objExtension
        CollectNamedOnly = 0x4      // count only nodes that have a name
    };
    // How many times the walk met a node.
    struct Counter {
        uint32_t count = 0;
    };
    using NodeCountMap = std::map<Node*, Counter>;
    using NodeMap = std::map<NodeType*, NodeCountMap>;

    explicit CollectAction(const TimeStamp& time);
    CollectAction(const CollectAction& other) = default;

    // Makes the entry of type, or empties the one there is. Call it after reset, which drops
    // all entries.
    void addNodeType(NodeType& type);
    // Appends the nodes of the entry of exactly type, in pointer order, and their counts when
    // counts is given; nodes is emptied first when clear. Returns the size of nodes.
    unsigned int fillNodeVec(NodeType& type, std::vector<Node*>& nodes,
                             std::vector<unsigned int>* counts, bool clear) const;
    // Resets the frame, sets CollectDeclaredOnly and drops every entry.
    void reset() override;
    void dump() const;

    // Counts node under every entry whose type it is a kind of: the walk's step per node.
    void countNode(Node& node);
    const NodeMap& nodeMap() const { return _nodeMap; }

  protected:
    NodeMap _nodeMap;
};

}  // namespace Kalvex
