// Subject and Observer: who is entered where, callback order, and walks that survive changes.

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

using Journal = std::vector<std::string>;

// Writes "<name>.notify" into a shared journal and runs an optional hook.
struct Recorder : Observer {
    Recorder(const char* name, Journal& j) : Observer(name), journal(j) {}
    Recorder(Subject& subject, const char* name, Journal& j)
        : Observer(subject, name), journal(j) {}
    void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) override {
        journal.push_back(getName() + ".notify");
        lastTime = time;
        args = {a, b, c};
        if (hook) hook();
    }
    Journal& journal;
    std::function<void()> hook;
    TimeStamp lastTime = -1.0;
    std::vector<BaseObject*> args;
};

// A callback's user data: the journal and the text it writes, plus an optional action.
struct CallbackData {
    Journal* journal;
    std::string text;
    std::function<void(Observer*)> action;
};

void journalCallback(const TimeStamp&, Observer* observer, BaseObject*, BaseObject*, BaseObject*,
                     const void* userData) {
    const auto* data = static_cast<const CallbackData*>(userData);
    data->journal->push_back(data->text);
    if (data->action) data->action(observer);
}

void notify(Subject& s) {
    s.notifyObserver(0.0, nullptr, nullptr, nullptr);
}

TEST(Subject, AttachDetachAndNotifyWithoutObservers) {
    Subject quiet("quiet");
    quiet.notifyObserver(1.0, nullptr, nullptr, nullptr);
    Kalvex::notifySubject(&quiet, 1.0);
    Kalvex::notifySubject(nullptr, 1.0);
    EXPECT_FALSE(quiet.hasObserverList()) << "notify creates no list";

    Journal journal;
    Subject a("a"), b("b");
    Recorder o(a, "o", journal);
    a.attach(o);  // twice: one entry
    EXPECT_EQ(a.countObserver(), 1);
    b.detach(o);  // a foreign observer: nothing
    EXPECT_EQ(o.getSubject(), &a);
    b.attach(o);  // elsewhere: moves
    EXPECT_EQ(a.countObserver(), 0);
    EXPECT_EQ(o.getSubject(), &b);
    notify(a);
    notify(b);
    EXPECT_EQ(journal, Journal{"o.notify"});
    // The emptied list of a stays allocated: a sender still passes its guard.
    EXPECT_TRUE(a.hasObserverList());

    // detachAll leaves observers detached and alive.
    b.detachAll();
    EXPECT_FALSE(b.hasObserverList());
    EXPECT_EQ(o.getSubject(), nullptr);
    notify(b);
    EXPECT_EQ(journal.size(), 1u);
}

TEST(Subject, SetSubjectRecordsWithoutEntering) {
    Journal journal;
    Subject s("s");
    Recorder o("o", journal);
    o.setSubject(&s);
    EXPECT_EQ(o.getSubject(), &s);
    notify(s);
    EXPECT_TRUE(journal.empty());
    // attach finds it bound already and returns: still not entered.
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 0);
    // detach unbinds it without harm, once the subject has a list at all.
    s.detach(o);
    EXPECT_EQ(o.getSubject(), &s);
    Recorder listed(s, "listed", journal);
    s.detach(o);
    EXPECT_EQ(o.getSubject(), nullptr);
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 2);
    // setSubject away from a real subject leaves that subject.
    Subject other("other");
    o.setSubject(&other);
    EXPECT_EQ(s.countObserver(), 1);
    EXPECT_EQ(other.countObserver(), 0);
}

TEST(Subject, CopiesOfSubjectAndObserverAreReportedAndStartEmpty) {
    KalvexTest::LogCapture log;
    Journal journal;
    Subject s("s");
    Recorder source(s, "src", journal);
    CallbackData data{&journal, "cb", nullptr};
    source.addCallback(&journalCallback, &data);
    Observer copy(source);
    Subject subjectCopy(s);
    EXPECT_EQ(copy.getName(), "src");
    EXPECT_EQ(copy.getSubject(), &s);  // names the subject but is not entered
    EXPECT_EQ(copy.countCallback() + subjectCopy.countObserver(), 0);
    EXPECT_EQ(subjectCopy.getName(), "s");
    EXPECT_EQ(log.count("Running Notification Handler copy constructor !\n"), 2);
    notify(s);
    EXPECT_EQ(journal, (Journal{"cb", "src.notify"}));
}

TEST(Observer, CallbacksRunBeforeNotifyInIdOrderWithTheirArguments) {
    Journal journal;
    Subject s("s");
    Recorder first(s, "first", journal);
    Recorder second(s, "second", journal);
    Recorder off(s, "off", journal);
    CallbackData c1{&journal, "second.cb1", nullptr}, c2{&journal, "first.cb2", nullptr},
        c3{&journal, "second.cb3", nullptr}, c4{&journal, "off.cb", nullptr};
    Observer* seen = nullptr;
    c3.action = [&](Observer* o) { seen = o; };
    const int id1 = second.addCallback(&journalCallback, &c1);
    EXPECT_EQ(first.addCallback(&journalCallback, &c2), id1 + 1);  // one counter for all
    second.addCallback(&journalCallback, &c3);
    off.addCallback(&journalCallback, &c4);
    off.setActive(false);  // skipped whole
    Kalvex::BaseTypeObject<int> a(1), b(2), c(3);
    s.notifyObserver(2.5, &a, &b, &c);
    EXPECT_EQ(journal,
              (Journal{"first.cb2", "first.notify", "second.cb1", "second.cb3", "second.notify"}));
    EXPECT_EQ(seen, &second);
    EXPECT_EQ(second.lastTime, 2.5);
    EXPECT_EQ(second.args, (std::vector<BaseObject*>{&a, &b, &c}));

    // notifySubject honours the subject's active flag; notifyObserver does not.
    journal.clear();
    s.setActive(false);
    Kalvex::notifySubject(&s, 0.0);
    EXPECT_TRUE(journal.empty());
    notify(s);
    EXPECT_EQ(journal.size(), 5u);
}

TEST(Observer, CallbackRemovalDuringTheWalk) {
    // What a callback does to the list, and which callbacks still run.
    // remove all, itself, the later one, an unknown id
    const std::pair<int, bool> cases[] = {{0, false}, {1, true}, {2, false}, {3, true}};
    for (const auto& [action, laterRuns] : cases) {
        Journal journal;
        Subject s("s");
        Recorder o(s, "o", journal);
        CallbackData before{&journal, "before", nullptr}, acting{&journal, "acting", nullptr},
            later{&journal, "later", nullptr};
        o.addCallback(&journalCallback, &before);
        const int actingId = o.addCallback(&journalCallback, &acting);
        const int laterId = o.addCallback(&journalCallback, &later);
        acting.action = [&, action = action](Observer* self) {
            if (action == 0) self->removeAllCallback();
            if (action == 1) self->removeCallback(actingId);
            if (action == 2) self->removeCallback(laterId);
            if (action == 3) self->removeCallback(laterId + 1000);
        };
        notify(s);
        Journal expected{"before", "acting", "later", "o.notify"};
        if (!laterRuns) expected.erase(expected.begin() + 2);
        EXPECT_EQ(journal, expected) << "action " << action;
    }
}

TEST(Observer, EitherSideMayDieFirst) {
    Journal journal;
    auto s = std::make_unique<Subject>("s");
    Recorder stays(*s, "stays", journal);
    { Recorder gone(*s, "gone", journal); }
    notify(*s);
    EXPECT_EQ(journal, Journal{"stays.notify"});
    s.reset();
    EXPECT_EQ(stays.getSubject(), nullptr);
}

// Leaving or dying during a walk: the walk must neither crash nor call a removed observer.
TEST(Subject, WalkSurvivesObserversLeavingOrDying) {
    const struct {
        int who;  // 0 acting itself, 1 the next one, 2 all (detachAll), 3 the next one dies
        Journal expected;
        int remaining;
    } cases[] = {
        {0, {"first.notify", "acting.notify", "next.notify"}, 2},
        {1, {"first.notify", "acting.notify"}, 2},
        {2, {"first.notify", "acting.notify"}, 0},
        {3, {"first.notify", "acting.notify"}, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.who);
        Journal journal;
        Subject s("s");
        Recorder first(s, "first", journal);
        Recorder acting(s, "acting", journal);
        auto next = std::make_unique<Recorder>(s, "next", journal);
        acting.hook = [&] {
            if (c.who == 0) s.detach(acting);
            if (c.who == 1) s.detach(*next);
            if (c.who == 2) s.detachAll();
            if (c.who == 3) next.reset();
        };
        notify(s);
        EXPECT_EQ(journal, c.expected);
        EXPECT_EQ(s.countObserver(), c.remaining);
        // A second walk sees the settled list.
        journal.clear();
        acting.hook = nullptr;
        notify(s);
        EXPECT_EQ(int(journal.size()), c.remaining);
    }
}

TEST(Subject, NestedNotifyFromAnObserver) {
    Journal journal;
    Subject s("s");
    Recorder a(s, "a", journal);
    Recorder b(s, "b", journal);
    int depth = 0;
    a.hook = [&] {
        if (depth++ > 0) return;
        notify(s);
        s.detach(b);  // inside the outer walk
    };
    notify(s);
    EXPECT_EQ(journal, (Journal{"a.notify", "a.notify", "b.notify"}));
    EXPECT_EQ(s.countObserver(), 1);
}

}  // namespace
