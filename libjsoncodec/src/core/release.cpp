// Releasing a record: what its presence flags, counts and union tags say
// it owns, property kind by property kind.
#include <cstdlib>
#include <cstring>

#include "engine_internal.h"

namespace jsoncodec {

using namespace detail;

void release_record(const TypeDesc &type, void *record) {
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        // Optional properties own something only when flagged.
        if (!is_present(field, record)) continue;
        void *slot = field_address(record, field);
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum:
            case Kind::IntegerArray: std::free(load_pointer(slot)); break;
            case Kind::Boolean:
            case Kind::Integer: break;
            case Kind::StringArray: {
                auto **block = static_cast<char **>(load_pointer(slot));
                if (block != nullptr) {
                    uint64_t size = at<uint64_t>(record, field.count_offset);
                    for (uint64_t k = 0; k < size; ++k) std::free(block[k]);
                }
                std::free(block);
                break;
            }
            case Kind::Record: release_record(*field.nested, slot); break;
            case Kind::RecordPointer:
                if (void *nested = load_pointer(slot)) {
                    release_record(*field.nested, nested);
                    std::free(nested);
                }
                break;
            case Kind::List:
                for (void *node = load_pointer(slot); node != nullptr;) {
                    void *next = load_pointer(static_cast<char *>(node) + field.nested->next_offset);
                    release_record(*field.nested, node);
                    std::free(node);
                    node = next;
                }
                break;
            case Kind::Union: {
                // An out-of-range tag releases nothing of the storage.
                if (const TypeDesc *member = selected_member(field, record)) release_record(*member, slot);
                break;
            }
        }
    }
    std::memset(record, 0, type.size);
}

}  // namespace jsoncodec
