#pragma once

namespace Kalvex {

class Field;

// Parameters that a conversion carries: a mode from 0 to 7 and a value.
struct ConvertParam {
    int mode = 0;
    long value = 0;
};

// Assigns the value of one field to a field of another data type. False when the pair has no
// conversion.
bool convertFieldValue(const Field& from, Field& to, ConvertParam* param);

}  // namespace Kalvex
