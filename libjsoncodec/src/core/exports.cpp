// The exports' common code: argument checks, parsing, the root path node,
// release of partial trees, serialisation.
#include "exports.h"

#include <cstdlib>
#include <cstring>

#include "encoder.h"
#include "faults.h"
#include "jsoncodec.h"
#include "text_output.h"

namespace jsoncodec {

namespace {

// Where the serialiser writes the text: a buffer from jansson's own
// allocator, so that the caller releases the text with jansson's
// deallocator as for any text jansson made.
//
// jansson does not check every write of its serialiser (a failed write of an
// object key is skipped and the rest of the text goes on), so a text built
// through its own buffer can come back with a hole in it when memory runs
// out. Here the first failed write is remembered and refuses every later one,
// and the text is handed out only when every write succeeded.
struct DumpBuffer {
    json_malloc_t alloc = nullptr;
    json_free_t release = nullptr;
    char *text = nullptr;
    size_t length = 0;
    size_t capacity = 0;
    bool failed = false;
};

int append_text(const char *bytes, size_t size, void *data) {
    DumpBuffer &sink = *static_cast<DumpBuffer *>(data);
    if (sink.failed) return -1;
    if (sink.capacity - sink.length <= size) {  // keep one byte for the NUL
        // Doubling cannot overflow: the text so far and the piece are both
        // in memory, so twice their sum is far below SIZE_MAX.
        size_t capacity = sink.capacity != 0 ? sink.capacity : 1024;
        while (capacity - sink.length <= size) capacity *= 2;
        char *grown = static_cast<char *>(sink.alloc(capacity));
        if (grown == nullptr) {
            sink.failed = true;
            return -1;
        }
        // jansson never hands NULL to a program's own release function.
        if (sink.text != nullptr) {
            std::memcpy(grown, sink.text, sink.length);
            sink.release(sink.text);
        }
        sink.text = grown;
        sink.capacity = capacity;
    }
    std::memcpy(sink.text + sink.length, bytes, size);
    sink.length += size;
    return 0;
}

// The text of `value`, NUL-terminated, or NULL when it could not be made.
char *serialise(const json_t *value, size_t flags) {
    DumpBuffer sink;
    json_get_alloc_funcs(&sink.alloc, &sink.release);
    // A write that failed fails the dump; a record's object is never empty
    // text ("{}" at least), so a dump that succeeded wrote into a block.
    if (json_dump_callback(value, append_text, &sink, flags) != 0) {
        if (sink.text != nullptr) sink.release(sink.text);
        return nullptr;
    }
    sink.text[sink.length] = '\0';
    // Doubling can leave up to half the buffer unused; a text that wastes
    // more than a quarter of its size is moved into a block that fits (when
    // that block cannot be had, the larger one serves as well).
    if (sink.capacity - sink.length > sink.length / 4 + 1) {
        if (char *fitted = static_cast<char *>(sink.alloc(sink.length + 1))) {
            std::memcpy(fitted, sink.text, sink.length + 1);
            sink.release(sink.text);
            sink.text = fitted;
        }
    }
    return sink.text;
}

// rmqc_json_to_<T>, with or without the one-pass reader's attempt first; a
// walk with a log reports to it as `mode` says.
int32_t decode_document(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen, bool fast,
                        FaultLog *log = nullptr, const WalkMode &mode = WalkMode{}) {
    path_node root = root_node(type.name);
    uint32_t match_count = 0;
    if (errbuf == nullptr) errlen = 0;  // no buffer, no text
    if (errlen != 0) errbuf[0] = '\0';
    if (out == nullptr)
        return report_error("Output parameter cannot be NULL", RMQC_ERR_BAD_ARGS, errbuf, errlen, &root, 0, nullptr);

    void *tree = nullptr;
    if (fast && json != nullptr) {
        // With a log, the reader's walk counts only when it decodes in full:
        // jansson's path gives the status, the line and the first fault of
        // any other text, as for the exports.
        if (log == nullptr ? read_record_text(type, json, &tree)
                           : read_record_logged(type, json, &tree, errbuf, errlen, *log, mode) == RMQC_OK) {
            store_pointer(out, tree);
            return RMQC_OK;
        }
        if (log != nullptr) {
            log->discard();
            if (errlen != 0) errbuf[0] = '\0';
        }
    }

    json_error_t error;
    json_t *document = json_loads(json, JSON_REJECT_DUPLICATES, &error);
    if (document == nullptr) {
        // The caller's *out is not written on this path.
        char detail[200];
        bounded_format(detail, sizeof detail, "JSON parsing error: %s in %s line: %d col: %d\n", error.text,
                       error.source, error.line, error.column);
        report_error(detail, RMQC_ERR_DECODE, errbuf, errlen, &root, 0, nullptr);
        if (log != nullptr) {
            Fault fault{RMQC_ERR_DECODE, errlen != 0 ? errbuf : "", "", false, nullptr, error.line, error.column};
            fault.parse_code = json_error_code(&error);
            fault.parse_position = error.position;
            log->add(fault);
        }
        return RMQC_ERR_DECODE;
    }

    int32_t status = decode_record(type, document, out, nullptr, 0, errbuf, errlen, &root, &match_count, mode, log);
    if (status != RMQC_OK) {
        free_export(type, load_pointer(out));
        store_pointer(out, nullptr);
    }
    json_decref(document);
    return status;
}

// rmqc_json_from_<T>, with or without the text written straight first.
int32_t encode_document(const TypeDesc &type, const void *src, char **out_json, char *errbuf, uint64_t errlen,
                        int32_t pretty, const char *null_output_message, bool fast) {
    path_node root = root_node(type.name);
    if (errbuf == nullptr) errlen = 0;
    if (errlen != 0) errbuf[0] = '\0';
    if (out_json == nullptr)
        return report_error(null_output_message, RMQC_ERR_BAD_ARGS, errbuf, errlen, &root, 0, nullptr);

    // The text is written straight from the record, unless the record holds a
    // text only jansson's tree can take (through the string conversion hook)
    // or memory runs out: the tree then decides. A fault the walk meets is
    // reported as it would be through the tree.
    if (fast) {
        char *text = nullptr;
        int32_t status = write_text(type, src, pretty != 0, &text, errbuf, errlen, &root);
        if (status == RMQC_OK) *out_json = text;
        if (status != detail::GAVE_UP) return status;
    }
    json_t *value = nullptr;
    int32_t status = encode_record(type, &value, src, 0, errbuf, errlen, &root);
    if (status != RMQC_OK) {
        json_decref(value);
        return status;
    }
    size_t flags = JSON_PRESERVE_ORDER | (pretty != 0 ? JSON_INDENT(4) : JSON_COMPACT);
    *out_json = serialise(value, flags);
    json_decref(value);
    if (*out_json == nullptr)
        return report_error("Failure during json_dumps call", RMQC_ERR_OTHER, errbuf, errlen, &root, 0, nullptr);
    return RMQC_OK;
}

}  // namespace

int32_t decode_export(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen) {
    return decode_document(type, out, json, errbuf, errlen, true);
}

int32_t decode_export_through_jansson(const TypeDesc &type, void *out, const char *json, char *errbuf,
                                      uint64_t errlen) {
    return decode_document(type, out, json, errbuf, errlen, false);
}

int32_t check_walk(const TypeDesc &type, const char *json, FaultLog &log, const WalkMode &mode) {
    char line[FAULT_LINE_SIZE];
    void *tree = nullptr;
    int32_t status = decode_document(type, &tree, json, line, sizeof line, false, &log, mode);
    free_export(type, tree);
    return status;
}

int32_t check_text(const TypeDesc &type, const char *json, FaultLog &log, const WalkMode &mode) {
    // The reader's walk visits properties in document order: a walk that
    // stops at its first fault would stop at another fault than the export's
    // first, which is first in record order. That walk goes through jansson.
    if (json != nullptr && mode.every_fault) {
        char line[FAULT_LINE_SIZE];
        const int32_t status = check_record_text(type, json, line, sizeof line, log, mode);
        if (status != detail::GAVE_UP) return status;
        log.discard();
    }
    return check_walk(type, json, log, mode);
}

int32_t decode_logged(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen, FaultLog &log,
                      const WalkMode &mode) {
    return decode_document(type, out, json, errbuf, errlen, true, &log, mode);
}

int32_t encode_export(const TypeDesc &type, const void *src, char **out_json, char *errbuf, uint64_t errlen,
                      int32_t pretty, const char *null_output_message) {
    return encode_document(type, src, out_json, errbuf, errlen, pretty, null_output_message, true);
}

int32_t encode_export_through_jansson(const TypeDesc &type, const void *src, char **out_json, char *errbuf,
                                      uint64_t errlen, int32_t pretty, const char *null_output_message) {
    return encode_document(type, src, out_json, errbuf, errlen, pretty, null_output_message, false);
}

void free_export(const TypeDesc &type, void *record) {
    if (record == nullptr) return;
    release_record(type, record);
    std::free(record);
}

void destroy_export(const TypeDesc &type, void *record) {
    if (record != nullptr) release_record(type, record);
}

}  // namespace jsoncodec
