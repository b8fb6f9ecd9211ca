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
#include "rule_schema.h"

inline const jsoncodec::TypeDesc &table_of(const ErasedRoot &root) {
    using namespace jsoncodec;
    for (const TypeDesc *table : {&data_protection_policy_desc, &workflow_desc, &action_desc, &rule_desc, &item_definition_desc})
        if (std::strcmp(table->name, root.name) == 0) return *table;
    std::abort();
}

// What a checking walk reports: each fault's line and pointer, in the order
// the walk meets them.
struct RecordedFaults final : jsoncodec::FaultLog {
    explicit RecordedFaults(bool every) : FaultLog(every) {}
    void add(const jsoncodec::Fault &fault) override {
        lines.emplace_back(fault.line);
        pointers.emplace_back(fault.pointer);
    }
    std::vector<std::string> lines, pointers;
};
