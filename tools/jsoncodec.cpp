// jsoncodec - check, reformat and describe configuration documents with
// libjsoncodec: check, format and schema, and lsp, the language server
// for editors (see jsoncodec.1). Every
// judgement about a document is the library's; the tool tells a document's
// type from its keys, places each finding in the text and shows it.
#include <clocale>
#include <new>

#include "commands.h"
#include "options.h"

int main(int argc, char **argv) {
    // The caret under a source line is placed by the width of its
    // characters on the user's terminal.
    std::setlocale(LC_CTYPE, "");
    tool::Settings settings;
    if (const int status = tool::parse_command_line(argc, argv, settings); status >= 0) return status;
    try {
        switch (settings.command) {
            case tool::Command::check: return tool::check_command(settings);
            case tool::Command::format: return tool::format_command(settings);
            case tool::Command::schema: return tool::schema_command(settings);
            case tool::Command::lsp: return tool::lsp_command(settings);
        }
    } catch (const std::bad_alloc &) {
        tool::say("out of memory");
    }
    return tool::EXIT_TROUBLE;
}
