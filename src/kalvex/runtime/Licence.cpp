#include "kalvex/runtime/Licence.h"

namespace Kalvex {

Licence& Licence::the() {
    static Licence* instance = new Licence;
    return *instance;
}

bool Licence::allowComponent(const std::string&) {
    return true;
}

bool Licence::allowFeature(const std::string&) {
    return true;
}

}  // namespace Kalvex
