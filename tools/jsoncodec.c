/*
 * jsoncodec - check, reformat and describe configuration documents with
 * libjsoncodec.
 *
 *   jsoncodec check  [--type T] [--first] [--format=text|json] [--color=WHEN] [FILE...]
 *   jsoncodec format [--type T] [--compact] [--color=WHEN] [FILE]
 *   jsoncodec format [--type T] [--compact] [--color=WHEN] (-i | --check) FILE...
 *   jsoncodec schema T
 *
 * The tool reads the input and converts it with the library as its root
 * type; every judgement about a document is the library's. check goes
 * through the library's checking walk (checker.h), which reports every
 * fault with its place; format calls the exports. Without --type the tool
 * parses the document itself (with jansson) only to see which root type's
 * name property the top-level object holds. The schemas it prints are
 * generated at build time from the library's record tables (schemas.h).
 * Exit status: 0 success, 1 a document was refused (its faults are on
 * standard error, or in the JSON array on standard output), 2 bad usage, a
 * document whose type cannot be told, or an input or output failure.
 */
#define _XOPEN_SOURCE 700 /* mkstemp, fchmod, fdopen, realpath */

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <jansson.h>

#include "checker.h"
#include "jsoncodec.h"
#include "report.h"
#include "root_types.h"
#include "schemas.h"

#ifndef JSONCODEC_VERSION
#error "JSONCODEC_VERSION must be defined by the build"
#endif

#define EXIT_REFUSED 1
#define EXIT_USAGE 2

#define ERRBUF_SIZE 1024

/* The most faults check reports of one document unless --max-faults says
 * otherwise: more than any real document has, few enough that the faults of
 * a machine-made one cannot exhaust memory. */
#define DEFAULT_MAX_FAULTS 10000

/* How messages name standard input. */
#define STDIN_LABEL "(standard input)"

/*
 * Decodes `text` as a T and encodes the tree back into new text stored in
 * *out_json (release it with free()): the format command. The tree is
 * released before returning. One wrapper per type keeps every library call
 * at its own signature, so the table below can hold a single pointer type.
 */
#define DEFINE_CONVERT(T, name_property)                                                         \
    static int32_t convert_##T(const char *text, char **out_json, int32_t pretty, char *errbuf, \
                               uint64_t errlen) {                                                \
        T *tree = NULL;                                                                          \
        int32_t status = rmqc_json_to_##T(&tree, text, errbuf, errlen);                          \
        if (status == RMQC_OK)                                                                   \
            status = rmqc_json_from_##T(tree, out_json, errbuf, errlen, pretty);                 \
        rmqc_free_##T(tree);                                                                     \
        return status;                                                                           \
    }
ROOT_TYPES(DEFINE_CONVERT)

typedef int32_t (*convert_fn)(const char *text, char **out_json, int32_t pretty, char *errbuf,
                              uint64_t errlen);

struct root_type {
    const char *name;
    const char *name_property;
    convert_fn convert;
};

#define TABLE_ENTRY(T, name_property) {#T, name_property, convert_##T},
static const struct root_type root_types[] = {ROOT_TYPES(TABLE_ENTRY)};
#define ROOT_TYPE_COUNT (sizeof root_types / sizeof root_types[0])

enum command { CHECK, FORMAT, SCHEMA };
/* Where format puts the canonical text: on standard output, over the file
 * itself (-i), or nowhere, only comparing it with the file (--check). */
enum destination { TO_OUTPUT, IN_PLACE, COMPARE };

/* What the command line asks of each file. */
struct run {
    enum command command;
    const struct root_type *type; /* NULL: told by each document */
    int compact;                  /* format --compact */
    enum destination destination; /* format: -i, --check */
    int first;                    /* check --first */
    unsigned long max_faults;     /* check --max-faults; 0: no limit */
    int colour;                   /* whether the fault text is coloured */
    json_t *json;                 /* check --format=json: the array of faults; else NULL */
};

static const struct root_type *find_root_type(const char *name) {
    size_t i;
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        if (strcmp(root_types[i].name, name) == 0)
            return &root_types[i];
    return NULL;
}

static void print_type_names(FILE *to) {
    size_t i;
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        fprintf(to, "%s%s", i > 0 ? ", " : "", root_types[i].name);
}

static void print_name_properties(FILE *to) {
    size_t i, printed = 0;
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        if (root_types[i].name_property != NULL)
            fprintf(to, "%s%s", printed++ > 0 ? ", " : "", root_types[i].name_property);
}

static const char synopsis[] =
    "usage: jsoncodec check  [--type TYPE] [--first | --max-faults=N] [--format=text|json]\n"
    "                        [--color=WHEN] [FILE...]\n"
    "       jsoncodec format [--type TYPE] [--compact] [--color=WHEN] [FILE]\n"
    "       jsoncodec format [--type TYPE] [--compact] [--color=WHEN] (-i | --check) FILE...\n"
    "       jsoncodec schema TYPE\n"
    "       jsoncodec --help | --version\n";

static void print_help(FILE *to) {
    size_t i;
    fputs(synopsis, to);
    fputs("\n"
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
          "          allowed one, e.g.\n"
          "            examples/rule-faulty.json:15:36: error: <rule>.ruleItem_Def...\n"
          "                15 |             \"item_definitionType\": 1,\n"
          "                   |                                    ^\n"
          "          LINE and COLUMN count from 1; the column counts characters. The\n"
          "          place is the start of the faulty value; for a missing property,\n"
          "          the opening brace of the object that lacks it; for a text that\n"
          "          does not parse, where the JSON parser stopped. A union that\n"
          "          matches none of its members is one fault, placed where its\n"
          "          closest member failed. Every FILE is checked, whatever happened\n"
          "          to the ones before.\n"
          "  format  Decode FILE and encode it again to standard output, indented by\n"
          "          four blanks, or on one line with --compact, followed by a\n"
          "          newline. Properties come out in record order; properties the\n"
          "          type does not know are dropped. That text is the document's\n"
          "          canonical form.\n"
          "          -i rewrites each FILE that is not in canonical form with its\n"
          "          formatted text, atomically (a new file in the same folder,\n"
          "          given the file's mode, renamed over it); a refused FILE is\n"
          "          left untouched and its first fault reported, as check --first\n"
          "          does.\n"
          "          --check changes nothing: it lists on standard output each\n"
          "          FILE not in canonical form and exits 1 if there is one.\n"
          "  schema  Print the JSON Schema (draft 2020-12) of the root type TYPE,\n"
          "          generated from the library's own record tables.\n"
          "\n"
          "Options:\n"
          "  --type TYPE, --type=TYPE\n"
          "             decode as TYPE instead of telling the type from the document\n"
          "  --first    (check) report only each document's first fault, the one\n"
          "             the library's rmqc_json_to_ functions report\n"
          "  --max-faults=N\n"
          "             (check) report no more than the first N faults the check\n"
          "             meets in a document, and say so when it stops there;\n"
          "             0: no limit (the default is 10000)\n"
          "  --format=text|json\n"
          "             (check) text (the default), or one JSON array on standard\n"
          "             output for the whole run, with an object per fault: file,\n"
          "             line, column, path (an RFC 6901 JSON Pointer to the value;\n"
          "             for a missing property, where it belongs), status (the\n"
          "             library's status code), message (the library's line) and,\n"
          "             when there is a note, hint (the allowed text); [] when\n"
          "             every document is valid\n"
          "  --color[=WHEN]\n"
          "             colour the faults: auto (the default: when standard error\n"
          "             is a terminal and NO_COLOR is not set), always or never;\n"
          "             --color alone is always\n"
          "  --compact  (format) one line, without blanks after separators\n"
          "  -i, --in-place  (format) rewrite each FILE in canonical form\n"
          "  --check    (format) list the FILEs not in canonical form\n"
          "  -h, --help print this text and exit\n"
          "  --version  print the version and exit\n"
          "  --         end of options: the arguments after it are files\n"
          "\n"
          "TYPE is one of: ",
          to);
    print_type_names(to);
    fputs(".\n"
          "\n"
          "FILE is read whole. '-', or no FILE at all, means standard input, which\n"
          "can be named once; messages call it '" STDIN_LABEL "'.\n"
          "\n"
          "Type detection: without --type, a document's type is the one whose name\n"
          "property its top-level object holds:\n",
          to);
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        if (root_types[i].name_property != NULL)
            fprintf(to, "  %-13s %s\n", root_types[i].name_property, root_types[i].name);
    fputs("An item_definition has no name property: it always needs --type. So does\n"
          "a document that is not a JSON object, or that holds none or more than one\n"
          "of these properties; without --type it ends with exit status 2 (the\n"
          "message of a document that does not parse starts FILE:LINE:COLUMN:).\n"
          "\n"
          "Exit status (with several files, the highest one applies):\n"
          "  0  success: every document is valid\n"
          "  1  at least one document was refused\n"
          "  2  bad usage (unknown command, option or type, a missing argument), a\n"
          "     document whose type cannot be told, a file that cannot be opened\n"
          "     or read, or output that cannot be written\n"
          "\n"
          "Examples:\n"
          "  jsoncodec check examples/rule.json examples/policy.json\n"
          "  jsoncodec check --type item_definition examples/item_definition.json\n"
          "  jsoncodec check --format=json examples/*.json > faults.json\n"
          "  jsoncodec format --compact examples/rule.json\n"
          "  jsoncodec format --type workflow - < workflow.json\n"
          "  jsoncodec format -i examples/*.json\n"
          "  jsoncodec format --check examples/*.json\n"
          "  jsoncodec schema rule > rule.schema.json\n",
          to);
}

static int usage_error(const char *message, const char *argument) {
    if (argument != NULL)
        fprintf(stderr, "jsoncodec: %s '%s'\n", message, argument);
    else
        fprintf(stderr, "jsoncodec: %s\n", message);
    fputs(synopsis, stderr);
    fputs("Try 'jsoncodec --help' for more information.\n", stderr);
    return EXIT_USAGE;
}

/* Flushes standard output; 0, or EXIT_USAGE after a message when it failed. */
static int finish_output(void) {
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "jsoncodec: cannot write standard output: %s\n", errno != 0 ? strerror(errno) : "write error");
        return EXIT_USAGE;
    }
    return 0;
}

/*
 * Reads all of `in` into a new NUL-terminated buffer. Returns NULL with
 * errno set on a read or allocation failure. A NUL byte inside the input
 * ends the text as the library sees it; that is accepted.
 */
static char *read_all(FILE *in) {
    size_t capacity = 65536, length = 0;
    char *text = malloc(capacity);
    if (text == NULL)
        return NULL;
    for (;;) {
        size_t got;
        if (length == capacity - 1) {
            char *bigger;
            if (capacity > ((size_t)-1) / 2) {
                free(text);
                errno = ENOMEM;
                return NULL;
            }
            bigger = realloc(text, capacity * 2);
            if (bigger == NULL) {
                free(text);
                errno = ENOMEM;
                return NULL;
            }
            text = bigger;
            capacity *= 2;
        }
        got = fread(text + length, 1, capacity - 1 - length, in);
        length += got;
        if (got == 0) {
            if (ferror(in)) {
                int saved = errno;
                free(text);
                errno = saved != 0 ? saved : EIO;
                return NULL;
            }
            break;
        }
    }
    text[length] = '\0';
    return text;
}

/* Reads FILE, or standard input for NULL. Reports its own failures. */
static char *read_input(const char *path) {
    FILE *in = path == NULL ? stdin : fopen(path, "rb");
    char *text;
    if (in == NULL) {
        fprintf(stderr, "jsoncodec: cannot open '%s': %s\n", path, strerror(errno));
        return NULL;
    }
    errno = 0;
    text = read_all(in);
    if (text == NULL) {
        if (path == NULL)
            fprintf(stderr, "jsoncodec: cannot read standard input: %s\n", strerror(errno));
        else
            fprintf(stderr, "jsoncodec: cannot read '%s': %s\n", path, strerror(errno));
    }
    if (path != NULL)
        fclose(in); /* opened for reading only: nothing is lost if this fails */
    return text;
}

/*
 * Tells the root type of `text` by the name property its top-level object
 * holds. Returns NULL, after a message naming `label`, when the document is
 * not a JSON object or holds none or several of the name properties.
 */
static const struct root_type *detect_type(const char *text, const char *label) {
    const struct root_type *found = NULL;
    json_error_t error;
    json_t *document = json_loads(text, JSON_DECODE_ANY, &error);
    size_t i, matches = 0;

    if (document == NULL) {
        /* Placed as compilers place errors, so that an editor can jump there. */
        fprintf(stderr, "%s:%d:%d: error: cannot tell the document's type: it does not parse (%s)", label, error.line,
                error.column > 0 ? error.column : 1, error.text);
    } else if (!json_is_object(document)) {
        fprintf(stderr, "jsoncodec: %s: cannot tell the document's type: it is not a JSON object", label);
    } else {
        for (i = 0; i < ROOT_TYPE_COUNT; i++) {
            if (root_types[i].name_property != NULL && json_object_get(document, root_types[i].name_property)) {
                found = &root_types[i];
                matches++;
            }
        }
        if (matches == 0) {
            fprintf(stderr, "jsoncodec: %s: cannot tell the document's type: it holds none of ", label);
        } else if (matches > 1) {
            fprintf(stderr, "jsoncodec: %s: cannot tell the document's type: it holds more than one of ", label);
            found = NULL;
        }
        if (found == NULL)
            print_name_properties(stderr);
    }
    json_decref(document);
    if (found == NULL) {
        fputs("; give --type TYPE (an item_definition always needs it), TYPE one of: ", stderr);
        print_type_names(stderr);
        fputs("\n", stderr);
    }
    return found;
}

/*
 * Reports the faults of `text`, read from `label`, as a `type`: every one,
 * or with `first` only the one the export reports; as text on standard
 * error, or into the run's JSON array. Returns the exit status of the
 * document: 0 valid, 1 refused, 2 when memory ran out.
 */
static int report_document(const struct run *run, const char *label, const char *text,
                           const struct root_type *type, int first) {
    struct checker_faults faults;
    int result = checker_run(type->name, text, !first, run->max_faults, &faults);
    if (result < 0 || (result > 0 && run->json != NULL && append_faults(run->json, label, &faults) != 0)) {
        checker_release(&faults);
        fprintf(stderr, "jsoncodec: %s: out of memory while checking the document\n", label);
        return EXIT_USAGE;
    }
    if (result > 0 && run->json == NULL)
        print_faults(stderr, label, text, &faults, run->colour);
    if (faults.stopped)
        fprintf(stderr, "jsoncodec: %s: the check stopped after %lu faults; --max-faults=N sets the limit (0: none)\n",
                label, run->max_faults);
    checker_release(&faults);
    return result;
}

/*
 * Replaces the file `path` with `text` atomically: the text goes into a new
 * file in the same folder, which is given the old file's mode and then
 * renamed over it, so that a reader sees the old file or the new one whole.
 */
static int replace_file(const char *path, const char *text) {
    static const char pattern[] = ".jsoncodec-XXXXXX";
    /* A symbolic link is followed: the file it names is replaced, in its own
     * folder, and the link stays a link. */
    char *target = realpath(path, NULL);
    const char *slash = target != NULL ? strrchr(target, '/') : NULL;
    size_t folder = slash != NULL ? (size_t)(slash - target) + 1 : 0;
    struct stat old;
    char *temp = target != NULL ? malloc(folder + sizeof pattern) : NULL;
    FILE *out = NULL;
    int fd = -1, ok;

    if (temp == NULL || stat(target, &old) != 0) {
        fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s\n", path, strerror(target != NULL && temp == NULL ? ENOMEM : errno));
        free(temp);
        free(target);
        return EXIT_USAGE;
    }
    memcpy(temp, target, folder);
    memcpy(temp + folder, pattern, sizeof pattern);
    ok = (fd = mkstemp(temp)) >= 0 && fchmod(fd, old.st_mode & 07777) == 0 && (out = fdopen(fd, "w")) != NULL &&
         fputs(text, out) != EOF && putc('\n', out) != EOF;
    if (out != NULL)
        ok = fclose(out) == 0 && ok;
    else if (fd >= 0)
        close(fd);
    ok = ok && rename(temp, target) == 0;
    if (!ok) {
        fprintf(stderr, "jsoncodec: cannot rewrite '%s': %s\n", path, strerror(errno));
        if (fd >= 0)
            remove(temp);
    }
    free(temp);
    free(target);
    return ok ? 0 : EXIT_USAGE;
}

/* Puts the canonical text `json` of the document read from `path` (whose
 * text was `text`) where `destination` says. */
static int put_formatted(enum destination destination, const char *path, const char *text, const char *json) {
    size_t length = strlen(json);
    if (destination == TO_OUTPUT) {
        fputs(json, stdout);
        putchar('\n');
        return finish_output();
    }
    if (strncmp(text, json, length) == 0 && strcmp(text + length, "\n") == 0)
        return 0; /* already canonical */
    if (destination == IN_PLACE)
        return replace_file(path, json);
    puts(path != NULL ? path : STDIN_LABEL);
    return finish_output() != 0 ? EXIT_USAGE : EXIT_REFUSED;
}

/*
 * Checks or formats one document: FILE, or standard input for NULL, as the
 * run's type, or as the type told by the document when it has none.
 * Returns the exit status of this document alone.
 */
static int convert_file(const struct run *run, const char *path) {
    const char *label = path != NULL ? path : STDIN_LABEL;
    const struct root_type *type = run->type;
    char errbuf[ERRBUF_SIZE];
    char *text, *json = NULL;
    int status;

    text = read_input(path);
    if (text == NULL)
        return EXIT_USAGE;
    if (type == NULL && (type = detect_type(text, label)) == NULL) {
        free(text);
        return EXIT_USAGE;
    }

    if (run->command == CHECK) {
        status = report_document(run, label, text, type, run->first);
    } else if (type->convert(text, &json, run->compact ? 0 : 1, errbuf, sizeof errbuf) != RMQC_OK) {
        /* The checker's first fault is the export's, now with its place. */
        status = report_document(run, label, text, type, 1);
        if (status == 0) { /* the checker ran where the export ran out of memory */
            fprintf(stderr, "%s: %.*s\n", label, (int)strcspn(errbuf, "\n"), errbuf);
            status = EXIT_REFUSED;
        }
    } else {
        status = put_formatted(run->destination, path, text, json);
    }
    free(json);
    free(text);
    return status;
}

static int print_schema(const char *type_name) {
    size_t i;
    if (find_root_type(type_name) == NULL)
        return usage_error("unknown type", type_name);
    for (i = 0; i < jsoncodec_schema_count; i++) {
        if (strcmp(jsoncodec_schemas[i].type, type_name) == 0) {
            fputs(jsoncodec_schemas[i].text, stdout);
            return finish_output();
        }
    }
    fprintf(stderr, "jsoncodec: no schema was built for the type '%s'\n", type_name);
    return EXIT_USAGE;
}

/*
 * Whether argv[*i] is the option `name` with a value, given as "NAME=VALUE"
 * or as the next argument (then *i moves past it). *value is NULL when the
 * value is missing.
 */
static int option_with_value(int argc, char **argv, int *i, const char *name, const char **value) {
    size_t length = strlen(name);
    if (strncmp(argv[*i], name, length) != 0 || (argv[*i][length] != '\0' && argv[*i][length] != '='))
        return 0;
    if (argv[*i][length] == '=')
        *value = argv[*i] + length + 1;
    else
        *value = *i + 1 < argc ? argv[++*i] : NULL;
    return 1;
}

int main(int argc, char **argv) {
    struct run run = {CHECK, NULL, 0, TO_OUTPUT, 0, DEFAULT_MAX_FAULTS, 0, NULL};
    char *end;
    const char *type_name = NULL, *value;
    enum colour_choice colour = COLOUR_AUTO;
    /* The operands are gathered at the front of argv[2..]; the slots they
     * move to have been read already. */
    char **operands = argv + 2;
    int operand_count = 0, options_done = 0, reads_stdin = 0, json = 0, status = 0, i;

    for (i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
            print_help(stdout);
            return finish_output();
        }
        if (strcmp(argv[i], "--version") == 0) {
            puts("jsoncodec " JSONCODEC_VERSION);
            return finish_output();
        }
        if (strcmp(argv[i], "--") == 0)
            break;
    }
    if (argc < 2)
        return usage_error("missing command", NULL);
    if (strcmp(argv[1], "check") == 0)
        run.command = CHECK;
    else if (strcmp(argv[1], "format") == 0)
        run.command = FORMAT;
    else if (strcmp(argv[1], "schema") == 0)
        run.command = SCHEMA;
    else
        return usage_error("unknown command", argv[1]);

    for (i = 2; i < argc; i++) {
        char *arg = argv[i];
        if (options_done || arg[0] != '-' || arg[1] == '\0') {
            operands[operand_count++] = arg;
        } else if (strcmp(arg, "--") == 0) {
            options_done = 1;
        } else if (run.command == SCHEMA) {
            return usage_error("unknown option for schema", arg);
        } else if (option_with_value(argc, argv, &i, "--type", &value)) {
            if (type_name != NULL)
                return usage_error("--type given more than once", NULL);
            if (value == NULL)
                return usage_error("--type needs a type name", NULL);
            type_name = value;
        } else if (strcmp(arg, "--color") == 0 || strncmp(arg, "--color=", 8) == 0) {
            value = arg[7] == '=' ? arg + 8 : "always";
            if (strcmp(value, "auto") == 0)
                colour = COLOUR_AUTO;
            else if (strcmp(value, "always") == 0)
                colour = COLOUR_ALWAYS;
            else if (strcmp(value, "never") == 0)
                colour = COLOUR_NEVER;
            else
                return usage_error("--color takes auto, always or never, not", value);
        } else if (run.command == CHECK && option_with_value(argc, argv, &i, "--format", &value)) {
            if (value == NULL || (strcmp(value, "text") != 0 && strcmp(value, "json") != 0))
                return usage_error("--format takes text or json", NULL);
            json = strcmp(value, "json") == 0;
        } else if (run.command == CHECK && strcmp(arg, "--first") == 0) {
            run.first = 1;
        } else if (run.command == CHECK && option_with_value(argc, argv, &i, "--max-faults", &value)) {
            if (value == NULL || value[0] < '0' || value[0] > '9' ||
                (errno = 0, run.max_faults = strtoul(value, &end, 10), *end != '\0' || errno != 0))
                return usage_error("--max-faults takes a number", NULL);
        } else if (strcmp(arg, "--compact") == 0) {
            if (run.command != FORMAT)
                return usage_error("--compact applies to format only", NULL);
            run.compact = 1;
        } else if (strcmp(arg, "-i") == 0 || strcmp(arg, "--in-place") == 0 || strcmp(arg, "--check") == 0) {
            enum destination wanted = arg[1] == 'i' || arg[2] == 'i' ? IN_PLACE : COMPARE;
            if (run.command != FORMAT)
                return usage_error("-i and --check apply to format only", NULL);
            if (run.destination != TO_OUTPUT && run.destination != wanted)
                return usage_error("-i and --check exclude each other", NULL);
            run.destination = wanted;
        } else {
            return usage_error("unknown option", arg);
        }
    }

    if (run.command == SCHEMA) {
        if (operand_count != 1)
            return usage_error(operand_count == 0 ? "schema needs a type name" : "schema takes one type name",
                               NULL);
        return print_schema(operands[0]);
    }

    if (type_name != NULL && (run.type = find_root_type(type_name)) == NULL)
        return usage_error("unknown type", type_name);
    if (run.command == FORMAT && run.destination == TO_OUTPUT && operand_count > 1)
        return usage_error("format takes one file (or -i or --check and several)", NULL);
    for (i = 0; i < operand_count; i++) {
        if (strcmp(operands[i], "-") == 0 && reads_stdin++ > 0)
            return usage_error("standard input ('-') named more than once", NULL);
    }
    if (run.destination == IN_PLACE && (operand_count == 0 || reads_stdin > 0))
        return usage_error("-i needs files, not standard input", NULL);
    run.colour = use_colour(colour, stderr);
    /* The faults are written a character at a time; standard error is
     * buffered and flushed after each file. */
    setvbuf(stderr, NULL, _IOFBF, BUFSIZ);
    if (json && (run.json = json_array()) == NULL) {
        fputs("jsoncodec: out of memory\n", stderr);
        return EXIT_USAGE;
    }

    if (operand_count == 0)
        operands[operand_count++] = "-";
    for (i = 0; i < operand_count; i++) {
        const char *path = strcmp(operands[i], "-") == 0 ? NULL : operands[i];
        int file_status = convert_file(&run, path);
        fflush(stderr);
        if (file_status > status)
            status = file_status;
    }
    if (run.json != NULL) {
        /* One array for the whole run, also when a file could not be read. */
        if (json_dumpf(run.json, stdout, JSON_INDENT(2)) != 0 || putchar('\n') == EOF)
            status = EXIT_USAGE;
        json_decref(run.json);
        if (finish_output() != 0)
            status = EXIT_USAGE;
    }
    return status;
}
