#pragma once

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeProc.h"

namespace Kalvex {

class MetadataObjectProc;

// The abstract base of metadata nodes, the type that every node's metadata part asks for.
// Concrete metadata types live outside the library and derive from it.
class MetadataObject : public Node {
  public:
    MetadataObject(NodeType& type, NodeNameSpace& nameSpace, const char* name);

    // The loop guard of Node, taken for parts without a mask too (for them it never stops).
    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override;

    MetadataObjectProc* getMetadataObjectProc() const;
    SFString& nameField() { return _nameField; }
    SFString& reference() { return _reference; }
    SFBool& enabled() { return _enabled; }

    static bool isType(Node* node) { return dynamic_cast<MetadataObject*>(node) != nullptr; }
    // Checks that the type is registered where it was declared.
    static bool init();

    static NodePartDesc _desc[3];
    static NodeType _type;
    static const NodePartMask nameMask;
    static const NodePartMask referenceMask;
    static const NodePartMask enabledMask;

  private:
    SFString _nameField;
    SFString _reference;
    SFBool _enabled;
};

class MetadataObjectProc : public NodeProc {
  public:
    using NodeProc::NodeProc;
    static NodeProc* create(NodeType& type, Node& node) {
        return new MetadataObjectProc(type, node);
    }
};

}  // namespace Kalvex
