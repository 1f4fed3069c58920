// Node: look-ups, dynamic parts, log features and dictionaries, children by type match, whole-node
// operations, the id map, metadata and context values.

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
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

using Nodes = ProbeTest;

TEST_F(Nodes, FieldsAndSlotsAreFoundByNameIndexAndOrder) {
    Node *t = make<Node>("t", Transform::_type), *c = make<Node>("c", Counter::_type);
    // id -1: not found
    // clang-format off
    const struct { Node* node; const char* name; int order, id; } fields[] = {
        {t, "translation", 0, 3}, {t, "set_translation", 0, -1}, {t, "set_translation", 1, 3},
        {t, "translation_changed", 4, 3}, {t, " \ttranslation\r\n", 0, 3}, {t, " 1", 0, 1}, {t, "5x", 0, 5},
        {t, "6", 1, -1}, {t, "  ", 1, -1}, {t, "nosuch", 1, -1}, {c, "increment", 0, -1}, {c, "increment", 3, 4}};
    const struct { Node* node; const char* name; int in, out; } slots[] = {
        {t, "set_translation", 3, -1}, {t, "translation", -1, -1}, {t, "translation_changed", -1, 3},
        {t, "7", 7, 7}, {c, "increment", 4, -1}, {c, "total", -1, 5}, {c, "step", -1, -1}};
    // clang-format on
    for (const auto& f : fields)
        EXPECT_EQ(f.node->findField(f.name, f.order), f.id < 0 ? nullptr : f.node->getField(f.id))
            << f.name << " order " << f.order;
    for (const auto& s : slots) {
        EXPECT_EQ(s.node->findEventInSlotID(s.name), s.in) << s.name;
        EXPECT_EQ(s.node->findEventOutSlotID(s.name), s.out) << s.name;
    }
    EXPECT_EQ(c->findEventInSlot("increment", false), nullptr);  // made on demand only
    EventInSlot* in = c->findEventInSlot("increment", true);
    EXPECT_TRUE(in && in == c->getField(4)->inSlot() && !t->findEventInSlot("7", true));

    // The first field by restriction: logFeature's list, metadata's type, transparency's range.
    Node* m = make<Node>("m", Material::_type);
    EXPECT_EQ((std::vector{m->findField(RestrictionList), m->findField(RestrictionNodeType),
                           m->findField(RestrictionRange), m->findField(RestrictionCData)}),
              (std::vector<Field*>{m->getField(0), m->getField(1), m->getField(2), nullptr}));
}

TEST_F(Nodes, DynamicPartsAppendRenumberAndAnswerLookups) {
    ProbeNode* n = make("n");
    const unsigned base = n->fieldCount();  // 8
    take();
    Field* gain = n->addDynamicField(PartExposedField, SFFloatType, "gain", "g", "0.5", nullptr,
                                     true, false, false, "level");
    Field* level = n->addDynamicField(PartField, SFInt32Type, "level", "g", "3", nullptr, false,
                                      true, true, nullptr);
    Field* tag = n->addDynamicField(PartEventIn, MFStringType, "tag", nullptr, nullptr, nullptr,
                                    false, false, false, nullptr);
    ASSERT_TRUE(gain && level && tag);
    EXPECT_EQ(take(), "n:fieldAdded(gain)@Setup n:fieldAdded(level)@Setup n:fieldAdded(tag)@Setup");
    EXPECT_EQ(gain->strValue() + level->strValue(), "0.53");
    EXPECT_TRUE(level->getDesc()->privateAccess() && level->getDesc()->objExtension());
    EXPECT_FALSE(gain->getDesc()->privateAccess() || gain->getDesc()->objExtension());
    EXPECT_EQ(n->dynamicFieldMask().getValue(), 0x700ul);  // bits 8 to 10
    EXPECT_TRUE(!n->findField("set_gain", 0) && n->findEventOutSlotID("gain_changed") == int(base));
    {
        LogCapture log(osg::LOG_INFO);
        EXPECT_EQ(n->findField("set_gain", 1), gain);
        EXPECT_EQ(n->findEventInSlotID("tag"), int(base + 2));
        EXPECT_EQ(log.text(),
                  "INFO\tKalvex\tTry to find obj field >set_gain< (8-11) \n"
                  "INFO\tKalvex\tTry to find obj slot >tag< (8-11) \n");
    }
    {
        const auto add = [&](const char* name, NodePartDataType data) {
            return n->addDynamicField(PartField, data, name, nullptr, nullptr, nullptr, false,
                                      false, false, nullptr);
        };
        LogCapture log(osg::LOG_FATAL);
        EXPECT_TRUE(!add(nullptr, SFInt32Type) && !add("x", NoDataType));
        EXPECT_EQ(log.count("FATAL\tKalvex\tInvalid name or dataType, can not add Node Part\n"), 2);
    }
    // The first dynamic part goes: the later ones move down with their rows and masks.
    EXPECT_FALSE(n->removeDynamicField(2) || n->removeDynamicField(base + 5));  // of the type, none
    EXPECT_TRUE(n->removeDynamicField(base));
    EXPECT_EQ(take(), "n:fieldRemoved(gain)@Setup");
    EXPECT_TRUE(n->fieldCount() == base + 2 && n->getField(base) == level &&
                n->findPartDesc(base) == level->getDesc());
    EXPECT_EQ(level->partMask(), partMaskOf(base));
    EXPECT_EQ(n->findEventInSlotID("tag"), int(base + 1));
    Field* size = n->addDynamicField(Box::_desc[0], nullptr);  // a row of another type, copied
    ASSERT_TRUE(size);
    EXPECT_TRUE(size->getDesc()->ID == base + 2 && n->findField("size", 0) == size);
    EXPECT_EQ(size->strValue(), "2 2 2");
    EXPECT_EQ(n->findField("viaProc", 0), n->getField(0));  // the behaviour answers last
}

TEST_F(Nodes, DictionariesAndTheLogFeatureMask) {
    const StringDic* dic = NodeProc::_logFeatureDic;
    const std::pair<const char*, int> words[] = {
        {"", 0}, {"STATE", 1}, {" child\t", 2}, {"everything", 10}};
    LogCapture log(osg::LOG_INFO);
    for (const auto& [text, value] : words) EXPECT_EQ(NodeProc::findDic(dic, text), value) << text;
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(NodeProc::findDic(dic, "bogus"), 0);
    EXPECT_EQ(log.text().rfind("WARNING\tKalvex\tInvalid setting >bogus<, return default "
                               "value(none)\nWARNING\tKalvex\t  valid setting: none\n",
                               0),
              0u);
    EXPECT_EQ(log.count("  valid setting: "), 11);
    EXPECT_STREQ(NodeProc::findDic(dic, 4)->str, "route");

    Node* n = make<Node>("n", Group::_type);
    MFString& list = n->logFeatureField();
    list.editValue() = {"+state", "-child", "--parent", "bogus", " EVENTIN "};
    std::vector<int> values;
    log.clear();
    EXPECT_EQ(NodeProc::findDic(dic, list, values), 4);
    EXPECT_EQ(values, (std::vector<int>{1, -2, 3, 6}));
    EXPECT_TRUE(
        log.contains("NOTICE\tKalvex\tfindDic, set sign: --parent to -1\n"
                     "NOTICE\tKalvex\tfindDic, set sign: --parent to 1\n"));
    EXPECT_TRUE(log.contains("WARNING\tKalvex\tInvalid Group/n.logFeature value: >bogus<\n"));
    list.editValue() = {"state", "child", "parent"};
    EXPECT_EQ(NodeProc::findDic(dic, list, 1, false) * 100 +
                  NodeProc::findDic(dic, list, 4, true) * 10 +
                  NodeProc::findDic(dic, list, 4, false),
              223);
    auto* m = make<Material>("m", Material::_type);
    m->shading().setValue("bogus");
    log.clear();
    EXPECT_EQ(NodeProc::findDic(dic, m->shading()), 0);
    EXPECT_EQ(log.text().rfind("WARNING\tKalvex\tInvalid m.shading setting >bogus<, return default "
                               "value(none)\n",
                               0),
              0u);

    // The mask of a node only grows; listeners hear of real changes only.
    Watcher changed(Node::logFeatureChangedSubject());
    list.editValue() = {"state", "child"};
    n->setState(0.0, Realize);  // initialize reads the field
    const auto mask = [&] { return n->getLogFeatureMask().getValue(); };
    EXPECT_EQ(mask(), 0x6ul);
    EXPECT_EQ(take(), "logFeatureChanged:n@0");
    // none sets bit 0; a negative word sets nothing
    const std::pair<std::list<std::string>, unsigned long> steps[] = {{{"fieldValueChanged"}, 0x16},
                                                                      {{"none", "-guiView"}, 0x17},
                                                                      {{"state"}, 0x17},
                                                                      {{"everything"}, ~0ul}};
    for (const auto& [words, expected] : steps) {
        const unsigned long before = mask();
        list.editValue() = words;
        list.processValueChange(0.0);
        EXPECT_EQ(mask(), expected) << words.front();
        EXPECT_EQ(take(), expected != before ? "logFeatureChanged:n@0" : "") << words.front();
    }
}

TEST_F(Nodes, AddChildTakesTheNearestOrTheFirstFittingField) {
    ProbeNode* host = make("host");
    Node *material = make<Node>("mat", Material::_type), *box = make<Node>("box", Box::_type);
    Node* group = make<Node>("group", Group::_type);
    const int best = Node::MatchBest, first = Node::MatchFirstFit;
    // The field index, -1 for a refusal, and the remap report.
    // clang-format off
    const struct { Node* child; const char* field; int mode, index; const char* remap; } cases[] = {
        {material, nullptr, best, 5, "2/1"}, {material, nullptr, first, 2, nullptr},
        {box, nullptr, best, 4, "2/0"},      {group, nullptr, best, 2, nullptr},
        {group, "material", best, -1, nullptr}, {group, "material", first, -1, nullptr},
        {group, "feed", best, -1, nullptr},  // an eventIn takes no children
        {group, "nosuch", best, -1, nullptr}, {group, "set_kids", best, 2, nullptr}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.child->getName() + " into " + (c.field ? c.field : "any"));
        host->removeAllChildren(0.0);
        LogCapture log(osg::LOG_WARNING);
        NodeLink* link = host->addChild(c.child, c.field, Node::TransferNone, c.mode);
        EXPECT_EQ(link ? link->field() : nullptr, c.index < 0 ? nullptr : host->getField(c.index));
        const std::string type = c.child->typeName(), remap = c.remap ? c.remap : "";
        EXPECT_EQ(
            log.text(),
            c.index < 0 ? "FATAL\tKalvex\tnode type Probe doesn't have _any_ field with the type " +
                              type + "\n"
            : c.remap ? "WARNING\tKalvex\tRemap bestMatch Field in addChild(): " + remap + "\n"
                      : "");
    }
    EXPECT_EQ(host->addChild(nullptr, nullptr, Node::TransferNone, best), nullptr);
    // First fit onto a filled single field replaces its node.
    Node* other = make<Node>("other", Box::_type);
    host->addChild(box, "geometry", Node::TransferNone, first);
    host->addChild(other, "geometry", Node::TransferNone, first);
    EXPECT_EQ(host->geometry.rawNode(), other);
    EXPECT_TRUE(box->parentLinks().empty());
    // Every node's metadata part asks for metadata nodes, an abstract type for plug-ins.
    EXPECT_TRUE(host->metadataField().nodeType() == &MetadataObject::_type &&
                !MetadataObject::_type.isConcrete());
    LogCapture log(osg::LOG_INFO);
    EXPECT_TRUE(MetadataObject::init());
    EXPECT_EQ(log.text(), "INFO\tKalvex\tInit MetadataObject: OK\n");
}

TEST_F(Nodes, AddChildMovesChildrenIntoTheChosenScope) {
    SmartPtr<NodeNameSpace> from(new NodeNameSpace("from", nullptr, false));
    SmartPtr<NodeNameSpace> own(new NodeNameSpace("own", nullptr, false));
    ProbeNode *host = make("host"), *kid = make("kid", ProbeNode::_type, from.get());
    Node* grand = make<Node>("grand", Group::_type, from.get());
    kid->kids.addChild(grand);
    Watcher registered(Node::nameSpaceChangedSubject());
    take();
    host->addChild(kid, nullptr, Node::TransferNone, Node::MatchBest);
    EXPECT_EQ(take(), "host:childAdded@Setup kid:parentAdded@Setup");
    host->addChild(kid, nullptr, Node::TransferToNodeScope, Node::MatchBest);  // with what it links
    EXPECT_EQ(take(),
              "host:childAdded@Setup kid:parentAdded@Setup nameSpaceChanged:from>kid-@0 "
              "nameSpaceChanged:test>kid+@0 nameSpaceChanged:from>grand-@0 "
              "nameSpaceChanged:test>grand+@0");
    EXPECT_EQ(from->nodeCount(), 0);
    ProbeProc::childScope = own.get();  // the scope the behaviour gives its children
    host->addChild(grand, nullptr, Node::TransferToChildScope, Node::MatchBest);
    host->addChild(grand, nullptr, Node::TransferToChildScope, Node::MatchBest);  // there already
    EXPECT_EQ(take(),
              "host:childAdded@Setup nameSpaceChanged:test>grand-@0 nameSpaceChanged:own>grand+@0 "
              "host:childAdded@Setup");
    LogCapture quiet;
    held.clear();  // before the scopes of this test go
}

TEST_F(Nodes, ChildrenAreCountedFoundAndRemoved) {
    ProbeNode* host = make("host");
    Node *a = make<Node>("a", Group::_type), *b = make<Node>("b", Group::_type);
    Node* box = make<Node>("box", Box::_type);
    for (Node* n : {a, b, a}) host->kids.addChild(n);
    host->geometry.link().setNode(box);
    host->feed.addChild(b);  // an eventIn list is no child field
    EXPECT_EQ(host->childCount(), 4u);
    EXPECT_TRUE(host->findChildLink(a) == &host->kids.editValue().back() &&
                host->findChildLink(box) == &host->geometry.link());
    // clang-format off
    const std::pair<Node*, Field*> removals[] = {
        {a, &host->kids}, {a, nullptr}, {box, &host->geometry}, {b, &host->kids},
        {b, nullptr}};  // b is in feed only now
    // clang-format on
    for (const auto& [child, field] : removals) EXPECT_EQ(host->removeChild(child), field);
    EXPECT_TRUE(host->childCount() == 0u &&
                host->findChildLink(b) == &host->feed.editValue().front());

    host->kids.addChild(a);
    host->geometry.link().setNode(box);
    host->_changedMask = NodePartMask(0);
    EXPECT_EQ(host->removeAllChildren(0.0), 3u);  // feed counts here
    EXPECT_EQ(host->_changedMask, partMaskOf(2) | partMaskOf(6) | partMaskOf(7));
    EXPECT_EQ(host->removeAllChildren(0.0), 0u);

    // A node in two entries of one list, a single field and a free link loses them all.
    Node* x = Group::_type.createNode(host, "x", CreatorSystem);  // added by createNode
    const uint64_t id = x->ID();
    host->kids.addChild(x);
    make("other")->kids.addChild(x);
    NodeLink free;
    free.setNode(x);
    EXPECT_EQ(x->parentLinks().size(), 4u);
    {
        SmartPtr<Node> keep = x->removeAllParentLinks(0.0);
        EXPECT_TRUE(x->parentLinks().empty() && keep->refCount() == 1 && host->childCount() == 0u);
    }
    EXPECT_EQ(Node::findNode(id), nullptr);
}

TEST_F(Nodes, ReplaceRenameCloneAndEquality) {
    Node *old = make<Node>("old", Group::_type), *fresh = make<Node>("fresh", Group::_type);
    std::vector<ProbeNode*> parents{make("p1"), make("p2"), make("p3")};
    for (ProbeNode* p : parents) p->kids.addChild(old);
    EXPECT_TRUE(!fresh->replace(*fresh) && fresh->replace(*old) && old->parentLinks().empty());
    for (ProbeNode* p : parents) EXPECT_EQ(p->kids.getValue().front().rawNode(), fresh);
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_FALSE(old->rename("fresh"));
        EXPECT_FALSE(old->rename("old"));  // it finds itself
        EXPECT_EQ(log.text(),
                  "WARNING\tKalvex\tCan not rename() node to fresh, name already give\n"
                  "WARNING\tKalvex\tCan not rename() node to old, name already give\n");
    }
    EXPECT_TRUE(old->rename("renamed"));
    EXPECT_TRUE(NodeNameSpace::findNode(scope.get(), "renamed") == old &&
                !NodeNameSpace::findNode(scope.get(), "old") && scope->nodeCount() == 5);

    // A clone shares the children and starts marked as changed.
    auto* m = make<Material>("m", Material::_type);
    m->shading().setValue("flat");
    m->diffuseColor().setValueByStr("1 0 0");
    SmartPtr<NodeNameSpace> other(new NodeNameSpace("other", nullptr, false));
    SmartPtr<Node> copy(m->clone(other.get(), "copy"));
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->getNameSpace() == other.get() && copy->creator() == CreatorSystem);
    EXPECT_TRUE(copy->equalFieldValues(*m) && copy->changedFlag());
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
    LogCapture log;
    EXPECT_FALSE(make<Node>("g", Group::_type)->merge(*make<Node>("h", Group::_type)));
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tGroup/g: Skip merge; only allowed for contextRoot nodes\n");
    auto* one = static_cast<Scene*>(Scene::_type.createNode(nullptr, "one:s1", CreatorSystem));
    auto* two = static_cast<Scene*>(Scene::_type.createNode(nullptr, "two:s2", CreatorSystem));
    held.emplace_back(one);
    held.emplace_back(two);
    Node* x = Box::_type.createNode(two, "x", CreatorSystem);
    EXPECT_EQ(x->contextRoot(), two);
    log.clear();
    one->merge(*two);
    EXPECT_TRUE(log.contains("LOG\tKalvex\tTransfer NameSpace in NodeProc::merge\n"));
    EXPECT_TRUE(one->children().size() == 1u && two->childCount() == 0u);
    EXPECT_TRUE(x->getNameSpace() == one->getNameSpace() && x->contextRoot() == one);
}

TEST_F(Nodes, IdMapAndCopies) {
    Node *a = make<Node>("a", Box::_type), *unnamed = make<Node>(nullptr, Box::_type);
    EXPECT_EQ(Node::findNode(a->ID()), a);
    std::vector<Node*> boxes;
    const auto has = [&](Node* n) { return std::count(boxes.begin(), boxes.end(), n) == 1; };
    Node::fillNodeVec(boxes, &Box::_type, true);
    EXPECT_TRUE(has(a) && !has(unnamed));
    Node::fillNodeVec(boxes, &Geometry::_type, false);
    EXPECT_TRUE(has(a) && has(unnamed));
    const unsigned before = Node::idMapSize();
    Node::_regID = false;
    Node* hidden = make<Node>("hidden", Box::_type);
    Node::_regID = true;
    EXPECT_TRUE(Node::idMapSize() == before && !Node::findNode(hidden->ID()));
    EXPECT_TRUE(Node::findNode(a) && !Node::findNode(hidden));

    LogCapture log(osg::LOG_FATAL);
    Node copy(*a);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tRuning Node copy constructor for a\n");
    EXPECT_TRUE(copy.fieldCount() == 0u && !copy.getNameSpace());
}

TEST_F(Nodes, ContextValuesAndReleaseChecks) {
    NodeProc* proc = make<Node>("n")->getProc();
    const unsigned int id = ContextSetupProc::_forbidNodeFreeID;
    LogCapture log(osg::LOG_WARNING);
    EXPECT_FALSE(proc->contextBValue(id));  // the declared default, FALSE
    EXPECT_TRUE(proc->contextSValue(id) == "FALSE" && proc->contextIValue(99999) == 0);
    EXPECT_EQ(log.count("WARNING\tKalvex\tProbe/n: ContextValue request without context\n"), 3);
    EXPECT_TRUE(
        log.contains("WARNING\tKalvex\tProbe/n: ContextValue request with invalid ID: 99999\n"));
    // Field data and nodes may be freed, unless the scope holds imports, exports or named routes;
    // another release type is refused.
    EXPECT_TRUE(proc->checkReleaseType(NodeProc::ReleaseNodes));
    scope->setFlags(NodeNameSpace::HasImportExport);
    EXPECT_FALSE(proc->checkReleaseType(NodeProc::ReleaseFieldData));
    scope->setFlags(0);
    log.clear();
    EXPECT_FALSE(proc->checkReleaseType(NodeProc::ReleaseType(2)));
    EXPECT_EQ(log.text(), "WARNING\tKalvex\tInvalid rType value\n");

    // Only the root of a context sets the context's time.
    const Time t = 0.0;
    const float f = 0.f;
    SmartPtr<Context> ctx(Context::create());
    Node* root = Scene::_type.createNode(ctx.get(), "ctx:root", CreatorSystem);
    Node* inside = make<Node>("inside", ProbeNode::_type, root->getNameSpace());
    log.clear();
    proc->setContextState(4.0, t, t, t, f);
    inside->getProc()->setContextState(4.0, t, t, t, f);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tNo context; can not set TimeStamp\n"
              "FATAL\tKalvex\tNode is not the context root; can not set TimeStamp\n");
    root->getProc()->setContextState(4.0, t, t, t, f);
    EXPECT_TRUE(inside->getProc()->contextTimeStamp() == 4.0 &&
                !inside->getProc()->contextBValue(id));
    held.pop_back();  // before the root's scope goes
}

}  // namespace
