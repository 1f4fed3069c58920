// A host that includes its GL header after ours (the image test includes it first): its macros
// take over our names from then on. Both spellings must still compile, and the values our
// header chose must be the host's.
#include "kalvex/platform/osg/Image.h"

#if __has_include(<GL/gl.h>)
#include <GL/gl.h>
#include <GL/glext.h>
#define KALVEX_TEST_HAVE_GL 1
#endif

#include <gtest/gtest.h>

namespace Kalvex::osg {
namespace {
// Unqualified use inside our namespace, as library code writes it.
constexpr GLenum kDxt5 = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;
}  // namespace
}  // namespace Kalvex::osg

TEST(ImageGLHeaderTest, OurValuesAreThoseOfTheHostHeaderIncludedLast) {
#ifdef KALVEX_TEST_HAVE_GL
    using Kalvex::osg::Image;
    // Our enums were fixed before the host's header came in; its macros are the names now.
    // clang-format off
    const struct { const char* name; unsigned ours, gl; } rows[] = {
        {"ALPHA", Image::OSG_A_PF, GL_ALPHA}, {"INTENSITY", Image::OSG_I_PF, GL_INTENSITY},
        {"LUMINANCE", Image::OSG_L_PF, GL_LUMINANCE}, {"LUMINANCE_ALPHA", Image::OSG_LA_PF, GL_LUMINANCE_ALPHA},
        {"RGB", Image::OSG_RGB_PF, GL_RGB}, {"RGBA", Image::OSG_RGBA_PF, GL_RGBA}, {"BGR", Image::OSG_BGR_PF, GL_BGR},
        {"BGRA", Image::OSG_BGRA_PF, GL_BGRA}, {"DXT1 RGB", Image::OSG_RGB_DXT1, GL_COMPRESSED_RGB_S3TC_DXT1_EXT},
        {"DXT1 RGBA", Image::OSG_RGBA_DXT1, GL_COMPRESSED_RGBA_S3TC_DXT1_EXT},
        {"DXT3", Image::OSG_RGBA_DXT3, GL_COMPRESSED_RGBA_S3TC_DXT3_EXT}, {"DXT5", Image::OSG_RGBA_DXT5, Kalvex::osg::kDxt5},
        {"ALPHA_INTEGER", Image::OSG_ALPHA_INTEGER_PF, GL_ALPHA_INTEGER_EXT}, {"RGB_INTEGER", Image::OSG_RGB_INTEGER_PF, GL_RGB_INTEGER_EXT},
        {"RGBA_INTEGER", Image::OSG_RGBA_INTEGER_PF, GL_RGBA_INTEGER_EXT}, {"BGR_INTEGER", Image::OSG_BGR_INTEGER_PF, GL_BGR_INTEGER_EXT},
        {"BGRA_INTEGER", Image::OSG_BGRA_INTEGER_PF, GL_BGRA_INTEGER_EXT},
        {"LUMINANCE_INTEGER", Image::OSG_LUMINANCE_INTEGER_PF, GL_LUMINANCE_INTEGER_EXT},
        {"LUMINANCE_ALPHA_INTEGER", Image::OSG_LUMINANCE_ALPHA_INTEGER_PF, GL_LUMINANCE_ALPHA_INTEGER_EXT},
        {"NONE", unsigned(Image::OSG_INVALID_IMAGEDATATYPE), GL_NONE}, {"UNSIGNED_BYTE", unsigned(Image::OSG_UINT8_IMAGEDATA), GL_UNSIGNED_BYTE},
        {"UNSIGNED_SHORT", unsigned(Image::OSG_UINT16_IMAGEDATA), GL_UNSIGNED_SHORT},
        {"UNSIGNED_INT", unsigned(Image::OSG_UINT32_IMAGEDATA), GL_UNSIGNED_INT},
        {"HALF_FLOAT_NV", unsigned(Image::OSG_FLOAT16_IMAGEDATA), GL_HALF_FLOAT_NV},
        {"FLOAT", unsigned(Image::OSG_FLOAT32_IMAGEDATA), GL_FLOAT}, {"SHORT", unsigned(Image::OSG_INT16_IMAGEDATA), GL_SHORT},
        {"INT", unsigned(Image::OSG_INT32_IMAGEDATA), GL_INT}};
    // clang-format on
    for (const auto& r : rows) EXPECT_EQ(r.ours, r.gl) << r.name;
#else
    GTEST_SKIP() << "no GL header on this machine";
#endif
}
