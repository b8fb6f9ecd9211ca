// The summary table: throughput, the ratios against jansson's own work
// (and against simdjson's parse), scaling with size, single-action decode
// times, allocation counts, the refused policy, peak memory and the
// targets, all from the runs of this process.
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
        case Measure::Simdjson: return "simdjson_parse";
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
        case Measure::Simdjson: return "simdjson DOM parse (fresh parser)";
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

// "met" when `value` lies within [low, high].
const char *verdict(double value, double low, double high) {
    if (value < 0) return "not measured";
    return value >= low && value <= high ? "met" : "not met";
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

void SummaryReporter::Finalize() {
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
    out << "CPU time of the measuring thread, the median of repetitions run in random interleaved order;\n"
           "MB = 2^20 bytes.\n";
    out << "Load average (1/5/15 min): " << info_.load_before << " at start, " << load_average() << " at end.\n";
    out << "Policies:";
    for (const SizeInfo &size : sizes) out << format(" %s = %zu bytes;", size.label.c_str(), size.bytes);
    out << "\njson_loads parses with JSON_REJECT_DUPLICATES, as the decoder's jansson path does. Both encoding\n"
           "sides free their text inside the timing, and deep_copy + dumps releases its copy there too.\n"
           "Encode throughput counts the compact input bytes.\n\n";

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
    ratio_row("decode / simdjson DOM parse", Measure::Decode, Measure::Simdjson);
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
    auto kind_row = [&](int tag) {
        double decode = action_seconds(kind_bench_name(tag, false)), loads = action_seconds(kind_bench_name(tag, true));
        double bytes = tag <= static_cast<int>(info_.kind_bytes.size()) ? double(info_.kind_bytes[tag - 1]) : -1;
        cells_row(format("tag %2d %s%s", tag, kind_text(tag), tag == 1 ? " (traditional)" : ""),
                  {cell(scaled(decode, 1e9), "%10.0f"), cell(scaled(loads, 1e9), "%10.0f"),
                   cell(ratio(decode, loads), "%10.3f"), cell(bytes, "%10.0f")});
        return ratio(decode, loads);
    };
    double tag15_share = -1;
    for (int tag = 1; tag <= ACTION_KINDS; ++tag)
        if (double share = kind_row(tag); tag == 15) tag15_share = share;
    out << '\n';

    const AllocReport &a = info_.allocs;
    double library_encode = -1;
    if (a.bytes != 0) {
        header(format("Heap allocations, %s policy, before the timed runs", a.label.c_str()), {"count"});
        auto count = [&](const std::string &label, uint64_t value) { row(label, {double(value)}, "%10.0f"); };
        library_encode = double(a.encode.library_allocs + a.encode_pretty.library_allocs);
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
        out << "  (simdjson allocates with operator new, which these counts do not see.)\n\n";
    }

    // The refused policy, through the export and through the path that
    // decides refusals alone.
    double refused = seconds(refused_bench_name(false)), refused_jansson = seconds(refused_bench_name(true));
    header("Refused 10MB policy (invalid period in its last action)", {"ms"});
    row("decode (rmqc_json_to_data_protection_policy)", {scaled(refused, 1e3)}, "%10.1f");
    row("jansson path alone (json_to_frame_jansson)", {scaled(refused_jansson, 1e3)}, "%10.1f");
    out << '\n';

    const PeakReport &peaks = info_.peaks;
    header("Peak resident memory added by one call, 10MB policy", {"MB"});
    row("json_loads, tree kept", {scaled(peaks.loads, 1 / MB)}, "%10.1f");
    row("decode, result kept", {scaled(peaks.decode, 1 / MB)}, "%10.1f");
    out << '\n';

    // The targets; the document ratios are taken on the 10 MB policy.
    const SizeInfo *ten = nullptr;
    for (const SizeInfo &size : sizes)
        if (size.label == "10MB") ten = &size;
    auto at_ten = [&](Measure a_measure, Measure b_measure) {
        return ten == nullptr ? -1.0 : ratio(policy_seconds(a_measure, *ten), policy_seconds(b_measure, *ten));
    };
    auto target = [&](const std::string &label, double value, double low, double high,
                      const char *pattern = "%10.3f") {
        out << format("  %-*s %10s  %s\n", LABEL_WIDTH, label.c_str(), cell(value, pattern).c_str(),
                      verdict(value, low, high));
    };
    header("Targets", {"measured"});
    target("decode / json_loads <= 0.10 (10MB)", at_ten(Measure::Decode, Measure::Loads), 0, 0.10);
    target("encode compact / (deep_copy + dumps) <= 0.10 (10MB)", at_ten(Measure::Encode, Measure::CopyDumps), 0,
           0.10);
    target("encode pretty / (deep_copy + dumps) <= 0.12 (10MB)",
           at_ten(Measure::EncodePretty, Measure::CopyDumpsPretty), 0, 0.12);
    target("tag 15 action: decode / json_loads <= 0.50", tag15_share, 0, 0.50);
    target("refused 10MB: decode / jansson path <= 1.15", ratio(refused, refused_jansson), 0, 1.15);
    target("decode per MB, " + span + " within 0.8..1.2", scaling(Measure::Decode), 0.8, 1.2);
    target("encode compact per MB, " + span + " within 0.8..1.2", scaling(Measure::Encode), 0.8, 1.2);
    target("encode pretty per MB, " + span + " within 0.8..1.2", scaling(Measure::EncodePretty), 0.8, 1.2);
    target("peak memory: decode / json_loads <= 1.0 (10MB)", ratio(peaks.decode, peaks.loads), 0, 1.0);
    target("encode: allocations by the library itself = 0", library_encode, 0, 0, "%10.0f");
    out.flush();
}

}  // namespace bench
