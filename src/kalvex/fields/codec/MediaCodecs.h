#pragma once
// Codecs of the image, sound, node and wildcard classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

struct SFImageCodec {};
struct MFImageCodec {};
struct SFSoundCodec {};
struct MFSoundCodec {};
struct SFNodeCodec {};
struct MFNodeCodec {};
struct SFAnyCodec {};
struct MFAnyCodec {};

}  // namespace Kalvex
