/*
 * jsoncodec.hpp - the C++ interface: owning handles and result values over
 * the C functions of jsoncodec.h. Header-only; a program links the same
 * shared library (-ljsoncodec) as a C caller does. Needs C++17 or newer.
 *
 *   auto decoded = jsoncodec::decode<rule>(text);
 *   if (!decoded) {
 *       std::cerr << decoded.message() << '\n';  // the diagnostic line
 *       return 1;
 *   }
 *   jsoncodec::owner<rule> tree = std::move(decoded).value();
 *   auto encoded = jsoncodec::encode(*tree, jsoncodec::format::pretty);
 *   if (encoded) std::cout << encoded.value() << '\n';
 *   // tree releases the record tree with rmqc_free_rule when it goes away
 *
 * The functions here throw no exceptions of their own: a fault is reported
 * in the returned result. Building a std::string (the diagnostic line, the
 * encoded text, the copy of a std::string_view) may still throw
 * std::bad_alloc; nothing is leaked when it does.
 */
#ifndef JSONCODEC_HPP
#define JSONCODEC_HPP

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "jsoncodec.h"

namespace jsoncodec {

// The C functions of a root record type T: traits<T>::decode is
// rmqc_json_to_<T>, traits<T>::encode rmqc_json_from_<T>, traits<T>::release
// rmqc_free_<T>. Only the five root types have them; for any other type
// traits<T>::root is false and decode, encode and owner refuse to compile.
template <class T>
struct traits {
    static constexpr bool root = false;
};

// One specialisation per root type, all from the same pattern.
#define JSONCODEC_ROOT_TRAITS_(T)                             \
    template <>                                               \
    struct traits<::T> {                                      \
        static constexpr bool root = true;                    \
        static constexpr auto decode = &::rmqc_json_to_##T;   \
        static constexpr auto encode = &::rmqc_json_from_##T; \
        static constexpr auto release = &::rmqc_free_##T;     \
    };
JSONCODEC_ROOT_TRAITS_(data_protection_policy)
JSONCODEC_ROOT_TRAITS_(workflow)
JSONCODEC_ROOT_TRAITS_(action)
JSONCODEC_ROOT_TRAITS_(rule)
JSONCODEC_ROOT_TRAITS_(item_definition)
#undef JSONCODEC_ROOT_TRAITS_

// Releases a whole tree of root type T with rmqc_free_<T>: the record, what
// it owns and the lists whose head it holds (never the record's own next).
template <class T>
struct deleter {
    static_assert(traits<T>::root,
                  "jsoncodec: not a root record type (data_protection_policy, workflow, action, rule, "
                  "item_definition)");
    // Releases p; nullptr does nothing.
    void operator()(T *p) const noexcept { traits<T>::release(p); }
};

// Sole owner of a decoded tree; releases it with rmqc_free_<T>.
template <class T>
using owner = std::unique_ptr<T, deleter<T>>;

// The layout of encoded text: compact (one line, no blanks after
// separators) or pretty (indented by four blanks).
enum class format { compact, pretty };

// The outcome of a conversion: the value on success, otherwise the status
// code (RMQC_ERR_*) and the library's diagnostic line.
template <class V>
class result {
  public:
    // A successful result holding value.
    static result success(V value) noexcept(std::is_nothrow_move_constructible<V>::value) {
        return result(std::move(value), RMQC_OK, std::string());
    }

    // A failed result with status (not RMQC_OK) and its diagnostic line.
    static result failure(std::int32_t status,
                          std::string message) noexcept(std::is_nothrow_default_constructible<V>::value) {
        return result(V(), status, std::move(message));
    }

    // True when the conversion succeeded.
    explicit operator bool() const noexcept { return status_ == RMQC_OK; }

    // True when the conversion succeeded.
    bool ok() const noexcept { return status_ == RMQC_OK; }

    // The value; after a failure the empty value (a null owner, an empty
    // string), never an exception.
    V &value() &noexcept { return value_; }
    // The value, read only; empty after a failure.
    const V &value() const &noexcept { return value_; }
    // Moves the value out of a result that is going away:
    // std::move(r).value() or decode<T>(text).value().
    V value() &&noexcept(std::is_nothrow_move_constructible<V>::value) { return std::move(value_); }

    // RMQC_OK (0) on success, otherwise the RMQC_ERR_* code of the fault.
    std::int32_t status() const noexcept { return status_; }

    // The diagnostic line, exactly as the library wrote it (a parse
    // failure's line ends in a newline); empty on success.
    const std::string &message() const noexcept { return message_; }

  private:
    result(V value, std::int32_t status, std::string message) noexcept(std::is_nothrow_move_constructible<V>::value)
        : value_(std::move(value)), status_(status), message_(std::move(message)) {}

    V value_;
    std::int32_t status_;
    std::string message_;
};

namespace detail {

// Room for a whole diagnostic line. The library's lines are bounded by the
// depth of the schema and by the 255 characters a union keeps of its
// member's line, so they stay well below this.
constexpr std::size_t line_capacity = 1024;

// Releases JSON text made by the library, which comes from jansson's
// allocator: malloc, unless the program changed it (see encode).
struct free_text {
    void operator()(char *text) const noexcept { std::free(text); }
};

}  // namespace detail

// Decodes the NUL-terminated text as a T (one of the root types) without
// copying it. On success the result owns the new tree; on a fault it holds
// the status (RMQC_ERR_DECODE for a document that does not parse or breaks
// the schema, RMQC_ERR_NOMEM, RMQC_ERR_OTHER) and the diagnostic line.
template <class T>
result<owner<T>> decode(const char *text) {
    static_assert(traits<T>::root,
                  "jsoncodec: not a root record type (data_protection_policy, workflow, action, rule, "
                  "item_definition)");
    char line[detail::line_capacity];
    line[0] = '\0';
    T *tree = nullptr;
    const std::int32_t status = traits<T>::decode(&tree, text, line, sizeof line);
    owner<T> held(tree);  // owned before anything can throw
    if (status != RMQC_OK) return result<owner<T>>::failure(status, line);
    return result<owner<T>>::success(std::move(held));
}

// Decodes a std::string without copying it (it is NUL-terminated already).
// An embedded NUL character ends the document, as in the C function.
template <class T>
result<owner<T>> decode(const std::string &text) {
    return decode<T>(text.c_str());
}

// Decodes exactly the characters of text, which need not be NUL-terminated
// (a slice of a larger buffer, say): the C function wants a NUL-terminated
// string, so the characters are copied into a std::string first. An
// embedded NUL character ends the document.
template <class T>
result<owner<T>> decode(std::string_view text) {
    return decode<T>(std::string(text));
}

// Encodes the tree at record (only read) as JSON text, compact or pretty,
// properties in record order. On a fault the result holds the status
// (RMQC_ERR_ENCODE for a record that cannot be written, RMQC_ERR_OTHER) and
// the diagnostic line. The library's text is copied into the std::string
// and released at once with free(): it comes from jansson's allocator,
// which is malloc unless the program installed its own functions with
// json_set_alloc_funcs (such a program must call rmqc_json_from_<T> itself
// and release the text with its own function).
template <class T>
result<std::string> encode(const T &record, format layout) {
    static_assert(traits<T>::root,
                  "jsoncodec: not a root record type (data_protection_policy, workflow, action, rule, "
                  "item_definition)");
    char line[detail::line_capacity];
    line[0] = '\0';
    char *text = nullptr;
    const std::int32_t status = traits<T>::encode(&record, &text, line, sizeof line, layout == format::pretty ? 1 : 0);
    std::unique_ptr<char, detail::free_text> held(text);  // released even if the copy throws
    if (status != RMQC_OK) return result<std::string>::failure(status, line);
    return result<std::string>::success(held ? std::string(held.get()) : std::string());
}

}  // namespace jsoncodec

#endif /* JSONCODEC_HPP */
