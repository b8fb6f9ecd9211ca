// The tool's fault output: compiler-style text, JSON, SARIF and GitHub
// Actions workflow commands (see report.h).
#include "report.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace tool {
namespace {

// The escape sequences of the colours compilers use.
constexpr const char *BOLD = "\033[1m";
constexpr const char *RED = "\033[1;31m";
constexpr const char *GREEN = "\033[1;32m";
constexpr const char *MAGENTA = "\033[1;35m";
constexpr const char *CYAN = "\033[1;36m";
constexpr const char *PLAIN = "\033[m";

// A source line longer than this many bytes is shown as a window of about
// WINDOW bytes either side of the place.
constexpr size_t LONG_LINE = 200;
constexpr size_t WINDOW = 80;

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The length in bytes of the character at text[at], and its code point. A
// byte that does not start a well-formed UTF-8 sequence counts as a
// character of its own, of code -1; or, from 0x80 to 0x9F, as the C1
// control character it is to a terminal that takes 8-bit controls.
size_t decode(std::string_view text, size_t at, long &code) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const long lone = byte >= 0x80 && byte < 0xA0 ? byte : -1;
    size_t length = byte < 0x80 ? 1 : byte >= 0xF5 ? 0 : byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC2 ? 2 : 0;
    if (length == 0 || at + length > text.size()) {
        code = lone;
        return 1;
    }
    code = length == 1 ? byte : byte & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        if (!is_continuation(text[at + i])) {
            code = lone;
            return 1;
        }
        code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    }
    return length;
}

// A C0 or C1 control character, or DEL; a tab is one only in file names.
bool is_control(long code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

// Writes the bytes of a source line; control characters other than tabs are
// shown as '?', so that a file cannot steer the terminal.
void put_source(FILE *out, std::string_view line) {
    for (size_t at = 0; at < line.size();) {
        long code;
        size_t length = decode(line, at, code);
        if (code >= 0 && code != '\t' && is_control(code))
            putc('?', out);
        else
            fwrite(line.data() + at, 1, length, out);
        at += length;
    }
}

// Blanks as wide on the terminal as the characters of `line`, tabs kept as
// tabs, so that the caret lands under its character. A character whose
// width the locale does not know takes one column.
void put_padding(FILE *out, std::string_view line) {
    for (size_t at = 0; at < line.size();) {
        long code;
        at += decode(line, at, code);
        if (code == '\t') {
            putc('\t', out);
            continue;
        }
        int width = code >= 0 && !is_control(code) ? wcwidth(static_cast<wchar_t>(code)) : 1;
        for (int i = width < 0 ? 1 : width; i > 0; --i) putc(' ', out);
    }
}

// The source line [start, end) of the place `place`, and a caret under it.
void print_source(FILE *to, std::string_view text, size_t start, size_t end, size_t place, size_t line, bool colour) {
    if (end > start && text[end - 1] == '\r') --end;
    if (place > end) place = end;
    size_t shown = start, shown_end = end;
    if (end - start > LONG_LINE) {
        if (place - start > WINDOW) shown = place - WINDOW;
        if (end - place > WINDOW) shown_end = place + WINDOW;
        while (shown < place && is_continuation(text[shown])) ++shown;
        while (shown_end < end && is_continuation(text[shown_end])) ++shown_end;
    }
    const bool cut_start = shown > start, cut_end = shown_end < end;
    int width = 5;
    for (size_t digits = line; digits >= 100000; digits /= 10) ++width;
    fprintf(to, " %*zu | %s", width, line, cut_start ? "..." : "");
    put_source(to, text.substr(shown, shown_end - shown));
    fprintf(to, "%s\n %*s | %s", cut_end ? "..." : "", width, "", cut_start ? "   " : "");
    put_padding(to, text.substr(shown, place - shown));
    fprintf(to, "%s^%s\n", colour ? GREEN : "", colour ? PLAIN : "");
}

// A JSON string of `text`; a text that is not UTF-8 (a file name can be any
// bytes) has each byte outside ASCII replaced by '?'.
json_t *string_value(const std::string &text) {
    json_t *value = json_stringn(text.data(), text.size());
    if (value != nullptr) return value;
    std::string copy = text;
    for (char &c : copy)
        if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    return json_stringn(copy.data(), copy.size());
}

const char *severity_name(const Fault &fault) { return fault.severity == Severity::warning ? "warning" : "error"; }

// The kinds of finding, the rules of the SARIF log.
struct RuleText {
    const char *id;
    const char *level;
    const char *description;
};
constexpr RuleText RULES[] = {
    {"invalid-json", "error", "The text is not one well-formed JSON document (or it holds a NUL byte)."},
    {"missing-property", "error", "A required property of the record type is absent."},
    {"invalid-value", "error",
     "A value the record type refuses: a JSON type, an enum text or an integer it does not allow, a union none of "
     "whose members matches, or a limit of the decoder."},
    {"unknown-property", "warning",
     "A property that is not part of its record type: the decoder ignores it, and format drops it."},
};

size_t rule_of(const Fault &fault) { return static_cast<size_t>(fault.rule); }

// The message with its hint as a question, for the outputs without notes.
std::string message_with_hint(const Fault &fault) {
    std::string text = fault.message;
    if (!fault.hint.empty()) text += " (did you mean '" + fault.hint + "'?)";
    for (const Note &note : fault.notes) text += " (" + note.message + ")";
    return text;
}

// `label` as a URI reference: relative when the file's name is, else a file
// URI; every byte that may not stand as it is in a path is percent-encoded,
// and a colon too, so that a relative name is never read as a scheme.
std::string uri_of(const std::string &label) {
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string uri = label.starts_with('/') ? "file://" : "";
    for (char c : label) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
            (byte != 0 && std::strchr("-._~/!$&'()*+,;=@", byte) != nullptr)) {
            uri += c;
        } else {
            uri += '%';
            uri += HEX[byte >> 4];
            uri += HEX[byte & 0xF];
        }
    }
    return uri;
}

// `text` escaped as the value of a workflow command (`property`: of one of
// its properties, where ':' and ',' separate too).
std::string workflow_escaped(std::string_view text, bool property) {
    std::string escaped;
    for (char c : text) {
        if (c == '%')
            escaped += "%25";
        else if (c == '\r')
            escaped += "%0D";
        else if (c == '\n')
            escaped += "%0A";
        else if (property && c == ':')
            escaped += "%3A";
        else if (property && c == ',')
            escaped += "%2C";
        else
            escaped += c;
    }
    return escaped;
}

}  // namespace

bool use_colour(ColourChoice choice, FILE *stream) {
    if (choice != ColourChoice::automatic) return choice == ColourChoice::always;
    const char *no_colour = std::getenv("NO_COLOR"), *term = std::getenv("TERM");
    if (no_colour != nullptr && no_colour[0] != '\0') return false;
    if (term != nullptr && std::strcmp(term, "dumb") == 0) return false;
    return isatty(fileno(stream)) != 0;
}

std::string printable(std::string_view name) {
    std::string shown;
    for (size_t at = 0; at < name.size();) {
        long code;
        size_t length = decode(name, at, code);
        if (code >= 0 && is_control(code))
            shown += '?';
        else
            shown.append(name.substr(at, length));
        at += length;
    }
    return shown;
}

void print_faults(FILE *to, std::string_view label, std::string_view text, const std::vector<Fault> &faults,
                  bool colour) {
    const std::string name = printable(label);
    const char *bold = colour ? BOLD : "", *plain = colour ? PLAIN : "";
    // The faults come in the order of their places, so the line of each is
    // found by going on from the line of the one before.
    size_t start = 0, end = std::min(text.find('\n'), text.size());
    for (const Fault &fault : faults) {
        const size_t place = std::min(fault.span.offset, text.size());
        while (place > end) {
            start = end + 1;
            end = std::min(text.find('\n', start), text.size());
        }
        const bool warning = fault.severity == Severity::warning;
        fprintf(to, "%s%s:%zu:%zu:%s %s%s:%s %s\n", bold, name.c_str(), fault.span.line, fault.span.column, plain,
                colour ? (warning ? MAGENTA : RED) : "", warning ? "warning" : "error", plain, fault.message.c_str());
        print_source(to, text, start, end, place, fault.span.line, colour);
        if (!fault.hint.empty())
            fprintf(to, "%s%s:%zu:%zu:%s %snote:%s did you mean '%s'?\n", bold, name.c_str(), fault.span.line,
                    fault.span.column, plain, colour ? CYAN : "", plain, fault.hint.c_str());
        for (const Note &note : fault.notes) {
            const Span &at = note.placed ? note.span : fault.span;
            fprintf(to, "%s%s:%zu:%zu:%s %snote:%s %s\n", bold, name.c_str(), at.line, at.column, plain,
                    colour ? CYAN : "", plain, note.message.c_str());
        }
    }
}

bool append_faults(json_t *array, const std::string &label, const std::vector<Fault> &faults) {
    for (const Fault &fault : faults) {
        json_t *item = json_object();
        // The _new setters take the value over even when they fail.
        bool failed =
            item == nullptr || json_array_append_new(array, item) != 0 ||
            json_object_set_new(item, "file", string_value(label)) != 0 ||
            json_object_set_new(item, "line", json_integer(static_cast<json_int_t>(fault.span.line))) != 0 ||
            json_object_set_new(item, "column", json_integer(static_cast<json_int_t>(fault.span.column))) != 0 ||
            json_object_set_new(item, "severity", json_string(severity_name(fault))) != 0 ||
            json_object_set_new(item, "path", string_value(fault.pointer)) != 0 ||
            json_object_set_new(item, "status", json_integer(fault.status)) != 0 ||
            json_object_set_new(item, "message", string_value(fault.message)) != 0 ||
            (!fault.hint.empty() && json_object_set_new(item, "hint", string_value(fault.hint)) != 0);
        if (failed) return false;
    }
    return true;
}

}  // namespace tool

namespace tool {

bool append_sarif_results(json_t *results, const std::string &label, const std::vector<Fault> &faults) {
    const std::string uri = uri_of(label);
    for (const Fault &fault : faults) {
        const RuleText &rule = RULES[rule_of(fault)];
        // json_pack takes the "o" values over, also when it fails.
        json_t *result = json_pack("{s:s, s:I, s:s, s:{s:o}, s:[{s:{s:{s:s}, s:{s:I, s:I}}}]}",             //
                                   "ruleId", rule.id, "ruleIndex", static_cast<json_int_t>(&rule - RULES),  //
                                   "level", rule.level, "message", "text", string_value(message_with_hint(fault)),
                                   "locations", "physicalLocation", "artifactLocation", "uri", uri.c_str(),  //
                                   "region", "startLine", static_cast<json_int_t>(fault.span.line),          //
                                   "startColumn", static_cast<json_int_t>(fault.span.column));
        if (result == nullptr || json_array_append_new(results, result) != 0) return false;
    }
    return true;
}

json_t *sarif_log(json_t *results, const char *version) {
    json_t *rules = json_array();
    for (const RuleText &rule : RULES) {
        json_t *entry = json_pack("{s:s, s:{s:s}, s:{s:s}}", "id", rule.id, "shortDescription", "text",
                                  rule.description, "defaultConfiguration", "level", rule.level);
        if (rules == nullptr) {
            json_decref(entry);
        } else if (json_array_append_new(rules, entry) != 0) {
            json_decref(rules);
            rules = nullptr;
        }
    }
    if (rules == nullptr) {
        json_decref(results);
        return nullptr;
    }
    return json_pack("{s:s, s:s, s:[{s:{s:{s:s, s:s, s:o}}, s:s, s:o}]}", "$schema",
                     "https://json.schemastore.org/sarif-2.1.0.json", "version", "2.1.0", "runs", "tool", "driver",
                     "name", "jsoncodec", "version", version, "rules", rules, "columnKind", "unicodeCodePoints",
                     "results", results);
}

void print_workflow_commands(FILE *to, const std::string &label, const std::vector<Fault> &faults) {
    const std::string file = workflow_escaped(printable(label), true);
    for (const Fault &fault : faults)
        fprintf(to, "::%s file=%s,line=%zu,col=%zu::%s\n", severity_name(fault), file.c_str(), fault.span.line,
                fault.span.column, workflow_escaped(message_with_hint(fault), false).c_str());
}

}  // namespace tool
