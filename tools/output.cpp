// The outputs' factory and what the formats share (see output.h).
#include "output.h"

namespace tool {

std::unique_ptr<Output> make_text_output(bool colour);
std::unique_ptr<Output> make_json_output();
std::unique_ptr<Output> make_sarif_output();
std::unique_ptr<Output> make_github_output();

std::unique_ptr<Output> make_output(Format format, bool colour) {
    if (format == Format::text) return make_text_output(colour);
    // In the order of Format, after text.
    constexpr std::unique_ptr<Output> (*MAKERS[])() = {make_json_output, make_sarif_output, make_github_output};
    return MAKERS[static_cast<size_t>(format) - 1]();
}

const char *rule_id(Rule rule) {
    // In the order of Rule.
    constexpr const char *IDS[] = {"invalid-json", "missing-property", "invalid-value", "unknown-property"};
    return IDS[static_cast<size_t>(rule)];
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
