// Exports, imports and routes by name: how events cross from a scene into an inline scene's
// scope and back, and how loaders make and delete routes.

#include "kalvex/events/EventSlot.h"
#include "kalvex/events/Route.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/object/Subject.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

namespace {

const char* orNull(const char* text) {
    return text ? text : "NULL";
}

Route* refuseRoute(const char* fromNode, const char* fromField, const char* toNode,
                   const char* toField, const char* reason) {
    KWARNING("Can't create ROUTE >%s.%s< TO >%s.%s<: %s\n", orNull(fromNode), orNull(fromField),
             orNull(toNode), orNull(toField), reason);
    return nullptr;
}

bool refuseDelete(const char* fromNode, const char* fromField, const char* toNode,
                  const char* toField, const std::string& reason) {
    KWARNING("Can't delete ROUTE >%s.%s< TO >%s.%s<: %s\n", orNull(fromNode), orNull(fromField),
             orNull(toNode), orNull(toField), reason.c_str());
    return false;
}

// The exported node that an import names, through the inline node's child scope; the export
// entry is left in *found when there is one.
Node* exportedNode(Node& inlineNode, const NodeNameSpace::Import& import,
                   const NodeNameSpace::Export** found) {
    NodeNameSpace* inner = inlineNode.getProc()->childNameSpace();
    if (!inner) return nullptr;
    for (auto it = inner->beginExport(); it != inner->endExport(); ++it) {
        if (it->first != import.exportedName()) continue;
        *found = it->second.get();
        return NodeNameSpace::findNode(inner, it->second->localName());
    }
    return nullptr;
}

}  // namespace

// --- records ------------------------------------------------------------------------------------

void NodeNameSpace::Import::shutdown() const {
    // Observers first: they are attached to subjects of the proxies' in slots.
    for (Observer* observer : _observers) delete observer;
    _observers.clear();
    for (auto& entry : _outFieldMap) delete entry.second;
    for (auto& entry : _inFieldMap) delete entry.second;
    _outFieldMap.clear();
    _inFieldMap.clear();
}

NodeNameSpace::EventReceiveObserver::EventReceiveObserver(NodeNameSpace& nameSpace, Import& import,
                                                          const std::string& field)
    : Observer("EventReceiveObserver"), _nameSpace(nameSpace), _import(import), _fieldName(field) {}

void NodeNameSpace::EventReceiveObserver::notify(const TimeStamp& time, BaseObject* a,
                                                 BaseObject* b, BaseObject*) {
    if (!dynamic_cast<EventInSlot*>(a)) return;
    Field* field = dynamic_cast<Field*>(b);
    if (!field) return;
    _nameSpace.transferEventToExport(time, *field, _import, _fieldName);
}

// --- exports ------------------------------------------------------------------------------------

bool NodeNameSpace::updateExportedNode(const std::string& localName, const std::string& asName) {
    Node* node = findNode(this, localName);
    if (!node) return false;
    const std::string local = trimmed(localName);
    const std::string as = trimmed(asName);
    const std::string key = as.empty() ? local : as;
    auto it = _exportMap.find(key);
    if (it == _exportMap.end()) {
        it = _exportMap.emplace(key, SmartPtr<Export>(new Export)).first;
    } else if (Node* former = findNode(this, it->second->_localName)) {
        former->_exportName = nullptr;
    }
    it->second->_localName = local;
    it->second->_asName = as;
    node->_exportName = &it->first;
    _flags |= HasImportExport;
    return true;
}

Node* NodeNameSpace::getExportedNode(const std::string& name) {
    auto it = _exportMap.find(trimmed(name));
    return it == _exportMap.end() ? nullptr : findNode(this, it->second->_localName);
}

bool NodeNameSpace::removeExportedNode(const std::string& name) {
    auto it = _exportMap.find(trimmed(name));
    if (it == _exportMap.end()) return false;
    if (Node* node = findNode(this, it->second->_localName))
        if (node->_exportName == &it->first) node->_exportName = nullptr;
    _exportMap.erase(it);
    return true;
}

// --- imports ------------------------------------------------------------------------------------

bool NodeNameSpace::updateImportedNode(const std::string& exportedName,
                                       const std::string& localName, Node* inlineNode) {
    const std::string exported = trimmed(exportedName);
    const std::string local = trimmed(localName);
    const std::string key = local.empty() ? exported : local;
    if (!inlineNode || findNode(this, key)) return false;
    auto it = _importMap.find(key);
    if (it == _importMap.end()) it = _importMap.emplace(key, SmartPtr<Import>(new Import)).first;
    Import& import = *it->second;
    import._inlineNodeName =
        inlineNode->getName().empty() ? inlineNode->getIDStr() : inlineNode->getName();
    import._asName = local;
    import._exportedName = exported;
    // Plain assignment: a named-route bit set before is dropped here.
    _flags = HasImportExport;
    return true;
}

bool NodeNameSpace::updateImportedNode(const std::string& exportedName,
                                       const std::string& localName,
                                       const std::string& inlineNodeName) {
    Node* inlineNode = findNode(this, inlineNodeName);
    return inlineNode && updateImportedNode(exportedName, localName, inlineNode);
}

Node* NodeNameSpace::getImportedNode(const std::string& name) {
    auto it = _importMap.find(trimmed(name));
    if (it == _importMap.end()) return nullptr;
    Node* inlineNode = findNode(this, it->second->_inlineNodeName);
    const Export* found = nullptr;
    return inlineNode ? exportedNode(*inlineNode, *it->second, &found) : nullptr;
}

bool NodeNameSpace::removeImportedNode(const std::string& name) {
    auto it = _importMap.find(trimmed(name));
    if (it == _importMap.end()) return false;
    _importMap.erase(it);
    return true;
}

Node& NodeNameSpace::importDummyNode() {
    if (!_importDummyNode)
        _importDummyNode =
            new SmartPtr<Node>(NodeType::createNode(this, nullptr, nullptr, CreatorSystem));
    return **_importDummyNode;
}

// --- routes by name -----------------------------------------------------------------------------

Route* NodeNameSpace::createRoute(const char* fromNode, const char* fromField, const char* toNode,
                                  const char* toField) {
    auto refuse = [&](const char* reason) {
        return refuseRoute(fromNode, fromField, toNode, toField, reason);
    };

    if (!fromNode) return refuse("Invalid fromNodeName");
    EventOutSlot* out = nullptr;
    if (auto it = _importMap.find(fromNode); it != _importMap.end()) {
        Field*& proxy = it->second->_outFieldMap[fromField ? fromField : ""];
        if (!proxy) proxy = new XFAny(importDummyNode());
        if (!proxy->outSlot()) proxy->createOutSlot(true);
        out = proxy->outSlot();
    } else {
        Node* node = findNode(this, fromNode);
        if (!node) return refuse("Invalid fromNode");
        Field* field = fromField ? node->findField(fromField, Node::SearchRouteOutput) : nullptr;
        if (field && !field->outSlot()) field->createOutSlot(false);
        if (!field || !field->outSlot()) return refuse("Invalid outSlot");
        out = field->outSlot();
    }

    if (!toNode) return refuse("Invalid toNodeName");
    EventInSlot* in = nullptr;
    Route::Type type = Route::Default;
    if (auto it = _importMap.find(toNode); it != _importMap.end()) {
        Import& import = *it->second;
        const std::string name = toField ? toField : "";
        Field*& proxy = import._inFieldMap[name];
        if (!proxy) {
            auto* observer = new EventReceiveObserver(*this, import, name);
            import._observers.push_back(observer);
            proxy = new XFAny(importDummyNode());
            proxy->createInSlot(true);
            proxy->inSlot()->processEventSubject()->attach(*observer);
        }
        in = proxy->inSlot();
        type = Route::Import;
    } else {
        Node* node = findNode(this, toNode);
        if (!node) return refuse("Invalid toNode");
        Field* field = toField ? node->findField(toField, Node::SearchRouteInput) : nullptr;
        if (field && !field->inSlot()) field->createInSlot(false);
        if (!field || !field->inSlot()) return refuse("Invalid inSlot");
        in = field->inSlot();
    }

    Route* route = Route::create(*out, *in, type);
    if (!route) return refuse("Type mismatch");
    KINFO("CreateRoute: >%s.%s< to >%s.%s<\n", fromNode, orNull(fromField), toNode,
          orNull(toField));
    return route;
}

bool NodeNameSpace::deleteRoute(const char* fromNode, const char* fromField, const char* toNode,
                                const char* toField) {
    auto refuse = [&](const std::string& reason) {
        return refuseDelete(fromNode, fromField, toNode, toField, reason);
    };
    Node* from = fromNode ? findNode(this, fromNode) : nullptr;
    if (!from) return refuse("Invalid fromNode");
    Node* to = toNode ? findNode(this, toNode) : nullptr;
    if (!to) return refuse("Invalid toNode");
    Field* outField = fromField ? from->findField(fromField, Node::SearchAllNames) : nullptr;
    if (outField && !outField->outSlot()) outField->createOutSlot(false);
    if (!outField || !outField->outSlot()) return refuse("Invalid outSlot");
    Field* inField = toField ? to->findField(toField, Node::SearchAllNames) : nullptr;
    if (!inField || !inField->inSlot()) return refuse("Invalid inSlot");
    if (!outField->outSlot()->disconnect(inField->inSlot()))
        return refuse(std::string("Type mismatch (") + outField->dataTypeName() + "/" +
                      inField->dataTypeName() + ")");
    KINFO("DeleteRoute: >%s.%s< to >%s.%s<\n", fromNode, fromField, toNode, toField);
    return true;
}

// --- events across the scopes -------------------------------------------------------------------

void NodeNameSpace::transferEventToExport(const TimeStamp& time, Field& field, Import& import,
                                          const std::string& fieldName) {
    const char* exported = import._exportedName.c_str();
    Node* inlineNode = findNode(this, import._inlineNodeName);
    if (!inlineNode) return;  // the inline content may not be loaded yet
    const Export* found = nullptr;
    Node* node = exportedNode(*inlineNode, import, &found);
    if (!found) {
        KFATAL("Import/Export error: %s.%s cannot find export\n", exported, fieldName.c_str());
        return;
    }
    if (!node) {
        KFATAL("Import/Export error: %s.%s cannot find node\n", exported, fieldName.c_str());
        return;
    }
    Field* target = node->findField(fieldName, Node::SearchAllNames);
    if (!target) {
        KFATAL("Import/Export error: %s.%s cannot find field\n", exported, fieldName.c_str());
        return;
    }
    if (!target->inSlot()) target->createInSlot(false);
    if (!target->inSlot()) {
        KFATAL("Import/Export error: %s.%s cannot provide inslot\n", exported, fieldName.c_str());
        return;
    }
    target->inSlot()->receiveEvent(time, field, nullptr, nullptr);
}

void NodeNameSpace::transferEventFromExport(const TimeStamp& time, Field& field,
                                            EventOutSlot& slot) {
    Node& node = *slot.field().getNode();
    const NodePartDesc* desc = slot.field().getDesc();
    if (!desc) {
        KFATAL("Import/Export error: missing export description\n");
        return;
    }
    if (!node._exportName || node._exportName->empty()) {
        KFATAL("Import/Export error: %s missing exportName\n", desc->name.c_str());
        return;
    }
    const std::string& exportName = *node._exportName;
    if (!_parent) {
        KFATAL("Import/Export error: %s.%s no parent namespace\n", exportName.c_str(),
               desc->name.c_str());
        return;
    }
    // Held: a route's target may remove the import while the event is under way.
    std::vector<SmartPtr<Import>> imports;
    for (auto& entry : _parent->_importMap)
        if (entry.second->_exportedName == exportName) imports.push_back(entry.second);
    for (const SmartPtr<Import>& import : imports) {
        for (auto& [name, proxy] : import->_outFieldMap) {
            if (name.empty() ||
                (name != desc->name && name != desc->inSlotName && name != desc->outSlotName))
                continue;
            if (!proxy->outSlot()) proxy->createOutSlot(true);
            proxy->outSlot()->sendEvent(time, field, nullptr, false);
        }
    }
}

}  // namespace Kalvex
