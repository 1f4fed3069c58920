#pragma once

#include <vector>

#include "kalvex/object/BaseObject.h"

namespace Kalvex {

class EventInSlot;
class EventOutSlot;
class Field;
class NodeNameSpace;
class Subject;

// One directed connection from an out slot to an in slot. The slots hold it by bare pointer;
// `delete route` is how a route goes, and a dying slot deletes its routes. Every live route is
// also in one process-wide set, so that writers and scopes can list them.
class Route : public BaseObject {
  public:
    // Bit values; fillRouteVec takes them combined as a mask.
    enum Type : unsigned int {
        Default = 1,  // declared in a scene or made through connect
        Trigger = 2,  // delivers and triggers, but does not mark the target changed
        IS = 4,       // a prototype's interface joined to a field of its body
        Import = 8    // passes through an import
    };

    // The checking factory. The same pair connected again answers the existing route, whatever
    // type was asked for. Unlike data types are joined unless the source side's context sets
    // forceSingleDataTypeRoute; the wildcards always join.
    static Route* create(EventOutSlot& from, EventInSlot& to, Type type);
    // Makes the missing slots first (any part kind with force); null if a side has none.
    static Route* create(Field& from, Field& to, Type type, bool force);

    // No checks: what create calls.
    Route(EventOutSlot& from, EventInSlot& to, Type type);
    Route(const Route&) = delete;
    Route& operator=(const Route&) = delete;
    ~Route() override;

    EventOutSlot& source() const { return *_source; }
    EventInSlot& target() const { return *_target; }
    Type type() const { return _type; }
    const char* typeName() const;
    void dump() const;

    static unsigned int routeCount();
    // Appends the routes whose type has a bit in mask and, with a scope, whose source node is
    // in it (the target's scope is not asked). Answers the size of result, which is not
    // cleared first.
    static unsigned int fillRouteVec(std::vector<Route*>& result, NodeNameSpace* scope,
                                     unsigned int mask);

    static Subject* newRouteSubject();
    static Subject* deleteRouteSubject();

    static const char* const _typeNameVec[9];
    static const unsigned int _forceSingleDataTypeRouteID;

  private:
    EventOutSlot* _source;
    EventInSlot* _target;
    Type _type;
};

}  // namespace Kalvex
