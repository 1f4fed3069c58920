// Node creation, the cost of every node a loader makes: create and destroy nodes of a type with
// ten value fields (declared here as a plug-in declares its types), unnamed and with DEF names,
// against allocating and freeing a plain struct holding the same ten values, in the same run.
// The summary gives nodes per second, ratio_vs_baseline = node time / struct time (the target
// for unnamed nodes is 10 or less) and the heap bytes per node against the struct's.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/scopes/NodeNameSpace.h"

#include "BenchTimes.h"

using namespace Kalvex;

namespace {

// A light-like node: ten value fields of six kinds, most with a default text.
class BenchLight : public Node {
  public:
    BenchLight(NodeType& type, NodeNameSpace& scope, const char* name)
        : Node(type, scope, name),
          intensity(*this),
          radius(*this),
          count(*this),
          level(*this),
          position(*this),
          direction(*this),
          color(*this),
          on(*this),
          orientation(*this),
          label(*this) {
        Field* fields[] = {&intensity, &radius, &count, &level,       &position,
                           &direction, &color,  &on,    &orientation, &label};
        for (unsigned i = 0; i < 10; ++i) regField(*fields[i], type, _desc[i].ID, true);
    }

    SFFloat intensity, radius;
    SFInt32 count, level;
    SFVec3f position, direction;
    SFColor color;
    SFBool on;
    SFRotation orientation;
    SFString label;

    static NodePartDesc _desc[10];
    static NodeType _type;
};

constexpr StaticParamMask kAuto = NodePartDesc::OptAutoProcess;

NodePartDesc BenchLight::_desc[10] = {
    {2, partMaskOf(2), PartExposedField, SFFloatType, kAuto, "intensity", "", "1", "", "d"},
    {3, partMaskOf(3), PartExposedField, SFFloatType, kAuto, "radius", "", "100", "", "d"},
    {4, partMaskOf(4), PartExposedField, SFInt32Type, kAuto, "count", "", "0", "", "d"},
    {5, partMaskOf(5), PartField, SFInt32Type, 0, "level", "", "3", "", "d"},
    {6, partMaskOf(6), PartExposedField, SFVec3fType, kAuto, "position", "", "0 0 0", "", "d"},
    {7, partMaskOf(7), PartExposedField, SFVec3fType, kAuto, "direction", "", "0 0 -1", "", "d"},
    {8, partMaskOf(8), PartExposedField, SFColorType, kAuto, "color", "", "1 1 1", "", "d"},
    {9, partMaskOf(9), PartExposedField, SFBoolType, kAuto, "on", "", "TRUE", "", "d"},
    {10, partMaskOf(10), PartExposedField, SFRotationType, kAuto, "orientation", "", "0 0 1 0", "",
     "d"},
    {11, partMaskOf(11), PartExposedField, SFStringType, kAuto, "label", "", "", "", "d"}};

NodeType BenchLight::_type(
    theBaseNodeTypeFactory(), "BenchLight", "Bench", "Node", nullptr, "1.0", "Bench",
    "A light for benchmarks", "stable", "ten value fields", "Bench", true, false, nullptr,
    [](NodeType& t, NodeNameSpace& s, const char* n) -> Node* { return new BenchLight(t, s, n); },
    nullptr, BenchLight::_desc, 10);

// The same ten values in a plain struct, with the same start values.
struct PlainLight {
    float intensity = 1, radius = 100;
    int count = 0, level = 3;
    float position[3] = {0, 0, 0}, direction[3] = {0, 0, -1}, color[3] = {1, 1, 1};
    bool on = true;
    float orientation[4] = {0, 0, 1, 0};
    std::string label;
};

NodeNameSpace& scope() {
    static NodeNameSpace* made = [] {
        NodeType::initTypeTree(true);
        auto* s = new NodeNameSpace("bench", nullptr, false);
        s->addRef();
        return s;
    }();
    return *made;
}

const std::vector<std::string>& names() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> n;
        for (int i = 0; i < 16384; ++i) n.push_back("light" + std::to_string(i));
        return n;
    }();
    return all;
}

void baselineStruct(benchmark::State& state) {
    for (auto _ : state) {
        PlainLight* light = new PlainLight;
        benchmark::DoNotOptimize(light);
        delete light;
    }
    state.SetItemsProcessed(state.iterations());
}

void createNode(benchmark::State& state, bool named) {
    NodeNameSpace& s = scope();
    const std::vector<std::string>& n = names();
    size_t i = 0;
    for (auto _ : state) {
        const char* name = named ? n[i++ & 16383].c_str() : nullptr;
        Node* node = BenchLight::_type.createNode(&s, name, CreatorLoader);
        benchmark::DoNotOptimize(node);
        node->release();  // held by nobody: shutdown, then deleted
    }
    state.SetItemsProcessed(state.iterations());
}

// Heap bytes in use per object while many are alive, malloc's overhead included.
template <class Make, class Free>
double heapBytesPerObject(Make make, Free free) {
    constexpr int kCount = 10000;
    std::vector<void*> held;
    held.reserve(kCount);
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < kCount; ++i) held.push_back(make(i));
    const size_t after = mallinfo2().uordblks;
    for (void* p : held) free(p);
    return double(after - before) / kCount;
}

struct Pair {
    const char* name;
    const char* baseline;
};
const Pair kPairs[] = {{"create+destroy/unnamed", "create+destroy/baseline_struct"},
                       {"create+destroy/named", "create+destroy/baseline_struct"}};

void printSummary(const KalvexBench::TimeCollector& times, double nodeBytes, double namedBytes,
                  double structBytes) {
    std::printf("\n%-26s %14s %18s\n", "case", "nodes/s", "ratio_vs_baseline");
    for (const Pair& pair : kPairs) {
        if (!times.has(pair.name) || !times.has(pair.baseline)) {
            std::printf("%-26s %14s %18s\n", pair.name, "-", "skipped");
            continue;
        }
        const double time = times.time(pair.name);
        std::printf("%-26s %14.0f %18.2f\n", pair.name, 1e9 / time,
                    time / times.time(pair.baseline));
    }
    std::printf("\n%-26s %14s %18s\n", "heap", "bytes/object", "ratio_vs_baseline");
    std::printf("%-26s %14.0f %18s\n", "baseline_struct", structBytes, "1.00");
    std::printf("%-26s %14.0f %18.2f\n", "node/unnamed", nodeBytes, nodeBytes / structBytes);
    std::printf("%-26s %14.0f %18.2f\n", "node/named", namedBytes, namedBytes / structBytes);
    std::fflush(stdout);
}

}  // namespace

// "--count=N": make and destroy N unnamed nodes and N structs and stop, for an instruction
// counter (valgrind --tool=callgrind --toggle-collect=countLoop*), whose figures do not depend on
// what else the machine is doing.
__attribute__((noinline)) void countLoopNodes(long n) {
    NodeNameSpace& s = scope();
    for (long i = 0; i < n; ++i)
        BenchLight::_type.createNode(&s, nullptr, CreatorLoader)->release();
}

__attribute__((noinline)) void countLoopStructs(long n) {
    for (long i = 0; i < n; ++i) {
        PlainLight* light = new PlainLight;
        benchmark::DoNotOptimize(light);
        delete light;
    }
}

int main(int argc, char** argv) {
    if (argc > 1 && std::strncmp(argv[1], "--count=", 8) == 0) {
        const long n = std::atol(argv[1] + 8);
        NodeNameSpace& s = scope();  // warm the allocator and the default caches
        for (int i = 0; i < 1000; ++i)
            BenchLight::_type.createNode(&s, nullptr, CreatorLoader)->release();
        countLoopNodes(n);
        countLoopStructs(n);
        return 0;
    }
    NodeNameSpace& s = scope();
    auto makeNode = [&](bool named) {
        return [&s, named](int i) -> void* {
            Node* node = BenchLight::_type.createNode(
                &s, named ? names()[size_t(i) & 16383].c_str() : nullptr, CreatorLoader);
            node->addRef();
            return node;
        };
    };
    auto freeNode = [](void* p) { static_cast<Node*>(p)->subRef(); };
    // Warm the allocator and the registries first, so the counts hold only the objects.
    heapBytesPerObject(makeNode(false), freeNode);
    const double nodeBytes = heapBytesPerObject(makeNode(false), freeNode);
    const double namedBytes = heapBytesPerObject(makeNode(true), freeNode);
    const double structBytes =
        heapBytesPerObject([](int) -> void* { return new PlainLight; },
                           [](void* p) { delete static_cast<PlainLight*>(p); });

    benchmark::RegisterBenchmark("create+destroy/baseline_struct", baselineStruct);
    benchmark::RegisterBenchmark("create+destroy/unnamed",
                                 [](benchmark::State& st) { createNode(st, false); });
    benchmark::RegisterBenchmark("create+destroy/named",
                                 [](benchmark::State& st) { createNode(st, true); });
    benchmark::Initialize(&argc, argv);
    KalvexBench::TimeCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter, nodeBytes, namedBytes, structBytes);
    return 0;
}
