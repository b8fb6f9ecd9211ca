// Counting of heap allocations during a conversion. The benchmark is
// linked with --wrap for malloc, calloc, realloc, strdup and free, so the
// library's own calls (it is linked statically) reach the counting wrappers
// of alloc_count.cpp; so do operator new and delete, which the program
// replaces, and jansson's allocations, through its allocator hook, kept
// apart. Counting never refuses an allocation, and while it is off each
// wrapper costs one test of a flag.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

struct AllocCounts {
    uint64_t library_allocs = 0;  // malloc, calloc, realloc, strdup and operator new calls outside jansson
    uint64_t library_frees = 0;   // free or operator delete of a non-NULL block outside jansson
    uint64_t jansson_allocs = 0;  // through jansson's allocator hook
    uint64_t jansson_frees = 0;
    // The blocks allocated while counting and released before it stopped
    // (a realloc releases its old block), whoever made them: their number
    // and bytes as requested. What a call takes and gives back.
    uint64_t returned_blocks = 0;
    uint64_t returned_bytes = 0;
    std::size_t largest_request = 0;  // the largest single request while counting
};

// Routes jansson's allocations through the counters; call once, before any
// JSON value exists.
void install_jansson_hook();

// Counts from zero until stop_counting(), which returns what was seen.
void start_counting();
AllocCounts stop_counting();

}  // namespace bench
