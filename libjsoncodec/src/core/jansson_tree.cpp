// The decoding walker over jansson's parsed trees: decode_record, the
// routine decode_<T> and the checking walk go through, and the path that
// decides every refusal of the exports.
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "codec.h"
#include "decoder.h"
#include "jsoncodec.h"

namespace jsoncodec {

namespace {

using namespace detail;

// The walker's view of a jansson tree: properties in record order, each
// found by name.
class JanssonTree {
  public:
    using Value = const json_t *;
    static bool absent(Value v) { return v == nullptr; }
    static bool is_object(Value v) { return v != nullptr && json_is_object(v); }
    template <class F, class U>
    static int32_t properties(const TypeDesc &type, Value object, F &&f, U &&unknown) {
        for (uint32_t i = 0; i < type.field_count; ++i)
            if (int32_t status = f(i, json_object_get(object, type.fields[i].name))) return status;
        if constexpr (!std::is_null_pointer_v<std::remove_cvref_t<U>>) {
            each_key(object, [&](const char *key) {
                if (!has_property(type, key)) unknown(key, Place{});
            });
        }
        return RMQC_OK;
    }
    static Value member(Value object, const char *name) { return json_object_get(object, name); }
    template <class F>
    static void each_key(Value object, F &&f) {
        const char *key;
        json_t *value;
        json_object_foreach(const_cast<json_t *>(object), key, value) f(key);
    }
    static bool is_string(Value v) { return json_is_string(v); }
    static bool is_one_of(Value v, const EnumDesc &allowed) { return enum_allows(allowed, json_string_value(v)); }
    static const char *hint_text(Value v) { return json_string_value(v); }
    static Copy copy_string(Value v, char **copy) {
        const char *text = json_string_value(v);
        if (text == nullptr) return Copy::NotString;
        // jansson's texts hold no NUL: it refuses "\u0000" when parsing.
        const size_t length = json_string_length(v);
        *copy = static_cast<char *>(std::malloc(length + 1));
        if (*copy == nullptr) return Copy::NoMemory;
        std::memcpy(*copy, text, length + 1);
        return Copy::Done;
    }
    static Copy check_string(Value v) { return json_is_string(v) ? Copy::Done : Copy::NotString; }
    static Place place(Value) { return Place{}; }
    static bool boolean(Value v, int32_t *out) {
        if (!json_is_boolean(v)) return false;
        *out = json_is_true(v) ? 1 : 0;
        return true;
    }
    static bool integer(Value v, int64_t *out) {
        if (!json_is_integer(v)) return false;
        *out = json_integer_value(v);
        return true;
    }
    static bool array_size(Value v, size_t *size) {
        if (!json_is_array(v)) return false;
        *size = json_array_size(v);
        return true;
    }
    static bool list_size(Value v, size_t *size) { return array_size(v, size); }
    template <class F>
    static int32_t each(Value array, F &&f) {
        for (size_t i = 0, size = json_array_size(array); i < size; ++i)
            if (int32_t status = f(i, json_array_get(array, i))) return status;
        return RMQC_OK;
    }
    static bool gave_up() { return false; }
};

}  // namespace

int32_t decode_record(const TypeDesc &type, const json_t *value, void *out_new, void *into, int32_t depth, char *errbuf,
                      uint64_t errlen, path_node *path, uint32_t *match_count, const WalkMode &mode, FaultLog *log) {
    JanssonTree tree;
    return Walk<JanssonTree>(tree, FaultSink{errbuf, errlen, log}, mode)
        .record(type, value, out_new, into, depth, path, match_count);
}

}  // namespace jsoncodec
