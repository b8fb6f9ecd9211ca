// The exports' common frame: argument checks, parsing, the root path node,
// release of partial trees, serialisation.
#include "export_frame.h"

#include <cstdlib>

#include "jsoncodec.h"

namespace jsoncodec {

int32_t json_to_frame(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen) {
    path_node root = root_node(type.name);
    uint32_t match_count = 0;
    if (errbuf == nullptr) errlen = 0;  // no buffer, no text
    if (errlen != 0) errbuf[0] = '\0';
    if (out == nullptr)
        return report_error("Output parameter cannot be NULL", RMQC_ERR_BAD_ARGS, errbuf, errlen, &root, 0, nullptr);

    json_error_t error;
    json_t *document = json_loads(json, JSON_REJECT_DUPLICATES, &error);
    if (document == nullptr) {
        // The caller's *out is not written on this path.
        char detail[200];
        bounded_format(detail, sizeof detail, "JSON parsing error: %s in %s line: %d col: %d\n", error.text,
                       error.source, error.line, error.column);
        return report_error(detail, RMQC_ERR_DECODE, errbuf, errlen, &root, 0, nullptr);
    }

    int32_t status = decode_record(type, document, out, nullptr, 0, errbuf, errlen, &root, &match_count);
    if (status != RMQC_OK) {
        if (void *partial = load_pointer(out)) {
            release_record(type, partial);
            std::free(partial);
        }
        store_pointer(out, nullptr);
    }
    json_decref(document);
    return status;
}

int32_t json_from_frame(const TypeDesc &type, const void *src, char **out_json, char *errbuf, uint64_t errlen,
                        int32_t pretty, const char *null_output_message) {
    path_node root = root_node(type.name);
    if (errbuf == nullptr) errlen = 0;
    if (errlen != 0) errbuf[0] = '\0';
    if (out_json == nullptr)
        return report_error(null_output_message, RMQC_ERR_BAD_ARGS, errbuf, errlen, &root, 0, nullptr);

    json_t *value = nullptr;
    int32_t status = encode_record(type, &value, src, 0, errbuf, errlen, &root);
    if (status != RMQC_OK) {
        json_decref(value);
        return status;
    }
    size_t flags = JSON_PRESERVE_ORDER | (pretty != 0 ? JSON_INDENT(4) : JSON_COMPACT);
    *out_json = json_dumps(value, flags);
    json_decref(value);
    if (*out_json == nullptr)
        return report_error("Failure during json_dumps call", RMQC_ERR_OTHER, errbuf, errlen, &root, 0, nullptr);
    return RMQC_OK;
}

void free_frame(const TypeDesc &type, void *record) {
    if (record == nullptr) return;
    release_record(type, record);
    std::free(record);
}

void destroy_frame(const TypeDesc &type, void *record) {
    if (record != nullptr) release_record(type, record);
}

}  // namespace jsoncodec
