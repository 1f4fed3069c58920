// Matrices and quaternions: multiplication order, inverse, matrix functions and the round trips
// between axis/angle, quaternion and matrix.

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "platform/osg/Matrix.h"
#include "platform/osg/Quaternion.h"

using namespace Kalvex::osg;

namespace {

template <class M>
::testing::AssertionResult near(const M& a, const M& b, double tol) {
    if (a.equals(b, typename M::ValueType(tol))) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\n" << a << "differs from\n" << b;
}

template <class T>
std::string text(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

Matrix translation(float x, float y, float z) {
    Matrix m;
    m.setTranslate(x, y, z);
    return m;
}
Matrix rotation(Vec3f axis, float angle) {
    Matrix m;
    m.setTransform(Quaternion(axis, angle));
    return m;
}
Matrix scaling(float x, float y, float z) {
    Matrix m;
    m.setScale(x, y, z);
    return m;
}

// A spread of invertible transforms, one with shear and a projective row.
std::vector<Matrix> sampleMatrices() {
    return {Matrix(), translation(1, -2, 3), rotation(Vec3f(1, 2, 3), 2.5f) * scaling(2, 2, 2),
            translation(4, 5, 6) * rotation(Vec3f(1, 0, 1), 1.2f) * scaling(0.5f, 2, 3),
            Matrix(2, 0.5f, 0, 1, 0.1f, 1.5f, 0.3f, -2, 0, 0.2f, 3, 0.5f, 0, 0, 0.1f, 1)};
}

TEST(MathMatrixText, RowsOnLinesWithThreeDecimals) {
    Matrix big = translation(1, -2.5f, 30);
    big[0][0] = 12345.678f;
    const std::pair<std::string, const char*> cases[] = {
        {text(Matrix4d()),
         "   1.000    0.000    0.000    0.000 \n   0.000    1.000    0.000    0.000 \n"
         "   0.000    0.000    1.000    0.000 \n   0.000    0.000    0.000    1.000 \n"},
        // The translation is the last column of the printed rows; wide elements push on.
        {text(big),
         "12345.678    0.000    0.000    1.000 \n   0.000    1.000    0.000   -2.500 \n"
         "   0.000    0.000    1.000   30.000 \n   0.000    0.000    0.000    1.000 \n"},
        {text(Matrix3f(1, 2, 3, 4, 5, 6, 7, 8, 9.5f)),
         "   1.000    2.000    3.000 \n   4.000    5.000    6.000 \n   7.000    8.000    9.500 \n"},
        {text(Quaternion()), "       0 0 0 1"},
        {text(Quaternion(Vec3f(0, 0, 1), Pi / 2)), "       0 0 0.707 0.707"},
    };
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);

    // A matrix restores the stream's state; a quaternion leaves its precision of 3.
    std::ostringstream os, qs;
    os << std::scientific << std::setprecision(2) << std::setfill('*') << Matrix() << 1.5;
    EXPECT_TRUE(os.str().ends_with("1.50e+00"));
    EXPECT_EQ(os.fill(), '*');
    qs << Quaternion() << " " << 3.14159;
    EXPECT_EQ(qs.str(), "       0 0 0 1 3.14");

    for (const Matrix& m : sampleMatrices()) {
        std::stringstream s;
        s << m;
        Matrix back;
        s >> back;
        EXPECT_FALSE(s.fail());
        EXPECT_TRUE(near(back, m, 5e-4));
    }
}

TEST(MathMatrix, StorageIsColumnByColumnAndTextFillsIt) {
    // The constructor takes rows; storage holds columns.
    const Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    const float storage[16] = {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16};
    const float rows[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(m[3], Vec4f(4, 8, 12, 16));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m.getValues()[i], storage[i]) << i;
    EXPECT_EQ(translation(7, 8, 9).getValues()[13], 8.f);
    Matrix fromStorage, fromRows;
    fromStorage.setValue(storage);
    fromRows.setValue(rows, false);
    EXPECT_EQ(fromStorage, m);
    EXPECT_EQ(fromRows, m);

    const struct {
        const char* text;
        bool storageOrder;
        std::vector<float> values;  // in storage order
    } cases[] = {
        {"1,2,3,4\n5,6,7,8\t9 10 11 12 13 14 15 16",
         false,
         {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}},
        {"1 2 3", true, {1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"", true, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
        {nullptr, true, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
    };
    for (const auto& c : cases) {
        Matrix t;
        t.setValue(c.text, c.storageOrder);
        for (int i = 0; i < 16; ++i) EXPECT_EQ(t.getValues()[i], c.values[i]) << i;
    }
}

TEST(MathMatrix, MultIsRightHandSideFirst) {
    const Matrix t = translation(1, 2, 3), r = rotation(Vec3f(0, 0, 1), Pi / 2);
    const Vec3f p(1, 0, 0);
    Vec3f q;
    // t.mult(r) = T * R: rotate first, then translate.
    Matrix tr = t;
    tr.mult(r);
    tr.multMatrixPnt(p, q);
    EXPECT_TRUE(q.equals(Vec3f(1, 3, 3), 1e-6f)) << q;
    // t.multLeft(r) = R * T: translate first, then rotate.
    Matrix rt = t;
    rt.multLeft(r);
    rt.multMatrixPnt(p, q);
    EXPECT_TRUE(q.equals(Vec3f(-2, 2, 3), 1e-6f)) << q;
    EXPECT_EQ(t * r, tr);

    Matrix composed;
    composed.setTransform(Vec3f(1, 2, 3), Quaternion(Vec3f(0, 0, 1), Pi / 2));
    EXPECT_TRUE(near(composed, tr, 1e-6));

    // Vectors ignore the translation; row forms are the column forms of the transpose.
    Vec3f v, a, b;
    tr.multMatrixVec(p, v);
    EXPECT_TRUE(v.equals(Vec3f(0, 1, 0), 1e-6f)) << v;
    Matrix trT;
    tr.transposed(trT);
    tr.multPntMatrix(Vec3f(1, 2, 3), a);
    trT.multMatrixPnt(Vec3f(1, 2, 3), b);
    EXPECT_TRUE(a.equals(b, 1e-6f));
    tr.multVecMatrix(Vec3f(1, 2, 3), a);
    trT.multMatrixVec(Vec3f(1, 2, 3), b);
    EXPECT_TRUE(a.equals(b, 1e-6f));

    // The 3x3 product agrees with the 4x4 one.
    Matrix3f rz(0, -1, 0, 1, 0, 0, 0, 0, 1), rx(1, 0, 0, 0, 0, -1, 0, 1, 0);
    Matrix3f prod = rx;
    prod.mult(rz);
    const Matrix big = rotation(Vec3f(1, 0, 0), Pi / 2) * rotation(Vec3f(0, 0, 1), Pi / 2);
    for (int c = 0; c < 3; ++c)
        for (int r3 = 0; r3 < 3; ++r3) EXPECT_NEAR(prod[c][r3], big[c][r3], 1e-6) << c << r3;

    // A full point divides by w, and w = 0 gives zero rather than infinities.
    Matrix w;
    w[3][3] = 2;
    Vec3f fp(2, 4, 6);
    w.multFullMatrixPnt(fp);
    EXPECT_EQ(fp, Vec3f(1, 2, 3));
    w[3][3] = 0;
    w.multFullMatrixPnt(fp);
    EXPECT_EQ(fp, Vec3f(0, 0, 0));

    Matrix e = translation(1, 2, 3);
    e[3][1] += 5e-7f;
    EXPECT_EQ(e, translation(1, 2, 3));
    e[3][1] += 3e-6f;
    EXPECT_NE(e, translation(1, 2, 3));
}

TEST(MathMatrix, DeterminantAndInverse) {
    EXPECT_FLOAT_EQ((translation(5, 6, 7) * scaling(2, 3, 4)).det3(), 24);
    EXPECT_NEAR(Matrix4d(1, 2, 3, 4, 5, 6, 7, 8, 2, 6, 4, 8, 3, 1, 1, 2).det(), 72, 1e-9);
    EXPECT_NEAR(Matrix3d(2, 0, 1, 1, 3, 2, 1, 1, 4).det(), 18, 1e-12);

    for (const Matrix& m : sampleMatrices()) {
        Matrix inv, copy = m, inv3;
        ASSERT_TRUE(m.inverse(inv)) << m;
        EXPECT_TRUE(near(inv * m, Matrix(), 1e-5));
        EXPECT_TRUE(near(m * inv, Matrix(), 1e-5));
        EXPECT_TRUE(copy.invert());
        EXPECT_EQ(copy, inv);
        // The 3x3 inverse undoes the linear part only.
        ASSERT_TRUE(m.inverse3(inv3));
        Vec3f v(1, 2, 3), w;
        m.multMatrixVec(v, w);
        inv3.multMatrixVec(w);
        EXPECT_TRUE(w.equals(v, 1e-4f)) << w;
    }
    Matrix3d m3(2, 0, 1, 1, 3, 2, 1, 1, 4), m3Inv;
    ASSERT_TRUE(m3.inverse(m3Inv));
    EXPECT_TRUE(near(m3Inv * m3, Matrix3d(), 1e-12));

    // Singular: false, and the answer is the identity.
    for (const Matrix& m :
         {scaling(1, 0, 1), Matrix(1, 2, 3, 4, 2, 4, 6, 8, 0, 0, 1, 0, 0, 0, 0, 1)}) {
        Matrix inv = translation(1, 1, 1), copy = m;
        EXPECT_FALSE(m.inverse(inv));
        EXPECT_EQ(inv, Matrix());
        EXPECT_FALSE(copy.invert());
        EXPECT_EQ(copy, Matrix());
        EXPECT_FALSE(m.inverse3(inv));
    }
    Matrix3f s3(1, 2, 3, 2, 4, 6, 0, 0, 1), sInv;
    EXPECT_FALSE(s3.inverse(sInv));
    EXPECT_EQ(sInv, Matrix3f());
}

TEST(MathMatrixFunctions, LogExpAndSqrt) {
    for (const Matrix& m :
         {translation(1, -2, 3), rotation(Vec3f(1, 2, 3), 3.0f), scaling(2, 0.5f, 3),
          translation(4, 5, 6) * rotation(Vec3f(1, 0, 1), 2.0f) * scaling(1.5f, 1.5f, 1.5f)}) {
        Matrix l, back, viaConst;
        ASSERT_TRUE(l.logOf(m)) << m;
        ASSERT_TRUE(back.expOf(l));
        EXPECT_TRUE(near(back, m, 1e-4));
        ASSERT_TRUE(m.log(viaConst));
        EXPECT_EQ(viaConst, l);
    }
    // Known logarithms: a turn about z is the skew matrix, a translation its own offset.
    Matrix l;
    ASSERT_TRUE(l.logOf(rotation(Vec3f(0, 0, 1), 0.8f)));
    EXPECT_TRUE(near(l, Matrix(0, -0.8f, 0, 0, 0.8f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), 1e-6));
    ASSERT_TRUE(l.logOf(translation(1, 2, 3)));
    EXPECT_TRUE(near(l, Matrix(0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0), 1e-6));
    // Half a turn has no real principal logarithm; nor has a singular matrix.
    EXPECT_FALSE(l.logOf(scaling(-1, -1, 1)));
    EXPECT_FALSE(l.logOf(scaling(0, 1, 1)));

    for (const Matrix& m : sampleMatrices()) {
        Matrix s, inPlace = m;
        ASSERT_TRUE(m.sqrt(s)) << m;
        EXPECT_TRUE(near(s * s, m, 1e-4));
        ASSERT_TRUE(inPlace.sqrt());
        EXPECT_EQ(inPlace, s);
    }
    Matrix half, bad;
    ASSERT_TRUE(rotation(Vec3f(1, 1, 1), 2.4f).sqrt(half));
    EXPECT_TRUE(near(half, rotation(Vec3f(1, 1, 1), 1.2f), 1e-5));
    EXPECT_FALSE(scaling(-4, 1, 1).sqrt(bad));
}

TEST(MathMatrixTransform, GetTransformRecomposesTheMatrix) {
    const struct {
        Vec3f t;
        Quaternion r;
        Vec3f s;
        Quaternion so;
    } cases[] = {
        {Vec3f(0, 0, 0), Quaternion(Vec3f(0, 1, 0), 0.7f), Vec3f(2, 3, 4), Quaternion()},
        {Vec3f(-5, 1, 0), Quaternion(Vec3f(1, 1, 0), 2.0f), Vec3f(0.5f, 1, 3),
         Quaternion(Vec3f(0, 0, 1), 0.4f)},
        {Vec3f(3, 3, 3), Quaternion(Vec3f(1, 2, 3), -1.0f), Vec3f(-1, 2, 2),
         Quaternion(Vec3f(1, 0, 0), 1.1f)},
    };
    const Vec3f center(1, -1, 2);
    for (const auto& c : cases) {
        // T(t + center) * R * SO * S * SO^-1 * T(-center).
        Matrix rm, som, soInv, m, again;
        c.r.getValue(rm);
        c.so.getValue(som);
        c.so.inverse().getValue(soInv);
        const Matrix byHand =
            translation(c.t[0] + center[0], c.t[1] + center[1], c.t[2] + center[2]) * rm * som *
            scaling(c.s[0], c.s[1], c.s[2]) * soInv *
            translation(-center[0], -center[1], -center[2]);
        m.setTransform(c.t, c.r, c.s, c.so, center);
        EXPECT_TRUE(near(m, byHand, 1e-5));

        Vec3f t, s;
        Quaternion r, so;
        m.getTransform(t, r, s, so, center);
        again.setTransform(t, r, s, so, center);
        EXPECT_TRUE(near(again, m, 1e-4)) << "t " << t << " s " << s;
        EXPECT_NEAR(s[0] * s[1] * s[2], m.det3(), 1e-3);
    }
}

TEST(MathQuaternion, AxisAngleMatrixRoundTrip) {
    const struct {
        Vec3f axis;
        float angle;
    } cases[] = {{Vec3f(0, 0, 1), 0.5f},  {Vec3f(1, 1, 0), 2.0f}, {Vec3f(0, -1, 0), 3.0f},
                 {Vec3f(1, 2, 3), 0.01f}, {Vec3f(1, 0, 0), Pi},   {Vec3f(0, 1, 0), Pi},
                 {Vec3f(0, 0, 1), Pi}};  // half turns take the largest-diagonal branch
    for (const auto& c : cases) {
        const Quaternion q(c.axis, c.angle);
        Vec3f unit = c.axis, axis;
        unit.normalize();
        float angle;
        q.getValueAsAxisRad(axis, angle);
        EXPECT_TRUE(axis.equals(unit, 1e-3f)) << axis;
        EXPECT_NEAR(angle, c.angle, 1e-3);

        // Quaternion -> matrix -> quaternion turns vectors like q and its matrix.
        Matrix m;
        q.getValue(m);
        const Quaternion back(m);
        const Vec3f v(0.3f, -1, 2);
        Vec3f byQuat, byMatrix, byBack;
        q.multVec(v, byQuat);
        m.multMatrixVec(v, byMatrix);
        back.multVec(v, byBack);
        EXPECT_TRUE(byQuat.equals(byMatrix, 1e-5f)) << byQuat << " vs " << byMatrix;
        EXPECT_TRUE(byBack.equals(byQuat, 1e-5f)) << byBack << " vs " << byQuat;
        EXPECT_NEAR(byQuat.length(), v.length(), 1e-5);
    }
    // A zero axis gives the identity, read back as angle 0 about z.
    Vec3f axis;
    float angle;
    Quaternion(Vec3f(0, 0, 0), 1.0f).getValueAsAxisRad(axis, angle);
    EXPECT_EQ(axis, Vec3f(0, 0, 1));
    EXPECT_EQ(angle, 0.f);
}

TEST(MathQuaternion, MultComposesLikeMatrices) {
    const Quaternion q1(Vec3f(0, 0, 1), Pi / 2), q2(Vec3f(1, 0, 0), Pi / 2);
    Quaternion q = q1, left = q2;
    q.mult(q2);  // q2 acts first
    Vec3f turned;
    q.multVec(Vec3f(0, 1, 0), turned);
    EXPECT_TRUE(turned.equals(Vec3f(0, 0, 1), 1e-6f)) << turned;
    Matrix m1, m2, m;
    q1.getValue(m1);
    q2.getValue(m2);
    q.getValue(m);
    EXPECT_TRUE(near(m, m1 * m2, 1e-6));
    left.multLeft(q1);
    EXPECT_EQ(left, q);

    Quaternion scaled;  // mult normalises
    scaled.setValueAsQuat(0, 0, 0, 2);
    scaled.mult(q1);
    EXPECT_NEAR(scaled.length(), 1, 1e-6);

    // Euler angles: x turns first, then y, then z.
    Quaternion euler;
    euler.setValue(0.3f, -0.5f, 1.1f);
    Matrix e;
    euler.getValue(e);
    EXPECT_TRUE(near(e,
                     rotation(Vec3f(0, 0, 1), 1.1f) * rotation(Vec3f(0, 1, 0), -0.5f) *
                         rotation(Vec3f(1, 0, 0), 0.3f),
                     1e-6));
}

TEST(MathQuaternion, FromToSlerpAndText) {
    for (const auto& [from, to] :
         {std::pair{Vec3f(1, 0, 0), Vec3f(-1, 0, 0)}, std::pair{Vec3f(0, 3, 0), Vec3f(0, 1, 0)},
          std::pair{Vec3f(1, 2, 3), Vec3f(-2, 0.5f, 1)}}) {
        Vec3f f = from, t = to, turned;
        f.normalize();
        t.normalize();
        Quaternion(from, to).multVec(f, turned);
        EXPECT_TRUE(turned.equals(t, 1e-5f)) << turned << " vs " << t;
    }
    const Quaternion a, b(Vec3f(0, 0, 1), 1.f), mid(Vec3f(0, 0, 1), 0.5f);
    EXPECT_EQ(Quaternion::slerp(a, b, 1), b);
    EXPECT_TRUE(Quaternion::slerp(a, b, 0.5f).equals(mid, 1e-6f));
    // -b is the same rotation; slerp takes the short way to it as well.
    Quaternion minusB, viaMinus;
    minusB.setValueAsQuat(-b.x(), -b.y(), -b.z(), -b.w());
    viaMinus.slerpThis(a, minusB, 0.5f);
    EXPECT_TRUE(viaMinus.equals(mid, 1e-6f));

    Quaternion q;
    q.setValueAsAxisRad("0 2 0 1.5");
    EXPECT_TRUE(q.equals(Quaternion(Vec3f(0, 1, 0), 1.5f), 1e-6f));
    q.setValueAsAxisDeg("0 0 1 90");
    EXPECT_TRUE(q.equals(Quaternion(Vec3f(0, 0, 1), Pi / 2), 1e-6f));
    q.setValueAsAxisRad("1 0 0 nan");
    EXPECT_EQ(q, Quaternion());
    q.setValueAsQuat("1 2");
    EXPECT_EQ(text(q), "       1 2 0 0");
}

}  // namespace
