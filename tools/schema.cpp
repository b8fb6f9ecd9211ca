// jsoncodec schema: the JSON Schema of a root type, generated at build time
// from the library's record tables (schemas.h).
#include <cstdio>
#include <string>

#include "commands.h"
#include "schemas.h"

namespace tool {

int schema_command(const Settings &settings) {
    // A root type's name, which the command line checked; a schema is built
    // for each root type.
    const std::string &type = settings.operands.front();
    size_t i = 0;
    while (type != jsoncodec_schemas[i].type) ++i;
    fputs(settings.strict ? jsoncodec_schemas[i].strict_text : jsoncodec_schemas[i].text, stdout);
    return finish_standard_output();
}

}  // namespace tool
