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

// The steps of a hop, forced inline: a routed event then costs one frame per hop (the out
// slot's sendEvent) besides the two virtual calls into the field and the node.

[[gnu::always_inline]] inline void markFieldChanged(Field& field) {
    const NodePartDesc* desc = field.getDesc();
    if (!desc) [[unlikely]] {
        KINFO("Field without desc in XField::markChanged()\n");
        return;
    }
    Node& node = *field.getNode();
    if (!(node._changeFlags & Node::FieldChanged)) {
        node.markParent(Node::DescendantChanged);
        node._changeFlags |= Node::FieldChanged;
    }
    node._changedMask |= desc->mask;
}

[[gnu::cold]] void logSend(Node& node, Field& field, Field& value, const TimeStamp& time) {
    std::string text = value.strValue();
    KLOG("%s/%s/%s SendEvent on %s: %f/%s\n", node.typeName(), scopeName(node),
         node.getName().c_str(), partName(field), time, text.c_str());
}

[[gnu::cold]] void logReceive(Node& node, const NodePartDesc& desc, Field& value, bool process,
                              const TimeStamp& time) {
    std::string text = value.strValue();
    KLOG("%s/%s/%s/%s ReceiveEvent on %s: %f/%s\n", node.typeName(), scopeName(node),
         node.getName().c_str(), process ? "pro" : "noPro", desc.name.c_str(), time, text.c_str());
}

[[gnu::cold]] void reportSetFailed(Field& field, Field& value) {
    KFATAL("receiveEvent(): _field.setValueByField() failed\n");
    KFATAL("  %s field: %s.%s\n", field.dataTypeName(), field.getNode()->typeName(),
           partName(field));
    KFATAL("  %s input: %s.%s\n", value.dataTypeName(), value.getNode()->typeName(),
           partName(value));
}

// Listeners, then the out slot with the field's changing bit set around it when asked. An
// exported node's field gets its out slot on first use, for the scope's import machinery.
[[gnu::always_inline]] inline void sendField(Field& field, const NodePartMask mask,
                                             const TimeStamp& time, bool setChanging, bool onlyIS) {
    Node& node = *field.getNode();
    if (!field.outSlot() && node.isExported()) [[unlikely]]
        field.createOutSlot(false);
    if (field.listeners()) [[unlikely]]
        field.callListeners(time);
    EventOutSlot* out = field.outSlot();
    if (!out) return;
    if (!setChanging) {
        out->sendEvent(time, field, nullptr, onlyIS);
        return;
    }
    // Clearing does not restore an earlier state: a nested send of the same field clears the
    // bit for the outer one too.
    node._isChangingMask |= mask;
    out->sendEvent(time, field, nullptr, onlyIS);
    node._isChangingMask &= ~mask;
}

}  // namespace

void Field::markChanged() {
    markFieldChanged(*this);
}

void Field::send(const TimeStamp& time, bool setChanging, bool onlyIS) {
    sendField(*this, partMask(), time, setChanging, onlyIS);
}

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
    deliver(time, value, param, route);
}

[[gnu::always_inline]] inline void EventInSlot::deliver(const TimeStamp& time, Field& value,
                                                        ConvertParam* param, Route* route) {
    Field& field = *_field;
    Node& node = *field.getNode();
    const NodePartDesc* desc = field.getDesc();
    bool process = desc != nullptr;
    const bool autoSend = desc ? desc->autoProcess() : true;
    bool onlyIS = false;
    if (!desc && !_processEventSubject) KLOG("EventInSlot::receiveEvent without desc\n");

    if (node.getState() == Setup) [[unlikely]] {
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
        if (!field.setValueByField(value, param)) [[unlikely]]
            reportSetFailed(field, value);
        else if (!route || !(route->type() & Route::Trigger))
            markFieldChanged(field);
    }

    if (desc && node.logFeature(Node::LogEventIn)) [[unlikely]]
        logReceive(node, *desc, value, process, time);
    notifySubject(&_anyProcessEvent, time, this, &value);
    notifySubject(_processEventSubject, time, this, &value);

    const NodePartMask mask = field.partMask();
    if (node._isChangingMask.test(mask)) {
        node.reportChangeLoop(field);
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
        if (alive && autoSend) sendField(field, mask, time, true, onlyIS);
        if (held) node.subRef();
        return;
    }
    if (autoSend) sendField(field, mask, time, true, onlyIS);
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
    if (_field->getDesc() && node.logFeature(Node::LogEventOut)) [[unlikely]]
        logSend(node, *_field, value, time);
    if (node.isExported()) [[unlikely]]
        node.getProc()->exportEvent(time, *this, value);
    notifySubject(&_anyProcessEvent, time, this, &value);
    notifySubject(_processEventSubject, time, this, &value);
    // By index: a behaviour down the cascade may add routes to this slot.
    for (size_t i = 0; i < _routeBag.size(); ++i) {
        Route* route = _routeBag[i];
        if (!route) [[unlikely]] {
            KFATAL("No valid route entry in EventOutSlot::_routeBag\n");
            continue;
        }
        if (!onlyIS || (route->type() & Route::IS))
            route->target().deliver(time, value, param, route);
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
