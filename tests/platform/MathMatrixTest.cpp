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

// A spread of invertible transforms, some with shear and a projective row.
std::vector<Matrix> sampleMatrices() {
    Matrix general(2, 0.5f, 0, 1,  //
                   0.1f, 1.5f, 0.3f, -2, 0, 0.2f, 3, 0.5f, 0, 0, 0.1f, 1);
    return {
        Matrix(),
        translation(1, -2, 3),
        rotation(Vec3f(0, 0, 1), 0.3f),
        rotation(Vec3f(1, 2, 3), 2.5f) * scaling(2, 2, 2),
        translation(4, 5, 6) * rotation(Vec3f(1, 0, 1), 1.2f) * scaling(0.5f, 2, 3),
        general,
    };
}

TEST(MathMatrixText, RowsOnLinesWithThreeDecimals) {
    const std::string identity4 =
        "   1.000    0.000    0.000    0.000 \n"
        "   0.000    1.000    0.000    0.000 \n"
        "   0.000    0.000    1.000    0.000 \n"
        "   0.000    0.000    0.000    1.000 \n";
    Matrix big = translation(1, -2.5f, 30);
    big[0][0] = 12345.678f;
    const struct {
        const char* name;
        std::string written;
        std::string expected;
    } cases[] = {
        {"identity",
         [] {
             std::ostringstream os;
             os << Matrix();
             return os.str();
         }(),
         identity4},
        {"identity d",
         [] {
             std::ostringstream os;
             os << Matrix4d();
             return os.str();
         }(),
         identity4},
        // The translation is the last column of the printed rows.
        {"translation",
         [] {
             std::ostringstream os;
             os << translation(1, -2.5f, 30);
             return os.str();
         }(),
         "   1.000    0.000    0.000    1.000 \n"
         "   0.000    1.000    0.000   -2.500 \n"
         "   0.000    0.000    1.000   30.000 \n"
         "   0.000    0.000    0.000    1.000 \n"},
        {"wide element",
         [&] {
             std::ostringstream os;
             os << big;
             return os.str();
         }(),
         "12345.678    0.000    0.000    1.000 \n"
         "   0.000    1.000    0.000   -2.500 \n"
         "   0.000    0.000    1.000   30.000 \n"
         "   0.000    0.000    0.000    1.000 \n"},
        {"matrix3",
         [] {
             std::ostringstream os;
             os << Matrix3f(1, 2, 3, 4, 5, 6, 7, 8, 9.5f);
             return os.str();
         }(),
         "   1.000    2.000    3.000 \n"
         "   4.000    5.000    6.000 \n"
         "   7.000    8.000    9.500 \n"},
        {"identity quaternion",
         [] {
             std::ostringstream os;
             os << Quaternion();
             return os.str();
         }(),
         "       0 0 0 1"},
        {"quarter turn",
         [] {
             std::ostringstream os;
             os << Quaternion(Vec3f(0, 0, 1), Pi / 2);
             return os.str();
         }(),
         "       0 0 0.707 0.707"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.written, c.expected) << c.name;
}

TEST(MathMatrixText, MatrixRestoresStreamButQuaternionLeavesPrecision) {
    std::ostringstream os;
    os << std::scientific << std::setprecision(2) << std::setfill('*');
    os << Matrix() << 1.5;
    EXPECT_EQ(os.str().substr(os.str().size() - 8), "1.50e+00");
    EXPECT_EQ(os.fill(), '*');

    std::ostringstream qs;
    qs << Quaternion() << " " << 3.14159;
    EXPECT_EQ(qs.str(), "       0 0 0 1 3.14");
}

TEST(MathMatrixText, ReadsWhatItWrites) {
    for (const Matrix& m : sampleMatrices()) {
        std::stringstream s;
        s << m;
        Matrix back;
        s >> back;
        EXPECT_FALSE(s.fail());
        EXPECT_TRUE(near(back, m, 5e-4));
    }
    Matrix3d m3(1, -2, 3.25, 0, 1, 0, 4, 0, 1);
    std::stringstream s3;
    s3 << m3;
    Matrix3d back3;
    s3 >> back3;
    EXPECT_TRUE(near(back3, m3, 1e-12));
}

TEST(MathMatrix, StorageIsColumnByColumn) {
    // The constructor takes rows; storage holds columns.
    Matrix m(1, 2, 3, 4,  //
             5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_EQ(m[1][0], 2.f);
    EXPECT_EQ(m[0][1], 5.f);
    EXPECT_EQ(m[3], Vec4f(4, 8, 12, 16));
    const float expected[16] = {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m.getValues()[i], expected[i]) << i;

    Matrix t = translation(7, 8, 9);
    EXPECT_EQ(t.getValues()[12], 7.f);
    EXPECT_EQ(t.getValues()[14], 9.f);

    Matrix fromStorage;
    fromStorage.setValue(expected);
    EXPECT_EQ(fromStorage, m);
    const float rows[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    Matrix fromRows;
    fromRows.setValue(rows, false);
    EXPECT_EQ(fromRows, m);
}

TEST(MathMatrix, SetValueFromText) {
    const struct {
        const char* text;
        bool storageOrder;
        std::vector<float> values;  // in storage order
    } cases[] = {
        {"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16",
         true,
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {"1,2,3,4\n5,6,7,8\t9 10 11 12 13 14 15 16",
         false,
         {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}},
        {"1 2 3", true, {1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"", true, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
        {nullptr, true, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}},
    };
    for (const auto& c : cases) {
        Matrix m;
        m.setValue(c.text, c.storageOrder);
        for (int i = 0; i < 16; ++i) EXPECT_EQ(m.getValues()[i], c.values[i]) << i;
    }
    Matrix3f m3;
    m3.setValue("1 2 3 4 5 6 7 8 9");
    EXPECT_EQ(m3[1], Vec3f(4, 5, 6));
}

TEST(MathMatrix, MultIsRightHandSideFirst) {
    const Matrix t = translation(1, 2, 3);
    const Matrix r = rotation(Vec3f(0, 0, 1), Pi / 2);
    const Vec3f p(1, 0, 0);

    // t.mult(r) = T * R: rotate first, then translate.
    Matrix tr = t;
    tr.mult(r);
    Vec3f q;
    tr.multMatrixPnt(p, q);
    EXPECT_TRUE(q.equals(Vec3f(1, 3, 3), 1e-6f)) << q;

    // t.multLeft(r) = R * T: translate first, then rotate.
    Matrix rt = t;
    rt.multLeft(r);
    rt.multMatrixPnt(p, q);
    EXPECT_TRUE(q.equals(Vec3f(-2, 2, 3), 1e-6f)) << q;

    EXPECT_EQ(t * r, tr);
    Matrix acc = t;
    acc *= r;
    EXPECT_EQ(acc, tr);

    // Applying the factors one by one agrees with the product.
    Vec3f step = p;
    r.multMatrixPnt(step);
    t.multMatrixPnt(step);
    tr.multMatrixPnt(p, q);
    EXPECT_TRUE(q.equals(step, 1e-6f));

    // setTransform(t, r) is the same T * R.
    Matrix composed;
    composed.setTransform(Vec3f(1, 2, 3), Quaternion(Vec3f(0, 0, 1), Pi / 2));
    EXPECT_TRUE(near(composed, tr, 1e-6));

    // Vectors ignore the translation.
    Vec3f v;
    tr.multMatrixVec(p, v);
    EXPECT_TRUE(v.equals(Vec3f(0, 1, 0), 1e-6f)) << v;
    Vec4f h(1, 0, 0, 1);
    tr.multMatrixVec(h);
    EXPECT_TRUE(h.equals(Vec4f(1, 3, 3, 1), 1e-6f)) << h;

    // Row forms are the column forms of the transpose.
    Matrix trT;
    tr.transposed(trT);
    Vec3f a, b;
    tr.multPntMatrix(Vec3f(1, 2, 3), a);
    trT.multMatrixPnt(Vec3f(1, 2, 3), b);
    EXPECT_TRUE(a.equals(b, 1e-6f));
    tr.multVecMatrix(Vec3f(1, 2, 3), a);
    trT.multMatrixVec(Vec3f(1, 2, 3), b);
    EXPECT_TRUE(a.equals(b, 1e-6f));
}

TEST(MathMatrix, FullPointDividesByW) {
    Matrix m;
    m[3][3] = 2;
    Vec3f p(2, 4, 6);
    m.multFullMatrixPnt(p);
    EXPECT_EQ(p, Vec3f(1, 2, 3));
    m[3][3] = 0;
    Vec3f q(2, 4, 6);
    m.multFullMatrixPnt(q);
    EXPECT_EQ(q, Vec3f(0, 0, 0));
}

TEST(MathMatrix, Determinants) {
    EXPECT_FLOAT_EQ(scaling(2, 3, 4).det(), 24);
    EXPECT_FLOAT_EQ((translation(5, 6, 7) * scaling(2, 3, 4)).det3(), 24);
    Matrix4d m(1, 2, 3, 4, 5, 6, 7, 8, 2, 6, 4, 8, 3, 1, 1, 2);
    EXPECT_NEAR(m.det(), 72, 1e-9);
    EXPECT_NEAR(rotation(Vec3f(1, 1, 0), 1).det(), 1, 1e-6);
    EXPECT_NEAR(Matrix3d(2, 0, 1, 1, 3, 2, 1, 1, 4).det(), 18, 1e-12);
}

TEST(MathMatrix, InverseTimesMatrixIsIdentity) {
    for (const Matrix& m : sampleMatrices()) {
        Matrix inv;
        ASSERT_TRUE(m.inverse(inv)) << m;
        EXPECT_TRUE(near(inv * m, Matrix(), 1e-5));
        EXPECT_TRUE(near(m * inv, Matrix(), 1e-5));
        Matrix copy = m;
        EXPECT_TRUE(copy.invert());
        EXPECT_EQ(copy, inv);
        Matrix from;
        EXPECT_TRUE(from.invertFrom(m));
        EXPECT_EQ(from, inv);

        // The 3x3 inverse undoes the linear part only.
        Matrix inv3;
        ASSERT_TRUE(m.inverse3(inv3));
        Vec3f v(1, 2, 3), w;
        m.multMatrixVec(v, w);
        inv3.multMatrixVec(w);
        EXPECT_TRUE(w.equals(v, 1e-4f)) << w;
    }
    Matrix4d d(1, 2, 3, 4, 5, 6, 7, 8, 2, 6, 4, 8, 3, 1, 1, 2), dInv;
    ASSERT_TRUE(d.inverse(dInv));
    EXPECT_TRUE(near(dInv * d, Matrix4d(), 1e-12));

    Matrix3d m3(2, 0, 1, 1, 3, 2, 1, 1, 4), m3Inv;
    ASSERT_TRUE(m3.inverse(m3Inv));
    EXPECT_TRUE(near(m3Inv * m3, Matrix3d(), 1e-12));
}

TEST(MathMatrix, SingularInverseAnswersFalseAndIdentity) {
    const Matrix singular[] = {scaling(1, 0, 1),
                               Matrix(1, 2, 3, 4, 2, 4, 6, 8, 0, 0, 1, 0, 0, 0, 0, 1)};
    for (const Matrix& m : singular) {
        Matrix inv = translation(1, 1, 1);
        EXPECT_FALSE(m.inverse(inv));
        EXPECT_EQ(inv, Matrix());
        Matrix copy = m;
        EXPECT_FALSE(copy.invert());
        EXPECT_EQ(copy, Matrix());
        EXPECT_FALSE(m.inverse3(inv));
    }
    Matrix3f m3(1, 2, 3, 2, 4, 6, 0, 0, 1), inv3;
    EXPECT_FALSE(m3.inverse(inv3));
    EXPECT_EQ(inv3, Matrix3f());
}

TEST(MathMatrix, TransposeSwapsRowsAndColumns) {
    Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    Matrix t = m;
    t.transpose();
    EXPECT_EQ(t, Matrix(1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16));
    t.transpose();
    EXPECT_EQ(t, m);
    Matrix3f m3(1, 2, 3, 4, 5, 6, 7, 8, 9);
    m3.transpose();
    EXPECT_EQ(m3, Matrix3f(1, 4, 7, 2, 5, 8, 3, 6, 9));
}

TEST(MathMatrix, Matrix3MultipliesLikeTheBigOne) {
    // Quarter turns about z then x, built as 3x3 and compared with the 4x4 product.
    Matrix3f rz(0, -1, 0, 1, 0, 0, 0, 0, 1);
    Matrix3f rx(1, 0, 0, 0, 0, -1, 0, 1, 0);
    Matrix3f prod = rx;
    prod.mult(rz);
    Matrix big = rotation(Vec3f(1, 0, 0), Pi / 2) * rotation(Vec3f(0, 0, 1), Pi / 2);
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r) EXPECT_NEAR(prod[c][r], big[c][r], 1e-6) << c << r;
    Matrix3f left = rz;
    left.multLeft(rx);
    EXPECT_EQ(left, prod);
    EXPECT_EQ(rx * rz, prod);
    Vec3f v(1, 0, 0);
    prod.multMatrixVec(v);
    EXPECT_TRUE(v.equals(Vec3f(0, 0, 1), 1e-6f)) << v;
}

TEST(MathMatrix, EqualityToleranceIsOneMillionth) {
    Matrix a = translation(1, 2, 3), b = a;
    b[3][1] += 5e-7f;
    EXPECT_EQ(a, b);
    b[3][1] += 3e-6f;
    EXPECT_NE(a, b);
    EXPECT_TRUE(a.equals(b, 1e-5f));
}

TEST(MathMatrixFunctions, ExpOfLogGivesMatrixBack) {
    const Matrix cases[] = {
        Matrix(),
        translation(1, -2, 3),
        rotation(Vec3f(0, 0, 1), 1.0f),
        rotation(Vec3f(1, 2, 3), 3.0f),
        scaling(2, 0.5f, 3),
        translation(4, 5, 6) * rotation(Vec3f(1, 0, 1), 2.0f) * scaling(1.5f, 1.5f, 1.5f),
    };
    for (const Matrix& m : cases) {
        Matrix l, back;
        ASSERT_TRUE(l.logOf(m)) << m;
        ASSERT_TRUE(back.expOf(l));
        EXPECT_TRUE(near(back, m, 1e-4));
        Matrix viaConst;
        ASSERT_TRUE(m.log(viaConst));
        EXPECT_EQ(viaConst, l);
        Matrix expConst;
        ASSERT_TRUE(l.exp(expConst));
        EXPECT_EQ(expConst, back);
    }
}

TEST(MathMatrixFunctions, LogOfKnownTransforms) {
    // A turn by a about z is the skew matrix with a off the diagonal.
    Matrix l;
    ASSERT_TRUE(l.logOf(rotation(Vec3f(0, 0, 1), 0.8f)));
    EXPECT_TRUE(near(l, Matrix(0, -0.8f, 0, 0, 0.8f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), 1e-6));
    // A pure translation is its own logarithm, minus the identity.
    ASSERT_TRUE(l.logOf(translation(1, 2, 3)));
    EXPECT_TRUE(near(l, Matrix(0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0), 1e-6));
    ASSERT_TRUE(l.logOf(scaling(2, 2, 2)));
    const float ln2 = std::log(2.f);
    EXPECT_TRUE(near(l, Matrix(ln2, 0, 0, 0, 0, ln2, 0, 0, 0, 0, ln2, 0, 0, 0, 0, 0), 1e-6));

    Matrix zero(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), e;
    ASSERT_TRUE(e.expOf(zero));
    EXPECT_EQ(e, Matrix());

    // Half a turn has no real principal logarithm.
    EXPECT_FALSE(l.logOf(scaling(-1, -1, 1)));
    EXPECT_FALSE(l.logOf(scaling(0, 1, 1)));
}

TEST(MathMatrixFunctions, SqrtSquaredGivesMatrixBack) {
    for (const Matrix& m : sampleMatrices()) {
        if (m.det() <= 0) continue;
        Matrix s;
        ASSERT_TRUE(m.sqrt(s)) << m;
        EXPECT_TRUE(near(s * s, m, 1e-4));
        Matrix of;
        ASSERT_TRUE(of.sqrtOf(m));
        EXPECT_EQ(of, s);
        Matrix inPlace = m;
        ASSERT_TRUE(inPlace.sqrt());
        EXPECT_EQ(inPlace, s);
    }
    // The square root of a turn is half the turn.
    Matrix half;
    ASSERT_TRUE(rotation(Vec3f(1, 1, 1), 2.4f).sqrt(half));
    EXPECT_TRUE(near(half, rotation(Vec3f(1, 1, 1), 1.2f), 1e-5));

    Matrix4d d;
    d.setScale(4, 9, 16);
    Matrix4d ds;
    ASSERT_TRUE(d.sqrt(ds));
    Matrix4d expected;
    expected.setScale(2, 3, 4);
    EXPECT_TRUE(near(ds, expected, 1e-12));

    Matrix bad;
    EXPECT_FALSE(scaling(-4, 1, 1).sqrt(bad));
}

TEST(MathMatrixTransform, GetTransformRecomposesTheMatrix) {
    const struct {
        Vec3f t;
        Quaternion r;
        Vec3f s;
        Quaternion so;
    } cases[] = {
        {Vec3f(1, 2, 3), Quaternion(), Vec3f(1, 1, 1), Quaternion()},
        {Vec3f(0, 0, 0), Quaternion(Vec3f(0, 1, 0), 0.7f), Vec3f(2, 3, 4), Quaternion()},
        {Vec3f(-5, 1, 0), Quaternion(Vec3f(1, 1, 0), 2.0f), Vec3f(0.5f, 1, 3),
         Quaternion(Vec3f(0, 0, 1), 0.4f)},
        {Vec3f(3, 3, 3), Quaternion(Vec3f(1, 2, 3), -1.0f), Vec3f(-1, 2, 2),
         Quaternion(Vec3f(1, 0, 0), 1.1f)},
    };
    for (const auto& c : cases) {
        Matrix m;
        m.setTransform(c.t, c.r, c.s, c.so);

        // The parts in matrix form: T * R * SO * S * SO^-1.
        Matrix rm, som, soInv;
        c.r.getValue(rm);
        c.so.getValue(som);
        c.so.inverse().getValue(soInv);
        Matrix byHand = translation(c.t[0], c.t[1], c.t[2]) * rm * som *
                        scaling(c.s[0], c.s[1], c.s[2]) * soInv;
        EXPECT_TRUE(near(m, byHand, 1e-5));

        Vec3f t, s;
        Quaternion r, so;
        m.getTransform(t, r, s, so);
        Matrix again;
        again.setTransform(t, r, s, so);
        EXPECT_TRUE(near(again, m, 1e-4)) << "t " << t << " s " << s;
        EXPECT_NEAR(s[0] * s[1] * s[2], m.det3(), 1e-3);

        // With a center: the same matrix decomposes to the same recomposition.
        const Vec3f center(1, -1, 2);
        Matrix centered;
        centered.setTransform(c.t, c.r, c.s, c.so, center);
        Matrix byHandCentered =
            translation(c.t[0] + center[0], c.t[1] + center[1], c.t[2] + center[2]) * rm * som *
            scaling(c.s[0], c.s[1], c.s[2]) * soInv *
            translation(-center[0], -center[1], -center[2]);
        EXPECT_TRUE(near(centered, byHandCentered, 1e-5));
        centered.getTransform(t, r, s, so, center);
        again.setTransform(t, r, s, so, center);
        EXPECT_TRUE(near(again, centered, 1e-4));
    }
}

TEST(MathQuaternion, AxisAngleRoundTrip) {
    const struct {
        Vec3f axis;
        float angle;
    } cases[] = {
        {Vec3f(0, 0, 1), 0.5f},  {Vec3f(1, 1, 0), 2.0f},   {Vec3f(0, -1, 0), 3.0f},
        {Vec3f(1, 2, 3), 0.01f}, {Vec3f(0, 0, 5), Pi / 2}, {Vec3f(1, 0, 0), 3.1f},
    };
    for (const auto& c : cases) {
        Quaternion q(c.axis, c.angle);
        EXPECT_NEAR(q.length(), 1, 1e-6);
        Vec3f unit = c.axis;
        unit.normalize();

        float x, y, z, a;
        q.getValueAsAxisRad(x, y, z, a);
        EXPECT_TRUE(Vec3f(x, y, z).equals(unit, 1e-3f)) << Vec3f(x, y, z);
        EXPECT_NEAR(a, c.angle, 1e-3);
        Vec3f axis;
        float angle;
        q.getValueAsAxisDeg(axis, angle);
        EXPECT_NEAR(angle, c.angle * 180 / Pi, 0.05);

        // Quaternion -> matrix -> quaternion gives q or -q.
        Matrix m;
        q.getValue(m);
        Quaternion back(m);
        Quaternion negated;
        negated.setValueAsQuat(-q.x(), -q.y(), -q.z(), -q.w());
        EXPECT_TRUE(back.equals(q, 1e-5f) || back.equals(negated, 1e-5f)) << back << " vs " << q;

        // The quaternion and its matrix turn vectors alike.
        const Vec3f v(0.3f, -1, 2);
        Vec3f byQuat, byMatrix;
        q.multVec(v, byQuat);
        m.multMatrixVec(v, byMatrix);
        EXPECT_TRUE(byQuat.equals(byMatrix, 1e-5f)) << byQuat << " vs " << byMatrix;
        // The axis is left where it is, the length of the vector too.
        Vec3f turnedAxis;
        q.multVec(unit, turnedAxis);
        EXPECT_TRUE(turnedAxis.equals(unit, 1e-5f));
        EXPECT_NEAR(byQuat.length(), v.length(), 1e-5);
    }
}

TEST(MathQuaternion, DegenerateAxisAndMatrixBranches) {
    Quaternion q(Vec3f(0, 0, 0), 1.0f);
    EXPECT_EQ(q, Quaternion());
    Vec3f axis;
    float angle;
    q.getValueAsAxisRad(axis, angle);
    EXPECT_EQ(axis, Vec3f(0, 0, 1));
    EXPECT_EQ(angle, 0.f);

    // Half turns have a trace of -1 and take the largest-diagonal path.
    for (const Vec3f& a : {Vec3f(1, 0, 0), Vec3f(0, 1, 0), Vec3f(0, 0, 1), Vec3f(1, 1, 0)}) {
        Quaternion half(a, Pi);
        Matrix m;
        half.getValue(m);
        Quaternion back(m);
        Vec3f v(1, 2, 3), x1, x2;
        half.multVec(v, x1);
        back.multVec(v, x2);
        EXPECT_TRUE(x1.equals(x2, 1e-5f)) << a;
        EXPECT_LE(std::abs(back.w()), 1.f);
    }
}

TEST(MathQuaternion, MultComposesLikeMatrices) {
    const Quaternion q1(Vec3f(0, 0, 1), Pi / 2), q2(Vec3f(1, 0, 0), Pi / 2);
    Quaternion q = q1;
    q.mult(q2);  // q2 acts first
    Vec3f v(0, 1, 0), viaProduct, stepwise;
    q.multVec(v, viaProduct);
    q2.multVec(v, stepwise);
    q1.multVec(stepwise, stepwise);
    EXPECT_TRUE(viaProduct.equals(stepwise, 1e-6f));
    EXPECT_TRUE(viaProduct.equals(Vec3f(0, 0, 1), 1e-6f)) << viaProduct;

    Matrix m1, m2, m;
    q1.getValue(m1);
    q2.getValue(m2);
    q.getValue(m);
    EXPECT_TRUE(near(m, m1 * m2, 1e-6));

    Quaternion left = q2;
    left.multLeft(q1);
    EXPECT_EQ(left, q);
    EXPECT_EQ(q1 * q2, q);

    // mult normalises.
    Quaternion scaled;
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

    Quaternion inv = q1.inverse();
    inv.mult(q1);
    EXPECT_EQ(inv, Quaternion());
}

TEST(MathQuaternion, FromToSlerpAndScale) {
    const struct {
        Vec3f from, to;
    } cases[] = {
        {Vec3f(1, 0, 0), Vec3f(0, 1, 0)},
        {Vec3f(1, 0, 0), Vec3f(-1, 0, 0)},
        {Vec3f(0, 3, 0), Vec3f(0, 1, 0)},
        {Vec3f(1, 2, 3), Vec3f(-2, 0.5f, 1)},
    };
    for (const auto& c : cases) {
        Quaternion q(c.from, c.to);
        Vec3f f = c.from, t = c.to, turned;
        f.normalize();
        t.normalize();
        q.multVec(f, turned);
        EXPECT_TRUE(turned.equals(t, 1e-5f)) << turned << " vs " << t;
    }

    const Quaternion a(Vec3f(0, 0, 1), 0.f), b(Vec3f(0, 0, 1), 1.f);
    EXPECT_EQ(Quaternion::slerp(a, b, 0), a);
    EXPECT_EQ(Quaternion::slerp(a, b, 1), b);
    EXPECT_TRUE(Quaternion::slerp(a, b, 0.5f).equals(Quaternion(Vec3f(0, 0, 1), 0.5f), 1e-6f));
    // -b is the same rotation; slerp takes the short way to it as well.
    Quaternion minusB;
    minusB.setValueAsQuat(-b.x(), -b.y(), -b.z(), -b.w());
    Quaternion viaMinus;
    viaMinus.slerpThis(a, minusB, 0.5f);
    EXPECT_TRUE(viaMinus.equals(Quaternion(Vec3f(0, 0, 1), 0.5f), 1e-6f));

    Quaternion s(Vec3f(0, 1, 0), 1.0f);
    s.scaleAngle(0.5f);
    EXPECT_TRUE(s.equals(Quaternion(Vec3f(0, 1, 0), 0.5f), 1e-5f));
}

TEST(MathQuaternion, TextForms) {
    Quaternion q;
    q.setValueAsAxisRad("0 2 0 1.5");
    EXPECT_TRUE(q.equals(Quaternion(Vec3f(0, 1, 0), 1.5f), 1e-6f));
    q.setValueAsAxisDeg("0 0 1 90");
    EXPECT_TRUE(q.equals(Quaternion(Vec3f(0, 0, 1), Pi / 2), 1e-6f));
    q.setValueAsAxisRad("1 0 0 nan");
    EXPECT_EQ(q, Quaternion());
    q.setValueAsQuat("1 2");
    EXPECT_EQ(q.x(), 1.f);
    EXPECT_EQ(q.y(), 2.f);
    EXPECT_EQ(q.z(), 0.f);
    EXPECT_EQ(q.w(), 0.f);
    q.setValueAsQuat("");
    EXPECT_EQ(q, Quaternion());
}

}  // namespace
