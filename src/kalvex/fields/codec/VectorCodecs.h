#pragma once
// Codecs of the vector, colour, rotation, plane and matrix classes.
//
// These classes differ mostly by element type, so each codec is put together from a few
// templates: the text form of a single value, the text form of a multi value (with the
// streaming addValueByStr), and the binary forms, which name the primitive written and the one
// read back (they differ on purpose for the double vectors). The member bodies live in
// VectorCodecs.cpp, which instantiates them for the element types used here.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

namespace vectorcodec {

// setValueByStr and getStrValue of a single value.
template <class E>
struct SFText {
    using F = SField<E, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
};

// setValueByStr, getStrValue and both modes of addValueByStr of a multi value. Without
// kStreaming the streaming mode is refused with a report.
template <class E, bool kStreaming = true>
struct MFText {
    using F = MVField<E, false>;
    static void setStr(F& f, const char* text);
    static void getStr(const F& f, std::string& out);
    static const char* addStr(F& f, const char* text, Field::Cardinality mode);
};

// Whole-value binary string: the components written as W and read as R.
template <class E, class W, class R>
struct SFBin {
    using F = SField<E, false>;
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
};

// Element count (long), then the components of each element; plus the one-element forms.
template <class E, class W, class R>
struct MFBin {
    using F = MVField<E, false>;
    static std::string getBin(const F& f, int component);
    static void setBin(F& f, const std::string& data);
    static std::string get1Bin(const F& f, int index);
    static void set1Bin(F& f, int index, const std::string& data);
};

// The text of a single matrix value, as the SFMatrix classes print it. For M = Matrix3f,
// Matrix3d, Matrix4f and Matrix4d.
template <class M>
void matrixText(const M& matrix, std::string& out);

}  // namespace vectorcodec

struct SFColorCodec : vectorcodec::SFText<osg::Color3f>,
                      vectorcodec::SFBin<osg::Color3f, float, float> {};
struct MFColorCodec : vectorcodec::MFText<osg::Color3f>,
                      vectorcodec::MFBin<osg::Color3f, float, float> {};
struct SFColorRGBACodec : vectorcodec::SFText<osg::Color4f>,
                          vectorcodec::SFBin<osg::Color4f, float, float> {};
struct MFColorRGBACodec : vectorcodec::MFText<osg::Color4f>,
                          vectorcodec::MFBin<osg::Color4f, float, float> {};

// The double vectors write doubles and read floats: they cannot read what they wrote.
struct SFVec2dCodec : vectorcodec::SFText<osg::Vec2d>,
                      vectorcodec::SFBin<osg::Vec2d, double, float> {};
struct MFVec2dCodec : vectorcodec::MFText<osg::Vec2d>,
                      vectorcodec::MFBin<osg::Vec2d, double, float> {};
struct SFVec2fCodec : vectorcodec::SFText<osg::Vec2f>,
                      vectorcodec::SFBin<osg::Vec2f, float, float> {};
struct MFVec2fCodec : vectorcodec::MFText<osg::Vec2f>,
                      vectorcodec::MFBin<osg::Vec2f, float, float> {};
struct SFVec3dCodec : vectorcodec::SFText<osg::Vec3d>,
                      vectorcodec::SFBin<osg::Vec3d, double, float> {};
struct MFVec3dCodec : vectorcodec::MFText<osg::Vec3d>,
                      vectorcodec::MFBin<osg::Vec3d, double, float> {};
struct SFVec3fCodec : vectorcodec::SFText<osg::Vec3f>,
                      vectorcodec::SFBin<osg::Vec3f, float, float> {};
struct MFVec3fCodec : vectorcodec::MFText<osg::Vec3f>,
                      vectorcodec::MFBin<osg::Vec3f, float, float> {};
// No binary forms for the 4d vectors, nor for MFVec4f though SFVec4f has one.
struct SFVec4dCodec : vectorcodec::SFText<osg::Vec4d> {};
struct MFVec4dCodec : vectorcodec::MFText<osg::Vec4d> {};
struct SFVec4fCodec : vectorcodec::SFText<osg::Vec4f>,
                      vectorcodec::SFBin<osg::Vec4f, float, float> {};
struct MFVec4fCodec : vectorcodec::MFText<osg::Vec4f> {};

// Binary: axis x, y, z and angle as floats, the axis form brought up to date first.
struct SFRotationCodec : vectorcodec::SFText<Rotation>,
                         vectorcodec::SFBin<Rotation, float, float> {};
struct MFRotationCodec : vectorcodec::MFText<Rotation>,
                         vectorcodec::MFBin<Rotation, float, float> {};

// A plane takes its value from another SFPlane only; there is no conversion.
struct SFPlaneCodec : vectorcodec::SFText<osg::Plane> {
    static bool setField(SField<osg::Plane, false>& f, const Field& other, ConvertParam* param);
};
struct MFPlaneCodec : vectorcodec::MFText<osg::Plane, false> {};

// Only SFMatrix4f has a binary form (16 floats in storage order).
struct SFMatrix3dCodec : vectorcodec::SFText<osg::Matrix3d> {};
struct MFMatrix3dCodec : vectorcodec::MFText<osg::Matrix3d> {};
struct SFMatrix3fCodec : vectorcodec::SFText<osg::Matrix3f> {};
struct MFMatrix3fCodec : vectorcodec::MFText<osg::Matrix3f> {};
struct SFMatrix4dCodec : vectorcodec::SFText<osg::Matrix4d> {};
struct MFMatrix4dCodec : vectorcodec::MFText<osg::Matrix4d> {};
struct SFMatrix4fCodec : vectorcodec::SFText<osg::Matrix4f>,
                         vectorcodec::SFBin<osg::Matrix4f, float, float> {};
struct MFMatrix4fCodec : vectorcodec::MFText<osg::Matrix4f> {};

}  // namespace Kalvex
