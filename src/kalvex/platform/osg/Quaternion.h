#pragma once
// Rotation quaternions QuaternionBase<T> (Quaternion = float, Quaterniond = double).
//
// Storage: x, y, z, w (four T's, w last); the default is the identity (0, 0, 0, 1).
// Angles are radians unless a name says Deg.
// q.mult(p) makes q = q * p, so the result rotates by p first and then by q, like the matrices;
// mult normalises the result. multVec(v) rotates v.
// `==`: component-wise within Eps (1e-6f); q and -q, the same rotation, compare unequal.
// `<<`: "x y z w" with blanks, x right-aligned in 8 columns; it leaves the stream's precision at
// 3 and its fill at blank, which later output on the same stream inherits.

#include <ostream>

#include "kalvex/platform/osg/MathTypes.h"
#include "kalvex/platform/osg/Matrix.h"
#include "kalvex/platform/osg/Vector.h"

namespace Kalvex::osg {

template <class ValueTypeT>
class QuaternionBase {
  public:
    using ValueType = ValueTypeT;
    using VectorType = Vector<ValueTypeT, 3>;
    using MatrixType = TransformationMatrix<ValueTypeT>;

    static const QuaternionBase& identity();
    static QuaternionBase slerp(const QuaternionBase& rot0, const QuaternionBase& rot1,
                                ValueTypeT t);

    constexpr QuaternionBase() : _quat{0, 0, 0, 1} {}
    // The rotation part of the matrix, which should be orthonormal.
    explicit QuaternionBase(const MatrixType& matrix) : QuaternionBase() { setValue(matrix); }
    QuaternionBase(const VectorType& axis, ValueTypeT angle) : QuaternionBase() {
        setValueAsAxisRad(axis, angle);
    }
    // The shortest rotation that takes the direction rotateFrom to rotateTo.
    QuaternionBase(const VectorType& rotateFrom, const VectorType& rotateTo) : QuaternionBase() {
        setValue(rotateFrom, rotateTo);
    }

    /*---------------------------------- set ----------------------------------*/

    void setIdentity() {
        _quat[0] = _quat[1] = _quat[2] = ValueTypeT(0);
        _quat[3] = ValueTypeT(1);
    }

    // An axis shorter than Eps gives the identity; the axis need not be normalised.
    void setValueAsAxisRad(ValueTypeT x, ValueTypeT y, ValueTypeT z, ValueTypeT angle);
    void setValueAsAxisRad(const VectorType& axis, ValueTypeT angle) {
        setValueAsAxisRad(axis[0], axis[1], axis[2], angle);
    }
    void setValueAsAxisRad(const ValueTypeT* valsP) {
        setValueAsAxisRad(valsP[0], valsP[1], valsP[2], valsP[3]);
    }
    // "x y z angle"; a text with a value that is not finite gives the identity.
    void setValueAsAxisRad(const char* text);

    void setValueAsAxisDeg(ValueTypeT x, ValueTypeT y, ValueTypeT z, ValueTypeT angle) {
        setValueAsAxisRad(x, y, z, degree2Rad(angle));
    }
    void setValueAsAxisDeg(const VectorType& axis, ValueTypeT angle) {
        setValueAsAxisDeg(axis[0], axis[1], axis[2], angle);
    }
    void setValueAsAxisDeg(const ValueTypeT* valsP) {
        setValueAsAxisDeg(valsP[0], valsP[1], valsP[2], valsP[3]);
    }
    void setValueAsAxisDeg(const char* text);

    void setValueAsQuat(ValueTypeT x, ValueTypeT y, ValueTypeT z, ValueTypeT w) {
        _quat[0] = x;
        _quat[1] = y;
        _quat[2] = z;
        _quat[3] = w;
    }
    void setValueAsQuat(const ValueTypeT* valsP) {
        setValueAsQuat(valsP[0], valsP[1], valsP[2], valsP[3]);
    }
    // Four blank separated numbers taken as they are; missing ones are zero, a null or empty
    // text gives the identity.
    void setValueAsQuat(const char* text);

    void setValue(const MatrixType& matrix);
    void setValue(const VectorType& rotateFrom, const VectorType& rotateTo);
    // Rotation by alpha about x, beta about y and gamma about z.
    void setValue(ValueTypeT alpha, ValueTypeT beta, ValueTypeT gamma);

    /*---------------------------------- get ----------------------------------*/

    const ValueTypeT* getValues() const { return _quat; }

    ValueTypeT x() const { return _quat[0]; }
    ValueTypeT y() const { return _quat[1]; }
    ValueTypeT z() const { return _quat[2]; }
    ValueTypeT w() const { return _quat[3]; }

    // Normalised axis and angle; a quaternion without a vector part answers the axis (0, 0, 1)
    // and angle 0. The angle is 2 acos(w), so the quaternion must be of unit length.
    void getValueAsAxisRad(ValueTypeT& x, ValueTypeT& y, ValueTypeT& z, ValueTypeT& angle) const;
    void getValueAsAxisRad(VectorType& axis, ValueTypeT& angle) const {
        ValueTypeT x, y, z;
        getValueAsAxisRad(x, y, z, angle);
        axis.setValues(x, y, z);
    }
    void getValueAsAxisDeg(ValueTypeT& x, ValueTypeT& y, ValueTypeT& z, ValueTypeT& angle) const;
    void getValueAsAxisDeg(VectorType& axis, ValueTypeT& angle) const {
        ValueTypeT x, y, z;
        getValueAsAxisDeg(x, y, z, angle);
        axis.setValues(x, y, z);
    }
    void getValueAsQuat(ValueTypeT& x, ValueTypeT& y, ValueTypeT& z, ValueTypeT& w) const {
        x = _quat[0];
        y = _quat[1];
        z = _quat[2];
        w = _quat[3];
    }

    // The rotation matrix, without translation.
    void getValue(MatrixType& matrix) const;
    // Only the upper 3x3 block; the rest of the matrix stays.
    void getValuesOnly(MatrixType& matrix) const;

    /*---------------------------------- math ---------------------------------*/

    ValueTypeT length() const;
    // A quaternion shorter than Eps is left as it is.
    void normalize();
    // Conjugate: the inverse rotation of a unit quaternion.
    void invert() {
        _quat[0] = -_quat[0];
        _quat[1] = -_quat[1];
        _quat[2] = -_quat[2];
    }
    QuaternionBase inverse() const {
        QuaternionBase r(*this);
        r.invert();
        return r;
    }

    void multVec(const VectorType& src, VectorType& dst) const;
    // Same axis, angle times scaleFactor.
    void scaleAngle(ValueTypeT scaleFactor);
    void slerpThis(const QuaternionBase& rot0, const QuaternionBase& rot1, ValueTypeT t) {
        slerp(rot0, rot1, *this, t);
    }

    void mult(const QuaternionBase& other) { mult(_quat, other._quat); }
    void multLeft(const QuaternionBase& other) { mult(other._quat, _quat); }

    bool equals(const QuaternionBase& rot, ValueTypeT tolerance) const {
        for (int i = 0; i < 4; ++i)
            if (!(_quat[i] - rot._quat[i] <= tolerance && rot._quat[i] - _quat[i] <= tolerance))
                return false;
        return true;
    }

    ValueTypeT& operator[](UInt32 i) { return _quat[i]; }
    const ValueTypeT& operator[](UInt32 i) const { return _quat[i]; }

    QuaternionBase& operator*=(const QuaternionBase& other) {
        mult(other);
        return *this;
    }
    QuaternionBase operator*(const QuaternionBase& other) const {
        QuaternionBase r(*this);
        r.mult(other);
        return r;
    }

    bool operator==(const QuaternionBase& other) const { return equals(other, ValueTypeT(Eps)); }
    bool operator!=(const QuaternionBase& other) const { return !(*this == other); }

  protected:
    // _quat = a * b, normalised.
    void mult(const ValueTypeT a[4], const ValueTypeT b[4]);
    static void slerp(const QuaternionBase& rot0, const QuaternionBase& rot1,
                      QuaternionBase& result, ValueTypeT t);

    ValueTypeT _quat[4];
};

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const QuaternionBase<ValueTypeT>& q);

extern template class QuaternionBase<float>;
extern template class QuaternionBase<double>;
extern template std::ostream& operator<<(std::ostream&, const QuaternionBase<float>&);
extern template std::ostream& operator<<(std::ostream&, const QuaternionBase<double>&);

}  // namespace Kalvex::osg
