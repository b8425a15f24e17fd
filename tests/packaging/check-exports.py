#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Usage: check-exports.py PREFIX PUBLIC-NAMES

Holds three things against each other, each in both directions: the list of public
names, what the headers installed below PREFIX declare, and what the libraries
installed there export.
"""

import re
import subprocess
import sys
from pathlib import Path

faults = []


def demand_same(left, left_name, right, right_name):
    for name in sorted(left - right):
        faults.append(f"{name}: {left_name}, but not {right_name}")
    for name in sorted(right - left):
        faults.append(f"{name}: {right_name}, but not {left_name}")


def read_list(path):
    """Header -> the names it declares. A line of the list is HEADER: NAME..., a line
    that begins with a blank goes on."""
    listed, header = {}, None
    for line in path.read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        if not line.startswith(" "):
            header, line = line.split(":", 1)
            listed[header] = set()
        listed[header].update(line.split())
    return listed


def without_comments(text):
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)
    return re.sub(r"^\s*#(?:[^\n]*\\\n)*[^\n]*", "", text, flags=re.M)


def namespaces(text):
    """The text outside of our namespaces, and the texts inside, with their prefixes."""
    parts = {"": "", "Agent::": "", "Pakmart::": ""}
    end = 0
    for start in re.finditer(r"\bnamespace (Agent|Pakmart)\s*\{", text):
        parts[""] += text[end:start.start()]
        end, depth = start.end(), 1
        while depth > 0:
            depth += (text[end] == "{") - (text[end] == "}")
            end += 1
        parts[f"{start[1]}::"] += text[start.end():end - 1]
    parts[""] += text[end:]
    return parts


def outermost(text):
    """The declarations of a text, without the contents of braces."""
    flat, depth = [], 0
    for char in text:
        depth -= char == "}"
        if depth == 0:
            flat.append(char)
        depth += char == "{"
    # A body ends a declaration as a semicolon does.
    return [" ".join(part.split()) for part in re.split(r"[;}]", "".join(flat)) if part.strip()]


def declared(header, text):
    """What a header declares of things that a library must export."""
    parts = namespaces(without_comments(text))
    return {prefix + name for prefix in parts for name in declared_in(header, parts[prefix])}


def declared_in(header, text):
    names = set()
    for declaration in outermost(text):
        words = declaration.replace("VANTRELAGENT_EXPORT ", "")
        marked = words != declaration or header.startswith("support/")
        defines_class = re.match(r"class (\w+)[^{]*\{", words)
        if defines_class:
            names.add(defines_class[1])
        elif re.match(r"(struct|enum|namespace|using|inline|constexpr|static|template|class|}"
                      r"|Q_DECLARE_METATYPE)\b",
                      words):
            continue
        else:
            name = re.search(r"(\w+)(\(|$|\[)", words)
            if not name:
                continue
            names.add(name[1])
        if not marked:
            faults.append(f"{header}: '{declaration}' cannot be linked to")
    return names


def exported(library):
    """The outermost names, or those in our namespaces, that a library exports."""
    symbols = subprocess.run(["nm", "-DC", "--defined-only", library], check=True,
                             capture_output=True, text=True).stdout
    names = set()
    for line in symbols.splitlines():
        symbol = line.split(" ", 2)[2]
        symbol = re.sub(r"^(vtable|typeinfo name|typeinfo|guard variable|VTT|"
                        r"(non-)?virtual thunk) (for|to) ", "", symbol)
        names.add(re.match(r"((Agent|Pakmart)::)?[\w~]+", symbol)[0])
    return names


def main(prefix, list_path):
    listed = read_list(list_path)
    include = prefix / "include" / "vantrelagent"
    installed = {str(path.relative_to(include)) for path in include.rglob("*.h")}
    demand_same(set(listed), "in the list", installed, "an installed header")
    for header in sorted(set(listed) & installed):
        demand_same(listed[header], f"{header} in the list",
                    declared(header, (include / header).read_text()), f"{header} as installed")
    names = set().union(*listed.values())
    libraries = {path.resolve() for path in prefix.rglob("libvantrel*.so.0")}
    if len(libraries) != 2:
        faults.append(f"two libraries are wanted, not {sorted(map(str, libraries))}")
    demand_same(names, "in the list", set().union(*map(exported, libraries)), "exported")
    for fault in faults:
        print(f"exports: {fault}", file=sys.stderr)
    print(f"exports: {len(names)} public names in {len(listed)} headers")
    return 1 if faults else 0


sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))
