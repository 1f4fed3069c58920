// Rotation: the two forms, which one is current, the conversions between them and comparison.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "kalvex/fields/Rotation.h"
#include "kalvex/platform/osg/Quaternion.h"
#include "kalvex/platform/osg/Vector.h"

using Kalvex::Rotation;
namespace osg = Kalvex::osg;

namespace {

TEST(Rotation, StateFollowsTheFormLastSetAndTheFormLastComputed) {
    Rotation r;
    EXPECT_EQ(r.state(), Rotation::AxisCurrent);
    r.setQuat(osg::Quaternion(osg::Vec3f(1, 0, 0), 0.5f));
    EXPECT_EQ(r.state(), Rotation::QuatCurrent);
    Rotation copy = r;  // carries the state along, but its cache is its own
    float x, y, z, a;
    copy.getAxisAngle(x, y, z, a);
    EXPECT_EQ(copy.state(), Rotation::BothCurrent);
    EXPECT_EQ(r.state(), Rotation::QuatCurrent);
    EXPECT_NEAR(x, 1, 1e-6);
    EXPECT_NEAR(a, 0.5, 1e-5);
    // The stored axis is kept as given although the quaternion uses it normalised, and an
    // update of a value whose other form is not stale touches nothing.
    r.setAxisAngle(0, 0, 2, float(M_PI));
    r.updateAxis();
    r.updateAxisInline();
    EXPECT_NEAR(r.getQuat().z(), 1, 1e-6);
    EXPECT_NEAR(r.getQuat().w(), 0, 1e-6);
    EXPECT_EQ(r.state(), Rotation::BothCurrent);
    r.getAxisAngle(x, y, z, a);
    EXPECT_EQ(z, 2);
    EXPECT_EQ(a, float(M_PI));
}

TEST(Rotation, AxisAngleAndQuaternionConvertBothWays) {
    std::mt19937 rng(5);
    // Small angles are left out: acos near 1 loses more than the comparison allows.
    std::uniform_real_distribution<float> unit(-2, 2), angle(0.3f, 3.0f);
    for (int i = 0; i < 300; ++i) {
        osg::Vec3f axis{unit(rng), unit(rng), unit(rng)};
        float a = angle(rng);
        if (axis.length() < 0.1f) continue;
        Rotation r(axis[0], axis[1], axis[2], a);
        osg::Quaternion q = r.getQuat(), expected(axis, a);
        for (int k = 0; k < 4; ++k) ASSERT_NEAR(q[k], expected[k], 2e-6) << i;
        // Both read-outs back to axis form (the quaternion's goes through degrees).
        axis.normalize();
        Rotation viaQuat(q), viaInline(q);
        float v[4], w[4];
        viaQuat.getAxisAngle(v[0], v[1], v[2], v[3]);
        viaInline.getAxisAngleInline(w[0], w[1], w[2], w[3]);
        for (int k = 0; k < 3; ++k) {
            EXPECT_NEAR(v[k], axis[k], 1e-4) << i;
            EXPECT_NEAR(w[k], axis[k], 1e-4) << i;
        }
        EXPECT_NEAR(v[3], a, 1e-4);
        EXPECT_NEAR(w[3], 2 * std::acos(q.w()), 1e-6);
        EXPECT_TRUE(Rotation(w[0], w[1], w[2], w[3]) == r) << i;
    }
    float x, y, z, a;  // no vector part: the default axis and no angle
    Rotation(osg::Quaternion()).getAxisAngleInline(x, y, z, a);
    EXPECT_EQ(osg::Vec3f(x, y, z), osg::Vec3f(0, 0, 1));
    EXPECT_EQ(a, 0);
}

// Equal within one millionth per quaternion component, in both orders.
TEST(Rotation, EqualityTolerance) {
    auto quat = [](float x, float y, float z, float w) {
        osg::Quaternion q;
        q.setValueAsQuat(x, y, z, w);
        return Rotation(q);
    };
    const float h = 0.5f;
    // clang-format off
    const struct { Rotation a, b; bool equal; } cases[] = {
        {Rotation(0, 1, 0, 1), Rotation(0, 5, 0, 1), true},      // the axis length does not matter
        {Rotation(0, 0, 1, 0), Rotation(1, 0, 0, 0), true},      // no angle: both identity
        {Rotation(0, 0, 0, 1), Rotation(0, 0, 1, 0), true},      // no axis: identity
        {Rotation(1e-7f, 0, 0, 2), Rotation(0, 0, 1, 0), true},  // axis within 1e-6 of none
        {Rotation(0, 1, 0, 1), Rotation(0, 1, 0, 1.001f), false}, {Rotation(0, 1, 0, 1), Rotation(0, -1, 0, -1), true},
        {quat(0, 0, 1, 0), quat(0, 0, -1, 0), false},  // q and -q: the same turn, unequal
        {quat(h, h, h, h), quat(h, h, h, h + 5e-7f), true}, {quat(h, h, h, h), quat(h, h, h, h + 3e-6f), false},
        {quat(0, 0, 0, 1), Rotation(0, 0, 1, 0), true}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(c.a == c.b, c.equal) << (&c - cases);
        EXPECT_EQ(c.b == c.a, c.equal) << (&c - cases);
    }
}

}  // namespace
