// Route cascades, the inner loop of every running scene. A chain of nodes whose SFFloat
// exposedFields are routed one to the next (all Live, no observers), changed at the head once
// per iteration; one out slot with 1000 routes; and 1000 converting routes from an SFVec3f to
// SFFloat fields. Each is set against plain objects that call one virtual function and store a
// float per hop, in the same run. The summary gives the cost per hop and ratio_vs_baseline =
// route hop / baseline hop (the target is 10 or less).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "BenchTimes.h"
#include "kalvex/Kalvex.h"

using namespace Kalvex;

// Outside the anonymous namespace, so that the compiler cannot prove the call has one target.
// The baseline: a hop is one virtual call that stores a float.
struct Plain {
    virtual ~Plain() = default;
    virtual void set(float v) {
        value = v;
        if (next) next->set(v);
    }
    float value = 0;
    Plain* next = nullptr;
};

namespace {

constexpr int kChain = 64;
constexpr int kFan = 1000;

class Cell : public Node {
  public:
    Cell(NodeType& type, NodeNameSpace& scope, const char* name) : Node(type, scope, name) {
        regField(value, type, 2, true);
        regField(vec, type, 3, true);
    }
    SFFloat value{*this};
    SFVec3f vec{*this};

    static NodePartDesc _desc[2];
    static NodeType _type;
};

constexpr StaticParamMask kAuto = NodePartDesc::OptAutoProcess;

NodePartDesc Cell::_desc[2] = {
    {2, partMaskOf(2), PartExposedField, SFFloatType, kAuto, "value", "", "0", "", ""},
    {3, partMaskOf(3), PartExposedField, SFVec3fType, kAuto, "vec", "", "0 0 0", "", ""}};

NodeType Cell::_type(
    theBaseNodeTypeFactory(), "BenchCell", "Bench", "Node", nullptr, "1.0", "Bench", "", "stable",
    "one float, one vector", "Bench", true, false, nullptr,
    [](NodeType& t, NodeNameSpace& s, const char* n) -> Node* { return new Cell(t, s, n); },
    nullptr, Cell::_desc, 2);

// Live nodes of the cell type, held for the program's life.
struct Scene {
    Scene() {
        NodeType::initTypeTree(true);
        scope = new NodeNameSpace("bench", nullptr, false);
    }
    Cell* make() {
        Node* node = Cell::_type.createNode(scope.get(), nullptr, CreatorLoader);
        held.emplace_back(node);
        node->setTreeState(0.0, Live);
        return static_cast<Cell*>(node);
    }
    SmartPtr<NodeNameSpace> scope;
    std::vector<SmartPtr<Node>> held;
};

Scene& scene() {
    static Scene* s = new Scene;
    return *s;
}

void routeChain(benchmark::State& state) {
    std::vector<Cell*> cells;
    for (int i = 0; i < kChain; ++i) cells.push_back(scene().make());
    for (int i = 0; i + 1 < kChain; ++i)
        Route::create(cells[i]->value, cells[i + 1]->value, Route::Default, false);
    float v = 0;
    for (auto _ : state) {
        cells[0]->value.setValue(v += 1);
        cells[0]->value.processValueChange(v);
    }
    if (cells.back()->value.getValue() != v) state.SkipWithError("the chain lost the value");
}

void baselineChain(benchmark::State& state) {
    std::vector<std::unique_ptr<Plain>> cells;
    for (int i = 0; i < kChain; ++i) cells.emplace_back(new Plain);
    for (int i = 0; i + 1 < kChain; ++i) cells[i]->next = cells[i + 1].get();
    Plain* head = cells[0].get();
    benchmark::DoNotOptimize(head);
    float v = 0;
    for (auto _ : state) head->set(v += 1);
    if (cells.back()->value != v) state.SkipWithError("the chain lost the value");
}

// One source field routed to kFan targets; converting makes the source an SFVec3f.
void routeFan(benchmark::State& state, bool converting) {
    Cell* source = scene().make();
    std::vector<Cell*> targets;
    for (int i = 0; i < kFan; ++i) {
        targets.push_back(scene().make());
        Field& from = converting ? static_cast<Field&>(source->vec) : source->value;
        Route::create(from, targets.back()->value, Route::Default, false);
    }
    float v = 0;
    for (auto _ : state) {
        v += 1;
        if (converting) {
            source->vec.setValue(osg::Vec3f(v, 0, 0));
            source->vec.outSlot()->sendEvent(v, false);
        } else {
            source->value.setValue(v);
            source->value.outSlot()->sendEvent(v, false);
        }
    }
    if (targets.back()->value.getValue() != v) state.SkipWithError("a route lost the value");
}

void baselineFan(benchmark::State& state) {
    std::vector<std::unique_ptr<Plain>> targets;
    for (int i = 0; i < kFan; ++i) targets.emplace_back(new Plain);
    std::vector<Plain*> raw;
    for (auto& t : targets) raw.push_back(t.get());
    benchmark::DoNotOptimize(raw.data());
    float v = 0;
    for (auto _ : state) {
        v += 1;
        for (Plain* t : raw) t->set(v);
    }
    if (targets.back()->value != v) state.SkipWithError("a call lost the value");
}

struct Case {
    const char* name;
    const char* baseline;
    int hops;
};
const Case kCases[] = {{"chain", "baseline/chain", kChain - 1},
                       {"fan-out", "baseline/fan", kFan},
                       {"fan-out/converting", "baseline/fan", kFan}};

void printSummary(const KalvexBench::TimeCollector& times) {
    std::printf("\n%-22s %12s %16s %18s\n", "case", "ns/hop", "baseline ns/hop",
                "ratio_vs_baseline");
    for (const Case& c : kCases) {
        if (!times.has(c.name) || !times.has(c.baseline)) {
            std::printf("%-22s %12s %16s %18s\n", c.name, "-", "-", "skipped");
            continue;
        }
        const double hop = times.time(c.name) / c.hops;
        const double base = times.time(c.baseline) / c.hops;
        std::printf("%-22s %12.2f %16.2f %18.2f\n", c.name, hop, base, hop / base);
    }
    std::fflush(stdout);
}

}  // namespace

// "--count=N": N changes at the head of the chain and N baseline chain calls, and stop, for an
// instruction counter (valgrind --tool=callgrind --toggle-collect=countLoop*), whose figures do
// not depend on what else the machine is doing.
__attribute__((noinline)) void countLoopChain(Cell* head, long n) {
    for (long i = 0; i < n; ++i) {
        head->value.setValue(float(i));
        head->value.processValueChange(double(i));
    }
}

__attribute__((noinline)) void countLoopBaseline(Plain* head, long n) {
    for (long i = 0; i < n; ++i) head->set(float(i));
}

int main(int argc, char** argv) {
    if (argc > 1 && std::strncmp(argv[1], "--count=", 8) == 0) {
        std::vector<Cell*> cells;
        std::vector<std::unique_ptr<Plain>> plain;
        for (int i = 0; i < kChain; ++i) {
            cells.push_back(scene().make());
            plain.emplace_back(new Plain);
            if (i == 0) continue;
            Route::create(cells[i - 1]->value, cells[i]->value, Route::Default, false);
            plain[i - 1]->next = plain[i].get();
        }
        const long n = std::atol(argv[1] + 8);
        countLoopChain(cells[0], 10);  // warm
        countLoopChain(cells[0], n);
        countLoopBaseline(plain[0].get(), n);
        std::printf("%ld changes of a chain of %d\n", n, kChain);
        return 0;
    }
    benchmark::RegisterBenchmark("baseline/chain", baselineChain);
    benchmark::RegisterBenchmark("chain", routeChain);
    benchmark::RegisterBenchmark("baseline/fan", baselineFan);
    benchmark::RegisterBenchmark("fan-out", [](benchmark::State& s) { routeFan(s, false); });
    benchmark::RegisterBenchmark("fan-out/converting",
                                 [](benchmark::State& s) { routeFan(s, true); });
    benchmark::Initialize(&argc, argv);
    KalvexBench::TimeCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    return 0;
}
