// Copies of subgraphs into another scope: sharing by name, cycles, skipped and foreign children,
// values and dynamic parts, and the routes made anew by name after the walk.

#include <gtest/gtest.h>

#include <string>

#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "kalvex/traversal/CopyAction.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexTest;

class Copies : public ProbeTest {
  protected:
    void SetUp() override {
        ProbeTest::SetUp();
        target = new NodeNameSpace("copies", nullptr, false);
    }
    void TearDown() override {
        copies.clear();
        ProbeTest::TearDown();
        target = nullptr;
    }
    // Copies start into the target scope and holds the result.
    Node* copy(Node& start, CopyAction& action) {
        start.getProc()->copy(action);
        if (action.lastCopy()) copies.emplace_back(action.lastCopy());
        return action.lastCopy();
    }
    Node* copy(Node& start) {
        CopyAction action(0.0, *scope, *target);
        Node* result = copy(start, action);
        action.finalize();
        return result;
    }
    // The list as names ("-" for an empty entry, "#" for an unnamed node).
    static std::string names(const MFNode& field) {
        std::string all;
        for (const NodeLink& link : field.getValue()) {
            const Node* n = link.rawNode();
            all += (all.empty() ? "" : " ") + (n ? (n->hasName() ? n->getName() : "#") : "-");
        }
        return all;
    }

    SmartPtr<NodeNameSpace> target;
    std::vector<SmartPtr<Node>> copies;
};

TEST_F(Copies, SharedNodesAreCopiedOnceByNameAndCyclesEndAtOnce) {
    ProbeNode *top = make("top"), *shared = make("shared");
    Node* anonymous = make(nullptr);
    for (Node* kid : std::initializer_list<Node*>{shared, shared, anonymous, anonymous})
        top->kids.addChild(kid);
    // shared points back at top: the walk meets top again while copying it.
    shared->single.link().setNode(top);
    LogCapture log(osg::LOG_NOTICE);
    auto* result = static_cast<ProbeNode*>(copy(*top));
    ASSERT_TRUE(result);
    EXPECT_EQ(names(result->kids), "shared shared # #");
    auto entry = [&](int i) { return std::next(result->kids.getValue().begin(), i)->rawNode(); };
    // By name, the second arrival finds the first copy; unnamed, it is copied again.
    EXPECT_EQ(entry(0), entry(1));
    EXPECT_NE(entry(2), entry(3));
    // The cycle: top is named and already in the new scope, so the link finds its copy.
    EXPECT_EQ(static_cast<ProbeNode*>(entry(0))->single.rawNode(), result);
    EXPECT_EQ(log.count("NOTICE\tKalvex\tAUTO_USE shared node in NodeProc::copy()\n"), 1);
    EXPECT_EQ(log.count("NOTICE\tKalvex\tAUTO_USE top node in NodeProc::copy()\n"), 1);
    // Links hold references: the cycles go by hand.
    shared->single.link().setNode(nullptr);
    static_cast<ProbeNode*>(entry(0))->single.link().setNode(nullptr);
}

TEST_F(Copies, AnUnnamedCycleLinksThePreviousCopy) {
    ProbeNode *a = make(nullptr), *b = make(nullptr);
    a->single.link().setNode(b);
    b->single.link().setNode(a);
    CopyAction action(0.0, *scope, *target);
    auto* ca = static_cast<ProbeNode*>(copy(*a, action));
    ASSERT_TRUE(ca);
    auto* cb = static_cast<ProbeNode*>(ca->single.rawNode());
    ASSERT_TRUE(cb && cb != ca);
    // At b, a is on the path: its walk returns at once and b's copy links the last copy, which
    // is still null, the copy of b being the first made.
    EXPECT_EQ(cb->single.rawNode(), nullptr);
}

TEST_F(Copies, SkippedAndForeignChildrenAndNamesAlreadyThere) {
    SmartPtr<NodeNameSpace> foreign(new NodeNameSpace("foreign", nullptr, false));
    ProbeNode *top = make("top"), *first = make("first");
    // Made at runtime: the skip mask of the first case leaves it out.
    ProbeNode* skipped = make("skipped", ProbeNode::_type, nullptr, CreatorRuntime);
    ProbeNode* outside = make("outside", ProbeNode::_type, foreign.get());
    skipped->kids.addChild(make("deep"));
    for (Node* kid : std::initializer_list<Node*>{first, skipped, outside}) top->kids.addChild(kid);
    // A skipped child takes the place of the copy before it.
    // clang-format off
    const struct { const char* name; uint32_t set, clear; bool skipByCreator; const char* list; } cases[] = {
        {"skip", 0, 0, true, "first first -"}, {"sub scopes", CopyAction::CopySubNameSpace, 0, false, "first skipped outside"},
        {"no auto use", 0, CopyAction::CopyAutoUse, false, "first skipped -"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        target = new NodeNameSpace("copies", nullptr, false);
        CopyAction action(0.0, *scope, *target);
        action.setParamMask((action.paramMask() | c.set) & ~c.clear);
        if (c.skipByCreator) action.setSkipCreateMask(CreatorRuntime);
        LogCapture quiet;
        auto* result = static_cast<ProbeNode*>(copy(*top, action));
        ASSERT_TRUE(result);
        EXPECT_EQ(names(result->kids), c.list);
        copies.clear();
    }
    // A name already in the new scope is used as it is, and its children are not walked.
    target = new NodeNameSpace("copies", nullptr, false);
    ProbeNode* there = make("skipped", ProbeNode::_type, target.get());
    auto* result = static_cast<ProbeNode*>(copy(*top));
    EXPECT_EQ(std::next(result->kids.getValue().begin())->rawNode(), there);
    EXPECT_TRUE(there->kids.getValue().empty());
    EXPECT_EQ(NodeNameSpace::findNode(target.get(), "deep"), nullptr);
    copies.clear();
    held.clear();  // before the foreign scope goes
}

TEST_F(Copies, ValuesAndDynamicPartsCome) {
    using KalvexExample::Counter;
    auto* counter = make<Counter>("counter", Counter::_type);
    counter->count().setValue(7);
    Field* extra = counter->addDynamicField(PartExposedField, SFStringType, "label", "", "\"x\"",
                                            "", true, false, false, "");
    ASSERT_TRUE(extra);
    extra->setValueByStr("\"copied\"");
    auto* result = static_cast<Counter*>(copy(*counter));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->count().getValue(), 7);
    ASSERT_EQ(result->fieldCount(), counter->fieldCount());
    EXPECT_EQ(result->findField("label", Node::SearchAllNames)->strValue(), "\"copied\"");
}

TEST_F(Copies, RoutesAreMadeAnewByNameAndPartID) {
    using KalvexExample::Counter;
    ProbeNode* top = make("top");
    auto* a = make<Counter>("a", Counter::_type);
    auto* b = make<Counter>("b", Counter::_type);
    auto* outside = make<Counter>("outside", Counter::_type);
    top->kids.addChild(a);
    top->kids.addChild(b);
    Route::create(a->total(), b->count(), Route::Trigger, false);        // inside
    Route::create(b->total(), outside->count(), Route::Default, false);  // leads out
    const unsigned before = Route::routeCount();
    // The node outside the copied part has a counterpart by name in the new scope.
    auto* there = make<Counter>("outside", Counter::_type, target.get());
    CopyAction(0.0, *scope, *target).finalize();  // nothing collected, nothing made
    EXPECT_EQ(Route::routeCount(), before);
    auto* result = static_cast<ProbeNode*>(copy(*top));
    ASSERT_TRUE(result);
    auto* ca = static_cast<Counter*>(NodeNameSpace::findNode(target.get(), "a"));
    auto* cb = static_cast<Counter*>(NodeNameSpace::findNode(target.get(), "b"));
    ASSERT_TRUE(ca && cb);
    EXPECT_EQ(Route::routeCount(), before + 2);
    ASSERT_TRUE(ca->total().outSlot());
    Route* inside = ca->total().outSlot()->findRoute(cb->count().inSlot());
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside->type(), Route::Default);  // whatever the old one was
    EXPECT_TRUE(cb->total().outSlot()->findRoute(there->count().inSlot()));
    // The copies carry events as the originals do.
    ca->total().setValue(4);
    ca->total().outSlot()->sendEvent(0.0, false);
    EXPECT_EQ(cb->count().getValue(), 4);
}

}  // namespace
