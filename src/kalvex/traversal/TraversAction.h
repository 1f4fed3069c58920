#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <vector>

#include "kalvex/object/BaseObject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Node;
class NodeType;

// The nodes on the current path of a walk, in pointer order. A sorted vector rather than a
// tree of nodes: paths are short, so a lookup is a few comparisons, and entering a node
// allocates only when the path grows deeper than any path of this action before.
class VisitingSet {
  public:
    using const_iterator = std::vector<Node*>::const_iterator;

    bool empty() const { return _nodes.empty(); }
    size_t size() const { return _nodes.size(); }
    size_t count(Node* node) const {
        return std::binary_search(_nodes.begin(), _nodes.end(), node) ? 1 : 0;
    }
    // False when the node was there already.
    bool insert(Node* node) {
        auto at = std::lower_bound(_nodes.begin(), _nodes.end(), node);
        if (at != _nodes.end() && *at == node) return false;
        _nodes.insert(at, node);
        return true;
    }
    size_t erase(Node* node) {
        auto at = std::lower_bound(_nodes.begin(), _nodes.end(), node);
        if (at == _nodes.end() || *at != node) return 0;
        _nodes.erase(at);
        return 1;
    }
    void clear() { _nodes.clear(); }
    const_iterator begin() const { return _nodes.begin(); }
    const_iterator end() const { return _nodes.end(); }

  private:
    std::vector<Node*> _nodes;
};

// The frame of every walk over the node graph: the walk's time stamp, the filters that leave
// nodes out, and the set of nodes on the current path, which breaks cycles. A node reached
// twice by different paths is walked twice; only a node on the current path is refused.
// Actions are plain objects on the caller's stack.
//
// _visitingSet is an ordered set with the interface of std::set that walks use (insert,
// erase, count, empty), held as a sorted vector; see VisitingSet.
class TraversAction : public BaseObject {
  public:
    explicit TraversAction(const TimeStamp& time);
    // Copies the time stamp and the filters; the path starts empty and the option word at 0.
    TraversAction(const TraversAction& other);
    ~TraversAction() override;

    // Clears the filters and sets the option word to 2; the path is left alone.
    virtual void reset();

    // True for a node on the current path, made by a skipped creator, or of a skipped type.
    bool isSkipNode(Node& node) const;
    void dump() const;

    const TimeStamp& timeStamp() const { return _timeStamp; }
    uint32_t skipCreateMask() const { return _skipCreateMask; }
    void setSkipCreateMask(uint32_t mask) { _skipCreateMask = mask; }
    const std::vector<NodeType*>* skipTypeVec() const { return _skipTypeVec; }
    void addSkipType(NodeType& type);
    uint32_t paramMask() const { return _paramMask; }
    void setParamMask(uint32_t mask) { _paramMask = mask; }
    VisitingSet& visitingSet() { return _visitingSet; }
    const VisitingSet& visitingSet() const { return _visitingSet; }

    // Child lists for walks that take a snapshot of a node's children before they descend,
    // one per level of the path, kept between walks so that a walk does not allocate them
    // again. pushChildList gives an empty list; popChildList gives it back.
    std::vector<Node*>& pushChildList() {
        if (_childListTop == _childLists.size()) _childLists.emplace_back();
        std::vector<Node*>& list = _childLists[_childListTop++];
        list.clear();
        return list;
    }
    void popChildList() { --_childListTop; }

  protected:
    TimeStamp _timeStamp;
    uint32_t _skipCreateMask;
    VisitingSet _visitingSet;
    std::vector<NodeType*>* _skipTypeVec;
    uint32_t _paramMask;

  private:
    // A deque, so that a level's list stays in place while deeper levels are added.
    std::deque<std::vector<Node*>> _childLists;
    size_t _childListTop = 0;
};

}  // namespace Kalvex
