#include "kalvex/events/Route.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <string>

#include "kalvex/events/EventSlot.h"
#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/Subject.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

const char* const Route::_typeNameVec[9] = {"INVALID", "DEFAULT", "TRIGGER", "INVALID", "IS",
                                            "INVALID", "INVALID", "INVALID", "IMPORT"};

const unsigned int Route::_forceSingleDataTypeRouteID =
    Context::createParamID("forceSingleDataTypeRoute",
                           "force routes to connect only slots with same type", "Route", false);

namespace {

// Process-wide and never freed: static nodes may drop their routes after static destruction.
struct RouteStatics {
    std::mutex mutex;
    std::set<Route*> routes;
    Subject newRoute{"newRoute"};
    Subject deleteRoute{"deleteRoute"};
};

RouteStatics& statics() {
    static RouteStatics* made = new RouteStatics;
    return *made;
}

Node& nodeOf(const EventSlot& slot) {
    return *slot.field().getNode();
}

const char* partName(const EventSlot& slot) {
    const NodePartDesc* desc = slot.field().getDesc();
    return desc ? desc->name.c_str() : "NoName";
}

bool isWildcard(NodePartDataType type) {
    return type == XFAnyType || type == SFAnyType || type == MFAnyType;
}

// Takes the route out of a slot's bag, keeping the order of the others.
void removeFrom(std::vector<Route*>& bag, Route* route) {
    auto it = std::find(bag.begin(), bag.end(), route);
    if (it == bag.end()) {
        KFATAL("Invalid Route link removal: %d\n", 0);
        return;
    }
    bag.erase(it);
}

}  // namespace

Subject* Route::newRouteSubject() {
    return &statics().newRoute;
}

Subject* Route::deleteRouteSubject() {
    return &statics().deleteRoute;
}

const char* Route::typeName() const {
    return _type < 9 ? _typeNameVec[_type] : "INVALID";
}

Route* Route::create(EventOutSlot& from, EventInSlot& to, Type type) {
    if (Route* existing = from.findRoute(&to)) {
        KFATAL("Will not create a Route a second time:\n");
        existing->dump();
        return existing;
    }
    const NodePartDataType fromType = from.field().dataType();
    const NodePartDataType toType = to.field().dataType();
    if (fromType == toType || isWildcard(fromType) || isWildcard(toType))
        return new Route(from, to, type);
    // Only the source side's context decides.
    Context* context = nodeOf(from).context();
    if (context && context->paramBValue(_forceSingleDataTypeRouteID)) {
        KWARNING("Invalid type mismatch in Route::create(): \n");
        from.dump();
        to.dump();
        return nullptr;
    }
    KNOTICE("Valid type mismatch in Route::create(): \n");
    return new Route(from, to, type);
}

Route* Route::create(Field& from, Field& to, Type type, bool force) {
    if (!from.outSlot()) from.createOutSlot(force);
    if (!to.inSlot()) to.createInSlot(force);
    if (from.outSlot() && to.inSlot()) return create(*from.outSlot(), *to.inSlot(), type);
    const NodePartDesc* fromDesc = from.getDesc();
    const NodePartDesc* toDesc = to.getDesc();
    KFATAL("Route::create() on field failed %s.%s to %s.%s\n", from.getNode()->getName().c_str(),
           fromDesc ? fromDesc->name.c_str() : "NoName", to.getNode()->getName().c_str(),
           toDesc ? toDesc->name.c_str() : "NoName");
    return nullptr;
}

Route::Route(EventOutSlot& from, EventInSlot& to, Type type)
    : _source(&from), _target(&to), _type(type) {
    from._routeBag.push_back(this);
    to._routeBag.push_back(this);
    Node& fromNode = nodeOf(from);
    Node& toNode = nodeOf(to);
    fromNode.getProc()->routeAdded(*this);
    toNode.getProc()->routeAdded(*this);
    notifySubject(newRouteSubject(), 0.0, this);
    if (fromNode.logFeature(Node::LogRoute) || toNode.logFeature(Node::LogRoute)) {
        std::string label;
        for (unsigned int bit : {Default, Trigger, IS, Import})
            if (_type & bit) label += _typeNameVec[bit];
        KLOG("Create %s-Route %s/%s.%s to %s/%s.%s\n", label.c_str(), fromNode.typeName(),
             fromNode.getName().c_str(), partName(from), toNode.typeName(),
             toNode.getName().c_str(), partName(to));
    }
    // A route that a scene declared ties its scopes: their nodes may no longer be released.
    constexpr int kRuntimeOrDynamic = CreatorRuntime | CreatorDynamic;
    if (!(_type & Trigger) && !(fromNode.creator() & kRuntimeOrDynamic) &&
        !(toNode.creator() & kRuntimeOrDynamic)) {
        if (NodeNameSpace* scope = fromNode.getNameSpace())
            scope->setFlags(scope->flags() | NodeNameSpace::HasNamedRoute);
        if (NodeNameSpace* scope = toNode.getNameSpace())
            scope->setFlags(scope->flags() | NodeNameSpace::HasNamedRoute);
    }
    RouteStatics& s = statics();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.routes.insert(this);
}

Route::~Route() {
    Node& fromNode = nodeOf(*_source);
    Node& toNode = nodeOf(*_target);
    // A node's behaviour goes before the fields of its base class.
    if (NodeProc* proc = fromNode.getProc()) proc->routeRemoved(*this);
    if (NodeProc* proc = toNode.getProc()) proc->routeRemoved(*this);
    notifySubject(deleteRouteSubject(), 0.0, this);
    if (fromNode.logFeature(Node::LogRoute) || toNode.logFeature(Node::LogRoute))
        KLOG("Remove Route %s/%s.%s to %s/%s.%s\n", fromNode.typeName(), fromNode.getName().c_str(),
             partName(*_source), toNode.typeName(), toNode.getName().c_str(), partName(*_target));
    removeFrom(_source->_routeBag, this);
    removeFrom(_target->_routeBag, this);
    RouteStatics& s = statics();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.routes.erase(this);
}

void Route::dump() const {
    KLOG("Route: %s\n", typeName());
    _source->dump();
}

unsigned int Route::routeCount() {
    RouteStatics& s = statics();
    std::lock_guard<std::mutex> lock(s.mutex);
    return unsigned(s.routes.size());
}

unsigned int Route::fillRouteVec(std::vector<Route*>& result, NodeNameSpace* scope,
                                 unsigned int mask) {
    RouteStatics& s = statics();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (Route* route : s.routes) {
        if (!(route->_type & mask)) continue;
        if (scope && nodeOf(*route->_source).getNameSpace() != scope) continue;
        result.push_back(route);
    }
    return unsigned(result.size());
}

}  // namespace Kalvex
