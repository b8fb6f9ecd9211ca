#!/bin/sh
# Tests of the jsoncodec command-line tool: exit statuses, the diagnostic
# line, pretty and compact output, round trips and the ways input arrives.
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
    is err "<rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in schema."
verdict $? "check prints the faulty rule's diagnostic line"

run 0 check --type data_protection_policy "$examples/policy.json" && empty out && empty err &&
    run 0 check --type action "$examples/action.json" && empty out && empty err
verdict $? "check accepts the valid policy and a single action"

# A failed action kind is reported through the union's closest member: a
# backup whose subtype fails (one union inside the other, each closest-failure
# text cut to 255 characters), an unknown kind (every member fails on the
# kind, so the first one is named), and a known kind with a bad setting.
run 1 check --type data_protection_policy "$examples/policy-faulty-subtype.json" && empty out &&
    is err "<data_protection_policy>.policyWorkflows[1].workflowActions[0].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionBackup>.actionBackupSubtypeSpecific.backupSubtypes: JSON decode error. No match for union, closest failure: <actionBackupSnapshot>.absDestinationPool: JSON decode error. Required property 'absDestinationPool' is"
verdict $? "a faulty backup subtype is named through both unions"

run 1 check --type data_protection_policy "$examples/policy-faulty-kind.json" && empty out &&
    is err "<data_protection_policy>.policyWorkflows[0].workflowActions[1].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionBackup>.actionType: JSON decode error. String based enum fails to match one of: [ 'backup' ]. "
verdict $? "an unknown action type is reported against the first kind"

run 1 check --type workflow "$examples/workflow-faulty-discover.json" && empty out &&
    is err "<workflow>.workflowActions[0].actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionDiscover>.adDiscoverType: JSON decode error. String based enum fails to match one of: [ 'NAS snapshot' ]. "
verdict $? "a known action type with a bad setting is reported against its own kind"

# The type chosen decides the schema: an item has no ruleName.
run 1 check --type rule "$examples/item_definition.json" &&
    is err "<rule>.ruleName: JSON decode error. Required property 'ruleName' is missing which violates the schema."
verdict $? "check decodes with the schema of the chosen type"

# A parse failure's line already ends in a newline; it must not gain a second.
printf '{"ruleName":"a","ruleName":"b"}' >"$work/duplicate.json"
run 1 check --type rule "$work/duplicate.json" &&
    contains err "<rule>: JSON decode error. JSON parsing error: " &&
    [ "$(wc -l <"$work/err")" -eq 1 ]
verdict $? "a repeated key is a one-line parse failure"

# --- usage and input failures --------------------------------------------

usage_ok=1
for args in "" "verify --type rule" "check" "check --type" "check --type nosuchtype" \
    "check --type rule --type rule" "check --type rule a.json b.json" \
    "check --type rule --compact" "format --type rule --pretty"; do
    # shellcheck disable=SC2086 # the words are the arguments
    if ! run 2 $args || ! empty out || ! contains err "usage: jsoncodec"; then
        echo "  arguments: $args"
        usage_ok=0
    fi
done
[ $usage_ok -eq 1 ]
verdict $? "bad usage prints the usage text on stderr and exits 2"

run 0 --help && empty err && contains out "usage: jsoncodec" && contains out "item_definition" &&
    run 0 format --type rule --help && contains out "usage: jsoncodec"
verdict $? "--help prints the usage text on stdout"

run 2 check --type rule "$work/missing.json" && empty out &&
    is err "jsoncodec: cannot open '$work/missing.json': No such file or directory"
verdict $? "a missing file is named with the system error"

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
    is out '{"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionValue":"a, b: c"}]}'
verdict $? "--compact writes no blanks after separators"

# --- standard input --------------------------------------------------------

input=$examples/rule.json
run 0 format --type rule && same "$work/pretty1.json" "$work/out" &&
    run 0 format --type rule - && same "$work/pretty1.json" "$work/out" &&
    run 0 check --type rule -- - && empty err
verdict $? "standard input is read without FILE and with -"

input=$examples/rule-faulty.json
run 1 check --type rule && contains err "<rule>.ruleItem_Definitions[1].item_definitionType: "
verdict $? "a faulty document on standard input is refused"

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
