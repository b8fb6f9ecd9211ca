// Finds the faults of a document through the library's checking walk and
// hands them to placement.
#include "checker.h"

#include <cstdlib>
#include <new>
#include <unordered_set>

#include <jansson.h>

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

// The pointer of the object that holds the property `pointer` names.
std::string_view parent_of(std::string_view pointer) { return pointer.substr(0, pointer.rfind('/')); }

// A missing required property whose object holds a key the warnings take
// for a near miss of its name is given that name as its hint, so that its
// error says what its warning says. The names of record properties need no
// escaping in a pointer.
void hint_missing(std::vector<Fault> &faults) {
    std::unordered_set<std::string> near_misses;  // the object's pointer, a NUL, the name meant
    for (const Fault &fault : faults)
        if (fault.severity == Severity::warning && !fault.hint.empty())
            near_misses.insert(std::string(parent_of(fault.pointer)) + '\0' + fault.hint);
    if (near_misses.empty()) return;
    for (Fault &fault : faults) {
        if (!fault.missing || !fault.hint.empty()) continue;
        const size_t slash = fault.pointer.rfind('/');
        if (slash == std::string::npos) continue;
        std::string key = fault.pointer.substr(0, slash) + '\0' + fault.pointer.substr(slash + 1);
        if (near_misses.count(key) != 0) fault.hint = fault.pointer.substr(slash + 1);
    }
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Every property name of the record types `type` reaches.
void gather_names(const jsoncodec::TypeDesc &type, std::unordered_set<std::string_view> &names,
                  std::unordered_set<const jsoncodec::TypeDesc *> &seen) {
    if (!seen.insert(&type).second) return;
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const jsoncodec::FieldDesc &field = type.fields[i];
        names.insert(field.name);
        if (field.nested != nullptr) gather_names(*field.nested, names, seen);
        if (field.members != nullptr)
            for (uint32_t k = 0; k < field.members->count; ++k) gather_names(*field.members->types[k], names, seen);
    }
}

// A required property missing from a union member that did not match has
// no warnings beside it: the walk reports those only in the records it
// decoded. Its object is read from the text instead, and a key there that
// no record type of the document knows, within two edits (or a change of
// case) of the missing name, gives the hint. The pointers of missing
// properties are made of property names and indices, which need no
// unescaping.
void hint_missing_in_unmatched(const std::string &text, const jsoncodec::TypeDesc &root, std::vector<Fault> &faults) {
    bool wanted = false;
    for (const Fault &fault : faults) wanted = wanted || (fault.missing && fault.hint.empty());
    if (!wanted) return;
    json_t *document = json_loads(text.c_str(), 0, nullptr);
    if (document == nullptr) return;
    std::unordered_set<std::string_view> known;
    std::unordered_set<const jsoncodec::TypeDesc *> seen;
    try {
        gather_names(root, known, seen);
    } catch (const std::bad_alloc &) {
        json_decref(document);
        throw;
    }
    for (Fault &fault : faults) {
        const size_t slash = fault.pointer.rfind('/');
        if (!fault.missing || !fault.hint.empty() || slash == std::string::npos) continue;
        json_t *object = document;
        for (size_t at = 0; at < slash && object != nullptr;) {
            const size_t end = std::min(fault.pointer.find('/', at + 1), slash);
            const std::string segment = fault.pointer.substr(at + 1, end - at - 1);
            object = json_is_array(object) ? json_array_get(object, std::strtoul(segment.c_str(), nullptr, 10))
                                           : json_object_get(object, segment.c_str());
            at = end;
        }
        if (!json_is_object(object)) continue;
        const std::string name = fault.pointer.substr(slash + 1);
        const char *key;
        json_t *value;
        json_object_foreach(object, key, value) {
            jsoncodec::Suggestion suggestion;
            suggestion.consider(name.c_str(), key);
            if (suggestion.best != nullptr && known.count(key) == 0) {
                fault.hint = name;
                break;
            }
        }
    }
    json_decref(document);
}

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
        hint_missing(out.faults);
        hint_missing_in_unmatched(text, *root->desc, out.faults);
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
