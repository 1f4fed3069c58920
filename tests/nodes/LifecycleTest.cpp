// Node states: the transition table with its callbacks, tree and live-state propagation through
// the links, the end of a node on its last release, and the roots of a context.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"

namespace {

using namespace Kalvex;
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
    Node* scene = KalvexExample::Scene::_type.createNode(ctx.get(), "main:top", CreatorSystem);
    EXPECT_EQ(world->getNameSpace()->getName() + "/" + world->getName(), "probeworld/probeworld");
    EXPECT_EQ(ctx->findRoot(worldType), world.get());
    EXPECT_EQ(ctx->findRoot(ProbeNode::_type), nullptr);  // exact type only
    EXPECT_EQ(world->context(), ctx.get());
    EXPECT_TRUE(ctx->addRoot(*world));  // already here: nothing changes
    std::vector<Node*> roots;
    EXPECT_EQ(ctx->getRootVec(roots), 2u);

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
    EXPECT_EQ(second->context(), nullptr);
    EXPECT_TRUE(ctx->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(worldType), second.get());
    EXPECT_EQ(world->context(), nullptr);
    EXPECT_TRUE(other->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(worldType), nullptr);
    EXPECT_EQ(second->context(), other.get());
    LogCapture log(osg::LOG_WARNING);
    EXPECT_FALSE(ctx->removeRoot(worldType));
    EXPECT_TRUE(ctx->removeRoot(KalvexExample::Scene::_type));
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
