// Subject and Observer: who is entered where, callback order, walks that survive changes.
// Release protocol, SmartPtr and AttachmentBag: who holds what, when shutdown runs and dies.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;
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

TEST(Subject, AttachDetachAndEitherSideDyingFirst) {
    Subject quiet("quiet");
    quiet.notifyObserver(1.0, nullptr, nullptr, nullptr);
    notifySubject(&quiet, 1.0);
    notifySubject(nullptr, 1.0);
    EXPECT_FALSE(quiet.hasObserverList()) << "notify creates no list";

    Journal journal;
    Subject a("a"), b("b");
    Recorder o(a, "o", journal);
    a.attach(o);  // twice: one entry
    b.detach(o);  // a foreign observer: nothing
    EXPECT_TRUE(a.countObserver() == 1 && o.getSubject() == &a);
    b.attach(o);  // elsewhere: moves
    EXPECT_TRUE(a.countObserver() == 0 && o.getSubject() == &b);
    { Recorder gone(b, "gone", journal); }
    notify(a);
    notify(b);
    EXPECT_EQ(journal, Journal{"o.notify"});
    EXPECT_TRUE(a.hasObserverList()) << "an emptied list stays: a sender still passes its guard";
    // detachAll leaves observers detached and alive; a dying subject lets its observers go.
    b.detachAll();
    notify(b);
    EXPECT_TRUE(!b.hasObserverList() && !o.getSubject() && journal.size() == 1u);
    auto brief = std::make_unique<Subject>("brief");
    brief->attach(o);
    brief.reset();
    EXPECT_EQ(o.getSubject(), nullptr);
}

TEST(Subject, SetSubjectRecordsWithoutEntering) {
    Journal journal;
    Subject s("s"), other("other");
    Recorder o("o", journal);
    o.setSubject(&s);
    notify(s);
    s.attach(o);  // finds it bound already and returns: still not entered
    EXPECT_TRUE(o.getSubject() == &s && journal.empty() && s.countObserver() == 0);
    s.detach(o);  // unbinds it only once the subject has a list at all
    EXPECT_EQ(o.getSubject(), &s);
    Recorder listed(s, "listed", journal);
    s.detach(o);
    EXPECT_EQ(o.getSubject(), nullptr);
    s.attach(o);
    EXPECT_EQ(s.countObserver(), 2);
    o.setSubject(&other);  // away from a real subject: leaves that subject
    EXPECT_TRUE(s.countObserver() == 1 && other.countObserver() == 0);
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
    EXPECT_TRUE(copy.getName() == "src" && subjectCopy.getName() == "s");
    EXPECT_EQ(copy.getSubject(), &s);  // names the subject but is not entered
    EXPECT_EQ(copy.countCallback() + subjectCopy.countObserver(), 0);
    EXPECT_EQ(log.count("Running Notification Handler copy constructor !\n"), 2);
    notify(s);
    EXPECT_EQ(journal, (Journal{"cb", "src.notify"}));
}

TEST(Observer, CallbacksRunBeforeNotifyInIdOrderWithTheirArguments) {
    Journal journal;
    Subject s("s");
    Recorder first(s, "first", journal), second(s, "second", journal), off(s, "off", journal);
    CallbackData c1{&journal, "second.cb1", nullptr}, c2{&journal, "first.cb2", nullptr},
        c3{&journal, "second.cb3", nullptr}, c4{&journal, "off.cb", nullptr};
    Observer* seen = nullptr;
    c3.action = [&](Observer* o) { seen = o; };
    const int id1 = second.addCallback(&journalCallback, &c1);
    EXPECT_EQ(first.addCallback(&journalCallback, &c2), id1 + 1);  // one counter for all
    second.addCallback(&journalCallback, &c3);
    off.addCallback(&journalCallback, &c4);
    off.setActive(false);  // skipped whole
    BaseTypeObject<int> a(1), b(2), c(3);
    s.notifyObserver(2.5, &a, &b, &c);
    EXPECT_EQ(journal,
              (Journal{"first.cb2", "first.notify", "second.cb1", "second.cb3", "second.notify"}));
    EXPECT_TRUE(seen == &second && second.lastTime == 2.5);
    EXPECT_EQ(second.args, (std::vector<BaseObject*>{&a, &b, &c}));

    // notifySubject honours the subject's active flag; notifyObserver does not.
    journal.clear();
    s.setActive(false);
    notifySubject(&s, 0.0);
    EXPECT_TRUE(journal.empty());
    notify(s);
    EXPECT_EQ(journal.size(), 5u);
}

// What a callback does to the list during the walk: remove all, itself, the later one, or an
// unknown id; and whether the later one still runs.
TEST(Observer, CallbackRemovalDuringTheWalk) {
    const bool laterRuns[] = {false, true, false, true};
    for (int action = 0; action < 4; ++action) {
        Journal journal;
        Subject s("s");
        Recorder o(s, "o", journal);
        CallbackData before{&journal, "before", nullptr}, acting{&journal, "acting", nullptr},
            later{&journal, "later", nullptr};
        o.addCallback(&journalCallback, &before);
        const int actingId = o.addCallback(&journalCallback, &acting);
        const int laterId = o.addCallback(&journalCallback, &later);
        acting.action = [&](Observer* self) {
            if (action == 0) self->removeAllCallback();
            if (action == 1) self->removeCallback(actingId);
            if (action == 2) self->removeCallback(laterId);
            if (action == 3) self->removeCallback(laterId + 1000);
        };
        notify(s);
        Journal expected{"before", "acting", "later", "o.notify"};
        if (!laterRuns[action]) expected.erase(expected.begin() + 2);
        EXPECT_EQ(journal, expected) << "action " << action;
    }
}

// Leaving or dying during a walk: the acting observer itself, the next one, all (detachAll), or
// the next one dies. The walk must neither crash nor call a removed observer.
TEST(Subject, WalkSurvivesObserversLeavingOrDying) {
    for (int who = 0; who < 4; ++who) {
        SCOPED_TRACE(who);
        Journal journal;
        Subject s("s");
        Recorder first(s, "first", journal), acting(s, "acting", journal);
        auto next = std::make_unique<Recorder>(s, "next", journal);
        acting.hook = [&] {
            if (who == 0) s.detach(acting);
            if (who == 1) s.detach(*next);
            if (who == 2) s.detachAll();
            if (who == 3) next.reset();
        };
        notify(s);
        Journal expected{"first.notify", "acting.notify", "next.notify"};
        if (who) expected.pop_back();
        EXPECT_EQ(journal, expected);
        journal.clear();
        acting.hook = nullptr;
        notify(s);  // a second walk sees the settled list
        EXPECT_EQ(s.countObserver() * 10 + int(journal.size()), who == 2 ? 0 : 22);
    }
}

TEST(Subject, NestedNotifyFromAnObserver) {
    Journal journal;
    Subject s("s");
    Recorder a(s, "a", journal), b(s, "b", journal);
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

// --- reference counts ----------------------------------------------------------------------------

// Journals "<name>.shutdown@<count>" and "<name>.dead"; shutdown may run a hook.
struct Tracked : RefCountObject {
    Tracked(const char* n, Journal& j) : name(n), journal(j) {}
    ~Tracked() override { journal.push_back(name + ".dead"); }
    void shutdown() const override {
        journal.push_back(name + ".shutdown@" + std::to_string(refCount()));
        if (onShutdown) onShutdown();
    }
    std::string name;
    Journal& journal;
    std::function<void()> onShutdown;
};

TEST(ReleaseProtocol, LastSubRefRunsShutdownThenDeletesUnlessShutdownKeepsAReference) {
    const char* const illegal = "Illegal Transition: RefCount != 0 after shutdown\n";
    KalvexTest::LogCapture log;
    const int32_t objects = BaseObject::_objCount;
    Journal journal;
    Tracked* obj = new Tracked("obj", journal);
    EXPECT_EQ(BaseObject::_objCount, objects + 1);
    for (int i = 0; i < 3; ++i) obj->addRef();
    obj->release();  // only active at count zero
    obj->subRef(), obj->subRef();
    EXPECT_TRUE(journal.empty() && obj->refCount() == 1);
    obj->subRef();                               // shutdown sees the object whole, with count 0
    (new Tracked("fresh", journal))->release();  // nobody ever held it: dies on release
    EXPECT_EQ(journal, (Journal{"obj.shutdown@0", "obj.dead", "fresh.shutdown@0", "fresh.dead"}));
    EXPECT_EQ(BaseObject::_objCount, objects);
    EXPECT_EQ(log.count(illegal), 0);

    // A shutdown that takes a reference is reported and keeps the object alive; the next drop
    // to zero runs shutdown again and deletes.
    journal.clear();
    obj = new Tracked("kept", journal);
    obj->onShutdown = [&] {
        if (journal.size() == 1) obj->addRef();
    };
    { SmartPtr<Tracked> holder(obj); }
    EXPECT_TRUE(obj->refCount() == 1 && log.count(illegal) == 1);
    obj->subRef();
    EXPECT_EQ(journal, (Journal{"kept.shutdown@0", "kept.shutdown@0", "kept.dead"}));
    EXPECT_EQ(log.count(illegal), 1);
}

TEST(ReleaseProtocol, DestructorWithLiveCountReportsAndCopiesStartAtZero) {
    KalvexTest::LogCapture log;
    Journal journal;
    Tracked* obj = new Tracked("obj", journal);
    obj->addRef(), obj->addRef();
    delete obj;
    { BaseTypeObject<int> local(3); }  // count zero: silent
    EXPECT_EQ(journal, Journal{"obj.dead"});
    EXPECT_EQ(log.text(), "FATAL\tKalvex\t_refCount == 2 in RefCountObject Destructor\n");

    // A copy starts with count zero and assignment keeps the target's count.
    SmartPtr<BaseTypeObject<int>> a(new BaseTypeObject<int>(5));
    auto* b = new BaseTypeObject<int>(*a);
    EXPECT_TRUE(b->refCount() == 0 && b->_value == 5);
    SmartPtr<BaseTypeObject<int>> holdB(b);
    a->addRef();
    *b = *a;
    EXPECT_EQ(b->refCount(), 1);
    a->subRef();
}

TEST(SmartPtr, CountsEachHolderAndLetsTheOldObjectGoFirst) {
    Journal journal;
    Tracked* obj = new Tracked("obj", journal);
    SmartPtr<Tracked> p(obj);
    p.setObj(obj);  // the held pointer again changes no count
    SmartPtr<Tracked>& same = p;
    p = same;  // self-assignment
    std::vector<SmartPtr<Tracked>> holders(4, p);
    EXPECT_EQ(obj->refCount(), 5);
    holders.clear();
    // The old object is let go before the new one is taken.
    Tracked* old = new Tracked("old", journal);
    old->onShutdown = [&] { journal.push_back("obj@" + std::to_string(obj->refCount())); };
    SmartPtr<Tracked> q(old);
    q.setObj(obj);
    EXPECT_EQ(obj->refCount(), 2);
    p = nullptr;
    q.setObj(nullptr);
    EXPECT_FALSE(q);
    EXPECT_EQ(journal,
              (Journal{"old.shutdown@0", "obj@1", "old.dead", "obj.shutdown@0", "obj.dead"}));
}

TEST(AttachmentBag, IdsNullsReplacingAndDeleting) {
    const int id = AttachmentBag::createUniqueID();
    EXPECT_EQ(AttachmentBag::createUniqueID(), id + 1);

    KalvexTest::LogCapture log;
    Journal journal;  // outlives the bag, whose end releases
    auto* bag = new AttachmentBag;
    bag->addRef();
    EXPECT_EQ(bag->getAttachment(3), nullptr);
    bag->delAttachment(3), bag->delAllAttachment();
    Tracked* first = new Tracked("first", journal);
    bag->setAttachment(1, first);
    bag->setAttachment(1, nullptr);  // reported (no line end); the entry stays
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tCan not add NULL attachemnt for 1 id");
    EXPECT_EQ(bag->getAttachment(1), first);
    bag->setAttachment(1, new Tracked("one", journal));  // the bag held first's only reference
    bag->setAttachment(3, new Tracked("three", journal));
    bag->setAttachment(2, new Tracked("two", journal));
    bag->delAttachment(2);
    bag->delAttachment(42);  // unknown id: nothing
    EXPECT_EQ(bag->getAttachmentCount(), 2);
    EXPECT_EQ(journal, (Journal{"first.shutdown@0", "first.dead", "two.shutdown@0", "two.dead"}));
    // A copy is empty and starts at count zero; the original keeps its entries until it ends.
    auto* copy = new AttachmentBag(*bag);
    EXPECT_EQ(copy->refCount() + copy->getAttachmentCount(), 0);
    copy->release();
    journal.clear();
    bag->subRef();
    std::sort(journal.begin(), journal.end());
    EXPECT_EQ(journal, (Journal{"one.dead", "one.shutdown@0", "three.dead", "three.shutdown@0"}));
}

}  // namespace
