#include "kalvex/object/NotificationHandler.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

NotificationHandler::NotificationHandler(const NotificationHandler& other)
    : BaseObject(other), _name(other._name), _active(other._active) {
    KFATAL("Running Notification Handler copy constructor !\n");
}

}  // namespace Kalvex
