// Where in a document's text each fault of the checking walk is.
#pragma once

#include <string_view>
#include <vector>

#include "fault.h"

namespace tool {

// Gives each fault its offset, line and column in `text` (which holds no
// NUL byte) and sorts the faults by place, faults at one place in the
// walk's order. A fault is placed at the value its pointer names; a missing
// property at the object that lacks it; a text that does not parse at the
// line and column jansson named. The column counts characters.
void place_faults(std::string_view text, std::vector<Fault> &faults);

// The number of object keys in `text`, a JSON text jansson accepts whose
// view ends at a NUL (a std::string's): the strings a colon follows.
size_t count_keys(std::string_view text);

}  // namespace tool
