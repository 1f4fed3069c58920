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
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using KalvexTest::LogCapture;

Node* makePlain(NodeType& type, NodeNameSpace& scope, const char* name) {
    return Node::createNode(type, scope, name);
}

NodePartDesc part(NodePartType kind, NodePartDataType data, const char* name,
                  const char* description = "documented", StaticParamMask options = 0,
                  unsigned redirect = 0) {
    return NodePartDesc(0, 0, kind, data, options, name, nullptr, nullptr, nullptr, description,
                        redirect);
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
        return new NodeType(*registry, s.name, "Test", s.parent, s.defaultOf, "2.0", s.component,
                            s.summary, s.status, s.description, "Test", true, s.contextRoot,
                            nullptr, s.concrete ? &makePlain : nullptr, nullptr, rows.back().data(),
                            unsigned(rows.back().size()));
    }
};

// Hears one subject and keeps the first object argument of each notification.
struct Recorder : Observer {
    explicit Recorder(Subject& subject) : Observer(subject, "recorder") {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject*, BaseObject*) override {
        seen.push_back(a);
    }
    std::vector<BaseObject*> seen;
};

TEST_F(NodeTypes, InitTypeAppendsLocalRowsToTheInheritedTable) {
    NodeType* lower = define(
        {.name = "Lower", .parent = "Upper"},
        {part(PartField, SFInt32Type, "weight"), part(PartExposedField, SFStringType, "mode")});
    NodeType* upper = define({.name = "Upper", .parent = "Transform"});
    const auto& inherited = Transform::_type.descVec();
    LogCapture log(osg::LOG_INFO);
    EXPECT_EQ(lower->initType(true), 2);  // the parent is built first
    EXPECT_EQ(lower->initType(true), 0);
    EXPECT_EQ(upper->initType(true), 0);
    EXPECT_TRUE(log.contains("INFO\tKalvex\tInit NATIVE Type Lower\n"));
    EXPECT_TRUE(log.contains("INFO\tKalvex\tInit NATIVE Type Upper\n"));
    ASSERT_EQ(lower->descCount(), inherited.size() + 2);
    for (size_t i = 0; i < inherited.size(); ++i) {
        EXPECT_EQ(lower->descVec()[i], inherited[i]);  // shared by address
        EXPECT_NE(inherited[i]->_refType, lower);
    }
    for (unsigned i = unsigned(inherited.size()); i < lower->descCount(); ++i) {
        EXPECT_EQ(lower->descVec()[i], &rows.front()[i - inherited.size()]);
        EXPECT_EQ(lower->descVec()[i]->ID, i);
        EXPECT_EQ(lower->descVec()[i]->mask.getValue(), 1UL << i);
        EXPECT_EQ(lower->descVec()[i]->_refType, lower);
    }
    EXPECT_EQ(upper->getParent(), &Transform::_type);
    EXPECT_EQ(upper->derivedTypes(), std::list<NodeType*>{lower});
    EXPECT_EQ(lower->findPart("translation"), Transform::_type.findPart("translation"));
}

TEST_F(NodeTypes, MasksWrapAt64) {
    std::vector<NodePartDesc> many;
    for (int i = 0; i < 70; ++i)
        many.push_back(part(PartField, SFInt32Type, ("p" + std::to_string(i)).c_str()));
    NodeType* wide = define({.name = "Wide"}, std::move(many));
    wide->initType(true);
    ASSERT_EQ(wide->descCount(), 72u);
    for (unsigned i = 0; i < 72; ++i) {
        EXPECT_EQ(wide->descVec()[i]->ID, i);
        EXPECT_EQ(wide->descVec()[i]->mask.getValue(), 1UL << (i % 64));  // 64 shares with 0
    }
}

TEST_F(NodeTypes, NameMapsAndRedirects) {
    NodeType* shadow = define(
        {.name = "Shadow", .parent = "Group"},
        {part(PartExposedField, MFNodeType, "children"), part(PartField, SFInt32Type, "size"),
         part(PartField, SFInt32Type, "alias", "", NodePartDesc::OptRedirected, 4),
         part(PartEventOut, SFInt32Type, "lost", "", NodePartDesc::OptRedirected, 99)});
    LogCapture log(osg::LOG_WARNING);
    shadow->initType(true);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tThere is already a part children in Type Shadow\n"
              "WARNING\tKalvex\tThere is already a part set_children in Type Shadow\n"
              "WARNING\tKalvex\tThere is already a part children_changed in Type "
              "Shadow\n");
    NodePartDesc* mine = &rows.back()[0];
    EXPECT_EQ(shadow->descVec()[2], Group::_type.findPart("children"));  // both rows stay
    for (const char* name : {"children", "set_children", "children_changed"})
        EXPECT_EQ(shadow->findPart(name), mine) << name;
    EXPECT_EQ(shadow->findPart("alias"), shadow->descVec()[4]);
    EXPECT_EQ(shadow->findPart("lost"), nullptr);
    // An eventIn or eventOut has no entry among the fields.
    EXPECT_EQ(Counter::_type.fieldMap().count("increment"), 0u);
    EXPECT_EQ(Counter::_type.findPart("increment"), &Counter::_desc[2]);
    EXPECT_EQ(Counter::_type.findPart("total"), &Counter::_desc[3]);
    EXPECT_EQ(Counter::_type.findPart("set_count"), Counter::_type.findPart("count_changed"));
    EXPECT_EQ(Counter::_type.findPart("set_step"), nullptr);
}

TEST_F(NodeTypes, StatusWordsAreExact) {
    // clang-format off
    const std::pair<const char*, NodeTypeStatus> cases[] = {
        {"", StatusNone}, {"experimental", StatusExperimental}, {"alpha", StatusAlpha},
        {"beta", StatusBeta}, {"stable", StatusStable}, {"deprecated", StatusDeprecated},
        {"Stable", StatusNone}, {"stable ", StatusNone}};
    // clang-format on
    for (const auto& [word, status] : cases) {
        SmartPtr<NodeType> type = define({.name = "Status", .status = word});
        LogCapture log(osg::LOG_WARNING);
        type->initType(true);
        EXPECT_EQ(type->status(), status) << word;
        EXPECT_EQ(log.text(),
                  status || !*word
                      ? std::string()
                      : "FATAL\tKalvex\tStatus: Invalid status: " + std::string(word) + "\n");
    }
}

TEST_F(NodeTypes, BadInputFromPlugIns) {
    struct Case {
        TypeArgs args;
        std::vector<std::string> messages;
    };
    const Case cases[] = {
        {{.name = "Orphan", .parent = "NoSuch"},
         {"FATAL\tKalvex\tCan't find NodeType for NoSuch, parent of Orphan\n",
          "FATAL\tKalvex\tOrphan Node Type without parent\n"}},
        {{.name = "Odd", .parent = "3D"},
         {"FATAL\tKalvex\tCan't find NodeType for 3D, parent of Odd\n",
          "FATAL\tKalvex\tOdd Node Type without parent\n"}},
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
    for (const Case& c : cases) {
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
        if (!type->getParent()) {
            // Without a parent the local rows stand alone, unnumbered but bound.
            EXPECT_EQ(built, 1);
            ASSERT_EQ(type->descCount(), 1u);
            EXPECT_EQ(type->descVec()[0]->ID, 9u);
            EXPECT_EQ(type->descVec()[0]->_refType, type.get());
            EXPECT_EQ(type->findPart("local"), type->descVec()[0]);
            EXPECT_TRUE(type->isALeafNode());
        }
    }
    EXPECT_EQ(Geometry::_type.defaultDescendant(), nullptr);
    EXPECT_EQ(NodeType::findContextRootType("Scene"), &Scene::_type);
    EXPECT_EQ(NodeType::findContextRootType("scene"), nullptr);
    EXPECT_EQ(NodeType::findContextRootType("Group"), nullptr);
    // A parent name that reads as a number must not hang the locked walk over all types.
    NodeType::initTypeTree(true);
    SmartPtr<NodeType> odd = define({.name = "Odd", .parent = "42"});
    LogCapture log(osg::LOG_WARNING);
    EXPECT_EQ(NodeType::initTypeTree(true), 1);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tCan't find NodeType for 42, parent of Odd\n"
              "FATAL\tKalvex\tOdd Node Type without parent\n");
}

TEST_F(NodeTypes, IsAAndDefaultDescendants) {
    struct Case {
        NodeType *type, *other;
        int distance;
    };
    // clang-format off
    const Case cases[] = {
        {&Transform::_type, &Transform::_type, 0}, {&Transform::_type, &Group::_type, 1},
        {&Transform::_type, &Node::_type, 2},      {&Group::_type, &Transform::_type, -1},
        {&Box::_type, &Geometry::_type, 1},        {&Box::_type, &Shape::_type, -1},
        {&Material::_type, &MaterialNode::_type, 1}, {&Node::_type, &Box::_type, -1}};
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type->getName() + " / " + c.other->getName());
        EXPECT_EQ(c.type->isADistance(*c.other), c.distance);
        EXPECT_EQ(c.type->isA(*c.other), c.distance >= 0);
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
    EXPECT_EQ(abstract->defaultDescendant(), pick);
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
    Recorder made(*Node::newObjectSubject());
    LogCapture log(osg::LOG_INFO);
    SmartPtr<Node> material = MaterialNode::_type.createNode(scope.get(), "m", CreatorLoader);
    ASSERT_TRUE(material);
    EXPECT_EQ(&material->getType(), &Material::_type);
    EXPECT_EQ(material->creator(), CreatorLoader);  // the inner call's System is overwritten
    EXPECT_EQ(material->getState(), Kalvex::Setup);
    EXPECT_EQ(material->getName(), "m");
    EXPECT_TRUE(log.contains(
        "INFO\tKalvex\tCreate _defaultDescendant Node of type Material for MaterialNode\n"));
    EXPECT_EQ(made.seen, (std::vector<BaseObject*>{material.get(), material.get()}));
    // Only the outer call attaches: once, to the material field, not also to the effects.
    SmartPtr<Node> look = Appearance::_type.createNode(scope.get(), "a", CreatorLoader);
    Node* inner = MaterialNode::_type.createNode(look.get(), "m2", CreatorLoader);
    ASSERT_TRUE(inner);
    EXPECT_EQ(static_cast<Appearance&>(*look).material().rawNode(), inner);
    EXPECT_EQ(static_cast<Appearance&>(*look).effects().size(), 0u);

    // Each kind of parent takes the new node.
    SmartPtr<Node> group = NodeType::createNode(scope.get(), "Group", "g", CreatorLoader);
    SmartPtr<Node> shape = Shape::_type.createNode(scope.get(), "s", CreatorLoader);
    Node* child = Transform::_type.createNode(group.get(), "t", CreatorRuntime);
    Node* listed =
        Box::_type.createNode(&static_cast<Group&>(*group).children(), "b1", CreatorRuntime);
    Node* linked =
        Box::_type.createNode(&static_cast<Shape&>(*shape).geometry(), "b2", CreatorRuntime);
    ASSERT_TRUE(child && listed && linked);
    EXPECT_EQ(static_cast<Group&>(*group).children().size(), 2u);
    EXPECT_EQ(static_cast<Shape&>(*shape).geometry().rawNode(), linked);
    EXPECT_EQ(linked->getNameSpace(), scope.get());

    SmartPtr<Node> plain = NodeType::createNode(scope.get(), nullptr, "p", CreatorDynamic);
    ASSERT_TRUE(plain);
    EXPECT_EQ(&plain->getType(), &Node::_type);
    EXPECT_EQ(plain->creator(), CreatorDynamic);
    EXPECT_EQ(plain->getState(), Kalvex::Setup);
    EXPECT_EQ(plain->getNameSpace(), scope.get());

    // A node counts on its type and on every ancestor.
    const int counts[] = {Transform::_type.objCount(), Group::_type.objCount(),
                          Node::_type.objCount(), Box::_type.objCount()};
    Transform::_type.changeObjCounter(3);
    EXPECT_EQ(Transform::_type.objCount(), counts[0] + 3);
    EXPECT_EQ(Group::_type.objCount(), counts[1] + 3);
    EXPECT_EQ(Node::_type.objCount(), counts[2] + 3);
    EXPECT_EQ(Box::_type.objCount(), counts[3]);
    Transform::_type.changeObjCounter(-3);
    EXPECT_EQ(Node::_type.objCount(), counts[2]);
}

TEST_F(NodeTypes, ContextRoots) {
    SmartPtr<Context> context{Context::create()};
    struct Case {
        BaseObject* parent;
        const char* name;
        const char *scopeName, *nodeName, *message;
    };
    const Case cases[] = {
        {nullptr, "world:top", "world", "top",
         "LOG\tKalvex\tContextRoot NameSpace: world, Name: top\n"},
        {nullptr, "a:b:c", "a", "b", "LOG\tKalvex\tContextRoot NameSpace: a, Name: b\n"},
        {nullptr, "plain", "scene", "plain", ""},
        {nullptr, nullptr, "scene", "scene", ""},
        {scope.get(), "x:y", "x", "y",
         "WARNING\tKalvex\tNameSpace given while create ContextRoot node\n"
         "LOG\tKalvex\tContextRoot NameSpace: x, Name: y\n"},
        {context.get(), "held", "scene", "held", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name ? c.name : "(null)");
        LogCapture log(osg::LOG_WARNING);
        SmartPtr<Node> root = NodeType::createNode(c.parent, "Scene", c.name, CreatorLoader);
        ASSERT_TRUE(root);
        EXPECT_EQ(log.text(), c.message);
        NodeNameSpace* own = root->getNameSpace();
        ASSERT_NE(own, nullptr);
        EXPECT_NE(own, scope.get());
        EXPECT_EQ(own->getName(), c.scopeName);
        EXPECT_EQ(root->getName(), c.nodeName);
        EXPECT_EQ(own->getRoot(), root.get());
        EXPECT_EQ(root->creator(), CreatorLoader);
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
        EXPECT_TRUE(alias->version() == original->version() &&
                    alias->summary() == original->summary() &&
                    alias->status() == original->status() && alias->component().empty());
        EXPECT_EQ(alias->descVec(), original->descVec());
    }
    SmartPtr<Node> moved = NodeType::createNode(scope.get(), "Xform", "x", CreatorLoader);
    ASSERT_TRUE(moved);
    EXPECT_EQ(&moved->getType(), xform);
    EXPECT_EQ(xform->findPart("translation"), Transform::_type.findPart("translation"));
    SmartPtr<Node> surface = mat->createNode(scope.get(), "m", CreatorLoader);
    ASSERT_TRUE(surface);
    EXPECT_EQ(&surface->getType(), &Material::_type);
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
    EXPECT_TRUE(lower->initialized() && lower->getParent() == upper);

    const auto has = [](const std::vector<NodeType*>& v, const NodeType* t) {
        return std::find(v.begin(), v.end(), t) != v.end();
    };
    std::vector<NodeType*> all;
    EXPECT_EQ(NodeType::getTypeVec(all, 1 | 4), int(NodeType::typeCount()));
    struct Case {
        int flags;
        bool lower, upper, old, geometry;
    };
    // clang-format off
    const Case cases[] = {
        {1, true, true, false, true},        {1 | 4, true, true, true, true},
        {1 | 16, true, false, false, false}, {1 | 4 | 16, true, false, true, false},
        {1 | 8, false, false, false, false}, {1 | 8 | 16, false, false, false, false}};
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flags);
        std::vector<NodeType*> out{lower};  // stale, cleared by flag 1
        const int n = NodeType::getTypeVec(out, c.flags);
        EXPECT_EQ(n, int(out.size()));
        EXPECT_EQ(has(out, lower), c.lower);
        EXPECT_EQ(has(out, upper), c.upper);
        EXPECT_EQ(has(out, old), c.old);
        EXPECT_EQ(has(out, &Geometry::_type), c.geometry);
    }
    std::vector<NodeType*> grown{lower};
    const int appended = NodeType::getTypeVec(grown, 16);
    EXPECT_EQ(appended, int(grown.size()) - 1);  // without flag 1 it appends

    // IDs grow and are never given again.
    const unsigned id = old->getTypeID(), count = NodeType::typeCount();
    EXPECT_EQ(NodeType::findType(id), old);
    old->addRef();
    old->subRef();
    EXPECT_EQ(NodeType::findType(id), nullptr);
    EXPECT_EQ(NodeType::typeCount(), count - 1);
    EXPECT_GT(define({.name = "Later"})->getTypeID(), id);
    testing::internal::CaptureStderr();
    Box::_type.dump();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Box : Geometry { \n");
}

TEST_F(NodeTypes, DocStatus) {
    // Coverage counts only alpha, beta and stable types; inherited rows count with each type.
    const auto counts = [](bool verbose, std::string* text = nullptr) {
        std::ostringstream out;
        const bool complete = NodeType::reportDocStatus(out, verbose);
        std::vector<int> n(4, -1);
        const std::string all = out.str();
        const size_t at = all.find("  Summery: ");
        if (at == std::string::npos) ADD_FAILURE() << all;
        if (at != std::string::npos)
            std::sscanf(all.c_str() + at, "  Summery: NodeTypes: %d/%d Fields: %d/%d", &n[0], &n[1],
                        &n[2], &n[3]);
        EXPECT_EQ(complete, n[0] == n[1] && n[2] == n[3]);
        if (text) *text = all;
        return n;
    };
    const std::vector<int> before = counts(false);
    define({.name = "Written", .status = "beta"}, {part(PartField, SFInt32Type, "w")})
        ->initType(true);
    define({.name = "Gappy", .status = "alpha", .description = ""},
           {part(PartField, SFInt32Type, "g", ""), part(PartField, SFInt32Type, "h")})
        ->initType(true);
    define({.name = "Early", .status = "experimental", .description = ""})->initType(true);
    define({.name = "Gone", .status = "deprecated", .description = ""})->initType(true);
    std::string text;
    const std::vector<int> after = counts(true, &text);
    EXPECT_EQ(after,
              (std::vector<int>{before[0] + 1, before[1] + 2, before[2] + 6, before[3] + 7}));
    EXPECT_EQ(text.rfind("NodeType Documentation status: (verbose): ", 0), 0u);
    EXPECT_NE(text.find("  Incomplete Doc: "), std::string::npos);
    EXPECT_NE(text.find("3/4"), std::string::npos);
}

}  // namespace
