// Reporting the findings of a walk: the enum message, built from the
// allowed texts, the warning of an unknown property, and the fault log of a
// checking walk, which receives each finding with the JSON Pointer of its
// place; and the findings kept past their walk (kept_faults.h).
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "engine_internal.h"
#include "kept_faults.h"

namespace jsoncodec {

namespace detail {

namespace {

// The JSON Pointer of the place (path, index, name) names, in a block of its
// own: NULL when there is no room for it, and the finding is then placed at
// the whole document.
char *pointer_to(path_node *path, int32_t index, const char *name) {
    const uint64_t length = format_pointer(nullptr, 0, path, index, name);
    char *pointer = static_cast<char *>(std::malloc(length + 1));
    if (pointer != nullptr) format_pointer(pointer, length + 1, path, index, name);
    return pointer;
}

}  // namespace

void log_fault(FaultSink sink, int32_t code, path_node *path, int32_t index, const char *name, bool missing,
               const char *hint) {
    // The schema's property names and nesting keep a fault's pointer well
    // within `near`, so a fault costs no allocation that could fail; a longer
    // one (a table nested deeper) takes a block of its own.
    char near[512];
    char *pointer = near;
    if (format_pointer(near, sizeof near, path, index, name) >= sizeof near) pointer = pointer_to(path, index, name);
    Fault fault{code, sink.len != 0 ? sink.buf : "", pointer != nullptr ? pointer : "", missing, hint, 0, 0};
    fault.begin = sink.begin;
    fault.end = sink.end;
    fault.order = sink.order;
    fault.order_length = sink.order_length;
    sink.log->add(fault);
    if (pointer != near) std::free(pointer);
}

namespace {

// The path of the record `node` names from the document's root, through the
// trial of a union's member as through any record: a trial's own root node,
// which hangs under the union's node, is not shown.
void append_record_path(BoundedText &text, const path_node *node) {
    if (node->parent != nullptr) append_record_path(text, node->parent);
    if (node->index == PATH_ROOT && node->parent != nullptr) return;
    append_node(text, node);
}

}  // namespace

void report_unknown(FaultSink sink, const TypeDesc &type, const char *key, path_node *path) {
    Suggestion suggestion;
    for (uint32_t i = 0; i < type.field_count; ++i) suggestion.consider(type.fields[i].name, key);
    char detail[DETAIL_SIZE], line[FAULT_LINE_SIZE];
    bounded_format(detail, sizeof detail, UNKNOWN_PROPERTY, key, type.name);
    BoundedText text(line, sizeof line);
    append_record_path(text, path);
    text.append(": ");
    text.append(detail);
    char *pointer = pointer_to(path, PATH_FIELD, key);
    Fault warning{RMQC_OK, line, pointer != nullptr ? pointer : "", false, suggestion.best, 0, 0};
    warning.unknown_property = true;
    warning.begin = sink.begin;
    warning.end = sink.end;
    sink.log->add(warning);
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

// Kept findings (kept_faults.h).

namespace jsoncodec::detail {

namespace {

char *copy_text(const char *text) {
    const size_t length = std::strlen(text);
    char *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy != nullptr) std::memcpy(copy, text, length + 1);
    return copy;
}

// Whether the place `a` comes before `b` in record order: the first
// position that differs decides, and a place before the places within it.
bool before(const Fault &a, const Fault &b) {
    for (uint32_t i = 0; i < a.order_length && i < b.order_length; ++i)
        if (a.order[i] != b.order[i]) return a.order[i] < b.order[i];
    return a.order_length < b.order_length;
}

}  // namespace

KeptFaults::~KeptFaults() {
    for (uint32_t i = 0; i < size_; ++i) {
        std::free(const_cast<char *>(items_[i].fault.message));
        std::free(const_cast<char *>(items_[i].fault.pointer));
        std::free(const_cast<char *>(items_[i].fault.full));
    }
    std::free(items_);
}

bool KeptFaults::keep(const Fault &fault) {
    if (size_ == capacity_) {
        const uint32_t capacity = capacity_ != 0 ? capacity_ * 2 : 8;
        auto *grown = static_cast<Item *>(std::realloc(items_, capacity * sizeof(Item)));
        if (grown == nullptr) return false;
        items_ = grown;
        capacity_ = capacity;
        // Each copy's place in record order is its own array, which moved.
        for (uint32_t i = 0; i < size_; ++i) items_[i].fault.order = items_[i].order;
    }
    Item &item = items_[size_];
    item.fault = fault;
    char *message = copy_text(fault.message), *pointer = copy_text(fault.pointer);
    char *full = fault.full != nullptr ? copy_text(fault.full) : nullptr;
    if (message == nullptr || pointer == nullptr || (full == nullptr && fault.full != nullptr)) {
        std::free(message);
        std::free(pointer);
        std::free(full);
        return false;
    }
    item.fault.message = message;
    item.fault.pointer = pointer;
    item.fault.full = full;
    item.fault.order_length = fault.order_length < ORDER_DEPTH ? fault.order_length : ORDER_DEPTH;
    if (item.fault.order_length != 0)
        std::memcpy(item.order, fault.order, item.fault.order_length * sizeof item.order[0]);
    item.fault.order = item.order;
    ++size_;
    return true;
}

void KeptFaults::replay(FaultLog &log) const {
    for (uint32_t i = 0; i < size_; ++i) log.add(items_[i].fault);
}

int32_t UnionFault::report(FaultSink outer, path_node *path, const char *name, const char *hint, const char *kinds,
                           bool notes) const {
    uint32_t first = kept_.size();
    for (uint32_t i = 0; i < kept_.size(); ++i)
        if (!kept_[i].note && (first == kept_.size() || before(kept_[i], kept_[first]))) first = i;
    if (first == kept_.size()) return RMQC_OK;
    const Fault &member = kept_[first];
    // The member's line as a trial's private buffer holds it, then the union's.
    char cut[TRIAL_BUFFER_SIZE], line[TRIAL_BUFFER_SIZE];
    bounded_format(cut, sizeof cut, "%s", member.message);
    bounded_format(line, sizeof line, text::union_closest, cut);
    report_error(line, RMQC_ERR_DECODE, outer.buf, outer.len, path, PATH_FIELD, name);
    // The failure that decided, in full: the member's own, or the one its
    // own union passed on. A line cut by the fixed length lacks it.
    const char *cause = member.full != nullptr ? member.full : member.message;
    Fault passed = member;
    passed.status = RMQC_ERR_DECODE;
    passed.message = outer.len != 0 ? outer.buf : "";
    passed.full = cause;  // a fault, not a note, as `member` is
    if (hint != nullptr) passed.hint = hint;
    passed.order = outer.order;
    passed.order_length = outer.order_length;
    outer.log->add(passed);
    if (!notes) return RMQC_ERR_DECODE;
    auto note = [&](const Fault &fault, const char *message, bool placed) {
        Fault told = fault;
        told.note = true;
        told.message = message;
        told.full = nullptr;
        if (!placed) told.begin = told.end = -1;
        outer.log->add(told);
    };
    if (outer.len != 0 && std::strstr(outer.buf, cause) == nullptr) {
        char whole[FAULT_LINE_SIZE];
        bounded_format(whole, sizeof whole, "closest failure in full: %s", cause);
        note(member, whole, true);
    }
    // A discriminator that names no member says what it may name; the other
    // faults of a member it did not name would only mislead.
    if (kinds != nullptr) {
        note(passed, kinds, false);
        return RMQC_ERR_DECODE;
    }
    for (uint32_t i = 0; i < kept_.size(); ++i)
        if (i != first) note(kept_[i], kept_[i].message, true);
    return RMQC_ERR_DECODE;
}

}  // namespace jsoncodec::detail
