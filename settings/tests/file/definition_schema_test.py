#!/usr/bin/env python3
"""Holds the published JSON Schema of definition documents against the examples and against the table of wrong
documents that the parser is tested with: both have to give the same verdict, except on rows marked "semantic", whose
faults no schema can see.

Usage: definition_schema_test.py SOURCE_FOLDER
"""
import json
import pathlib
import sys

import jsonschema


def main(top):
    schema = json.loads((top / "docs/definition-document.schema.json").read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    faults = []

    examples = sorted((top / "examples/definitions").glob("*.json"))
    for example in examples:
        faults += [f"{example.name}: {e.json_path}: {e.message}" for e in validator.iter_errors(json.loads(example.read_text()))]

    rows = json.loads((top / "settings/tests/golden/definition_documents.json").read_text())
    for number, row in enumerate(rows):
        accepted = validator.is_valid(row["document"])
        expected = not row["faults"] or row.get("semantic", False)
        if accepted != expected:
            verdict = "accepts" if accepted else "rejects"
            faults.append(f"row {number}: the schema {verdict} {json.dumps(row['document'])}, the parser says {row['faults']}")

    print("\n".join(faults + [f"{len(examples)} examples, {len(rows)} rows, {len(faults)} faults"]))
    return 1 if faults or len(examples) < 4 or len(rows) < 50 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
