// Record types and properties of the places in a document (see
// schema_map.h).
#include "schema_map.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "action_schema.h"
#include "policy_schema.h"
#include "root_types.h"
#include "rule_schema.h"

namespace tool::lsp {
namespace {

struct Root {
    std::string_view name;
    const TypeDesc *desc;
    const char *name_property;
};
#define ROOT_ENTRY(T, name_property, short_name) {#T, &jsoncodec::T##_desc, name_property},
const Root roots[] = {JSONCODEC_ROOT_TYPES(ROOT_ENTRY)};
#undef ROOT_ENTRY

bool same_ignoring_case(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// Edits between `a` and `b`, which differ, a difference of case alone
// being one; SIZE_MAX past `limit`.
size_t distance(std::string_view a, std::string_view b, size_t limit) {
    if (same_ignoring_case(a, b)) return 1;
    if ((a.size() > b.size() ? a.size() - b.size() : b.size() - a.size()) > limit) return SIZE_MAX;
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({above + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()] <= limit ? row[b.size()] : SIZE_MAX;
}

}  // namespace

const TypeDesc *root_desc(std::string_view name) {
    for (const Root &root : roots)
        if (root.name == name) return root.desc;
    return nullptr;
}

const TypeDesc *guess_root(const Node &root) {
    // An array, a scalar or an object whose members were not read has none.
    for (const Member &member : root.members)
        for (const Root &candidate : roots)
            if (candidate.name_property != nullptr && member.key == candidate.name_property) return candidate.desc;
    size_t best = 0;
    const TypeDesc *chosen = nullptr;
    for (const Root &candidate : roots) {
        size_t score = 0;
        for (const Member &member : root.members)
            if (find_field(*candidate.desc, member.key) != nullptr) ++score;
        if (score > best) best = score, chosen = candidate.desc;
    }
    return chosen;
}

const FieldDesc *find_field(const TypeDesc &type, std::string_view name) {
    for (uint32_t i = 0; i < type.field_count; ++i)
        if (name == type.fields[i].name) return &type.fields[i];
    return nullptr;
}

const FieldDesc *union_discriminator(const UnionDesc &members) {
    return jsoncodec::discriminator(*members.types[0]);  // a union's members are an array: one at least
}

RecordAt record_of(const FieldDesc *field, const Node &child) {
    RecordAt record;
    if (field == nullptr) return record;
    if (field->kind != jsoncodec::Kind::Union) {
        record.type = field->nested;  // set for a record, a record pointer and a list alone
        return record;
    }
    // Every member of a union has its discriminator.
    record.choices = field->members;
    const Member *given = child.member(union_discriminator(*field->members)->name);
    if (given != nullptr && given->value.type == Node::Type::string) {
        for (uint32_t k = 0; k < field->members->count && record.type == nullptr; ++k) {
            const FieldDesc *own = jsoncodec::discriminator(*field->members->types[k]);
            if (jsoncodec::enum_allows(*own->allowed, given->value.text.c_str()))
                record.type = field->members->types[k];
        }
    }
    return record;
}

Cursor locate(const Node &root, const TypeDesc *type, size_t offset) {
    Cursor cursor;
    // A container that holds the offset has its members read.
    if (root.type != Node::Type::object || !root.holds(offset)) return cursor;
    const Node *object = &root;
    RecordAt record{type, nullptr};
    for (;;) {
        const Member *before = nullptr;
        const Node *inner = nullptr;
        RecordAt inner_record;
        for (const Member &member : object->members) {
            if (member.key_begin <= offset && offset <= member.key_end) {
                cursor = {Cursor::Where::key, object, &member, record, member.key_begin, member.key_end};
                return cursor;
            }
            const Node &value = member.value;
            const FieldDesc *field = record.type != nullptr ? find_field(*record.type, member.key) : nullptr;
            if (value.holds(offset)) {
                if (!value.expanded) return cursor;
                if (value.type == Node::Type::object) {
                    inner = &value;
                } else {
                    for (const Node &item : value.items)
                        if (item.type == Node::Type::object && item.expanded && item.holds(offset)) inner = &item;
                    if (inner == nullptr) return cursor;
                }
                inner_record = record_of(field, *inner);
                break;
            }
            const bool scalar = value.type != Node::Type::object && value.type != Node::Type::array;
            if (scalar && value.type != Node::Type::missing && value.begin <= offset && offset <= value.end) {
                cursor = {Cursor::Where::value, object, &member, record, value.begin, value.end};
                return cursor;
            }
            if (member.key_end <= offset) before = &member;
        }
        if (inner != nullptr) {
            object = inner;
            record = inner_record;
            continue;
        }
        // Between members: the value of a key whose colon comes before the
        // cursor and whose value does not, else a new key.
        if (before != nullptr && before->colon != SIZE_MAX && before->colon < offset &&
            (before->value.type == Node::Type::missing || offset <= before->value.begin)) {
            cursor = {Cursor::Where::value, object, before, record, offset, offset};
        } else {
            cursor = {Cursor::Where::key, object, nullptr, record, offset, offset};
        }
        return cursor;
    }
}

std::vector<std::string_view> rank_names(std::string_view text, const std::vector<std::string_view> &candidates,
                                         size_t most) {
    const size_t limit = std::max<size_t>(2, text.size() / 4);
    std::vector<std::pair<size_t, size_t>> scored;  // (distance, position)
    for (size_t i = 0; i < candidates.size(); ++i) {
        const size_t d = distance(text, candidates[i], limit);
        if (d != SIZE_MAX) scored.emplace_back(d, i);
    }
    std::stable_sort(scored.begin(), scored.end());
    std::vector<std::string_view> ranked;
    for (size_t i = 0; i < scored.size() && ranked.size() < most; ++i) ranked.push_back(candidates[scored[i].second]);
    return ranked;
}

std::string kind_words(const FieldDesc &field) {
    using jsoncodec::Kind;
    switch (field.kind) {
        case Kind::String: return "string";
        case Kind::Enum: return "enum";
        case Kind::Boolean: return "boolean";
        case Kind::Integer: return "integer";
        case Kind::StringArray: return "array of strings";
        case Kind::IntegerArray: return "array of integers";
        case Kind::Record:
        case Kind::RecordPointer: return std::string("record ") + field.nested->name;
        case Kind::List: return std::string("array of ") + field.nested->name;
        default: break;  // Kind::Union
    }
    return std::string("one of ") + std::to_string(field.members->count) + " records by " +
           union_discriminator(*field.members)->name;
}

}  // namespace tool::lsp
