// Vectors, colours and planes: the text they write (which field output is built on), the
// tolerance of their comparison and the geometry behind them.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iomanip>
#include <sstream>
#include <string>

#include "platform/osg/Color.h"
#include "platform/osg/Plane.h"
#include "platform/osg/Vector.h"

using namespace Kalvex::osg;

namespace {

template <class T>
std::string text(const T& value, const std::function<void(std::ostream&)>& setup = {}) {
    std::ostringstream os;
    if (setup) setup(os);
    os << value;
    return os.str();
}

void fixed6(std::ostream& os) {
    os << std::fixed << std::setprecision(6);
}
void fixed12(std::ostream& os) {
    os << std::fixed << std::setprecision(12);
}

struct TextCase {
    std::string name;
    std::function<std::string()> write;
    std::string expected;
};

TEST(MathText, VectorsColoursAndPlanesWriteTheirFixedForm) {
    const TextCase cases[] = {
        {"Vec3f default", [] { return text(Vec3f(1, 2, 3)); }, "1, 2, 3"},
        {"Vec3f fixed 6", [] { return text(Vec3f(1, 2, 3), fixed6); },
         "1.000000, 2.000000, 3.000000"},
        {"Vec2f default", [] { return text(Vec2f(0.5f, -1.25f)); }, "0.5, -1.25"},
        {"Vec4f default", [] { return text(Vec4f(0.1f, 0.2f, 0.3f, 0.4f)); }, "0.1, 0.2, 0.3, 0.4"},
        {"Vec4f fixed 6", [] { return text(Vec4f(0.1f, 0, -7, 1e6f), fixed6); },
         "0.100000, 0.000000, -7.000000, 1000000.000000"},
        {"Vec3d fixed 12", [] { return text(Vec3d(1.0 / 3, 0, -2), fixed12); },
         "0.333333333333, 0.000000000000, -2.000000000000"},
        {"Vec2d default", [] { return text(Vec2d(1e-7, 123456789)); }, "1e-07, 1.23457e+08"},
        // A width applies to the first component only, as with any stream insertion.
        {"Vec3f width",
         [] { return text(Vec3f(1, 2, 3), [](std::ostream& os) { os << std::setw(4); }); },
         "   1, 2, 3"},
        {"Color3f", [] { return text(Color3f(0.5f, 0.25f, 1)); }, "0.5 0.25 1"},
        {"Color4f", [] { return text(Color4f(1, 0, 0, 0.5f)); }, "1 0 0 0.5"},
        {"Color4f fixed 2",
         [] {
             return text(Color4f(1, 0, 0, 0.5f),
                         [](std::ostream& os) { os << std::fixed << std::setprecision(2); });
         },
         "1.00 0.00 0.00 0.50"},
        {"Plane normalised", [] { return text(Plane(Vec3f(0, 0, 2), 5)); }, "0, 0, 1:5"},
        {"Plane through point", [] { return text(Plane(Vec3f(1, 0, 0), Vec3f(3, 4, 5))); },
         "1, 0, 0:3"},
        {"Plane fixed 6",
         [] {
             Plane p;
             p.set(0, 1, 0, -2.5f);
             return text(p, fixed6);
         },
         "0.000000, 1.000000, 0.000000:-2.500000"},
        {"Plane default", [] { return text(Plane()); }, "0, 0, 0:0"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.write(), c.expected) << c.name;
}

TEST(MathText, VectorsReadBothCommaAndBlankForms) {
    const struct {
        const char* in;
        Vec3f expected;
    } cases[] = {
        {"1, 2, 3", Vec3f(1, 2, 3)},
        {"1 2 3", Vec3f(1, 2, 3)},
        {"  -4,5 ,6.5", Vec3f(-4, 5, 6.5f)},
        {"1e3, 0.25, -0", Vec3f(1000, 0.25f, 0)},
    };
    for (const auto& c : cases) {
        std::istringstream is(c.in);
        Vec3f v;
        is >> v;
        EXPECT_FALSE(is.fail()) << c.in;
        EXPECT_EQ(v, c.expected) << c.in;
    }
}

TEST(MathText, StreamRoundTripsAtFullPrecision) {
    const Vec4d v(1.0 / 3, -2e-9, 12345.678901234, 0);
    std::ostringstream os;
    os << std::setprecision(17) << v;
    Vec4d back;
    std::istringstream(os.str()) >> back;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(back[i], v[i]) << os.str();

    const Color4f c(0.1f, 0.2f, 0.3f, 0.4f);
    std::ostringstream cs;
    cs << std::setprecision(9) << c;
    Color4f cback;
    std::istringstream(cs.str()) >> cback;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(cback[i], c[i]) << cs.str();

    Plane p(Vec3f(1, 2, 2), 0.7f);
    std::ostringstream ps;
    ps << std::setprecision(9) << p;
    Plane pback;
    std::istringstream in(ps.str());
    in >> pback;
    EXPECT_FALSE(in.fail());
    EXPECT_TRUE(pback == p) << ps.str();
}

TEST(MathText, PlaneWithoutColonFailsAndKeepsValue) {
    Plane p(Vec3f(0, 1, 0), 3);
    std::istringstream is("1, 0, 0 4");
    is >> p;
    EXPECT_TRUE(is.fail());
    EXPECT_EQ(p, Plane(Vec3f(0, 1, 0), 3));
}

TEST(MathText, VectorSetValueFromText) {
    const struct {
        const char* in;
        Vec3f expected;
    } cases[] = {
        {"1 2 3", Vec3f(1, 2, 3)}, {"7", Vec3f(7, 0, 0)},          {"", Vec3f(0, 0, 0)},
        {nullptr, Vec3f(0, 0, 0)}, {"1,\t2\n3 4", Vec3f(1, 2, 3)}, {"x 2 3", Vec3f(0, 2, 3)},
    };
    for (const auto& c : cases) {
        Vec3f v(9, 9, 9);
        v.setValue(c.in);
        EXPECT_EQ(v, c.expected) << (c.in ? c.in : "null");
    }
    Color3f col(1, 1, 1);
    col.setValue("0.5 0.25");
    EXPECT_EQ(col, Color3f(0.5f, 0.25f, 0));
}

// `==` compares within 1e-6 per component: values closer than that are one value.
TEST(MathEquality, ToleranceIsOneMillionth) {
    const struct {
        const char* name;
        bool equal;
        bool expected;
    } cases[] = {
        {"Vec3f +5e-7", Vec3f(1, 2, 3) == Vec3f(1 + 5e-7f, 2, 3), true},
        {"Vec3f +3e-6", Vec3f(1, 2, 3) == Vec3f(1, 2, 3 + 3e-6f), false},
        {"Vec3f -3e-6", Vec3f(1, 2, 3) == Vec3f(1, 2 - 3e-6f, 3), false},
        {"Vec2d +9e-7", Vec2d(1, 2) == Vec2d(1 + 9e-7, 2), true},
        {"Vec2d +1.1e-6", Vec2d(1, 2) == Vec2d(1, 2 + 1.1e-6), false},
        {"Vec4f !=", Vec4f(0, 0, 0, 1) != Vec4f(0, 0, 0, 1.1f), true},
        {"Color3f +5e-7", Color3f(0.5f, 0.5f, 0.5f) == Color3f(0.5f, 0.5f + 5e-7f, 0.5f), true},
        {"Color4f alpha", Color4f(1, 1, 1, 1) == Color4f(1, 1, 1, 0.99f), false},
        // A plane's distance must match exactly; only its normal has the tolerance.
        {"Plane normal +5e-7", Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(5e-7f, 0, 1), 2), true},
        {"Plane distance +2.4e-7", Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(0, 0, 1), 2.00000024f),
         false},
    };
    for (const auto& c : cases) EXPECT_EQ(c.equal, c.expected) << c.name;

    EXPECT_TRUE(Vec3f(1, 2, 3).equals(Vec3f(1.05f, 2, 3), 0.1f));
    EXPECT_FALSE(Vec3f(1, 2, 3).equals(Vec3f(1.2f, 2, 3), 0.1f));
    EXPECT_TRUE(Vec3f(1e-6f, -1e-6f, 0).isZero());
    EXPECT_FALSE(Vec3f(0, 2e-6f, 0).isZero());
}

TEST(MathVector, LayoutIsPlainComponents) {
    static_assert(sizeof(Vec3f) == 3 * sizeof(float));
    static_assert(sizeof(Vec4d) == 4 * sizeof(double));
    static_assert(sizeof(Color3f) == 3 * sizeof(float));
    static_assert(sizeof(Color4f) == 4 * sizeof(float));
    Vec3f arr[2] = {Vec3f(1, 2, 3), Vec3f(4, 5, 6)};
    const float* raw = arr[0].getValues();
    for (int i = 0; i < 6; ++i) EXPECT_EQ(raw[i], float(i + 1));
    Color4f c(1, 2, 3, 4);
    EXPECT_EQ(c.getValuesRGBA()[3], 4.f);
    EXPECT_EQ(&c[0], c.getValuesRGBA());
}

TEST(MathVector, CrossAndDotAreRightHanded) {
    const struct {
        Vec3f a, b, cross;
        float dot;
    } cases[] = {
        {Vec3f(1, 0, 0), Vec3f(0, 1, 0), Vec3f(0, 0, 1), 0},
        {Vec3f(0, 1, 0), Vec3f(0, 0, 1), Vec3f(1, 0, 0), 0},
        {Vec3f(0, 1, 0), Vec3f(1, 0, 0), Vec3f(0, 0, -1), 0},
        {Vec3f(1, 2, 3), Vec3f(4, 5, 6), Vec3f(-3, 6, -3), 32},
        {Vec3f(2, 2, 2), Vec3f(1, 1, 1), Vec3f(0, 0, 0), 6},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.a.cross(c.b), c.cross);
        EXPECT_EQ(c.a % c.b, c.cross);
        EXPECT_FLOAT_EQ(c.a.dot(c.b), c.dot);
        EXPECT_FLOAT_EQ(c.a * c.b, c.dot);
        // The cross product is perpendicular to both factors.
        EXPECT_NEAR(c.cross.dot(c.a), 0, 1e-5);
        EXPECT_NEAR(c.cross.dot(c.b), 0, 1e-5);
        Vec3f crossed = c.a;
        crossed.crossThis(c.b);
        EXPECT_EQ(crossed, c.cross);
    }
}

TEST(MathVector, LengthNormalizeAndAngles) {
    Vec3f v(3, 4, 0);
    EXPECT_FLOAT_EQ(v.length(), 5);
    EXPECT_FLOAT_EQ(v.squareLength(), 25);
    v.normalize();
    EXPECT_EQ(v, Vec3f(0.6f, 0.8f, 0));

    Vec3f zero;
    zero.normalize();  // too short to have a direction: stays zero, no NaN
    EXPECT_EQ(zero, Vec3f(0, 0, 0));

    EXPECT_FLOAT_EQ(Vec3f(1, 0, 0).enclosedAngle(Vec3f(0, 5, 0)), Pi / 2);
    EXPECT_FLOAT_EQ(Vec3f(1, 0, 0).enclosedAngle(Vec3f(-2, 0, 0)), Pi);
    EXPECT_FLOAT_EQ(Vec3f(1, 0, 0).enclosedAngle(Vec3f(0, 0, 0)), 0);

    Vec3f p(2, 3, 4);
    EXPECT_FLOAT_EQ(p.projectTo(Vec3f(0, 2, 0)), 1.5f);
    EXPECT_EQ(p, Vec3f(0, 3, 0));
    EXPECT_FLOAT_EQ(Vec3f(1, 1, 1).dist(Vec3f(1, 4, 5)), 5);
}

TEST(MathVector, ArithmeticAndConversion) {
    const Vec3f a(1, 2, 3), b(4, 5, 6);
    EXPECT_EQ(a + b, Vec3f(5, 7, 9));
    EXPECT_EQ(b - a, Vec3f(3, 3, 3));
    EXPECT_EQ(a * 2.f, Vec3f(2, 4, 6));
    EXPECT_EQ(2.f * a, Vec3f(2, 4, 6));
    EXPECT_EQ(-a, Vec3f(-1, -2, -3));
    EXPECT_EQ(a.x() + a.y() + a.z(), 6.f);
    EXPECT_EQ(Vec4f(1, 2, 3, 4).w(), 4.f);

    // Missing components are zero, extra ones dropped.
    EXPECT_EQ(Vec4f(Vec2f(1, 2)), Vec4f(1, 2, 0, 0));
    EXPECT_EQ(Vec2f(Vec4f(1, 2, 3, 4)), Vec2f(1, 2));
    EXPECT_EQ(Vec3d(Vec3f(0.5f, 1, 2)), Vec3d(0.5, 1, 2));
    EXPECT_EQ(Vec3f(1, 2, 3, 4), Vec3f(1, 2, 3));
    EXPECT_EQ(Vec4f(1, 2), Vec4f(1, 2, 0, 0));

    // setValue from a smaller vector leaves the rest alone.
    Vec4f column(9, 9, 9, 1);
    column.setValue(Vec3f(1, 2, 3));
    EXPECT_EQ(column, Vec4f(1, 2, 3, 1));

    EXPECT_TRUE(Vec3f(1, 2, 3) < Vec3f(1, 2, 4));
    EXPECT_FALSE(Vec3f(1, 3, 0) < Vec3f(1, 2, 4));
    EXPECT_FALSE(Vec3f(1, 2, 3) < Vec3f(1, 2, 3));

    Color3f c(0.5f, 0.5f, 0.5f);
    EXPECT_EQ(c * Color3f(1, 0, 2), Color3f(0.5f, 0, 1));
    EXPECT_EQ(c + 0.25f, Color3f(0.75f, 0.75f, 0.75f));
}

TEST(MathPlane, ThroughThreePoints) {
    const float r3 = 1.f / std::sqrt(3.f);
    const struct {
        Vec3f p0, p1, p2, normal;
        float distance;
    } cases[] = {
        {Vec3f(0, 0, 0), Vec3f(1, 0, 0), Vec3f(0, 1, 0), Vec3f(0, 0, 1), 0},
        {Vec3f(0, 0, 5), Vec3f(1, 0, 5), Vec3f(0, 1, 5), Vec3f(0, 0, 1), 5},
        // Reversed order turns the plane over.
        {Vec3f(0, 0, 5), Vec3f(0, 1, 5), Vec3f(1, 0, 5), Vec3f(0, 0, -1), -5},
        {Vec3f(2, 0, 0), Vec3f(0, 2, 0), Vec3f(0, 0, 2), Vec3f(r3, r3, r3), 2 * r3},
        {Vec3f(1, -1, 3), Vec3f(4, 0, 3), Vec3f(2, 7, 3), Vec3f(0, 0, 1), 3},
    };
    for (const auto& c : cases) {
        Plane p(c.p0, c.p1, c.p2);
        EXPECT_TRUE(p.getNormal().equals(c.normal, 1e-6f)) << p;
        EXPECT_NEAR(p.getDistanceFromOrigin(), c.distance, 1e-5) << p;
        EXPECT_NEAR(p.getNormal().length(), 1, 1e-6);
        for (const Vec3f& q : {c.p0, c.p1, c.p2}) EXPECT_NEAR(p.distance(q), 0, 1e-5) << p;
        // One unit along the normal is one unit above the plane.
        EXPECT_NEAR(p.distance(c.p0 + p.getNormal()), 1, 1e-5);
        EXPECT_TRUE(p.isInHalfSpace(c.p0 + p.getNormal()));
        EXPECT_FALSE(p.isInHalfSpace(c.p0 - p.getNormal()));
        // The same plane by normal and point.
        EXPECT_NEAR(Plane(p.getNormal(), c.p1).getDistanceFromOrigin(), c.distance, 1e-5);
    }

    Plane collinear(Vec3f(0, 0, 0), Vec3f(1, 1, 1), Vec3f(2, 2, 2));
    EXPECT_EQ(collinear, Plane());
}

TEST(MathPlane, SetKeepsNormalAsGivenAndOffsetMoves) {
    Plane p;
    p.set(Vec4f(0, 2, 0, 1));
    EXPECT_EQ(p.getNormal(), Vec3f(0, 2, 0));
    EXPECT_FLOAT_EQ(p.distance(Vec3f(0, 1, 0)), 1);
    p.offset(0.5f);
    EXPECT_FLOAT_EQ(p.getDistanceFromOrigin(), 1.5f);
    EXPECT_NE(p, Plane(Vec3f(0, 2, 0), 1.5f));  // that one is normalised
}

}  // namespace
