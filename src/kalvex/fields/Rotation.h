#pragma once

#include <cstdint>

#include "kalvex/platform/osg/Quaternion.h"

namespace Kalvex {

// A rotation kept in both quaternion and axis/angle form, with a note of which is current, so
// that the costly conversion runs only when asked for. The other form is a cache and is brought
// up to date in place, also through a const reference.
class Rotation {
  public:
    enum State : int32_t { BothCurrent = 0, AxisCurrent = 1, QuatCurrent = 2 };

    Rotation();
    Rotation(float x, float y, float z, float angle);
    explicit Rotation(const osg::Quaternion& quat);

    // Equal when, in quaternion form, no component differs by more than 1e-06.
    bool operator==(const Rotation& other) const;

    void setAxisAngle(float x, float y, float z, float angle);
    void setQuat(const osg::Quaternion& quat);
    // Axis and angle as the field classes read them (through the quaternion's own read-out).
    void getAxisAngle(float& x, float& y, float& z, float& angle) const;
    // Axis and angle through the plain inline formula that element conversions use.
    void getAxisAngleInline(float& x, float& y, float& z, float& angle) const;
    const osg::Quaternion& getQuat() const;
    State state() const { return State(_state); }

    void updateAxis() const;
    void updateAxisInline() const;
    void updateQuat() const;

  private:
    void readAxis(float& x, float& y, float& z, float& angle) const;

    mutable osg::Quaternion _quat;
    mutable float _axis[3];
    mutable float _angle;
    mutable int32_t _state;
};

}  // namespace Kalvex
