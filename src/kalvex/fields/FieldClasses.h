#pragma once
// The catalogue: all 51 field classes, generated from one table. Each class keeps its own name,
// its static FieldType _type, create() and an empty init() that initTypeTree names so that the
// registration stays in every program.

#include <string>

#include "kalvex/fields/FieldImpl.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/fields/Image.h"
#include "kalvex/fields/PCMSound.h"
#include "kalvex/fields/Qubit.h"
#include "kalvex/fields/Rotation.h"
#include "kalvex/fields/XField.h"
#include "kalvex/platform/osg/Color.h"
#include "kalvex/platform/osg/Matrix.h"
#include "kalvex/platform/osg/Plane.h"
#include "kalvex/platform/osg/Vector.h"

namespace Kalvex {

// X(Name, data type number, base type, template, value type, fieldDep)
#define KALVEX_FIELD_CATALOGUE(X)                                  \
    X(SFBool, 1, BoolBase, SField, bool, false)                    \
    X(MFBool, 2, BoolBase, MLField, bool, false)                   \
    X(SFColor, 3, ColorBase, SField, osg::Color3f, false)          \
    X(MFColor, 4, ColorBase, MVField, osg::Color3f, false)         \
    X(SFColorRGBA, 5, ColorRGBABase, SField, osg::Color4f, false)  \
    X(MFColorRGBA, 6, ColorRGBABase, MVField, osg::Color4f, false) \
    X(SFDouble, 7, DoubleBase, SField, double, false)              \
    X(MFDouble, 8, DoubleBase, MVField, double, false)             \
    X(SFFloat, 9, FloatBase, SField, float, false)                 \
    X(MFFloat, 10, FloatBase, MVField, float, false)               \
    X(SFImage, 11, ImageBase, SField, Image, false)                \
    X(MFImage, 12, ImageBase, MLField, Image, false)               \
    X(SFInt32, 13, Int32Base, SField, int, false)                  \
    X(MFInt32, 14, Int32Base, MVField, int, false)                 \
    X(SFMatrix3d, 15, Matrix3dBase, SField, osg::Matrix3d, false)  \
    X(MFMatrix3d, 16, Matrix3dBase, MVField, osg::Matrix3d, false) \
    X(SFMatrix3f, 17, Matrix3fBase, SField, osg::Matrix3f, false)  \
    X(MFMatrix3f, 18, Matrix3fBase, MVField, osg::Matrix3f, false) \
    X(SFMatrix4d, 19, Matrix4dBase, SField, osg::Matrix4d, false)  \
    X(MFMatrix4d, 20, Matrix4dBase, MVField, osg::Matrix4d, false) \
    X(SFMatrix4f, 21, Matrix4fBase, SField, osg::Matrix4f, false)  \
    X(MFMatrix4f, 22, Matrix4fBase, MVField, osg::Matrix4f, false) \
    X(SFNode, 23, NodeBase, SField, NodeLink, true)                \
    X(MFNode, 24, NodeBase, MLField, NodeLink, true)               \
    X(SFRotation, 25, RotationBase, SField, Rotation, false)       \
    X(MFRotation, 26, RotationBase, MVField, Rotation, false)      \
    X(SFString, 27, StringBase, SField, std::string, false)        \
    X(MFString, 28, StringBase, MLField, std::string, false)       \
    X(SFTime, 29, TimeBase, SField, double, false)                 \
    X(MFTime, 30, TimeBase, MVField, double, false)                \
    X(SFVec2d, 31, Vec2dBase, SField, osg::Vec2d, false)           \
    X(MFVec2d, 32, Vec2dBase, MVField, osg::Vec2d, false)          \
    X(SFVec2f, 33, Vec2fBase, SField, osg::Vec2f, false)           \
    X(MFVec2f, 34, Vec2fBase, MVField, osg::Vec2f, false)          \
    X(SFVec3d, 35, Vec3dBase, SField, osg::Vec3d, false)           \
    X(MFVec3d, 36, Vec3dBase, MVField, osg::Vec3d, false)          \
    X(SFVec3f, 37, Vec3fBase, SField, osg::Vec3f, false)           \
    X(MFVec3f, 38, Vec3fBase, MVField, osg::Vec3f, false)          \
    X(SFVec4d, 39, Vec4dBase, SField, osg::Vec4d, false)           \
    X(MFVec4d, 40, Vec4dBase, MVField, osg::Vec4d, false)          \
    X(SFVec4f, 41, Vec4fBase, SField, osg::Vec4f, false)           \
    X(MFVec4f, 42, Vec4fBase, MVField, osg::Vec4f, false)          \
    X(SFPlane, 43, PlaneBase, SField, osg::Plane, false)           \
    X(MFPlane, 44, PlaneBase, MVField, osg::Plane, false)          \
    X(SFQubit, 45, QubitBase, SField, Qubit, false)                \
    X(MFQubit, 46, QubitBase, MLField, Qubit, false)               \
    X(SFSound, 47, SoundBase, SField, PCMSound, false)             \
    X(MFSound, 48, SoundBase, MLField, PCMSound, false)            \
    X(SFAny, 50, AnyBase, SField, void*, false)                    \
    X(MFAny, 51, AnyBase, MVField, void*, false)

// The plain classes are declared here; the link classes (fieldDep true), which add the graph
// operations, are declared in their own headers, included below.
#define KALVEX_DECLARE_FIELD_CLASS(Name, Number, Base, Tmpl, T, Dep) \
    KALVEX_DECLARE_FIELD_CLASS_##Dep(Name, Number, Base, Tmpl, T)
#define KALVEX_DECLARE_FIELD_CLASS_true(Name, Number, Base, Tmpl, T)
#define KALVEX_DECLARE_FIELD_CLASS_false(Name, Number, Base, Tmpl, T)  \
    struct Name##Codec;                                                \
    extern template class FieldImpl<Tmpl<T, false>, Name##Codec>;      \
    class Name final : public FieldImpl<Tmpl<T, false>, Name##Codec> { \
      public:                                                          \
        using Inherited = FieldImpl<Tmpl<T, false>, Name##Codec>;      \
        explicit Name(Node& node) : Inherited(node) {}                 \
        KALVEX_FIELD_CLASS_MEMBERS(Name, Number)                       \
    };

KALVEX_FIELD_CATALOGUE(KALVEX_DECLARE_FIELD_CLASS)

}  // namespace Kalvex

#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/SFNode.h"

namespace Kalvex {

// The wildcard that holds no value at all: it derives from Field directly. Routes may connect
// it to anything; it stands in for fields across an IMPORT.
class XFAny final : public Field {
  public:
    static constexpr NodePartDataType kDataType = XFAnyType;
    explicit XFAny(Node& node) : Field(node) {}
    static XFAny* create(Node& node) { return new XFAny(node); }
    static void init() {}

    NodePartDataType dataType() const override { return XFAnyType; }
    const char* dataTypeName() const override { return "XFAny"; }

    void setValueByStr(const char*) override {}
    void setValueByBin(unsigned char*, unsigned int) override {}
    bool setValueByField(const Field&, ConvertParam*) override { return true; }
    void setValueByBin(const std::string& data) override;
    unsigned int getBinSize() override { return 0; }
    unsigned int getBinValue(unsigned char*) override { return 0; }
    std::string& getStrValue(std::string& out) const override {
        out.clear();
        return out;
    }
    std::string getBinValue(int component) const override;
    std::string get1ValueAsBin(int index) const override;
    const char* addValueByStr(const char*, Cardinality) override { return nullptr; }
    void set1ValueByBin(int index, const std::string& data) override;

    Cardinality cardinality() const override { return CardinalitySingle; }
    unsigned int size() const override { return 1; }
    bool empty() const override { return false; }
    void resize(unsigned int) override {}
    void reserve(unsigned int) override {}
    void clear() override {}
    void free() override {}
    bool equalValue(const Field&) const override { return true; }

    static FieldType _type;
};

}  // namespace Kalvex
