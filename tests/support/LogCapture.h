#pragma once
// Captures the log into its buffer for the lifetime of the object, so that a test can assert
// which messages were written. The previous log type and level come back afterwards.

#include <string>

#include "kalvex/platform/osg/Log.h"

namespace KalvexTest {

class LogCapture {
  public:
    explicit LogCapture(Kalvex::osg::LogLevel level = Kalvex::osg::LOG_DEBUG);
    ~LogCapture();

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string text() const;
    bool contains(const std::string& piece) const;
    // How often piece occurs in the captured text.
    int count(const std::string& piece) const;
    void clear();

  private:
    Kalvex::osg::LogType _oldType;
    Kalvex::osg::LogLevel _oldLevel;
    unsigned int _oldHeader;
};

}  // namespace KalvexTest
