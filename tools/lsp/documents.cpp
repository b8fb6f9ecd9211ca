// The open documents (see documents.h).
#include "documents.h"

#include <cstdint>
#include <cstring>

#include "checker.h"
#include "json_text.h"
#include "options.h"

namespace tool::lsp {
namespace {

// The length of the valid UTF-8 sequence at `p` (before `end`), or 0.
size_t sequence(const char *p, const char *end) {
    unsigned char copy[5] = {};
    std::memcpy(copy, p, std::min<size_t>(4, static_cast<size_t>(end - p)));
    return jsoncodec::json_text::utf8_sequence(copy);
}

// Keeps a text's storage near its size: an open document should cost
// little more than its text.
void fit(std::string &text) {
    if (text.capacity() > text.size() + text.size() / 8 + 4096) text.shrink_to_fit();
}

}  // namespace

void Document::replace(std::string whole) {
    text = std::move(whole);
    fit(text);
    lines.build(text);
    checked = false;
}

void Document::edit(Position start, Position end, std::string_view with, Encoding encoding) {
    size_t begin = offset_of(text, lines, start, encoding);
    size_t stop = offset_of(text, lines, end, encoding);
    if (stop < begin) std::swap(begin, stop);
    text.replace(begin, stop - begin, with);
    fit(text);
    lines.build(text);
    checked = false;
}

void Document::check() {
    if (checked) return;
    faults.clear();
    type.clear();
    why.clear();
    Checked found;
    const size_t nul = text.find('\0');
    if (nul != std::string::npos) {
        faults.push_back(nul_fault(std::string_view(text).substr(0, nul)));
    } else {
        const Verdict verdict = check_document(text, CheckOptions{{}, false, DEFAULT_MAX_FAULTS}, found);
        if (verdict == Verdict::untyped) why = found.why;
        type = std::move(found.type);
        faults = std::move(found.faults);
    }
    checked = true;
}

std::string valid_utf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const char *p = text.data(), *end = p + text.size();
    while (p < end) {
        const size_t length = static_cast<unsigned char>(*p) < 0x80 ? 1 : sequence(p, end);
        if (length == 0) {
            out += "\xEF\xBF\xBD";
            ++p;
        } else {
            out.append(p, length);
            p += length;
        }
    }
    return out;
}

bool is_valid_utf8(std::string_view text) {
    const char *p = text.data(), *end = p + text.size();
    while (p < end) {
        // Eight ASCII bytes at a time.
        uint64_t word;
        if (end - p >= 8 && (std::memcpy(&word, p, 8), (word & 0x8080808080808080ULL) == 0)) {
            p += 8;
            continue;
        }
        if (static_cast<unsigned char>(*p) < 0x80) {
            ++p;
            continue;
        }
        const size_t length = sequence(p, end);
        if (length == 0) return false;
        p += length;
    }
    return true;
}

}  // namespace tool::lsp
