#include "kalvex/fields/Field.h"

#include <algorithm>
#include <cstring>

#include "kalvex/events/EventSlot.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

const NodePartMask NodePart::_nullMask(0);
const char* Field::_typeName = "Field";

bool NodePart::isNodeTypePart() const {
    // Inherited rows are shared with the parent type and keep their own _refType: only the
    // row under the part's index tells.
    return _desc && _node->getType().findPartDesc(_desc->ID) == _desc;
}

void Field::releaseParts() {
    delete _listeners;
    delete _inSlot;
    delete _outSlot;
    _listeners = nullptr;
    _inSlot = nullptr;
    _outSlot = nullptr;
}

const char* Field::findName() const {
    if (!_desc) {
        KWARNING("Field without desc cannot return name\n");
        return nullptr;
    }
    return _desc->name.c_str();
}

NodePartType Field::type() const {
    return _desc ? _desc->partType : PartField;
}

bool Field::setAndValidateValueByStr(const char* text, bool) {
    setValueByStr(text);
    return true;
}

void Field::setValueByBin(const std::string&) {}
std::string Field::getBinValue(int) const {
    return std::string();
}
std::string Field::get1ValueAsBin(int) const {
    return std::string();
}
void Field::set1ValueByBin(int, const std::string&) {}

int Field::splitAndAddValues(const char* text, const char* delimiters) {
    if (!text) return 0;
    int count = 0;
    bool inValue = false;
    for (const char* p = text; *p; ++p) {
        bool delimiter = std::strchr(delimiters, *p) != nullptr;
        if (!delimiter && !inValue) {
            addValueByStr(p, CardinalitySingle);
            ++count;
        }
        inValue = !delimiter;
    }
    return count;
}

std::string Field::strValue() const {
    std::string text;
    getStrValue(text);
    return text;
}

void Field::createInSlot(bool force) {
    if (force || (_desc && (_desc->partType == PartEventIn || _desc->partType == PartExposedField)))
        _inSlot = new EventInSlot(*this);
}

void Field::createOutSlot(bool force) {
    if (force ||
        (_desc && (_desc->partType == PartEventOut || _desc->partType == PartExposedField)))
        _outSlot = new EventOutSlot(*this);
}

unsigned int Field::inRouteCount(bool all, bool withObservers) const {
    if (!_inSlot) return 0;
    unsigned int count = _inSlot->routeCount(all);
    if (withObservers) count += unsigned(_inSlot->processEventSubject()->countObserver());
    return count;
}

unsigned int Field::outRouteCount(bool all, bool withObservers) const {
    if (!_outSlot) return 0;
    unsigned int count = _outSlot->routeCount(all);
    if (withObservers) count += unsigned(_outSlot->processEventSubject()->countObserver());
    return count;
}

void Field::addListener(Listener* listener) {
    if (!_listeners) _listeners = new ListenerList;
    _listeners->push_back(listener);
}

void Field::removeListener(Listener* listener) {
    if (!_listeners) return;
    _listeners->remove(listener);
    if (_listeners->empty()) {
        delete _listeners;
        _listeners = nullptr;
    }
}

void Field::callListeners(const TimeStamp& time) {
    if (!_listeners) return;
    for (Listener* listener : *_listeners) listener->valueChanged(time, *this);
}

bool Field::receive(const TimeStamp& time) {
    if (_desc && _node->logFeature(Node::LogEventIn)) {
        std::string value = strValue();
        KLOG("%s/%s Field Receive on %s: %f/%s\n", _node->typeName(), _node->getName().c_str(),
             _desc->name.c_str(), time, value.c_str());
    }
    Node& node = *_node;
    node.addRef();
    node.fieldChanged(*this, time, nullptr);
    bool alive = true;
    if (node.refCount() < 2) {
        KLOG("SubRef to zero in Field::receive()\n");
        alive = false;
    }
    node.subRef();
    return alive;
}

// markChanged and send live with the event slots, where a routed event passes them.

void Field::processValueChange(const TimeStamp& time, CallerType caller) {
    if (!_desc) return;
    Node& node = *_node;
    if (node.logFeature(Node::LogValueChange))
        KLOG("%s/%s.%s: processValueChange()\n", node.typeName(), node.getName().c_str(),
             _desc->name.c_str());
    if (node._isChangingMask.test(_desc->mask) && _desc->autoProcess())
        KWARNING("%s/%s.%s: processValueChange() && _isChangingMask set\n", node.typeName(),
                 node.getName().c_str(), _desc->name.c_str());
    if (node.getState() != Realize && node.getState() != Live) {
        markChanged();
        send(0.0, true, true);
        return;
    }
    switch (_desc->partType) {
        case PartField:
        case PartEventOut:
            markChanged();
            send(time, true, false);
            break;
        case PartEventIn:
            markChanged();
            if (receive(time)) send(time, true, false);
            break;
        case PartExposedField:
            markChanged();
            if (receive(time) && (_desc->autoProcess() || caller == CallerForceSend))
                send(time, true, false);
            break;
        default:
            break;
    }
}

void Field::applyDefaultValue(const NodePartDesc& desc) {
    setValueByStr(desc.defaultValue.c_str());
}

bool Field::valueIsDefault() {
    if (!_desc) return true;
    if (Node* decl = _node->getType().protoDeclaration()) {
        if (Field* declField = decl->getField(_desc->ID)) return equalValue(*declField);
    }
    if (_desc->defaultValue.empty()) {
        if (cardinality() == CardinalityMulti) return size() == 0;
        if (dataType() == SFStringType) return strValue().empty();
        return false;
    }
    Field* temp = FieldType::create(dataType(), *_node);
    if (!temp) return false;
    temp->setValueByStr(_desc->defaultValue.c_str());
    bool equal = equalValue(*temp);
    delete temp;
    return equal;
}

void Field::dump(bool withNode) const {
    std::string value = strValue();
    KLOG("FieldDump: %s, dataType %s, value: %s\n", _desc ? _desc->name.c_str() : "NoName",
         dataTypeName(), value.c_str());
    if (withNode)
        KLOG(" Node: %s, %s, %s\n", _node->getName().c_str(), _node->stateName(),
             _node->typeName());
}

}  // namespace Kalvex
