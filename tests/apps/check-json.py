#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Usage: check-json.py SCHEMA OUTPUTS COMMAND...

Each line of OUTPUTS is "COMMAND<tab>STATUS<tab>OUTPUT", where OUTPUT is one line that pakmart
printed. Each is as the schema says, has an error exactly if it failed, and each COMMAND has
succeeded and failed at least once.
"""

import json
import sys
from pathlib import Path

from jsonschema import Draft202012Validator


def fault_of(schema, command, status, text):
    name = f"command-{command}"
    if name not in schema["$defs"]:
        return "the schema does not have it"
    output = json.loads(text)
    validator = Draft202012Validator({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]})
    wrong = [error.message for error in validator.iter_errors(output)]
    if wrong:
        return "; ".join(wrong)
    failed = isinstance(output, dict) and output.get("code", "none") != "none"
    if failed != (status != "0"):
        return f"exit status {status}, but " + ("an error" if failed else "no error")
    return None


def main(schema_file, outputs_file, commands):
    schema = json.loads(Path(schema_file).read_text())
    Draft202012Validator.check_schema(schema)
    faults, succeeded, failed = [], set(), set()
    for line in Path(outputs_file).read_text().splitlines():
        command, status, text = line.split("\t", 2)
        fault = fault_of(schema, command, status, text)
        if fault:
            faults.append(f"{command}: {fault}\n  {text}")
        (succeeded if status == "0" else failed).add(command)
    faults += [f"{command}: never succeeded" for command in sorted(set(commands) - succeeded)]
    faults += [f"{command}: never failed" for command in sorted(set(commands) - failed)]
    known = {name[len("command-"):] for name in schema["$defs"] if name.startswith("command-")}
    faults += [f"{command}: only in the schema" for command in sorted(known - set(commands))]
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
