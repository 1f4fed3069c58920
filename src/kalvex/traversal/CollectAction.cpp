#include "kalvex/traversal/CollectAction.h"

#include <iterator>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

CollectAction::CollectAction(const TimeStamp& time) : TraversAction(time) {
    CollectAction::reset();
}

void CollectAction::addNodeType(NodeType& type) {
    _nodeMap[&type].clear();
}

void CollectAction::countNode(Node& node) {
    const NodeType& type = node.getType();
    for (auto& [entryType, nodes] : _nodeMap) {
        if (!entryType || !type.isA(*entryType)) continue;
        // Nodes made one after the other tend to be met in the order of their addresses: a
        // node above the last one goes in at the end without a search down the tree.
        if (nodes.empty() || nodes.key_comp()(std::prev(nodes.end())->first, &node))
            nodes.emplace_hint(nodes.end(), &node, Counter{1});
        else
            ++nodes[&node].count;
    }
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
}

void CollectAction::dump() const {
    KLOG("---------------------------------\n");
    if (_nodeMap.empty()) KLOG("CollectAction nodeMap is empty()\n");
    for (const auto& [type, nodes] : _nodeMap)
        KLOG("%s: %d nodes\n", type ? type->getCName() : "", int(nodes.size()));
    TraversAction::dump();
}

}  // namespace Kalvex
