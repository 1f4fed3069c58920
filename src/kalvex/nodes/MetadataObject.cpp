#include "kalvex/nodes/MetadataObject.h"

#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace {
constexpr StaticParamMask kAuto = NodePartDesc::OptAutoProcess;
constexpr StaticParamMask kAutoExtension =
    NodePartDesc::OptAutoProcess | NodePartDesc::OptTypeExtension;
}  // namespace

const NodePartMask MetadataObject::nameMask(4);
const NodePartMask MetadataObject::referenceMask(8);
const NodePartMask MetadataObject::enabledMask(16);

NodePartDesc MetadataObject::_desc[3] = {
    {2, NodePartMask(4), PartExposedField, SFStringType, kAuto, "name", nullptr, nullptr, nullptr,
     "Enter the metadata attribute name here."},
    {3, NodePartMask(8), PartExposedField, SFStringType, kAuto, "reference", nullptr, nullptr,
     nullptr,
     "Reference to the metadata standard or definition defining this particular metadata "
     "value."},
    {4, NodePartMask(16), PartExposedField, SFBoolType, kAutoExtension, "enabled", nullptr, "TRUE",
     nullptr,
     "flag to enable or disable the Object; Does not change any internal handling but is only "
     "a hint for application programms"}};

NodeType MetadataObject::_type(theBaseNodeTypeFactory(), "MetadataObject", "Base", "Node", nullptr,
                               "1.0", "Core", "Abstract metadata node", "stable",
                               "The base of the metadata nodes that any node may carry", "X3D3.0",
                               true, false, &MetadataObject::isType, nullptr,
                               &MetadataObjectProc::create, MetadataObject::_desc, 3);

MetadataObject::MetadataObject(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _nameField(*this), _reference(*this), _enabled(*this) {
    regField(_nameField, type, _desc[0].ID, true);
    regField(_reference, type, _desc[1].ID, true);
    regField(_enabled, type, _desc[2].ID, true);
}

void MetadataObject::fieldChanged(Field& field, const TimeStamp& time, Field* source) {
    guardedFieldChanged(field, time, source);
}

MetadataObjectProc* MetadataObject::getMetadataObjectProc() const {
    return static_cast<MetadataObjectProc*>(_proc);
}

bool MetadataObject::init() {
    const bool found =
        NodeTypeNameSpace::findType(_type.nameSpace(), _type.getName(), SearchExact) == &_type;
    KINFO("Init %s: %s\n", _type.getCName(), found ? "OK" : "FAILED");
    return found;
}

}  // namespace Kalvex
