// jsoncodec - check, reformat and describe configuration documents with
// libjsoncodec: check, format and schema, and lsp, the language server
// for editors (see jsoncodec.1). Every
// judgement about a document is the library's; the tool tells a document's
// type from its keys, places each finding in the text and shows it.
#include <clocale>
#include <cstddef>
#include <new>

#include "commands.h"
#include "options.h"

int main(int argc, char **argv) {
    // The caret under a source line is placed by the width of its
    // characters on the user's terminal.
    std::setlocale(LC_CTYPE, "");
    try {
        tool::Settings settings;
        if (const int status = tool::parse_command_line(argc, argv, settings); status >= 0) return status;
        // In the order of tool::Command.
        constexpr int (*COMMANDS[])(const tool::Settings &) = {tool::check_command, tool::format_command,
                                                               tool::schema_command, tool::lsp_command};
        return COMMANDS[static_cast<size_t>(settings.command)](settings);
    } catch (const std::bad_alloc &) {
        tool::say("out of memory");  // short enough to need no allocation
    }
    return tool::EXIT_TROUBLE;
}
