// Findings as one JSON array for the whole run, on standard output: an
// object per finding with file, line, column, endLine, endColumn,
// severity, rule, path, status, message, and hint and notes when there
// are some.
#include <cstdio>
#include <new>

#include <jansson.h>

#include "json_values.h"
#include "output.h"

namespace tool {
namespace {

class JsonOutput final : public Output {
  public:
    JsonOutput() : array_(json_array()) {
        if (array_ == nullptr) throw std::bad_alloc();
    }
    ~JsonOutput() override { json_decref(array_); }
    JsonOutput(const JsonOutput &) = delete;
    JsonOutput &operator=(const JsonOutput &) = delete;

    bool file(const std::string &label, std::string_view, const Checked &checked) override {
        for (const Fault &fault : checked.faults) {
            json_t *item = json_pack(
                "{s:o, s:I, s:I, s:I, s:I, s:s, s:s, s:o, s:i, s:o}",  //
                "file", text_value(label), "line", number(fault.span.line), "column", number(fault.span.column),
                "endLine", number(fault.span.end_line), "endColumn", number(fault.span.end_column), "severity",
                fault.severity == Severity::warning ? "warning" : "error", "rule", rule_id(fault.rule), "path",
                text_value(fault.pointer), "status", fault.status, "message", text_value(fault.message));
            // The _new setters take the value over even when they fail.
            if (item == nullptr || json_array_append_new(array_, item) != 0 ||
                (!fault.hint.empty() && json_object_set_new(item, "hint", text_value(fault.hint)) != 0) ||
                (!fault.notes.empty() && json_object_set_new(item, "notes", notes(fault)) != 0))
                return false;
        }
        say_left_out(label, checked);
        return true;
    }

    void failure(const std::string &, const std::string &why) override { say("%s", why.c_str()); }

    bool finish(int) override {
        // jansson's dump fails when memory runs out, or when a write fails,
        // which shows when standard output is flushed.
        const bool dumped = json_dumpf(array_, stdout, JSON_INDENT(2)) == 0 || ferror(stdout);
        putchar('\n');
        return dumped;
    }

  private:
    static json_t *notes(const Fault &fault) {
        json_t *list = json_array();
        for (const Note &note : fault.notes) {
            json_t *item = note.placed ? json_pack("{s:o, s:I, s:I}", "message", text_value(note.message), "line",
                                                   number(note.span.line), "column", number(note.span.column))
                                       : json_pack("{s:o}", "message", text_value(note.message));
            if (json_array_append_new(list, item) != 0) {
                json_decref(list);
                return nullptr;
            }
        }
        return list;
    }

    json_t *array_;
};

}  // namespace

std::unique_ptr<Output> make_json_output() { return std::make_unique<JsonOutput>(); }

}  // namespace tool
