// Name scopes: DEF and generated names, find forms, trees and addresses, head data, a scope
// dying with nodes inside, and the walk that moves nodes between scopes.

#include <gtest/gtest.h>

#include <algorithm>
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
using Scope = NodeNameSpace;

// Group nodes in scopes of their own, which outlive the nodes.
class Scopes : public ProbeTest {
  protected:
    void TearDown() override {
        ProbeTest::TearDown();
        LogCapture quiet;
        while (!scopes.empty()) scopes.pop_back();  // children before parents
    }
    Node* make(const char* name, NodeNameSpace* in, NodeType& type = Group::_type,
               NodeCreator creator = CreatorSystem) {
        return ProbeTest::make<Node>(name, type, in, creator);
    }
    NodeNameSpace* addScope(const std::string& name, NodeNameSpace* parent = nullptr,
                            bool autoName = false) {
        scopes.emplace_back(new NodeNameSpace(name, parent, autoName));
        return scopes.back().get();
    }

    std::vector<SmartPtr<NodeNameSpace>> scopes;
};

TEST_F(Scopes, DefNamesDuplicatesAndGeneratedNames) {
    NodeNameSpace* s = addScope("s");
    Watcher watch(Node::nameSpaceChangedSubject());
    Node* first = make("dup", s);
    LogCapture log(osg::LOG_WARNING);
    Node* second = make("dup", s);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tThere is already a >dup< node DEFined in nameSpace s\n");
    EXPECT_EQ(take(), "nameSpaceChanged:s>dup+@0 nameSpaceChanged:s>dup+@0");
    // The later one holds the name; both count.
    EXPECT_TRUE(!first->hasName() && first->getNameSpace() == s &&
                NodeNameSpace::findNode(s, "dup") == second && !make(nullptr, s)->hasName());
    EXPECT_EQ(std::pair(s->nodeCount(), s->namedNodeCount()), std::pair(3, 1u));

    // A scope with generated names names every unnamed node after its id and type.
    NodeNameSpace* gen = addScope("gen", nullptr, true);
    Node* box = make("", gen, Box::_type);
    EXPECT_EQ(box->getName(), "N" + box->getIDStr() + "_Box");
    EXPECT_TRUE(box->isAutoNamed() && gen->isAutoNamed(box->getName()));
    EXPECT_FALSE(gen->isAutoNamed("nosuch") || second->isAutoNamed());

    // Names as given, odd characters and all; a leading digit reads as an id instead.
    const char* odd[] = {"tab\there", "x/", "/x", "ünï", "9lives", "a::"};
    for (const char* name : odd) make(name, s);
    log.clear();
    for (const char* name : odd) {
        Node* found = NodeNameSpace::findNode(s, name);
        EXPECT_EQ(found ? found->getName() : "", std::string(name) == "9lives" ? "" : name);
    }
    EXPECT_EQ(log.text(), "WARNING\tKalvex\tUnknown node id: >9lives<, >9<\n");

    // unregNode leaves the node without scope or name; the entry goes.
    take();
    s->unregNode(*second);
    EXPECT_EQ(take(), "nameSpaceChanged:s>dup-@0");
    EXPECT_TRUE(!second->getNameSpace() && !NodeNameSpace::findNode(s, "dup"));
    s->regNode(*second, second->getType(), "back");
    EXPECT_EQ(NodeNameSpace::findNode(s, "back"), second);
}

TEST_F(Scopes, FindNodeFormsAndUsingScopes) {
    NodeNameSpace *top = addScope("top"), *sub = addScope("sub", top), *lib = addScope("findLib");
    Node *topX = make("x", top), *subX = make("x", sub), *onlySub = make("y", sub);
    Node *libZ = make("z", lib), *libX = make("x", lib);
    top->addUsingNameSpace(*lib);
    // clang-format off
    const struct { Scope* start; std::string name; Node* node; const char* warning; } cases[] = {
        {top, " \tx\r\n", topX, nullptr}, {sub, "x", subX, nullptr},
        {top, "y", nullptr, nullptr}, {sub, "z", nullptr, nullptr},  // not from children nor parents
        {top, "z", libZ, nullptr}, {top, "sub/y", onlySub, nullptr},  // through the using scope, a path
        {top, "./sub/y", nullptr, nullptr},  // the name is all after the first separator
        {nullptr, "findLib::z", libZ, nullptr}, {nullptr, libX->getIDStr(), libX, nullptr},
        {sub, "1", nullptr, "Unknown node id: >1<, >1<\n"},
        {sub, " ", nullptr, "Invalid param (empty name) for findNode()\n"},
        {nullptr, "x", nullptr, nullptr}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log(osg::LOG_WARNING);
        testing::internal::CaptureStderr();  // the path walk traces each child it looks at
        EXPECT_EQ(NodeNameSpace::findNode(c.start, c.name), c.node) << c.name;
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(log.text(), c.warning ? std::string("WARNING\tKalvex\t") + c.warning : "")
            << c.name;
    }
    top->removeUsingNameSpace(*lib);
    Node* z = NodeNameSpace::findNode(top, "z");
    top->addUsingNameSpace(*lib);
    top->removeAllUsingNameSpace();
    EXPECT_TRUE(!z && !NodeNameSpace::findNode(top, "z"));
    // A scope that dies leaves no using entry behind.
    SmartPtr<NodeNameSpace> brief(new NodeNameSpace("brief", nullptr, false));
    top->addUsingNameSpace(*brief);
    Node* w = make("w", brief.get());
    EXPECT_EQ(NodeNameSpace::findNode(top, "w"), w);
    LogCapture quiet;
    held.pop_back();
    brief = nullptr;
    EXPECT_EQ(NodeNameSpace::findNode(top, "w"), nullptr);
}

TEST_F(Scopes, FindNameSpaceByPathIdNameAndContextRoot) {
    SmartPtr<Context> ctx(Context::create());
    NodeNameSpace* world =
        Scene::_type.createNode(ctx.get(), "world:top", CreatorSystem)->getNameSpace();
    // Locals: they go before the context and its root's scope.
    SmartPtr<NodeNameSpace> holdA(new NodeNameSpace("fnsA", world, false));
    SmartPtr<NodeNameSpace> holdB(new NodeNameSpace("fnsB", holdA.get(), false));
    SmartPtr<NodeNameSpace> holdC(new NodeNameSpace("fnsC", world, false));
    NodeNameSpace *a = holdA.get(), *b = holdB.get(), *c = holdC.get();
    EXPECT_EQ(b->context(), ctx.get());
    // clang-format off
    const struct { Scope* from; Context* ctx; std::string path; bool last; Scope* ns; } cases[] = {
        {world, nullptr, "fnsA/fnsB/node", true, b}, {a, nullptr, "./fnsB", false, b}, {b, nullptr, "../../fnsC", false, c},
        {world, nullptr, "../x", false, nullptr}, {world, nullptr, "fnsA/none", false, nullptr},
        {b, nullptr, "/top/fnsA", false, a},  // from the context's roots
        {nullptr, ctx.get(), "top/fnsC/n", true, c}, {b, nullptr, "/nope/fnsA", false, nullptr},
        {nullptr, nullptr, "fnsB", false, b}, {nullptr, nullptr, "fnsC::n", true, c},  // any scope of that name
        {nullptr, nullptr, std::to_string(int64_t(a->ID())), false, a}, {nullptr, nullptr, "1", false, nullptr},
        {nullptr, nullptr, "", false, nullptr}, {nullptr, nullptr, "fnsMissing", false, nullptr}};
    // clang-format on
    for (const auto& t : cases) {
        LogCapture quiet;
        testing::internal::CaptureStderr();
        EXPECT_EQ(NodeNameSpace::findNameSpace(t.from, t.path, t.ctx, t.last), t.ns) << t.path;
        testing::internal::GetCapturedStderr();
    }
    LogCapture log(osg::LOG_INFO);
    NodeNameSpace::findNameSpace(nullptr, "fnsB::x", nullptr, true);
    EXPECT_EQ(NodeNameSpace::findNameSpace(addScope("loose"), "/a/b", nullptr, false), nullptr);
    EXPECT_EQ(log.text(),
              "INFO\tKalvex\tDeprecated nameSpace select: fnsB::x; use IMPORT/EXPORT\n"
              "FATAL\tKalvex\tInvalid context; cannot find root namespace\n");
}

TEST_F(Scopes, TreeRootsHeadDataAndNamedEntries) {
    Watcher made(NodeNameSpace::newObjectSubject()), gone(NodeNameSpace::deleteObjectSubject());
    const int before = NodeNameSpace::nameSpaceCount();
    LogCapture log(osg::LOG_INFO);
    SmartPtr<NodeNameSpace> root(new NodeNameSpace("", nullptr, false));
    const std::string autoName = root->getName();
    EXPECT_EQ(autoName, "AN_NS_" + std::to_string(int64_t(root->ID())));
    EXPECT_EQ(log.text(), "INFO\tKalvex\tAutoname Namespace " + autoName + "\n");
    root->rename("r");
    root->setUrl("file:/scene.x3d");
    SmartPtr<NodeNameSpace> kid(new NodeNameSpace("k", root.get(), false));
    EXPECT_EQ(take(), "newObject:" + autoName + "@0 newObject:k@0");
    EXPECT_TRUE(kid->url() == "file:/scene.x3d" && NodeNameSpace::nameSpaceCount() == before + 2);
    std::vector<NodeNameSpace*> roots;
    NodeNameSpace::getNameSpaceVec(roots, true);
    EXPECT_TRUE(std::count(roots.begin(), roots.end(), root.get()) == 1 &&
                std::count(roots.begin(), roots.end(), kid.get()) == 0);
    Node *n = make("n", kid.get()), *other = make("o", kid.get());
    std::string address;
    EXPECT_TRUE(n->fillAbsolutAddress(address) && address == "::r::k::n") << address;
    EXPECT_TRUE(!make(nullptr, kid.get())->fillAbsolutAddress(address) && address.empty());

    // One root per scope, which may be set again; a scope with a root tells of its state.
    log.clear();
    EXPECT_TRUE(kid->setRoot(n) && kid->setRoot(n) && !kid->setRoot(other) && kid->getRoot() == n);
    Watcher state(NodeNameSpace::rootStateChangedSubject());
    EXPECT_TRUE(!root->rootStateChanged(0.0) && kid->rootStateChanged(0.0));
    EXPECT_EQ(take(), "rootStateChanged:k>n@0");
    // Registries are made on demand, below that of the root's type; creation by name uses them.
    EXPECT_TRUE(root->nodeTypeNameSpace() && kid->nodeTypeNameSpace());
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tNodeNameSpace::setRoot call and _root != 0\n"
              "INFO\tKalvex\tAUTOCREATE NodeTypeNameSpace r as child of NULL\n"
              "INFO\tKalvex\tAUTOCREATE NodeTypeNameSpace k as child of " +
                  Group::_type.nameSpace()->getName() + "\n");
    Node* b = kid->createNode("Box", "b", CreatorLoader, SearchExact);
    held.emplace_back(b);
    EXPECT_TRUE(b && &b->getType() == &Box::_type && b->creator() == CreatorLoader);
    EXPECT_FALSE(kid->createNode("NoSuchType", "x", CreatorLoader, SearchExact) ||
                 root->createNode("Box", "b", CreatorLoader, SearchExact));  // root: no parent
    std::vector<Node*> named;
    kid->fillNodeVec(named, &Geometry::_type);
    kid->fillNodeVec(named, nullptr);
    EXPECT_EQ(named, (std::vector<Node*>{b, b, n, other}));  // appended, in name order

    // Head data.
    kid->setMetaData(" author\t", "me");
    const std::string* author = kid->getMetaData("author ");
    EXPECT_TRUE(author && *author == "me" && kid->removeMetaData("\nauthor") &&
                !kid->removeMetaData("author"));
    for (const auto& [name, level] :
         {std::pair{"Geometry3D", 2}, {"Core", 1}, {"Geometry3D", 1}, {"Core", 3}})
        kid->addComponent(name, level);
    using Levels = std::vector<std::pair<std::string, int>>;
    EXPECT_EQ(kid->componentVec(), (Levels{{"Geometry3D", 2}, {"Core", 3}}));

    // Named entries moved by hand: the count and the node's scope stay. The scope then dies
    // after the nodes its old entries name.
    EXPECT_TRUE(kid->updateNamedNode(" alias ", other));
    EXPECT_EQ(NodeNameSpace::findNode(kid.get(), "alias"), other);
    EXPECT_TRUE(kid->updateNamedNode("alias", n));
    EXPECT_EQ(other->getName(), other->getIDStr());  // it lost that name
    EXPECT_TRUE(kid->removeNamedNode("alias ") && !kid->removeNamedNode("alias"));
    EXPECT_TRUE(!n->hasName() && kid->nodeCount() == 4);
    kid->setRoot(nullptr);
    log.clear();
    held.clear();
    kid = nullptr;
    EXPECT_TRUE(root->children().empty());
    root = nullptr;
    EXPECT_EQ(take(), "deleteObject:k@0 deleteObject:r@0");
    EXPECT_EQ(NodeNameSpace::nameSpaceCount(), before);
}

TEST_F(Scopes, ScopeDyingWithNodesUnlinksThem) {
    NodeNameSpace* keep = addScope("keep");
    SmartPtr<NodeNameSpace> doomed(new NodeNameSpace("doomed", nullptr, false));
    NodeNameSpace* child = addScope("child", doomed.get());
    auto* parent = static_cast<Group*>(make("parent", keep));
    Node *linked = make("linked", doomed.get()), *alone = make("alone", doomed.get());
    parent->children().addChild(linked);
    LogCapture log(osg::LOG_WARNING);
    doomed = nullptr;
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tRun NodeNameSpace \"doomed\" destructor and _nodeCount == 2\n"
              "WARNING\tKalvex\t~NodeNameSpace: Try to remove nodes from parents\n"
              "FATAL\tKalvex\t  doomed/Group/linked: Cannot remove node: RC 2, PC 0\n"
              "WARNING\tKalvex\tRemove Child nameSpace in destructor\n");
    EXPECT_TRUE(linked->parentLinks().empty() && parent->children().size() == 0u &&
                !child->getParent());
    for (Node* n : {linked, alone}) EXPECT_TRUE(!n->getNameSpace() && !n->hasName());
    log.clear();
    held.clear();  // the orphans end without a scope to leave
    EXPECT_EQ(log.text(), "");
}

TEST_F(Scopes, TransferWalkMovesNodesAndSubScopes) {
    NodeNameSpace *from = addScope("from"), *inner = addScope("inner", from);
    NodeNameSpace* to = addScope("to", nullptr, true);
    auto* top = static_cast<Group*>(make("top", from));
    Node *loaded = make("loaded", from, Group::_type, CreatorLoader),
         *unnamed = make(nullptr, from);
    Node *box = make("box", from, Box::_type), *nested = make("nested", inner);
    Node* shared = make("shared", from);
    for (Node* n : {loaded, box, unnamed, nested, shared}) top->children().addChild(n);
    static_cast<Group*>(unnamed)->children().addChild(top);     // a cycle back to the start
    static_cast<Group*>(unnamed)->children().addChild(shared);  // reached twice, moved once
    // The walk skips by creator and by type, as every walk does; a copy of its frame keeps the
    // filters but not the options.
    NameSpaceTransferAction action(1.0);
    action.setNewNameSpace(to);
    action.addSkipType(Geometry::_type);
    action.setSkipCreateMask(CreatorLoader | CreatorDynamic);
    TraversAction copy(action);
    EXPECT_NE(copy.skipTypeVec(), action.skipTypeVec());
    LogCapture log;
    copy.dump();
    EXPECT_EQ(log.text(), "LOG\tKalvex\tParamMask: " + std::string(32, '0') +
                              "TimeStamp: 1skipCreateMask: 12skipTypeVec count: 1\n");
    EXPECT_EQ(action.paramMask(), 2u);
    top->getProc()->transferNameSpace(action);
    EXPECT_TRUE(action.oldNameSpace() == from && action.visitingSet().empty());  // from the first
    EXPECT_EQ(NodeNameSpace::findNode(to, "top"), top);
    EXPECT_TRUE(unnamed->getNameSpace() == to && unnamed->isAutoNamed());  // the new scope names it
    EXPECT_TRUE(loaded->getNameSpace() == from && box->getNameSpace() == from);
    EXPECT_TRUE(nested->getNameSpace() == inner && inner->getParent() == to);
    EXPECT_EQ(NodeNameSpace::findNode(to, "shared"), shared);
    EXPECT_EQ(std::make_pair(from->nodeCount(), to->nodeCount()), std::make_pair(2, 3));
    action.reset();
    EXPECT_TRUE(!action.oldNameSpace() && !action.skipTypeVec());
    // Without a target the walk reports it and leaves the node where it is.
    log.clear();
    loaded->getProc()->transferNameSpace(action);
    EXPECT_TRUE(
        log.contains("FATAL\tKalvex\tInvalid nameSpace in NodeProc::transferNameSpace()\n"));
    EXPECT_EQ(loaded->getNameSpace(), from);
    static_cast<Group*>(unnamed)->children().clear();  // break the cycle
}

}  // namespace
