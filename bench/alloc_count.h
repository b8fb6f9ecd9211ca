// Counting of heap allocations during a conversion. The benchmark is
// linked with --wrap for malloc, calloc, realloc, strdup and free and with
// the tests' heap injector, so the library's own calls (it is linked
// statically) are counted; jansson's go through its allocator hook to the
// same counters, kept apart. Counting never refuses an allocation.
#pragma once

#include <cstdint>

namespace bench {

struct AllocCounts {
    uint64_t library_allocs = 0;  // malloc, calloc, realloc and strdup calls outside jansson
    uint64_t library_frees = 0;   // free of a non-NULL block outside jansson
    uint64_t jansson_allocs = 0;  // through jansson's allocator hook
    uint64_t jansson_frees = 0;
};

// Routes jansson's allocations through the counters; call once, before any
// JSON value exists.
void install_jansson_hook();

// Counts from zero until stop_counting(), which returns what was seen.
void start_counting();
AllocCounts stop_counting();

}  // namespace bench
