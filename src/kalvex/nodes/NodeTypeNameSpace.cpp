#include "kalvex/nodes/NodeTypeNameSpace.h"

#include <cctype>
#include <cstdlib>
#include <iostream>

#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/object/Subject.h"

namespace Kalvex {

namespace {

// Process-wide state, made on first use and never freed: registries that are static objects
// may die after any other static object.
struct Registries {
    std::mutex mutex;
    std::map<uint64_t, NodeTypeNameSpace*>* nameSpaceMap = nullptr;
    std::map<std::string, NodeTypeNameSpace*>* rootMap = nullptr;
    Subject* newObject = nullptr;
    Subject* deleteObject = nullptr;
};

Registries& registries() {
    static Registries* instance = new Registries;
    return *instance;
}

// The root registry of that name; the caller holds the lock.
NodeTypeNameSpace* rootNamed(const Registries& r, const std::string& name) {
    if (!r.rootMap) return nullptr;
    auto it = r.rootMap->find(name);
    return it == r.rootMap->end() ? nullptr : it->second;
}

bool startsWithDigit(const std::string& text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
}

}  // namespace

NodeTypeNameSpace& theBaseNodeTypeFactory() {
    // Held by a reference that is never given back.
    static NodeTypeNameSpace* base = [] {
        auto* registry = new NodeTypeNameSpace("Base", nullptr);
        registry->addRef();
        return registry;
    }();
    return *base;
}

Subject* NodeTypeNameSpace::newObjectSubject() {
    Registries& r = registries();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (!r.newObject) r.newObject = new Subject("newNodeTypeNameSpace");
    return r.newObject;
}

Subject* NodeTypeNameSpace::deleteObjectSubject() {
    Registries& r = registries();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (!r.deleteObject) r.deleteObject = new Subject("deleteNodeTypeNameSpace");
    return r.deleteObject;
}

NodeTypeNameSpace::NodeTypeNameSpace(const char* name, NodeTypeNameSpace* parent)
    : _name(name ? name : ""), _parent(nullptr), _mainProtoType(nullptr), _protoLibrary(nullptr) {
    Registries& r = registries();
    if (parent) {
        setParent(parent);
    } else if (!_name.empty()) {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (!r.rootMap) r.rootMap = new std::map<std::string, NodeTypeNameSpace*>;
        if (!r.rootMap->emplace(_name, this).second)
            KFATAL("There is already root >%s< NodeTypeNameSpace\n", _name.c_str());
    } else {
        KFATAL("Root NodeTypeNameSpace without name\n");
    }
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (!r.nameSpaceMap) r.nameSpaceMap = new std::map<uint64_t, NodeTypeNameSpace*>;
        (*r.nameSpaceMap)[ID()] = this;
    }
    notifySubject(r.newObject, 0.0, this);
}

NodeTypeNameSpace::~NodeTypeNameSpace() {
    Registries& r = registries();
    notifySubject(r.deleteObject, 0.0, this);
    if (_protoLibrary) KLOG("ProtoLibrary != Null in NodeTypeNameSpace destructor\n");
    setParent(nullptr);
    // Also for a root that was given a parent later: its entry must not outlive it.
    if (!_name.empty()) {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (rootNamed(r, _name) == this) r.rootMap->erase(_name);
    }
    // A child unlinks itself under this registry's lock, so the lock is not held across it.
    for (;;) {
        NodeTypeNameSpace* child;
        {
            std::lock_guard<std::mutex> lock(_mutex);
            if (_children.empty()) break;
            child = _children.front();
        }
        child->setParent(nullptr);
    }
    while (!_typeMap.empty()) {
        NodeType* type = _typeMap.begin()->second;
        if (!type) {
            _typeMap.erase(_typeMap.begin());
            continue;
        }
        unregType(*type);
        if (type->refCount() == 0) type->release();
    }
    // A type that lost its name to a later registration is in no map here, yet still points at
    // this registry; it must not reach back into it once it is gone.
    std::vector<NodeType*> displaced;
    NodeType::getTypeVec(displaced, TypeVecClear | TypeVecDeprecated);
    for (NodeType* type : displaced)
        if (type->_nameSpace == this) type->_nameSpace = nullptr;
    std::lock_guard<std::mutex> lock(r.mutex);
    if (r.nameSpaceMap) r.nameSpaceMap->erase(ID());
}

void NodeTypeNameSpace::setParent(NodeTypeNameSpace* parent) {
    if (parent == _parent) return;
    if (_parent) {
        std::lock_guard<std::mutex> lock(_parent->_mutex);
        _parent->_children.remove(this);
    }
    _parent = parent;
    if (parent) {
        std::lock_guard<std::mutex> lock(parent->_mutex);
        parent->_children.push_back(this);
    }
}

std::vector<NodeTypeNameSpace*> NodeTypeNameSpace::children() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return std::vector<NodeTypeNameSpace*>(_children.begin(), _children.end());
}

void NodeTypeNameSpace::regType(NodeType& type) {
    const std::string& name = type.getName();
    if (_typeMap.count(name))
        KFATAL("There is already a %s NodeType registered in %s\n", name.c_str(), _name.c_str());
    if (type.hasProtoDeclaration() && !type.aliasOf() && !_mainProtoType) _mainProtoType = &type;
    _typeMap[name] = &type;
    _lowerTypeMap[toLower(name)] = &type;
    type._nameSpace = this;
}

void NodeTypeNameSpace::unregType(NodeType& type) {
    if (_mainProtoType == &type) _mainProtoType = nullptr;
    // Only the entries that still name this type: a newer registration under the same name
    // keeps its place.
    auto it = _typeMap.find(type.getName());
    if (it != _typeMap.end() && it->second == &type) _typeMap.erase(it);
    auto lower = _lowerTypeMap.find(toLower(type.getName()));
    if (lower != _lowerTypeMap.end() && lower->second == &type) _lowerTypeMap.erase(lower);
    if (type._nameSpace == this) type._nameSpace = nullptr;
}

NodeType* NodeTypeNameSpace::refType(const NodeType& type, const char* name) {
    NodeType* alias = new NodeType(*this, const_cast<NodeType&>(type), name);
    alias->initType(false);
    return alias;
}

NodeType* NodeTypeNameSpace::findType(const NodeTypeNameSpace* start, const std::string& address,
                                      SearchCaseType caseType) {
    std::string text = trimmed(address);
    if (text.empty()) {
        KWARNING("Invalid param (empty address) for findType()\n");
        return nullptr;
    }
    size_t sep = text.rfind("::");
    std::string typeName;
    const NodeTypeNameSpace* registry = start;
    if (sep == std::string::npos) {
        // Names that begin with a digit never resolve here. They read as a type id whose answer
        // would be dropped anyway, so the id map is not asked: initType comes here while
        // initTypeTree holds that map's lock, and a parent named "3D" would block for good.
        if (startsWithDigit(text)) return nullptr;
        typeName = text;
    } else {
        registry = findNameSpace(start, text, true);
        typeName = text.substr(sep + 2);
    }
    if (caseType != SearchExact) typeName = toLower(typeName);
    for (; registry; registry = registry->_parent) {
        const TypeMap& map = caseType == SearchExact ? registry->_typeMap : registry->_lowerTypeMap;
        auto it = map.find(typeName);
        if (it != map.end() && it->second) return it->second;
    }
    return nullptr;
}

NodeTypeNameSpace* NodeTypeNameSpace::findNameSpace(const NodeTypeNameSpace* start,
                                                    const std::string& address, bool lastIsType) {
    Registries& r = registries();
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        if (!r.nameSpaceMap || address.empty()) return nullptr;
    }
    if (address.find("::") == std::string::npos) {
        if (!startsWithDigit(address)) return nullptr;
        uint64_t id = std::strtoull(address.c_str(), nullptr, 10);
        std::lock_guard<std::mutex> lock(r.mutex);
        auto it = r.nameSpaceMap->find(id);
        return it == r.nameSpaceMap->end() ? nullptr : it->second;
    }
    std::vector<std::string> tokens;
    if (stringTokenizer(address, tokens, ":") == 0) return nullptr;
    NodeTypeNameSpace* current = const_cast<NodeTypeNameSpace*>(start);
    if (address[0] == ':' || !start) {
        std::lock_guard<std::mutex> lock(r.mutex);
        current = rootNamed(r, tokens[0]);
        if (!current) return nullptr;
    }
    size_t walk = lastIsType ? tokens.size() - 1 : tokens.size();
    for (size_t i = 1; i < walk && current; ++i) {
        NodeTypeNameSpace* next = nullptr;
        std::lock_guard<std::mutex> lock(current->_mutex);
        for (NodeTypeNameSpace* child : current->_children) {
            if (child && child->_name == tokens[i]) {
                next = child;
                break;
            }
        }
        current = next;
    }
    return current;
}

Node* NodeTypeNameSpace::createLocalNode(BaseObject* parent, const std::string& typeAddress,
                                         const char* name, NodeCreator creator) const {
    NodeType* type = findType(this, typeAddress, SearchExact);
    return type ? type->createNode(parent, name, creator) : nullptr;
}

bool NodeTypeNameSpace::hasAbsolutAddress() const {
    for (const NodeTypeNameSpace* r = this; r; r = r->_parent)
        if (r->_name.empty()) return false;
    return true;
}

bool NodeTypeNameSpace::fillAbsolutAddress(std::string& out) const {
    out.clear();
    if (!hasAbsolutAddress()) return false;
    for (const NodeTypeNameSpace* r = this; r; r = r->_parent) out.insert(0, "::" + r->_name);
    return true;
}

int NodeTypeNameSpace::getTypeVec(std::vector<NodeType*>& out, int flags) const {
    if (flags & TypeVecClear) out.clear();
    int count = 0;
    for (const NodeTypeNameSpace* r = this; r; r = r->_parent) {
        for (const auto& entry : r->_typeMap) {
            NodeType* type = entry.second;
            if (!type) continue;
            if (flags & TypeVecProtoOnly) {
                if (!type->hasProtoDeclaration()) continue;
            } else if ((flags & TypeVecConcreteOnly) && !type->isConcrete()) {
                continue;
            }
            out.push_back(type);
            ++count;
        }
        if (!(flags & TypeVecParents)) break;
    }
    return count;
}

int NodeTypeNameSpace::getNameSpaceVec(std::vector<NodeTypeNameSpace*>& out, bool rootsOnly) {
    out.clear();
    Registries& r = registries();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (!r.nameSpaceMap) return 0;
    for (const auto& entry : *r.nameSpaceMap)
        if (entry.second && (!rootsOnly || !entry.second->_parent)) out.push_back(entry.second);
    return int(out.size());
}

int NodeTypeNameSpace::nameSpaceCount() {
    Registries& r = registries();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.nameSpaceMap ? int(r.nameSpaceMap->size()) : 0;
}

void NodeTypeNameSpace::dump() const {
    size_t childCount;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        childCount = _children.size();
    }
    std::cerr << "NTNS: " << _name << "/" << _typeMap.size() << "/" << childCount << "/"
              << (_parent ? _parent->_name : std::string("NoParent")) << std::endl;
}

void NodeTypeNameSpace::dumpStatic() {
    std::vector<NodeTypeNameSpace*> all;
    {
        Registries& r = registries();
        std::lock_guard<std::mutex> lock(r.mutex);
        if (!r.nameSpaceMap) {
            std::cerr << "Invalid _nameSpaceMap in NodeTypeNameSpace::dump()" << std::endl;
            return;
        }
        for (const auto& entry : *r.nameSpaceMap) all.push_back(entry.second);
    }
    for (NodeTypeNameSpace* registry : all) {
        if (registry)
            registry->dump();
        else
            std::cerr << "Invalid NameSpace in NodeTypeNameSpace::dump()" << std::endl;
    }
}

}  // namespace Kalvex
