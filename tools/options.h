// The tool's command line: one table of options drives their parsing, the
// checks of which command each applies to, and the option list of --help.
// What a command line asks of a run is a Settings.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

// Exit statuses: 0 every document valid (warnings alone included).
constexpr int EXIT_REFUSED = 1;  // a document refused, or warnings under --strict
constexpr int EXIT_TROUBLE = 2;  // bad usage, a file not checked, output that cannot be written

// The most findings check reports of one file unless --max-faults says
// otherwise: more than any real document has, few enough that those of a
// machine-made one cannot exhaust memory.
constexpr size_t DEFAULT_MAX_FAULTS = 10000;

enum class Command { check, format, schema, lsp };
// How check reports: text on standard error, or on standard output one
// JSON array, one SARIF log, or GitHub Actions workflow commands.
enum class Format { text, json, sarif, github };
// Where format puts the canonical text: on standard output, over the file
// itself (-i), or nowhere, only comparing it with the file (--check).
enum class Destination { output, in_place, compare };
enum class ColourChoice { automatic, always, never };

struct Settings {
    Command command = Command::check;
    std::string type;  // --type; empty: told by each document's keys
    bool first = false;
    size_t max_faults = DEFAULT_MAX_FAULTS;  // 0: no limit
    bool strict = false;                     // warnings are errors
    bool warnings = true;                    // shown; --no-warnings hides them
    bool drop_unknown = false;
    bool compact = false;
    Destination destination = Destination::output;
    Format format = Format::text;
    ColourChoice colour = ColourChoice::automatic;
    std::vector<std::string> operands;  // files, folders or "-"; schema: the type
};

// Reads the command line into `settings`. Returns -1 when the run goes on;
// else the exit status of a run that ends here: 0 after --help or
// --version, EXIT_TROUBLE after a message on bad usage.
int parse_command_line(int argc, char **argv, Settings &settings);

// Prints "jsoncodec: " and the formatted message, and a newline, on
// standard error.
void say(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The root types' names, joined by ", ".
std::string type_names();

// Flushes standard output; 0, or EXIT_TROUBLE after a message when that
// failed.
int finish_standard_output();

}  // namespace tool
