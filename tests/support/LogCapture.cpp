#include "support/LogCapture.h"

namespace KalvexTest {

using namespace Kalvex;

LogCapture::LogCapture(osg::LogLevel level) {
    osg::Log& log = osg::osgLog();
    _oldType = log.getLogType();
    _oldLevel = log.getLogLevel();
    _oldHeader = log.getHeaderElem();
    log.setLogType(osg::LOG_BUFFER);
    log.setLogLevel(level);
    log.setHeaderElem(osg::LOG_TYPE_HEADER | osg::LOG_MODULE_HEADER | osg::LOG_TAB_SEP_HEADER);
    log.clearBuffer();
}

LogCapture::~LogCapture() {
    osg::Log& log = osg::osgLog();
    log.clearBuffer();
    log.setLogType(_oldType);
    log.setLogLevel(_oldLevel);
    log.setHeaderElem(_oldHeader);
}

std::string LogCapture::text() const {
    return osg::osgLog().getBuffer();
}

bool LogCapture::contains(const std::string& piece) const {
    return text().find(piece) != std::string::npos;
}

int LogCapture::count(const std::string& piece) const {
    if (piece.empty()) return 0;
    std::string all = text();
    int n = 0;
    for (size_t pos = all.find(piece); pos != std::string::npos; pos = all.find(piece, pos + 1))
        ++n;
    return n;
}

void LogCapture::clear() {
    osg::osgLog().clearBuffer();
}

}  // namespace KalvexTest
