"""Tests of the JSON Schemas that `jsoncodec schema TYPE` prints, with an
independent validator (python3-jsonschema, draft 2020-12).

- Each schema is a well-formed draft 2020-12 schema whose references all
  resolve.
- The example documents get their expected verdicts: the valid ones are
  accepted by their type's schema, the faulty ones refused.
- The schema and the library agree: every example and seed document, as
  every root type, and mutants of the valid documents (a property removed,
  a value of another JSON type, an unknown text, an integer out of range,
  an unknown property added, in every object of the document) are accepted
  by the schema exactly when `jsoncodec check` accepts them.

Documents the schema's data model cannot represent (text that does not
parse, repeated keys) are left out of the comparison: the decoder refuses
them before any schema question arises.

usage: /usr/bin/python3 schema_test.py TOOL EXAMPLES_DIR SEEDS_DIR
"""
import copy
import json
import os
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError as error:
    print(f"FAIL: the validator cannot be imported ({error}); install the Debian package python3-jsonschema "
          f"and run this test with /usr/bin/python3 (this is {sys.executable})")
    sys.exit(1)

ROOT_TYPES = ["data_protection_policy", "workflow", "action", "rule", "item_definition"]
DRAFT = "https://json-schema.org/draft/2020-12/schema"

# Example documents: root type, and whether the library accepts them.
EXAMPLES = {
    "rule.json": ("rule", True),
    "item_definition.json": ("item_definition", True),
    "policy.json": ("data_protection_policy", True),
    "action.json": ("action", True),
    "rule-faulty.json": ("rule", False),
    "policy-faulty-subtype.json": ("data_protection_policy", False),
    "policy-faulty-kind.json": ("data_protection_policy", False),
    "workflow-faulty-discover.json": ("workflow", False),
}

# Valid seed documents to mutate, with their root types.
SEED_ROOTS = {
    "action-backup-vmware.json": "action",
    "action-exercise.json": "action",
    "policy-minimal.json": "data_protection_policy",
    "workflow-minimal.json": "workflow",
}

INT64_MAX = 2**63 - 1
INT64_MIN = -(2**63)

passed = 0
failed = 0


def verdict(ok, name, details=()):
    global passed, failed
    if ok:
        passed += 1
        print(f"ok: {name}")
    else:
        failed += 1
        print(f"FAIL: {name}")
        for line in list(details)[:20]:
            print(f"  {line}")


def run_tool(*args):
    return subprocess.run([TOOL, *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def refuse_repeated_keys(pairs):
    keys = [key for key, _ in pairs]
    if len(keys) != len(set(keys)):
        raise ValueError("repeated key")
    return dict(pairs)


def load_document(path):
    """The document at path, or None when it does not parse or repeats a key."""
    with open(path, encoding="utf-8") as stream:
        try:
            return json.load(stream, object_pairs_hook=refuse_repeated_keys)
        except ValueError:
            return None


def refs(node):
    if isinstance(node, dict):
        for key, value in node.items():
            if key == "$ref":
                yield value
            else:
                yield from refs(value)
    elif isinstance(node, list):
        for value in node:
            yield from refs(value)


def library_refusals(root, paths):
    """The subset of paths that `jsoncodec check --type root` refuses."""
    result = run_tool("check", "--type", root, *paths)
    refused = set()
    for line in result.stderr.splitlines():
        name, _, _ = line.partition(": ")
        refused.add(name)
    if result.returncode != (1 if refused else 0) or not refused <= set(paths):
        raise RuntimeError(f"check --type {root}: exit status {result.returncode}, stderr:\n{result.stderr}")
    return refused


def wrong_values(value):
    """Replacements for value that are no longer what its property allows,
    or (for strings) may or may not be, depending on whether it is an enum."""
    if isinstance(value, bool):
        return ["true"]
    if isinstance(value, int):
        return [str(value), INT64_MAX + 1, INT64_MIN - 1]
    if isinstance(value, str):
        return [7, "no such text"]
    if isinstance(value, list):
        wrong = [{}]
        if value and not isinstance(value[0], dict):
            wrong.append([True] + value[1:])
        if value and isinstance(value[0], dict):
            wrong.append(["not an object"] + value[1:])
        return wrong
    if isinstance(value, dict):
        return [[]]
    return []


def mutants(document):
    """(description, mutant) for every object of document: an unknown
    property added, and for each property: removed, or given each of its
    wrong values."""

    def walk(node, where):
        if isinstance(node, list):
            for index, item in enumerate(node):
                yield from walk(item, where + [index])
            return
        if not isinstance(node, dict):
            return
        yield where, None, None
        for key, value in node.items():
            yield where, key, value
            yield from walk(value, where + [key])

    def pruned(where):
        """A copy of document in which every array on the way to where holds
        only the element on the way (which keeps the mutants small), and
        the object at where in that copy."""
        mutant = copy.deepcopy(document)
        node = mutant
        for step in where:
            if isinstance(node, list):
                node[:] = [node[step]]
                node = node[0]
            else:
                node = node[step]
        return mutant, node

    for where, key, value in list(walk(document, [])):
        place = "/".join(str(step) for step in where)
        if key is None:
            mutant, node = pruned(where)
            node["zzUnknownProperty"] = {"any": ["thing"]}
            yield f"{place}: unknown property added", mutant
            continue
        mutant, node = pruned(where)
        del node[key]
        yield f"{place}/{key} removed", mutant
        for wrong in wrong_values(value):
            mutant, node = pruned(where)
            node[key] = wrong
            yield f"{place}/{key} = {json.dumps(wrong)[:40]}", mutant


def main():
    global TOOL
    if len(sys.argv) != 4:
        print(f"usage: {sys.argv[0]} TOOL EXAMPLES_DIR SEEDS_DIR", file=sys.stderr)
        return 2
    TOOL, examples, seeds = sys.argv[1:]

    # --- the schemas themselves ------------------------------------------
    validators = {}
    for root in ROOT_TYPES:
        result = run_tool("schema", root)
        problems = []
        try:
            schema = json.loads(result.stdout)
            jsonschema.Draft202012Validator.check_schema(schema)
            if result.returncode != 0 or result.stderr:
                problems.append(f"exit status {result.returncode}, stderr {result.stderr!r}")
            if schema.get("$schema") != DRAFT or schema.get("title") != root or schema.get("$ref") != f"#/$defs/{root}":
                problems.append("$schema, title or top-level $ref is not that of the root type")
            defs = schema.get("$defs", {})
            problems += [f"dangling reference {ref}" for ref in refs(schema)
                         if not ref.startswith("#/$defs/") or ref[len("#/$defs/"):] not in defs]
            validators[root] = jsonschema.Draft202012Validator(schema)
        except (ValueError, jsonschema.exceptions.SchemaError) as error:
            problems.append(str(error))
        verdict(not problems, f"schema {root} is a valid draft 2020-12 schema with resolvable references", problems)
    if len(validators) != len(ROOT_TYPES):
        print(f"{passed} passed, {failed} failed")
        return 1

    def accepts(root, document):
        return validators[root].is_valid(document)

    # --- expected verdicts of the examples --------------------------------
    problems = []
    for name, (root, valid) in EXAMPLES.items():
        document = load_document(os.path.join(examples, name))
        if document is None or accepts(root, document) != valid:
            problems.append(f"{name} as {root}: the schema should {'accept' if valid else 'refuse'} it")
    verdict(not problems, "the schemas accept the valid examples and refuse the faulty ones", problems)

    # The fault the library names is the one the validator finds.
    error = jsonschema.exceptions.best_match(
        validators["rule"].iter_errors(load_document(os.path.join(examples, "rule-faulty.json"))))
    verdict(error is not None and list(error.absolute_path) == ["ruleItem_Definitions", 1, "item_definitionType"],
            "the validator places the faulty rule's fault where the library does",
            [f"validator: {list(error.absolute_path) if error else None}"])

    # --- agreement with the library ---------------------------------------
    with tempfile.TemporaryDirectory(prefix="jsoncodec-schema.") as work:
        documents = {}  # path -> document, for every file given to the library
        for folder in (examples, seeds):
            for name in sorted(os.listdir(folder)):
                if name.endswith(".json"):
                    path = os.path.join(folder, name)
                    document = load_document(path)
                    if document is not None:
                        documents[path] = document

        problems = []
        for root in ROOT_TYPES:
            refused = library_refusals(root, sorted(documents))
            for path, document in documents.items():
                if accepts(root, document) != (path not in refused):
                    problems.append(f"{os.path.basename(path)} as {root}: library "
                                    f"{'refuses' if path in refused else 'accepts'}, schema does not agree")
        verdict(not problems and len(documents) >= 15,
                f"schema and library agree on {len(documents)} example and seed documents as every root type",
                problems)

        originals = [(os.path.join(examples, name), root) for name, (root, valid) in EXAMPLES.items() if valid]
        originals += [(os.path.join(seeds, name), root) for name, root in SEED_ROOTS.items()]
        problems = []
        count = 0
        for root in ROOT_TYPES:
            cases = {}
            for original, _ in filter(lambda entry: entry[1] == root, originals):
                for description, mutant in mutants(load_document(original)):
                    path = os.path.join(work, f"m{count}.json")
                    count += 1
                    with open(path, "w", encoding="utf-8") as stream:
                        json.dump(mutant, stream)
                    cases[path] = (f"{os.path.basename(original)}: {description}", mutant)
            if not cases:
                continue
            refused = library_refusals(root, sorted(cases))
            for path, (description, mutant) in cases.items():
                if accepts(root, mutant) != (path not in refused):
                    problems.append(f"{description}: library {'refuses' if path in refused else 'accepts'}, "
                                    f"schema does not agree")
        verdict(not problems and count > 1000,
                f"schema and library agree on {count} mutants of the valid documents", problems)

    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
