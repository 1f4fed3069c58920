// The process singleton: start and stop, its subjects, the context bag and the frame waits.
// The System lives for the whole program, so every test leaves it stopped.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Observer.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/System.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;

// Journals the subject name, the objects and what the system looks like at that moment.
class SystemWatcher : public Observer {
  public:
    SystemWatcher(Subject& subject, std::vector<std::string>& journal)
        : Observer(subject, subject.getName().c_str()), _journal(journal) {}
    void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) override {
        _journal.push_back(getName());
        times.push_back(time);
        firstObjects.push_back(a);
        nullRest = nullRest && b == nullptr && c == nullptr;
        bagSizes.push_back(int(System::the().contextBag().size()));
        objCount = BaseObject::_objCount;
        if (hook) hook();
    }
    std::vector<TimeStamp> times;
    std::vector<BaseObject*> firstObjects;
    std::vector<int> bagSizes;
    bool nullRest = true;
    int objCount = 0;
    std::function<void()> hook;

  private:
    std::vector<std::string>& _journal;
};

class TrackedContext : public Context {
  public:
    explicit TrackedContext(bool* destroyed, const std::string& name = "") : _destroyed(destroyed) {
        setName(name);
    }
    ~TrackedContext() override {
        if (_destroyed) *_destroyed = true;
    }

  private:
    bool* _destroyed;
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
    SystemWatcher init(*System::initSystemSubject(), journal);
    SystemWatcher exit(*System::exitSystemSubject(), journal);
    SystemWatcher shut(*System::shutdownSystemSubject(), journal);
    KalvexTest::LogCapture log;
    System::the().exit();  // not running: warns and fires nothing
    EXPECT_EQ(log.count("Run System::exit() and System is not initialized\n"), 1);
    EXPECT_TRUE(journal.empty());
    start();
    EXPECT_EQ(journal, std::vector<std::string>{"initSystem"});
    System::the().exit();
    EXPECT_EQ(journal, (std::vector<std::string>{"initSystem", "exitSystem", "shutdownSystem"}));
    for (SystemWatcher* w : {&init, &exit, &shut}) {
        EXPECT_EQ(w->firstObjects, std::vector<BaseObject*>{&System::the()}) << w->getName();
        EXPECT_EQ(w->times, std::vector<TimeStamp>{0.0});
        EXPECT_TRUE(w->nullRest);
    }
}

TEST_F(SystemTest, HeaderMaskFollowsTheLogFlagsAndASecondInitChangesNothing) {
    const int color = System::SysColorLog, extra = System::SysLogHeaderExtra;
    const std::pair<int, int> cases[] = {{0, 0x400a},
                                         {color, 0x600a},
                                         {extra, 0x500a},
                                         {color | extra, 0x700a},
                                         {0x1 | 0x400, 0x400a}};  // host bits change nothing here
    for (const auto& [flags, header] : cases) {
        KalvexTest::LogCapture log;
        System::the().init(0, nullptr, flags);
        System::the().init(0, nullptr, extra | System::SysCLocale);
        EXPECT_EQ(log.count("Run System::init() and System is already initialized\n"), 1);
        EXPECT_EQ(System::the().logHeader(), header) << flags;
        EXPECT_EQ(int(osg::osgLog().getHeaderElem()), header) << flags;
        EXPECT_EQ(System::the().flags(), int64_t(flags));
        EXPECT_EQ(log.count("Init: "), 1);
        System::the().exit();
    }
}

TEST_F(SystemTest, InitWritesTheStartLineAtAnyLevelAndDumpTheVersion) {
    KalvexTest::LogCapture log{osg::LOG_FATAL};
    System::the().init(0, nullptr, 0);
    std::string line = "Init: 0/" + std::to_string(NodeType::typeCount()) +
                       ", V2.6.0 build: R-28726 Sep 30 2015\n";
    EXPECT_TRUE(log.contains(line)) << log.text();
    EXPECT_EQ(System::the().name(), "Kalvex");
    EXPECT_FALSE(log.contains("Incomplete DocStatus"));
    ::testing::internal::CaptureStderr();
    System::the().dump();
    std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind("Kalvex: V2.6.0 build: R-28726 Sep 30 2015\n", 0), 0u) << err;
}

TEST_F(SystemTest, ExitWithContextsShowsThemToExitObserversOnly) {
    std::vector<std::string> journal;
    SystemWatcher exit(*System::exitSystemSubject(), journal);
    SystemWatcher shut(*System::shutdownSystemSubject(), journal);
    start();
    bool firstDead = false, secondDead = false;
    auto* first = new TrackedContext(&firstDead, "first");
    auto* second = new TrackedContext(&secondDead, "second");
    SmartPtr<Context> keepSecond(second);
    ASSERT_TRUE(System::the().addContext(*first));
    ASSERT_TRUE(System::the().addContext(*second));
    Context* seenByExit = nullptr;
    exit.hook = [&] { seenByExit = System::the().findContext("first"); };
    KalvexTest::LogCapture quiet;
    System::the().exit();
    EXPECT_EQ(exit.bagSizes, std::vector<int>{2});
    EXPECT_EQ(seenByExit, first);
    EXPECT_EQ(shut.bagSizes, std::vector<int>{0});
    EXPECT_TRUE(firstDead);  // nobody else held it
    EXPECT_FALSE(secondDead);
    EXPECT_EQ(second->refCount(), 1);
}

TEST_F(SystemTest, ExitReportsNodesAndObjectsLeft) {
    std::vector<std::string> journal;
    SystemWatcher shut(*System::shutdownSystemSubject(), journal);
    start();
    KalvexTest::NodeHolder left;
    const unsigned nodes = Node::idMapSize();
    KalvexTest::LogCapture log;
    System::the().exit();
    std::string expected = "Kalvex::exitSystem() call and node/obj left: " + std::to_string(nodes) +
                           "/" + std::to_string(shut.objCount) + "\n";
    EXPECT_TRUE(log.contains("WARNING\tKalvex\t" + expected)) << log.text();
}

TEST_F(SystemTest, ShutdownAndAtExitHandlerStopARunningSystem) {
    const struct {
        void (*stop)();
        osg::LogLevel level;
        const char* line;  // written at that level, or nullptr
    } cases[] = {
        {[] { System::the().shutdown(); }, osg::LOG_FATAL, "Run System::shutdown\n"},
        {&System::atExitHandler, osg::LOG_INFO, "Run System::atExitHandler\n"},
        {&System::atExitHandler, osg::LOG_NOTICE, nullptr},
    };
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

TEST_F(SystemTest, SigIntHandlerStopsAndEndsTheProcess) {
    EXPECT_EXIT(
        {
            KalvexTest::LogCapture quiet;
            System::the().init(0, nullptr, 0);
            System::sigIntHandler(2);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(SystemTest, EmptyBagWarnsOnEveryCall) {
    KalvexTest::LogCapture log;
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_EQ(log.count("Run system without context\n"), 2);
    EXPECT_TRUE(System::the().setRootState(0.0, Live));
}

TEST_F(SystemTest, EmptyBagEndsTheProcessWhenAskedTo) {
    EXPECT_EXIT(
        {
            KalvexTest::LogCapture quiet;
            System::the().init(0, nullptr, System::SysExitWithoutContext);
            System::runContextBag();
            std::exit(3);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(SystemTest, DisposedContextsAreReleasedOnceAndThenSkipped) {
    start();
    bool aDead = false, bDead = false;
    auto* a = new TrackedContext(&aDead, "a");
    auto* b = new TrackedContext(&bDead, "b");
    System::the().addContext(*a);
    System::the().addContext(*b);
    a->exit();
    b->exit();
    KalvexTest::LogCapture log;
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_EQ(log.count("Subref DISPOSED Context\n"), 2);
    EXPECT_EQ(log.count("Run system without context\n"), 1);
    EXPECT_TRUE(aDead);
    EXPECT_TRUE(bDead);
    EXPECT_EQ(System::the().contextBag().size(), 2u);  // the entries stay, empty

    log.clear();
    EXPECT_EQ(System::runContextBag(), -1.0);
    EXPECT_FALSE(log.contains("Subref DISPOSED"));
    EXPECT_EQ(log.count("Run system without context\n"), 1);
    EXPECT_EQ(System::the().findContext("a"), nullptr);

    // A live context added later runs past the empty entries. It outlives this body (the bag
    // lets it go at exit), so it reports its end to nobody.
    auto* c = new TrackedContext(nullptr, "a");
    System::the().addContext(*c);
    EXPECT_EQ(System::runContextBag(), 0.0);
    EXPECT_EQ(System::the().findContext("a"), c);
}

TEST_F(SystemTest, FrameWaitIsTheSmallestOfAllContextsCappedAt1000) {
    const std::pair<std::vector<double>, double> cases[] = {{{25.0}, 0.04},
                                                            {{4.0, 10.0, 2.0}, 0.1},
                                                            {{10.0, 0.0}, 0.0},  // no rate: no wait
                                                            {{0.0005}, 1000.0},
                                                            {{0.0001, 0.5}, 2.0}};
    for (const auto& [rates, expected] : cases) {
        start();
        std::vector<int> frames(rates.size(), 0);
        std::vector<std::unique_ptr<Observer>> counters;
        std::vector<Context*> contexts;
        for (size_t i = 0; i < rates.size(); ++i) {
            Context* c = new Context;
            c->setFrameRate(rates[i]);
            System::the().addContext(*c);
            contexts.push_back(c);
            counters.push_back(std::make_unique<Observer>(*c->runFrameSubject(), "frames"));
            counters.back()->addCallback(
                [](const TimeStamp&, Observer*, BaseObject*, BaseObject*, BaseObject*,
                   const void* user) { ++*static_cast<int*>(const_cast<void*>(user)); },
                &frames[i]);
        }
        EXPECT_DOUBLE_EQ(System::runContextBag(), expected) << rates[0];
        EXPECT_EQ(frames, std::vector<int>(rates.size(), 1));
        for (Context* c : contexts) EXPECT_EQ(c->getState(), Live);
        counters.clear();
        KalvexTest::LogCapture quiet;
        System::the().exit();
    }
}

TEST_F(SystemTest, AddRemoveAndFindContexts) {
    start();
    SmartPtr<Context> older(new Context), newer(new Context), other(new Context);
    older->setName("Main");
    newer->setName("Main");
    other->setName("main");
    KalvexTest::LogCapture log;
    EXPECT_TRUE(System::the().addContext(*older));
    EXPECT_FALSE(System::the().addContext(*older));  // identity, not name, is refused
    EXPECT_EQ(log.count("Cannot register context a second time in System\n"), 1);
    EXPECT_EQ(older->refCount(), 2);
    EXPECT_TRUE(System::the().addContext(*other));
    EXPECT_TRUE(System::the().addContext(*newer));
    EXPECT_EQ(System::the().findContext("Main"), newer.get());  // added last, so in front
    EXPECT_EQ(System::the().findContext("main"), other.get());
    for (const char* name : {"MAIN", "Main ", ""})
        EXPECT_EQ(System::the().findContext(name), nullptr);

    // Remove hands back the bag's reference; a second remove finds nothing.
    bool dead = false;
    auto* c = new TrackedContext(&dead, "c");
    System::the().addContext(*c);
    {
        SmartPtr<Context> removed = System::the().removeContext(*c);
        EXPECT_EQ(removed.get(), c);
        EXPECT_EQ(c->refCount(), 1);
        EXPECT_EQ(System::the().removeContext(*c).get(), nullptr);
        EXPECT_FALSE(dead);
    }
    EXPECT_TRUE(dead);  // the caller let go of the last reference
    EXPECT_EQ(System::the().contextBag().size(), 3u);
    EXPECT_EQ(log.count("\n"), 1);
}

}  // namespace
