// Writing record tables.
//
// A record type is declared once, as a table of its properties in record
// order, with one macro per property:
//
//   constexpr FieldDesc rule_fields[] = {
//       JC_STRING(rule, ruleName, REQUIRED),
//       JC_STRING(rule, ruleComment, OPTIONAL),
//       JC_LIST(rule, ruleItem_Definitions, OPTIONAL, item_definition, item_definition_desc),
//   };
//   extern constexpr TypeDesc rule_desc = JC_TYPE(rule, rule_fields);
//
// Every macro checks at compile time that the field, its presence flag
// (`<P>_present`, OPTIONAL only) and its count (`<P>_array_sz`, arrays only)
// have the C types of the property's kind, and JC_TYPE checks that the table
// follows the record's declaration order (values, then flags, then counts
// in byte-wise order of their names).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>
#include <utility>

#include "codec.h"

namespace jsoncodec::table {

// Called only when a table fails a check. These functions are not constexpr,
// so reaching one stops the compile-time evaluation of the table and the
// compiler names the check that failed.
void properties_are_not_in_record_order();
void presence_flags_are_not_in_property_order();
void array_counts_are_not_in_name_order();
void list_element_link_must_be_the_first_field();
void record_has_more_properties_than_a_record_may_have();

template <class Expected, class Actual>
consteval uint32_t checked_offset(std::size_t offset) {
    static_assert(std::is_same_v<Expected, Actual>, "the field's C type does not fit its kind");
    return static_cast<uint32_t>(offset);
}

template <class Expected, class Actual>
consteval const TypeDesc *union_member(const TypeDesc *desc) {
    static_assert(std::is_same_v<Expected, Actual>, "union members are named as their record types");
    return desc;
}

constexpr int compare_names(const char *a, const char *b) {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

// The positions of a table's properties in byte-wise order of their names,
// for finding a property by name without a scan of the table.
template <const auto &Fields>
inline constexpr auto name_order = [] {
    std::array<uint8_t, std::size(Fields)> order{};
    for (std::size_t i = 0; i < order.size(); ++i) {
        std::size_t j = i;
        for (; j > 0 && compare_names(Fields[order[j - 1]].name, Fields[i].name) > 0; --j) order[j] = order[j - 1];
        order[j] = static_cast<uint8_t>(i);
    }
    return order;
}();

template <std::size_t N>
consteval TypeDesc type_desc(const char *name, std::size_t size, uint32_t next_offset, const FieldDesc (&fields)[N],
                             const uint8_t *by_name) {
    if (next_offset != NO_OFFSET && next_offset != 0) list_element_link_must_be_the_first_field();
    if (N > MAX_FIELDS) record_has_more_properties_than_a_record_may_have();
    const FieldDesc *last_flag = nullptr;
    for (std::size_t i = 0; i < N; ++i) {
        const FieldDesc &f = fields[i];
        if (i > 0 && f.offset <= fields[i - 1].offset) properties_are_not_in_record_order();
        if (f.present_offset != NO_OFFSET) {
            if (last_flag != nullptr && f.present_offset <= last_flag->present_offset)
                presence_flags_are_not_in_property_order();
            last_flag = &f;
        }
        if (f.kind != Kind::StringArray && f.kind != Kind::IntegerArray) continue;
        for (std::size_t j = 0; j < i; ++j) {
            const FieldDesc &g = fields[j];
            if (g.kind != Kind::StringArray && g.kind != Kind::IntegerArray) continue;
            if ((g.count_offset < f.count_offset) != (compare_names(g.name, f.name) < 0))
                array_counts_are_not_in_name_order();
        }
    }
    uint64_t required = 0;
    for (std::size_t i = 0; i < N; ++i)
        if (fields[i].required) required |= uint64_t{1} << i;
    const auto count = static_cast<uint32_t>(N);
    return TypeDesc{name, static_cast<uint32_t>(size), next_offset, fields, count, by_name, required};
}

}  // namespace jsoncodec::table

#define JSONCODEC_IS_REQUIRED_REQUIRED true
#define JSONCODEC_IS_REQUIRED_OPTIONAL false
#define JSONCODEC_FLAG_REQUIRED(T, f) ::jsoncodec::NO_OFFSET
#define JSONCODEC_FLAG_OPTIONAL(T, f) \
    ::jsoncodec::table::checked_offset<uint8_t, decltype(T::f##_present)>(offsetof(T, f##_present))
#define JSONCODEC_COUNT(T, f) \
    ::jsoncodec::table::checked_offset<uint64_t, decltype(T::f##_array_sz)>(offsetof(T, f##_array_sz))

// presence is REQUIRED or OPTIONAL. (clang-format cannot read a braced
// initialiser in a macro.)
// clang-format off
#define JSONCODEC_FIELD(T, f, kind, presence, ctype, count, tag, allowed, nested, members)                      \
    ::jsoncodec::FieldDesc {                                                                                 \
        #f, static_cast<uint8_t>(sizeof #f - 1), ::jsoncodec::Kind::kind, JSONCODEC_IS_REQUIRED_##presence,  \
            ::jsoncodec::table::checked_offset<ctype, decltype(T::f)>(offsetof(T, f)),                       \
            JSONCODEC_FLAG_##presence(T, f), count, tag, allowed, nested, members                            \
    }
// clang-format on

#define JC_STRING(T, f, presence)                                                                                     \
    JSONCODEC_FIELD(T, f, String, presence, char *, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, nullptr, \
                    nullptr)
#define JC_ENUM(T, f, presence, allowed)                                                                               \
    JSONCODEC_FIELD(T, f, Enum, presence, char *, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, &(allowed), nullptr, \
                    nullptr)
#define JC_BOOLEAN(T, f, presence)                                                                             \
    JSONCODEC_FIELD(T, f, Boolean, presence, int32_t, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, \
                    nullptr, nullptr)
#define JC_INTEGER(T, f, presence)                                                                             \
    JSONCODEC_FIELD(T, f, Integer, presence, int64_t, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, \
                    nullptr, nullptr)
#define JC_STRING_ARRAY(T, f, presence)                                                                           \
    JSONCODEC_FIELD(T, f, StringArray, presence, char **, JSONCODEC_COUNT(T, f), ::jsoncodec::NO_OFFSET, nullptr, \
                    nullptr, nullptr)
#define JC_INTEGER_ARRAY(T, f, presence)                                                                             \
    JSONCODEC_FIELD(T, f, IntegerArray, presence, int64_t *, JSONCODEC_COUNT(T, f), ::jsoncodec::NO_OFFSET, nullptr, \
                    nullptr, nullptr)
// A nested record of type X embedded in T.
#define JC_RECORD(T, f, presence, X, desc)                                                                       \
    JSONCODEC_FIELD(T, f, Record, presence, X, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, &(desc), \
                    nullptr)
// A nested record of type X held by an owned pointer.
#define JC_RECORD_POINTER(T, f, presence, X, desc)                                                               \
    JSONCODEC_FIELD(T, f, RecordPointer, presence, X *, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, \
                    &(desc), nullptr)
// A list of records of type X (a list element type) chained through `next`.
#define JC_LIST(T, f, presence, X, desc)                                                                         \
    JSONCODEC_FIELD(T, f, List, presence, X *, ::jsoncodec::NO_OFFSET, ::jsoncodec::NO_OFFSET, nullptr, &(desc), \
                    nullptr)
// The union property u of wrapper W: storage `u`, tag `u_type`.
#define JC_UNION(W, u, members)                                                                                  \
    JSONCODEC_FIELD(W, u, Union, REQUIRED, decltype(W::u), ::jsoncodec::NO_OFFSET,                               \
                    (::jsoncodec::table::checked_offset<uint8_t, decltype(W::u##_type)>(offsetof(W, u##_type))), \
                    nullptr, nullptr, &(members))
// One member of union u of wrapper W: the storage member named A holds a record A.
#define JC_UNION_MEMBER(W, u, A, desc) \
    ::jsoncodec::table::union_member<A, std::remove_cvref_t<decltype(std::declval<W &>().u.A)>>(&(desc))

#define JC_TYPE(T, fields)                                                       \
    ::jsoncodec::table::type_desc(#T, sizeof(T), ::jsoncodec::NO_OFFSET, fields, \
                                  ::jsoncodec::table::name_order<fields>.data())
#define JC_LIST_ELEMENT_TYPE(T, fields)                                                                          \
    ::jsoncodec::table::type_desc(#T, sizeof(T),                                                                 \
                                  ::jsoncodec::table::checked_offset<T *, decltype(T::next)>(offsetof(T, next)), \
                                  fields, ::jsoncodec::table::name_order<fields>.data())

// An enum's allowed texts, in the order they are compared and listed.
#define JC_ENUM_VALUES(name, ...)                                \
    constexpr const char *const name##_values[] = {__VA_ARGS__}; \
    constexpr ::jsoncodec::EnumDesc name { name##_values, static_cast<uint32_t>(std::size(name##_values)) }

// A union's members, in trial order.
#define JC_UNION_MEMBERS(name, ...)                                                \
    constexpr const ::jsoncodec::TypeDesc *const name##_members[] = {__VA_ARGS__}; \
    constexpr ::jsoncodec::UnionDesc name { name##_members, static_cast<uint32_t>(std::size(name##_members)) }

// The typed entry points decode_<T> and encode_<T>, thin calls of the engine.
#define JC_DECLARE_CODEC_ROUTINES(T)                                                                            \
    int32_t decode_##T(const json_t *value, T **out_new, T *into, int32_t depth, char *errbuf, uint64_t errlen, \
                       ::jsoncodec::path_node *path, uint32_t *match_count);                                    \
    int32_t encode_##T(json_t **out, const T *src, int32_t depth, char *errbuf, uint64_t errlen,                \
                       ::jsoncodec::path_node *path);
#define JC_DEFINE_CODEC_ROUTINES(T, desc)                                                                        \
    int32_t decode_##T(const json_t *value, T **out_new, T *into, int32_t depth, char *errbuf, uint64_t errlen,  \
                       ::jsoncodec::path_node *path, uint32_t *match_count) {                                    \
        return ::jsoncodec::decode_record(desc, value, out_new, into, depth, errbuf, errlen, path, match_count); \
    }                                                                                                            \
    int32_t encode_##T(json_t **out, const T *src, int32_t depth, char *errbuf, uint64_t errlen,                 \
                       ::jsoncodec::path_node *path) {                                                           \
        return ::jsoncodec::encode_record(desc, out, src, depth, errbuf, errlen, path);                          \
    }
// An internal release routine `name` of type T.
#define JC_DEFINE_RELEASE_ROUTINE(name, T, desc) \
    void name(T *record) { ::jsoncodec::release_record(desc, record); }

// decode_<T>, encode_<T> and the release routine destroy_<T> of an internal
// record type.
#define JC_DECLARE_ROUTINES(T)   \
    JC_DECLARE_CODEC_ROUTINES(T) \
    void destroy_##T(T *record);
#define JC_DEFINE_ROUTINES(T, desc)   \
    JC_DEFINE_CODEC_ROUTINES(T, desc) \
    JC_DEFINE_RELEASE_ROUTINE(destroy_##T, T, desc)
