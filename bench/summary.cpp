// The summary table: throughput, the ratios against jansson's own work,
// scaling with size, single-action decode times, allocation counts and the
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
        case Measure::LoadsRelease: return "json_loads+decref";
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
        case Measure::LoadsRelease: return "json_loads + json_decref";
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

// "met" when `value` lies within [low, high].
const char *verdict(double value, double low, double high) {
    if (value < 0) return "not measured";
    return value >= low && value <= high ? "met" : "not met";
}

}  // namespace

std::string policy_bench_name(Measure measure, const std::string &size_label) {
    return std::string("policy/") + measure_slug(measure) + "/" + size_label;
}

std::string kind_bench_name(int kind_tag, bool json_loads_only) {
    return format("action_kind/%02d_%s/%s", kind_tag, kind_label(kind_tag),
                         json_loads_only ? "json_loads" : "decode");
}

std::string subtype_bench_name(int subtype_tag, bool json_loads_only) {
    return format("backup_subtype/%d_%s/%s", subtype_tag, subtype_text(subtype_tag),
                         json_loads_only ? "json_loads" : "decode");
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
            if (run.aggregate_name == "min") fastest_[name] = per_iteration;
            continue;
        }
        Sum &sum = iterations_[name];
        sum.total += per_iteration;
        ++sum.count;
    }
}

void SummaryReporter::PrintRunData(const Run &run) {
    if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "min" && run.aggregate_name != "cv") return;
    ConsoleReporter::PrintRunData(run);
}

double SummaryReporter::seconds(const std::string &name) const {
    if (auto best = fastest_.find(name); best != fastest_.end()) return best->second;
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
    auto row = [&](const std::string &label, const std::vector<double> &values, const char *pattern = "%10.2f") {
        out << format("  %-*s", LABEL_WIDTH, label.c_str());
        for (double value : values) out << ' ' << cell(value, pattern);
        out << '\n';
    };
    auto header = [&](const std::string &title, const std::vector<std::string> &columns) {
        if (columns.empty()) {
            out << title << '\n';
            return;
        }
        out << format("%-*s", LABEL_WIDTH + 2, title.c_str());
        for (const std::string &column : columns) out << format(" %10s", column.c_str());
        out << '\n';
    };
    std::vector<std::string> size_columns;
    for (const SizeInfo &size : sizes) size_columns.push_back(size.label);

    out << "\n======================== jsoncodec benchmark summary ========================\n";
    out << "CPU time of the measuring thread, the fastest of the repetitions; MB = 2^20 bytes.\n";
    out << "Load average (1/5/15 min): " << info_.load_before << " at start, " << load_average() << " at end.\n";
    out << "Policies:";
    for (const SizeInfo &size : sizes) out << format(" %s = %zu bytes;", size.label.c_str(), size.bytes);
    out << "\njson_loads parses with JSON_REJECT_DUPLICATES, as the decoder does. Both encoding sides free\n"
           "their text inside the timing, and deep_copy + dumps releases its copy there too, as the encoder\n"
           "releases the tree it builds. Encode throughput counts the compact input bytes.\n\n";

    header("Throughput, MB/s", size_columns);
    for (Measure measure : all_measures) {
        std::vector<double> values;
        for (const SizeInfo &size : sizes) {
            double s = policy_seconds(measure, size);
            values.push_back(s <= 0 ? -1 : static_cast<double>(size.bytes) / MB / s);
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
    ratio_row("decode / (json_loads + json_decref)", Measure::Decode, Measure::LoadsRelease);
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
    // (the decode adds the conversion and the release of the parsed tree),
    // and the size of the text.
    header(format("Single actions, ns per call (%d per batch)", ACTION_BATCH),
           {"decode", "json_loads", "dec/loads", "bytes"});
    auto kind_bytes = [&](int tag) {
        return tag <= static_cast<int>(info_.kind_bytes.size()) ? static_cast<double>(info_.kind_bytes[tag - 1]) : -1;
    };
    auto subtype_bytes = [&](int tag) {
        return tag <= static_cast<int>(info_.subtype_bytes.size()) ? static_cast<double>(info_.subtype_bytes[tag - 1])
                                                                   : -1;
    };
    // decode and json_loads in ns, their ratio and the bytes of one
    // single-action text.
    struct ActionTimes {
        double decode, loads, share, bytes;
    };
    auto times = [&](const std::string &decode_name, const std::string &loads_name, double bytes) {
        double decode = action_seconds(decode_name), loads = action_seconds(loads_name);
        return ActionTimes{decode < 0 ? -1 : decode * 1e9, loads < 0 ? -1 : loads * 1e9, ratio(decode, loads), bytes};
    };
    auto kind_times = [&](int tag) { return times(kind_bench_name(tag, false), kind_bench_name(tag, true), kind_bytes(tag)); };
    auto subtype_times = [&](int tag) {
        return times(subtype_bench_name(tag, false), subtype_bench_name(tag, true), subtype_bytes(tag));
    };
    auto action_row = [&](const std::string &label, const ActionTimes &t) {
        out << format("  %-*s", LABEL_WIDTH, label.c_str()) << ' ' << cell(t.decode, "%10.0f") << ' '
            << cell(t.loads, "%10.0f") << ' ' << cell(t.share, "%10.3f") << ' ' << cell(t.bytes, "%10.0f") << '\n';
    };
    auto ratio_of = [&](const std::string &label, const ActionTimes &a_times, const ActionTimes &b_times) {
        row(label,
            {ratio(a_times.decode, b_times.decode), ratio(a_times.loads, b_times.loads),
             ratio(a_times.share, b_times.share), ratio(a_times.bytes, b_times.bytes)},
            "%10.3f");
        return ratio(a_times.decode, b_times.decode);
    };
    for (int tag = 1; tag <= ACTION_KINDS; ++tag)
        action_row(format("tag %2d %s%s", tag, kind_text(tag), tag == 1 ? " (traditional)" : ""), kind_times(tag));
    for (int tag = 1; tag <= BACKUP_SUBTYPES; ++tag)
        action_row(format("backup subtype %d %s", tag, subtype_text(tag)), subtype_times(tag));
    double tag15_tag2 = ratio_of("tag 15 / tag 2", kind_times(15), kind_times(2));
    double proxy_traditional =
        ratio_of("proxy (vmware-kestrel) / traditional", subtype_times(5), subtype_times(1));
    out << '\n';

    const AllocReport &a = info_.allocs;
    double extra = -1, library_encode = -1;
    if (a.bytes != 0) {
        header(format("Heap allocations, %s policy, before the timed runs", a.label.c_str()), {"count"});
        auto count = [&](const std::string &label, double value) { row(label, {value}, "%10.0f"); };
        auto as_double = [](uint64_t n) { return static_cast<double>(n); };
        uint64_t decode_total = a.decode.library_allocs + a.decode.jansson_allocs;
        uint64_t result_blocks = a.release.library_frees;
        extra = as_double(decode_total) - as_double(a.loads.jansson_allocs) - as_double(result_blocks);
        library_encode = as_double(a.encode.library_allocs + a.encode_pretty.library_allocs);
        count("json_loads alone", as_double(a.loads.jansson_allocs));
        count("decode, whole conversion", as_double(decode_total));
        count("  by the library itself", as_double(a.decode.library_allocs));
        count("  through jansson", as_double(a.decode.jansson_allocs));
        count("blocks the result owns (freed by rmqc_free_...)", as_double(result_blocks));
        count("decode extra: whole - json_loads - result blocks", extra);
        count("encode compact, by the library itself", as_double(a.encode.library_allocs));
        count("encode compact, through jansson", as_double(a.encode.jansson_allocs));
        count("json_deep_copy + json_dumps compact", as_double(a.copy_dumps.jansson_allocs));
        count("encode pretty, by the library itself", as_double(a.encode_pretty.library_allocs));
        count("encode pretty, through jansson", as_double(a.encode_pretty.jansson_allocs));
        count("json_deep_copy + json_dumps pretty", as_double(a.copy_dumps_pretty.jansson_allocs));
        out << '\n';
    }

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
    target("decode <= 1.10 x json_loads (10MB)", at_ten(Measure::Decode, Measure::Loads), 0, 1.10);
    target("encode compact <= 1.25 x deep_copy + dumps (10MB)", at_ten(Measure::Encode, Measure::CopyDumps), 0, 1.25);
    target("encode pretty <= 1.25 x deep_copy + dumps (10MB)",
           at_ten(Measure::EncodePretty, Measure::CopyDumpsPretty), 0, 1.25);
    target("tag 15 decode <= 1.2 x tag 2", tag15_tag2, 0, 1.2);
    target("proxy subtype decode <= 1.2 x traditional", proxy_traditional, 0, 1.2);
    target("decode per MB, " + span + " within 0.8..1.2", scaling(Measure::Decode), 0.8, 1.2);
    target("encode compact per MB, " + span + " within 0.8..1.2", scaling(Measure::Encode), 0.8, 1.2);
    target("encode pretty per MB, " + span + " within 0.8..1.2", scaling(Measure::EncodePretty), 0.8, 1.2);
    target("encode: allocations by the library itself = 0", library_encode, 0, 0, "%10.0f");
    out << format("  %-*s %10s  %s\n", LABEL_WIDTH, "decode: allocations beyond json_loads and the result",
                         cell(extra, "%10.0f").c_str(), "(reported)");
    out.flush();
}

}  // namespace bench
