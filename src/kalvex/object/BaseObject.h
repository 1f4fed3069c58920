#pragma once

#include <cstdint>

namespace Kalvex {

// Root of every long-lived object. _objCount counts live objects so that System::exit can report
// leaks; it is a plain integer, as objects belong to one thread at a time.
class BaseObject {
  public:
    BaseObject() { ++_objCount; }
    BaseObject(const BaseObject&) { ++_objCount; }
    BaseObject& operator=(const BaseObject&) { return *this; }
    virtual ~BaseObject() { --_objCount; }

    static int32_t _objCount;
};

}  // namespace Kalvex
