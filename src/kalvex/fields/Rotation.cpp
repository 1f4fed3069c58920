#include "kalvex/fields/Rotation.h"

#include <cmath>

namespace Kalvex {

namespace {
constexpr float kTolerance = 1e-06f;
}

Rotation::Rotation() : _quat(), _axis{0, 0, 1}, _angle(0), _state(AxisCurrent) {}

Rotation::Rotation(float x, float y, float z, float angle)
    : _quat(), _axis{x, y, z}, _angle(angle), _state(AxisCurrent) {}

Rotation::Rotation(const osg::Quaternion& quat)
    : _quat(quat), _axis{0, 0, 1}, _angle(0), _state(QuatCurrent) {}

void Rotation::setAxisAngle(float x, float y, float z, float angle) {
    _axis[0] = x;
    _axis[1] = y;
    _axis[2] = z;
    _angle = angle;
    _state = AxisCurrent;
}

void Rotation::setQuat(const osg::Quaternion& quat) {
    _quat = quat;
    _state = QuatCurrent;
}

void Rotation::updateAxis() const {
    if (_state != QuatCurrent) return;
    _quat.getValueAsAxisRad(_axis[0], _axis[1], _axis[2], _angle);
    _state = BothCurrent;
}

void Rotation::updateAxisInline() const {
    if (_state != QuatCurrent) return;
    const float* q = _quat.getValues();
    float length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]);
    if (length <= kTolerance) {
        _axis[0] = 0;
        _axis[1] = 0;
        _axis[2] = 1;
        _angle = 0;
    } else {
        _axis[0] = q[0] / length;
        _axis[1] = q[1] / length;
        _axis[2] = q[2] / length;
        _angle = 2.0f * std::acos(q[3]);
    }
    _state = BothCurrent;
}

void Rotation::updateQuat() const {
    if (_state != AxisCurrent) return;
    float length = std::sqrt(_axis[0] * _axis[0] + _axis[1] * _axis[1] + _axis[2] * _axis[2]);
    if (length > kTolerance) {
        float s = std::sin(_angle * 0.5f);
        float c = std::cos(_angle * 0.5f);
        _quat.setValueAsQuat(_axis[0] / length * s, _axis[1] / length * s, _axis[2] / length * s,
                             c);
    } else {
        _quat.setValueAsQuat(0, 0, 0, 1);
    }
    _state = BothCurrent;
}

void Rotation::getAxisAngle(float& x, float& y, float& z, float& angle) const {
    updateAxis();
    readAxis(x, y, z, angle);
}

void Rotation::getAxisAngleInline(float& x, float& y, float& z, float& angle) const {
    updateAxisInline();
    readAxis(x, y, z, angle);
}

void Rotation::readAxis(float& x, float& y, float& z, float& angle) const {
    x = _axis[0];
    y = _axis[1];
    z = _axis[2];
    angle = _angle;
}

const osg::Quaternion& Rotation::getQuat() const {
    updateQuat();
    return _quat;
}

bool Rotation::operator==(const Rotation& other) const {
    const float* a = getQuat().getValues();
    const float* b = other.getQuat().getValues();
    for (int i = 0; i < 4; ++i)
        if (std::fabs(a[i] - b[i]) > kTolerance) return false;
    return true;
}

}  // namespace Kalvex
