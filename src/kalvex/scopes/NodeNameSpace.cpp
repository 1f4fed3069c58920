#include "kalvex/scopes/NodeNameSpace.h"

#include <cctype>
#include <cstdlib>
#include <iostream>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"
#include "kalvex/object/Subject.h"
#include "kalvex/runtime/Context.h"

namespace Kalvex {

namespace {

// The process-wide map of scopes and the three subjects. The holder is never freed; the map is
// deleted when it becomes empty.
struct Scopes {
    std::mutex mutex;
    std::map<uint64_t, NodeNameSpace*>* map = nullptr;
    Subject* newObject = nullptr;
    Subject* rootStateChanged = nullptr;
    Subject* deleteObject = nullptr;
};

Scopes& scopes() {
    static Scopes* instance = new Scopes;
    return *instance;
}

Subject* lazySubject(Subject*& subject, const char* name) {
    std::lock_guard<std::mutex> lock(scopes().mutex);
    if (!subject) subject = new Subject(name);
    return subject;
}

bool startsWithDigit(const std::string& text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
}

void notifyNameSpaceChanged(NodeNameSpace& nameSpace, Node& node, bool added) {
    Subject* subject = Node::nameSpaceChangedSubject();
    if (!subject->wantsNotify()) return;
    BaseTypeObject<bool> flag(added);
    subject->notifyObserver(0.0, &nameSpace, &node, &flag);
}

}  // namespace

Subject* NodeNameSpace::newObjectSubject() {
    return lazySubject(scopes().newObject, "newObject");
}

Subject* NodeNameSpace::rootStateChangedSubject() {
    return lazySubject(scopes().rootStateChanged, "rootStateChanged");
}

Subject* NodeNameSpace::deleteObjectSubject() {
    return lazySubject(scopes().deleteObject, "deleteObject");
}

NodeNameSpace::NodeNameSpace(const std::string& name, NodeNameSpace* parent, bool autoName)
    : _parent(nullptr),
      _autoName(autoName),
      _flags(0),
      _root(nullptr),
      _context(nullptr),
      _nodeCount(0),
      _specVersion(0) {
    rename(name);
    if (parent) {
        setParent(parent);
        _url = parent->_url;
    }
    Scopes& s = scopes();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.map) s.map = new std::map<uint64_t, NodeNameSpace*>;
        (*s.map)[ID()] = this;
    }
    notifySubject(s.newObject, 0.0, this);
}

NodeNameSpace::~NodeNameSpace() {
    // The imports' proxies belong to the dummy node: they go before it does.
    _importMap.clear();
    delete _importDummyNode;
    _importDummyNode = nullptr;
    if (_nodeCount != 0) {
        KWARNING("Run NodeNameSpace \"%s\" destructor and _nodeCount == %d\n", _name.c_str(),
                 _nodeCount);
        KWARNING("~NodeNameSpace: Try to remove nodes from parents\n");
        if (Node::hasIDMap()) {
            std::vector<Node*> live;
            Node::fillNodeVec(live, nullptr, false);
            std::vector<SmartPtr<Node>> held;
            for (Node* node : live) {
                if (node->getNameSpace() != this) continue;
                KINFO("  %s/%s/%s: P1 refCount: %d, parentCount %d\n", _name.c_str(),
                      node->typeName(), node->getName().c_str(), node->refCount(),
                      int(node->parentLinks().size()));
                if (node->parentLinks().empty()) {
                    // Nobody links it: it only loses its scope, which dies now.
                    node->forgetNameSpace();
                    continue;
                }
                for (NodeLink* link : node->parentLinks()) {
                    Node* parent = link ? link->parent() : nullptr;
                    KINFO("   Parent link: %s/%s/%s\n",
                          parent && parent->getNameSpace() ? parent->getNameSpace()->_name.c_str()
                                                           : "",
                          parent ? parent->typeName() : "",
                          parent ? parent->getName().c_str() : "");
                }
                held.emplace_back(node);
            }
            for (SmartPtr<Node>& node : held) {
                node->removeAllParentLinks(0.0);
                if (node->refCount() > 1)
                    KFATAL("  %s/%s/%s: Cannot remove node: RC %d, PC %d\n", _name.c_str(),
                           node->typeName(), node->getName().c_str(), node->refCount(),
                           int(node->parentLinks().size()));
                node->forgetNameSpace();
                node = nullptr;
            }
        }
    }
    // Live nodes may still name themselves by a key of this map (updateNamedNode does not move
    // a node's scope). The entries are not asked: one that a name was taken from may name a
    // node that is gone. Nodes outside the id map are not reached.
    if (!_nodeMap.empty()) {
        std::vector<Node*> live;
        Node::fillNodeVec(live, nullptr, false);
        for (Node* node : live) {
            if (!node->_name) continue;
            auto it = _nodeMap.find(*node->_name);
            if (it != _nodeMap.end() && &it->first == node->_name) node->_name = nullptr;
        }
    }
    _context = nullptr;
    Scopes& s = scopes();
    notifySubject(s.deleteObject, 0.0, this);
    setParent(nullptr);
    while (!_children.empty()) {
        KWARNING("Remove Child nameSpace in destructor\n");
        _children.front()->setParent(nullptr);
    }
    removeAllUsingNameSpace();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.map) {
        KFATAL("Invalid NameSpaceMap in NodeNameSpace destructor\n");
        return;
    }
    s.map->erase(ID());
    // No scope may keep searching this one.
    for (auto& entry : *s.map) entry.second->_usingNameSpaces.remove(this);
    if (s.map->empty()) {
        delete s.map;
        s.map = nullptr;
    }
}

bool NodeNameSpace::rename(const std::string& name) {
    if (name.empty()) {
        _name = "AN_NS_" + std::to_string(int64_t(ID()));
        KINFO("Autoname Namespace %s\n", _name.c_str());
    } else {
        _name = name;
    }
    return true;
}

void NodeNameSpace::setParent(NodeNameSpace* parent) {
    if (_parent == this) {
        KFATAL("Cannot loop Namespaces\n");
        return;
    }
    if (parent == _parent) return;
    if (_parent) _parent->_children.remove(this);
    _parent = parent;
    if (parent) parent->_children.push_back(this);
}

bool NodeNameSpace::setRoot(Node* node) {
    if (node == _root) return true;
    if (!node) {
        _root = nullptr;
        return true;
    }
    if (_root) {
        KFATAL("NodeNameSpace::setRoot call and _root != 0\n");
        return false;
    }
    _root = node;
    return true;
}

Context* NodeNameSpace::context() const {
    for (const NodeNameSpace* ns = this; ns; ns = ns->_parent)
        if (ns->_context) return ns->_context;
    return nullptr;
}

NodeTypeNameSpace* NodeNameSpace::nodeTypeNameSpace() {
    if (!_nodeTypeNameSpace) {
        NodeTypeNameSpace* parent = _root ? _root->getType().nameSpace() : nullptr;
        KINFO("AUTOCREATE NodeTypeNameSpace %s as child of %s\n", _name.c_str(),
              parent ? parent->getName().c_str() : "NULL");
        _nodeTypeNameSpace = new NodeTypeNameSpace(_name.c_str(), parent);
    }
    return _nodeTypeNameSpace.get();
}

void NodeNameSpace::setNodeTypeNameSpace(NodeTypeNameSpace* registry) {
    _nodeTypeNameSpace = registry;
}

bool NodeNameSpace::regNode(Node& node, const NodeType& type, const char* name) {
    // A prototype type is entered under an alias in this scope's registry; that comes with the
    // prototype model, and no type has a declaration before it.
    const std::string* key = nullptr;
    if (!name || !*name) {
        if (_autoName) {
            std::string generated = "N" + node.getIDStr() + "_" + type.getName();
            auto result = _nodeMap.insert_or_assign(std::move(generated), NodeEntry(true, &node));
            key = &result.first->first;
        }
    } else {
        auto it = _nodeMap.find(name);
        if (it != _nodeMap.end()) {
            KWARNING("There is already a >%s< node DEFined in nameSpace %s\n", name, _name.c_str());
            if (it->second.second) it->second.second->_name = nullptr;
            it->second = NodeEntry(false, &node);
        } else {
            it = _nodeMap.emplace(name, NodeEntry(false, &node)).first;
        }
        key = &it->first;
    }
    if (node._nameSpace) node._nameSpace->unregNode(node);
    node._nameSpace = this;
    node._name = key;
    ++_nodeCount;
    notifyNameSpaceChanged(*this, node, true);
    return true;
}

bool NodeNameSpace::unregNode(Node& node) {
    notifyNameSpaceChanged(*this, node, false);
    if (node._name) {
        // Only the entry that is the node's: a newer holder of the name keeps it.
        auto it = _nodeMap.find(*node._name);
        if (it != _nodeMap.end() && it->second.second == &node) _nodeMap.erase(it);
        node._name = nullptr;
    }
    // Its export key belongs to this scope's map.
    node._exportName = nullptr;
    node._nameSpace = nullptr;
    --_nodeCount;
    return true;
}

bool NodeNameSpace::updateNamedNode(const std::string& name, Node* node) {
    std::string key = trimmed(name);
    auto it = _nodeMap.find(key);
    if (it != _nodeMap.end()) {
        if (it->second.second) it->second.second->_name = nullptr;
    } else {
        it = _nodeMap.emplace(key, NodeEntry(false, nullptr)).first;
    }
    it->second = NodeEntry(false, node);
    if (node) node->_name = &it->first;
    return true;
}

bool NodeNameSpace::removeNamedNode(const std::string& name) {
    auto it = _nodeMap.find(trimmed(name));
    if (it == _nodeMap.end()) return false;
    if (it->second.second) it->second.second->_name = nullptr;
    _nodeMap.erase(it);
    return true;
}

bool NodeNameSpace::isAutoNamed(const std::string& name) const {
    auto it = _nodeMap.find(name);
    return it != _nodeMap.end() && it->second.first;
}

void NodeNameSpace::fillNodeVec(std::vector<Node*>& out, NodeType* type) const {
    for (const auto& entry : _nodeMap) {
        Node* node = entry.second.second;
        if (node && (!type || node->getType().isA(*type))) out.push_back(node);
    }
}

Node* NodeNameSpace::findNode(NodeNameSpace* start, const std::string& name) {
    const std::string text = trimmed(name);
    if (text.empty()) {
        KWARNING("Invalid param (empty name) for findNode()\n");
    } else {
        // The lowest separator counts: "/" or the second colon of "::", never at index 0.
        size_t separator = std::string::npos;
        for (size_t i = text.size() - 1; i >= 1; --i)
            if (text[i] == '/' || (text[i] == ':' && text[i - 1] == ':')) separator = i;
        NodeNameSpace* scope = start;
        std::string nodeName = text;
        bool lookUp = true;
        if (separator != std::string::npos && separator + 1 < text.size()) {
            scope = findNameSpace(start, text, nullptr, true);
            nodeName = text.substr(separator + 1);
        } else if (startsWithDigit(text)) {
            lookUp = false;
            if (!Node::hasIDMap()) {
                KWARNING("Can not search node by ID; _idMap == 0\n");
            } else {
                long long id = std::strtoll(text.c_str(), nullptr, 10);
                if (Node* node = Node::findNode(uint64_t(id))) return node;
                KWARNING("Unknown node id: >%s<, >%lld<\n", text.c_str(), id);
            }
        }
        if (lookUp && scope) {
            auto it = scope->_nodeMap.find(nodeName);
            if (it != scope->_nodeMap.end() && it->second.second) return it->second.second;
        }
    }
    if (!start) return nullptr;
    for (NodeNameSpace* other : start->_usingNameSpaces)
        if (Node* node = findNode(other, text)) return node;
    return nullptr;
}

NodeNameSpace* NodeNameSpace::findNameSpace(NodeNameSpace* start, const std::string& address,
                                            Context* context, bool lastIsNode) {
    if (address.empty()) return nullptr;
    if (address.find('/') != std::string::npos && (start || context)) {
        std::vector<std::string> tokens;
        if (stringTokenizer(address, tokens, "/") == 0) return nullptr;
        NodeNameSpace* current = start;
        size_t first = 0;
        if (address[0] == '/' || !start) {
            Context* ctx = context ? context : start->context();
            if (!ctx) {
                KFATAL("Invalid context; cannot find root namespace\n");
                return nullptr;
            }
            current = nullptr;
            std::vector<Node*> roots;
            ctx->getRootVec(roots);
            for (Node* root : roots) {
                if (root && root->hasName() && root->getName() == tokens[0]) {
                    current = root->getNameSpace();
                    break;
                }
            }
            if (!current) return nullptr;
            first = 1;
        }
        const size_t walk = lastIsNode ? tokens.size() - 1 : tokens.size();
        for (size_t i = first; i < walk && current; ++i) {
            const std::string& token = tokens[i];
            if (token == ".") continue;
            if (token == "..") {
                current = current->_parent;
                continue;
            }
            NodeNameSpace* next = nullptr;
            for (NodeNameSpace* child : current->_children) {
                std::cerr << "FIND CHILD: " << child->_name << std::endl;
                if (child->_name == token) {
                    next = child;
                    break;
                }
            }
            current = next;
        }
        return current;
    }
    const std::string head = address.substr(0, address.find("::"));
    Scopes& s = scopes();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.map) return nullptr;
    if (startsWithDigit(head)) {
        auto it = s.map->find(uint64_t(std::strtol(address.c_str(), nullptr, 10)));
        return it == s.map->end() ? nullptr : it->second;
    }
    for (const auto& entry : *s.map) {
        if (entry.second->_name == head) {
            KINFO("Deprecated nameSpace select: %s; use IMPORT/EXPORT\n", address.c_str());
            return entry.second;
        }
    }
    return nullptr;
}

NodeType* NodeNameSpace::findType(const std::string& name, SearchCaseType caseType) {
    // Types that no registry holds are loaded on demand once component files are supported.
    return NodeTypeNameSpace::findType(nodeTypeNameSpace(), name, caseType);
}

Node* NodeNameSpace::createNode(const std::string& typeName, const char* name, NodeCreator creator,
                                SearchCaseType caseType) {
    return createNode(this, typeName, name, creator, caseType);
}

Node* NodeNameSpace::createNode(BaseObject* parent, const std::string& typeName, const char* name,
                                NodeCreator creator, SearchCaseType caseType) {
    NodeType* type = findType(typeName, caseType);
    return type ? type->createNode(parent, name, creator) : nullptr;
}

void NodeNameSpace::addUsingNameSpace(NodeNameSpace& nameSpace) {
    _usingNameSpaces.push_back(&nameSpace);
}

void NodeNameSpace::removeUsingNameSpace(NodeNameSpace& nameSpace) {
    _usingNameSpaces.remove(&nameSpace);
}

void NodeNameSpace::removeAllUsingNameSpace() {
    _usingNameSpaces.clear();
}

void NodeNameSpace::setMetaData(const std::string& name, const std::string& value) {
    _metaDataMap[trimmed(name)] = value;
}

const std::string* NodeNameSpace::getMetaData(const std::string& name) const {
    auto it = _metaDataMap.find(trimmed(name));
    return it == _metaDataMap.end() ? nullptr : &it->second;
}

bool NodeNameSpace::removeMetaData(const std::string& name) {
    return _metaDataMap.erase(trimmed(name)) != 0;
}

void NodeNameSpace::addComponent(const std::string& name, int level) {
    for (auto& entry : _componentVec) {
        if (entry.first == name) {
            if (level > entry.second) entry.second = level;
            return;
        }
    }
    // Components are requested from the catalogue here once component files are supported.
    _componentVec.emplace_back(name, level);
}

bool NodeNameSpace::hasAbsolutAddress() const {
    for (const NodeNameSpace* ns = this; ns; ns = ns->_parent)
        if (ns->_name.empty()) return false;
    return true;
}

bool NodeNameSpace::fillAbsolutAddress(std::string& out) const {
    out.clear();
    if (!hasAbsolutAddress()) return false;
    for (const NodeNameSpace* ns = this; ns; ns = ns->_parent) out.insert(0, "::" + ns->_name);
    return true;
}

int NodeNameSpace::getNameSpaceVec(std::vector<NodeNameSpace*>& out, bool rootsOnly) {
    out.clear();
    Scopes& s = scopes();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.map) return 0;
    for (const auto& entry : *s.map)
        if (entry.second && (!rootsOnly || !entry.second->_parent)) out.push_back(entry.second);
    return int(out.size());
}

int NodeNameSpace::nameSpaceCount() {
    Scopes& s = scopes();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.map ? int(s.map->size()) : 0;
}

bool NodeNameSpace::rootStateChanged(const TimeStamp& time) {
    Subject* subject = scopes().rootStateChanged;
    if (!_root || !subject || !subject->wantsNotify()) return false;
    subject->notifyObserver(time, this, _root, nullptr);
    return true;
}

}  // namespace Kalvex
