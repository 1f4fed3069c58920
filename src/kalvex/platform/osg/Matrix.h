#pragma once
// 4x4 transformation matrices TransformationMatrix<T> (Matrix = Matrix4f, Matrix4d) and 3x3
// matrices Matrix3<T> (Matrix3f, Matrix3d).
//
// Storage: column by column, _matrix[column][row]; m[c] is column c as a vector, and getValues()
// gives the 16 (9) values in that order. The translation is m[3][0..2].
// The 16- and 9-value constructors and setValue() take the values row by row, as the matrix is
// written on paper; setValueTransposed() and setValue(const T*) take them in storage order.
// Points and vectors are columns: multMatrixPnt(p) is M * p.
// a.mult(b) makes a = a * b (b acts first on a point), a.multLeft(b) makes a = b * a, and
// `a * b` is a.mult(b) on a copy.
// `==`: element-wise within Eps (1e-6f); equals() takes any tolerance.
// `<<`: four (three) lines, one per row of the matrix, each element fixed with three decimals,
// width 8 and blank fill, followed by a blank; the stream's format is restored afterwards.
// `>>` reads 16 (9) numbers row by row, which is what `<<` writes.
//
// Determinant, inverse, logarithm, exponential and square root are computed in Matrix.cpp.

#include <istream>
#include <ostream>

#include "kalvex/platform/osg/MathTypes.h"
#include "kalvex/platform/osg/Vector.h"

namespace Kalvex::osg {

template <class ValueTypeT>
class TransformationMatrix {
  public:
    using ValueType = ValueTypeT;
    using VectorType = Vector<ValueTypeT, 4>;
    using VectorType3f = Vector<ValueTypeT, 3>;
    using QuaternionType = QuaternionBase<ValueTypeT>;

    static const TransformationMatrix& identity();

    /*------------------------------ construction -----------------------------*/

    // Identity.
    TransformationMatrix() {
        for (int i = 0; i < 4; ++i) _matrix[i][i] = ValueTypeT(1);
    }

    // Columns; the fourth component of each column and the missing column are zero.
    TransformationMatrix(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2) {
        setValue(c0, c1, c2);
    }
    TransformationMatrix(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2,
                         const VectorType3f& c3) {
        setValue(c0, c1, c2, c3);
    }

    // Row by row: rValCR is column C, row R.
    TransformationMatrix(ValueTypeT rVal00, ValueTypeT rVal10, ValueTypeT rVal20, ValueTypeT rVal30,
                         ValueTypeT rVal01, ValueTypeT rVal11, ValueTypeT rVal21, ValueTypeT rVal31,
                         ValueTypeT rVal02, ValueTypeT rVal12, ValueTypeT rVal22, ValueTypeT rVal32,
                         ValueTypeT rVal03, ValueTypeT rVal13, ValueTypeT rVal23,
                         ValueTypeT rVal33) {
        setValue(rVal00, rVal10, rVal20, rVal30, rVal01, rVal11, rVal21, rVal31, rVal02, rVal12,
                 rVal22, rVal32, rVal03, rVal13, rVal23, rVal33);
    }

    /*---------------------------------- set ----------------------------------*/

    void setIdentity() {
        for (int i = 0; i < 4; ++i) {
            _matrix[i].setNull();
            _matrix[i][i] = ValueTypeT(1);
        }
    }

    void setValue(const TransformationMatrix& m) { *this = m; }

    void setValue(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2) {
        _matrix[0].setValue(c0);
        _matrix[1].setValue(c1);
        _matrix[2].setValue(c2);
    }
    void setValue(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2,
                  const VectorType3f& c3) {
        setValue(c0, c1, c2);
        _matrix[3].setValue(c3);
    }

    void setValue(ValueTypeT rVal00, ValueTypeT rVal10, ValueTypeT rVal20, ValueTypeT rVal30,
                  ValueTypeT rVal01, ValueTypeT rVal11, ValueTypeT rVal21, ValueTypeT rVal31,
                  ValueTypeT rVal02, ValueTypeT rVal12, ValueTypeT rVal22, ValueTypeT rVal32,
                  ValueTypeT rVal03, ValueTypeT rVal13, ValueTypeT rVal23, ValueTypeT rVal33) {
        _matrix[0].setValues(rVal00, rVal01, rVal02, rVal03);
        _matrix[1].setValues(rVal10, rVal11, rVal12, rVal13);
        _matrix[2].setValues(rVal20, rVal21, rVal22, rVal23);
        _matrix[3].setValues(rVal30, rVal31, rVal32, rVal33);
    }

    // Storage order: the first four values are column 0.
    void setValueTransposed(ValueTypeT rVal00, ValueTypeT rVal01, ValueTypeT rVal02,
                            ValueTypeT rVal03, ValueTypeT rVal10, ValueTypeT rVal11,
                            ValueTypeT rVal12, ValueTypeT rVal13, ValueTypeT rVal20,
                            ValueTypeT rVal21, ValueTypeT rVal22, ValueTypeT rVal23,
                            ValueTypeT rVal30, ValueTypeT rVal31, ValueTypeT rVal32,
                            ValueTypeT rVal33) {
        _matrix[0].setValues(rVal00, rVal01, rVal02, rVal03);
        _matrix[1].setValues(rVal10, rVal11, rVal12, rVal13);
        _matrix[2].setValues(rVal20, rVal21, rVal22, rVal23);
        _matrix[3].setValues(rVal30, rVal31, rVal32, rVal33);
    }

    // 16 values; in storage order when bTransposed (the default), else row by row.
    void setValue(const ValueTypeT* pMat, bool bTransposed = true) {
        for (int c = 0; c < 4; ++c)
            for (int r = 0; r < 4; ++r)
                _matrix[c][r] = bTransposed ? pMat[c * 4 + r] : pMat[r * 4 + c];
    }

    void setValue(const VectorType* columns) {
        for (int c = 0; c < 4; ++c) _matrix[c] = columns[c];
    }

    // 16 numbers separated by blanks, tabs, line feeds or commas, in storage order when
    // bTransposed (the default). Missing numbers are zero; a null or empty text gives identity.
    void setValue(const char* text, bool bTransposed = true);

    /*---------------------------------- get ----------------------------------*/

    ValueTypeT* getValues() { return _matrix[0].getValues(); }
    const ValueTypeT* getValues() const { return _matrix[0].getValues(); }

    VectorType& operator[](UInt32 column) { return _matrix[column]; }
    const VectorType& operator[](UInt32 column) const { return _matrix[column]; }

    /*---------------------------- transformations ----------------------------*/

    // These overwrite only the elements they name.
    void setScale(ValueTypeT s) { setScale(s, s, s); }
    void setScale(ValueTypeT sx, ValueTypeT sy, ValueTypeT sz) {
        _matrix[0][0] = sx;
        _matrix[1][1] = sy;
        _matrix[2][2] = sz;
    }
    void setScale(const VectorType3f& s) { setScale(s[0], s[1], s[2]); }

    void setTranslate(ValueTypeT tx, ValueTypeT ty, ValueTypeT tz) {
        _matrix[3][0] = tx;
        _matrix[3][1] = ty;
        _matrix[3][2] = tz;
    }
    void setTranslate(const VectorType3f& t) { setTranslate(t[0], t[1], t[2]); }

    // The upper 3x3 block becomes the rotation; the rest stays.
    void setRotate(const QuaternionType& q);

    // These build the whole matrix: T, R, T * R, T * R * S and T * R * SO * S * SO^-1, with
    // a center C: T * C * R * SO * S * SO^-1 * C^-1.
    void setTransform(const VectorType3f& t);
    void setTransform(const QuaternionType& r);
    void setTransform(const VectorType3f& t, const QuaternionType& r);
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s);
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s,
                      const QuaternionType& so);
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s,
                      const QuaternionType& so, const VectorType3f& center);

    // The inverse of setTransform for affine matrices; projection parts are dropped. A matrix
    // whose 3x3 block is singular leaves the outputs as they were.
    void getTransform(VectorType3f& translation, QuaternionType& rotation,
                      VectorType3f& scaleFactor, QuaternionType& scaleOrientation) const;
    void getTransform(VectorType3f& translation, QuaternionType& rotation,
                      VectorType3f& scaleFactor, QuaternionType& scaleOrientation,
                      const VectorType3f& center) const;

    // this = r * s * r^T * u with translation t; false if the 3x3 block is singular.
    bool factor(TransformationMatrix& r, VectorType3f& s, TransformationMatrix& u, VectorType3f& t,
                TransformationMatrix& proj) const;

    /*------------------------------- transform -------------------------------*/

    // M * (p, 1), w dropped.
    void multMatrixPnt(const VectorType3f& src, VectorType3f& dst) const;
    void multMatrixPnt(VectorType3f& pnt) const { multMatrixPnt(pnt, pnt); }
    // M * (p, 1) divided by w; a w of 0 gives the zero point.
    void multFullMatrixPnt(const VectorType3f& src, VectorType3f& dst) const;
    void multFullMatrixPnt(VectorType3f& pnt) const { multFullMatrixPnt(pnt, pnt); }
    // M * (v, 0): no translation.
    void multMatrixVec(const VectorType3f& src, VectorType3f& dst) const;
    void multMatrixVec(VectorType3f& vec) const { multMatrixVec(vec, vec); }
    void multMatrixVec(const VectorType& src, VectorType& dst) const;
    void multMatrixVec(VectorType& vec) const { multMatrixVec(vec, vec); }
    // Vectors only; points go through multMatrixPnt.
    void mult(const VectorType3f& src, VectorType3f& dst) const { multMatrixVec(src, dst); }
    void mult(VectorType3f& vec) const { multMatrixVec(vec, vec); }

    // Row forms: p^T * M.
    void multPntMatrix(const VectorType3f& src, VectorType3f& dst) const;
    void multPntMatrix(VectorType3f& pnt) const { multPntMatrix(pnt, pnt); }
    void multVecMatrix(const VectorType3f& src, VectorType3f& dst) const;
    void multVecMatrix(VectorType3f& vec) const { multVecMatrix(vec, vec); }

    /*---------------------------------- math ---------------------------------*/

    bool equals(const TransformationMatrix& m, ValueTypeT tolerance) const {
        for (int c = 0; c < 4; ++c)
            if (!_matrix[c].equals(m._matrix[c], tolerance)) return false;
        return true;
    }

    ValueTypeT det3() const;
    ValueTypeT det() const;

    // A singular matrix (|det| < 1e-30) gives identity and false.
    bool inverse(TransformationMatrix& result) const;
    bool invert();
    bool invertFrom(const TransformationMatrix& m);

    // The same on the upper 3x3 block (singular below 1e-20); the result has no translation.
    bool inverse3(TransformationMatrix& result) const;
    bool invert3();
    bool invertFrom3(const TransformationMatrix& m);

    bool transposed(TransformationMatrix& result) const {
        result.transposeFrom(*this);
        return true;
    }
    bool transpose() {
        TransformationMatrix t;
        t.transposeFrom(*this);
        *this = t;
        return true;
    }
    bool transposeFrom(const TransformationMatrix& m) {
        for (int c = 0; c < 4; ++c)
            for (int r = 0; r < 4; ++r) _matrix[c][r] = m._matrix[r][c];
        return true;
    }

    void mult(const TransformationMatrix& m);
    void multLeft(const TransformationMatrix& m);

    void add(const TransformationMatrix& m) {
        for (int c = 0; c < 4; ++c) _matrix[c] += m._matrix[c];
    }
    void scale(ValueTypeT s) {
        for (int c = 0; c < 4; ++c) _matrix[c] *= s;
    }
    void addScaled(const TransformationMatrix& m, ValueTypeT s) {
        for (int c = 0; c < 4; ++c) _matrix[c] += m._matrix[c] * s;
    }
    void negate() {
        for (int c = 0; c < 4; ++c) _matrix[c].negate();
    }

    ValueTypeT norm1() const;
    ValueTypeT norm2() const;
    ValueTypeT normInfinity() const;

    // Principal square root, logarithm and exponential. sqrt and log need a matrix with no
    // eigenvalue on the negative real axis (a rotation by less than half a turn, a positive
    // scale); otherwise they answer false and the result holds the real part of the complex
    // answer, or NaN.
    bool sqrt(TransformationMatrix& result) const;
    bool sqrtOf(const TransformationMatrix& m);
    bool sqrt();
    bool log(TransformationMatrix& result) const;
    bool logOf(const TransformationMatrix& m);
    bool exp(TransformationMatrix& result) const;
    bool expOf(const TransformationMatrix& m);

    bool operator==(const TransformationMatrix& other) const {
        return equals(other, ValueTypeT(Eps));
    }
    bool operator!=(const TransformationMatrix& other) const { return !(*this == other); }

    TransformationMatrix operator*(const TransformationMatrix& other) const {
        TransformationMatrix r(*this);
        r.mult(other);
        return r;
    }
    TransformationMatrix& operator*=(const TransformationMatrix& other) {
        mult(other);
        return *this;
    }

  protected:
    VectorType _matrix[4];
};

template <class ValueTypeT>
class Matrix3 {
  public:
    using ValueType = ValueTypeT;
    using VectorType = Vector<ValueTypeT, 3>;

    static const Matrix3& identity();

    // Identity.
    Matrix3() {
        for (int i = 0; i < 3; ++i) _matrix[i][i] = ValueTypeT(1);
    }
    Matrix3(const VectorType& c0, const VectorType& c1, const VectorType& c2) {
        setValue(c0, c1, c2);
    }
    // Row by row: rValCR is column C, row R.
    Matrix3(ValueTypeT rVal00, ValueTypeT rVal10, ValueTypeT rVal20, ValueTypeT rVal01,
            ValueTypeT rVal11, ValueTypeT rVal21, ValueTypeT rVal02, ValueTypeT rVal12,
            ValueTypeT rVal22) {
        setValue(rVal00, rVal10, rVal20, rVal01, rVal11, rVal21, rVal02, rVal12, rVal22);
    }

    void setIdentity() {
        for (int i = 0; i < 3; ++i) {
            _matrix[i].setNull();
            _matrix[i][i] = ValueTypeT(1);
        }
    }
    void setValue(const Matrix3& m) { *this = m; }
    void setValue(const VectorType& c0, const VectorType& c1, const VectorType& c2) {
        _matrix[0] = c0;
        _matrix[1] = c1;
        _matrix[2] = c2;
    }
    void setValue(ValueTypeT rVal00, ValueTypeT rVal10, ValueTypeT rVal20, ValueTypeT rVal01,
                  ValueTypeT rVal11, ValueTypeT rVal21, ValueTypeT rVal02, ValueTypeT rVal12,
                  ValueTypeT rVal22) {
        _matrix[0].setValues(rVal00, rVal01, rVal02);
        _matrix[1].setValues(rVal10, rVal11, rVal12);
        _matrix[2].setValues(rVal20, rVal21, rVal22);
    }
    void setValueTransposed(ValueTypeT rVal00, ValueTypeT rVal01, ValueTypeT rVal02,
                            ValueTypeT rVal10, ValueTypeT rVal11, ValueTypeT rVal12,
                            ValueTypeT rVal20, ValueTypeT rVal21, ValueTypeT rVal22) {
        _matrix[0].setValues(rVal00, rVal01, rVal02);
        _matrix[1].setValues(rVal10, rVal11, rVal12);
        _matrix[2].setValues(rVal20, rVal21, rVal22);
    }
    // 9 values; in storage order when bTransposed (the default), else row by row.
    void setValue(const ValueTypeT* pMat, bool bTransposed = true) {
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 3; ++r)
                _matrix[c][r] = bTransposed ? pMat[c * 3 + r] : pMat[r * 3 + c];
    }
    // As TransformationMatrix::setValue(const char*), with 9 numbers.
    void setValue(const char* text, bool bTransposed = true);

    ValueTypeT* getValues() { return _matrix[0].getValues(); }
    const ValueTypeT* getValues() const { return _matrix[0].getValues(); }

    VectorType& operator[](UInt32 column) { return _matrix[column]; }
    const VectorType& operator[](UInt32 column) const { return _matrix[column]; }

    void multMatrixVec(const VectorType& src, VectorType& dst) const;
    void multMatrixVec(VectorType& vec) const { multMatrixVec(vec, vec); }

    bool equals(const Matrix3& m, ValueTypeT tolerance) const {
        for (int c = 0; c < 3; ++c)
            if (!_matrix[c].equals(m._matrix[c], tolerance)) return false;
        return true;
    }

    ValueTypeT det() const;
    // A singular matrix (|det| < 1e-30) gives identity and false.
    bool inverse(Matrix3& result) const;
    bool invert();
    bool invertFrom(const Matrix3& m);

    bool transpose() {
        Matrix3 t;
        t.transposeFrom(*this);
        *this = t;
        return true;
    }
    bool transposeFrom(const Matrix3& m) {
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 3; ++r) _matrix[c][r] = m._matrix[r][c];
        return true;
    }

    // Same convention as the 4x4: mult makes this = this * m.
    void mult(const Matrix3& m);
    void multLeft(const Matrix3& m);

    bool operator==(const Matrix3& other) const { return equals(other, ValueTypeT(Eps)); }
    bool operator!=(const Matrix3& other) const { return !(*this == other); }

    Matrix3 operator*(const Matrix3& other) const {
        Matrix3 r(*this);
        r.mult(other);
        return r;
    }
    Matrix3& operator*=(const Matrix3& other) {
        mult(other);
        return *this;
    }

  protected:
    VectorType _matrix[3];
};

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const TransformationMatrix<ValueTypeT>& m);
template <class ValueTypeT>
std::istream& operator>>(std::istream& is, TransformationMatrix<ValueTypeT>& m);
template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const Matrix3<ValueTypeT>& m);
template <class ValueTypeT>
std::istream& operator>>(std::istream& is, Matrix3<ValueTypeT>& m);

extern template class TransformationMatrix<float>;
extern template class TransformationMatrix<double>;
extern template class Matrix3<float>;
extern template class Matrix3<double>;

extern template std::ostream& operator<<(std::ostream&, const TransformationMatrix<float>&);
extern template std::ostream& operator<<(std::ostream&, const TransformationMatrix<double>&);
extern template std::istream& operator>>(std::istream&, TransformationMatrix<float>&);
extern template std::istream& operator>>(std::istream&, TransformationMatrix<double>&);
extern template std::ostream& operator<<(std::ostream&, const Matrix3<float>&);
extern template std::ostream& operator<<(std::ostream&, const Matrix3<double>&);
extern template std::istream& operator>>(std::istream&, Matrix3<float>&);
extern template std::istream& operator>>(std::istream&, Matrix3<double>&);

}  // namespace Kalvex::osg
