#!/bin/sh
# Tests of the jsoncodec command-line tool, one case per command and
# behaviour: exit status 0 (every document valid, warnings alone included),
# 1 (a document refused, each fault placed in its file as a compiler does,
# or in JSON or as workflow commands; or warnings counted by --strict) and 2
# (bad usage, a type that cannot be told, an input or output failure). The
# SARIF output is tested against its schema by schema_test.py.
#
# usage: cli_test.sh TOOL EXAMPLES_DIR MANUAL [REFUSER]
# REFUSER: refuse_allocation.c built as a shared object; none skips its cases.
set -u
[ $# -eq 3 ] || [ $# -eq 4 ] || { echo "usage: $0 TOOL EXAMPLES_DIR MANUAL [REFUSER]" >&2; exit 2; }
tool=$1
ex=$2
manual=$3
refuser=${4:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/jsoncodec-cli.XXXXXX") || exit 2
trap 'rm -rf "$work"' EXIT INT TERM
passed=0
failed=0
input=/dev/null

# verdict NAME - counts the case NAME by the status of the command before
# it; a failed case shows what the last run wrote.
verdict() {
    if [ $? -eq 0 ]; then passed=$((passed + 1)); echo "ok: $1"; else
        failed=$((failed + 1)); echo "FAIL: $1"; sed 's/^/  | /' "$work/out" "$work/err"; fi
}
# The checks below are false when they fail, after a line saying which step
# failed and what it expected, so that a failed case names its step.
step() { echo "  step: $*"; return 1; }
# run STATUS ARG... - runs the tool with standard input from $input, its
# output in $work/out and $work/err; true when it exits STATUS.
run() {
    expected=$1; shift
    "$tool" "$@" <"$input" >"$work/out" 2>"$work/err"
    status=$?
    [ $status -eq "$expected" ] || step "exit status $status, expected $expected: $*"
}
# exited STATUS - the command just before exited STATUS.
exited() { status=$?; [ $status -eq "$1" ] || step "exit status $status, expected $1"; }
empty() { [ ! -s "$work/$1" ] || step "$1 is not empty"; }
# is FILE TEXT - FILE holds exactly TEXT and a newline; a failure shows the
# first line that differs, '<' as expected and '>' as found.
is() { printf '%s\n' "$2" >"$work/expected"; cmp -s "$work/expected" "$work/$1" ||
    step "$1 differs from the expected text: $(diff "$work/expected" "$work/$1" | sed -n '/^[<>]/{p;q;}')"; }
same() { cmp -s "$1" "$work/$2" || step "$2 differs from $1"; }  # FILE holds what the file PATH does
has() { f=$1; shift; for t in "$@"; do grep -q -F -e "$t" "$work/$f" || step "$f lacks: $t" || return 1; done; }
lacks() { ! grep -q -F -e "$2" "$work/$1" || step "$1 holds: $2"; }
lines() { n=$(wc -l <"$work/$1"); [ "$n" -eq "$2" ] || step "$1 has $n lines, expected $2"; }
# count FILE TEXT N - N lines of FILE hold TEXT.
count() { n=$(grep -c -F -e "$2" "$work/$1"); [ "$n" -eq "$3" ] || step "$1 has $n lines with '$2', expected $3"; }
# equal WHAT VALUE EXPECTED - for the other values a case compares.
equal() { [ "$2" = "$3" ] || step "$1 is $2, expected $3"; }
# no_temp DIR - format -i left none of its new files in DIR.
no_temp() { equal "the count of new files left in $1" "$(ls -A "$1" | grep -c jsoncodec-)" 0; }
# json_fields EXPR - each entry f of the JSON list on stdout as EXPR, a
# Python expression, prints it, one line each into $work/fields.
json_fields() { /usr/bin/python3 -c "import json, sys
for f in json.load(sys.stdin): print($1)" <"$work/out" >"$work/fields" || step "out is not a JSON list of findings"
}

run 0 check --type rule "$ex/rule.json" && empty out && empty err &&
    run 0 check "$ex/item_definition.json" && empty out && empty err
verdict "check is silent on a valid document, whose type its keys tell"

run 1 check --type rule "$ex/rule-faulty.json" && empty out && is err "$ex/rule-faulty.json:15:36: error: \
<rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in schema.
    15 |             \"item_definitionType\": 1,
       |                                    ^
jsoncodec: 1 error in 1 file"
verdict "check places a refused document's fault under its source line, then counts"

# Every fault of a policy in file order (the walk's first, policyProtectionEnable,
# comes last in the file), one inside two unions with a hint, a missing
# property at its object's brace, a column counted in characters after
# "Réplication"; then a parse failure in a second file, at jansson's place.
several=$ex/policy-faulty-several.json
printf '{"policyName": "p",\n  "policyWorkflows": [}\n' >"$work/cut.json"
run 1 check "$several" --type data_protection_policy "$work/cut.json" && empty out &&
    grep -o '^[^ ]*:[0-9]*:[0-9]*: [a-z]*: .\{0,30\}' "$work/err" >"$work/places" &&
    p="<data_protection_policy>.polic" && is places "$(printf '%s\n' "$several:15:56: error: $p" \
        "$several:15:56: note: did you mean 'snapshot'?" "$several:15:56: note: closest failure in full: <acti" \
        "$several:15:56: note: 'abBackupSubtype' is one of: '" "$several:28:45: error: $p" \
        "$several:28:45: note: did you mean 'week'?" "$several:41:9: error: $p" "$several:42:76: error: $p" \
        "$several:46:31: error: $p" "$work/cut.json:2:23: error: <data_protection_policy>: JSON")" &&
    has err "<actionBackupTraditional>.abBackupSubtype: JSON decode error. String based enum fails" \
    "    42 |             \"workflowComment\": \"Réplication hors site\", \"workflowEnabled\": \"true\"," \
    "       |                                                                            ^" \
    "JSON parsing error: unexpected token near '}' in <string> line: 2 col: 23"
verdict "every fault in file order at its line and column, with hints, the library's message, and its line with the caret under a column counted in characters"

# The first of the file, not the walk's first (which --first gives).
run 1 check --max-faults=1 "$several" && count err ': error: ' 1 && has err "$several:15:56: error: " \
    "jsoncodec: $several: 4 more findings are not shown" "jsoncodec: 1 error in 1 file (4 more findings not shown)"
verdict "--max-faults keeps the first N findings of the file and says how many it left out"

run 1 check --first "$several" && is err "$several:46:31: error: \
<data_protection_policy>.policyProtectionEnable: JSON decode error. Expected property to be boolean as specified in schema.
    46 |     \"policyProtectionEnable\": \"yes\"
       |                               ^~~~~
jsoncodec: 1 error in 1 file"
verdict "--first gives the export's fault alone, the whole token underlined"

run 1 check --format=json "$several" --type data_protection_policy "$work/cut.json" &&
    is err "jsoncodec: 6 errors in 2 files" &&
    json_fields 'f["file"].rsplit("/")[-1], f["line"], f["column"], f["endLine"], f["endColumn"], f["rule"], f["path"], f["status"], f.get("hint"), f["message"][-20:]' &&
    is fields "$(printf '%s\n' \
        "policy-faulty-several.json 15 56 15 67 invalid-value /policyWorkflows/0/workflowActions/0/actionSpecific/actions/actionBackupSubtypeSpecific/backupSubtypes/abBackupSubtype 202 snapshot ls to match one of: " \
        "policy-faulty-several.json 28 45 28 53 invalid-value /policyWorkflows/0/workflowActions/0/actionSchedulePeriod 202 week th', 'reference' ]. " \
        "policy-faulty-several.json 41 9 41 10 missing-property /policyWorkflows/1/workflowName 202 None violates the schema." \
        "policy-faulty-several.json 42 76 42 82 invalid-value /policyWorkflows/1/workflowEnabled 202 None specified in schema." \
        "policy-faulty-several.json 46 31 46 36 invalid-value /policyProtectionEnable 202 None specified in schema." \
        "cut.json 2 23 2 24 invalid-json  202 None ing> line: 2 col: 23")" && run 0 check --format json "$ex/rule.json" && is out "[]"
verdict "--format=json: file, place and end, rule, pointer, status, message and hint of each fault; the count on stderr; [] for a valid document"

# A tab before the place stays a tab under it, so that the caret lines up;
# a file name that is not UTF-8 shows its other bytes as \xff, or '?' in JSON;
# in a SARIF URI it is percent-encoded, its letters and digits kept as they are.
odd="$work/$(printf 'tab1\377.json')"
printf '{"ruleName":\t7}\n' >"$odd"
run 1 check "$odd" && has err "$(printf '       |             \t^')" "$work/tab1\\xff.json:1:14: error: " &&
    run 1 check --format=json "$odd" && has out "\"file\": \"$work/tab1?.json\"" &&
    run 1 check --format=sarif "$odd" && has out "\"uri\": \"file://$work/tab1%FF.json\""
verdict "the caret keeps the tabs of its line; a file name that is not UTF-8 is still named"

run 1 check --color=always --first "$ex/rule-faulty.json" && has err "$(printf '\033[1;31merror:\033[m')" \
    "$(printf '\033[1;32m^\033[m')" && cp "$work/err" "$work/coloured" &&
    NO_COLOR=1 run 1 check --color "$ex/rule-faulty.json" && same "$work/coloured" err &&
    run 1 check "$ex/rule-faulty.json" && lacks err "$(printf '\033')" &&
    run 1 check --color=always --color=never "$ex/rule-faulty.json" && lacks err "$(printf '\033')" &&
    run 1 check --color=always --color=auto "$ex/rule-faulty.json" && lacks err "$(printf '\033')"
verdict "--color=always and --color colour the faults, also under NO_COLOR; not on a pipe by default, nor by the last of --color=never or auto"

# A line longer than 200 bytes shows 80 bytes either side of the place,
# widened to whole characters (each é is two bytes; both cuts fall inside
# one).
e() { printf "%${1}s" | sed 's/ /é/g'; }
printf '{"ruleName": "%s", "ruleItem_Definitions": 1, "ruleComment": "%s"}\n' "$(e 60)" "$(e 60)" >"$work/long.json"
run 1 check --type rule "$work/long.json" && has err \
    "     1 | ...$(e 26)\", \"ruleItem_Definitions\": 1, \"ruleComment\": \"$(e 31)..." \
    "       | $(printf '%56s')^"
verdict "a long line is shown around its fault, cut between characters"

printf '{"ruleName": "r", "ruleItem_Definitions": [], "a~b": 1,\n "a/b": 2}\n' >"$work/slash.json"
run 0 check --type rule --format=json "$work/slash.json" && json_fields 'f["path"], f["line"], f["column"]' &&
    is fields "/a~0b 1 47
/a~1b 2 2"
sed 's/"a\/b": 2/"a\/b": 2, "\\u0078": 3/' "$work/slash.json" >"$work/escaped.json"  # read by jansson: placed by the path
run 0 check --type rule --format=json "$work/escaped.json" && json_fields 'f["path"], f["line"], f["column"]' &&
    is fields "/a~0b 1 47
/a~1b 2 2
/x 2 12"
verdict "a key holding '~' or '/' is escaped in its path and placed by it"

# The place and kind of each line of a report, with an error's path, a
# warning's property or a note's text.
places="s/^\([^ ]*:[0-9]*:[0-9]*: warning:\) .*: property \('[^']*'\).*/\1 \2/p
s/^\([^ ]*:[0-9]*:[0-9]*: note: .*\)/\1/p
s/^\([^ ]*:[0-9]*:[0-9]*: error: [^:]*\):.*/\1/p"

# Unknown properties are warnings, at their keys, in file order among the
# errors: at the top, in a list element, inside both unions; with a note
# when a property of the type is near, none for 'owner'.
mis=$ex/policy-misspelled.json
run 0 check "$mis" && empty out && sed -n "$places" "$work/err" >"$work/places" && is places "$(printf '%s\n' \
    "$mis:3:5: warning: 'PolicyComment'" "$mis:3:5: note: did you mean 'policyComment'?" \
    "$mis:7:13: warning: 'workflowComent'" "$mis:7:13: note: did you mean 'workflowComment'?" \
    "$mis:18:37: warning: 'abtEstimat'" "$mis:18:37: note: did you mean 'abtEstimate'?" \
    "$mis:28:29: warning: 'abSucessThreshold'" "$mis:28:29: note: did you mean 'abSuccessThreshold'?" \
    "$mis:31:21: warning: 'actionRetires'" "$mis:31:21: note: did you mean 'actionRetries'?" \
    "$mis:42:21: warning: 'owner'")" && has err "backupSubtypes: property 'abtEstimat' is not part of 'actionBackupTraditional' and is ignored" \
    "    18 |                                     \"abtEstimat\": true" "       |                                     ^"
verdict "warnings alone exit 0; each is at its key, names the property and its type, with the nearest name as a note"

# A misspelt required property: the error of the missing one names the
# near-miss key's intended name too, also inside a union member that did
# not match; errors and warnings interleave by place.
printf '{"rulename": "r", "ruleItem_Definitions": [{"item_definitionType": 1, "item_definitionValu": "x"}]}\n' >"$work/near.json"
run 1 check --type rule "$work/near.json" && sed -n "$places" "$work/err" >"$work/places" &&
    is places "$(printf '%s\n' "$work/near.json:1:1: error: <rule>.ruleName" "$work/near.json:1:1: note: did you mean 'ruleName'?" \
        "$work/near.json:1:2: warning: 'rulename'" "$work/near.json:1:2: note: did you mean 'ruleName'?" \
        "$work/near.json:1:68: error: <rule>.ruleItem_Definitions[0].item_definitionType" \
        "$work/near.json:1:71: warning: 'item_definitionValu'" \
        "$work/near.json:1:71: note: did you mean 'item_definitionValue'?")"
verdict "a missing property whose near-miss key is there gets its note; errors and warnings come by place"

sed 's/"abRetentionPeriod"/"abRetentionPeriode"/' "$mis" >"$work/periode.json"
run 1 check "$work/periode.json" && has err "$work/periode.json:12:36: note: did you mean 'abRetentionPeriod'?"
verdict "a missing property gets its note in an action kind that did not match too"

run 1 check --type rule --first "$work/near.json" && count err ': error: ' 1 && has err "1:1: error: <rule>.ruleName" &&
    count err ': warning: ' 2
verdict "--first reports the export's first error alone, and every warning"

# Hidden warnings do not count against --max-faults; shown ones do.
run 1 check --max-faults=1 --no-warnings --type rule "$work/near.json" && count err ': error: ' 1 &&
    has err "near.json: 1 more finding is not shown" "jsoncodec: 1 error in 1 file (1 more finding not shown)" &&
    run 0 check --max-faults=2 "$mis" && has err "jsoncodec: 2 warnings in 1 file (4 more findings not shown)"
verdict "--max-faults counts the findings shown, warnings only when they are"

# A warning is an error under --strict, as under a compiler's -Werror, in
# every format; a document without warnings stays valid.
run 1 check --strict "$mis" && count err ': error: ' 6 && lacks err 'warning' &&
    has err "$mis:3:5: error: <data_protection_policy>: property 'PolicyComment' is not part of 'data_protection_policy' and is ignored [--strict]" \
        "jsoncodec: 6 errors in 1 file" && run 0 check --strict "$ex/policy.json" && empty err &&
    run 1 check --color=always "$mis" --strict && has err "$(printf '\033[1;31merror:\033[m')" &&
    run 1 check --strict --format=json "$mis" && json_fields 'f["severity"], f["rule"]' && count fields 'error unknown-property' 6 &&
    run 1 check --strict --format=github "$mis" && count out '::error ' 6 && is err "jsoncodec: 6 errors in 1 file" &&
    run 1 check --strict --format=sarif "$mis" && /usr/bin/python3 -c 'import json, sys
print(*sorted({(r["level"], r["ruleId"]) for r in json.load(sys.stdin)["runs"][0]["results"]}))' <"$work/out" >"$work/fields" &&
    is fields "('error', 'unknown-property')"
verdict "--strict makes warnings errors, and only them, in text (in red), JSON, GitHub and SARIF output"

run 0 check --no-warnings "$mis" && empty err && run 1 check --no-warnings --type rule "$work/near.json" &&
    lacks err 'warning'
verdict "--no-warnings hides warnings, also beside errors"

# For programs: severity in JSON; GitHub workflow commands escaped (% and
# newlines in messages, and : and , in the file name too).
run 0 check --format=json "$mis" "$ex/rule.json" && is err "jsoncodec: 6 warnings in 1 of 2 files" &&
    json_fields 'f["severity"], f["line"], f["column"], f["path"], f["status"], f.get("hint")' &&
    is fields "$(printf '%s\n' "warning 3 5 /PolicyComment 0 policyComment" \
        "warning 7 13 /policyWorkflows/0/workflowComent 0 workflowComment" \
        "warning 18 37 /policyWorkflows/0/workflowActions/0/actionSpecific/actions/actionBackupSubtypeSpecific/backupSubtypes/abtEstimat 0 abtEstimate" \
        "warning 28 29 /policyWorkflows/0/workflowActions/0/actionSpecific/actions/abSucessThreshold 0 abSuccessThreshold" \
        "warning 31 21 /policyWorkflows/0/workflowActions/0/actionRetires 0 actionRetries" \
        "warning 42 21 /policyWorkflows/0/workflowActions/0/owner 0 None")" &&
    run 1 check --format=json --type rule "$ex/rule-faulty.json" && has out '"severity": "error",'
verdict "--format=json gives each finding its severity; a warning its place, pointer and hint"

# A key's control characters are escaped, then the workflow command's own.
gh="$work/a,b:c.json"
printf '{"ruleName": "r", "x%%y\\nz\\u001b[2J": 1, "ruleComent": "c"}\n' >"$gh"
run 1 check --format=github "$gh" "$ex/rule-faulty.json" && is out \
"::warning file=$(echo "$work" | sed 's/:/%3A/g; s/,/%2C/g')/a%2Cb%3Ac.json,line=1,col=19::<rule>: property 'x%25y\\nz\\u001b[2J' is not part of 'rule' and is ignored
::warning file=$(echo "$work" | sed 's/:/%3A/g; s/,/%2C/g')/a%2Cb%3Ac.json,line=1,col=41::<rule>: property 'ruleComent' is not part of 'rule' and is ignored (did you mean 'ruleComment'?)
::error file=$ex/rule-faulty.json,line=15,col=36::<rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in schema."
verdict "--format=github writes one escaped workflow command per finding"

# Nothing from a document reaches the terminal raw: a key's escape sequence
# and line break are escaped in the message, and a raw control character in
# a source line too, the caret still under it.
run 0 check "$gh" && has err "$gh:1:19: warning: <rule>: property 'x%y\\nz\\u001b[2J' is not part of 'rule'" &&
    lacks err "$(printf '\033')" &&
    printf '{"ruleName": "a\033[2J\001b"}\n' >"$work/raw.json" && run 1 check "$work/raw.json" &&
    has err '     1 | {"ruleName": "a\u001b[2J\u0001b"}' "$(printf '       |                ^~~~~~\n')" &&
    lacks err "$(printf '\033')"
verdict "control characters from a document are escaped in text, the caret under its character"

# Every file is checked whatever happened before; the worst status wins.
# A file's findings are shown before the next file is read: here a FIFO,
# whose reading waits for its writer until the error before it is seen.
: >"$work/err" && mkfifo "$work/next.json" && { "$tool" check "$ex/rule.json" "$ex/rule-faulty.json" "$ex/policy.json" \
    "$work/next.json" >"$work/out" 2>"$work/err" & }
i=0; while [ ! -s "$work/err" ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i + 1)); done; has err "rule-faulty.json:15:36: error: "; shown=$?
timeout 20 sh -c 'cat "$1" >"$2"' sh "$ex/workflow-faulty-discover.json" "$work/next.json"; wait $!; exited 1 &&
    equal "the error shown before the next file was read" $shown 0 && empty out &&
    grep ': error: ' "$work/err" | sed 's/\]\..*/]./' >"$work/errors" && is errors "$ex/rule-faulty.json:15:36: error: <rule>.ruleItem_Definitions[1].
$work/next.json:9:39: error: <workflow>.workflowActions[0]." && has err "$work/next.json:9:39: note: did you mean 'NAS snapshot'?"
verdict "several files: each fault named by its file, in order, and shown before the next file is read"

run 2 check "$work/missing.json" "$ex/rule-faulty.json" "$ex/rule.json" &&
    has err "jsoncodec: cannot open '$work/missing.json': No such file or directory" "$ex/rule-faulty.json:15:36: error: <rule>." \
        "jsoncodec: 1 error in 1 of 2 files; 1 file could not be checked"
verdict "a file that cannot be read exits 2 and stops nothing"

# A folder stands for the *.json files below it, in sorted order, without
# hidden ones; for check and format --check.
mkdir -p "$work/tree/b" "$work/tree/.hidden" "$work/tree/a"
cp "$ex/rule-faulty.json" "$work/tree/b/faulty.json" && cp "$ex/rule-faulty.json" "$work/tree/.hidden/faulty.json"
cp "$ex/rule-faulty.json" "$work/tree/a/faulty.json" && cp "$ex/rule-faulty.json" "$work/tree/faulty.txt"
printf '{"ruleName":"r"}' >"$work/tree/a/flat.json" && cp "$ex/rule.json" "$work/tree/rule.json" && mkfifo "$work/tree/fifo.json"
run 1 check "$work/tree" && sed -n 's/:[0-9]*:[0-9]*: error: .*//p' "$work/err" >"$work/places" &&
    is places "$work/tree/a/faulty.json
$work/tree/b/faulty.json" && has err "jsoncodec: 2 errors in 2 of 4 files" &&
    run 1 format --check "$work/tree/a/" && is out "$work/tree/a/flat.json" &&
    run 2 format "$work/tree" && has err "jsoncodec: cannot read '$work/tree': Is a directory" &&
    input=$work/tree run 2 format && has err "jsoncodec: cannot read standard input: Is a directory"
verdict "a folder stands for the *.json files below it, in sorted order"

# Each name property tells its type, which the line's root shows; --type wins.
printf '%s\n' '{"policyName":"p","policyWorkflows":[{}]}' >"$work/policy.json"
printf '%s\n' '{"workflowName":"w","workflowGroups":[1]}' >"$work/workflow.json"
printf '%s\n' '{"actionName":"a"}' >"$work/action.json"
printf '%s\n' '{"ruleName":1}' >"$work/rule.json"
run 1 check "$work/policy.json" "$work/workflow.json" "$work/action.json" "$work/rule.json" &&
    has err "$work/policy.json:1:38: error: <data_protection_policy>.policyWorkflows[0].workflowName: " \
        "$work/workflow.json:1:39: error: <workflow>.workflowGroups[0]: " "$work/action.json:1:1: error: <action>.actionSpecific: " \
        "$work/rule.json:1:13: error: <rule>.ruleName: " &&
    run 1 check --type rule "$ex/action.json" && has err "<rule>.ruleName: "
verdict "policyName, workflowName, actionName and ruleName each tell their type; --type overrides them"

# An empty object, one without a key of any type, not an object: the type
# cannot be told (exit 2), in every format.
printf '%s\n' '{}' >"$work/none.json"
printf '%s\n' '{"colour": "red", "size": 2}' >"$work/alien.json"
printf '%s\n' '["ruleName"]' >"$work/array.json"
run 2 check "$work/none.json" "$work/alien.json" "$work/array.json" && empty out &&
    has err "jsoncodec: $work/none.json: cannot tell the document's type: its top-level object is empty; give --type TYPE, TYPE one of: data_protection_policy, workflow, action, rule, item_definition" \
        "$work/alien.json: cannot tell the document's type: its top-level object holds no property of any root type" \
        "$work/array.json: cannot tell the document's type: it is not a JSON object" "jsoncodec: 3 files could not be checked" &&
    run 2 check --format=json "$work/none.json" && is out "[]"
verdict "a document whose type cannot be told exits 2 and says why"

# A syntax fault is a finding, whatever the type, in every format.
printf '%s\n' '{"ruleName":' >"$work/cut.json"
run 1 check "$work/cut.json" && has err "$work/cut.json:2:1: error: <rule>: JSON decode error. JSON parsing error: " &&
    run 1 check --format=json "$work/cut.json" && has out '"rule": "invalid-json",' '"line": 2,' &&
    run 1 check --format=sarif "$work/cut.json" && has out '"ruleId": "invalid-json",' '"startLine": 2,' &&
    run 1 check --format=github "$work/cut.json" && has out "::error file=$work/cut.json,line=2,col=1::<rule>: JSON decode error."
verdict "a text that does not parse is refused with exit 1 in text, JSON, SARIF and GitHub output"

# A syntax fault is placed at the start of the offending token: a number's
# first digit, the bad byte, the repeated key's opening quote, the bracket
# where a member was expected.
printf '{"ruleName": "r", "x": -12345678901234567890123}\n' >"$work/big.json"
printf '{"ruleName": "r\377"}\n' >"$work/byte.json"
printf '{"ruleName": "r", "ruleName": "s"}\n' >"$work/twice.json"
printf '{"ruleName": "r",}\n' >"$work/comma.json"
printf '[1] x\n' >"$work/after.json"
printf '{"colour": 1} x' >"$work/x1.json" && printf '{"ruleItem_Definitions": [1,]}' >"$work/x2.json"
run 1 check "$work/x1.json" "$work/x2.json" && has err "$work/x1.json:1:15: error: JSON decode error. JSON parsing error: end" \
    "$work/x2.json:1:29: error: <rule>: JSON decode error. JSON parsing error: unexpected token near ']'" &&
    run 1 check "$work/big.json" "$work/byte.json" "$work/twice.json" "$work/comma.json" "$work/after.json" &&
    grep -o '^[^ ]*:[0-9]*:[0-9]*: error' "$work/err" >"$work/places" &&
    is places "$(printf '%s\n' "$work/big.json:1:24: error" "$work/byte.json:1:16: error" \
        "$work/twice.json:1:19: error" "$work/comma.json:1:18: error" "$work/after.json:1:5: error")" &&
    has err "note: a key may appear only once in an object" "$work/byte.json:1:16: note: the text is not UTF-8 here: save" \
        "$work/big.json:1:24: note: an integer must lie between -9223372036854775808 and 9223372036854775807" "^$(printf '%023d' 0 | tr 0 '~')"
verdict "a syntax fault is placed at its token, and named by the type the keys before it tell, if any"

# A union that matches no member: the library's line, then every other
# fault of the closest member at its place; a kind that names no member
# lists the kinds, with the nearest.
printf '%s\n' '{"actionName": "a", "actionSpecific": {"actions": {"actionType": "backup",' \
    '  "abRetentionPeriod": 5}}, "actionSchedulePeriod": "week", "actionScheduleActivity": []}' >"$work/member.json"
sed 's/"replicate"/"clonee"/' "$ex/policy-faulty-kind.json" >"$work/kind.json"
run 1 check "$work/member.json" "$work/kind.json" && count err ': error: ' 2 &&
    has err "$work/member.json:1:51: error: <action>.actionSpecific.actions: JSON decode error. No match for union, closest failure: <actionBackup>.actionBackupSubtypeSpecific: JSON decode error. Required property" \
        "$work/member.json:2:24: note: <actionBackup>.abRetentionPeriod: JSON decode error. Expected a string" \
        "$work/member.json:1:51: note: <actionBackup>.abOverrideRetentionPeriod: JSON decode error. Required property" \
        "$work/kind.json:30:43: note: did you mean 'clone'?" \
        "$work/kind.json:30:43: note: 'actionType' is one of: 'backup', 'probe', 'execute', 'clone', 'discover'," &&
    lacks err "$work/kind.json:29:36: note: <actionBackup>" &&
    run 2 check --format=github "$work/member.json" "$work/missing.json" && has err "cannot open '$work/missing.json'" &&
    has out "(2:24: <actionBackup>.abRetentionPeriod: JSON decode error. Expected a string"
verdict "a union that matches nothing gives the closest member's every fault as notes (in GitHub's, the place in the text); an unknown kind lists the kinds; an unreadable file is named on stderr"

# Without a name property the keys decide, and the name's error hints at
# the key that misspells it.
printf '%s\n' '{"PolicyName": "p", "policyWorkflows": []}' >"$work/capital.json"
run 1 check "$work/capital.json" && has err \
    "$work/capital.json:1:1: error: <data_protection_policy>.policyName: JSON decode error. Required property 'policyName' is missing" \
    "$work/capital.json:1:1: note: did you mean 'policyName'?" &&
    run 0 check "$ex/item_definition.json"
verdict "without a name property the type is the one whose properties the keys name, with the name's hint"

bad=0
for args in "" "verify" "check --type" "check --type nosuchtype" "check --type rule --type rule" \
    "format --type rule a.json b.json" "check - -" "check --compact" "check --pretty" \
    "schema" "schema rule rule" "schema nosuchtype" "schema --type rule" "check --max-faults=-1" \
    "check --first --max-faults=3" "--version extra" "schema rule --version" "check --first=1" "check --co" \
    "format --check --in-place" "check --strict --no-warnings" "check --drop-unknown" "format -i --strict --drop-unknown" \
    "schema --first rule" "check --format=xml" "check --color=sometimes" "format -i -" "format -i" "format -i --check a.json" \
    "check -x" "lsp a.json" "check --=x" "check --max-faults=x" "check --max-faults=3x" \
    "check --max-faults=99999999999999999999999" "lsp --strict"; do
    # shellcheck disable=SC2086 # the words are the arguments
    if ! { run 2 $args && empty out && has err "usage: jsoncodec"; }; then echo "  arguments: $args"; bad=1; fi
done
[ $bad -eq 0 ]
verdict "bad usage prints the synopsis on stderr and exits 2"

# The last message is 512 bytes, the size of the tool's first buffer: its
# path of 471 bytes (slashes, then missing.json) and 41 of text around it.
run 2 lsp --strict && has err "jsoncodec: --strict applies to check, format and schema only" && run 2 schema --type rule &&
    has err "jsoncodec: --type applies to check and format only" && run 2 check --version && has err "jsoncodec: --version takes no other argument" &&
    run 2 check -- --help && has err "jsoncodec: cannot open '--help'" && run 2 check --first=1 && has err "not '--first=1'" &&
    long="$work$(printf '/.%.0s' $(seq 300))/missing.json" && run 2 check "$long" && has err "jsoncodec: cannot open '$long': No such file or directory" &&
    edge="$work$(printf "%$((471 - ${#work} - 12))s" | tr ' ' /)missing.json" && run 2 check "$edge" && has err "'$edge': No such file or directory"
verdict "an option's commands are listed; -- ends the options; a message is never cut, one of 512 bytes neither"

# The language server answers on standard output and logs on standard error;
# input that ends before "exit", or an output it cannot write, ends it with 1.
run 1 lsp --stdio && empty out && printf 'Content-Length: 9\r\n\r\n{not json%.0s' 1 2 >"$work/lsp.in" && input=$work/lsp.in run 1 lsp &&
    has out '"code":-32700' && has err "jsoncodec lsp: a message that is not JSON" &&
    { "$tool" lsp <"$work/lsp.in" >&- 2>"$work/err"; exited 1; } && has err "jsoncodec lsp: standard output is closed"
verdict "the language server ends with 1 when its input ends early or its output is closed"

run 0 --help && empty err && has out "usage: jsoncodec check [OPTION]... [FILE | FOLDER]..." "jsoncodec schema [--strict] TYPE" \
    "  --compact         format: one line" "  --type=TYPE       check and" "rule, item_definition." "Exit status: 0 valid" && lines out 24 &&
    cp "$work/out" "$work/help" && run 0 format --type rule -h && same "$work/help" out && run 0 format -ih && same "$work/help" out &&
    grep -o -e '--[a-z][a-z-]*' "$work/help" | sort -u >"$work/options" &&
    sed -n '/^\.SH OPTIONS/,/^\.SH [^O]/{/^\.TP/{n;p;};}' "$manual" | sed 's/\\-/-/g' |
    grep -o -e '--[a-z][a-z-]*' | sort -u >"$work/manual-options" &&
    same "$work/options" manual-options && run 0 --version && empty err && lines out 1 &&
    { grep -q -x 'jsoncodec [0-9][0-9]*\.[0-9][0-9]*\.[0-9][0-9]*' "$work/out" || step "out is not 'jsoncodec X.Y.Z'"; }
verdict "--help prints the synopsis, the options (those of the manual's OPTIONS), the types and the exit statuses on one screen whatever the other arguments; --version the tool's name and version alone"

{ "$tool" format "$ex/rule.json" >/dev/full 2>"$work/err"; exited 2; } && has err "jsoncodec: cannot write standard output: " &&
    { "$tool" schema rule >/dev/full 2>/dev/null; exited 2; } &&
    { "$tool" check --format=sarif "$ex/policy-faulty-several.json" >/dev/full 2>"$work/err"; exited 2; } &&
    has err "jsoncodec: cannot write standard output: No space left on device" && lacks err "out of memory" &&
    { "$tool" check "$ex/rule-faulty.json" 2>/dev/full; exited 2; } && { "$tool" format "$ex/policy-misspelled.json" >/dev/null 2>/dev/full; exited 2; }
verdict "a failed write of standard output, or of the faults or warnings on standard error, exits 2; a SARIF log larger than a buffer fails so, not as memory running out"

# The examples are kept in the tool's own pretty layout; the compact form of
# the policy (every action kind and backup subtype) is one line and formats
# back to it.
run 0 format --type rule "$ex/rule.json" && empty err && same "$ex/rule.json" out &&
    run 0 format --type action "$ex/action.json" && same "$ex/action.json" out &&
    run 0 format --compact "$ex/policy.json" && lines out 1 && cp "$work/out" "$work/compact.json" &&
    run 0 format "$work/compact.json" && same "$ex/policy.json" out
verdict "format reproduces the examples byte for byte; their compact form is one line and formats back to them"

printf '%s\n' '{ "ruleName" : "r", "ruleItem_Definitions" : [ { } , {"item_definitionValue": "a, b: c"} ] }' >"$work/loose.json"
run 0 format --type rule --compact "$work/loose.json" &&
    is out '{"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionValue":"a, b: c"}]}'
verdict "--compact writes no blanks after separators"

input=$ex/rule.json run 0 format --type rule && same "$ex/rule.json" out &&
    input=$ex/rule.json run 0 format - && same "$ex/rule.json" out &&
    input=$ex/rule-faulty.json run 1 check "$ex/rule.json" - "$ex/action.json" && lines err 4 &&
    has err "(standard input):15:36: error: <rule>.ruleItem_Definitions[1]."
verdict "standard input is read without FILE and as -, and named (standard input)"

# Larger than any first read buffer: 20000 items, about 600 KB on one line.
awk 'BEGIN { printf "{\"ruleName\":\"big\",\"ruleItem_Definitions\":["
    for (i = 0; i < 20000; i++) printf "%s{\"item_definitionValue\":\"value-%d\"}", (i ? "," : ""), i
    printf "]}\n" }' >"$work/big.json"
input=$work/big.json run 0 format --type rule --compact && same "$work/big.json" out
verdict "a large document arrives whole through standard input"

# format -i rewrites what is not canonical, keeping the mode, and leaves a
# refused file byte for byte; --check only lists what is not canonical.
printf '{"ruleName":"r"}' >"$work/flat.json" && chmod 640 "$work/flat.json"
cp "$ex/rule.json" "$work/canonical.json" && cp "$ex/rule-faulty.json" "$work/faulty.json"
run 1 format --check "$work/flat.json" "$work/canonical.json" && is out "$work/flat.json" &&
    run 1 format -i "$work/flat.json" "$work/canonical.json" "$work/faulty.json" && same "$ex/rule-faulty.json" faulty.json &&
    has err "$work/faulty.json:15:36: error: <rule>.ruleItem_Definitions[1]"
verdict "format --check lists what is not canonical; format -i leaves a refused file byte for byte"

equal "the mode of flat.json" "$(stat -c %a "$work/flat.json")" 640 && no_temp "$work" &&
    run 0 format --check "$work/flat.json" "$work/canonical.json" && empty out
verdict "format -i rewrites the others in place, keeping their mode"

# Each allocation of a run refused in turn, once (refuse_allocation.c): the
# run gives the plain run's status and output, or exits 2 saying memory ran
# out; it never dies, and leaves no new file in $work/oom. Each run starts
# with a new copy of the file $fresh, if set, at $fresh.json.
renew() { [ -z "$fresh" ] || cp "$fresh" "$fresh.json"; }
refused() {
    renew; "$tool" "$@" >"$work/plain-out" 2>"$work/plain-err"; plain=$?
    renew; LD_PRELOAD=$refuser JSONCODEC_REFUSE=0 "$tool" "$@" >/dev/null 2>"$work/err"
    total=$(sed -n 's/^allocations: //p' "$work/err") n=0
    [ "${total:-0}" -gt 0 ] || step "no allocation counted: $*" || return 1
    while [ $((n += 1)) -le "$total" ]; do
        renew; LD_PRELOAD=$refuser JSONCODEC_REFUSE=$n "$tool" "$@" >"$work/out" 2>"$work/err"
        status=$?
        { [ $status -eq $plain ] && cmp -s "$work/out" "$work/plain-out" && cmp -s "$work/err" "$work/plain-err"; } ||
            { [ $status -eq 2 ] && grep -q -e 'out of memory' -e 'Cannot allocate memory' "$work/err"; } ||
            step "allocation $n of $total refused: exit status $status: $*" || return 1
        no_temp "$work/oom" || return 1
    done
}
# Documents without unions: a union's trials lose findings when memory runs
# out, unnoticed.
if [ -n "$refuser" ]; then
    mkdir "$work/oom" && cp "$ex/rule-faulty.json" "$work/near.json" "$work/oom/" &&
        printf '{"ruleName": "r", "x": 1, "ruleComent": ""}\n' >"$work/oom/warned.json" &&
        printf '{"ruleName":"r"}' >"$work/oom/flat" && set -- "$work/oom" "$work/missing.json"
    fresh= && refused check --format=sarif "$@" && refused check --format=json "$@" &&
        refused check --max-faults=2 "$@" && refused format --compact "$work/oom/warned.json" &&
        fresh=$work/oom/flat && refused format -i "$work/oom/flat.json"
    verdict "memory running out anywhere ends a run with exit 2 and says so, or changes nothing"
fi

# Standard input is never rewritten, under any name, also that of its file.
printf '%s\n' '{"ruleName":"r"}' >"$work/piped.json"
bad=0
for name in /dev/stdin /dev/fd/0 /proc/self/fd/0 "$work/piped.json"; do
    input=$work/piped.json run 2 format -i "$name" && has err "cannot rewrite '$name': it is standard input" || { echo "  name: $name"; bad=1; }
done
[ $bad -eq 0 ] && is piped.json '{"ruleName":"r"}'
verdict "format -i refuses standard input under any name"

# format never drops a value unasked: to standard output it warns and goes
# on; -i leaves the file untouched (exit 1) unless --drop-unknown; --check
# lists the file and says why; --strict refuses to format it.
cp "$mis" "$work/mis.json"
run 0 format "$work/mis.json" && cp "$work/out" "$work/dropped.json" && count err ': warning: ' 6 &&
    has out '"policyName": "Silver",' && lacks out PolicyComment &&
    run 1 format --strict "$work/mis.json" && empty out
verdict "format warns of unknown properties and goes on without them; --strict refuses to"

run 1 format -i "$work/mis.json" && same "$mis" mis.json && count err ': warning: ' 6 &&
    has err "jsoncodec: cannot rewrite '$work/mis.json': it holds 6 properties its type does not know" &&
    printf '{"ruleName": "r", "x": 1}\n' >"$work/one.json" && run 1 format -i "$work/one.json" &&
    has err "jsoncodec: cannot rewrite '$work/one.json': it holds 1 property its type does not know"
verdict "format -i leaves a file with unknown properties untouched and says why"

run 1 format --check "$work/mis.json" && is out "$work/mis.json" &&
    has err "jsoncodec: $work/mis.json: not in canonical form: it holds 6 properties its type does not know, which format would drop" &&
    run 1 format --check --strict "$work/mis.json" && is out "$work/mis.json" &&
    run 0 format -i --drop-unknown --no-warnings "$work/mis.json" && empty err && same "$work/dropped.json" mis.json
verdict "format --check lists a file with unknown properties and says why; -i --drop-unknown rewrites it without them"

# A NUL byte refuses the text at its place: nothing after it is read, so
# /dev/zero stops at its first byte, and nothing is rewritten.
printf '{"ruleName": "r"}\n\0{"ruleName": 5}\n' >"$work/nul.json" && cp "$work/nul.json" "$work/nul-kept.json"
run 1 check "$work/nul.json" && has err "$work/nul.json:2:1: error: the text holds a NUL byte" &&
    run 1 check --format=json "$work/nul.json" && has out '"line": 2,' '"message": "the text holds a NUL byte"' &&
    run 1 format --check "$work/nul.json" && empty out && run 1 format -i "$work/nul.json" && same "$work/nul-kept.json" nul.json
verdict "a NUL byte refuses the text at its place, in text and in JSON; format --check and -i rewrite nothing"

timeout 20 "$tool" check /dev/zero 2>"$work/err"
exited 1 && is err "/dev/zero:1:1: error: the text holds a NUL byte
     1 | 
       | ^
jsoncodec: 1 error in 1 file" && { timeout 20 "$tool" check </dev/zero 2>"$work/err"; exited 1; } && has err "(standard input):1:1: error: the text holds a NUL byte"
verdict "/dev/zero, named or as standard input, is refused at its first byte"

# Parse failures whose line is cryptic get a plain note; the line stays.
printf '\357\273\277{"ruleName": "r"}\n' >"$work/bom.json"
printf '{"ruleName": "a\\u0000b"}\n' >"$work/u0.json"
: >"$work/empty.json"
printf ' \r\n\t\n' >"$work/blank.json"
run 1 check "$work/bom.json" "$work/u0.json" "$work/empty.json" "$work/blank.json" &&
    grep ': note: ' "$work/err" >"$work/notes" && is notes "$(printf '%s\n' \
        "$work/bom.json:1:1: note: the text starts with a byte-order mark (U+FEFF), which JSON does not allow: save the file without it" \
        "$work/u0.json:1:16: note: a text here holds \\u0000 (the character U+0000), which no text may hold" \
        "$work/empty.json:1:1: note: the input is empty: a document is one JSON object" \
        "$work/blank.json:3:1: note: the input holds only blanks: a document is one JSON object")" &&
    has err "$work/u0.json:1:16: error: <rule>: JSON decode error. JSON parsing error: \\u0000 is not allowed" &&
    run 1 check --format=json "$work/bom.json" && json_fields 'f["notes"][0]["message"][:38]' &&
    is fields "the text starts with a byte-order mark"
verdict "a byte-order mark, \\u0000 in a text, empty and blank input get a note after the library's line, in JSON too"

# format -i replaces a file only where a new file can take its place whole.
mkdir "$work/in"
printf '%s\n' '{"ruleName":"r"}' >"$work/in/linked.json" && ln "$work/in/linked.json" "$work/in/link2.json"
run 2 format -i "$work/in/linked.json" && has err "cannot rewrite '$work/in/linked.json': it has 2 hard links" &&
    is in/link2.json '{"ruleName":"r"}' && equal "the link count of linked.json" "$(stat -c %h "$work/in/linked.json")" 2 &&
    mkfifo "$work/in/fifo.json" && { timeout 20 "$tool" format -i "$work/in/fifo.json" 2>"$work/err"; exited 2; } && has err "cannot rewrite '$work/in/fifo.json': it is not a regular file" &&
    { [ -p "$work/in/fifo.json" ] || step "fifo.json is no longer a FIFO"; } &&
    run 2 format -i "$work/in/missing.json" && has err "cannot open '$work/in/missing.json': No such file" &&
    { "$tool" format -i "$work/in/missing.json" <&- 2>"$work/err"; exited 2; } && has err "cannot open '$work/in/missing.json'"
verdict "format -i leaves a file with a second hard link, a FIFO (unread) and a file that is not there alone, exit 2, also without standard input"

# Root has its files' modes disregarded: the ordinary user is nobody then.
as_user=
if [ "$(id -u)" -eq 0 ]; then
    as_user="setpriv --reuid=nobody --regid=nogroup --clear-groups" && chmod 755 "$work" && chmod 777 "$work/in"
fi
printf '%s\n' '{"ruleName":"r"}' >"$work/in/readonly.json" && chmod 444 "$work/in/readonly.json"
[ -z "$as_user" ] || chown nobody "$work/in/readonly.json"
$as_user "$tool" format -i "$work/in/readonly.json" 2>"$work/err"
exited 2 && has err "cannot rewrite '$work/in/readonly.json': you may not write it" && is in/readonly.json '{"ruleName":"r"}'
verdict "format -i leaves a file its user may not write untouched, exit 2"

mkdir -p "$work/in/walk/locked" "$work/in/ro" && printf '{"ruleName":"r"}\n' >"$work/in/ro/doc.json" && chmod 666 "$work/in/ro/doc.json" &&
    chmod 0 "$work/in/walk/locked" && chmod 555 "$work/in/ro" && $as_user "$tool" check "$work/in/walk" 2>"$work/err"
exited 2 && has err "cannot read the folder '$work/in/walk/locked': Permission denied" &&
    { $as_user "$tool" format -i "$work/in/ro/doc.json" 2>"$work/err"; exited 2; } &&
    has err "cannot rewrite '$work/in/ro/doc.json': Permission denied" && is in/ro/doc.json '{"ruleName":"r"}'
verdict "a folder that cannot be read, or a file whose folder cannot take a new one, exits 2"
chmod 755 "$work/in/walk/locked" "$work/in/ro"

if [ -n "$as_user" ]; then
    printf '%s\n' '{"ruleName":"r"}' >"$work/in/owned.json" && chown nobody:nogroup "$work/in/owned.json" &&
        chmod 640 "$work/in/owned.json" && run 0 format -i "$work/in/owned.json" &&
        equal "the owner, group and mode of owned.json" "$(stat -c '%U:%G %a' "$work/in/owned.json")" "nobody:nogroup 640" &&
        run 0 format --check "$work/in/owned.json"
    verdict "format -i gives the new file the old one's owner, group and mode"
    printf '%s\n' '{"ruleName":"r"}' >"$work/in/others.json" && chmod 666 "$work/in/others.json"
    $as_user "$tool" format -i "$work/in/others.json" 2>"$work/err"
    exited 2 && has err "cannot rewrite '$work/in/others.json': its owner and group (0:0) cannot be given" &&
        is in/others.json '{"ruleName":"r"}' && no_temp "$work/in"
    verdict "format -i leaves a file whose owner it cannot keep untouched, with the reason"
else
    echo "skip: format -i keeping another user's file (needs root)"
fi

# A signal during format -i removes the new file before the tool ends with
# the signal's status; the file holds its old text or its new one, whole.
mkdir "$work/sig"
awk 'BEGIN { printf "{\"ruleName\":\"big\",\"ruleItem_Definitions\":["
    for (i = 0; i < 200000; i++) printf "%s{\"item_definitionValue\":\"value-%d\"}", (i ? "," : ""), i
    printf "]}\n" }' >"$work/sig/old"
"$tool" format "$work/sig/old" >"$work/sig/new"
bad=0
for signal in INT:130 TERM:143 HUP:129; do
    tries=0
    while :; do  # until the signal arrives while the new file is there
        cp "$work/sig/old" "$work/sig/doc.json"
        env --default-signal=INT "$tool" format -i "$work/sig/doc.json" 2>/dev/null &
        pid=$! seen='' state=R
        while [ -z "$seen" ] && [ "$state" != Z ] && read -r _ _ state _ <"/proc/$pid/stat"; do
            for f in "$work/sig"/.jsoncodec-*; do [ -e "$f" ] && seen=1; done
        done
        kill -s "${signal%:*}" $pid 2>/dev/null
        wait $pid 2>/dev/null
        status=$?
        [ -z "$seen" ] && [ $((tries += 1)) -lt 5 ] || break
    done
    [ -n "$seen" ] && equal "the exit status" $status "${signal#*:}" && no_temp "$work/sig" &&
        { cmp -s "$work/sig/doc.json" "$work/sig/old" || cmp -s "$work/sig/doc.json" "$work/sig/new" || step "doc.json is torn"; } ||
        { echo "  SIG${signal%:*}: exit status $status, new file seen: ${seen:-no}"; bad=1; }
done
[ $bad -eq 0 ]
verdict "SIGINT, SIGTERM and SIGHUP during format -i remove its new file and end it with the signal's status"

# A write past the file size limit fails: in the text, or at its final
# newline; the file is left as it was. A signal ignored stays ignored.
mkdir "$work/lim" && cp "$work/sig/old" "$work/lim/big.json" && printf '{"ruleName":"%s"}' "$(printf '%01048554d' 0)" >"$work/lim/exact.json"
(trap '' XFSZ; exec prlimit --fsize=1048576 "$tool" format -i "$work/lim/big.json" "$work/lim/exact.json" 2>"$work/err")
exited 2 && has err "cannot rewrite '$work/lim/big.json': File too large" "cannot rewrite '$work/lim/exact.json': File too large" &&
    same "$work/sig/old" lim/big.json && no_temp "$work/lim" && (trap '' HUP; "$tool" format -i "$work/lim/big.json" & kill -HUP $!; wait $!) &&
    same "$work/sig/new" lim/big.json
verdict "format -i leaves a file it cannot write whole as it was; an ignored SIGHUP does not stop it"

# A file name cannot steer the terminal; the caret is placed by display
# width (two columns for each CJK character, none for a combining accent)
# while the column counts characters.
esc="$work/$(printf 'esc\033[2J\177.json')"
printf '{"ruleName": "\345\220\215\345\211\215 e\314\201", "ruleItem_Definitions": 5}\n' >"$esc"
LC_ALL=C.UTF-8 run 1 check "$esc" && lacks err "$(printf '\033')" && has err "$work/esc\\u001b[2J\\u007f.json:1:47: error: " &&
    run 2 check "$esc.missing" && has err "cannot open '$work/esc\\u001b[2J\\u007f.json.missing'"
verdict "control characters in file names are escaped"

LC_ALL=C.UTF-8 run 1 check "$esc" && has err ":1:47: error: " "       | $(printf '%47s' '')^"
verdict "the caret sits under its character by display width while the column counts characters"

# Bytes outside UTF-8 (lone, overlong, surrogate, past U+10FFFF, cut short)
# and invisible characters are escaped, the least three-byte one and U+00A0 are not; a character wcwidth does not know
# (U+0378) takes one column; a CRLF line shows without its CR; a line
# number of six digits widens the margin; long lines are cut only on the
# side far from the fault.
c="$work/$(printf 'n\340\240\200\200\300\257\340\200\200\355\240\200\364\220\200\200\303A\302\205\302\240\342\200\250\342\200\256\342\201\246.json\342\200')"
printf '{"a\\tb": "\315\270", "ruleName": 1}\r\n' >"$c" && { printf '{"ruleName":'; yes '' | head -n 100000; echo '1}'; } >"$work/lines.json"
{ printf '{"ruleName":\n5, "ruleComment": "%0300d", "ruleItem_Definitions": 7}\n' 0; } >"$work/edges.json"
LC_ALL=C.UTF-8 run 1 check --type rule "$c" "$work/lines.json" "$work/edges.json" && has err \
    "$work/n$(printf '\340\240\200')\x80\xc0\xaf\xe0\x80\x80\xed\xa0\x80\xf4\x90\x80\x80\xc3A\u0085$(printf '\302\240')\u2028\u202e\u2066.json\xe2\x80:1:2: warning: <rule>: property 'a\tb'" \
    "$(printf '     1 | {"a\\tb": "\315\270", "ruleName": 1}\n       |                           ^')" \
    "$(printf ' 100001 | 1}\n        | ^')" "$(printf '     2 | 5, "ruleComment": "%061d...\n       | ^' 0)" \
    "$(printf '     2 | ...%053d", "ruleItem_Definitions": 7}\n       | %83s^' 0 '')"
verdict "odd bytes and invisible characters are escaped, and each line is shown around its fault"

printf '{"ruleName": "\303\251"' >"$work/end.json"
run 1 check "$work/end.json" && has err "$(printf '     1 | {"ruleName": "\303\251"\n       |                 ^')"
verdict "a text cut short has the caret past its last character"

# Colour on a terminal, unless NO_COLOR is set and not empty or TERM is dumb.
on_tty() { script -qec "env $* $tool check $ex/rule-faulty.json" /dev/null >"$work/err" 2>&1; exited 1; }
red="$(printf '\033[1;31merror:')"
on_tty && has err "$red" && on_tty NO_COLOR= && has err "$red" && on_tty NO_COLOR=1 && lacks err "$red" &&
    on_tty TERM=dumb && lacks err "$red" && on_tty -u TERM && has err "$red"
verdict "--color=auto colours a terminal's faults unless NO_COLOR or TERM=dumb says otherwise, also without TERM"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
