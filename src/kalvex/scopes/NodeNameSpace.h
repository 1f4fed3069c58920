#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class BaseObject;
class Context;
class EventOutSlot;
class Field;
class EventInSlot;
class Node;
class NodeType;
class Route;
class NodeTypeNameSpace;
class Subject;

// The scope of DEF names: each scene, inline scene and prototype body has one. Scopes form a
// tree. A scope lists its nodes without holding them: it keeps the map from name to node, the
// count of nodes registered (named or not), the root node, the type registry and the head data
// of a loaded scene. A name is unique within one scope only and is not inherited by children.
//
// The root node of a context root type owns its scope. The process-wide map of scopes is made
// on first use and deleted when it becomes empty; its mutex is never freed.
//
// A scope that dies leaves no pointer to itself behind, beyond what the scope rules ask: its
// nodes without parents lose their scope and name too (not only the linked ones), it leaves the
// using lists of all other scopes, and live nodes that hold a key of its map as their name lose
// it. unregNode erases a node's key only while that entry still names the node, and takes the
// node's export key with it. The imports go first of all, before the node that owns their
// proxy fields.
class NodeNameSpace : public AttachmentBag {
  public:
    // A node of this scope published under a public name, for the imports of the enclosing
    // scope. The entry names the node by its DEF name, so a node that leaves the scope or is
    // renamed is no longer found through it.
    class Export : public RefCountObject {
      public:
        const std::string& localName() const { return _localName; }
        const std::string& asName() const { return _asName; }

      private:
        friend class NodeNameSpace;
        std::string _localName;
        std::string _asName;
    };

    // A local name for what the child scope of an inline node exports. Routes never reach the
    // exported node itself: they end at proxy fields of this import, and events are passed on
    // by name when they occur, so the inline content may come and go.
    class Import : public RefCountObject {
      public:
        using FieldMap = std::map<std::string, Field*>;
        const std::string& inlineNodeName() const { return _inlineNodeName; }
        const std::string& asName() const { return _asName; }
        const std::string& exportedName() const { return _exportedName; }
        // Proxies that are route sources and route targets, by field name.
        const FieldMap& outFieldMap() const { return _outFieldMap; }
        const FieldMap& inFieldMap() const { return _inFieldMap; }
        // Deletes the observers, then the proxies (with their routes).
        void shutdown() const override;

      private:
        friend class NodeNameSpace;
        std::string _inlineNodeName;
        std::string _asName;
        std::string _exportedName;
        mutable FieldMap _outFieldMap;
        mutable FieldMap _inFieldMap;
        mutable std::vector<Observer*> _observers;
    };

    // Watches the in slot of an import's target proxy and passes each event on into the
    // inline scene.
    class EventReceiveObserver : public Observer {
      public:
        EventReceiveObserver(NodeNameSpace& nameSpace, Import& import, const std::string& field);
        // a must be the proxy's in slot and b the event's field; anything else is ignored.
        void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) override;

      private:
        NodeNameSpace& _nameSpace;
        Import& _import;
        std::string _fieldName;
    };

    using ExportMap = std::map<std::string, SmartPtr<Export>>;
    using ImportMap = std::map<std::string, SmartPtr<Import>>;

    // Bits of _flags: what checkReleaseType must respect.
    enum Flag : uint32_t {
        HasImportExport = 0x1,  // holds an import or an export
        HasNamedRoute = 0x2     // a route made by name touches it
    };
    // A DEF name entry: whether the name was made up by the scope, and its node.
    using NodeEntry = std::pair<bool, Node*>;
    using NodeMap = std::map<std::string, NodeEntry>;

    // An empty name is replaced by "AN_NS_" and the scope's address.
    NodeNameSpace(const std::string& name, NodeNameSpace* parent, bool autoName);
    ~NodeNameSpace() override;

    uint64_t ID() const { return reinterpret_cast<uint64_t>(this); }
    const std::string& getName() const { return _name; }
    bool rename(const std::string& name);
    NodeNameSpace* getParent() const { return _parent; }
    void setParent(NodeNameSpace* parent);
    const std::list<NodeNameSpace*>& children() const { return _children; }
    Node* getRoot() const { return _root; }
    bool setRoot(Node* node);
    // The context of this scope or of the first ancestor that has one.
    Context* context() const;
    // The context set on this very scope, as the context of its root does.
    Context* ownContext() const { return _context; }
    void setContext(Context* context) { _context = context; }
    // The type registry, made on first use as a child of the root's type registry. A scope
    // without a root gets a root registry of its own, which knows no other types: such a scope
    // is given a registry with setNodeTypeNameSpace (the base registry, say) before types are
    // looked up in it.
    NodeTypeNameSpace* nodeTypeNameSpace();
    void setNodeTypeNameSpace(NodeTypeNameSpace* registry);
    bool autoName() const { return _autoName; }
    uint32_t flags() const { return _flags; }
    void setFlags(uint32_t flags) { _flags = flags; }

    // DEF names.
    bool regNode(Node& node, const NodeType& type, const char* name);
    bool unregNode(Node& node);
    bool updateNamedNode(const std::string& name, Node* node);
    bool removeNamedNode(const std::string& name);
    bool isAutoNamed(const std::string& name) const;
    int nodeCount() const { return _nodeCount; }
    unsigned int namedNodeCount() const { return unsigned(_nodeMap.size()); }
    unsigned int getNumNamedNodes() const { return namedNodeCount(); }
    NodeMap::const_iterator beginNode() const { return _nodeMap.begin(); }
    NodeMap::const_iterator endNode() const { return _nodeMap.end(); }
    void fillNodeVec(std::vector<Node*>& out, NodeType* type) const;

    static Node* findNode(NodeNameSpace* start, const std::string& name);
    static NodeNameSpace* findNameSpace(NodeNameSpace* start, const std::string& address,
                                        Context* context, bool lastIsNode);
    NodeType* findType(const std::string& name, SearchCaseType caseType);
    Node* createNode(const std::string& typeName, const char* name, NodeCreator creator,
                     SearchCaseType caseType);
    Node* createNode(BaseObject* parent, const std::string& typeName, const char* name,
                     NodeCreator creator, SearchCaseType caseType);

    // Scopes searched by findNode after this one.
    void addUsingNameSpace(NodeNameSpace& nameSpace);
    void removeUsingNameSpace(NodeNameSpace& nameSpace);
    void removeAllUsingNameSpace();

    // Scene head data.
    const std::string& url() const { return _url; }
    void setUrl(const std::string& url) { _url = url; }
    const std::string& profile() const { return _profile; }
    void setProfile(const std::string& profile) { _profile = profile; }
    int32_t specVersion() const { return _specVersion; }
    void setSpecVersion(int32_t version) { _specVersion = version; }
    const std::string& encoding() const { return _encoding; }
    void setEncoding(const std::string& encoding) { _encoding = encoding; }
    void setMetaData(const std::string& name, const std::string& value);
    const std::string* getMetaData(const std::string& name) const;
    bool removeMetaData(const std::string& name);
    const std::map<std::string, std::string>& metaDataVec() const { return _metaDataMap; }
    void addComponent(const std::string& name, int level);
    const std::vector<std::pair<std::string, int>>& componentVec() const { return _componentVec; }

    bool hasAbsolutAddress() const;
    bool fillAbsolutAddress(std::string& out) const;

    static int getNameSpaceVec(std::vector<NodeNameSpace*>& out, bool rootsOnly);
    static int nameSpaceCount();
    bool rootStateChanged(const TimeStamp& time);

    // Exports, keyed by the public name or, without one, the DEF name; names are trimmed.
    bool updateExportedNode(const std::string& localName, const std::string& asName);
    Node* getExportedNode(const std::string& name);
    bool removeExportedNode(const std::string& name);
    unsigned int getNumExportedNodes() const { return unsigned(_exportMap.size()); }
    ExportMap::const_iterator beginExport() const { return _exportMap.begin(); }
    ExportMap::const_iterator endExport() const { return _exportMap.end(); }

    // Imports, keyed by the local name or, without one, the exported name. An import may not
    // shadow a DEF name of this scope; it may be made before the inline content exists. A null
    // inline node is refused like an unknown inline node name.
    bool updateImportedNode(const std::string& exportedName, const std::string& localName,
                            Node* inlineNode);
    bool updateImportedNode(const std::string& exportedName, const std::string& localName,
                            const std::string& inlineNodeName);
    // The exported node behind an import, looked up through the inline node's child scope.
    Node* getImportedNode(const std::string& name);
    bool removeImportedNode(const std::string& name);
    unsigned int getNumImportedNodes() const { return unsigned(_importMap.size()); }
    ImportMap::const_iterator beginImport() const { return _importMap.begin(); }
    ImportMap::const_iterator endImport() const { return _importMap.end(); }

    // Routes by name, as loaders make them. createRoute also takes import names on either
    // side; deleteRoute knows DEF names only. A refusal logs one line with its reason.
    Route* createRoute(const char* fromNode, const char* fromField, const char* toNode,
                       const char* toField);
    bool deleteRoute(const char* fromNode, const char* fromField, const char* toNode,
                     const char* toField);

    // An event that reached the target proxy of an import, passed on to the exported node's
    // field of that name. Silent while the inline content is not there.
    void transferEventToExport(const TimeStamp& time, Field& field, Import& import,
                               const std::string& fieldName);
    // An event of an exported node of this scope, sent on from the source proxies of the
    // enclosing scope's imports of it.
    void transferEventFromExport(const TimeStamp& time, Field& field, EventOutSlot& slot);

    static Subject* newObjectSubject();
    static Subject* rootStateChangedSubject();
    static Subject* deleteObjectSubject();

  private:
    // The owner of the proxy fields, made on first need.
    Node& importDummyNode();

    SmartPtr<NodeTypeNameSpace> _nodeTypeNameSpace;
    std::string _name;
    NodeNameSpace* _parent;
    std::list<NodeNameSpace*> _children;
    std::list<NodeNameSpace*> _usingNameSpaces;
    std::string _url;
    bool _autoName;
    uint32_t _flags;
    Node* _root;
    Context* _context;
    int32_t _nodeCount;
    NodeMap _nodeMap;
    std::string _profile;
    int32_t _specVersion;
    std::map<std::string, std::string> _metaDataMap;
    std::string _encoding;
    std::vector<std::pair<std::string, int>> _componentVec;
    ExportMap _exportMap;
    SmartPtr<Node>* _importDummyNode = nullptr;
    ImportMap _importMap;
};

}  // namespace Kalvex
