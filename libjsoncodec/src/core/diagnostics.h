// Diagnostic line and its path.
//
// A fault is reported once, where it is found, as one line written into the
// caller's buffer: the path of the faulty place, the fragment of the status
// code and a detail text. The path is a chain of `path_node`s that live in
// the frames of the routines walking the document; nothing is allocated and
// no text is made until a fault is reported.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace jsoncodec {

inline constexpr int32_t PATH_ROOT = -3;   // printed "<name>"
inline constexpr int32_t PATH_ARRAY = -2;  // printed ".name[]"
inline constexpr int32_t PATH_FIELD = -1;  // printed ".name"; 0 and up: ".name[i]"

struct path_node {
    path_node *child;   // next deeper node, NULL at the leaf
    path_node *parent;  // enclosing node: NULL at the root; a union's trial root
                        // has the union's node, which its text does not show
    const char *name;   // root type name or JSON property name (not owned)
    int32_t index;      // PATH_ROOT, PATH_ARRAY, PATH_FIELD or an element index
};

// A root node, as the exports and the union trials set one up.
inline path_node root_node(const char *type_name) { return path_node{nullptr, nullptr, type_name, PATH_ROOT}; }

// Links a routine's own node under its caller's node `parent`.
inline path_node enter_node(path_node *parent) { return path_node{nullptr, parent, nullptr, PATH_FIELD}; }

// Formats like vsnprintf into `buf` of `size` bytes, always NUL-terminating
// when size > 0, and returns the full length the text needs (negative on a
// formatting error). With size 0 nothing is written to `buf`.
int bounded_format(char *buf, uint64_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
int bounded_vformat(char *buf, uint64_t size, const char *format, va_list args);

// Text built piece by piece into a buffer of `size` bytes: kept
// NUL-terminated (when size > 0) and cut where the buffer ends, while
// length() counts all that was given.
class BoundedText {
  public:
    BoundedText(char *buf, uint64_t size) : buf_(buf), size_(size) {
        if (size_ > 0) buf_[0] = '\0';
    }
    void put(char c) {
        if (length_ + 1 < size_) {
            buf_[length_] = c;
            buf_[length_ + 1] = '\0';
        }
        ++length_;
    }
    void append(const char *text) {
        for (; *text != '\0'; ++text) put(*text);
    }
    uint64_t length() const { return length_; }

  private:
    char *buf_;
    uint64_t size_;
    uint64_t length_ = 0;
};

// Appends one node of a path: "<name>" for a root, ".name[]", ".name" or
// ".name[i]" for the others, as the node's index says.
void append_node(BoundedText &text, const path_node *node);

// Writes the path text into `buf`. With `name` NULL the leaf is `path`;
// otherwise the leaf is `path->child`, renamed to `name`/`index`. Returns
// the characters counted, which equals `size` when the text was cut.
uint64_t format_path(char *buf, uint64_t size, path_node *path, int32_t index, const char *name);

// Writes the RFC 6901 JSON Pointer of the place report_error's arguments
// name into `buf` (always NUL-terminated when size > 0), and returns the
// length the whole pointer needs. The nodes of a union trial continue the
// pointer of the union's value.
uint64_t format_pointer(char *buf, uint64_t size, const path_node *path, int32_t index, const char *name);

// Writes "<path><fragment of code><detail>" into errbuf (cut to errlen - 1
// characters; nothing when errlen is 0) and returns `code` unchanged.
int32_t report_error(const char *detail, int32_t code, char *errbuf, uint64_t errlen, path_node *path, int32_t index,
                     const char *name);

}  // namespace jsoncodec
