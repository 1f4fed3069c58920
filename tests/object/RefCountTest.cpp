// Release protocol, SmartPtr and AttachmentBag: who holds what, when shutdown runs, when an
// object dies, and what is reported on the way.

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
        int shutdowns = 0;
        int destroyed = 0;
        std::vector<int> countAtShutdown;
    };
    explicit Tracked(Stats& s) : stats(s) {}
    ~Tracked() override { ++stats.destroyed; }
    void shutdown() const override {
        ++stats.shutdowns;
        stats.countAtShutdown.push_back(refCount());
        if (onShutdown) onShutdown();
    }
    Stats& stats;
    std::function<void()> onShutdown;
};

const char* const kIllegal = "Illegal Transition: RefCount != 0 after shutdown\n";

TEST(ReleaseProtocol, LastSubRefOrReleaseRunsShutdownThenDeletes) {
    KalvexTest::LogCapture log;
    const int32_t objects = BaseObject::_objCount;
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    EXPECT_EQ(BaseObject::_objCount, objects + 1);
    for (int i = 0; i < 3; ++i) obj->addRef();
    obj->release();  // only active at count zero
    obj->subRef();
    obj->subRef();
    EXPECT_EQ(stats.shutdowns, 0);
    EXPECT_EQ(obj->refCount(), 1);
    obj->subRef();
    EXPECT_EQ(stats.shutdowns, 1);
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(stats.countAtShutdown, std::vector<int>{0});  // still whole, with count 0
    EXPECT_EQ(BaseObject::_objCount, objects);

    // An object nobody ever held dies on release.
    Tracked::Stats fresh;
    (new Tracked(fresh))->release();
    EXPECT_EQ(fresh.shutdowns, 1);
    EXPECT_EQ(fresh.destroyed, 1);
    EXPECT_FALSE(log.contains(kIllegal));
}

TEST(ReleaseProtocol, ShutdownThatKeepsAReferenceLeavesObjectAlive) {
    KalvexTest::LogCapture log;
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    bool keep = true;
    obj->onShutdown = [&] {
        if (keep) obj->addRef();
    };
    { SmartPtr<Tracked> holder(obj); }
    EXPECT_EQ(stats.shutdowns, 1);
    EXPECT_EQ(stats.destroyed, 0);
    EXPECT_EQ(obj->refCount(), 1);
    EXPECT_EQ(log.count(kIllegal), 1);

    // A later drop to zero runs shutdown a second time and now deletes.
    keep = false;
    obj->subRef();
    EXPECT_EQ(stats.shutdowns, 2);
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(log.count(kIllegal), 1);
}

TEST(ReleaseProtocol, DestructorWithLiveCountReportsAndStillDestroys) {
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
}

TEST(ReleaseProtocol, CopyStartsWithCountZeroAndAssignmentKeepsIt) {
    auto* a = new Kalvex::BaseTypeObject<int>(5);
    SmartPtr<Kalvex::BaseTypeObject<int>> holdA(a);
    a->addRef();
    auto* b = new Kalvex::BaseTypeObject<int>(*a);
    EXPECT_EQ(b->refCount(), 0);
    EXPECT_EQ(b->_value, 5);
    SmartPtr<Kalvex::BaseTypeObject<int>> holdB(b);
    *b = *a;
    EXPECT_EQ(b->refCount(), 1);
    EXPECT_EQ(a->refCount(), 2);
    a->subRef();
}

TEST(SmartPtr, CountsEachHolderAndLetsTheOldObjectGoFirst) {
    Tracked::Stats stats, oldStats;
    Tracked* obj = new Tracked(stats);
    SmartPtr<Tracked> p(obj);
    p.setObj(obj);  // the held pointer again changes no count
    p = p;
    EXPECT_EQ(obj->refCount(), 1);
    {
        std::vector<SmartPtr<Tracked>> holders(4, p);
        EXPECT_EQ(obj->refCount(), 5);
    }
    EXPECT_EQ(obj->refCount(), 1);

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

TEST(AttachmentBag, UniqueIdsRunOnAndEmptyBagsAreQuiet) {
    const int first = AttachmentBag::createUniqueID();
    EXPECT_GE(first, 0);
    EXPECT_EQ(AttachmentBag::createUniqueID(), first + 1);

    KalvexTest::LogCapture log;
    Tracked::Stats stats;  // outlives the bag, whose end releases what it holds
    AttachmentBag bag;
    EXPECT_EQ(bag.getAttachment(3), nullptr);
    bag.delAttachment(3);
    bag.delAllAttachment();
    EXPECT_EQ(bag.getAttachmentCount(), 0);
    EXPECT_EQ(log.text(), "");

    // A null attachment is reported (the text has no line end) and keeps the entry.
    Tracked* obj = new Tracked(stats);
    bag.setAttachment(9, nullptr);
    bag.setAttachment(5, obj);
    bag.setAttachment(5, nullptr);
    EXPECT_EQ(bag.getAttachment(5), obj);
    EXPECT_EQ(bag.getAttachmentCount(), 1);
    EXPECT_EQ(obj->refCount(), 1);
    EXPECT_TRUE(log.contains("Can not add NULL attachemnt for 9 id"));
    EXPECT_TRUE(log.contains("Can not add NULL attachemnt for 5 id"));
    EXPECT_FALSE(log.contains("5 id\n"));
}

TEST(AttachmentBag, ReplacingAndDeletingReleaseAttachments) {
    Tracked::Stats firstStats, sharedStats, stats;
    auto* bag = new AttachmentBag;
    bag->addRef();
    Tracked* first = new Tracked(firstStats);
    bag->setAttachment(1, first);
    bag->setAttachment(1, first);  // the same object again changes nothing
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
    EXPECT_EQ(copy->refCount(), 0);
    EXPECT_EQ(copy->getAttachmentCount(), 0);
    copy->release();
    EXPECT_EQ(stats.destroyed, 1);
    bag->subRef();
    EXPECT_EQ(stats.destroyed, 3);

    AttachmentBag other;
    other.setAttachment(1, new Tracked(stats));
    other.delAllAttachment();
    EXPECT_EQ(stats.destroyed, 4);
}

}  // namespace
