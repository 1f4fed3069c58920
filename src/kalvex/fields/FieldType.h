#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/object/BaseObject.h"

namespace Kalvex {

class Field;
class Node;

using CreateFieldMethod = Field* (*)(Node&);

// The registry of field data types. Each concrete field class has one static FieldType, which
// registers itself during static initialisation; look-ups cope with a registry not yet made.
class FieldType : public BaseObject {
  public:
    FieldType(BaseType baseType, NodePartDataType dataType, const char* name,
              CreateFieldMethod createMethod, bool multi);
    ~FieldType() override = default;

    BaseType baseType() const { return _baseType; }
    NodePartDataType dataType() const { return _dataType; }
    const std::string& name() const { return _name; }
    CreateFieldMethod createMethod() const { return _createMethod; }
    bool isMulti() const { return _multi; }

    static FieldType* findType(NodePartDataType dataType);
    static FieldType* findType(BaseType baseType, bool single);
    static FieldType* findType(const std::string& name);
    static NodePartDataType dataType(const std::string& name);
    static Field* create(NodePartDataType dataType, Node& node);
    static Field* create(BaseType baseType, Node& node, bool single);
    static const char* dataTypeName(NodePartDataType dataType);
    static bool isMultiField(NodePartDataType dataType);
    static int typeCount();
    static void initTypeTree();

    void dump() const;
    static void dumpAll();

  private:
    BaseType _baseType;
    NodePartDataType _dataType;
    std::string _name;
    CreateFieldMethod _createMethod;
    bool _multi;

    static std::vector<FieldType*>* _typeVec;
    static std::map<std::string, FieldType*>* _nameMap;
    static std::map<BaseType, std::pair<FieldType*, FieldType*>>* _baseTypeMap;
};

}  // namespace Kalvex
