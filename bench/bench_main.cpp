// Benchmarks of the codec against the floor jansson itself sets: parsing
// with json_loads, serialising a copy of a parsed tree with json_dumps.
//
// Before any timing the program generates the policy documents, checks that
// each decodes (and each single action decodes to its own kind and
// subtype), and counts the heap allocations of the conversions of the
// 10 MB policy. After the runs its reporter prints one summary table.
#include <benchmark/benchmark.h>
#include <jansson.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "alloc_count.h"
#include "generator.h"
#include "jsoncodec.h"
#include "summary.h"

namespace bench {

namespace {

constexpr uint64_t SEED = 0x6a736f6e636f6465ULL;

constexpr size_t JANSSON_COMPACT = JSON_COMPACT | JSON_PRESERVE_ORDER;
constexpr size_t JANSSON_PRETTY = JSON_INDENT(4) | JSON_PRESERVE_ORDER;

struct PolicyCase {
    SizeInfo info;
    std::string text;
    data_protection_policy *policy = nullptr;  // decoded once, the encoders' input
};

// The policies, smallest first. The largest runs a fixed number of
// iterations per repetition; the smaller ones for a minimum time.
struct SizePlan {
    const char *label;
    size_t target;
    int iterations;   // 0: use min_time
    double min_time;  // seconds
};
constexpr SizePlan size_plans[] = {
    {"1MB", size_t{1} << 20, 0, 0.2},
    {"10MB", size_t{10} << 20, 0, 0.4},
    {"100MB", size_t{100} << 20, 1, 0},
};

std::vector<PolicyCase> policies;

[[noreturn]] void fail(const std::string &what, const char *line) {
    std::fprintf(stderr, "bench: %s: %s\n", what.c_str(), line);
    std::abort();
}

data_protection_policy *decode_or_abort(const PolicyCase &c) {
    char line[1024];
    data_protection_policy *policy = nullptr;
    if (rmqc_json_to_data_protection_policy(&policy, c.text.c_str(), line, sizeof line) != RMQC_OK)
        fail("generated " + c.info.label + " policy does not decode", line);
    return policy;
}

json_t *parse_or_abort(const std::string &text) {
    json_error_t error;
    json_t *tree = json_loads(text.c_str(), JSON_REJECT_DUPLICATES, &error);
    if (tree == nullptr) fail("json_loads refused a generated document", error.text);
    return tree;
}

// One parsed tree at a time, the source of the copy + dumps benchmarks;
// asking for another size releases the previous one.
const PolicyCase *held_for = nullptr;
json_t *held = nullptr;

json_t *parsed_tree(const PolicyCase &c) {
    if (held_for != &c) {
        json_decref(held);
        held = parse_or_abort(c.text);
        held_for = &c;
    }
    return held;
}

void release_parsed_tree() {
    json_decref(held);
    held = nullptr;
    held_for = nullptr;
}

// ------------------------------------------------------------ benchmarks

void set_bytes(benchmark::State &state, size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void bm_loads(benchmark::State &state, const PolicyCase *c, bool release_timed) {
    for (auto _ : state) {
        json_error_t error;
        json_t *tree = json_loads(c->text.c_str(), JSON_REJECT_DUPLICATES, &error);
        if (tree == nullptr) {
            state.SkipWithError(error.text);
            break;
        }
        if (release_timed) {
            json_decref(tree);
        } else {
            state.PauseTiming();
            json_decref(tree);
            state.ResumeTiming();
        }
    }
    set_bytes(state, c->text.size());
}

void bm_decode(benchmark::State &state, const PolicyCase *c) {
    char line[1024];
    for (auto _ : state) {
        data_protection_policy *policy = nullptr;
        if (rmqc_json_to_data_protection_policy(&policy, c->text.c_str(), line, sizeof line) != RMQC_OK) {
            state.SkipWithError(line);
            break;
        }
        state.PauseTiming();
        rmqc_free_data_protection_policy(policy);
        state.ResumeTiming();
    }
    set_bytes(state, c->text.size());
}

// Both encoding sides release their text inside the timing. The jansson
// side also releases its copied tree there, as the encoder releases the
// tree it builds before it returns.
void bm_copy_dumps(benchmark::State &state, const PolicyCase *c, size_t flags) {
    json_t *tree = parsed_tree(*c);
    for (auto _ : state) {
        json_t *copy = json_deep_copy(tree);
        char *text = copy != nullptr ? json_dumps(copy, flags) : nullptr;
        json_decref(copy);
        if (text == nullptr) {
            state.SkipWithError("json_deep_copy or json_dumps failed");
            break;
        }
        std::free(text);
    }
    set_bytes(state, c->text.size());
}

void bm_encode(benchmark::State &state, const PolicyCase *c, int32_t pretty) {
    char line[1024];
    for (auto _ : state) {
        char *text = nullptr;
        if (rmqc_json_from_data_protection_policy(c->policy, &text, line, sizeof line, pretty) != RMQC_OK) {
            state.SkipWithError(line);
            break;
        }
        std::free(text);
    }
    set_bytes(state, c->text.size());
}

// A batch of decodes per iteration, the results released untimed, so that
// pausing the timer costs little against the decodes.
void bm_action(benchmark::State &state, const std::string *text) {
    char line[1024];
    action *results[ACTION_BATCH];
    for (auto _ : state) {
        bool ok = true;
        for (action *&result : results) {
            result = nullptr;
            ok = rmqc_json_to_action(&result, text->c_str(), line, sizeof line) == RMQC_OK && ok;
        }
        state.PauseTiming();
        for (action *result : results) rmqc_free_action(result);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError(line);
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * ACTION_BATCH);
}

// The same batches through json_loads alone: what parsing the text costs.
void bm_action_loads(benchmark::State &state, const std::string *text) {
    json_t *trees[ACTION_BATCH];
    for (auto _ : state) {
        bool ok = true;
        for (json_t *&tree : trees) {
            json_error_t error;
            tree = json_loads(text->c_str(), JSON_REJECT_DUPLICATES, &error);
            ok = tree != nullptr && ok;
        }
        state.PauseTiming();
        for (json_t *tree : trees) json_decref(tree);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError("json_loads failed");
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * ACTION_BATCH);
}

// --------------------------------------------------------------- set-up

std::vector<std::string> kind_actions;     // by kind tag - 1; backup as traditional
std::vector<std::string> subtype_actions;  // by subtype tag - 1

void check_action(const std::string &text, int kind, int subtype) {
    char line[1024];
    action *result = nullptr;
    std::string what = std::string("generated ") + kind_text(kind) + " action";
    if (rmqc_json_to_action(&result, text.c_str(), line, sizeof line) != RMQC_OK) fail(what + " does not decode", line);
    bool same_kind = result->actionSpecific.actions_type == kind;
    bool same_subtype =
        kind != 1 ||
        result->actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type == subtype;
    rmqc_free_action(result);
    if (!same_kind || !same_subtype) fail(what, "decoded to another kind or subtype");
}

void make_documents() {
    for (const SizePlan &plan : size_plans) {
        PolicyCase c;
        c.text = make_policy(plan.target, SEED);
        c.info = SizeInfo{plan.label, c.text.size()};
        policies.push_back(std::move(c));
    }
    for (PolicyCase &c : policies) c.policy = decode_or_abort(c);

    for (int kind = 1; kind <= ACTION_KINDS; ++kind) {
        kind_actions.push_back(make_action(kind, 1, SEED));
        check_action(kind_actions.back(), kind, 1);
    }
    for (int subtype = 1; subtype <= BACKUP_SUBTYPES; ++subtype) {
        subtype_actions.push_back(make_action(1, subtype, SEED));
        check_action(subtype_actions.back(), 1, subtype);
    }
}

char *encode_or_abort(const PolicyCase &c, int32_t pretty) {
    char line[1024];
    char *text = nullptr;
    if (rmqc_json_from_data_protection_policy(c.policy, &text, line, sizeof line, pretty) != RMQC_OK)
        fail("the decoded " + c.info.label + " policy does not encode", line);
    return text;
}

// The allocation counts of the conversions of one policy. Nothing but the
// call counted runs between start and stop.
AllocReport count_allocations(const PolicyCase &c) {
    AllocReport report;
    report.label = c.info.label;
    report.bytes = c.info.bytes;

    start_counting();
    json_t *tree = parse_or_abort(c.text);
    report.loads = stop_counting();

    start_counting();
    data_protection_policy *policy = decode_or_abort(c);
    report.decode = stop_counting();
    start_counting();
    rmqc_free_data_protection_policy(policy);
    report.release = stop_counting();

    for (int32_t pretty : {0, 1}) {
        start_counting();
        char *text = encode_or_abort(c, pretty);
        (pretty ? report.encode_pretty : report.encode) = stop_counting();
        std::free(text);

        start_counting();
        json_t *copy = json_deep_copy(tree);
        char *dumped = json_dumps(copy, pretty ? JANSSON_PRETTY : JANSSON_COMPACT);
        (pretty ? report.copy_dumps_pretty : report.copy_dumps) = stop_counting();
        std::free(dumped);
        json_decref(copy);
    }
    json_decref(tree);
    return report;
}

// Every benchmark is repeated and the table takes the fastest repetition:
// other jobs on the machine only ever add time, so the minimum is the
// estimate they disturb least.
constexpr int REPETITIONS = 5;
constexpr int LARGE_REPETITIONS = 2;  // of one iteration each, at the largest size

double fastest(const std::vector<double> &values) {
    return values.empty() ? 0.0 : *std::min_element(values.begin(), values.end());
}

void repeat(benchmark::internal::Benchmark *b, int repetitions) {
    b->Repetitions(repetitions)->ComputeStatistics("min", fastest)->ReportAggregatesOnly(true);
}

void register_benchmarks() {
    auto add_action = [](const std::string &name, auto &&function, const std::string *text) {
        repeat(benchmark::RegisterBenchmark(name.c_str(), function, text)->Unit(benchmark::kMicrosecond)->MinTime(0.05),
               REPETITIONS);
    };
    for (int kind = 1; kind <= ACTION_KINDS; ++kind) {
        add_action(kind_bench_name(kind, false), bm_action, &kind_actions[kind - 1]);
        add_action(kind_bench_name(kind, true), bm_action_loads, &kind_actions[kind - 1]);
    }
    for (int subtype = 1; subtype <= BACKUP_SUBTYPES; ++subtype) {
        add_action(subtype_bench_name(subtype, false), bm_action, &subtype_actions[subtype - 1]);
        add_action(subtype_bench_name(subtype, true), bm_action_loads, &subtype_actions[subtype - 1]);
    }

    for (size_t i = 0; i < policies.size(); ++i) {
        const PolicyCase *c = &policies[i];
        const SizePlan &plan = size_plans[i];
        auto add = [&](Measure measure, auto &&function, auto... args) {
            benchmark::internal::Benchmark *b =
                benchmark::RegisterBenchmark(policy_bench_name(measure, c->info.label).c_str(), function, c, args...);
            b->Unit(benchmark::kMillisecond);
            if (plan.iterations > 0) {
                b->Iterations(plan.iterations);
                repeat(b, LARGE_REPETITIONS);
            } else {
                b->MinTime(plan.min_time);
                repeat(b, REPETITIONS);
            }
        };
        add(Measure::Loads, bm_loads, false);
        add(Measure::LoadsRelease, bm_loads, true);
        add(Measure::Decode, bm_decode);
        add(Measure::CopyDumps, bm_copy_dumps, JANSSON_COMPACT);
        add(Measure::Encode, bm_encode, int32_t{0});
        add(Measure::CopyDumpsPretty, bm_copy_dumps, JANSSON_PRETTY);
        add(Measure::EncodePretty, bm_encode, int32_t{1});
    }
}

}  // namespace

}  // namespace bench

int main(int argc, char **argv) {
    using namespace bench;
    // Before any JSON value exists: jansson allocates through the counters.
    install_jansson_hook();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    std::string load_before = load_average();
    std::fprintf(stderr, "bench: generating and checking the documents...\n");
    make_documents();
    AllocReport allocs;
    for (const PolicyCase &c : policies)
        if (c.info.label == "10MB") allocs = count_allocations(c);
    register_benchmarks();

    RunInfo info;
    for (const PolicyCase &c : policies) info.sizes.push_back(c.info);
    for (const std::string &text : kind_actions) info.kind_bytes.push_back(text.size());
    for (const std::string &text : subtype_actions) info.subtype_bytes.push_back(text.size());
    info.allocs = allocs;
    info.load_before = load_before;
    SummaryReporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_ColorTabular
                                                   : benchmark::ConsoleReporter::OO_Tabular,
                             std::move(info));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    release_parsed_tree();
    for (PolicyCase &c : policies) rmqc_free_data_protection_policy(c.policy);
    return 0;
}
