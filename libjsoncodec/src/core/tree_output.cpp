// The encoding walker's output of jansson values: the tree the exports
// serialise with json_dumps when the text cannot be written straight from
// the record, and the values encode_<T> returns. A text becomes a JSON
// string through string_to_json, which offers a text jansson refuses to the
// string conversion hook. What jansson cannot make or refuses to take is
// reported by the walker with the message of its kind.
#include "encoder.h"

namespace jsoncodec {

namespace {

using namespace detail;

class TreeOutput {
  public:
    using Value = json_t *;
    static constexpr bool MAKES_VALUES = true;
    static constexpr bool CHECKS = true;

    static bool object(Value *made, size_t) { return (*made = json_object()) != nullptr; }
    static bool array(Value *made) { return (*made = json_array()) != nullptr; }
    static void close(Value, bool, size_t, char) {}
    static void member(Value, const char *, bool, size_t) {}
    static void item(bool, size_t) {}
    // jansson takes the value in every case, refused or not.
    static bool attach(Value object, const char *name, Value value) {
        return value != nullptr && json_object_set_new_nocheck(object, name, value) == 0;
    }
    static bool append(Value array, Value item) { return json_array_append_new(array, item) == 0; }
    static bool string(Value *made, const char *text) {
        *made = string_to_json(text);
        return true;
    }
    static void integer(Value *made, int64_t value) { *made = json_integer(value); }
    static void boolean(Value *made, bool value) { *made = json_boolean(value); }
    static void discard(Value value) { json_decref(value); }
};

}  // namespace

int32_t encode_record(const TypeDesc &type, json_t **out, const void *src, int32_t depth, char *errbuf, uint64_t errlen,
                      path_node *path) {
    TreeOutput tree;
    *out = nullptr;
    return EncodeWalk(tree, FaultSink{errbuf, errlen}).record(type, src, depth, 0, path, out);
}

}  // namespace jsoncodec
