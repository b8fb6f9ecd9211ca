// One finding in a document, as the tool carries it from the checker to the
// outputs: an error, which refuses the document, or a warning, a property
// its type does not know and the library ignores. The library reports each
// with texts that live only while it is being reported; this copy owns its
// texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tool {

enum class Severity { error, warning };

// The kinds of finding: the rules of the JSON and SARIF outputs.
enum class Rule {
    invalid_json,      // the text is not one well-formed JSON document (or it holds a NUL byte)
    missing_property,  // a required property is absent
    invalid_value,     // a value the record type refuses, a union none of whose members matches, a limit
    unknown_property,  // a property its record type does not know (a warning)
};

// A place in the text: the bytes [offset, end) of one token (a key, a
// scalar value, an object's or array's opening bracket; for a text that
// does not parse, the offending token, byte or the text's end), and the
// same as 1-based lines and columns. Columns count characters (UTF-8
// sequences); the end is exclusive: end_column is the column just past the
// token's last character.
struct Span {
    size_t offset = 0;
    size_t end = 0;
    size_t line = 0;
    size_t column = 0;
    size_t end_line = 0;
    size_t end_column = 0;
};

// What is said after a finding: a plain account of a parse failure, a fault
// of the closest member of a union that matched none, the full text of a
// line the library cut, the kinds an unknown discriminator may name.
struct Note {
    std::string message;
    bool placed = false;  // the note has a place of its own; else it stands at its finding's
    Span span;
};

struct Fault {
    Severity severity = Severity::error;
    Rule rule = Rule::invalid_value;
    int32_t status = 0;   // the library's status code; 0 for a warning
    std::string message;  // the library's diagnostic line, without a final newline
    std::string pointer;  // RFC 6901 JSON Pointer of the faulty value ("": the document); for a missing
                          // property, where it belongs; for an unknown one, its key
    std::string hint;     // an allowed text close to the refused one, or the property a missing or
                          // unknown one was likely meant to be; empty: none
    std::vector<Note> notes;
    Span span;
};

}  // namespace tool
