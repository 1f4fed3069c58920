#pragma once
// Stand-in for the closed ray intersection library: one process-wide mode that a renderer reads
// before its ray tests. Registering only switches the mode; the intersection code itself lives
// in the renderer that reads it.

namespace Kalvex::rayxt {

enum IntersectMode : int {
    IntersectDefault = 0,  // the scene graph's own triangle tests
    IntersectFast = 1,     // the accelerated tests
    IntersectBBox = 2      // bounding boxes only
};

// The mode in force; safe to read from any thread.
IntersectMode intersectMode();
const char* intersectModeName(IntersectMode mode);

namespace osg {

void register_rayxt_intersect();
void register_bbox_intersect();
void unregister_rayxt_intersect();

}  // namespace osg

}  // namespace Kalvex::rayxt
