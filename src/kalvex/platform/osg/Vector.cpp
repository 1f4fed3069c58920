#include "kalvex/platform/osg/Vector.h"

#include <type_traits>

namespace Kalvex::osg {

// The vectors are header-only: every member is small and inline. No explicit instantiation
// here, since one would also instantiate the members whose constraints the size does not meet
// (cross for 2 and 4 components, z() and w() for short vectors) on compilers that ignore the
// constraint there.

static_assert(sizeof(Vec2f) == 2 * sizeof(float) && sizeof(Vec3f) == 3 * sizeof(float) &&
                  sizeof(Vec4f) == 4 * sizeof(float),
              "vectors are plain component arrays");
static_assert(sizeof(Vec2d) == 2 * sizeof(double) && sizeof(Vec3d) == 3 * sizeof(double) &&
                  sizeof(Vec4d) == 4 * sizeof(double),
              "vectors are plain component arrays");
static_assert(std::is_standard_layout_v<Vec3f> && std::is_trivially_copyable_v<Vec3f>,
              "vectors copy as raw memory");

}  // namespace Kalvex::osg
