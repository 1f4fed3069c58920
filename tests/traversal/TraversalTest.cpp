// Walks over the node graph: the filters of the frame, cycles and shared nodes, the walk by
// callbacks, collecting by type, and carrying change marks with their statistics.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using namespace KalvexTest;

// Journals the two synchronisation callbacks as "name:child" and "name:node(mask in hex)";
// hook, when set, runs after each nodeChanged.
class SyncProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    static std::function<void(Node&)> hook;

    void childChanged(const TimeStamp&) override { journal.push_back(node().getName() + ":child"); }
    void nodeChanged(const TimeStamp&, const BitVector<unsigned long>& mask) override {
        char bits[32];
        std::snprintf(bits, sizeof bits, "%lx", mask.getValue());
        journal.push_back(node().getName() + ":node(" + bits + ")");
        if (hook) hook(node());
    }
};
std::function<void(Node&)> SyncProc::hook;

// The probe's fields with the journaling behaviour above.
NodeType syncProbeType(
    theBaseNodeTypeFactory(), "SyncProbe", "Test", "Probe", nullptr, "1.0", "Test", "", "stable",
    "Probe that journals synchronisation", "Test", true, false, nullptr, &ProbeNode::create,
    [](NodeType& type, Node& node) -> NodeProc* { return new SyncProc(type, node); }, nullptr, 0);

// Records the walk of traverse: "name@depth" on arrival and "/name" after the children; stops
// below the node named stopAt.
class Recorder : public GenericAction {
  public:
    using GenericAction::GenericAction;
    std::vector<std::string> order;
    std::string stopAt;

    void pre(std::vector<Node*>& children) override {
        Node* node = _nodeStack.back();
        order.push_back(node->getName() + "@" + std::to_string(_nodeStack.size()));
        if (node->getName() != stopAt) node->collectAllChildren(children, 0);
    }
    void post() override { order.push_back("/" + _nodeStack.back()->getName()); }
};

class Walks : public ProbeTest {
  protected:
    void TearDown() override {
        SyncProc::hook = nullptr;
        ProbeTest::TearDown();
    }
    static void link(Node* parent, std::initializer_list<Node*> kids) {
        for (Node* kid : kids) static_cast<ProbeNode*>(parent)->kids.addChild(kid);
    }
    // The names collected under type, with their counts: "name*count" in pointer order.
    static std::set<std::string> collected(const CollectAction& action, NodeType& type) {
        std::vector<Node*> nodes;
        std::vector<unsigned int> counts;
        action.fillNodeVec(type, nodes, &counts, true);
        std::set<std::string> out;
        for (size_t i = 0; i < nodes.size(); ++i)
            out.insert(nodes[i]->getName() + "*" + std::to_string(counts[i]));
        EXPECT_EQ(out.size(), nodes.size()) << "a node is listed more than once";
        return out;
    }
    // Synchronises from root and returns the journal of the pass.
    static std::string sync(Node* root, SynchronizeAction& action) {
        take();
        root->getProc()->synchronize(action);
        return take();
    }
};

// root(Unknown) -> g:Group(Loader), t:Transform(Dynamic), b:Box(Runtime), p:Probe(System);
// g -> gb:Box(System); t -> tb:Box(Loader); p -> pt:Transform(System).
TEST_F(Walks, FiltersLeaveOutTheSameNodesInEveryWalk) {
    Node* root = make("root", ProbeNode::_type, nullptr, CreatorUnknown);
    Group* g = make<Group>("g", Group::_type, nullptr, CreatorLoader);
    Group* t = make<Group>("t", Transform::_type, nullptr, CreatorDynamic);
    Node* p = make("p");
    link(root, {g, t, make<Node>("b", Box::_type, nullptr, CreatorRuntime), p});
    g->children().addChild(make<Node>("gb", Box::_type));
    t->children().addChild(make<Node>("tb", Box::_type, nullptr, CreatorLoader));
    link(p, {make<Node>("pt", Transform::_type)});

    // Unknown has no bit, so even a full mask keeps the root. A base type skips its derived
    // types too, and a base type of the root refuses the root: nothing is walked.
    // clang-format off
    const struct { uint32_t skipCreate; std::vector<NodeType*> skipTypes; std::set<std::string> walked; } cases[] = {
        {0, {}, {"root", "g", "gb", "t", "tb", "b", "p", "pt"}}, {CreatorLoader, {}, {"root", "t", "b", "p", "pt"}},
        {CreatorDynamic | CreatorRuntime, {}, {"root", "g", "gb", "p", "pt"}}, {~0u, {}, {"root"}},
        {0, {&Group::_type}, {"root", "b", "p"}}, {0, {&Node::_type}, {}}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mask " << c.skipCreate << ", " << c.skipTypes.size());
        CollectAction collect(0.0);
        Recorder traverse(0.0);
        for (TraversAction* action :
             {static_cast<TraversAction*>(&collect), static_cast<TraversAction*>(&traverse)}) {
            action->setSkipCreateMask(c.skipCreate);
            for (NodeType* type : c.skipTypes) action->addSkipType(*type);
        }
        collect.addNodeType(Node::_type);
        {
            LogCapture quiet;
            root->getProc()->collect(collect);
            root->getProc()->traverse(traverse);
        }
        std::set<std::string> expected, arrivals;
        for (const std::string& name : c.walked) expected.insert(name + "*1");
        EXPECT_EQ(collected(collect, Node::_type), expected);
        for (const std::string& entry : traverse.order)
            if (entry[0] != '/') arrivals.insert(entry.substr(0, entry.find('@')));
        EXPECT_EQ(arrivals, c.walked);
        EXPECT_TRUE(collect.visitingSet().empty() && traverse.visitingSet().empty());
        EXPECT_TRUE(traverse.nodeStack().empty());
    }
}

TEST_F(Walks, CyclesEndAndSharedNodesAreWalkedOncePerPath) {
    // a -> b -> a (a cycle through MFNode), a -> a (a self loop), a -> s, b -> s (shared).
    Node *a = make("a"), *b = make("b"), *s = make("s");
    link(a, {b, a, s});
    link(b, {a, s});

    CollectAction collect(0.0);
    collect.addNodeType(ProbeNode::_type);
    a->getProc()->collect(collect);
    EXPECT_EQ(collected(collect, ProbeNode::_type), (std::set<std::string>{"a*1", "b*1", "s*2"}));

    Recorder traverse(0.0);
    {
        LogCapture quiet;
        a->getProc()->traverse(traverse);
    }
    EXPECT_EQ(traverse.order,
              (std::vector<std::string>{"a@1", "b@2", "s@3", "/s", "/b", "s@2", "/s", "/a"}));
    // Stopping below b leaves out its children only.
    Recorder stopped(0.0);
    stopped.stopAt = "b";
    a->getProc()->traverse(stopped);
    EXPECT_EQ(stopped.order, (std::vector<std::string>{"a@1", "b@2", "/b", "s@2", "/s", "/a"}));

    // A synchronisation through the cycle reacts once per node and clears every mark.
    for (Node* n : {a, b, s}) {
        n->_changeFlags = 0;
        n->_changedMask = NodePartMask(0);
    }
    static_cast<ProbeNode*>(s)->single.markChanged();
    SynchronizeAction action(0.0);
    a->getProc()->synchronize(action);
    for (Node* n : {a, b, s}) {
        EXPECT_EQ(n->_changeFlags, 0u) << n->getName();
        EXPECT_TRUE(n->_changedMask.isZero()) << n->getName();
    }
}

TEST_F(Walks, CollectCountsByTypeNameAndDeclaredFields) {
    // root -> t:Transform(named), an unnamed Group, and through the unnamed group a named Box.
    Node* root = make("root");
    Group* unnamed = make<Group>(nullptr, Group::_type);
    unnamed->children().addChild(make<Node>("box", Box::_type));
    link(root, {make<Node>("t", Transform::_type), unnamed});
    // A dynamic node field of an extension holds x; one without the extension flag holds y.
    Field* ext = root->addDynamicField(PartExposedField, MFNodeType, "ext", "", nullptr, nullptr,
                                       false, false, true, "");
    Field* own = root->addDynamicField(PartExposedField, SFNodeType, "own", "", nullptr, nullptr,
                                       false, false, false, "");
    ASSERT_TRUE(ext && own);
    static_cast<MFNode*>(ext)->addChild(make<Node>("x", Transform::_type));
    static_cast<SFNode*>(own)->link().setNode(make<Node>("y", Box::_type));
    const std::string id = unnamed->getIDStr();

    // Transform is counted under its base type Group; unnamed nodes are not counted with
    // NamedOnly, but the walk goes on below them.
    // clang-format off
    const struct { uint32_t clearBits, setBits; std::set<std::string> groups, boxes; } cases[] = {
        {0, 0, {"t*1", id + "*1"}, {"box*1", "y*1"}},
        {CollectAction::CollectDeclaredOnly, 0, {"t*1", id + "*1", "x*1"}, {"box*1", "y*1"}},
        {0, CollectAction::CollectNamedOnly, {"t*1"}, {"box*1", "y*1"}}};
    // clang-format on
    for (const auto& c : cases) {
        CollectAction action(0.0);
        EXPECT_EQ(action.paramMask(), 3u);
        action.setParamMask((action.paramMask() & ~c.clearBits) | c.setBits);
        action.addNodeType(Group::_type);
        action.addNodeType(Box::_type);
        root->getProc()->collect(action);
        EXPECT_EQ(collected(action, Group::_type), c.groups) << c.clearBits << "/" << c.setBits;
        EXPECT_EQ(collected(action, Box::_type), c.boxes) << c.clearBits << "/" << c.setBits;
    }
}

// Counts and pointer order must not depend on the order the walk meets nodes in, and a path
// deeper than the short-path scan must still stop cycles and leave the path empty.
TEST_F(Walks, CollectOrderAndCountsHoldForAnyArrivalOrderAndDepth) {
    auto named = [](const char* prefix, int i) {
        char name[16];
        std::snprintf(name, sizeof name, "%s%d", prefix, i);
        return std::string(name);
    };
    std::vector<Node*> leaves;
    for (int i = 0; i < 12; ++i) leaves.push_back(make(named("l", i).c_str()));
    // Arrivals in descending, mixed and repeated address order, across two walks.
    std::vector<Node*> sorted = leaves;
    std::sort(sorted.begin(), sorted.end());
    const std::vector<Node*> orders[] = {
        {sorted.rbegin(), sorted.rend()},
        {sorted[5], sorted[1], sorted[5], sorted[9], sorted[0], sorted[9], sorted[9], sorted[3]},
        {sorted[0], sorted[0], sorted[11], sorted[2], sorted[11]}};
    int round = 0;
    for (const std::vector<Node*>& order : orders) {
        Node* root = make(named("r", round++).c_str());
        for (Node* leaf : order) link(root, {leaf});
        CollectAction action(0.0);
        action.addNodeType(ProbeNode::_type);
        root->getProc()->collect(action);
        root->getProc()->collect(action);
        std::map<Node*, unsigned int> expected{{root, 2}};
        for (Node* leaf : order) expected[leaf] += 2;
        std::vector<Node*> nodes;
        std::vector<unsigned int> counts;
        action.fillNodeVec(ProbeNode::_type, nodes, &counts, true);
        EXPECT_EQ(nodes.size(), expected.size());
        size_t i = 0;
        for (const auto& [node, count] : expected) {
            ASSERT_LT(i, nodes.size());
            EXPECT_EQ(nodes[i], node);
            EXPECT_EQ(counts[i], count) << node->getName();
            ++i;
        }
        static_cast<ProbeNode*>(root)->kids.clear();
    }

    // A chain of 80 with a link from its end back to its middle: one arrival each, in a
    // walk that goes deep enough to search the path by its sorted copy.
    std::vector<Node*> chain{make("c0")};
    for (int i = 1; i < 80; ++i) {
        chain.push_back(make(named("c", i).c_str()));
        link(chain[i - 1], {chain[i]});
    }
    link(chain.back(), {chain[40], chain[2]});
    CollectAction deep(0.0);
    deep.addNodeType(ProbeNode::_type);
    chain[0]->getProc()->collect(deep);
    std::vector<Node*> nodes;
    std::vector<unsigned int> counts;
    EXPECT_EQ(deep.fillNodeVec(ProbeNode::_type, nodes, &counts, true), 80u);
    EXPECT_EQ(std::count(counts.begin(), counts.end(), 1u), 80);
    EXPECT_TRUE(std::is_sorted(nodes.begin(), nodes.end()));
    EXPECT_TRUE(deep.visitingSet().empty());
    static_cast<ProbeNode*>(chain.back())->kids.clear();
}

TEST_F(Walks, FillNodeVecAppendsAndResetDropsEntries) {
    Node* root = make("root");
    link(root, {make<Node>("b1", Box::_type), make<Node>("b2", Box::_type)});
    CollectAction action(0.0);
    action.addNodeType(Box::_type);
    root->getProc()->collect(action);

    std::vector<Node*> nodes(3, root);
    std::vector<unsigned int> counts(1, 7);
    // A type never added leaves the vector as it is and answers its size.
    EXPECT_EQ(action.fillNodeVec(Transform::_type, nodes, &counts, false), 3u);
    EXPECT_EQ(action.fillNodeVec(Box::_type, nodes, &counts, false), 5u);
    EXPECT_EQ(counts, (std::vector<unsigned int>{7, 1, 1}));
    EXPECT_EQ(action.fillNodeVec(Box::_type, nodes, nullptr, true), 2u);

    // addNodeType empties an entry; reset drops them all and restores the options.
    action.addNodeType(Box::_type);
    EXPECT_EQ(action.fillNodeVec(Box::_type, nodes, nullptr, true), 0u);
    action.setParamMask(0);
    action.reset();
    EXPECT_EQ(action.paramMask(), 3u);
    EXPECT_TRUE(action.nodeMap().empty());
}

TEST_F(Walks, DumpsAndDefaultPreWriteTheirMessages) {
    Node* root = make("root");
    Node* kid = make("kid");
    link(root, {kid});
    LogCapture log;
    GenericAction generic(0.0);
    std::vector<Node*> children;
    generic.pre(children);
    EXPECT_TRUE(log.contains("Run GenericAction on empty node stack\n"));
    root->getProc()->traverse(generic);
    EXPECT_TRUE(log.contains("Run GenericAction on Probe/root (stack depth 1)\n"));
    EXPECT_TRUE(log.contains("Run GenericAction on Probe/kid (stack depth 2)\n"));

    CollectAction collect(1.5);
    log.clear();
    collect.dump();
    EXPECT_TRUE(log.contains("CollectAction nodeMap is empty()\n"));
    EXPECT_TRUE(
        log.contains("ParamMask: 11000000000000000000000000000000TimeStamp: 1.5"
                     "skipCreateMask: 0skipTypeVec count: 0\n"));
    collect.addNodeType(ProbeNode::_type);
    root->getProc()->collect(collect);
    log.clear();
    collect.dump();
    EXPECT_FALSE(log.contains("is empty()"));
    EXPECT_TRUE(log.contains("Probe: 2 nodes\n"));
}

TEST_F(Walks, SynchronizeRunsCallbacksByTheChangeFlags) {
    // root -> a -> {l1, l2}; root -> b -> l3; a shares l3 as well.
    Node *root = make("root", syncProbeType), *a = make("a", syncProbeType),
         *b = make("b", syncProbeType);
    Node *l1 = make("l1", syncProbeType), *l2 = make("l2", syncProbeType),
         *l3 = make("l3", syncProbeType);
    link(root, {a, b});
    link(a, {l1, l2, l3});
    link(b, {l3});
    SynchronizeAction action(0.0);
    // The first pass reaches everything through the marks of linking, and new nodes start
    // with a full mask.
    EXPECT_EQ(sync(root, action),
              "root:child a:child l1:node(ffffffffffffffff) l2:node(ffffffffffffffff) "
              "l3:node(ffffffffffffffff) a:node(ffffffffffffffff) b:child b:node(ffffffffffffffff) "
              "root:node(ffffffffffffffff)");
    auto f = [](Node* n) -> ProbeNode& { return *static_cast<ProbeNode*>(n); };
    const struct {
        std::function<void()> mark;
        const char* journal;
    } cases[] = {
        {[] {}, ""},  // nothing marked: the root has nothing to say
        // A leaf field: its parents are told a descendant changed and walk all their
        // children; only the leaf has a mask, and the unmarked branch b stays quiet.
        {[&] { f(l1).single.markChanged(); },
         "root:child a:child l1:node(8) a:node(0) root:node(0)"},
        // The shared leaf changed: reached twice, it reacts once.
        {[&] { f(l3).boxes.markChanged(); },
         "root:child a:child l3:node(10) a:node(0) b:child b:node(0) root:node(0)"},
        // A field of an inner node only: its parents walk, and it reacts without descending.
        {[&] { f(b).single.markChanged(); }, "root:child b:node(8) root:node(0)"},
    };
    for (const auto& c : cases) {
        sync(root, action);
        c.mark();
        EXPECT_EQ(sync(root, action), c.journal);
        for (Node* n : {root, a, b, l1, l2, l3}) {
            EXPECT_EQ(n->_changeFlags, 0u) << c.journal << " " << n->getName();
            EXPECT_TRUE(n->_changedMask.isZero()) << c.journal << " " << n->getName();
        }
    }
}

TEST_F(Walks, SynchronizeSurvivesCallbacksThatChangeTheGraph) {
    Node *root = make("root", syncProbeType), *a = make("a", syncProbeType);
    Node* gone = make<Node>("gone", syncProbeType);
    link(root, {a, gone});
    held.pop_back();  // only the root's link holds gone now
    SynchronizeAction action(0.0);
    // a's reaction drops its sibling while the root walks its children.
    SyncProc::hook = [&](Node& node) {
        if (&node == a) static_cast<ProbeNode*>(root)->kids.removeChild(1);
    };
    EXPECT_EQ(sync(root, action),
              "root:child a:node(ffffffffffffffff) gone:node(ffffffffffffffff) "
              "root:node(ffffffffffffffff)");
    EXPECT_EQ(static_cast<ProbeNode*>(root)->kids.size(), 1u);
}

TEST_F(Walks, SynchronizeStatisticsCountVisitsByType) {
    Node *root = make("root", syncProbeType), *box = make<Node>("box", Box::_type);
    link(root, {box, make("kid", syncProbeType)});
    SynchronizeAction action(0.0);
    EXPECT_EQ(action.paramMask(), 2u);
    sync(root, action);
    EXPECT_TRUE(action.typeCount().empty());  // statistics off: the table has no rows
    {
        LogCapture log;
        testing::internal::CaptureStderr();
        action.dumpStatistic(0.25);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "SynchronizeAction NodeType Count: ");
        EXPECT_EQ(log.text(), "LOG\tKalvex\t-----: n: 0, tSum: 0, stat: 0.25\n");
    }

    action.setStatistics(true);
    box->_changeFlags |= Node::ChildrenChanged;  // as a link change below it would
    box->markParent(Node::ChildrenChanged);
    sync(root, action);
    ASSERT_EQ(action.typeCount().size(), 2u);
    EXPECT_EQ(action.typeCount().at(&syncProbeType).count, 2u);
    EXPECT_EQ(action.typeCount().at(&Box::_type).count, 1u);

    // The table, from known figures: seconds in, milliseconds out.
    SynchronizeAction fixed(0.0);
    fixed.countType(nullptr, 1.0, 1.0);
    fixed.countType(root, 0.001, 0.002);
    fixed.countType(root, 0.001, 0.002);
    LogCapture log;
    testing::internal::CaptureStderr();
    fixed.dumpStatistic(0.5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "SynchronizeAction NodeType Count: ");
    EXPECT_TRUE(
        log.contains("n: 0002, en:  2.000, ln:  4.000, ea:  1.000, la:  2.000 SyncProbe\n"));
    EXPECT_TRUE(log.contains("-----: n: 2, tSum: 6, stat: 0.5\n"));

    // reset forgets the counts and the settings.
    action.setUserWord(42);
    action.setParamMask(0);
    action.reset();
    EXPECT_TRUE(action.typeCount().empty() && !action.statistics());
    EXPECT_EQ(action.userWord(), 0u);
    EXPECT_EQ(action.paramMask(), 2u);
}

}  // namespace
