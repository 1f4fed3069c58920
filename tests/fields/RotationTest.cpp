// Rotation: the two forms, which one is current, the conversions between them and comparison.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "kalvex/fields/Rotation.h"
#include "platform/osg/Quaternion.h"
#include "platform/osg/Vector.h"

using Kalvex::Rotation;
namespace osg = Kalvex::osg;

namespace {

void expectQuat(const osg::Quaternion& q, float x, float y, float z, float w, float tol = 1e-6f) {
    EXPECT_NEAR(q.x(), x, tol);
    EXPECT_NEAR(q.y(), y, tol);
    EXPECT_NEAR(q.z(), z, tol);
    EXPECT_NEAR(q.w(), w, tol);
}

TEST(Rotation, StateFollowsTheFormLastSetAndTheFormLastComputed) {
    Rotation r;
    EXPECT_EQ(r.state(), Rotation::AxisCurrent);
    r.setAxisAngle(0, 1, 0, 1);
    EXPECT_EQ(r.state(), Rotation::AxisCurrent);
    r.getQuat();
    EXPECT_EQ(r.state(), Rotation::BothCurrent);
    r.setQuat(osg::Quaternion(osg::Vec3f(1, 0, 0), 0.5f));
    EXPECT_EQ(r.state(), Rotation::QuatCurrent);
    float x, y, z, a;
    r.getAxisAngle(x, y, z, a);
    EXPECT_EQ(r.state(), Rotation::BothCurrent);
    EXPECT_NEAR(x, 1, 1e-6);
    EXPECT_NEAR(a, 0.5, 1e-5);
    // Neither update touches a value whose other form is not stale.
    r.setAxisAngle(0, 0, 2, 3);
    r.updateAxis();
    r.updateAxisInline();
    r.getAxisAngle(x, y, z, a);
    EXPECT_EQ(z, 2);
    EXPECT_EQ(a, 3);
}

TEST(Rotation, ToQuaternionNormalisesTheAxisButKeepsTheStoredOne) {
    Rotation r(0, 0, 2, float(M_PI));
    expectQuat(r.getQuat(), 0, 0, 1, 0);
    float x, y, z, a;
    r.getAxisAngle(x, y, z, a);
    EXPECT_EQ(z, 2);

    // An axis no longer than 1e-06 gives the identity, whatever the angle.
    Rotation tiny(1e-7f, 0, 0, 2);
    expectQuat(tiny.getQuat(), 0, 0, 0, 1);
    Rotation zero(0, 0, 0, 2);
    expectQuat(zero.getQuat(), 0, 0, 0, 1);
}

TEST(Rotation, InlineAxisFormMatchesTheQuaternionReadOut) {
    // The two read-outs differ in their last bits (the quaternion's goes through degrees), but
    // agree on the rotation; both are cross-checked against the plain formula.
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> unit(-1, 1);
    std::uniform_real_distribution<float> angle(0.01f, 3.1f);
    for (int i = 0; i < 500; ++i) {
        osg::Vec3f axis(unit(rng), unit(rng), unit(rng));
        if (axis.length() < 0.1f) continue;
        axis.normalize();
        float a = angle(rng);
        osg::Quaternion q(axis, a);

        Rotation viaQuat(q), viaInline(q);
        float x1, y1, z1, a1, x2, y2, z2, a2;
        viaQuat.getAxisAngle(x1, y1, z1, a1);
        viaInline.getAxisAngleInline(x2, y2, z2, a2);
        EXPECT_EQ(viaInline.state(), Rotation::BothCurrent);
        EXPECT_NEAR(x1, axis[0], 1e-4);
        EXPECT_NEAR(x2, axis[0], 1e-4);
        EXPECT_NEAR(y2, axis[1], 1e-4);
        EXPECT_NEAR(z2, axis[2], 1e-4);
        EXPECT_NEAR(a1, a, 1e-4);
        EXPECT_NEAR(a2, a, 1e-4);
        EXPECT_NEAR(a2, 2 * std::acos(q.w()), 1e-6);
    }
    // No vector part: the default axis and no angle.
    Rotation identity{osg::Quaternion()};
    float x, y, z, a;
    identity.getAxisAngleInline(x, y, z, a);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(z, 1);
    EXPECT_EQ(a, 0);
}

TEST(Rotation, AxisAngleToQuaternionAndBackIsTheSameRotation) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> unit(-2, 2);
    // Small angles are left out: acos near 1 loses more than the comparison allows.
    std::uniform_real_distribution<float> angle(0.3f, 3.0f);
    for (int i = 0; i < 500; ++i) {
        float ax = unit(rng), ay = unit(rng), az = unit(rng), a = angle(rng);
        if (std::sqrt(ax * ax + ay * ay + az * az) < 0.1f) continue;
        Rotation r(ax, ay, az, a);
        // Against the quaternion's own construction from the same axis and angle.
        osg::Quaternion expected(osg::Vec3f(ax, ay, az), a);
        const osg::Quaternion& q = r.getQuat();
        for (int k = 0; k < 4; ++k) EXPECT_NEAR(q[k], expected[k], 2e-6) << i;
        // Back to axis form: the rotation compares equal to where it started.
        Rotation back(q);
        float x, y, z, b;
        back.getAxisAngleInline(x, y, z, b);
        EXPECT_TRUE(Rotation(x, y, z, b) == r) << i;
    }
}

struct EqualCase {
    Rotation a, b;
    bool equal;
};

TEST(Rotation, EqualWithinOneMillionthPerQuaternionComponent) {
    auto quat = [](float x, float y, float z, float w) {
        osg::Quaternion q;
        q.setValueAsQuat(x, y, z, w);
        return Rotation(q);
    };
    const EqualCase cases[] = {
        {Rotation(0, 1, 0, 1), Rotation(0, 5, 0, 1), true},  // the axis length does not matter
        {Rotation(0, 0, 1, 0), Rotation(1, 0, 0, 0), true},  // no angle: both identity
        {Rotation(0, 0, 0, 1), Rotation(0, 0, 1, 0), true},  // no axis: identity
        {Rotation(0, 1, 0, 1), Rotation(0, 1, 0, 1.001f), false},
        {Rotation(0, 1, 0, 1), Rotation(0, -1, 0, -1), true},
        // q and -q are the same rotation but compare unequal.
        {quat(0, 0, 1, 0), quat(0, 0, -1, 0), false},
        {quat(0.5f, 0.5f, 0.5f, 0.5f), quat(0.5f, 0.5f, 0.5f, 0.5f + 5e-7f), true},
        {quat(0.5f, 0.5f, 0.5f, 0.5f), quat(0.5f, 0.5f, 0.5f, 0.5f + 3e-6f), false},
        {quat(0, 0, 0, 1), Rotation(0, 0, 1, 0), true},
    };
    for (const EqualCase& c : cases) {
        EXPECT_EQ(c.a == c.b, c.equal);
        EXPECT_EQ(c.b == c.a, c.equal);
    }
}

TEST(Rotation, CopiesCarryTheStateAlong) {
    Rotation r{osg::Quaternion(osg::Vec3f(0, 1, 0), 1.0f)};
    Rotation copy = r;
    EXPECT_EQ(copy.state(), Rotation::QuatCurrent);
    float x, y, z, a;
    copy.getAxisAngle(x, y, z, a);
    EXPECT_EQ(r.state(), Rotation::QuatCurrent);  // the original's cache is its own
    EXPECT_EQ(copy.state(), Rotation::BothCurrent);
    EXPECT_TRUE(r == copy);
}

}  // namespace
