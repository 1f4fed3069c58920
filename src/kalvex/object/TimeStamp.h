#pragma once

namespace Kalvex {

// Seconds. 0.0 is a valid stamp: code passes it when it has no time at hand. Stamps are carried
// and reported, never compared.
using TimeStamp = double;
using Time = double;

}  // namespace Kalvex
