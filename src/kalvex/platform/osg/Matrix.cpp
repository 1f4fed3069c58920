#include "kalvex/platform/osg/Matrix.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <complex>
#include <iomanip>
#include <unsupported/Eigen/MatrixFunctions>

#include "kalvex/platform/osg/Quaternion.h"

namespace Kalvex::osg {

namespace {

using Matrix4dE = Eigen::Matrix<double, 4, 4>;
using Matrix4cdE = Eigen::Matrix<std::complex<double>, 4, 4>;

// Our storage is column by column like Eigen's default, but copying element by element keeps
// the index order obvious: e(row, column) = m[column][row].
template <class T, int N, class MatrixT>
Eigen::Matrix<T, N, N> toEigen(const MatrixT& m) {
    Eigen::Matrix<T, N, N> e;
    for (int c = 0; c < N; ++c)
        for (int r = 0; r < N; ++r) e(r, c) = T(m[c][r]);
    return e;
}

template <int N, class EigenT, class MatrixT>
void fromEigen(const EigenT& e, MatrixT& m) {
    using T = typename MatrixT::ValueType;
    for (int c = 0; c < N; ++c)
        for (int r = 0; r < N; ++r) m[c][r] = T(e(r, c));
}

// A real matrix function answer is trustworthy when it is finite and the complex computation
// left no imaginary part beyond rounding.
bool isRealResult(const Matrix4cdE& e) {
    if (!e.allFinite()) return false;
    double scale = 1.0 + e.real().cwiseAbs().maxCoeff();
    return e.imag().cwiseAbs().maxCoeff() <= 1e-9 * scale;
}

template <class T>
bool matrixLog(const TransformationMatrix<T>& in, TransformationMatrix<T>& out) {
    Matrix4cdE c = toEigen<double, 4>(in).template cast<std::complex<double>>();
    Matrix4cdE l = c.log();
    fromEigen<4>(l.real(), out);
    return isRealResult(l);
}

template <class T>
bool matrixSqrt(const TransformationMatrix<T>& in, TransformationMatrix<T>& out) {
    Matrix4cdE c = toEigen<double, 4>(in).template cast<std::complex<double>>();
    Matrix4cdE s = c.sqrt();
    fromEigen<4>(s.real(), out);
    return isRealResult(s);
}

template <class T>
bool matrixExp(const TransformationMatrix<T>& in, TransformationMatrix<T>& out) {
    Matrix4dE e = toEigen<double, 4>(in).exp();
    fromEigen<4>(e, out);
    return e.allFinite();
}

// Below these the inverse is refused, as it always has been.
constexpr double kSingularDet = 1e-30;
constexpr double kSingularDet3 = 1e-20;

}  // namespace

/*------------------------------------------------------------------------------------------*/
/*                                  TransformationMatrix                                    */

template <class ValueTypeT>
const TransformationMatrix<ValueTypeT>& TransformationMatrix<ValueTypeT>::identity() {
    static const TransformationMatrix ident;
    return ident;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setValue(const char* text, bool bTransposed) {
    if (text == nullptr || *text == '\0') {
        setIdentity();
        return;
    }
    ValueTypeT vals[16] = {};
    const char* c = text;
    for (int i = 0; i < 16; ++i) {
        while (*c == ' ' || *c == '\t' || *c == '\n' || *c == ',') ++c;
        if (*c == '\0') break;
        const char* end = c;
        while (*end != '\0' && *end != ' ' && *end != '\t' && *end != '\n' && *end != ',') ++end;
        char token[256];
        std::size_t len = static_cast<std::size_t>(end - c);
        if (len >= sizeof(token)) len = sizeof(token) - 1;
        for (std::size_t k = 0; k < len; ++k) token[k] = c[k];
        token[len] = '\0';
        vals[i] = static_cast<ValueTypeT>(std::strtod(token, nullptr));
        c = end;
    }
    setValue(vals, bTransposed);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setRotate(const QuaternionType& q) {
    q.getValuesOnly(*this);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const VectorType3f& t) {
    setIdentity();
    setTranslate(t);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const QuaternionType& r) {
    r.getValue(*this);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const VectorType3f& t,
                                                    const QuaternionType& r) {
    r.getValue(*this);
    setTranslate(t);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const VectorType3f& t, const QuaternionType& r,
                                                    const VectorType3f& s) {
    r.getValue(*this);
    // R * S: column i carries the scale of axis i.
    for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row) _matrix[c][row] *= s[c];
    setTranslate(t);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const VectorType3f& t, const QuaternionType& r,
                                                    const VectorType3f& s,
                                                    const QuaternionType& so) {
    QuaternionType rg(r);
    rg.mult(so);
    TransformationMatrix soInverse;
    so.inverse().getValue(soInverse);
    setTransform(VectorType3f(), rg, s);
    mult(soInverse);
    setTranslate(t);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::setTransform(const VectorType3f& t, const QuaternionType& r,
                                                    const VectorType3f& s, const QuaternionType& so,
                                                    const VectorType3f& center) {
    setTransform(VectorType3f(), r, s, so);
    // T * C * A * C^-1 moves by t + c - A c.
    for (int row = 0; row < 3; ++row) {
        ValueTypeT moved =
            _matrix[0][row] * center[0] + _matrix[1][row] * center[1] + _matrix[2][row] * center[2];
        _matrix[3][row] = t[row] + center[row] - moved;
    }
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::factor(TransformationMatrix& r, VectorType3f& s,
                                              TransformationMatrix& u, VectorType3f& t,
                                              TransformationMatrix& proj) const {
    proj.setIdentity();
    Eigen::Matrix3d a = toEigen<double, 4>(*this).template topLeftCorner<3, 3>();
    for (int i = 0; i < 3; ++i) t[i] = _matrix[3][i];

    double det = a.determinant();
    double sign = det < 0.0 ? -1.0 : 1.0;
    if (sign * det < 1e-12) return false;

    // Left polar form: A = P U with P = R S R^T = sqrt(A A^T).
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(a * a.transpose());
    Eigen::Matrix3d rot = eigen.eigenvectors();
    if (rot.determinant() < 0.0) rot.col(2) = -rot.col(2);
    Eigen::Vector3d scale = eigen.eigenvalues().cwiseMax(0.0).cwiseSqrt() * sign;
    if ((scale.array() == 0.0).any()) return false;
    Eigen::Matrix3d unitary = rot * scale.cwiseInverse().asDiagonal() * rot.transpose() * a;

    Matrix4dE r4 = Matrix4dE::Identity();
    r4.topLeftCorner<3, 3>() = rot;
    Matrix4dE u4 = Matrix4dE::Identity();
    u4.topLeftCorner<3, 3>() = unitary;
    fromEigen<4>(r4, r);
    fromEigen<4>(u4, u);
    for (int i = 0; i < 3; ++i) s[i] = ValueTypeT(scale[i]);
    return true;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::getTransform(VectorType3f& translation,
                                                    QuaternionType& rotation,
                                                    VectorType3f& scaleFactor,
                                                    QuaternionType& scaleOrientation) const {
    TransformationMatrix r, u, proj;
    VectorType3f s, t;
    if (!factor(r, s, u, t, proj)) return;
    // R S R^T U = U (U^T R) S (U^T R)^T: the rotation is U, the scale orientation U^T R.
    TransformationMatrix so;
    so.transposeFrom(u);
    so.mult(r);
    translation = t;
    scaleFactor = s;
    rotation.setValue(u);
    scaleOrientation.setValue(so);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::getTransform(VectorType3f& translation,
                                                    QuaternionType& rotation,
                                                    VectorType3f& scaleFactor,
                                                    QuaternionType& scaleOrientation,
                                                    const VectorType3f& center) const {
    // C^-1 * M * C has the same decomposition without the center.
    TransformationMatrix m;
    m.setTranslate(-center);
    m.mult(*this);
    TransformationMatrix c;
    c.setTranslate(center);
    m.mult(c);
    m.getTransform(translation, rotation, scaleFactor, scaleOrientation);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multMatrixPnt(const VectorType3f& src,
                                                     VectorType3f& dst) const {
    VectorType3f r;
    for (int row = 0; row < 3; ++row)
        r[row] = src[0] * _matrix[0][row] + src[1] * _matrix[1][row] + src[2] * _matrix[2][row] +
                 _matrix[3][row];
    dst = r;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multFullMatrixPnt(const VectorType3f& src,
                                                         VectorType3f& dst) const {
    ValueTypeT w =
        src[0] * _matrix[0][3] + src[1] * _matrix[1][3] + src[2] * _matrix[2][3] + _matrix[3][3];
    if (w == ValueTypeT(0)) {
        dst.setNull();
        return;
    }
    VectorType3f r;
    multMatrixPnt(src, r);
    dst = r * (ValueTypeT(1) / w);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multMatrixVec(const VectorType3f& src,
                                                     VectorType3f& dst) const {
    VectorType3f r;
    for (int row = 0; row < 3; ++row)
        r[row] = src[0] * _matrix[0][row] + src[1] * _matrix[1][row] + src[2] * _matrix[2][row];
    dst = r;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multMatrixVec(const VectorType& src, VectorType& dst) const {
    VectorType r;
    for (int row = 0; row < 4; ++row)
        r[row] = src[0] * _matrix[0][row] + src[1] * _matrix[1][row] + src[2] * _matrix[2][row] +
                 src[3] * _matrix[3][row];
    dst = r;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multPntMatrix(const VectorType3f& src,
                                                     VectorType3f& dst) const {
    VectorType3f r;
    for (int c = 0; c < 3; ++c)
        r[c] = src[0] * _matrix[c][0] + src[1] * _matrix[c][1] + src[2] * _matrix[c][2] +
               _matrix[c][3];
    dst = r;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multVecMatrix(const VectorType3f& src,
                                                     VectorType3f& dst) const {
    VectorType3f r;
    for (int c = 0; c < 3; ++c)
        r[c] = src[0] * _matrix[c][0] + src[1] * _matrix[c][1] + src[2] * _matrix[c][2];
    dst = r;
}

template <class ValueTypeT>
ValueTypeT TransformationMatrix<ValueTypeT>::det3() const {
    return toEigen<ValueTypeT, 4>(*this).template topLeftCorner<3, 3>().determinant();
}

template <class ValueTypeT>
ValueTypeT TransformationMatrix<ValueTypeT>::det() const {
    return toEigen<ValueTypeT, 4>(*this).determinant();
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::inverse(TransformationMatrix& result) const {
    auto e = toEigen<ValueTypeT, 4>(*this);
    if (std::abs(double(e.determinant())) < kSingularDet) {
        result.setIdentity();
        return false;
    }
    fromEigen<4>(e.inverse().eval(), result);
    return true;
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::invert() {
    return inverse(*this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::invertFrom(const TransformationMatrix& m) {
    return m.inverse(*this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::inverse3(TransformationMatrix& result) const {
    Eigen::Matrix<ValueTypeT, 3, 3> e =
        toEigen<ValueTypeT, 4>(*this).template topLeftCorner<3, 3>();
    if (std::abs(double(e.determinant())) < kSingularDet3) {
        result.setIdentity();
        return false;
    }
    Eigen::Matrix<ValueTypeT, 4, 4> full = Eigen::Matrix<ValueTypeT, 4, 4>::Identity();
    full.template topLeftCorner<3, 3>() = e.inverse();
    fromEigen<4>(full, result);
    return true;
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::invert3() {
    return inverse3(*this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::invertFrom3(const TransformationMatrix& m) {
    return m.inverse3(*this);
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::mult(const TransformationMatrix& m) {
    TransformationMatrix r;
    for (int c = 0; c < 4; ++c)
        for (int row = 0; row < 4; ++row)
            r._matrix[c][row] =
                _matrix[0][row] * m._matrix[c][0] + _matrix[1][row] * m._matrix[c][1] +
                _matrix[2][row] * m._matrix[c][2] + _matrix[3][row] * m._matrix[c][3];
    *this = r;
}

template <class ValueTypeT>
void TransformationMatrix<ValueTypeT>::multLeft(const TransformationMatrix& m) {
    TransformationMatrix r(m);
    r.mult(*this);
    *this = r;
}

template <class ValueTypeT>
ValueTypeT TransformationMatrix<ValueTypeT>::norm1() const {
    ValueTypeT sum(0);
    for (int i = 0; i < 16; ++i) sum += std::abs(_matrix[i / 4][i % 4]);
    return sum;
}

template <class ValueTypeT>
ValueTypeT TransformationMatrix<ValueTypeT>::norm2() const {
    ValueTypeT sum(0);
    for (int i = 0; i < 16; ++i) sum += _matrix[i / 4][i % 4] * _matrix[i / 4][i % 4];
    return std::sqrt(sum);
}

template <class ValueTypeT>
ValueTypeT TransformationMatrix<ValueTypeT>::normInfinity() const {
    ValueTypeT m(0);
    for (int i = 0; i < 16; ++i) m = std::max(m, std::abs(_matrix[i / 4][i % 4]));
    return m;
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::sqrt(TransformationMatrix& result) const {
    return matrixSqrt(*this, result);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::sqrtOf(const TransformationMatrix& m) {
    return matrixSqrt(m, *this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::sqrt() {
    return matrixSqrt(*this, *this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::log(TransformationMatrix& result) const {
    return matrixLog(*this, result);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::logOf(const TransformationMatrix& m) {
    return matrixLog(m, *this);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::exp(TransformationMatrix& result) const {
    return matrixExp(*this, result);
}

template <class ValueTypeT>
bool TransformationMatrix<ValueTypeT>::expOf(const TransformationMatrix& m) {
    return matrixExp(m, *this);
}

namespace {

// Rows on lines, so the text reads like the matrix on paper.
template <class MatrixT>
std::ostream& writeMatrix(std::ostream& os, const MatrixT& m, int size) {
    std::ios::fmtflags oldFlags = os.flags(std::ios::showpoint | std::ios::fixed);
    std::streamsize oldPrecision = os.precision(3);
    char oldFill = os.fill(' ');
    std::streamsize oldWidth = os.width(8);
    for (int row = 0; row < size; ++row) {
        for (int c = 0; c < size; ++c) os << std::setw(8) << m[c][row] << " ";
        os << "\n";
    }
    os.flags(oldFlags);
    os.precision(oldPrecision);
    os.fill(oldFill);
    os.width(oldWidth);
    return os;
}

template <class MatrixT>
std::istream& readMatrix(std::istream& is, MatrixT& m, int size) {
    for (int row = 0; row < size; ++row)
        for (int c = 0; c < size; ++c) is >> m[c][row];
    return is;
}

}  // namespace

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const TransformationMatrix<ValueTypeT>& m) {
    return writeMatrix(os, m, 4);
}

template <class ValueTypeT>
std::istream& operator>>(std::istream& is, TransformationMatrix<ValueTypeT>& m) {
    return readMatrix(is, m, 4);
}

/*------------------------------------------------------------------------------------------*/
/*                                        Matrix3                                           */

template <class ValueTypeT>
const Matrix3<ValueTypeT>& Matrix3<ValueTypeT>::identity() {
    static const Matrix3 ident;
    return ident;
}

template <class ValueTypeT>
void Matrix3<ValueTypeT>::setValue(const char* text, bool bTransposed) {
    if (text == nullptr || *text == '\0') {
        setIdentity();
        return;
    }
    // The 4x4 parser reads the same tokens; the first nine are ours.
    TransformationMatrix<ValueTypeT> m;
    m.setValue(text, true);
    const ValueTypeT* p = m.getValues();
    setValue(p, bTransposed);
}

template <class ValueTypeT>
void Matrix3<ValueTypeT>::multMatrixVec(const VectorType& src, VectorType& dst) const {
    VectorType r;
    for (int row = 0; row < 3; ++row)
        r[row] = src[0] * _matrix[0][row] + src[1] * _matrix[1][row] + src[2] * _matrix[2][row];
    dst = r;
}

template <class ValueTypeT>
ValueTypeT Matrix3<ValueTypeT>::det() const {
    return toEigen<ValueTypeT, 3>(*this).determinant();
}

template <class ValueTypeT>
bool Matrix3<ValueTypeT>::inverse(Matrix3& result) const {
    auto e = toEigen<ValueTypeT, 3>(*this);
    if (std::abs(double(e.determinant())) < kSingularDet) {
        result.setIdentity();
        return false;
    }
    fromEigen<3>(e.inverse().eval(), result);
    return true;
}

template <class ValueTypeT>
bool Matrix3<ValueTypeT>::invert() {
    return inverse(*this);
}

template <class ValueTypeT>
bool Matrix3<ValueTypeT>::invertFrom(const Matrix3& m) {
    return m.inverse(*this);
}

template <class ValueTypeT>
void Matrix3<ValueTypeT>::mult(const Matrix3& m) {
    Matrix3 r;
    for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row)
            r._matrix[c][row] = _matrix[0][row] * m._matrix[c][0] +
                                _matrix[1][row] * m._matrix[c][1] +
                                _matrix[2][row] * m._matrix[c][2];
    *this = r;
}

template <class ValueTypeT>
void Matrix3<ValueTypeT>::multLeft(const Matrix3& m) {
    Matrix3 r(m);
    r.mult(*this);
    *this = r;
}

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const Matrix3<ValueTypeT>& m) {
    return writeMatrix(os, m, 3);
}

template <class ValueTypeT>
std::istream& operator>>(std::istream& is, Matrix3<ValueTypeT>& m) {
    return readMatrix(is, m, 3);
}

template class TransformationMatrix<float>;
template class TransformationMatrix<double>;
template class Matrix3<float>;
template class Matrix3<double>;

template std::ostream& operator<<(std::ostream&, const TransformationMatrix<float>&);
template std::ostream& operator<<(std::ostream&, const TransformationMatrix<double>&);
template std::istream& operator>>(std::istream&, TransformationMatrix<float>&);
template std::istream& operator>>(std::istream&, TransformationMatrix<double>&);
template std::ostream& operator<<(std::ostream&, const Matrix3<float>&);
template std::ostream& operator<<(std::ostream&, const Matrix3<double>&);
template std::istream& operator>>(std::istream&, Matrix3<float>&);
template std::istream& operator>>(std::istream&, Matrix3<double>&);

static_assert(sizeof(Matrix4f) == 16 * sizeof(float) && sizeof(Matrix4d) == 16 * sizeof(double),
              "matrices are 16 plain values");
static_assert(sizeof(Matrix3f) == 9 * sizeof(float) && sizeof(Matrix3d) == 9 * sizeof(double),
              "matrices are 9 plain values");

}  // namespace Kalvex::osg
