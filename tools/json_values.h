// The JSON values the JSON and SARIF outputs build findings of.
#pragma once

#include <cstddef>
#include <string>

#include <jansson.h>

namespace tool {

// A JSON string of `text`; a text that is not UTF-8 (a file name can be any
// bytes) has each byte outside ASCII replaced by '?'. NULL when memory ran
// out.
inline json_t *text_value(const std::string &text) {
    json_t *value = json_stringn(text.data(), text.size());
    if (value != nullptr) return value;
    std::string copy = text;
    for (char &c : copy)
        if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    return json_stringn(copy.data(), copy.size());
}

// A line, column or count as json_pack's "I" takes it.
inline json_int_t number(size_t value) { return static_cast<json_int_t>(value); }

}  // namespace tool
