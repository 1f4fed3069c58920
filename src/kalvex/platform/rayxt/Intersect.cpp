#include "kalvex/platform/rayxt/Intersect.h"

#include <atomic>

namespace Kalvex::rayxt {

namespace {

std::atomic<int>& mode() {
    static std::atomic<int> value{IntersectDefault};
    return value;
}

}  // namespace

IntersectMode intersectMode() {
    return IntersectMode(mode().load(std::memory_order_acquire));
}

const char* intersectModeName(IntersectMode value) {
    switch (value) {
        case IntersectDefault:
            return "default";
        case IntersectFast:
            return "fast";
        case IntersectBBox:
            return "bbox";
    }
    return "invalid";
}

namespace osg {

void register_rayxt_intersect() {
    mode().store(IntersectFast, std::memory_order_release);
}

void register_bbox_intersect() {
    mode().store(IntersectBBox, std::memory_order_release);
}

void unregister_rayxt_intersect() {
    mode().store(IntersectDefault, std::memory_order_release);
}

}  // namespace osg

}  // namespace Kalvex::rayxt
