#include "interleaved.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdlib>
#include <utility>

namespace bench {

const char *comparison_slug(Comparison comparison) {
    switch (comparison) {
        case Comparison::Decode: return "decode";
        case Comparison::EncodeCompact: return "encode_compact";
        case Comparison::EncodePretty: return "encode_pretty";
        case Comparison::ActionDecode: return "action_decode";
        case Comparison::Refused: return "refused_policy";
    }
    return "?";
}

double thread_seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void settle_heap() {
    void *block = std::malloc(4096);
    benchmark::DoNotOptimize(block);  // the compiler may not drop the pair
    std::free(block);
}

double median(std::vector<double> values) {
    if (values.empty()) return -1;
    size_t middle = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + middle, values.end());
    double upper = values[middle];
    if (values.size() % 2 != 0) return upper;
    return (upper + *std::max_element(values.begin(), values.begin() + middle)) / 2;
}

PairRow summarise(Comparison comparison, std::string label, std::size_t bytes, const PairTimings &timings) {
    PairRow row{comparison, std::move(label), bytes};
    row.ours = median(timings.ours);
    row.theirs = median(timings.theirs);
    std::vector<double> ratios;
    for (size_t i = 0; i < timings.ours.size(); ++i)
        if (timings.theirs[i] > 0) ratios.push_back(timings.ours[i] / timings.theirs[i]);
    row.ratio = median(std::move(ratios));
    row.timings = timings.ours.size();
    row.batch = timings.batch;
    return row;
}

}  // namespace bench
