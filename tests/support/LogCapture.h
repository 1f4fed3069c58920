#pragma once
// Captures the log into its buffer for the lifetime of the object, so that a test can assert
// which messages were written. The previous log type, level and header come back afterwards.

#include <string>

#include "kalvex/platform/osg/Log.h"

namespace KalvexTest {

class LogCapture {
  public:
    explicit LogCapture(Kalvex::osg::LogLevel level = Kalvex::osg::LOG_DEBUG)
        : _oldType(log().getLogType()),
          _oldLevel(log().getLogLevel()),
          _oldHeader(log().getHeaderElem()) {
        log().setLogType(Kalvex::osg::LOG_BUFFER);
        log().setLogLevel(level);
        log().setHeaderElem(Kalvex::osg::LOG_TYPE_HEADER | Kalvex::osg::LOG_MODULE_HEADER |
                            Kalvex::osg::LOG_TAB_SEP_HEADER);
        log().clearBuffer();
    }
    ~LogCapture() {
        log().clearBuffer();
        log().setLogType(_oldType);
        log().setLogLevel(_oldLevel);
        log().setHeaderElem(_oldHeader);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string text() const { return log().getBuffer(); }
    bool contains(const std::string& piece) const { return count(piece) > 0; }
    // How often piece occurs in the captured text.
    int count(const std::string& piece) const {
        const std::string all = text();
        int n = 0;
        for (size_t at = all.find(piece); !piece.empty() && at != std::string::npos;
             at = all.find(piece, at + 1))
            ++n;
        return n;
    }
    void clear() { log().clearBuffer(); }

  private:
    static Kalvex::osg::Log& log() { return Kalvex::osg::osgLog(); }

    Kalvex::osg::LogType _oldType;
    Kalvex::osg::LogLevel _oldLevel;
    unsigned int _oldHeader;
};

}  // namespace KalvexTest
