#include "kalvex/events/EventSlot.h"

#include "kalvex/fields/Field.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

Subject EventSlot::_anyProcessEvent("anyProcessEvent");
const char* EventInSlot::_typeName = "EventIn";
const char* EventOutSlot::_typeName = "EventOut";

EventSlot::EventSlot(const EventSlot& other)
    : BaseObject(other), _field(other._field), _processEventSubject(nullptr) {
    KFATAL("Calling EventSlot copy constructor\n");
}

EventSlot::~EventSlot() {
    delete _processEventSubject;
}

Subject* EventSlot::processEventSubject() {
    if (!_processEventSubject) {
        NodePartDesc* desc = _field->getDesc();
        _processEventSubject = new Subject(desc ? desc->name.c_str() : "NoName");
    }
    return _processEventSubject;
}

unsigned int EventSlot::routeCount(bool all) const {
    // Routes join slots with the event subsystem; a slot without one counts none.
    return all ? unsigned(_routeBag.size()) : 0;
}

bool EventSlot::hasAnyRoute(bool all) const {
    return all && !_routeBag.empty();
}

EventInSlot::EventInSlot(const EventInSlot& other) : EventSlot(other) {
    KFATAL("Run invalid EventInSlot copy constructor\n");
}

const char* EventInSlot::findName() const {
    NodePartDesc* desc = _field->getDesc();
    return desc ? desc->inSlotName.c_str() : nullptr;
}

EventOutSlot::EventOutSlot(const EventOutSlot& other) : EventSlot(other) {
    KFATAL("Run invalid EventOutSlot copy constructor\n");
}

const char* EventOutSlot::findName() const {
    NodePartDesc* desc = _field->getDesc();
    return desc ? desc->outSlotName.c_str() : nullptr;
}

void EventOutSlot::sendEvent(const TimeStamp& time, bool) {
    notifySubject(&_anyProcessEvent, time, this, _field);
    notifySubject(_processEventSubject, time, this, _field);
}

}  // namespace Kalvex
