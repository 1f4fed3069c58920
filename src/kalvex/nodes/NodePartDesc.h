#pragma once

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

// One row of a node type's table of parts: kind, data type, the three names, default text and
// documentation. Fields point back at their row.
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
    // Constructor options.
    enum Option : StaticParamMask {
        OptAutoProcess = 0x1,
        OptPrivateAccess = 0x2,
        OptDeprecated = 0x4,
        OptTypeExtension = 0x8,
        OptRedirected = 0x10
    };

    NodePartDesc(unsigned int id, NodePartMask mask, NodePartType partType,
                 NodePartDataType dataType, StaticParamMask options, const char* name,
                 const char* group, const char* defaultValue, const char* valueType,
                 const char* description, unsigned int redirectIndex = 0);
    ~NodePartDesc() override = default;

    bool hasFlag(unsigned int flag) const { return (flags.getValue() & flag) != 0; }
    bool autoProcess() const { return hasFlag(AutoProcess); }

    NodeType* _refType;
    BitVector<unsigned int> flags;
    unsigned int ID;
    NodePartMask mask;
    NodePartType partType;
    NodePartDataType dataType;
    std::string _valueType;
    int valueRestriction;
    NodeType* nodeType;
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
};

}  // namespace Kalvex
