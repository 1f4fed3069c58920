// Node states: the transition table with its callbacks, tree and live-state propagation through
// the links, the end of a node on its last release, and the roots of a context. Links between
// nodes: setNode with its callbacks, refusals and change marks, the node list operations, values
// copied between node fields, equality and the refused text forms (the binary forms are the field
// core's).

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <functional>
#include <memory>
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

// A context root type beside the example Scene, which setRootState leaves alone; its nodes get
// the probe's behaviour from the parent type.
NodeType worldType(theBaseNodeTypeFactory(), "ProbeWorld", "Test", "Probe", nullptr, "1.0", "Test",
                   "", "stable", "Root probe", "Test", true, true, nullptr, &ProbeNode::create,
                   nullptr, nullptr, 0);

class Lifecycle : public ProbeTest {
  protected:
    ProbeNode* make(const char* name, NodeState state = Kalvex::Setup) {
        ProbeNode* node = ProbeTest::make(name);
        if (state != Kalvex::Setup) node->setState(0.0, state);
        return node;
    }
};

TEST_F(Lifecycle, EveryStatePairRunsItsStepsOrIsRefused) {
    // The callbacks of each legal change, each with the state that reads during it.
    const char* steps[5][5] = {};
    steps[Creation][Kalvex::Setup] = "n:setup@Setup";
    steps[Kalvex::Setup][Realize] = "n:initialize@Realize";
    steps[Realize][Live] = "n:attach@Live";
    steps[Live][Realize] = "n:detach@Realize";
    steps[Realize][Kalvex::Setup] = "n:shutdown@Setup";
    steps[Live][Kalvex::Setup] = "n:detach@Realize n:shutdown@Setup";
    steps[Kalvex::Setup][Live] = "n:initialize@Realize n:attach@Live";
    steps[Kalvex::Setup][Dispose] = "n:dispose@Dispose";
    steps[Realize][Dispose] = "n:shutdown@Setup n:dispose@Dispose";
    steps[Live][Dispose] = "n:detach@Realize n:shutdown@Setup n:dispose@Dispose";
    Watcher changes(Node::stateChangedSubject());
    for (int from = Creation; from <= Dispose; ++from) {
        for (int to = Creation; to <= Dispose; ++to) {
            SCOPED_TRACE(std::string(Node::_stateName[from]) + " to " + Node::_stateName[to]);
            // Constructed and never set up, or made; every state is one step from Setup.
            SmartPtr<Node> node =
                from == Creation ? new ProbeNode(ProbeNode::_type, *scope, "n")
                                 : ProbeNode::_type.createNode(scope.get(), "n", CreatorSystem);
            if (from != Creation) node->setState(0.0, NodeState(from));
            ASSERT_EQ(node->getState(), from);
            take();
            const bool legal = from == to || steps[from][to];
            LogCapture log(osg::LOG_WARNING);  // a node stuck in Creation ends with reports too
            EXPECT_EQ(node->setState(2.5, NodeState(to)), legal);
            EXPECT_EQ(log.text(),
                      legal ? ""
                            : std::string("WARNING\tKalvex\tInvalid node test/Probe/n state "
                                          "transition: ") +
                                  Node::_stateName[from] + " to " + Node::_stateName[to] + "\n");
            EXPECT_EQ(node->getState(), legal ? to : from);
            EXPECT_EQ(take(),
                      steps[from][to] ? steps[from][to] + std::string(" stateChanged:n@2.5") : "");
            node = nullptr;
        }
    }
}

TEST_F(Lifecycle, TransitionReportsFollowTheLogFeatureAndTheChangingMask) {
    ProbeNode* n = make("n");
    n->logFeatureField().editValue() = {"state"};
    {
        // initialize reads the feature, and the very change that turned it on is reported.
        LogCapture log;
        ASSERT_TRUE(n->setState(0.0, Realize));
        EXPECT_EQ(log.text(), "LOG\tKalvex\tProbe/n: Log feature mask changed: 01" +
                                  std::string(62, '0') +
                                  "\nLOG\tKalvex\tValid node test/Probe/n state transition: "
                                  "Setup to Realize\n");
    }
    n->_isChangingMask = NodePartMask(4);
    LogCapture log(osg::LOG_FATAL);
    EXPECT_TRUE(n->setState(0.0, Live));
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tInvalid node test/Probe/n state transition: Realize "
              "to Live (ChangingMask is 4)\nLOG\tKalvex\tValid node "
              "test/Probe/n state transition: Realize to Live\n");
    n->_isChangingMask = NodePartMask(0);
    EXPECT_EQ(n->getState(), Live);
}

TEST_F(Lifecycle, TreeStateWalksLinksAndStopsAtNodesAlreadyThere) {
    ProbeNode *root = make("root"), *a = make("a"), *b = make("b"), *c = make("c", Realize);
    ProbeNode* d = make("d");
    root->kids.addChild(a);
    root->kids.addChild(b);
    a->single.link().setNode(c);
    c->kids.addChild(d);
    take();
    EXPECT_TRUE(root->setTreeState(1.0, Realize));
    // c has the target already: neither c nor d below it is walked.
    EXPECT_EQ(take(), "root:initialize@Realize a:initialize@Realize b:initialize@Realize");
    EXPECT_EQ(d->getState(), Kalvex::Setup);
    // One refusal makes the answer false; the rest of the tree still changes.
    b->setState(0.0, Dispose);
    LogCapture quiet;
    EXPECT_FALSE(root->setTreeState(1.0, Live));
    for (Node* n : std::vector<Node*>{root, a, c, d})
        EXPECT_EQ(n->getState(), Live) << n->getName();
    EXPECT_EQ(b->getState(), Dispose);
}

TEST_F(Lifecycle, LinksBringChildrenToLiveAndBack) {
    ProbeNode *p = make("p", Live), *q = make("q", Live), *x = make("x"), *y = make("y");
    x->single.link().setNode(y);
    Watcher added(Node::childAddedSubject()), removed(Node::childRemovedSubject());
    take();
    p->kids.addChild(x);
    EXPECT_EQ(take(),
              "p:childAdded@Live x:initialize@Realize x:attach@Live y:initialize@Realize "
              "y:attach@Live childAdded:p>x@0 x:parentAdded@Live");
    // A second live parent keeps x live when the first lets go.
    q->single.link().setNode(x);
    take();
    EXPECT_TRUE(p->kids.removeChild(x));
    EXPECT_EQ(take(), "p:childRemoved@Live childRemoved:p>x@0 x:parentRemoved@Live");
    // The last live parent goes: the subtree falls to Realize, parents first.
    q->single.link().setNode(nullptr);
    EXPECT_EQ(take(),
              "q:childRemoved@Live x:detach@Realize y:detach@Realize childRemoved:q>x@0 "
              "x:parentRemoved@Realize");
    // A parent that is not live changes nothing below it.
    ProbeNode* r = make("r");
    take();
    r->kids.addChild(x);
    EXPECT_EQ(take(), "r:childAdded@Setup childAdded:r>x@0 x:parentAdded@Realize");
}

TEST_F(Lifecycle, LastReleaseDisposesAndUnlinksChildren) {
    ProbeNode *n = make("n", Live), *kept = make("kept");
    n->kids.addChild(kept);
    n->kids.addChild(make("owned"));
    held.pop_back();  // owned now lives through its link only
    Watcher deleted(Node::deleteObjectSubject());
    take();
    held.erase(held.begin());  // n
    EXPECT_EQ(take(),
              "n:detach@Realize n:shutdown@Setup n:dispose@Dispose deleteNode:n@0 "
              "n:childRemoved@Dispose kept:parentRemoved@Live n:childRemoved@Dispose "
              "owned:parentRemoved@Live owned:detach@Realize owned:shutdown@Setup "
              "owned:dispose@Dispose deleteNode:owned@0");
    // Nobody told kept that its live parent went away.
    EXPECT_TRUE(kept->parentLinks().empty());
    EXPECT_EQ(kept->getState(), Live);

    // A node that cannot reach Dispose is reported, not announced, and still goes.
    SmartPtr<Node> raw(new ProbeNode(ProbeNode::_type, *scope, "raw"));
    const uint64_t rawId = raw->ID();
    LogCapture log(osg::LOG_WARNING);
    raw = nullptr;
    EXPECT_TRUE(log.text().ends_with(
        "\nFATAL\tKalvex\tProbe/raw: Could not switch state to DISPOSED in shutdown()\n"));
    EXPECT_EQ(take(), "");
    EXPECT_EQ(Node::findNode(rawId), nullptr);
}

TEST_F(Lifecycle, ContextRootsOneForEachType) {
    SmartPtr<Context> ctx(Context::create()), other(Context::create());
    EXPECT_FALSE(ctx->addRoot(*make("plain")));
    SmartPtr<ProbeNode> world =
        static_cast<ProbeNode*>(worldType.createNode(ctx.get(), nullptr, CreatorSystem));
    Node* scene = Scene::_type.createNode(ctx.get(), "main:top", CreatorSystem);
    EXPECT_EQ(ctx->findRoot(worldType), world.get());
    EXPECT_EQ(ctx->findRoot(ProbeNode::_type), nullptr);  // exact type only
    EXPECT_TRUE(ctx->addRoot(*world));                    // already here
    std::vector<Node*> roots;

    // A live target brings every root but the scene to Live, with the children.
    world->kids.addChild(make("child"));
    take();
    EXPECT_TRUE(ctx->setRootState(0.0, Live));
    EXPECT_EQ(scene->getState(), Kalvex::Setup);
    EXPECT_TRUE(ctx->setRootState(0.0, Realize));
    EXPECT_EQ(scene->getState(), Realize);
    EXPECT_EQ(take(),
              "probeworld:initialize@Realize probeworld:attach@Live child:initialize@Realize "
              "child:attach@Live probeworld:detach@Realize child:detach@Realize");

    // A second root of a type replaces the first, whose scope loses the context; taken by
    // another context, it leaves this one.
    SmartPtr<Node> second(worldType.createNode(nullptr, "w:two", CreatorSystem));
    EXPECT_TRUE(ctx->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(worldType), second.get());
    EXPECT_EQ(world->context(), nullptr);
    EXPECT_TRUE(other->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(worldType), nullptr);
    EXPECT_EQ(second->context(), other.get());
    LogCapture log(osg::LOG_WARNING);
    EXPECT_FALSE(ctx->removeRoot(worldType));
    EXPECT_TRUE(ctx->removeRoot(Scene::_type));
    EXPECT_EQ(ctx->getRootVec(roots), 0u);

    // The last release of a context lets live roots fall back, then drops them.
    other->setRootState(0.0, Live);
    take();
    other = nullptr;
    EXPECT_EQ(take(), "two:detach@Realize");
    EXPECT_EQ(second->context(), nullptr);
    EXPECT_EQ(second->refCount(), 1);

    // A context deleted without the release protocol warns and frees its roots all the same.
    auto* doomed = new Context;
    SmartPtr<Node> root(worldType.createNode(doomed, "r", CreatorSystem));
    EXPECT_EQ(root->context(), doomed);
    delete doomed;
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tCould not find node in Context::removeRoot\n"
              "WARNING\tKalvex\tRootBag is not empty in Context destructor\n");
    EXPECT_EQ(root->context(), nullptr);
    EXPECT_EQ(root->refCount(), 1);
}

// --- links ---------------------------------------------------------------------------------------

class Links : public ProbeTest {
  protected:
    // The list as names, "-" for an empty entry.
    static std::string names(const MFNode& field) {
        std::string all;
        for (const NodeLink& link : field.getValue())
            all += (all.empty() ? "" : " ") + (link.rawNode() ? link.rawNode()->getName() : "-");
        return all;
    }
};

TEST_F(Links, SetNodeRunsCallbacksInOrderAndMarksAncestors) {
    ProbeNode *top = make("top"), *grand = make("grand"), *parent = make("parent");
    ProbeNode *child = make("child"), *next = make("next");
    top->kids.addChild(grand);
    grand->kids.addChild(parent);
    parent->single.link().setNode(child);
    top->_changeFlags = grand->_changeFlags = parent->_changeFlags = 0;
    Watcher added(NodeLink::newLinkSubject()), removed(NodeLink::deleteLinkSubject());
    take();

    NodeLink& link = parent->single.link();
    EXPECT_TRUE(link.setNode(next));
    EXPECT_EQ(take(),
              "deleteNodeLink:child@0 parent:childRemoved@Setup child:parentRemoved@Setup "
              "newNodeLink:next@0 parent:childAdded@Setup next:parentAdded@Setup");
    EXPECT_TRUE(child->parentLinks().empty());
    EXPECT_EQ(next->parentLinks(), std::vector<NodeLink*>{&link});
    for (Node* n : std::vector<Node*>{top, grand, parent})
        EXPECT_EQ(n->_changeFlags, uint32_t(Node::ChildrenChanged)) << n->getName();
    // The present target again: nothing runs and nothing is marked (the walk that stops at a
    // node marked already is the field core's).
    parent->_changeFlags = 0;
    EXPECT_TRUE(link.setNode(next));
    EXPECT_EQ(take(), "");
    EXPECT_EQ(parent->_changeFlags, 0u);

    // A link without a field has no parent to tell and nothing to mark; the type is "Node".
    NodeLink free;
    EXPECT_TRUE(free.setNode(next));
    EXPECT_EQ(take(), "newNodeLink:next@0 next:parentAdded@Setup");
    EXPECT_EQ(free.parent(), nullptr);
    EXPECT_EQ(free.nodeType(), &Node::_type);
    free.setNode(nullptr);
    EXPECT_EQ(next->parentLinks(), std::vector<NodeLink*>{&link});
}

TEST_F(Links, RestrictedFieldsRefuseOtherTypesAndStayEmpty) {
    auto* shape = make<Shape>("shape", Shape::_type);
    Node *b = make<Node>("b", Box::_type), *g = make<Node>("g", Group::_type);
    NodeLink& geometry = shape->geometry().link();
    ASSERT_TRUE(geometry.setNode(b));  // a descendant of the named type
    EXPECT_EQ(geometry.nodeType(), &Geometry::_type);
    shape->_changeFlags = 0;
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(geometry.setNode(g));
        EXPECT_EQ(log.text(),
                  "WARNING\tKalvex\tCan't NodeLink::setNode() for node g of type Group, "
                  "because NodeLink needs Geometry Node\n");
    }
    // The old target went before the test: the field is empty, and no mark is set.
    EXPECT_EQ(geometry.rawNode(), nullptr);
    EXPECT_TRUE(b->parentLinks().empty() && g->parentLinks().empty());
    EXPECT_EQ(shape->_changeFlags, 0u);
    // A list keeps the refused node's place as an empty entry.
    ProbeNode* p = make("p");
    LogCapture quiet;
    EXPECT_EQ(p->boxes.addChild(g)->rawNode(), nullptr);
    p->boxes.addChild(b);
    EXPECT_EQ(names(p->boxes), "- b");
    // An abstract type stands for its descendants.
    Node* material = make<Node>("m", MaterialNode::_type);
    EXPECT_TRUE(make<Appearance>("look", Appearance::_type)->material().link().setNode(material));
    EXPECT_FALSE(shape->appearance().link().setNode(material));
}

TEST_F(Links, ChangesArePrintedForChildAndParentFeatures) {
    ProbeNode *p = make("p"), *c = make("c");
    Group* g = make<Group>("g", Group::_type);
    p->logFeatureField().editValue() = {"child"};
    c->logFeatureField().editValue() = {"parent"};
    LogCapture log;
    p->getProc()->updateLogFeatureMask();
    c->getProc()->updateLogFeatureMask();
    log.clear();
    p->single.link().setNode(c);
    p->single.link().setNode(nullptr);
    g->children().addChild(c);  // the child's parent feature alone prints too
    g->children().addChild(p);  // neither: silent
    EXPECT_EQ(log.text(),
              "LOG\tKalvex\tProbe/p child Probe/c added (single)\n"
              "LOG\tKalvex\tProbe/p child Probe/c removed (single)\n"
              "LOG\tKalvex\tGroup/g child Probe/c added (children)\n");
}

TEST_F(Links, ListOperationsKeepHolesAndDuplicates) {
    ProbeNode *p = make("p"), *a = make("a"), *b = make("b"), *c = make("c");
    MFNode& kids = p->kids;
    const auto add = [&](Node* n) { return kids.addChild(n) != nullptr; };
    const auto ins = [&](int i, Node* n) { return kids.insertChild(i, n) != nullptr; };
    const auto rem = [&](Node* n) { return kids.removeChild(n); };
    const auto remAt = [&](int i) { return kids.removeChild(i); };
    // clang-format off
    const struct { std::function<bool()> op; bool result; const char* after; } steps[] = {
        {[&] { return remAt(0); }, false, ""},  // empty list
        {[&] { return add(a); }, true, "a"}, {[&] { return add(nullptr); }, true, "a -"},
        {[&] { return add(b); }, true, "a - b"}, {[&] { return ins(0, c); }, true, "c a - b"},
        {[&] { return ins(2, a); }, true, "c a a - b"}, {[&] { return ins(-1, b); }, true, "c a a - b b"},
        {[&] { return ins(99, c); }, true, "c a a - b b c"}, {[&] { return ins(1, nullptr); }, true, "c - a a - b b c"},
        {[&] { return rem(a); }, true, "c - - b b c"}, {[&] { return rem(a); }, false, "c - - b b c"},  // every entry
        {[&] { return remAt(-5); }, true, "- - b b c"},  // negative: the first
        {[&] { return remAt(5); }, false, "- - b b c"}, {[&] { return remAt(4); }, true, "- - b b"},
        {[&] { return rem(nullptr); }, true, "b b"}};  // the holes are entries of null
    // clang-format on
    LogCapture log(osg::LOG_NOTICE);
    for (const auto& s : steps) {
        EXPECT_EQ(s.op(), s.result) << s.after;
        EXPECT_EQ(names(kids), s.after);
        // Every entry is one parent link of its node.
        int entriesOfB = 0;
        for (const NodeLink& link : kids.getValue()) entriesOfB += link.rawNode() == b;
        EXPECT_EQ(int(b->parentLinks().size()), entriesOfB) << s.after;
    }
    EXPECT_TRUE(a->parentLinks().empty() && c->parentLinks().empty());
    // An empty entry is reported, wherever it goes.
    EXPECT_EQ(log.count("NOTICE\tKalvex\tAdd Child(NULL) to Node(Probe/p), field: kids\n"), 2);

    // Two links of one field swap targets silently; links of two fields do not.
    kids.addChild(nullptr);
    auto first = std::next(kids.editValue().begin()), second = std::next(first);
    take();
    EXPECT_TRUE(first->swap(*second));
    EXPECT_EQ(names(kids), "b - b");
    EXPECT_EQ(take(), "");
    for (NodeLink* link : b->parentLinks()) EXPECT_EQ(link->rawNode(), b);
    EXPECT_FALSE(first->swap(p->single.link()));
}

TEST_F(Links, AGroupReplacedByItsOwnChildKeepsTheChild) {
    ProbeNode* p = make("p");
    // x is held by p only, y by x only.
    SmartPtr<Node> x(ProbeNode::_type.createNode(scope.get(), "x", CreatorSystem));
    Node* y = ProbeNode::_type.createNode(scope.get(), "y", CreatorSystem);
    static_cast<ProbeNode*>(x.get())->kids.addChild(y);
    p->single.link().setNode(x.get());
    x = nullptr;
    Watcher deleted(Node::deleteObjectSubject());
    take();
    ASSERT_TRUE(p->single.link().setNode(y));
    EXPECT_EQ(y->refCount(), 1);
    // y is in place before x lets it go.
    EXPECT_EQ(take(),
              "p:childRemoved@Setup x:parentRemoved@Setup p:childAdded@Setup y:parentAdded@Setup "
              "x:dispose@Dispose deleteNode:x@0 x:childRemoved@Dispose y:parentRemoved@Setup");
}

TEST_F(Links, TheChildWalkGoesThroughEveryNodeFieldInOrder) {
    ProbeNode *p = make("p"), *a = make("a"), *b = make("b"), *c = make("c");
    SmartPtr<Node> box(KalvexExample::Box::_type.createNode(scope.get(), "box", CreatorSystem));
    for (Node* kid : std::initializer_list<Node*>{nullptr, a, nullptr, b}) p->kids.addChild(kid);
    p->boxes.addChild(box.get());
    p->feed.addChild(c);  // an eventIn counts too
    p->feed.addChild(a);
    std::string walked;
    ChildIterator children(*p);
    while (Node* child = children.next()) walked += child->getName() + " ";
    EXPECT_EQ(walked, "a b box c a ");
    EXPECT_EQ(children.next(), nullptr);
}

TEST_F(Links, ValuesMoveBetweenNodeFields) {
    ProbeNode *from = make("from"), *to = make("to"), *a = make("a"), *b = make("b");
    from->kids.addChild(a);
    from->kids.addChild(b);
    from->single.link().setNode(b);
    std::unique_ptr<Field> any(FieldType::create(SFAnyType, *to));
    ASSERT_TRUE(any);
    // Into the list, then into the single field. A list shares its nodes; a single field into a
    // list is taken over but reported as no change; a list into a single field gives its first
    // entry, and an empty list leaves the field as it is. Wildcards are accepted with no effect.
    // clang-format off
    const struct { Field& target; const Field& from; bool changed; const char* after; } steps[] = {
        {to->kids, from->kids, true, "a b"},    {to->kids, to->kids, true, "a b"},
        {to->kids, from->single, false, "b"},  {to->kids, *any, true, "b"},
        {to->kids, to->single, false, ""},
        {to->single, from->kids, true, "a"},   {to->single, to->kids, false, "a"},
        {to->single, from->single, true, "b"}, {to->single, *any, true, "b"}};
    // clang-format on
    for (const auto& s : steps) {
        EXPECT_EQ(s.target.setValueByField(s.from, nullptr), s.changed) << s.after;
        EXPECT_EQ(&s.target == &to->kids ? names(to->kids) : to->single.rawNode()->getName(),
                  s.after);
    }
    EXPECT_EQ(names(from->kids), "a b");
}

TEST_F(Links, EqualityComparesTargetsInOrder) {
    ProbeNode *x = make("x"), *y = make("y"), *a = make("a"), *b = make("b");
    x->single.link().setNode(a);
    EXPECT_FALSE(x->single.equalValue(y->single));
    y->single.link().setNode(a);
    EXPECT_TRUE(x->single.equalValue(y->single));
    // clang-format off
    const struct { std::vector<Node*> left, right; bool equal; } lists[] = {
        {{a, b}, {b, a}, false}, {{a}, {a, b}, false}, {{a, nullptr}, {a, nullptr}, true}, {{nullptr}, {a}, false}};
    // clang-format on
    LogCapture quiet;
    for (const auto& l : lists) {
        x->kids.clear();
        y->kids.clear();
        for (Node* n : l.left) x->kids.addChild(n);
        for (Node* n : l.right) y->kids.addChild(n);
        EXPECT_EQ(x->kids.equalValue(y->kids), l.equal) << names(x->kids) << "/" << names(y->kids);
    }
}

TEST_F(Links, NodeFieldsRefuseTextFormsAndOtherValues) {
    ProbeNode* n = make("n");
    std::unique_ptr<Field> number(FieldType::create(SFInt32Type, *n));
    std::string out = "kept";
    const std::string fatal = "FATAL\tKalvex\t", warning = "WARNING\tKalvex\t";
    // clang-format off
    const struct { std::function<void()> call; std::string message; } cases[] = {
        {[&] { n->single.setValueByStr(" \t\n"); }, ""}, {[&] { n->single.set1ValueByBin(0, "x"); }, ""},
        {[&] { n->single.setValueByStr("USE x"); }, fatal + "SFNode::setValueByStr( USE x ) is not impl.\n"},
        {[&] { n->single.getStrValue(out); }, fatal + "SFNode::getValueByField() is not impl.\n"},
        {[&] { n->kids.setValueByStr("[]"); }, fatal + "In MFNode::setValueByStr\n"},
        {[&] { n->kids.addValueByStr("USE x", Field::CardinalityMulti); }, fatal + "In MFNode::addValueByStr\n"},
        {[&] { n->kids.getStrValue(out); }, ""},
        {[&] { EXPECT_FALSE(n->single.setValueByField(*number, nullptr)); },
         warning + "SFInt32 to SFNode not implementet\n"},
        {[&] { EXPECT_FALSE(n->kids.setValueByField(*number, nullptr)); },
         warning + "SFInt32 to MFNode not implementet\n"},
        {[&] { n->kids.set1ValueByBin(0, "x"); }, fatal + "MFNode::set1ValueByBin() is not imp\n"}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log;
        c.call();
        EXPECT_EQ(log.text(), c.message);
    }
    EXPECT_EQ(out, "kept");
}

TEST(StaticTypeHost, ReturnsFromMainCleanlyWithItsOutput) {
    // Its own process: the exit handler and the static destruction of a type that lives in the
    // host must run through and flush what the host printed.
    const std::string command =
        std::string("KALVEX_LOG_TYPE=stdout KALVEX_LOG_LEVEL=notice ") + KALVEX_STATIC_TYPE_HOST;
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char buffer[256];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
    const int status = pclose(pipe);
    ASSERT_TRUE(WIFEXITED(status)) << output;
    EXPECT_EQ(WEXITSTATUS(status), 0) << output;
    EXPECT_NE(output.find("Kalvex::exitSystem() call"), std::string::npos) << output;
    EXPECT_NE(output.find("static host level 7"), std::string::npos) << output;
}

}  // namespace
