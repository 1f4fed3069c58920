#include "kalvex/object/BaseObject.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

int32_t BaseObject::_objCount = 0;
const char* LogModuleName = "Kalvex";

}  // namespace Kalvex
