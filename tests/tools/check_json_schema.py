#!/usr/bin/env python3
"""Runs `flowspec check FILE --json` on rule files and validates what it prints
against docs/flowspec-check.schema.json, then checks a few facts the schema
cannot say: the exit status in the document is the process's, every refusal
is an object with its line and column, and ruleStatuses counts the rules by
their status codes.

    check_json_schema.py TOOL SCHEMA FILE...

Exits 77 (a skipped test for CTest) when python3-jsonschema is missing.
"""
import collections
import json
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is not installed (apt-get install python3-jsonschema)")
    sys.exit(77)


def main():
    tool, schema_path, files = sys.argv[1], sys.argv[2], sys.argv[3:]
    with open(schema_path) as f:
        schema = json.load(f)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    failures = 0
    for path in files:
        for extra in ([], ["--verbose", "--dump", "--sort", "precedence"]):
            run = subprocess.run([tool, "check", path, "--json"] + extra, capture_output=True, text=True)
            doc = json.loads(run.stdout)
            errors = sorted(validator.iter_errors(doc), key=lambda e: list(e.path))
            for e in errors:
                print(f"{path} {extra}: {'/'.join(map(str, e.path))}: {e.message}")
            facts = []
            if doc["exitStatus"] != run.returncode:
                facts.append(f"exitStatus {doc['exitStatus']} but the tool exited {run.returncode}")
            if len(doc["refused"]) != doc["linesRefused"]:
                facts.append("refused and linesRefused disagree")
            stderr_lines = [l for l in run.stderr.splitlines() if l]
            for r, line in zip(doc["refused"], stderr_lines):
                want = f"{path}:{r['line']}:{r['column']}: {r['message']}"
                if line != want:
                    facts.append(f"standard error says {line!r}, the JSON {want!r}")
            tally = collections.Counter(r["status"]["code"] for r in doc["rules"] if r["status"])
            if dict(tally) != doc["ruleStatuses"]:
                facts.append(f"ruleStatuses {doc['ruleStatuses']} but the rules say {dict(tally)}")
            if len(doc["rules"]) != doc["rulesRead"]:
                facts.append("rules and rulesRead disagree")
            for fact in facts:
                print(f"{path} {extra}: {fact}")
            failures += len(errors) + len(facts)
    print(f"{len(files)} files, {failures} problems")
    sys.exit(1 if failures else 0)


main()
