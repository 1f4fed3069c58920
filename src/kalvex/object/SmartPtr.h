#pragma once

#include <cstddef>
#include <functional>

namespace Kalvex {

// One pointer wide. Every change goes through setObj, which lets the old object go before it
// takes the new one: a caller whose new object is reachable only through the old one must hold
// it some other way.
template <class T>
class SmartPtr {
  public:
    SmartPtr() : _obj(nullptr) {}
    SmartPtr(const T* obj) : _obj(nullptr) { setObj(obj); }
    SmartPtr(const SmartPtr& other) : _obj(nullptr) { setObj(other._obj); }
    ~SmartPtr() { setObj(nullptr); }

    SmartPtr& operator=(const SmartPtr& other) {
        setObj(other._obj);
        return *this;
    }
    SmartPtr& operator=(const T* obj) {
        setObj(obj);
        return *this;
    }

    void setObj(const T* obj) {
        if (obj == _obj) return;
        if (_obj) _obj->subRef();
        _obj = const_cast<T*>(obj);
        if (_obj) _obj->addRef();
    }

    T* getObj() const { return _obj; }
    T* get() const { return _obj; }
    T* operator->() const { return _obj; }
    T& operator*() const { return *_obj; }
    explicit operator bool() const { return _obj != nullptr; }
    bool operator!() const { return _obj == nullptr; }

    bool operator==(const SmartPtr& other) const { return _obj == other._obj; }
    bool operator==(const T* obj) const { return _obj == obj; }
    bool operator==(std::nullptr_t) const { return _obj == nullptr; }
    bool operator<(const SmartPtr& other) const { return std::less<T*>()(_obj, other._obj); }

  private:
    T* _obj;
};

}  // namespace Kalvex
