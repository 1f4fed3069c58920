#pragma once
// Numbers of the field data types and their element types. The numbers are fixed: conversion
// tables and writers are indexed by them.

namespace Kalvex {

enum NodePartDataTypeValue : int {
    NoDataType = 0,
    SFBoolType = 1,
    MFBoolType,
    SFColorType,
    MFColorType,
    SFColorRGBAType,
    MFColorRGBAType,
    SFDoubleType,
    MFDoubleType,
    SFFloatType,
    MFFloatType,
    SFImageType,
    MFImageType,
    SFInt32Type,
    MFInt32Type,
    SFMatrix3dType,
    MFMatrix3dType,
    SFMatrix3fType,
    MFMatrix3fType,
    SFMatrix4dType,
    MFMatrix4dType,
    SFMatrix4fType,
    MFMatrix4fType,
    SFNodeType,
    MFNodeType,
    SFRotationType,
    MFRotationType,
    SFStringType,
    MFStringType,
    SFTimeType,
    MFTimeType,
    SFVec2dType,
    MFVec2dType,
    SFVec2fType,
    MFVec2fType,
    SFVec3dType,
    MFVec3dType,
    SFVec3fType,
    MFVec3fType,
    SFVec4dType,
    MFVec4dType,
    SFVec4fType,
    MFVec4fType,
    SFPlaneType,
    MFPlaneType,
    SFQubitType,
    MFQubitType,
    SFSoundType,
    MFSoundType,
    XFAnyType,
    SFAnyType,
    MFAnyType  // 51
};

// Plain integers, so that unknown numbers from outside can be carried and refused.
using NodePartDataType = int;
using BaseType = int;

enum BaseTypeValue : int {
    AnyBase = 0,
    BoolBase,
    ColorBase,
    ColorRGBABase,
    DoubleBase,
    FloatBase,
    ImageBase,
    Int32Base,
    Matrix3dBase,
    Matrix3fBase,
    Matrix4dBase,
    Matrix4fBase,
    NodeBase,
    RotationBase,
    StringBase,
    TimeBase,
    Vec2dBase,
    Vec2fBase,
    Vec3dBase,
    Vec3fBase,
    Vec4dBase,
    Vec4fBase,
    PlaneBase,
    QubitBase,
    SoundBase  // 24
};

}  // namespace Kalvex
