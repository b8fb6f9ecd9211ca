// Refuses one allocation of the tool, for cli_test.sh; loaded with
// LD_PRELOAD. With JSONCODEC_REFUSE=N in the environment, the Nth call of
// malloc, calloc or realloc made while main runs (strdup, operator new and
// jansson call them too) returns NULL, once; with N = 0 none is refused,
// and the count of main's allocations is written on standard error after
// it returns, as "allocations: COUNT".
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

typedef int Main(int, char **, char **);
static Main *real_main;
static unsigned long refused, count;
static int armed;

static int refuse(void) {
    if (!armed || ++count != refused) return 0;
    errno = ENOMEM;  // as the C library's own allocator says it
    return 1;
}

void *malloc(size_t size) { return refuse() ? NULL : __libc_malloc(size); }
void *calloc(size_t n, size_t size) { return refuse() ? NULL : __libc_calloc(n, size); }
void *realloc(void *block, size_t size) { return refuse() ? NULL : __libc_realloc(block, size); }

static int counted_main(int argc, char **argv, char **envp) {
    const char *n = getenv("JSONCODEC_REFUSE");
    refused = n != NULL ? strtoul(n, NULL, 10) : 0;
    armed = 1;
    const int status = real_main(argc, argv, envp);
    armed = 0;
    if (refused == 0) fprintf(stderr, "allocations: %lu\n", count);
    return status;
}

// The C runtime's start calls main through this, which counts main's calls.
int __libc_start_main(Main *main, int argc, char **argv, void (*init)(void), void (*fini)(void),
                      void (*rtld_fini)(void), void *stack_end) {
    int (*start)(Main *, int, char **, void (*)(void), void (*)(void), void (*)(void), void *);
    *(void **)&start = dlsym(RTLD_NEXT, "__libc_start_main");
    real_main = main;
    return start(counted_main, argc, argv, init, fini, rtld_fini, stack_end);
}
