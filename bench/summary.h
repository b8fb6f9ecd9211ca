// The names of the warm-loop benchmarks, and the reporter that collects
// their runs and prints, after the usual per-benchmark lines, the summary:
// the interleaved measurements first, then the warm loops of the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "alloc_count.h"
#include "interleaved.h"

namespace bench {

// What the warm loops measure on a whole policy document, at every size.
enum class Measure {
    Loads,      // json_loads, the tree released outside the timing
    Decode,     // rmqc_json_to_data_protection_policy, the result released outside the timing
    CopyDumps,  // json_deep_copy + json_dumps compact of a parsed tree
    Encode,     // rmqc_json_from_data_protection_policy compact
    CopyDumpsPretty,
    EncodePretty,
};
constexpr Measure all_measures[] = {Measure::Loads,  Measure::Decode,          Measure::CopyDumps,
                                    Measure::Encode, Measure::CopyDumpsPretty, Measure::EncodePretty};

std::string policy_bench_name(Measure measure, const std::string &size_label);
// The refused policy: the 10 MB policy with an invalid schedule period in
// its last action, through the export or through jansson's path alone.
std::string refused_bench_name(bool jansson_only);
// The single-action benchmarks: rmqc_json_to_action on the action of one
// kind (a traditional backup for the backup kind), or json_loads alone on
// the same text.
std::string kind_bench_name(int kind_tag, bool json_loads_only);

// A policy document of the run.
struct SizeInfo {
    std::string label;  // "20KB", ..., "60MB"
    std::size_t bytes;  // of its compact text
};

// Allocation counts of the conversions of one policy, taken before the
// timed runs.
struct AllocReport {
    std::string label;
    std::size_t bytes = 0;
    AllocCounts loads;          // json_loads alone
    AllocCounts decode;         // rmqc_json_to_data_protection_policy
    AllocCounts release;        // rmqc_free_data_protection_policy of its result
    AllocCounts encode;         // rmqc_json_from_data_protection_policy, compact
    AllocCounts encode_pretty;  // ... pretty
    AllocCounts copy_dumps;     // json_deep_copy + json_dumps, compact
    AllocCounts copy_dumps_pretty;
};

// Growth of the resident set of a fresh child process over one call on
// the 10 MB policy, in bytes; negative when it could not be measured.
struct PeakReport {
    double loads = -1;   // json_loads alone
    double decode = -1;  // rmqc_json_to_data_protection_policy
};

// What one decode of a policy takes from the heap and gives back before
// it returns.
struct HeapReport {
    SizeInfo size;
    AllocCounts decode;  // of rmqc_json_to_data_protection_policy alone
};

// Batch size of the single-action benchmarks: decodes per iteration.
constexpr int ACTION_BATCH = 32;

// What the table needs beyond the runs themselves.
struct RunInfo {
    std::vector<PairRow> pairs;           // the interleaved table, in order
    std::vector<HeapReport> heap;         // smallest first
    std::vector<SizeInfo> sizes;          // of the warm loops, smallest first
    std::vector<std::size_t> kind_bytes;  // text size of each single action, by tag - 1
    AllocReport allocs;                   // bytes == 0: not counted
    PeakReport peaks;
    std::string load_before;  // load average when the program started
};

class SummaryReporter : public benchmark::ConsoleReporter {
  public:
    SummaryReporter(OutputOptions options, RunInfo info);

    void ReportRuns(const std::vector<Run> &runs) override;
    // The summary, of whatever warm loops ran; printed by the program after
    // them, since none run when a filter matches none.
    void PrintSummary();

  protected:
    // Of the aggregates of repeated benchmarks, prints the median and the
    // coefficient of variation only.
    void PrintRunData(const Run &run) override;

  private:
    // CPU seconds per iteration of a benchmark (the median of its
    // repetitions when repeated), or a negative number when it was not run.
    double seconds(const std::string &name) const;
    double policy_seconds(Measure measure, const SizeInfo &size) const;
    double action_seconds(const std::string &name) const;  // per single decode

    RunInfo info_;
    struct Sum {
        double total = 0;
        int count = 0;
    };
    std::map<std::string, Sum> iterations_;  // per-run times of each benchmark
    std::map<std::string, double> median_;   // the median repetition, when repeated
};

// The first three numbers of /proc/loadavg.
std::string load_average();

}  // namespace bench
