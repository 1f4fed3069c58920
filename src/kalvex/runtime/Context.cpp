#include "kalvex/runtime/Context.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

Context::Context()
    : _state(Creation), _runFrameSubject(nullptr), _timeStamp(0.0), _frameRate(0.0) {}

Context::~Context() {
    delete _runFrameSubject;
}

Subject* Context::runFrameSubject() {
    if (!_runFrameSubject) _runFrameSubject = new Subject("runFrame");
    return _runFrameSubject;
}

double Context::runFrame() {
    if (_state == Dispose) {
        KFATAL("Context State is DISPOSED in runFrame\n");
        return -1.0;
    }
    _state = Live;
    notifySubject(runFrameSubject(), _timeStamp, this);
    return _frameRate != 0.0 ? 1.0 / _frameRate : 0.0;
}

bool Context::setRootState(const TimeStamp&, NodeState) {
    // A context without roots has nothing to change.
    return true;
}

void Context::exit() {
    _state = Dispose;
}

}  // namespace Kalvex
