#pragma once

#include <deque>
#include <vector>

#include "kalvex/traversal/TraversAction.h"

namespace Kalvex {

// The walk by callbacks: NodeProc::traverse calls pre on arrival at a node, walks what pre
// put into the children list, and calls post. A subclass does its work there; a pre that
// leaves the list empty stops the walk below that node. The node at hand stands on top of
// _nodeStack, which holds the path from the first node of the walk.
class GenericAction : public TraversAction {
  public:
    explicit GenericAction(const TimeStamp& time);
    GenericAction(const GenericAction& other) = default;

    // Logs the arrival and fills children with all children of the node, proto instances
    // seen through to their bodies.
    virtual void pre(std::vector<Node*>& children);
    virtual void post();
    // Empties the path, then resets the frame.
    void reset() override;

    const std::deque<Node*>& nodeStack() const { return _nodeStack; }
    std::deque<Node*>& nodeStack() { return _nodeStack; }

  protected:
    std::deque<Node*> _nodeStack;
};

}  // namespace Kalvex
