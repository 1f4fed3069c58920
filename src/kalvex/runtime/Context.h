#pragma once

#include <map>
#include <string>
#include <vector>

#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Node;
class NodePartDesc;
class NodeType;

// One running scene. It owns no clock: the time stamp and the frame rate are written from
// outside, and the frame's work is done by the observers of its runFrame subject. It holds its
// root nodes, at most one of each type; a root owns its scope, and the context marks the scope
// as its own while the root is here.
class Context : public AttachmentBag {
  public:
    Context();
    ~Context() override;
    // Lets the roots go: live roots fall back to Realize first.
    void shutdown() const override;

    static Context* create() { return new Context; }

    const std::string& getName() const { return _name; }
    void setName(const std::string& name) { _name = name; }
    NodeState getState() const { return _state; }

    const TimeStamp& getTimeStamp() const { return _timeStamp; }
    void setTimeStamp(const TimeStamp& time) { _timeStamp = time; }
    double getFrameRate() const { return _frameRate; }
    void setFrameRate(double frameRate) { _frameRate = frameRate; }
    // What a context root node reports about its frame: the time stamp and four values that
    // the node's own code defines.
    void setFrameState(const TimeStamp& time, const Time& a, const Time& b, const Time& c,
                       const float& d);
    const Time* frameTimes() const { return _frameTimes; }
    float frameValue() const { return _frameValue; }

    Subject* runFrameSubject();

    // Runs one frame and returns the seconds the host should wait: 1/frameRate, 0 without a
    // frame rate, -1 for a disposed context.
    double runFrame();
    void exit();

    // Roots, one for each node type.
    bool addRoot(Node& node);
    bool removeRoot(NodeType& type);
    Node* findRoot(const NodeType& type) const;
    unsigned int getRootVec(std::vector<Node*>& out) const;
    bool setRootState(const TimeStamp& time, NodeState state);
    void dump() const;

    // Parameters: rows of one process-wide table, declared at static initialisation; the id is
    // the row number. KCP_<name> in the environment replaces the declared default.
    static unsigned int createTypedParamID(NodePartDataType type, const std::string& name,
                                           const std::string& group,
                                           const std::string& defaultValue,
                                           const std::string& description, const char* valueType);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, bool value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, int value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, float value);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, const char* value,
                                      const char* valueType);
    static unsigned int createParamID(const std::string& name, const std::string& description,
                                      const std::string& group, const std::string& value,
                                      const char* valueType);
    static NodePartDesc* paramDesc(unsigned int id);
    static unsigned int paramCount();

    // The value of a parameter. Until contexts hold a setup node with values of their own,
    // every context reads the declared default (with its KCP_ override).
    bool paramBValue(unsigned int id) const;
    int paramIValue(unsigned int id) const;
    float paramFValue(unsigned int id) const;
    std::string paramSValue(unsigned int id) const;

  protected:
    // Drops the root of that entry: its scope loses this context and, with the root's
    // reference, maybe its life.
    void dropRoot(std::map<NodeType*, SmartPtr<Node>>::iterator entry);

    NodeState _state;
    Subject* _runFrameSubject;
    std::string _name;
    TimeStamp _timeStamp;
    double _frameRate;
    Time _frameTimes[3];
    float _frameValue;
    std::map<NodeType*, SmartPtr<Node>> _rootBag;
};

}  // namespace Kalvex
