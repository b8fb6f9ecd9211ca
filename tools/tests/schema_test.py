# The JSON Schemas that `jsoncodec schema TYPE` prints, against an
# independent validator (python3-jsonschema, draft 2020-12): each is a valid
# schema of its root type; each example and seed document is accepted by its
# own type's schema unless its name says faulty; and the schemas agree with
# `jsoncodec check` on every such document as every root type, and on mutants
# of the valid ones as their own type (in each object, a property removed or
# given a value of another JSON type, another text or an integer out of
# range, or an unknown property added). Mutants are not judged as the other
# types: the parser refuses an integer out of range wherever it is. The
# strict schemas (`schema --strict`) agree with `check --strict` the same
# way. Then `check --format=sarif` over the examples is a valid SARIF 2.1.0
# log (against the schema kept in third_party/) that says what --format=json
# says, ends of regions included, with a notification for each file that
# could not be checked.
#
# A document's type is the start of its file name (policy stands for
# data_protection_policy). Documents the schema's data model cannot hold
# (text that does not parse, repeated keys) are left out: the decoder refuses
# them before any schema question arises.
#
# usage: /usr/bin/python3 schema_test.py TOOL EXAMPLES_DIR SEEDS_DIR
import copy
import json
import os
import re
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError as error:
    sys.exit(f"FAIL: cannot import the validator ({error}); install python3-jsonschema and run with /usr/bin/python3")

HERE = os.path.dirname(os.path.abspath(__file__))
# The root types and the short names of their documents, from the library's
# one list of them: X(T, name_property, short_name).
with open(os.path.join(HERE, "..", "..", "libjsoncodec", "src", "core", "root_types.h"), encoding="utf-8") as stream:
    ROOT_LIST = re.findall(r'X\((\w+), [^,]+, "([\w-]+)"\)', stream.read())
ROOTS = [name for name, _ in ROOT_LIST]
assert len(ROOTS) >= 5, "the list of root types was not read"
SHORT_NAMES = {short: name for name, short in ROOT_LIST}
SARIF_SCHEMA = os.path.join(HERE, "..", "..", "third_party", "sarif-2.1.0", "sarif-2.1.0.json")
TOOL = os.path.abspath(sys.argv[1])
# What check says on standard error after the findings of a run.
SUMMARY = re.compile(r"(jsoncodec: [0-9]+ (errors?|warnings?)( and [0-9]+ warnings?)? in [0-9]+( of [0-9]+)? files?\n)?")
failed = 0


def verdict(problems, name):
    global failed
    failed += bool(problems)
    print(f"{'FAIL' if problems else 'ok'}: {name}", *problems[:20], sep="\n  ")


# The document at path, or None when it does not parse or repeats a key.
def load(path):
    def no_repeats(pairs):
        if len({key for key, _ in pairs}) != len(pairs):
            raise ValueError("repeated key")
        return dict(pairs)
    try:
        with open(path, encoding="utf-8") as stream:
            return json.load(stream, object_pairs_hook=no_repeats)
    except ValueError:
        return None


def own_root(path):
    return SHORT_NAMES[os.path.basename(path).split("-")[0].split(".")[0]]


def wrong_values(value):
    if isinstance(value, bool):
        return ["true"]
    if isinstance(value, int):
        return [str(value), 2**63, -2**63 - 1]
    if isinstance(value, str):
        return [7, "no such text"]  # refused by an enum only
    return [{}, [True] + value[1:]] if isinstance(value, list) else [[]]


# (change, copy of document with that change in one object); every array on
# the way to the object holds only the element on the way.
def mutants(document):
    def objects(node, where):
        if isinstance(node, dict):
            yield where, node
        for key, value in (node.items() if isinstance(node, dict) else enumerate(node)):
            if isinstance(value, (dict, list)):
                yield from objects(value, where + [key])

    for where, found in list(objects(document, [])):
        changes = [("zzUnknownProperty", {"any": ["thing"]})]
        for key, value in found.items():
            # An unknown property's integer out of range: the parser refuses
            # it, which no schema that leaves the property open can say.
            changes += [(key, None)] + [(key, wrong) for wrong in wrong_values(value)
                                        if key in known or not isinstance(wrong, int) or abs(wrong) < 2**63 - 1]
        for key, wrong in changes:
            mutant = node = copy.deepcopy(document)
            for step in where:
                if isinstance(node, list):
                    node[:], step = [node[step]], 0
                node = node[step]
            if wrong is None:
                del node[key]
            else:
                node[key] = wrong
            yield f"{'/'.join(map(str, where + [key]))} {'removed' if wrong is None else json.dumps(wrong)}", mutant


# cases: path -> (description, document, the root types to judge it as).
# Strict: the strict schemas against check --strict, which counts warnings.
def compare(cases, what, strict=False):
    problems = []
    for root in ROOTS:
        paths = sorted(path for path in cases if root in cases[path][2])
        result = subprocess.run([TOOL, "check", "--format=json", "--first", "--type", root, *paths]
                                + (["--strict"] if strict else []), capture_output=True, text=True)
        refused = {fault["file"] for fault in json.loads(result.stdout or "null") or []
                   if strict or fault["severity"] == "error"}
        if result.returncode != (1 if refused else 0) or not refused <= set(paths) or not SUMMARY.fullmatch(result.stderr):
            problems.append(f"check --type {root}: exit status {result.returncode}, {result.stderr[:500]}")
        judge = (strict_validators if strict else validators)[root]
        problems += [f"{cases[path][0]} as {root}: library {'refuses' if path in refused else 'accepts'} it"
                     for path in paths if judge.is_valid(cases[path][1]) != (path not in refused)]
    verdict(problems, f"{'strict ' if strict else ''}schemas and library agree on {what}")


validators, strict_validators, problems = {}, {}, []
for root in ROOTS:
    for strict, chosen in ((False, validators), (True, strict_validators)):
        result = subprocess.run([TOOL, "schema", *(["--strict"] if strict else []), root], capture_output=True, text=True)
        try:
            schema = json.loads(result.stdout)
            jsonschema.Draft202012Validator.check_schema(schema)
            chosen[root] = jsonschema.Draft202012Validator(schema)
            closed = {definition.get("additionalProperties", True) for definition in schema["$defs"].values()}
            if (result.returncode, result.stderr, schema["title"], schema["$ref"], closed) != \
                    (0, "", root, f"#/$defs/{root}", {not strict}):
                problems.append(f"{root}: exit status {result.returncode}, stderr {result.stderr!r}, title, $ref "
                                f"or additionalProperties {closed} (strict: {strict})")
        except (ValueError, KeyError, jsonschema.exceptions.SchemaError) as error:
            problems.append(f"{root}: {error!r}")
verdict(problems, "each schema, and each strict one, is a valid draft 2020-12 schema of its root type")
if problems:
    sys.exit(1)

paths = [os.path.join(folder, name) for folder in sys.argv[2:4] for name in sorted(os.listdir(folder))]
documents = {path: load(path) for path in paths if path.endswith(".json") and load(path) is not None}
verdict([f"{os.path.basename(path)}: the schema of {own_root(path)} disagrees with its name"
         for path, document in documents.items() if validators[own_root(path)].is_valid(document) == ("faulty" in path)]
        + ([] if len(documents) >= 14 else ["fewer than 14 documents"]),
        f"the schemas judge {len(documents)} documents as their names say")
every_root = {path: (os.path.basename(path), document, ROOTS) for path, document in documents.items()}
compare(every_root, f"{len(documents)} documents as every root type")
compare(every_root, f"{len(documents)} documents as every root type", strict=True)
known = {name for validator in validators.values() for definition in validator.schema["$defs"].values()
         for name in definition["properties"]}
with tempfile.TemporaryDirectory(prefix="jsoncodec-schema.") as work:
    cases = {}
    for original, document in documents.items():
        for change, mutant in mutants(document) if "faulty" not in original else ():
            path = os.path.join(work, f"m{len(cases)}.json")
            with open(path, "w", encoding="utf-8") as stream:
                json.dump(mutant, stream)
            cases[path] = (f"{os.path.basename(original)} with {change}", mutant, [own_root(original)])
    compare(cases, f"{len(cases)} mutants of the valid documents")
    compare(cases, f"{len(cases)} mutants of the valid documents", strict=True)


# The SARIF log of the examples, and of a file whose name needs escaping in
# a URI, against the SARIF schema and against the JSON output of the same run.
def sarif_problems(files):
    with open(SARIF_SCHEMA, encoding="utf-8") as stream:
        sarif_schema = json.load(stream)
    run = lambda form: subprocess.run([TOOL, "check", f"--format={form}", *files],
                                      capture_output=True, text=True)
    sarif, plain = run("sarif"), run("json")
    if (sarif.returncode, sarif.stderr) != (plain.returncode, plain.stderr) or sarif.returncode != 2:
        return [f"exit status {sarif.returncode}, stderr {sarif.stderr!r}, not as with json, or not 2"]
    log, faults = json.loads(sarif.stdout), json.loads(plain.stdout)
    problems = [f"schema: {error.message[:300]} at {list(error.absolute_path)}" for error in
                jsonschema.validators.validator_for(sarif_schema)(sarif_schema).iter_errors(log)]
    (only_run,) = log["runs"]
    driver, results = only_run["tool"]["driver"], only_run["results"]
    rules = [rule["id"] for rule in driver["rules"]]
    if (driver["name"], only_run["columnKind"], len(set(rules))) != ("jsoncodec", "unicodeCodePoints", len(rules)):
        problems.append(f"driver {driver['name']}, columnKind {only_run['columnKind']}, rules {rules}")
    expected = [(fault["severity"], fault["file"].replace(" ", "%20"), fault["line"], fault["column"], fault["endLine"],
                 fault["endColumn"], fault["message"]) for fault in faults]
    found = [(result["level"], result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"],
              *(result["locations"][0]["physicalLocation"]["region"][member]
                for member in ("startLine", "startColumn", "endLine", "endColumn")),
              result["message"]["text"]) for result in results]
    # The SARIF message is JSON's with the hint and the notes after it.
    problems += [f"result {f} where JSON has {e}" for e, f in zip(expected, found)
                 if e[:-1] != f[:-1] or not f[-1].startswith(e[-1])]
    problems += [f"{len(found)} results for {len(expected)} faults"] if len(found) != len(expected) else []
    problems += [f"rule {result['ruleId']} at {result['ruleIndex']} of {rules}, level {result['level']}"
                 for result in results if rules[result["ruleIndex"]] != result["ruleId"]
                 or (result["level"] == "warning") != (result["ruleId"] == "unknown-property")]
    (invocation,) = only_run["invocations"]
    told = [(note["level"], note["locations"][0]["physicalLocation"]["artifactLocation"]["uri"])
            for note in invocation["toolExecutionNotifications"]]
    if (invocation["executionSuccessful"], invocation["exitCode"], told) != \
            (False, 2, [("error", "missing.json"), ("error", "list.json")]):
        problems.append(f"invocation {invocation}")
    return problems


with tempfile.TemporaryDirectory(prefix="jsoncodec-sarif.") as work:
    examples = sorted(os.path.relpath(os.path.abspath(path), work) for path in documents
                      if os.path.dirname(path) == sys.argv[2])
    os.chdir(work)  # relative names, as a CI job gives them
    with open("a policy.json", "w", encoding="utf-8") as stream:
        stream.write('{"policyName": "p", "policyWorkflows": [{"workflowNam": "w"}]}\n')
    with open("list.json", "w", encoding="utf-8") as stream:
        stream.write('[]\n')
    problems = sarif_problems(["a policy.json", "missing.json", *examples, "list.json"])
    verdict(problems, "--format=sarif is a valid SARIF 2.1.0 log with the findings of --format=json")
sys.exit(1 if failed else 0)
