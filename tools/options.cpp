// The command line (see options.h).
#include "options.h"

#include <getopt.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "checker.h"
#include "terminal.h"

#ifndef JSONCODEC_VERSION
#error "JSONCODEC_VERSION must be defined by the build"
#endif

namespace tool {
namespace {

// The commands an option applies to.
enum : unsigned { ON_CHECK = 1, ON_FORMAT = 2, ON_SCHEMA = 4, ON_ALL = 7, ON_LSP = 8 };
constexpr const char *COMMAND_NAMES[] = {"check", "format", "schema", "lsp"};

// The codes of the options without a short form, past every character.
enum Code {
    TYPE = 256,
    FIRST,
    MAX_FAULTS,
    FORMAT,
    STRICT,
    NO_WARNINGS,
    COLOR,
    COMPACT,
    CHECK,
    DROP_UNKNOWN,
    STDIO,
    VERSION
};

struct Entry {
    const char *name;
    int code;           // the short option's letter, or a Code
    int argument;       // no_argument, required_argument or optional_argument
    const char *value;  // the argument's name in --help
    unsigned commands;  // those it applies to; 0: it stands alone
    const char *help;   // one line of --help, after the commands; nullptr: in the synopsis only
};

// Every option of the tool.
constexpr Entry OPTIONS[] = {
    {"type", TYPE, required_argument, "TYPE", ON_CHECK | ON_FORMAT, "decode as TYPE, not as the keys tell"},
    {"first", FIRST, no_argument, nullptr, ON_CHECK, "only the first error, the library's own"},
    {"max-faults", MAX_FAULTS, required_argument, "N", ON_CHECK, "the first N findings of each file (0: all)"},
    {"format", FORMAT, required_argument, "FORM", ON_CHECK, "text, or json, sarif or github on standard output"},
    {"strict", STRICT, no_argument, nullptr, ON_ALL, "warnings are errors; schema: no unknown properties"},
    {"no-warnings", NO_WARNINGS, no_argument, nullptr, ON_CHECK | ON_FORMAT, "do not show warnings"},
    {"color", COLOR, optional_argument, "WHEN", ON_CHECK | ON_FORMAT, "colour the text: auto, always or never"},
    {"compact", COMPACT, no_argument, nullptr, ON_FORMAT, "one line, without blanks"},
    {"in-place", 'i', no_argument, nullptr, ON_FORMAT, "rewrite each FILE in canonical form"},
    {"check", CHECK, no_argument, nullptr, ON_FORMAT, "list the files not in canonical form"},
    {"drop-unknown", DROP_UNKNOWN, no_argument, nullptr, ON_FORMAT, "let -i drop the properties a type lacks"},
    // What language clients pass by habit; lsp speaks on standard input and
    // output in any case. Shown in the synopsis only, to keep --help to one
    // screen.
    {"stdio", STDIO, no_argument, nullptr, ON_LSP, nullptr},
    {"help", 'h', no_argument, nullptr, ON_ALL | ON_LSP, "print this help"},
    {"version", VERSION, no_argument, nullptr, 0, "print the version (alone)"},
};

// The pairs of options that exclude each other.
constexpr int EXCLUSIVE[][2] = {{FIRST, MAX_FAULTS}, {STRICT, NO_WARNINGS}, {STRICT, DROP_UNKNOWN}, {'i', CHECK}};

constexpr const char USAGE[] =
    "usage: jsoncodec check [OPTION]... [FILE | FOLDER]...\n"
    "       jsoncodec format [OPTION]... [FILE]\n"
    "       jsoncodec format [OPTION]... (-i FILE... | --check [FILE | FOLDER]...)\n"
    "       jsoncodec schema [--strict] TYPE\n"
    "       jsoncodec lsp [--stdio]\n";

const Entry *find_entry(int code) {
    for (const Entry &entry : OPTIONS)
        if (entry.code == code) return &entry;
    return nullptr;
}

// "-i" for an option with a short form, else "--name".
std::string display_name(const Entry &entry) {
    return entry.code < 256 ? std::string{'-', static_cast<char>(entry.code)} : std::string("--") + entry.name;
}

// "check", "check and format", "check, format and schema".
std::string command_list(unsigned commands) {
    std::string list;
    for (unsigned i = 0, left = commands; i < std::size(COMMAND_NAMES); ++i) {
        if ((commands & 1u << i) == 0) continue;
        left &= ~(1u << i);
        list += COMMAND_NAMES[i];
        if (left != 0) list += (left & (left - 1)) != 0 ? ", " : " and ";
    }
    return list;
}

void print_help() {
    fputs(USAGE, stdout);
    fputs("Check, reformat and describe the backup server's configuration documents.\n\n", stdout);
    for (const Entry &entry : OPTIONS) {
        if (entry.help == nullptr) continue;
        std::string name = entry.code < 256 ? display_name(entry) + ", " : "";
        name += std::string("--") + entry.name;
        if (entry.argument == required_argument) name += std::string("=") + entry.value;
        if (entry.argument == optional_argument) name += std::string("[=") + entry.value + "]";
        const std::string where =
            (entry.commands & ON_ALL) != ON_ALL && entry.commands != 0 ? command_list(entry.commands) + ": " : "";
        printf("  %-18s%s%s\n", name.c_str(), where.c_str(), entry.help);
    }
    printf("TYPE is one of %s.\n", type_names().c_str());
    fputs(
        "A FOLDER stands for the *.json files below it; '-' or no FILE: standard input.\n"
        "Exit status: 0 valid (warnings alone too), 1 refused, 2 bad usage or trouble.\n"
        "The manual page jsoncodec(1) says more.\n",
        stdout);
}

int usage_error(const std::string &message, const char *argument = nullptr) {
    if (argument != nullptr)
        say("%s '%s'", message.c_str(), argument);
    else
        say("%s", message.c_str());
    fputs(USAGE, stderr);
    fputs("Try 'jsoncodec --help' for more information.\n", stderr);
    return EXIT_TROUBLE;
}

// The message for an option getopt_long() refused: unknown or ambiguous,
// without its argument, or with one it does not take.
int refused_option(bool missing_argument, int code, const char *given) {
    const Entry *entry = find_entry(code);
    if (entry != nullptr && missing_argument) return usage_error(display_name(*entry) + " needs " + entry->value);
    if (entry != nullptr) return usage_error(display_name(*entry) + " takes no value, not", given);
    if (code != 0) {
        const char short_option[] = {'-', static_cast<char>(code), '\0'};
        return usage_error("unknown option", short_option);
    }
    const std::string_view typed = std::string_view(given).substr(0, std::strcspn(given, "="));
    int starts = 0;
    for (const Entry &known : OPTIONS)
        if (typed.size() > 2 && std::string_view(known.name).starts_with(typed.substr(2))) ++starts;
    return usage_error(starts > 1 ? "ambiguous option" : "unknown option", given);
}

bool is_type_name(std::string_view name) {
    for (std::string_view known : root_type_names())
        if (name == known) return true;
    return false;
}

// Takes the value of one option into `settings`. Returns -1, or the exit
// status of a usage error.
int take(const Entry &entry, const char *value, Settings &settings) {
    switch (entry.code) {
        case TYPE:
            if (!is_type_name(value)) return usage_error("unknown type", value);
            settings.type = value;
            return -1;
        case MAX_FAULTS: {
            char *end = nullptr;
            errno = 0;
            const unsigned long long number = value[0] >= '0' && value[0] <= '9' ? std::strtoull(value, &end, 10) : 0;
            if (end == nullptr || *end != '\0' || errno != 0)
                return usage_error("--max-faults takes a number, not", value);
            settings.max_faults = static_cast<size_t>(number);
            return -1;
        }
        case FORMAT: {
            constexpr const char *names[] = {"text", "json", "sarif", "github"};
            for (size_t i = 0; i < std::size(names); ++i)
                if (std::strcmp(value, names[i]) == 0) settings.format = static_cast<Format>(i);
            if (std::strcmp(value, names[static_cast<size_t>(settings.format)]) == 0) return -1;
            return usage_error("--format takes text, json, sarif or github, not", value);
        }
        case COLOR:
            if (value == nullptr || std::strcmp(value, "always") == 0)
                settings.colour = ColourChoice::always;
            else if (std::strcmp(value, "auto") == 0)
                settings.colour = ColourChoice::automatic;
            else if (std::strcmp(value, "never") == 0)
                settings.colour = ColourChoice::never;
            else
                return usage_error("--color takes auto, always or never, not", value);
            return -1;
        case FIRST: settings.first = true; return -1;
        case STRICT: settings.strict = true; return -1;
        case NO_WARNINGS: settings.warnings = false; return -1;
        case COMPACT: settings.compact = true; return -1;
        case DROP_UNKNOWN: settings.drop_unknown = true; return -1;
        case 'i': settings.destination = Destination::in_place; return -1;
        case CHECK: settings.destination = Destination::compare; return -1;
        default: return -1;
    }
}

// The operands' rules, once the options are read.
int check_operands(Settings &settings) {
    const std::vector<std::string> &operands = settings.operands;
    if (settings.command == Command::lsp)
        return operands.empty() ? -1 : usage_error("lsp takes no operand, not", operands[0].c_str());
    if (settings.command == Command::schema) {
        if (operands.size() != 1)
            return usage_error(operands.empty() ? "schema needs a type name" : "schema takes one type name, not",
                               operands.empty() ? nullptr : operands[1].c_str());
        return is_type_name(operands[0]) ? -1 : usage_error("unknown type", operands[0].c_str());
    }
    if (settings.command == Command::format && settings.destination == Destination::output && operands.size() > 1)
        return usage_error("format takes one file (or -i or --check and several), not also", operands[1].c_str());
    int standard_input = 0;
    for (const std::string &operand : operands)
        if (operand == "-" && standard_input++ > 0) return usage_error("standard input ('-') named more than once");
    if (settings.destination == Destination::in_place && (operands.empty() || standard_input > 0))
        return usage_error("-i needs files, not standard input");
    return -1;
}

}  // namespace

void say(const char *format, ...) {
    char brief[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(brief, sizeof brief, format, arguments);
    va_end(arguments);
    // A message longer than `brief` is written again, whole, into its own
    // block; `brief` holds only its start.
    const size_t size = length < 0 ? 0 : static_cast<size_t>(length);
    std::string message(size, '\0');
    if (size < sizeof brief) {
        message.assign(brief, size);
    } else {
        va_start(arguments, format);
        vsnprintf(message.data(), size + 1, format, arguments);
        va_end(arguments);
    }
    fprintf(stderr, "jsoncodec: %s\n", shown(message).c_str());
}

std::string type_names() {
    std::string names;
    for (std::string_view name : root_type_names()) names.append(names.empty() ? "" : ", ").append(name);
    return names;
}

int finish_standard_output() {
    errno = 0;
    fflush(stdout);  // a failed write, in the flush or before it, sets the error indicator
    if (!ferror(stdout)) return 0;
    say("cannot write standard output: %s", errno != 0 ? strerror(errno) : "write error");
    return EXIT_TROUBLE;
}

int parse_command_line(int argc, char **argv, Settings &settings) {
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; i++) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            print_help();
            return finish_standard_output();
        }
    }
    if (argc < 2) return usage_error("missing command");
    if (std::strcmp(argv[1], "--version") == 0) {
        if (argc > 2) return usage_error("--version takes no other argument, not", argv[2]);
        puts("jsoncodec " JSONCODEC_VERSION);
        return finish_standard_output();
    }
    unsigned command = 0;
    for (unsigned i = 0; i < std::size(COMMAND_NAMES); ++i)
        if (std::strcmp(argv[1], COMMAND_NAMES[i]) == 0) command = 1u << i, settings.command = static_cast<Command>(i);
    if (command == 0) return usage_error("unknown command", argv[1]);

    option long_options[std::size(OPTIONS) + 1] = {};
    std::string short_options = ":";
    for (size_t i = 0; i < std::size(OPTIONS); ++i) {
        long_options[i] = {OPTIONS[i].name, OPTIONS[i].argument, nullptr, OPTIONS[i].code};
        if (OPTIONS[i].code < 256) short_options += static_cast<char>(OPTIONS[i].code);
    }
    // getopt_long() reads the options after the command and gathers the
    // operands behind them.
    const int count = argc - 1;
    char **const args = argv + 1;
    opterr = 0;  // the messages are the tool's own
    bool seen[std::size(OPTIONS)] = {};
    for (int code; (code = getopt_long(count, args, short_options.c_str(), long_options, nullptr)) != -1;) {
        const char *given = args[optind - 1];  // the option, or the value after it
        if (code == '?' || code == ':') return refused_option(code == ':', optopt, given);
        const Entry &entry = *find_entry(code);
        if (code == 'h') {  // within a cluster of short options: alone, it was answered before
            print_help();
            return finish_standard_output();
        }
        if (entry.commands == 0) return usage_error(display_name(entry) + " takes no other argument");
        if ((entry.commands & command) == 0)
            return usage_error(display_name(entry) + " applies to " + command_list(entry.commands) + " only");
        bool &again = seen[&entry - OPTIONS];
        if (again && entry.argument == required_argument)
            return usage_error(display_name(entry) + " given more than once");
        again = true;
        if (const int status = take(entry, optarg, settings); status >= 0) return status;
    }
    for (const auto &pair : EXCLUSIVE) {
        const Entry &one = *find_entry(pair[0]), &other = *find_entry(pair[1]);
        if (seen[&one - OPTIONS] && seen[&other - OPTIONS])
            return usage_error(display_name(one) + " and " + display_name(other) + " exclude each other");
    }
    settings.operands.assign(args + optind, args + count);
    return check_operands(settings);
}

}  // namespace tool
