// Release protocol, SmartPtr and AttachmentBag: who holds what, when shutdown runs and dies.

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"
#include "support/LogCapture.h"

namespace {

using Kalvex::AttachmentBag;
using Kalvex::BaseObject;
using Kalvex::RefCountObject;
using Kalvex::SmartPtr;

// Counts shutdown and destructor runs; shutdown may run a hook (keep a reference, look around).
struct Tracked : RefCountObject {
    struct Stats {
        int destroyed = 0;
        std::vector<int> countAtShutdown;  // one entry per shutdown run
    };
    explicit Tracked(Stats& s) : stats(s) {}
    ~Tracked() override { ++stats.destroyed; }
    void shutdown() const override {
        stats.countAtShutdown.push_back(refCount());
        if (onShutdown) onShutdown();
    }
    Stats& stats;
    std::function<void()> onShutdown;
};

TEST(ReleaseProtocol, LastSubRefRunsShutdownThenDeletesUnlessShutdownKeepsAReference) {
    const char* const illegal = "Illegal Transition: RefCount != 0 after shutdown\n";
    KalvexTest::LogCapture log;
    const int32_t objects = BaseObject::_objCount;
    Tracked::Stats stats, fresh, kept;
    Tracked* obj = new Tracked(stats);
    EXPECT_EQ(BaseObject::_objCount, objects + 1);
    for (int i = 0; i < 3; ++i) obj->addRef();
    obj->release();  // only active at count zero
    obj->subRef();
    obj->subRef();
    EXPECT_TRUE(stats.countAtShutdown.empty() && obj->refCount() == 1);
    obj->subRef();
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(stats.countAtShutdown, std::vector<int>{0});  // still whole, with count 0
    EXPECT_EQ(BaseObject::_objCount, objects);
    (new Tracked(fresh))->release();  // nobody ever held it: dies on release
    EXPECT_EQ(fresh.destroyed, 1);
    EXPECT_EQ(log.count(illegal), 0);

    // A shutdown that takes a reference is reported and keeps the object alive; the next drop
    // to zero runs shutdown again and deletes.
    obj = new Tracked(kept);
    obj->onShutdown = [&] {
        if (kept.countAtShutdown.size() == 1) obj->addRef();
    };
    { SmartPtr<Tracked> holder(obj); }
    EXPECT_EQ(kept.destroyed, 0);
    EXPECT_EQ(obj->refCount(), 1);
    EXPECT_EQ(log.count(illegal), 1);
    obj->subRef();
    EXPECT_EQ(kept.countAtShutdown, (std::vector<int>{0, 0}));
    EXPECT_EQ(kept.destroyed, 1);
    EXPECT_EQ(log.count(illegal), 1);
}

TEST(ReleaseProtocol, DestructorWithLiveCountReportsAndCopiesStartAtZero) {
    KalvexTest::LogCapture log;
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    obj->addRef();
    obj->addRef();
    delete obj;
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(log.count("_refCount == 2 in RefCountObject Destructor\n"), 1);
    { Kalvex::BaseTypeObject<int> local(3); }
    EXPECT_EQ(log.count("in RefCountObject Destructor"), 1);

    // A copy starts with count zero and assignment keeps the target's count.
    SmartPtr<Kalvex::BaseTypeObject<int>> a(new Kalvex::BaseTypeObject<int>(5));
    auto* b = new Kalvex::BaseTypeObject<int>(*a);
    EXPECT_EQ(b->refCount(), 0);
    EXPECT_EQ(b->_value, 5);
    SmartPtr<Kalvex::BaseTypeObject<int>> holdB(b);
    a->addRef();
    *b = *a;
    EXPECT_EQ(b->refCount(), 1);
    a->subRef();
}

TEST(SmartPtr, CountsEachHolderAndLetsTheOldObjectGoFirst) {
    Tracked::Stats stats, oldStats;
    Tracked* obj = new Tracked(stats);
    SmartPtr<Tracked> p(obj);
    p.setObj(obj);  // the held pointer again changes no count
    SmartPtr<Tracked>& same = p;
    p = same;  // self-assignment through a second name
    std::vector<SmartPtr<Tracked>> holders(4, p);
    EXPECT_EQ(obj->refCount(), 5);
    holders.clear();
    // The old object is let go before the new one is taken.
    Tracked* old = new Tracked(oldStats);
    int countDuringOldShutdown = -1;
    old->onShutdown = [&] { countDuringOldShutdown = obj->refCount(); };
    SmartPtr<Tracked> q(old);
    q.setObj(obj);
    EXPECT_EQ(oldStats.destroyed, 1);
    EXPECT_EQ(countDuringOldShutdown, 1);
    EXPECT_EQ(obj->refCount(), 2);
    p = nullptr;
    q.setObj(nullptr);
    EXPECT_FALSE(q);
    EXPECT_EQ(stats.destroyed, 1);
}

TEST(AttachmentBag, IdsNullsReplacingAndDeleting) {
    const int id = AttachmentBag::createUniqueID();
    EXPECT_GE(id, 0);
    EXPECT_EQ(AttachmentBag::createUniqueID(), id + 1);

    KalvexTest::LogCapture log;
    Tracked::Stats firstStats, sharedStats, stats;  // outlive the bag, whose end releases
    auto* bag = new AttachmentBag;
    bag->addRef();
    EXPECT_EQ(bag->getAttachment(3), nullptr);
    bag->delAttachment(3);
    bag->delAllAttachment();
    EXPECT_EQ(log.text(), "");
    Tracked* first = new Tracked(firstStats);
    bag->setAttachment(1, first);
    bag->setAttachment(1, first);  // the same object again changes nothing
    // A null attachment is reported (the text has no line end) and keeps the entry.
    bag->setAttachment(1, nullptr);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tCan not add NULL attachemnt for 1 id");
    EXPECT_EQ(bag->getAttachment(1), first);
    EXPECT_EQ(first->refCount(), 1);
    bag->setAttachment(1, new Tracked(stats));
    EXPECT_EQ(firstStats.destroyed, 1);
    // A replaced attachment that someone else holds survives with one count less.
    Tracked* shared = new Tracked(sharedStats);
    SmartPtr<Tracked> elsewhere(shared);
    bag->setAttachment(2, shared);
    bag->setAttachment(2, new Tracked(stats));
    EXPECT_EQ(shared->refCount(), 1);
    bag->setAttachment(3, new Tracked(stats));
    bag->delAttachment(2);
    bag->delAttachment(42);  // unknown id: nothing
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(bag->getAttachmentCount(), 2);

    // A copy is empty and starts at count zero; the original keeps its entries.
    auto* copy = new AttachmentBag(*bag);
    EXPECT_EQ(copy->refCount() + copy->getAttachmentCount(), 0);
    copy->release();
    EXPECT_EQ(stats.destroyed, 1);
    bag->delAllAttachment();
    EXPECT_EQ(stats.destroyed, 3);
    bag->subRef();
}

}  // namespace
