#include "kalvex/traversal/CopyAction.h"

#include "kalvex/events/EventSlot.h"
#include "kalvex/events/Route.h"
#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/Logging.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

CopyAction::CopyAction(const TimeStamp& time, NodeNameSpace& oldNameSpace,
                       NodeNameSpace& newNameSpace)
    : TraversAction(time),
      _oldNameSpace(&oldNameSpace),
      _newNameSpace(&newNameSpace),
      _lastCopy(nullptr) {
    CopyAction::reset();
}

CopyAction::CopyAction(const CopyAction& other)
    : TraversAction(other),
      _routeSet(other._routeSet),
      _oldNameSpace(other._oldNameSpace),
      _newNameSpace(other._newNameSpace),
      _lastCopy(other._lastCopy) {}

CopyAction::~CopyAction() {
    CopyAction::reset();
}

void CopyAction::reset() {
    TraversAction::reset();
    _routeSet.clear();
    _lastCopy = nullptr;
    _paramMask |= CopyAutoUse | CopyRoutes;
}

namespace {

// The counterpart of a route end in the new scope: the field of the same part ID on the node
// of the same name.
Field* counterpart(const Field& field, NodeNameSpace& scope) {
    const NodePartDesc* desc = field.getDesc();
    if (!desc) {
        KWARNING("No valid NodePart desc in CopyAction::finalize()\n");
        return nullptr;
    }
    Node* node = NodeNameSpace::findNode(&scope, field.getNode()->getName());
    return node ? node->getField(desc->ID) : nullptr;
}

}  // namespace

void CopyAction::finalize() {
    for (Route* route : _routeSet) {
        Field* from = counterpart(route->source().field(), *_newNameSpace);
        if (from && !from->outSlot()) from->createOutSlot(false);
        Field* to = counterpart(route->target().field(), *_newNameSpace);
        if (to && !to->inSlot()) to->createInSlot(false);
        if (from && to && from->outSlot() && to->inSlot())
            Route::create(*from->outSlot(), *to->inSlot(), Route::Default);
    }
}

}  // namespace Kalvex
