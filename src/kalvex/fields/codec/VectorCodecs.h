#pragma once
// Codecs of the vector, colour, rotation, plane and matrix classes.

#include <string>

#include "kalvex/fields/FieldClasses.h"

namespace Kalvex {

struct SFColorCodec {};
struct MFColorCodec {};
struct SFColorRGBACodec {};
struct MFColorRGBACodec {};
struct SFVec2dCodec {};
struct MFVec2dCodec {};
struct SFVec2fCodec {};
struct MFVec2fCodec {};
struct SFVec3dCodec {};
struct MFVec3dCodec {};
struct SFVec3fCodec {};
struct MFVec3fCodec {};
struct SFVec4dCodec {};
struct MFVec4dCodec {};
struct SFVec4fCodec {};
struct MFVec4fCodec {};
struct SFRotationCodec {};
struct MFRotationCodec {};
struct SFPlaneCodec {};
struct MFPlaneCodec {};
struct SFMatrix3dCodec {};
struct MFMatrix3dCodec {};
struct SFMatrix3fCodec {};
struct MFMatrix3fCodec {};
struct SFMatrix4dCodec {};
struct MFMatrix4dCodec {};
struct SFMatrix4fCodec {};
struct MFMatrix4fCodec {};

}  // namespace Kalvex
