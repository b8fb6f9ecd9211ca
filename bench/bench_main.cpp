// Benchmarks of the codec against the floor jansson itself sets: parsing
// with json_loads, serialising a copy of a parsed tree with json_dumps.
//
// The main measurement is interleaved (interleaved.h): on generated
// policies of about 20 KB, 100 KB, 1 MB, 10 MB and 60 MB, the decode, the
// compact encoding and the pretty one each alternate with jansson's
// counterpart, every operation releasing what it made inside its timing
// and every timing ending with one 4 KB request and its release, so that
// each side pays for its own frees; likewise a single action of the last
// kind against json_loads of its text, and a policy the schema refuses
// against jansson's path alone. Each side's median gives MB/s, and the
// median over the pairs of ours / jansson's the ratio.
//
// Before any timing the program generates the documents, measures the peak
// resident memory of a decode and of json_loads in child processes, checks
// that each document decodes (each single action to its own kind, the
// damaged policy to a refusal), counts the heap allocations of the
// conversions of the 10 MB policy, and counts what a decode of the 10 MB
// and of the 60 MB policy takes from the heap and gives back before it
// returns, and its largest single request. After the interleaved
// measurements, the warm loops of Google Benchmark (results released
// untimed) run on the 1 MB, 10 MB and 60 MB policies and the single actions
// as repetitions in random interleaved order, a secondary table. The
// summary ends with the targets, met or not.
//
// With --write-documents DIR the program writes the documents of the
// whole-process rows of scripts/bench to DIR instead (documents.h).
#include <benchmark/benchmark.h>
#include <jansson.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "alloc_count.h"
#include "documents.h"
#include "exports.h"
#include "generator.h"
#include "interleaved.h"
#include "jsoncodec.h"
#include "policy_schema.h"
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
    json_t *tree = nullptr;                    // parsed once, the input of deep_copy + dumps
};

// The policies, smallest first. The interleaved measurement alternates at
// least `min_timings` timings a side, and more up to INTERLEAVED_BUDGET.
// Those in the warm loops run there either a fixed number of iterations
// per repetition or for a minimum time.
struct SizePlan {
    const char *label;
    size_t target;
    size_t min_timings;  // interleaved
    bool warm_loop;
    int iterations;   // warm loop: 0: use min_time
    double min_time;  // seconds
};
constexpr SizePlan size_plans[] = {
    {"20KB", size_t{20} << 10, 15, false, 0, 0}, {"100KB", size_t{100} << 10, 15, false, 0, 0},
    {"1MB", size_t{1} << 20, 15, true, 0, 0.2},  {"10MB", size_t{10} << 20, 9, true, 0, 0.4},
    {"60MB", size_t{60} << 20, 5, true, 1, 0},
};
constexpr double INTERLEAVED_BUDGET = 0.4;  // seconds of both sides, per size and operation
constexpr size_t MAX_TIMINGS = 2000;

std::vector<PolicyCase> policies;
std::string refused_text;  // the 10 MB policy, its last action damaged

[[noreturn]] void fail(const std::string &what, const char *line) {
    std::fprintf(stderr, "bench: %s: %s\n", what.c_str(), line);
    std::abort();
}

// The two decoding paths of a policy: the export, and jansson's path alone,
// which decides every refusal.
using Decoder = int32_t (*)(data_protection_policy **, const char *, char *, uint64_t);

int32_t decode_jansson(data_protection_policy **out, const char *json, char *line, uint64_t length) {
    return jsoncodec::decode_export_through_jansson(jsoncodec::data_protection_policy_desc, out, json, line, length);
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

// ------------------------------------------------- warm-loop benchmarks

void set_bytes(benchmark::State &state, size_t bytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void bm_loads(benchmark::State &state, const std::string *text) {
    for (auto _ : state) {
        json_error_t error;
        json_t *tree = json_loads(text->c_str(), JSON_REJECT_DUPLICATES, &error);
        if (tree == nullptr) {
            state.SkipWithError(error.text);
            break;
        }
        state.PauseTiming();
        json_decref(tree);
        state.ResumeTiming();
    }
    set_bytes(state, text->size());
}

// A decode that must end with `status`; a result is released untimed.
void bm_decode(benchmark::State &state, const std::string *text, Decoder decoder, int32_t status) {
    char line[1024];
    for (auto _ : state) {
        data_protection_policy *policy = nullptr;
        if (decoder(&policy, text->c_str(), line, sizeof line) != status) {
            state.SkipWithError(status == RMQC_OK ? line : "the damaged policy was not refused");
            break;
        }
        if (policy == nullptr) continue;
        state.PauseTiming();
        rmqc_free_data_protection_policy(policy);
        state.ResumeTiming();
    }
    set_bytes(state, text->size());
}

// Both encoding sides release their text inside the timing. The jansson
// side also releases its copied tree there, as the encoder releases
// everything it allocates but the text before it returns.
void bm_copy_dumps(benchmark::State &state, const PolicyCase *c, size_t flags) {
    for (auto _ : state) {
        json_t *copy = json_deep_copy(c->tree);
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

// One conversion of a single action's text, and the release of its result.
void *decode_action(const char *text) {
    char line[1024];
    action *result = nullptr;
    return rmqc_json_to_action(&result, text, line, sizeof line) == RMQC_OK ? result : nullptr;
}
void release_action(void *result) { rmqc_free_action(static_cast<action *>(result)); }
void *loads_action(const char *text) { return json_loads(text, JSON_REJECT_DUPLICATES, nullptr); }
void release_tree(void *tree) { json_decref(static_cast<json_t *>(tree)); }

// A batch of conversions per iteration, the results released untimed, so
// that pausing the timer costs little against the work.
void bm_action(benchmark::State &state, const std::string *text, void *(*convert)(const char *),
               void (*release)(void *)) {
    void *results[ACTION_BATCH];
    for (auto _ : state) {
        bool ok = true;
        for (void *&result : results) ok = (result = convert(text->c_str())) != nullptr && ok;
        state.PauseTiming();
        for (void *result : results) release(result);
        state.ResumeTiming();
        if (!ok) {
            state.SkipWithError("a generated action does not convert");
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * ACTION_BATCH);
}

// --------------------------------------------------------------- set-up

std::vector<std::string> kind_actions;  // by kind tag - 1; backup as traditional

void check_action(const std::string &text, int kind) {
    char line[1024];
    action *result = nullptr;
    std::string what = std::string("generated ") + kind_text(kind) + " action";
    if (rmqc_json_to_action(&result, text.c_str(), line, sizeof line) != RMQC_OK) fail(what + " does not decode", line);
    bool same_kind = result->actionSpecific.actions_type == kind;
    rmqc_free_action(result);
    if (!same_kind) fail(what, "decoded to another kind");
}

// The policy texts alone.
void make_documents() {
    for (const SizePlan &plan : size_plans) {
        PolicyCase c;
        c.text = make_policy(plan.target, SEED);
        c.info = SizeInfo{plan.label, c.text.size()};
        policies.push_back(std::move(c));
    }
}

const PolicyCase &policy_of(const std::string &label) {
    for (const PolicyCase &c : policies)
        if (c.info.label == label) return c;
    fail("no policy of size", label.c_str());
}
const PolicyCase &ten_mb() { return policy_of("10MB"); }

// The 10 MB policy with the schedule period of its last action (every
// action has one) replaced by a text outside the enumeration, so that the
// schema refuses it only at the end; both decoding paths must refuse it.
std::string damaged_policy(const std::string &text) {
    const std::string key = "\"actionSchedulePeriod\":\"";
    size_t value = text.rfind(key);
    if (value == std::string::npos) fail("the 10MB policy", "has no schedule period");
    value += key.size();
    std::string damaged = text;
    damaged.replace(value, text.find('"', value) - value, "fortnight");
    for (Decoder decoder : {Decoder(rmqc_json_to_data_protection_policy), Decoder(decode_jansson)}) {
        char line[1024] = "";
        data_protection_policy *policy = nullptr;
        if (decoder(&policy, damaged.c_str(), line, sizeof line) != RMQC_ERR_DECODE || policy != nullptr)
            fail("the damaged 10MB policy is not refused", line);
    }
    return damaged;
}

// Everything the benchmarks read beside the texts, each checked.
void prepare_documents() {
    for (PolicyCase &c : policies) {
        c.policy = decode_or_abort(c);
        c.tree = parse_or_abort(c.text);
    }
    refused_text = damaged_policy(ten_mb().text);
    for (int kind = 1; kind <= ACTION_KINDS; ++kind) {
        kind_actions.push_back(make_action(kind, 1, SEED));
        check_action(kind_actions.back(), kind);
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

// ---------------------------------------------------------- peak memory

// A field of /proc/self/status in kB, or -1.
long status_kb(const char *field) {
    std::ifstream in("/proc/self/status");
    std::string line;
    size_t length = std::strlen(field);
    while (std::getline(in, line))
        if (line.compare(0, length, field) == 0 && line[length] == ':') return std::atol(line.c_str() + length + 1);
    return -1;
}

// The calls whose peak is measured; each keeps what it builds, so that it
// is still resident when the peak is read.
bool loads_kept(const char *text) { return json_loads(text, JSON_REJECT_DUPLICATES, nullptr) != nullptr; }
bool decode_kept(const char *text) {
    char line[1024];
    data_protection_policy *policy = nullptr;
    return rmqc_json_to_data_protection_policy(&policy, text, line, sizeof line) == RMQC_OK;
}

// How much one call raises the resident set, in bytes, or -1: resident
// memory sees every allocator and every page the call touches. The call
// runs once in a child forked for it alone, and the child exits after it:
//  - the child first returns to the kernel the free pages of the heap it
//    inherits (malloc_trim), which the call could otherwise reuse without
//    the resident set growing;
//  - a forked process starts with its parent's high-water mark, so the
//    child resets it to its current resident set (5 into clear_refs);
//  - the growth is VmHWM after the call less VmRSS before it.
double peak_growth(bool (*call)(const char *), const std::string &text) {
    int channel[2];
    if (pipe(channel) != 0) return -1;
    pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        malloc_trim(0);
        std::ofstream reset("/proc/self/clear_refs");
        reset << '5';
        reset.close();  // writes it; fails where the kernel refuses the reset
        long before = reset ? status_kb("VmRSS") : -1;
        bool done = before >= 0 && call(text.c_str());
        long peak = status_kb("VmHWM");
        double growth = done && peak >= before ? double(peak - before) * 1024 : -1;
        ssize_t written = write(channel[1], &growth, sizeof growth);
        _exit(written == sizeof growth ? 0 : 1);
    }
    close(channel[1]);
    double growth = -1;
    if (child < 0 || read(channel[0], &growth, sizeof growth) != sizeof growth) growth = -1;
    close(channel[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return growth;
}

// ------------------------------------------------- heap taken and given back

// What one decode takes from the heap and gives back before it returns.
HeapReport count_decode_heap(const PolicyCase &c) {
    start_counting();
    data_protection_policy *policy = decode_or_abort(c);
    AllocCounts counts = stop_counting();
    rmqc_free_data_protection_policy(policy);
    return HeapReport{c.info, counts};
}

// ---------------------------------------------------- interleaved timings

// The operations of the interleaved table. Each releases what it made and
// ends the program if it fails.
void decode_released(const std::string &text) {
    char line[1024];
    data_protection_policy *policy = nullptr;
    if (rmqc_json_to_data_protection_policy(&policy, text.c_str(), line, sizeof line) != RMQC_OK)
        fail("a generated policy does not decode", line);
    rmqc_free_data_protection_policy(policy);
}

void action_decode_released(const std::string &text) {
    char line[1024];
    action *result = nullptr;
    if (rmqc_json_to_action(&result, text.c_str(), line, sizeof line) != RMQC_OK)
        fail("a generated action does not decode", line);
    rmqc_free_action(result);
}

void loads_released(const std::string &text) {
    json_error_t error;
    json_t *tree = json_loads(text.c_str(), JSON_REJECT_DUPLICATES, &error);
    if (tree == nullptr) fail("json_loads refused a generated document", error.text);
    json_decref(tree);
}

void encode_released(const data_protection_policy *policy, int32_t pretty) {
    char line[1024];
    char *text = nullptr;
    if (rmqc_json_from_data_protection_policy(policy, &text, line, sizeof line, pretty) != RMQC_OK)
        fail("a decoded policy does not encode", line);
    std::free(text);
}

void copy_dumps_released(const json_t *tree, size_t flags) {
    json_t *copy = json_deep_copy(tree);
    char *text = copy != nullptr ? json_dumps(copy, flags) : nullptr;
    json_decref(copy);
    if (text == nullptr) fail("json_deep_copy or json_dumps failed", "");
    std::free(text);
}

void refused_by(Decoder decoder, const std::string &text) {
    char line[1024];
    data_protection_policy *policy = nullptr;
    if (decoder(&policy, text.c_str(), line, sizeof line) != RMQC_ERR_DECODE || policy != nullptr)
        fail("the damaged policy was not refused", line);
}

// Every row of the interleaved table, in the order printed; each line of
// progress goes to standard error.
std::vector<PairRow> run_interleaved() {
    std::vector<PairRow> rows;
    auto pair = [&](Comparison comparison, const std::string &label, size_t bytes, size_t min_timings, auto ours,
                    auto theirs) {
        std::fprintf(stderr, "bench: interleaved %s %s...\n", comparison_slug(comparison), label.c_str());
        PairTimings timings = interleave(ours, theirs, PairPlan{min_timings, INTERLEAVED_BUDGET, MAX_TIMINGS});
        rows.push_back(summarise(comparison, label, bytes, timings));
    };
    for (size_t i = 0; i < policies.size(); ++i) {
        const PolicyCase &c = policies[i];
        size_t min_timings = size_plans[i].min_timings;
        pair(
            Comparison::Decode, c.info.label, c.info.bytes, min_timings, [&] { decode_released(c.text); },
            [&] { loads_released(c.text); });
        for (int32_t pretty : {0, 1})
            pair(
                pretty ? Comparison::EncodePretty : Comparison::EncodeCompact, c.info.label, c.info.bytes, min_timings,
                [&] { encode_released(c.policy, pretty); },
                [&] { copy_dumps_released(c.tree, pretty ? JANSSON_PRETTY : JANSSON_COMPACT); });
    }
    const std::string &last_kind = kind_actions.back();
    pair(
        Comparison::ActionDecode, format("kind %d", ACTION_KINDS), last_kind.size(), 15,
        [&] { action_decode_released(last_kind); }, [&] { loads_released(last_kind); });
    pair(
        Comparison::Refused, ten_mb().info.label, refused_text.size(), 9,
        [&] { refused_by(rmqc_json_to_data_protection_policy, refused_text); },
        [&] { refused_by(decode_jansson, refused_text); });
    return rows;
}

// ------------------------------------------------------------ the warm loops

// Every benchmark is repeated, the repetitions of all of them shuffled,
// and the table takes the median repetition.
constexpr int REPETITIONS = 7;
constexpr int LARGE_REPETITIONS = 5;  // of one iteration each, at the largest size

void register_benchmarks() {
    for (int kind = 1; kind <= ACTION_KINDS; ++kind)
        for (bool loads_only : {false, true})
            benchmark::RegisterBenchmark(kind_bench_name(kind, loads_only).c_str(), bm_action, &kind_actions[kind - 1],
                                         loads_only ? loads_action : decode_action,
                                         loads_only ? release_tree : release_action)
                ->Unit(benchmark::kMicrosecond)
                ->MinTime(0.05)
                ->Repetitions(REPETITIONS)
                ->ReportAggregatesOnly(true);

    for (size_t i = 0; i < policies.size(); ++i) {
        const PolicyCase *c = &policies[i];
        const SizePlan &plan = size_plans[i];
        if (!plan.warm_loop) continue;
        auto add = [&](const std::string &name, auto &&function, auto... args) {
            benchmark::internal::Benchmark *b = benchmark::RegisterBenchmark(name.c_str(), function, args...);
            b->Unit(benchmark::kMillisecond)->ReportAggregatesOnly(true);
            if (plan.iterations > 0)
                b->Iterations(plan.iterations)->Repetitions(LARGE_REPETITIONS);
            else
                b->MinTime(plan.min_time)->Repetitions(REPETITIONS);
        };
        auto name = [&](Measure measure) { return policy_bench_name(measure, c->info.label); };
        add(name(Measure::Loads), bm_loads, &c->text);
        add(name(Measure::Decode), bm_decode, &c->text, Decoder(rmqc_json_to_data_protection_policy), RMQC_OK);
        add(name(Measure::CopyDumps), bm_copy_dumps, c, JANSSON_COMPACT);
        add(name(Measure::Encode), bm_encode, c, int32_t{0});
        add(name(Measure::CopyDumpsPretty), bm_copy_dumps, c, JANSSON_PRETTY);
        add(name(Measure::EncodePretty), bm_encode, c, int32_t{1});
        if (c == &ten_mb()) {
            add(refused_bench_name(false), bm_decode, &refused_text, Decoder(rmqc_json_to_data_protection_policy),
                RMQC_ERR_DECODE);
            add(refused_bench_name(true), bm_decode, &refused_text, Decoder(decode_jansson), RMQC_ERR_DECODE);
        }
    }
}

}  // namespace

}  // namespace bench

int main(int argc, char **argv) {
    using namespace bench;
    // jsoncodec_bench --write-documents DIR: the documents of the
    // whole-process rows (documents.h), and nothing else.
    if (argc == 3 && std::strcmp(argv[1], "--write-documents") == 0) return write_documents(argv[2], SEED);
    // Before any JSON value exists: jansson allocates through the counters.
    install_jansson_hook();
    // Repetitions in random interleaved order unless the command line says
    // otherwise (a later flag wins).
    static char random_order[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> args(argv, argv + argc);
    args.insert(args.begin() + 1, random_order);
    args.push_back(nullptr);
    int count = argc + 1;
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

    RunInfo info;
    info.load_before = load_average();
    std::fprintf(stderr, "bench: generating and checking the documents...\n");
    make_documents();
    // Before anything else is decoded or parsed: the children inherit as
    // little as can be.
    info.peaks = PeakReport{peak_growth(loads_kept, ten_mb().text), peak_growth(decode_kept, ten_mb().text)};
    prepare_documents();
    info.allocs = count_allocations(ten_mb());
    for (const char *label : {"10MB", "60MB"}) info.heap.push_back(count_decode_heap(policy_of(label)));
    info.pairs = run_interleaved();

    register_benchmarks();
    for (size_t i = 0; i < policies.size(); ++i)
        if (size_plans[i].warm_loop) info.sizes.push_back(policies[i].info);
    for (const std::string &text : kind_actions) info.kind_bytes.push_back(text.size());
    SummaryReporter reporter(
        isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_ColorTabular : benchmark::ConsoleReporter::OO_Tabular,
        std::move(info));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    reporter.PrintSummary();

    for (PolicyCase &c : policies) {
        rmqc_free_data_protection_policy(c.policy);
        json_decref(c.tree);
    }
    return 0;
}
