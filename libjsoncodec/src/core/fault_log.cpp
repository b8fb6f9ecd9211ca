// Reporting the faults of a walk: the enum message, built from the allowed
// texts, and the fault log of a checking walk, which receives each fault
// with the JSON Pointer of its place.
#include <algorithm>
#include <cstdlib>

#include "engine_internal.h"

namespace jsoncodec {

namespace detail {

void log_fault(FaultSink sink, int32_t code, path_node *path, int32_t index, const char *name, bool missing,
               const char *hint) {
    // Without room for the pointer the fault is placed at the whole document.
    uint64_t length = format_pointer(nullptr, 0, path, index, name);
    char *pointer = static_cast<char *>(std::malloc(length + 1));
    if (pointer != nullptr) format_pointer(pointer, length + 1, path, index, name);
    sink.log->add(Fault{code, sink.len != 0 ? sink.buf : "", pointer != nullptr ? pointer : "", missing, hint, 0, 0});
    std::free(pointer);
}

int32_t report_enum(int32_t code, FaultSink sink, path_node *node, const EnumDesc &allowed, const char *text) {
    // "String based enum fails to match one of: [ 'a', 'b' ]. "
    if (sink.len == 0 && sink.log == nullptr) return code;
    char detail[DETAIL_SIZE];
    BoundedText list(detail, sizeof detail);
    list.append(text::enum_head);
    for (uint32_t i = 0; i < allowed.count; ++i) {
        if (i > 0) list.append(", ");
        list.put('\'');
        list.append(allowed.values[i]);
        list.put('\'');
    }
    list.append(text::enum_tail);
    Suggestion suggestion;
    if (sink.log != nullptr && text != nullptr) suggestion.consider(allowed, text);
    return report_fixed(code, sink, node, 0, nullptr, detail, false, suggestion.best);
}

}  // namespace detail

using namespace detail;

int32_t check_enum(const EnumDesc &allowed, const char *text, int32_t code, char *errbuf, uint64_t errlen,
                   path_node *node) {
    if (enum_allows(allowed, text)) return RMQC_OK;
    return report_enum(code, FaultSink{errbuf, errlen}, node, allowed, text);
}

}  // namespace jsoncodec
