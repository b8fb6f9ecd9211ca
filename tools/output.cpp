// The outputs' factory and what the formats share (see output.h).
#include "output.h"

namespace tool {

std::unique_ptr<Output> make_text_output(bool colour);
std::unique_ptr<Output> make_json_output();
std::unique_ptr<Output> make_sarif_output();
std::unique_ptr<Output> make_github_output();

std::unique_ptr<Output> make_output(Format format, bool colour) {
    switch (format) {
        case Format::json: return make_json_output();
        case Format::sarif: return make_sarif_output();
        case Format::github: return make_github_output();
        case Format::text: break;
    }
    return make_text_output(colour);
}

const char *rule_id(Rule rule) {
    switch (rule) {
        case Rule::invalid_json: return "invalid-json";
        case Rule::missing_property: return "missing-property";
        case Rule::unknown_property: return "unknown-property";
        case Rule::invalid_value: break;
    }
    return "invalid-value";
}

std::string message_with_notes(const Fault &fault, bool unplaced_only) {
    std::string text = fault.message;
    if (!fault.hint.empty()) text += " (did you mean '" + fault.hint + "'?)";
    for (const Note &note : fault.notes) {
        if (!note.placed)
            text += " (" + note.message + ")";
        else if (!unplaced_only)
            text += " (" + std::to_string(note.span.line) + ":" + std::to_string(note.span.column) + ": " +
                    note.message + ")";
    }
    return text;
}

void say_left_out(const std::string &label, const Checked &checked) {
    if (checked.left_out > 0)
        say("%s: %zu more finding%s not shown; --max-faults=N sets the limit (0: none)", label.c_str(),
            checked.left_out, checked.left_out == 1 ? " is" : "s are");
}

}  // namespace tool
