#pragma once

#include <cstdint>

namespace Kalvex {

// Three-valued logic: 1 on, 0 off, -1 unset.
class Qubit {
  public:
    Qubit() : _value(0) {}
    Qubit(int32_t value) : _value(value) {}

    int32_t getValue() const { return _value; }
    void setValue(int32_t value) { _value = value; }
    bool operator==(const Qubit& other) const { return _value == other._value; }

  private:
    int32_t _value;
};

}  // namespace Kalvex
