// The outputs of the tool's findings, one per format, behind one interface:
// compiler-style text on standard error; or, on standard output, one JSON
// array, one SARIF 2.1.0 log, or GitHub Actions workflow commands. Each
// format owns its output from the first finding to the last byte.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "checker.h"
#include "options.h"

namespace tool {

class Output {
  public:
    virtual ~Output() = default;
    // Reports the findings of the document `text`, read from `label`,
    // ready to show: a warning that --strict counts is an error (its rule
    // still unknown_property), hidden warnings are gone. Says how many
    // findings were left out past the limit. Returns false when memory ran
    // out.
    virtual bool file(const std::string &label, std::string_view text, const Checked &checked) = 0;
    // Reports that the file `label` could not be checked; `why` is a
    // sentence that names it.
    virtual void failure(const std::string &label, const std::string &why) = 0;
    // Writes what the format keeps to the end of the run, which ends with
    // `status`. Returns false when memory ran out.
    virtual bool finish(int status) = 0;
};

// The output of `format`; `colour` colours text.
std::unique_ptr<Output> make_output(Format format, bool colour);

// The helpers the formats share.

// The id of a finding's rule in JSON and SARIF: "invalid-json", ...
const char *rule_id(Rule rule);
// A finding's message with its hint as a question and its notes after it
// (only those without a place of their own when `unplaced_only`), for the
// outputs that have no place for them.
std::string message_with_notes(const Fault &fault, bool unplaced_only);
// Tells standard error how many findings of `label` were left out.
void say_left_out(const std::string &label, const Checked &checked);

}  // namespace tool
