# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Compares the documents with the things they describe.

usage: tst_documents.py TOP
"""

import pathlib
import re
import subprocess
import sys
import unittest

TOP = pathlib.Path(sys.argv.pop(1))
DOCUMENTS = [TOP / "README.md", TOP / "CONTRIBUTING.md", *sorted((TOP / "docs").glob("*.md"))]


def read(name):
    return (TOP / name).read_text(encoding="utf-8")


def anchors(text):
    """The names under which the headings of a page are linked to."""
    titles = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    plain = [re.sub(r"[^\w\- ]", "", title.lower()) for title in titles]
    return {title.replace(" ", "-") for title in plain}


class Documents(unittest.TestCase):
    def test_the_code_shown_is_the_code_that_is_compiled(self):
        shown = [page for page in DOCUMENTS if "```cpp" in page.read_text(encoding="utf-8")]
        self.assertIn(TOP / "docs/guide.md", shown)
        subprocess.run([TOP / "tools/show-snippets", "--check", *shown], check=True)

    def test_all_code_shown_has_a_source(self):
        for page in DOCUMENTS:
            text = page.read_text(encoding="utf-8")
            sources = re.findall(r"<!-- \S+(?: \[\w+\])? -->\n+```cpp\n", text)
            self.assertEqual(len(sources), text.count("```cpp\n"), page)

    def test_links_lead_somewhere(self):
        for page in DOCUMENTS:
            text = page.read_text(encoding="utf-8")
            for link in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"```.*?```", "", text, flags=re.DOTALL)):
                if "://" in link:
                    continue
                name, _, anchor = link.partition("#")
                target = page.parent / name if name else page
                self.assertTrue(target.exists(), f"{page.name}: {link}")
                if anchor:
                    self.assertIn(anchor, anchors(target.read_text(encoding="utf-8")), link)

    def test_paths_named_are_there(self):
        for page in DOCUMENTS:
            for path in re.findall(r"`((?:src|docs|tests|tools|apps|support|platform|server|bench|demo|examples)"
                                   r"/[\w./-]*)`", page.read_text(encoding="utf-8")):
                if (TOP / "tests/contributing" / pathlib.Path(path).name).is_file():
                    continue  # the worked example names the place of a real class
                self.assertTrue((TOP / path).exists(), f"{page.name} names {path}")

    def test_every_page_is_in_the_index(self):
        index = read("docs/README.md")
        for page in (TOP / "docs").glob("*.md"):
            if page.name not in ("README.md", "api.md"):
                self.assertIn(f"]({page.name})", index)

    def test_the_readme_is_short(self):
        self.assertLess(len(read("README.md").splitlines()), 120)

    def test_the_guide_names_every_signal(self):
        guide = read("docs/guide.md")
        runner = {"crunaptget.h"}  # represented by the listener's slots
        signals = 0
        for header in sorted((TOP / "src").rglob("*.h")):
            text = header.read_text(encoding="utf-8")
            if "VANTRELAGENT_EXPORT" not in text or header.name in runner:
                continue
            for section in re.findall(r"^signals:\n(.*?)^(?:\w[\w ]*:|\};)", text, re.DOTALL | re.MULTILINE):
                for name in re.findall(r"void (\w+)\(", section):
                    signals += 1
                    self.assertIn(name.replace("signalPreInstallInformation", "onPreInstallInformation")
                                  .replace("signalBeginInstall", "onBeginInstall")
                                  .replace("signalCanContinue", "onCanContinue"), guide)
        self.assertGreater(signals, 15)

    def test_the_page_of_jobs_names_their_signals_phases_and_errors(self):
        page, names = read("docs/host.md"), set()
        for header in sorted((TOP / "src/host").glob("*.h")):
            text = header.read_text(encoding="utf-8")
            if "VANTRELAGENT_EXPORT" in text:
                for section in re.findall(r"^Q_SIGNALS:\n(.*?)^(?:\w[\w ]*:|\};)", text, re.DOTALL | re.MULTILINE):
                    names |= set(re.findall(r"void (\w+)\(", section))
        self.assertGreater(len(names), 4)
        for entry in re.findall(r"^ {8}(\w+)(?: = \d+)?,? ///<", read("src/host/job.h"), re.M):
            names.add(entry)
        names |= set(re.findall(r'Error::\w+, "([a-z-]+)"', read("src/host/error.cpp"))) - {"none"}
        self.assertGreater(len(names), 35)
        for name in names:
            self.assertIn(f"`{name}`", page)

    def test_the_guide_names_every_slot_of_a_listener(self):
        source = read("src/install/capiinstallpackages.cpp")
        slots = re.findall(r"SLOT\((\w+)\(", source)
        self.assertGreater(len(slots), 8)
        for name in slots:
            self.assertIn(f"`{name}(", read("docs/guide.md"))

    def test_the_guide_names_every_logging_category(self):
        names = re.findall(r"^vantrel_log\((\w+) ", read("src/util/CMakeLists.txt"), re.M)
        self.assertEqual(len(names), 5)
        for name in names:
            self.assertIn(f"| `vantrel.agent.{name.lower()}` |", read("docs/guide.md"))

    def test_every_settings_key_is_described(self):
        keys = set()
        for source in (TOP / "src").rglob("*.cpp"):
            keys |= set(re.findall(r'Get(?:Long|String)Value\("([^"]+)"', source.read_text(encoding="utf-8")))
        self.assertGreater(len(keys), 5)
        for key in keys:
            self.assertIn(f"| `{key}` |", read("docs/host-library.md"))


if __name__ == "__main__":
    unittest.main()
