#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/BitVector.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Context;
class EventInSlot;
class EventOutSlot;
class Field;
class NodeLink;
class NodeNameSpace;
class NodeProc;
class Subject;

// The data half of a scene object: fields, parent links, name, scope and lifecycle state. Its
// behaviour lives in the NodeProc it owns. Nodes are made by NodeType::createNode only.
//
// A native node class derives from Node, holds its fields (members are fine) and registers
// each in its constructor with regField under the ID of its row; NodeType passes the class's
// factory and behaviour factory. The change masks and flags are plain words that fields and
// events drive directly on the thread that runs the scene.
//
// A type whose chain yields no behaviour object (a type whose parent was never found) still
// gives its nodes the plain NodeProc, after createProc has reported the failure: no node runs
// without one.
class Node : public AttachmentBag {
  public:
    // The field slots of a node, one per part. The first slots live in the node itself, so
    // that most nodes need no allocation for them; more parts move them to the heap.
    class FieldVec {
      public:
        FieldVec() = default;
        FieldVec(const FieldVec&) = delete;
        FieldVec& operator=(const FieldVec&) = delete;
        ~FieldVec() {
            if (_data != _inline) delete[] _data;
        }

        size_t size() const { return _size; }
        bool empty() const { return _size == 0; }
        Field*& operator[](size_t i) { return _data[i]; }
        Field* operator[](size_t i) const { return _data[i]; }
        Field** begin() { return _data; }
        Field** end() { return _data + _size; }
        Field* const* begin() const { return _data; }
        Field* const* end() const { return _data + _size; }
        Field*& back() { return _data[_size - 1]; }

        void assign(size_t n, Field* value) {
            reserve(n);
            for (size_t i = 0; i < n; ++i) _data[i] = value;
            _size = uint32_t(n);
        }
        void push_back(Field* field) {
            if (_size == _capacity) reserve(_capacity * 2);
            _data[_size++] = field;
        }
        void pop_back() { --_size; }

      private:
        static constexpr size_t kInline = 8;
        void reserve(size_t n) {
            if (n <= _capacity) return;
            Field** grown = new Field*[n];
            for (size_t i = 0; i < _size; ++i) grown[i] = _data[i];
            if (_data != _inline) delete[] _data;
            _data = grown;
            _capacity = uint32_t(n);
        }

        Field* _inline[kInline];
        Field** _data = _inline;
        uint32_t _size = 0;
        uint32_t _capacity = kInline;
    };

    // Bits of _changeFlags.
    enum ChangeFlag : uint32_t {
        DescendantChanged = 0x1,  // a field of a descendant changed
        ChildrenChanged = 0x2,    // the children below changed
        FieldChanged = 0x4,       // a field of this node changed
        Visited = 0x100           // visited in the current synchronisation pass
    };
    // Log features: bit n of _logFeatureMask.
    enum LogFeature : unsigned int {
        LogState = 1,
        LogChild = 2,
        LogParent = 3,
        LogRoute = 4,
        LogValueChange = 4,
        LogEventIn = 6,
        LogEventOut = 7
    };
    // SFNodeType or MFNodeType for a field that holds links, NoDataType for any other. The row
    // answers first, so that a value field costs no virtual call on a walk.
    static NodePartDataType linkKind(const Field& field) {
        const NodePartDesc* desc = field.getDesc();
        if (desc && !desc->isNodeReference()) return NoDataType;
        const NodePartDataType kind = field.dataType();
        return kind == SFNodeType || kind == MFNodeType ? kind : NoDataType;
    }
    // 0 looks at stored names only; every positive value looks at the slot names too. Routes
    // pass 3 for their input side and 4 for their output side.
    using FieldSearchOrder = int;
    enum FieldSearchOrderValue : int {
        SearchStoredNames = 0,
        SearchAllNames = 1,
        SearchRouteInput = 3,
        SearchRouteOutput = 4
    };
    // Where addChild moves a child's registration: 0 nowhere, 1 to this node's scope, any
    // other value to the scope the behaviour gives its children.
    using NameSpaceTransfer = int;
    enum NameSpaceTransferValue : int {
        TransferNone = 0,
        TransferToNodeScope = 1,
        TransferToChildScope = 2
    };
    // 1 takes the first field that fits; any other value the field whose type is nearest.
    using NodeTypeMatchMode = int;
    enum NodeTypeMatchModeValue : int { MatchBest = 0, MatchFirstFit = 1 };
    // collectAllChildren flags.
    enum CollectFlag : unsigned int {
        CollectRawTargets = 0x1,  // the links' stored targets, not instances resolved
        CollectSkipDynamic = 0x2  // leave out fields of dynamic parts
    };

    Node(NodeType& type, NodeNameSpace& nameSpace, const char* name);
    // Copying is not how nodes are duplicated: this reports and leaves an empty node.
    Node(const Node& other);
    ~Node() override;

    void shutdown() const override;
    virtual void fieldChanged(Field& field, const TimeStamp& time, Field* source);

    // The factories "Node" gives its type, and what derived types inherit.
    static Node* createNode(NodeType& type, NodeNameSpace& nameSpace, const char* name);
    static NodeProc* createProc(NodeType& type, Node& node);
    static bool isNodeType(Node*) { return true; }
    static bool init() { return true; }

    // Identity.
    uint64_t ID() const { return reinterpret_cast<uint64_t>(this); }
    const std::string& getIDStr() const;
    void updateIDStr() const;
    // The DEF name, or the id text for an unnamed node: how messages show a node.
    const std::string& getName() const { return _name ? *_name : getIDStr(); }
    bool hasName() const { return _name != nullptr; }
    bool isAutoNamed() const;
    bool rename(const std::string& name);
    bool hasAbsolutAddress() const;
    bool fillAbsolutAddress(std::string& out) const;

    NodeType& getType() const { return *_nodeType; }
    const char* typeName() const { return _nodeType->getCName(); }
    NodeProc* getProc() const { return _proc; }
    NodeNameSpace* getNameSpace() const { return _nameSpace; }
    NodeCreator creator() const { return _creator; }
    NodeState getState() const { return _state; }
    const char* stateName() const;
    bool isExported() const { return _exportName != nullptr; }
    // The node is marked as changed since the last synchronisation.
    bool changedFlag() const { return (_changeFlags & FieldChanged) != 0; }
    bool logFeature(unsigned int feature) const { return _logFeatureMask.testBit(feature); }
    const BitVector<unsigned long>& getLogFeatureMask() const { return _logFeatureMask; }
    MFString& logFeatureField() { return _logFeature; }
    const MFString& logFeatureField() const { return _logFeature; }
    SFNode& metadataField() { return _metadata; }

    // The first non-prototype node behind this one; null for an empty prototype body.
    Node* native();
    // The first root of a context root type going up the scopes, and the first context.
    Node* contextRoot() const;
    Context* context() const;

    // All live nodes by id.
    static Node* findNode(uint64_t id);
    static bool findNode(Node* node);
    static unsigned int idMapSize();
    static bool hasIDMap();
    static void fillNodeVec(std::vector<Node*>& out, NodeType* type, bool namedOnly);

    // Parts.
    const FieldVec& fieldVec() const { return _fieldVec; }
    unsigned int fieldCount() const { return unsigned(_fieldVec.size()); }
    Field* getField(unsigned int id) const {
        return id < _fieldVec.size() ? _fieldVec[id] : nullptr;
    }
    NodePartDesc* findPartDesc(unsigned int id) const;
    unsigned int partDescCount() const;
    Field* findField(const std::string& name, FieldSearchOrder order) const;
    Field* findField(NodePartValueRestriction restriction) const;
    int findEventInSlotID(const std::string& name) const;
    int findEventOutSlotID(const std::string& name) const;
    EventInSlot* findEventInSlot(const std::string& name, bool create) const;
    EventOutSlot* findEventOutSlot(const std::string& name, bool create) const;
    EventInSlot* findEventInSlot(unsigned int id, bool create, bool force) const;
    EventOutSlot* findEventOutSlot(unsigned int id, bool create, bool force) const;
    // Hand a text value to the named slot, made if missing: the in slot receives it, the out
    // slot stores and sends it. False without such a slot.
    bool receiveEventIn(const char* slotName, const TimeStamp& time, const char* value);
    bool sendEventOut(const char* slotName, const TimeStamp& time, const char* value);
    // Binds field to the row id of type and stores it in that slot; a value field takes the
    // row's default when setDefault. Inline for value fields, which every node has many of.
    bool regField(Field& field, NodeType& type, unsigned int id, bool setDefault) {
        NodePartDesc* desc = type.findPartDesc(id);
        if (!desc || id >= _fieldVec.size() || desc->isNodeReference())
            return regLinkOrBadField(field, type, id);
        field.setDesc(desc);
        _fieldVec[id] = &field;
        if (setDefault && !desc->defaultValue.empty()) field.setDefaultValue(0.0);
        return true;
    }
    bool unregField(unsigned int id);
    Field* addDynamicField(NodePartType partType, NodePartDataType dataType, const char* name,
                           const char* group, const char* defaultValue, const char* valueType,
                           bool autoProcess, bool privateAccess, bool objExtension,
                           const char* description);
    Field* addDynamicField(const NodePartDesc& desc, BitVector<unsigned int>* flags);
    bool removeDynamicField(unsigned int id);
    bool hasDynamicField() const;
    NodePartMask dynamicFieldMask() const;
    bool equalFieldValues(const Node& other) const;
    void dumpField(const BitVector<unsigned long>& mask) const;

    // Children and parents.
    NodeLink* addChild(Node* child, const char* fieldName, NameSpaceTransfer transfer,
                       NodeTypeMatchMode mode);
    Field* removeChild(Node* child);
    unsigned int childCount() const;
    NodeLink* findChildLink(Node* child);
    unsigned int removeAllChildren(const TimeStamp& time);
    SmartPtr<Node> removeAllParentLinks(const TimeStamp& time);
    const std::vector<NodeLink*>& parentLinks() const { return _nodeLinkBag; }
    void markParent(int bits);
    unsigned int collectAllChildren(std::vector<Node*>& out, unsigned int flags) const;
    static void collectNonProtoParents(Node* child, std::vector<Node*>& out);
    int countAmbiguousChildFields(NodeType& type) const;
    bool hasAmbiguousChildFields() const;
    unsigned int inSlotConnectionCount(bool all) const;
    bool hasInSlotConnection(bool all) const { return inSlotConnectionCount(all) != 0; }
    unsigned int outSlotConnectionCount(bool all) const;
    bool hasOutSlotConnection(bool all) const { return outSlotConnectionCount(all) != 0; }

    // Whole-node operations.
    Node* clone(NodeNameSpace* nameSpace, const char* name) const;
    bool replace(Node& other);
    bool merge(Node& other);
    bool transfer(const TimeStamp& time, NodeNameSpace& nameSpace);

    // The lifecycle: a state change runs the behaviour's callbacks in the order of the
    // transition; an illegal one is reported and leaves the state.
    bool setState(const TimeStamp& time, NodeState state);
    bool setTreeState(const TimeStamp& time, NodeState state);
    bool updateTreeState(const TimeStamp& time, NodeState state);
    void updateLiveState(const TimeStamp& time, NodeLink* excluded);
    bool setNodeState(const TimeStamp& time, NodeState state);
    void dump() const;

    // Subjects shared by all nodes, made on first use.
    static Subject* newObjectSubject();
    static Subject* stateChangedSubject();
    static Subject* logFeatureChangedSubject();
    static Subject* childAddedSubject();
    static Subject* childRemovedSubject();
    static Subject* nameSpaceChangedSubject();
    static Subject* codeErrorSubject();
    static Subject* deleteObjectSubject();

    static NodeType _type;
    static NodePartDesc _desc[2];
    static const NodePartMask logFeatureMask;
    static const NodePartMask metadataMask;
    static bool _regID;
    static const char* const _stateName[5];
    static const char* const _creatorName[9];
    // Attachment key under which a context root node holds the scope it owns.
    static const int _rootNameSpaceKey;

    // Driven by fields, events and the behaviour: plain words, no lock.
    uint32_t _changeFlags = 0;
    NodePartMask _changedMask{~0UL};
    NodePartMask _isChangingMask{0};

    // The message of a loop broken at a field already changing.
    [[gnu::cold]] void reportChangeLoop(const Field& field) const;

  protected:
    friend class NodeLink;
    friend class NodeNameSpace;
    friend class NodeProc;
    friend class NodeType;

    // The fields of the node's own class or type, by the dataType of their rows.
    bool isLinkField(const Field* field) const;
    // Candidate fields for children: SFNode and MFNode of field or exposedField parts.
    bool isChildField(const Field* field) const;
    // The behaviour's fieldChanged under the loop guard: the field's bit is set while it runs, and
    // a field already changing is reported and stops here.
    void guardedFieldChanged(Field& field, const TimeStamp& time, Field* source);
    // The guard itself, for subclasses that call a behaviour of their own: false (reported) for
    // a field already changing, otherwise its bit is set until leaveFieldChange.
    bool enterFieldChange(const Field& field) {
        if (_isChangingMask.test(field.partMask())) {
            reportChangeLoop(field);
            return false;
        }
        _isChangingMask |= field.partMask();
        return true;
    }
    void leaveFieldChange(const Field& field) { _isChangingMask &= ~field.partMask(); }
    // regField for a link row or a row that does not exist.
    bool regLinkOrBadField(Field& field, NodeType& type, unsigned int id);
    // Drops the scope without telling it, when the scope dies first.
    void forgetNameSpace() {
        _nameSpace = nullptr;
        _name = nullptr;
        _exportName = nullptr;
    }
    // Runs the callbacks of one step of a transition with the state set to that step.
    void runTransition(const TimeStamp& time, NodeState from, NodeState to);

    BitVector<unsigned long> _logFeatureMask{0};
    NodeType* _nodeType;
    NodeProc* _proc = nullptr;
    const std::string* _name = nullptr;
    const std::string* _exportName = nullptr;
    mutable std::string* _idStr = nullptr;
    NodeNameSpace* _nameSpace = nullptr;
    std::vector<NodeLink*> _nodeLinkBag;
    FieldVec _fieldVec;
    NodeCreator _creator = CreatorUnknown;
    NodeState _state = Creation;
    // The two base parts live in the node: every node has them, and they cost no allocation.
    MFString _logFeature{*this};
    SFNode _metadata{*this};
};

}  // namespace Kalvex
