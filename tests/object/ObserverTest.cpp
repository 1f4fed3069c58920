// Subject and Observer: who is entered where, the order of callbacks and notify, and walks that
// survive observers leaving or dying.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/Subject.h"
#include "support/LogCapture.h"

namespace {

using Kalvex::BaseObject;
using Kalvex::Observer;
using Kalvex::Subject;
using Kalvex::TimeStamp;

// Writes "<name>.notify" into a shared journal and runs an optional hook.
class Recorder : public Observer {
  public:
    Recorder(const char* name, std::vector<std::string>& journal)
        : Observer(name), _journal(journal) {}
    Recorder(Subject& subject, const char* name, std::vector<std::string>& journal)
        : Observer(subject, name), _journal(journal) {}
    void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) override {
        _journal.push_back(getName() + ".notify");
        lastTime = time;
        args = {a, b, c};
        if (hook) hook();
    }
    std::function<void()> hook;
    TimeStamp lastTime = -1.0;
    std::vector<BaseObject*> args;

  private:
    std::vector<std::string>& _journal;
};

// A callback's user data: the journal and the text it writes, plus an optional action.
struct CallbackData {
    std::vector<std::string>* journal;
    std::string text;
    std::function<void(Observer*)> action;
};

void journalCallback(const TimeStamp&, Observer* observer, BaseObject*, BaseObject*, BaseObject*,
                     const void* userData) {
    const auto* data = static_cast<const CallbackData*>(userData);
    data->journal->push_back(data->text);
    if (data->action) data->action(observer);
}

TEST(Subject, NotifyWithoutObserversReturnsAndCreatesNothing) {
    Subject s("quiet");
    EXPECT_FALSE(s.hasObserverList());
    s.notifyObserver(1.0, nullptr, nullptr, nullptr);
    Kalvex::notifySubject(&s, 1.0);
    Kalvex::notifySubject(nullptr, 1.0);
    EXPECT_FALSE(s.hasObserverList());
    EXPECT_EQ(s.countObserver(), 0);
    EXPECT_FALSE(s.wantsNotify());
}

TEST(Subject, AttachingTwiceKeepsOneEntry) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder o("o", journal);
    s.attach(o);
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 1);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, std::vector<std::string>{"o.notify"});
}

TEST(Subject, AttachingElsewhereMovesTheObserver) {
    std::vector<std::string> journal;
    Subject a("a"), b("b");
    Recorder o(a, "o", journal);
    EXPECT_EQ(o.getSubject(), &a);
    b.attach(o);
    EXPECT_EQ(a.countObserver(), 0);
    EXPECT_EQ(b.countObserver(), 1);
    EXPECT_EQ(o.getSubject(), &b);
    a.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_TRUE(journal.empty());
    b.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal.size(), 1u);
    // The emptied list of a stays allocated: a sender still passes its guard.
    EXPECT_TRUE(a.hasObserverList());
}

TEST(Subject, SetSubjectRecordsWithoutEntering) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder o("o", journal);
    o.setSubject(&s);
    EXPECT_EQ(o.getSubject(), &s);
    EXPECT_EQ(s.countObserver(), 0);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_TRUE(journal.empty());
    // attach finds it bound already and returns: still not entered.
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 0);
    // detach unbinds it without harm, once the subject has a list at all.
    s.detach(o);
    EXPECT_EQ(o.getSubject(), &s);
    Recorder listed(s, "listed", journal);
    s.detach(o);
    EXPECT_EQ(s.countObserver(), 1);
    EXPECT_EQ(o.getSubject(), nullptr);
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 2);

    // setSubject away from a real subject leaves that subject.
    Subject other("other");
    o.setSubject(&other);
    EXPECT_EQ(s.countObserver(), 1);
    EXPECT_EQ(other.countObserver(), 0);
    EXPECT_EQ(o.getSubject(), &other);
}

TEST(Subject, DetachOfAForeignObserverDoesNothing) {
    std::vector<std::string> journal;
    Subject a("a"), b("b");
    Recorder o(a, "o", journal);
    b.detach(o);
    EXPECT_EQ(o.getSubject(), &a);
    EXPECT_EQ(a.countObserver(), 1);
}

TEST(Observer, CopyIsReportedNamesTheSubjectAndHearsNothing) {
    KalvexTest::LogCapture log;
    std::vector<std::string> journal;
    Subject s("s");
    Recorder source(s, "src", journal);
    std::vector<std::string> userJournal;
    CallbackData data{&userJournal, "cb", nullptr};
    source.addCallback(&journalCallback, &data);

    Observer copy(source);
    EXPECT_TRUE(log.contains("Running Notification Handler copy constructor !\n"));
    EXPECT_EQ(copy.getName(), "src");
    EXPECT_EQ(copy.getSubject(), &s);
    EXPECT_EQ(copy.countCallback(), 0);
    EXPECT_EQ(s.countObserver(), 1);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal.size(), 1u);
    EXPECT_EQ(userJournal.size(), 1u);  // the source's callback, once
}

TEST(Observer, CallbacksRunBeforeNotifyInIdOrder) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder first(s, "first", journal);
    Recorder second(s, "second", journal);
    CallbackData c1{&journal, "second.cb1", nullptr};
    CallbackData c2{&journal, "first.cb2", nullptr};
    CallbackData c3{&journal, "second.cb3", nullptr};
    int id1 = second.addCallback(&journalCallback, &c1);
    int id2 = first.addCallback(&journalCallback, &c2);
    int id3 = second.addCallback(&journalCallback, &c3);
    EXPECT_EQ(id2, id1 + 1);  // one counter for all observers
    EXPECT_EQ(id3, id1 + 2);
    Kalvex::BaseTypeObject<int> a(1), b(2), c(3);
    s.notifyObserver(2.5, &a, &b, &c);
    EXPECT_EQ(journal, (std::vector<std::string>{"first.cb2", "first.notify", "second.cb1",
                                                 "second.cb3", "second.notify"}));
    EXPECT_EQ(second.lastTime, 2.5);
    EXPECT_EQ(second.args, (std::vector<BaseObject*>{&a, &b, &c}));
}

TEST(Observer, CallbackArgumentsReachTheCallback) {
    struct Seen {
        TimeStamp time = -1;
        Observer* observer = nullptr;
        BaseObject* objects[3] = {nullptr, nullptr, nullptr};
    } seen;
    auto cb = [](const TimeStamp& t, Observer* o, BaseObject* a, BaseObject* b, BaseObject* c,
                 const void* user) {
        auto* out = const_cast<Seen*>(static_cast<const Seen*>(user));
        out->time = t;
        out->observer = o;
        out->objects[0] = a;
        out->objects[1] = b;
        out->objects[2] = c;
    };
    Subject s("s");
    Observer o(s, "o");
    o.addCallback(cb, &seen);
    Kalvex::BaseTypeObject<bool> x(true);
    s.notifyObserver(0.0, &x, nullptr, &x);
    EXPECT_EQ(seen.time, 0.0);
    EXPECT_EQ(seen.observer, &o);
    EXPECT_EQ(seen.objects[0], &x);
    EXPECT_EQ(seen.objects[1], nullptr);
    EXPECT_EQ(seen.objects[2], &x);
}

// What a callback does to the callback list during the walk, and which callbacks still run.
struct RemovalCase {
    const char* name;
    int action;  // 0 remove all, 1 remove itself, 2 remove the later one, 3 remove an unknown id
    std::vector<std::string> expected;
};

class CallbackRemoval : public ::testing::TestWithParam<RemovalCase> {};

TEST_P(CallbackRemoval, WalkGoesOnAsExpected) {
    const RemovalCase& rc = GetParam();
    std::vector<std::string> journal;
    Subject s("s");
    Recorder o(s, "o", journal);
    CallbackData before{&journal, "before", nullptr};
    CallbackData acting{&journal, "acting", nullptr};
    CallbackData later{&journal, "later", nullptr};
    o.addCallback(&journalCallback, &before);
    int actingId = o.addCallback(&journalCallback, &acting);
    int laterId = o.addCallback(&journalCallback, &later);
    acting.action = [&](Observer* self) {
        switch (rc.action) {
            case 0:
                self->removeAllCallback();
                break;
            case 1:
                self->removeCallback(actingId);
                break;
            case 2:
                self->removeCallback(laterId);
                break;
            default:
                self->removeCallback(laterId + 1000);
                break;
        }
    };
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, rc.expected) << rc.name;
}

INSTANTIATE_TEST_SUITE_P(
    Observer, CallbackRemoval,
    ::testing::Values(RemovalCase{"removeAll", 0, {"before", "acting", "o.notify"}},
                      RemovalCase{"removeSelf", 1, {"before", "acting", "later", "o.notify"}},
                      RemovalCase{"removeLater", 2, {"before", "acting", "o.notify"}},
                      RemovalCase{"removeUnknown", 3, {"before", "acting", "later", "o.notify"}}),
    [](const ::testing::TestParamInfo<RemovalCase>& info) { return info.param.name; });

TEST(Observer, InactiveObserverIsSkippedWhole) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder off(s, "off", journal);
    Recorder on(s, "on", journal);
    CallbackData cb{&journal, "off.cb", nullptr};
    off.addCallback(&journalCallback, &cb);
    off.setActive(false);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, std::vector<std::string>{"on.notify"});
}

TEST(Subject, NotifySubjectHonoursTheActiveFlagButNotifyObserverDoesNot) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder o(s, "o", journal);
    s.setActive(false);
    EXPECT_FALSE(s.wantsNotify());
    Kalvex::notifySubject(&s, 0.0);
    EXPECT_TRUE(journal.empty());
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal.size(), 1u);
    s.setActive(true);
    Kalvex::notifySubject(&s, 0.0);
    EXPECT_EQ(journal.size(), 2u);
}

TEST(Observer, ObserverMayDieBeforeItsSubject) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder stays(s, "stays", journal);
    {
        Recorder gone(s, "gone", journal);
        EXPECT_EQ(s.countObserver(), 2);
    }
    EXPECT_EQ(s.countObserver(), 1);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, std::vector<std::string>{"stays.notify"});
}

TEST(Observer, SubjectMayDieBeforeItsObservers) {
    std::vector<std::string> journal;
    auto s = std::make_unique<Subject>("s");
    Recorder a(*s, "a", journal);
    Recorder b(*s, "b", journal);
    s.reset();
    EXPECT_EQ(a.getSubject(), nullptr);
    EXPECT_EQ(b.getSubject(), nullptr);
    Subject next("next");
    next.attach(a);  // still usable
    EXPECT_EQ(next.countObserver(), 1);
}

TEST(Subject, DetachAllLeavesObserversDetachedAndAlive) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder a(s, "a", journal);
    Recorder b(s, "b", journal);
    s.detachAll();
    EXPECT_FALSE(s.hasObserverList());
    EXPECT_EQ(a.getSubject(), nullptr);
    EXPECT_EQ(b.getSubject(), nullptr);
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_TRUE(journal.empty());
    s.detachAll();
}

TEST(Subject, CopyStartsWithoutObservers) {
    KalvexTest::LogCapture log;
    std::vector<std::string> journal;
    Subject s("orig");
    Recorder o(s, "o", journal);
    Subject copy(s);
    EXPECT_EQ(copy.getName(), "orig");
    EXPECT_EQ(copy.countObserver(), 0);
    EXPECT_EQ(s.countObserver(), 1);
    EXPECT_EQ(o.getSubject(), &s);
    EXPECT_TRUE(log.contains("Running Notification Handler copy constructor !\n"));
}

// Leaving the subject during a walk: the walk must neither crash nor call a removed observer.
struct DetachCase {
    const char* name;
    int who;  // 0 the acting observer itself, 1 the next observer, 2 all (detachAll)
    std::vector<std::string> expected;
    int remaining;
};

class DetachDuringWalk : public ::testing::TestWithParam<DetachCase> {};

TEST_P(DetachDuringWalk, WalkSurvives) {
    const DetachCase& dc = GetParam();
    std::vector<std::string> journal;
    Subject s("s");
    Recorder first(s, "first", journal);
    Recorder acting(s, "acting", journal);
    Recorder next(s, "next", journal);
    acting.hook = [&] {
        if (dc.who == 0) s.detach(acting);
        if (dc.who == 1) s.detach(next);
        if (dc.who == 2) s.detachAll();
    };
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, dc.expected);
    EXPECT_EQ(s.countObserver(), dc.remaining);
    // A second walk sees the settled list.
    journal.clear();
    acting.hook = nullptr;
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(int(journal.size()), dc.remaining);
}

INSTANTIATE_TEST_SUITE_P(
    Subject, DetachDuringWalk,
    ::testing::Values(DetachCase{"self", 0, {"first.notify", "acting.notify", "next.notify"}, 2},
                      DetachCase{"next", 1, {"first.notify", "acting.notify"}, 2},
                      DetachCase{"all", 2, {"first.notify", "acting.notify"}, 0}),
    [](const ::testing::TestParamInfo<DetachCase>& info) { return info.param.name; });

TEST(Subject, ObserverDestroyedDuringAWalkIsNotCalled) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder acting(s, "acting", journal);
    auto victim = std::make_unique<Recorder>(s, "victim", journal);
    acting.hook = [&] { victim.reset(); };
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, std::vector<std::string>{"acting.notify"});
    EXPECT_EQ(s.countObserver(), 1);
}

TEST(Subject, NestedNotifyFromAnObserver) {
    std::vector<std::string> journal;
    Subject s("s");
    Recorder a(s, "a", journal);
    Recorder b(s, "b", journal);
    int depth = 0;
    a.hook = [&] {
        if (depth++ == 0) {
            s.notifyObserver(0.0, nullptr, nullptr, nullptr);
            s.detach(b);  // inside the outer walk
        }
    };
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
    EXPECT_EQ(journal, (std::vector<std::string>{"a.notify", "a.notify", "b.notify"}));
    EXPECT_EQ(s.countObserver(), 1);
}

}  // namespace
