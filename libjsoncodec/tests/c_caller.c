/* A C99 caller of the shared library: decodes a rule, checks a few fields,
 * encodes it back and releases everything, as a client program would. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jsoncodec.h"

static const char text[] =
    "{\"ruleName\":\"nightly\",\"ruleComment\":\"c\","
    "\"ruleItem_Definitions\":[{\"item_definitionOperator\":\"eq\",\"item_definitionValue\":\"v\"},{}],"
    "\"ruleMatchType\":\"all\"}";

static int fail(const char *what, const char *detail) {
    fprintf(stderr, "%s: %s\n", what, detail);
    return 1;
}

int main(void) {
    char err[256];
    rule *r = NULL;
    char *json = NULL;
    int32_t status = rmqc_json_to_rule(&r, text, err, sizeof err);
    if (status != RMQC_OK) return fail("rmqc_json_to_rule", err);
    if (r == NULL || strcmp(r->ruleName, "nightly") != 0 || !r->ruleItem_Definitions_present ||
        r->ruleItem_Definitions == NULL || r->ruleItem_Definitions->next == NULL ||
        r->ruleItem_Definitions->next->next != NULL || r->ruleDataSourceType_present)
        return fail("rmqc_json_to_rule", "unexpected tree");

    status = rmqc_json_from_rule(r, &json, err, sizeof err, 0);
    if (status != RMQC_OK) return fail("rmqc_json_from_rule", err);
    if (strcmp(json, text) != 0) return fail("round trip differs", json);
    free(json);
    rmqc_free_rule(r);

    return 0;
}
