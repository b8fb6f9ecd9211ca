// Differential harness: the exports' fast paths (the one-pass reader,
// the direct writer) against jansson's paths, which decide every refusal;
// and the checking walk over the reader against the one over jansson's tree.
// Each input, up to its first NUL byte, is decoded as every root type both
// ways at a full and a short buffer length; every accepted tree is encoded both ways,
// compact and pretty, as it is and damaged on purpose (missing and invalid
// texts, out-of-range tags and counts). Status, line, *out, tree and text
// must be equal. The two checking walks must report the same findings, as a
// set (severity, line, pointer, note or not; the reader's own places at the
// values their pointers name), the export's line among their errors, and
// none when the export accepts the document. A divergence aborts with what
// differed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "action_schema.h"
#include "exports.h"
#include "faults.h"
#include "placement.h"
#include "policy_schema.h"
#include "root_types.h"
#include "rule_schema.h"

namespace {

using namespace jsoncodec;

#define ROOT_TABLE(T, name_property, short_name) &T##_desc,
const TypeDesc *const roots[] = {JSONCODEC_ROOT_TYPES(ROOT_TABLE)};
#undef ROOT_TABLE
char sentinel;

void require(bool same, const char *what, const TypeDesc &type, const std::string &a = "", const std::string &b = "") {
    if (same) return;
    std::fprintf(stderr, "\n*** %s diverged as %s\n*** fast:    \"%s\"\n*** jansson: \"%s\"\n", what, type.name,
                 a.c_str(), b.c_str());
    std::abort();
}

// The field at `offset`, read as raw storage whatever its alignment.
template <class T>
T at(const void *record, uint32_t offset) {
    T value;
    std::memcpy(&value, static_cast<const char *>(record) + offset, sizeof value);
    return value;
}

bool same_text(const char *a, const char *b) {
    return a == nullptr ? b == nullptr : b != nullptr && !std::strcmp(a, b);
}

// Whether two trees of `type` hold the same values, flags, counts and tags.
bool same_record(const TypeDesc &type, const void *a, const void *b) {
    for (const FieldDesc &f : std::span(type.fields, type.field_count)) {
        if (!f.required && at<uint8_t>(a, f.present_offset) != at<uint8_t>(b, f.present_offset)) return false;
        if (!f.required && at<uint8_t>(a, f.present_offset) == 0) continue;
        const void *pa = at<const void *>(a, f.offset), *pb = at<const void *>(b, f.offset);
        uint64_t count =
            f.kind == Kind::StringArray || f.kind == Kind::IntegerArray ? at<uint64_t>(a, f.count_offset) : 0;
        bool same = true;
        switch (f.kind) {
            case Kind::String:
            case Kind::Enum: same = same_text(static_cast<const char *>(pa), static_cast<const char *>(pb)); break;
            case Kind::Boolean: same = at<int32_t>(a, f.offset) == at<int32_t>(b, f.offset); break;
            case Kind::Integer: same = at<int64_t>(a, f.offset) == at<int64_t>(b, f.offset); break;
            case Kind::StringArray:
            case Kind::IntegerArray:
                same = count == at<uint64_t>(b, f.count_offset);
                for (uint64_t i = 0; same && i < count; ++i)
                    same = f.kind == Kind::IntegerArray
                               ? static_cast<const int64_t *>(pa)[i] == static_cast<const int64_t *>(pb)[i]
                               : same_text(static_cast<char *const *>(pa)[i], static_cast<char *const *>(pb)[i]);
                break;
            case Kind::Record:
                same = same_record(*f.nested, static_cast<const char *>(a) + f.offset,
                                   static_cast<const char *>(b) + f.offset);
                break;
            case Kind::RecordPointer:
                same = pa == nullptr ? pb == nullptr : pb != nullptr && same_record(*f.nested, pa, pb);
                break;
            case Kind::List:
                for (; same && pa != nullptr && pb != nullptr;
                     pa = at<const void *>(pa, 0), pb = at<const void *>(pb, 0))
                    same = same_record(*f.nested, pa, pb);
                same = same && pa == pb;
                break;
            case Kind::Union: {
                uint8_t tag = at<uint8_t>(a, f.tag_offset);
                same = tag == at<uint8_t>(b, f.tag_offset) &&
                       same_record(*f.members->types[tag - 1], static_cast<const char *>(a) + f.offset,
                                   static_cast<const char *>(b) + f.offset);
                break;
            }
        }
        if (!same) return false;
    }
    return true;
}

struct Outcome {
    int32_t status;
    void *out;
    std::string line;  // all errlen bytes of the buffer
};

Outcome decode(bool fast, const TypeDesc &type, const char *text, uint64_t errlen) {
    std::string buf(errlen, 'x');
    Outcome o{0, &sentinel, ""};
    o.status = (fast ? decode_export : decode_export_through_jansson)(type, &o.out, text, buf.data(), errlen);
    o.line = buf;
    return o;
}

Outcome encode(bool fast, const TypeDesc &type, const void *tree, int32_t pretty) {
    std::string buf(1024, 'x');
    char *text = &sentinel;
    Outcome o{(fast ? encode_export : encode_export_through_jansson)(type, tree, &text, buf.data(), buf.size(), pretty,
                                                                     "NULL"),
              nullptr, buf};
    if (text != &sentinel && text != nullptr) o.line += text;
    if (text != &sentinel) std::free(text);
    return o;
}

void encode_both_ways(const TypeDesc &type, const void *tree) {
    for (int32_t pretty : {0, 1}) {
        Outcome fast = encode(true, type, tree, pretty), slow = encode(false, type, tree, pretty);
        require(fast.status == slow.status && fast.line == slow.line, "encoding", type, fast.line, slow.line);
    }
}

// A place in a tree that can be damaged: a field of a record.
struct Site {
    const FieldDesc *field;
    char *record;
};

void collect(const TypeDesc &type, char *record, std::vector<Site> &sites) {
    for (const FieldDesc &f : std::span(type.fields, type.field_count)) {
        if (!f.required && record[f.present_offset] == 0) continue;
        sites.push_back({&f, record});
        char *value = record + f.offset;
        if (f.kind == Kind::Record) collect(*f.nested, value, sites);
        if (f.kind == Kind::RecordPointer && *reinterpret_cast<char **>(value))
            collect(*f.nested, *reinterpret_cast<char **>(value), sites);
        if (f.kind == Kind::Union)
            collect(*f.members->types[static_cast<uint8_t>(record[f.tag_offset]) - 1], value, sites);
        if (f.kind == Kind::List)
            for (char *node = *reinterpret_cast<char **>(value); node != nullptr;
                 node = *reinterpret_cast<char **>(node))
                collect(*f.nested, node, sites);
    }
}

// Damages the site in one of several ways, encodes both ways, and restores it.
void damage_and_encode(const TypeDesc &type, void *tree, const Site &site, unsigned how) {
    static const char *const texts[] = {
        nullptr, "\xc3\x28", "\xed\xa0\x80", "\xf4\x90\x80\x80", "Week", "\x01\"\\/\x7f\xe2\x82\xac"};
    const FieldDesc &f = *site.field;
    char *slot = site.record + (f.kind == Kind::Union                                         ? f.tag_offset
                                : f.kind == Kind::StringArray || f.kind == Kind::IntegerArray ? f.count_offset
                                                                                              : f.offset);
    const size_t width = f.kind == Kind::Union ? 1 : f.kind == Kind::Boolean ? 4 : 8;
    char saved[8];
    std::memcpy(saved, slot, width);
    switch (f.kind) {
        case Kind::String:
        case Kind::Enum: *reinterpret_cast<const char **>(slot) = texts[how % 6]; break;
        case Kind::Union: *reinterpret_cast<uint8_t *>(slot) = how % 2 ? 0 : 16; break;
        case Kind::StringArray:
        case Kind::IntegerArray: *reinterpret_cast<uint64_t *>(slot) = MAX_ARRAY_SZ + 1; break;
        case Kind::Integer: *reinterpret_cast<int64_t *>(slot) = INT64_MIN; break;
        case Kind::Boolean: *reinterpret_cast<int32_t *>(slot) = 7; break;
        default: return;
    }
    encode_both_ways(type, tree);
    std::memcpy(slot, saved, width);
}

// The findings of a checking walk, each as one comparable text, with the
// places the walk gave them.
struct Findings final : FaultLog {
    struct Found {
        std::string key;  // severity, note or not, pointer and line
        std::string pointer;
        bool missing, unknown;
        int64_t begin;
    };
    void add(const Fault &f) override {
        const char *kind = f.note ? "note" : f.unknown_property ? "warning" : "error";
        found.push_back({std::string(kind) + " " + f.pointer + " " + f.message + (f.hint ? f.hint : ""), f.pointer,
                         f.missing, f.unknown_property, f.begin});
    }
    void discard() override { found.clear(); }
    std::vector<std::string> keys() const {
        std::vector<std::string> all;
        for (const Found &f : found) all.push_back(f.key);
        std::sort(all.begin(), all.end());
        return all;
    }
    std::vector<Found> found;
};

std::string joined(const std::vector<std::string> &lines) {
    std::string all;
    for (const std::string &line : lines) all += line + "\n";
    return all;
}

// The checking walk over the reader against the one over jansson's tree;
// `export_status` and `export_line` are the export's outcome.
void check_both_ways(const TypeDesc &type, const std::string &text, int32_t export_status,
                     const std::string &export_line) {
    const WalkMode mode{.every_fault = true, .unknown_properties = true};
    Findings read, walked;
    const int32_t read_status = check_text(type, text.c_str(), read, mode);
    const int32_t walked_status = check_walk(type, text.c_str(), walked, mode);
    require(read_status == walked_status && read_status == export_status, "checking status", type,
            std::to_string(read_status), std::to_string(walked_status));
    require(read.keys() == walked.keys(), "findings", type, joined(read.keys()), joined(walked.keys()));
    bool has_line = false, has_error = false;
    for (const Findings::Found &f : read.found) {
        const bool error = f.key.starts_with("error ");
        has_error = has_error || error;
        has_line = has_line || (error && f.key.find(export_line) != std::string::npos);
    }
    require(has_error == (export_status != 0), "an error finding where the export accepts, or none where it refuses",
            type, joined(read.keys()));
    require(export_status == 0 || has_line, "the export's line among the findings", type, export_line,
            joined(read.keys()));
    // Where the reader placed a finding, the place its pointer names.
    std::vector<tool::PointerPlace> places;
    std::vector<int64_t> begins;
    for (const Findings::Found &f : read.found) {
        if (f.begin < 0) continue;
        places.push_back({f.pointer, f.missing, f.unknown});
        begins.push_back(f.begin);
    }
    if (places.empty()) return;
    tool::place_by_pointer(text, places);
    for (size_t i = 0; i < places.size(); ++i)
        require(static_cast<int64_t>(places[i].offset) == begins[i], "a finding's place", type,
                std::string(places[i].pointer) + " at " + std::to_string(begins[i]),
                "its pointer at " + std::to_string(places[i].offset));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    unsigned hash = 0;
    for (uint8_t byte : text) hash = hash * 31 + byte;
    // Every buffer length makes the same decision; the lengths that cut the
    // line (0, 1, 48) take turns by input.
    constexpr uint64_t short_errlens[] = {0, 1, 48};
    const uint64_t short_errlen = short_errlens[hash % 3];
    for (const TypeDesc *type : roots) {
        for (uint64_t errlen : {short_errlen, uint64_t{4096}}) {
            Outcome fast = decode(true, *type, text.c_str(), errlen), slow = decode(false, *type, text.c_str(), errlen);
            require(fast.status == slow.status && fast.line == slow.line &&
                        (fast.out == &sentinel) == (slow.out == &sentinel) &&
                        (fast.out == nullptr) == (slow.out == nullptr),
                    "decoding", *type, fast.line, slow.line);
            if (errlen == 4096) check_both_ways(*type, text.c_str(), fast.status, fast.line.c_str());
            if (fast.status == 0) {
                require(same_record(*type, fast.out, slow.out), "tree", *type);
                if (errlen == 4096) {
                    encode_both_ways(*type, fast.out);
                    std::vector<Site> sites;
                    collect(*type, static_cast<char *>(fast.out), sites);
                    for (unsigned k = 0; k < 4 && !sites.empty(); ++k)
                        damage_and_encode(*type, fast.out, sites[(hash + k * 7919) % sites.size()], hash / 7 + k);
                }
                free_export(*type, fast.out);
                free_export(*type, slow.out);
            }
        }
    }
    return 0;
}
