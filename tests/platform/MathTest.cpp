// The math stand-ins: text, tolerance and geometry of vectors, colours and planes; matrices and
// quaternions: order, inverse, matrix functions, axis/angle-quaternion-matrix round trips.

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "kalvex/platform/osg/Color.h"
#include "kalvex/platform/osg/Matrix.h"
#include "kalvex/platform/osg/Plane.h"
#include "kalvex/platform/osg/Quaternion.h"
#include "kalvex/platform/osg/Vector.h"

using namespace Kalvex::osg;

namespace {

// prec < 0: the stream's defaults; otherwise fixed with that precision.
template <class T>
std::string text(const T& value, int prec = -1) {
    std::ostringstream os;
    if (prec >= 0) os << std::fixed << std::setprecision(prec);
    os << value;
    return os.str();
}

template <class T>
T read(const std::string& in, bool* failed = nullptr, T value = T()) {
    std::istringstream is(in);
    is >> value;
    if (failed) *failed = is.fail();
    return value;
}

TEST(MathText, VectorsColoursAndPlanesWriteTheirFixedForm) {
    std::ostringstream wide;
    wide << std::setw(4) << Vec3f(1, 2, 3);  // a width applies to the first component only
    const Vec4d d(1.0 / 3, -2.0 / 7, 12345.678901234, 0);
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {text(Vec4f(0.1f, 0, -7, 1e6f), 6), "0.100000, 0.000000, -7.000000, 1000000.000000"},
        {text(Vec2d(1e-7, 123456789)), "1e-07, 1.23457e+08"}, {wide.str(), "   1, 2, 3"},
        {text(Color3f(0.5f, 0.25f, 1)), "0.5 0.25 1"}, {text(Color4f(1, 0, 0, 0.5f), 2), "1.00 0.00 0.00 0.50"},
        {text(Plane(Vec3f(0, 0, 2), 5)), "0, 0, 1:5"}, {text(Plane(Vec3f(1, 0, 0), Vec3f(3, 4, 5))), "1, 0, 0:3"},
        {text(Plane(Vec3f(0, 1, 0), -2.5f), 6), "0.000000, 1.000000, 0.000000:-2.500000"},
        {text(read<Vec4d>(text(d, 17)), 17), text(d, 17)},  // read back exactly, not within 1e-6
    };
    // clang-format on
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
}

TEST(MathText, ReadingAndSetValue) {
    bool failed = true;
    for (const char* in : {"1, 2, 3", "1 2 3", "  1,2 ,3.0", "1e0, 2, 3"})
        EXPECT_TRUE(read<Vec3f>(in, &failed) == Vec3f(1, 2, 3) && !failed) << in;
    const Plane kept(Vec3f(0, 1, 0), 3);
    EXPECT_TRUE(read<Plane>("1, 0, 0 4", &failed, kept) == kept && failed)
        << "a plane needs its colon; a failed read keeps the old value";
    // setValue: missing components are zero, extra ones and garbage are dropped.
    // clang-format off
    const std::pair<const char*, Vec3f> cases[] = {
        {"7", Vec3f(7, 0, 0)}, {nullptr, Vec3f(0, 0, 0)}, {"1,\t2\n3 4", Vec3f(1, 2, 3)}, {"x 2 3", Vec3f(0, 2, 3)}};
    // clang-format on
    for (const auto& [in, want] : cases) {
        Vec3f v(9, 9, 9);
        v.setValue(in);
        EXPECT_EQ(v, want) << (in ? in : "null");
    }
}

TEST(MathEquality, ToleranceOrderAndConversions) {
    // `==` compares within 1e-6 per component: values closer than that are one value.
    // clang-format off
    const std::pair<bool, bool> cases[] = {
        {Vec3f(1, 2, 3) == Vec3f(1 + 5e-7f, 2, 3), true}, {Vec3f(1, 2, 3) == Vec3f(1, 2, 3 + 3e-6f), false},
        {Color4f(1, 1, 1, 1) == Color4f(1, 1, 1, 0.99f), false},
        // A plane's distance must match exactly; only its normal has the tolerance.
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(5e-7f, 0, 1), 2), true},
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(0, 0, 1), 2.00000024f), false},
        {Vec3f(1, 2, 3).equals(Vec3f(1.05f, 2, 3), 0.1f), true},
        {Vec3f(1e-6f, -1e-6f, 0).isZero(), true}, {Vec3f(0, 2e-6f, 0).isZero(), false},
        // Lexicographic, strict order; conversions zero missing components and drop extra ones.
        {Vec3f(1, 2, 3) < Vec3f(1, 2, 4) && !(Vec3f(1, 3, 0) < Vec3f(1, 2, 4)) && !(Vec3f(1, 2, 3) < Vec3f(1, 2, 3)), true},
        {Vec4f(Vec2f(1, 2)) == Vec4f(1, 2, 0, 0) && Vec2f(Vec4f(1, 2, 3, 4)) == Vec2f(1, 2), true},
    };
    // clang-format on
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
}

TEST(MathVector, CrossDotLengthAndAngles) {
    // clang-format off
    const struct { Vec3f a, b, cross; float dot; } cases[] = {
        {Vec3f(0, 1, 0), Vec3f(1, 0, 0), Vec3f(0, 0, -1), 0}, {Vec3f(1, 2, 3), Vec3f(4, 5, 6), Vec3f(-3, 6, -3), 32},
    };
    // clang-format on
    for (const auto& c : cases) {
        Vec3f crossed = c.a;
        crossed.crossThis(c.b);
        EXPECT_TRUE(c.a.cross(c.b) == c.cross && c.a % c.b == c.cross && crossed == c.cross);
        EXPECT_FLOAT_EQ(c.a * c.b, c.dot);
    }
    Vec3f v(3, 4, 0), zero, p(2, 3, 4), x(1, 0, 0);
    EXPECT_FLOAT_EQ(v.length(), 5);
    v.normalize();
    zero.normalize();  // too short to have a direction: stays zero, no NaN
    EXPECT_TRUE(v == Vec3f(0.6f, 0.8f, 0) && zero == Vec3f(0, 0, 0)) << v << " " << zero;
    EXPECT_FLOAT_EQ(x.enclosedAngle(Vec3f(0, 5, 0)) + x.enclosedAngle(Vec3f(-2, 0, 0)), 1.5f * Pi);
    EXPECT_EQ(x.enclosedAngle(zero), 0.f);
    EXPECT_TRUE(p.projectTo(Vec3f(0, 2, 0)) == 1.5f && p == Vec3f(0, 3, 0)) << p;
}

TEST(MathPlane, ThroughThreePoints) {
    // clang-format off
    const struct { Vec3f p0, p1, p2, normal; float distance; } cases[] = {
        {Vec3f(0, 0, 5), Vec3f(1, 0, 5), Vec3f(0, 1, 5), Vec3f(0, 0, 1), 5},
        {Vec3f(0, 0, 5), Vec3f(0, 1, 5), Vec3f(1, 0, 5), Vec3f(0, 0, -1), -5},  // reversed: turned over
        {Vec3f(2, 0, 0), Vec3f(0, 2, 0), Vec3f(0, 0, 2), Vec3f(0.57735027f, 0.57735027f, 0.57735027f), 1.1547005f},
    };
    // clang-format on
    for (const auto& c : cases) {
        Plane p(c.p0, c.p1, c.p2);
        EXPECT_TRUE(p.getNormal().equals(c.normal, 1e-6f)) << p;
        EXPECT_NEAR(p.getDistanceFromOrigin(), c.distance, 1e-5) << p;
        for (const Vec3f& q : {c.p0, c.p1, c.p2}) EXPECT_NEAR(p.distance(q), 0, 1e-5) << p;
        EXPECT_NEAR(p.distance(c.p0 + p.getNormal()), 1, 1e-5);
        EXPECT_TRUE(p.isInHalfSpace(c.p0 + p.getNormal()) &&
                    !p.isInHalfSpace(c.p0 - p.getNormal()));
    }
    EXPECT_EQ(Plane(Vec3f(0, 0, 0), Vec3f(1, 1, 1), Vec3f(2, 2, 2)), Plane());  // collinear

    Plane p;  // set keeps the normal as given; offset moves the distance
    p.set(Vec4f(0, 2, 0, 1));
    p.offset(0.5f);
    EXPECT_TRUE(p.getNormal() == Vec3f(0, 2, 0) && p.getDistanceFromOrigin() == 1.5f) << p;
}

template <class M>
::testing::AssertionResult near(const M& a, const M& b, double tol) {
    if (a.equals(b, typename M::ValueType(tol))) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\n" << a << "differs from\n" << b;
}

std::vector<float> stored(const Matrix& m) {
    return {m.getValues(), m.getValues() + 16};
}

Matrix translation(float x, float y, float z) {
    Matrix m;
    m.setTranslate(x, y, z);
    return m;
}
Matrix rotation(const Quaternion& q) {
    Matrix m;
    m.setTransform(q);
    return m;
}
Matrix rotation(Vec3f axis, float angle) {
    return rotation(Quaternion(axis, angle));
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

TEST(MathMatrix, TextAndStorageOrder) {
    Matrix big = translation(1, -2.5f, 30);
    big[0][0] = 12345.678f;
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {text(big), "12345.678    0.000    0.000    1.000 \n   0.000    1.000    0.000   -2.500 \n   0.000    0.000    1.000   30.000 \n   0.000    0.000    0.000    1.000 \n"},  // translation in the last column; wide elements push on
        {text(Matrix3d(1, 2, 3, 4, 5, 6, 7, 8, 9.5)), "   1.000    2.000    3.000 \n   4.000    5.000    6.000 \n   7.000    8.000    9.500 \n"},
        {text(Quaternion()), "       0 0 0 1"}, {text(Quaternion(Vec3f(0, 0, 1), Pi / 2)), "       0 0 0.707 0.707"},
    };
    // clang-format on
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
    // A matrix restores the stream's state; a quaternion leaves its precision of 3.
    std::ostringstream os, qs;
    os << std::scientific << std::setprecision(2) << std::setfill('*') << Matrix() << 1.5;
    EXPECT_TRUE(os.str().ends_with("1.50e+00") && os.fill() == '*') << os.str();
    qs << Quaternion() << " " << 3.14159;
    EXPECT_EQ(qs.str(), "       0 0 0 1 3.14");
    // The constructor takes rows; storage holds columns.
    const Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    const std::vector<float> storage = {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16};
    EXPECT_TRUE(m[3] == Vec4f(4, 8, 12, 16) && stored(m) == storage);
    // clang-format off
    const struct { const char* text; bool storageOrder; std::vector<float> values; } fills[] = {
        {"1,2,3,4\n5,6,7,8\t9 10 11 12 13 14 15 16", false, storage},
        {"1 2 3", true, {1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"", true, stored(Matrix())}, {nullptr, true, stored(Matrix())},
    };
    // clang-format on
    for (const auto& c : fills) {
        Matrix t;
        t.setValue(c.text, c.storageOrder);
        EXPECT_EQ(stored(t), c.values) << (c.text ? c.text : "null");
    }
}

TEST(MathMatrix, MultIsRightHandSideFirst) {
    const Matrix t = translation(1, 2, 3), r = rotation(Vec3f(0, 0, 1), Pi / 2);
    Matrix tr = t, rt = t, composed;
    tr.mult(r);      // T * R: rotate first, then translate
    rt.multLeft(r);  // R * T: translate first, then rotate
    Vec3f p1, p2, v;
    tr.multMatrixPnt(Vec3f(1, 0, 0), p1);
    rt.multMatrixPnt(Vec3f(1, 0, 0), p2);
    tr.multMatrixVec(Vec3f(1, 0, 0), v);  // vectors ignore the translation
    EXPECT_TRUE(p1.equals(Vec3f(1, 3, 3), 1e-6f) && p2.equals(Vec3f(-2, 2, 3), 1e-6f) &&
                v.equals(Vec3f(0, 1, 0), 1e-6f))
        << p1 << " / " << p2 << " / " << v;
    EXPECT_EQ(t * r, tr);
    composed.setTransform(Vec3f(1, 2, 3), Quaternion(Vec3f(0, 0, 1), Pi / 2));
    EXPECT_TRUE(near(composed, tr, 1e-6));
    Matrix w;  // a full point divides by w, and w = 0 gives zero rather than infinities
    Vec3f halved(2, 4, 6), zeroed(2, 4, 6);
    w[3][3] = 2;
    w.multFullMatrixPnt(halved);
    w[3][3] = 0;
    w.multFullMatrixPnt(zeroed);
    EXPECT_TRUE(halved == Vec3f(1, 2, 3) && zeroed == Vec3f(0, 0, 0)) << halved << zeroed;
}

TEST(MathMatrixFunctions, InverseSqrtAndTextRoundTrips) {
    EXPECT_NEAR(Matrix4d(1, 2, 3, 4, 5, 6, 7, 8, 2, 6, 4, 8, 3, 1, 1, 2).det(), 72, 1e-9);
    const Matrix3d m3(2, 0, 1, 1, 3, 2, 1, 1, 4);
    Matrix3d m3Inv;
    EXPECT_TRUE(m3.inverse(m3Inv) && near(m3Inv * m3, Matrix3d(), 1e-12));
    for (const Matrix& m : sampleMatrices()) {
        Matrix inv, copy = m, inv3, s, inPlace = m, back;
        std::istringstream is(text(m));
        ASSERT_TRUE(m.inverse(inv) && copy.invert() && m.inverse3(inv3) && m.sqrt(s) &&
                    inPlace.sqrt())
            << m;
        EXPECT_TRUE(near(inv * m, Matrix(), 1e-5) && near(m * inv, Matrix(), 1e-5)) << inv;
        EXPECT_TRUE(near(s * s, m, 1e-4));
        EXPECT_TRUE(copy == inv && inPlace == s);
        EXPECT_FALSE((is >> back).fail());
        EXPECT_TRUE(near(back, m, 5e-4));
    }
    Matrix inv = translation(1, 1, 1), singular = scaling(1, 0, 1), inv3, half, bad;
    Matrix3f inv33;  // singular: false, and the answer is the identity
    EXPECT_FALSE(singular.inverse(inv) || singular.inverse3(inv3) || singular.invert() ||
                 Matrix3f(1, 2, 3, 2, 4, 6, 0, 0, 1).inverse(inv33));
    EXPECT_TRUE(inv == Matrix() && singular == Matrix() && inv33 == Matrix3f());
    // The principal root of a turn is half the turn; a negative scale has no real root.
    ASSERT_TRUE(rotation(Vec3f(1, 1, 1), 2.4f).sqrt(half));
    EXPECT_TRUE(near(half, rotation(Vec3f(1, 1, 1), 1.2f), 1e-5));
    EXPECT_FALSE(scaling(-4, 1, 1).sqrt(bad));
}

TEST(MathMatrixFunctions, LogExpRoundTrip) {
    for (const Matrix& m :
         {rotation(Vec3f(1, 2, 3), 3.0f), scaling(2, 0.5f, 3),
          translation(4, 5, 6) * rotation(Vec3f(1, 0, 1), 2.0f) * scaling(1.5f, 1.5f, 1.5f)}) {
        Matrix l, back, viaConst;
        ASSERT_TRUE(l.logOf(m) && back.expOf(l) && m.log(viaConst)) << m;
        EXPECT_TRUE(near(back, m, 1e-4));
        EXPECT_EQ(viaConst, l);
    }
    Matrix lr, lt;  // a turn about z has the skew matrix, a translation its own offset
    ASSERT_TRUE(lr.logOf(rotation(Vec3f(0, 0, 1), 0.8f)) && lt.logOf(translation(1, 2, 3)));
    EXPECT_TRUE(near(lr, Matrix(0, -0.8f, 0, 0, 0.8f, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), 1e-6));
    EXPECT_TRUE(near(lt, Matrix(0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0), 1e-6));
    EXPECT_FALSE(lr.logOf(scaling(-1, -1, 1)) || lr.logOf(scaling(0, 1, 1)))
        << "half a turn has no real principal logarithm; nor has a singular matrix";
}

TEST(MathMatrixTransform, GetTransformRecomposesTheMatrix) {
    // clang-format off
    const struct { Vec3f t; Quaternion r; Vec3f s; Quaternion so; } cases[] = {
        {Vec3f(-5, 1, 0), Quaternion(Vec3f(1, 1, 0), 2.0f), Vec3f(0.5f, 1, 3), Quaternion(Vec3f(0, 0, 1), 0.4f)},
        {Vec3f(3, 3, 3), Quaternion(Vec3f(1, 2, 3), -1.0f), Vec3f(-1, 2, 2), Quaternion(Vec3f(1, 0, 0), 1.1f)},
    };
    // clang-format on
    const Vec3f center(1, -1, 2);
    for (const auto& c : cases) {
        Matrix m, again;
        m.setTransform(c.t, c.r, c.s, c.so, center);
        const Vec3f tc = c.t + center;
        const Matrix byHand = translation(tc[0], tc[1], tc[2]) * rotation(c.r) * rotation(c.so) *
                              scaling(c.s[0], c.s[1], c.s[2]) * rotation(c.so.inverse()) *
                              translation(-center[0], -center[1], -center[2]);
        EXPECT_TRUE(near(m, byHand, 1e-5));
        Vec3f t, s;
        Quaternion r, so;
        m.getTransform(t, r, s, so, center);
        again.setTransform(t, r, s, so, center);
        EXPECT_TRUE(near(again, m, 1e-4)) << "t " << t << " s " << s;
    }
}

TEST(MathQuaternion, AxisAngleMatrixRoundTrip) {
    // clang-format off
    const std::pair<Vec3f, float> cases[] = {
        {Vec3f(1, 1, 0), 2.0f}, {Vec3f(0, -1, 0), 3.0f}, {Vec3f(1, 2, 3), 0.01f},
        {Vec3f(1, 0, 0), Pi}, {Vec3f(0, 1, 0), Pi}, {Vec3f(0, 0, 1), Pi}};  // half turns: largest-diagonal branch
    // clang-format on
    for (const auto& [axisIn, angleIn] : cases) {
        const Quaternion q(axisIn, angleIn);
        const Vec3f v(0.3f, -1, 2);
        Vec3f unit = axisIn, axis, byQuat, byMatrix, byBack;
        float angle;
        unit.normalize();
        q.getValueAsAxisRad(axis, angle);
        EXPECT_TRUE(axis.equals(unit, 1e-3f)) << axis;
        EXPECT_NEAR(angle, angleIn, 1e-3);
        // Quaternion -> matrix -> quaternion turns vectors like q and its matrix.
        Matrix m;
        q.getValue(m);
        q.multVec(v, byQuat);
        m.multMatrixVec(v, byMatrix);
        Quaternion(m).multVec(v, byBack);
        EXPECT_TRUE(byQuat.equals(byMatrix, 1e-5f) && byBack.equals(byQuat, 1e-5f)) << byQuat;
    }
    // A zero axis gives the identity, read back as angle 0 about z.
    Vec3f axis;
    float angle;
    Quaternion(Vec3f(0, 0, 0), 1.0f).getValueAsAxisRad(axis, angle);
    EXPECT_TRUE(axis == Vec3f(0, 0, 1) && angle == 0.f) << axis << " " << angle;
}

TEST(MathQuaternion, MultFromToSlerpAndText) {
    const Quaternion q1(Vec3f(0, 0, 1), Pi / 2), q2(Vec3f(1, 0, 0), Pi / 2);
    Quaternion q = q1, left = q2;
    q.mult(q2);  // q2 acts first, as with matrices
    left.multLeft(q1);
    EXPECT_TRUE(near(rotation(q), rotation(q1) * rotation(q2), 1e-6));
    EXPECT_EQ(left, q);
    for (const auto& [from, to] : {std::pair{Vec3f(1, 0, 0), Vec3f(-1, 0, 0)},
                                   std::pair{Vec3f(1, 2, 3), Vec3f(-2, 0.5f, 1)}}) {
        Vec3f f = from, t = to, turned;
        f.normalize();
        t.normalize();
        Quaternion(from, to).multVec(f, turned);
        EXPECT_TRUE(turned.equals(t, 1e-5f)) << turned << " vs " << t;
    }
    const Quaternion a, b(Vec3f(0, 0, 1), 1.f), mid(Vec3f(0, 0, 1), 0.5f);
    Quaternion minusB, viaMinus, parsed;
    minusB.setValueAsQuat(-b.x(), -b.y(), -b.z(), -b.w());
    viaMinus.slerpThis(a, minusB, 0.5f);  // -b is the same rotation: still the short way
    EXPECT_TRUE(Quaternion::slerp(a, b, 0.5f).equals(mid, 1e-6f) && viaMinus.equals(mid, 1e-6f));
    parsed.setValueAsAxisDeg("0 0 1 90");
    EXPECT_TRUE(parsed.equals(Quaternion(Vec3f(0, 0, 1), Pi / 2), 1e-6f));
    parsed.setValueAsAxisRad("1 0 0 nan");
    EXPECT_EQ(parsed, Quaternion());
}

}  // namespace
