// Selection rules: a named rule with a list of item definitions, each an
// operator applied to a property of a given type and a value. Every
// property is a plain string.
#include "rule_schema.h"

#include "exports.h"

namespace jsoncodec {

namespace {

constexpr FieldDesc item_definition_fields[] = {
    JC_STRING(item_definition, item_definitionOperator, OPTIONAL),
    JC_STRING(item_definition, item_definitionProperty, OPTIONAL),
    JC_STRING(item_definition, item_definitionType, OPTIONAL),
    JC_STRING(item_definition, item_definitionValue, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc item_definition_desc = JC_LIST_ELEMENT_TYPE(item_definition, item_definition_fields);

namespace {

constexpr FieldDesc rule_fields[] = {
    JC_STRING(rule, ruleName, REQUIRED),
    JC_STRING(rule, ruleComment, OPTIONAL),
    JC_STRING(rule, ruleDataSourceType, OPTIONAL),
    JC_LIST(rule, ruleItem_Definitions, OPTIONAL, item_definition, item_definition_desc),
    JC_STRING(rule, ruleMatchType, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc rule_desc = JC_TYPE(rule, rule_fields);

JC_DEFINE_CODEC_ROUTINES(item_definition, item_definition_desc)
JC_DEFINE_CODEC_ROUTINES(rule, rule_desc)

}  // namespace jsoncodec

JSONCODEC_ROOT_EXPORTS(item_definition, jsoncodec::item_definition_desc)
JSONCODEC_DESTROY_EXPORT(item_definition, jsoncodec::item_definition_desc)
JSONCODEC_ROOT_EXPORTS(rule, jsoncodec::rule_desc)
JSONCODEC_DESTROY_EXPORT(rule, jsoncodec::rule_desc)
