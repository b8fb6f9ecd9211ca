// The counting wrappers behind alloc_count.h, and the program's
// replacement of operator new and delete, which goes through them so that
// C++ containers are counted as well as the C allocator.
#include "alloc_count.h"

#include <jansson.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <unordered_map>
#include <utility>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t n, size_t size);
void *__real_realloc(void *p, size_t size);
char *__real_strdup(const char *s);
void __real_free(void *p);
}

namespace bench {

namespace {

// The counters' own bookkeeping allocates from the real allocator, which
// the wrappers do not see.
template <class T>
struct RawAllocator {
    using value_type = T;
    RawAllocator() = default;
    template <class U>
    RawAllocator(const RawAllocator<U> &) {}
    T *allocate(std::size_t n) {
        if (void *p = __real_malloc(n * sizeof(T))) return static_cast<T *>(p);
        throw std::bad_alloc();
    }
    void deallocate(T *p, std::size_t) { __real_free(p); }
    template <class U>
    bool operator==(const RawAllocator<U> &) const {
        return true;
    }
};

// The blocks allocated while counting and not yet released, with the
// number of bytes asked for each.
using LiveBlocks = std::unordered_map<void *, std::size_t, std::hash<void *>, std::equal_to<void *>,
                                      RawAllocator<std::pair<void *const, std::size_t>>>;

bool counting = false;
bool in_jansson = false;  // set during the calls of jansson's allocator hook
AllocCounts counts;
LiveBlocks live;

// Notes a request of `size` bytes and the block it got (NULL if none).
void *taken(void *p, std::size_t size) {
    if (!counting) return p;
    ++(in_jansson ? counts.jansson_allocs : counts.library_allocs);
    counts.largest_request = std::max(counts.largest_request, size);
    if (p != nullptr) live[p] = size;
    return p;
}

// A block released: its bytes were taken and given back while counting
// when it was allocated while counting.
void given_back(void *p) {
    auto block = live.find(p);
    if (block == live.end()) return;
    ++counts.returned_blocks;
    counts.returned_bytes += block->second;
    live.erase(block);
}

struct InJansson {
    InJansson() { in_jansson = true; }
    ~InJansson() { in_jansson = false; }
};

}  // namespace

}  // namespace bench

extern "C" {

void *__wrap_malloc(size_t size) { return bench::taken(__real_malloc(size), size); }

void *__wrap_calloc(size_t n, size_t size) {
    size_t total;
    if (__builtin_mul_overflow(n, size, &total)) total = SIZE_MAX;
    return bench::taken(__real_calloc(n, size), total);
}

char *__wrap_strdup(const char *s) { return static_cast<char *>(bench::taken(__real_strdup(s), std::strlen(s) + 1)); }

// A realloc that succeeds releases the old block and takes the new one,
// moved or not: the old size is given back either way.
void *__wrap_realloc(void *p, size_t size) {
    void *resized = __real_realloc(p, size);
    if (bench::counting && p != nullptr && resized != nullptr) bench::given_back(p);
    return bench::taken(resized, size);
}

void __wrap_free(void *p) {
    if (bench::counting && p != nullptr) {
        ++(bench::in_jansson ? bench::counts.jansson_frees : bench::counts.library_frees);
        bench::given_back(p);
    }
    __real_free(p);
}

}  // extern "C"

// operator new and delete through the counting wrappers. The aligned forms
// are left to the C++ runtime: they neither reach nor come from these.
void *operator new(std::size_t size) {
    if (void *p = __wrap_malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void *operator new[](std::size_t size) { return operator new(size); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return __wrap_malloc(size == 0 ? 1 : size); }
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept { return __wrap_malloc(size == 0 ? 1 : size); }
void operator delete(void *p) noexcept { __wrap_free(p); }
void operator delete[](void *p) noexcept { __wrap_free(p); }
void operator delete(void *p, std::size_t) noexcept { __wrap_free(p); }
void operator delete[](void *p, std::size_t) noexcept { __wrap_free(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { __wrap_free(p); }
void operator delete[](void *p, const std::nothrow_t &) noexcept { __wrap_free(p); }

namespace bench {

void install_jansson_hook() {
    json_set_alloc_funcs(
        [](size_t size) {
            InJansson mark;
            return __wrap_malloc(size);
        },
        [](void *p) {
            InJansson mark;
            __wrap_free(p);
        });
}

void start_counting() {
    counts = AllocCounts();
    LiveBlocks().swap(live);
    counting = true;
}

AllocCounts stop_counting() {
    counting = false;
    LiveBlocks().swap(live);
    return counts;
}

}  // namespace bench
