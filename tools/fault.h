// One fault of a document, as the tool carries it from the checking walk to
// the printer: an error, which refuses the document, or a warning, a
// property its type does not know and the library ignores. The library's
// walk reports each with texts that live only while it is being reported;
// this copy owns its texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

enum class Severity { error, warning };

struct Fault {
    Severity severity = Severity::error;
    int32_t status;          // the library's status code
    std::string message;     // the library's diagnostic line, without a final newline
    std::string pointer;     // RFC 6901 JSON Pointer of the faulty value ("": the document)
    std::string hint;        // an allowed text close to the refused one, or the property a missing or
                             // unknown one was likely meant to be; empty: none
    std::string note;        // a plain account of a parse failure the message puts cryptically; empty: none
    bool missing = false;    // a required property is absent: the place is its object
    bool at_key = false;     // the place is the key of the property the pointer names, not its value
    int32_t parse_line = 0;  // a text that does not parse: the place jansson names (else 0 and 0)
    int32_t parse_column = 0;
    size_t offset = 0;  // the place in the text, in bytes: the value's first character; for a
                        // missing property, its object's brace; for a text that does not
                        // parse, where jansson stopped
    size_t line = 0;    // the place as 1-based line and column; the column counts
    size_t column = 0;  // characters, as jansson's parse errors do
};

}  // namespace tool
