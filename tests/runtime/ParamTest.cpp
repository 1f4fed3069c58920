// Context parameters: the four layers (declared default, KCP_ environment, command line, a merged
// setup node) and their order, the command line with its usage print and bad input, the typed
// readers, the log and ray intersection parameters, and the route parameter per context.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ExampleLoader.h"
#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using KalvexTest::LogCapture;

// argv as createContextVec gets it, program name first.
struct Args {
    explicit Args(std::vector<std::string> words) : _words(std::move(words)) {
        _words.insert(_words.begin(), "prog");
        for (std::string& word : _words) _argv.push_back(word.data());
    }
    int argc() { return int(_words.size()); }
    char** argv() { return _argv.data(); }

  private:
    std::vector<std::string> _words;
    std::vector<char*> _argv;
};

// Node types need their tree, and the log header default comes from the system.
class Params : public ::testing::Test {
  protected:
    void SetUp() override {
        KalvexExample::init();
        KalvexTest::initTypes();
        LogCapture quiet;
        if (!System::the().isInitialized()) System::the().init(0, nullptr, 0);
    }
    void TearDown() override {
        LogCapture quiet;
        System::the().exit();
    }
};

// A parameter name no earlier run in this process declared: rows live as long as the process.
std::string fresh(const std::string& name) {
    static int runs = 0;
    return name + std::to_string(++runs);
}

// A context of its own with its setup node made.
SmartPtr<Context> newContext() {
    SmartPtr<Context> context(Context::create());
    context->createSetup();
    return context;
}

// Applies what changed on the setup, as the synchronisation pass will.
void apply(Context& context, unsigned int id) {
    Field* field = context.paramField(id);
    ASSERT_NE(field, nullptr);
    context.getSetup()->getProc()->nodeChanged(0.0, field->partMask());
}

void set(Context& context, unsigned int id, const char* text) {
    Field* field = context.paramField(id);
    ASSERT_NE(field, nullptr);
    field->setValueByStr(text);
}

TEST_F(Params, LayersApplyWeakestFirst) {
    const std::string plainName = fresh("layerPlain"), envName = fresh("layerEnv");
    setenv(("KCP_" + envName).c_str(), "fromEnv", 1);
    LogCapture log;
    const unsigned int plain = Context::createParamID(plainName, "d", "Test", "code", nullptr);
    const unsigned int env = Context::createParamID(envName, "d", "Test", "code", nullptr);
    unsetenv(("KCP_" + envName).c_str());
    EXPECT_TRUE(log.contains("Overwrite context default value: KCP_" + envName + "/fromEnv\n"));
    EXPECT_EQ(Context::paramDesc(env)->defaultValue, "fromEnv");
    // A second declaration of a name is a row of its own.
    const unsigned int twice = Context::createParamID(plainName, "d", "Test", "again", nullptr);
    EXPECT_NE(twice, plain);

    // The command line, the value on a merged scene's setup (or null), the two values read.
    // clang-format off
    const struct { std::vector<std::string> commandLine; const char *merged, *plain, *env; } cases[] = {
        {{}, nullptr, "code", "fromEnv"}, {{"--" + envName + "=fromLine"}, nullptr, "code", "fromLine"},
        {{"--" + plainName, "fromLine"}, nullptr, "fromLine", "fromEnv"},
        {{"--" + plainName + "=fromLine"}, "fromScene", "fromScene", "fromScene"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.commandLine.empty() ? "defaults" : c.commandLine[0]);
        SmartPtr<Context> context = newContext();
        Args args(c.commandLine);
        std::vector<Context*> urls;
        ASSERT_TRUE(
            Context::createContextVec(args.argc(), args.argv(), *context->getSetup(), urls, true));
        if (c.merged) {
            SmartPtr<Context> scene = newContext();
            set(*scene, plain, c.merged);
            set(*scene, env, c.merged);
            context->mergeRoot(*scene, nullptr);
            EXPECT_TRUE(log.contains("Set Context field in merge: " + envName + "\n"));
        }
        EXPECT_EQ(context->paramSValue(plain), c.plain);
        EXPECT_EQ(context->paramSValue(env), c.env);
        EXPECT_EQ(context->paramSValue(twice), "again");
    }
}

TEST_F(Params, UndeclaredNameWaitsForItsDeclaration) {
    const std::string number = fresh("lateParam"), text = fresh("lateText");
    const std::string other = fresh("lateOther");
    LogCapture log;
    SmartPtr<Context> context = newContext();
    Args args({"--" + number + "=7", "--" + text, "x y"});
    std::vector<Context*> urls;
    EXPECT_TRUE(
        Context::createContextVec(args.argc(), args.argv(), *context->getSetup(), urls, true));
    EXPECT_TRUE(log.contains("Create PreDescStore elem: " + number + "\n"));
    ContextSetupProc* proc = context->getSetup()->getContextSetupProc();
    EXPECT_EQ(proc->preDescStore().size(), 2u);

    // A loaded scene's waiting value joins ours.
    SmartPtr<Context> scene = newContext();
    scene->paramField(other)->setValueByStr("z");
    context->mergeRoot(*scene, nullptr);
    EXPECT_EQ(proc->preDescStore().size(), 3u);

    const unsigned int numberID = Context::createParamID(number, "d", "Test", 0);
    const unsigned int textID = Context::createParamID(text, "d", "Test", "", nullptr);
    EXPECT_EQ(context->paramIValue(numberID), 7);
    EXPECT_EQ(context->paramSValue(textID), "x y");
    EXPECT_TRUE(log.contains("Add PreDescStore Value: " + number + "\n"));
    EXPECT_EQ(proc->preDescStore().count(number), 0u);
    EXPECT_EQ(proc->preDescStore().count(other), 1u);
}

TEST_F(Params, CommandLineForms) {
    const unsigned int level = ContextSetupProc::_sysLogLevelID;
    const unsigned int threads = ContextSetupProc::_appThreadCountID;
    // The words, the answer, sysLogLevel and appThreadCount afterwards, a message written.
    // Values are not checked against the list or the type; "name=" is a name of its own.
    // clang-format off
    const struct { std::vector<std::string> words; bool ok; std::string level; int threads; std::string message; } cases[] = {
        {{"-sysLogLevel", "debug"}, true, "debug", 16, "Valid parameter set: sysLogLevel/debug\n"},
        {{"---sysLogLevel=info", "--appThreadCount=3"}, true, "info", 3, ""},
        {{"--appThreadCount=3", "--appThreadCount", "5"}, true, "auto", 5, ""},  // later wins
        {{"--sysLogLevel=loud"}, true, "loud", 16, ""}, {{"--appThreadCount=many"}, true, "auto", 0, ""},
        {{"--sysLogLevel=", "info"}, true, "auto", 16, "Create PreDescStore elem: sysLogLevel=\n"},
        {{"--sysLogLevel"}, false, "auto", 16, "Invalid param/value: >sysLogLevel/<\n"},
        {{"--", "x"}, false, "auto", 16, "Invalid param/value: >/x<\n"},
        {{"noSuchUrl"}, false, "auto", 16, "Could not load URL: noSuchUrl\n"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.words[0]);
        LogCapture log;
        SmartPtr<Context> context = newContext();
        Args args(c.words);
        std::vector<Context*> urls;
        EXPECT_EQ(
            Context::createContextVec(args.argc(), args.argv(), *context->getSetup(), urls, true),
            c.ok);
        EXPECT_TRUE(urls.empty());
        EXPECT_EQ(context->paramSValue(level), c.level);
        EXPECT_EQ(context->paramIValue(threads), c.threads);
        EXPECT_TRUE(c.message.empty() || log.contains(c.message));
        // Only a failure prints the usage.
        EXPECT_EQ(log.contains("  --sysLogLevel "), !c.ok && c.words[0] != "noSuchUrl");
    }
}

TEST_F(Params, UsageListsEveryRowWithItsDefault) {
    setenv("KCP_usageEnv", "debug", 1);
    const unsigned int env =
        Context::createParamID("usageEnv", "set from outside", "Test", "auto", "log,debug");
    unsetenv("KCP_usageEnv");
    SmartPtr<Context> context = newContext();
    {
        LogCapture log;
        Args help({"--help"});
        std::vector<Context*> urls;
        EXPECT_FALSE(
            Context::createContextVec(help.argc(), help.argv(), *context->getSetup(), urls, true));
        EXPECT_TRUE(log.contains("Invalid param/value: >help/<\n"));
        EXPECT_TRUE(log.contains("  --sysLogLevel auto (log,fatal,warning,notice,info,debug)\n"));
        EXPECT_TRUE(log.contains("  --usageEnv debug (log,debug)\n"));
        EXPECT_TRUE(log.contains("    set from outside\n"));
        EXPECT_EQ(log.count("  --"), int(Context::paramCount()));
    }
    LogCapture log;  // not verbose: no usage
    Args help({"--help"});
    std::vector<Context*> urls;
    EXPECT_FALSE(
        Context::createContextVec(help.argc(), help.argv(), *context->getSetup(), urls, false));
    EXPECT_EQ(log.count("  --"), 0);
    EXPECT_EQ(context->paramSValue(env), "debug");
}

TEST_F(Params, UrlsBecomeContexts) {
    KalvexExample::ExampleLoader loader;
    SmartPtr<Context> context = newContext();
    Args args({"example:scene", "--appThreadCount=2", "example:a=Transform"});
    std::vector<Context*> urls;
    EXPECT_TRUE(
        Context::createContextVec(args.argc(), args.argv(), *context->getSetup(), urls, true));
    ASSERT_EQ(urls.size(), 2u);
    EXPECT_EQ(urls[0]->getSourceUrlLine(), "example:scene");
    for (Context* url : urls) SmartPtr<Context> drop(url);
    EXPECT_EQ(context->paramIValue(ContextSetupProc::_appThreadCountID), 2);
}

TEST_F(Params, ReadersConvertByFieldType) {
    const unsigned int flag = Context::createParamID("readFlag", "d", "Test", true);
    const unsigned int half = Context::createParamID("readHalf", "d", "Test", 0.5f);
    const unsigned int number = Context::createParamID("readNumber", "d", "Test", -3);
    const unsigned int word = Context::createParamID("readWord", "d", "Test", "TRUE", nullptr);
    const unsigned int digits = Context::createParamID("readDigits", "d", "Test", "12.75", nullptr);
    const unsigned int ray = ContextSetupProc::_rayIntersectModeID;
    SmartPtr<Context> context = newContext();
    set(*context, ray, "bbox");
    // clang-format off
    const struct { unsigned int id; bool b; int i; float f; std::string s; } cases[] = {
        {flag, true, 1, 1.0f, "TRUE"}, {half, false, 0, 0.5f, "0.5"}, {number, true, -3, -3.0f, "-3"},
        {word, false, 0, 0.0f, "TRUE"}, {digits, true, 12, 12.75f, "12.75"}, {ray, false, 4, 0.0f, "bbox"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(Context::paramDesc(c.id)->name);
        EXPECT_EQ(context->paramBValue(c.id), c.b);
        EXPECT_EQ(context->paramIValue(c.id), c.i);
        EXPECT_FLOAT_EQ(context->paramFValue(c.id), c.f);
        EXPECT_EQ(context->paramSValue(c.id), c.s);
    }
    set(*context, ray, "sideways");
    EXPECT_EQ(context->paramIValue(ray), 0);

    LogCapture log;
    const unsigned int past = Context::paramCount() + 3;
    EXPECT_EQ(context->paramField(past), nullptr);
    EXPECT_TRUE(log.contains("Could not return ContextSetup field " + std::to_string(past) + "/"));
    EXPECT_FALSE(context->paramBValue(past));
    EXPECT_EQ(context->paramSValue(past), "");
    EXPECT_TRUE(log.contains("No valid context ID ( "));
}

TEST_F(Params, SettingOnOneContextAppliesToItsRoutesOnly) {
    SmartPtr<Context> strict(KalvexExample::ExampleLoader::build("c=Counter m=Material"));
    SmartPtr<Context> loose(KalvexExample::ExampleLoader::build("c=Counter m=Material"));
    ASSERT_TRUE(strict && loose);
    set(*strict, Route::_forceSingleDataTypeRouteID, "TRUE");
    // SFInt32 into SFFloat: refused only where the context forces one type.
    for (Context* context : {strict.get(), loose.get()}) {
        NodeNameSpace* names = context->findRoot(KalvexExample::Scene::_type)->getNameSpace();
        auto* counter = static_cast<KalvexExample::Counter*>(NodeNameSpace::findNode(names, "c"));
        auto* paint = static_cast<KalvexExample::Material*>(NodeNameSpace::findNode(names, "m"));
        LogCapture log;
        EXPECT_EQ(
            Route::create(counter->total(), paint->shininess(), Route::Default, false) != nullptr,
            context == loose.get());
        EXPECT_EQ(log.contains("Invalid type mismatch"), context == strict.get());
        EXPECT_NE(Route::create(counter->total(), counter->count(), Route::Default, false),
                  nullptr);
    }
}

TEST_F(Params, LogParametersActOnTheLog) {
    // In a folder of its own: the word "file" is a file name too.
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "kalvex-param-test";
    std::filesystem::create_directories(dir);
    const std::filesystem::path cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir);
    const std::string file = (dir / "named.log").string();
    // "none" goes back to the type saved at attach, the capture's buffer.
    // clang-format off
    const std::pair<const char*, osg::LogType> outputs[] = {
        {"STDOUT", osg::LOG_STDOUT}, {"cerr", osg::LOG_STDERR}, {"none", osg::LOG_BUFFER},
        {file.c_str(), osg::LOG_FILE}, {"file", osg::LOG_FILE}};
    const std::pair<const char*, osg::LogLevel> levels[] = {
        {"debug", osg::LOG_DEBUG}, {"INFO", osg::LOG_INFO}, {"auto", osg::LOG_WARNING}, {"loud", osg::LOG_WARNING}};
    // clang-format on
    for (const auto& [value, type] : outputs) {
        SCOPED_TRACE(value);
        LogCapture log;
        SmartPtr<Context> context = newContext();
        osg::osgLog().setLogType(osg::LOG_NONE);
        set(*context, ContextSetupProc::_sysLogOutputID, value);
        apply(*context, ContextSetupProc::_sysLogOutputID);
        EXPECT_EQ(osg::osgLog().getLogType(), type);
    }
    EXPECT_TRUE(std::filesystem::exists(file) && std::filesystem::exists(dir / "file"));
    std::filesystem::current_path(cwd);
    std::filesystem::remove_all(dir);
    for (const auto& [value, level] : levels) {
        SCOPED_TRACE(value);
        LogCapture log(osg::LOG_LOG);
        SmartPtr<Context> context = newContext();
        set(*context, ContextSetupProc::_sysLogLevelID, value);
        apply(*context, ContextSetupProc::_sysLogLevelID);
        EXPECT_EQ(osg::osgLog().getLogLevel(), level);
    }

    LogCapture log;
    SmartPtr<Context> context = newContext();
    set(*context, ContextSetupProc::_sysLogHeaderID, "8");
    apply(*context, ContextSetupProc::_sysLogHeaderID);
    EXPECT_EQ(osg::osgLog().getHeaderElem(), 8u);
    EXPECT_TRUE(log.contains("Switch log header to 8\n"));
    set(*context, ContextSetupProc::_sysLogHeaderID, "-1");
    apply(*context, ContextSetupProc::_sysLogHeaderID);
    EXPECT_EQ(osg::osgLog().getHeaderElem(), unsigned(System::the().logHeader()));
}

TEST_F(Params, RayIntersectModeSetsThePlatformMode) {
    // clang-format off
    const std::pair<const char*, rayxt::IntersectMode> modes[] = {
        {"fast", rayxt::IntersectFast}, {"bbox", rayxt::IntersectBBox}, {"lowMem", rayxt::IntersectDefault},
        {"fastest", rayxt::IntersectFast}, {"Fast", rayxt::IntersectDefault}, {"auto", rayxt::IntersectDefault}};
    // clang-format on
    SmartPtr<Context> context = newContext();
    for (const auto& [value, mode] : modes) {
        SCOPED_TRACE(value);
        LogCapture log;
        set(*context, ContextSetupProc::_rayIntersectModeID, value);
        apply(*context, ContextSetupProc::_rayIntersectModeID);
        EXPECT_EQ(rayxt::intersectMode(), mode);
        EXPECT_TRUE(log.contains(std::string("Context rayIntersectMode: ") + value + "\n"));
    }
}

TEST_F(Params, SetupWithoutContextAppliesNothing) {
    SmartPtr<Context> context = newContext();
    SmartPtr<Node> setup(context->getSetup());
    context->paramField(ContextSetupProc::_rayIntersectModeID)->setValueByStr("bbox");
    rayxt::osg::unregister_rayxt_intersect();
    context->removeRoot(ContextSetup::_type);
    LogCapture log;
    setup->getProc()->nodeChanged(0.0, NodePartMask(~0UL));
    EXPECT_TRUE(log.contains("Invalid Context\n"));
    EXPECT_EQ(rayxt::intersectMode(), rayxt::IntersectDefault);
    // The next access makes a new setup with the defaults.
    EXPECT_EQ(context->paramSValue(ContextSetupProc::_rayIntersectModeID), "auto");
}

}  // namespace
