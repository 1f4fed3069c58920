#pragma once
// The OpenGL enumerants that image code needs, with their OpenGL values, without a GL header.
//
// They are constexpr values in Kalvex::osg, and each is guarded by #ifndef on its own name. That
// is the only form that cannot clash with a host's <GL/gl.h> in either include order:
//  - GL header first: the name is already a macro with the same value, so ours is not declared
//    and every use below and in our code expands to the host's macro.
//  - GL header later: its #define shadows our name from then on with the same value.
// So always write these names unqualified (GL_RGB, not osg::GL_RGB): a qualified use breaks as
// soon as the name is a macro. Where a qualified name is wanted, use the enums of osg::Image.
// No macro is defined here.

namespace Kalvex::osg {

// OpenGL's GLenum; an alias in our namespace, so it cannot collide with the global typedef.
using GLenum = unsigned int;

#ifndef GL_NONE
inline constexpr GLenum GL_NONE = 0;
#endif

// Pixel formats.
#ifndef GL_ALPHA
inline constexpr GLenum GL_ALPHA = 0x1906;
#endif
#ifndef GL_RGB
inline constexpr GLenum GL_RGB = 0x1907;
#endif
#ifndef GL_RGBA
inline constexpr GLenum GL_RGBA = 0x1908;
#endif
#ifndef GL_LUMINANCE
inline constexpr GLenum GL_LUMINANCE = 0x1909;
#endif
#ifndef GL_LUMINANCE_ALPHA
inline constexpr GLenum GL_LUMINANCE_ALPHA = 0x190A;
#endif
#ifndef GL_INTENSITY
inline constexpr GLenum GL_INTENSITY = 0x8049;
#endif
#ifndef GL_BGR
inline constexpr GLenum GL_BGR = 0x80E0;
#endif
#ifndef GL_BGRA
inline constexpr GLenum GL_BGRA = 0x80E1;
#endif

// S3TC block-compressed formats.
#ifndef GL_COMPRESSED_RGB_S3TC_DXT1_EXT
inline constexpr GLenum GL_COMPRESSED_RGB_S3TC_DXT1_EXT = 0x83F0;
#endif
#ifndef GL_COMPRESSED_RGBA_S3TC_DXT1_EXT
inline constexpr GLenum GL_COMPRESSED_RGBA_S3TC_DXT1_EXT = 0x83F1;
#endif
#ifndef GL_COMPRESSED_RGBA_S3TC_DXT3_EXT
inline constexpr GLenum GL_COMPRESSED_RGBA_S3TC_DXT3_EXT = 0x83F2;
#endif
#ifndef GL_COMPRESSED_RGBA_S3TC_DXT5_EXT
inline constexpr GLenum GL_COMPRESSED_RGBA_S3TC_DXT5_EXT = 0x83F3;
#endif

// Integer pixel formats (EXT_texture_integer).
#ifndef GL_ALPHA_INTEGER_EXT
inline constexpr GLenum GL_ALPHA_INTEGER_EXT = 0x8D97;
#endif
#ifndef GL_RGB_INTEGER_EXT
inline constexpr GLenum GL_RGB_INTEGER_EXT = 0x8D98;
#endif
#ifndef GL_RGBA_INTEGER_EXT
inline constexpr GLenum GL_RGBA_INTEGER_EXT = 0x8D99;
#endif
#ifndef GL_BGR_INTEGER_EXT
inline constexpr GLenum GL_BGR_INTEGER_EXT = 0x8D9A;
#endif
#ifndef GL_BGRA_INTEGER_EXT
inline constexpr GLenum GL_BGRA_INTEGER_EXT = 0x8D9B;
#endif
#ifndef GL_LUMINANCE_INTEGER_EXT
inline constexpr GLenum GL_LUMINANCE_INTEGER_EXT = 0x8D9C;
#endif
#ifndef GL_LUMINANCE_ALPHA_INTEGER_EXT
inline constexpr GLenum GL_LUMINANCE_ALPHA_INTEGER_EXT = 0x8D9D;
#endif

// Component data types.
#ifndef GL_BYTE
inline constexpr GLenum GL_BYTE = 0x1400;
#endif
#ifndef GL_UNSIGNED_BYTE
inline constexpr GLenum GL_UNSIGNED_BYTE = 0x1401;
#endif
#ifndef GL_SHORT
inline constexpr GLenum GL_SHORT = 0x1402;
#endif
#ifndef GL_UNSIGNED_SHORT
inline constexpr GLenum GL_UNSIGNED_SHORT = 0x1403;
#endif
#ifndef GL_INT
inline constexpr GLenum GL_INT = 0x1404;
#endif
#ifndef GL_UNSIGNED_INT
inline constexpr GLenum GL_UNSIGNED_INT = 0x1405;
#endif
#ifndef GL_FLOAT
inline constexpr GLenum GL_FLOAT = 0x1406;
#endif
#ifndef GL_HALF_FLOAT_NV
inline constexpr GLenum GL_HALF_FLOAT_NV = 0x140B;
#endif

}  // namespace Kalvex::osg
