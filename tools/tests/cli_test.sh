#!/bin/sh
# Tests of the jsoncodec command-line tool: exit statuses, the diagnostic
# line after the file's name, several files at once, type detection, pretty
# and compact output, round trips, the ways input arrives and output fails,
# the schemas and the help.
#
# usage: cli_test.sh TOOL EXAMPLES_DIR
set -u

if [ $# -ne 2 ]; then
    echo "usage: $0 TOOL EXAMPLES_DIR" >&2
    exit 2
fi
tool=$1
examples=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/jsoncodec-cli.XXXXXX") || exit 2
trap 'rm -rf "$work"' EXIT INT TERM

passed=0
failed=0
input=/dev/null

# verdict STATUS NAME - counts the case NAME as passed when STATUS is 0.
verdict() {
    if [ "$1" -eq 0 ]; then
        passed=$((passed + 1))
        echo "ok: $2"
    else
        failed=$((failed + 1))
        echo "FAIL: $2"
    fi
}

# run STATUS ARG... - runs the tool with standard input from $input and
# keeps its output in $work/out and $work/err; true when it exits STATUS.
run() {
    expected=$1
    shift
    "$tool" "$@" <"$input" >"$work/out" 2>"$work/err"
    status=$?
    if [ "$status" -ne "$expected" ]; then
        echo "  exit status $status, expected $expected"
        sed 's/^/  stderr: /' "$work/err"
        return 1
    fi
}

empty() {
    if [ -s "$work/$1" ]; then
        echo "  $1 is not empty:"
        sed 's/^/  | /' "$work/$1"
        return 1
    fi
}

# is FILE TEXT - FILE holds exactly TEXT and a newline.
is() {
    printf '%s\n' "$2" >"$work/expected"
    if ! cmp -s "$work/expected" "$work/$1"; then
        echo "  $1 differs from the expected text:"
        echo "  expected: $2"
        sed 's/^/  actual:   /' "$work/$1"
        return 1
    fi
}

contains() {
    if ! grep -q -F -e "$2" "$work/$1"; then
        echo "  $1 lacks \"$2\":"
        sed 's/^/  | /' "$work/$1"
        return 1
    fi
}

# contains_all FILE TEXT... - FILE holds every TEXT.
contains_all() {
    target=$1
    shift
    for text in "$@"; do
        contains "$target" "$text" || return 1
    done
}

same() {
    if ! cmp -s "$1" "$2"; then
        echo "  $1 and $2 differ:"
        diff "$1" "$2" | head -n 20 | sed 's/^/  /'
        return 1
    fi
}

# reproduces TYPE FILE - format of FILE is FILE itself, byte for byte.
reproduces() {
    run 0 format --type "$1" "$2" && empty err && same "$2" "$work/out"
}

# --- check -------------------------------------------------------------

run 0 check --type rule "$examples/rule.json" && empty out && empty err
verdict $? "check accepts the valid rule silently"

run 0 check --type=item_definition "$examples/item_definition.json" && empty out && empty err
verdict $? "check accepts a single item with --type=T"

run 1 check --type rule "$examples/rule-faulty.json" && empty out &&
    is err "$examples/rule-faulty.json: <rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in schema."
verdict $? "check prints the faulty rule's diagnostic line after the file's name"

run 0 check --type data_protection_policy "$examples/policy.json" && empty out && empty err &&
    run 0 check --type action "$examples/action.json" && empty out && empty err
verdict $? "check accepts the valid policy and a single action"

# A failed action kind is reported through the union's closest member: a
# backup whose subtype fails (one union inside the other, each closest-failure
# text cut to 255 characters), an unknown kind (every member fails on the
# kind, so the first one is named), and a known kind with a bad setting.
run 1 check --type data_protection_policy "$examples/policy-faulty-subtype.json" && empty out &&
    is err "$examples/policy-faulty-subtype.json: <data_protection_policy>.policyWorkflows[1].workflowActions[0].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionBackup>.actionBackupSubtypeSpecific.backupSubtypes: JSON decode error. No match for union, closest failure: <actionBackupSnapshot>.absDestinationPool: JSON decode error. Required property 'absDestinationPool' is"
verdict $? "a faulty backup subtype is named through both unions"

run 1 check --type data_protection_policy "$examples/policy-faulty-kind.json" && empty out &&
    is err "$examples/policy-faulty-kind.json: <data_protection_policy>.policyWorkflows[0].workflowActions[1].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionBackup>.actionType: JSON decode error. String based enum fails to match one of: [ 'backup' ]. "
verdict $? "an unknown action type is reported against the first kind"

run 1 check --type workflow "$examples/workflow-faulty-discover.json" && empty out &&
    is err "$examples/workflow-faulty-discover.json: <workflow>.workflowActions[0].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionDiscover>.adDiscoverType: JSON decode error. String based enum fails to match one of: [ 'NAS snapshot' ]. "
verdict $? "a known action type with a bad setting is reported against its own kind"

# The type chosen decides the schema: an item has no ruleName.
run 1 check --type rule "$examples/item_definition.json" &&
    is err "$examples/item_definition.json: <rule>.ruleName: JSON decode error. Required property 'ruleName' is missing which violates the schema."
verdict $? "check decodes with the schema of the chosen type"

# A parse failure's line already ends in a newline; it must not gain a second.
printf '{"ruleName":"a","ruleName":"b"}' >"$work/duplicate.json"
run 1 check --type rule "$work/duplicate.json" &&
    contains err "$work/duplicate.json: <rule>: JSON decode error. JSON parsing error: " &&
    [ "$(wc -l <"$work/err")" -eq 1 ]
verdict $? "a repeated key is a one-line parse failure"

# --- several files ----------------------------------------------------------

# Every file is checked; each fault is named by its file, in argument order.
run 1 check "$examples/rule.json" "$examples/rule-faulty.json" "$examples/policy.json" \
    "$examples/workflow-faulty-discover.json" && empty out &&
    [ "$(wc -l <"$work/err")" -eq 2 ] &&
    sed -n 1p "$work/err" | grep -q -F "$examples/rule-faulty.json: <rule>.ruleItem_Definitions[1]." &&
    sed -n 2p "$work/err" | grep -q -F "$examples/workflow-faulty-discover.json: <workflow>.workflowActions[0]."
verdict $? "check of several files exits 1 and names each fault's file"

run 0 check --type action "$examples/action.json" "$examples/action.json" && empty out && empty err
verdict $? "check of several valid files is silent"

# An unreadable file is worse than a refused one, and stops nothing.
mkdir "$work/folder"
run 2 check "$work/missing.json" "$examples/rule-faulty.json" "$work/folder" "$examples/rule.json" &&
    contains err "jsoncodec: cannot open '$work/missing.json': No such file or directory" &&
    contains err "$examples/rule-faulty.json: <rule>." &&
    contains err "jsoncodec: cannot read '$work/folder': Is a directory" &&
    [ "$(wc -l <"$work/err")" -eq 3 ]
verdict $? "a missing or unreadable file is named with the system error, exits 2 and stops nothing"

# --- type detection ---------------------------------------------------------

run 0 check "$examples/policy.json" "$examples/action.json" "$examples/rule.json" && empty err &&
    run 0 format "$examples/rule.json" && same "$examples/rule.json" "$work/out"
verdict $? "valid documents are checked and formatted without --type"

# The line's root shows the type chosen: each name property picks its own.
printf '%s\n' '{"policyName":"p","policyWorkflows":[{}]}' >"$work/policy.json"
printf '%s\n' '{"workflowName":"w","workflowGroups":[1]}' >"$work/workflow.json"
printf '%s\n' '{"actionName":"a"}' >"$work/action.json"
printf '%s\n' '{"ruleName":1}' >"$work/rule.json"
run 1 check "$work/policy.json" "$work/workflow.json" "$work/action.json" "$work/rule.json" &&
    is err "$work/policy.json: <data_protection_policy>.policyWorkflows[0].workflowName: JSON decode error. Required property 'workflowName' is missing which violates the schema.
$work/workflow.json: <workflow>.workflowGroups[0]: JSON decode error. Expected array item to be a string as specified in schema.
$work/action.json: <action>.actionSpecific: JSON decode error. Required property 'actionSpecific' is missing which violates the schema.
$work/rule.json: <rule>.ruleName: JSON decode error. Expected a string as specified in schema."
verdict $? "policyName, workflowName, actionName and ruleName each tell their type"

# --type wins over detection.
run 1 check --type rule "$examples/action.json" && contains err "<rule>.ruleName: "
verdict $? "--type overrides the name property"

# Undetectable: no name property (an item_definition never has one), two of
# them, not an object, not JSON. Each needs --type: exit 2, the types listed.
printf '%s\n' '{"ruleName":"r","actionName":"a"}' >"$work/two-names.json"
printf '%s\n' '["ruleName"]' >"$work/array.json"
printf '%s\n' '{"ruleName":' >"$work/truncated.json"
detect_ok=1
for file in "$examples/item_definition.json" "$work/two-names.json" "$work/array.json" "$work/truncated.json"; do
    if ! run 2 check "$file" || ! empty out || ! contains err "jsoncodec: $file: cannot tell the document's type" ||
        ! contains err "give --type TYPE" || ! contains err "data_protection_policy, workflow, action, rule, item_definition"; then
        echo "  file: $file"
        detect_ok=0
    fi
done
[ $detect_ok -eq 1 ] &&
    run 0 check --type item_definition "$examples/item_definition.json" && empty err
verdict $? "a document without exactly one name property needs --type"

# --- usage and input failures --------------------------------------------

usage_ok=1
for args in "" "verify --type rule" "check --type" "check --type nosuchtype" "format --type=" \
    "check --type rule --type rule" "format --type rule a.json b.json" "check - -" \
    "check --type rule --compact" "format --type rule --pretty" \
    "schema" "schema rule rule" "schema nosuchtype" "schema --type rule" "schema --compact rule"; do
    # shellcheck disable=SC2086 # the words are the arguments
    if ! run 2 $args || ! empty out || ! contains err "usage: jsoncodec"; then
        echo "  arguments: $args"
        usage_ok=0
    fi
done
[ $usage_ok -eq 1 ] && run 2 check --type nosuchtype && contains err "jsoncodec: unknown type 'nosuchtype'"
verdict $? "bad usage prints the synopsis on stderr and exits 2"

run 0 --help && empty err &&
    contains_all out "usage: jsoncodec check  [--type TYPE] [FILE...]" \
        "jsoncodec format [--type TYPE] [--compact] [FILE]" "jsoncodec schema TYPE" "--version" "--compact" \
        "standard input" "ruleName      rule" "item_definition has no name property: it always needs --type" \
        "Exit status" "2  bad usage" "Examples:" &&
    cp "$work/out" "$work/help" && run 0 format --type rule --help && same "$work/help" "$work/out" &&
    run 0 check -h && same "$work/help" "$work/out"
verdict $? "--help documents commands, options, detection and exit statuses on stdout"

run 0 --version && empty err && grep -q -x 'jsoncodec [0-9][0-9]*\.[0-9][0-9]*\.[0-9][0-9]*' "$work/out" &&
    [ "$(wc -l <"$work/out")" -eq 1 ] &&
    cp "$work/out" "$work/version" && run 0 schema rule --version && same "$work/version" "$work/out"
verdict $? "--version prints the version"

# Standard output that cannot be written is an output failure, not success.
"$tool" format "$examples/rule.json" >/dev/full 2>"$work/err"
[ $? -eq 2 ] && contains err "jsoncodec: cannot write standard output: " &&
    { "$tool" schema rule >/dev/full 2>/dev/null; [ $? -eq 2 ]; }
verdict $? "a failed write of standard output exits 2"

# --- schema -------------------------------------------------------------------

schema_ok=1
for type in data_protection_policy workflow action rule item_definition; do
    if ! run 0 schema "$type" || ! empty err ||
        ! /usr/bin/python3 -c 'import json, sys
schema = json.load(open(sys.argv[1]))
assert schema["title"] == sys.argv[2] and schema["$defs"][sys.argv[2]]["type"] == "object"' "$work/out" "$type"; then
        echo "  type: $type"
        schema_ok=0
    fi
done
[ $schema_ok -eq 1 ]
verdict $? "schema prints each root type's schema as JSON"

# --- format --------------------------------------------------------------

run 0 format --type rule "$examples/rule.json" && empty err && cp "$work/out" "$work/pretty1.json" &&
    run 0 format --type rule "$work/pretty1.json" && same "$work/pretty1.json" "$work/out"
verdict $? "format of the formatted rule is identical"

# The examples are kept in the tool's own pretty layout (four-blank indent).
same "$examples/rule.json" "$work/pretty1.json" &&
    reproduces item_definition "$examples/item_definition.json" &&
    reproduces data_protection_policy "$examples/policy.json" &&
    reproduces action "$examples/action.json"
verdict $? "format reproduces the examples byte for byte"

# Every action kind and backup subtype survives the compact form as well.
run 0 format --type data_protection_policy --compact "$examples/policy.json" &&
    [ "$(wc -l <"$work/out")" -eq 1 ] && cp "$work/out" "$work/policy-compact.json" &&
    run 0 format --type data_protection_policy "$work/policy-compact.json" &&
    same "$examples/policy.json" "$work/out"
verdict $? "the compact policy formats back to the example"

printf '%s\n' '{ "ruleName" : "r", "ruleItem_Definitions" : [ { } , {"item_definitionValue": "a, b: c"} ] }' \
    >"$work/loose.json"
run 0 format --type rule --compact "$work/loose.json" &&
    is out '{"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionValue":"a, b: c"}]}' &&
    run 0 format --compact "$work/loose.json" &&
    is out '{"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionValue":"a, b: c"}]}'
verdict $? "--compact writes no blanks after separators, with or without --type"

# --- standard input --------------------------------------------------------

input=$examples/rule.json
run 0 format --type rule && same "$work/pretty1.json" "$work/out" &&
    run 0 format --type rule - && same "$work/pretty1.json" "$work/out" &&
    run 0 check --type rule -- - && empty err
verdict $? "standard input is read without FILE and with -"

input=$examples/rule-faulty.json
run 1 check --type rule && is err "(standard input): <rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in schema."
verdict $? "a faulty document on standard input is refused under the name (standard input)"

run 1 check "$examples/rule.json" - "$examples/action.json" && [ "$(wc -l <"$work/err")" -eq 1 ] &&
    contains err "(standard input): <rule>.ruleItem_Definitions[1]."
verdict $? "- among several files reads standard input, its type detected"

# Larger than any first read buffer: 20000 items, about 600 KB on one line.
awk 'BEGIN {
    printf "{\"ruleName\":\"big\",\"ruleItem_Definitions\":["
    for (i = 0; i < 20000; i++) printf "%s{\"item_definitionValue\":\"value-%d\"}", (i ? "," : ""), i
    printf "]}\n"
}' >"$work/big.json"
input=$work/big.json
run 0 format --type rule --compact && same "$work/big.json" "$work/out"
verdict $? "a large document arrives whole through standard input"

input=/dev/null

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
