#pragma once

#include <cstdint>

#include "kalvex/object/BaseObject.h"

namespace Kalvex {

// Shared object with an intrusive count. When the count falls to 0, release() runs shutdown()
// and then deletes the object, unless shutdown took a new reference: that is reported and the
// object lives on.
class RefCountObject : public BaseObject {
  public:
    RefCountObject() : _refCount(0) {}
    // The count is never copied.
    RefCountObject(const RefCountObject& other) : BaseObject(other), _refCount(0) {}
    RefCountObject& operator=(const RefCountObject&) { return *this; }
    ~RefCountObject() override;

    virtual void shutdown() const {}

    void addRef() const { ++_refCount; }
    void subRef() const {
        if (--_refCount == 0) release();
    }
    void release() const;

    int32_t refCount() const { return _refCount; }

  protected:
    mutable int32_t _refCount;
};

}  // namespace Kalvex
