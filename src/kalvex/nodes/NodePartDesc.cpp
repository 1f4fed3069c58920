#include "kalvex/nodes/NodePartDesc.h"

#include <cstdlib>
#include <mutex>

#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/StringUtil.h"

namespace Kalvex {

std::vector<std::string> NodePartDesc::_partTypeNameDic;

namespace {

const char* flagText(bool on) {
    return on ? "1" : "0";
}

}  // namespace

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
      valueRestriction(RestrictionUnset),
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

NodePartDesc::NodePartDesc(const NodePartDesc& other, BitVector<unsigned int>* flagWord)
    : BaseObject(other),
      _refType(other._refType),
      flags(flagWord ? *flagWord : other.flags),
      ID(other.ID),
      mask(other.mask),
      partType(other.partType),
      dataType(other.dataType),
      _valueType(other._valueType),
      valueRestriction(other.valueRestriction),
      nodeType(other.nodeType),
      minValue(other.minValue),
      maxValue(other.maxValue),
      valueList(other.valueList),
      name(other.name),
      inSlotName(other.inSlotName),
      outSlotName(other.outSlotName),
      defaultValue(other.defaultValue),
      group(other.group),
      description(other.description),
      redirectIndex(other.redirectIndex),
      isLinkMap(other.isLinkMap) {}

NodePartDesc::~NodePartDesc() {
    delete _defaultValueCache.load();
}

void NodePartDesc::init(NodeType& type) {
    _refType = &type;
    valueRestriction = RestrictionNone;
    nodeType = nullptr;
    // A row parsed before (a copy, or a table bound a second time) starts its list afresh.
    valueList.clear();
    if (_valueType.empty()) return;
    std::vector<std::string> tokens;
    if (stringTokenizer(_valueType, tokens, "[]() ;,") == 0) return;
    if (tokens.size() == 1 && tokens[0] == "cdata") {
        valueRestriction = RestrictionCData;
        return;
    }
    switch (dataType) {
        case SFDoubleType:
        case MFDoubleType:
        case SFFloatType:
        case MFFloatType:
        case SFInt32Type:
        case MFInt32Type:
            if (tokens.size() != 2) {
                KWARNING("%s.%s: Need two min;max values in _valueType\n", type.getCName(),
                         name.c_str());
                return;
            }
            valueRestriction = RestrictionRange;
            minValue = std::strtod(tokens[0].c_str(), nullptr);
            maxValue = std::strtod(tokens[1].c_str(), nullptr);
            return;
        case SFNodeType:
        case MFNodeType:
            if (tokens.size() != 1) {
                KWARNING("%s.%s: Only one value allowed in _valueType\n", type.getCName(),
                         name.c_str());
                return;
            }
            valueRestriction = RestrictionNodeType;
            _valueType = tokens[0];
            return;
        case SFStringType:
        case MFStringType:
            // A single word other than cdata restricts nothing.
            if (tokens.size() >= 2) {
                valueRestriction = RestrictionList;
                valueList.insert(valueList.end(), tokens.begin(), tokens.end());
            }
            return;
        default:
            return;
    }
}

void NodePartDesc::updateNodeType() const {
    if (!_refType) {
        KFATAL("No valid _refType, cannot update nodeType: %s\n", _valueType.c_str());
        return;
    }
    nodeType = NodeTypeNameSpace::findType(_refType->nameSpace(), _valueType, SearchExact);
    if (!nodeType) KFATAL("Cannot find %s for %s ref\n", _valueType.c_str(), _refType->getCName());
}

NodeType* NodePartDesc::requiredNodeType() const {
    if (valueRestriction == RestrictionNodeType && !nodeType) updateNodeType();
    return nodeType;
}

const std::string& NodePartDesc::valueListElem(const std::string& current,
                                               ListSelect select) const {
    if (valueRestriction != RestrictionList) {
        KWARNING("%s is not a list (%s)\n", name.c_str(), _valueType.c_str());
        return current;
    }
    if (valueList.empty()) {
        KWARNING("%s holds empty list\n", name.c_str());
        return current;
    }
    const size_t n = valueList.size();
    size_t i = 0;
    if (select != SelectFirst && select != SelectLast && select != SelectRandom) {
        while (i < n && !equalNoCase(valueList[i], current)) ++i;
        if (i == n) {
            KWARNING("%s(%s) Invalid CurrentElem: %s; can not select\n", name.c_str(),
                     _valueType.c_str(), current.c_str());
            return current;
        }
    }
    switch (select) {
        case SelectNext:
            return valueList[i + 1 < n ? i + 1 : i];
        case SelectPrevious:
            return valueList[i > 0 ? i - 1 : 0];
        case SelectNextCyclic:
            return valueList[i + 1 < n ? i + 1 : 0];
        case SelectPreviousCyclic:
            return valueList[i > 0 ? i - 1 : n - 1];
        case SelectFirst:
            return valueList[0];
        case SelectLast:
            return valueList[n - 1];
        case SelectRandom: {
            // rand() * n / 2^31 carried out in 32 bits, as it always was: the product wraps, so
            // this nearly always picks the first element. Widening it would change the choice.
            uint32_t product = uint32_t(std::rand()) * uint32_t(n);
            return valueList[product == 0x80000000u ? 1 : 0];
        }
        default:
            return valueList[i];
    }
}

void NodePartDesc::addIsLink(const std::string& nodeName, unsigned int fieldID) {
    isLinkMap[nodeName].push_back(fieldID);
}

void NodePartDesc::getIDStr(std::string& out) const {
    out = std::to_string(ID);
}

const char* NodePartDesc::partTypeName() const {
    static std::once_flag filled;
    std::call_once(filled, [] {
        _partTypeNameDic.assign(8, "Invalid Part Type");
        _partTypeNameDic[PartField] = "field";
        _partTypeNameDic[PartEventIn] = "eventIn";
        _partTypeNameDic[PartEventOut] = "eventOut";
        _partTypeNameDic[PartExposedField] = "exposedField";
    });
    if (partType < 0 || partType >= 8) {
        KFATAL("Invalid partType %d, cannot find name entry\n", partType);
        return _partTypeNameDic[0].c_str();
    }
    return _partTypeNameDic[size_t(partType)].c_str();
}

const char* NodePartDesc::accessTypeName() const {
    switch (partType) {
        case PartField:
            return "initializeOnly";
        case PartEventIn:
            return "inputOnly";
        case PartEventOut:
            return "outputOnly";
        case PartExposedField:
            return "inputOutput";
        default:
            return "invalid";
    }
}

const char* NodePartDesc::dataTypeName() const {
    return FieldType::dataTypeName(dataType);
}

void NodePartDesc::dump() const {
    std::string bits(64, '0');
    for (unsigned int i = 0; i < 64; ++i)
        if (mask.testBit(i)) bits[i] = '1';
    const char* typeName = FieldType::findType(dataType) ? dataTypeName() : "";
    KLOG("NodePartDesc:       %s\n", name.c_str());
    KLOG("  ID:               %u\n", ID);
    KLOG("  Mask value:       %s\n", bits.c_str());
    KLOG("  partType:         %s\n", partTypeName());
    KLOG("  dataType:         %s\n", typeName);
    KLOG("  valueType:        %s\n", _valueType.c_str());
    KLOG("  valueRestriction: %d\n", int(valueRestriction));
    KLOG("  name:             %s\n", name.c_str());
    KLOG("  group:             %s\n", group.c_str());
    KLOG("  fieldName:        %s\n", name.c_str());
    KLOG("  inSlotName:       %s\n", inSlotName.c_str());
    KLOG("  outSlotName:      %s\n", outSlotName.c_str());
    KLOG("  defaultValue:     %s\n", defaultValue.c_str());
    KLOG("  autoProcess:      %s\n", flagText(hasFlag(AutoProcess)));
    KLOG("  privateAccess:    %s\n", flagText(hasFlag(PrivateAccess)));
    KLOG("  objExtension:     %s\n", flagText(hasFlag(ObjExtension)));
    KLOG("  typeExtension:    %s\n", flagText(hasFlag(TypeExtension)));
    KLOG("  deprecated:       %s\n", flagText(hasFlag(Deprecated)));
    KLOG("  derived:          %s\n", flagText(hasFlag(Derived)));
    KLOG("  description:      %s\n", description.c_str());
    KLOG("  isLinkMap size:   %d\n", int(isLinkMap.size()));
    KLOG("\n");
}

}  // namespace Kalvex
