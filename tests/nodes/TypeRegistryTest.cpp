// Type registries: trees, addresses, look-ups with parent fallback, registration clashes, type
// lists and the lifetime of registries and the types they hold.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using KalvexTest::LogCapture;

Node* makePlain(NodeType& type, NodeNameSpace& scope, const char* name) {
    return Node::createNode(type, scope, name);
}

// A type below "Node", owned by the registry.
NodeType* addType(NodeTypeNameSpace& ns, const char* name, bool concrete = false) {
    return new NodeType(ns, name, "Test", "Node", nullptr, "1.0", "Test", "", "stable", "", "",
                        true, false, nullptr, concrete ? &makePlain : nullptr, nullptr, nullptr, 0);
}

// The root "RegTest" with the child b and the grandchild c.
class TypeRegistry : public ::testing::Test {
  protected:
    // The library's types are built first, so that a later initTypeTree leaves these alone.
    bool built = (KalvexTest::initTypes(), true);
    SmartPtr<NodeTypeNameSpace> root{new NodeTypeNameSpace("RegTest", nullptr)};
    SmartPtr<NodeTypeNameSpace> b{new NodeTypeNameSpace("b", root.get())};
    SmartPtr<NodeTypeNameSpace> c{new NodeTypeNameSpace("c", b.get())};
    NodeType* zed = addType(*root, "Zed", true);
    NodeType* alpha = addType(*root, "Alpha");
    NodeType* mid = addType(*b, "Mid");
    NodeType* leaf = addType(*c, "Leaf", true);
};

TEST_F(TypeRegistry, FindTypeByAddress) {
    const std::string leafID = std::to_string(leaf->getTypeID());
    NodeType* digits = addType(*c, "3D");
    struct Case {
        const NodeTypeNameSpace* start;
        std::string address;
        SearchCaseType caseType;
        NodeType* expected;
    };
    // clang-format off
    const Case cases[] = {
        {c.get(), "Leaf", 0, leaf},            {c.get(), " \tLeaf\r\n", 0, leaf},
        {c.get(), "Mid", 0, mid},              {c.get(), "Zed", 0, zed},  // from the parents
        {root.get(), "Leaf", 0, nullptr},      // never from a child
        {c.get(), "LEAF", 0, nullptr},         {c.get(), "LEAF", 1, leaf},
        {c.get(), "zED", 7, zed},              {nullptr, "::RegTest::b::c::Leaf", 0, leaf},
        {nullptr, "RegTest::b::Mid", 0, mid},  {nullptr, "  ::RegTest::b::c::Leaf\n", 0, leaf},
        {nullptr, "::RegTest::b::c::leaf", 1, leaf},
        {root.get(), "ignored::b::Mid", 0, mid},  // the first name is not compared
        {c.get(), "ignored::Leaf", 0, leaf},   {nullptr, "::RegTest::x::Leaf", 0, nullptr},
        {nullptr, "::NoRoot::Leaf", 0, nullptr}, {nullptr, "Leaf", 0, nullptr},
        {c.get(), "Transform", 0, nullptr},    // "Base" is no ancestor here
        {c.get(), "3D", 0, nullptr},           // digits never resolve
        {c.get(), leafID, 0, nullptr},         {nullptr, leafID, 0, nullptr},
    };
    // clang-format on
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.address);
        LogCapture log(osg::LOG_WARNING);
        EXPECT_EQ(NodeTypeNameSpace::findType(cs.start, cs.address, cs.caseType), cs.expected);
        EXPECT_EQ(log.text(), "");
    }
    EXPECT_EQ(c->typeMap().at("3D"), digits);
    for (const char* empty : {"", " \t\r\n "}) {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_EQ(NodeTypeNameSpace::findType(c.get(), empty, 0), nullptr);
        EXPECT_EQ(log.text(), "WARNING\tKalvex\tInvalid param (empty address) for findType()\n");
    }
}

TEST_F(TypeRegistry, FindNameSpace) {
    struct Case {
        const NodeTypeNameSpace* start;
        std::string address;
        bool lastIsType;
        NodeTypeNameSpace* expected;
    };
    // clang-format off
    const Case cases[] = {
        {nullptr, "::RegTest::b::c", false, c.get()}, {nullptr, "RegTest::b", false, b.get()},
        {c.get(), "::RegTest", false, root.get()},    {root.get(), "x::b::c", false, c.get()},
        {c.get(), "x::b", false, nullptr},  // walks from c, which has no child b
        {nullptr, "::RegTest::b::Leaf", true, b.get()}, {nullptr, "::RegTest:::b", false, b.get()},
        {nullptr, std::to_string(c->ID()), false, c.get()},
        {nullptr, std::to_string(c->ID()) + "1", false, nullptr},
        {root.get(), "RegTest", false, nullptr},      {nullptr, "", false, nullptr},
        {nullptr, "::", false, nullptr},              {nullptr, "::RegTest::B", false, nullptr},
    };
    // clang-format on
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.address);
        EXPECT_EQ(NodeTypeNameSpace::findNameSpace(cs.start, cs.address, cs.lastIsType),
                  cs.expected);
    }
}

TEST_F(TypeRegistry, AbsoluteAddresses) {
    SmartPtr<NodeTypeNameSpace> unnamed{new NodeTypeNameSpace("", root.get())};
    SmartPtr<NodeTypeNameSpace> below{new NodeTypeNameSpace("d", unnamed.get())};
    std::string out = "junk";
    EXPECT_TRUE(c->hasAbsolutAddress());
    EXPECT_TRUE(c->fillAbsolutAddress(out));
    EXPECT_EQ(out, "::RegTest::b::c");
    EXPECT_TRUE(leaf->fillAbsolutAddress(out));
    EXPECT_EQ(out, "::RegTest::b::c::Leaf");
    EXPECT_EQ(NodeTypeNameSpace::findType(nullptr, out, 0), leaf);
    EXPECT_FALSE(below->hasAbsolutAddress());
    EXPECT_FALSE(below->fillAbsolutAddress(out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(addType(*below, "Hidden")->fillAbsolutAddress(out));
    EXPECT_EQ(c->getParent(), b.get());
    EXPECT_EQ(root->children(), (std::vector<NodeTypeNameSpace*>{b.get(), unnamed.get()}));
}

TEST_F(TypeRegistry, DuplicateNamesAndRoots) {
    LogCapture log(osg::LOG_WARNING);
    SmartPtr<NodeType> older = addType(*c, "Dup");
    NodeType* newer = addType(*c, "Dup");
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tThere is already a Dup NodeType registered in c\n");
    EXPECT_EQ(NodeTypeNameSpace::findType(c.get(), "Dup", 0), newer);
    EXPECT_EQ(NodeTypeNameSpace::findType(c.get(), "dup", 1), newer);
    // The type that lost its name leaves the newer entries in place when it goes.
    older = nullptr;
    EXPECT_EQ(NodeTypeNameSpace::findType(c.get(), "DUP", 1), newer);
    EXPECT_EQ(newer->nameSpace(), c.get());
    // A displaced type may outlive its registry without reaching back into it.
    auto* d = new NodeTypeNameSpace("d", c.get());
    older = addType(*d, "Twice");
    addType(*d, "Twice");
    d->addRef();
    d->subRef();
    EXPECT_EQ(older->nameSpace(), nullptr);
    older = nullptr;

    log.clear();
    SmartPtr<NodeTypeNameSpace> twin{new NodeTypeNameSpace("RegTest", nullptr)};
    SmartPtr<NodeTypeNameSpace> nameless{new NodeTypeNameSpace(nullptr, nullptr)};
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tThere is already root >RegTest< NodeTypeNameSpace\n"
              "FATAL\tKalvex\tRoot NodeTypeNameSpace without name\n");
    EXPECT_EQ(NodeTypeNameSpace::findNameSpace(nullptr, "::RegTest::b", false), b.get());
    twin = nullptr;
    EXPECT_EQ(NodeTypeNameSpace::findNameSpace(nullptr, "::RegTest::b", false), b.get());
    // A root moved below another registry gives its name back when it goes.
    auto* moved = new NodeTypeNameSpace("Moved", nullptr);
    moved->setParent(c.get());
    moved->addRef();
    moved->subRef();
    EXPECT_EQ(NodeTypeNameSpace::findNameSpace(nullptr, "::Moved::x", false), nullptr);
    SmartPtr<NodeTypeNameSpace> again{new NodeTypeNameSpace("Moved", nullptr)};
    EXPECT_EQ(NodeTypeNameSpace::findNameSpace(nullptr, "Moved::", false), again.get());
    EXPECT_EQ(log.count("FATAL"), 2);
}

TEST_F(TypeRegistry, TypeVectors) {
    SmartPtr<NodeTypeNameSpace> d{new NodeTypeNameSpace("d", c.get())};
    NodeType* beta = addType(*d, "Beta", true);
    NodeType* gamma = addType(*d, "Gamma");
    struct Case {
        int flags;
        std::vector<NodeType*> appended;
    };
    // clang-format off
    const Case cases[] = {
        {0, {beta, gamma}},     {1, {beta, gamma}},         {1 | 16, {beta}},
        {1 | 2, {beta, gamma, leaf, mid, alpha, zed}},      {2 | 16, {beta, leaf, zed}},
        {1 | 2 | 8, {}},        {2 | 8 | 16, {}},
    };
    // clang-format on
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.flags);
        std::vector<NodeType*> out{mid};  // a stale entry that only flag 1 clears
        std::vector<NodeType*> expected = cs.appended;
        if (!(cs.flags & 1)) expected.insert(expected.begin(), mid);
        EXPECT_EQ(d->getTypeVec(out, cs.flags), int(cs.appended.size()));
        EXPECT_EQ(out, expected);
    }
}

// Hears one subject and keeps the first object argument of each notification.
struct Recorder : Observer {
    explicit Recorder(Subject& subject) : Observer(subject, "recorder") {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject*, BaseObject*) override {
        seen.push_back(a);
    }
    std::vector<BaseObject*> seen;
};

TEST_F(TypeRegistry, LifetimeOfRegistriesAndTheirTypes) {
    Recorder born(*NodeTypeNameSpace::newObjectSubject());
    Recorder died(*NodeTypeNameSpace::deleteObjectSubject());
    auto* d = new NodeTypeNameSpace("d", c.get());
    SmartPtr<NodeTypeNameSpace> e{new NodeTypeNameSpace("e", d)};
    NodeType* loose = addType(*d, "Loose");
    SmartPtr<NodeType> kept = addType(*d, "Kept");
    const unsigned looseID = loose->getTypeID();
    const unsigned types = NodeType::typeCount();
    const int registries = NodeTypeNameSpace::nameSpaceCount();
    std::vector<NodeTypeNameSpace*> roots;
    NodeTypeNameSpace::getNameSpaceVec(roots, true);
    EXPECT_EQ(std::count(roots.begin(), roots.end(), root.get()), 1);
    EXPECT_EQ(std::count(roots.begin(), roots.end(), d), 0);
    testing::internal::CaptureStderr();
    d->dump();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "NTNS: d/2/1/c\n");
    d->addRef();
    d->subRef();
    EXPECT_EQ(NodeTypeNameSpace::nameSpaceCount(), registries - 1);
    EXPECT_EQ(born.seen, (std::vector<BaseObject*>{d, e.get()}));
    EXPECT_EQ(died.seen, (std::vector<BaseObject*>{d}));
    // The unheld type went with its registry; the held one lives on without one.
    EXPECT_EQ(NodeType::findType(looseID), nullptr);
    EXPECT_EQ(NodeType::typeCount(), types - 1);
    EXPECT_EQ(kept->nameSpace(), nullptr);
    EXPECT_EQ(NodeType::findType(kept->getTypeID()), kept.get());
    EXPECT_EQ(e->getParent(), nullptr);
    EXPECT_EQ(c->children(), std::vector<NodeTypeNameSpace*>{});
}

TEST_F(TypeRegistry, AliasesAndLocalNodes) {
    SmartPtr<NodeTypeNameSpace> local{new NodeTypeNameSpace("local", &theBaseNodeTypeFactory())};
    NodeType* box = local->refType(KalvexExample::Box::_type, "Crate");
    EXPECT_EQ(NodeTypeNameSpace::findType(local.get(), "crate", 1), box);
    EXPECT_EQ(NodeTypeNameSpace::findType(&theBaseNodeTypeFactory(), "Crate", 0), nullptr);
    EXPECT_TRUE(box->initialized() && box->isA(KalvexExample::Geometry::_type));
    EXPECT_EQ(local->mainProtoType(), nullptr);  // an alias of a native type is no prototype

    SmartPtr<NodeNameSpace> scope{new NodeNameSpace("localScope", nullptr, false)};
    SmartPtr<Node> crate = local->createLocalNode(scope.get(), "Crate", "c1", CreatorLoader);
    SmartPtr<Node> plain = local->createLocalNode(scope.get(), "::Base::Box", "b", CreatorLoader);
    ASSERT_TRUE(crate && plain);
    EXPECT_EQ(&crate->getType(), box);
    EXPECT_EQ(crate->getName(), "c1");
    EXPECT_EQ(&plain->getType(), &KalvexExample::Box::_type);
    EXPECT_EQ(local->createLocalNode(scope.get(), "NoSuch", "x", CreatorLoader), nullptr);
}

}  // namespace
