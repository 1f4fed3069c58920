#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "kalvex/object/BaseObject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Node;
class NodeType;

// The frame of every walk over the node graph: the walk's time stamp, the filters that leave
// nodes out, and the set of nodes on the current path, which breaks cycles. A node reached
// twice by different paths is walked twice; only a node on the current path is refused.
// Actions are plain objects on the caller's stack.
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
    std::set<Node*>& visitingSet() { return _visitingSet; }

  protected:
    TimeStamp _timeStamp;
    uint32_t _skipCreateMask;
    std::set<Node*> _visitingSet;
    std::vector<NodeType*>* _skipTypeVec;
    uint32_t _paramMask;
};

}  // namespace Kalvex
