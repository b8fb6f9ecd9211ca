// The properties a document holds that no record type knows: the codec
// ignores them, as it must, and a checking walk that asks for them reports
// them as warnings, so that a misspelt key is not lost without a word.
//
// They are found after the walk, by going down the tree it decoded beside
// the document it read: the tree says which records were decoded and, in a
// union, which member; the document says which keys each record's object
// holds.
#include <cstdlib>
#include <cstring>

#include "engine_internal.h"
#include "faults.h"

namespace jsoncodec {

namespace {

using namespace detail;

void report(const TypeDesc &type, const char *key, path_node *path, FaultLog &log) {
    Suggestion suggestion;
    for (uint32_t i = 0; i < type.field_count; ++i) suggestion.consider(type.fields[i].name, key);
    char place[FAULT_LINE_SIZE], detail[DETAIL_SIZE], line[FAULT_LINE_SIZE];
    format_path(place, sizeof place, path, 0, nullptr);
    bounded_format(detail, sizeof detail, UNKNOWN_PROPERTY, key, type.name);
    BoundedText text(line, sizeof line);
    text.append(place);
    text.append(": ");
    text.append(detail);
    // Without room for the pointer the warning is placed at the whole document.
    const uint64_t length = format_pointer(nullptr, 0, path, PATH_FIELD, key);
    char *pointer = static_cast<char *>(std::malloc(length + 1));
    if (pointer != nullptr) format_pointer(pointer, length + 1, path, PATH_FIELD, key);
    Fault warning{RMQC_OK, line, pointer != nullptr ? pointer : "", false, suggestion.best, 0, 0};
    warning.unknown_property = true;
    log.add(warning);
    std::free(pointer);
}

}  // namespace

void report_unknown_properties(const TypeDesc &type, const void *record, const json_t *object, path_node *path,
                               FaultLog &log) {
    if (!json_is_object(object)) return;
    const char *key;
    json_t *value;
    json_object_foreach(const_cast<json_t *>(object), key, value) {
        if (!has_property(type, key)) report(type, key, path, log);
    }

    path_node self = enter_node(path);
    path->child = &self;
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        if (!is_present(field, record)) continue;
        const json_t *item = json_object_get(object, field.name);
        const void *slot = field_address(record, field);
        name_node(&self, field.name, PATH_FIELD);
        switch (field.kind) {
            case Kind::Record: report_unknown_properties(*field.nested, slot, item, &self, log); break;
            case Kind::RecordPointer:
                if (const void *nested = load_pointer(slot))
                    report_unknown_properties(*field.nested, nested, item, &self, log);
                break;
            case Kind::List: {
                // Elements are linked as they are decoded, in the array's order.
                const void *node = load_pointer(slot);
                for (size_t k = 0; node != nullptr && k < json_array_size(item); ++k) {
                    name_node(&self, field.name, static_cast<int32_t>(k));
                    report_unknown_properties(*field.nested, node, json_array_get(item, k), &self, log);
                    node = load_pointer(static_cast<const char *>(node) + field.nested->next_offset);
                }
                break;
            }
            case Kind::Union: {
                if (const TypeDesc *member = selected_member(field, record))
                    report_unknown_properties(*member, slot, item, &self, log);
                break;
            }
            default: break;
        }
    }
    path->child = nullptr;
}

}  // namespace jsoncodec
