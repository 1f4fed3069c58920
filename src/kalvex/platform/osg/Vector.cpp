#include "kalvex/platform/osg/Vector.h"

#include <type_traits>

namespace Kalvex::osg {

// One copy of every vector type in the library; the header declares them extern.
template class Vector<float, 2>;
template class Vector<float, 3>;
template class Vector<float, 4>;
template class Vector<double, 2>;
template class Vector<double, 3>;
template class Vector<double, 4>;

static_assert(sizeof(Vec2f) == 2 * sizeof(float) && sizeof(Vec3f) == 3 * sizeof(float) &&
                  sizeof(Vec4f) == 4 * sizeof(float),
              "vectors are plain component arrays");
static_assert(sizeof(Vec2d) == 2 * sizeof(double) && sizeof(Vec3d) == 3 * sizeof(double) &&
                  sizeof(Vec4d) == 4 * sizeof(double),
              "vectors are plain component arrays");
static_assert(std::is_standard_layout_v<Vec3f> && std::is_trivially_copyable_v<Vec3f>,
              "vectors copy as raw memory");

}  // namespace Kalvex::osg
