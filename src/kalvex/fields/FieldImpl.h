#pragma once
// Binds a field template to a codec: a struct of static functions that give one class its text
// and binary forms. A codec provides what its class implements; what it leaves out falls back
// to the shared behaviour (the template's own rule, or a "not imp" report).
//
// Codec functions, with F the template base of the class; every codec has the first two, the
// others are optional:
//   void setStr(F&, const char*)                         setValueByStr
//   void getStr(const F&, std::string&)                   getStrValue
//   const char* addStr(F&, const char*, Field::Cardinality)
//   std::string getBin(const F&, int component)           getBinValue(int)
//   void setBin(F&, const std::string&)                   setValueByBin(string)
//   std::string get1Bin(const F&, int index)              get1ValueAsBin
//   void set1Bin(F&, int index, const std::string&)       set1ValueByBin
//   void setRaw(F&, unsigned char*, unsigned int)         setValueByBin(raw)
//   bool rawSilent                                        raw forms answer 0 without a report
//   bool setField(F&, const Field&, ConvertParam*)        setValueByField
//   bool equal(const F&, const Field&)                    equalValue
//
// The member bodies are instantiated once, in FieldClasses.cpp.

#include <string>

#include "kalvex/fields/Field.h"
#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodePartDesc.h"

namespace Kalvex {

class FieldType;

template <class Base, class Codec>
class FieldImpl : public Base {
  public:
    using Template = Base;
    explicit FieldImpl(Node& node) : Base(node) {}

    void setValueByStr(const char* text) override;
    std::string& getStrValue(std::string& out) const override;
    const char* addValueByStr(const char* text, Field::Cardinality mode) override;
    std::string getBinValue(int component) const override;
    void setValueByBin(const std::string& data) override;
    std::string get1ValueAsBin(int index) const override;
    void set1ValueByBin(int index, const std::string& data) override;
    void setValueByBin(unsigned char* data, unsigned int size) override;
    unsigned int getBinSize() override;
    unsigned int getBinValue(unsigned char* data) override;
    bool setValueByField(const Field& other, ConvertParam* param) override;
    bool equalValue(const Field& other) const override;

  protected:
    void applyDefaultValue(const NodePartDesc& desc) override;
};

// What every field class has besides its behaviour: its data type, its registration (_type),
// the factory the registry calls and an empty init() that keeps the registration in a program.
#define KALVEX_FIELD_CLASS_MEMBERS(Name, Number)          \
    static constexpr NodePartDataType kDataType = Number; \
    static Name* create(Node& node) {                     \
        return new Name(node);                            \
    }                                                     \
    static void init() {}                                 \
    NodePartDataType dataType() const override {          \
        return Number;                                    \
    }                                                     \
    const char* dataTypeName() const override {           \
        return #Name;                                     \
    }                                                     \
    static FieldType _type;

}  // namespace Kalvex
