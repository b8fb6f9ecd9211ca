// Round-trip harness: the input text (up to its first NUL byte) is decoded
// as each of the five root types in turn. Whenever it decodes, the tree must
// encode (compact and pretty), the compact text must decode again, and that
// second tree must encode to exactly the same texts: the first encoding is
// the document's normal form. The pretty text must decode too, to a tree
// with the same compact text. And the encoding must say what the input
// said: read back as JSON it is the input document with only the
// properties the schema does not know left out. A violation aborts with the
// texts involved.
#include <jansson.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jsoncodec.h"

namespace {

constexpr uint64_t ERRLEN = 1024;

// The exports of one root type.
template <class T>
struct RootCodec {
    const char *name;
    int32_t (*decode)(T **out, const char *json, char *errbuf, uint64_t errlen);
    int32_t (*encode)(const T *src, char **out_json, char *errbuf, uint64_t errlen, int32_t pretty);
    void (*release)(T *p);
};

// Reports the broken rule with the library's diagnostic line and the two
// texts compared (each when there is one), then aborts.
[[noreturn]] void violation(const char *type, const char *what, const char *detail, const char *first,
                            const char *second, const char *first_label = "first text",
                            const char *second_label = "second text") {
    std::fprintf(stderr, "\n*** round trip of %s: %s\n", type, what);
    if (detail != nullptr) std::fprintf(stderr, "*** diagnostic line: %s\n", detail);
    if (first != nullptr) std::fprintf(stderr, "*** %s:\n%s\n", first_label, first);
    if (second != nullptr) std::fprintf(stderr, "*** %s:\n%s\n", second_label, second);
    std::abort();
}

// Encodes a tree that must encode; the text is the caller's to free().
template <class T>
char *encode(const RootCodec<T> &codec, const T *tree, int32_t pretty, const char *which) {
    char errbuf[ERRLEN];
    char *text = nullptr;
    if (codec.encode(tree, &text, errbuf, sizeof errbuf, pretty) != RMQC_OK || text == nullptr)
        violation(codec.name, which, errbuf, nullptr, nullptr);
    return text;
}

// Decodes a text the library itself produced, which must decode.
template <class T>
T *decode_own(const RootCodec<T> &codec, const char *text, const char *which) {
    char errbuf[ERRLEN];
    T *tree = nullptr;
    if (codec.decode(&tree, text, errbuf, sizeof errbuf) != RMQC_OK || tree == nullptr)
        violation(codec.name, which, errbuf, text, nullptr);
    return tree;
}

void expect_same(const char *type, const char *what, const char *first, const char *second) {
    if (std::strcmp(first, second) != 0) violation(type, what, nullptr, first, second);
}

// Whether `encoded` is `input` less some object members: every member of an
// encoded object is in the input object, recursively so; arrays match
// element by element; other values are equal.
bool kept_from(const json_t *encoded, const json_t *input) {
    if (json_is_object(encoded)) {
        if (!json_is_object(input)) return false;
        const char *key;
        const json_t *value;
        json_object_foreach(const_cast<json_t *>(encoded), key, value) {
            const json_t *original = json_object_get(input, key);
            if (original == nullptr || !kept_from(value, original)) return false;
        }
        return true;
    }
    if (json_is_array(encoded)) {
        if (!json_is_array(input) || json_array_size(encoded) != json_array_size(input)) return false;
        for (size_t i = 0; i < json_array_size(encoded); ++i)
            if (!kept_from(json_array_get(encoded, i), json_array_get(input, i))) return false;
        return true;
    }
    return json_equal(encoded, input) != 0;
}

void expect_kept_from(const char *type, const char *encoded_text, const char *input_text) {
    json_t *encoded = json_loads(encoded_text, 0, nullptr);
    json_t *input = json_loads(input_text, 0, nullptr);
    if (encoded == nullptr || input == nullptr)
        violation(type, "the encoding or the decoded input does not parse as JSON", nullptr, input_text,
                  encoded_text, "input", "compact encoding");
    if (!kept_from(encoded, input))
        violation(type, "the encoding holds a property the input lacks, or gives it another value", nullptr,
                  input_text, encoded_text, "input", "compact encoding");
    json_decref(encoded);
    json_decref(input);
}

template <class T>
void round_trip(const RootCodec<T> &codec, const char *input) {
    // Most inputs are refused; their diagnostics are the decode harnesses'
    // concern, so no text is asked for here.
    T *tree = nullptr;
    if (codec.decode(&tree, input, nullptr, 0) != RMQC_OK) return;

    char *compact = encode(codec, tree, 0, "a decoded tree does not encode compact");
    char *pretty = encode(codec, tree, 1, "a decoded tree does not encode pretty");
    codec.release(tree);
    expect_kept_from(codec.name, compact, input);

    T *again = decode_own(codec, compact, "its compact encoding does not decode");
    char *compact_again = encode(codec, again, 0, "the re-decoded tree does not encode compact");
    char *pretty_again = encode(codec, again, 1, "the re-decoded tree does not encode pretty");
    codec.release(again);
    expect_same(codec.name, "the compact encoding changed on the second round", compact, compact_again);
    expect_same(codec.name, "the pretty encoding changed on the second round", pretty, pretty_again);

    T *from_pretty = decode_own(codec, pretty, "its pretty encoding does not decode");
    char *compact_from_pretty = encode(codec, from_pretty, 0, "the tree of the pretty text does not encode");
    codec.release(from_pretty);
    expect_same(codec.name, "the pretty text decodes to another tree", compact, compact_from_pretty);

    // Texts from the encoders come from the JSON library's allocator, malloc.
    std::free(compact);
    std::free(pretty);
    std::free(compact_again);
    std::free(pretty_again);
    std::free(compact_from_pretty);
}

const RootCodec<data_protection_policy> policy_codec{"data_protection_policy", rmqc_json_to_data_protection_policy,
                                                     rmqc_json_from_data_protection_policy,
                                                     rmqc_free_data_protection_policy};
const RootCodec<workflow> workflow_codec{"workflow", rmqc_json_to_workflow, rmqc_json_from_workflow,
                                         rmqc_free_workflow};
const RootCodec<action> action_codec{"action", rmqc_json_to_action, rmqc_json_from_action, rmqc_free_action};
const RootCodec<rule> rule_codec{"rule", rmqc_json_to_rule, rmqc_json_from_rule, rmqc_free_rule};
const RootCodec<item_definition> item_codec{"item_definition", rmqc_json_to_item_definition,
                                            rmqc_json_from_item_definition, rmqc_free_item_definition};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    char *input = static_cast<char *>(std::malloc(size + 1));
    if (input == nullptr) return 0;
    if (size > 0) std::memcpy(input, data, size);
    input[size] = '\0';

    round_trip(policy_codec, input);
    round_trip(workflow_codec, input);
    round_trip(action_codec, input);
    round_trip(rule_codec, input);
    round_trip(item_codec, input);

    std::free(input);
    return 0;
}
