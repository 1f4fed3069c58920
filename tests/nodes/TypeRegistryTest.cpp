// Type registries: trees, addresses, look-ups with parent fallback, registration clashes, type
// lists and the lifetime of registries and the types they hold.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexTest;
using Reg = NodeTypeNameSpace;

Node* makePlain(NodeType& type, NodeNameSpace& scope, const char* name) {
    return Node::createNode(type, scope, name);
}

// A type below "Node", owned by the registry.
NodeType* addType(Reg& ns, const char* name, bool concrete = false) {
    return new NodeType(ns, name, "Test", "Node", nullptr, "1.0", "Test", "", "stable", "", "",
                        true, false, nullptr, concrete ? &makePlain : nullptr, nullptr, nullptr, 0);
}

// The root "RegTest" with the child b and the grandchild c.
class TypeRegistry : public ::testing::Test {
  protected:
    // The library's types are built first, so that a later initTypeTree leaves these alone.
    bool built = (KalvexTest::initTypes(), true);
    SmartPtr<Reg> root{new Reg("RegTest", nullptr)};
    SmartPtr<Reg> b{new Reg("b", root.get())};
    SmartPtr<Reg> c{new Reg("c", b.get())};
    NodeType *zed = addType(*root, "Zed", true), *alpha = addType(*root, "Alpha");
    NodeType *mid = addType(*b, "Mid"), *leaf = addType(*c, "Leaf", true);
};

TEST_F(TypeRegistry, FindTypeByAddress) {
    const std::string leafID = std::to_string(leaf->getTypeID());
    NodeType* digits = addType(*c, "3D");
    EXPECT_EQ(c->typeMap().at("3D"), digits);
    // clang-format off
    const struct { Reg* start; std::string address; int caseType; NodeType* type; } cases[] = {
        {c.get(), "Leaf", 0, leaf},            {c.get(), " \tLeaf\r\n", 0, leaf},
        {c.get(), "Mid", 0, mid},              {c.get(), "Zed", 0, zed},  // from the parents
        {root.get(), "Leaf", 0, nullptr},      // never from a child
        {c.get(), "LEAF", 0, nullptr},         {c.get(), "zED", 1, zed},
        {nullptr, "::RegTest::b::c::Leaf", 0, leaf}, {nullptr, "RegTest::b::Mid", 0, mid},
        {nullptr, "::RegTest::b::c::leaf", 1, leaf},
        {root.get(), "ignored::b::Mid", 0, mid},  // the first name is not compared
        {nullptr, "::RegTest::x::Leaf", 0, nullptr}, {nullptr, "::NoRoot::Leaf", 0, nullptr},
        {nullptr, "Leaf", 0, nullptr},
        {c.get(), "Transform", 0, nullptr},    // "Base" is no ancestor here
        {c.get(), "3D", 0, nullptr},           // digits never resolve
        {c.get(), leafID, 0, nullptr},         {c.get(), " \t\r\n ", 0, nullptr}};
    // clang-format on
    for (const auto& cs : cases) {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_EQ(Reg::findType(cs.start, cs.address, cs.caseType), cs.type) << cs.address;
        const bool blank = cs.address.find_first_not_of(" \t\r\n") == std::string::npos;
        EXPECT_EQ(log.text(),
                  blank ? "WARNING\tKalvex\tInvalid param (empty address) for findType()\n" : "");
    }
}

TEST_F(TypeRegistry, FindNameSpaceAndAbsoluteAddresses) {
    // clang-format off
    const struct { Reg* start; std::string address; bool lastIsType; Reg* ns; } cases[] = {
        {nullptr, "::RegTest::b::c", false, c.get()}, {nullptr, "RegTest::b", false, b.get()},
        {c.get(), "::RegTest", false, root.get()},    {root.get(), "x::b::c", false, c.get()},
        {c.get(), "x::b", false, nullptr},  // walks from c, which has no child b
        {nullptr, "::RegTest::b::Leaf", true, b.get()}, {nullptr, "::RegTest:::b", false, b.get()},
        {nullptr, std::to_string(c->ID()), false, c.get()},
        {nullptr, std::to_string(c->ID()) + "1", false, nullptr},
        {root.get(), "RegTest", false, nullptr},      {nullptr, "::", false, nullptr},
        {nullptr, "::RegTest::B", false, nullptr}};
    // clang-format on
    for (const auto& cs : cases)
        EXPECT_EQ(Reg::findNameSpace(cs.start, cs.address, cs.lastIsType), cs.ns) << cs.address;

    SmartPtr<Reg> unnamed{new Reg("", root.get())};
    SmartPtr<Reg> below{new Reg("d", unnamed.get())};
    EXPECT_EQ(root->children(), (std::vector<Reg*>{b.get(), unnamed.get()}));
    std::string out = "junk";
    EXPECT_TRUE(leaf->fillAbsolutAddress(out));
    EXPECT_EQ(out, "::RegTest::b::c::Leaf");
    EXPECT_TRUE(c->hasAbsolutAddress());
    EXPECT_FALSE(below->hasAbsolutAddress());
    EXPECT_FALSE(below->fillAbsolutAddress(out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(addType(*below, "Hidden")->fillAbsolutAddress(out));
}

TEST_F(TypeRegistry, DuplicateNamesAndRoots) {
    LogCapture log(osg::LOG_WARNING);
    SmartPtr<NodeType> older = addType(*c, "Dup");
    NodeType* newer = addType(*c, "Dup");
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tThere is already a Dup NodeType registered in c\n");
    EXPECT_EQ(Reg::findType(c.get(), "dup", 1), newer);
    // The type that lost its name leaves the newer entries in place when it goes.
    older = nullptr;
    EXPECT_EQ(Reg::findType(c.get(), "Dup", 0), newer);
    EXPECT_EQ(Reg::findType(c.get(), "DUP", 1), newer);
    EXPECT_EQ(newer->nameSpace(), c.get());
    // A displaced type may outlive its registry without reaching back into it.
    auto* d = new Reg("d", c.get());
    older = addType(*d, "Twice");
    addType(*d, "Twice");
    d->addRef();
    d->subRef();
    EXPECT_EQ(older->nameSpace(), nullptr);
    older = nullptr;

    log.clear();
    SmartPtr<Reg> twin{new Reg("RegTest", nullptr)};
    SmartPtr<Reg> nameless{new Reg(nullptr, nullptr)};
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tThere is already root >RegTest< NodeTypeNameSpace\n"
              "FATAL\tKalvex\tRoot NodeTypeNameSpace without name\n");
    twin = nullptr;  // the former root keeps its name
    EXPECT_EQ(Reg::findNameSpace(nullptr, "::RegTest::b", false), b.get());
    // A root moved below another registry gives its name back when it goes.
    auto* moved = new Reg("Moved", nullptr);
    moved->setParent(c.get());
    moved->addRef();
    moved->subRef();
    EXPECT_EQ(Reg::findNameSpace(nullptr, "::Moved::x", false), nullptr);
    SmartPtr<Reg> again{new Reg("Moved", nullptr)};
    EXPECT_EQ(Reg::findNameSpace(nullptr, "Moved::", false), again.get());
    EXPECT_EQ(log.count("FATAL"), 2);
}

TEST_F(TypeRegistry, TypeVectors) {
    SmartPtr<Reg> d{new Reg("d", c.get())};
    NodeType *beta = addType(*d, "Beta", true), *gamma = addType(*d, "Gamma");
    // clang-format off
    const struct { int flags; std::vector<NodeType*> appended; } cases[] = {
        {0, {beta, gamma}},     {1 | 16, {beta}},
        {1 | 2, {beta, gamma, leaf, mid, alpha, zed}},      {2 | 16, {beta, leaf, zed}},
        {1 | 2 | 8, {}},        {2 | 8 | 16, {}}};
    // clang-format on
    for (const auto& cs : cases) {
        std::vector<NodeType*> out{mid};  // a stale entry that only flag 1 clears
        std::vector<NodeType*> expected = cs.appended;
        if (!(cs.flags & 1)) expected.insert(expected.begin(), mid);
        EXPECT_EQ(d->getTypeVec(out, cs.flags), int(cs.appended.size())) << cs.flags;
        EXPECT_EQ(out, expected) << cs.flags;
    }
}

TEST_F(TypeRegistry, LifetimeOfRegistriesAndTheirTypes) {
    Watcher born(Reg::newObjectSubject()), died(Reg::deleteObjectSubject());
    take();
    auto* d = new Reg("d", c.get());
    SmartPtr<Reg> e{new Reg("e", d)};
    const unsigned looseID = addType(*d, "Loose")->getTypeID();
    SmartPtr<NodeType> kept = addType(*d, "Kept");
    const unsigned types = NodeType::typeCount();
    const int registries = Reg::nameSpaceCount();
    std::vector<Reg*> roots;
    Reg::getNameSpaceVec(roots, true);
    EXPECT_EQ(std::count(roots.begin(), roots.end(), root.get()), 1);
    EXPECT_EQ(std::count(roots.begin(), roots.end(), d), 0);
    d->addRef();
    d->subRef();
    EXPECT_EQ(Reg::nameSpaceCount(), registries - 1);
    EXPECT_EQ(take(),
              "newNodeTypeNameSpace:d@0 newNodeTypeNameSpace:e@0 deleteNodeTypeNameSpace:d@0");
    // The unheld type went with its registry; the held one lives on without one.
    EXPECT_EQ(NodeType::findType(looseID), nullptr);
    EXPECT_EQ(NodeType::typeCount(), types - 1);
    EXPECT_EQ(kept->nameSpace(), nullptr);
    EXPECT_EQ(NodeType::findType(kept->getTypeID()), kept.get());
    EXPECT_EQ(e->getParent(), nullptr);
    EXPECT_TRUE(c->children().empty());
}

}  // namespace
