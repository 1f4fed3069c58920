#include "kalvex/traversal/SynchronizeAction.h"

#include <iostream>

#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

SynchronizeAction::SynchronizeAction(const TimeStamp& time)
    : TraversAction(time),
      _userFlag0(false),
      _userFlag1(false),
      _userWord(0),
      _userFactor(1.0f),
      _statistics(false) {}

void SynchronizeAction::reset() {
    _userFlag0 = false;
    _userFlag1 = false;
    _userWord = 0;
    _userFactor = 1.0f;
    _statistics = false;
    _typeCount.clear();
    TraversAction::reset();
}

void SynchronizeAction::transform(osg::Vec3f&, osg::Vec3f&) {}

void SynchronizeAction::countType(Node* node, double enterTime, double leaveTime) {
    // Every node has a type: a node is made by its type.
    if (!node) return;
    TypeCountRecord& record = _typeCount[&node->getType()];
    ++record.count;
    record.enterSum += enterTime * 1000.0;
    record.leaveSum += leaveTime * 1000.0;
}

void SynchronizeAction::dumpStatistic(Time time) const {
    std::cerr << "SynchronizeAction NodeType Count: ";
    unsigned int count = 0;
    double sum = 0.0;
    for (const auto& [type, record] : _typeCount) {
        KLOG("n: %04d, en: %6.3f, ln: %6.3f, ea: %6.3f, la: %6.3f %s\n", int(record.count),
             record.enterSum, record.leaveSum, record.enterSum / record.count,
             record.leaveSum / record.count, type->getCName());
        count += record.count;
        sum += record.enterSum + record.leaveSum;
    }
    KLOG("-----: n: %d, tSum: %g, stat: %g\n", int(count), sum, time);
}

}  // namespace Kalvex
