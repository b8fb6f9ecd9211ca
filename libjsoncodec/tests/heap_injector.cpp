// The counting wrappers behind heap_injector.h.
#include "heap_injector.h"

#include <jansson.h>

Injector injector;

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t n, size_t size);
void *__real_realloc(void *p, size_t size);
char *__real_strdup(const char *s);
void __real_free(void *p);

void *__wrap_malloc(size_t size) { return injector.refuse() ? nullptr : injector.note(__real_malloc(size)); }

void *__wrap_calloc(size_t n, size_t size) {
    return injector.refuse() ? nullptr : injector.note(__real_calloc(n, size));
}

void *__wrap_realloc(void *p, size_t size) {
    if (injector.refuse()) return nullptr;
    void *moved = __real_realloc(p, size);
    if (moved != nullptr) injector.forget(p);
    return injector.note(moved);
}

char *__wrap_strdup(const char *s) {
    return injector.refuse() ? nullptr : static_cast<char *>(injector.note(__real_strdup(s)));
}

void __wrap_free(void *p) {
    injector.freed(p);
    __real_free(p);
}
}

namespace {

void *jansson_malloc(size_t size) {
    injector.in_jansson = true;
    void *p = __wrap_malloc(size);
    injector.in_jansson = false;
    return p;
}

void jansson_free(void *p) {
    injector.in_jansson = true;
    __wrap_free(p);
    injector.in_jansson = false;
}

}  // namespace

void route_jansson_through_injector() { json_set_alloc_funcs(jansson_malloc, jansson_free); }
