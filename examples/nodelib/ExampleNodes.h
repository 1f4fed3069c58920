#pragma once
// A small node library, declared the way any plug-in declares its types: each class has a
// static table of part rows and a static NodeType built from it, and holds its fields as
// members that it registers under the IDs of its rows. Tests, benchmarks and the example host
// use it.
//
//   Group          children (MFNode)                         a grouping node
//   Transform      Group + translation, rotation, scale
//   Shape          appearance [Appearance], geometry [Geometry]
//   Appearance     material [MaterialNode], effects (MFNode)
//   MaterialNode   abstract, transparency; made as a Material
//   Material       MaterialNode + diffuseColor, shininess, emissiveColor, shading
//   Geometry       abstract, without a default descendant
//   Box            Geometry + size, solid
//   Counter        count, step, increment (eventIn), total (eventOut)
//   Scene          context root with children
//   Inline         Group whose children live in a name scope of their own

#include <kalvex/Kalvex.h>

namespace KalvexExample {

// Makes sure a program that names no type of the library still links it in.
void init();

class Group : public Kalvex::Node {
  public:
    Group(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::MFNode& children() { return _children; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::MFNode _children;
};

class Transform : public Group {
  public:
    Transform(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFVec3f& translation() { return _translation; }
    Kalvex::SFRotation& rotation() { return _rotation; }
    Kalvex::SFVec3f& scale() { return _scale; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFVec3f _translation;
    Kalvex::SFRotation _rotation;
    Kalvex::SFVec3f _scale;
};

class Shape : public Kalvex::Node {
  public:
    Shape(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFNode& appearance() { return _appearance; }
    Kalvex::SFNode& geometry() { return _geometry; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFNode _appearance;
    Kalvex::SFNode _geometry;
};

class Appearance : public Kalvex::Node {
  public:
    Appearance(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFNode& material() { return _material; }
    Kalvex::MFNode& effects() { return _effects; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFNode _material;
    Kalvex::MFNode _effects;
};

// Abstract: asked for a MaterialNode, the type makes a Material.
class MaterialNode : public Kalvex::Node {
  public:
    MaterialNode(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFFloat& transparency() { return _transparency; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFFloat _transparency;
};

class Material : public MaterialNode {
  public:
    Material(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFColor& diffuseColor() { return _diffuseColor; }
    Kalvex::SFFloat& shininess() { return _shininess; }
    Kalvex::SFColor& emissiveColor() { return _emissiveColor; }
    Kalvex::SFString& shading() { return _shading; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFColor _diffuseColor;
    Kalvex::SFFloat _shininess;
    Kalvex::SFColor _emissiveColor;
    Kalvex::SFString _shading;
};

// Abstract, and nothing is made in its place.
class Geometry : public Kalvex::Node {
  public:
    static Kalvex::NodeType _type;
};

class Box : public Kalvex::Node {
  public:
    Box(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFVec3f& size() { return _size; }
    Kalvex::SFBool& solid() { return _solid; }

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFVec3f _size;
    Kalvex::SFBool _solid;
};

// Adds step to count on every increment event and sends the new count as total.
class Counter : public Kalvex::Node {
  public:
    Counter(Kalvex::NodeType& type, Kalvex::NodeNameSpace& nameSpace, const char* name);

    Kalvex::SFInt32& count() { return _count; }
    Kalvex::SFInt32& step() { return _step; }
    Kalvex::SFBool& increment() { return _increment; }
    Kalvex::SFInt32& total() { return _total; }

    void fieldChanged(Kalvex::Field& field, const Kalvex::TimeStamp& time,
                      Kalvex::Field* source) override;

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;

  private:
    Kalvex::SFInt32 _count;
    Kalvex::SFInt32 _step;
    Kalvex::SFBool _increment;
    Kalvex::SFInt32 _total;
};

// The root of a scene in a context: it owns the scene's name scope.
class Scene : public Group {
  public:
    using Group::Group;

    static Kalvex::NodeType _type;
};

// A group whose content lives in a name scope of its own, below the scope of the node, the way
// an inline scene's does: the enclosing scene sees into it only through what it exports.
class Inline : public Group {
  public:
    using Group::Group;

    // The scope of the content, made on first use.
    Kalvex::NodeNameSpace& content() { return *getProc()->childNameSpace(); }

    static Kalvex::NodeType _type;
};

// The behaviour of Inline: it owns the content's scope.
class InlineProc : public Kalvex::NodeProc {
  public:
    using NodeProc::NodeProc;
    Kalvex::NodeNameSpace* childNameSpace() override;

  private:
    Kalvex::SmartPtr<Kalvex::NodeNameSpace> _content;
};

}  // namespace KalvexExample
