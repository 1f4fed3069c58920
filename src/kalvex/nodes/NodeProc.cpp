#include "kalvex/nodes/NodeProc.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>

#include "kalvex/events/EventSlot.h"
#include "kalvex/events/Route.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/object/Subject.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/ContextSetup.h"
#include "kalvex/runtime/System.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "kalvex/traversal/CollectAction.h"
#include "kalvex/traversal/CopyAction.h"
#include "kalvex/traversal/GenericAction.h"
#include "kalvex/traversal/NameSpaceTransferAction.h"
#include "kalvex/traversal/SynchronizeAction.h"

namespace Kalvex {

// "fieldValueChanged" shares 4 with "route" and 5 is unused; "none" sets bit 0 and so clears
// nothing. Both stay so: masks stored by hosts depend on them.
const StringDic NodeProc::_logFeatureDic[] = {
    {"none", 0},    {"state", 1},       {"child", 2},
    {"parent", 3},  {"route", 4},       {"fieldValueChanged", 4},
    {"eventIn", 6}, {"eventOut", 7},    {"guiView", 8},
    {"guiEdit", 9}, {"everything", 10}, {"", 0}};

namespace {

constexpr int kLogEverything = 10;

// The entry whose word equals text, compared through tolower; null if none.
const StringDic* lookUpDic(const StringDic* dic, const std::string& lowered) {
    for (const StringDic* entry = dic; *entry->str; ++entry)
        if (equalNoCase(entry->str, lowered)) return entry;
    return nullptr;
}

void logValidWords(const StringDic* dic) {
    for (const StringDic* entry = dic; *entry->str; ++entry)
        KWARNING("  valid setting: %s\n", entry->str);
}

std::string maskBits(unsigned long mask) {
    std::string bits(64, '0');
    for (unsigned int i = 0; i < 64; ++i)
        if ((mask >> i) & 1UL) bits[i] = '1';
    return bits;
}

// Appends the raw targets of every link field of node.
void appendChildren(const Node& node, std::vector<Node*>& out) {
    for (Field* field : node.fieldVec()) {
        if (!field) continue;
        const int kind = Node::linkKind(*field);
        if (kind == SFNodeType) {
            if (Node* target = static_cast<SFNode*>(field)->rawNode()) out.push_back(target);
        } else if (kind == MFNodeType) {
            for (const NodeLink& link : static_cast<MFNode*>(field)->getValue())
                if (Node* target = link.rawNode()) out.push_back(target);
        }
    }
}

}  // namespace

NodeProc::NodeProc(NodeType&, Node& node) : _partDescMap(nullptr), _node(node) {}

NodeProc::NodeProc(const NodeProc& other)
    : AttachmentBag(other), _partDescMap(nullptr), _node(other._node) {}

NodeProc::~NodeProc() {
    if (!_partDescMap) return;
    for (auto& entry : *_partDescMap) {
        Field* field = _node.getField(entry.first);
        if (field && field->getDesc() == entry.second) {
            _node._fieldVec[entry.first] = nullptr;
            delete field;
        }
        delete entry.second;
    }
    delete _partDescMap;
    _partDescMap = nullptr;
}

// --- callbacks ---------------------------------------------------------------------------------

void NodeProc::setup(const TimeStamp&) {}
void NodeProc::initialize(const TimeStamp&) {
    updateLogFeatureMask();
}
void NodeProc::attach(const TimeStamp&) {}
void NodeProc::detach(const TimeStamp&) {}
void NodeProc::shutdown(const TimeStamp&) {}
void NodeProc::dispose(const TimeStamp&) {}
void NodeProc::childChanged(const TimeStamp&) {}
void NodeProc::nodeChanged(const TimeStamp&, const BitVector<unsigned long>&) {}
void NodeProc::parentAdded(NodeLink&) {}
void NodeProc::parentRemoved(NodeLink&) {}
void NodeProc::fieldAdded(Field&) {}
void NodeProc::fieldRemoved(Field&) {}
void NodeProc::routeAdded(Route&) {}
void NodeProc::routeRemoved(Route&) {}

// The context's time is looked up only when something uses it (most links change outside a
// live scene with nobody listening), and then before the state change, as always.
void NodeProc::childAdded(NodeLink& link) {
    Node* child = link.rawNode();
    TimeStamp time = 0.0;
    bool timed = false;
    if (child && _node.getState() == Live && child->getState() != Live) {
        time = contextTimeStamp();
        timed = true;
        child->updateLiveState(time, nullptr);
    }
    Subject* subject = Node::childAddedSubject();
    if (subject->wantsNotify())
        subject->notifyObserver(timed ? time : contextTimeStamp(), &_node, &link, nullptr);
}

void NodeProc::childRemoved(NodeLink& link) {
    Node* child = link.rawNode();
    TimeStamp time = 0.0;
    bool timed = false;
    if (child && _node.getState() == Live) {
        time = contextTimeStamp();
        timed = true;
        child->updateLiveState(time, &link);
    }
    Subject* subject = Node::childRemovedSubject();
    if (subject->wantsNotify())
        subject->notifyObserver(timed ? time : contextTimeStamp(), &_node, &link, nullptr);
}

// --- dynamic parts -----------------------------------------------------------------------------

NodePartDesc* NodeProc::addNodePart(NodePartType partType, NodePartDataType dataType,
                                    const char* name, const char* group, const char* defaultValue,
                                    const char* valueType, bool autoProcess, bool privateAccess,
                                    bool objExtension, const char* description) {
    if (!_partDescMap) _partDescMap = new PartDescMap;
    if (!name || dataType == NoDataType) {
        KFATAL("Invalid name or dataType, can not add Node Part\n");
        return nullptr;
    }
    const unsigned int id = _node.fieldCount();
    StaticParamMask options =
        (autoProcess ? StaticParamMask(NodePartDesc::OptAutoProcess) : 0u) |
        (privateAccess ? StaticParamMask(NodePartDesc::OptPrivateAccess) : 0u);
    auto* desc = new NodePartDesc(id, partMaskOf(id), partType, dataType, options, name, group,
                                  defaultValue, valueType, description);
    desc->setFlag(NodePartDesc::ObjExtension, objExtension);
    desc->init(_node.getType());
    return appendPart(desc);
}

NodePartDesc* NodeProc::addNodePart(const NodePartDesc& source, BitVector<unsigned int>* flags) {
    if (!_partDescMap) _partDescMap = new PartDescMap;
    auto* desc = new NodePartDesc(source, flags);
    desc->ID = _node.fieldCount();
    desc->mask = partMaskOf(desc->ID);
    if (desc->valueRestriction == RestrictionUnset) desc->init(_node.getType());
    return appendPart(desc);
}

NodePartDesc* NodeProc::appendPart(NodePartDesc* desc) {
    Field* field = FieldType::create(desc->dataType, _node);
    if (!field) {
        // A data type no class is registered for: refused like a missing one.
        KFATAL("Invalid name or dataType, can not add Node Part\n");
        delete desc;
        return nullptr;
    }
    field->setDesc(desc);
    field->setDefaultValue(0.0);
    _node._fieldVec.push_back(field);
    (*_partDescMap)[desc->ID] = desc;
    fieldAdded(*field);
    return desc;
}

bool NodeProc::removeNodePart(unsigned int id) {
    if (!_partDescMap) return false;
    auto it = _partDescMap->find(id);
    if (it == _partDescMap->end()) return false;
    Node::FieldVec& fields = _node._fieldVec;
    if (Field* field = _node.getField(id)) {
        fieldRemoved(*field);
        delete field;
    }
    delete it->second;
    // Every later part moves down by one: its row, its mask and its map entry with it.
    const unsigned int last = unsigned(fields.size()) - 1;
    for (unsigned int i = id; i < last; ++i) {
        fields[i] = fields[i + 1];
        NodePartDesc* row = (*_partDescMap)[i + 1];
        if (row) {
            row->ID = i;
            row->mask = partMaskOf(i);
        }
        (*_partDescMap)[i] = row;
    }
    _partDescMap->erase(last);
    fields.pop_back();
    return true;
}

NodePartDesc* NodeProc::findDynamicPartDesc(unsigned int id) const {
    if (!_partDescMap) return nullptr;
    auto it = _partDescMap->find(id);
    return it == _partDescMap->end() ? nullptr : it->second;
}

Field* NodeProc::findField(const std::string&, Node::FieldSearchOrder) {
    return nullptr;
}

NodePartMask NodeProc::extNodePartMask() const {
    NodePartMask mask(0);
    if (!_partDescMap) return mask;
    for (const auto& entry : *_partDescMap) {
        if (!entry.second) {
            KFATAL("Invalid _nodePartDesc in %s/%s\n", _node.typeName(), _node.getName().c_str());
            continue;
        }
        mask |= entry.second->mask;
    }
    return mask;
}

// --- scopes ------------------------------------------------------------------------------------

NodeNameSpace* NodeProc::nameSpace() {
    return _node.getNameSpace();
}

NodeNameSpace* NodeProc::childNameSpace() {
    return _node.getNameSpace();
}

bool NodeProc::setChildNameSpace(NodeNameSpace*) {
    KFATAL("Run NodeProc::setChildNameSpace()\n");
    return false;
}

std::string& NodeProc::getInfoStr(std::string& out) {
    return out;
}

void NodeProc::setupChildNameSpace() {
    NodeNameSpace* children = childNameSpace();
    if (!children || children == _node.getNameSpace()) return;
    children->setRoot(&_node);
    children->setParent(_node.getNameSpace());
}

void NodeProc::transferNameSpace(NameSpaceTransferAction& action) {
    if (action.isSkipNode(_node)) return;
    action.visitingSet().insert(&_node);
    if (!action.oldNameSpace()) action.setOldNameSpace(_node.getNameSpace());
    NodeNameSpace* from = action.oldNameSpace();
    NodeNameSpace* to = action.newNameSpace();
    if (!to) KFATAL("Invalid nameSpace in NodeProc::transferNameSpace()\n");
    NodeNameSpace* current = _node.getNameSpace();
    if (!current) {
        KFATAL("Null nameSpace elem\n");
    } else if (current == from) {
        if (to) {
            const std::string name = _node.hasName() ? _node.getName() : std::string();
            from->unregNode(_node);
            to->regNode(_node, _node.getType(), name.empty() ? nullptr : name.c_str());
        }
    } else if (current->getParent() == from) {
        current->setParent(to);
    }
    std::vector<Node*> children;
    appendChildren(_node, children);
    // Held: moving scopes may change the graph below.
    const std::vector<SmartPtr<Node>> targets(children.begin(), children.end());
    for (const SmartPtr<Node>& target : targets)
        if (target->getProc()) target->getProc()->transferNameSpace(action);
    action.visitingSet().erase(&_node);
}

void NodeProc::copy(CopyAction& action) {
    const uint32_t options = action.paramMask();
    NodeNameSpace& oldScope = action.oldNameSpace();
    NodeNameSpace& newScope = action.newNameSpace();
    Node& node = _node;
    if (node.getNameSpace() != &oldScope) KNOTICE("travers sub-namespace in NodeProc::copy()\n");

    Node* result = nullptr;
    if ((options & CopyAction::CopyAutoUse) && node.hasName()) {
        result = NodeNameSpace::findNode(&newScope, node.getName());
        if (result) KNOTICE("AUTO_USE %s node in NodeProc::copy()\n", node.getName().c_str());
    }
    // Skipped nodes leave the last copy as it was, and the caller links that.
    if (uint32_t(node.creator()) & action.skipCreateMask()) return;
    if (const std::vector<NodeType*>* skipped = action.skipTypeVec())
        for (NodeType* type : *skipped)
            if (type && node.getType().isA(*type)) return;
    VisitingSet& visiting = action.visitingSet();
    if (!visiting.insert(&node) && !result) return;

    if (!result) {
        result = node.getType().createNode(
            &newScope, node.hasName() ? node.getName().c_str() : nullptr, CreatorSystem);
        // A refused copy (the licence check may refuse) leaves nothing to fill.
        if (result) copyFields(action, *result, options);
    }
    action.setLastCopy(result);
    visiting.erase(&node);
}

void NodeProc::copyFields(CopyAction& action, Node& copy, uint32_t options) {
    Node& node = _node;
    NodeNameSpace* ownScope = node.getNameSpace();
    // A prototype instance builds its own body anew: only its own scope's nodes are followed,
    // and IS routes count only inside one scope.
    const bool proto = node.getType().hasProtoDeclaration();
    if (proto) KNOTICE("Proto Instance copy, force copySubNameSpace\n");
    const bool followOtherScopes = !proto && (options & CopyAction::CopySubNameSpace);
    auto mayFollow = [&](const Node* target) {
        return target && (followOtherScopes || target->getNameSpace() == ownScope);
    };
    const TimeStamp& time = action.timeStamp();

    unsigned int count = copy.fieldCount();
    if (count < node.fieldCount()) {
        if (!_partDescMap) {
            KFATAL("NodeProc::copy(): Cannot find extra node Part Desc\n");
        } else {
            for (const auto& [id, desc] : *_partDescMap) {
                if (!desc || desc->ID != id || id != count)
                    KFATAL("PartDesc ID mapping error in NodeProc::copy()\n");
                else
                    copy.getProc()->addNodePart(*desc, nullptr);
                ++count;
            }
        }
    }
    if (copy.fieldCount() != node.fieldCount()) {
        KFATAL("Invalid part count in %s node copy %d/%d\n", node.getName().c_str(),
               int(node.fieldCount()), int(copy.fieldCount()));
        return;
    }
    const Node::FieldVec& fromFields = node.fieldVec();
    const Node::FieldVec& toFields = copy.fieldVec();
    for (size_t i = 0; i < fromFields.size(); ++i) {
        Field* from = fromFields[i];
        Field* to = i < toFields.size() ? toFields[i] : nullptr;
        if (!from || !to) continue;
        const NodePartDataType kind = Node::linkKind(*from);
        if (kind == SFNodeType) {
            Node* target = static_cast<SFNode*>(from)->rawNode();
            if (!mayFollow(target)) continue;
            target->getProc()->copy(action);
            static_cast<SFNode*>(to)->link().setNode(action.lastCopy());
            to->processValueChange(time, Field::CallerDefault);
        } else if (kind == MFNodeType) {
            MFNode& list = *static_cast<MFNode*>(to);
            // A snapshot, held: a copy may change the source's lists on the way. The action
            // keeps the list of each level, so that it is not allocated again for every node.
            std::vector<Node*>& targets = action.pushChildList();
            for (const NodeLink& link : static_cast<MFNode*>(from)->getValue())
                targets.push_back(link.rawNode());
            for (Node* target : targets)
                if (target) target->addRef();
            for (Node* target : targets) {
                if (!mayFollow(target)) {
                    list.addChild(nullptr);  // positions stay
                    continue;
                }
                target->getProc()->copy(action);
                list.addChild(action.lastCopy());
            }
            for (Node* target : targets)
                if (target) target->subRef();
            action.popChildList();
            to->processValueChange(time, Field::CallerDefault);
        } else {
            const NodePartType part = to->type();
            if (part != PartEventIn && part != PartEventOut && to->setValueByField(*from, nullptr))
                to->processValueChange(time, Field::CallerDefault);
        }
    }
    if (!(options & CopyAction::CopyRoutes)) return;
    auto collect = [&](const EventSlot* slot) {
        if (!slot) return;
        for (Route* route : slot->routes()) {
            if (proto && (route->type() & Route::IS) &&
                route->source().field().getNode()->getNameSpace() !=
                    route->target().field().getNode()->getNameSpace())
                continue;
            action.routeSet().insert(route);
        }
    };
    // One pass for both sides: the set holds the same routes whichever side comes first.
    for (Field* field : node.fieldVec()) {
        if (!field) continue;
        collect(field->inSlot());
        collect(field->outSlot());
    }
}

// --- walks -------------------------------------------------------------------------------------

namespace {

// Seconds since some fixed point, for the statistics of a synchronisation.
inline double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

void NodeProc::traverse(GenericAction& action) {
    if (action.isSkipNode(_node)) return;
    action.visitingSet().insert(&_node);
    action.nodeStack().push_back(&_node);
    std::vector<Node*>& children = action.pushChildList();
    action.pre(children);
    // Held while they are walked: the callbacks of a subclass may change the graph.
    for (Node* child : children)
        if (child) child->addRef();
    for (Node* child : children)
        if (child && child->getProc()) child->getProc()->traverse(action);
    for (Node* child : children)
        if (child) child->subRef();
    action.post();
    action.popChildList();
    action.nodeStack().pop_back();
    action.visitingSet().erase(&_node);
}

namespace {

// The walk of collect, from node to node: collect is not virtual, so the walk need not pass
// through each node's behaviour object, which would cost a cache miss a node.
void collectNode(Node& node, CollectAction& action, uint32_t options) {
    // isSkipNode's three tests, with the path test and the entry into the path as one search:
    // the tests have no effects, so their order does not change the answer.
    if (uint32_t(node.creator()) & action.skipCreateMask()) return;
    if (const std::vector<NodeType*>* skipTypes = action.skipTypeVec())
        for (NodeType* type : *skipTypes)
            if (type && node.getType().isA(*type)) return;
    if (!action.visitingSet().insert(&node)) return;
    if (!(options & CollectAction::CollectNamedOnly) || node.hasName()) action.countNode(node);
    const bool declaredOnly = (options & CollectAction::CollectDeclaredOnly) != 0;
    // The type's rows say which fields hold links, so that value fields are not touched; a
    // field whose row is not the type's (a dynamic part) answers for itself.
    const std::vector<NodePartDesc*>& rows = node.getType().descVec();
    const Node::FieldVec& fields = node.fieldVec();
    const size_t rowCount = std::min(rows.size(), fields.size());
    for (size_t i = 0; i < fields.size(); ++i) {
        const NodePartDesc* row = i < rowCount ? rows[i] : nullptr;
        if (row && !row->isNodeReference()) continue;
        Field* field = fields[i];
        if (!field) continue;
        const NodePartDesc* desc = field->getDesc();
        if (declaredOnly && (!desc || desc->objExtension())) continue;
        // Nothing on this walk changes the graph, so the links are read in place.
        const int kind = Node::linkKind(*field);
        if (kind == SFNodeType) {
            Node* target = static_cast<SFNode*>(field)->rawNode();
            if (target && target->getProc()) collectNode(*target, action, options);
        } else if (kind == MFNodeType) {
            for (const NodeLink& link : static_cast<MFNode*>(field)->getValue()) {
                Node* target = link.rawNode();
                if (target && target->getProc()) collectNode(*target, action, options);
            }
        }
    }
    action.visitingSet().erase(&node);
}

}  // namespace

void NodeProc::collect(CollectAction& action) {
    action.indexEntries();
    collectNode(_node, action, action.paramMask());
}

void NodeProc::synchronize(SynchronizeAction& action) {
    Node& node = _node;
    // The visited bit is set while the node is on the path: it stops cycles.
    if (node._changeFlags & Node::Visited) return;
    node._changeFlags |= Node::Visited;
    const TimeStamp& time = action.timeStamp();
    const bool measure = action.statistics();
    double enter = 0.0, leave = 0.0;
    if (!(node._changeFlags & (Node::DescendantChanged | Node::ChildrenChanged))) {
        if (!node._changedMask.isZero()) {
            const double start = measure ? secondsNow() : 0.0;
            nodeChanged(time, node._changedMask);
            if (measure) leave = secondsNow() - start;
        }
    } else {
        double start = measure ? secondsNow() : 0.0;
        childChanged(time);
        if (measure) enter = secondsNow() - start;
        // A snapshot, held: the callbacks below may change this node's fields.
        std::vector<Node*>& children = action.pushChildList();
        appendChildren(node, children);
        for (Node* child : children) child->addRef();
        for (Node* child : children)
            if (child->getProc()) child->getProc()->synchronize(action);
        for (Node* child : children) child->subRef();
        action.popChildList();
        start = measure ? secondsNow() : 0.0;
        nodeChanged(time, node._changedMask);
        if (measure) leave = secondsNow() - start;
    }
    if (measure) action.countType(&node, enter, leave);
    node._changeFlags = 0;
    node._changedMask = NodePartMask(0);
}

bool NodeProc::mergeNode(Node& other, NodeType* type) {
    Node* receiver = &_node;
    if (type) {
        receiver = type->createNode(&_node, nullptr, CreatorSystem);
        if (!receiver) return false;
        receiver->getProc()->setChildNameSpace(other.getNameSpace());
    }
    std::vector<Node*> raw;
    other.collectAllChildren(raw, Node::CollectRawTargets);
    if (raw.empty()) return false;
    std::vector<SmartPtr<Node>> children(raw.begin(), raw.end());
    if (receiver->getProc()->childNameSpace() == receiver->getNameSpace()) {
        NameSpaceTransferAction action(0.0);
        for (const SmartPtr<Node>& child : children) {
            KLOG("Transfer NameSpace in NodeProc::merge\n");
            action.setOldNameSpace(other.getNameSpace());
            action.setNewNameSpace(receiver->getNameSpace());
            child->getProc()->transferNameSpace(action);
            action.reset();
        }
    }
    other.removeAllChildren(0.0);
    std::vector<Field*> fields;
    for (const SmartPtr<Node>& child : children) {
        NodeLink* link =
            receiver->addChild(child.get(), nullptr, Node::TransferNone, Node::MatchBest);
        if (!link) {
            KFATAL("Could not remap child in Context::merge %s\n", child->typeName());
            continue;
        }
        if (std::find(fields.begin(), fields.end(), link->field()) == fields.end())
            fields.push_back(link->field());
    }
    for (Field* field : fields) field->processValueChange(0.0, Field::CallerDefault);
    return false;
}

// --- context values ----------------------------------------------------------------------------

TimeStamp NodeProc::contextTimeStamp() const {
    Context* context = _node.context();
    return context ? context->getTimeStamp() : 0.0;
}

void NodeProc::setContextState(const TimeStamp& time, const Time& a, const Time& b, const Time& c,
                               const float& d) {
    Context* context = _node.context();
    if (!context) {
        KFATAL("No context; can not set TimeStamp\n");
        return;
    }
    if (!_node.getType().contextRoot()) {
        KFATAL("Node is not the context root; can not set TimeStamp\n");
        return;
    }
    context->setFrameState(time, a, b, c, d);
}

namespace {

// The row of a parameter asked for without a context: the reason is reported, and null comes
// back for an unknown id.
const NodePartDesc* defaultParam(const Node& node, unsigned int id) {
    const NodePartDesc* desc = Context::paramDesc(id);
    KWARNING("%s/%s: ContextValue request without context\n", node.typeName(),
             node.getName().c_str());
    if (!desc)
        KWARNING("%s/%s: ContextValue request with invalid ID: %d\n", node.typeName(),
                 node.getName().c_str(), int(id));
    return desc;
}

}  // namespace

bool NodeProc::contextBValue(unsigned int id) const {
    if (Context* context = _node.context()) return context->paramBValue(id);
    const NodePartDesc* desc = defaultParam(_node, id);
    return desc && desc->defaultValue == "TRUE";
}

int NodeProc::contextIValue(unsigned int id) const {
    if (Context* context = _node.context()) return context->paramIValue(id);
    const NodePartDesc* desc = defaultParam(_node, id);
    return desc ? int(std::strtol(desc->defaultValue.c_str(), nullptr, 10)) : 0;
}

float NodeProc::contextFValue(unsigned int id) const {
    if (Context* context = _node.context()) return context->paramFValue(id);
    const NodePartDesc* desc = defaultParam(_node, id);
    return desc ? float(std::strtod(desc->defaultValue.c_str(), nullptr)) : 0.0f;
}

std::string NodeProc::contextSValue(unsigned int id) const {
    if (Context* context = _node.context()) return context->paramSValue(id);
    const NodePartDesc* desc = defaultParam(_node, id);
    return desc ? desc->defaultValue : std::string();
}

bool NodeProc::checkReleaseType(ReleaseType type) const {
    if (System::the().hasFlag(System::SysKeepAllFields)) return false;
    unsigned int param;
    if (type == ReleaseFieldData)
        param = ContextSetupProc::_forbidFieldFreeID;
    else if (type == ReleaseNodes)
        param = ContextSetupProc::_forbidNodeFreeID;
    else {
        KWARNING("Invalid rType value\n");
        return false;
    }
    if (contextBValue(param)) return false;
    NodeNameSpace* nameSpace = _node.getNameSpace();
    return !nameSpace || nameSpace->flags() == 0;
}

// --- change handling ---------------------------------------------------------------------------

void NodeProc::exportEvent(const TimeStamp& time, EventOutSlot& slot, Field& field) {
    if (NodeNameSpace* scope = _node.getNameSpace())
        scope->transferEventFromExport(time, field, slot);
}

void NodeProc::updateLogFeatureMask() {
    const MFString& words = _node.logFeatureField();
    if (words.empty()) return;
    std::vector<int> values;
    findDic(_logFeatureDic, words, values);
    BitVector<unsigned long> mask = _node._logFeatureMask;
    for (int value : values) {
        if (value == kLogEverything) {
            mask = BitVector<unsigned long>(~0UL);
            break;
        }
        // A word given with a minus sign has no bit to set.
        if (value >= 0 && value < 64) mask.setBit(unsigned(value));
    }
    if (mask == _node._logFeatureMask) return;
    _node._logFeatureMask = mask;
    Subject* subject = Node::logFeatureChangedSubject();
    if (subject->wantsNotify()) subject->notifyObserver(0.0, &_node, nullptr, nullptr);
    KLOG("%s/%s: Log feature mask changed: %s\n", _node.typeName(), _node.getName().c_str(),
         maskBits(mask.getValue()).c_str());
}

// --- dictionaries ------------------------------------------------------------------------------

int NodeProc::findDic(const StringDic* dic, const std::string& text) {
    if (text.empty()) return dic->value;
    const std::string word = toLower(trimmed(text));
    if (const StringDic* entry = lookUpDic(dic, word)) return entry->value;
    KWARNING("Invalid setting >%s<, return default value(%s)\n", text.c_str(), dic->str);
    logValidWords(dic);
    return dic->value;
}

int NodeProc::findDic(const StringDic* dic, const SFString& field) {
    const std::string& text = field.getValue();
    if (text.empty()) return dic->value;
    if (const StringDic* entry = lookUpDic(dic, toLower(trimmed(text)))) return entry->value;
    const NodePartDesc* desc = field.getDesc();
    KWARNING("Invalid %s.%s setting >%s<, return default value(%s)\n",
             field.node().getName().c_str(), desc ? desc->name.c_str() : "", text.c_str(),
             dic->str);
    logValidWords(dic);
    return dic->value;
}

int NodeProc::findDic(const StringDic* dic, const MFString& field, unsigned int index, bool wrap) {
    const auto& values = field.getValue();
    if (values.empty()) return dic->value;
    if (index >= values.size())
        index = wrap ? unsigned(index % values.size()) : unsigned(values.size() - 1);
    auto it = values.begin();
    std::advance(it, index);
    return findDic(dic, *it);
}

int NodeProc::findDic(const StringDic* dic, const MFString& field, std::vector<int>& out) {
    out.clear();
    for (const std::string& element : field.getValue()) {
        std::string text = trimmed(element);
        int sign = 1;
        size_t start = 0;
        while (start < text.size() && (text[start] == '+' || text[start] == '-')) {
            if (text[start] == '-') sign = -sign;
            KNOTICE("findDic, set sign: %s to %d\n", text.c_str(), sign);
            ++start;
        }
        const std::string word = toLower(text.substr(start));
        if (const StringDic* entry = lookUpDic(dic, word)) {
            out.push_back(sign * entry->value);
            continue;
        }
        const NodePartDesc* desc = field.getDesc();
        KWARNING("Invalid %s/%s.%s value: >%s<\n", field.node().typeName(),
                 field.node().getName().c_str(), desc ? desc->name.c_str() : "", element.c_str());
        logValidWords(dic);
    }
    return int(out.size());
}

const StringDic* NodeProc::findDic(const StringDic* dic, int value) {
    const StringDic* entry = dic;
    for (; *entry->str; ++entry)
        if (entry->value == value) return entry;
    return entry;
}

}  // namespace Kalvex
