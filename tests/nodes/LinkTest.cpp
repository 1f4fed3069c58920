// Links between nodes: setNode with its callbacks, refusals and change marks, the node list
// operations, values copied between node fields, equality and the refused text forms. The
// binary forms are the field core's.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/nodes/SFNode.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using KalvexTest::LogCapture;

std::vector<std::string> events;

class LinkProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    void childAdded(NodeLink& link) override {
        note("childAdded");
        NodeProc::childAdded(link);
    }
    void childRemoved(NodeLink& link) override {
        note("childRemoved");
        NodeProc::childRemoved(link);
    }
    void parentAdded(NodeLink&) override { note("parentAdded"); }
    void parentRemoved(NodeLink&) override { note("parentRemoved"); }

  private:
    void note(const char* what) { events.push_back(node().getName() + ":" + what); }
};

// Fields: kids and single (any node), boxes (Box only).
class LinkNode : public Node {
  public:
    LinkNode(NodeType& type, NodeNameSpace& scope, const char* name)
        : Node(type, scope, name), kids(*this), single(*this), boxes(*this) {
        regField(kids, type, 2, true);
        regField(single, type, 3, true);
        regField(boxes, type, 4, true);
    }
    MFNode kids;
    SFNode single;
    MFNode boxes;

    static NodePartDesc _desc[];
    static NodeType _type;
};

NodePartDesc LinkNode::_desc[] = {
    {2, partMaskOf(2), PartExposedField, MFNodeType, 0, "kids", "Test", nullptr, nullptr, "any"},
    {3, partMaskOf(3), PartExposedField, SFNodeType, 0, "single", "Test", nullptr, nullptr, "any"},
    {4, partMaskOf(4), PartExposedField, MFNodeType, 0, "boxes", "Test", nullptr, "[Box]", "box"}};

Node* makeLinkNode(NodeType& type, NodeNameSpace& scope, const char* name) {
    return new LinkNode(type, scope, name);
}
NodeProc* makeLinkProc(NodeType& type, Node& node) {
    return new LinkProc(type, node);
}
bool isLinkNode(Node* node) {
    return dynamic_cast<LinkNode*>(node) != nullptr;
}

NodeType LinkNode::_type(theBaseNodeTypeFactory(), "LinkProbe", "Test", "Node", nullptr, "1.0",
                         "Test", "Journals its graph callbacks", "stable",
                         "Holds links of every kind", "Test", true, false, &isLinkNode,
                         &makeLinkNode, &makeLinkProc, LinkNode::_desc, 3);

// Journals the two link subjects into the same list as the callbacks.
class LinkWatcher : public Observer {
  public:
    LinkWatcher(Subject* subject, const char* name) : Observer(*subject, name) {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject*, BaseObject*) override {
        events.push_back(getName() + (a ? "" : "(null)"));
    }
};

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) all += (all.empty() ? "" : " ") + line;
    return all;
}

class Links : public ::testing::Test {
  protected:
    void SetUp() override {
        KalvexTest::initTypes();
        events.clear();
    }
    void TearDown() override {
        LogCapture quiet;
        held.clear();
    }
    template <class T = LinkNode>
    T* make(const char* name, NodeType& type = LinkNode::_type) {
        Node* node = type.createNode(scope.get(), name, CreatorSystem);
        held.emplace_back(node);
        return static_cast<T*>(node);
    }
    // The list as names, "-" for an empty entry.
    static std::string names(const MFNode& field) {
        std::string all;
        for (const NodeLink& link : field.getValue())
            all += (all.empty() ? "" : " ") + (link.rawNode() ? link.rawNode()->getName() : "-");
        return all;
    }

    SmartPtr<NodeNameSpace> scope{new NodeNameSpace("links", nullptr, false)};
    std::vector<SmartPtr<Node>> held;
};

TEST_F(Links, SetNodeRunsCallbacksInOrderAndMarksAncestors) {
    LinkNode* grand = make("grand");
    LinkNode* parent = make("parent");
    LinkNode* child = make("child");
    LinkNode* next = make("next");
    grand->kids.addChild(parent);
    parent->single.link().setNode(child);
    grand->_changeFlags = parent->_changeFlags = 0;
    LinkWatcher added(NodeLink::newLinkSubject(), "newNodeLink");
    LinkWatcher removed(NodeLink::deleteLinkSubject(), "deleteNodeLink");
    events.clear();

    NodeLink& link = parent->single.link();
    EXPECT_TRUE(link.setNode(next));
    EXPECT_EQ(joined(events),
              "deleteNodeLink parent:childRemoved child:parentRemoved newNodeLink "
              "parent:childAdded next:parentAdded");
    EXPECT_TRUE(child->parentLinks().empty());
    ASSERT_EQ(next->parentLinks().size(), 1u);
    EXPECT_EQ(next->parentLinks()[0], &link);
    EXPECT_EQ(link.parent(), parent);
    EXPECT_EQ(parent->_changeFlags, uint32_t(Node::ChildrenChanged));
    EXPECT_EQ(grand->_changeFlags, uint32_t(Node::ChildrenChanged));

    // The present target again: nothing runs and nothing is marked.
    events.clear();
    grand->_changeFlags = parent->_changeFlags = 0;
    EXPECT_TRUE(link.setNode(next));
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(parent->_changeFlags, 0u);

    // A link without a field has no parent to tell and nothing to mark; the type is "Node".
    NodeLink free;
    EXPECT_TRUE(free.setNode(child));
    EXPECT_EQ(joined(events), "newNodeLink child:parentAdded");
    EXPECT_EQ(free.parent(), nullptr);
    EXPECT_EQ(free.nodeType(), &Node::_type);
    EXPECT_EQ(free.getFieldID(), 0u);
    EXPECT_TRUE(free.getFieldMask().isZero());
    NodeLink copy(free);  // a second free link to the same node
    EXPECT_EQ(copy.rawNode(), child);
    EXPECT_EQ(child->parentLinks().size(), 2u);
    EXPECT_EQ(parent->_changeFlags, 0u);
    free.setNode(nullptr);
    EXPECT_EQ(child->parentLinks().size(), 1u);
}

TEST_F(Links, RestrictedFieldsRefuseOtherTypesAndStayEmpty) {
    auto* shape = make<Shape>("shape", Shape::_type);
    Node* b = make<Node>("b", Box::_type);
    Node* g = make<Node>("g", Group::_type);
    NodeLink& geometry = shape->geometry().link();
    ASSERT_TRUE(geometry.setNode(b));  // a descendant of the named type
    EXPECT_EQ(geometry.nodeType(), &Geometry::_type);
    EXPECT_EQ(geometry.getFieldID(), 3u);
    EXPECT_EQ(geometry.getFieldMask(), partMaskOf(3));
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
    LinkNode* p = make("p");
    LogCapture quiet;
    EXPECT_EQ(p->boxes.addChild(g)->rawNode(), nullptr);
    p->boxes.addChild(b);
    EXPECT_EQ(names(p->boxes), "- b");
    // An abstract type stands for its descendants.
    Node* material = make<Node>("m", MaterialNode::_type);
    EXPECT_EQ(&material->getType(), &Material::_type);
    EXPECT_TRUE(make<Appearance>("look", Appearance::_type)->material().link().setNode(material));
    EXPECT_FALSE(shape->appearance().link().setNode(material));
}

TEST_F(Links, ChangesArePrintedForChildAndParentFeatures) {
    LinkNode* p = make("p");
    LinkNode* c = make("c");
    Group* g = make<Group>("g", Group::_type);
    p->logFeatureField().editValue() = {"child"};
    c->logFeatureField().editValue() = {"parent"};
    {
        LogCapture quiet;
        p->getProc()->updateLogFeatureMask();
        c->getProc()->updateLogFeatureMask();
    }
    LogCapture log;
    p->single.link().setNode(c);
    p->single.link().setNode(nullptr);
    g->children().addChild(c);  // the child's parent feature alone prints too
    g->children().addChild(p);  // neither: silent
    EXPECT_EQ(log.text(),
              "LOG\tKalvex\tLinkProbe/p child LinkProbe/c added (single)\n"
              "LOG\tKalvex\tLinkProbe/p child LinkProbe/c removed (single)\n"
              "LOG\tKalvex\tGroup/g child LinkProbe/c added (children)\n");
}

TEST_F(Links, ListOperationsKeepHolesAndDuplicates) {
    LinkNode* p = make("p");
    LinkNode* a = make("a");
    LinkNode* b = make("b");
    LinkNode* c = make("c");
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
    int step = 0;
    for (const auto& s : steps) {
        SCOPED_TRACE(step++);
        LogCapture quiet;
        EXPECT_EQ(s.op(), s.result);
        EXPECT_EQ(names(kids), s.after);
        // Every entry is one parent link of its node.
        int entriesOfB = 0;
        for (const NodeLink& link : kids.getValue()) entriesOfB += link.rawNode() == b;
        EXPECT_EQ(int(b->parentLinks().size()), entriesOfB);
    }
    EXPECT_TRUE(a->parentLinks().empty());
    EXPECT_TRUE(c->parentLinks().empty());

    // An empty entry is reported, wherever it goes.
    LogCapture log(osg::LOG_NOTICE);
    kids.addChild(nullptr);
    kids.insertChild(0, nullptr);
    EXPECT_EQ(log.count("NOTICE\tKalvex\tAdd Child(NULL) to Node(LinkProbe/p), field: kids\n"), 2)
        << log.text();

    // Two links of one field swap targets silently; links of two fields do not.
    auto first = kids.editValue().begin();
    auto second = std::next(first);
    events.clear();
    EXPECT_TRUE(first->swap(*second));
    EXPECT_EQ(names(kids), "b - b -");
    EXPECT_TRUE(events.empty());
    for (NodeLink* link : b->parentLinks()) EXPECT_EQ(link->rawNode(), b);
    EXPECT_FALSE(first->swap(p->single.link()));
}

TEST_F(Links, ValuesMoveBetweenNodeFields) {
    LinkNode* from = make("from");
    LinkNode* to = make("to");
    LinkNode* a = make("a");
    LinkNode* b = make("b");
    from->kids.addChild(a);
    from->kids.addChild(b);
    from->single.link().setNode(b);

    // List to list: both hold the same nodes afterwards.
    EXPECT_TRUE(to->kids.setValueByField(from->kids, nullptr));
    EXPECT_EQ(names(to->kids), "a b");
    EXPECT_EQ(names(from->kids), "a b");
    EXPECT_EQ(a->parentLinks().size(), 2u);
    EXPECT_TRUE(to->kids.setValueByField(to->kids, nullptr));
    EXPECT_EQ(names(to->kids), "a b");
    // Single to list: taken over, reported as no change.
    EXPECT_FALSE(to->kids.setValueByField(from->single, nullptr));
    EXPECT_EQ(names(to->kids), "b");
    EXPECT_FALSE(to->kids.setValueByField(to->single, nullptr));
    EXPECT_EQ(names(to->kids), "");
    // List to single takes the first entry; an empty list leaves the field as it is.
    EXPECT_TRUE(to->single.setValueByField(from->kids, nullptr));
    EXPECT_EQ(to->single.rawNode(), a);
    EXPECT_FALSE(to->single.setValueByField(to->kids, nullptr));
    EXPECT_EQ(to->single.rawNode(), a);
    EXPECT_TRUE(to->single.setValueByField(from->single, nullptr));
    EXPECT_EQ(to->single.rawNode(), b);

    // Wildcards are accepted without effect; other types are refused with a warning.
    std::unique_ptr<Field> any(FieldType::create(SFAnyType, *to));
    std::unique_ptr<Field> number(FieldType::create(SFInt32Type, *to));
    ASSERT_TRUE(any && number);
    EXPECT_TRUE(to->single.setValueByField(*any, nullptr));
    EXPECT_TRUE(to->kids.setValueByField(*any, nullptr));
    EXPECT_EQ(to->single.rawNode(), b);
    LogCapture log(osg::LOG_WARNING);
    EXPECT_FALSE(to->single.setValueByField(*number, nullptr));
    EXPECT_FALSE(to->kids.setValueByField(*number, nullptr));
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tSFInt32 to SFNode not implementet\n"
              "WARNING\tKalvex\tSFInt32 to MFNode not implementet\n");
}

TEST_F(Links, EqualityComparesTargetsInOrder) {
    LinkNode* x = make("x");
    LinkNode* y = make("y");
    LinkNode* a = make("a");
    LinkNode* b = make("b");
    EXPECT_TRUE(x->single.equalValue(y->single));  // both empty
    x->single.link().setNode(a);
    EXPECT_FALSE(x->single.equalValue(y->single));
    y->single.link().setNode(a);
    EXPECT_TRUE(x->single.equalValue(y->single));
    // clang-format off
    const struct { std::vector<Node*> left, right; bool equal; } lists[] = {
        {{a, b}, {a, b}, true}, {{a, b}, {b, a}, false}, {{a}, {a, b}, false}, {{}, {}, true},
        {{a, nullptr}, {a, nullptr}, true}, {{nullptr}, {a}, false}
    };
    // clang-format on
    for (const auto& l : lists) {
        LogCapture quiet;
        x->kids.clear();
        y->kids.clear();
        for (Node* n : l.left) x->kids.addChild(n);
        for (Node* n : l.right) y->kids.addChild(n);
        EXPECT_EQ(x->kids.equalValue(y->kids), l.equal) << names(x->kids) << "/" << names(y->kids);
    }
    LogCapture log(osg::LOG_FATAL);
    EXPECT_FALSE(x->single.equalValue(x->kids));
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tType mismatch in XField::opperator==\n");
}

TEST_F(Links, NodeFieldsHaveNoTextForm) {
    LinkNode* n = make("n");
    std::string out = "kept";
    // clang-format off
    // The message after the log header; "" for silence.
    const struct { std::function<void()> call; const char* message; } cases[] = {
        {[&] { n->single.setValueByStr(" \t\n"); }, ""},
        {[&] { n->single.setValueByStr("USE x"); }, "SFNode::setValueByStr( USE x ) is not impl.\n"},
        {[&] { n->single.getStrValue(out); }, "SFNode::getValueByField() is not impl.\n"},
        {[&] { n->single.set1ValueByBin(0, "x"); }, ""},
        {[&] { n->kids.setValueByStr("[]"); }, "In MFNode::setValueByStr\n"},
        {[&] { n->kids.addValueByStr("USE x", Field::CardinalityMulti); }, "In MFNode::addValueByStr\n"},
        {[&] { n->kids.getStrValue(out); }, ""}
    };
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log;
        c.call();
        EXPECT_EQ(log.text(), *c.message ? std::string("FATAL\tKalvex\t") + c.message : "");
    }
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(n->single.rawNode(), nullptr);
    EXPECT_TRUE(n->kids.empty());
}

}  // namespace
