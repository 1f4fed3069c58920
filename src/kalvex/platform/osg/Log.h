#pragma once
// Process-wide log with levels, output types, a header and a module filter.
//
// One message is written under _pLogLock from header to end, so messages of different threads
// never interleave. Callers test the level before anything else, so a message below the current
// level costs one comparison.

#include <cstdarg>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <string>

namespace Kalvex::osg {

enum LogLevel {
    LOG_LOG = 0,  // printed at any level
    LOG_FATAL = 1,
    LOG_WARNING = 2,
    LOG_NOTICE = 3,
    LOG_INFO = 4,
    LOG_DEBUG = 5
};

enum LogType { LOG_NONE = 0, LOG_STDOUT = 1, LOG_STDERR = 2, LOG_FILE = 3, LOG_BUFFER = 4 };

// Header bits. The header is the level name and/or the module name, then the message.
enum LogHeaderElem : unsigned int {
    LOG_NONE_HEADER = 0x0000,
    LOG_TYPE_HEADER = 0x0002,     // level name
    LOG_MODULE_HEADER = 0x0008,   // module name
    LOG_EXTRA_HEADER = 0x1000,    // kept and passed on; printing ignores it
    LOG_COLOR_HEADER = 0x2000,    // level name in terminal colours
    LOG_TAB_SEP_HEADER = 0x4000,  // tab between header fields instead of ": "
};

class Log {
  public:
    Log();
    ~Log();

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    LogLevel getLogLevel() const { return _logLevel; }
    void setLogLevel(LogLevel level) { _logLevel = level; }
    LogType getLogType() const { return _logType; }
    void setLogType(LogType type);
    // Opens (truncates) the file and switches to LOG_FILE; false when it cannot be opened.
    bool setLogFile(const char* fileName);

    unsigned int getHeaderElem() const { return _headerElem; }
    void setHeaderElem(unsigned int elemMask) { _headerElem = elemMask; }
    void addHeaderElem(unsigned int elem) { _headerElem |= elem; }
    void delHeaderElem(unsigned int elem) { _headerElem &= ~elem; }

    // Module filter: with no module names registered every module passes.
    void addModuleName(const char* module);
    void clearModuleNames();
    bool checkModule(const char* module) const;

    void doHeader(LogLevel level, const char* module, const char* file, int line,
                  const char* function);
    void doLog(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void doLogV(const char* format, va_list args);
    void writeText(const std::string& text);

    // The whole call form for one printf-style message: lock, module check, header, text.
    void message(LogLevel level, const char* module, const char* file, int line,
                 const char* function, const char* format, ...)
        __attribute__((format(printf, 7, 8)));

    // Text collected by the buffer log type.
    std::string getBuffer() const;
    void clearBuffer();

    static const char* levelName(int level);

    static std::recursive_mutex* _pLogLock;

  private:
    LogLevel _logLevel;
    LogType _logType;
    unsigned int _headerElem;
    std::ofstream _file;
    std::string _buffer;
    std::set<std::string> _modules;
};

// The global log, created on first use from the environment: KALVEX_LOG_LEVEL (number or level
// name, default warning), KALVEX_LOG_TYPE (stdout, stderr, file, buffer, none; default stderr),
// KALVEX_LOG_FILE (file name for the file type).
extern Log* osgLogP;
void doInitLog();
inline Log& osgLog() {
    if (!osgLogP) doInitLog();
    return *osgLogP;
}
inline bool logExists() {
    return osgLogP != nullptr;
}

// Stream-shaped form: osgStartLog locks and writes the header, the caller writes to the stream,
// osgEndLog writes the collected text and unlocks. Level filtering is the caller's job.
std::ostream& osgStartLog(bool checkLevel, LogLevel level, const char* module, const char* file,
                          int line, const char* function);
void osgEndLog();

// Module name of the stand-ins' own messages. The platform layer logs through this file only:
// it stands below the library and reaches nothing above it.
inline constexpr const char* PlatformLogModule = "osg";

}  // namespace Kalvex::osg

// The call form of the stand-ins' messages, level test first.
#define KALVEX_OSG_LOG_AT(level, ...)                                                            \
    do {                                                                                         \
        ::Kalvex::osg::Log& kalvexOsgLog_ = ::Kalvex::osg::osgLog();                             \
        if (kalvexOsgLog_.getLogLevel() >= (level))                                              \
            kalvexOsgLog_.message((level), ::Kalvex::osg::PlatformLogModule, __FILE__, __LINE__, \
                                  __PRETTY_FUNCTION__, __VA_ARGS__);                             \
    } while (0)
#define KALVEX_OSG_FATAL(...) KALVEX_OSG_LOG_AT(::Kalvex::osg::LOG_FATAL, __VA_ARGS__)
#define KALVEX_OSG_WARNING(...) KALVEX_OSG_LOG_AT(::Kalvex::osg::LOG_WARNING, __VA_ARGS__)
