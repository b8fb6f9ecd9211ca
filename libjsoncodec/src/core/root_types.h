// Every root type the library converts: the record types with exports of
// their own. Adding one is one line here; the tests, the fuzzers, the
// dictionary maker, the schema generator and the tool all expand the list:
//
//   X(T, name_property, short_name)
//
// T is the record type (its table is T##_desc, its exports rmqc_*_##T);
// name_property is the required property that tells a document of that
// type apart, or NULL for a type the tool never guesses; short_name names
// its example documents and seeds ("policy-*.json").
#pragma once

#define JSONCODEC_ROOT_TYPES(X)                       \
    X(data_protection_policy, "policyName", "policy") \
    X(workflow, "workflowName", "workflow")           \
    X(action, "actionName", "action")                 \
    X(rule, "ruleName", "rule")                       \
    X(item_definition, NULL, "item_definition")
