/* A C program built against an installed libjsoncodec through pkg-config.
 * It decodes a rule (from the file named on the command line, or a built-in
 * document), prints its name and conditions, then prints the rule encoded
 * back as compact JSON.
 *
 *   cc -std=c99 rule_summary.c $(pkg-config --cflags --libs jsoncodec) -o rule_summary
 *   ./rule_summary examples/rule.json
 *
 * For a library installed under a prefix of its own, let pkg-config find it
 * and the program find the library when it runs:
 *
 *   export PKG_CONFIG_PATH=PREFIX/lib/pkgconfig
 *   cc -std=c99 rule_summary.c $(pkg-config --cflags --libs jsoncodec) \
 *      -Wl,-rpath,"$(pkg-config --variable=libdir jsoncodec)" -o rule_summary
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jsoncodec.h"

static const char builtin_rule[] =
    "{\"ruleName\": \"linux-hosts\", \"ruleMatchType\": \"all\","
    " \"ruleItem_Definitions\": [{\"item_definitionOperator\": \"equals\","
    " \"item_definitionProperty\": \"operatingSystem\", \"item_definitionValue\": \"Linux\"}]}";

/* The whole file as a NUL-terminated string from malloc; NULL with errno
 * set when it cannot be read. */
static char *read_file(const char *path) {
    FILE *in = fopen(path, "rb");
    char *text = NULL;
    size_t length = 0;
    size_t got;

    if (in == NULL) return NULL;
    do {
        char *grown = realloc(text, length + 4096 + 1);
        if (grown == NULL) {
            free(text);
            fclose(in);
            errno = ENOMEM;
            return NULL;
        }
        text = grown;
        got = fread(text + length, 1, 4096, in);
        length += got;
    } while (got == 4096);
    if (ferror(in)) {
        free(text);
        fclose(in);
        errno = EIO;
        return NULL;
    }
    fclose(in);
    text[length] = '\0';
    return text;
}

/* Prints a diagnostic line on standard error; the line of a document that
 * does not parse already ends in a newline. */
static void report(const char *line) {
    size_t length = strlen(line);
    fprintf(stderr, "%s%s", line, length > 0 && line[length - 1] == '\n' ? "" : "\n");
}

int main(int argc, char **argv) {
    char errbuf[1024];
    char *text = NULL;
    rule *r = NULL;
    char *json = NULL;
    const item_definition *item;
    int count = 0;
    int32_t status;

    if (argc > 2) {
        fprintf(stderr, "usage: %s [RULE.json]\n", argv[0]);
        return 2;
    }
    if (argc == 2 && (text = read_file(argv[1])) == NULL) {
        fprintf(stderr, "%s: %s\n", argv[1], strerror(errno));
        return 2;
    }

    status = rmqc_json_to_rule(&r, text != NULL ? text : builtin_rule, errbuf, sizeof errbuf);
    free(text); /* the tree keeps no pointer into the text */
    if (status != RMQC_OK) {
        report(errbuf); /* r is NULL or untouched: nothing to release */
        return 1;
    }

    for (item = r->ruleItem_Definitions; item != NULL; item = item->next) count++;
    printf("rule %s: %d condition%s, match %s\n", r->ruleName, count, count == 1 ? "" : "s",
           r->ruleMatchType_present ? r->ruleMatchType : "(not set)");
    for (item = r->ruleItem_Definitions; item != NULL; item = item->next)
        printf("  %s %s %s\n", item->item_definitionProperty_present ? item->item_definitionProperty : "?",
               item->item_definitionOperator_present ? item->item_definitionOperator : "?",
               item->item_definitionValue_present ? item->item_definitionValue : "?");

    status = rmqc_json_from_rule(r, &json, errbuf, sizeof errbuf, 0);
    if (status != RMQC_OK) {
        report(errbuf);
        rmqc_free_rule(r);
        return 1;
    }
    puts(json);
    free(json);        /* the text from rmqc_json_from_rule */
    rmqc_free_rule(r); /* the rule with its whole list of conditions */
    return 0;
}
