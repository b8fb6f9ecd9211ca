// The diagnostic line: path, status fragment, detail.
#include "diagnostics.h"

#include <cstdio>
#include <cstring>

#include "jsoncodec.h"

namespace jsoncodec {

namespace {

// The fixed fragment written after the path for each known status; NULL for
// a code the library never produces.
const char *status_fragment(int32_t code) {
    switch (static_cast<uint32_t>(code)) {
        case RMQC_OK: return "";
        case RMQC_ERR_BAD_ARGS: return ": Internal Error: Bad Arguments. ";
        case RMQC_ERR_DECODE: return ": JSON decode error. ";
        case RMQC_ERR_ENCODE: return ": JSON encode error. ";
        case RMQC_ERR_NOMEM: return ": Out of memory when trying to convert C structure to JSON. ";
        case RMQC_ERR_OTHER: return ": ";
        default: return nullptr;
    }
}

// The decimal digits of `value`.
void append_number(BoundedText &text, uint32_t value) {
    char digits[10];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count > 0) text.put(digits[--count]);
}

}  // namespace

// Written piece by piece: a checking walk prints a path for every fault of
// a document.
void append_node(BoundedText &text, const path_node *node) {
    text.put(node->index == PATH_ROOT ? '<' : '.');
    if (node->name != nullptr) text.append(node->name);
    switch (node->index) {
        case PATH_ROOT: text.put('>'); break;
        case PATH_ARRAY: text.append("[]"); break;
        case PATH_FIELD: break;
        default:
            text.put('[');
            append_number(text, static_cast<uint32_t>(node->index));
            text.put(']');
            break;
    }
}

int bounded_vformat(char *buf, uint64_t size, const char *format, va_list args) {
    char scratch[1];
    if (size == 0) {
        buf = scratch;
        size = 1;
    }
    int needed = std::vsnprintf(buf, size, format, args);
    // An output error (a negative count) ends the text at the buffer's end too.
    if (static_cast<uint64_t>(needed) >= size) buf[size - 1] = '\0';
    return needed;
}

int bounded_format(char *buf, uint64_t size, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int needed = bounded_vformat(buf, size, format, args);
    va_end(args);
    return needed;
}

uint64_t format_path(char *buf, uint64_t size, path_node *path, int32_t index, const char *name) {
    if (size == 0) return 0;
    path_node *leaf = path;
    if (name != nullptr) {
        leaf = path->child;
        leaf->name = name;
        leaf->index = index;
    }
    leaf->child = nullptr;  // deeper nodes of calls that have returned are not part of the path

    path_node *root = leaf;
    while (root->index != PATH_ROOT && root->parent != nullptr) root = root->parent;

    buf[0] = '\0';
    uint64_t written = 0;
    for (path_node *node = root; node != nullptr && written < size; node = node->child) {
        const uint64_t room = size - written;
        BoundedText text(buf + written, room);
        append_node(text, node);
        written += text.length() < room ? text.length() : room;
        if (node == leaf) break;
    }
    return written;
}

namespace {

// The pointer text as it is written, counted in full however much fits.
struct PointerText : BoundedText {
    using BoundedText::BoundedText;
    void segment(const char *name) {
        put('/');
        for (; *name != '\0'; ++name) {
            if (*name == '~' || *name == '/') {
                put('~');
                put(*name == '~' ? '0' : '1');
            } else {
                put(*name);
            }
        }
    }
    // The segments of one node: none for a root or an unnamed node.
    void node(const char *name, int32_t index) {
        if (index == PATH_ROOT || name == nullptr) return;
        segment(name);
        if (index >= 0) {
            put('/');
            append_number(*this, static_cast<uint32_t>(index));
        }
    }
    void chain(const path_node *node) {
        if (node->parent != nullptr) chain(node->parent);
        this->node(node->name, node->index);
    }
};

}  // namespace

uint64_t format_pointer(char *buf, uint64_t size, const path_node *path, int32_t index, const char *name) {
    PointerText text(buf, size);
    text.chain(path);
    if (name != nullptr) text.node(name, index);
    return text.length();
}

int32_t report_error(const char *detail, int32_t code, char *errbuf, uint64_t errlen, path_node *path, int32_t index,
                     const char *name) {
    if (errlen == 0) return code;
    uint64_t used = format_path(errbuf, errlen, path, index, name);
    if (used + 1 >= errlen) return code;  // the path alone fills the buffer
    uint64_t room = errlen - used - 1;
    char *end = errbuf + used;

    if (const char *fragment = status_fragment(code))
        std::strncat(end, fragment, room);
    else
        bounded_format(end, room + 1, ": Unknown rmqc library error %d. ", code);
    const uint64_t fragment_length = std::strlen(end);
    if (detail != nullptr) std::strncat(end + fragment_length, detail, room - fragment_length);
    return code;
}

}  // namespace jsoncodec
