// Fuzzing harness of one root type, chosen when compiling:
// -DJSONCODEC_FUZZ_ROOT=rule builds fuzz_rule. The input bytes, up to the
// first NUL byte, are decoded as that type, and the calls are held to the
// contract of the exports; a violation aborts with the rule it broke.
//   - Decoding text gives 0 or 202. On 0 the diagnostic line is empty and
//     *out holds a new tree; on 202 the line starts with the root ("<rule>")
//     and carries the decode fragment, and *out is NULL after a schema fault
//     (whose line is one line) but untouched after a parse failure.
//   - The line is NUL-terminated within errlen; in a short buffer it is the
//     full line cut to errlen - 1 characters, and with errlen 0 nothing is
//     written; the status does not depend on errlen. Error buffers are heap
//     blocks of exactly errlen bytes, so AddressSanitizer sees a write past.
//   - A decoded tree encodes compact and pretty, and the compact text is the
//     input with at most the properties the schema does not know left out.
//     Both texts decode again, to trees that encode to the same two texts:
//     the first encoding is the document's normal form.
//   - The tool's checker (the library's checking walk, its findings placed in
//     the text) refuses what the export refuses. With --first it reports
//     exactly the export's fault; going on, that fault among others, each
//     a span inside the text, in text order, at the line and column of its
//     offset. Its warnings (the properties no record type knows) span keys.
#include <jansson.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "checker.h"
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
constexpr auto encode = FUZZ_JOIN(rmqc_json_from_, JSONCODEC_FUZZ_ROOT);
constexpr auto release = FUZZ_JOIN(rmqc_free_, JSONCODEC_FUZZ_ROOT);
const std::string root_path = "<" FUZZ_TEXT(JSONCODEC_FUZZ_ROOT) ">";
const std::string decode_fragment = ": JSON decode error. ";
const std::string parse_failure = root_path + decode_fragment + "JSON parsing error: ";
constexpr uint64_t FULL_ERRLEN = 4096;  // more than any line the library makes

// What the caller's *out holds before each call; only its address is compared.
alignas(Root) unsigned char sentinel_storage[1];
Root *const sentinel = reinterpret_cast<Root *>(sentinel_storage);

void require(bool ok, const char *rule, const std::string &text, const std::string &other = std::string()) {
    if (ok) return;
    std::fprintf(stderr, "\n*** %s: %s\n*** \"%s\"\n*** \"%s\"\n", FUZZ_TEXT(JSONCODEC_FUZZ_ROOT), rule, text.c_str(),
                 other.c_str());
    std::abort();
}

struct Call {
    int32_t status;
    Root *out;
    std::string line;  // the error buffer up to its NUL; empty when errlen is 0
};

// Decodes text with an error buffer of exactly errlen bytes filled with '#'
// (a one-byte guard when errlen is 0, which must stay untouched).
Call decode_with(const char *text, uint64_t errlen) {
    const size_t size = errlen == 0 ? 1 : static_cast<size_t>(errlen);
    char *errbuf = static_cast<char *>(std::malloc(size));
    if (errbuf == nullptr) std::abort();
    std::memset(errbuf, '#', size);
    Call call{0, sentinel, {}};
    call.status = decode(&call.out, text, errbuf, errlen);
    if (errlen == 0)
        require(errbuf[0] == '#', "wrote into the error buffer although errlen is 0", "");
    else
        require(std::memchr(errbuf, '\0', size) != nullptr, "the line is not NUL-terminated",
                std::string(errbuf, size));
    if (errlen != 0) call.line = errbuf;
    std::free(errbuf);
    return call;
}

// *out holds a new tree after success, which is released; it is NULL after a
// schema fault and untouched after a parse failure.
void check_out_and_release(const Call &call, bool parse_failed) {
    require(call.status == RMQC_OK ? call.out != nullptr && call.out != sentinel
                                   : call.out == (parse_failed ? sentinel : nullptr),
            "*out is not what the status calls for", call.line);
    if (call.status == RMQC_OK) release(call.out);
}

std::string encoded(const Root *tree, int32_t pretty) {
    char errbuf[1024] = "";
    char *text = nullptr;
    require(encode(tree, &text, errbuf, sizeof errbuf, pretty) == RMQC_OK && text != nullptr, "a tree does not encode",
            errbuf);
    std::string result(text);
    std::free(text);
    return result;
}

// Whether encoded is input less some object members, at any depth.
bool kept_from(const json_t *encoded, const json_t *input) {
    if (json_is_object(encoded)) {
        const char *key;
        const json_t *value;
        json_object_foreach(const_cast<json_t *>(encoded), key, value) {
            const json_t *original = json_object_get(input, key);
            if (original == nullptr || !kept_from(value, original)) return false;
        }
        return json_is_object(input);
    }
    if (!json_is_array(encoded)) return json_equal(encoded, input) != 0;
    if (!json_is_array(input) || json_array_size(encoded) != json_array_size(input)) return false;
    for (size_t i = 0; i < json_array_size(encoded); ++i)
        if (!kept_from(json_array_get(encoded, i), json_array_get(input, i))) return false;
    return true;
}

void round_trip(const char *input, const Root *tree) {
    const std::string compact = encoded(tree, 0), pretty = encoded(tree, 1);
    json_t *output_json = json_loads(compact.c_str(), 0, nullptr), *input_json = json_loads(input, 0, nullptr);
    require(kept_from(output_json, input_json), "the encoding says what the input did not", input, compact);
    json_decref(output_json);
    json_decref(input_json);
    for (const std::string *text : {&compact, &pretty}) {
        const Call again = decode_with(text->c_str(), FULL_ERRLEN);
        require(again.status == RMQC_OK, "an encoding does not decode", *text, again.line);
        require(again.out != nullptr && again.out != sentinel && encoded(again.out, 0) == compact &&
                    encoded(again.out, 1) == pretty,
                "an encoding decodes to a tree that encodes otherwise", *text, compact);
        release(again.out);
    }
}

void check_faults(const std::string &input, const Call &full) {
    const std::string text = input.c_str();  // up to the first NUL, as the export reads it
    std::string line = full.line;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    for (bool first : {true, false}) {
        tool::Checked checked;
        const tool::Verdict verdict =
            tool::check_document(text, tool::CheckOptions{FUZZ_TEXT(JSONCODEC_FUZZ_ROOT), first, 0}, checked);
        const bool refused = verdict == tool::Verdict::refused;
        require(verdict != tool::Verdict::out_of_memory && refused == (full.status != RMQC_OK),
                "the checker and the export disagree", line);
        const std::vector<tool::Fault> &faults = checked.faults;
        require(!first || checked.errors == (refused ? 1u : 0u), "--first gives other than one error", line);
        bool has_export_fault = !refused;
        for (size_t i = 0; i < faults.size(); ++i) {
            const tool::Fault &fault = faults[i];
            const tool::Span &span = fault.span;
            require(span.offset <= span.end && span.end <= text.size() &&
                        (i == 0 || faults[i - 1].span.offset <= span.offset),
                    "a finding is placed outside the text or out of order", fault.message);
            size_t at_line = 1, at_column = 1;
            for (size_t at = 0; at < span.offset; ++at) {
                if (text[at] == '\n') {
                    ++at_line;
                    at_column = 1;
                } else if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) {
                    ++at_column;
                }
            }
            require(span.line == at_line && span.column == at_column,
                    "a finding's line and column are not its offset's", fault.message);
            require(fault.severity == tool::Severity::error ||
                        (fault.status == RMQC_OK && text[span.offset] == '"' && text[span.end - 1] == '"'),
                    "a warning is not placed at a key", fault.message);
            require(fault.rule == tool::Rule::invalid_json || span.end > span.offset,
                    "a schema finding's span is empty", fault.message);
            has_export_fault = has_export_fault || line == fault.message;
        }
        require(has_export_fault, "the export's fault is not among the checker's", line);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string input(reinterpret_cast<const char *>(data), size);  // c_str() ends at the first NUL
    const Call full = decode_with(input.c_str(), FULL_ERRLEN);
    const bool parse_failed = full.line.rfind(parse_failure, 0) == 0;
    if (full.status == RMQC_OK) {
        require(full.line.empty(), "success with a diagnostic line", full.line);
        if (full.out != nullptr && full.out != sentinel) round_trip(input.c_str(), full.out);
    } else {
        require(full.status == RMQC_ERR_DECODE, "a status other than 0 or 202 from text", std::to_string(full.status));
        require(full.line.rfind(root_path, 0) == 0 && full.line.find(decode_fragment) != std::string::npos,
                "the line lacks the root or the decode fragment", full.line);
        require(parse_failed || full.line.find('\n') == std::string::npos, "a schema fault's line holds a newline",
                full.line);
    }
    check_out_and_release(full, parse_failed);
    check_faults(input, full);

    // Every other input gets a second call with a short buffer, from 0 to
    // one more than the full line's length, picked from the input so that a
    // failure replays exactly.
    uint32_t hash = 2166136261u;  // FNV-1a
    for (size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 16777619u;
    if ((hash & 1u) != 0) return 0;
    const uint64_t errlen = (hash >> 1) % (full.line.size() + 2);
    const Call cut = decode_with(input.c_str(), errlen);
    require(cut.status == full.status, "the status depends on errlen", cut.line, full.line);
    require(errlen == 0 || cut.line == full.line.substr(0, std::min<size_t>(full.line.size(), errlen - 1)),
            "the short line is not the full line cut to errlen - 1 characters", cut.line, full.line);
    check_out_and_release(cut, parse_failed);
    return 0;
}
