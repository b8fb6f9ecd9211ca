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
#define ROOT_DESC(T, name_property) {#T, &jsoncodec::T##_desc},
const Root roots[] = {ROOT_TYPES(ROOT_DESC)};
#undef ROOT_DESC

// Copies each fault the walk reports, whose texts live only during add().
class Collector final : public jsoncodec::FaultLog {
  public:
    Collector(bool every, size_t limit, Checked &out) : FaultLog(every), limit_(limit), out_(out) {}
    void add(const jsoncodec::Fault &fault) override {
        if (limit_ != 0 && out_.faults.size() == limit_) {  // one fault more than the limit: stop here
            out_.stopped = true;
            every_fault = false;
            return;
        }
        try {
            std::string message = fault.line;
            if (!message.empty() && message.back() == '\n') message.pop_back();
            Fault &copy = out_.faults.emplace_back();
            copy.status = fault.status;
            copy.message = std::move(message);
            copy.pointer = fault.pointer;
            if (fault.hint != nullptr) copy.hint = fault.hint;
            copy.missing = fault.missing;
            copy.parse_line = fault.parse_line;
            copy.parse_column = fault.parse_column;
        } catch (const std::bad_alloc &) {
            out_of_memory = true;
            every_fault = false;
        }
    }
    bool out_of_memory = false;

  private:
    size_t limit_;
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
        if (jsoncodec::check_walk(*root->desc, text.c_str(), log) == RMQC_OK) return Verdict::valid;
        if (log.out_of_memory || out.faults.empty()) return Verdict::out_of_memory;
        place_faults(text, out.faults);
        for (Fault &fault : out.faults)
            if (fault.parse_line != 0) fault.note = parse_note(text, fault.message);
        return Verdict::refused;
    } catch (const std::bad_alloc &) {
        out = Checked{};
        return Verdict::out_of_memory;
    }
}

}  // namespace tool
