#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/BaseObject.h"
#include "kalvex/object/BitVector.h"

namespace Kalvex {

class NodeType;

using StaticParamMask = unsigned int;

// What the text of a row's value type restricts, once init has parsed it.
enum NodePartValueRestriction : int {
    RestrictionUnset = 0,  // init has not run on this row
    RestrictionNone = 1,
    RestrictionCData = 2,     // character data: the single word "cdata"
    RestrictionNodeType = 3,  // a node reference limited to the type named by the value type
    RestrictionRange = 4,     // a number between minValue and maxValue (stored, not enforced)
    RestrictionList = 5       // a string out of valueList
};

// The mask of the part with index id: parts 64 and above share a bit with an earlier part.
constexpr NodePartMask partMaskOf(unsigned int id) {
    return NodePartMask(1UL << (id % 64));
}

// One row of a node type's table of parts: kind, data type, the three names, default text,
// documentation, value restriction and, for prototypes, the IS links into the body. Fields
// point back at their row. Rows of native types live in static arrays of the plug-in that
// declares them; rows of prototypes and dynamic parts are allocated one by one.
class NodePartDesc : public BaseObject {
  public:
    // Bits of flags. The constructor's option bits 0..4 land on bits 3..7.
    enum Flag : unsigned int {
        ObjExtension = 0x2,
        Derived = 0x4,
        AutoProcess = 0x8,
        PrivateAccess = 0x10,
        Deprecated = 0x20,
        TypeExtension = 0x40,
        Redirected = 0x80
    };
    // Constructor options (the StaticParamMask).
    enum Option : StaticParamMask {
        OptAutoProcess = 0x1,
        OptPrivateAccess = 0x2,
        OptDeprecated = 0x4,
        OptTypeExtension = 0x8,
        OptRedirected = 0x10
    };
    enum ListSelect : int {
        SelectNext = 0,
        SelectPrevious = 1,
        SelectNextCyclic = 2,
        SelectPreviousCyclic = 3,
        SelectFirst = 4,
        SelectLast = 5,
        SelectRandom = 6
    };

    // Text arguments other than name may be null (empty). A null name or an invalid part type
    // is reported and leaves the three names empty; the row stays usable as data.
    NodePartDesc(unsigned int id, NodePartMask mask, NodePartType partType,
                 NodePartDataType dataType, StaticParamMask options, const char* name,
                 const char* group, const char* defaultValue, const char* valueType,
                 const char* description, unsigned int redirectIndex = 0);
    // A full copy, including what init computed; a non-null flag word replaces flags.
    NodePartDesc(const NodePartDesc& other, BitVector<unsigned int>* flagWord);
    NodePartDesc(const NodePartDesc& other) : NodePartDesc(other, nullptr) {}
    ~NodePartDesc() override;

    // Binds the row to its type and parses the value type text.
    void init(NodeType& type);
    // Resolves nodeType from the value type text in the registry of the owning type.
    void updateNodeType() const;
    // The node type a reference must have: resolved on demand, null when unrestricted.
    NodeType* requiredNodeType() const;
    // The element of valueList that select picks relative to current, or current itself.
    const std::string& valueListElem(const std::string& current, ListSelect select) const;
    void addIsLink(const std::string& nodeName, unsigned int fieldID);
    void getIDStr(std::string& out) const;

    const char* partTypeName() const;
    // The X3D access type name: initializeOnly, inputOnly, outputOnly, inputOutput, invalid.
    const char* accessTypeName() const;
    const char* dataTypeName() const;
    void dump() const;

    bool hasFlag(unsigned int flag) const { return (flags.getValue() & flag) != 0; }
    void setFlag(unsigned int flag, bool on) {
        flags.setValue(on ? (flags.getValue() | flag) : (flags.getValue() & ~flag));
    }
    bool autoProcess() const { return hasFlag(AutoProcess); }
    bool privateAccess() const { return hasFlag(PrivateAccess); }
    bool objExtension() const { return hasFlag(ObjExtension); }
    bool redirected() const { return hasFlag(Redirected); }
    // Part kinds that hold a value that can be initialised: field and exposedField.
    bool isInitialisable() const { return (partType & PartField) != 0; }
    bool isNodeReference() const { return dataType == SFNodeType || dataType == MFNodeType; }

    // The default text of the row parsed once by the field class that reads it: every later
    // field of the row copies the value instead of parsing the text again. A field class keeps
    // its own kind of value in a subclass and marks it with a tag of its own. So the default text
    // of a row is fixed once a field has taken it; rows with other defaults are other rows.
    struct DefaultValueCache {
        virtual ~DefaultValueCache() = default;
        const void* owner = nullptr;
    };
    std::atomic<DefaultValueCache*>& defaultValueCache() const { return _defaultValueCache; }

    // Indexed by part type: the four names at 1, 2, 4, 7 and "Invalid Part Type" elsewhere.
    static std::vector<std::string> _partTypeNameDic;

    NodeType* _refType;
    BitVector<unsigned int> flags;
    unsigned int ID;
    NodePartMask mask;
    NodePartType partType;
    NodePartDataType dataType;
    std::string _valueType;
    NodePartValueRestriction valueRestriction;
    mutable NodeType* nodeType;
    double minValue;
    double maxValue;
    std::vector<std::string> valueList;
    std::string name;
    std::string inSlotName;
    std::string outSlotName;
    std::string defaultValue;
    std::string group;
    std::string description;
    unsigned int redirectIndex;
    std::map<std::string, std::vector<unsigned int>> isLinkMap;

  private:
    mutable std::atomic<DefaultValueCache*> _defaultValueCache{nullptr};
};

}  // namespace Kalvex
