// The documents of the whole-process rows of scripts/bench, written to
// files for the command-line tool and jq: the policies the in-process
// benchmarks generate from the same seed, and one with a fault on nearly
// every line.
#pragma once

#include <cstdint>
#include <string>

namespace bench {

// `pretty` (a policy as the library's pretty encoding writes it: one
// property or array item a line) with every scalar value outside the
// action kind records made a fault that keeps the JSON valid: an integer
// where text is expected, text where an integer or a boolean is, and a
// misspelt enumeration text (one edit away, so it gets a "did you mean").
// The kind records are left as they are, since a fault there makes the
// whole union one fault, however many lines it has.
std::string with_faults(const std::string &pretty);

// Writes into the directory `dir` (which must exist) policy-1MB.json,
// policy-10MB.json and policy-60MB.json, the generated compact texts, and
// faults-10MB.json, the 10 MB policy pretty with with_faults applied.
// Returns the process's exit status, a message on standard error when
// something failed.
int write_documents(const std::string &dir, uint64_t seed);

}  // namespace bench
