#pragma once

#include <string>

#include "kalvex/object/BaseObject.h"

namespace Kalvex {

// Common part of subjects and observers: a name and an active flag. Nothing in the library
// clears the flag, but every sender and every walk honours it.
class NotificationHandler : public BaseObject {
  public:
    explicit NotificationHandler(const char* name) : _name(name ? name : ""), _active(true) {}
    // Copying is legal but always reported.
    NotificationHandler(const NotificationHandler& other);
    ~NotificationHandler() override = default;

    const std::string& getName() const { return _name; }
    void setName(const std::string& name) { _name = name; }
    bool isActive() const { return _active; }
    void setActive(bool active) { _active = active; }

  protected:
    std::string _name;
    bool _active;
};

}  // namespace Kalvex
