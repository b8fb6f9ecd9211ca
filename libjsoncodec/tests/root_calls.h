// A root type's exports with the record type erased, so that one table of
// documents can hold documents of every root type.
#pragma once

#include <cstdint>

#include "jsoncodec.h"

struct ErasedRoot {
    const char *name;
    int32_t (*to)(void **out, const char *json, char *errbuf, uint64_t errlen);
    int32_t (*from)(const void *src, char **out_json, char *errbuf, uint64_t errlen, int32_t pretty);
    void (*release)(void *tree);
};

template <class T, int32_t (*To)(T **, const char *, char *, uint64_t),
          int32_t (*From)(const T *, char **, char *, uint64_t, int32_t), void (*Free)(T *)>
constexpr ErasedRoot erase_root(const char *name) {
    return {name,
            [](void **out, const char *json, char *errbuf, uint64_t errlen) {
                return To(reinterpret_cast<T **>(out), json, errbuf, errlen);
            },
            [](const void *src, char **out_json, char *errbuf, uint64_t errlen, int32_t pretty) {
                return From(static_cast<const T *>(src), out_json, errbuf, errlen, pretty);
            },
            [](void *tree) { Free(static_cast<T *>(tree)); }};
}

#define JSONCODEC_ERASED_ROOT(T) erase_root<T, rmqc_json_to_##T, rmqc_json_from_##T, rmqc_free_##T>(#T)
