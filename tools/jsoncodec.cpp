// jsoncodec - check, reformat and describe configuration documents with
// libjsoncodec.
//
//   jsoncodec check  [--type T] [--first | --max-faults=N] [--strict | --no-warnings]
//                    [--format=text|json|sarif|github] [--color=WHEN] [FILE...]
//   jsoncodec format [--type T] [--compact] [--strict | --no-warnings] [--color=WHEN] [FILE]
//   jsoncodec format [--type T] [--compact] [--strict | --no-warnings | --drop-unknown] [--color=WHEN]
//                    (-i | --check) FILE...
//   jsoncodec schema [--strict] T
//
// The tool reads the input and converts it with the library as its root
// type; every judgement about a document is the library's, but for a NUL
// byte, which the library cannot be shown (it reads a C string): the tool
// refuses the text at that byte. check goes through the library's checking
// walk (checker.h), which reports every fault with its place, and a warning
// for each property a record's type does not know (the library ignores
// those, and format drops them); format calls the exports, and the walk too
// for the warnings, so that no value is dropped unasked. Without --type the tool parses the document itself (with
// jansson) only to see which root type's name property the top-level object
// holds. The schemas it prints are generated at build time from the
// library's record tables (schemas.h).
//
// Exit status: 0 success (warnings alone included), 1 a document was refused
// (its faults are on standard error, or on standard output for programs),
// or holds unknown properties that --strict counts or format -i would drop,
// 2 bad usage, a
// document whose type cannot be told, a file format -i will not replace, or
// an input or output failure.
#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <jansson.h>

#include "checker.h"
#include "files.h"
#include "jsoncodec.h"
#include "report.h"
#include "root_types.h"
#include "schemas.h"

#ifndef JSONCODEC_VERSION
#error "JSONCODEC_VERSION must be defined by the build"
#endif

namespace {

using namespace tool;

constexpr int EXIT_REFUSED = 1;
constexpr int EXIT_USAGE = 2;

constexpr size_t ERRBUF_SIZE = 1024;

// The most faults check reports of one document unless --max-faults says
// otherwise: more than any real document has, few enough that the faults of
// a machine-made one cannot exhaust memory.
constexpr unsigned long DEFAULT_MAX_FAULTS = 10000;

// How messages name standard input.
#define STDIN_LABEL "(standard input)"

// Decodes `text` as a T and encodes the tree back into new text stored in
// *out_json (release it with free()): the format command. The tree is
// released before returning. One wrapper per type keeps every library call
// at its own signature, so the table below can hold a single pointer type.
#define DEFINE_CONVERT(T, name_property, short_name)                                                        \
    int32_t convert_##T(const char *text, char **out_json, int32_t pretty, char *errbuf, uint64_t errlen) { \
        T *tree = nullptr;                                                                                  \
        int32_t status = rmqc_json_to_##T(&tree, text, errbuf, errlen);                                     \
        if (status == RMQC_OK) status = rmqc_json_from_##T(tree, out_json, errbuf, errlen, pretty);         \
        rmqc_free_##T(tree);                                                                                \
        return status;                                                                                      \
    }
JSONCODEC_ROOT_TYPES(DEFINE_CONVERT)
#undef DEFINE_CONVERT

using ConvertFn = int32_t (*)(const char *text, char **out_json, int32_t pretty, char *errbuf, uint64_t errlen);

struct RootType {
    const char *name;
    const char *name_property;  // nullptr: the type is never told from a document
    ConvertFn convert;
};

#define TABLE_ENTRY(T, name_property, short_name) {#T, name_property, convert_##T},
const RootType root_types[] = {JSONCODEC_ROOT_TYPES(TABLE_ENTRY)};
#undef TABLE_ENTRY

enum class Command { check, format, schema };
// How check reports: compiler-style text on standard error, or on standard
// output one JSON array or one SARIF log for the run, or GitHub Actions
// workflow commands.
enum class Output { text, json, sarif, github };
// Where format puts the canonical text: on standard output, over the file
// itself (-i), or nowhere, only comparing it with the file (--check).
enum class Destination { output, in_place, compare };

// What the command line asks of each file.
struct Run {
    Command command = Command::check;
    const RootType *type = nullptr;  // nullptr: told by each document
    bool compact = false;            // format --compact
    Destination destination = Destination::output;
    bool first = false;                             // check --first
    unsigned long max_faults = DEFAULT_MAX_FAULTS;  // check --max-faults; 0: no limit
    bool colour = false;                            // whether the fault text is coloured
    bool strict = false;                            // --strict: warnings refuse the document
    bool warnings = true;                           // shown; --no-warnings hides them
    bool drop_unknown = false;                      // format --drop-unknown
    Output output = Output::text;                   // check --format
    json_t *json = nullptr;  // --format=json: the array of faults; sarif: the results; else nullptr
};

const RootType *find_root_type(std::string_view name) {
    for (const RootType &type : root_types)
        if (name == type.name) return &type;
    return nullptr;
}

void print_type_names(FILE *to) {
    const char *separator = "";
    for (const RootType &type : root_types) {
        fprintf(to, "%s%s", separator, type.name);
        separator = ", ";
    }
}

constexpr const char synopsis[] =
    "usage: jsoncodec check  [--type TYPE] [--first | --max-faults=N]\n"
    "                        [--strict | --no-warnings] [--color=WHEN]\n"
    "                        [--format=text|json|sarif|github] [FILE...]\n"
    "       jsoncodec format [--type TYPE] [--compact] [--strict | --no-warnings]\n"
    "                        [--color=WHEN] [FILE]\n"
    "       jsoncodec format [--type TYPE] [--compact]\n"
    "                        [--strict | --no-warnings | --drop-unknown]\n"
    "                        [--color=WHEN] (-i | --check) FILE...\n"
    "       jsoncodec schema [--strict] TYPE\n"
    "       jsoncodec --help | --version\n";

void print_help(FILE *to) {
    fputs(synopsis, to);
    fputs(
        "\n"
        "Check, reformat and describe the JSON configuration documents of the\n"
        "backup server (policies, workflows, actions, rules, item definitions)\n"
        "with libjsoncodec.\n"
        "\n"
        "Commands:\n"
        "  check   Decode each FILE as its root type. A valid document prints\n"
        "          nothing. A refused one prints each of its faults on standard\n"
        "          error, in file order, as a compiler does: the place, the\n"
        "          library's diagnostic line, the source line with a caret under\n"
        "          the place, and a note when a refused text is close to an\n"
        "          allowed one, or when a text that does not parse has a plain\n"
        "          reason (a byte-order mark, \\u0000 in a text, no JSON at all), e.g.\n"
        "            examples/rule-faulty.json:15:36: error: <rule>.ruleItem_Def...\n"
        "                15 |             \"item_definitionType\": 1,\n"
        "                   |                                    ^\n"
        "          LINE and COLUMN count from 1; the column counts characters, and\n"
        "          the caret is placed by their width on the terminal. The place\n"
        "          is the start of the faulty value; for a missing property, the\n"
        "          opening brace of the object that lacks it; for a text that does\n"
        "          not parse, where the JSON parser stopped. A union that matches\n"
        "          none of its members is one fault, placed where its closest\n"
        "          member failed. A text holding a NUL byte is refused there:\n"
        "            FILE:LINE:COLUMN: error: the text holds a NUL byte\n"
        "          Every FILE is checked, whatever happened to the ones before.\n"
        "          A property that its record's type does not know, which the\n"
        "          library ignores (and format drops), is a warning at its key,\n"
        "          with a note naming the type's property within two edits (or a\n"
        "          change of case) when there is one; a missing property that\n"
        "          such a key was likely meant to be gets the same note (also in\n"
        "          a union member that did not match):\n"
        "            FILE:3:5: warning: <data_protection_policy>: property\n"
        "              'PolicyComment' is not part of 'data_protection_policy'...\n"
        "            FILE:3:5: note: did you mean 'policyComment'?\n"
        "          Errors and warnings come in file order. Warnings alone leave\n"
        "          the exit status 0.\n"
        "  format  Decode FILE and encode it again to standard output, indented by\n"
        "          four blanks, or on one line with --compact, followed by a\n"
        "          newline. Properties come out in record order; properties the\n"
        "          type does not know are dropped, each with a warning on standard\n"
        "          error. That text is the document's canonical form.\n"
        "          -i rewrites each FILE that is not in canonical form with its\n"
        "          formatted text, atomically: a new file in the same folder,\n"
        "          given the file's owner, group and mode, renamed over it. It\n"
        "          leaves untouched, with exit status 2, a FILE that is not a\n"
        "          regular file, has more than one hard link, may not be written\n"
        "          by the user, or whose owner and group a new file cannot be\n"
        "          given; and, with exit status 1, a refused FILE, whose first\n"
        "          fault it reports as check --first does; also with exit status\n"
        "          1, a FILE with properties its type does not know, whose values\n"
        "          formatting would drop, unless --drop-unknown is given. Stopped\n"
        "          by SIGINT, SIGTERM or SIGHUP, it removes its new file first.\n"
        "          --check changes nothing: it lists on standard output each\n"
        "          FILE not in canonical form and exits 1 if there is one; for a\n"
        "          FILE with unknown properties it says so on standard error.\n"
        "  schema  Print the JSON Schema (draft 2020-12) of the root type TYPE,\n"
        "          generated from the library's own record tables. Properties\n"
        "          not listed are allowed, as the library ignores them; with\n"
        "          --strict every record has \"additionalProperties\": false, so\n"
        "          that an editor flags them as check does.\n"
        "\n"
        "Options:\n"
        "  --type TYPE, --type=TYPE\n"
        "             decode as TYPE instead of telling the type from the document\n"
        "  --first    (check) report only each document's first fault, the one\n"
        "             the library's rmqc_json_to_ functions report\n"
        "  --max-faults=N\n"
        "             (check) report no more than the first N faults the check\n"
        "             meets in a document, and say so when it stops there;\n"
        "             0: no limit (the default is 10000); not with --first\n"
        "  --strict   (check, format) count warnings as errors: a document with\n"
        "             unknown properties is refused (exit status 1), and format\n"
        "             writes nothing for it; like a compiler's -Werror\n"
        "  --no-warnings\n"
        "             (check, format) do not show warnings; not with --strict\n"
        "  --drop-unknown\n"
        "             (format) let -i rewrite a file whose unknown properties it\n"
        "             drops; not with --strict\n"
        "  --format=text|json|sarif|github\n"
        "             (check) text (the default), or on standard output:\n"
        "             json: one JSON array for the whole run, with an object per\n"
        "             fault: file, line, column, severity (error or warning),\n"
        "             path (an RFC 6901 JSON Pointer to the value; for a missing\n"
        "             property, where it belongs; for an unknown one, its key),\n"
        "             status (the library's status code; 0 for a warning),\n"
        "             message (the library's line, or the one of a NUL byte)\n"
        "             and, when there is a 'did you mean' note, hint (the\n"
        "             allowed text); [] when every document is valid.\n"
        "             sarif: one SARIF 2.1.0 log for the run, for code-scanning\n"
        "             services: the tool, its rules (invalid-json,\n"
        "             missing-property, invalid-value, unknown-property), each\n"
        "             finding with its rule, level, message, file (as a relative\n"
        "             URI when FILE is relative) and line and column (counting\n"
        "             characters: columnKind unicodeCodePoints).\n"
        "             github: one GitHub Actions workflow command per finding,\n"
        "             ::error file=FILE,line=LINE,col=COLUMN::MESSAGE (or\n"
        "             ::warning), which the job's log shows as annotations\n"
        "  --color[=WHEN]\n"
        "             colour the faults: auto (the default: when standard error\n"
        "             is a terminal and NO_COLOR is not set), always or never;\n"
        "             --color alone is always\n"
        "  --compact  (format) one line, without blanks after separators\n"
        "  -i, --in-place  (format) rewrite each FILE in canonical form\n"
        "  --check    (format) list the FILEs not in canonical form; not with -i\n"
        "  -h, --help print this text and exit\n"
        "  --version  print the version and exit (alone)\n"
        "  --         end of options: the arguments after it are files\n"
        "Options and files can come in any order; a long option can be shortened\n"
        "while it stays unambiguous.\n"
        "\n"
        "TYPE is one of: ",
        to);
    print_type_names(to);
    fputs(
        ".\n"
        "\n"
        "FILE is read whole. '-', or no FILE at all, means standard input, which\n"
        "can be named once; messages call it '" STDIN_LABEL
        "'. Control characters\n"
        "in a file name are shown as '?' in messages.\n"
        "\n"
        "Type detection: without --type, a document's type is the one whose name\n"
        "property its top-level object holds:\n",
        to);
    for (const RootType &type : root_types)
        if (type.name_property != nullptr) fprintf(to, "  %-13s %s\n", type.name_property, type.name);
    fputs(
        "An item_definition has no name property: it always needs --type. So does\n"
        "a document that is not a JSON object, or that holds none or more than one\n"
        "of these properties; without --type it ends with exit status 2 (the\n"
        "message of a document that does not parse starts FILE:LINE:COLUMN:).\n"
        "\n"
        "Exit status (with several files, the highest one applies):\n"
        "  0  success: every document is valid (warnings alone included)\n"
        "  1  at least one document was refused; with --strict, or for format -i\n"
        "     without --drop-unknown, one holds properties its type does not know\n"
        "  2  bad usage (unknown command, option or type, a missing argument,\n"
        "     options that exclude each other, an argument too many), a document\n"
        "     whose type cannot be told, a file that cannot be opened or read, a\n"
        "     file format -i leaves untouched, or output (standard output or\n"
        "     standard error) that cannot be written\n"
        "A signal that stops format -i ends it with that signal's status.\n"
        "\n"
        "Examples:\n"
        "  jsoncodec check examples/rule.json examples/policy.json\n"
        "  jsoncodec check --type item_definition examples/item_definition.json\n"
        "  jsoncodec check --format=json examples/*.json > faults.json\n"
        "  jsoncodec check --strict --format=sarif config/*.json > jsoncodec.sarif\n"
        "  jsoncodec format --compact examples/rule.json\n"
        "  jsoncodec format --type workflow - < workflow.json\n"
        "  jsoncodec format -i examples/*.json\n"
        "  jsoncodec format --check examples/*.json\n"
        "  jsoncodec schema rule > rule.schema.json\n"
        "  jsoncodec schema --strict rule > rule.strict.schema.json\n",
        to);
}

int usage_error(const char *message, const char *argument = nullptr) {
    if (argument != nullptr)
        fprintf(stderr, "jsoncodec: %s '%s'\n", message, printable(argument).c_str());
    else
        fprintf(stderr, "jsoncodec: %s\n", message);
    fputs(synopsis, stderr);
    fputs("Try 'jsoncodec --help' for more information.\n", stderr);
    return EXIT_USAGE;
}

// Flushes standard output; 0, or EXIT_USAGE after a message when it failed.
int finish_output() {
    errno = 0;
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "jsoncodec: cannot write standard output: %s\n", errno != 0 ? strerror(errno) : "write error");
        return EXIT_USAGE;
    }
    return 0;
}

// Reads FILE, or standard input for nullptr; for format -i through
// `rewritable`, which it opens. Reports its own failures.
bool read_input(const char *path, Rewritable *rewritable, Input &in) {
    int error;
    if (rewritable != nullptr) {
        if (!open_rewritable(path, *rewritable)) return false;
        error = read_all(rewritable->fd, in);
    } else if (path == nullptr) {
        error = read_all(STDIN_FILENO, in);
    } else {
        int fd = open(path, O_RDONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) {
            fprintf(stderr, "jsoncodec: cannot open '%s': %s\n", printable(path).c_str(), strerror(errno));
            return false;
        }
        error = read_all(fd, in);
        close(fd);  // opened for reading only: nothing is lost if this fails
    }
    if (error != 0 && path == nullptr)
        fprintf(stderr, "jsoncodec: cannot read standard input: %s\n", strerror(error));
    else if (error != 0)
        fprintf(stderr, "jsoncodec: cannot read '%s': %s\n", printable(path).c_str(), strerror(error));
    return error == 0;
}

// Shows `faults` of `text`, read from `label`, in the run's output; the
// warnings only when the run shows them. Returns 0, or EXIT_USAGE when
// memory ran out.
int show_faults(const Run &run, const std::string &label, std::string_view text, const std::vector<Fault> &all) {
    std::vector<Fault> errors;
    if (!run.warnings)
        for (const Fault &fault : all)
            if (fault.severity == Severity::error) errors.push_back(fault);
    const std::vector<Fault> &faults = run.warnings ? all : errors;
    bool appended = true;
    switch (run.output) {
        case Output::text: print_faults(stderr, label, text, faults, run.colour); break;
        case Output::github: print_workflow_commands(stdout, label, faults); break;
        case Output::json: appended = append_faults(run.json, label, faults); break;
        case Output::sarif: appended = append_sarif_results(run.json, label, faults); break;
    }
    if (appended) return 0;
    fprintf(stderr, "jsoncodec: %s: out of memory while checking the document\n", printable(label).c_str());
    return EXIT_USAGE;
}

// Reports the findings of `text`, read from `label`: every error, or with
// `first` only the one the export reports, and the warnings. Returns the
// exit status of the document: 0 valid (with warnings too, unless the run
// is strict), 1 refused, 2 when its type cannot be told or memory ran out.
int report_checked(const Run &run, const std::string &label, const std::string &text, Verdict verdict,
                   const Checked &checked) {
    if (verdict == Verdict::out_of_memory) {
        fprintf(stderr, "jsoncodec: %s: out of memory while checking the document\n", printable(label).c_str());
        return EXIT_USAGE;
    }
    if (verdict == Verdict::untyped) {
        fprintf(stderr, "jsoncodec: %s: cannot tell the document's type: %s; give --type TYPE, TYPE one of: ",
                printable(label).c_str(), checked.why.c_str());
        print_type_names(stderr);
        fputs("\n", stderr);
        return EXIT_USAGE;
    }
    if (checked.faults.empty()) return 0;
    if (int status = show_faults(run, label, text, checked.faults); status != 0) return status;
    if (checked.left_out > 0)
        fprintf(stderr, "jsoncodec: %s: %zu more findings are not shown; --max-faults=N sets the limit (0: none)\n",
                printable(label).c_str(), checked.left_out);
    return verdict == Verdict::refused || (run.strict && checked.warnings > 0) ? EXIT_REFUSED : 0;
}

// Puts the canonical text `json` of the document read from `path` (whose
// text was `text`, with `unknown` properties its type does not know, which
// the canonical text lacks) where the run's destination says; but, so that
// no value is dropped unasked, not over the file without --drop-unknown,
// and nowhere under --strict.
int put_formatted(const Run &run, const char *path, const Rewritable &file, const std::string &text,
                  std::string_view json, size_t unknown) {
    const std::string name = path != nullptr ? printable(path) : STDIN_LABEL;
    if (unknown > 0 && run.strict && run.destination != Destination::compare) {
        fprintf(stderr, "jsoncodec: %s: not formatted: --strict refuses the %zu propert%s its type does not know\n",
                name.c_str(), unknown, unknown == 1 ? "y" : "ies");
        return EXIT_REFUSED;
    }
    if (unknown > 0 && run.destination == Destination::in_place && !run.drop_unknown) {
        fprintf(stderr,
                "jsoncodec: cannot rewrite '%s': it holds %zu propert%s its type does not know, which format would "
                "drop; it is left untouched (--drop-unknown drops them)\n",
                name.c_str(), unknown, unknown == 1 ? "y" : "ies");
        return EXIT_REFUSED;
    }
    if (run.destination == Destination::output) {
        fwrite(json.data(), 1, json.size(), stdout);
        putchar('\n');
        return finish_output();
    }
    if (text.size() == json.size() + 1 && text.compare(0, json.size(), json) == 0 && text.back() == '\n')
        return 0;  // already canonical
    if (run.destination == Destination::in_place) return replace_file(path, file, json) ? 0 : EXIT_USAGE;
    puts(name.c_str());
    if (unknown > 0)
        fprintf(stderr,
                "jsoncodec: %s: not in canonical form: it holds %zu propert%s its type does not know, which format "
                "would drop (format -i leaves it untouched unless --drop-unknown is given)\n",
                name.c_str(), unknown, unknown == 1 ? "y" : "ies");
    return finish_output() != 0 ? EXIT_USAGE : EXIT_REFUSED;
}

// Checks or formats one document: FILE, or standard input for nullptr, as
// the run's type, or as the type told by the document when it has none.
// Returns the exit status of this document alone.
int convert_file(const Run &run, const char *path) {
    const std::string label = path != nullptr ? path : STDIN_LABEL;
    Rewritable file;
    Input in;
    if (!read_input(path, run.destination == Destination::in_place ? &file : nullptr, in)) return EXIT_USAGE;
    if (in.nul) {
        const int status = show_faults(run, label, in.text, {nul_fault(in.text)});
        return status != 0 ? status : EXIT_REFUSED;
    }
    const std::string_view type = run.type != nullptr ? run.type->name : "";
    Checked checked;
    if (run.command == Command::check) {
        const Verdict verdict =
            check_document(in.text, CheckOptions{type, run.first, run.first ? 0 : run.max_faults}, checked);
        return report_checked(run, label, in.text, verdict, checked);
    }
    char *json = nullptr;
    const Verdict verdict = format_document(in.text, type, run.compact, &json, checked);
    const std::unique_ptr<char, decltype(&std::free)> owned(json, &std::free);
    const int status = report_checked(run, label, in.text, verdict, checked);
    if (verdict != Verdict::valid || status == EXIT_USAGE) return status;
    return put_formatted(run, path, file, in.text, json, checked.warnings);
}

int print_schema(const char *type_name, bool strict) {
    if (find_root_type(type_name) == nullptr) return usage_error("unknown type", type_name);
    for (size_t i = 0; i < jsoncodec_schema_count; i++) {
        if (std::strcmp(jsoncodec_schemas[i].type, type_name) == 0) {
            fputs(strict ? jsoncodec_schemas[i].strict_text : jsoncodec_schemas[i].text, stdout);
            return finish_output();
        }
    }
    fprintf(stderr, "jsoncodec: no schema was built for the type '%s'\n", type_name);
    return EXIT_USAGE;
}

// The long options' codes, past every character a short option can be.
enum OptionCode {
    TYPE = 256,
    FIRST,
    MAX_FAULTS,
    FORMAT,
    COLOR,
    COMPACT,
    CHECK,
    VERSION,
    STRICT,
    NO_WARNINGS,
    DROP_UNKNOWN
};

const option long_options[] = {
    {"type", required_argument, nullptr, TYPE},
    {"first", no_argument, nullptr, FIRST},
    {"max-faults", required_argument, nullptr, MAX_FAULTS},
    {"format", required_argument, nullptr, FORMAT},
    {"color", optional_argument, nullptr, COLOR},
    {"compact", no_argument, nullptr, COMPACT},
    {"in-place", no_argument, nullptr, 'i'},
    {"check", no_argument, nullptr, CHECK},
    {"strict", no_argument, nullptr, STRICT},
    {"no-warnings", no_argument, nullptr, NO_WARNINGS},
    {"drop-unknown", no_argument, nullptr, DROP_UNKNOWN},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, VERSION},
    {nullptr, 0, nullptr, 0},
};

// The message for an option getopt_long() refused (it returned '?' or ':').
int refused_option(int code, const char *argument) {
    const char *name = "";
    for (const option &known : long_options)
        if (known.name != nullptr && known.val == code) name = known.name;
    switch (code) {
        case TYPE: return usage_error("--type needs a type name");
        case MAX_FAULTS: return usage_error("--max-faults takes a number");
        case FORMAT: return usage_error("--format takes text, json, sarif or github");
        case 0: {  // unknown, or a shortening that more than one option starts with
            const std::string_view typed = std::string_view(argument).substr(0, std::strcspn(argument, "="));
            int starts = 0;
            for (const option &known : long_options)
                if (known.name != nullptr && typed.size() > 2 &&
                    std::string_view(known.name).substr(0, typed.size() - 2) == typed.substr(2))
                    ++starts;
            return usage_error(starts > 1 ? "ambiguous option" : "unknown option", argument);
        }
        default: break;
    }
    if (*name == '\0') {
        const char short_option[] = {'-', static_cast<char>(code), '\0'};
        return usage_error("unknown option", short_option);
    }
    std::string message = std::string("--") + name + " takes no value, not";
    return usage_error(message.c_str(), argument);
}

}  // namespace

int main(int argc, char **argv) {
    // The caret under a source line is placed by the width of its
    // characters on the user's terminal.
    std::setlocale(LC_CTYPE, "");
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; i++) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            print_help(stdout);
            return finish_output();
        }
    }
    if (argc < 2) return usage_error("missing command");
    if (std::strcmp(argv[1], "--version") == 0) {
        if (argc > 2) return usage_error("--version takes no other argument, not", argv[2]);
        puts("jsoncodec " JSONCODEC_VERSION);
        return finish_output();
    }
    Run run;
    if (std::strcmp(argv[1], "check") == 0)
        run.command = Command::check;
    else if (std::strcmp(argv[1], "format") == 0)
        run.command = Command::format;
    else if (std::strcmp(argv[1], "schema") == 0)
        run.command = Command::schema;
    else
        return usage_error("unknown command", argv[1]);

    // The options after the command; getopt_long() gathers the operands
    // behind them.
    const int count = argc - 1;
    char **const args = argv + 1;
    const char *type_name = nullptr;
    ColourChoice colour = ColourChoice::automatic;
    bool format_given = false, max_faults_given = false;
    opterr = 0;  // the messages are the tool's own
    for (int code; (code = getopt_long(count, args, ":hi", long_options, nullptr)) != -1;) {
        const char *arg = args[optind - 1];  // the option, or the value after it
        if (code == '?' || code == ':') return refused_option(optopt, arg);
        if (code == VERSION) return usage_error("--version takes no other argument");
        if (run.command == Command::schema && code != STRICT) return usage_error("unknown option for schema", arg);
        switch (code) {
            case TYPE:
                if (type_name != nullptr) return usage_error("--type given more than once");
                type_name = optarg;
                break;
            case COLOR:
                if (optarg == nullptr || std::strcmp(optarg, "always") == 0)
                    colour = ColourChoice::always;
                else if (std::strcmp(optarg, "auto") == 0)
                    colour = ColourChoice::automatic;
                else if (std::strcmp(optarg, "never") == 0)
                    colour = ColourChoice::never;
                else
                    return usage_error("--color takes auto, always or never, not", optarg);
                break;
            case FORMAT:
                if (run.command != Command::check) return usage_error("--format applies to check only");
                if (format_given) return usage_error("--format given more than once");
                if (std::strcmp(optarg, "text") == 0)
                    run.output = Output::text;
                else if (std::strcmp(optarg, "json") == 0)
                    run.output = Output::json;
                else if (std::strcmp(optarg, "sarif") == 0)
                    run.output = Output::sarif;
                else if (std::strcmp(optarg, "github") == 0)
                    run.output = Output::github;
                else
                    return usage_error("--format takes text, json, sarif or github");
                format_given = true;
                break;
            case STRICT: run.strict = true; break;
            case NO_WARNINGS: run.warnings = false; break;
            case DROP_UNKNOWN:
                if (run.command != Command::format) return usage_error("--drop-unknown applies to format only");
                run.drop_unknown = true;
                break;
            case FIRST:
                if (run.command != Command::check) return usage_error("--first applies to check only");
                run.first = true;
                break;
            case MAX_FAULTS: {
                if (run.command != Command::check) return usage_error("--max-faults applies to check only");
                if (max_faults_given) return usage_error("--max-faults given more than once");
                char *end;
                errno = 0;
                if (optarg[0] < '0' || optarg[0] > '9' ||
                    (run.max_faults = std::strtoul(optarg, &end, 10), *end != '\0') || errno != 0)
                    return usage_error("--max-faults takes a number");
                max_faults_given = true;
                break;
            }
            case COMPACT:
                if (run.command != Command::format) return usage_error("--compact applies to format only");
                run.compact = true;
                break;
            case 'i':
            case CHECK: {
                const Destination wanted = code == 'i' ? Destination::in_place : Destination::compare;
                if (run.command != Command::format) return usage_error("-i and --check apply to format only");
                if (run.destination != Destination::output && run.destination != wanted)
                    return usage_error("-i and --check exclude each other");
                run.destination = wanted;
                break;
            }
            case 'h':  // within a cluster of short options: alone, it was answered before
                print_help(stdout);
                return finish_output();
            default: return refused_option(code, arg);
        }
    }
    if (run.first && max_faults_given) return usage_error("--first and --max-faults exclude each other");
    if (run.strict && !run.warnings) return usage_error("--strict and --no-warnings exclude each other");
    if (run.strict && run.drop_unknown) return usage_error("--strict and --drop-unknown exclude each other");
    char **operands = args + optind;
    int operand_count = count - optind;

    if (run.command == Command::schema) {
        if (operand_count != 1)
            return usage_error(operand_count == 0 ? "schema needs a type name" : "schema takes one type name, not",
                               operand_count == 0 ? nullptr : operands[1]);
        return print_schema(operands[0], run.strict);
    }

    if (type_name != nullptr && (run.type = find_root_type(type_name)) == nullptr)
        return usage_error("unknown type", type_name);
    if (run.command == Command::format && run.destination == Destination::output && operand_count > 1)
        return usage_error("format takes one file (or -i or --check and several), not also", operands[1]);
    int reads_stdin = 0;
    for (int i = 0; i < operand_count; i++)
        if (std::strcmp(operands[i], "-") == 0 && reads_stdin++ > 0)
            return usage_error("standard input ('-') named more than once");
    if (run.destination == Destination::in_place && (operand_count == 0 || reads_stdin > 0))
        return usage_error("-i needs files, not standard input");
    run.colour = use_colour(colour, stderr);
    // The faults are written a character at a time; standard error is
    // buffered and flushed after each file.
    setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
    if ((run.output == Output::json || run.output == Output::sarif) && (run.json = json_array()) == nullptr) {
        fputs("jsoncodec: out of memory\n", stderr);
        return EXIT_USAGE;
    }
    if (run.destination == Destination::in_place) catch_signals();

    static char standard_input[] = "-";
    char *no_operand[] = {standard_input};
    if (operand_count == 0) {
        operands = no_operand;
        operand_count = 1;
    }
    int status = 0;
    for (int i = 0; i < operand_count; i++) {
        const char *path = std::strcmp(operands[i], "-") == 0 ? nullptr : operands[i];
        int file_status;
        try {
            file_status = convert_file(run, path);
        } catch (const std::bad_alloc &) {
            fprintf(stderr, "jsoncodec: %s: out of memory\n", path != nullptr ? printable(path).c_str() : STDIN_LABEL);
            file_status = EXIT_USAGE;
        }
        // A message that cannot be written fails the run as output does.
        if (fflush(stderr) != 0 || ferror(stderr)) file_status = EXIT_USAGE;
        if (file_status > status) status = file_status;
    }
    if (run.output == Output::sarif && (run.json = sarif_log(run.json, JSONCODEC_VERSION)) == nullptr) {
        fputs("jsoncodec: out of memory\n", stderr);
        status = EXIT_USAGE;
    }
    if (run.json != nullptr) {
        // One array, or one log, for the whole run, also when a file could not be read.
        if (json_dumpf(run.json, stdout, JSON_INDENT(2)) != 0 || putchar('\n') == EOF) status = EXIT_USAGE;
        json_decref(run.json);
    }
    if (run.output != Output::text && finish_output() != 0) status = EXIT_USAGE;
    if (fflush(stderr) != 0 || ferror(stderr)) status = EXIT_USAGE;
    return status;
}
