// Allocation counting for the benchmarks, over the heap injector the tests
// use: armed to refuse nothing, it only counts.
#include "alloc_count.h"

#include "heap_injector.h"

namespace bench {

void install_jansson_hook() { route_jansson_through_injector(); }

void start_counting() { injector.arm(0); }

AllocCounts stop_counting() {
    injector.disarm();
    AllocCounts counts;
    counts.library_allocs = injector.count - injector.jansson_count;
    counts.jansson_allocs = injector.jansson_count;
    counts.library_frees = injector.frees;
    counts.jansson_frees = injector.jansson_frees;
    injector.live.clear();
    return counts;
}

}  // namespace bench
