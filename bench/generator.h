// Deterministic data_protection_policy documents of a chosen size, and
// single actions of each kind and backup subtype, for the benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

// Number of action kinds and backup subtypes; tags count from 1 in the
// order of the public header's RMQC_ACTION_* and RMQC_BACKUP_SUBTYPE_*.
constexpr int ACTION_KINDS = 15;
constexpr int BACKUP_SUBTYPES = 5;

// The "actionType" text of action kind `tag`, and a short name for labels.
const char *kind_text(int tag);
const char *kind_label(int tag);

// A compact policy document of at least `target_bytes` bytes (it stops at
// the first workflow that reaches the size): workflows of 5 to 25 actions
// of every kind and every backup subtype, realistic strings, schedules,
// arrays and optional properties present at realistic rates. Properties
// are written in record order, so the library's compact encoding of the
// decoded policy reproduces the text. The same seed gives the same text.
std::string make_policy(std::size_t target_bytes, uint64_t seed);

// printf into a std::string of whatever length the text needs.
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));

// One compact action of kind `kind_tag` (a backup of subtype
// `subtype_tag` when the kind is backup) whose kind record holds its
// required settings only. The properties shared by all kinds come from
// `seed` alone, so the actions of different kinds differ in little but
// their kind, and their times show what the position of the kind (or
// subtype) in its union costs.
std::string make_action(int kind_tag, int subtype_tag, uint64_t seed);

}  // namespace bench
