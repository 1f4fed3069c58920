// Vectors, colours and planes: their text (field output builds on it), tolerance and geometry.

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

#include "kalvex/platform/osg/Color.h"
#include "kalvex/platform/osg/Plane.h"
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
    const Color4f c(0.1f, 0.2f, 0.3f, 0.4f);
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {text(Vec4f(0.1f, 0, -7, 1e6f), 6), "0.100000, 0.000000, -7.000000, 1000000.000000"},
        {text(Vec2d(1e-7, 123456789)), "1e-07, 1.23457e+08"},
        {wide.str(), "   1, 2, 3"},
        {text(Color3f(0.5f, 0.25f, 1)), "0.5 0.25 1"},
        {text(Color4f(1, 0, 0, 0.5f), 2), "1.00 0.00 0.00 0.50"},
        {text(Plane(Vec3f(0, 0, 2), 5)), "0, 0, 1:5"},
        {text(Plane(Vec3f(1, 0, 0), Vec3f(3, 4, 5))), "1, 0, 0:3"},
        {text(Plane(Vec3f(0, 1, 0), -2.5f), 6), "0.000000, 1.000000, 0.000000:-2.500000"},
        // Enough digits read back exactly, not merely within 1e-6.
        {text(read<Vec4d>(text(d, 17)), 17), text(d, 17)},
        {text(read<Color4f>(text(c, 9)), 9), text(c, 9)},
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
        {Vec3f(1, 2, 3) == Vec3f(1 + 5e-7f, 2, 3), true},
        {Vec3f(1, 2, 3) == Vec3f(1, 2, 3 + 3e-6f), false},
        {Vec2d(1, 2) == Vec2d(1, 2 + 1.1e-6), false},
        {Color4f(1, 1, 1, 1) == Color4f(1, 1, 1, 0.99f), false},
        // A plane's distance must match exactly; only its normal has the tolerance.
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(5e-7f, 0, 1), 2), true},
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(0, 0, 1), 2.00000024f), false},
        {Vec3f(1, 2, 3).equals(Vec3f(1.05f, 2, 3), 0.1f), true},
        {Vec3f(1e-6f, -1e-6f, 0).isZero(), true},
        {Vec3f(0, 2e-6f, 0).isZero(), false},
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
        {Vec3f(1, 0, 0), Vec3f(0, 1, 0), Vec3f(0, 0, 1), 0},
        {Vec3f(0, 1, 0), Vec3f(1, 0, 0), Vec3f(0, 0, -1), 0},
        {Vec3f(1, 2, 3), Vec3f(4, 5, 6), Vec3f(-3, 6, -3), 32},
        {Vec3f(2, 2, 2), Vec3f(1, 1, 1), Vec3f(0, 0, 0), 6},
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
        {Vec3f(1, -1, 3), Vec3f(4, 0, 3), Vec3f(2, 7, 3), Vec3f(0, 0, 1), 3},
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

}  // namespace
