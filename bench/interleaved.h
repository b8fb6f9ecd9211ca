// The main measurement: each of the library's operations timed in
// alternation with jansson's counterpart on the same input (ours, jansson's,
// ours, ...), as a user's program meets them. Every operation releases
// what it made inside its timing, and every timing ends with one 4 KB
// request and its release (settle_heap), so that each side pays for its
// own frees and nothing for the other's. The allocator keeps glibc's
// default settings.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace bench {

// What a row of the interleaved table compares.
enum class Comparison {
    Decode,         // rmqc_json_to_data_protection_policy + rmqc_free_... / json_loads + json_decref
    EncodeCompact,  // rmqc_json_from_data_protection_policy + free / json_deep_copy + json_dumps + releases
    EncodePretty,
    ActionDecode,  // rmqc_json_to_action + rmqc_free_action / json_loads + json_decref, one action
    Refused,       // a refused policy: the export / jansson's path alone
};

// A short name of a comparison, for progress lines.
const char *comparison_slug(Comparison comparison);

// The CPU time of the calling thread, in seconds: the time the work took,
// page faults and the kernel's part of giving memory back included, less
// the time other jobs on the machine held the processor.
double thread_seconds();

// One 4 KB request and its release. glibc sorts the blocks freed before a
// request of that size into its bins, merging the small ones, so the side
// whose timing ends with it pays for sorting its own frees rather than
// leaving that to the next timing, the other side's.
void settle_heap();

double median(std::vector<double> values);

// How long to alternate: at least `min_timings` timings a side, and
// further until both sides together have taken `budget` seconds, up to
// `max_timings` a side.
struct PairPlan {
    std::size_t min_timings;
    double budget;
    std::size_t max_timings;
};

// Seconds per operation of each timing, the two sides in the order run.
struct PairTimings {
    std::vector<double> ours, theirs;
    int batch = 1;  // operations per timing
};

// A timing lasts at least this long, so that reading the clock costs
// little beside it: short operations are timed in batches.
constexpr double MIN_TIMING = 200e-6;

// `batch` runs of `operation` and one settle_heap(), in seconds per run.
template <class Operation>
double timed(Operation &operation, int batch) {
    double start = thread_seconds();
    for (int i = 0; i < batch; ++i) operation();
    settle_heap();
    return (thread_seconds() - start) / batch;
}

// Alternates `ours` and `theirs`, each one operation that releases what it
// made (and ends the program if the operation fails). Unrecorded pairs
// first warm the caches and the heap and size the batch, the same for both
// sides: it doubles until the shorter side's timing lasts MIN_TIMING.
template <class Ours, class Theirs>
PairTimings interleave(Ours &&ours, Theirs &&theirs, const PairPlan &plan) {
    PairTimings timings;
    while (std::min(timed(ours, timings.batch), timed(theirs, timings.batch)) * timings.batch < MIN_TIMING)
        timings.batch *= 2;
    double spent = 0;
    while (timings.ours.size() < plan.max_timings && (timings.ours.size() < plan.min_timings || spent < plan.budget)) {
        timings.ours.push_back(timed(ours, timings.batch));
        timings.theirs.push_back(timed(theirs, timings.batch));
        spent += (timings.ours.back() + timings.theirs.back()) * timings.batch;
    }
    return timings;
}

// One row of the interleaved table.
struct PairRow {
    Comparison comparison;
    std::string label;              // the input: a size label, or what it is
    std::size_t bytes = 0;          // of the input text (encode: the compact text)
    double ours = -1, theirs = -1;  // median seconds per operation of each side
    double ratio = -1;              // median over the pairs of ours / theirs
    std::size_t timings = 0;        // a side
    int batch = 1;
};

PairRow summarise(Comparison comparison, std::string label, std::size_t bytes, const PairTimings &timings);

}  // namespace bench
