// The counting wrappers behind heap_injector.h.
#include "heap_injector.h"

#include <jansson.h>

Injector injector;

namespace {

// Counts an allocation while armed, and says whether it is the one to refuse.
bool refuse() {
    if (!injector.armed) return false;
    injector.jansson_count += injector.in_jansson;
    if (++injector.count != injector.fail_at) return false;
    injector.refused = true;
    injector.refused_in_jansson = injector.in_jansson;
    return true;
}

template <class P>
P *noted(P *p) {
    if (injector.armed && p != nullptr) injector.live.insert(p);
    return p;
}

// Marks the calls made through jansson's hook while it lives.
struct InJansson {
    InJansson() { injector.in_jansson = true; }
    ~InJansson() { injector.in_jansson = false; }
};

}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t n, size_t size);
void *__real_realloc(void *p, size_t size);
char *__real_strdup(const char *s);
void __real_free(void *p);

void *__wrap_malloc(size_t size) { return refuse() ? nullptr : noted(__real_malloc(size)); }
void *__wrap_calloc(size_t n, size_t size) { return refuse() ? nullptr : noted(__real_calloc(n, size)); }
char *__wrap_strdup(const char *s) { return refuse() ? nullptr : noted(__real_strdup(s)); }

void *__wrap_realloc(void *p, size_t size) {
    if (refuse()) return nullptr;
    void *moved = __real_realloc(p, size);
    if (moved != nullptr) injector.live.erase(p);
    return noted(moved);
}

void __wrap_free(void *p) {
    if (p != nullptr && injector.armed) ++(injector.in_jansson ? injector.jansson_frees : injector.frees);
    injector.live.erase(p);
    __real_free(p);
}
}

void route_jansson_through_injector() {
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
