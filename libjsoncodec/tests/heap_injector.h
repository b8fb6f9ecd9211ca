// A heap that counts allocations and can refuse one chosen allocation. The
// executables that include this (the tests that refuse allocations, and the
// benchmarks, which only count) are linked with --wrap for malloc, calloc,
// realloc, strdup and free, so every such call made by the library's
// objects goes through the wrappers of heap_injector.cpp; jansson's
// allocations reach the same counters through its allocator hook.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_set>

struct Injector {
    bool armed = false;
    uint64_t count = 0;              // allocations asked for since arming
    uint64_t jansson_count = 0;      // ... of them through jansson's hook
    uint64_t frees = 0;              // non-NULL blocks freed since arming
    uint64_t jansson_frees = 0;      // ... of them through jansson's hook
    uint64_t fail_at = 0;            // the allocation to refuse; 0 refuses none
    bool refused = false;            // whether that allocation was reached
    bool in_jansson = false;         // the allocation being made is jansson's
    bool refused_in_jansson = false; // the refused one was jansson's
    // Blocks allocated while armed and not yet freed. The set allocates
    // through operator new, which the wrappers do not see.
    std::unordered_set<void *> live;

    void arm(uint64_t k) {
        armed = true;
        count = 0;
        jansson_count = 0;
        frees = 0;
        jansson_frees = 0;
        fail_at = k;
        refused = false;
        refused_in_jansson = false;
        live.clear();
    }
    // Stops refusing but keeps tracking, so that releases are still seen.
    void stop_refusing() { fail_at = 0; }
    // Lets the test allocate for itself without being counted or tracked.
    void pause() { armed = false; }
    void resume() { armed = true; }
    void disarm() { armed = false; }

    bool refuse() {
        if (!armed) return false;
        ++count;
        if (in_jansson) ++jansson_count;
        if (count != fail_at) return false;
        refused = true;
        refused_in_jansson = in_jansson;
        return true;
    }
    void *note(void *p) {
        if (armed && p != nullptr) live.insert(p);
        return p;
    }
    // A block that moved (realloc) or was freed.
    void forget(void *p) {
        if (p != nullptr) live.erase(p);
    }
    void freed(void *p) {
        if (p == nullptr) return;
        if (armed) ++(in_jansson ? jansson_frees : frees);
        live.erase(p);
    }
};

extern Injector injector;

// Gives jansson the injector's allocator.
void route_jansson_through_injector();
