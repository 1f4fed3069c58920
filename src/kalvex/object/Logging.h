#pragma once
// The one call form of every message of the library. The level is compared first, so a message
// below the current level costs one comparison; level 0 (KLOG) skips that test.
//
//   KWARNING("Cannot register context a second time in System\n");
//   KFATAL("Can not add NULL attachemnt for %d id", id);

#include "kalvex/platform/osg/Log.h"

namespace Kalvex {

// Module name of every message of this library.
extern const char* LogModuleName;

}  // namespace Kalvex

#define KALVEX_LOG_AT(level, ...)                                                     \
    do {                                                                              \
        ::Kalvex::osg::Log& kalvexLog_ = ::Kalvex::osg::osgLog();                     \
        if ((level) == ::Kalvex::osg::LOG_LOG || kalvexLog_.getLogLevel() >= (level)) \
            kalvexLog_.message((level), ::Kalvex::LogModuleName, __FILE__, __LINE__,  \
                               __PRETTY_FUNCTION__, __VA_ARGS__);                     \
    } while (0)

#define KLOG(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_LOG, __VA_ARGS__)
#define KFATAL(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_FATAL, __VA_ARGS__)
#define KWARNING(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_WARNING, __VA_ARGS__)
#define KNOTICE(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_NOTICE, __VA_ARGS__)
#define KINFO(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_INFO, __VA_ARGS__)
#define KDEBUG(...) KALVEX_LOG_AT(::Kalvex::osg::LOG_DEBUG, __VA_ARGS__)

// True when a message of this level would be written; for callers that build costly arguments.
#define KALVEX_LOG_ON(level) \
    ((level) == ::Kalvex::osg::LOG_LOG || ::Kalvex::osg::osgLog().getLogLevel() >= (level))
