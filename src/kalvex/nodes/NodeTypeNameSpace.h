#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"

namespace Kalvex {

class BaseObject;
class Node;
class NodeType;
class ProtoLibrary;
class Subject;

// A registry of node types. Registries form trees: a look-up that fails in one registry goes on
// in its parent, so a scene or a prototype body can hold local types that shadow outer ones.
// Addresses join registry names with "::" before a type name; a leading "::" starts at a root.
//
// Two levels of lock, never held together: a static mutex for the process-wide maps, and one
// mutex per registry for its child list. The type maps have no lock: they are written when
// types are built and destroyed, which the caller orders.
//
// The static maps are made on first use and never freed, so that registries and types that are
// static objects may be destroyed in any order at the end of the process. A registry deletes
// the unreferenced types it still holds when it dies: native types, which are static objects,
// belong in a registry that outlives them, such as the base registry, which is never freed.
class NodeTypeNameSpace : public AttachmentBag {
  public:
    using TypeMap = std::map<std::string, NodeType*>;

    // A root's name is entered in the map of roots unless another root holds it (reported).
    // The destructor removes the entry if it is this registry's own, even when the registry
    // was given a parent since, so that no look-up by address reaches a dead registry.
    NodeTypeNameSpace(const char* name, NodeTypeNameSpace* parent);
    ~NodeTypeNameSpace() override;

    uint64_t ID() const { return reinterpret_cast<uint64_t>(this); }
    const std::string& getName() const { return _name; }
    NodeTypeNameSpace* getParent() const { return _parent; }
    void setParent(NodeTypeNameSpace* parent);
    // The child registries, copied under the registry's lock.
    std::vector<NodeTypeNameSpace*> children() const;
    const TypeMap& typeMap() const { return _typeMap; }
    NodeType* mainProtoType() const { return _mainProtoType; }
    ProtoLibrary* protoLibrary() const { return _protoLibrary; }
    void setProtoLibrary(ProtoLibrary* library) { _protoLibrary = library; }

    // A second type under a name already taken is reported and replaces the first in both maps.
    void regType(NodeType& type);
    // Erases only the entries that still name this type, so that a type that lost its name to
    // a later registration leaves the newer entries in place when it goes.
    void unregType(NodeType& type);
    // Makes an alias of type in this registry under name (type's own name when null).
    NodeType* refType(const NodeType& type, const char* name);

    static NodeType* findType(const NodeTypeNameSpace* start, const std::string& address,
                              SearchCaseType caseType);
    static NodeTypeNameSpace* findNameSpace(const NodeTypeNameSpace* start,
                                            const std::string& address, bool lastIsType);
    Node* createLocalNode(BaseObject* parent, const std::string& typeAddress, const char* name,
                          NodeCreator creator) const;

    bool hasAbsolutAddress() const;
    bool fillAbsolutAddress(std::string& out) const;

    // Types in name order, flags from TypeVecFlag; returns how many were appended.
    int getTypeVec(std::vector<NodeType*>& out, int flags) const;
    static int getNameSpaceVec(std::vector<NodeTypeNameSpace*>& out, bool rootsOnly);
    static int nameSpaceCount();

    void dump() const;
    static void dumpStatic();

    static Subject* newObjectSubject();
    static Subject* deleteObjectSubject();

  private:
    std::string _name;
    mutable std::mutex _mutex;  // guards _children
    NodeTypeNameSpace* _parent;
    NodeType* _mainProtoType;
    ProtoLibrary* _protoLibrary;
    std::list<NodeTypeNameSpace*> _children;
    TypeMap _typeMap;
    TypeMap _lowerTypeMap;
};

// The process-wide root registry "Base", where the library's own types register. Made on first
// use and never released.
NodeTypeNameSpace& theBaseNodeTypeFactory();

}  // namespace Kalvex
