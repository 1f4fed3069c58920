#pragma once

#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/RefCountObject.h"

namespace Kalvex {

class Node;
class NodeProc;

// A node type: a name and a table of parts. Types register themselves when they are built and
// get their ids in initTypeTree.
class NodeType : public RefCountObject {
  public:
    NodeType(const char* name, NodePartDesc* descs, unsigned int descCount,
             NodeType* parent = nullptr);
    ~NodeType() override;

    const std::string& getName() const { return _name; }
    const char* getCName() const { return _name.c_str(); }
    unsigned int getID() const { return _id; }
    NodeType* getParent() const { return _parent; }
    bool isA(const NodeType& other) const;

    unsigned int descCount() const { return unsigned(_descVec.size()); }
    NodePartDesc* findPartDesc(unsigned int id) const {
        return id < _descVec.size() ? _descVec[id] : nullptr;
    }

    // The prototype declaration of a prototype type; null for native types.
    Node* protoDeclaration() const { return _protoDeclaration; }

    void changeObjCounter(int delta) { _objCounter += delta; }
    int objCounter() const { return _objCounter; }

    static unsigned int typeCount();
    static NodeType* findType(unsigned int id);
    static bool initTypeTree(bool force);
    // Writes what is missing from the type documentation; true when nothing is.
    static bool reportDocStatus(std::ostream& out, bool verbose);
    static std::mutex& typeIDMapMutex();

    std::vector<NodePartDesc*> _descVec;

  protected:
    std::string _name;
    unsigned int _id;
    NodeType* _parent;
    Node* _protoDeclaration;
    int _objCounter;
};

}  // namespace Kalvex
