#pragma once

#include <map>
#include <string>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/BitVector.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class CollectAction;
class Field;
class GenericAction;
class MFString;
class CopyAction;
class NameSpaceTransferAction;
class SynchronizeAction;
class NodeLink;
class NodeNameSpace;
class NodeType;
class EventOutSlot;
class Route;
class SFString;

// One entry of a text dictionary: a word and its value. A dictionary is a static array of
// entries that ends with an empty word; its first entry is the default.
struct StringDic {
    const char* str;
    int value;
};

// The behaviour half of a node. Node classes outside the library derive from it and override
// its callbacks; the node state machine calls them (setup, initialize, attach, detach, shutdown,
// dispose), the links call the child and parent callbacks, and the field core calls
// fieldChanged. A node owns its behaviour object.
class NodeProc : public AttachmentBag {
  public:
    // What checkReleaseType is asked about.
    enum ReleaseType : int { ReleaseFieldData = 0, ReleaseNodes = 1 };
    using PartDescMap = std::map<unsigned int, NodePartDesc*>;

    NodeProc(NodeType& type, Node& node);
    NodeProc(const NodeProc& other);
    // Deletes the dynamic parts: their fields and their rows.
    ~NodeProc() override;

    using RefCountObject::shutdown;

    // Lifecycle callbacks, in the order of the state machine.
    virtual void setup(const TimeStamp& time);
    virtual void initialize(const TimeStamp& time);
    virtual void attach(const TimeStamp& time);
    virtual void detach(const TimeStamp& time);
    virtual void shutdown(const TimeStamp& time);
    virtual void dispose(const TimeStamp& time);
    virtual void childChanged(const TimeStamp& time);
    virtual void nodeChanged(const TimeStamp& time, const BitVector<unsigned long>& mask);
    // Graph callbacks, run by NodeLink::setNode.
    virtual void childAdded(NodeLink& link);
    virtual void childRemoved(NodeLink& link);
    virtual void parentAdded(NodeLink& link);
    virtual void parentRemoved(NodeLink& link);
    virtual void fieldAdded(Field& field);
    virtual void fieldRemoved(Field& field);
    virtual void routeAdded(Route& route);
    virtual void routeRemoved(Route& route);

    // Dynamic parts: rows added to this one node, not to its type.
    virtual NodePartDesc* addNodePart(NodePartType partType, NodePartDataType dataType,
                                      const char* name, const char* group, const char* defaultValue,
                                      const char* valueType, bool autoProcess, bool privateAccess,
                                      bool objExtension, const char* description);
    virtual NodePartDesc* addNodePart(const NodePartDesc& desc, BitVector<unsigned int>* flags);
    virtual bool removeNodePart(unsigned int id);
    virtual Field* findField(const std::string& name, Node::FieldSearchOrder order);
    virtual bool mergeNode(Node& other, NodeType* type);
    virtual NodeNameSpace* nameSpace();
    // The scope of the node's children; a node with a scope of its own overrides it.
    virtual NodeNameSpace* childNameSpace();
    virtual bool setChildNameSpace(NodeNameSpace* nameSpace);
    virtual std::string& getInfoStr(std::string& out);

    Node& node() const { return _node; }
    const PartDescMap* partDescMap() const { return _partDescMap; }
    NodePartDesc* findDynamicPartDesc(unsigned int id) const;

    // What the node's context says; 0 and defaults without a context.
    TimeStamp contextTimeStamp() const;
    void setContextState(const TimeStamp& time, const Time& a, const Time& b, const Time& c,
                         const float& d);
    bool contextBValue(unsigned int id) const;
    int contextIValue(unsigned int id) const;
    float contextFValue(unsigned int id) const;
    std::string contextSValue(unsigned int id) const;

    // The plain behaviour reacts to its log feature words only. Inline: every routed event
    // passes here.
    void fieldChanged(Node&, Field& field, const TimeStamp&, Field*) {
        const NodePartDesc* desc = field.getDesc();
        if (!desc || desc->ID == 0) updateLogFeatureMask();
    }
    // An event of an exported node, handed to its scope's import and export machinery.
    void exportEvent(const TimeStamp& time, EventOutSlot& slot, Field& field);
    NodePartMask extNodePartMask() const;
    // Whether field data (0) or nodes (1) may be freed to save memory.
    bool checkReleaseType(ReleaseType type) const;
    void updateLogFeatureMask();
    void setupChildNameSpace();
    void transferNameSpace(NameSpaceTransferAction& action);
    // Copies the node into the action's new scope, its node fields' targets with it, and
    // leaves the result in the action's last copy; the routes met are collected.
    void copy(CopyAction& action);
    // The walks. traverse and collect leave out what the action's filters skip and stop at a
    // node on the current path; they follow raw link targets, except that traverse walks what
    // the action's pre gives. synchronize runs childChanged and nodeChanged by the node's
    // change flags, descends from nodes whose children or descendants changed, and clears the
    // flags and the changed mask; with statistics on, every visit past the visited test is
    // counted, also one that called nothing.
    //
    // traverse and synchronize walk a snapshot of the children, each held by a reference
    // while the walk is below it: a child that a callback unlinks during the pass is still
    // visited in that pass, and one linked during the pass is left for the next.
    void traverse(GenericAction& action);
    void collect(CollectAction& action);
    void synchronize(SynchronizeAction& action);

    // Text dictionaries.
    static int findDic(const StringDic* dic, const std::string& text);
    static int findDic(const StringDic* dic, const SFString& field);
    static int findDic(const StringDic* dic, const MFString& field, unsigned int index, bool wrap);
    static int findDic(const StringDic* dic, const MFString& field, std::vector<int>& out);
    static const StringDic* findDic(const StringDic* dic, int value);

    static const StringDic _logFeatureDic[];

  protected:
    // A new row's field: made, bound, given its default and appended to the node.
    NodePartDesc* appendPart(NodePartDesc* desc);
    // The field values and links of a new copy of the node, and the routes met, by the
    // options read when the copy of this node began.
    void copyFields(CopyAction& action, Node& copy, uint32_t options);

    PartDescMap* _partDescMap;
    Node& _node;
};

}  // namespace Kalvex
