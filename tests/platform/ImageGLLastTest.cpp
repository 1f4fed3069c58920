// A host that includes its GL header after ours: its macros take over our names, and both
// spellings must still compile and agree.
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
constexpr GLenum formats[] = {GL_LUMINANCE,
                              GL_LUMINANCE_ALPHA,
                              GL_RGB,
                              GL_RGBA,
                              GL_BGRA,
                              GL_INTENSITY,
                              GL_COMPRESSED_RGBA_S3TC_DXT5_EXT};
}  // namespace
}  // namespace Kalvex::osg

TEST(ImageGLHeaderTest, NamesStillWorkWithTheHostHeaderIncludedLast) {
    using Kalvex::osg::Image;
    const unsigned expected[] = {Image::OSG_L_PF,     Image::OSG_LA_PF,   Image::OSG_RGB_PF,
                                 Image::OSG_RGBA_PF,  Image::OSG_BGRA_PF, Image::OSG_I_PF,
                                 Image::OSG_RGBA_DXT5};
    for (std::size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(Kalvex::osg::formats[i], expected[i]) << i;
#ifdef KALVEX_TEST_HAVE_GL
    EXPECT_EQ(Kalvex::osg::formats[2], static_cast<unsigned>(GL_RGB));
#endif
}
