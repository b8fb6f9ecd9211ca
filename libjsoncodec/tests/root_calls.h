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
