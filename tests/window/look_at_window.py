#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Usage: look_at_window.py [NAME]

Prints what the store's window shows, from the top down, as JSON: role, name, and whether it takes
the keyboard. With a name, presses what has that name instead, and prints ["pressed"]. An empty
list if there is no such thing.
"""

import json
import sys

import pyatspi


def everything(item):
    """What goes while one looks is passed over."""
    try:
        if item.getState().contains(pyatspi.STATE_SHOWING):
            yield item
            for child in item:
                if child:
                    yield from everything(child)
    except LookupError:
        return


def shown():
    for application in pyatspi.Registry.getDesktop(0):
        if application and application.name == "pakmart-store" and application.childCount:
            yield from everything(application[0])


def press(item):
    actions = item.queryAction()
    names = [actions.getName(number).lower() for number in range(actions.nActions)]
    return "press" in names and actions.doAction(names.index("press"))


if len(sys.argv) > 1:
    TOLD = ["pressed" for item in shown() if item.name == sys.argv[1] and press(item)][:1]
else:
    TOLD = [{"role": item.getRoleName(), "name": item.name,
             "takes keys": item.getState().contains(pyatspi.STATE_FOCUSABLE)}
            for item in shown()]
print(json.dumps(TOLD))
