#include "kalvex/nodes/NodePartDesc.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

NodePartDesc::NodePartDesc(unsigned int id, NodePartMask partMask, NodePartType kind,
                           NodePartDataType type, StaticParamMask options, const char* partName,
                           const char* partGroup, const char* defaultText, const char* valueType,
                           const char* text, unsigned int redirect)
    : _refType(nullptr),
      flags((options & 0x1f) << 3),
      ID(id),
      mask(partMask),
      partType(kind),
      dataType(type),
      _valueType(valueType ? valueType : ""),
      valueRestriction(0),
      nodeType(nullptr),
      minValue(0),
      maxValue(0),
      defaultValue(defaultText ? defaultText : ""),
      group(partGroup ? partGroup : ""),
      description(text ? text : ""),
      redirectIndex(redirect) {
    if (!partName) {
        KFATAL("Desc without name in NodePartDesc Const\n");
        return;
    }
    switch (kind) {
        case PartField:
            name = partName;
            break;
        case PartEventIn:
            name = partName;
            inSlotName = partName;
            break;
        case PartEventOut:
            name = partName;
            outSlotName = partName;
            break;
        case PartExposedField:
            name = partName;
            inSlotName = std::string("set_") + partName;
            outSlotName = std::string(partName) + "_changed";
            break;
        default:
            KFATAL("Unknown NodePartType in NodePartDesc Const.: %d\n", kind);
            break;
    }
}

}  // namespace Kalvex
