#include "kalvex/platform/osg/Quaternion.h"

#include <cmath>
#include <iomanip>

namespace Kalvex::osg {

template <class ValueTypeT>
const QuaternionBase<ValueTypeT>& QuaternionBase<ValueTypeT>::identity() {
    static const QuaternionBase ident;
    return ident;
}

template <class ValueTypeT>
QuaternionBase<ValueTypeT> QuaternionBase<ValueTypeT>::slerp(const QuaternionBase& rot0,
                                                             const QuaternionBase& rot1,
                                                             ValueTypeT t) {
    QuaternionBase result;
    slerp(rot0, rot1, result, t);
    return result;
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValueAsAxisRad(ValueTypeT x, ValueTypeT y, ValueTypeT z,
                                                   ValueTypeT angle) {
    ValueTypeT len = std::sqrt(x * x + y * y + z * z);
    if (!(len > Eps)) {
        setIdentity();
        return;
    }
    ValueTypeT s = std::sin(angle / ValueTypeT(2)) / len;
    _quat[0] = x * s;
    _quat[1] = y * s;
    _quat[2] = z * s;
    _quat[3] = std::cos(angle / ValueTypeT(2));
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValueAsQuat(const char* text) {
    if (text == nullptr || *text == '\0') {
        setIdentity();
        return;
    }
    Vector<ValueTypeT, 4> v;
    v.setValue(text);
    setValueAsQuat(v[0], v[1], v[2], v[3]);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValueAsAxisRad(const char* text) {
    setValueAsQuat(text);
    for (auto v : _quat) {
        if (!std::isfinite(v)) {
            setIdentity();
            return;
        }
    }
    setValueAsAxisRad(_quat[0], _quat[1], _quat[2], _quat[3]);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValueAsAxisDeg(const char* text) {
    setValueAsQuat(text);
    for (auto v : _quat) {
        if (!std::isfinite(v)) {
            setIdentity();
            return;
        }
    }
    setValueAsAxisDeg(_quat[0], _quat[1], _quat[2], _quat[3]);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValue(const MatrixType& m) {
    // Work from the largest of w, x, y, z so that the square root never sees a tiny or negative
    // argument.
    double q[4];
    double trace = double(m[0][0]) + m[1][1] + m[2][2];
    if (trace > 0.0) {
        double s = std::sqrt(trace + 1.0);
        q[3] = s * 0.5;
        s = 0.5 / s;
        q[0] = (double(m[1][2]) - m[2][1]) * s;
        q[1] = (double(m[2][0]) - m[0][2]) * s;
        q[2] = (double(m[0][1]) - m[1][0]) * s;
    } else {
        int i = m[1][1] > m[0][0] ? 1 : 0;
        if (m[2][2] > m[i][i]) i = 2;
        int j = (i + 1) % 3;
        int k = (j + 1) % 3;
        double s = std::sqrt(double(m[i][i]) - (double(m[j][j]) + m[k][k]) + 1.0);
        q[i] = s * 0.5;
        s = 0.5 / s;
        q[3] = (double(m[j][k]) - m[k][j]) * s;
        q[j] = (double(m[i][j]) + m[j][i]) * s;
        q[k] = (double(m[i][k]) + m[k][i]) * s;
    }
    for (int n = 0; n < 4; ++n) _quat[n] = ValueTypeT(q[n]);
    // Rounding can push w just past 1, where acos in the axis read-out would fail.
    if (_quat[3] > ValueTypeT(1)) _quat[3] = ValueTypeT(1);
    if (_quat[3] < ValueTypeT(-1)) _quat[3] = ValueTypeT(-1);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValue(const VectorType& rotateFrom,
                                          const VectorType& rotateTo) {
    VectorType from = rotateFrom;
    VectorType to = rotateTo;
    from.normalize();
    to.normalize();
    ValueTypeT cost = from.dot(to);

    if (cost > ValueTypeT(0.99999)) {
        setIdentity();
        return;
    }
    if (cost < ValueTypeT(-0.99999)) {
        // Opposite directions: half a turn about any axis perpendicular to them.
        VectorType axis = from.cross(VectorType(1, 0, 0));
        if (axis.length() < ValueTypeT(0.00001)) axis = from.cross(VectorType(0, 1, 0));
        axis.normalize();
        setValueAsAxisRad(axis[0], axis[1], axis[2], ValueTypeT(Pi));
        return;
    }

    VectorType axis = rotateFrom.cross(rotateTo);
    axis.normalize();
    // Half-angle identities: sin^2(a/2) = (1 - cos a) / 2, cos^2(a/2) = (1 + cos a) / 2.
    axis *= ValueTypeT(std::sqrt(0.5 * (1.0 - cost)));
    _quat[0] = axis[0];
    _quat[1] = axis[1];
    _quat[2] = axis[2];
    _quat[3] = ValueTypeT(std::sqrt(0.5 * (1.0 + cost)));
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::setValue(ValueTypeT alpha, ValueTypeT beta, ValueTypeT gamma) {
    ValueTypeT sx = std::sin(alpha * ValueTypeT(0.5)), cx = std::cos(alpha * ValueTypeT(0.5));
    ValueTypeT sy = std::sin(beta * ValueTypeT(0.5)), cy = std::cos(beta * ValueTypeT(0.5));
    ValueTypeT sz = std::sin(gamma * ValueTypeT(0.5)), cz = std::cos(gamma * ValueTypeT(0.5));
    // qz * qy * qx: x turns first.
    _quat[0] = sx * cy * cz - cx * sy * sz;
    _quat[1] = cx * sy * cz + sx * cy * sz;
    _quat[2] = cx * cy * sz - sx * sy * cz;
    _quat[3] = cx * cy * cz + sx * sy * sz;
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::getValueAsAxisDeg(ValueTypeT& x, ValueTypeT& y, ValueTypeT& z,
                                                   ValueTypeT& angle) const {
    VectorType axis(_quat[0], _quat[1], _quat[2]);
    ValueTypeT len = axis.length();
    if (len > Eps) {
        axis *= ValueTypeT(1) / len;
        x = axis[0];
        y = axis[1];
        z = axis[2];
        angle = rad2Degree(ValueTypeT(2) * std::acos(_quat[3]));
    } else {
        x = ValueTypeT(0);
        y = ValueTypeT(0);
        z = ValueTypeT(1);
        angle = ValueTypeT(0);
    }
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::getValueAsAxisRad(ValueTypeT& x, ValueTypeT& y, ValueTypeT& z,
                                                   ValueTypeT& angle) const {
    // Through degrees on purpose: stored angles have always been read this way.
    getValueAsAxisDeg(x, y, z, angle);
    angle = degree2Rad(angle);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::getValuesOnly(MatrixType& m) const {
    const ValueTypeT x = _quat[0], y = _quat[1], z = _quat[2], w = _quat[3];
    m[0][0] = ValueTypeT(1) - ValueTypeT(2) * (y * y + z * z);
    m[0][1] = ValueTypeT(2) * (x * y + z * w);
    m[0][2] = ValueTypeT(2) * (z * x - y * w);

    m[1][0] = ValueTypeT(2) * (x * y - z * w);
    m[1][1] = ValueTypeT(1) - ValueTypeT(2) * (z * z + x * x);
    m[1][2] = ValueTypeT(2) * (y * z + x * w);

    m[2][0] = ValueTypeT(2) * (z * x + y * w);
    m[2][1] = ValueTypeT(2) * (y * z - x * w);
    m[2][2] = ValueTypeT(1) - ValueTypeT(2) * (y * y + x * x);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::getValue(MatrixType& m) const {
    getValuesOnly(m);
    m[0][3] = m[1][3] = m[2][3] = ValueTypeT(0);
    m[3][0] = m[3][1] = m[3][2] = ValueTypeT(0);
    m[3][3] = ValueTypeT(1);
}

template <class ValueTypeT>
ValueTypeT QuaternionBase<ValueTypeT>::length() const {
    return std::sqrt(_quat[0] * _quat[0] + _quat[1] * _quat[1] + _quat[2] * _quat[2] +
                     _quat[3] * _quat[3]);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::normalize() {
    ValueTypeT len = length();
    ValueTypeT factor = std::abs(len) < Eps ? ValueTypeT(1) : ValueTypeT(1) / len;
    for (auto& v : _quat) v *= factor;
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::multVec(const VectorType& src, VectorType& dst) const {
    // q v q*, written out; for a quaternion that is not of unit length the result is scaled by
    // its squared length.
    const ValueTypeT x = _quat[0], y = _quat[1], z = _quat[2], w = _quat[3];
    const ValueTypeT vx = src[0], vy = src[1], vz = src[2];
    const ValueTypeT ww = w * w, xx = x * x, yy = y * y, zz = z * z;
    ValueTypeT rx =
        vx * (ww + xx - yy - zz) + ValueTypeT(2) * (vy * (x * y - w * z) + vz * (x * z + w * y));
    ValueTypeT ry =
        vy * (ww - xx + yy - zz) + ValueTypeT(2) * (vx * (x * y + w * z) + vz * (y * z - w * x));
    ValueTypeT rz =
        vz * (ww - xx - yy + zz) + ValueTypeT(2) * (vx * (x * z - w * y) + vy * (y * z + w * x));
    dst.setValues(rx, ry, rz);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::scaleAngle(ValueTypeT scaleFactor) {
    VectorType axis;
    ValueTypeT angle;
    getValueAsAxisRad(axis, angle);
    setValueAsAxisRad(axis, angle * scaleFactor);
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::mult(const ValueTypeT a[4], const ValueTypeT b[4]) {
    // Hamilton product a * b; a and b may be this quaternion's own storage.
    const ValueTypeT ax = a[0], ay = a[1], az = a[2], aw = a[3];
    const ValueTypeT bx = b[0], by = b[1], bz = b[2], bw = b[3];
    _quat[0] = aw * bx + ax * bw + ay * bz - az * by;
    _quat[1] = aw * by - ax * bz + ay * bw + az * bx;
    _quat[2] = aw * bz + ax * by - ay * bx + az * bw;
    _quat[3] = aw * bw - ax * bx - ay * by - az * bz;
    normalize();
}

template <class ValueTypeT>
void QuaternionBase<ValueTypeT>::slerp(const QuaternionBase& rot0, const QuaternionBase& rot1,
                                       QuaternionBase& result, ValueTypeT t) {
    double cosom = double(rot0._quat[0]) * rot1._quat[0] + double(rot0._quat[1]) * rot1._quat[1] +
                   double(rot0._quat[2]) * rot1._quat[2] + double(rot0._quat[3]) * rot1._quat[3];
    // Take the short way round: q and -q are the same rotation.
    double sign = 1.0;
    if (cosom < 0.0) {
        cosom = -cosom;
        sign = -1.0;
    }
    double scale0, scale1;
    if (1.0 - cosom > 0.00001) {
        double omega = std::acos(cosom);
        double sinom = std::sin(omega);
        scale0 = std::sin((1.0 - t) * omega) / sinom;
        scale1 = std::sin(t * omega) / sinom;
    } else {
        // Nearly the same rotation: linear blend avoids dividing by a tiny sine.
        scale0 = 1.0 - t;
        scale1 = t;
    }
    double q1[4];
    for (int i = 0; i < 4; ++i) q1[i] = sign * rot1._quat[i];
    for (int i = 0; i < 4; ++i)
        result._quat[i] = ValueTypeT(scale0 * rot0._quat[i] + scale1 * q1[i]);
}

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const QuaternionBase<ValueTypeT>& q) {
    os << std::setprecision(3) << std::setfill(' ');
    return os << std::setw(8) << q.x() << " " << q.y() << " " << q.z() << " " << q.w();
}

template class QuaternionBase<float>;
template class QuaternionBase<double>;
template std::ostream& operator<<(std::ostream&, const QuaternionBase<float>&);
template std::ostream& operator<<(std::ostream&, const QuaternionBase<double>&);

}  // namespace Kalvex::osg
