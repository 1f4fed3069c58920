// Vectors, colours and planes: their text (field output builds on it), tolerance and geometry.

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>

#include "platform/osg/Color.h"
#include "platform/osg/Plane.h"
#include "platform/osg/Vector.h"

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
    Plane set;
    set.set(0, 1, 0, -2.5f);
    std::ostringstream wide;
    wide << std::setw(4) << Vec3f(1, 2, 3);  // a width applies to the first component only
    const std::pair<std::string, const char*> cases[] = {
        {text(Vec3f(1, 2, 3)), "1, 2, 3"},
        {text(Vec3f(1, 2, 3), 6), "1.000000, 2.000000, 3.000000"},
        {text(Vec2f(0.5f, -1.25f)), "0.5, -1.25"},
        {text(Vec4f(0.1f, 0, -7, 1e6f), 6), "0.100000, 0.000000, -7.000000, 1000000.000000"},
        {text(Vec3d(1.0 / 3, 0, -2), 12), "0.333333333333, 0.000000000000, -2.000000000000"},
        {text(Vec2d(1e-7, 123456789)), "1e-07, 1.23457e+08"},
        {wide.str(), "   1, 2, 3"},
        {text(Color3f(0.5f, 0.25f, 1)), "0.5 0.25 1"},
        {text(Color4f(1, 0, 0, 0.5f), 2), "1.00 0.00 0.00 0.50"},
        {text(Plane(Vec3f(0, 0, 2), 5)), "0, 0, 1:5"},
        {text(Plane(Vec3f(1, 0, 0), Vec3f(3, 4, 5))), "1, 0, 0:3"},
        {text(set, 6), "0.000000, 1.000000, 0.000000:-2.500000"},
        {text(Plane()), "0, 0, 0:0"},
    };
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
}

TEST(MathText, ReadingAndSetValue) {
    for (const char* in : {"1, 2, 3", "1 2 3", "  1,2 ,3.0", "1e0, 2, 3"}) {
        bool failed = true;
        EXPECT_EQ(read<Vec3f>(in, &failed), Vec3f(1, 2, 3)) << in;
        EXPECT_FALSE(failed) << in;
    }
    // A plane needs its colon; a failed read keeps the old value.
    bool failed = false;
    const Plane kept(Vec3f(0, 1, 0), 3);
    EXPECT_EQ(read<Plane>("1, 0, 0 4", &failed, kept), kept);
    EXPECT_TRUE(failed);

    // setValue: missing components are zero, extra ones and garbage are dropped.
    const std::pair<const char*, Vec3f> cases[] = {
        {"7", Vec3f(7, 0, 0)},          {"", Vec3f(0, 0, 0)},      {nullptr, Vec3f(0, 0, 0)},
        {"1,\t2\n3 4", Vec3f(1, 2, 3)}, {"x 2 3", Vec3f(0, 2, 3)},
    };
    for (const auto& [in, want] : cases) {
        Vec3f v(9, 9, 9);
        v.setValue(in);
        EXPECT_EQ(v, want) << (in ? in : "null");
    }
}

TEST(MathText, StreamRoundTripsAtFullPrecision) {
    std::ostringstream vs, cs, ps;
    const Vec4d v(1.0 / 3, -2e-9, 12345.678901234, 0);
    const Color4f c(0.1f, 0.2f, 0.3f, 0.4f);
    const Plane p(Vec3f(1, 2, 2), 0.7f);
    vs << std::setprecision(17) << v;
    cs << std::setprecision(9) << c;
    ps << std::setprecision(9) << p;
    const Vec4d vb = read<Vec4d>(vs.str());
    const Color4f cb = read<Color4f>(cs.str());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(vb[i], v[i]) << vs.str();  // exact, not within 1e-6
    for (int i = 0; i < 4; ++i) EXPECT_EQ(cb[i], c[i]) << cs.str();
    EXPECT_TRUE(read<Plane>(ps.str()) == p) << ps.str();
}

// `==` compares within 1e-6 per component: values closer than that are one value.
TEST(MathEquality, ToleranceIsOneMillionth) {
    const std::pair<bool, bool> cases[] = {
        {Vec3f(1, 2, 3) == Vec3f(1 + 5e-7f, 2, 3), true},
        {Vec3f(1, 2, 3) == Vec3f(1, 2, 3 + 3e-6f), false},
        {Vec3f(1, 2, 3) == Vec3f(1, 2 - 3e-6f, 3), false},
        {Vec2d(1, 2) == Vec2d(1 + 9e-7, 2), true},
        {Vec2d(1, 2) == Vec2d(1, 2 + 1.1e-6), false},
        {Vec4f(0, 0, 0, 1) != Vec4f(0, 0, 0, 1.1f), true},
        {Color3f(0.5f, 0.5f, 0.5f) == Color3f(0.5f, 0.5f + 5e-7f, 0.5f), true},
        {Color4f(1, 1, 1, 1) == Color4f(1, 1, 1, 0.99f), false},
        // A plane's distance must match exactly; only its normal has the tolerance.
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(5e-7f, 0, 1), 2), true},
        {Plane(Vec3f(0, 0, 1), 2) == Plane(Vec3f(0, 0, 1), 2.00000024f), false},
        {Vec3f(1, 2, 3).equals(Vec3f(1.05f, 2, 3), 0.1f), true},
        {Vec3f(1, 2, 3).equals(Vec3f(1.2f, 2, 3), 0.1f), false},
        {Vec3f(1e-6f, -1e-6f, 0).isZero(), true},
        {Vec3f(0, 2e-6f, 0).isZero(), false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
}

TEST(MathVector, LayoutAndConversions) {
    static_assert(sizeof(Vec3f) == 3 * sizeof(float) && sizeof(Color4f) == 4 * sizeof(float));
    Vec3f arr[2] = {Vec3f(1, 2, 3), Vec3f(4, 5, 6)};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(arr[0].getValues()[i], float(i + 1));

    // Missing components are zero, extra ones dropped; setValue from a smaller vector keeps
    // the rest.
    EXPECT_EQ(Vec4f(Vec2f(1, 2)), Vec4f(1, 2, 0, 0));
    EXPECT_EQ(Vec2f(Vec4f(1, 2, 3, 4)), Vec2f(1, 2));
    EXPECT_EQ(Vec3f(1, 2, 3, 4), Vec3f(1, 2, 3));
    Vec4f column(9, 9, 9, 1);
    column.setValue(Vec3f(1, 2, 3));
    EXPECT_EQ(column, Vec4f(1, 2, 3, 1));

    // Lexicographic order, strict.
    EXPECT_TRUE(Vec3f(1, 2, 3) < Vec3f(1, 2, 4));
    EXPECT_FALSE(Vec3f(1, 3, 0) < Vec3f(1, 2, 4) || Vec3f(1, 2, 3) < Vec3f(1, 2, 3));
}

TEST(MathVector, CrossDotLengthAndAngles) {
    const struct {
        Vec3f a, b, cross;
        float dot;
    } cases[] = {
        {Vec3f(1, 0, 0), Vec3f(0, 1, 0), Vec3f(0, 0, 1), 0},
        {Vec3f(0, 1, 0), Vec3f(1, 0, 0), Vec3f(0, 0, -1), 0},
        {Vec3f(1, 2, 3), Vec3f(4, 5, 6), Vec3f(-3, 6, -3), 32},
        {Vec3f(2, 2, 2), Vec3f(1, 1, 1), Vec3f(0, 0, 0), 6},
    };
    for (const auto& c : cases) {
        Vec3f crossed = c.a;
        crossed.crossThis(c.b);
        EXPECT_TRUE(c.a.cross(c.b) == c.cross && c.a % c.b == c.cross && crossed == c.cross);
        EXPECT_FLOAT_EQ(c.a * c.b, c.dot);
    }
    Vec3f v(3, 4, 0), zero;
    EXPECT_FLOAT_EQ(v.length(), 5);
    v.normalize();
    EXPECT_EQ(v, Vec3f(0.6f, 0.8f, 0));
    zero.normalize();  // too short to have a direction: stays zero, no NaN
    EXPECT_EQ(zero, Vec3f(0, 0, 0));
    const Vec3f x(1, 0, 0);
    EXPECT_FLOAT_EQ(x.enclosedAngle(Vec3f(0, 5, 0)) + x.enclosedAngle(Vec3f(-2, 0, 0)), 1.5f * Pi);
    EXPECT_FLOAT_EQ(x.enclosedAngle(Vec3f(0, 0, 0)), 0);
    Vec3f p(2, 3, 4);
    EXPECT_FLOAT_EQ(p.projectTo(Vec3f(0, 2, 0)), 1.5f);
    EXPECT_EQ(p, Vec3f(0, 3, 0));
}

TEST(MathPlane, ThroughThreePoints) {
    const float r3 = 1.f / std::sqrt(3.f);
    const struct {
        Vec3f p0, p1, p2, normal;
        float distance;
    } cases[] = {
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
        for (const Vec3f& q : {c.p0, c.p1, c.p2}) EXPECT_NEAR(p.distance(q), 0, 1e-5) << p;
        EXPECT_NEAR(p.distance(c.p0 + p.getNormal()), 1, 1e-5);
        EXPECT_TRUE(p.isInHalfSpace(c.p0 + p.getNormal()));
        EXPECT_FALSE(p.isInHalfSpace(c.p0 - p.getNormal()));
    }
    EXPECT_EQ(Plane(Vec3f(0, 0, 0), Vec3f(1, 1, 1), Vec3f(2, 2, 2)), Plane());  // collinear

    // set keeps the normal as given; offset moves the distance.
    Plane p;
    p.set(Vec4f(0, 2, 0, 1));
    EXPECT_EQ(p.getNormal(), Vec3f(0, 2, 0));
    p.offset(0.5f);
    EXPECT_FLOAT_EQ(p.getDistanceFromOrigin(), 1.5f);
    EXPECT_NE(p, Plane(Vec3f(0, 2, 0), 1.5f));  // that one is normalised
}

}  // namespace
