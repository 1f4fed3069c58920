// Node types: the part table, name maps, status words, isA, default descendants, node creation,
// context roots, aliases, type lists and the doc summary. Part rows: names, value restrictions,
// list selection, node references, copies and the dump. Type registries: addresses, look-ups,
// clashes, type lists and lifetimes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using namespace KalvexTest;

NodePartDesc part(NodePartType kind, const char* name, const char* description = "documented",
                  StaticParamMask options = 0, unsigned redirect = 0) {
    return NodePartDesc(0, 0, kind, SFInt32Type, options, name, nullptr, nullptr, nullptr,
                        description, redirect);
}

struct TypeArgs {  // what a plug-in passes to the native constructor
    const char *name, *parent = "Node", *status = "stable";
    bool concrete = true;
    const char *defaultOf = nullptr, *component = "Test";
    bool contextRoot = false;
    const char *description = "documented", *summary = "a test type";
};

class NodeTypes : public ::testing::Test {
  protected:
    bool built = (KalvexTest::initTypes(), true);
    std::list<std::vector<NodePartDesc>> rows;  // outlives the registry and its types
    SmartPtr<NodeTypeNameSpace> registry{
        new NodeTypeNameSpace("NodeTypeTest", &theBaseNodeTypeFactory())};
    SmartPtr<NodeNameSpace> scope{[this] {
        auto* made = new NodeNameSpace("nodeTypeScope", nullptr, false);
        made->setNodeTypeNameSpace(registry.get());
        return made;
    }()};

    NodeType* define(const TypeArgs& s, std::vector<NodePartDesc> local = {}) {
        rows.push_back(std::move(local));
        return new NodeType(*registry, s.name, "Test", s.parent, s.defaultOf, "2.0", s.component,
                            s.summary, s.status, s.description, "Test", true, s.contextRoot,
                            nullptr, s.concrete ? &Node::createNode : nullptr, nullptr,
                            rows.back().data(), unsigned(rows.back().size()));
    }
    Node* create(const char* type, const char* name, BaseObject* in = nullptr,
                 NodeCreator creator = CreatorLoader) {
        return NodeType::createNode(in ? in : scope.get(), type, name, creator);
    }
};

TEST_F(NodeTypes, InitTypeAppendsLocalRowsToTheInheritedTableAndWrapsMasksAt64) {
    std::vector<NodePartDesc> many;
    for (int i = 0; i < 70; ++i) many.push_back(part(PartField, ('p' + std::to_string(i)).c_str()));
    NodeType* lower = define({.name = "Lower", .parent = "Upper"}, std::move(many));
    NodeType* upper = define({.name = "Upper", .parent = "Transform"});
    const auto& inherited = Transform::_type.descVec();
    LogCapture log(osg::LOG_INFO);
    EXPECT_EQ(lower->initType(true), 2);  // the parent is built first
    EXPECT_EQ(log.text(),
              "INFO\tKalvex\tInit NATIVE Type Lower\nINFO\tKalvex\tInit NATIVE Type Upper\n");
    EXPECT_EQ(lower->initType(true) + upper->initType(true), 0);
    EXPECT_EQ(upper->derivedTypes(), std::list<NodeType*>{lower});
    ASSERT_EQ(lower->descCount(), inherited.size() + 70);
    for (unsigned i = 0; i < lower->descCount(); ++i) {
        const NodePartDesc* row = lower->descVec()[i];
        const bool local = i >= inherited.size();  // rows by address; mask 64 shares with 0
        EXPECT_EQ(std::make_tuple(row, row->_refType == lower, row->ID, row->mask.getValue()),
                  std::make_tuple(local ? &rows.front()[i - inherited.size()] : inherited[i], local,
                                  i, 1UL << (i % 64)));
    }
    EXPECT_EQ(lower->findPart("translation"), Transform::_type.findPart("translation"));
}

TEST_F(NodeTypes, NameMapsAndRedirects) {
    NodeType* shadow = define({.name = "Shadow", .parent = "Group"},
                              {part(PartExposedField, "children"), part(PartField, "size"),
                               part(PartField, "alias", "", NodePartDesc::OptRedirected, 4),
                               part(PartEventOut, "lost", "", NodePartDesc::OptRedirected, 99)});
    LogCapture log(osg::LOG_WARNING);
    shadow->initType(true);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tThere is already a part children in Type Shadow\n"
              "WARNING\tKalvex\tThere is already a part set_children in Type Shadow\n"
              "WARNING\tKalvex\tThere is already a part children_changed in Type Shadow\n");
    EXPECT_EQ(shadow->descVec()[2], Group::_type.findPart("children"));  // both rows stay
    for (const char* name : {"children", "set_children", "children_changed"})
        EXPECT_EQ(shadow->findPart(name), &rows.back()[0]) << name;
    EXPECT_EQ(shadow->findPart("alias"), shadow->descVec()[4]);
    EXPECT_EQ(shadow->findPart("lost"), nullptr);
    EXPECT_EQ(Counter::_type.fieldMap().count("increment"), 0u);  // an eventIn is no field
}

TEST_F(NodeTypes, StatusWordsAreExact) {
    // clang-format off
    const char* words[] = {"", "experimental", "alpha", "beta", "stable", "deprecated", "Stable", "stable "};
    // clang-format on
    for (int value = 0; value < 8; ++value) {  // the words in the order of their values, then none
        SmartPtr<NodeType> type = define({.name = "Status", .status = words[value]});
        LogCapture log(osg::LOG_WARNING);
        type->initType(true);
        EXPECT_EQ(type->status(), value < 6 ? value : StatusNone) << words[value];
        EXPECT_EQ(log.text(), value < 6 ? ""
                                        : "FATAL\tKalvex\tStatus: Invalid status: " +
                                              std::string(words[value]) + "\n");
    }
}

TEST_F(NodeTypes, BadInputFromPlugIns) {
    const std::string fatal = "FATAL\tKalvex\t", warning = "WARNING\tKalvex\t";
    // clang-format off
    const struct { TypeArgs args; std::vector<std::string> messages; } cases[] = {
        {{.name = "Orphan", .parent = "NoSuch"},
         {fatal + "Can't find NodeType for NoSuch, parent of Orphan\n", fatal + "Orphan Node Type without parent\n"}},
        {{.name = "Stray", .defaultOf = "Nowhere"}, {fatal + "Can not set defaultDescendant for Stray"}},
        {{.name = "Pushy", .parent = "Box", .defaultOf = "Box"}, {fatal + "NodeType::setDefaultDescendant() call on non-abstract type\n"}},
        {{.name = "Cuckoo", .defaultOf = "Geometry"}, {fatal + "Invalid setDefaultDescendant(): Cuckoo is not a Geometry\n"}},
        {{.name = nullptr}, {fatal + "NATIVE NodeType without a name\n"}},
        {{.name = "NoComp", .component = nullptr}, {warning + "NodeType NoComp is not assigned to any compnent\n",
                                                    warning + "Concrete NodeType >NoComp< is not assigned to any component\n"}},
        {{.name = "EmptyComp", .concrete = false, .component = ""}, {warning + "Concrete NodeType >EmptyComp< is not assigned to any component\n"}},
        {{.name = "Scene", .contextRoot = true}, {fatal + "Second Context Root Type with equal name: >Scene<"}},
        {{.name = "Stage", .contextRoot = true}, {"INFO\tKalvex\tRegister Context Root Type: Stage\n"}}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.name ? c.args.name : "(null)");
        LogCapture log(osg::LOG_INFO);
        SmartPtr<NodeType> type =
            define(c.args, {NodePartDesc(9, partMaskOf(9), PartField, SFInt32Type, 0, "local",
                                         nullptr, nullptr, nullptr, nullptr)});
        const int built = type->initType(true);
        int reports = 0;
        for (const std::string& message : c.messages) {
            EXPECT_TRUE(log.contains(message)) << message;
            reports += message.rfind("INFO", 0) != 0;
        }
        EXPECT_EQ(log.count("FATAL\t") + log.count("WARNING\t"), reports);
        // Without a parent the local rows stand alone, unnumbered but bound.
        EXPECT_TRUE(type->getParent() ||
                    (built == 1 && type->descCount() == 1 && type->descVec()[0]->ID == 9 &&
                     type->findPart("local")->_refType == type.get()));
    }
    EXPECT_EQ(Geometry::_type.defaultDescendant(), nullptr);
    EXPECT_EQ(NodeType::findContextRootType("Scene"), &Scene::_type);
    EXPECT_FALSE(NodeType::findContextRootType("scene") || NodeType::findContextRootType("Group"));
    // A parent name that reads as a number (an existing type ID) is no parent, and must not hang
    // the locked walk over all types.
    NodeType::initTypeTree(true);
    SmartPtr<NodeType> odd = define({.name = "Odd", .parent = "2"});
    LogCapture log(osg::LOG_WARNING);
    EXPECT_EQ(NodeType::initTypeTree(true), 1);
    EXPECT_EQ(odd->getParent(), nullptr);
    EXPECT_EQ(log.count("FATAL\t"), 2);
}

TEST_F(NodeTypes, IsAAndDefaultDescendants) {
    // clang-format off
    const std::tuple<NodeType*, NodeType*, int> cases[] = {
        {&Transform::_type, &Transform::_type, 0}, {&Transform::_type, &Group::_type, 1}, {&Transform::_type, &Node::_type, 2},
        {&Group::_type, &Transform::_type, -1}, {&Box::_type, &Geometry::_type, 1}, {&Box::_type, &Shape::_type, -1},
        {&Material::_type, &MaterialNode::_type, 1}, {&Node::_type, &Box::_type, -1}};
    // clang-format on
    for (const auto& [type, other, distance] : cases)
        EXPECT_EQ(std::make_pair(type->isADistance(*other), type->isA(*other)),
                  std::make_pair(distance, distance >= 0))
            << type->getName() << "/" << other->getName();
    EXPECT_EQ(MaterialNode::_type.defaultDescendant(), &Material::_type);
    EXPECT_EQ(Material::_type.isDefaultDescendantOf(), &MaterialNode::_type);
    EXPECT_EQ(Box::_type.isDefaultDescendantOf(), nullptr);
    // Every type below Node has the metadata reference, so none is a leaf; effects takes any node.
    EXPECT_FALSE(Box::_type.isALeafNode() || Node::_type.isALeafNode());
    EXPECT_TRUE(Group::_type.isAGenericGroupNode() && Appearance::_type.isAGenericGroupNode());
    EXPECT_FALSE(Shape::_type.isAGenericGroupNode());

    // A refused default leaves the former one; a later one replaces it.
    NodeType* abstract = define({.name = "Abstract", .concrete = false});
    NodeType* pick = define({.name = "Pick", .parent = "Abstract", .defaultOf = "Abstract"});
    NodeType* other = define({.name = "Other", .parent = "Abstract"});
    other->initType(true);
    pick->initType(true);
    LogCapture quiet(osg::LOG_WARNING);
    EXPECT_FALSE(abstract->setDefaultDescendant(&Box::_type));
    EXPECT_EQ(abstract->defaultDescendant(), pick);
    EXPECT_TRUE(abstract->setDefaultDescendant(other));
    EXPECT_EQ(abstract->defaultDescendant(), other);
    EXPECT_EQ(pick->isDefaultDescendantOf(), nullptr);
}

TEST_F(NodeTypes, CreateNodeFailures) {
    SmartPtr<Context> context{Context::create()};
    define({.name = "Old", .status = "deprecated", .summary = "use New"})->initType(true);
    LogCapture log(osg::LOG_WARNING);
    const std::string abstract = "Could not create Geometry node in NodeType::createNode()\n";
    const std::string noScope = "Box/%: No valid NodeNameSpace in createNode\n";
    // Member form with a type, or the static form with a type name (null: the member form).
    // clang-format off
    const std::tuple<NodeType*, BaseObject*, const char*, std::string> cases[] = {
        {&Geometry::_type, scope.get(), nullptr, abstract}, {&Box::_type, nullptr, nullptr, noScope},
        {&Box::_type, context.get(), nullptr, noScope}, {nullptr, scope.get(), "Geometry", abstract},
        {nullptr, scope.get(), "Nope", "Could not find/load type Nope to create node\n"},
        {nullptr, nullptr, "Box", "Could not find/load type Box to create node\n"},
        {nullptr, context.get(), nullptr, "Invalid nodespace while creating Node instance\n"}};
    // clang-format on
    for (const auto& [type, parent, typeName, message] : cases) {
        log.clear();
        Node* made = type ? type->createNode(parent, "n", CreatorLoader)
                          : NodeType::createNode(parent, typeName, "n", CreatorLoader);
        EXPECT_EQ(made, nullptr) << message;
        EXPECT_EQ(log.text(), "FATAL\tKalvex\t" + message);
    }
    log.clear();
    SmartPtr<Node> stale = create("Old", "o1");
    ASSERT_TRUE(stale);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tOld/o1 Type is DEPRECATED: use New\n");
}

TEST_F(NodeTypes, CreateNodeAttachesAndCounts) {
    Watcher made(Node::newObjectSubject());
    take();
    LogCapture log(osg::LOG_INFO);
    SmartPtr<Node> material = MaterialNode::_type.createNode(scope.get(), "m", CreatorLoader);
    ASSERT_TRUE(material);  // the inner call's creator System is overwritten
    EXPECT_TRUE(&material->getType() == &Material::_type && material->creator() == CreatorLoader &&
                material->getState() == Kalvex::Setup);
    EXPECT_TRUE(log.contains(
        "INFO\tKalvex\tCreate _defaultDescendant Node of type Material for MaterialNode\n"));
    EXPECT_EQ(take(), "newNode:m@0 newNode:m@0");  // the inner call's end and the outer one's
    // Only the outer call attaches: once, to the material field, not also to the effects.
    SmartPtr<Appearance> look =
        static_cast<Appearance*>(Appearance::_type.createNode(scope.get(), "a", CreatorLoader));
    Node* inner = MaterialNode::_type.createNode(look.get(), "m2", CreatorLoader);
    EXPECT_TRUE(inner && look->material().rawNode() == inner && look->effects().empty());

    // Each kind of parent takes the new node; a node counts on its type and every ancestor.
    const int groups = Group::_type.objCount(), shapes = Geometry::_type.objCount();
    SmartPtr<Group> group = static_cast<Group*>(create("Group", "g"));
    auto* probe =
        static_cast<ProbeNode*>(ProbeNode::_type.createNode(group.get(), "p", CreatorRuntime));
    Node* listed = Box::_type.createNode(&probe->boxes, "b1", CreatorRuntime);
    Node* linked = Box::_type.createNode(&probe->geometry, "b2", CreatorRuntime);
    EXPECT_EQ(group->children().getValue().front().rawNode(), probe);
    EXPECT_TRUE(listed && probe->boxes.getValue().front().rawNode() == listed);
    EXPECT_TRUE(linked && probe->geometry.rawNode() == linked);
    EXPECT_EQ(linked->getNameSpace(), scope.get());
    EXPECT_EQ(std::make_pair(Group::_type.objCount() - groups, Geometry::_type.objCount() - shapes),
              std::make_pair(1, 2));
    // Without a type name the static form makes a plain node.
    SmartPtr<Node> plain = create(nullptr, "p", nullptr, CreatorDynamic);
    ASSERT_TRUE(plain);
    EXPECT_TRUE(&plain->getType() == &Node::_type && plain->creator() == CreatorDynamic &&
                plain->getState() == Kalvex::Setup);
}

// A root's name "scope:node" names its own scope too; a plain name leaves the type's name to it.
TEST_F(NodeTypes, ContextRootsMakeTheirOwnScope) {
    const std::string named = "LOG\tKalvex\tContextRoot NameSpace: ";
    // clang-format off
    const struct { BaseObject* in; const char *name, *scope, *node; std::string log; } cases[] = {
        {nullptr, "a:b:c", "a", "b", named + "a, Name: b\n"}, {nullptr, "plain", "scene", "plain", ""},
        {scope.get(), "x:y", "x", "y", "WARNING\tKalvex\tNameSpace given while create ContextRoot node\n" + named + "x, Name: y\n"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log(osg::LOG_WARNING);
        SmartPtr<Node> root = NodeType::createNode(c.in, "Scene", c.name, CreatorLoader);
        ASSERT_TRUE(root);
        EXPECT_EQ(log.text(), c.log);
        NodeNameSpace* own = root->getNameSpace();
        ASSERT_TRUE(own && own != scope.get());
        EXPECT_EQ(own->getName() + "/" + root->getName(), c.scope + std::string("/") + c.node);
        EXPECT_EQ(own->getRoot(), root.get());
        // The root's scope finds types through the root type's registry.
        SmartPtr<Node> inner = create("Box", "inner", own);
        EXPECT_TRUE(inner && inner->getNameSpace() == own);
    }
}

TEST_F(NodeTypes, AliasesOfNativeTypes) {
    NodeType* xform = registry->refType(Transform::_type, "Xform");
    NodeType* mat = registry->refType(MaterialNode::_type, "Mat");
    NodeType* box = registry->refType(Box::_type, "");
    EXPECT_EQ(box->getName(), "Box");
    EXPECT_EQ(NodeTypeNameSpace::findType(registry.get(), "Box", 0), box);
    for (NodeType* alias : {xform, mat, box}) {
        NodeType* original = alias->getParent();
        SCOPED_TRACE(original->getName());
        EXPECT_EQ(alias->standard(), "ALIAS");
        EXPECT_TRUE(alias->isADistance(*original) == 1 && !original->isA(*alias));
        EXPECT_EQ(alias->descVec(), original->descVec());
    }
    EXPECT_EQ(registry->mainProtoType(), nullptr);  // an alias of a native type is no prototype
    // The registry makes nodes of its own types, by address too; the default descendant of an
    // abstract type came along.
    SmartPtr<Node> moved = registry->createLocalNode(scope.get(), "Xform", "x", CreatorLoader);
    SmartPtr<Node> plain =
        registry->createLocalNode(scope.get(), "::Base::Box", "b", CreatorLoader);
    SmartPtr<Node> surface = mat->createNode(scope.get(), "m", CreatorLoader);
    ASSERT_TRUE(moved && plain && surface);
    EXPECT_EQ(std::make_tuple(&moved->getType(), &plain->getType(), &surface->getType()),
              std::make_tuple(xform, &Box::_type, &Material::_type));
    EXPECT_EQ(registry->createLocalNode(scope.get(), "NoSuch", "n", CreatorLoader), nullptr);
}

TEST_F(NodeTypes, TypeListsIDsAndTreeInit) {
    NodeType::initTypeTree(true);
    NodeType* lower = define({.name = "Lower", .parent = "Upper"});
    NodeType* upper = define({.name = "Upper", .parent = "Group", .concrete = false});
    NodeType* old = define({.name = "Old", .status = "deprecated"});
    LogCapture log(osg::LOG_INFO);
    EXPECT_EQ(NodeType::initTypeTree(true), 3);
    EXPECT_EQ(NodeType::initTypeTree(true), 0);
    EXPECT_TRUE(log.contains("INFO\tKalvex\tinit node types: 3 types\n"));
    EXPECT_EQ(lower->getParent(), upper);
    const auto has = [](const std::vector<NodeType*>& v, const NodeType* t) {
        return std::find(v.begin(), v.end(), t) != v.end();
    };
    // Lower, Upper, Old, Geometry listed; 8: prototypes only, whatever else is asked.
    // clang-format off
    const struct { int flags; bool lower, upper, old, geometry; } cases[] = {
        {1, true, true, false, true}, {1 | 4, true, true, true, true}, {1 | 16, true, false, false, false},
        {8 | 16, false, false, false, false}};
    // clang-format on
    for (const auto& c : cases) {
        std::vector<NodeType*> out{lower};  // stale, cleared by flag 1
        const int n = NodeType::getTypeVec(out, c.flags);
        EXPECT_EQ(n, int(out.size()) - !(c.flags & 1)) << c.flags;
        EXPECT_EQ(std::make_tuple(has(out, lower), has(out, upper), has(out, old),
                                  has(out, &Geometry::_type)),
                  std::make_tuple(c.lower || !(c.flags & 1), c.upper, c.old, c.geometry))
            << c.flags;
    }
    // IDs grow and are never given again.
    const unsigned id = old->getTypeID();
    old->addRef();
    old->subRef();
    EXPECT_GT(define({.name = "Later"})->getTypeID(), id);
}

// The summary counts documented and all types and parts of the alpha to stable types, inherited
// rows included; the verbose form names the incomplete ones.
TEST_F(NodeTypes, DocStatusCountsAlphaToStableTypesWithTheirInheritedRows) {
    std::string text;
    const auto counts = [&text](bool verbose) {
        std::ostringstream out;
        const bool complete = NodeType::reportDocStatus(out, verbose);
        std::vector<int> n(4, -1);
        text = out.str();
        std::sscanf(text.c_str() + text.find("  Summery: NodeTypes: ") + 22, "%d/%d Fields: %d/%d",
                    &n[0], &n[1], &n[2], &n[3]);
        EXPECT_EQ(complete, n[0] == n[1] && n[2] == n[3]);
        return n;
    };
    const std::vector<int> before = counts(false);
    define({.name = "Written", .status = "beta"}, {part(PartField, "w")})->initType(true);
    define({.name = "Gappy", .status = "alpha", .description = ""},
           {part(PartField, "g", ""), part(PartField, "h")})
        ->initType(true);
    for (const char* status : {"experimental", "deprecated"})
        define({.name = status, .status = status, .description = ""})->initType(true);
    EXPECT_EQ(counts(true),
              (std::vector<int>{before[0] + 1, before[1] + 2, before[2] + 6, before[3] + 7}));
    EXPECT_EQ(text.rfind("NodeType Documentation status: (verbose): ", 0), 0u);
    EXPECT_NE(text.find("  Incomplete Doc: Gappy 3/4\n"), std::string::npos) << text;
}

// --- part rows -----------------------------------------------------------------------------------

using List = std::vector<std::string>;
using S = NodePartDesc::ListSelect;

NodePartDesc row(NodePartType kind, NodePartDataType data, const char* name,
                 const char* valueType = nullptr) {
    return NodePartDesc(7, partMaskOf(7), kind, data, 0, name, nullptr, nullptr, valueType,
                        nullptr);
}

// Rows bound to a type in a registry below "Base", so that restrictions can name example types.
class PartDesc : public ::testing::Test {
  protected:
    SmartPtr<NodeTypeNameSpace> registry{
        new NodeTypeNameSpace("PartDescTest", &theBaseNodeTypeFactory())};
    NodeType* probe = new NodeType(*registry, "Probe", "Test", "Node", nullptr, "1.0", "Test", "",
                                   "", "", "", true, false, nullptr, nullptr, nullptr, nullptr, 0);
    NodePartDesc bound(NodePartDataType data, const char* valueType, const char* name = "p") {
        NodePartDesc desc = row(PartField, data, name, valueType);
        desc.init(*probe);
        return desc;
    }
};

TEST_F(PartDesc, KindGivesNamesAndTexts) {
    // "name|inSlotName|outSlotName partTypeName accessTypeName", and the report after the header.
    // clang-format off
    const struct { NodePartType kind; const char *given, *names, *log; } cases[] = {
        {PartField, "x", "x|| field initializeOnly", ""}, {PartEventIn, "x", "x|x| eventIn inputOnly", ""},
        {PartEventOut, "x", "x||x eventOut outputOnly", ""}, {PartExposedField, "x", "x|set_x|x_changed exposedField inputOutput", ""},
        {3, "x", "|| Invalid Part Type invalid", "Unknown NodePartType in NodePartDesc Const.: 3\n"},
        {PartEventIn, nullptr, "|| eventIn inputOnly", "Desc without name in NodePartDesc Const\n"}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc(7, partMaskOf(7), c.kind, SFFloatType, 0x1f, c.given, nullptr, nullptr,
                          nullptr, nullptr);
        EXPECT_EQ(desc.name + "|" + desc.inSlotName + "|" + desc.outSlotName + " " +
                      desc.partTypeName() + " " + desc.accessTypeName(),
                  c.names);
        EXPECT_EQ(desc.valueRestriction, RestrictionUnset);
        EXPECT_EQ(desc.flags.getValue(), 0xf8u);  // option bits 0..4 land on flag bits 3..7
        EXPECT_EQ(log.text(), *c.log ? std::string("FATAL\tKalvex\t") + c.log : "") << c.names;
    }
    NodePartDesc wild = row(PartField, SFFloatType, "w");
    wild.partType = 9;  // past the end of the name table: the entry at 0 stands in
    LogCapture log(osg::LOG_WARNING);
    EXPECT_STREQ(wild.partTypeName(), "Invalid Part Type");
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tInvalid partType 9, cannot find name entry\n");
}

TEST_F(PartDesc, RestrictionParsing) {
    const char* two = "WARNING\tKalvex\tProbe.p: Need two min;max values in _valueType\n";
    const char* one = "WARNING\tKalvex\tProbe.p: Only one value allowed in _valueType\n";
    const auto C = RestrictionCData, R = RestrictionRange, N = RestrictionNone, L = RestrictionList;
    // clang-format off
    const struct { NodePartDataType data; const char* text; NodePartValueRestriction expected;
                   double min, max; List list; const char* warning; } cases[] = {
        {SFFloatType, "cdata", C, 0, 0, {}, ""}, {MFNodeType, " [cdata] ", C, 0, 0, {}, ""}, {SFInt32Type, "0;1", R, 0, 1, {}, ""},
        {SFDoubleType, "(-1.5 2.5)", R, -1.5, 2.5, {}, ""}, {MFFloatType, " [ 1e3 ;; -0 ] ", R, 1000, 0, {}, ""},
        {MFInt32Type, "1;2;3", N, 0, 0, {}, two}, {SFFloatType, "CDATA", N, 0, 0, {}, two}, {SFNodeType, "Box Shape", N, 0, 0, {}, one},
        {SFStringType, "a,b c", L, 0, 0, {"a", "b", "c"}, ""}, {MFStringType, "cdata;x", L, 0, 0, {"cdata", "x"}, ""},
        {MFStringType, "[single]", N, 0, 0, {}, ""}, {SFVec3fType, "0;1", N, 0, 0, {}, ""}, {SFFloatType, "", N, 0, 0, {}, ""},
        {SFFloatType, " [ ; ] ", N, 0, 0, {}, ""}};
    // clang-format on
    for (const auto& c : cases) {
        LogCapture log(osg::LOG_WARNING);
        NodePartDesc desc = bound(c.data, c.text);  // only node references rewrite the text
        EXPECT_EQ(std::make_tuple(desc.valueRestriction, desc._valueType, desc.minValue,
                                  desc.maxValue, desc.valueList, log.text()),
                  std::make_tuple(c.expected, c.text, c.min, c.max, c.list, c.warning))
            << c.text;
    }
    for (const char* text : {"[Geometry]", " ( Geometry ) ", "Geometry"}) {
        NodePartDesc desc = bound(MFNodeType, text);
        EXPECT_EQ(std::make_tuple(desc.valueRestriction, desc._valueType, desc.nodeType),
                  std::make_tuple(RestrictionNodeType, "Geometry", nullptr));
        EXPECT_EQ(desc.requiredNodeType(), &KalvexExample::Geometry::_type);
    }
    // Parsing again, on the row or on a copy of it, gives the same list.
    NodePartDesc desc = bound(MFStringType, "a;b");
    NodePartDesc copy(desc, nullptr);
    desc.init(*probe);
    copy.init(*probe);
    EXPECT_EQ(desc.valueList, (List{"a", "b"}));
    EXPECT_EQ(copy.valueList, desc.valueList);
    // Node references that cannot be resolved.
    NodePartDesc lost = bound(SFNodeType, "NoSuchType");
    NodePartDesc unbound = row(PartField, SFNodeType, "u", "Box");
    LogCapture log(osg::LOG_WARNING);
    EXPECT_EQ(lost.requiredNodeType(), nullptr);
    unbound.updateNodeType();
    EXPECT_EQ(unbound.nodeType, nullptr);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tCannot find NoSuchType for Probe ref\n"
              "FATAL\tKalvex\tNo valid _refType, cannot update nodeType: Box\n");
}

TEST_F(PartDesc, ValueListSelection) {
    NodePartDesc desc = bound(MFStringType, "state,child,parent", "logFeature");
    // nullptr: not found, also as a prefix or an extension of an element; the current text comes
    // back and is reported.
    // clang-format off
    const std::tuple<const char*, int, const char*> cases[] = {
        {"STATE", S::SelectNext, "child"}, {"parent", S::SelectNext, "parent"}, {"Parent", S::SelectNextCyclic, "state"},
        {"child", S::SelectNextCyclic, "parent"}, {"state", S::SelectPrevious, "state"}, {"parent", S::SelectPrevious, "child"},
        {"state", S::SelectPreviousCyclic, "parent"}, {"cHILD", S::SelectPreviousCyclic, "state"}, {"bogus", S::SelectFirst, "state"},
        {"", S::SelectLast, "parent"}, {"CHILD", 9, "child"}, {"chil", S::SelectNext, nullptr}, {"children", S::SelectPrevious, nullptr}};
    // clang-format on
    const std::string bad = "WARNING\tKalvex\tlogFeature(state,child,parent) Invalid CurrentElem: ";
    for (const auto& [text, select, expected] : cases) {
        const std::string current = text;
        LogCapture log(osg::LOG_WARNING);
        const std::string& chosen = desc.valueListElem(current, S(select));
        EXPECT_EQ(&chosen == &current, !expected) << text;  // else an element, in its own spelling
        EXPECT_EQ(chosen, expected ? expected : text);
        EXPECT_EQ(log.text(), expected ? "" : bad + current + "; can not select\n");
    }
    LogCapture log(osg::LOG_WARNING);
    const std::string current = "x";
    NodePartDesc range = bound(SFFloatType, "0;1", "level");
    EXPECT_EQ(&range.valueListElem(current, S::SelectFirst), &current);
    desc.valueList.clear();
    EXPECT_EQ(&desc.valueListElem(current, S::SelectLast), &current);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tlevel is not a list (0;1)\n"
              "WARNING\tKalvex\tlogFeature holds empty list\n");
}

TEST_F(PartDesc, RandomSelectionKeepsThe32BitProduct) {
    // With 2^16 elements the wrapped product rand() * n is 0x80000000 exactly when the low 16
    // bits of rand() are 0x8000; only then is the second element chosen. A product widened to
    // 64 bits would choose element rand() / 2^15 instead.
    const unsigned n = 1u << 16;
    std::string text;
    for (unsigned i = 0; i < n; ++i) (text += 'e').append(std::to_string(i)) += ',';
    NodePartDesc desc = bound(MFStringType, text.c_str());
    ASSERT_EQ(desc.valueList.size(), n);
    unsigned hit = 0, misses = 0;  // the first wraps seed and twenty ordinary ones
    for (unsigned seed = 1; seed < (1u << 22) && (!hit || misses < 20); ++seed) {
        std::srand(seed);
        const unsigned r = unsigned(std::rand());
        const bool wraps = (r & 0xffffu) == 0x8000u;
        if (wraps ? hit != 0 : misses >= 20) continue;
        std::srand(seed);
        const std::string& chosen = desc.valueListElem("e5", NodePartDesc::SelectRandom);
        EXPECT_EQ(&chosen, &desc.valueList[wraps ? 1 : 0]) << "seed " << seed << " rand " << r;
        (wraps ? hit : misses) = wraps ? seed : misses + 1;
    }
    EXPECT_NE(hit, 0u) << "no seed gave the wrapping product";
}

TEST_F(PartDesc, CopiesKeepWhatInitComputedAndTheDumpShowsIt) {
    NodePartDesc desc(3, partMaskOf(67), PartExposedField, SFStringType,
                      NodePartDesc::OptAutoProcess | NodePartDesc::OptTypeExtension, "shading",
                      "Look", "smooth", "flat,smooth", "how it shades", 0);
    desc.init(*probe);
    desc.addIsLink("a", 1), desc.addIsLink("a", 1), desc.addIsLink("b", 2);
    EXPECT_EQ(desc.isLinkMap.at("a"), (std::vector<unsigned>{1, 1}));  // duplicates are kept
    BitVector<unsigned int> word(NodePartDesc::ObjExtension);
    const NodePartDesc same(desc, nullptr), marked(desc, &word);
    EXPECT_EQ(marked.flags.getValue(), unsigned(NodePartDesc::ObjExtension));
    for (const NodePartDesc* copy : {&same, &marked})
        EXPECT_TRUE(copy->_refType == probe && copy->valueList == (List{"flat", "smooth"}) &&
                    copy->isLinkMap == desc.isLinkMap);
    // The unmarked copy's dump: ID, wrapped mask, names, restriction and flags all came along.
    LogCapture log;
    same.dump();
    std::string text = log.text();
    const std::string header = "LOG\tKalvex\t";
    for (size_t at = text.find(header); at != std::string::npos; at = text.find(header, at))
        text.erase(at, header.size());
    // clang-format off
    EXPECT_EQ(text, "NodePartDesc:       shading\n  ID:               3\n  Mask value:       0001" + std::string(60, '0') +
                    "\n  partType:         exposedField\n  dataType:         SFString\n  valueType:        flat,smooth\n"
                    "  valueRestriction: 5\n  name:             shading\n  group:             Look\n  fieldName:        shading\n"
                    "  inSlotName:       set_shading\n  outSlotName:      shading_changed\n  defaultValue:     smooth\n"
                    "  autoProcess:      1\n  privateAccess:    0\n  objExtension:     0\n  typeExtension:    1\n"
                    "  deprecated:       0\n  derived:          0\n  description:      how it shades\n  isLinkMap size:   2\n\n");
    // clang-format on
}

// --- type registries -----------------------------------------------------------------------------

using Reg = NodeTypeNameSpace;

NodeType* addType(Reg& ns, const char* name, bool concrete = false) {  // below "Node", owned by ns
    return new NodeType(ns, name, "Test", "Node", nullptr, "1.0", "Test", "", "stable", "", "",
                        true, false, nullptr, concrete ? &Node::createNode : nullptr, nullptr,
                        nullptr, 0);
}

// Releases a registry that only its parent holds.
void drop(Reg* ns) {
    ns->addRef();
    ns->subRef();
}

// The root "RegTest" with the child b and the grandchild c; the library's types are built first,
// so that a later initTypeTree leaves these alone.
class TypeRegistry : public ::testing::Test {
  protected:
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
        {c.get(), "Leaf", 0, leaf}, {c.get(), " \tLeaf\r\n", 0, leaf}, {c.get(), "Mid", 0, mid},
        {c.get(), "Zed", 0, zed}, {root.get(), "Leaf", 0, nullptr},  // from the parents, never from a child
        {c.get(), "LEAF", 0, nullptr}, {c.get(), "zED", 1, zed}, {nullptr, "::RegTest::b::c::Leaf", 0, leaf},
        {nullptr, "RegTest::b::Mid", 0, mid}, {nullptr, "::RegTest::b::c::leaf", 1, leaf},
        {root.get(), "ignored::b::Mid", 0, mid},  // the first name is not compared
        {nullptr, "::RegTest::x::Leaf", 0, nullptr}, {nullptr, "::NoRoot::Leaf", 0, nullptr}, {nullptr, "Leaf", 0, nullptr},
        {c.get(), "Transform", 0, nullptr},  // "Base" is no ancestor here
        {c.get(), "3D", 0, nullptr}, {c.get(), leafID, 0, nullptr}, {c.get(), " \t\r\n ", 0, nullptr}};  // digits never resolve
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
    const std::string cID = std::to_string(c->ID());
    // clang-format off
    const struct { Reg* start; std::string address; bool lastIsType; Reg* ns; } cases[] = {
        {nullptr, "::RegTest::b::c", false, c.get()}, {nullptr, "RegTest::b", false, b.get()},
        {c.get(), "::RegTest", false, root.get()}, {root.get(), "x::b::c", false, c.get()},
        {c.get(), "x::b", false, nullptr},  // walks from c, which has no child b
        {nullptr, "::RegTest::b::Leaf", true, b.get()}, {nullptr, "::RegTest:::b", false, b.get()},
        {nullptr, cID, false, c.get()}, {nullptr, cID + "1", false, nullptr}, {root.get(), "RegTest", false, nullptr},
        {nullptr, "::", false, nullptr}, {nullptr, "::RegTest::B", false, nullptr}};
    // clang-format on
    for (const auto& cs : cases)
        EXPECT_EQ(Reg::findNameSpace(cs.start, cs.address, cs.lastIsType), cs.ns) << cs.address;
    SmartPtr<Reg> unnamed{new Reg("", root.get())};
    SmartPtr<Reg> below{new Reg("d", unnamed.get())};
    EXPECT_EQ(root->children(), (std::vector<Reg*>{b.get(), unnamed.get()}));
    std::string out = "junk";
    EXPECT_TRUE(leaf->fillAbsolutAddress(out) && c->hasAbsolutAddress());
    EXPECT_EQ(out, "::RegTest::b::c::Leaf");
    EXPECT_FALSE(below->hasAbsolutAddress() || below->fillAbsolutAddress(out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(addType(*below, "Hidden")->fillAbsolutAddress(out));
}

TEST_F(TypeRegistry, DuplicateNamesAndRoots) {
    LogCapture log(osg::LOG_WARNING);
    SmartPtr<NodeType> older = addType(*c, "Dup");
    NodeType* newer = addType(*c, "Dup");
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tThere is already a Dup NodeType registered in c\n");
    EXPECT_EQ(Reg::findType(c.get(), "dup", 1), newer);
    older = nullptr;  // the type that lost its name leaves the newer entries in place
    EXPECT_TRUE(Reg::findType(c.get(), "Dup", 0) == newer &&
                Reg::findType(c.get(), "DUP", 1) == newer);
    EXPECT_EQ(newer->nameSpace(), c.get());
    // A displaced type may outlive its registry without reaching back into it.
    auto* d = new Reg("d", c.get());
    older = addType(*d, "Twice");
    addType(*d, "Twice");
    drop(d);
    EXPECT_EQ(older->nameSpace(), nullptr);
    older = nullptr;

    log.clear();
    SmartPtr<Reg> twin{new Reg("RegTest", nullptr)}, nameless{new Reg(nullptr, nullptr)};
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tThere is already root >RegTest< NodeTypeNameSpace\n"
              "FATAL\tKalvex\tRoot NodeTypeNameSpace without name\n");
    twin = nullptr;  // the former root keeps its name
    EXPECT_EQ(Reg::findNameSpace(nullptr, "::RegTest::b", false), b.get());
    // A root moved below another registry gives its name back when it goes.
    auto* moved = new Reg("Moved", nullptr);
    moved->setParent(c.get());
    drop(moved);
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
        {0, {beta, gamma}}, {1 | 16, {beta}}, {1 | 2, {beta, gamma, leaf, mid, alpha, zed}}, {2 | 16, {beta, leaf, zed}},
        {1 | 2 | 8, {}}, {2 | 8 | 16, {}}};
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
    EXPECT_TRUE(std::count(roots.begin(), roots.end(), root.get()) == 1 &&
                std::count(roots.begin(), roots.end(), d) == 0);
    drop(d);
    EXPECT_EQ(Reg::nameSpaceCount(), registries - 1);
    EXPECT_EQ(take(),
              "newNodeTypeNameSpace:d@0 newNodeTypeNameSpace:e@0 deleteNodeTypeNameSpace:d@0");
    // The unheld type went with its registry; the held one lives on without one.
    EXPECT_EQ(NodeType::findType(looseID), nullptr);
    EXPECT_EQ(NodeType::typeCount(), types - 1);
    EXPECT_EQ(kept->nameSpace(), nullptr);
    EXPECT_EQ(NodeType::findType(kept->getTypeID()), kept.get());
    EXPECT_TRUE(e->getParent() == nullptr && c->children().empty());
}

}  // namespace
