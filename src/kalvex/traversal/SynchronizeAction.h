#pragma once

#include <cstdint>
#include <map>

#include "kalvex/object/TimeStamp.h"
#include "kalvex/platform/osg/MathTypes.h"
#include "kalvex/traversal/TraversAction.h"

namespace Kalvex {

// Carries change marks through the graph: NodeProc::synchronize visits the nodes whose
// children or fields changed, and those reached from them, and lets each react once. The
// action holds settings that node classes outside the library read (two flags, a word and a
// factor; their meaning is theirs) and, when statistics are on, the time each node type took.
//
// With statistics on, both callbacks of a visit are timed with the same monotonic clock.
class SynchronizeAction : public TraversAction {
  public:
    // Visits of one type: the sums are milliseconds.
    struct TypeCountRecord {
        uint32_t count = 0;
        double enterSum = 0.0;
        double leaveSum = 0.0;
    };
    using TypeCountMap = std::map<NodeType*, TypeCountRecord>;

    explicit SynchronizeAction(const TimeStamp& time);
    SynchronizeAction(const SynchronizeAction& other) = default;

    // Clears the settings and the statistics, then resets the frame.
    void reset() override;
    // Nothing here; an action of a node library may map points.
    virtual void transform(osg::Vec3f& a, osg::Vec3f& b);
    // One visit of node: the seconds its childChanged and its nodeChanged took. A null node
    // is not counted.
    void countType(Node* node, double enterTime, double leaveTime);
    // The table of visits by type, and a closing line with the totals and time.
    void dumpStatistic(Time time) const;

    bool userFlag0() const { return _userFlag0; }
    void setUserFlag0(bool value) { _userFlag0 = value; }
    bool userFlag1() const { return _userFlag1; }
    void setUserFlag1(bool value) { _userFlag1 = value; }
    uint64_t userWord() const { return _userWord; }
    void setUserWord(uint64_t value) { _userWord = value; }
    float userFactor() const { return _userFactor; }
    void setUserFactor(float value) { _userFactor = value; }
    bool statistics() const { return _statistics; }
    void setStatistics(bool on) { _statistics = on; }
    const TypeCountMap& typeCount() const { return _typeCount; }

  protected:
    bool _userFlag0;
    bool _userFlag1;
    uint64_t _userWord;
    float _userFactor;
    bool _statistics;
    TypeCountMap _typeCount;
};

}  // namespace Kalvex
