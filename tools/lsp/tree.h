// A tolerant reading of a document's text, for the places an editor asks
// about: it reads any text, well-formed or not, into objects, arrays and
// scalars with their byte spans, taking what a person in the middle of
// typing leaves (a missing comma, colon or value, a string not yet closed,
// brackets not yet closed) as the nearest well-formed text would have it.
// Only the containers that hold a focus offset have their members read
// (unless every one is asked for), so a cursor in a large document costs one
// pass over its text and little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool::lsp {

struct Member;

struct Node {
    enum class Type : uint8_t { missing, object, array, string, number, literal };
    Type type = Type::missing;
    bool closed = false;    // a container's closing bracket, a string's closing quote
    bool expanded = false;  // a container's members were read
    size_t begin = 0, end = 0;
    std::string text;                 // a string's value (escapes read); a number's or literal's token
    std::vector<Member> members;      // an expanded object's
    std::vector<Node> items;          // an expanded array's
    bool holds(size_t offset) const;  // an offset strictly inside a container
    const Member *member(std::string_view key) const;
};

struct Member {
    std::string key;
    size_t key_begin = 0, key_end = 0;  // the key's token, quotes included
    size_t colon = SIZE_MAX;            // SIZE_MAX: no colon yet
    Node value;                         // missing: none yet, at the offset where it would start
};

// Reads `text`: every container when `focus` is SIZE_MAX, else those that
// hold `focus`.
Node read_tree(std::string_view text, size_t focus);

// The text of a JSON string with `value`'s characters.
std::string quoted(std::string_view value);

}  // namespace tool::lsp
