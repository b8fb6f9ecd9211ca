// Turning record strings into JSON strings.
#include <cstdlib>

#include "codec.h"

namespace jsoncodec {

char *identity_conversion(const char *s, int32_t *must_free) {
    *must_free = 0;
    return const_cast<char *>(s);
}

// The one process-wide variable: read by every conversion, never written by
// the library. A build that replaces it does so before any conversion runs.
string_conversion_fn string_conversion_hook = identity_conversion;

json_t *string_to_json(const char *s) {
    if (s == nullptr) return nullptr;
    if (json_t *value = json_string(s)) return value;

    string_conversion_fn hook = string_conversion_hook;
    if (hook == nullptr) return nullptr;
    int32_t must_free = 0;
    char *replacement = hook(s, &must_free);
    json_t *value = replacement != nullptr ? json_string(replacement) : nullptr;
    if (must_free != 0) std::free(replacement);
    return value;
}

}  // namespace jsoncodec
