#pragma once

#include <cstdint>
#include <set>

#include "kalvex/traversal/TraversAction.h"

namespace Kalvex {

class Node;
class NodeNameSpace;
class Route;

// Copies a subgraph into another scope: NodeProc::copy on each start node, then finalize once,
// which makes the routes between the copies, matched by DEF name (or id text) and part ID in
// the new scope. The scopes hold the copies; the action owns nothing.
class CopyAction : public TraversAction {
  public:
    // Bits of the option word.
    enum CopyOption : uint32_t {
        CopyAutoUse = 0x04,      // a name already in the new scope is used, not copied
        CopyRoutes = 0x10,       // routes met on the walk are collected for finalize
        CopySubNameSpace = 0x20  // node fields are followed into nodes of other scopes too
    };

    CopyAction(const TimeStamp& time, NodeNameSpace& oldNameSpace, NodeNameSpace& newNameSpace);
    CopyAction(const CopyAction& other);
    ~CopyAction() override;

    // Forgets the routes and the last copy and sets CopyAutoUse and CopyRoutes.
    void reset() override;
    // Makes a DEFAULT route for each collected route whose two ends have counterparts in the
    // new scope. Twice without a reset makes them twice.
    virtual void finalize();

    // The copy (or the node used) of the last node walked: the caller's result.
    Node* lastCopy() const { return _lastCopy; }
    void setLastCopy(Node* node) { _lastCopy = node; }
    NodeNameSpace& oldNameSpace() const { return *_oldNameSpace; }
    NodeNameSpace& newNameSpace() const { return *_newNameSpace; }
    std::set<Route*>& routeSet() { return _routeSet; }

  private:
    std::set<Route*> _routeSet;
    NodeNameSpace* _oldNameSpace;
    NodeNameSpace* _newNameSpace;
    Node* _lastCopy;
};

}  // namespace Kalvex
