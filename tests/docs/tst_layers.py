# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Holds the includes of the sources against the table of folders in README.md.

Usage: tst_layers.py SOURCES

Fails for an include that the table does not list, for a listed one that no source has, and
for a folder that includes one which includes it.
"""

import pathlib
import re
import sys

top = pathlib.Path(sys.argv[1]).resolve()


def listed():
    """The folders of the table, each with those that it may include."""
    rows = re.findall(r"^\| `([^`]+)` \|.*\| ([^|]*)\|$", (top / "README.md").read_text(), re.M)
    return {folder: set(re.findall(r"`([^`]+)`", others)) for folder, others in rows}


def folder_of(path, folders):
    """The folder of the table that a source is in."""
    parts = path.relative_to(top).parts
    return next((name for name in ("/".join(parts[:2]), parts[0]) if name in folders), None)


def included(source):
    """The files of the tree that a source includes by a path in quotes. A generated one is in
    the folder of that name."""
    for name in re.findall(r'^#include "([^"]+)"', source.read_text(), re.M):
        for place in (source.parent, top / "src", top):
            if (place / name).is_file():
                yield (place / name).resolve()
                break
        else:
            if "/" in name and (top / "src" / name).parent.is_dir():
                yield top / "src" / name


def main():
    may = listed()
    code = [folder for folder in may if folder.split("/")[0] in ("src", "support", "platform", "server", "apps")]
    have = {folder: {} for folder in code}
    for folder in code:
        for source in sorted((top / folder).rglob("*.[ch]*")):
            if source.suffix not in (".h", ".cpp"):
                continue
            for target in included(source):
                other = folder_of(target, code)
                if other and other != folder:
                    have[folder].setdefault(other, source.relative_to(top))
    faults = []
    for folder in code:
        faults += [f"{source} includes {other}, which README.md does not list for {folder}"
                   for other, source in have[folder].items() if other not in may[folder]]
        faults += [f"README.md lists {other} for {folder}, which includes nothing of it"
                   for other in sorted(may[folder] - set(have[folder]))]
        faults += [f"{folder} and {other} include each other"
                   for other in have[folder] if folder in have[other] and folder < other]
    if sum(map(len, have.values())) < 10:
        faults.append("hardly any include was found: this check is broken")
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main())
