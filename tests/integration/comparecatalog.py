# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Compares an agent's catalog with the package index from which the store was made,
product by product and field by field, in all places: in the file, through the
library's reader of the file, and in the database.

usage: comparecatalog.py [--limit N] INDEX READCATALOG FOLDER_OF_READERS...

INDEX is a Packages file, plain or as apt compresses it; READCATALOG is the program
that prints the content of the library's reader. The agent's data folder is that of
PAKMART_SYSROOT. The index and the file are read here; the readers of the database
were written from the documents. Exit status 0 means no differences.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree
from urllib.parse import unquote

FIELDS = ("serial", "name", "category", "package", "version", "description", "homepage",
          "size", "dependencies")
APT_HELPER = "/usr/lib/apt/apt-helper"


# ---- the index ----

def stanzas(path):
    """The stanzas of an index as dictionaries."""
    command = [APT_HELPER, "cat-file", path]
    text = subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout.decode()
    for block in re.split(r"\n[ \t]*\n", text):
        fields, key = {}, None
        for line in block.split("\n"):
            if not line.strip() or line[0] == "#":
                continue
            if line[0] in " \t":
                fields[key] += ("\n" if fields[key] else "") + line[1:]
            else:
                key, value = line.split(":", 1)
                fields[key] = value.strip(" \t")
        if fields:
            yield fields


def is_newer(version, than):
    return subprocess.run(["dpkg", "--compare-versions", version, "gt", than]).returncode == 0


def names_of(relations):
    """The first name of each relation: "a (>= 1), b | c" has a and b."""
    heads = (re.match(r"[^\s(:|\[<]*", part.strip()).group() for part in relations.split(","))
    return [head for head in heads if head]


def homepage_of(stanza):
    page = stanza.get("Homepage", "")
    return page if re.fullmatch(r"(https?|ftp|gopher)://[!-~]*", page) and len(page) <= 256 else ""


def product_of(stanza):
    section = stanza.get("Section", "")
    size = int(stanza["Size"])
    return {
        "name": stanza["Package"],
        "package": stanza["Package"],
        "category": section if re.fullmatch(r"[A-Za-z0-9+./_-]{1,60}", section) else "unknown",
        "version": stanza["Version"],
        "description": re.sub(r"(?<=\n)\.(?=\n)", "", stanza.get("Description", ""))
        or stanza["Package"],
        "homepage": homepage_of(stanza),
        "size": size if size < 2 ** 31 else 0,
        "dependencies": names_of(stanza.get("Pre-Depends", ""))
        + names_of(stanza.get("Depends", "")),
    }


def read_index(path):
    """The products of a new store by their serial numbers: the newest version of each
    package, numbered in the order of the names."""
    newest = {}
    for stanza in stanzas(path):
        name = stanza["Package"]
        if name not in newest or is_newer(stanza["Version"], newest[name]["Version"]):
            newest[name] = stanza
    products = {}
    for serial, name in enumerate(sorted(newest, key=str.encode), 1):
        products[serial] = dict(product_of(newest[name]), serial=serial)
    return products


# ---- what the documents say becomes of a product ----

def in_file(product):
    """As read back from the file, where a plus sign comes back as an escape."""
    def text(value):
        return value.replace("+", "%2b") if isinstance(value, str) else value
    result = {key: text(value) for key, value in product.items()}
    result["dependencies"] = [text(name) for name in product["dependencies"]]
    return result


def cut(value, most):
    """Before the character that does not fit."""
    return value.encode()[:most].decode(errors="ignore")


def in_database(products):
    """Texts cut to their fields; a product whose package name begins like an earlier
    one's is stored without its dependencies."""
    lengths = {"category": 75, "name": 50, "package": 256, "version": 50, "homepage": 256}
    taken, result = set(), {}
    for serial, product in by_category(products):
        fields = {key: cut(product[key], most) for key, most in lengths.items()}
        start = product["package"].encode()[:50].lower()
        names = [] if start in taken else [cut(name, 51) for name in product["dependencies"]]
        taken.add(start)
        result[serial] = dict(product, **fields, dependencies=sorted(names))
    return result


def by_category(products):
    """In the order of the reply."""
    return sorted(products.items(), key=lambda item: (item[1]["category"].encode(), item[0]))


# ---- what the agent has ----

def data_folder():
    return os.environ.get("PAKMART_SYSROOT", "") + "/usr/share/apps/vantrelagent/"


def collected(products):
    """By serial number, each of which may be there once."""
    result = {}
    for product in products:
        if product["serial"] in result:
            raise SystemExit(f"the product {product['serial']} is there twice")
        result[product["serial"]] = product
    return result


def from_file():
    """The products of the file, read as XML whose texts are URL-encoded."""
    def of(element, category):
        def value(name):
            return unquote(element.findtext(name) or "")
        return {"serial": int(value("serialnumber")), "name": unquote(element.get("name")),
                "category": category, "package": value("packagename"),
                "version": value("version"), "description": value("briefdescription"),
                "homepage": value("applicationdetailURL"), "size": int(value("filesize") or 0),
                "dependencies": [unquote(name.get("name"))
                                 for name in element.iterfind("dependencies/dependency")]}
    category = ""
    for event, element in xml.etree.ElementTree.iterparse(data_folder() + ".catalog",
                                                          ("start", "end")):
        if event == "start" and element.tag == "category":
            category = unquote(element.get("name"))
        if event == "end" and element.tag == "product":
            yield of(element, category)
            element.clear()


def from_reader(program):
    """The products of the library's reader, which the program prints, one per line."""
    told = subprocess.run([program], stdout=subprocess.PIPE, check=True).stdout
    return map(json.loads, told.splitlines())


def from_database():
    from databasereader import Catalog
    for product in Catalog(data_folder() + ".VACatalog.fil").products.values():
        yield {key: product[key if key != "homepage" else "url"] for key in FIELDS}


# ---- comparing ----

def differences(expected, found):
    """A line for each thing that is not as expected, and the serial numbers of them."""
    for serial in sorted(expected.keys() | found.keys()):
        if serial not in found:
            yield serial, f"{serial} ({expected[serial]['name']}) is missing"
        elif serial not in expected:
            yield serial, f"{serial} ({found[serial]['name']}) is not in the index"
        else:
            for field in FIELDS:
                wanted, got = expected[serial][field], found[serial][field]
                if wanted != got:
                    yield serial, f"{serial}: {field} is {got!r}, not {wanted!r}"


def compare(place, expected, found, limit):
    """Prints the differences in one place; returns the number of products that differ."""
    serials = set()
    for count, (serial, line) in enumerate(differences(expected, found)):
        serials.add(serial)
        if count < limit:
            print(f"{place}: {line}")
    print(f"{place}: {len(found)} products, {len(serials)} differ", flush=True)
    return len(serials)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--limit", type=int, default=10, help="lines about each place")
    parser.add_argument("index")
    parser.add_argument("readcatalog")
    parser.add_argument("readers", nargs="+")
    options = parser.parse_args()
    sys.path[:0] = options.readers
    products = read_index(options.index)
    expected = {serial: in_file(product) for serial, product in products.items()}
    differ = compare("file", expected, collected(from_file()), options.limit)
    differ += compare("reader", expected, collected(from_reader(options.readcatalog)),
                      options.limit)
    differ += compare("database", in_database(products), collected(from_database()),
                      options.limit)
    print(f"{len(products)} products compared, {differ} differ")
    return 0 if products and differ == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
