#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
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
    // The nodes of one entry with their counters, read in pointer order: an ordered map with
    // the read interface of std::map, held as a vector that a walk appends to. Nodes met in
    // the order of their addresses (made one after the other, the usual case) keep it sorted
    // as they come; any others are sorted in when the entry is next read. So a walk does not
    // allocate a tree node per node it counts, and an entry emptied for the next walk keeps
    // its room.
    class NodeCountMap {
      public:
        using value_type = std::pair<Node*, Counter>;
        using const_iterator = std::vector<value_type>::const_iterator;

        bool empty() const { return _entries.empty(); }
        size_t size() const { return settled().size(); }
        const_iterator begin() const { return settled().begin(); }
        const_iterator end() const { return settled().end(); }
        const_iterator find(Node* node) const;
        size_t count(Node* node) const { return find(node) != end() ? 1 : 0; }
        void clear() {
            _entries.clear();
            _sorted = 0;
        }
        // One more arrival at node: its counter, made at 0 first, goes up by one.
        void add(Node* node) {
            if (_sorted == _entries.size()) {
                if (_entries.empty() || std::less<Node*>()(_entries.back().first, node)) {
                    _entries.push_back({node, Counter{1}});
                    ++_sorted;
                    return;
                }
                if (_entries.back().first == node) {
                    ++_entries.back().second.count;
                    return;
                }
            }
            _entries.push_back({node, Counter{1}});
            // The unsorted tail stays within the size of the sorted part (or a small floor),
            // so that repeated walks without a read do not grow the entry.
            if (_entries.size() - _sorted > std::max<size_t>(_sorted, 1024)) settle();
        }

      private:
        const std::vector<value_type>& settled() const {
            if (_sorted != _entries.size()) settle();
            return _entries;
        }
        // Sorts the tail in and merges the arrivals at one node into one counter.
        void settle() const;

        mutable std::vector<value_type> _entries;
        // The length of the sorted front of _entries, without repeated nodes.
        mutable size_t _sorted = 0;
    };
    using NodeMap = std::map<NodeType*, NodeCountMap>;

    explicit CollectAction(const TimeStamp& time);
    CollectAction(const CollectAction& other);

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
    void countNode(Node& node) {
        const NodeType& type = node.getType();
        for (const Entry& entry : _entries)
            if (type.isA(*entry.type)) entry.nodes->add(&node);
    }
    const NodeMap& nodeMap() const { return _nodeMap; }
    // Takes _nodeMap's entries anew for countNode. addNodeType, reset and copying keep them
    // current; a walk calls it first, so that a subclass's own changes to _nodeMap count too.
    void indexEntries();

  protected:
    NodeMap _nodeMap;

  private:
    // The entries of _nodeMap that have a type, in map order, for the walk's step per node:
    // a tree walk per node would cost more than the counting.
    struct Entry {
        NodeType* type;
        NodeCountMap* nodes;
    };
    std::vector<Entry> _entries;
};

}  // namespace Kalvex
