#include "kalvex/events/EventSlot.h"

#include "kalvex/events/Route.h"
#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/object/Logging.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

Subject EventSlot::_anyProcessEvent("anyProcessEvent");
const char* EventInSlot::_typeName = "EventIn";
const char* EventOutSlot::_typeName = "EventOut";

namespace {

const char* partName(const Field& field) {
    const NodePartDesc* desc = field.getDesc();
    return desc ? desc->name.c_str() : "NoName";
}

const char* scopeName(const Node& node) {
    const NodeNameSpace* scope = node.getNameSpace();
    return scope ? scope->getName().c_str() : "";
}

}  // namespace

EventSlot::EventSlot(const EventSlot& other)
    : BaseObject(other), _field(other._field), _processEventSubject(nullptr) {
    KFATAL("Calling EventSlot copy constructor\n");
}

EventSlot::~EventSlot() {
    delete _processEventSubject;
    _processEventSubject = nullptr;
    disconnectAll();
}

Subject* EventSlot::processEventSubject() {
    if (!_processEventSubject) _processEventSubject = new Subject(partName(*_field));
    return _processEventSubject;
}

bool EventSlot::hasAnyRoute(bool all) const {
    if (all) return !_routeBag.empty();
    for (const Route* route : _routeBag)
        if (route->type() != Route::Default) return true;
    return false;
}

unsigned int EventSlot::routeCount(bool all) const {
    if (all) return unsigned(_routeBag.size());
    unsigned int count = 0;
    for (const Route* route : _routeBag)
        if (route->type() == Route::Default) ++count;
    return count;
}

void EventSlot::disconnectAll() {
    // Each route takes itself out of this bag (and the far one) as it dies.
    while (!_routeBag.empty()) delete _routeBag.front();
}

void EventSlot::dump() const {
    KLOG("%s: %s, dataType %s, routes: %d\n", typeName(), partName(*_field), _field->dataTypeName(),
         int(_routeBag.size()));
}

// --- in slot -----------------------------------------------------------------------------------

EventInSlot::EventInSlot(const EventInSlot& other) : EventSlot(other) {
    KFATAL("Run invalid EventInSlot copy constructor\n");
}

const char* EventInSlot::findName() const {
    const NodePartDesc* desc = _field->getDesc();
    return desc ? desc->inSlotName.c_str() : nullptr;
}

void EventInSlot::processEvent(const TimeStamp& time, Field& value, ConvertParam* param) {
    receiveEvent(time, value, param, nullptr);
}
void EventInSlot::processEvent(const TimeStamp& time) {
    receiveEvent(time, nullptr);
}
void EventInSlot::processEvent(const TimeStamp& time, const char* text) {
    receiveEvent(time, text, nullptr);
}
void EventInSlot::processEvent(const TimeStamp& time, unsigned char* data, unsigned int size) {
    receiveEvent(time, data, size, nullptr);
}

Route* EventInSlot::findRoute(const EventOutSlot* from) const {
    if (!from) return nullptr;
    for (Route* route : _routeBag)
        if (&route->source() == from) return route;
    return nullptr;
}

Route* EventInSlot::connect(EventOutSlot& from) {
    return Route::create(from, *this, Route::Default);
}

bool EventInSlot::disconnect(EventOutSlot* from) {
    Route* route = findRoute(from);
    delete route;
    return route != nullptr;
}

void EventInSlot::receiveEvent(const TimeStamp& time, Field& value, ConvertParam* param,
                               Route* route) {
    Field& field = *_field;
    Node& node = *field.getNode();
    const NodePartDesc* desc = field.getDesc();
    bool process = desc != nullptr;
    const bool autoSend = desc ? desc->autoProcess() : true;
    bool onlyIS = false;
    if (!desc && !_processEventSubject) KLOG("EventInSlot::receiveEvent without desc\n");

    if (node.getState() == Setup) {
        if (route && (route->type() & Route::IS)) {
            // Passed on inside the prototype without waking the node.
            onlyIS = true;
            process = false;
        } else {
            node.setState(time, Realize);
        }
    }

    Field* source = nullptr;
    if (&value != &field) {
        source = &value;
        if (!field.setValueByField(value, param)) {
            KFATAL("receiveEvent(): _field.setValueByField() failed\n");
            KFATAL("  %s field: %s.%s\n", field.dataTypeName(), node.typeName(), partName(field));
            KFATAL("  %s input: %s.%s\n", value.dataTypeName(), value.getNode()->typeName(),
                   partName(value));
        } else if (!route || !(route->type() & Route::Trigger)) {
            field.markChanged();
        }
    }

    if (desc && node.logFeature(Node::LogEventIn)) {
        std::string text = value.strValue();
        KLOG("%s/%s/%s/%s ReceiveEvent on %s: %f/%s\n", node.typeName(), scopeName(node),
             node.getName().c_str(), process ? "pro" : "noPro", desc->name.c_str(), time,
             text.c_str());
    }
    notifySubject(&_anyProcessEvent, time, this, &value);
    notifySubject(_processEventSubject, time, this, &value);

    if (node._isChangingMask.test(field.partMask())) {
        KINFO("Field %s/%s.%s is already changing; break loop\n", node.typeName(),
              node.getName().c_str(), partName(field));
        return;
    }
    if (process) {
        // The behaviour may drop the last reference to its own node: then the cascade ends
        // here and the node goes once nothing of it is in use. A node nobody holds is left
        // as it is: holding it here would end it.
        const bool held = node.refCount() > 0;
        if (held) node.addRef();
        node.fieldChanged(field, time, source);
        const bool alive = !held || node.refCount() > 1;
        if (alive && autoSend) field.send(time, true, onlyIS);
        if (held) node.subRef();
        return;
    }
    if (autoSend) field.send(time, true, onlyIS);
}

void EventInSlot::receiveEvent(const TimeStamp& time, Route* route) {
    const NodePartDesc* desc = _field->getDesc();
    if (desc && !desc->autoProcess()) {
        KWARNING("EventInSlot::receiveEvent without field data on NO_AP field\n");
        return;
    }
    receiveEvent(time, *_field, nullptr, route);
}

void EventInSlot::receiveEvent(const TimeStamp& time, const char* text, Route* route) {
    _field->setValueByStr(text);
    receiveEvent(time, *_field, nullptr, route);
}

void EventInSlot::receiveEvent(const TimeStamp& time, unsigned char* data, unsigned int size,
                               Route* route) {
    _field->setValueByBin(data, size);
    receiveEvent(time, *_field, nullptr, route);
}

// --- out slot ----------------------------------------------------------------------------------

EventOutSlot::EventOutSlot(const EventOutSlot& other) : EventSlot(other) {
    KFATAL("Run invalid EventOutSlot copy constructor\n");
}

const char* EventOutSlot::findName() const {
    const NodePartDesc* desc = _field->getDesc();
    return desc ? desc->outSlotName.c_str() : nullptr;
}

void EventOutSlot::processEvent(const TimeStamp& time, Field& value, ConvertParam* param) {
    sendEvent(time, value, param, false);
}
void EventOutSlot::processEvent(const TimeStamp& time) {
    sendEvent(time, false);
}
void EventOutSlot::processEvent(const TimeStamp& time, const char* text) {
    sendEvent(time, text, false);
}
void EventOutSlot::processEvent(const TimeStamp& time, unsigned char* data, unsigned int size) {
    sendEvent(time, data, size, false);
}

Route* EventOutSlot::findRoute(const EventInSlot* to) const {
    if (!to) return nullptr;
    for (Route* route : _routeBag)
        if (&route->target() == to) return route;
    return nullptr;
}

Route* EventOutSlot::connect(EventInSlot& to) {
    return Route::create(*this, to, Route::Default);
}

bool EventOutSlot::disconnect(EventInSlot* to) {
    Route* route = findRoute(to);
    delete route;
    return route != nullptr;
}

void EventOutSlot::sendEvent(const TimeStamp& time, Field& value, ConvertParam* param,
                             bool onlyIS) {
    Node& node = *_field->getNode();
    if (_field->getDesc() && node.logFeature(Node::LogEventOut)) {
        std::string text = value.strValue();
        KLOG("%s/%s/%s SendEvent on %s: %f/%s\n", node.typeName(), scopeName(node),
             node.getName().c_str(), partName(*_field), time, text.c_str());
    }
    if (node.isExported()) node.getProc()->exportEvent(time, *this, value);
    notifySubject(&_anyProcessEvent, time, this, &value);
    notifySubject(_processEventSubject, time, this, &value);
    for (size_t i = 0; i < _routeBag.size(); ++i) {
        Route* route = _routeBag[i];
        if (!route) {
            KFATAL("No valid route entry in EventOutSlot::_routeBag\n");
            continue;
        }
        if (!onlyIS || (route->type() & Route::IS))
            route->target().receiveEvent(time, value, param, route);
    }
}

void EventOutSlot::sendEvent(const TimeStamp& time, const char* text, bool onlyIS) {
    _field->setValueByStr(text);
    sendEvent(time, *_field, nullptr, onlyIS);
}

void EventOutSlot::sendEvent(const TimeStamp& time, unsigned char* data, unsigned int size,
                             bool onlyIS) {
    _field->setValueByBin(data, size);
    sendEvent(time, *_field, nullptr, onlyIS);
}

}  // namespace Kalvex
