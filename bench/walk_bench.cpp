// Walks over a scene of 100,000 nodes: a complete tree of fan-out 10 whose inner nodes are
// Groups (every tenth a Transform) and whose leaves are Boxes. Measured: a CollectAction by
// type (the Transforms, and the Boxes, which fill the result with 90% of the scene), a
// SynchronizeAction after 1% of the leaves were marked changed, and a CopyAction of the whole
// tree into a new name scope (made and let go again). The baselines, in the same run: a bare
// recursive walk that counts one kind of node over a plain C++ tree of the same shape for the
// walks, and building (and freeing) that plain tree for the copy. The summary gives
// ratio_vs_baseline = case / baseline (targets: 5 or less for the walks, 10 for the copy).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "BenchTimes.h"
#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"

using namespace Kalvex;
using namespace KalvexExample;

// Outside the anonymous namespace, so that the walk is not folded into its caller.
struct PlainNode {
    int kind = 0;
    std::vector<PlainNode*> children;
};

__attribute__((noinline)) size_t bareWalk(const PlainNode* node, int kind) {
    size_t found = node->kind == kind;
    for (const PlainNode* child : node->children) found += bareWalk(child, kind);
    return found;
}

namespace {

constexpr int kNodes = 100000;
constexpr int kFan = 10;
constexpr int kInner = (kNodes - 1) / kFan + ((kNodes - 1) % kFan != 0);  // nodes with children
constexpr int kMarkEvery = 100;                                           // 1% of the leaves

bool isTransform(int i) {
    return i < kInner && i % 10 == 0;
}

// Both trees, built once: node i has the children kFan * i + 1 ... kFan * i + kFan.
struct Trees {
    Trees() {
        init();
        NodeType::initTypeTree(true);
        scope = new NodeNameSpace("bench", nullptr, false);
        std::vector<Node*> nodes(kNodes);
        plain.resize(kNodes);
        for (int i = 0; i < kNodes; ++i) {
            NodeType& type = i >= kInner      ? Box::_type
                             : isTransform(i) ? Transform::_type
                                              : Group::_type;
            nodes[i] = type.createNode(scope.get(), nullptr, CreatorLoader);
            plain[i] = std::make_unique<PlainNode>();
            plain[i]->kind = i >= kInner ? 2 : isTransform(i) ? 1 : 0;
        }
        root = nodes[0];
        for (int i = 0; i < kInner; ++i) {
            for (int c = kFan * i + 1; c <= kFan * i + kFan && c < kNodes; ++c) {
                static_cast<Group*>(nodes[i])->children().addChild(nodes[c]);
                plain[i]->children.push_back(plain[c].get());
            }
        }
        for (int i = kInner; i < kNodes; i += kMarkEvery) marked.push_back(nodes[i]);
        // The first pass clears the marks of building.
        SynchronizeAction first(0.0);
        root->getProc()->synchronize(first);
    }
    void mark() {
        for (Node* leaf : marked) static_cast<Box*>(leaf)->size().markChanged();
    }

    SmartPtr<NodeNameSpace> scope;
    SmartPtr<Node> root;
    std::vector<Node*> marked;
    std::vector<std::unique_ptr<PlainNode>> plain;
};

Trees& trees() {
    static Trees* t = new Trees;
    return *t;
}

void baselineWalk(benchmark::State& state) {
    const PlainNode* root = trees().plain[0].get();
    benchmark::DoNotOptimize(root);
    size_t found = 0;
    for (auto _ : state) {
        found = bareWalk(root, 1);
        benchmark::DoNotOptimize(found);
    }
    if (found != size_t(kInner / 10)) state.SkipWithError("the bare walk lost nodes");
}

void collectWalk(benchmark::State& state, NodeType& type, size_t expected) {
    Node* root = trees().root.get();
    CollectAction action(0.0);
    std::vector<Node*> nodes;
    for (auto _ : state) {
        action.addNodeType(type);
        root->getProc()->collect(action);
    }
    if (action.fillNodeVec(type, nodes, nullptr, true) != expected)
        state.SkipWithError("the walk lost nodes");
}

// Time is counted for the walk only, not for marking the leaves.
void synchronizeWalk(benchmark::State& state) {
    Trees& t = trees();
    SynchronizeAction action(0.0);
    for (auto _ : state) {
        state.PauseTiming();
        t.mark();
        state.ResumeTiming();
        t.root->getProc()->synchronize(action);
    }
    if (t.root->_changeFlags != 0 || !t.marked[0]->_changedMask.isZero())
        state.SkipWithError("marks were left");
}

void baselineBuild(benchmark::State& state) {
    size_t built = 0;
    for (auto _ : state) {
        std::vector<std::unique_ptr<PlainNode>> plain(kNodes);
        for (int i = 0; i < kNodes; ++i) {
            plain[i] = std::make_unique<PlainNode>();
            plain[i]->kind = i >= kInner ? 2 : isTransform(i) ? 1 : 0;
        }
        for (int i = 0; i < kInner; ++i)
            for (int c = kFan * i + 1; c <= kFan * i + kFan && c < kNodes; ++c)
                plain[i]->children.push_back(plain[c].get());
        benchmark::DoNotOptimize(plain.data());
        built = plain[0]->children.size();
    }
    if (built != size_t(kFan)) state.SkipWithError("the plain tree lost nodes");
}

// The copy is made into a scope of its own and let go in the timed part, as the plain tree is.
void copyTree(benchmark::State& state) {
    Trees& t = trees();
    size_t copied = 0;
    for (auto _ : state) {
        SmartPtr<NodeNameSpace> target(new NodeNameSpace("copy", nullptr, false));
        CopyAction action(0.0, *t.scope, *target);
        t.root->getProc()->copy(action);
        action.finalize();
        SmartPtr<Node> copy(action.lastCopy());
        copied = copy ? static_cast<Group*>(copy.get())->children().size() : 0;
    }
    if (copied != size_t(kFan)) state.SkipWithError("the copy lost nodes");
}

struct Case {
    const char* name;
    const char* baseline;
    const char* what;
};
const Case kCases[] = {
    {"collect/transforms", "baseline/bare-walk", "CollectAction, 1% of the nodes match"},
    {"collect/boxes", "baseline/bare-walk", "CollectAction, 90% of the nodes match"},
    {"synchronize", "baseline/bare-walk", "SynchronizeAction, 1% of the leaves marked"},
    {"copy", "baseline/build", "CopyAction of the whole tree into a new scope"}};

void printSummary(const KalvexBench::TimeCollector& times) {
    std::printf("\n%-20s %12s %16s %18s  %s\n", "case", "ms", "baseline ms", "ratio_vs_baseline",
                "what");
    for (const Case& c : kCases) {
        if (!times.has(c.name) || !times.has(c.baseline)) {
            std::printf("%-20s %12s %16s %18s\n", c.name, "-", "-", "skipped");
            continue;
        }
        const double walk = times.time(c.name) / 1e6, base = times.time(c.baseline) / 1e6;
        std::printf("%-20s %12.3f %16.3f %18.2f  %s\n", c.name, walk, base, walk / base, c.what);
    }
    std::fflush(stdout);
}

}  // namespace

// "--count=N": N of each walk and copy, and of their baselines, and stop, for an instruction
// counter (valgrind --tool=callgrind --toggle-collect='countLoop*'), whose figures do not
// depend on what else the machine is doing. Each case has a function of its own.
__attribute__((noinline)) void countLoopCollect(Node* root, long n) {
    CollectAction action(0.0);
    for (long i = 0; i < n; ++i) {
        action.addNodeType(Transform::_type);
        root->getProc()->collect(action);
    }
}

__attribute__((noinline)) void countLoopCollectBoxes(Node* root, long n) {
    CollectAction action(0.0);
    for (long i = 0; i < n; ++i) {
        action.addNodeType(Box::_type);
        root->getProc()->collect(action);
    }
}

__attribute__((noinline)) void countLoopSynchronize(Trees& t, long n) {
    SynchronizeAction action(0.0);
    for (long i = 0; i < n; ++i) {
        t.mark();
        t.root->getProc()->synchronize(action);
    }
}

__attribute__((noinline)) void countLoopBaseline(const PlainNode* root, long n) {
    for (long i = 0; i < n; ++i) benchmark::DoNotOptimize(bareWalk(root, 1));
}

__attribute__((noinline)) void countLoopCopy(Trees& t, long n) {
    for (long i = 0; i < n; ++i) {
        SmartPtr<NodeNameSpace> target(new NodeNameSpace("copy", nullptr, false));
        CopyAction action(0.0, *t.scope, *target);
        t.root->getProc()->copy(action);
        action.finalize();
        SmartPtr<Node> copy(action.lastCopy());
    }
}

__attribute__((noinline)) void countLoopBuild(long n) {
    for (long i = 0; i < n; ++i) {
        std::vector<std::unique_ptr<PlainNode>> plain(kNodes);
        for (int k = 0; k < kNodes; ++k) {
            plain[k] = std::make_unique<PlainNode>();
            plain[k]->kind = k >= kInner ? 2 : isTransform(k) ? 1 : 0;
        }
        for (int k = 0; k < kInner; ++k)
            for (int c = kFan * k + 1; c <= kFan * k + kFan && c < kNodes; ++c)
                plain[k]->children.push_back(plain[c].get());
        benchmark::DoNotOptimize(plain.data());
    }
}

int main(int argc, char** argv) {
    if (argc > 1 && std::strncmp(argv[1], "--count=", 8) == 0) {
        Trees& t = trees();
        const long n = std::atol(argv[1] + 8);
        countLoopCollect(t.root.get(), n);
        countLoopCollectBoxes(t.root.get(), n);
        countLoopSynchronize(t, n);
        countLoopBaseline(t.plain[0].get(), n);
        countLoopCopy(t, n);
        countLoopBuild(n);
        std::printf("%ld walks and copies of %d nodes each way\n", n, kNodes);
        return 0;
    }
    benchmark::RegisterBenchmark("baseline/bare-walk", baselineWalk);
    benchmark::RegisterBenchmark("collect/transforms", [](benchmark::State& s) {
        collectWalk(s, Transform::_type, kInner / 10);
    });
    benchmark::RegisterBenchmark(
        "collect/boxes", [](benchmark::State& s) { collectWalk(s, Box::_type, kNodes - kInner); });
    benchmark::RegisterBenchmark("synchronize", synchronizeWalk);
    benchmark::RegisterBenchmark("baseline/build", baselineBuild);
    benchmark::RegisterBenchmark("copy", copyTree);
    benchmark::Initialize(&argc, argv);
    KalvexBench::TimeCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    return 0;
}
