// Field text, the hot path of loading: reading and printing lists of one million numbers
// (MFFloat, MFInt32, MFVec3f), each against a bare C library loop over the same numbers run in
// the same process. The summary at the end gives MB/s and ratio_vs_baseline = baseline time /
// field time (1.0 or more: the field is at least as fast as the bare loop).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/scopes/NodeNameSpace.h"

#include "BenchTimes.h"

using namespace Kalvex;

namespace {

constexpr int kNumbers = 1000000;

struct Data {
    std::string floatText;  // "%g" of random floats, one blank between
    std::string intText;
    std::vector<float> floats;
    std::vector<int> ints;
};

const Data& data() {
    static const Data d = [] {
        Data d;
        std::mt19937 rng(42);
        std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
        std::uniform_int_distribution<int> whole(-100000, 100000);
        char buffer[64];
        for (int i = 0; i < kNumbers; ++i) {
            float f = value(rng);
            d.floats.push_back(f);
            std::snprintf(buffer, sizeof(buffer), "%g ", double(f));
            d.floatText += buffer;
            int n = whole(rng);
            d.ints.push_back(n);
            std::snprintf(buffer, sizeof(buffer), "%d ", n);
            d.intText += buffer;
        }
        return d;
    }();
    return d;
}

Node& node() {
    static Node* n = [] {
        NodeType::initTypeTree(true);
        auto* scope = new NodeNameSpace("bench", nullptr, false);
        scope->addRef();
        Node* made = Node::_type.createNode(scope, "bench", CreatorSystem);
        made->addRef();
        return made;
    }();
    return *n;
}

// ---- reading

void baselineStrtod(benchmark::State& state) {
    const std::string& text = data().floatText;
    for (auto _ : state) {
        double sum = 0;
        const char* p = text.c_str();
        for (;;) {
            char* stop = nullptr;
            double v = std::strtod(p, &stop);
            if (stop == p) break;
            sum += v;
            p = stop;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

void baselineStrtol(benchmark::State& state) {
    const std::string& text = data().intText;
    for (auto _ : state) {
        long sum = 0;
        const char* p = text.c_str();
        for (;;) {
            char* stop = nullptr;
            long v = std::strtol(p, &stop, 10);
            if (stop == p) break;
            sum += v;
            p = stop;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}

void parseField(benchmark::State& state, NodePartDataType type, const std::string& text,
                unsigned expected, bool streaming) {
    Field* f = FieldType::create(type, node());
    for (auto _ : state) {
        if (streaming) {
            f->clear();
            f->addValueByStr(text.c_str(), Field::CardinalityMulti);
        } else {
            f->setValueByStr(text.c_str());
        }
        benchmark::ClobberMemory();
    }
    if (f->size() != expected) {
        std::string message = std::string(f->dataTypeName()) + " read " +
                              std::to_string(f->size()) + " values, not " +
                              std::to_string(expected) + " (its codec may not be filled yet)";
        state.SkipWithError(message.c_str());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
    delete f;
}

// ---- printing

template <class T>
void baselinePrintf(benchmark::State& state, const std::vector<T>& values, const char* format) {
    std::string out;
    size_t bytes = 0;
    for (auto _ : state) {
        out.clear();
        char buffer[64];
        for (const T& v : values) {
            int n;
            if constexpr (std::is_same_v<T, int>)
                n = std::snprintf(buffer, sizeof(buffer), format, v);
            else
                n = std::snprintf(buffer, sizeof(buffer), format, double(v));
            out.append(buffer, size_t(n));
            out.push_back(' ');
        }
        bytes = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void printField(benchmark::State& state, NodePartDataType type, const std::string& text,
                unsigned expected) {
    Field* f = FieldType::create(type, node());
    f->setValueByStr(text.c_str());
    if (f->size() != expected) {
        state.SkipWithError((std::string(f->dataTypeName()) +
                             " holds no values to print (its codec may not be filled yet)")
                                .c_str());
        delete f;
        return;
    }
    std::string out;
    for (auto _ : state) {
        f->getStrValue(out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
    delete f;
}

// ---- summary

struct Pair {
    const char* name;
    const char* baseline;
};
const Pair kPairs[] = {
    {"parse/MFFloat", "parse/baseline_strtod"},
    {"parse/MFFloat_streaming", "parse/baseline_strtod"},
    {"parse/MFVec3f", "parse/baseline_strtod"},
    {"parse/MFInt32", "parse/baseline_strtol"},
    {"parse/MFInt32_streaming", "parse/baseline_strtol"},
    {"print/MFFloat", "print/baseline_printf_g"},
    {"print/MFVec3f", "print/baseline_printf_g"},
    {"print/MFInt32", "print/baseline_printf_d"},
};

void printSummary(const KalvexBench::TimeCollector& times) {
    std::printf("\n%-26s %12s %12s %18s\n", "case", "MB/s", "baseline MB/s", "ratio_vs_baseline");
    for (const Pair& pair : kPairs) {
        if (!times.has(pair.name) || !times.has(pair.baseline)) {
            std::printf("%-26s %12s %12s %18s\n", pair.name, "-", "-", "skipped");
            continue;
        }
        std::printf("%-26s %12.1f %12.1f %18.2f\n", pair.name,
                    times.bytesPerSecond(pair.name) / 1e6,
                    times.bytesPerSecond(pair.baseline) / 1e6,
                    times.time(pair.baseline) / times.time(pair.name));
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const Data& d = data();
    node();
    const unsigned vec3Count = kNumbers / 3;

    auto reg = [](const char* name, auto fn) {
        benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->UseRealTime();
    };
    reg("parse/baseline_strtod", baselineStrtod);
    reg("parse/MFFloat",
        [&](benchmark::State& s) { parseField(s, MFFloatType, d.floatText, kNumbers, false); });
    reg("parse/MFFloat_streaming",
        [&](benchmark::State& s) { parseField(s, MFFloatType, d.floatText, kNumbers, true); });
    reg("parse/MFVec3f",
        [&](benchmark::State& s) { parseField(s, MFVec3fType, d.floatText, vec3Count, false); });
    reg("parse/baseline_strtol", baselineStrtol);
    reg("parse/MFInt32",
        [&](benchmark::State& s) { parseField(s, MFInt32Type, d.intText, kNumbers, false); });
    reg("parse/MFInt32_streaming",
        [&](benchmark::State& s) { parseField(s, MFInt32Type, d.intText, kNumbers, true); });
    reg("print/baseline_printf_g", [&](benchmark::State& s) { baselinePrintf(s, d.floats, "%g"); });
    reg("print/MFFloat",
        [&](benchmark::State& s) { printField(s, MFFloatType, d.floatText, kNumbers); });
    reg("print/MFVec3f",
        [&](benchmark::State& s) { printField(s, MFVec3fType, d.floatText, vec3Count); });
    reg("print/baseline_printf_d", [&](benchmark::State& s) { baselinePrintf(s, d.ints, "%d"); });
    reg("print/MFInt32",
        [&](benchmark::State& s) { printField(s, MFInt32Type, d.intText, kNumbers); });

    benchmark::Initialize(&argc, argv);
    KalvexBench::TimeCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    benchmark::Shutdown();
    return 0;
}
