// One root type's exports as the tests call them: decoding into a tree that
// is released at the end of its scope, encoding into compact text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "jsoncodec.h"

template <class T, int32_t (*To)(T **, const char *, char *, uint64_t),
          int32_t (*From)(const T *, char **, char *, uint64_t, int32_t), void (*Free)(T *)>
struct RootCalls {
    struct Decoded {
        int32_t status;
        std::string line;  // the diagnostic line, "" on success
        T *tree;
        Decoded(int32_t s, std::string l, T *t) : status(s), line(std::move(l)), tree(t) {}
        Decoded(const Decoded &) = delete;
        Decoded &operator=(const Decoded &) = delete;
        ~Decoded() { Free(tree); }
    };

    struct Encoded {
        int32_t status;
        std::string text;  // compact JSON, or the diagnostic line on failure
    };

    static Decoded decode(const std::string &text) {
        char buf[1024] = "";
        T *tree = nullptr;
        int32_t status = To(&tree, text.c_str(), buf, sizeof buf);
        return {status, buf, tree};
    }

    // A schema fault: status 202, the line `line`, and no tree left behind.
    static void expect_refused(const std::string &text, const std::string &line) {
        SCOPED_TRACE(text);
        Decoded d = decode(text);
        EXPECT_EQ(d.status, RMQC_ERR_DECODE);
        EXPECT_EQ(d.line, line);
        EXPECT_EQ(d.tree, nullptr);
    }

    static Encoded encode(const T *src) {
        char buf[1024] = "";
        char *json = nullptr;
        int32_t status = From(src, &json, buf, sizeof buf, 0);
        if (status != RMQC_OK) return {status, buf};
        Encoded encoded{status, json};
        std::free(json);
        return encoded;
    }
};

#define JSONCODEC_ROOT_CALLS(T) RootCalls<T, rmqc_json_to_##T, rmqc_json_from_##T, rmqc_free_##T>

// A root type's exports with the record type erased, so that one table of
// documents can hold documents of every root type.
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
