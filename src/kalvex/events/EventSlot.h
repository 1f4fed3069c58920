#pragma once

#include <vector>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/BaseObject.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Field;
class Route;

// The point where a field meets routes. A field owns its slots and makes them on demand; the
// slot's subject is made when somebody asks for it.
class EventSlot : public BaseObject {
  public:
    explicit EventSlot(Field& field) : _field(&field), _processEventSubject(nullptr) {}
    EventSlot(const EventSlot& other);
    ~EventSlot() override;

    virtual NodePartType type() const = 0;
    virtual const char* typeName() const = 0;
    virtual const char* findName() const = 0;

    Field& field() const { return *_field; }
    Subject* processEventSubject();
    Subject* existingProcessEventSubject() const { return _processEventSubject; }
    unsigned int routeCount(bool all) const;
    bool hasAnyRoute(bool all) const;

    static Subject _anyProcessEvent;

  protected:
    Field* _field;
    Subject* _processEventSubject;
    std::vector<Route*> _routeBag;
};

class EventInSlot : public EventSlot {
  public:
    explicit EventInSlot(Field& field) : EventSlot(field) {}
    EventInSlot(const EventInSlot& other);

    NodePartType type() const override { return PartEventIn; }
    const char* typeName() const override { return _typeName; }
    const char* findName() const override;

    static const char* _typeName;
};

class EventOutSlot : public EventSlot {
  public:
    explicit EventOutSlot(Field& field) : EventSlot(field) {}
    EventOutSlot(const EventOutSlot& other);

    NodePartType type() const override { return PartEventOut; }
    const char* typeName() const override { return _typeName; }
    const char* findName() const override;

    // Sends the owning field's value: tells the subjects, then the routes.
    void sendEvent(const TimeStamp& time, bool onlyIS);

    static const char* _typeName;
};

}  // namespace Kalvex
