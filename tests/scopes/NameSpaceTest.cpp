// Name scopes: DEF names and generated names, the find forms, scope trees and addresses, head
// data, a scope that dies with nodes inside, and the walk that moves nodes between scopes.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "kalvex/traversal/NameSpaceTransferAction.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using KalvexTest::LogCapture;

// Journals (scope, node, added) of every registration change.
class ScopeWatcher : public Observer {
  public:
    ScopeWatcher() : Observer(*Node::nameSpaceChangedSubject(), "scopes") {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject* b, BaseObject* c) override {
        auto* added = dynamic_cast<BaseTypeObject<bool>*>(c);
        seen.push_back(dynamic_cast<NodeNameSpace*>(a)->getName() +
                       (added && added->_value ? "+" : "-") + dynamic_cast<Node*>(b)->getName());
    }
    std::vector<std::string> seen;
};

class Scopes : public ::testing::Test {
  protected:
    void SetUp() override { KalvexTest::initTypes(); }
    void TearDown() override {
        LogCapture quiet;
        held.clear();
        while (!scopes.empty()) scopes.pop_back();  // children before parents
    }
    Node* make(const char* name, NodeNameSpace* in, NodeType& type = Group::_type,
               NodeCreator creator = CreatorSystem) {
        Node* node = type.createNode(in, name, creator);
        held.emplace_back(node);
        return node;
    }
    // A scope that outlives the nodes of the test.
    NodeNameSpace* scope(const std::string& name, NodeNameSpace* parent = nullptr,
                         bool autoName = false) {
        scopes.emplace_back(new NodeNameSpace(name, parent, autoName));
        return scopes.back().get();
    }

    std::vector<SmartPtr<NodeNameSpace>> scopes;
    std::vector<SmartPtr<Node>> held;
};

TEST_F(Scopes, DefNamesDuplicatesAndGeneratedNames) {
    NodeNameSpace* s = scope("s");
    ScopeWatcher watch;
    Node* first = make("dup", s);
    Node* second;
    {
        LogCapture log(osg::LOG_WARNING);
        second = make("dup", s);
        EXPECT_EQ(log.text(),
                  "WARNING\tKalvex\tThere is already a >dup< node DEFined in "
                  "nameSpace s\n");
    }
    EXPECT_EQ(watch.seen, (std::vector<std::string>{"s+dup", "s+dup"}));
    EXPECT_FALSE(first->hasName());
    EXPECT_EQ(first->getNameSpace(), s);
    EXPECT_EQ(NodeNameSpace::findNode(s, "dup"), second);
    EXPECT_EQ(s->nodeCount(), 2);
    EXPECT_EQ(s->namedNodeCount(), 1u);
    Node* plain = make(nullptr, s);
    EXPECT_FALSE(plain->hasName());
    EXPECT_EQ(s->namedNodeCount(), 1u);

    // A scope with generated names names every unnamed node after its id and type.
    NodeNameSpace* gen = scope("gen", nullptr, true);
    Node* box = make("", gen, Box::_type);
    const std::string expected = "N" + box->getIDStr() + "_Box";
    EXPECT_EQ(box->getName(), expected);
    EXPECT_TRUE(box->isAutoNamed());
    EXPECT_TRUE(gen->isAutoNamed(expected));
    EXPECT_FALSE(gen->isAutoNamed("nosuch"));
    EXPECT_FALSE(second->isAutoNamed());

    // Names as given, odd characters and all; a leading digit reads as an id instead.
    const char* odd[] = {"a b", "tab\there", "x/", "/x", "ünï", "9lives", "a::"};
    for (const char* name : odd) make(name, s);
    LogCapture log(osg::LOG_WARNING);
    for (const char* name : odd) {
        Node* found = NodeNameSpace::findNode(s, name);
        EXPECT_EQ(found ? found->getName() : "", std::string(name) == "9lives" ? "" : name) << name;
    }
    EXPECT_TRUE(log.contains("WARNING\tKalvex\tUnknown node id: >9lives<, >9<\n")) << log.text();

    // unregNode leaves the node without scope or name; the entry goes.
    watch.seen.clear();
    s->unregNode(*second);
    EXPECT_EQ(watch.seen, std::vector<std::string>{"s-dup"});
    EXPECT_EQ(second->getNameSpace(), nullptr);
    EXPECT_EQ(NodeNameSpace::findNode(s, "dup"), nullptr);
    s->regNode(*second, second->getType(), "back");
    EXPECT_EQ(NodeNameSpace::findNode(s, "back"), second);
}

TEST_F(Scopes, FindNodeFormsAndUsingScopes) {
    NodeNameSpace* top = scope("top");
    NodeNameSpace* sub = scope("sub", top);
    NodeNameSpace* lib = scope("findLib");
    Node* topX = make("x", top);
    Node* subX = make("x", sub);
    Node* onlySub = make("y", sub);
    Node* libZ = make("z", lib);
    Node* libX = make("x", lib);
    top->addUsingNameSpace(*lib);
    // clang-format off
    const struct {
        NodeNameSpace* start;
        std::string name;
        Node* expected;
        const char* warning;  // nullptr: none
    } cases[] = {
        {top, "x", topX, nullptr}, {top, " \tx\r\n", topX, nullptr}, {sub, "x", subX, nullptr},
        {top, "y", nullptr, nullptr},  // not inherited from children
        {sub, "z", nullptr, nullptr},  // nor from parents
        {top, "z", libZ, nullptr},  // through the using scope
        {top, "sub/y", onlySub, nullptr},
        {top, "./sub/y", nullptr, nullptr},  // the name is all after the first separator
        {top, "sub/", nullptr, nullptr}, {nullptr, "findLib::z", libZ, nullptr},
        {top, subX->getIDStr(), subX, nullptr}, {nullptr, libX->getIDStr(), libX, nullptr},
        {sub, "1", nullptr, "Unknown node id: >1<, >1<\n"},
        {sub, " ", nullptr, "Invalid param (empty name) for findNode()\n"},
        {nullptr, "x", nullptr, nullptr}
    };
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log(osg::LOG_WARNING);
        testing::internal::CaptureStderr();  // the path walk traces each child it looks at
        EXPECT_EQ(NodeNameSpace::findNode(c.start, c.name), c.expected) << c.name;
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(log.text(), c.warning ? std::string("WARNING\tKalvex\t") + c.warning : "")
            << c.name;
    }
    top->removeUsingNameSpace(*lib);
    EXPECT_EQ(NodeNameSpace::findNode(top, "z"), nullptr);
    top->addUsingNameSpace(*lib);
    top->removeAllUsingNameSpace();
    EXPECT_EQ(NodeNameSpace::findNode(top, "z"), nullptr);
    // A scope that dies leaves no using entry behind.
    SmartPtr<NodeNameSpace> brief(new NodeNameSpace("brief", nullptr, false));
    Node* w = make("w", brief.get());
    top->addUsingNameSpace(*brief);
    EXPECT_EQ(NodeNameSpace::findNode(top, "w"), w);
    LogCapture quiet;
    held.pop_back();
    brief = nullptr;
    EXPECT_EQ(NodeNameSpace::findNode(top, "w"), nullptr);
}

TEST_F(Scopes, FindNameSpaceByPathIdNameAndContextRoot) {
    SmartPtr<Context> ctx(Context::create());
    Node* root = Scene::_type.createNode(ctx.get(), "world:top", CreatorSystem);
    NodeNameSpace* world = root->getNameSpace();
    // Locals: they go before the context and its root's scope.
    SmartPtr<NodeNameSpace> holdA(new NodeNameSpace("fnsA", world, false));
    SmartPtr<NodeNameSpace> holdB(new NodeNameSpace("fnsB", holdA.get(), false));
    SmartPtr<NodeNameSpace> holdC(new NodeNameSpace("fnsC", world, false));
    NodeNameSpace *a = holdA.get(), *b = holdB.get(), *c = holdC.get();
    EXPECT_EQ(b->context(), ctx.get());
    // clang-format off
    const struct {
        NodeNameSpace* start;
        Context* context;
        std::string address;
        bool lastIsNode;
        NodeNameSpace* expected;
    } cases[] = {
        {world, nullptr, "fnsA/fnsB", false, b}, {world, nullptr, "fnsA/fnsB/node", true, b},
        {a, nullptr, "./fnsB", false, b}, {b, nullptr, "../../fnsC", false, c},
        {world, nullptr, "../x", false, nullptr}, {world, nullptr, "fnsA/none", false, nullptr},
        {b, nullptr, "/top/fnsA", false, a},  // from the context's roots
        {nullptr, ctx.get(), "top/fnsC/n", true, c}, {b, nullptr, "/nope/fnsA", false, nullptr},
        {nullptr, nullptr, "fnsB", false, b},  // any scope of that name
        {nullptr, nullptr, "fnsC::n", true, c},
        {nullptr, nullptr, std::to_string(int64_t(a->ID())), false, a},
        {nullptr, nullptr, "1", false, nullptr}, {nullptr, nullptr, "", false, nullptr},
        {nullptr, nullptr, "fnsMissing", false, nullptr}
    };
    // clang-format on
    for (const auto& t : cases) {
        LogCapture quiet;
        testing::internal::CaptureStderr();
        EXPECT_EQ(NodeNameSpace::findNameSpace(t.start, t.address, t.context, t.lastIsNode),
                  t.expected)
            << t.address;
        testing::internal::GetCapturedStderr();
    }
    {
        LogCapture log(osg::LOG_INFO);
        testing::internal::CaptureStderr();
        NodeNameSpace::findNameSpace(world, "fnsA/fnsB", nullptr, false);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "FIND CHILD: fnsA\nFIND CHILD: fnsB\n");
        NodeNameSpace::findNameSpace(nullptr, "fnsB::x", nullptr, true);
        EXPECT_EQ(log.text(),
                  "INFO\tKalvex\tDeprecated nameSpace select: fnsB::x; use "
                  "IMPORT/EXPORT\n");
    }
    NodeNameSpace* loose = scope("loose");
    LogCapture log(osg::LOG_FATAL);
    EXPECT_EQ(NodeNameSpace::findNameSpace(loose, "/a/b", nullptr, false), nullptr);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tInvalid context; cannot find root namespace\n");
}

TEST_F(Scopes, TreeRootsAddressesAndSubjects) {
    int made = 0, gone = 0;
    class Count : public Observer {
      public:
        Count(Subject* s, int& n) : Observer(*s, "count"), _n(n) {}
        void notify(const TimeStamp&, BaseObject*, BaseObject*, BaseObject*) override { ++_n; }
        int& _n;
    } madeWatch(NodeNameSpace::newObjectSubject(), made),
        goneWatch(NodeNameSpace::deleteObjectSubject(), gone);
    const int before = NodeNameSpace::nameSpaceCount();
    SmartPtr<NodeNameSpace> root;
    {
        LogCapture log(osg::LOG_INFO);
        root = new NodeNameSpace("", nullptr, false);
        EXPECT_EQ(root->getName(), "AN_NS_" + std::to_string(int64_t(root->ID())));
        EXPECT_EQ(log.text(), "INFO\tKalvex\tAutoname Namespace " + root->getName() + "\n");
    }
    root->rename("r");
    root->setUrl("file:/scene.x3d");
    SmartPtr<NodeNameSpace> kid(new NodeNameSpace("k", root.get(), false));
    EXPECT_EQ(kid->url(), "file:/scene.x3d");
    EXPECT_EQ(made, 2);
    EXPECT_EQ(NodeNameSpace::nameSpaceCount(), before + 2);
    std::vector<NodeNameSpace*> all;
    NodeNameSpace::getNameSpaceVec(all, true);
    EXPECT_EQ(std::count(all.begin(), all.end(), kid.get()), 0);
    EXPECT_EQ(std::count(all.begin(), all.end(), root.get()), 1);

    std::string address;
    EXPECT_TRUE(kid->fillAbsolutAddress(address));
    EXPECT_EQ(address, "::r::k");
    Node* n = make("n", kid.get());
    EXPECT_TRUE(n->fillAbsolutAddress(address));
    EXPECT_EQ(address, "::r::k::n");
    EXPECT_FALSE(make(nullptr, kid.get())->fillAbsolutAddress(address));
    EXPECT_EQ(address, "");

    // One root per scope; the same one again and clearing are fine.
    Node* other = make("o", kid.get());
    EXPECT_TRUE(kid->setRoot(n));
    EXPECT_TRUE(kid->setRoot(n));
    {
        LogCapture log(osg::LOG_FATAL);
        EXPECT_FALSE(kid->setRoot(other));
        EXPECT_EQ(log.text(), "FATAL\tKalvex\tNodeNameSpace::setRoot call and _root != 0\n");
    }
    EXPECT_EQ(kid->getRoot(), n);
    EXPECT_FALSE(root->rootStateChanged(0.0));
    class Hear : public Observer {
      public:
        Hear() : Observer(*NodeNameSpace::rootStateChangedSubject(), "hear") {}
    } hear;
    EXPECT_TRUE(kid->rootStateChanged(0.0));
    {
        LogCapture log(osg::LOG_INFO);
        EXPECT_NE(root->nodeTypeNameSpace(), nullptr);
        EXPECT_NE(kid->nodeTypeNameSpace(), nullptr);
        EXPECT_EQ(log.text(),
                  "INFO\tKalvex\tAUTOCREATE NodeTypeNameSpace r as child of NULL\n"
                  "INFO\tKalvex\tAUTOCREATE NodeTypeNameSpace k as child of " +
                      Group::_type.nameSpace()->getName() + "\n");
    }
    // The registry finds types through its parents; creation by name goes through it.
    Node* made2 = kid->createNode("Box", "b", CreatorLoader, SearchExact);
    held.emplace_back(made2);
    ASSERT_TRUE(made2);
    EXPECT_EQ(&made2->getType(), &Box::_type);
    EXPECT_EQ(made2->creator(), CreatorLoader);
    EXPECT_EQ(kid->createNode("NoSuchType", "x", CreatorLoader, SearchExact), nullptr);
    EXPECT_EQ(root->createNode("Box", "b", CreatorLoader, SearchExact), nullptr);  // no parent
    std::vector<Node*> named;
    kid->fillNodeVec(named, &Geometry::_type);
    EXPECT_EQ(named, std::vector<Node*>{made2});
    named.clear();
    kid->fillNodeVec(named, nullptr);
    EXPECT_EQ(named.size(), 3u);  // b, n, o in name order
    EXPECT_EQ(named.front(), made2);

    // Head data.
    kid->setMetaData(" author\t", "me");
    ASSERT_NE(kid->getMetaData("author "), nullptr);
    EXPECT_EQ(*kid->getMetaData("author"), "me");
    EXPECT_TRUE(kid->removeMetaData("\nauthor"));
    EXPECT_FALSE(kid->removeMetaData("author"));
    EXPECT_EQ(kid->getMetaData("author"), nullptr);
    kid->addComponent("Geometry3D", 2);
    kid->addComponent("Core", 1);
    kid->addComponent("Geometry3D", 1);
    kid->addComponent("Core", 3);
    using Levels = std::vector<std::pair<std::string, int>>;
    EXPECT_EQ(kid->componentVec(), (Levels{{"Geometry3D", 2}, {"Core", 3}}));

    // Named entries moved by hand: the count and the node's scope stay.
    EXPECT_TRUE(kid->updateNamedNode(" alias ", other));
    EXPECT_EQ(NodeNameSpace::findNode(kid.get(), "alias"), other);
    EXPECT_TRUE(kid->updateNamedNode("alias", n));
    EXPECT_EQ(other->getName(), other->getIDStr());  // it lost that name
    EXPECT_EQ(kid->nodeCount(), 4);
    EXPECT_TRUE(kid->removeNamedNode("alias "));
    EXPECT_FALSE(kid->removeNamedNode("alias"));
    EXPECT_FALSE(n->hasName());
    EXPECT_EQ(kid->nodeCount(), 4);

    kid->setRoot(nullptr);
    LogCapture quiet;
    held.clear();
    kid = nullptr;
    EXPECT_EQ(root->children().size(), 0u);
    root = nullptr;
    EXPECT_EQ(gone, 2);
    EXPECT_EQ(NodeNameSpace::nameSpaceCount(), before);
}

TEST_F(Scopes, ScopeDyingWithNodesUnlinksThem) {
    NodeNameSpace* keep = scope("keep");
    SmartPtr<NodeNameSpace> doomed(new NodeNameSpace("doomed", nullptr, false));
    NodeNameSpace* child = scope("child", doomed.get());
    Node* parent = make("parent", keep);
    Node* linked = make("linked", doomed.get());
    Node* alone = make("alone", doomed.get());
    static_cast<Group*>(parent)->children().addChild(linked);
    LogCapture log(osg::LOG_WARNING);
    doomed = nullptr;
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tRun NodeNameSpace \"doomed\" destructor and _nodeCount == 2\n"
              "WARNING\tKalvex\t~NodeNameSpace: Try to remove nodes from parents\n"
              "FATAL\tKalvex\t  doomed/Group/linked: Cannot remove node: RC 2, PC 0\n"
              "WARNING\tKalvex\tRemove Child nameSpace in destructor\n");
    EXPECT_TRUE(linked->parentLinks().empty());
    EXPECT_EQ(static_cast<Group*>(parent)->children().size(), 0u);
    for (Node* n : {linked, alone}) {
        EXPECT_EQ(n->getNameSpace(), nullptr);
        EXPECT_FALSE(n->hasName());
    }
    EXPECT_EQ(child->getParent(), nullptr);
    log.clear();
    held.clear();  // the orphans end without a scope to leave
    EXPECT_EQ(log.text(), "");
}

TEST_F(Scopes, TransferWalkMovesNodesAndSubScopes) {
    NodeNameSpace* from = scope("from");
    NodeNameSpace* inner = scope("inner", from);
    NodeNameSpace* to = scope("to", nullptr, true);
    auto* top = static_cast<Group*>(make("top", from));
    Node* loaded = make("loaded", from, Group::_type, CreatorLoader);
    Node* box = make("box", from, Box::_type);
    Node* unnamed = make(nullptr, from);
    Node* nested = make("nested", inner);
    for (Node* n : {loaded, box, unnamed, nested}) top->children().addChild(n);
    static_cast<Group*>(unnamed)->children().addChild(top);  // a cycle back to the start
    // The walk skips by creator and by type, as every walk does.
    NameSpaceTransferAction action(1.0);
    EXPECT_EQ(action.paramMask(), 2u);
    action.setNewNameSpace(to);
    action.addSkipType(Geometry::_type);
    action.setSkipCreateMask(CreatorLoader | CreatorDynamic);
    EXPECT_TRUE(action.isSkipNode(*loaded));
    EXPECT_TRUE(action.isSkipNode(*box));
    EXPECT_FALSE(action.isSkipNode(*top));
    TraversAction copy(action);
    EXPECT_EQ(copy.paramMask(), 0u);
    ASSERT_NE(copy.skipTypeVec(), nullptr);
    EXPECT_NE(copy.skipTypeVec(), action.skipTypeVec());
    {
        LogCapture log;
        copy.dump();
        EXPECT_EQ(log.text(), "LOG\tKalvex\tParamMask: " + std::string(32, '0') +
                                  "TimeStamp: 1skipCreateMask: 12skipTypeVec count: 1\n");
    }
    top->getProc()->transferNameSpace(action);
    EXPECT_EQ(action.oldNameSpace(), from);  // taken from the first node
    EXPECT_TRUE(action.visitingSet().empty());
    EXPECT_EQ(top->getNameSpace(), to);
    EXPECT_EQ(NodeNameSpace::findNode(to, "top"), top);
    EXPECT_EQ(unnamed->getNameSpace(), to);
    EXPECT_TRUE(unnamed->isAutoNamed());  // the new scope names it
    EXPECT_EQ(loaded->getNameSpace(), from);
    EXPECT_EQ(box->getNameSpace(), from);
    EXPECT_EQ(nested->getNameSpace(), inner);
    EXPECT_EQ(inner->getParent(), to);
    EXPECT_EQ(from->nodeCount(), 2);
    EXPECT_EQ(to->nodeCount(), 2);
    action.reset();
    EXPECT_EQ(action.oldNameSpace(), nullptr);
    EXPECT_EQ(action.skipTypeVec(), nullptr);
    {
        testing::internal::CaptureStderr();
        LogCapture quiet;
        action.setOldNameSpace(from);
        action.dump();
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(err.rfind("  OldNS: from/0x", 0), 0u) << err;
        EXPECT_NE(err.find("  NewNS: Not Set\n"), std::string::npos) << err;
    }
    // Without a target the walk reports it and still moves sub-scopes under nothing.
    LogCapture log(osg::LOG_FATAL);
    action.reset();
    loaded->getProc()->transferNameSpace(action);
    EXPECT_TRUE(
        log.contains("FATAL\tKalvex\tInvalid nameSpace in NodeProc::transferNameSpace()\n"));
    EXPECT_EQ(loaded->getNameSpace(), from);
    static_cast<Group*>(unnamed)->children().clear();  // break the cycle
}

}  // namespace
