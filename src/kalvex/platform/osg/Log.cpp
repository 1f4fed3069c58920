#include "kalvex/platform/osg/Log.h"

#include <strings.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

namespace Kalvex::osg {

namespace {
// Constant-initialised, so messages written during static initialisation find it ready.
std::recursive_mutex logLock;
}  // namespace

std::recursive_mutex* Log::_pLogLock = &logLock;
Log* osgLogP = nullptr;

namespace {

const char* const levelNames[] = {"LOG", "FATAL", "WARNING", "NOTICE", "INFO", "DEBUG"};
const char* const levelColors[] = {"\033[1m",    "\033[1;31m", "\033[1;33m",
                                   "\033[1;32m", "\033[1;36m", "\033[1;34m"};

LogLevel levelFromEnv(const char* text) {
    if (!text || !*text) return LOG_WARNING;
    char* end = nullptr;
    long n = std::strtol(text, &end, 10);
    if (end != text && *end == '\0') {
        if (n < LOG_LOG) return LOG_LOG;
        if (n > LOG_DEBUG) return LOG_DEBUG;
        return LogLevel(n);
    }
    for (int i = 0; i <= LOG_DEBUG; ++i)
        if (strcasecmp(text, levelNames[i]) == 0) return LogLevel(i);
    return LOG_WARNING;
}

LogType typeFromEnv(const char* text) {
    if (!text || !*text) return LOG_STDERR;
    static const struct {
        const char* name;
        LogType type;
    } types[] = {{"none", LOG_NONE},
                 {"stdout", LOG_STDOUT},
                 {"stderr", LOG_STDERR},
                 {"file", LOG_FILE},
                 {"buffer", LOG_BUFFER}};
    for (const auto& t : types)
        if (strcasecmp(text, t.name) == 0) return t.type;
    return LOG_STDERR;
}

// State of the stream-shaped form; the lock makes one collector enough.
std::ostringstream streamText;
bool streamActive = false;

}  // namespace

Log::Log() : _logLevel(LOG_WARNING), _logType(LOG_STDERR), _headerElem(LOG_TYPE_HEADER) {}

Log::~Log() = default;

void Log::setLogType(LogType type) {
    std::lock_guard<std::recursive_mutex> lock(*_pLogLock);
    if (type != LOG_FILE && _file.is_open()) _file.close();
    _logType = type;
}

bool Log::setLogFile(const char* fileName) {
    std::lock_guard<std::recursive_mutex> lock(*_pLogLock);
    if (_file.is_open()) _file.close();
    if (!fileName || !*fileName) return false;
    _file.open(fileName, std::ios::out | std::ios::trunc);
    if (!_file.is_open()) return false;
    _logType = LOG_FILE;
    return true;
}

void Log::addModuleName(const char* module) {
    if (module) _modules.insert(module);
}

void Log::clearModuleNames() {
    _modules.clear();
}

bool Log::checkModule(const char* module) const {
    if (_modules.empty()) return true;
    return module && _modules.count(module) != 0;
}

void Log::writeText(const std::string& text) {
    switch (_logType) {
        case LOG_STDOUT:
            std::fwrite(text.data(), 1, text.size(), stdout);
            std::fflush(stdout);
            break;
        case LOG_STDERR:
            std::fwrite(text.data(), 1, text.size(), stderr);
            break;
        case LOG_FILE:
            if (_file.is_open()) {
                _file << text;
                _file.flush();
            }
            break;
        case LOG_BUFFER:
            _buffer += text;
            break;
        case LOG_NONE:
            break;
    }
}

void Log::doHeader(LogLevel level, const char* module, const char*, int, const char*) {
    int lvl = (level < LOG_LOG || level > LOG_DEBUG) ? LOG_LOG : level;
    const char* sep = (_headerElem & LOG_TAB_SEP_HEADER) ? "\t" : ": ";
    std::string header;
    if (_headerElem & (LOG_TYPE_HEADER | LOG_COLOR_HEADER)) {
        if (_headerElem & LOG_COLOR_HEADER) {
            header += levelColors[lvl];
            header += levelNames[lvl];
            header += "\033[0m";
        } else {
            header += levelNames[lvl];
        }
        header += sep;
    }
    if ((_headerElem & LOG_MODULE_HEADER) && module) {
        header += module;
        header += sep;
    }
    if (!header.empty()) writeText(header);
}

void Log::doLogV(const char* format, va_list args) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (n < 0) return;
    if (size_t(n) < sizeof(small)) {
        writeText(std::string(small, size_t(n)));
        return;
    }
    std::vector<char> big(size_t(n) + 1);
    std::vsnprintf(big.data(), big.size(), format, args);
    writeText(std::string(big.data(), size_t(n)));
}

void Log::doLog(const char* format, ...) {
    va_list args;
    va_start(args, format);
    doLogV(format, args);
    va_end(args);
}

void Log::message(LogLevel level, const char* module, const char* file, int line,
                  const char* function, const char* format, ...) {
    std::lock_guard<std::recursive_mutex> lock(*_pLogLock);
    if (checkModule(module)) doHeader(level, module, file, line, function);
    va_list args;
    va_start(args, format);
    doLogV(format, args);
    va_end(args);
}

std::string Log::getBuffer() const {
    std::lock_guard<std::recursive_mutex> lock(*_pLogLock);
    return _buffer;
}

void Log::clearBuffer() {
    std::lock_guard<std::recursive_mutex> lock(*_pLogLock);
    _buffer.clear();
}

const char* Log::levelName(int level) {
    return (level < LOG_LOG || level > LOG_DEBUG) ? "UNKNOWN" : levelNames[level];
}

void doInitLog() {
    std::lock_guard<std::recursive_mutex> lock(*Log::_pLogLock);
    if (osgLogP) return;
    Log* log = new Log;  // lives until the process ends: messages may come from atexit handlers
    log->setLogLevel(levelFromEnv(std::getenv("KALVEX_LOG_LEVEL")));
    LogType type = typeFromEnv(std::getenv("KALVEX_LOG_TYPE"));
    if (type == LOG_FILE) {
        if (!log->setLogFile(std::getenv("KALVEX_LOG_FILE"))) type = LOG_STDERR;
    }
    log->setLogType(type);
    osgLogP = log;
}

std::ostream& osgStartLog(bool checkLevel, LogLevel level, const char* module, const char* file,
                          int line, const char* function) {
    Log& log = osgLog();
    Log::_pLogLock->lock();
    streamText.str(std::string());
    streamText.clear();
    streamActive = !checkLevel || level == LOG_LOG || log.getLogLevel() >= level;
    if (streamActive && log.checkModule(module)) log.doHeader(level, module, file, line, function);
    return streamText;
}

void osgEndLog() {
    if (streamActive) osgLog().writeText(streamText.str());
    streamActive = false;
    Log::_pLogLock->unlock();
}

}  // namespace Kalvex::osg
