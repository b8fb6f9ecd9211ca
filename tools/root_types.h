/*
 * Every root type the library converts, with the required name property
 * that tells a document of that type apart (NULL: the type has none and is
 * never guessed). Adding a type is one line here; the tool's command table,
 * its fault finder and the schema generator all expand this list.
 */
#ifndef JSONCODEC_TOOL_ROOT_TYPES_H
#define JSONCODEC_TOOL_ROOT_TYPES_H

#define ROOT_TYPES(X)                                 \
    X(data_protection_policy, "policyName")           \
    X(workflow, "workflowName")                       \
    X(action, "actionName")                           \
    X(rule, "ruleName")                               \
    X(item_definition, NULL)

#endif
