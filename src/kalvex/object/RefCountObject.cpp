#include "kalvex/object/RefCountObject.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

RefCountObject::~RefCountObject() {
    if (_refCount != 0) KFATAL("_refCount == %d in RefCountObject Destructor\n", _refCount);
}

void RefCountObject::release() const {
    if (_refCount != 0) return;
    shutdown();
    if (_refCount == 0) {
        delete this;
        return;
    }
    KFATAL("Illegal Transition: RefCount != 0 after shutdown\n");
}

}  // namespace Kalvex
