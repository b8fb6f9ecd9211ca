// Finds the faults of a document through the library's checking walk and
// hands them to placement.
#include "checker.h"

#include <new>

#include "action_schema.h"
#include "faults.h"
#include "jsoncodec.h"
#include "placement.h"
#include "policy_schema.h"
#include "root_types.h"
#include "rule_schema.h"

namespace tool {
namespace {

struct Root {
    std::string_view name;
    const jsoncodec::TypeDesc *desc;
};
#define ROOT_DESC(T, name_property, short_name) {#T, &jsoncodec::T##_desc},
const Root roots[] = {JSONCODEC_ROOT_TYPES(ROOT_DESC)};
#undef ROOT_DESC

// Copies each fault the walk reports, whose texts live only during add().
// The limit counts errors: the warnings, which come after them, are all kept.
class Collector final : public jsoncodec::FaultLog {
  public:
    Collector(bool every, size_t limit, Checked &out) : FaultLog(every), limit_(limit), out_(out) {
        unknown_properties = true;
    }
    void add(const jsoncodec::Fault &fault) override {
        if (!fault.unknown_property && limit_ != 0 && errors_ == limit_) {  // one error more than the limit
            out_.stopped = true;
            every_fault = false;
            return;
        }
        try {
            std::string message = fault.message;
            if (!message.empty() && message.back() == '\n') message.pop_back();
            Fault &copy = out_.faults.emplace_back();
            copy.status = fault.status;
            copy.message = std::move(message);
            copy.pointer = fault.pointer;
            if (fault.hint != nullptr) copy.hint = fault.hint;
            copy.missing = fault.missing;
            copy.parse_line = fault.parse_line;
            copy.parse_column = fault.parse_column;
            if (fault.unknown_property) {
                copy.severity = Severity::warning;
                copy.at_key = true;
                ++out_.warnings;
            } else {
                ++errors_;
            }
        } catch (const std::bad_alloc &) {
            out_of_memory = true;
            every_fault = false;
        }
    }
    bool out_of_memory = false;

  private:
    size_t limit_;
    size_t errors_ = 0;
    Checked &out_;
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

std::string parse_note(std::string_view text, std::string_view message) {
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        return "the text starts with a byte-order mark (U+FEFF), which JSON does not allow: save the file without it";
    if (message.find("\\u0000 is not allowed") != std::string_view::npos)
        return "a text here holds \\u0000 (the character U+0000), which no text may hold";
    if (text.empty()) return "the input is empty: a document is one JSON object";
    bool blank = true;
    for (char c : text) blank = blank && is_blank(c);
    if (blank) return "the input holds only blanks: a document is one JSON object";
    return {};
}

Verdict check_document(std::string_view type, const std::string &text, bool every, size_t limit, Checked &out) {
    out = Checked{};
    const Root *root = nullptr;
    for (const Root &candidate : roots)
        if (candidate.name == type) root = &candidate;
    if (root == nullptr) return Verdict::out_of_memory;
    try {
        Collector log(every, limit, out);
        const bool valid = jsoncodec::check_walk(*root->desc, text.c_str(), log) == RMQC_OK;
        if (log.out_of_memory || (!valid && out.faults.size() == out.warnings)) return Verdict::out_of_memory;
        if (out.faults.empty()) return Verdict::valid;
        place_faults(text, out.faults);
        for (Fault &fault : out.faults)
            if (fault.parse_line != 0) fault.note = parse_note(text, fault.message);
        return valid ? Verdict::valid : Verdict::refused;
    } catch (const std::bad_alloc &) {
        out = Checked{};
        return Verdict::out_of_memory;
    }
}

}  // namespace tool
