#include "kalvex/nodes/NodeType.h"

#include <cstring>
#include <iostream>
#include <ostream>
#include <typeinfo>

#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/nodes/SFNode.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/Licence.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

namespace {

// The id map and the id counter: made on first use, never freed, so that static types may die
// in any order. The map itself is deleted when it becomes empty and made again on demand.
struct TypeRegistry {
    std::map<unsigned int, NodeType*>* idMap = nullptr;
    std::mutex counterMutex;
    unsigned int lastID = 0;
};

TypeRegistry& typeRegistry() {
    static TypeRegistry* instance = new TypeRegistry;
    return *instance;
}

unsigned int nextTypeID() {
    TypeRegistry& r = typeRegistry();
    std::lock_guard<std::mutex> lock(r.counterMutex);
    return ++r.lastID;
}

std::string text(const char* value) {
    return value ? value : "";
}

NodeTypeStatus parseStatus(const std::string& word) {
    static const std::map<std::string, NodeTypeStatus> words = {
        {"experimental", StatusExperimental},
        {"alpha", StatusAlpha},
        {"beta", StatusBeta},
        {"stable", StatusStable},
        {"deprecated", StatusDeprecated}};
    auto it = words.find(word);
    return it == words.end() ? StatusNone : it->second;
}

}  // namespace

std::mutex& NodeType::typeIDMapMutex() {
    static std::mutex* mutex = new std::mutex;
    return *mutex;
}

NodeType::NodeType(NodeTypeNameSpace& ns, const char* name, const char* library,
                   const char* parentName, const char* defaultOf, const char* version,
                   const char* component, const char* summary, const char* status,
                   const char* description, const char* standard, bool staticInterface,
                   bool contextRoot, IsTypeProc isType, CreateNodeProc createNode,
                   CreateProcProc createProc, NodePartDesc* desc, unsigned int descCount)
    : _nameSpace(nullptr),
      _initialized(false),
      _objCount(0),
      _typeID(nextTypeID()),
      _name(text(name)),
      _library(text(library)),
      _parentName(text(parentName)),
      _defaultOf(text(defaultOf)),
      _version(text(version)),
      _component(text(component)),
      _summary(text(summary)),
      _statusText(text(status)),
      _description(text(description)),
      _standard(text(standard)),
      _status(StatusNone),
      _staticInterface(staticInterface),
      _isTypeProc(isType),
      _createNodeProc(createNode),
      _createProcProc(createProc),
      _parent(nullptr),
      _defaultDescendant(nullptr),
      _contextRoot(contextRoot),
      _protoDescCount(0) {
    if (desc)
        for (unsigned int i = 0; i < descCount; ++i) _descVec.push_back(&desc[i]);
    if (!name) KFATAL("NATIVE NodeType without a name\n");
    if (_contextRoot) {
        if (findContextRootType(_name))
            KFATAL("Second Context Root Type with equal name: >%s<", _name.c_str());
        else
            KINFO("Register Context Root Type: %s\n", _name.c_str());
    }
    if (!component) KWARNING("NodeType %s is not assigned to any compnent\n", _name.c_str());
    enterInIDMap();
    KINFO("Add Native Node type: %s\n", _name.c_str());
    // The component catalogue is not part of the library yet: every type counts as free.
    if (_component.empty())
        KWARNING("Concrete NodeType >%s< is not assigned to any component\n", _name.c_str());
    ns.regType(*this);
}

NodeType::NodeType(NodeTypeNameSpace& ns, NodeType& aliased, const char* name)
    : _nameSpace(nullptr),
      _initialized(false),
      _objCount(0),
      _typeID(nextTypeID()),
      _name(name && *name ? name : aliased._name),
      _version(aliased._version),
      _summary(aliased._summary),
      _statusText(aliased._statusText),
      _description(aliased._description),
      _standard("ALIAS"),
      _status(StatusNone),
      _staticInterface(false),
      _isTypeProc(nullptr),
      _createNodeProc(nullptr),
      _createProcProc(nullptr),
      _parent(nullptr),
      _defaultDescendant(nullptr),
      _contextRoot(false),
      _protoDescCount(0) {
    enterInIDMap();
    if (!aliased._protoDeclaration) {
        _parent = &aliased;
        _defaultDescendant = aliased._defaultDescendant;
        _isTypeProc = aliased._isTypeProc;
        _createNodeProc = aliased._createNodeProc;
        _createProcProc = aliased._createProcProc;
    }
    // An alias of a prototype type links to the root of its alias chain and shares its
    // declaration; that branch comes with prototype types.
    ns.regType(*this);
}

NodeType::~NodeType() {
    for (NodeType* derived : _derivedTypes)
        if (derived) derived->_parent = nullptr;
    _derivedTypes.clear();
    if (_parent) {
        _parent->_derivedTypes.remove(this);
        _parent = nullptr;
    }
    if (_nameSpace) _nameSpace->unregType(*this);
    {
        std::lock_guard<std::mutex> lock(typeIDMapMutex());
        TypeRegistry& r = typeRegistry();
        if (r.idMap) {
            r.idMap->erase(_typeID);
            if (r.idMap->empty()) {
                delete r.idMap;
                r.idMap = nullptr;
            }
        }
    }
    for (int32_t i = 0; i < _protoDescCount && !_descVec.empty(); ++i) {
        delete _descVec.back();
        _descVec.pop_back();
    }
}

void NodeType::enterInIDMap() {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    TypeRegistry& r = typeRegistry();
    if (!r.idMap) {
        KINFO("Create node typeIDMap\n");
        r.idMap = new std::map<unsigned int, NodeType*>;
    }
    (*r.idMap)[_typeID] = this;
}

Node* NodeType::protoDeclaration() const {
    return static_cast<Node*>(_protoDeclaration.get());
}

bool NodeType::isA(const NodeType& other) const {
    // A prototype type is also what its declaration's first body node is; that test joins
    // this walk with the prototype model.
    for (const NodeType* t = this; t; t = t->_parent)
        if (t == &other) return true;
    return false;
}

int NodeType::isADistance(const NodeType& other) const {
    int distance = 0;
    for (const NodeType* t = this; t; t = t->_parent, ++distance)
        if (t == &other) return distance;
    return -1;
}

bool NodeType::isALeafNode() const {
    for (const NodePartDesc* desc : _descVec)
        if (desc && desc->isNodeReference()) return false;
    return true;
}

bool NodeType::isAGenericGroupNode() const {
    for (const NodePartDesc* desc : _descVec) {
        if (!desc || !desc->isNodeReference()) continue;
        NodeType* required = desc->requiredNodeType();
        if (!required || required == &Node::_type) return true;
    }
    return false;
}

NodeType* NodeType::isDefaultDescendantOf() const {
    if (_defaultOf.empty()) return nullptr;
    NodeType* abstract = NodeTypeNameSpace::findType(_nameSpace, _defaultOf, SearchExact);
    return abstract && abstract->_defaultDescendant == this ? abstract : nullptr;
}

bool NodeType::setDefaultDescendant(NodeType* type) {
    if (_createNodeProc || _protoDeclaration) {
        KFATAL("NodeType::setDefaultDescendant() call on non-abstract type\n");
        return false;
    }
    if (!type || !type->isA(*this)) {
        KFATAL("Invalid setDefaultDescendant(): %s is not a %s\n", type ? type->getCName() : "",
               getCName());
        return false;
    }
    _defaultDescendant = type;
    return true;
}

const NodePartDesc* NodeType::followRedirect(const NodePartDesc* desc) const {
    if (desc && desc->redirected()) return findPartDesc(desc->redirectIndex);
    return desc;
}

NodePartDesc* NodeType::findPart(const std::string& name) const {
    const DescMap* maps[3] = {&_fieldMap, &_inSlotMap, &_outSlotMap};
    for (int i = 0; i < 3; ++i) {
        auto it = maps[i]->find(name);
        if (it == maps[i]->end()) continue;
        const NodePartDesc* desc = followRedirect(it->second);
        if (desc || i == 2) return const_cast<NodePartDesc*>(desc);
    }
    return nullptr;
}

void NodeType::changeObjCounter(int delta) const {
    for (const NodeType* t = this; t; t = t->_parent) t->_objCount += delta;
}

bool NodeType::hasAbsolutAddress() const {
    return _nameSpace && _nameSpace->hasAbsolutAddress();
}

bool NodeType::fillAbsolutAddress(std::string& out) const {
    if (!_nameSpace || !_nameSpace->fillAbsolutAddress(out)) return false;
    out += "::" + _name;
    return true;
}

int NodeType::initType(bool native) {
    if (_initialized) return 0;
    _initialized = true;
    if (native) KINFO("Init NATIVE Type %s\n", _name.c_str());
    if (!_parent && !_parentName.empty()) {
        _parent = NodeTypeNameSpace::findType(_nameSpace, _parentName, SearchExact);
        if (!_parent)
            KFATAL("Can't find NodeType for %s, parent of %s\n", _parentName.c_str(),
                   _name.c_str());
    }
    int count = 0;
    size_t inherited = 0;
    if (!_parent) {
        if (this != &Node::_type) KFATAL("%s Node Type without parent\n", _name.c_str());
    } else {
        _parent->_derivedTypes.push_back(this);
        count = _parent->initType(native);
        if (!_defaultOf.empty()) {
            NodeType* abstract = NodeTypeNameSpace::findType(_nameSpace, _defaultOf, SearchExact);
            if (!abstract)
                KFATAL("Can not set defaultDescendant for %s", _name.c_str());
            else
                abstract->setDefaultDescendant(this);
        }
        std::vector<NodePartDesc*> local;
        local.swap(_descVec);
        _descVec = _parent->_descVec;
        inherited = _descVec.size();
        for (NodePartDesc* desc : local) {
            if (!desc) {
                KFATAL("Invalid local desc in NodeType::init()\n");
                continue;
            }
            desc->ID = unsigned(_descVec.size());
            desc->mask = partMaskOf(desc->ID);
            _descVec.push_back(desc);
        }
    }
    // The rows of a prototype's interface are appended here once prototype types exist.
    for (size_t i = inherited; i < _descVec.size(); ++i)
        if (_descVec[i]) _descVec[i]->init(*this);
    fillNameMaps();
    if (!_statusText.empty()) {
        _status = parseStatus(_statusText);
        if (_status == StatusNone)
            KFATAL("%s: Invalid status: %s\n", _name.c_str(), _statusText.c_str());
    }
    return count + 1;
}

void NodeType::fillNameMaps() {
    auto enter = [this](DescMap& map, const std::string& key, NodePartDesc* desc) {
        if (findPart(key))
            KWARNING("There is already a part %s in Type %s\n", key.c_str(), _name.c_str());
        map[key] = desc;
    };
    _linkIDs.clear();
    for (size_t i = 0; i < _descVec.size(); ++i) {
        NodePartDesc* desc = _descVec[i];
        if (!desc) {
            KFATAL("%s: Invalid 0 entry in _descVec at index %d\n", _name.c_str(), int(i));
            continue;
        }
        if (desc->dataType == SFNodeType || desc->dataType == MFNodeType)
            _linkIDs.push_back(unsigned(i));
        const int kind = desc->partType;
        if (kind == PartField || kind == PartExposedField) enter(_fieldMap, desc->name, desc);
        if (kind == PartEventIn || kind == PartExposedField)
            enter(_inSlotMap, desc->inSlotName, desc);
        if (kind == PartEventOut || kind == PartExposedField)
            enter(_outSlotMap, desc->outSlotName, desc);
    }
}

int NodeType::initTypeTree(bool native) {
    int count = 0;
    {
        std::lock_guard<std::mutex> lock(typeIDMapMutex());
        TypeRegistry& r = typeRegistry();
        if (!r.idMap) {
            KFATAL("Invalid _typeMap in initTypeTree()\n");
        } else {
            for (const auto& entry : *r.idMap) {
                if (!entry.second) {
                    KFATAL("Found NULL type in _typeMap in initBuildInNodeTree\n");
                    continue;
                }
                if (!entry.second->_protoDeclaration) count += entry.second->initType(native);
            }
        }
    }
    // Embedded prototype data registered by libraries is collected here once proto libraries
    // exist; until then there is none to take.
    KINFO("init node types: %d types\n", count);
    return count;
}

NodeProc* NodeType::createProc(Node& node) {
    for (NodeType* t = this; t; t = t->_parent)
        if (t->_createProcProc) return t->_createProcProc(*this, node);
    KFATAL("NodeType::createProc failed\n");
    return nullptr;
}

NodeType::Parent NodeType::classifyParent(BaseObject* object) {
    Parent parent;
    parent.object = object;
    if (!object) return parent;
    // Scopes and the two final link classes are told by their exact type: no cast on the common
    // path of a loader.
    const std::type_info& type = typeid(*object);
    if (type == typeid(NodeNameSpace))
        parent.scope = static_cast<NodeNameSpace*>(object);
    else if (type == typeid(SFNode))
        parent.sf = static_cast<SFNode*>(object);
    else if (type == typeid(MFNode))
        parent.mf = static_cast<MFNode*>(object);
    else if (!(parent.scope = dynamic_cast<NodeNameSpace*>(object)) &&
             !(parent.node = dynamic_cast<Node*>(object)))
        parent.context = dynamic_cast<Context*>(object);
    Node* holder = parent.node;
    if (parent.sf) holder = parent.sf->getNode();
    if (parent.mf) holder = parent.mf->getNode();
    if (holder)
        parent.scope =
            holder->getProc() ? holder->getProc()->childNameSpace() : holder->getNameSpace();
    return parent;
}

Node* NodeType::createNode(BaseObject* object, const char* name, NodeCreator creator) const {
    Parent parent = classifyParent(object);
    if (_contextRoot) {
        if (parent.scope) KWARNING("NameSpace given while create ContextRoot node\n");
        std::string nameSpaceName;
        std::string nodeName;
        std::vector<std::string> tokens;
        if (name && stringTokenizer(name, tokens, ":") >= 2) {
            nameSpaceName = tokens[0];
            nodeName = tokens[1];
            KLOG("ContextRoot NameSpace: %s, Name: %s\n", nameSpaceName.c_str(), nodeName.c_str());
        } else {
            nameSpaceName = toLower(_name);
            nodeName = name ? name : nameSpaceName;
        }
        // The root owns this scope; it takes its reference below.
        parent.scope = new NodeNameSpace(nameSpaceName, nullptr, false);
        return finishNode(parent, nodeName.c_str(), creator);
    }
    if (!parent.scope) {
        // The message has always carried a broken conversion after the type name, which
        // printed as "%:" and swallowed the node name; it reads the same here.
        KFATAL("%s/%%: No valid NodeNameSpace in createNode\n", _name.c_str());
        return nullptr;
    }
    return finishNode(parent, name, creator);
}

Node* NodeType::finishNode(const Parent& parent, const char* name, NodeCreator creator) const {
    NodeNameSpace& nameSpace = *parent.scope;
    Context* timeSource = nameSpace.context();
    const TimeStamp time = timeSource ? timeSource->getTimeStamp() : 0.0;
    Node* node = nullptr;
    // Prototype types make their instances here once the prototype model exists; no type has a
    // declaration before that.
    if (!_createNodeProc) {
        if (!_defaultDescendant) {
            KFATAL("Could not create %s node in NodeType::createNode()\n", _name.c_str());
            if (_contextRoot && nameSpace.refCount() == 0) nameSpace.release();
            return nullptr;
        }
        node = _defaultDescendant->createNode(&nameSpace, name, CreatorSystem);
        KINFO("Create _defaultDescendant Node of type %s for %s\n", _defaultDescendant->getCName(),
              _name.c_str());
    } else {
        if (!_component.empty() && !Licence::the().allowComponent(_component)) {
            if (_contextRoot && nameSpace.refCount() == 0) nameSpace.release();
            return nullptr;
        }
        node = _createNodeProc(const_cast<NodeType&>(*this), nameSpace, name);
    }
    if (!node) {
        if (_contextRoot && nameSpace.refCount() == 0) nameSpace.release();
        return nullptr;
    }

    if (node->getType().status() == StatusDeprecated)
        KFATAL("%s/%s Type is DEPRECATED: %s\n", node->typeName(), node->getName().c_str(),
               node->getType().summary().c_str());
    node->_creator = creator;
    node->setState(time, Setup);

    if (_contextRoot) {
        node->setAttachment(Node::_rootNameSpaceKey, &nameSpace);
        nameSpace.setRoot(node);
        if (parent.context) parent.context->addRoot(*node);
    } else if (parent.node) {
        parent.node->addChild(node, nullptr, Node::TransferNone, Node::MatchFirstFit);
    } else if (parent.sf) {
        parent.sf->link().setNode(node);
    } else if (parent.mf) {
        parent.mf->addChild(node);
    }
    notifySubject(Node::newObjectSubject(), 0.0, node);
    return node;
}

Node* NodeType::createNode(BaseObject* parent, const char* typeName, const char* name,
                           NodeCreator creator) {
    NodeNameSpace* nameSpace = dynamic_cast<NodeNameSpace*>(parent);
    if (typeName) {
        NodeType* type = nameSpace ? NodeTypeNameSpace::findType(nameSpace->nodeTypeNameSpace(),
                                                                 typeName, SearchExact)
                                   : findContextRootType(typeName);
        if (!type) {
            KFATAL("Could not find/load type %s to create node\n", typeName);
            return nullptr;
        }
        return type->createNode(parent, name, creator);
    }
    if (!nameSpace) {
        KFATAL("Invalid nodespace while creating Node instance\n");
        return nullptr;
    }
    Node* node = Node::createNode(Node::_type, *nameSpace, name);
    node->_creator = creator;
    node->setState(0.0, Setup);
    notifySubject(Node::newObjectSubject(), 0.0, node);
    return node;
}

unsigned int NodeType::typeCount() {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    TypeRegistry& r = typeRegistry();
    return r.idMap ? unsigned(r.idMap->size()) : 0;
}

NodeType* NodeType::findType(unsigned int id) {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    TypeRegistry& r = typeRegistry();
    if (!r.idMap) return nullptr;
    auto it = r.idMap->find(id);
    return it == r.idMap->end() ? nullptr : it->second;
}

NodeType* NodeType::findContextRootType(const std::string& name) {
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    TypeRegistry& r = typeRegistry();
    if (!r.idMap) return nullptr;
    for (const auto& entry : *r.idMap) {
        NodeType* type = entry.second;
        if (type && type->_contextRoot && !type->_protoDeclaration && type->_name == name)
            return type;
    }
    return nullptr;
}

int NodeType::getTypeVec(std::vector<NodeType*>& out, int flags) {
    if (flags & TypeVecClear) out.clear();
    int count = 0;
    std::lock_guard<std::mutex> lock(typeIDMapMutex());
    TypeRegistry& r = typeRegistry();
    if (!r.idMap) return 0;
    for (const auto& entry : *r.idMap) {
        NodeType* type = entry.second;
        if (!type) continue;
        if (flags & TypeVecProtoOnly) {
            if (!type->_protoDeclaration) continue;
        } else if ((flags & TypeVecConcreteOnly) && !type->isConcrete()) {
            continue;
        }
        if (!(flags & TypeVecDeprecated) && type->_status == StatusDeprecated) continue;
        out.push_back(type);
        ++count;
    }
    return count;
}

bool NodeType::reportDocStatus(std::ostream& out, bool verbose) {
    std::vector<NodeType*> types;
    getTypeVec(types, TypeVecClear | TypeVecDeprecated);
    int typesDone = 0, typesAll = 0, partsDone = 0, partsAll = 0;
    if (verbose) out << "NodeType Documentation status: (verbose): ";
    for (const NodeType* type : types) {
        if (type->_status < StatusAlpha || type->_status > StatusStable) continue;
        ++typesAll;
        if (!type->_description.empty()) ++typesDone;
        int done = 0, all = 0;
        for (const NodePartDesc* desc : type->_descVec) {
            if (!desc) continue;
            ++all;
            if (!desc->description.empty()) ++done;
        }
        partsDone += done;
        partsAll += all;
        if (verbose && (done < all || type->_description.empty()))
            out << "  Incomplete Doc: " << type->_name << " " << done << "/" << all << "\n";
    }
    out << "  Summery: "
        << "NodeTypes: " << typesDone << "/" << typesAll << " "
        << "Fields: " << partsDone << "/" << partsAll;
    return typesDone == typesAll && partsDone == partsAll;
}

void NodeType::dump() const {
    std::cerr << _name << " : " << _parentName << " { " << std::endl;
}

}  // namespace Kalvex
