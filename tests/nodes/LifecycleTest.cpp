// Node states: the transition table with its callbacks, tree and live-state propagation through
// the links, the end of a node on its last release, and the roots of a context.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/nodes/SFNode.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using KalvexTest::LogCapture;

// Every callback a probe receives, as "node:callback@state during the call".
std::vector<std::string> journal;

// Each callback journals itself; the graph callbacks go on to the base, which drives states.
#define KALVEX_NOTE(callback, Arg, base)             \
    void callback(Arg arg) override {                \
        note(#callback);                             \
        if constexpr (base) NodeProc::callback(arg); \
        (void)arg;                                   \
    }

class LifeProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    using NodeProc::shutdown;
    KALVEX_NOTE(setup, const TimeStamp&, false)
    KALVEX_NOTE(initialize, const TimeStamp&, true)
    KALVEX_NOTE(attach, const TimeStamp&, false)
    KALVEX_NOTE(detach, const TimeStamp&, false)
    KALVEX_NOTE(shutdown, const TimeStamp&, false)
    KALVEX_NOTE(dispose, const TimeStamp&, false)
    KALVEX_NOTE(childAdded, NodeLink&, true)
    KALVEX_NOTE(childRemoved, NodeLink&, true)
    KALVEX_NOTE(parentAdded, NodeLink&, false)
    KALVEX_NOTE(parentRemoved, NodeLink&, false)

  private:
    void note(const char* what) {
        journal.push_back(node().getName() + ":" + what + "@" + node().stateName());
    }
};
#undef KALVEX_NOTE

// A plug-in style type with one list and one single node field.
class LifeNode : public Node {
  public:
    LifeNode(NodeType& type, NodeNameSpace& scope, const char* name)
        : Node(type, scope, name), kids(*this), single(*this) {
        regField(kids, type, _desc[0].ID, true);
        regField(single, type, _desc[1].ID, true);
    }
    MFNode kids;
    SFNode single;

    static NodePartDesc _desc[];
    static NodeType _type;
    static NodeType _worldType;
};

Node* makeLife(NodeType& type, NodeNameSpace& scope, const char* name) {
    return new LifeNode(type, scope, name);
}
NodeProc* makeLifeProc(NodeType& type, Node& node) {
    return new LifeProc(type, node);
}
bool isLife(Node* node) {
    return dynamic_cast<LifeNode*>(node) != nullptr;
}

NodePartDesc LifeNode::_desc[] = {
    {2, partMaskOf(2), PartExposedField, MFNodeType, NodePartDesc::OptAutoProcess, "kids", "Test",
     nullptr, nullptr, "children"},
    {3, partMaskOf(3), PartExposedField, SFNodeType, NodePartDesc::OptAutoProcess, "single", "Test",
     nullptr, nullptr, "one child"}};

NodeType LifeNode::_type(theBaseNodeTypeFactory(), "LifecycleProbe", "Test", "Node", nullptr, "1.0",
                         "Test", "Records its callbacks", "stable",
                         "Journals every lifecycle and graph callback", "Test", true, false,
                         &isLife, &makeLife, &makeLifeProc, LifeNode::_desc, 2);

// A second context root type beside the example Scene, which setRootState leaves alone.
NodeType LifeNode::_worldType(theBaseNodeTypeFactory(), "LifecycleWorld", "Test", "LifecycleProbe",
                              nullptr, "1.0", "Test", "A context root probe", "stable",
                              "Root probe that owns its scope", "Test", true, true, &isLife,
                              &makeLife, nullptr, nullptr, 0);

// Counts the notifications of one subject and keeps the objects of the last one.
class Watcher : public Observer {
  public:
    explicit Watcher(Subject* subject) : Observer(*subject, "watcher") {}
    void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject*) override {
        ++count;
        lastTime = time;
        lastA = a;
        lastB = b;
        seen.push_back(a);
    }
    int count = 0;
    TimeStamp lastTime = -1;
    BaseObject* lastA = nullptr;
    BaseObject* lastB = nullptr;
    std::vector<BaseObject*> seen;
};

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) all += (all.empty() ? "" : " ") + line;
    return all;
}

class Lifecycle : public ::testing::Test {
  protected:
    void SetUp() override {
        KalvexTest::initTypes();
        journal.clear();
    }
    void TearDown() override {
        LogCapture quiet;
        held.clear();
    }
    LifeNode* make(const char* name, NodeState state = Kalvex::Setup) {
        auto* node =
            static_cast<LifeNode*>(LifeNode::_type.createNode(scope.get(), name, CreatorSystem));
        held.emplace_back(node);
        if (state != Kalvex::Setup) node->setState(0.0, state);
        return node;
    }

    SmartPtr<NodeNameSpace> scope{new NodeNameSpace("life", nullptr, false)};
    std::vector<SmartPtr<Node>> held;
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
    for (int from = Creation; from <= Dispose; ++from) {
        for (int to = Creation; to <= Dispose; ++to) {
            SCOPED_TRACE(std::string(Node::_stateName[from]) + " to " + Node::_stateName[to]);
            SmartPtr<Node> node;
            if (from == Creation) {
                node = new LifeNode(LifeNode::_type, *scope, "n");  // constructed, never set up
            } else {
                node = LifeNode::_type.createNode(scope.get(), "n", CreatorSystem);
                node->setState(0.0, NodeState(from));  // every state is one step from Setup
            }
            ASSERT_EQ(node->getState(), from);
            journal.clear();
            Watcher changes(Node::stateChangedSubject());
            bool result;
            {
                LogCapture log(osg::LOG_WARNING);
                result = node->setState(2.5, NodeState(to));
                const bool legal = from == to || steps[from][to];
                EXPECT_EQ(result, legal);
                EXPECT_EQ(log.text(), legal ? ""
                                            : std::string("WARNING\tKalvex\tInvalid node life/"
                                                          "LifecycleProbe/n state transition: ") +
                                                  Node::_stateName[from] + " to " +
                                                  Node::_stateName[to] + "\n");
            }
            EXPECT_EQ(node->getState(), result ? to : from);
            EXPECT_EQ(joined(journal), steps[from][to] ? steps[from][to] : "");
            EXPECT_EQ(changes.count, from != to && result ? 1 : 0);
            if (changes.count) {
                EXPECT_EQ(changes.lastA, node.get());
                EXPECT_EQ(changes.lastTime, 2.5);
            }
            LogCapture quiet;  // a node that never got past Creation cannot be disposed
            node = nullptr;
        }
    }
}

TEST_F(Lifecycle, TransitionReportsFollowTheLogFeatureAndTheChangingMask) {
    LifeNode* n = make("n");
    n->logFeatureField().editValue() = {"state"};
    {
        // initialize reads the feature, and the very change that turned it on is reported.
        LogCapture log;
        ASSERT_TRUE(n->setState(0.0, Realize));
        EXPECT_EQ(log.text(),
                  "LOG\tKalvex\tLifecycleProbe/n: Log feature mask changed: 01" +
                      std::string(62, '0') +
                      "\nLOG\tKalvex\tValid node life/LifecycleProbe/n state transition: "
                      "Setup to Realize\n");
    }
    n->_isChangingMask = NodePartMask(4);
    {
        LogCapture log(osg::LOG_FATAL);
        EXPECT_TRUE(n->setState(0.0, Live));
        EXPECT_EQ(log.text(),
                  "FATAL\tKalvex\tInvalid node life/LifecycleProbe/n state transition: Realize "
                  "to Live (ChangingMask is 4)\nLOG\tKalvex\tValid node "
                  "life/LifecycleProbe/n state transition: Realize to Live\n");
    }
    n->_isChangingMask = NodePartMask(0);
    EXPECT_EQ(n->getState(), Live);
}

TEST_F(Lifecycle, TreeStateWalksLinksAndStopsAtNodesAlreadyThere) {
    LifeNode* root = make("root");
    LifeNode* a = make("a");
    LifeNode* b = make("b");
    LifeNode* c = make("c", Realize);
    LifeNode* d = make("d");
    root->kids.addChild(a);
    root->kids.addChild(b);
    a->single.link().setNode(c);
    c->kids.addChild(d);
    journal.clear();
    EXPECT_TRUE(root->setTreeState(1.0, Realize));
    // c has the target already: neither c nor d below it is walked.
    EXPECT_EQ(joined(journal), "root:initialize@Realize a:initialize@Realize b:initialize@Realize");
    EXPECT_EQ(d->getState(), Kalvex::Setup);

    // One refusal makes the answer false; the rest of the tree still changes.
    b->setState(0.0, Dispose);
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(root->setTreeState(1.0, Live));
        EXPECT_TRUE(log.contains("state transition: Dispose to Live\n")) << log.text();
    }
    for (Node* n : {static_cast<Node*>(root), static_cast<Node*>(a), static_cast<Node*>(c),
                    static_cast<Node*>(d)})
        EXPECT_EQ(n->getState(), Live) << n->getName();
    EXPECT_EQ(b->getState(), Dispose);
}

TEST_F(Lifecycle, LinksBringChildrenToLiveAndBack) {
    LifeNode* p = make("p", Live);
    LifeNode* q = make("q", Live);
    LifeNode* x = make("x");
    LifeNode* y = make("y");
    x->single.link().setNode(y);
    Watcher added(Node::childAddedSubject());
    Watcher removed(Node::childRemovedSubject());
    journal.clear();

    NodeLink* link = p->kids.addChild(x);
    EXPECT_EQ(joined(journal),
              "p:childAdded@Live x:initialize@Realize x:attach@Live y:initialize@Realize "
              "y:attach@Live x:parentAdded@Live");
    EXPECT_EQ(added.count, 1);
    EXPECT_EQ(added.lastA, p);
    EXPECT_EQ(added.lastB, link);
    EXPECT_EQ(added.lastTime, 0.0);

    // A second live parent keeps x live when the first lets go.
    q->single.link().setNode(x);
    journal.clear();
    EXPECT_TRUE(p->kids.removeChild(x));
    EXPECT_EQ(joined(journal), "p:childRemoved@Live x:parentRemoved@Live");
    EXPECT_EQ(removed.count, 1);
    EXPECT_EQ(removed.lastA, p);

    // The last live parent goes: the subtree falls to Realize, parents first.
    journal.clear();
    q->single.link().setNode(nullptr);
    EXPECT_EQ(joined(journal),
              "q:childRemoved@Live x:detach@Realize y:detach@Realize x:parentRemoved@Realize");
    EXPECT_EQ(y->getState(), Realize);

    // A parent that is not live changes nothing below it.
    LifeNode* r = make("r");
    journal.clear();
    r->kids.addChild(x);
    EXPECT_EQ(joined(journal), "r:childAdded@Setup x:parentAdded@Realize");
}

TEST_F(Lifecycle, LastReleaseDisposesAndUnlinksChildren) {
    LifeNode* n = make("n", Live);
    LifeNode* kept = make("kept");
    n->kids.addChild(kept);
    LifeNode* owned = make("owned");
    n->kids.addChild(owned);
    const uint64_t nId = n->ID(), ownedId = owned->ID();
    held.pop_back();  // owned now lives through its link only
    Watcher deleted(Node::deleteObjectSubject());
    journal.clear();
    held.erase(held.begin());  // n
    EXPECT_EQ(joined(journal),
              "n:detach@Realize n:shutdown@Setup n:dispose@Dispose n:childRemoved@Dispose "
              "kept:parentRemoved@Live n:childRemoved@Dispose owned:parentRemoved@Live "
              "owned:detach@Realize owned:shutdown@Setup owned:dispose@Dispose");
    EXPECT_EQ(deleted.count, 2);
    EXPECT_EQ(Node::findNode(nId), nullptr);
    EXPECT_EQ(Node::findNode(ownedId), nullptr);
    // Nobody told kept that its live parent went away.
    EXPECT_TRUE(kept->parentLinks().empty());
    EXPECT_EQ(kept->getState(), Live);

    // A node that cannot reach Dispose is reported and still goes.
    deleted.count = 0;
    SmartPtr<Node> raw(new LifeNode(LifeNode::_type, *scope, "raw"));
    const uint64_t rawId = raw->ID();
    LogCapture log(osg::LOG_WARNING);
    raw = nullptr;
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tInvalid node life/LifecycleProbe/raw state transition: Creation "
              "to Dispose\nFATAL\tKalvex\tLifecycleProbe/raw: Could not switch state to "
              "DISPOSED in shutdown()\n");
    EXPECT_EQ(deleted.count, 0);
    EXPECT_EQ(Node::findNode(rawId), nullptr);
}

TEST_F(Lifecycle, ContextRootsOneForEachType) {
    SmartPtr<Context> ctx(Context::create());
    EXPECT_FALSE(ctx->addRoot(*make("plain")));

    auto* world =
        static_cast<LifeNode*>(LifeNode::_worldType.createNode(ctx.get(), nullptr, CreatorSystem));
    SmartPtr<Node> holdWorld(world);
    ASSERT_TRUE(world);
    EXPECT_EQ(world->getName(), "lifecycleworld");
    EXPECT_EQ(world->getNameSpace()->getName(), "lifecycleworld");
    EXPECT_EQ(ctx->findRoot(LifeNode::_worldType), world);
    EXPECT_EQ(ctx->findRoot(LifeNode::_type), nullptr);  // exact type only
    EXPECT_EQ(world->context(), ctx.get());
    Node* scene = KalvexExample::Scene::_type.createNode(ctx.get(), "main:top", CreatorSystem);
    ASSERT_TRUE(scene);
    EXPECT_EQ(scene->getName(), "top");
    EXPECT_EQ(scene->getNameSpace()->getName(), "main");
    EXPECT_TRUE(ctx->addRoot(*world));  // already here: nothing changes
    std::vector<Node*> roots;
    EXPECT_EQ(ctx->getRootVec(roots), 2u);
    EXPECT_EQ(roots.size(), 2u);

    // A live target brings every root but the scene to Live, with the children.
    LifeNode* child = make("child");
    world->kids.addChild(child);
    EXPECT_TRUE(ctx->setRootState(0.0, Live));
    EXPECT_EQ(world->getState(), Live);
    EXPECT_EQ(child->getState(), Live);
    EXPECT_EQ(scene->getState(), Kalvex::Setup);
    EXPECT_TRUE(ctx->setRootState(0.0, Realize));
    EXPECT_EQ(scene->getState(), Realize);
    EXPECT_EQ(world->getState(), Realize);

    // A second root of a type replaces the first, whose scope loses the context.
    auto* second =
        static_cast<LifeNode*>(LifeNode::_worldType.createNode(nullptr, "w:two", CreatorSystem));
    SmartPtr<Node> holdSecond(second);
    EXPECT_EQ(second->context(), nullptr);
    EXPECT_TRUE(ctx->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(LifeNode::_worldType), second);
    EXPECT_EQ(world->context(), nullptr);

    // Taken by another context, it leaves this one.
    SmartPtr<Context> other(Context::create());
    EXPECT_TRUE(other->addRoot(*second));
    EXPECT_EQ(ctx->findRoot(LifeNode::_worldType), nullptr);
    EXPECT_EQ(second->context(), other.get());
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(ctx->removeRoot(LifeNode::_worldType));
        EXPECT_EQ(log.text(), "WARNING\tKalvex\tCould not find node in Context::removeRoot\n");
    }
    EXPECT_TRUE(ctx->removeRoot(KalvexExample::Scene::_type));
    roots.clear();
    EXPECT_EQ(ctx->getRootVec(roots), 0u);

    // The last release of a context lets live roots fall back, then drops them.
    other->setRootState(0.0, Live);
    journal.clear();
    other = nullptr;
    EXPECT_EQ(joined(journal), "two:detach@Realize");
    EXPECT_EQ(second->context(), nullptr);
    EXPECT_EQ(second->refCount(), 1);
}

TEST_F(Lifecycle, ContextDestroyedWithRootsWarnsAndFreesThem) {
    auto* ctx = new Context;  // never held: deleting it skips the release protocol
    SmartPtr<Node> root(LifeNode::_worldType.createNode(ctx, "w:r", CreatorSystem));
    EXPECT_EQ(root->context(), ctx);
    {
        LogCapture log(osg::LOG_WARNING);
        delete ctx;
        EXPECT_EQ(log.text(), "WARNING\tKalvex\tRootBag is not empty in Context destructor\n");
    }
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
