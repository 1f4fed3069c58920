#pragma once
// Oriented plane: all points p with normal . p - distance = 0.
//
// The constructors normalise the normal; set() stores what it is given. Points are Vec3f.
// `==`: the distances exactly equal and the normals equal within Eps (the vector rule).
// `<<`: the normal as a vector, a colon and the distance, e.g. "0, 0, 1:5", with the stream's
// current format. `>>` reads that form back.

#include <istream>
#include <ostream>

#include "kalvex/platform/osg/MathTypes.h"
#include "kalvex/platform/osg/Vector.h"

namespace Kalvex::osg {

class Plane {
  public:
    // Zero normal, distance 0.
    Plane() = default;
    // Through three points; the normal is (p1 - p0) x (p2 - p0). Collinear points give a zero
    // normal and distance 0.
    Plane(const Vec3f& p0, const Vec3f& p1, const Vec3f& p2);
    Plane(const Vec3f& normal, Real32 distance);
    // Through the point.
    Plane(const Vec3f& normal, const Vec3f& point);

    void offset(Real32 d) { _distance += d; }

    // Signed: positive on the side the normal points to.
    Real32 distance(const Vec3f& point) const { return _normalVec.dot(point) - _distance; }
    // On the plane or on the side the normal points to.
    bool isInHalfSpace(const Vec3f& point) const { return distance(point) >= 0.f; }

    // The normal is taken as it is; it should be of unit length.
    void set(const Vec3f& normal, Real32 distance) {
        _normalVec = normal;
        _distance = distance;
    }
    void set(Real32 x, Real32 y, Real32 z, Real32 distance) {
        _normalVec.setValues(x, y, z);
        _distance = distance;
    }
    void set(const Vec4f& plane) { set(plane[0], plane[1], plane[2], plane[3]); }

    const Vec3f& getNormal() const { return _normalVec; }
    Real32 getDistanceFromOrigin() const { return _distance; }

    friend bool operator==(const Plane& p1, const Plane& p2);
    friend bool operator!=(const Plane& p1, const Plane& p2) { return !(p1 == p2); }

  private:
    Vec3f _normalVec;
    Real32 _distance = 0.f;
};

std::ostream& operator<<(std::ostream& os, const Plane& plane);
// Sets the stream's failbit when the colon is missing; the plane is then unchanged.
std::istream& operator>>(std::istream& is, Plane& plane);

}  // namespace Kalvex::osg
