#include "ExampleNodes.h"

namespace KalvexExample {

using namespace Kalvex;

namespace {

constexpr StaticParamMask kAuto = NodePartDesc::OptAutoProcess;

// The factories every type hands its NodeType.
template <class T>
Node* make(NodeType& type, NodeNameSpace& nameSpace, const char* name) {
    return new T(type, nameSpace, name);
}

template <class T>
bool is(Node* node) {
    return dynamic_cast<T*>(node) != nullptr;
}

NodeTypeNameSpace& base() {
    return theBaseNodeTypeFactory();
}

}  // namespace

void init() {
    // Naming one type keeps the unit, and with it every registration, in the program.
    (void)Group::_type.getTypeID();
}

// --- Group -------------------------------------------------------------------------------------

NodePartDesc Group::_desc[] = {{2, partMaskOf(2), PartExposedField, MFNodeType, kAuto, "children",
                                "Grouping", nullptr, nullptr,
                                "the child nodes, drawn and walked in order"}};

NodeType Group::_type(base(), "Group", "Example", "Node", nullptr, "1.0", "Example",
                      "Groups child nodes", "stable",
                      "A node that holds an ordered list of children", "Example", true, false,
                      &is<Group>, &make<Group>, nullptr, Group::_desc, 1);

Group::Group(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _children(*this) {
    regField(_children, type, _desc[0].ID, true);
}

// --- Transform ---------------------------------------------------------------------------------

NodePartDesc Transform::_desc[] = {
    {3, partMaskOf(3), PartExposedField, SFVec3fType, kAuto, "translation", "Transform", "0 0 0",
     nullptr, "offset of the children"},
    {4, partMaskOf(4), PartExposedField, SFRotationType, kAuto, "rotation", "Transform", "0 0 1 0",
     nullptr, "rotation of the children about an axis"},
    {5, partMaskOf(5), PartExposedField, SFVec3fType, kAuto, "scale", "Transform", "1 1 1", nullptr,
     "scale of the children along the three axes"}};

NodeType Transform::_type(base(), "Transform", "Example", "Group", nullptr, "1.0", "Example",
                          "Moves, turns and scales its children", "stable",
                          "A group with a transformation", "Example", true, false, &is<Transform>,
                          &make<Transform>, nullptr, Transform::_desc, 3);

Transform::Transform(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Group(type, nameSpace, name), _translation(*this), _rotation(*this), _scale(*this) {
    regField(_translation, type, _desc[0].ID, true);
    regField(_rotation, type, _desc[1].ID, true);
    regField(_scale, type, _desc[2].ID, true);
}

// --- Shape -------------------------------------------------------------------------------------

NodePartDesc Shape::_desc[] = {{2, partMaskOf(2), PartExposedField, SFNodeType, kAuto, "appearance",
                                "Shape", nullptr, "Appearance", "how the geometry looks"},
                               {3, partMaskOf(3), PartExposedField, SFNodeType, kAuto, "geometry",
                                "Shape", nullptr, "[Geometry]", "what is drawn"}};

NodeType Shape::_type(base(), "Shape", "Example", "Node", nullptr, "1.0", "Example",
                      "A geometry with an appearance", "stable",
                      "Binds one geometry to one appearance", "Example", true, false, &is<Shape>,
                      &make<Shape>, nullptr, Shape::_desc, 2);

Shape::Shape(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _appearance(*this), _geometry(*this) {
    regField(_appearance, type, _desc[0].ID, true);
    regField(_geometry, type, _desc[1].ID, true);
}

// --- Appearance --------------------------------------------------------------------------------

NodePartDesc Appearance::_desc[] = {
    {2, partMaskOf(2), PartExposedField, SFNodeType, kAuto, "material", "Appearance", nullptr,
     "MaterialNode", "the surface material"},
    {3, partMaskOf(3), PartExposedField, MFNodeType, kAuto, "effects", "Appearance", nullptr,
     nullptr, "further nodes that change the look"}};

NodeType Appearance::_type(base(), "Appearance", "Example", "Node", nullptr, "1.0", "Example",
                           "The look of a shape", "stable",
                           "Holds the material and the effects of a shape", "Example", true, false,
                           &is<Appearance>, &make<Appearance>, nullptr, Appearance::_desc, 2);

Appearance::Appearance(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _material(*this), _effects(*this) {
    regField(_material, type, _desc[0].ID, true);
    regField(_effects, type, _desc[1].ID, true);
}

// --- MaterialNode and Material -----------------------------------------------------------------

NodePartDesc MaterialNode::_desc[] = {{2, partMaskOf(2), PartExposedField, SFFloatType, kAuto,
                                       "transparency", "Material", "0", "[0,1]",
                                       "0 is opaque, 1 fully clear"}};

NodeType MaterialNode::_type(base(), "MaterialNode", "Example", "Node", nullptr, "1.0", "Example",
                             "Abstract surface material", "stable",
                             "The base of all materials; asked for, it makes a Material", "Example",
                             true, false, &is<MaterialNode>, nullptr, nullptr, MaterialNode::_desc,
                             1);

MaterialNode::MaterialNode(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _transparency(*this) {
    regField(_transparency, type, _desc[0].ID, true);
}

NodePartDesc Material::_desc[] = {
    {3, partMaskOf(3), PartExposedField, SFColorType, kAuto, "diffuseColor", "Material",
     "0.8 0.8 0.8", nullptr, "colour of the lit surface"},
    {4, partMaskOf(4), PartExposedField, SFFloatType, kAuto, "shininess", "Material", "0.2",
     "[0,1]", "size of the highlight"},
    {5, partMaskOf(5), PartExposedField, SFColorType, kAuto, "emissiveColor", "Material", "0 0 0",
     nullptr, "colour the surface gives off itself"},
    {6, partMaskOf(6), PartExposedField, SFStringType, kAuto, "shading", "Material", "smooth",
     "flat,smooth,wire", "how the surface is shaded"}};

NodeType Material::_type(base(), "Material", "Example", "MaterialNode", "MaterialNode", "1.0",
                         "Example", "A lit surface material", "stable",
                         "Colours and shading of a surface", "Example", true, false, &is<Material>,
                         &make<Material>, nullptr, Material::_desc, 4);

Material::Material(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : MaterialNode(type, nameSpace, name),
      _diffuseColor(*this),
      _shininess(*this),
      _emissiveColor(*this),
      _shading(*this) {
    regField(_diffuseColor, type, _desc[0].ID, true);
    regField(_shininess, type, _desc[1].ID, true);
    regField(_emissiveColor, type, _desc[2].ID, true);
    regField(_shading, type, _desc[3].ID, true);
}

// --- Geometry and Box --------------------------------------------------------------------------

NodeType Geometry::_type(base(), "Geometry", "Example", "Node", nullptr, "1.0", "Example",
                         "Abstract geometry", "stable", "The base of everything a shape draws",
                         "Example", true, false, &is<Geometry>, nullptr, nullptr, nullptr, 0);

NodePartDesc Box::_desc[] = {{2, partMaskOf(2), PartField, SFVec3fType, 0, "size", "Geometry",
                              "2 2 2", nullptr, "edge lengths"},
                             {3, partMaskOf(3), PartField, SFBoolType, 0, "solid", "Geometry",
                              "TRUE", nullptr, "whether the inside is hidden"}};

NodeType Box::_type(base(), "Box", "Example", "Geometry", nullptr, "1.0", "Example",
                    "An axis-aligned box", "stable", "A box centred at the origin", "Example", true,
                    false, &is<Box>, &make<Box>, nullptr, Box::_desc, 2);

Box::Box(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _size(*this), _solid(*this) {
    regField(_size, type, _desc[0].ID, true);
    regField(_solid, type, _desc[1].ID, true);
}

// --- Counter -----------------------------------------------------------------------------------

NodePartDesc Counter::_desc[] = {{2, partMaskOf(2), PartExposedField, SFInt32Type, kAuto, "count",
                                  "Counter", "0", nullptr, "the running count"},
                                 {3, partMaskOf(3), PartField, SFInt32Type, 0, "step", "Counter",
                                  "1", nullptr, "what each increment adds"},
                                 {4, partMaskOf(4), PartEventIn, SFBoolType, 0, "increment",
                                  "Counter", nullptr, nullptr, "TRUE adds step to count"},
                                 {5, partMaskOf(5), PartEventOut, SFInt32Type, 0, "total",
                                  "Counter", nullptr, nullptr, "the count after each increment"}};

NodeType Counter::_type(base(), "Counter", "Example", "Node", nullptr, "1.0", "Example",
                        "Counts events", "stable", "Adds a step for every increment it receives",
                        "Example", true, false, &is<Counter>, &make<Counter>, nullptr,
                        Counter::_desc, 4);

Counter::Counter(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name), _count(*this), _step(*this), _increment(*this), _total(*this) {
    regField(_count, type, _desc[0].ID, true);
    regField(_step, type, _desc[1].ID, true);
    regField(_increment, type, _desc[2].ID, true);
    regField(_total, type, _desc[3].ID, true);
}

void Counter::fieldChanged(Field& field, const TimeStamp& time, Field* source) {
    Node::fieldChanged(field, time, source);
    if (&field != &_increment || !_increment.getValue()) return;
    _count.setValue(_count.getValue() + _step.getValue());
    _count.processValueChange(time);
    _total.setValue(_count.getValue());
    _total.processValueChange(time);
}

// --- Scene -------------------------------------------------------------------------------------

NodeType Scene::_type(base(), "Scene", "Example", "Group", nullptr, "1.0", "Example",
                      "The root of a scene", "stable",
                      "Holds a scene's top nodes and owns its name scope", "Example", true, true,
                      &is<Scene>, &make<Scene>, nullptr, nullptr, 0);

// --- Inline ------------------------------------------------------------------------------------

NodeType Inline::_type(
    base(), "Inline", "Example", "Group", nullptr, "1.0", "Example",
    "Groups content in a scope of its own", "stable",
    "Its children are DEF-named in their own scope, below the node's", "Example", true, false,
    &is<Inline>, &make<Inline>,
    [](NodeType& type, Node& node) -> NodeProc* { return new InlineProc(type, node); }, nullptr, 0);

NodeNameSpace* InlineProc::childNameSpace() {
    if (!_content) {
        NodeNameSpace* outer = node().getNameSpace();
        _content = new NodeNameSpace(
            (node().hasName() ? node().getName() : node().getIDStr()) + "_content", outer, false);
        // The content knows the types the enclosing scene knows.
        if (outer) _content->setNodeTypeNameSpace(outer->nodeTypeNameSpace());
    }
    return _content.get();
}

}  // namespace KalvexExample
