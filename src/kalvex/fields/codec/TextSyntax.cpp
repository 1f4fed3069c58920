#include "kalvex/fields/codec/TextSyntax.h"

namespace Kalvex::syntax {

int componentCount(BaseType baseType) {
    switch (baseType) {
        case ColorBase:
            return 3;
        case ColorRGBABase:
            return 4;
        case Matrix3dBase:
        case Matrix3fBase:
            return 9;
        case Matrix4dBase:
        case Matrix4fBase:
            return 16;
        case RotationBase:
            return 4;
        case Vec2dBase:
        case Vec2fBase:
            return 2;
        case Vec3dBase:
        case Vec3fBase:
            return 3;
        case Vec4dBase:
        case Vec4fBase:
        case PlaneBase:
            return 4;
        default:
            return 1;
    }
}

}  // namespace Kalvex::syntax
