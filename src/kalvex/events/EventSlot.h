#pragma once

#include <vector>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/BaseObject.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class EventInSlot;
class EventOutSlot;
class Field;
class Route;
class ConvertParam;

// The point where a field meets routes. A field owns its slots and makes them on demand; the
// slot's subject is made when somebody asks for it. Delivery is one synchronous, depth-first
// cascade on the calling thread: there is no queue, and the time stamp decides nothing.
class EventSlot : public BaseObject {
  public:
    explicit EventSlot(Field& field) : _field(&field), _processEventSubject(nullptr) {}
    EventSlot(const EventSlot& other);
    // Deletes the subject, then every route of the slot, which leaves the far slots too.
    ~EventSlot() override;

    virtual NodePartType type() const = 0;
    virtual const char* typeName() const = 0;
    virtual const char* findName() const = 0;
    // Out slots send, in slots receive: the same four forms on both.
    virtual void processEvent(const TimeStamp& time, Field& value, ConvertParam* param) = 0;
    virtual void processEvent(const TimeStamp& time) = 0;
    virtual void processEvent(const TimeStamp& time, const char* text) = 0;
    virtual void processEvent(const TimeStamp& time, unsigned char* data, unsigned int size) = 0;

    Field& field() const { return *_field; }
    Subject* processEventSubject();
    Subject* existingProcessEventSubject() const { return _processEventSubject; }
    const std::vector<Route*>& routes() const { return _routeBag; }

    // With all set: any route at all, and the number of routes. Without it the two read the
    // DEFAULT type in opposite ways: hasAnyRoute asks for a route of another type, routeCount
    // counts the DEFAULT ones.
    bool hasAnyRoute(bool all) const;
    unsigned int routeCount(bool all) const;
    void disconnectAll();
    void dump() const;

    // Sees every event of the process.
    static Subject _anyProcessEvent;

  protected:
    friend class Route;

    Field* _field;
    Subject* _processEventSubject;
    std::vector<Route*> _routeBag;  // never holds null: disconnectAll would not end
};

class EventInSlot : public EventSlot {
  public:
    explicit EventInSlot(Field& field) : EventSlot(field) {}
    EventInSlot(const EventInSlot& other);

    NodePartType type() const override { return PartEventIn; }
    const char* typeName() const override { return _typeName; }
    const char* findName() const override;
    void processEvent(const TimeStamp& time, Field& value, ConvertParam* param) override;
    void processEvent(const TimeStamp& time) override;
    void processEvent(const TimeStamp& time, const char* text) override;
    void processEvent(const TimeStamp& time, unsigned char* data, unsigned int size) override;

    Route* findRoute(const EventOutSlot* from) const;
    Route* connect(EventOutSlot& from);
    bool disconnect(EventOutSlot* from);

    // Stores the value (converting it), marks the field unless the route is a TRIGGER, wakes a
    // node in Setup, and hands on to the node and the field's own routes. The node's changing
    // bit of the field breaks cycles. A held node is held once more while its behaviour runs;
    // if the behaviour lets it go, it sends nothing on and goes when the call returns.
    void receiveEvent(const TimeStamp& time, Field& value, ConvertParam* param, Route* route);
    void receiveEvent(const TimeStamp& time, Route* route);
    void receiveEvent(const TimeStamp& time, const char* text, Route* route);
    void receiveEvent(const TimeStamp& time, unsigned char* data, unsigned int size, Route* route);

    static const char* _typeName;

  private:
    friend class EventOutSlot;
    // receiveEvent's work, inlined into the out slot's loop so that a hop is one frame.
    void deliver(const TimeStamp& time, Field& value, ConvertParam* param, Route* route);
};

class EventOutSlot : public EventSlot {
  public:
    explicit EventOutSlot(Field& field) : EventSlot(field) {}
    EventOutSlot(const EventOutSlot& other);

    NodePartType type() const override { return PartEventOut; }
    const char* typeName() const override { return _typeName; }
    const char* findName() const override;
    void processEvent(const TimeStamp& time, Field& value, ConvertParam* param) override;
    void processEvent(const TimeStamp& time) override;
    void processEvent(const TimeStamp& time, const char* text) override;
    void processEvent(const TimeStamp& time, unsigned char* data, unsigned int size) override;

    Route* findRoute(const EventInSlot* to) const;
    Route* connect(EventInSlot& to);
    bool disconnect(EventInSlot* to);

    // Tells the subjects, then walks the routes by index, reading the count anew at each step:
    // a receiver may add or remove routes meanwhile. With onlyIS, only IS routes carry it.
    void sendEvent(const TimeStamp& time, Field& value, ConvertParam* param, bool onlyIS);
    void sendEvent(const TimeStamp& time, bool onlyIS) {
        sendEvent(time, *_field, nullptr, onlyIS);
    }
    // Store the data into the field first, then send it.
    void sendEvent(const TimeStamp& time, const char* text, bool onlyIS);
    void sendEvent(const TimeStamp& time, unsigned char* data, unsigned int size, bool onlyIS);

    static const char* _typeName;
};

}  // namespace Kalvex
