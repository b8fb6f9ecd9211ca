/*
 * jsoncodec - check and reformat configuration documents with libjsoncodec.
 *
 *   jsoncodec check  --type T [FILE]
 *   jsoncodec format --type T [--compact] [FILE]
 *
 * The tool only reads the input and calls the library's exports for the
 * chosen root type; every judgement about the document is the library's.
 * Exit status: 0 success, 1 the library refused the document (its
 * diagnostic line is on standard error), 2 bad usage or unreadable input.
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jsoncodec.h"

#define EXIT_REFUSED 1
#define EXIT_USAGE 2

#define ERRBUF_SIZE 1024

/* Every root type the library converts. Adding a type is one line here. */
#define ROOT_TYPES(X)        \
    X(data_protection_policy) \
    X(workflow)               \
    X(action)                 \
    X(rule)                   \
    X(item_definition)

/*
 * Decodes `text` as a T and, when `out_json` is not NULL, encodes the tree
 * back into new text stored there (release it with free()). The tree is
 * released before returning. One wrapper per type keeps every library call
 * at its own signature, so the table below can hold a single pointer type.
 */
#define DEFINE_CONVERT(T)                                                                        \
    static int32_t convert_##T(const char *text, char **out_json, int32_t pretty, char *errbuf, \
                               uint64_t errlen) {                                                \
        T *tree = NULL;                                                                          \
        int32_t status = rmqc_json_to_##T(&tree, text, errbuf, errlen);                          \
        if (status == RMQC_OK && out_json != NULL)                                               \
            status = rmqc_json_from_##T(tree, out_json, errbuf, errlen, pretty);                 \
        rmqc_free_##T(tree);                                                                     \
        return status;                                                                           \
    }
ROOT_TYPES(DEFINE_CONVERT)

typedef int32_t (*convert_fn)(const char *text, char **out_json, int32_t pretty, char *errbuf,
                              uint64_t errlen);

struct root_type {
    const char *name;
    convert_fn convert;
};

#define TABLE_ENTRY(T) {#T, convert_##T},
static const struct root_type root_types[] = {ROOT_TYPES(TABLE_ENTRY)};
#define ROOT_TYPE_COUNT (sizeof root_types / sizeof root_types[0])

static const struct root_type *find_root_type(const char *name) {
    size_t i;
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        if (strcmp(root_types[i].name, name) == 0)
            return &root_types[i];
    return NULL;
}

static void print_usage(FILE *to) {
    size_t i;
    fputs("usage: jsoncodec check  --type TYPE [FILE]\n"
          "       jsoncodec format --type TYPE [--compact] [FILE]\n"
          "       jsoncodec --help\n"
          "\n"
          "  check    decode the document; print nothing and exit 0 when it is valid,\n"
          "           else print the diagnostic line on standard error and exit 1\n"
          "  format   decode and re-encode the document to standard output, indented\n"
          "           by four blanks, or on one line with --compact\n"
          "\n"
          "FILE is read whole; without FILE, or with -, standard input is read.\n"
          "TYPE is one of:",
          to);
    for (i = 0; i < ROOT_TYPE_COUNT; i++)
        fprintf(to, " %s", root_types[i].name);
    fputs("\n\nexit status: 0 success, 1 document refused, 2 bad usage or unreadable input\n", to);
}

static int usage_error(const char *message, const char *argument) {
    if (argument != NULL)
        fprintf(stderr, "jsoncodec: %s '%s'\n", message, argument);
    else
        fprintf(stderr, "jsoncodec: %s\n", message);
    print_usage(stderr);
    return EXIT_USAGE;
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

/* Reads FILE, or standard input for NULL or "-". Reports its own failures. */
static char *read_input(const char *path) {
    const int from_stdin = path == NULL || strcmp(path, "-") == 0;
    FILE *in = from_stdin ? stdin : fopen(path, "rb");
    char *text;
    if (in == NULL) {
        fprintf(stderr, "jsoncodec: cannot open '%s': %s\n", path, strerror(errno));
        return NULL;
    }
    errno = 0;
    text = read_all(in);
    if (text == NULL) {
        if (from_stdin)
            fprintf(stderr, "jsoncodec: cannot read standard input: %s\n", strerror(errno));
        else
            fprintf(stderr, "jsoncodec: cannot read '%s': %s\n", path, strerror(errno));
    }
    if (!from_stdin)
        fclose(in);
    return text;
}

/* Prints the library's diagnostic line, which may already end in a newline. */
static void print_diagnostic(const char *errbuf, int32_t status) {
    size_t length = strlen(errbuf);
    if (length == 0)
        fprintf(stderr, "jsoncodec: conversion failed with status %ld\n", (long)status);
    else if (errbuf[length - 1] == '\n')
        fputs(errbuf, stderr);
    else
        fprintf(stderr, "%s\n", errbuf);
}

int main(int argc, char **argv) {
    enum { CHECK, FORMAT } command;
    const char *type_name = NULL, *path = NULL;
    const struct root_type *type;
    int compact = 0, options_done = 0, i;
    char errbuf[ERRBUF_SIZE];
    char *text, *json = NULL;
    int32_t status;

    for (i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0) {
            print_usage(stdout);
            return 0;
        }
        if (strcmp(argv[i], "--") == 0)
            break;
    }
    if (argc < 2)
        return usage_error("missing command", NULL);
    if (strcmp(argv[1], "check") == 0)
        command = CHECK;
    else if (strcmp(argv[1], "format") == 0)
        command = FORMAT;
    else
        return usage_error("unknown command", argv[1]);

    for (i = 2; i < argc; i++) {
        const char *arg = argv[i];
        if (!options_done && strcmp(arg, "--") == 0) {
            options_done = 1;
        } else if (!options_done && strcmp(arg, "--type") == 0) {
            if (i + 1 >= argc)
                return usage_error("--type needs a type name", NULL);
            if (type_name != NULL)
                return usage_error("--type given more than once", NULL);
            type_name = argv[++i];
        } else if (!options_done && strncmp(arg, "--type=", 7) == 0) {
            if (type_name != NULL)
                return usage_error("--type given more than once", NULL);
            type_name = arg + 7;
        } else if (!options_done && strcmp(arg, "--compact") == 0) {
            if (command != FORMAT)
                return usage_error("--compact applies to format only", NULL);
            compact = 1;
        } else if (!options_done && arg[0] == '-' && arg[1] != '\0') {
            return usage_error("unknown option", arg);
        } else if (path != NULL) {
            return usage_error("unexpected argument", arg);
        } else {
            path = arg;
        }
    }
    if (type_name == NULL)
        return usage_error("missing --type", NULL);
    type = find_root_type(type_name);
    if (type == NULL)
        return usage_error("unknown type", type_name);

    text = read_input(path);
    if (text == NULL)
        return EXIT_USAGE;

    errbuf[0] = '\0';
    status = type->convert(text, command == FORMAT ? &json : NULL, compact ? 0 : 1, errbuf, sizeof errbuf);
    free(text);
    if (status != RMQC_OK) {
        print_diagnostic(errbuf, status);
        return EXIT_REFUSED;
    }
    if (json != NULL) {
        int failed = fputs(json, stdout) == EOF || putchar('\n') == EOF;
        free(json);
        if (fflush(stdout) != 0 || failed) {
            fprintf(stderr, "jsoncodec: cannot write standard output: %s\n", strerror(errno));
            return EXIT_USAGE;
        }
    }
    return 0;
}
