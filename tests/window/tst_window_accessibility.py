#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Usage: tst_window_accessibility.py PAKMART_STORE PAKMART STORESERVER QML_MODULES MKROOT FRONT_END MAKE_STORE

The store's window as a screen reader finds it, over AT-SPI: on each page, whatever takes the
keyboard has a name and a role, pages and rows are there by name, and a press opens what it says.
In a sandbox with a session bus; the window is on a display of its own.
"""

import json
import os
import shutil
import subprocess
import sys
import time

import dbus

STORE, PAKMART, SERVER, MODULES, MKROOT, FRONT_END, MAKE_STORE = sys.argv[1:]
LOOKER = os.path.join(os.path.dirname(__file__), "look_at_window.py")
LIMIT = 60  # seconds for anything
STARTS, START_LIMIT = 12, 8
MEANINGLESS = {"filler", "invalid", "unknown"}
# The roles differ between versions of Qt and of AT-SPI.
BUTTON = {"push button", "button"}
ENTRY = BUTTON | {"list item", "page tab"}
TEXT = {"label", "heading", "static"}
FIELD = {"text", "entry"}
# What each page has.
PAGES = {
    "front": [(ENTRY, "Games, 4 products"), (ENTRY, "Office, 3 products")],
    "category/Games": [(ENTRY, "Star Lander: Bring the ship down gently."),
                       (BUTTON, "Install Star Lander")],
    "search/lander": [(TEXT, 'Results for "lander"'), (BUTTON, "Install Star Lander")],
    "product/1001": [(TEXT, "Star Lander"), (TEXT, "Needs: libpixel"),
                     (BUTTON, "Install Star Lander")],
    "installed": [(TEXT, "No product of the store is installed.")],
    "updates": [(BUTTON, "Look for updates")],
    "recent": [(TEXT, "Recently used")],
    "history": [(TEXT, "History")],
    "account": [(TEXT, "My products"), (BUTTON, "Fetch the list")],
    "settings": [(TEXT, "Settings"), (BUTTON, "Check for updates now"),
                 ({"check box"}, "Tell me of updates after logging in")],
    "account": [(BUTTON, "Fetch the list")],
    "settings": [(BUTTON, "Check for updates now")],
    "about": [(TEXT, "Software Store")],
}
EVERYWHERE = [({"page tab list"}, "Pages"), (BUTTON, "Back"), (FIELD, "Search for software"),
              (ENTRY, "Updates")]

started = []


def start(words, **more):
    process = subprocess.Popen(words, **more)  # pylint: disable=consider-using-with
    started.append(process)
    return process


def comes_within(seconds, sought):
    end = time.monotonic() + seconds
    found = sought()
    while not found and time.monotonic() < end:
        time.sleep(0.1)
        found = sought()
    return found


def wait_for(what, sought):
    if not comes_within(LIMIT, sought):
        there = [f"{one['role']} '{one['name']}'" for one in ask()]
        sys.exit(f"{what} was not there in time, but: {', '.join(there)}")


def start_display():
    display = start(["Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp",
                     "-noreset"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    os.environ["DISPLAY"] = ":" + display.stdout.readline().strip()


def make_machine():
    root = os.environ["PAKMART_SYSROOT"]
    shutil.rmtree(os.path.join(root, "usr"))
    subprocess.run([MKROOT, "--front-end", FRONT_END, root], check=True, stdout=subprocess.DEVNULL)


def start_store():
    folder = os.path.join(os.environ["TEST_DIR"], "store")
    subprocess.run([MAKE_STORE, folder], check=True, stdout=subprocess.DEVNULL)
    server = start([SERVER, "--port", "0", folder], stdout=subprocess.PIPE, text=True)
    url = server.stdout.readline().split()[-1]
    settings = os.path.join(os.environ["PAKMART_SYSROOT"], "usr/share/apps/vantrelagent/.vauf")
    with open(settings, "w", encoding="utf-8") as file:
        file.write(f"agent api url = {url}getagentapi.php\n")
    subprocess.run([PAKMART, "update"], check=True, stdout=subprocess.DEVNULL,
                   env=dict(os.environ, QT_QPA_PLATFORM="offscreen"))


def begin_reading():
    """What a screen reader says when it starts."""
    status = dbus.SessionBus().get_object("org.a11y.Bus", "/org/a11y/bus")
    status.Set("org.a11y.Status", "IsEnabled", True, dbus_interface=dbus.PROPERTIES_IFACE)
    ask()  # starts the registry, for which the window does not wait


def start_window():
    """Qt asks for the bus of AT-SPI and whether it is wanted at the same time. If the second answer
    comes first, the program never registers, and is started again."""
    os.environ.update(QT_QPA_PLATFORM="xcb", QT_QUICK_BACKEND="software", QML2_IMPORT_PATH=MODULES,
                      QML_IMPORT_PATH=MODULES)
    for _ in range(STARTS):
        window = start([STORE])
        if comes_within(START_LIMIT, ask):
            return
        window.terminate()
        window.wait(LIMIT)
        started.remove(window)
    sys.exit(f"the window was started {STARTS} times, and never registered")


def ask(*words):
    """What look_at_window prints. A process of its own sees the window as it is now."""
    told = subprocess.run([sys.executable, LOOKER, *words], check=False, stdout=subprocess.PIPE,
                          timeout=LIMIT)
    return json.loads(told.stdout or "[]")


def find(roles, name):
    return [one for one in ask() if one["role"] in roles and one["name"] == name]


def faults():
    for one in ask():
        # Bars beside a list are not counted: it is moved by the list's own keys.
        if one["takes keys"] and one["role"] != "scroll bar" \
                and (not one["name"] or one["role"] in MEANINGLESS):
            yield f"{one['role']} '{one['name']}'"


def go(page):
    subprocess.run([STORE, "pakmart:" + page], check=True, stderr=subprocess.DEVNULL, timeout=LIMIT)


def try_page(page):
    go(page)
    for roles, name in PAGES[page] + EVERYWHERE:
        wait_for(f"{page}: '{name}'", lambda r=roles, n=name: find(r, n))
    nameless = sorted(set(faults()))
    if nameless:
        sys.exit(f"{page}: no name or no role: {', '.join(nameless)}")
    print(f"{page}: {len(ask())} things are shown")


def press(page, name):
    wait_for(f"{page}: '{name}', to be pressed", lambda: ask(name) == ["pressed"])


def try_presses():
    go("front")
    press("front", PAGES["front"][0][1])
    press("category/Games", PAGES["category/Games"][0][1])
    wait_for("the product", lambda: find(*PAGES["product/1001"][1]))
    print("presses lead from the front page to a product")


try:
    start_display()
    make_machine()
    start_store()
    begin_reading()
    start_window()
    for address in PAGES:
        try_page(address)
    try_presses()
finally:
    for one in reversed(started):
        one.terminate()
        one.wait(LIMIT)
