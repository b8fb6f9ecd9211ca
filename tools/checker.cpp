// Tells a document's type, finds its faults and unknown properties through
// the library's checking walk, and places each in the text (see checker.h).
#include "checker.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <optional>

#include "action_schema.h"
#include "exports.h"
#include "faults.h"
#include "json_text.h"
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
    const char *name_property;  // nullptr: told by its keys alone
};
#define ROOT_ENTRY(T, name_property, short_name) {#T, &jsoncodec::T##_desc, name_property},
const Root roots[] = {JSONCODEC_ROOT_TYPES(ROOT_ENTRY)};
#undef ROOT_ENTRY

// The root type named `name`, one of the root types' names: the callers
// give the type the command line checked, or none.
const Root *find_root(std::string_view name) {
    const Root *root = roots;
    while (root->name != name) ++root;
    return root;
}

// A fault as the library reports it, kept until it is placed: the walk's
// texts live only while it reports them.
struct Found {
    Fault fault;
    bool missing = false;
    bool at_key = false;
    std::vector<uint32_t> order;  // an error's place in record order
    int64_t begin = -1;           // the walk's own place, or -1: placed by the pointer
    int64_t end = -1;
    int32_t parse_code = 0;
    int64_t parse_position = -1;
};

// Copies each finding the walk reports; a note joins the finding before it.
class Collector final : public jsoncodec::FaultLog {
  public:
    void add(const jsoncodec::Fault &fault) override {
        if (out_of_memory) return;
        // An unknown property's pointer names at least its key: an empty one
        // is the library's, out of memory for the pointer's copy.
        if (fault.unknown_property && fault.pointer[0] == '\0') {
            out_of_memory = halted = true;
            return;
        }
        try {
            std::string message = fault.message;
            if (message.ends_with('\n')) message.pop_back();
            if (fault.note) {
                if (found.empty()) return;
                Note &note = found.back().fault.notes.emplace_back();
                note.message = std::move(message);
                if (fault.begin >= 0) {
                    note.placed = true;
                    note.span.offset = static_cast<size_t>(fault.begin);
                    note.span.end = static_cast<size_t>(fault.end);
                }
                return;
            }
            Found &copy = found.emplace_back();
            copy.fault.status = fault.status;
            copy.fault.message = std::move(message);
            copy.fault.pointer = fault.pointer;
            if (fault.hint != nullptr) copy.fault.hint = fault.hint;
            copy.missing = fault.missing;
            if (keep_order && !fault.unknown_property) copy.order.assign(fault.order, fault.order + fault.order_length);
            copy.at_key = fault.unknown_property;
            copy.begin = fault.begin;
            copy.end = fault.end;
            copy.parse_code = fault.parse_code;
            copy.parse_position = fault.parse_position;
            if (fault.unknown_property) {
                copy.fault.severity = Severity::warning;
                copy.fault.rule = Rule::unknown_property;
            } else if (fault.parse_position >= 0) {
                copy.fault.rule = Rule::invalid_json;
            } else if (fault.missing) {
                copy.fault.rule = Rule::missing_property;
            }
        } catch (const std::bad_alloc &) {
            out_of_memory = true;
            halted = true;
        }
    }
    // The walk starts again from the document's start: what it found so far
    // is found again.
    void discard() override { found.clear(); }

    // A deque: a document can have hundreds of thousands of findings, and
    // they stay where they were put as more come.
    std::deque<Found> found;
    bool out_of_memory = false;
    bool keep_order = false;  // keep each error's place in record order
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// A plain account of why `text` does not parse, where jansson's message is
// cryptic to a person. Empty when there is none.
std::string parse_note(std::string_view text, int code, std::string_view message) {
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        return "the text starts with a byte-order mark (U+FEFF), which JSON does not allow: save the file without it";
    if (code == json_error_null_character)
        return "a text here holds \\u0000 (the character U+0000), which no text may hold";
    if (text.empty()) return "the input is empty: a document is one JSON object";
    if (std::all_of(text.begin(), text.end(), is_blank))
        return "the input holds only blanks: a document is one JSON object";
    if (code == json_error_duplicate_key) return "a key may appear only once in an object";
    if (code == json_error_numeric_overflow)
        return message.find("real") != std::string_view::npos
                   ? "the number is too large for a double"
                   : "an integer must lie between -9223372036854775808 and 9223372036854775807";
    if (code == json_error_invalid_utf8) return "the text is not UTF-8 here: save the file as UTF-8";
    return {};
}

// Places every finding the walk reported, gives each its span, lines and
// columns, and moves them into `out` in the order of their places.
void place(const std::string &text, std::deque<Found> &found, Checked &out) {
    std::vector<PointerPlace> by_pointer;
    std::vector<size_t> which;
    for (size_t i = 0; i < found.size(); ++i) {
        if (found[i].begin >= 0 || found[i].parse_position >= 0) continue;
        by_pointer.push_back({found[i].fault.pointer, found[i].missing, found[i].at_key});
        which.push_back(i);
    }
    if (!by_pointer.empty()) place_by_pointer(text, by_pointer);
    for (size_t k = 0; k < which.size(); ++k) {
        Found &f = found[which[k]];
        f.begin = static_cast<int64_t>(by_pointer[k].offset);
        f.end = static_cast<int64_t>(f.missing ? std::min(by_pointer[k].offset + 1, text.size())
                                               : token_end(text, by_pointer[k].offset));
    }
    for (Found &f : found) {
        if (f.parse_position >= 0) {
            f.fault.span = syntax_span(text, f.parse_code, static_cast<size_t>(f.parse_position));
            std::string note = parse_note(text, f.parse_code, f.fault.message);
            if (!note.empty()) f.fault.notes.insert(f.fault.notes.begin(), Note{std::move(note), false, {}});
        } else {
            f.fault.span.offset = static_cast<size_t>(f.begin);
            f.fault.span.end = static_cast<size_t>(f.end);
        }
    }
    // The reader's walk meets most findings in the order of their places:
    // the findings are ordered by moving each once.
    std::vector<size_t> order(found.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    auto by_place = [&](size_t a, size_t b) { return found[a].fault.span.offset < found[b].fault.span.offset; };
    if (!std::is_sorted(order.begin(), order.end(), by_place)) std::stable_sort(order.begin(), order.end(), by_place);
    out.faults.reserve(found.size());
    for (size_t i : order) {
        Fault &fault = found[i].fault;
        (fault.severity == Severity::error ? out.errors : out.warnings) += 1;
        out.faults.push_back(std::move(fault));
    }
    found.clear();
    count_lines(text, out.faults);
}

// What the keys of a document's top-level object say of its type.
struct Told {
    const Root *root = nullptr;  // the type, or the best guess at a syntax fault
    bool syntax = false;         // the text does not parse before the type was told
    std::string why;             // neither told nor a syntax fault: why not
};

// Tells the type of `text` from its top-level object's keys: the first name
// property decides at once, which in most documents is the first key; a
// document without one is of the root type whose properties its keys name
// most often (the first in the library's order among equals). The keys are
// read with the library's scanning steps, which refuse only what jansson
// refuses among the texts it would read.
Told tell_type(const std::string &text) {
    using namespace jsoncodec::json_text;
    Told told;
    const char *begin = text.c_str(), *end = begin + text.size();
    const char *p = skip_blanks(begin);
    size_t scores[std::size(roots)] = {};
    auto best = [&]() -> const Root * {
        size_t top = 0;
        const Root *chosen = nullptr;
        for (size_t i = 0; i < std::size(roots); ++i)
            if (scores[i] > top) top = scores[i], chosen = &roots[i];
        return chosen;
    };
    auto syntax = [&]() {
        told.syntax = true;
        told.root = best();
        return told;
    };
    if (*p != '{') {
        const char *after = *p == '[' ? skip_value<Reals::any>(p, end, 1, nullptr) : nullptr;
        if (after == nullptr || *skip_blanks(after) != '\0') return syntax();  // jansson refuses text after the root
        told.why = "it is not a JSON object";
        return told;
    }
    bool empty = true;
    std::string key;
    const char *past = each_member(p, end, [&](const StringToken &token, const char *value) -> const char * {
        empty = false;
        key.resize(token.length);
        unescape(token, key.data());
        for (size_t i = 0; i < std::size(roots); ++i) {
            if (roots[i].name_property != nullptr && key == roots[i].name_property) {
                told.root = &roots[i];
                return nullptr;
            }
            if (jsoncodec::has_property(*roots[i].desc, key.c_str())) ++scores[i];
        }
        return skip_value<Reals::any>(value, end, 2, nullptr);
    });
    if (told.root != nullptr) return told;  // a name property decided
    if (past == nullptr || *skip_blanks(past) != '\0') return syntax();
    if ((told.root = best()) == nullptr)
        told.why = empty ? "its top-level object is empty" : "its top-level object holds no property of any root type";
    return told;
}

// The finding of a text that does not parse, told as the export of `root`
// would tell it, or without the type's name when there is no root.
Verdict syntax_fault(const std::string &text, const Root *root, Checked &out) {
    Collector log;
    jsoncodec::check_walk(*(root != nullptr ? root : &roots[0])->desc, text.c_str(), log, jsoncodec::WalkMode{});
    if (log.out_of_memory) return Verdict::out_of_memory;
    // Only a text the reader refused comes here, and the reader refuses what
    // jansson refuses, so jansson's parse fault is there; should the two ever
    // disagree, the document is not checked (exit 2), never passed as valid.
    if (log.found.empty() || log.found.front().parse_position < 0) return Verdict::untyped;
    log.found.resize(1);
    if (root == nullptr) {
        // "<type>: JSON decode error. ..." without the type it has not got.
        std::string &message = log.found.front().fault.message;
        const size_t colon = message.find(">: ");
        if (colon != std::string::npos) message.erase(0, colon + 3);
    } else {
        out.type = root->name;
    }
    place(text, log.found, out);
    return Verdict::refused;
}

// The root type of `text`: `type` when given, else told by its keys. A
// verdict when the document goes no further: its syntax fault, or that its
// type cannot be told.
std::optional<Verdict> root_of(const std::string &text, std::string_view type, Checked &out, const Root *&root) {
    if (!type.empty()) {
        root = find_root(type);
    } else {
        Told told = tell_type(text);
        if (told.syntax) return syntax_fault(text, told.root, out);
        if (told.root == nullptr) {
            out.why = std::move(told.why);
            return Verdict::untyped;
        }
        root = told.root;
    }
    out.type = root->name;
    return std::nullopt;
}

// Keeps, of the errors, only the first in record order, the one the export
// reports (a walk in record order meets it first), and every warning.
void keep_first_error(std::deque<Found> &found) {
    const Found *first = nullptr;
    for (const Found &f : found)
        if (f.fault.severity == Severity::error && (first == nullptr || f.order < first->order)) first = &f;
    std::deque<Found> kept;
    for (Found &f : found)
        if (f.fault.severity == Severity::warning || &f == first) kept.push_back(std::move(f));
    found = std::move(kept);
}

// Keeps the first `limit` findings of the file.
void keep_first(Checked &out, size_t limit) {
    if (limit == 0 || out.faults.size() <= limit) return;
    out.left_out = out.faults.size() - limit;
    for (size_t i = limit; i < out.faults.size(); ++i)
        (out.faults[i].severity == Severity::error ? out.errors : out.warnings) -= 1;
    out.faults.resize(limit);
}

}  // namespace

const std::vector<std::string_view> &root_type_names() {
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> all;
        for (const Root &root : roots) all.push_back(root.name);
        return all;
    }();
    return names;
}

Fault nul_fault(std::string_view text) {
    Fault fault;
    fault.rule = Rule::invalid_json;
    fault.status = RMQC_ERR_DECODE;
    fault.message = "the text holds a NUL byte";
    fault.span.offset = fault.span.end = text.size();
    std::vector<Fault> one{fault};
    count_lines(text, one);
    return one.front();
}

Verdict check_document(const std::string &text, const CheckOptions &options, Checked &out) {
    out = Checked{};
    try {
        const Root *root = nullptr;
        if (const auto verdict = root_of(text, options.type, out, root)) return *verdict;
        Collector log;
        log.keep_order = options.first;
        const jsoncodec::WalkMode mode{.every_fault = true, .unknown_properties = options.warnings};
        const bool valid = jsoncodec::check_text(*root->desc, text.c_str(), log, mode) == RMQC_OK;
        if (log.out_of_memory) return Verdict::out_of_memory;
        if (options.first) keep_first_error(log.found);
        place(text, log.found, out);
        keep_first(out, options.limit);
        if (!valid && out.errors == 0 && out.left_out == 0) return Verdict::out_of_memory;
        return valid ? Verdict::valid : Verdict::refused;
    } catch (const std::bad_alloc &) {
        out = Checked{};
        return Verdict::out_of_memory;
    }
}

Verdict format_document(const std::string &text, std::string_view type, bool compact, char **json, Checked &out) {
    *json = nullptr;
    out = Checked{};
    try {
        const Root *root = nullptr;
        if (const auto verdict = root_of(text, type, out, root)) return *verdict;
        // One decode, which reports the unknown properties it passes over (or
        // the export's first fault), and one encode.
        Collector log;
        char errbuf[jsoncodec::FAULT_LINE_SIZE];
        void *tree = nullptr;
        const jsoncodec::WalkMode mode{.every_fault = false, .unknown_properties = true};
        int32_t status = jsoncodec::decode_logged(*root->desc, &tree, text.c_str(), errbuf, sizeof errbuf, log, mode);
        // A warning lost to memory running out fails the run: nothing is
        // encoded then. A failed encode leaves `*json` NULL.
        if (log.out_of_memory) status = RMQC_ERR_NOMEM;
        if (status == RMQC_OK)
            status = jsoncodec::encode_export(*root->desc, tree, json, errbuf, sizeof errbuf, compact ? 0 : 1, "");
        jsoncodec::free_export(*root->desc, tree);
        place(text, log.found, out);
        if (status == RMQC_OK) return Verdict::valid;
        return status == RMQC_ERR_DECODE && out.errors > 0 ? Verdict::refused : Verdict::out_of_memory;
    } catch (const std::bad_alloc &) {
        std::free(*json);
        *json = nullptr;
        out = Checked{};
        return Verdict::out_of_memory;
    }
}

}  // namespace tool
