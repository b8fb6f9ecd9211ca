# The JSON Schemas that `jsoncodec schema TYPE` prints, against an
# independent validator (python3-jsonschema, draft 2020-12): each is a valid
# schema of its root type; each example and seed document is accepted by its
# own type's schema unless its name says faulty; and the schemas agree with
# `jsoncodec check` on every such document as every root type, and on mutants
# of the valid ones as their own type (in each object, a property removed or
# given a value of another JSON type, another text or an integer out of
# range, or an unknown property added). Mutants are not judged as the other
# types: the parser refuses an integer out of range wherever it is.
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
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError as error:
    sys.exit(f"FAIL: cannot import the validator ({error}); install python3-jsonschema and run with /usr/bin/python3")

ROOTS = ["data_protection_policy", "workflow", "action", "rule", "item_definition"]
TOOL = sys.argv[1]
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
    prefix = os.path.basename(path).split("-")[0].split(".")[0]
    return "data_protection_policy" if prefix == "policy" else prefix


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
            changes += [(key, None)] + [(key, wrong) for wrong in wrong_values(value)]
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
def compare(cases, what):
    problems = []
    for root in ROOTS:
        paths = sorted(path for path in cases if root in cases[path][2])
        result = subprocess.run([TOOL, "check", "--format=json", "--first", "--type", root, *paths],
                                capture_output=True, text=True)
        refused = {fault["file"] for fault in json.loads(result.stdout or "null") or []}
        if result.returncode != (1 if refused else 0) or not refused <= set(paths) or result.stderr:
            problems.append(f"check --type {root}: exit status {result.returncode}, {result.stderr[:500]}")
        problems += [f"{cases[path][0]} as {root}: library {'refuses' if path in refused else 'accepts'} it"
                     for path in paths if validators[root].is_valid(cases[path][1]) != (path not in refused)]
    verdict(problems, f"schemas and library agree on {what}")


validators, problems = {}, []
for root in ROOTS:
    result = subprocess.run([TOOL, "schema", root], capture_output=True, text=True)
    try:
        schema = json.loads(result.stdout)
        jsonschema.Draft202012Validator.check_schema(schema)
        validators[root] = jsonschema.Draft202012Validator(schema)
        if (result.returncode, result.stderr, schema["title"], schema["$ref"]) != (0, "", root, f"#/$defs/{root}"):
            problems.append(f"{root}: exit status {result.returncode}, stderr {result.stderr!r}, title or $ref")
    except (ValueError, KeyError, jsonschema.exceptions.SchemaError) as error:
        problems.append(f"{root}: {error!r}")
verdict(problems, "each schema is a valid draft 2020-12 schema of its root type")
if problems:
    sys.exit(1)

paths = [os.path.join(folder, name) for folder in sys.argv[2:4] for name in sorted(os.listdir(folder))]
documents = {path: load(path) for path in paths if path.endswith(".json") and load(path) is not None}
verdict([f"{os.path.basename(path)}: the schema of {own_root(path)} disagrees with its name"
         for path, document in documents.items() if validators[own_root(path)].is_valid(document) == ("faulty" in path)]
        + ([] if len(documents) >= 14 else ["fewer than 14 documents"]),
        f"the schemas judge {len(documents)} documents as their names say")
compare({path: (os.path.basename(path), document, ROOTS) for path, document in documents.items()},
        f"{len(documents)} documents as every root type")
with tempfile.TemporaryDirectory(prefix="jsoncodec-schema.") as work:
    cases = {}
    for original, document in documents.items():
        for change, mutant in mutants(document) if "faulty" not in original else ():
            path = os.path.join(work, f"m{len(cases)}.json")
            with open(path, "w", encoding="utf-8") as stream:
                json.dump(mutant, stream)
            cases[path] = (f"{os.path.basename(original)} with {change}", mutant, [own_root(original)])
    compare(cases, f"{len(cases)} mutants of the valid documents")
sys.exit(1 if failed else 0)
