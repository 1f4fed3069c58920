#pragma once

#include <cstdint>
#include <iosfwd>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"

namespace Kalvex {

class BaseObject;
class Context;
class MFNode;
class Node;
class NodeNameSpace;
class NodeProc;
class NodeTypeNameSpace;
class SFNode;

// The runtime description of one kind of node: a table of parts, the functions that make the
// node and its behaviour, and documentation texts. Types form a single-inheritance tree with
// "Node" at the root; every node of the system comes out of createNode.
//
// A native type is a static object built from a static table of rows, in any order of static
// initialisation: its parent is found by name when initType builds the part table, which
// initTypeTree does for every type at System::init. A type built after that is built by its own
// initType (or a further initTypeTree) before it makes nodes. An alias is a second registration
// of a type under another name or in another registry.
//
// Prototype types (made from a scene's prototype declaration) share this class; their
// constructor, part rows and instance creation come with the prototype model. Until then
// _protoDeclaration is never set and those branches are not taken.
//
// The id map and its mutex are made on first use and never freed, so that types may be
// destroyed in any order at the end of the process.
class NodeType : public RefCountObject {
  public:
    using IsTypeProc = bool (*)(Node*);
    using CreateNodeProc = Node* (*)(NodeType&, NodeNameSpace&, const char*);
    using CreateProcProc = NodeProc* (*)(NodeType&, Node&);
    using DescMap = std::map<std::string, NodePartDesc*>;

    // A native type. Null strings are empty strings. The rows of desc are kept by address; the
    // type renumbers them when initType appends them after the parent's rows.
    NodeType(NodeTypeNameSpace& ns, const char* name, const char* library, const char* parentName,
             const char* defaultOf, const char* version, const char* component, const char* summary,
             const char* status, const char* description, const char* standard,
             bool staticInterface, bool contextRoot, IsTypeProc isType, CreateNodeProc createNode,
             CreateProcProc createProc, NodePartDesc* desc, unsigned int descCount);
    // An alias of aliased in ns, under name (aliased's name when null or empty). An alias of a
    // native type is a direct child of it with the same behaviour.
    NodeType(NodeTypeNameSpace& ns, NodeType& aliased, const char* name);
    ~NodeType() override;

    // Identity and texts.
    unsigned int getTypeID() const { return _typeID; }
    const std::string& getName() const { return _name; }
    const char* getCName() const { return _name.c_str(); }
    const std::string& library() const { return _library; }
    const std::string& parentName() const { return _parentName; }
    const std::string& defaultOf() const { return _defaultOf; }
    const std::string& version() const { return _version; }
    const std::string& component() const { return _component; }
    const std::string& summary() const { return _summary; }
    const std::string& statusText() const { return _statusText; }
    const std::string& description() const { return _description; }
    const std::string& standard() const { return _standard; }
    NodeTypeStatus status() const { return _status; }
    bool staticInterface() const { return _staticInterface; }
    bool contextRoot() const { return _contextRoot; }
    bool initialized() const { return _initialized; }
    NodeTypeNameSpace* nameSpace() const { return _nameSpace; }

    // The tree.
    NodeType* getParent() const { return _parent; }
    NodeType* defaultDescendant() const { return _defaultDescendant; }
    const std::list<NodeType*>& derivedTypes() const { return _derivedTypes; }
    NodeType* aliasOf() const { return _aliasOf.get(); }
    bool hasProtoDeclaration() const { return bool(_protoDeclaration); }
    // The prototype declaration node of a prototype type or prototype alias; null for native
    // types.
    Node* protoDeclaration() const;
    // Concrete: it can make nodes itself.
    bool isConcrete() const { return _createNodeProc || _protoDeclaration; }
    IsTypeProc isTypeProc() const { return _isTypeProc; }

    bool isA(const NodeType& other) const;
    // Steps up the tree from this type to other: 0 for the same type, -1 if unrelated.
    int isADistance(const NodeType& other) const;
    bool isALeafNode() const;
    bool isAGenericGroupNode() const;
    NodeType* isDefaultDescendantOf() const;
    bool setDefaultDescendant(NodeType* type);

    // The part table; valid after initType.
    const std::vector<NodePartDesc*>& descVec() const { return _descVec; }
    unsigned int descCount() const { return unsigned(_descVec.size()); }
    // The IDs of the rows that hold links (SFNode and MFNode), in order: what a node's
    // teardown and walks visit without touching its value fields.
    const std::vector<unsigned int>& linkIDs() const { return _linkIDs; }
    NodePartDesc* findPartDesc(unsigned int id) const {
        return id < _descVec.size() ? _descVec[id] : nullptr;
    }
    unsigned int protoDescCount() const { return _protoDescCount; }
    const DescMap& fieldMap() const { return _fieldMap; }
    const DescMap& inSlotMap() const { return _inSlotMap; }
    const DescMap& outSlotMap() const { return _outSlotMap; }
    // Looks name up as a field, then as an input and an output slot name, following redirected
    // rows.
    NodePartDesc* findPart(const std::string& name) const;
    // The row a hit in a map stands for: itself, or its redirect target.
    const NodePartDesc* followRedirect(const NodePartDesc* desc) const;

    // Live nodes of this type and of its descendants.
    int objCount() const { return _objCount; }
    void changeObjCounter(int delta) const;

    bool hasAbsolutAddress() const;
    bool fillAbsolutAddress(std::string& out) const;

    // Builds the part table and name maps; returns the number of types built (0 if done).
    int initType(bool native);
    static int initTypeTree(bool native);
    NodeProc* createProc(Node& node);
    // Makes a node in the scope that parent gives (a NodeNameSpace, a Node, an SFNode, an
    // MFNode, or a Context for context root types), attaches it to parent and sets it to Setup.
    Node* createNode(BaseObject* parent, const char* name, NodeCreator creator) const;
    static Node* createNode(BaseObject* parent, const char* typeName, const char* name,
                            NodeCreator creator);

    static unsigned int typeCount();
    static NodeType* findType(unsigned int id);
    static NodeType* findContextRootType(const std::string& name);
    static int getTypeVec(std::vector<NodeType*>& out, int flags);
    static std::mutex& typeIDMapMutex();

    // Documentation coverage of the types with status alpha, beta or stable: false when a type
    // or a part lacks its description. verbose lists the types with gaps.
    static bool reportDocStatus(std::ostream& out, bool verbose);

    void dump() const;
    bool operator==(const NodeType& other) const { return this == &other; }

  protected:
    friend class NodeTypeNameSpace;

    void enterInIDMap();
    void fillNameMaps();
    // What createNode was given as parent, and the scope that follows from it.
    struct Parent {
        BaseObject* object = nullptr;
        NodeNameSpace* scope = nullptr;
        Node* node = nullptr;
        SFNode* sf = nullptr;
        MFNode* mf = nullptr;
        Context* context = nullptr;
    };
    static Parent classifyParent(BaseObject* object);
    // createNode from the time stamp on, once the scope is known.
    Node* finishNode(const Parent& parent, const char* name, NodeCreator creator) const;

    NodeTypeNameSpace* _nameSpace;
    bool _initialized;
    mutable int32_t _objCount;
    unsigned int _typeID;
    std::string _name;
    std::string _library;
    std::string _parentName;
    std::string _defaultOf;
    std::string _version;
    std::string _component;
    std::string _summary;
    std::string _statusText;
    std::string _description;
    std::string _standard;
    NodeTypeStatus _status;
    bool _staticInterface;
    IsTypeProc _isTypeProc;
    CreateNodeProc _createNodeProc;
    CreateProcProc _createProcProc;
    NodeType* _parent;
    NodeType* _defaultDescendant;
    SmartPtr<NodeType> _aliasOf;
    bool _contextRoot;
    SmartPtr<RefCountObject> _protoDeclaration;
    int32_t _protoDescCount;
    std::list<NodeType*> _derivedTypes;
    std::vector<NodePartDesc*> _descVec;
    std::vector<unsigned int> _linkIDs;
    DescMap _fieldMap;
    DescMap _inSlotMap;
    DescMap _outSlotMap;
};

}  // namespace Kalvex
