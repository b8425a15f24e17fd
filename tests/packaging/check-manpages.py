#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Usage: check-manpages.py PREFIX

Each program installed below PREFIX has a manual page without warnings, with the options,
commands and exit statuses that its --help tells, and no others.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

# Those that pass --help on to apt-get have no help of their own.
WITHOUT_HELP = {"vos-apt-get"}
# Help texts beside the first one.
MORE_HELP = {"pakmart-storeserver": [[command, "--help"] for command in ("import", "init", "add", "check", "export", "personal")]}

faults = []
# Qt warns where there is none.
runtime = tempfile.TemporaryDirectory()


def output(*command):
    environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="200", MAN_KEEP_FORMATTING="",
                       XDG_RUNTIME_DIR=runtime.name)
    run = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                         env=environment, check=False)
    if run.returncode != 0 or run.stderr:
        faults.append(f"{' '.join(map(str, command))}: status {run.returncode}\n{run.stderr}")
    return run.stdout


def options(text):
    return set(re.findall(r"(?<![\w-])(--[a-z][a-z-]*|-[a-z])(?![\w-])", text))


def commands(text):
    """The words that begin an indented line of a list, options aside."""
    block = re.search(r"^Commands:?\n(.*?)(?=^\S)", text, flags=re.M | re.S)
    return set(re.findall(r"^  ([a-z][a-z-]*)(?= )", block[1], flags=re.M)) if block else set()


def page_commands(source):
    return set(re.findall(r"^\.It Cm ([a-z][a-z-]*)", source, flags=re.M))


def statuses(text):
    numbers = re.search(r"^Exit status: (.*?)(\n\n|\Z)", text, flags=re.M | re.S)
    return set(re.findall(r"(?:^|[,;] )(\d+)(?= )", numbers[1].replace("\n", " "))) if numbers else None


def page_statuses(source):
    section = re.search(r"^\.Sh EXIT STATUS\n(.*?)^\.Sh", source, flags=re.M | re.S)
    return set(re.findall(r"^\.It (\d+)$", section[1], flags=re.M)) if section else set()


def as_page_item(usage):
    """A command of the help as the page has it: "install NAME..." is ".It Cm install Ar name ..."."""
    words = []
    for word in usage.replace("...", " ...").split():
        plain = word.strip("[]")
        kind = "" if plain == "..." else "Ar " if plain.isupper() else "Cm "
        words.append(("Op " if word.startswith("[") else "") + kind + plain.lower())
    return ".It " + " ".join(words)


def demand_usages(program, text, source):
    """Each command takes the same arguments in the page as in the help."""
    block = re.search(r"^Commands:?\n(.*?)(?=^\S)", text, flags=re.M | re.S)
    usages = re.findall(r"^  ([a-z][a-z-]*(?: \S+)*?)(?:  |$)", block[1], flags=re.M) if block else []
    for usage in usages:
        item = as_page_item(usage)
        if not any(line == item or line.startswith(item + " Op Fl") for line in source.splitlines()):
            faults.append(f"{program}: '{item}' is not in the manual page")


def demand_same(program, what, told, written):
    for name in sorted(told - written):
        faults.append(f"{program}: {what} {name} is not in the manual page")
    for name in sorted(written - told):
        faults.append(f"{program}: {what} {name} is in the manual page alone")


def check(program, page):
    source = page.read_text()
    rendered = output("man", "--warnings", "-l", page)
    if program.name not in output("lexgrog", page):
        faults.append(f"{page}: no NAME section that is one")
    if program.name in WITHOUT_HELP:
        return
    text = output(program, "--help")
    for words in MORE_HELP.get(program.name, []):
        text += "\n" + output(program, *words)
    demand_same(program.name, "option", options(text), options(rendered))
    demand_same(program.name, "command", commands(text), page_commands(source))
    if program.name == "pakmart":
        demand_usages(program.name, text, source)
    if statuses(text) is not None:
        demand_same(program.name, "exit status", statuses(text), page_statuses(source))


def main(prefix):
    programs = sorted((prefix / "bin").iterdir())
    pages = prefix / "share" / "man" / "man1"
    demand_same("all", "page of", {p.name for p in programs}, {p.stem for p in pages.iterdir()})
    for program in programs:
        check(program, pages / f"{program.name}.1")
    for fault in faults:
        print(f"manual: {fault}", file=sys.stderr)
    print(f"manual: {len(programs)} programs")
    return 1 if faults or not programs else 0


sys.exit(main(Path(sys.argv[1])))
