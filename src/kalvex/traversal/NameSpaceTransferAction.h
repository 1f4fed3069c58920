#pragma once

#include "kalvex/traversal/TraversAction.h"

namespace Kalvex {

class NodeNameSpace;

// Moves a subgraph from one scope to another without copying it: NodeProc::transferNameSpace
// registers each node of the old scope in the new one, and hangs sub-scopes of the old scope
// below the new one. A walk without an old scope takes the first node's.
class NameSpaceTransferAction : public TraversAction {
  public:
    explicit NameSpaceTransferAction(const TimeStamp& time);
    NameSpaceTransferAction(const NameSpaceTransferAction& other) = default;

    // Forgets both scopes, then resets the frame.
    void reset() override;
    void dump() const;

    NodeNameSpace* oldNameSpace() const { return _oldNameSpace; }
    void setOldNameSpace(NodeNameSpace* nameSpace) { _oldNameSpace = nameSpace; }
    NodeNameSpace* newNameSpace() const { return _newNameSpace; }
    void setNewNameSpace(NodeNameSpace* nameSpace) { _newNameSpace = nameSpace; }

  private:
    NodeNameSpace* _oldNameSpace;
    NodeNameSpace* _newNameSpace;
};

}  // namespace Kalvex
