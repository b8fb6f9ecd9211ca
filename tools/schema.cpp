// jsoncodec schema: the JSON Schema of a root type, generated at build time
// from the library's record tables (schemas.h).
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "schemas.h"

namespace tool {

int schema_command(const Settings &settings) {
    const std::string &type = settings.operands.front();  // a root type's name: the command line checked it
    for (size_t i = 0; i < jsoncodec_schema_count; i++) {
        if (type == jsoncodec_schemas[i].type) {
            fputs(settings.strict ? jsoncodec_schemas[i].strict_text : jsoncodec_schemas[i].text, stdout);
            return finish_standard_output();
        }
    }
    say("no schema was built for the type '%s'", type.c_str());
    return EXIT_TROUBLE;
}

}  // namespace tool
