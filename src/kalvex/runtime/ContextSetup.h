#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeProc.h"

namespace Kalvex {

class ContextSetupProc;
class SFString;

// A context's parameter node: a context root of its own, made on first access by
// Context::createSetup or brought along by a loaded scene. Its type has only the parts of Node;
// each declared parameter becomes a field of the node at run time, so that parameter id n is
// field number n + 2.
class ContextSetup : public Node {
  public:
    ContextSetup(NodeType& type, NodeNameSpace& nameSpace, const char* name);

    // Runs the behaviour's handler under a loop guard of its own: a parameter routed back into
    // itself stops at the second arrival.
    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override;

    ContextSetupProc* getContextSetupProc() const;

    static bool init();
    static bool isType(Node* node) { return dynamic_cast<ContextSetup*>(node) != nullptr; }
    static Node* createNode(NodeType& type, NodeNameSpace& nameSpace, const char* name) {
        return new ContextSetup(type, nameSpace, name);
    }
    static NodeType _type;
};

// The behaviour of a context's parameter node: it turns the process-wide parameter rows into
// fields, keeps values of names nobody has declared yet until somebody does, merges the setup
// of a loaded scene and applies the log and ray intersection parameters.
//
// nodeChanged applies what changed; a synchronisation pass (SynchronizeAction) calls it for
// every changed node, as examples/host.cpp does after reading the command line and each frame.
//
// One departure: a sysLogOutput file that cannot be opened leaves the log on the standard error
// with a fatal message, instead of switching it to a file type that writes nowhere.
class ContextSetupProc : public NodeProc {
  public:
    ContextSetupProc(NodeType& type, Node& node);
    // Deletes the values still waiting for their parameter.
    ~ContextSetupProc() override;

    static NodeProc* createProc(NodeType& type, Node& node) {
        return new ContextSetupProc(type, node);
    }

    void setup(const TimeStamp& time) override;
    void attach(const TimeStamp& time) override;
    void nodeChanged(const TimeStamp& time, const BitVector<unsigned long>& mask) override;
    using NodeProc::addNodePart;
    // A parameter row becomes a field; a value that waited for its name goes into it.
    NodePartDesc* addNodePart(const NodePartDesc& desc, BitVector<unsigned int>* flags) override;
    // Only names the node does not have reach here: they get a waiting SFString.
    Field* findField(const std::string& name, Node::FieldSearchOrder order) override;
    bool mergeNode(Node& other, NodeType* glueType) override;
    // Reports the new value to the context's console, then does what NodeProc does.
    void fieldChanged(Node& node, Field& field, const TimeStamp& time, Field* source);

    // Hand the fields in mask to the observers of "syncSetup", who keep values from one run of
    // the program to the next: 0 asks them to store, 1 to restore.
    void storeFields(const TimeStamp& time, const NodePartMask& mask);
    void restoreFields(const TimeStamp& time, const NodePartMask& mask);
    // Adds a field for every row declared since the last call.
    void updateParamFieldMaps();

    const std::map<std::string, SFString*>& preDescStore() const { return _preDescStore; }
    int32_t savedLogType() const { return _savedLogType; }

    static const unsigned int _cdfPathID;
    static const unsigned int _multiContextID;
    static const unsigned int _appThreadCountID;
    static const unsigned int _parallelContextDownloadID;
    // Whether field data and whole nodes may be freed to save memory.
    static const unsigned int _forbidFieldFreeID;
    static const unsigned int _forbidNodeFreeID;
    // Whether reload clears the image and proto caches.
    static const unsigned int _cacheClearOnReloadID;
    static const unsigned int _rayIntersectModeID;
    static const unsigned int _sysLogLevelID;
    static const unsigned int _sysLogOutputID;
    static const unsigned int _sysLogHeaderID;

    static const StringDic _sysLogLevelDic[];
    static const StringDic _sysLogOutputDic[];

  protected:
    // Notifies "syncSetup" for each field in mask; 0 stores, 1 restores.
    void syncFields(const TimeStamp& time, const NodePartMask& mask, int direction,
                    std::string& names);
    // The field of a parameter on this node, or null.
    Field* paramField(unsigned int id) const { return _node.getField(id + 2); }
    void applyRayIntersectMode(const Field& field);
    void applyLogOutput(const Field& field);
    void applyLogHeader(const Field& field);

    // The log type when the node was attached; "auto" and "none" go back to it.
    int32_t _savedLogType;
    // Values of parameters that have no row yet; the map owns the fields.
    std::map<std::string, SFString*> _preDescStore;
};

}  // namespace Kalvex
