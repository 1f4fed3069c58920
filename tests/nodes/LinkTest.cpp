// Links between nodes: setNode with its callbacks, refusals and change marks, the node list
// operations, values copied between node fields, equality and the refused text forms. The
// binary forms are the field core's.

#include <gtest/gtest.h>

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
    EXPECT_EQ(link.parent(), parent);
    for (Node* n : std::vector<Node*>{top, grand, parent})
        EXPECT_EQ(n->_changeFlags, uint32_t(Node::ChildrenChanged)) << n->getName();
    // The present target again: nothing runs and nothing is marked. The marks of a later change
    // go up until a node that has them already.
    top->_changeFlags = parent->_changeFlags = 0;
    EXPECT_TRUE(link.setNode(next));
    EXPECT_EQ(take(), "");
    EXPECT_EQ(parent->_changeFlags, 0u);
    EXPECT_TRUE(link.setNode(child));
    EXPECT_EQ(parent->_changeFlags, uint32_t(Node::ChildrenChanged));
    EXPECT_EQ(top->_changeFlags, 0u);
    take();

    // A link without a field has no parent to tell and nothing to mark; the type is "Node".
    NodeLink free;
    EXPECT_TRUE(free.setNode(next));
    EXPECT_EQ(take(), "newNodeLink:next@0 next:parentAdded@Setup");
    EXPECT_EQ(free.parent(), nullptr);
    EXPECT_EQ(free.nodeType(), &Node::_type);
    NodeLink copy(free);  // a second free link to the same node
    EXPECT_EQ(copy.rawNode(), next);
    EXPECT_EQ(next->parentLinks().size(), 2u);
    free.setNode(nullptr);
    EXPECT_EQ(next->parentLinks(), std::vector<NodeLink*>{&copy});
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
        {[&] { return ins(2, a); }, true, "c a a - b"},
        {[&] { return ins(-1, b); }, true, "c a a - b b"},
        {[&] { return ins(99, c); }, true, "c a a - b b c"},
        {[&] { return ins(1, nullptr); }, true, "c - a a - b b c"},
        {[&] { return rem(a); }, true, "c - - b b c"},  // every entry of it
        {[&] { return rem(a); }, false, "c - - b b c"},
        {[&] { return remAt(-5); }, true, "- - b b c"},  // negative: the first
        {[&] { return remAt(5); }, false, "- - b b c"}, {[&] { return remAt(4); }, true, "- - b b"},
        {[&] { return rem(nullptr); }, true, "b b"}  // the holes are entries of null
    };
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
    EXPECT_TRUE(x->single.equalValue(y->single));  // both empty
    x->single.link().setNode(a);
    EXPECT_FALSE(x->single.equalValue(y->single));
    y->single.link().setNode(a);
    EXPECT_TRUE(x->single.equalValue(y->single));
    // clang-format off
    const struct { std::vector<Node*> left, right; bool equal; } lists[] = {
        {{a, b}, {a, b}, true}, {{a, b}, {b, a}, false}, {{a}, {a, b}, false},
        {{a, nullptr}, {a, nullptr}, true}, {{nullptr}, {a}, false}};
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
        {[&] { n->single.setValueByStr(" \t\n"); }, ""},
        {[&] { n->single.setValueByStr("USE x"); },
         fatal + "SFNode::setValueByStr( USE x ) is not impl.\n"},
        {[&] { n->single.getStrValue(out); }, fatal + "SFNode::getValueByField() is not impl.\n"},
        {[&] { n->single.set1ValueByBin(0, "x"); }, ""},
        {[&] { n->kids.setValueByStr("[]"); }, fatal + "In MFNode::setValueByStr\n"},
        {[&] { n->kids.addValueByStr("USE x", Field::CardinalityMulti); },
         fatal + "In MFNode::addValueByStr\n"},
        {[&] { n->kids.getStrValue(out); }, ""},
        {[&] { EXPECT_FALSE(n->single.setValueByField(*number, nullptr)); },
         warning + "SFInt32 to SFNode not implementet\n"},
        {[&] { EXPECT_FALSE(n->kids.setValueByField(*number, nullptr)); },
         warning + "SFInt32 to MFNode not implementet\n"},
        {[&] { EXPECT_FALSE(n->single.equalValue(n->kids)); },
         fatal + "Type mismatch in XField::opperator==\n"}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log;
        c.call();
        EXPECT_EQ(log.text(), c.message);
    }
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(n->single.rawNode(), nullptr);
    EXPECT_TRUE(n->kids.empty());
}

}  // namespace
