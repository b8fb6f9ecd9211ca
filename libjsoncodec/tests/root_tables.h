// The record table of a root type and a log of the checking walk, for the
// tests that call the engine directly (they link the library's objects, not
// the shared library).
#pragma once

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "action_schema.h"
#include "faults.h"
#include "policy_schema.h"
#include "root_calls.h"
#include "root_types.h"
#include "rule_schema.h"

// The tables of the root types, in the order of their list.
#define JSONCODEC_ROOT_TABLE(T, name_property, short_name) &jsoncodec::T##_desc,
inline const jsoncodec::TypeDesc *const root_tables[] = {JSONCODEC_ROOT_TYPES(JSONCODEC_ROOT_TABLE)};
#undef JSONCODEC_ROOT_TABLE

inline const jsoncodec::TypeDesc &table_of(const ErasedRoot &root) {
    for (const jsoncodec::TypeDesc *table : root_tables)
        if (std::strcmp(table->name, root.name) == 0) return *table;
    std::abort();
}

// What a checking walk reports: each fault's line and pointer (not the
// warnings), in the order the walk meets them; a walk that starts again
// forgets them.
struct RecordedFaults final : jsoncodec::FaultLog {
    void add(const jsoncodec::Fault &fault) override {
        if (fault.status == RMQC_OK) return;  // a warning
        lines.emplace_back(fault.message);
        pointers.emplace_back(fault.pointer);
    }
    void discard() override {
        lines.clear();
        pointers.clear();
    }
    std::vector<std::string> lines, pointers;
};
