// Decoding harness of one root type, chosen when compiling:
// -DJSONCODEC_FUZZ_ROOT=rule builds the harness of rmqc_json_to_rule.
//
// The input bytes are the document text (it ends at the first NUL byte).
// Every call is checked against the contract of the decoding exports, and a
// violation aborts with a message saying which part was broken:
//   - the status is 0 or 202; nothing else can come from text input;
//   - on 0 the diagnostic line is empty and *out holds a new tree;
//   - on 202 the line names the root ("<rule>..."), carries the decode
//     fragment, and *out is NULL after a schema fault but left as it was
//     after a parse failure;
//   - the line is NUL-terminated within errlen, and in a short buffer it is
//     the full line cut to errlen - 1 characters (nothing at all for 0).
// The error buffers are heap blocks of exactly errlen bytes, so a write past
// errlen is caught by AddressSanitizer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "jsoncodec.h"

#ifndef JSONCODEC_FUZZ_ROOT
#error "define JSONCODEC_FUZZ_ROOT as the root type to decode, e.g. -DJSONCODEC_FUZZ_ROOT=rule"
#endif

#define FUZZ_JOIN_(a, b) a##b
#define FUZZ_JOIN(a, b) FUZZ_JOIN_(a, b)
#define FUZZ_TEXT_(x) #x
#define FUZZ_TEXT(x) FUZZ_TEXT_(x)

namespace {

using Root = JSONCODEC_FUZZ_ROOT;
constexpr auto decode = FUZZ_JOIN(rmqc_json_to_, JSONCODEC_FUZZ_ROOT);
constexpr auto release = FUZZ_JOIN(rmqc_free_, JSONCODEC_FUZZ_ROOT);

// "<rule>": how every diagnostic line of this root starts.
const std::string root_path = "<" FUZZ_TEXT(JSONCODEC_FUZZ_ROOT) ">";
const std::string decode_fragment = ": JSON decode error. ";
// A parse failure is reported at the root, before any property is looked at.
const std::string parse_failure = root_path + decode_fragment + "JSON parsing error: ";

// Large enough for any line the library makes: its paths are a few
// properties deep and its details a few hundred characters at most.
constexpr uint64_t FULL_ERRLEN = 4096;

// What the caller's *out holds before each call. Its address is only
// compared, never dereferenced.
alignas(Root) unsigned char sentinel_storage[1];
Root *const sentinel = reinterpret_cast<Root *>(sentinel_storage);

struct Call {
    uint64_t errlen;
    int32_t status;
    Root *out;
    std::string line;  // errbuf up to its NUL; empty when errlen is 0
};

// Reports the broken rule and the call that broke it (and the full-size
// call it was compared with, if any), then aborts.
[[noreturn]] void violation(const char *what, const Call &call, const Call *full = nullptr) {
    std::fprintf(stderr, "\n*** rmqc_json_to_%s: %s\n*** errlen %llu, status %d, *out %s\n*** line: \"%s\"\n",
                 FUZZ_TEXT(JSONCODEC_FUZZ_ROOT), what, static_cast<unsigned long long>(call.errlen), call.status,
                 call.out == nullptr ? "NULL" : call.out == sentinel ? "unchanged" : "a tree", call.line.c_str());
    if (full != nullptr)
        std::fprintf(stderr, "*** full-size call: status %d, line: \"%s\"\n", full->status, full->line.c_str());
    std::abort();
}

bool starts_with(const std::string &text, const std::string &prefix) { return text.compare(0, prefix.size(), prefix) == 0; }

// Decodes `text` with an error buffer of exactly `errlen` bytes, filled
// with a non-NUL byte beforehand. With errlen 0 a one-byte guard is passed,
// which the library must not write.
Call decode_with(const char *text, uint64_t errlen) {
    size_t size = errlen == 0 ? 1 : static_cast<size_t>(errlen);
    char *errbuf = static_cast<char *>(std::malloc(size));
    if (errbuf == nullptr) {
        std::fprintf(stderr, "decode harness: out of memory for the error buffer\n");
        std::abort();
    }
    std::memset(errbuf, '#', size);

    Call call{errlen, 0, sentinel, {}};
    call.status = decode(&call.out, text, errbuf, errlen);
    if (errlen == 0) {
        if (errbuf[0] != '#') violation("wrote into the error buffer although errlen is 0", call);
    } else if (std::memchr(errbuf, '\0', size) == nullptr) {
        call.line.assign(errbuf, size);
        violation("the diagnostic line is not NUL-terminated within errlen", call);
    } else {
        call.line = errbuf;
    }
    std::free(errbuf);
    return call;
}

// The state of *out a status calls for; releases a decoded tree.
void check_out_and_release(const Call &call, bool parse_failed) {
    if (call.status == RMQC_OK) {
        if (call.out == nullptr || call.out == sentinel) violation("success without a tree in *out", call);
        release(call.out);
    } else if (parse_failed) {
        if (call.out != sentinel) violation("a parse failure wrote *out", call);
    } else if (call.out != nullptr) {
        violation("a schema fault left *out other than NULL", call);
    }
}

// Picks the short buffer size from the input, so a crash replays exactly:
// every other input gets a second call with an errlen from 0 to one more
// than the full line's length, so the cut falls anywhere in the path, the
// fragment or the detail (or just fits the whole line).
bool short_errlen(const uint8_t *data, size_t size, size_t line_length, uint64_t *errlen) {
    uint32_t hash = 2166136261u;  // FNV-1a
    for (size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 16777619u;
    if ((hash & 1u) != 0) return false;
    *errlen = (hash >> 1) % (line_length + 2);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    char *text = static_cast<char *>(std::malloc(size + 1));
    if (text == nullptr) return 0;
    if (size > 0) std::memcpy(text, data, size);
    text[size] = '\0';

    const Call full = decode_with(text, FULL_ERRLEN);
    bool parse_failed = false;
    if (full.status == RMQC_OK) {
        if (!full.line.empty()) violation("success with a nonempty diagnostic line", full);
    } else if (full.status == RMQC_ERR_DECODE) {
        if (!starts_with(full.line, root_path)) violation("the diagnostic line does not start with the root", full);
        if (full.line.find(decode_fragment) == std::string::npos)
            violation("the diagnostic line lacks the decode fragment", full);
        parse_failed = starts_with(full.line, parse_failure);
        // Only the parse failure's detail (the JSON library's text) ends in
        // a newline; a schema fault is one line.
        if (!parse_failed && full.line.find('\n') != std::string::npos)
            violation("a schema fault's line contains a newline", full);
    } else {
        violation("status other than 0 or 202 from text input", full);
    }
    check_out_and_release(full, parse_failed);

    uint64_t errlen = 0;
    if (short_errlen(data, size, full.line.size(), &errlen)) {
        const Call cut = decode_with(text, errlen);
        if (cut.status != full.status) violation("the status depends on errlen", cut, &full);
        if (errlen > 0) {
            size_t keep = full.line.size() < errlen - 1 ? full.line.size() : static_cast<size_t>(errlen - 1);
            if (cut.line != full.line.substr(0, keep))
                violation("the short line is not the full line cut to errlen - 1 characters", cut, &full);
        }
        check_out_and_release(cut, parse_failed);
    }

    std::free(text);
    return 0;
}
