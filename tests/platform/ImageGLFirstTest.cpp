// A host that includes its GL header before ours: our constants must step aside and agree.
#if __has_include(<GL/gl.h>)
#include <GL/gl.h>
#include <GL/glext.h>
#define KALVEX_TEST_HAVE_GL 1
#endif

#include "kalvex/platform/osg/Image.h"

#include <gtest/gtest.h>

using Kalvex::osg::Image;

TEST(ImageGLHeaderTest, EnumsMatchTheHostHeaderIncludedFirst) {
#ifdef KALVEX_TEST_HAVE_GL
    const struct {
        const char* name;
        unsigned ours, gl;
    } rows[] = {
        {"ALPHA", Image::OSG_A_PF, GL_ALPHA},
        {"INTENSITY", Image::OSG_I_PF, GL_INTENSITY},
        {"LUMINANCE", Image::OSG_L_PF, GL_LUMINANCE},
        {"LUMINANCE_ALPHA", Image::OSG_LA_PF, GL_LUMINANCE_ALPHA},
        {"RGB", Image::OSG_RGB_PF, GL_RGB},
        {"RGBA", Image::OSG_RGBA_PF, GL_RGBA},
        {"BGR", Image::OSG_BGR_PF, GL_BGR},
        {"BGRA", Image::OSG_BGRA_PF, GL_BGRA},
        {"DXT1 RGB", Image::OSG_RGB_DXT1, GL_COMPRESSED_RGB_S3TC_DXT1_EXT},
        {"DXT1 RGBA", Image::OSG_RGBA_DXT1, GL_COMPRESSED_RGBA_S3TC_DXT1_EXT},
        {"DXT3", Image::OSG_RGBA_DXT3, GL_COMPRESSED_RGBA_S3TC_DXT3_EXT},
        {"DXT5", Image::OSG_RGBA_DXT5, GL_COMPRESSED_RGBA_S3TC_DXT5_EXT},
        {"ALPHA_INTEGER", Image::OSG_ALPHA_INTEGER_PF, GL_ALPHA_INTEGER_EXT},
        {"RGB_INTEGER", Image::OSG_RGB_INTEGER_PF, GL_RGB_INTEGER_EXT},
        {"RGBA_INTEGER", Image::OSG_RGBA_INTEGER_PF, GL_RGBA_INTEGER_EXT},
        {"BGR_INTEGER", Image::OSG_BGR_INTEGER_PF, GL_BGR_INTEGER_EXT},
        {"BGRA_INTEGER", Image::OSG_BGRA_INTEGER_PF, GL_BGRA_INTEGER_EXT},
        {"LUMINANCE_INTEGER", Image::OSG_LUMINANCE_INTEGER_PF, GL_LUMINANCE_INTEGER_EXT},
        {"LUMINANCE_ALPHA_INTEGER", Image::OSG_LUMINANCE_ALPHA_INTEGER_PF,
         GL_LUMINANCE_ALPHA_INTEGER_EXT},
        {"NONE", static_cast<unsigned>(Image::OSG_INVALID_IMAGEDATATYPE), GL_NONE},
        {"UNSIGNED_BYTE", static_cast<unsigned>(Image::OSG_UINT8_IMAGEDATA), GL_UNSIGNED_BYTE},
        {"UNSIGNED_SHORT", static_cast<unsigned>(Image::OSG_UINT16_IMAGEDATA), GL_UNSIGNED_SHORT},
        {"UNSIGNED_INT", static_cast<unsigned>(Image::OSG_UINT32_IMAGEDATA), GL_UNSIGNED_INT},
        {"HALF_FLOAT_NV", static_cast<unsigned>(Image::OSG_FLOAT16_IMAGEDATA), GL_HALF_FLOAT_NV},
        {"FLOAT", static_cast<unsigned>(Image::OSG_FLOAT32_IMAGEDATA), GL_FLOAT},
        {"SHORT", static_cast<unsigned>(Image::OSG_INT16_IMAGEDATA), GL_SHORT},
        {"INT", static_cast<unsigned>(Image::OSG_INT32_IMAGEDATA), GL_INT},
    };
    for (const auto& r : rows) EXPECT_EQ(r.ours, r.gl) << r.name;
#else
    GTEST_SKIP() << "no GL header on this machine";
#endif
}
