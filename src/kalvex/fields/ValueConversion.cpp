#include "kalvex/fields/ValueConversion.h"

#include "kalvex/fields/Field.h"

namespace Kalvex {

bool convertFieldValue(const Field&, Field&, ConvertParam*) {
    // The conversion matrix between unlike types is not there yet: no pair converts.
    return false;
}

}  // namespace Kalvex
