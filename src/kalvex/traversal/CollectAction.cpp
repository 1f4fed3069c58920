#include "kalvex/traversal/CollectAction.h"

#include <algorithm>
#include <iterator>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

CollectAction::CollectAction(const TimeStamp& time) : TraversAction(time) {
    CollectAction::reset();
}

CollectAction::CollectAction(const CollectAction& other)
    : TraversAction(other), _nodeMap(other._nodeMap) {
    indexEntries();
}

CollectAction::NodeCountMap::const_iterator CollectAction::NodeCountMap::find(Node* node) const {
    const std::vector<value_type>& entries = settled();
    auto at = std::lower_bound(
        entries.begin(), entries.end(), node,
        [](const value_type& entry, Node* key) { return std::less<Node*>()(entry.first, key); });
    return at != entries.end() && at->first == node ? at : entries.end();
}

void CollectAction::NodeCountMap::settle() const {
    auto byNode = [](const value_type& a, const value_type& b) {
        return std::less<Node*>()(a.first, b.first);
    };
    auto middle = _entries.begin() + std::ptrdiff_t(_sorted);
    std::sort(middle, _entries.end(), byNode);
    std::inplace_merge(_entries.begin(), middle, _entries.end(), byNode);
    // Arrivals at one node stand together now: one counter each.
    auto out = _entries.begin();
    for (auto in = _entries.begin(); in != _entries.end(); ++in) {
        if (out != _entries.begin() && std::prev(out)->first == in->first)
            std::prev(out)->second.count += in->second.count;
        else
            *out++ = *in;
    }
    _entries.erase(out, _entries.end());
    _sorted = _entries.size();
}

void CollectAction::addNodeType(NodeType& type) {
    auto [entry, added] = _nodeMap.try_emplace(&type);
    entry->second.clear();
    if (added) indexEntries();
}

void CollectAction::indexEntries() {
    _entries.clear();
    for (auto& [type, nodes] : _nodeMap)
        if (type) _entries.push_back({type, &nodes});
}

unsigned int CollectAction::fillNodeVec(NodeType& type, std::vector<Node*>& nodes,
                                        std::vector<unsigned int>* counts, bool clear) const {
    if (clear) nodes.clear();
    auto entry = _nodeMap.find(&type);
    if (entry == _nodeMap.end()) return unsigned(nodes.size());
    for (const auto& [node, counter] : entry->second) {
        if (!node) {
            KFATAL("Invalid Null node in CollectAction nodeSet\n");
            continue;
        }
        nodes.push_back(node);
        if (counts) counts->push_back(counter.count);
    }
    return unsigned(nodes.size());
}

void CollectAction::reset() {
    TraversAction::reset();
    _paramMask |= CollectDeclaredOnly;
    _nodeMap.clear();
    _entries.clear();
}

void CollectAction::dump() const {
    KLOG("---------------------------------\n");
    if (_nodeMap.empty()) KLOG("CollectAction nodeMap is empty()\n");
    for (const auto& [type, nodes] : _nodeMap)
        KLOG("%s: %d nodes\n", type ? type->getCName() : "", int(nodes.size()));
    TraversAction::dump();
}

}  // namespace Kalvex
