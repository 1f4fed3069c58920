#pragma once
// Common ground of the math value types: the tolerance, pi, angle conversion and forward
// declarations with the usual short names, so that a header that only passes values around does
// not need the full class definitions.

namespace Kalvex::osg {

using Real32 = float;
using Real64 = double;
using UInt8 = unsigned char;
using UInt32 = unsigned int;
using Int32 = int;

// The tolerance of every `==` on vectors, colours, matrices and quaternions. It is a float
// constant, also for the double types: a double comparison uses (double)1e-6f.
inline constexpr Real32 Eps = 1E-6f;
inline constexpr Real32 Pi = 3.141592653589793f;

// Degree conversion with the shortened pi the stored angles have always been made with; the
// quaternion's axis/angle read-out goes through degrees and back, so the constant shows in the
// last bits of the result.
inline float degree2Rad(float deg) {
    return (deg / 360.f) * 2.f * 3.1415926535f;
}
inline double degree2Rad(double deg) {
    return (deg / 360) * 2 * 3.1415926535;
}
inline float rad2Degree(float rad) {
    return (rad / (2.f * 3.1415926535f)) * 360.f;
}
inline double rad2Degree(double rad) {
    return (rad / (2 * 3.1415926535)) * 360;
}

template <class ValueTypeT, int SizeI>
class Vector;
template <class ValueTypeT>
class Color3;
template <class ValueTypeT>
class Color4;
template <class ValueTypeT>
class Matrix3;
template <class ValueTypeT>
class TransformationMatrix;
template <class ValueTypeT>
class QuaternionBase;
class Plane;

using Vec2f = Vector<Real32, 2>;
using Vec3f = Vector<Real32, 3>;
using Vec4f = Vector<Real32, 4>;
using Vec2d = Vector<Real64, 2>;
using Vec3d = Vector<Real64, 3>;
using Vec4d = Vector<Real64, 4>;

using Color3f = Color3<Real32>;
using Color4f = Color4<Real32>;

using Matrix3f = Matrix3<Real32>;
using Matrix3d = Matrix3<Real64>;
using Matrix = TransformationMatrix<Real32>;
using Matrix4f = TransformationMatrix<Real32>;
using Matrix4d = TransformationMatrix<Real64>;

using Quaternion = QuaternionBase<Real32>;
using Quaterniond = QuaternionBase<Real64>;

}  // namespace Kalvex::osg
