// A heap that counts allocations and can refuse one chosen allocation. The
// executables that include this (the tests that refuse allocations, and the
// benchmarks, which only count) are linked with --wrap for malloc, calloc,
// realloc, strdup and free, so every such call made by the library's
// objects goes through the wrappers of heap_injector.cpp; jansson's
// allocations reach the same counters through its allocator hook.
#pragma once

#include <cstdint>
#include <unordered_set>

// Since arming: `count` allocations asked for, `jansson_count` of them
// through jansson's hook (which sets `in_jansson` during its calls), and
// `frees` non-NULL blocks freed outside jansson, `jansson_frees` through it.
// `fail_at` is the allocation to refuse, counted from 1 (0 refuses none);
// `refused` says whether it was reached, `refused_in_jansson` whether it was
// jansson's. `live` holds the blocks allocated while armed and not yet
// freed; the set allocates through operator new, which the wrappers do not
// see.
struct Injector {
    bool armed = false, in_jansson = false, refused = false, refused_in_jansson = false;
    uint64_t fail_at = 0, count = 0, jansson_count = 0, frees = 0, jansson_frees = 0;
    std::unordered_set<void *> live;

    // Counts from zero, refusing allocation k.
    void arm(uint64_t k) {
        *this = Injector();
        armed = true;
        fail_at = k;
    }
    void disarm() { armed = false; }
};

extern Injector injector;

// Gives jansson the injector's allocator.
void route_jansson_through_injector();
