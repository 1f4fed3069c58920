// Node types: building the part table from the tree, name maps, status words, isA questions,
// default descendants, node creation in all its forms, context roots, aliases and the type list.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
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

// What a plug-in passes to the native constructor, with the values most tests want.
struct TypeArgs {
    const char* name;
    const char* parent = "Node";
    const char* status = "stable";
    bool concrete = true;
    const char* defaultOf = nullptr;
    const char* component = "Test";
    bool contextRoot = false;
    const char* description = "documented";
    const char* summary = "a test type";
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
        const auto create = [](NodeType& type, NodeNameSpace& scope, const char* name) {
            return Node::createNode(type, scope, name);
        };
        return new NodeType(*registry, s.name, "Test", s.parent, s.defaultOf, "2.0", s.component,
                            s.summary, s.status, s.description, "Test", true, s.contextRoot,
                            nullptr, s.concrete ? +create : nullptr, nullptr, rows.back().data(),
                            unsigned(rows.back().size()));
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
        const bool local = i >= inherited.size();
        EXPECT_EQ(row, local ? &rows.front()[i - inherited.size()] : inherited[i]);  // by address
        EXPECT_EQ(row->_refType == lower, local);
        EXPECT_EQ(row->ID, i);
        EXPECT_EQ(row->mask.getValue(), 1UL << (i % 64));  // 64 shares with 0
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
    // The five words in the order of their values; then words that are no status.
    const char* words[] = {"",       "experimental", "alpha",  "beta",
                           "stable", "deprecated",   "Stable", "stable "};
    for (int value = 0; value < 8; ++value) {
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
    const struct {
        TypeArgs args;
        std::vector<std::string> messages;
    } cases[] = {
        {{.name = "Orphan", .parent = "NoSuch"},
         {"FATAL\tKalvex\tCan't find NodeType for NoSuch, parent of Orphan\n",
          "FATAL\tKalvex\tOrphan Node Type without parent\n"}},
        {{.name = "Stray", .defaultOf = "Nowhere"},
         {"FATAL\tKalvex\tCan not set defaultDescendant for Stray"}},
        {{.name = "Pushy", .parent = "Box", .defaultOf = "Box"},
         {"FATAL\tKalvex\tNodeType::setDefaultDescendant() call on non-abstract type\n"}},
        {{.name = "Cuckoo", .defaultOf = "Geometry"},
         {"FATAL\tKalvex\tInvalid setDefaultDescendant(): Cuckoo is not a Geometry\n"}},
        {{.name = nullptr}, {"FATAL\tKalvex\tNATIVE NodeType without a name\n"}},
        {{.name = "NoComp", .component = nullptr},
         {"WARNING\tKalvex\tNodeType NoComp is not assigned to any compnent\n",
          "WARNING\tKalvex\tConcrete NodeType >NoComp< is not assigned to any component\n"}},
        {{.name = "EmptyComp", .concrete = false, .component = ""},
         {"WARNING\tKalvex\tConcrete NodeType >EmptyComp< is not assigned to any component\n"}},
        {{.name = "Scene", .contextRoot = true},
         {"FATAL\tKalvex\tSecond Context Root Type with equal name: >Scene<"}},
        {{.name = "Stage", .contextRoot = true},
         {"INFO\tKalvex\tRegister Context Root Type: Stage\n"}},
    };
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
    EXPECT_EQ(NodeType::findContextRootType("scene"), nullptr);
    EXPECT_EQ(NodeType::findContextRootType("Group"), nullptr);
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
        {&Transform::_type, &Transform::_type, 0}, {&Transform::_type, &Group::_type, 1},
        {&Transform::_type, &Node::_type, 2},      {&Group::_type, &Transform::_type, -1},
        {&Box::_type, &Geometry::_type, 1},        {&Box::_type, &Shape::_type, -1},
        {&Material::_type, &MaterialNode::_type, 1}, {&Node::_type, &Box::_type, -1}};
    // clang-format on
    for (const auto& [type, other, distance] : cases) {
        EXPECT_EQ(type->isADistance(*other), distance)
            << type->getName() << "/" << other->getName();
        EXPECT_EQ(type->isA(*other), distance >= 0) << type->getName() << "/" << other->getName();
    }
    EXPECT_EQ(MaterialNode::_type.defaultDescendant(), &Material::_type);
    EXPECT_EQ(Material::_type.isDefaultDescendantOf(), &MaterialNode::_type);
    EXPECT_EQ(Box::_type.isDefaultDescendantOf(), nullptr);
    // Every type below Node has the metadata reference, so none of them is a leaf.
    EXPECT_FALSE(Box::_type.isALeafNode() || Node::_type.isALeafNode());
    EXPECT_TRUE(Group::_type.isAGenericGroupNode());
    EXPECT_TRUE(Appearance::_type.isAGenericGroupNode());  // effects takes any node
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
    NodeType* old = define({.name = "Old", .status = "deprecated", .summary = "use New"});
    old->initType(true);
    LogCapture log(osg::LOG_WARNING);
    const std::string abstract = "Could not create Geometry node in NodeType::createNode()\n";
    const std::string noScope = "Box/%: No valid NodeNameSpace in createNode\n";
    // Member form with a type, or the static form with a type name (null: the member form).
    // clang-format off
    const std::tuple<NodeType*, BaseObject*, const char*, std::string> cases[] = {
        {&Geometry::_type, scope.get(), nullptr, abstract},
        {&Box::_type, nullptr, nullptr, noScope},
        {&Box::_type, context.get(), nullptr, noScope},
        {nullptr, scope.get(), "Geometry", abstract},
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
    SmartPtr<Node> stale = NodeType::createNode(scope.get(), "Old", "o1", CreatorLoader);
    ASSERT_TRUE(stale);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tOld/o1 Type is DEPRECATED: use New\n");
}

TEST_F(NodeTypes, CreateNodeAttachesAndCounts) {
    Watcher made(Node::newObjectSubject());
    take();
    LogCapture log(osg::LOG_INFO);
    SmartPtr<Node> material = MaterialNode::_type.createNode(scope.get(), "m", CreatorLoader);
    ASSERT_TRUE(material);
    EXPECT_EQ(&material->getType(), &Material::_type);
    EXPECT_EQ(material->creator(), CreatorLoader);  // the inner call's System is overwritten
    EXPECT_EQ(material->getState(), Kalvex::Setup);
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
    SmartPtr<Group> group =
        static_cast<Group*>(NodeType::createNode(scope.get(), "Group", "g", CreatorLoader));
    ProbeNode* probe =
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
    SmartPtr<Node> plain = NodeType::createNode(scope.get(), nullptr, "p", CreatorDynamic);
    ASSERT_TRUE(plain);
    EXPECT_EQ(&plain->getType(), &Node::_type);
    EXPECT_EQ(plain->creator(), CreatorDynamic);
    EXPECT_EQ(plain->getState(), Kalvex::Setup);
}

TEST_F(NodeTypes, ContextRoots) {
    SmartPtr<Context> context{Context::create()};
    const std::string named = "LOG\tKalvex\tContextRoot NameSpace: ";
    // clang-format off
    const struct { BaseObject* in; const char *name, *scope, *node; std::string log; } cases[] = {
        {nullptr, "world:top", "world", "top", named + "world, Name: top\n"},
        {nullptr, "a:b:c", "a", "b", named + "a, Name: b\n"},
        {nullptr, "plain", "scene", "plain", ""}, {nullptr, nullptr, "scene", "scene", ""},
        {scope.get(), "x:y", "x", "y",
         "WARNING\tKalvex\tNameSpace given while create ContextRoot node\n" + named +
             "x, Name: y\n"},
        {context.get(), "held", "scene", "held", ""}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name ? c.name : "(null)");
        LogCapture log(osg::LOG_WARNING);
        SmartPtr<Node> root = NodeType::createNode(c.in, "Scene", c.name, CreatorLoader);
        ASSERT_TRUE(root);
        EXPECT_EQ(log.text(), c.log);
        NodeNameSpace* own = root->getNameSpace();
        ASSERT_TRUE(own && own != scope.get());
        EXPECT_EQ(own->getName(), c.scope);
        EXPECT_EQ(root->getName(), c.node);
        EXPECT_EQ(own->getRoot(), root.get());
        // The root's scope finds types through the root type's registry.
        SmartPtr<Node> inner = NodeType::createNode(own, "Box", "inner", CreatorLoader);
        EXPECT_TRUE(inner && inner->getNameSpace() == own);
    }
    std::vector<Node*> roots;
    EXPECT_EQ(context->getRootVec(roots), 1u);
    EXPECT_EQ(roots[0]->getName(), "held");
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
        EXPECT_EQ(alias->isADistance(*original), 1);
        EXPECT_FALSE(original->isA(*alias));
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
    EXPECT_EQ(&moved->getType(), xform);
    EXPECT_EQ(&plain->getType(), &Box::_type);
    EXPECT_EQ(&surface->getType(), &Material::_type);
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
    // clang-format off
    const struct { int flags; bool lower, upper, old, geometry; } cases[] = {
        {1, true, true, false, true},        {1 | 4, true, true, true, true},
        {1 | 16, true, false, false, false}, {1 | 4 | 16, true, false, true, false},
        {1 | 8, false, false, false, false}, {8 | 16, false, false, false, false}};
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
    const unsigned id = old->getTypeID(), count = NodeType::typeCount();
    old->addRef();
    old->subRef();
    EXPECT_EQ(NodeType::findType(id), nullptr);
    EXPECT_EQ(NodeType::typeCount(), count - 1);
    EXPECT_GT(define({.name = "Later"})->getTypeID(), id);
}

TEST_F(NodeTypes, DocStatusCountsAlphaToStableTypesWithTheirInheritedRows) {
    // The summary figures: documented and all types, documented and all parts.
    const auto counts = [](bool verbose, std::string& text) {
        std::ostringstream out;
        const bool complete = NodeType::reportDocStatus(out, verbose);
        std::vector<int> n(4, -1);
        text = out.str();
        std::sscanf(text.c_str() + text.find("  Summery: NodeTypes: ") + 22, "%d/%d Fields: %d/%d",
                    &n[0], &n[1], &n[2], &n[3]);
        EXPECT_EQ(complete, n[0] == n[1] && n[2] == n[3]);
        return n;
    };
    std::string text;
    const std::vector<int> before = counts(false, text);
    define({.name = "Written", .status = "beta"}, {part(PartField, "w")})->initType(true);
    define({.name = "Gappy", .status = "alpha", .description = ""},
           {part(PartField, "g", ""), part(PartField, "h")})
        ->initType(true);
    define({.name = "Early", .status = "experimental", .description = ""})->initType(true);
    define({.name = "Gone", .status = "deprecated", .description = ""})->initType(true);
    EXPECT_EQ(counts(true, text),
              (std::vector<int>{before[0] + 1, before[1] + 2, before[2] + 6, before[3] + 7}));
    EXPECT_EQ(text.rfind("NodeType Documentation status: (verbose): ", 0), 0u);
    EXPECT_NE(text.find("  Incomplete Doc: Gappy 3/4\n"), std::string::npos) << text;
}

}  // namespace
