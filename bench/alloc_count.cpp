// The link-time wrappers of the C allocator and jansson's hook. Outside a
// counting window they only pass the call on.
#include "alloc_count.h"

#include <jansson.h>

#include <cstddef>

namespace bench {

namespace {

bool counting = false;
bool in_jansson = false;  // the call comes through jansson's hook
AllocCounts counts;

void note_alloc() {
    if (!counting) return;
    if (in_jansson)
        ++counts.jansson_allocs;
    else
        ++counts.library_allocs;
}

void note_free(void *p) {
    if (!counting || p == nullptr) return;
    if (in_jansson)
        ++counts.jansson_frees;
    else
        ++counts.library_frees;
}

}  // namespace

}  // namespace bench

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t n, size_t size);
void *__real_realloc(void *p, size_t size);
char *__real_strdup(const char *s);
void __real_free(void *p);

void *__wrap_malloc(size_t size) {
    bench::note_alloc();
    return __real_malloc(size);
}

void *__wrap_calloc(size_t n, size_t size) {
    bench::note_alloc();
    return __real_calloc(n, size);
}

void *__wrap_realloc(void *p, size_t size) {
    bench::note_alloc();
    return __real_realloc(p, size);
}

char *__wrap_strdup(const char *s) {
    bench::note_alloc();
    return __real_strdup(s);
}

void __wrap_free(void *p) {
    bench::note_free(p);
    __real_free(p);
}
}

namespace bench {

namespace {

void *jansson_malloc(size_t size) {
    in_jansson = true;
    void *p = __wrap_malloc(size);
    in_jansson = false;
    return p;
}

void jansson_free(void *p) {
    in_jansson = true;
    __wrap_free(p);
    in_jansson = false;
}

}  // namespace

void install_jansson_hook() { json_set_alloc_funcs(jansson_malloc, jansson_free); }

void start_counting() {
    counts = AllocCounts{};
    counting = true;
}

AllocCounts stop_counting() {
    counting = false;
    return counts;
}

}  // namespace bench
