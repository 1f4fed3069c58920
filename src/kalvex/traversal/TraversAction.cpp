#include "kalvex/traversal/TraversAction.h"

#include <string>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

TraversAction::TraversAction(const TimeStamp& time)
    : _timeStamp(time), _skipCreateMask(0), _skipTypeVec(nullptr), _paramMask(0) {
    TraversAction::reset();
}

TraversAction::TraversAction(const TraversAction& other)
    : BaseObject(other),
      _timeStamp(other._timeStamp),
      _skipCreateMask(other._skipCreateMask),
      _skipTypeVec(other._skipTypeVec ? new std::vector<NodeType*>(*other._skipTypeVec) : nullptr),
      _paramMask(0) {}

TraversAction::~TraversAction() {
    delete _skipTypeVec;
}

void TraversAction::reset() {
    _skipCreateMask = 0;
    delete _skipTypeVec;
    _skipTypeVec = nullptr;
    _paramMask = 2;
}

void TraversAction::addSkipType(NodeType& type) {
    if (!_skipTypeVec) _skipTypeVec = new std::vector<NodeType*>;
    _skipTypeVec->push_back(&type);
}

bool TraversAction::isSkipNode(Node& node) const {
    if (_visitingSet.count(&node)) return true;
    if (uint32_t(node.creator()) & _skipCreateMask) return true;
    if (_skipTypeVec)
        for (NodeType* type : *_skipTypeVec)
            if (type && node.getType().isA(*type)) return true;
    return false;
}

void TraversAction::dump() const {
    std::string bits(32, '0');
    for (unsigned int i = 0; i < 32; ++i)
        if ((_paramMask >> i) & 1u) bits[i] = '1';
    KLOG("ParamMask: %sTimeStamp: %gskipCreateMask: %uskipTypeVec count: %d\n", bits.c_str(),
         _timeStamp, _skipCreateMask, _skipTypeVec ? int(_skipTypeVec->size()) : 0);
}

}  // namespace Kalvex
