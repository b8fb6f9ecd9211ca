// Findings as one SARIF 2.1.0 log for the whole run, on standard output, as
// code-scanning services read it: the tool and its rules, one per kind of
// finding; a result per finding with its region (ends included) and its
// placed notes as related locations; and the run's invocation, whether it
// succeeded, with a notification for each file that could not be checked.
#include <cstdio>
#include <cstring>
#include <new>

#include <jansson.h>

#include "json_values.h"
#include "output.h"

#ifndef JSONCODEC_VERSION
#error "JSONCODEC_VERSION must be defined by the build"
#endif

namespace tool {
namespace {

// The kinds of finding, in the order of Rule.
struct RuleText {
    Rule rule;
    const char *level;
    const char *description;
};
constexpr RuleText RULES[] = {
    {Rule::invalid_json, "error", "The text is not one well-formed JSON document (or it holds a NUL byte)."},
    {Rule::missing_property, "error", "A required property of the record type is absent."},
    {Rule::invalid_value, "error",
     "A value the record type refuses: a JSON type, an enum text or an integer it does not allow, a union none of "
     "whose members matches, or a limit of the decoder."},
    {Rule::unknown_property, "warning",
     "A property that is not part of its record type: the decoder ignores it, and format drops it."},
};

// `label` as a URI reference: relative when the file's name is, else a file
// URI; every byte that may not stand as it is in a path is percent-encoded,
// and a colon too, so that a relative name is never read as a scheme.
std::string uri_of(const std::string &label) {
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string uri = label.starts_with('/') ? "file://" : "";
    for (char c : label) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
            std::strchr("-._~/!$&'()*+,;=@", byte) != nullptr) {  // a label holds no NUL
            uri += c;
        } else {
            uri += '%';
            uri += HEX[byte >> 4];
            uri += HEX[byte & 0xF];
        }
    }
    return uri;
}

// A physical location in the file `uri`: the region of `span`, or the
// whole file for nullptr.
json_t *location(const std::string &uri, const Span *span) {
    if (span == nullptr) return json_pack("{s:{s:{s:s}}}", "physicalLocation", "artifactLocation", "uri", uri.c_str());
    return json_pack("{s:{s:{s:s}, s:{s:I, s:I, s:I, s:I}}}", "physicalLocation", "artifactLocation", "uri",
                     uri.c_str(), "region", "startLine", number(span->line), "startColumn", number(span->column),
                     "endLine", number(span->end_line), "endColumn", number(span->end_column));
}

// A placed note of a finding, the `id`th.
json_t *related_location(const std::string &uri, const Note &note, size_t id) {
    const Span &span = note.span;
    return json_pack("{s:I, s:{s:o}, s:{s:{s:s}, s:{s:I, s:I, s:I, s:I}}}", "id", number(id), "message", "text",
                     text_value(note.message), "physicalLocation", "artifactLocation", "uri", uri.c_str(), "region",
                     "startLine", number(span.line), "startColumn", number(span.column), "endLine",
                     number(span.end_line), "endColumn", number(span.end_column));
}

// Appends `value`, taking it over; false when it is NULL or memory ran out.
bool append(json_t *array, json_t *value) { return json_array_append_new(array, value) == 0; }

class SarifOutput final : public Output {
  public:
    SarifOutput() : results_(json_array()), notifications_(json_array()) {
        if (results_ == nullptr || notifications_ == nullptr) {
            json_decref(results_);
            json_decref(notifications_);
            throw std::bad_alloc();
        }
    }
    ~SarifOutput() override {
        json_decref(results_);
        json_decref(notifications_);
    }
    SarifOutput(const SarifOutput &) = delete;
    SarifOutput &operator=(const SarifOutput &) = delete;

    bool file(const std::string &label, std::string_view, const Checked &checked) override {
        const std::string uri = uri_of(label);
        for (const Fault &fault : checked.faults) {
            const size_t rule = static_cast<size_t>(fault.rule);
            json_t *related = json_array();
            for (const Note &note : fault.notes)
                if (note.placed && !append(related, related_location(uri, note, json_array_size(related)))) {
                    json_decref(related);
                    return false;
                }
            json_t *result =
                json_pack("{s:s, s:I, s:s, s:{s:o}, s:[o]}", "ruleId", rule_id(fault.rule), "ruleIndex", number(rule),
                          "level", fault.severity == Severity::warning ? "warning" : "error", "message", "text",
                          text_value(message_with_notes(fault, true)), "locations", location(uri, &fault.span));
            if (result != nullptr && json_array_size(related) > 0) {
                if (json_object_set(result, "relatedLocations", related) != 0) {
                    json_decref(result);
                    result = nullptr;
                }
            }
            json_decref(related);
            if (!append(results_, result)) return false;
        }
        say_left_out(label, checked);
        return true;
    }

    void failure(const std::string &label, const std::string &why) override {
        say("%s", why.c_str());
        ++failures_;
        json_t *notification = json_pack("{s:s, s:{s:o}, s:[o]}", "level", "error", "message", "text", text_value(why),
                                         "locations", location(uri_of(label), nullptr));
        if (!append(notifications_, notification)) lost_ = true;
    }

    bool finish(int status) override {
        json_t *rules = json_array();
        for (const RuleText &rule : RULES)
            append(rules, json_pack("{s:s, s:{s:s}, s:{s:s}}", "id", rule_id(rule.rule), "shortDescription", "text",
                                    rule.description, "defaultConfiguration", "level", rule.level));
        if (json_array_size(rules) != std::size(RULES) || lost_) {
            json_decref(rules);
            return false;
        }
        json_t *log =
            json_pack("{s:s, s:s, s:[{s:{s:{s:s, s:s, s:o}}, s:[{s:b, s:i, s:O}], s:s, s:O}]}", "$schema",
                      "https://json.schemastore.org/sarif-2.1.0.json", "version", "2.1.0", "runs", "tool", "driver",
                      "name", "jsoncodec", "version", JSONCODEC_VERSION, "rules", rules, "invocations",
                      "executionSuccessful", failures_ == 0, "exitCode", status, "toolExecutionNotifications",
                      notifications_, "columnKind", "unicodeCodePoints", "results", results_);
        if (log == nullptr) return false;
        // jansson's dump fails when memory runs out, or when a write fails,
        // which shows when standard output is flushed.
        const bool dumped = json_dumpf(log, stdout, JSON_INDENT(2)) == 0 || ferror(stdout);
        putchar('\n');
        json_decref(log);
        return dumped;
    }

  private:
    json_t *results_, *notifications_;
    size_t failures_ = 0;
    bool lost_ = false;  // memory ran out for a notification
};

}  // namespace

std::unique_ptr<Output> make_sarif_output() { return std::make_unique<SarifOutput>(); }

}  // namespace tool
