#pragma once
// The one table of the value conversions: the 21 element types that convert, with their value
// type and their two field classes. Every per-type and per-pair family of the conversion code
// (the 441 element functions, the 441 list functions, the jump table) is expanded from it.

// X(Name, value type, single field class, multi field class[, extra arguments])
#define KALVEX_CONVERSION_ELEMENTS(X, ...)                                        \
    X(Bool, bool, SFBool, MFBool __VA_OPT__(, ) __VA_ARGS__)                      \
    X(Color3f, osg::Color3f, SFColor, MFColor __VA_OPT__(, ) __VA_ARGS__)         \
    X(Color4f, osg::Color4f, SFColorRGBA, MFColorRGBA __VA_OPT__(, ) __VA_ARGS__) \
    X(Double, double, SFDouble, MFDouble __VA_OPT__(, ) __VA_ARGS__)              \
    X(Float, float, SFFloat, MFFloat __VA_OPT__(, ) __VA_ARGS__)                  \
    X(Image, Image, SFImage, MFImage __VA_OPT__(, ) __VA_ARGS__)                  \
    X(Int32, int, SFInt32, MFInt32 __VA_OPT__(, ) __VA_ARGS__)                    \
    X(Matrix3d, osg::Matrix3d, SFMatrix3d, MFMatrix3d __VA_OPT__(, ) __VA_ARGS__) \
    X(Matrix3f, osg::Matrix3f, SFMatrix3f, MFMatrix3f __VA_OPT__(, ) __VA_ARGS__) \
    X(Matrix4d, osg::Matrix4d, SFMatrix4d, MFMatrix4d __VA_OPT__(, ) __VA_ARGS__) \
    X(Matrix4f, osg::Matrix4f, SFMatrix4f, MFMatrix4f __VA_OPT__(, ) __VA_ARGS__) \
    X(Rotation, Rotation, SFRotation, MFRotation __VA_OPT__(, ) __VA_ARGS__)      \
    X(Sound, PCMSound, SFSound, MFSound __VA_OPT__(, ) __VA_ARGS__)               \
    X(String, std::string, SFString, MFString __VA_OPT__(, ) __VA_ARGS__)         \
    X(Time, double, SFTime, MFTime __VA_OPT__(, ) __VA_ARGS__)                    \
    X(Vec2d, osg::Vec2d, SFVec2d, MFVec2d __VA_OPT__(, ) __VA_ARGS__)             \
    X(Vec2f, osg::Vec2f, SFVec2f, MFVec2f __VA_OPT__(, ) __VA_ARGS__)             \
    X(Vec3d, osg::Vec3d, SFVec3d, MFVec3d __VA_OPT__(, ) __VA_ARGS__)             \
    X(Vec3f, osg::Vec3f, SFVec3f, MFVec3f __VA_OPT__(, ) __VA_ARGS__)             \
    X(Vec4d, osg::Vec4d, SFVec4d, MFVec4d __VA_OPT__(, ) __VA_ARGS__)             \
    X(Vec4f, osg::Vec4f, SFVec4f, MFVec4f __VA_OPT__(, ) __VA_ARGS__)

// Every ordered pair of the table: P(source..., target...), each side as the four columns
// above, the source first as in the "B to A" messages; the target varies slowest.
//
// The row macro re-enters the element table while it is being expanded. The preprocessor does
// not allow that directly, so the inner use is deferred by one scan and the outer expansion
// adds the scan that completes it.
#define KALVEX_CONVERSION_PAIRS(P) \
    KALVEX_CONVERSION_EXPAND_(KALVEX_CONVERSION_ELEMENTS(KALVEX_CONVERSION_ROW_, P))

#define KALVEX_CONVERSION_EMPTY_()
#define KALVEX_CONVERSION_DEFER_(id) id KALVEX_CONVERSION_EMPTY_()
#define KALVEX_CONVERSION_EXPAND_(...) __VA_ARGS__
#define KALVEX_CONVERSION_ELEMENTS_ID_() KALVEX_CONVERSION_ELEMENTS
#define KALVEX_CONVERSION_ROW_(A, TA, SFA, MFA, P) \
    KALVEX_CONVERSION_DEFER_(KALVEX_CONVERSION_ELEMENTS_ID_)()(P, A, TA, SFA, MFA)
