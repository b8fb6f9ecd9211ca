// The direct writer against the tree path it replaces: the same text in
// both layouts, and no text exactly where the tree path fails. The exports'
// own tests cover every record kind and the lines the tree path reports.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "exports.h"
#include "table.h"
#include "text_output.h"

namespace {

using namespace jsoncodec;

struct leaf {
    leaf *next;
    char *name;
    int64_t n;
    uint8_t name_present, n_present;
};
constexpr FieldDesc leaf_fields[] = {JC_STRING(leaf, name, OPTIONAL), JC_INTEGER(leaf, n, OPTIONAL)};
constexpr TypeDesc leaf_desc = JC_LIST_ELEMENT_TYPE(leaf, leaf_fields);
struct probe {
    char *text;
    int32_t flag;
    leaf *leaves;
    int64_t *numbers;
    char **words;
    uint8_t leaves_present;
    uint64_t numbers_array_sz, words_array_sz;
};
constexpr FieldDesc probe_fields[] = {JC_STRING(probe, text, REQUIRED), JC_BOOLEAN(probe, flag, REQUIRED),
                                      JC_LIST(probe, leaves, OPTIONAL, leaf, leaf_desc),
                                      JC_INTEGER_ARRAY(probe, numbers, REQUIRED),
                                      JC_STRING_ARRAY(probe, words, REQUIRED)};
constexpr TypeDesc probe_desc = JC_TYPE(probe, probe_fields);

// Encodes `src` both ways in both layouts; true when the writer wrote it.
bool compare(const void *src) {
    bool written = true;
    for (int32_t pretty : {0, 1}) {
        char line[512], *tree = nullptr, *text = write_record_text(probe_desc, src, pretty != 0);
        encode_export_through_jansson(probe_desc, src, &tree, line, sizeof line, pretty, "");
        EXPECT_STREQ(text, tree) << line;
        written = written && text != nullptr, std::free(text), std::free(tree);
    }
    return written;
}

// Every control character, quote, backslash, slash, 0x7F and UTF-8 of 2, 3
// and 4 bytes, special bytes within and after eight-byte words; the extreme
// integers; an empty object in a list. Changed below: empty arrays and list.
struct Probe {
    char text[64] = "ctl \x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10\x11\x12";
    char more[64] =
        "\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F\"\\/\x7F \xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E";
    char word0[8] = "", word1[24] = "0123456789\"abcdef\\", *words[2] = {word0, word1};
    int64_t numbers[4] = {INT64_MIN, 0, -1, INT64_MAX};
    leaf second{nullptr, more, INT64_MIN, 1, 1}, first{&second, nullptr, 0, 0, 0};
    probe rec{text, 1, &first, numbers, words, 1, 4, 2};
};

TEST(Writer, SameTextAsTheTreeOrNoneWhereTheTreeFails) {
    void (*const changes[])(Probe &) = {
        [](Probe &) {},
        [](Probe &p) {
            p.rec.numbers_array_sz = p.rec.words_array_sz = 0, p.rec.numbers = nullptr, p.rec.leaves = nullptr;
        },
        // From here on, each a fault the tree path reports.
        [](Probe &p) { p.rec.text = nullptr; }, [](Probe &p) { p.words[1] = nullptr; },
        [](Probe &p) { p.second.name = nullptr; }, [](Probe &p) { p.rec.numbers = nullptr; },
        [](Probe &p) { p.rec.words_array_sz = MAX_ARRAY_SZ + 1; }};
    for (size_t k = 0; k < std::size(changes); ++k) {
        Probe p;
        changes[k](p);
        EXPECT_EQ(compare(&p.rec), k < 2) << "change " << k;
    }
    // A cycle: the writer alone, as the engine's own test walks the tree
    // path through its ten million elements.
    Probe cycle;
    cycle.second.next = &cycle.first;
    EXPECT_EQ(write_record_text(probe_desc, &cycle.rec, false), nullptr);
}

// Each text alone, between plain bytes and at the end of a text longer than
// a word; jansson's UTF-8 check decides, at the boundaries of every rule.
TEST(Writer, StringsAsJanssonJudgesThem) {
    Probe p;
    for (const char *bytes : {"\x1F",
                              "\"",
                              "\xC2\x80",
                              "\xDF\xBF",
                              "\xED\x9F\xBF",
                              "\xEE\x80\x80",
                              "\xF0\x90\x80\x80",
                              "\xF4\x8F\xBF\xBF",
                              "\x80",
                              "\xC0\xAF",
                              "\xC1\xBF",
                              "\xC3",
                              "\xC3\x28",
                              "\xE0\x80\xAF",
                              "\xE0\x9F\xBF",
                              "\xED\xA0\x80",
                              "\xED\xBF\xBF",
                              "\xF0\x8F\xBF\xBF",
                              "\xF4\x90\x80\x80",
                              "\xF5\x80\x80\x80",
                              "\xF8\x90\x80\x80",
                              "\xFF",
                              "\xF0\x9D\x84"})
        for (std::string text :
             {std::string(bytes), "abcde" + std::string(bytes) + "zzzzzzzz", "abcdefghi" + std::string(bytes)}) {
            p.rec.text = text.data();
            compare(&p.rec);
        }
}

}  // namespace
