// The log: level filter, headers, log types, module filter, and the environment's set-up of the
// global log (checked in a child run of this program, since the global log reads it once).

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "kalvex/object/Logging.h"
#include "kalvex/platform/osg/Log.h"
#include "support/LogCapture.h"

namespace {

namespace osg = Kalvex::osg;

TEST(Log, LevelFiltersMessagesAndArgumentsOfDroppedOnes) {
    for (int current = 0; current <= 5; ++current) {
        KalvexTest::LogCapture log{osg::LogLevel(current)};
        for (int level = 0; level <= 5; ++level) {
            std::string text = "msg-" + std::to_string(level) + "\n";
            KALVEX_LOG_AT(osg::LogLevel(level), "%s", text.c_str());
            EXPECT_EQ(log.contains(text), level <= current)
                << "current " << current << " level " << level;
        }
    }
    KalvexTest::LogCapture log(osg::LOG_WARNING);
    int evaluated = 0;
    KINFO("%d\n", ++evaluated);
    KWARNING("%d\n", evaluated += 10);
    EXPECT_EQ(evaluated, 10);
}

// The whole line for "hello\n" by header mask: 0x1000 changes nothing printed, colour wraps the
// level name only.
TEST(Log, LineHasTheHeaderOfTheMask) {
    // clang-format off
    const struct { unsigned int mask; osg::LogLevel level; const char* expected; } cases[] = {
        {0x500a, osg::LOG_WARNING, "WARNING\tKalvex\thello\n"}, {0x400a, osg::LOG_DEBUG, "DEBUG\tKalvex\thello\n"},
        {0x600a, osg::LOG_WARNING, "\033[1;33mWARNING\033[0m\tKalvex\thello\n"},
        {0x700a, osg::LOG_INFO, "\033[1;36mINFO\033[0m\tKalvex\thello\n"}, {0x000a, osg::LOG_NOTICE, "NOTICE: Kalvex: hello\n"},
        {0x4002, osg::LOG_INFO, "INFO\thello\n"}, {0x4008, osg::LOG_INFO, "Kalvex\thello\n"}, {0x0000, osg::LOG_FATAL, "hello\n"}};
    // clang-format on
    for (const auto& c : cases) {
        KalvexTest::LogCapture log;
        osg::osgLog().setHeaderElem(c.mask);
        KALVEX_LOG_AT(c.level, "hello\n");
        EXPECT_EQ(log.text(), c.expected) << std::hex << c.mask;
    }
}

TEST(Log, BufferNoneAndLongMessages) {
    KalvexTest::LogCapture log;
    osg::osgLog().setLogType(osg::LOG_NONE);
    KLOG("lost\n");
    osg::osgLog().setLogType(osg::LOG_BUFFER);
    EXPECT_TRUE(log.text().empty());
    const std::string big(5000, 'x');
    KLOG("kept %d <%s>\n", 42, big.c_str());
    EXPECT_EQ(log.text(), "LOG\tKalvex\tkept 42 <" + big + ">\n");
}

TEST(Log, ModuleFilterDropsTheHeaderOfOtherModules) {
    osg::Log local;
    EXPECT_TRUE(local.checkModule("Kalvex"));
    local.addModuleName("Other");
    EXPECT_TRUE(!local.checkModule("Kalvex") && local.checkModule("Other") &&
                !local.checkModule(nullptr));
    local.setLogType(osg::LOG_BUFFER);
    local.setHeaderElem(0x400a);
    local.message(osg::LOG_WARNING, "Kalvex", __FILE__, __LINE__, "f", "text %d\n", 1);
    local.message(osg::LOG_WARNING, "Other", __FILE__, __LINE__, "f", "text %d\n", 2);
    EXPECT_EQ(local.getBuffer(), "text 1\nWARNING\tOther\ttext 2\n");
    local.clearModuleNames();
    EXPECT_TRUE(local.checkModule("Kalvex"));
}

TEST(Log, FileTypeWritesToTheFile) {
    const std::string path = ::testing::TempDir() + "kalvex_log_test.txt";
    osg::Log local;
    ASSERT_TRUE(local.setLogFile(path.c_str()));
    EXPECT_EQ(local.getLogType(), osg::LOG_FILE);
    local.setHeaderElem(0);
    local.message(osg::LOG_LOG, "Kalvex", __FILE__, __LINE__, "f", "in file\n");
    local.setLogType(osg::LOG_NONE);
    std::string line;
    std::getline(std::ifstream(path), line);
    std::remove(path.c_str());
    EXPECT_EQ(line, "in file");
    EXPECT_FALSE(local.setLogFile("") || local.setLogFile("/nonexistent-dir/x/y.log"));
}

TEST(Log, StreamFormWritesHeaderAndText) {
    KalvexTest::LogCapture log(osg::LOG_WARNING);
    osg::osgStartLog(true, osg::LOG_WARNING, "Kalvex", __FILE__, __LINE__, "f")
        << "streamed " << 7 << "\n";
    osg::osgEndLog();
    osg::osgStartLog(true, osg::LOG_INFO, "Kalvex", __FILE__, __LINE__, "f") << "dropped\n";
    osg::osgEndLog();
    osg::osgStartLog(false, osg::LOG_INFO, "Kalvex", __FILE__, __LINE__, "f") << "unchecked\n";
    osg::osgEndLog();
    EXPECT_EQ(log.text(), "WARNING\tKalvex\tstreamed 7\nINFO\tKalvex\tunchecked\n");
}

// Child side, run only by LogEnvironment below: how the global log came up.
TEST(LogEnvProbe, DISABLED_Report) {
    if (!std::getenv("KALVEX_TEST_LOG_PROBE")) return;
    osg::Log& log = osg::osgLog();
    std::printf("PROBE level=%d type=%d\n", int(log.getLogLevel()), int(log.getLogType()));
}

// Runs the probe with the given environment assignments; returns "level=N type=M" or "".
std::string probe(const std::string& env) {
    const std::string cmd =
        "env -u KALVEX_LOG_LEVEL -u KALVEX_LOG_TYPE -u KALVEX_LOG_FILE " + env +
        " KALVEX_TEST_LOG_PROBE=1 '" + std::filesystem::read_symlink("/proc/self/exe").string() +
        "' --gtest_also_run_disabled_tests --gtest_filter=LogEnvProbe.DISABLED_Report 2>/dev/null";
    FILE* pipe = popen(cmd.c_str(), "r");
    if (!pipe) return "";
    std::string result;
    char line[512];
    while (std::fgets(line, sizeof(line), pipe))
        if (std::strncmp(line, "PROBE ", 6) == 0)
            result.assign(line + 6, std::strcspn(line, "\n") - 6);
    pclose(pipe);
    return result;
}

TEST(LogEnvironment, LevelAndTypeAreReadAtFirstUse) {
    const std::string logFile = ::testing::TempDir() + "kalvex_env_probe.log";
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"", "level=2 type=2"},  // warning on stderr
        {"KALVEX_LOG_LEVEL=info", "level=4 type=2"}, {"KALVEX_LOG_LEVEL=9", "level=5 type=2"},
        {"KALVEX_LOG_LEVEL=-3", "level=0 type=2"}, {"KALVEX_LOG_LEVEL=loud", "level=2 type=2"},
        {"KALVEX_LOG_TYPE=BUFFER", "level=2 type=4"}, {"KALVEX_LOG_TYPE=none", "level=2 type=0"},
        {"KALVEX_LOG_TYPE=file", "level=2 type=2"},  // no file name: stays on stderr
        {"KALVEX_LOG_TYPE=file KALVEX_LOG_FILE='" + logFile + "'", "level=2 type=3"}};
    // clang-format on
    for (const auto& [env, expected] : cases) EXPECT_EQ(probe(env), expected) << env;
    std::remove(logFile.c_str());
}

}  // namespace
