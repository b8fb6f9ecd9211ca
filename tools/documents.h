// What check and format share: the documents a run's operands stand for,
// and each document's findings made ready for the run's output.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "checker.h"
#include "files.h"
#include "options.h"
#include "output.h"

namespace tool {

// The counts of a run, for check's summary.
struct Tally {
    size_t files = 0;          // documents whose findings were reported
    size_t with_findings = 0;  // of those, the ones with a finding shown or left out
    size_t errors = 0;         // shown, warnings counted by --strict included
    size_t warnings = 0;       // shown
    size_t left_out = 0;       // past --max-faults
    size_t unchecked = 0;      // files that could not be read, or whose type could not be told
};

// Calls `each` with every document the operands of `settings` name, in
// their order: a file, nullptr for standard input ("-", or no operand at
// all), and with `folders` every *.json file below a folder, in sorted
// order (see add_json_files). Memory running out for one document is a
// failure of that document alone. Standard error is flushed after each.
// Returns the highest status `each` returned, EXIT_TROUBLE for a failure.
int for_each_document(const Settings &settings, bool folders, Output &output, Tally &tally,
                      const std::function<int(const char *path)> &each);

// Reads a document as read_input() does; a text that holds a NUL byte is
// refused there, its one finding in `checked`. Returns false after
// reporting a failure.
bool read_document(const char *path, Rewritable *rewritable, Input &in, Checked &checked, Output &output, Tally &tally);

// Reports the findings of `text`, read from `label`, which the checker
// judged `verdict`: the warnings hidden by --no-warnings dropped, those
// --strict counts made errors. Returns the document's exit status: 0 valid,
// EXIT_REFUSED for an error, EXIT_TROUBLE for a type that cannot be told
// or memory running out.
int report(const Settings &settings, Output &output, Tally &tally, const std::string &label, std::string_view text,
           Verdict verdict, Checked &checked);

// The name of a document in messages.
inline std::string label_of(const char *path) { return path != nullptr ? path : STDIN_LABEL; }

}  // namespace tool
