// The summary: the interleaved table, the heap a decode takes and gives
// back, then the warm loops' throughput, ratios against jansson's own
// work, scaling with size, single-action decode times, allocation counts,
// the refused policy and peak memory, and last the targets, all from the
// runs of this process.
#include "summary.h"

#include <cstdio>
#include <fstream>
#include <ostream>
#include <utility>

#include "generator.h"

namespace bench {

namespace {

const char *measure_slug(Measure measure) {
    switch (measure) {
        case Measure::Loads: return "json_loads";
        case Measure::Decode: return "decode";
        case Measure::CopyDumps: return "copy+dumps_compact";
        case Measure::Encode: return "encode_compact";
        case Measure::CopyDumpsPretty: return "copy+dumps_pretty";
        case Measure::EncodePretty: return "encode_pretty";
    }
    return "?";
}

const char *measure_title(Measure measure) {
    switch (measure) {
        case Measure::Loads: return "json_loads (tree released untimed)";
        case Measure::Decode: return "decode (rmqc_json_to_data_protection_policy)";
        case Measure::CopyDumps: return "json_deep_copy + json_dumps, compact";
        case Measure::Encode: return "encode compact (rmqc_json_from_...)";
        case Measure::CopyDumpsPretty: return "json_deep_copy + json_dumps, pretty";
        case Measure::EncodePretty: return "encode pretty (rmqc_json_from_...)";
    }
    return "?";
}

constexpr double MB = 1024.0 * 1024.0;
constexpr int LABEL_WIDTH = 52;

// A number in a column, or "n/a" for one that could not be computed.
std::string cell(double value, const char *pattern = "%10.2f") {
    return value < 0 ? format("%10s", "n/a") : format(pattern, value);
}

double ratio(double a, double b) { return a < 0 || b <= 0 ? -1 : a / b; }
double scaled(double value, double factor) { return value < 0 ? -1 : value * factor; }

const char *comparison_title(Comparison comparison) {
    switch (comparison) {
        case Comparison::Decode: return "decode / json_loads";
        case Comparison::EncodeCompact: return "encode compact / (deep_copy + dumps)";
        case Comparison::EncodePretty: return "encode pretty / (deep_copy + dumps)";
        case Comparison::ActionDecode: return "one action: decode / json_loads";
        case Comparison::Refused: return "refused policy: decode / jansson path";
    }
    return "?";
}

// "met" when `value` is at most `high`.
const char *verdict(double value, double high) {
    if (value < 0) return "not measured";
    return value <= high ? "met" : "not met";
}

}  // namespace

std::string policy_bench_name(Measure measure, const std::string &size_label) {
    return std::string("policy/") + measure_slug(measure) + "/" + size_label;
}

std::string refused_bench_name(bool jansson_only) {
    return std::string("refused_policy/") + (jansson_only ? "jansson_path" : "decode") + "/10MB";
}

std::string kind_bench_name(int kind_tag, bool json_loads_only) {
    return format("action_kind/%02d_%s/%s", kind_tag, kind_label(kind_tag), json_loads_only ? "json_loads" : "decode");
}

std::string load_average() {
    std::ifstream in("/proc/loadavg");
    std::string one, five, fifteen;
    if (!(in >> one >> five >> fifteen)) return "unknown";
    return one + " " + five + " " + fifteen;
}

SummaryReporter::SummaryReporter(OutputOptions options, RunInfo info)
    : ConsoleReporter(options), info_(std::move(info)) {}

void SummaryReporter::ReportRuns(const std::vector<Run> &runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
        if (run.error_occurred) continue;
        const std::string &name = run.run_name.function_name;
        // CPU time of the measuring thread: other jobs on the machine slow
        // the wall clock more than this.
        double per_iteration = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        if (run.run_type == Run::RT_Aggregate) {
            if (run.aggregate_name == "median") median_[name] = per_iteration;
            continue;
        }
        Sum &sum = iterations_[name];
        sum.total += per_iteration;
        ++sum.count;
    }
}

void SummaryReporter::PrintRunData(const Run &run) {
    if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median" && run.aggregate_name != "cv") return;
    ConsoleReporter::PrintRunData(run);
}

double SummaryReporter::seconds(const std::string &name) const {
    if (auto median = median_.find(name); median != median_.end()) return median->second;
    auto found = iterations_.find(name);
    if (found == iterations_.end() || found->second.count == 0) return -1;
    return found->second.total / found->second.count;
}

double SummaryReporter::policy_seconds(Measure measure, const SizeInfo &size) const {
    return seconds(policy_bench_name(measure, size.label));
}

double SummaryReporter::action_seconds(const std::string &name) const {
    double batch = seconds(name);
    return batch < 0 ? -1 : batch / ACTION_BATCH;
}

void SummaryReporter::PrintSummary() {
    std::ostream &out = GetOutputStream();
    const std::vector<SizeInfo> &sizes = info_.sizes;
    auto cells_row = [&](const std::string &label, const std::vector<std::string> &cells) {
        out << format("  %-*s", LABEL_WIDTH, label.c_str());
        for (const std::string &text : cells) out << ' ' << text;
        out << '\n';
    };
    auto row = [&](const std::string &label, const std::vector<double> &values, const char *pattern = "%10.2f") {
        std::vector<std::string> cells;
        for (double value : values) cells.push_back(cell(value, pattern));
        cells_row(label, cells);
    };
    auto header = [&](const std::string &title, const std::vector<std::string> &columns) {
        out << (columns.empty() ? title : format("%-*s", LABEL_WIDTH + 2, title.c_str()));
        for (const std::string &column : columns) out << format(" %10s", column.c_str());
        out << '\n';
    };
    std::vector<std::string> size_columns;
    for (const SizeInfo &size : sizes) size_columns.push_back(size.label);

    out << "\n======================== jsoncodec benchmark summary ========================\n";
    out << "Load average (1/5/15 min): " << info_.load_before << " at start, " << load_average() << " at end.\n";
    out << "MB = 2^20 bytes. json_loads parses with JSON_REJECT_DUPLICATES, as the decoder's jansson path does.\n"
           "Encode throughput counts the compact input bytes.\n\n";

    // The main measurement.
    out << "Interleaved: ours and jansson's counterpart alternate on the same input, each operation\n"
           "releasing what it made inside its timing, each timing ending with one 4 KB malloc/free,\n"
           "glibc's default allocator settings; CPU time of the measuring thread. MB/s and us per\n"
           "operation from each side's median timing; ours/jansson is the median over the pairs.\n";
    header("", {"bytes", "ours MB/s", "jans. MB/s", "ours/jans.", "ours us", "jans. us", "timings"});
    for (const PairRow &pair : info_.pairs) {
        double megabytes = static_cast<double>(pair.bytes) / MB;
        cells_row(format("%s, %s", comparison_title(pair.comparison), pair.label.c_str()),
                  {cell(double(pair.bytes), "%10.0f"), cell(ratio(megabytes, pair.ours), "%10.1f"),
                   cell(ratio(megabytes, pair.theirs), "%10.1f"), cell(pair.ratio, "%10.3f"),
                   cell(scaled(pair.ours, 1e6), "%10.1f"), cell(scaled(pair.theirs, 1e6), "%10.1f"),
                   format("%6zu x%-3d", pair.timings, pair.batch)});
    }
    out << "  (timings: a side, x operations each)\n\n";

    header("Heap taken and given back within one decode", {"bytes", "given back", "blocks", "largest", "allocs"});
    for (const HeapReport &heap : info_.heap)
        row(format("policy %s (malloc family, operator new, jansson)", heap.size.label.c_str()),
            {double(heap.size.bytes), double(heap.decode.returned_bytes), double(heap.decode.returned_blocks),
             double(heap.decode.largest_request), double(heap.decode.library_allocs + heap.decode.jansson_allocs)},
            "%10.0f");
    out << "  (given back: bytes requested by blocks allocated and freed within the call, a realloc\n"
           "   giving back its old block; largest: the largest single request, in bytes)\n\n";

    out << "Warm loops (Google Benchmark, secondary): CPU time of the measuring thread, the median of\n"
           "repetitions run in random interleaved order. The decode's and json_loads' results are released\n"
           "outside the timing; both encoding sides free their text inside it, and deep_copy + dumps its\n"
           "copy too.\n";
    header("Throughput, MB/s", size_columns);
    for (Measure measure : all_measures) {
        std::vector<double> values;
        for (const SizeInfo &size : sizes) {
            double s = policy_seconds(measure, size);
            values.push_back(ratio(static_cast<double>(size.bytes) / MB, s));
        }
        row(measure_title(measure), values, "%10.1f");
    }
    out << '\n';

    header("Ratios of time", size_columns);
    auto ratio_row = [&](const char *label, Measure a, Measure b) {
        std::vector<double> values;
        for (const SizeInfo &size : sizes) values.push_back(ratio(policy_seconds(a, size), policy_seconds(b, size)));
        row(label, values, "%10.3f");
    };
    ratio_row("decode / json_loads", Measure::Decode, Measure::Loads);
    ratio_row("encode compact / (deep_copy + dumps compact)", Measure::Encode, Measure::CopyDumps);
    ratio_row("encode pretty / (deep_copy + dumps pretty)", Measure::EncodePretty, Measure::CopyDumpsPretty);
    out << '\n';

    // Time per MB at the largest size over the smallest.
    const SizeInfo *smallest = sizes.empty() ? nullptr : &sizes.front();
    const SizeInfo *largest = sizes.empty() ? nullptr : &sizes.back();
    auto scaling = [&](Measure measure) {
        if (smallest == nullptr) return -1.0;
        double small = policy_seconds(measure, *smallest), large = policy_seconds(measure, *largest);
        if (small <= 0 || large <= 0) return -1.0;
        return (large / static_cast<double>(largest->bytes)) / (small / static_cast<double>(smallest->bytes));
    };
    std::string span = smallest == nullptr ? std::string("?") : largest->label + " / " + smallest->label;
    header("Time per MB, " + span, {});
    for (Measure measure : all_measures) row(measure_title(measure), {scaling(measure)}, "%10.3f");
    out << '\n';

    // Single actions: the decode, json_loads of the same text, their ratio
    // and the size of the text.
    header(format("Single actions, ns per call (%d per batch)", ACTION_BATCH),
           {"decode", "json_loads", "dec/loads", "bytes"});
    for (int tag = 1; tag <= ACTION_KINDS; ++tag) {
        double decode = action_seconds(kind_bench_name(tag, false)), loads = action_seconds(kind_bench_name(tag, true));
        double bytes = tag <= static_cast<int>(info_.kind_bytes.size()) ? double(info_.kind_bytes[tag - 1]) : -1;
        cells_row(format("tag %2d %s%s", tag, kind_text(tag), tag == 1 ? " (traditional)" : ""),
                  {cell(scaled(decode, 1e9), "%10.0f"), cell(scaled(loads, 1e9), "%10.0f"),
                   cell(ratio(decode, loads), "%10.3f"), cell(bytes, "%10.0f")});
    }
    out << '\n';

    // The refused policy, through the export and through the path that
    // decides refusals alone.
    double refused = seconds(refused_bench_name(false)), refused_jansson = seconds(refused_bench_name(true));
    header("Refused 10MB policy (invalid period in its last action)", {"ms"});
    row("decode (rmqc_json_to_data_protection_policy)", {scaled(refused, 1e3)}, "%10.1f");
    row("jansson path alone (decode_export_through_jansson)", {scaled(refused_jansson, 1e3)}, "%10.1f");
    out << '\n';

    const AllocReport &a = info_.allocs;
    if (a.bytes != 0) {
        header(format("Heap allocations, %s policy, before the timed runs", a.label.c_str()), {"count"});
        auto count = [&](const std::string &label, uint64_t value) { row(label, {double(value)}, "%10.0f"); };
        count("json_loads alone", a.loads.jansson_allocs);
        count("decode, by the library itself", a.decode.library_allocs);
        count("decode, through jansson", a.decode.jansson_allocs);
        count("blocks the result owns (freed by rmqc_free_...)", a.release.library_frees);
        count("encode compact, by the library itself", a.encode.library_allocs);
        count("encode compact, through jansson", a.encode.jansson_allocs);
        count("json_deep_copy + json_dumps compact", a.copy_dumps.jansson_allocs);
        count("encode pretty, by the library itself", a.encode_pretty.library_allocs);
        count("encode pretty, through jansson", a.encode_pretty.jansson_allocs);
        count("json_deep_copy + json_dumps pretty", a.copy_dumps_pretty.jansson_allocs);
        out << "  (the library's own count includes operator new; aligned operator new is not seen.)\n\n";
    }

    const PeakReport &peaks = info_.peaks;
    header("Peak resident memory added by one call, 10MB policy", {"MB"});
    row("json_loads, tree kept", {scaled(peaks.loads, 1 / MB)}, "%10.1f");
    row("decode, result kept", {scaled(peaks.decode, 1 / MB)}, "%10.1f");
    out << '\n';

    // The targets, all from the interleaved table and the heap counts.
    auto find_pair = [&](Comparison comparison, const std::string &label) -> const PairRow * {
        for (const PairRow &pair : info_.pairs)
            if (pair.comparison == comparison && (label.empty() || pair.label == label)) return &pair;
        return nullptr;
    };
    auto pair_ratio = [&](Comparison comparison, const std::string &label = "") {
        const PairRow *pair = find_pair(comparison, label);
        return pair == nullptr ? -1.0 : pair->ratio;
    };
    auto target = [&](const std::string &label, double value, double high, const char *pattern = "%10.3f") {
        out << format("  %-*s %10s  %s\n", LABEL_WIDTH, label.c_str(), cell(value, pattern).c_str(),
                      verdict(value, high));
    };
    auto shown = [&](const std::string &label, double value) {
        out << format("  %-*s %10s  %s\n", LABEL_WIDTH, label.c_str(), cell(value, "%10.3f").c_str(),
                      "shown: unchanged or better");
    };
    header("Targets (interleaved)", {"measured"});
    for (const PairRow &pair : info_.pairs)
        if (pair.comparison == Comparison::Decode)
            target("decode / json_loads <= 0.08, " + pair.label, pair.ratio, 0.08);
    const PairRow *first = find_pair(Comparison::Decode, "1MB"), *last = find_pair(Comparison::Decode, "60MB");
    double per_mb = -1;
    if (first != nullptr && last != nullptr && first->ours > 0 && last->ours > 0)
        per_mb = (last->ours / double(last->bytes)) / (first->ours / double(first->bytes));
    target("decode time per MB, 60MB / 1MB <= 1.25", per_mb, 1.25);
    target("one action of kind 15: decode / json_loads <= 0.12", pair_ratio(Comparison::ActionDecode), 0.12);
    for (const HeapReport &heap : info_.heap)
        if (heap.size.label == "10MB")
            target("heap given back within the 10MB decode <= 64 KB", double(heap.decode.returned_bytes), 65536,
                   "%10.0f");
    target("refused policy: decode / jansson path alone <= 1.10", pair_ratio(Comparison::Refused), 1.10);
    for (Comparison comparison : {Comparison::EncodeCompact, Comparison::EncodePretty})
        for (const PairRow &pair : info_.pairs)
            if (pair.comparison == comparison)
                shown(format("%s, %s", comparison_title(comparison), pair.label.c_str()), pair.ratio);
    out.flush();
}

}  // namespace bench
