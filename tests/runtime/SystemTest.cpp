// The process singleton: start and stop, its subjects, the context bag and the frame waits.
// The System lives for the whole program, so every test leaves it stopped.

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;

// Journals "subject:who@time/bag": who is "system" when the system alone is passed, the bag's
// size is that at the moment.
class SystemWatcher : public Observer {
  public:
    SystemWatcher(Subject& subject, std::vector<std::string>& journal)
        : Observer(subject, subject.getName().c_str()), _journal(journal) {}
    void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) override {
        char entry[128];
        std::snprintf(entry, sizeof entry, "%s:%s@%g/%zu", getName().c_str(),
                      a == &System::the() && !b && !c ? "system" : "?", double(time),
                      System::the().contextBag().size());
        _journal.push_back(entry);
        objCount = BaseObject::_objCount;
        if (hook) hook();
    }
    int objCount = 0;
    std::function<void()> hook;

  private:
    std::vector<std::string>& _journal;
};

// A context that journals its end as "<name>.dead".
class TrackedContext : public Context {
  public:
    TrackedContext(const std::string& name, std::vector<std::string>* journal) : _journal(journal) {
        setName(name);
    }
    ~TrackedContext() override {
        if (_journal) _journal->push_back(getName() + ".dead");
    }

  private:
    std::vector<std::string>* _journal;
};

class SystemTest : public ::testing::Test {
  protected:
    void TearDown() override {
        KalvexTest::LogCapture quiet;
        if (System::the().isInitialized()) System::the().exit();
        EXPECT_TRUE(System::the().contextBag().empty());
    }
    void start(int flags = 0) {
        KalvexTest::LogCapture quiet;
        System::the().init(0, nullptr, flags);
    }
};

TEST_F(SystemTest, SubjectsFireInOrderWithTheSystemFirst) {
    std::vector<std::string> journal;
    SystemWatcher init(*System::initSystemSubject(), journal),
        exit(*System::exitSystemSubject(), journal),
        shut(*System::shutdownSystemSubject(), journal);
    KalvexTest::LogCapture log;
    System::the().exit();  // not running: warns and fires nothing
    EXPECT_EQ(log.count("Run System::exit() and System is not initialized\n"), 1);
    EXPECT_TRUE(journal.empty());
    start();
    EXPECT_EQ(journal, std::vector<std::string>{"initSystem:system@0/0"});
    System::the().exit();
    EXPECT_EQ(journal, (std::vector<std::string>{"initSystem:system@0/0", "exitSystem:system@0/0",
                                                 "shutdownSystem:system@0/0"}));
}

TEST_F(SystemTest, HeaderMaskFollowsTheLogFlagsAndASecondInitChangesNothing) {
    const int color = System::SysColorLog, extra = System::SysLogHeaderExtra;
    // clang-format off
    const std::pair<int, int> cases[] = {
        {0, 0x400a}, {color, 0x600a}, {extra, 0x500a}, {color | extra, 0x700a},
        {0x1 | 0x400, 0x400a}};  // host bits change nothing here
    // clang-format on
    for (const auto& [flags, header] : cases) {
        KalvexTest::LogCapture log;
        System::the().init(0, nullptr, flags);
        System::the().init(0, nullptr, extra | System::SysCLocale);
        EXPECT_EQ(log.count("Run System::init() and System is already initialized\n"), 1);
        EXPECT_EQ(System::the().logHeader(), header) << flags;
        EXPECT_EQ(int(osg::osgLog().getHeaderElem()), header) << flags;
        EXPECT_EQ(log.count("Init: "), 1);
        System::the().exit();
    }
}

// The start line is written at any level; the library's own types are documented in full, so no
// warning about their documentation follows it.
TEST_F(SystemTest, InitWritesTheStartLineAndNoDocWarning) {
    KalvexTest::LogCapture log{osg::LOG_WARNING};
    System::the().init(0, nullptr, 0);
    EXPECT_EQ(log.text(), "LOG\tKalvex\tInit: 0/" + std::to_string(NodeType::typeCount()) +
                              ", V2.6.0 build: R-28726 Sep 30 2015\n");
}

// Exit observers still see the contexts, shutdown observers no longer; what is left is reported.
TEST_F(SystemTest, ExitWithContextsShowsThemToExitObserversOnlyAndReportsWhatIsLeft) {
    std::vector<std::string> journal;
    SystemWatcher exit(*System::exitSystemSubject(), journal),
        shut(*System::shutdownSystemSubject(), journal);
    start();
    auto* first = new TrackedContext("first", &journal);
    auto* second = new TrackedContext("second", &journal);
    SmartPtr<Context> keepSecond(second);
    ASSERT_TRUE(System::the().addContext(*first));
    ASSERT_TRUE(System::the().addContext(*second));
    Context* seenByExit = nullptr;
    exit.hook = [&] { seenByExit = System::the().findContext("first"); };
    KalvexTest::NodeHolder left;
    KalvexTest::LogCapture log;
    System::the().exit();
    // The bag lets both go; nobody else held the first.
    EXPECT_EQ(journal, (std::vector<std::string>{"exitSystem:system@0/2", "first.dead",
                                                 "shutdownSystem:system@0/0"}));
    EXPECT_EQ(seenByExit, first);
    EXPECT_EQ(second->refCount(), 1);
    EXPECT_EQ(log.text(), "WARNING\tKalvex\tKalvex::exitSystem() call and node/obj left: " +
                              std::to_string(Node::idMapSize()) + "/" +
                              std::to_string(shut.objCount) + "\n");
}

TEST_F(SystemTest, ShutdownAndAtExitHandlerStopARunningSystem) {
    // How the system is stopped, at which log level, and the line written then (or none).
    // clang-format off
    const struct { void (*stop)(); osg::LogLevel level; const char* line; } cases[] = {
        {[] { System::the().shutdown(); }, osg::LOG_FATAL, "Run System::shutdown\n"},
        {&System::atExitHandler, osg::LOG_INFO, "Run System::atExitHandler\n"}, {&System::atExitHandler, osg::LOG_NOTICE, nullptr}};
    // clang-format on
    for (const auto& c : cases) {
        start();
        KalvexTest::LogCapture log{c.level};
        c.stop();
        EXPECT_FALSE(System::the().isInitialized());
        c.stop();  // stopped already: harmless, no second exit warning
        EXPECT_FALSE(log.contains("not initialized"));
        EXPECT_EQ(log.contains(c.line ? c.line : "Run System::"), c.line != nullptr);
    }
}

// An interrupt, or a frame without any context when the flags ask for it, ends the process.
TEST_F(SystemTest, SigIntAndAnEmptyBagEndTheProcess) {
    KalvexTest::LogCapture quiet;
    EXPECT_EXIT((start(), System::sigIntHandler(2)), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT((start(System::SysExitWithoutContext), System::runContextBag(), std::exit(3)),
                ::testing::ExitedWithCode(0), "");
}

TEST_F(SystemTest, DisposedContextsAreReleasedOnceAndThenSkipped) {
    EXPECT_TRUE(System::the().setRootState(0.0, Live));  // no context: nothing to refuse
    start();
    std::vector<std::string> journal;
    auto* a = new TrackedContext("a", &journal);
    auto* b = new TrackedContext("b", &journal);
    System::the().addContext(*a);
    System::the().addContext(*b);
    a->exit();
    b->exit();
    KalvexTest::LogCapture log;
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_EQ(log.count("Subref DISPOSED Context\n"), 2);
    EXPECT_EQ(log.count("Run system without context\n"), 1);
    EXPECT_EQ(journal.size(), 2u);  // both dead; their entries stay, empty

    log.clear();
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_FALSE(log.contains("Subref DISPOSED"));
    EXPECT_EQ(System::the().findContext("a"), nullptr);

    // A live context added later runs past the empty entries. It outlives this body (the bag
    // lets it go at exit), so it reports its end to nobody.
    auto* c = new TrackedContext("a", nullptr);
    System::the().addContext(*c);
    EXPECT_EQ(System::runContextBag(), 0.0);
    EXPECT_EQ(System::the().findContext("a"), c);
}

// Each context runs one frame; the wait is the shortest frame time, 0 for a context without rate.
TEST_F(SystemTest, FrameWaitIsTheSmallestOfAllContextsCappedAt1000) {
    // clang-format off
    const std::pair<std::vector<double>, double> cases[] = {
        {{4.0, 10.0, 2.0}, 0.1}, {{10.0, 0.0}, 0.0}, {{0.0005}, 1000.0}, {{0.0001, 0.5}, 2.0}};
    // clang-format on
    for (const auto& [rates, expected] : cases) {
        start();
        std::vector<std::string> frames;
        std::vector<std::unique_ptr<SystemWatcher>> watchers;
        std::vector<Context*> contexts;
        for (double rate : rates) {
            contexts.push_back(new Context);
            contexts.back()->setFrameRate(rate);
            System::the().addContext(*contexts.back());
            watchers.push_back(
                std::make_unique<SystemWatcher>(*contexts.back()->runFrameSubject(), frames));
        }
        EXPECT_DOUBLE_EQ(System::runContextBag(), expected) << rates[0];
        EXPECT_EQ(frames.size(), rates.size());  // and all are live: one frame each
        for (Context* c : contexts) EXPECT_EQ(c->getState(), Live);
        watchers.clear();
        KalvexTest::LogCapture quiet;
        System::the().exit();
    }
}

TEST_F(SystemTest, AddRemoveAndFindContexts) {
    start();
    SmartPtr<Context> older(new TrackedContext("Main", nullptr)),
        newer(new TrackedContext("Main", nullptr)), other(new TrackedContext("main", nullptr));
    KalvexTest::LogCapture log;
    EXPECT_TRUE(System::the().addContext(*older));
    EXPECT_FALSE(System::the().addContext(*older));  // identity, not name, is refused
    EXPECT_EQ(log.count("Cannot register context a second time in System\n"), 1);
    EXPECT_TRUE(System::the().addContext(*other));
    EXPECT_TRUE(System::the().addContext(*newer));
    EXPECT_EQ(System::the().findContext("Main"), newer.get());  // added last, so in front
    EXPECT_EQ(System::the().findContext("main"), other.get());
    EXPECT_EQ(System::the().findContext("MAIN"), nullptr);

    // Remove hands back the bag's reference; a second remove finds nothing.
    std::vector<std::string> journal;
    auto* c = new TrackedContext("c", &journal);
    System::the().addContext(*c);
    {
        SmartPtr<Context> removed = System::the().removeContext(*c);
        EXPECT_TRUE(removed.get() == c && c->refCount() == 1);
        EXPECT_EQ(System::the().removeContext(*c).get(), nullptr);
        EXPECT_TRUE(journal.empty());
    }
    EXPECT_EQ(journal, std::vector<std::string>{"c.dead"});  // the caller let go of the last one
    EXPECT_EQ(System::the().contextBag().size(), 3u);
}

}  // namespace
