#pragma once

#include <string>

#include "kalvex/nodes/NodeEnums.h"
#include "kalvex/object/AttachmentBag.h"
#include "kalvex/object/Subject.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

// One running scene. It owns no clock: the time stamp and the frame rate are written from
// outside, and the frame's work is done by the observers of its runFrame subject.
class Context : public AttachmentBag {
  public:
    Context();
    ~Context() override;

    static Context* create() { return new Context; }

    const std::string& getName() const { return _name; }
    void setName(const std::string& name) { _name = name; }
    NodeState getState() const { return _state; }

    const TimeStamp& getTimeStamp() const { return _timeStamp; }
    void setTimeStamp(const TimeStamp& time) { _timeStamp = time; }
    double getFrameRate() const { return _frameRate; }
    void setFrameRate(double frameRate) { _frameRate = frameRate; }

    Subject* runFrameSubject();

    // Runs one frame and returns the seconds the host should wait: 1/frameRate, 0 without a
    // frame rate, -1 for a disposed context.
    double runFrame();
    bool setRootState(const TimeStamp& time, NodeState state);
    void exit();

  protected:
    NodeState _state;
    Subject* _runFrameSubject;
    std::string _name;
    TimeStamp _timeStamp;
    double _frameRate;
};

}  // namespace Kalvex
