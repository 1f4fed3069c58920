#include "kalvex/platform/osg/Plane.h"

namespace Kalvex::osg {

Plane::Plane(const Vec3f& p0, const Vec3f& p1, const Vec3f& p2)
    : _normalVec((p1 - p0).cross(p2 - p0)) {
    _normalVec.normalize();
    _distance = _normalVec.dot(p0);
}

Plane::Plane(const Vec3f& normal, Real32 distance) : _normalVec(normal), _distance(distance) {
    _normalVec.normalize();
}

Plane::Plane(const Vec3f& normal, const Vec3f& point) : _normalVec(normal) {
    _normalVec.normalize();
    _distance = _normalVec.dot(point);
}

bool operator==(const Plane& p1, const Plane& p2) {
    return p1._distance == p2._distance && p1._normalVec == p2._normalVec;
}

std::ostream& operator<<(std::ostream& os, const Plane& plane) {
    return os << plane.getNormal() << ":" << plane.getDistanceFromOrigin();
}

std::istream& operator>>(std::istream& is, Plane& plane) {
    Vec3f normal;
    Real32 distance = 0.f;
    is >> normal;
    while (is.peek() == ' ') is.ignore();
    if (is.peek() != ':') {
        is.setstate(std::ios::failbit);
        return is;
    }
    is.ignore();
    if (is >> distance) plane.set(normal, distance);
    return is;
}

}  // namespace Kalvex::osg
