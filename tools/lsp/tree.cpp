// The tolerant reading of a document's text (see tree.h).
#include "tree.h"

#include <cstdio>

namespace tool::lsp {
namespace {

// The deepest container whose members are read; deeper ones keep their spans.
constexpr uint32_t MAX_EXPANDED_DEPTH = 256;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool ends_token(char c) {
    return is_blank(c) || c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':' || c == '"';
}

int hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void append_utf8(std::string &out, uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

class Reader {
  public:
    Reader(std::string_view text, size_t focus) : t_(text), focus_(focus), full_(focus == SIZE_MAX) {}

    Node value(uint32_t depth) {
        skip_blanks();
        Node node;
        node.begin = node.end = p_;
        if (p_ >= t_.size()) return node;
        const char c = t_[p_];
        if (c == '{' || c == '[') {
            const size_t begin = p_;
            bool closed = false;
            const size_t end = skip_container(closed);
            node.type = c == '{' ? Node::Type::object : Node::Type::array;
            node.end = end;
            node.closed = closed;
            if (depth < MAX_EXPANDED_DEPTH && (full_ || node.holds(focus_))) {
                p_ = begin + 1;
                node.expanded = true;
                if (c == '{')
                    read_members(node, depth);
                else
                    read_items(node, depth);
            }
            p_ = end;
            return node;
        }
        if (c == '"') {
            node.type = Node::Type::string;
            node.closed = read_string(node.text);
            node.end = p_;
            return node;
        }
        if (c == '}' || c == ']' || c == ',' || c == ':') return node;
        while (p_ < t_.size() && !ends_token(t_[p_])) ++p_;
        node.text.assign(t_.substr(node.begin, p_ - node.begin));
        node.type = (c == '-' || (c >= '0' && c <= '9')) ? Node::Type::number : Node::Type::literal;
        node.end = p_;
        return node;
    }

  private:
    std::string_view t_;
    size_t p_ = 0;
    size_t focus_;
    bool full_;

    void skip_blanks() {
        while (p_ < t_.size() && is_blank(t_[p_])) ++p_;
    }

    // Past the string at p_ (its opening quote): to its closing quote, or
    // to the end of its line when it has none, as JSON strings hold no line
    // break. Its value, escapes read, goes to `out`. Whether it was closed.
    bool read_string(std::string &out) {
        ++p_;
        while (p_ < t_.size()) {
            const char c = t_[p_];
            if (c == '"') {
                ++p_;
                return true;
            }
            if (c == '\n' || c == '\r') return false;
            if (c != '\\') {
                out += c;
                ++p_;
                continue;
            }
            if (p_ + 1 >= t_.size()) {
                ++p_;
                return false;
            }
            const char e = t_[p_ + 1];
            p_ += 2;
            switch (e) {
                case 'n': out += '\n'; break;
                case 't': out += '\t'; break;
                case 'r': out += '\r'; break;
                case 'b': out += '\b'; break;
                case 'f': out += '\f'; break;
                case 'u': {
                    uint32_t code = 0;
                    int digits = 0;
                    for (; digits < 4 && p_ < t_.size() && hex(t_[p_]) >= 0; ++digits, ++p_)
                        code = code << 4 | static_cast<uint32_t>(hex(t_[p_]));
                    if (digits == 4 && code >= 0xD800 && code <= 0xDBFF && p_ + 5 < t_.size() && t_[p_] == '\\' &&
                        t_[p_ + 1] == 'u') {
                        uint32_t low = 0;
                        bool ok = true;
                        for (size_t i = 2; i < 6; ++i)
                            if (hex(t_[p_ + i]) < 0)
                                ok = false;
                            else
                                low = low << 4 | static_cast<uint32_t>(hex(t_[p_ + i]));
                        if (ok && low >= 0xDC00 && low <= 0xDFFF) {
                            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                            p_ += 6;
                        }
                    }
                    if (digits == 4) append_utf8(out, code);
                    break;
                }
                case '\n':
                case '\r': --p_; return false;
                default: out += e; break;
            }
        }
        return false;
    }

    // Past the container at p_ without reading its members: any closing
    // bracket closes the innermost open one. Its end; `closed` when its own
    // closing bracket was found.
    size_t skip_container(bool &closed) {
        size_t open = 0;
        std::string ignored;
        while (p_ < t_.size()) {
            const char c = t_[p_];
            if (c == '"') {
                ignored.clear();
                read_string(ignored);
                continue;
            }
            ++p_;
            if (c == '{' || c == '[') {
                ++open;
            } else if (c == '}' || c == ']') {
                if (--open == 0) {
                    closed = true;
                    return p_;
                }
            }
        }
        closed = false;
        return p_;
    }

    // A closing bracket, if one is at p_ (before the container's end, so in
    // the text): it ends the container.
    bool closing() {
        if (t_[p_] == '}' || t_[p_] == ']') {
            ++p_;
            return true;
        }
        return false;
    }

    void read_members(Node &object, uint32_t depth) {
        while (true) {
            skip_blanks();
            if (p_ >= object.end || closing()) return;
            const char c = t_[p_];
            if (c == ',' || c == ':') {
                ++p_;
                continue;
            }
            if (c == '{' || c == '[') {  // a value without a key
                value(depth + 1);
                continue;
            }
            Member &member = object.members.emplace_back();
            member.key_begin = p_;
            if (c == '"') {
                read_string(member.key);
            } else {  // a key being typed without its quotes
                while (p_ < t_.size() && !ends_token(t_[p_])) ++p_;
                member.key.assign(t_.substr(member.key_begin, p_ - member.key_begin));
            }
            member.key_end = p_;
            // The rest of the key's line may hold its colon.
            size_t at = p_;
            while (at < t_.size() && (t_[at] == ' ' || t_[at] == '\t')) ++at;
            if (at < t_.size() && t_[at] == ':') {
                member.colon = at;
                p_ = at + 1;
                // A value belongs to the key unless the next token starts
                // another member (a string followed by a colon).
                const size_t value_start = p_;
                member.value = value(depth + 1);
                size_t next = p_;
                while (next < t_.size() && is_blank(t_[next])) ++next;
                if (member.value.type == Node::Type::string && next < t_.size() && t_[next] == ':') {
                    // The string is the next member's key: this one's value is still to come.
                    p_ = value_start;
                    member.value = Node{};
                    member.value.begin = member.value.end = at + 1;
                }
            } else {
                p_ = at;
                member.value.begin = member.value.end = member.key_end;
            }
        }
    }

    void read_items(Node &array, uint32_t depth) {
        while (true) {
            skip_blanks();
            if (p_ >= array.end || closing()) return;
            if (t_[p_] == ',' || t_[p_] == ':') {
                ++p_;
                continue;
            }
            // Not at a closing bracket, ',' or ':', a value moves past one byte at least.
            array.items.push_back(value(depth + 1));
        }
    }
};

}  // namespace

bool Node::holds(size_t offset) const {
    if (type != Type::object && type != Type::array) return false;
    // An unclosed container runs to the end of the text, past which no
    // offset lies.
    return begin < offset && (offset < end || !closed);
}

const Member *Node::member(std::string_view key) const {
    for (const Member &m : members)
        if (m.key == key) return &m;
    return nullptr;
}

Node read_tree(std::string_view text, size_t focus) {
    Reader reader(text, focus);
    return reader.value(0);
}

std::string quoted(std::string_view value) {
    std::string out = "\"";
    for (char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            out += escape;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

}  // namespace tool::lsp
