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

// The nodes on the current path of a walk. Walks enter and leave nodes in stack order, so the
// path is kept as a stack: entering pushes, leaving pops the top. Paths are short, so a lookup
// scans the stack; a deep path gets a sorted copy for binary search as well, dropped again when
// the path is short enough. Nothing allocates once the stack has been as deep as the path.
// Iteration gives the nodes in pointer order, as an ordered set would.
class VisitingSet {
  public:
    using const_iterator = std::vector<Node*>::const_iterator;

    bool empty() const { return _path.empty(); }
    size_t size() const { return _path.size(); }
    size_t count(Node* node) const { return contains(node) ? 1 : 0; }
    // False when the node was there already.
    bool insert(Node* node) {
        if (contains(node)) return false;
        _path.push_back(node);
        if (_indexed)
            _sorted.insert(std::lower_bound(_sorted.begin(), _sorted.end(), node), node);
        else if (_path.size() > kScanLimit)
            buildIndex();
        else
            _sortedCurrent = false;
        return true;
    }
    size_t erase(Node* node) {
        if (!_path.empty() && _path.back() == node) {
            _path.pop_back();
        } else {
            auto at = std::find(_path.begin(), _path.end(), node);
            if (at == _path.end()) return 0;
            _path.erase(at);
        }
        if (_indexed) {
            if (_path.size() < kScanLimit / 2) {
                _indexed = false;
                _sortedCurrent = false;
            } else {
                _sorted.erase(std::lower_bound(_sorted.begin(), _sorted.end(), node));
            }
        } else {
            _sortedCurrent = false;
        }
        return 1;
    }
    void clear() {
        _path.clear();
        _sorted.clear();
        _indexed = false;
        _sortedCurrent = true;
    }
    const_iterator begin() const { return ordered().begin(); }
    const_iterator end() const { return ordered().end(); }

  private:
    // Up to this depth a scan of the stack is cheaper than keeping a sorted copy.
    static constexpr size_t kScanLimit = 32;

    bool contains(Node* node) const {
        if (_indexed) return std::binary_search(_sorted.begin(), _sorted.end(), node);
        for (Node* entry : _path)
            if (entry == node) return true;
        return false;
    }
    void buildIndex() {
        _sorted.assign(_path.begin(), _path.end());
        std::sort(_sorted.begin(), _sorted.end());
        _indexed = true;
        _sortedCurrent = true;
    }
    const std::vector<Node*>& ordered() const {
        if (!_indexed && !_sortedCurrent) {
            _sorted.assign(_path.begin(), _path.end());
            std::sort(_sorted.begin(), _sorted.end());
            _sortedCurrent = true;
        }
        return _sorted;
    }

    std::vector<Node*> _path;
    // The path in pointer order: kept up to date while _indexed, made on demand otherwise.
    mutable std::vector<Node*> _sorted;
    bool _indexed = false;
    mutable bool _sortedCurrent = true;
};

// The frame of every walk over the node graph: the walk's time stamp, the filters that leave
// nodes out, and the set of nodes on the current path, which breaks cycles. A node reached
// twice by different paths is walked twice; only a node on the current path is refused.
// Actions are plain objects on the caller's stack.
//
// _visitingSet is an ordered set with the interface of std::set that walks use (insert,
// erase, count, empty, iteration in pointer order), held as a stack; see VisitingSet.
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
