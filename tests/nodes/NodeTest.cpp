// Node: field and slot look-ups, dynamic parts, log features and dictionaries, children by type
// match, whole-node operations, the id map and the subjects.

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/MFNode.h"
#include "kalvex/nodes/MetadataObject.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/nodes/SFNode.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/ContextSetup.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using KalvexTest::LogCapture;

std::vector<std::string> partEvents;
NodeNameSpace* hostChildScope = nullptr;

// Journals dynamic parts, answers one extra name itself and may give children a scope.
class HostProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    void fieldAdded(Field& field) override { partEvents.push_back("+" + field.getDesc()->name); }
    void fieldRemoved(Field& field) override { partEvents.push_back("-" + field.getDesc()->name); }
    Field* findField(const std::string& name, Node::FieldSearchOrder) override {
        return name == "viaProc" ? node().getField(0) : nullptr;
    }
    NodeNameSpace* childNameSpace() override {
        return hostChildScope ? hostChildScope : NodeProc::childNameSpace();
    }
};

// children (any node), material [MaterialNode], geometry [Geometry], feed (eventIn).
class HostNode : public Node {
  public:
    HostNode(NodeType& type, NodeNameSpace& scope, const char* name)
        : Node(type, scope, name), children(*this), material(*this), geometry(*this), feed(*this) {
        regField(children, type, 2, true);
        regField(material, type, 3, true);
        regField(geometry, type, 4, true);
        regField(feed, type, 5, true);
    }
    MFNode children;
    SFNode material;
    SFNode geometry;
    MFNode feed;
    static NodePartDesc _desc[];
    static NodeType _type;
};

NodePartDesc HostNode::_desc[] = {
    {2, partMaskOf(2), PartExposedField, MFNodeType, 0, "children", "T", nullptr, nullptr, "all"},
    {3, partMaskOf(3), PartExposedField, SFNodeType, 0, "material", "T", nullptr, "MaterialNode",
     "look"},
    {4, partMaskOf(4), PartField, SFNodeType, 0, "geometry", "T", nullptr, "Geometry", "shape"},
    {5, partMaskOf(5), PartEventIn, MFNodeType, 0, "feed", "T", nullptr, nullptr, "input only"}};

template <class T>
Node* make(NodeType& type, NodeNameSpace& scope, const char* name) {
    return new T(type, scope, name);
}
template <class T>
bool is(Node* node) {
    return dynamic_cast<T*>(node) != nullptr;
}
template <class T>
NodeProc* makeProc(NodeType& type, Node& node) {
    return new T(type, node);
}

NodeType HostNode::_type(theBaseNodeTypeFactory(), "ChildHost", "Test", "Node", nullptr, "1.0",
                         "Test", "Takes children by type", "stable", "Fields of several kinds",
                         "Test", true, false, &is<HostNode>, &make<HostNode>, &makeProc<HostProc>,
                         HostNode::_desc, 4);

// A concrete metadata type, declared as a plug-in declares one.
class MetadataTag : public MetadataObject {
  public:
    using MetadataObject::MetadataObject;
    static NodeType _type;
};
NodeType MetadataTag::_type(theBaseNodeTypeFactory(), "MetadataTag", "Test", "MetadataObject",
                            nullptr, "1.0", "Test", "A metadata probe", "stable",
                            "Concrete metadata", "Test", true, false, &is<MetadataTag>,
                            &make<MetadataTag>, nullptr, nullptr, 0);

class Watcher : public Observer {
  public:
    explicit Watcher(Subject* subject) : Observer(*subject, "watcher") {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject*, BaseObject*) override {
        seen.push_back(a);
    }
    std::vector<BaseObject*> seen;
};

class Nodes : public ::testing::Test {
  protected:
    void SetUp() override {
        KalvexTest::initTypes();
        partEvents.clear();
        hostChildScope = nullptr;
    }
    void TearDown() override {
        LogCapture quiet;
        held.clear();
    }
    template <class T = HostNode>
    T* make(const char* name, NodeType& type = HostNode::_type, NodeNameSpace* in = nullptr) {
        Node* node = type.createNode(in ? in : scope.get(), name, CreatorSystem);
        held.emplace_back(node);
        return static_cast<T*>(node);
    }

    SmartPtr<NodeNameSpace> scope{new NodeNameSpace("nodes", nullptr, false)};
    std::vector<SmartPtr<Node>> held;
};

TEST_F(Nodes, FieldsAndSlotsAreFoundByNameIndexAndOrder) {
    Node* t = make<Node>("t", Transform::_type);
    Node* c = make<Node>("c", Counter::_type);
    // clang-format off
    // id -1: not found
    const struct { Node* node; const char* name; int order, id; } fields[] = {
        {t, "translation", 0, 3}, {t, "translation", 1, 3}, {t, "set_translation", 0, -1},
        {t, "set_translation", 1, 3}, {t, "translation_changed", 4, 3},
        {t, " \ttranslation\r\n", 0, 3}, {t, "0", 0, 0}, {t, " 1", 0, 1}, {t, "5x", 0, 5},
        {t, "6", 1, -1}, {t, "", 1, -1}, {t, "  ", 1, -1}, {t, "nosuch", 1, -1},
        {t, "viaProc", 1, -1}, {c, "increment", 0, -1}, {c, "increment", 3, 4}, {c, "total", 0, -1},
        {c, "total", 4, 5}, {c, "count_changed", 1, 2}, {c, "step", 0, 3}
    };
    // clang-format on
    for (const auto& f : fields)
        EXPECT_EQ(f.node->findField(f.name, f.order), f.id < 0 ? nullptr : f.node->getField(f.id))
            << f.name << " order " << f.order;
    // clang-format off
    const struct { Node* node; const char* name; int in, out; } slots[] = {
        {t, "set_translation", 3, -1}, {t, "translation", -1, -1},
        {t, "translation_changed", -1, 3}, {t, "7", 7, 7}, {c, "increment", 4, -1},
        {c, "total", -1, 5}, {c, "step", -1, -1}, {c, "nosuch", -1, -1}
    };
    // clang-format on
    for (const auto& s : slots) {
        EXPECT_EQ(s.node->findEventInSlotID(s.name), s.in) << s.name;
        EXPECT_EQ(s.node->findEventOutSlotID(s.name), s.out) << s.name;
    }
    EXPECT_EQ(c->findEventInSlot("increment", false), nullptr);
    EXPECT_NE(c->findEventInSlot("increment", true), nullptr);
    EXPECT_EQ(c->findEventInSlot("increment", false), c->getField(4)->inSlot());
    EXPECT_NE(c->findEventOutSlot("total", true), nullptr);
    EXPECT_EQ(t->findEventInSlot("7", true), nullptr);
    EXPECT_EQ(t->findEventOutSlot("nosuch", true), nullptr);

    Node* m = make<Node>("m", Material::_type);
    EXPECT_EQ(m->findField(RestrictionNodeType), m->getField(1));  // metadata
    EXPECT_EQ(m->findField(RestrictionRange), m->getField(2));     // transparency
    EXPECT_EQ(m->findField(RestrictionList), m->getField(0));      // logFeature's word list
    EXPECT_EQ(m->findField(RestrictionCData), nullptr);
}

TEST_F(Nodes, DynamicPartsAppendRenumberAndAnswerLookups) {
    HostNode* n = make("n");
    const unsigned base = n->fieldCount();  // 6
    Field* gain = n->addDynamicField(PartExposedField, SFFloatType, "gain", "g", "0.5", nullptr,
                                     true, false, false, "level");
    Field* level = n->addDynamicField(PartField, SFInt32Type, "level", "g", "3", nullptr, false,
                                      true, true, nullptr);
    Field* tag = n->addDynamicField(PartEventIn, MFStringType, "tag", nullptr, nullptr, nullptr,
                                    false, false, false, nullptr);
    ASSERT_TRUE(gain && level && tag);
    EXPECT_EQ(partEvents, (std::vector<std::string>{"+gain", "+level", "+tag"}));
    EXPECT_EQ(gain->strValue() + level->strValue(), "0.53");
    EXPECT_TRUE(level->getDesc()->privateAccess() && level->getDesc()->objExtension());
    EXPECT_FALSE(gain->getDesc()->privateAccess() || gain->getDesc()->objExtension());
    EXPECT_EQ(n->partDescCount(), base + 3);
    EXPECT_EQ(n->dynamicFieldMask(),
              partMaskOf(base) | partMaskOf(base + 1) | partMaskOf(base + 2));
    {
        LogCapture log(osg::LOG_INFO);
        EXPECT_EQ(n->findField("gain", 0), gain);
        EXPECT_EQ(n->findField("set_gain", 0), nullptr);
        EXPECT_EQ(n->findField("set_gain", 1), gain);
        EXPECT_EQ(n->findEventOutSlotID("gain_changed"), int(base));
        EXPECT_EQ(n->findEventInSlotID("tag"), int(base + 2));
        EXPECT_TRUE(log.contains("INFO\tKalvex\tTry to find obj field >gain< (6-9) \n"));
        EXPECT_TRUE(log.contains("INFO\tKalvex\tTry to find obj slot >tag< (6-9) \n"));
    }
    {
        LogCapture log(osg::LOG_FATAL);
        EXPECT_EQ(n->addDynamicField(PartField, SFInt32Type, nullptr, nullptr, nullptr, nullptr,
                                     false, false, false, nullptr),
                  nullptr);
        EXPECT_EQ(n->addDynamicField(PartField, NoDataType, "x", nullptr, nullptr, nullptr, false,
                                     false, false, nullptr),
                  nullptr);
        EXPECT_EQ(log.count("FATAL\tKalvex\tInvalid name or dataType, can not add Node Part\n"), 2);
    }
    // The first dynamic part goes: the later ones move down with their rows and masks.
    EXPECT_FALSE(n->removeDynamicField(2));  // a part of the type
    EXPECT_FALSE(n->removeDynamicField(base + 5));
    EXPECT_TRUE(n->removeDynamicField(base));
    EXPECT_EQ(partEvents.back(), "-gain");
    EXPECT_EQ(n->fieldCount(), base + 2);
    EXPECT_EQ(n->getField(base), level);
    EXPECT_EQ(n->findPartDesc(base), level->getDesc());
    EXPECT_EQ(level->partMask(), partMaskOf(base));
    EXPECT_EQ(n->findPartDesc(base + 1)->name, "tag");
    EXPECT_EQ(n->findEventInSlotID("tag"), int(base + 1));
    // A row of another type, copied.
    Field* size = n->addDynamicField(Box::_desc[0], nullptr);
    ASSERT_TRUE(size);
    EXPECT_EQ(size->getDesc()->ID, base + 2);
    EXPECT_EQ(size->strValue(), "2 2 2");
    EXPECT_EQ(n->findField("size", 0), size);
    EXPECT_EQ(n->findField("viaProc", 0), n->getField(0));  // the behaviour answers last
}

TEST_F(Nodes, DictionariesReadWordsSignsAndIndices) {
    const StringDic* dic = NodeProc::_logFeatureDic;
    // clang-format off
    const struct { const char* text; int value; } words[] = {
        {"", 0}, {"state", 1}, {"STATE", 1}, {" child\t", 2}, {"route", 4},
        {"fieldValueChanged", 4}, {"EventOut", 7}, {"everything", 10}
    };
    // clang-format on
    {
        LogCapture log(osg::LOG_WARNING);
        for (const auto& w : words) EXPECT_EQ(NodeProc::findDic(dic, w.text), w.value) << w.text;
        EXPECT_EQ(log.text(), "");
        EXPECT_EQ(NodeProc::findDic(dic, "bogus"), 0);
        EXPECT_EQ(log.text().rfind("WARNING\tKalvex\tInvalid setting >bogus<, return default "
                                   "value(none)\nWARNING\tKalvex\t  valid setting: none\n",
                                   0),
                  0u);
        EXPECT_EQ(log.count("  valid setting: "), 11);
    }
    EXPECT_STREQ(NodeProc::findDic(dic, 4)->str, "route");
    EXPECT_STREQ(NodeProc::findDic(dic, 5)->str, "");  // the end entry

    Node* n = make<Node>("n");
    MFString& words3 = n->logFeatureField();
    words3.editValue() = {"+state", "-child", "--parent", "bogus", " EVENTIN "};
    std::vector<int> values;
    {
        LogCapture log(osg::LOG_NOTICE);
        EXPECT_EQ(NodeProc::findDic(dic, words3, values), 4);
        EXPECT_EQ(values, (std::vector<int>{1, -2, 3, 6}));
        EXPECT_TRUE(log.contains("NOTICE\tKalvex\tfindDic, set sign: --parent to -1\n"));
        EXPECT_TRUE(log.contains("NOTICE\tKalvex\tfindDic, set sign: --parent to 1\n"));
        EXPECT_TRUE(
            log.contains("WARNING\tKalvex\tInvalid ChildHost/n.logFeature value: >bogus<\n"));
    }
    words3.editValue() = {"state", "child", "parent"};
    EXPECT_EQ(NodeProc::findDic(dic, words3, 1, false), 2);
    EXPECT_EQ(NodeProc::findDic(dic, words3, 4, true), 2);
    EXPECT_EQ(NodeProc::findDic(dic, words3, 4, false), 3);
    words3.clear();
    EXPECT_EQ(NodeProc::findDic(dic, words3, 0, false), 0);

    auto* m = make<Material>("m", Material::_type);
    m->shading().setValue("bogus");
    LogCapture log(osg::LOG_WARNING);
    EXPECT_EQ(NodeProc::findDic(dic, m->shading()), 0);
    EXPECT_TRUE(log.contains(
        "WARNING\tKalvex\tInvalid m.shading setting >bogus<, return default value(none)\n"));
}

TEST_F(Nodes, LogFeatureMaskOnlyGrows) {
    Node* n = make<Node>("n");
    Watcher changed(Node::logFeatureChangedSubject());
    n->logFeatureField().editValue() = {"state", "child"};
    {
        LogCapture log;
        n->setState(0.0, Realize);  // initialize reads the field
        EXPECT_TRUE(log.contains("LOG\tKalvex\tChildHost/n: Log feature mask changed: 011" +
                                 std::string(61, '0') + "\n"))
            << log.text();
    }
    const auto setWords = [&](std::list<std::string> words) {
        LogCapture quiet;
        n->logFeatureField().editValue() = words;
        n->logFeatureField().processValueChange(0.0);
    };
    setWords({"route"});
    EXPECT_EQ(n->getLogFeatureMask().getValue(), 0x16ul);
    setWords({"none", "-guiView"});  // none sets bit 0; a negative word sets nothing
    EXPECT_EQ(n->getLogFeatureMask().getValue(), 0x17ul);
    setWords({"state"});
    EXPECT_EQ(changed.seen.size(), 3u);  // unchanged mask: not told
    setWords({"everything", "bogus"});
    EXPECT_EQ(n->getLogFeatureMask().getValue(), ~0ul);
    EXPECT_EQ(changed.seen, std::vector<BaseObject*>(4, n));

    // A change that arrives while the same field is changing is cut off before the behaviour.
    Node* m = make<Node>("m");
    m->logFeatureField().editValue() = {"child"};
    m->_isChangingMask = Node::logFeatureMask;
    {
        LogCapture log(osg::LOG_INFO);
        m->fieldChanged(m->logFeatureField(), 0.0, nullptr);
        EXPECT_EQ(log.text(),
                  "INFO\tKalvex\tField ChildHost/m.logFeature is already changing; "
                  "break loop\n");
    }
    EXPECT_FALSE(m->logFeature(Node::LogChild));
    m->_isChangingMask = NodePartMask(0);
    LogCapture quiet;
    m->fieldChanged(m->logFeatureField(), 0.0, nullptr);
    EXPECT_TRUE(m->logFeature(Node::LogChild));
    EXPECT_TRUE(m->_isChangingMask.isZero());
}

TEST_F(Nodes, AddChildTakesTheNearestOrTheFirstFittingField) {
    HostNode* host = make("host");
    Node* material = make<Node>("mat", Material::_type);
    Node* box = make<Node>("box", Box::_type);
    Node* group = make<Node>("group", Group::_type);
    Node* tag = make<Node>("tag", MetadataTag::_type);
    // clang-format off
    const struct {
        Node* child;
        const char* field;
        int mode;
        int expected;  // field index, -1: refused
        const char* remap;
    } cases[] = {
        {material, nullptr, Node::MatchBest, 3, "2/1"},
        {material, nullptr, Node::MatchFirstFit, 2, nullptr},
        {box, nullptr, Node::MatchBest, 4, "2/1"}, {group, nullptr, Node::MatchBest, 2, nullptr},
        {tag, nullptr, Node::MatchBest, 1, nullptr},
        {group, "material", Node::MatchBest, -1, nullptr},
        {group, "material", Node::MatchFirstFit, -1, nullptr},
        {group, "feed", Node::MatchBest, -1, nullptr},  // an eventIn takes no children
        {group, "nosuch", Node::MatchBest, -1, nullptr},
        {group, "set_children", Node::MatchBest, 2, nullptr}
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.child->getName() + " into " + (c.field ? c.field : "any"));
        host->removeAllChildren(0.0);
        LogCapture log(osg::LOG_WARNING);
        NodeLink* link = host->addChild(c.child, c.field, Node::TransferNone, c.mode);
        if (c.expected < 0) {
            EXPECT_EQ(link, nullptr);
            EXPECT_EQ(log.text(),
                      "FATAL\tKalvex\tnode type ChildHost doesn't have _any_ field "
                      "with the type " +
                          std::string(c.child->typeName()) + "\n");
            continue;
        }
        ASSERT_NE(link, nullptr);
        EXPECT_EQ(link->field(), host->getField(c.expected));
        EXPECT_EQ(log.text(), c.remap ? std::string("WARNING\tKalvex\tRemap bestMatch Field in "
                                                    "addChild(): ") +
                                            c.remap + "\n"
                                      : "");
    }
    EXPECT_EQ(host->addChild(nullptr, nullptr, Node::TransferNone, Node::MatchBest), nullptr);
    // First fit onto a filled single field replaces its node.
    Node* other = make<Node>("other", Box::_type);
    host->addChild(box, "geometry", Node::TransferNone, Node::MatchFirstFit);
    host->addChild(other, "geometry", Node::TransferNone, Node::MatchFirstFit);
    EXPECT_EQ(host->geometry.rawNode(), other);
    EXPECT_TRUE(box->parentLinks().empty());
    // A metadata part takes metadata nodes only.
    LogCapture log(osg::LOG_WARNING);
    EXPECT_FALSE(host->metadataField().link().setNode(box));
    EXPECT_TRUE(log.contains("because NodeLink needs MetadataObject Node\n"));
}

TEST_F(Nodes, AddChildMovesChildrenIntoTheChosenScope) {
    SmartPtr<NodeNameSpace> from(new NodeNameSpace("from", nullptr, false));
    SmartPtr<NodeNameSpace> own(new NodeNameSpace("own", nullptr, false));
    HostNode* host = make("host");
    HostNode* kid = make("kid", HostNode::_type, from.get());
    Node* grand = make<Node>("grand", Group::_type, from.get());
    kid->children.addChild(grand);
    Watcher registered(Node::nameSpaceChangedSubject());
    host->addChild(kid, nullptr, Node::TransferNone, Node::MatchBest);
    EXPECT_EQ(kid->getNameSpace(), from.get());
    host->addChild(kid, nullptr, Node::TransferToNodeScope, Node::MatchBest);  // with what it links
    EXPECT_EQ(registered.seen.size(), 4u);  // out of one scope and into the other, twice
    EXPECT_EQ(NodeNameSpace::findNode(scope.get(), "grand"), grand);
    EXPECT_EQ(from->nodeCount(), 0);
    hostChildScope = own.get();  // the scope the behaviour gives its children
    host->addChild(grand, nullptr, Node::TransferToChildScope, Node::MatchBest);
    EXPECT_EQ(grand->getNameSpace(), own.get());
    registered.seen.clear();
    host->addChild(grand, nullptr, Node::TransferToChildScope, Node::MatchBest);
    EXPECT_TRUE(registered.seen.empty());  // there already
    LogCapture quiet;
    held.clear();  // before the scopes of this test go
}

TEST_F(Nodes, ChildrenAreCountedFoundAndRemoved) {
    HostNode* host = make("host");
    Node* a = make<Node>("a", Group::_type);
    Node* b = make<Node>("b", Group::_type);
    Node* box = make<Node>("box", Box::_type);
    host->children.addChild(a);
    host->children.addChild(b);
    host->children.addChild(a);
    host->geometry.link().setNode(box);
    host->feed.addChild(b);  // an eventIn list is no child field
    EXPECT_EQ(host->childCount(), 4u);
    EXPECT_EQ(host->findChildLink(a), &host->children.editValue().back());
    EXPECT_EQ(host->findChildLink(box), &host->geometry.link());
    EXPECT_EQ(host->removeChild(a), &host->children);
    EXPECT_EQ(host->childCount(), 2u);
    EXPECT_EQ(host->removeChild(a), nullptr);
    EXPECT_EQ(host->removeChild(box), &host->geometry);
    EXPECT_EQ(host->removeChild(b), &host->children);
    EXPECT_EQ(host->removeChild(b), nullptr);  // only in feed
    EXPECT_EQ(host->findChildLink(b), &host->feed.editValue().front());

    host->children.addChild(a);
    host->geometry.link().setNode(box);
    host->_changedMask = NodePartMask(0);
    EXPECT_EQ(host->removeAllChildren(0.0), 3u);  // feed counts here
    EXPECT_EQ(host->_changedMask, partMaskOf(2) | partMaskOf(4) | partMaskOf(5));
    EXPECT_EQ(host->removeAllChildren(0.0), 0u);

    // A node in two entries of one list, a single field and a free link loses them all.
    HostNode* other = make("other");
    Node* x = Group::_type.createNode(host, "x", CreatorSystem);  // added by createNode
    const uint64_t id = x->ID();
    host->children.addChild(x);
    other->children.addChild(x);
    NodeLink free;
    free.setNode(x);
    EXPECT_EQ(x->parentLinks().size(), 4u);
    {
        SmartPtr<Node> keep = x->removeAllParentLinks(0.0);
        EXPECT_TRUE(x->parentLinks().empty());
        EXPECT_EQ(keep->refCount(), 1);
        EXPECT_EQ(host->childCount(), 0u);
    }
    EXPECT_EQ(Node::findNode(id), nullptr);

    // Marks go up until a node that has them already.
    HostNode* top = make("top");
    HostNode* mid = make("mid");
    HostNode* low = make("low");
    top->children.addChild(mid);
    mid->children.addChild(low);
    top->_changeFlags = mid->_changeFlags = 0;
    low->markParent(Node::DescendantChanged);
    EXPECT_EQ(top->_changeFlags, uint32_t(Node::DescendantChanged));
    top->_changeFlags = 0;
    low->markParent(Node::DescendantChanged);
    EXPECT_EQ(top->_changeFlags, 0u);
}

TEST_F(Nodes, ReplaceRenameCloneAndEquality) {
    Node* old = make<Node>("old", Group::_type);
    Node* fresh = make<Node>("fresh", Group::_type);
    std::vector<HostNode*> parents{make("p1"), make("p2"), make("p3")};
    for (HostNode* p : parents) p->children.addChild(old);
    EXPECT_FALSE(fresh->replace(*fresh));
    EXPECT_TRUE(fresh->replace(*old));
    EXPECT_TRUE(old->parentLinks().empty());
    EXPECT_EQ(fresh->parentLinks().size(), 3u);
    for (HostNode* p : parents) EXPECT_EQ(p->children.getValue().front().rawNode(), fresh);

    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(old->rename("fresh"));
        EXPECT_FALSE(old->rename("old"));  // it finds itself
        EXPECT_EQ(log.count("WARNING\tKalvex\tCan not rename() node to "), 2);
    }
    EXPECT_TRUE(old->rename("renamed"));
    EXPECT_EQ(NodeNameSpace::findNode(scope.get(), "renamed"), old);
    EXPECT_EQ(NodeNameSpace::findNode(scope.get(), "old"), nullptr);
    EXPECT_EQ(scope->nodeCount(), 5);

    // A clone shares the children and starts marked as changed.
    auto* m = make<Material>("m", Material::_type);
    m->shading().setValue("flat");
    m->diffuseColor().setValueByStr("1 0 0");
    SmartPtr<NodeNameSpace> other(new NodeNameSpace("other", nullptr, false));
    SmartPtr<Node> copy(m->clone(other.get(), "copy"));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getNameSpace(), other.get());
    EXPECT_EQ(copy->creator(), CreatorSystem);
    EXPECT_TRUE(copy->equalFieldValues(*m));
    EXPECT_TRUE(copy->changedFlag());
    SmartPtr<Node> groupCopy(parents[0]->clone(other.get(), nullptr));
    EXPECT_EQ(fresh->parentLinks().size(), 4u);
    EXPECT_FALSE(groupCopy->equalFieldValues(*m));  // field counts differ
    m->shininess().setValue(0.9f);
    EXPECT_FALSE(copy->equalFieldValues(*m));
    m->unregField(4);
    LogCapture log(osg::LOG_FATAL);
    EXPECT_TRUE(copy->equalFieldValues(*m));  // the empty slot is skipped
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tInvalid NULL _fieldVec[] elem\n");
    m->regField(m->shininess(), Material::_type, 4, false);
}

TEST_F(Nodes, MergeMovesTheChildrenOfContextRootsOnly) {
    Node* group = make<Node>("g", Group::_type);
    {
        LogCapture log(osg::LOG_FATAL);
        EXPECT_FALSE(group->merge(*make<Node>("h", Group::_type)));
        EXPECT_EQ(log.text(),
                  "FATAL\tKalvex\tGroup/g: Skip merge; only allowed for contextRoot "
                  "nodes\n");
    }
    LogCapture quiet;
    auto* one = static_cast<Scene*>(Scene::_type.createNode(nullptr, "one:s1", CreatorSystem));
    auto* two = static_cast<Scene*>(Scene::_type.createNode(nullptr, "two:s2", CreatorSystem));
    held.emplace_back(one);
    held.emplace_back(two);
    Node* x = Box::_type.createNode(two->getNameSpace(), "x", CreatorSystem);
    two->addChild(x, nullptr, Node::TransferNone, Node::MatchBest);
    EXPECT_EQ(x->contextRoot(), two);
    LogCapture log;
    one->merge(*two);
    EXPECT_TRUE(log.contains("LOG\tKalvex\tTransfer NameSpace in NodeProc::merge\n"));
    EXPECT_EQ(one->children().size(), 1u);
    EXPECT_EQ(two->childCount(), 0u);
    EXPECT_EQ(x->getNameSpace(), one->getNameSpace());
    EXPECT_EQ(x->contextRoot(), one);
}

TEST_F(Nodes, IdMapSubjectsAndCopies) {
    Watcher made(Node::newObjectSubject());
    Node* a = make<Node>("a", Box::_type);
    EXPECT_EQ(made.seen, std::vector<BaseObject*>{a});
    EXPECT_EQ(Node::findNode(a->ID()), a);
    EXPECT_TRUE(Node::findNode(a));
    EXPECT_EQ(a->getIDStr(), std::to_string(a->ID()));
    std::vector<Node*> boxes;
    Node* unnamed = make<Node>(nullptr, Box::_type);
    const auto has = [&](Node* n) { return std::count(boxes.begin(), boxes.end(), n) == 1; };
    Node::fillNodeVec(boxes, &Box::_type, true);
    EXPECT_TRUE(has(a) && !has(unnamed));
    Node::fillNodeVec(boxes, &Geometry::_type, false);
    EXPECT_TRUE(has(a) && has(unnamed));

    const unsigned before = Node::idMapSize();
    Node::_regID = false;
    Node* hidden = make<Node>("hidden", Box::_type);
    Node::_regID = true;
    EXPECT_EQ(Node::idMapSize(), before);
    EXPECT_EQ(Node::findNode(hidden->ID()), nullptr);
    EXPECT_FALSE(Node::findNode(hidden));

    // clang-format off
    const struct { Subject* subject; const char* name; } subjects[] = {
        {Node::newObjectSubject(), "newNode"}, {Node::stateChangedSubject(), "stateChanged"},
        {Node::logFeatureChangedSubject(), "logFeatureChanged"},
        {Node::childAddedSubject(), "childAdded"}, {Node::childRemovedSubject(), "childRemoved"},
        {Node::nameSpaceChangedSubject(), "nameSpaceChanged"},
        {Node::codeErrorSubject(), "codeError"}, {Node::deleteObjectSubject(), "deleteNode"},
        {NodeLink::newLinkSubject(), "newNodeLink"},
        {NodeLink::deleteLinkSubject(), "deleteNodeLink"}
    };
    // clang-format on
    for (const auto& s : subjects) EXPECT_EQ(s.subject->getName(), s.name);

    LogCapture log(osg::LOG_FATAL);
    Node copy(*a);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tRuning Node copy constructor for a\n");
    EXPECT_EQ(copy.fieldCount(), 0u);
    EXPECT_EQ(copy.getNameSpace(), nullptr);
}

TEST_F(Nodes, MetadataNodesAreAbstractUntilAPluginDerives) {
    {
        LogCapture log(osg::LOG_FATAL);
        EXPECT_EQ(MetadataObject::_type.createNode(scope.get(), "m", CreatorSystem), nullptr);
        EXPECT_EQ(log.text(),
                  "FATAL\tKalvex\tCould not create MetadataObject node in "
                  "NodeType::createNode()\n");
    }
    auto* tag = make<MetadataTag>("tag", MetadataTag::_type);
    ASSERT_TRUE(tag);
    EXPECT_TRUE(MetadataObject::isType(tag));
    EXPECT_NE(dynamic_cast<MetadataObjectProc*>(tag->getProc()), nullptr);
    EXPECT_EQ(tag->enabled().getValue(), true);
    EXPECT_EQ(tag->findField("reference", 0)->partMask(), MetadataObject::referenceMask);
    EXPECT_TRUE(make<Node>("b", Box::_type)->metadataField().link().setNode(tag));
    LogCapture log(osg::LOG_INFO);
    EXPECT_TRUE(MetadataObject::init());
    EXPECT_EQ(log.text(), "INFO\tKalvex\tInit MetadataObject: OK\n");
}

TEST_F(Nodes, ContextValuesAndReleaseChecks) {
    Node* n = make<Node>("n");
    NodeProc* proc = n->getProc();
    const unsigned int id = ContextSetupProc::_forbidNodeFreeID;
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(proc->contextBValue(id));  // the declared default, FALSE
        EXPECT_EQ(proc->contextSValue(id), "FALSE");
        EXPECT_EQ(proc->contextIValue(99999), 0);
        EXPECT_EQ(log.count("WARNING\tKalvex\tChildHost/n: ContextValue request without context\n"),
                  3);
        EXPECT_TRUE(log.contains(
            "WARNING\tKalvex\tChildHost/n: ContextValue request with invalid ID: 99999\n"));
        // Field data and nodes may be freed, unless the scope holds imports, exports or named
        // routes; another release type is refused.
        EXPECT_TRUE(proc->checkReleaseType(NodeProc::ReleaseNodes));
        scope->setFlags(NodeNameSpace::HasImportExport);
        EXPECT_FALSE(proc->checkReleaseType(NodeProc::ReleaseFieldData));
        scope->setFlags(0);
        log.clear();
        EXPECT_FALSE(proc->checkReleaseType(NodeProc::ReleaseType(2)));
        EXPECT_EQ(log.text(), "WARNING\tKalvex\tInvalid rType value\n");
    }
    // Only the root of a context sets the context's time.
    const Time t = 0.0;
    const float f = 0.f;
    {
        LogCapture log(osg::LOG_FATAL);
        proc->setContextState(4.0, t, t, t, f);
        EXPECT_EQ(log.text(), "FATAL\tKalvex\tNo context; can not set TimeStamp\n");
    }
    SmartPtr<Context> ctx(Context::create());
    Node* root = Scene::_type.createNode(ctx.get(), "ctx:root", CreatorSystem);
    Node* inside = make<Node>("inside", HostNode::_type, root->getNameSpace());
    {
        LogCapture log(osg::LOG_FATAL);
        inside->getProc()->setContextState(4.0, t, t, t, f);
        EXPECT_EQ(log.text(),
                  "FATAL\tKalvex\tNode is not the context root; can not set TimeStamp\n");
    }
    root->getProc()->setContextState(4.0, t, t, t, f);
    EXPECT_EQ(inside->getProc()->contextTimeStamp(), 4.0);
    EXPECT_FALSE(inside->getProc()->contextBValue(id));
    LogCapture quiet;
    held.pop_back();  // before the root's scope goes
}

}  // namespace
