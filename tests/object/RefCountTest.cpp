// Release protocol, SmartPtr and AttachmentBag: who holds what, when shutdown runs, when an
// object dies, and what is reported on the way.

#include <gtest/gtest.h>

#include <functional>
#include <string>
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

TEST(ReleaseProtocol, LastSubRefRunsShutdownThenDeletes) {
    KalvexTest::LogCapture log;
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    obj->addRef();
    obj->addRef();
    obj->subRef();
    EXPECT_EQ(stats.shutdowns, 0);
    EXPECT_EQ(obj->refCount(), 1);
    obj->subRef();
    EXPECT_EQ(stats.shutdowns, 1);
    EXPECT_EQ(stats.destroyed, 1);
    ASSERT_EQ(stats.countAtShutdown.size(), 1u);
    EXPECT_EQ(stats.countAtShutdown[0], 0);  // the object is still whole, with count 0
    EXPECT_FALSE(log.contains(kIllegal));
}

TEST(ReleaseProtocol, ReleaseIsOnlyActiveAtCountZero) {
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    for (int i = 0; i < 3; ++i) obj->addRef();
    obj->release();
    EXPECT_EQ(stats.shutdowns, 0);
    EXPECT_EQ(stats.destroyed, 0);
    EXPECT_EQ(obj->refCount(), 3);
    for (int i = 0; i < 3; ++i) obj->subRef();
    EXPECT_EQ(stats.destroyed, 1);

    // An object nobody ever held dies on release.
    Tracked::Stats fresh;
    (new Tracked(fresh))->release();
    EXPECT_EQ(fresh.shutdowns, 1);
    EXPECT_EQ(fresh.destroyed, 1);
}

TEST(ReleaseProtocol, ShutdownThatKeepsAReferenceLeavesObjectAlive) {
    KalvexTest::LogCapture log;
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    bool keep = true;
    obj->onShutdown = [&] {
        if (keep) obj->addRef();
    };
    {
        SmartPtr<Tracked> holder(obj);
        EXPECT_EQ(obj->refCount(), 1);
    }
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
    EXPECT_TRUE(log.contains("_refCount == 2 in RefCountObject Destructor\n"));

    log.clear();
    { Kalvex::BaseTypeObject<int> local(3); }
    EXPECT_FALSE(log.contains("in RefCountObject Destructor"));
}

TEST(ReleaseProtocol, ObjCountFollowsEveryConstructionAndDestruction) {
    const int32_t before = BaseObject::_objCount;
    Tracked::Stats stats;
    Tracked* a = new Tracked(stats);
    EXPECT_EQ(BaseObject::_objCount, before + 1);
    {
        Kalvex::BaseTypeObject<std::string> text("x");
        Kalvex::BaseTypeObject<std::string> copy(text);
        EXPECT_EQ(BaseObject::_objCount, before + 3);
        EXPECT_EQ(copy._value, "x");
    }
    EXPECT_EQ(BaseObject::_objCount, before + 1);
    SmartPtr<Tracked> p(a);
    p = nullptr;
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(BaseObject::_objCount, before);
}

TEST(ReleaseProtocol, CopyStartsWithCountZero) {
    auto* a = new Kalvex::BaseTypeObject<int>(5);
    SmartPtr<Kalvex::BaseTypeObject<int>> holdA(a);
    a->addRef();
    auto* b = new Kalvex::BaseTypeObject<int>(*a);
    EXPECT_EQ(b->refCount(), 0);
    EXPECT_EQ(b->_value, 5);
    SmartPtr<Kalvex::BaseTypeObject<int>> holdB(b);
    *b = *a;  // assignment keeps the target's count
    EXPECT_EQ(b->refCount(), 1);
    EXPECT_EQ(a->refCount(), 2);
    a->subRef();
}

TEST(SmartPtr, SettingTheHeldPointerChangesNoCount) {
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    SmartPtr<Tracked> p(obj);
    ASSERT_EQ(obj->refCount(), 1);
    p.setObj(obj);
    EXPECT_EQ(obj->refCount(), 1);
    EXPECT_EQ(stats.shutdowns, 0);
    p = p;  // self assignment through the operator
    EXPECT_EQ(obj->refCount(), 1);

    SmartPtr<Tracked> empty;
    empty.setObj(nullptr);
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.get(), nullptr);
}

TEST(SmartPtr, CopiesAndContainersCountEachHolder) {
    Tracked::Stats stats;
    Tracked* obj = new Tracked(stats);
    {
        std::vector<SmartPtr<Tracked>> holders;
        for (int i = 0; i < 4; ++i) holders.push_back(SmartPtr<Tracked>(obj));
        EXPECT_EQ(obj->refCount(), 4);
        holders.resize(1);
        EXPECT_EQ(obj->refCount(), 1);
        EXPECT_EQ(stats.destroyed, 0);
    }
    EXPECT_EQ(stats.destroyed, 1);
}

TEST(SmartPtr, OldObjectIsLetGoBeforeTheNewOneIsTaken) {
    Tracked::Stats oldStats, newStats;
    Tracked* next = new Tracked(newStats);
    SmartPtr<Tracked> keepNext(next);
    Tracked* old = new Tracked(oldStats);
    int nextCountDuringOldShutdown = -1;
    old->onShutdown = [&] { nextCountDuringOldShutdown = next->refCount(); };

    SmartPtr<Tracked> p(old);
    p.setObj(next);
    EXPECT_EQ(oldStats.destroyed, 1);
    EXPECT_EQ(nextCountDuringOldShutdown, 1);  // not yet taken by p
    EXPECT_EQ(next->refCount(), 2);
}

TEST(AttachmentBag, UniqueIdsRunOnAcrossAllBags) {
    AttachmentBag a, b;
    int first = AttachmentBag::createUniqueID();
    int second = AttachmentBag::createUniqueID();
    int third = AttachmentBag::createUniqueID();
    EXPECT_GE(first, 0);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(third, first + 2);
}

TEST(AttachmentBag, LookupsOnAnEmptyBag) {
    KalvexTest::LogCapture log;
    AttachmentBag bag;
    EXPECT_EQ(bag.getAttachmentCount(), 0);
    EXPECT_EQ(bag.getAttachment(3), nullptr);
    bag.delAttachment(3);
    bag.delAllAttachment();
    bag.delAllAttachment();
    EXPECT_EQ(bag.getAttachmentCount(), 0);
    EXPECT_EQ(bag.getAttachment(-1), nullptr);
    EXPECT_TRUE(log.text().empty());
}

TEST(AttachmentBag, NullAttachmentIsReportedAndKeepsTheEntry) {
    KalvexTest::LogCapture log;
    Tracked::Stats stats;
    AttachmentBag bag;
    Tracked* obj = new Tracked(stats);
    bag.setAttachment(5, obj);
    bag.setAttachment(5, nullptr);
    EXPECT_EQ(bag.getAttachment(5), obj);
    EXPECT_EQ(bag.getAttachmentCount(), 1);
    EXPECT_EQ(obj->refCount(), 1);
    // The text has no line end.
    EXPECT_TRUE(log.contains("Can not add NULL attachemnt for 5 id"));
    EXPECT_FALSE(log.contains("Can not add NULL attachemnt for 5 id\n"));

    // Also on a bag that has no map yet.
    AttachmentBag fresh;
    fresh.setAttachment(9, nullptr);
    EXPECT_EQ(fresh.getAttachmentCount(), 0);
    EXPECT_TRUE(log.contains("for 9 id"));
}

TEST(AttachmentBag, ReplacementReleasesTheFormerAttachment) {
    Tracked::Stats firstStats, secondStats, sharedStats;
    AttachmentBag bag;
    Tracked* first = new Tracked(firstStats);
    Tracked* second = new Tracked(secondStats);
    bag.setAttachment(1, first);
    bag.setAttachment(1, first);  // the same object again changes nothing
    EXPECT_EQ(first->refCount(), 1);
    bag.setAttachment(1, second);
    EXPECT_EQ(firstStats.destroyed, 1);  // that was its last reference
    EXPECT_EQ(bag.getAttachment(1), second);
    EXPECT_EQ(bag.getAttachmentCount(), 1);

    // A replaced attachment that someone else holds survives with one count less.
    Tracked* shared = new Tracked(sharedStats);
    SmartPtr<Tracked> elsewhere(shared);
    bag.setAttachment(2, shared);
    EXPECT_EQ(shared->refCount(), 2);
    bag.setAttachment(2, new Tracked(firstStats));
    EXPECT_EQ(sharedStats.destroyed, 0);
    EXPECT_EQ(shared->refCount(), 1);
    EXPECT_EQ(bag.getAttachmentCount(), 2);
}

TEST(AttachmentBag, DeletingEntriesAndTheBagReleasesAttachments) {
    Tracked::Stats stats;
    auto* bag = new AttachmentBag;
    bag->addRef();
    bag->setAttachment(1, new Tracked(stats));
    bag->setAttachment(2, new Tracked(stats));
    bag->setAttachment(3, new Tracked(stats));
    bag->delAttachment(2);
    EXPECT_EQ(stats.destroyed, 1);
    EXPECT_EQ(bag->getAttachment(2), nullptr);
    EXPECT_EQ(bag->getAttachmentCount(), 2);
    bag->delAttachment(42);  // unknown id: nothing
    EXPECT_EQ(bag->getAttachmentCount(), 2);
    bag->subRef();
    EXPECT_EQ(stats.destroyed, 3);

    AttachmentBag other;
    other.setAttachment(1, new Tracked(stats));
    other.delAllAttachment();
    EXPECT_EQ(stats.destroyed, 4);
    EXPECT_EQ(other.getAttachmentCount(), 0);
}

TEST(AttachmentBag, CopyIsEmptyAndStartsAtCountZero) {
    Tracked::Stats stats;
    auto* original = new AttachmentBag;
    SmartPtr<AttachmentBag> hold(original);
    Tracked* obj = new Tracked(stats);
    original->setAttachment(7, obj);
    auto* copy = new AttachmentBag(*original);
    SmartPtr<AttachmentBag> holdCopy;
    EXPECT_EQ(copy->refCount(), 0);
    holdCopy = copy;
    EXPECT_EQ(copy->getAttachmentCount(), 0);
    EXPECT_EQ(copy->getAttachment(7), nullptr);
    EXPECT_EQ(original->getAttachment(7), obj);
    EXPECT_EQ(obj->refCount(), 1);  // not shared by the copy
    holdCopy = nullptr;
    EXPECT_EQ(stats.destroyed, 0);
    hold = nullptr;
    EXPECT_EQ(stats.destroyed, 1);
}

}  // namespace
