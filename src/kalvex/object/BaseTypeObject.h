#pragma once

#include "kalvex/object/RefCountObject.h"

namespace Kalvex {

// Carries a plain value through an interface that takes BaseObject*, above all the object
// arguments of a notification. Usually a local with count 0 that lives for one call.
template <class T>
class BaseTypeObject : public RefCountObject {
  public:
    BaseTypeObject() : _value() {}
    explicit BaseTypeObject(const T& value) : _value(value) {}
    ~BaseTypeObject() override = default;

    T _value;
};

}  // namespace Kalvex
