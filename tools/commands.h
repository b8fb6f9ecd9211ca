// The tool's commands, one file each: check.cpp, format.cpp, schema.cpp,
// lsp/command.cpp.
// Each returns the run's exit status.
#pragma once

#include "options.h"

namespace tool {

int check_command(const Settings &settings);
int format_command(const Settings &settings);
int schema_command(const Settings &settings);
int lsp_command(const Settings &settings);

}  // namespace tool
