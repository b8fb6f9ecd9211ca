// The hint of a refused text: the nearest of the texts it may have meant.
#include <strings.h>

#include <algorithm>
#include <cstring>

#include "faults.h"

namespace jsoncodec {

void Suggestion::consider(const char *candidate, const char *text) {
    // Levenshtein distance over bytes, one row at a time; among equals the
    // first considered wins. A candidate whose length alone is too far from
    // the text's is passed over, as is one too long for the row (no allowed
    // text comes near).
    constexpr size_t LONGEST = 127;
    const size_t length = std::strlen(text);
    const size_t width = std::strlen(candidate);
    if (width > LONGEST || length > width + 2 || width > length + 2) return;
    // A text that differs only in case is as close as one edit.
    if (strcasecmp(text, candidate) == 0) {
        if (distance > 1) {
            distance = 1;
            best = candidate;
        }
        return;
    }
    uint32_t row[LONGEST + 1];
    for (size_t j = 0; j <= width; ++j) row[j] = static_cast<uint32_t>(j);
    for (size_t i = 1; i <= length; ++i) {
        uint32_t diagonal = row[0];
        row[0] = static_cast<uint32_t>(i);
        for (size_t j = 1; j <= width; ++j) {
            uint32_t above = row[j];
            uint32_t replace = diagonal + (text[i - 1] == candidate[j - 1] ? 0 : 1);
            row[j] = std::min({above + 1, row[j - 1] + 1, replace});
            diagonal = above;
        }
    }
    if (row[width] < distance) {
        distance = row[width];
        best = candidate;
    }
}

}  // namespace jsoncodec
