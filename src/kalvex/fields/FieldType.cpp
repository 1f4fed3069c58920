#include "kalvex/fields/FieldType.h"

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

// Plain pointers set up by the first registration: registrations run during static
// initialisation, in any order, so the registry cannot rely on constructed containers.
std::vector<FieldType*>* FieldType::_typeVec;
std::map<std::string, FieldType*>* FieldType::_nameMap;
std::map<BaseType, std::pair<FieldType*, FieldType*>>* FieldType::_baseTypeMap;

FieldType::FieldType(BaseType baseType, NodePartDataType dataType, const char* name,
                     CreateFieldMethod createMethod, bool multi)
    : _baseType(baseType),
      _dataType(dataType),
      _name(name ? name : ""),
      _createMethod(createMethod),
      _multi(multi) {
    if (!_typeVec || !_nameMap || !_baseTypeMap) {
        KINFO("Create FieldType static maps\n");
        _typeVec = new std::vector<FieldType*>(52, nullptr);
        _nameMap = new std::map<std::string, FieldType*>;
        _baseTypeMap = new std::map<BaseType, std::pair<FieldType*, FieldType*>>;
    }
    if (dataType < 0) return;
    if (size_t(dataType) >= _typeVec->size()) _typeVec->resize(size_t(dataType) + 1, nullptr);
    if ((*_typeVec)[dataType]) {
        KFATAL("Cannot register datatype ID %d a second time for %s\n", dataType, _name.c_str());
        return;
    }
    if (_name.empty()) KFATAL("FieldType without name\n");
    (*_typeVec)[dataType] = this;
    (*_nameMap)[_name] = this;
    auto& pair = (*_baseTypeMap)[baseType];
    (multi ? pair.second : pair.first) = this;
}

FieldType* FieldType::findType(NodePartDataType dataType) {
    // No bounds test, as callers pass numbers of the catalogue.
    return _typeVec ? (*_typeVec)[dataType] : nullptr;
}

FieldType* FieldType::findType(BaseType baseType, bool single) {
    if (!_baseTypeMap) {
        KFATAL("Invalid _baseTypeMap, cannot find FieldType\n");
        return nullptr;
    }
    auto it = _baseTypeMap->find(baseType);
    if (it == _baseTypeMap->end()) {
        KFATAL("Can not find _baseTypeMap\n");
        return nullptr;
    }
    return single ? it->second.first : it->second.second;
}

FieldType* FieldType::findType(const std::string& name) {
    if (!_nameMap) {
        KFATAL("Invalid typemap in FieldType::dataType()\n");
        return nullptr;
    }
    auto it = _nameMap->find(name);
    return it == _nameMap->end() ? nullptr : it->second;
}

NodePartDataType FieldType::dataType(const std::string& name) {
    if (!_nameMap) {
        KFATAL("Invalid typemap in FieldType::dataType()\n");
        return NoDataType;
    }
    auto it = _nameMap->find(name);
    return it == _nameMap->end() ? NoDataType : it->second->_dataType;
}

Field* FieldType::create(NodePartDataType dataType, Node& node) {
    if (!_typeVec || dataType < 0 || size_t(dataType) >= _typeVec->size()) return nullptr;
    FieldType* type = (*_typeVec)[dataType];
    return (type && type->_createMethod) ? type->_createMethod(node) : nullptr;
}

Field* FieldType::create(BaseType baseType, Node& node, bool single) {
    if (!_baseTypeMap) {
        KFATAL("Invalid _baseTypeMap, cannot find FieldType\n");
        return nullptr;
    }
    auto it = _baseTypeMap->find(baseType);
    FieldType* type = nullptr;
    if (it != _baseTypeMap->end()) type = single ? it->second.first : it->second.second;
    if (!type) {
        KFATAL("Can not find _baseTypeMap\n");
        return nullptr;
    }
    return type->_createMethod ? type->_createMethod(node) : nullptr;
}

const char* FieldType::dataTypeName(NodePartDataType dataType) {
    return (*_typeVec)[dataType]->_name.c_str();
}

bool FieldType::isMultiField(NodePartDataType dataType) {
    if (!_typeVec || dataType < 0 || size_t(dataType) >= _typeVec->size()) return false;
    FieldType* type = (*_typeVec)[dataType];
    return type && type->_multi;
}

int FieldType::typeCount() {
    if (!_typeVec) return 0;
    int count = 0;
    for (FieldType* type : *_typeVec)
        if (type) ++count;
    return count;
}

void FieldType::initTypeTree() {
    // Naming each class's init() keeps its registration in every program that links us.
    MFQubit::init();
    MFBool::init();
    MFColor::init();
    MFColorRGBA::init();
    MFFloat::init();
    MFInt32::init();
    MFNode::init();
    MFRotation::init();
    MFString::init();
    MFTime::init();
    MFVec2f::init();
    MFVec3f::init();
    MFVec4f::init();
    MFVec2d::init();
    MFVec3d::init();
    MFVec4d::init();
    MFImage::init();
    MFMatrix3d::init();
    MFMatrix3f::init();
    MFMatrix4d::init();
    MFMatrix4f::init();
    MFPlane::init();
    MFSound::init();
    SFQubit::init();
    SFBool::init();
    SFColor::init();
    SFColorRGBA::init();
    SFFloat::init();
    SFInt32::init();
    SFNode::init();
    SFRotation::init();
    SFString::init();
    SFTime::init();
    SFVec2f::init();
    SFVec3f::init();
    SFVec4f::init();
    SFVec2d::init();
    SFVec3d::init();
    SFVec4d::init();
    SFImage::init();
    SFMatrix3d::init();
    SFMatrix3f::init();
    SFMatrix4d::init();
    SFMatrix4f::init();
    SFPlane::init();
    SFSound::init();
    KINFO("init field types: %d types\n", typeCount());
}

void FieldType::dump() const {
    KLOG("FieldType: %s, index: %d, createMethod: %p\n", _name.c_str(), _dataType,
         reinterpret_cast<void*>(_createMethod));
}

void FieldType::dumpAll() {
    if (!_typeVec) {
        KLOG("FieldType static map is not initialized, skip obj dump\n");
        return;
    }
    for (FieldType* type : *_typeVec)
        if (type) type->dump();
}

}  // namespace Kalvex
