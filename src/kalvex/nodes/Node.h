#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/BitVector.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Field;
class NodeLink;
class NodeNameSpace;
class NodeProc;
class NodeType;
class MFString;
class SFNode;

// The data half of a scene object: fields, parent links, name and lifecycle state. Its behaviour
// lives in the NodeProc it owns. The members are plain data, touched by the thread that runs the
// scene; fields and events drive the masks directly.
class Node : public AttachmentBag {
  public:
    // Bits of _changeFlags.
    enum ChangeFlag : uint32_t {
        DescendantChanged = 0x1,
        ChildrenChanged = 0x2,
        FieldChanged = 0x4,  // the changed flag: this node is marked changed
        Visited = 0x100
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

    Node(NodeType& type, const char* name);
    Node(const Node& other);
    ~Node() override;

    virtual void fieldChanged(Field& field, const TimeStamp& time, Field* source);

    uint64_t ID() const { return reinterpret_cast<uint64_t>(this); }
    const std::string& getIDStr() const;
    // The name, or the id text for an unnamed node, as messages show a node.
    const std::string& getName() const { return _name ? *_name : getIDStr(); }
    bool hasName() const { return _name != nullptr; }
    NodeType& getType() const { return *_type; }
    const char* typeName() const;
    NodeProc* getProc() const { return _proc; }
    NodeState getState() const { return _state; }
    void setStateValue(NodeState state) { _state = state; }
    const char* stateName() const;
    bool isExported() const { return _exportName != nullptr; }
    bool logFeature(unsigned int feature) const { return _logFeatureMask.testBit(feature); }

    Field* getField(unsigned int id) const {
        return id < _fieldVec.size() ? _fieldVec[id] : nullptr;
    }
    bool regField(Field& field, NodeType& type, unsigned int id, bool setDefault);
    bool unregField(unsigned int id);

    bool changedFlag() const { return (_changeFlags & FieldChanged) != 0; }
    void markParent(int bits);

    static Node* findNode(uint64_t id);
    static bool findNode(Node* node);
    static unsigned int idMapSize();

    static const char* _stateName[5];
    static bool _regID;

    BitVector<unsigned long> _logFeatureMask{0};
    NodeType* _type;
    NodeProc* _proc = nullptr;
    const std::string* _name = nullptr;
    const std::string* _exportName = nullptr;
    mutable std::string* _idStr = nullptr;
    NodeNameSpace* _nameSpace = nullptr;
    std::vector<NodeLink*> _nodeLinkBag;
    std::vector<Field*> _fieldVec;
    int _creator = 0;
    NodeState _state = Creation;
    uint32_t _changeFlags = 0;
    NodePartMask _changedMask{~0UL};
    NodePartMask _isChangingMask{0};
    MFString* _logFeature = nullptr;
    SFNode* _metadata = nullptr;

  private:
    std::string _ownName;  // backs _name until name scopes hold the names
};

}  // namespace Kalvex
