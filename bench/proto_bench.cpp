// Events across an import. A scene holds an inline-like node whose content exports two
// counters; the scene imports them and routes one counter's count into the first (into the
// content, through a target proxy and its observer) and the second's count out to a counter of
// the scene (through a source proxy). Each is set against the same event on a direct route
// between two counters of the scene, in the same run. The summary gives ratio_vs_baseline =
// case / direct route.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "BenchTimes.h"
#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"

using namespace Kalvex;
using namespace KalvexExample;

namespace {

// The scene, built once and live for the program's life.
struct Scene {
    Scene() {
        init();
        NodeType::initTypeTree(true);
        scope = new NodeNameSpace("bench", nullptr, false);
        scope->setNodeTypeNameSpace(&theBaseNodeTypeFactory());
        Inline* lamp = static_cast<Inline*>(make(*scope, "lamp", Inline::_type));
        NodeNameSpace& inside = lamp->content();
        innerIn = static_cast<Counter*>(make(inside, "in", Counter::_type));
        innerOut = static_cast<Counter*>(make(inside, "out", Counter::_type));
        inside.updateExportedNode("in", "In");
        inside.updateExportedNode("out", "Out");
        scope->updateImportedNode("In", "", lamp);
        scope->updateImportedNode("Out", "", lamp);
        source = static_cast<Counter*>(make(*scope, "source", Counter::_type));
        echo = static_cast<Counter*>(make(*scope, "echo", Counter::_type));
        from = static_cast<Counter*>(make(*scope, "from", Counter::_type));
        to = static_cast<Counter*>(make(*scope, "to", Counter::_type));
        bool ok = scope->createRoute("source", "count", "In", "set_count") &&
                  scope->createRoute("Out", "count_changed", "echo", "set_count") &&
                  scope->createRoute("from", "count", "to", "set_count");
        if (!ok) {
            std::fprintf(stderr, "proto_bench: the routes could not be made\n");
            std::exit(1);
        }
    }
    Node* make(NodeNameSpace& in, const char* name, NodeType& type) {
        Node* node = type.createNode(&in, name, CreatorLoader);
        held.emplace_back(node);
        node->setTreeState(0.0, Live);
        return node;
    }

    SmartPtr<NodeNameSpace> scope;
    std::vector<SmartPtr<Node>> held;
    Counter *innerIn, *innerOut, *source, *echo, *from, *to;
};

Scene& scene() {
    static Scene* s = new Scene;
    return *s;
}

// One change of counter's count, carried by its route to check's count.
void sendCount(benchmark::State& state, Counter* counter, Counter* check) {
    int v = 0;
    for (auto _ : state) {
        counter->count().setValue(++v);
        counter->count().processValueChange(double(v));
    }
    if (check->count().getValue() != v) state.SkipWithError("the route lost the value");
}

struct Case {
    const char* name;
    const char* baseline;
};
const Case kCases[] = {{"import/into", "direct"}, {"import/out", "direct"}};

void printSummary(const KalvexBench::TimeCollector& times) {
    std::printf("\n%-16s %12s %16s %18s\n", "case", "ns/event", "direct ns/event",
                "ratio_vs_baseline");
    for (const Case& c : kCases) {
        if (!times.has(c.name) || !times.has(c.baseline)) {
            std::printf("%-16s %12s %16s %18s\n", c.name, "-", "-", "skipped");
            continue;
        }
        const double t = times.time(c.name);
        const double base = times.time(c.baseline);
        std::printf("%-16s %12.2f %16.2f %18.2f\n", c.name, t, base, t / base);
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark(
        "direct", [](benchmark::State& s) { sendCount(s, scene().from, scene().to); });
    benchmark::RegisterBenchmark(
        "import/into", [](benchmark::State& s) { sendCount(s, scene().source, scene().innerIn); });
    benchmark::RegisterBenchmark(
        "import/out", [](benchmark::State& s) { sendCount(s, scene().innerOut, scene().echo); });
    benchmark::Initialize(&argc, argv);
    KalvexBench::TimeCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    return 0;
}
