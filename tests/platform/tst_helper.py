#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# The privileged helper on a bus of its own, with a polkit that says what the test wants and a
# front end that notes what it gets. The callers are hostile, and speak D-Bus directly.
# Arguments: the helper for tests, the installed one, the front end, the policy file.

import hashlib
import os
import random
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest
import xml.etree.ElementTree

import dbus
import dbus.lowlevel
import dbusmock

TESTED, INSTALLED, FRONT_END, POLICY = sys.argv[1:5]
NAME = "org.vantrelos.pakmart"
PATH = "/org/vantrelos/pakmart"
INTERFACE = NAME + ".Helper"
ERROR = NAME + ".Error."
DIGEST = "0123456789abcdef" * 4
VERBS = {"install": ["app"], "remove": ["app"], "repair": [], "upgrade": [],
         "exchange": ["app", "old-"], "download": ["app"], "clean": []}
FOLDER = os.environ["TEST_DIR"]
CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
"""
SCRIPT = """#!/bin/bash
{ echo "words $*"; umask; pwd; ls /proc/self/fd | wc -l; tr '\\0' '\\n' < /proc/$$/environ
  readlink /proc/$$/fd/0; } > %(folder)s/notes.new
mv %(folder)s/notes.new %(folder)s/notes
trap 'echo interrupted > %(folder)s/interrupted; sleep 1; echo finished; exit 130' TERM
echo "Setting up app (1.0) ..."
if [[ -e %(folder)s/slow ]]; then
    for (( i = 0; i < 600; i++ )); do sleep 0.1; [[ -e %(folder)s/slow ]] || break; done
fi
exit "$(cat %(folder)s/status)"
"""


def path(name):
    return os.path.join(FOLDER, name)


def until(what, seconds=20):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = what()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError("this does not happen")


class Client:
    """A connection of its own."""

    def __init__(self, address):
        self.bus = dbus.bus.BusConnection(address)
        self.bus.set_exit_on_disconnect(False)
        self.name = self.bus.get_unique_name()

    def message(self, verb, names, digest, more=None, member="Change", interactive=True):
        message = dbus.lowlevel.MethodCallMessage(NAME, PATH, INTERFACE, member)
        arguments, signature = [verb, dbus.Array(names, signature="s"), digest], "sass"
        if more is not None:
            arguments.append(more[1])
            signature += more[0]
        message.append(*arguments, signature=signature)
        if interactive and hasattr(message, "set_allow_interactive_authorization"):
            message.set_allow_interactive_authorization(True)
        return message

    def call(self, *arguments, **more):
        return self.bus.send_message_with_reply_and_block(self.message(*arguments, **more), 60)

    def error(self, *arguments, **more):
        """The end of the name of the error, or None."""
        try:
            self.call(*arguments, **more)
        except dbus.DBusException as exception:
            return exception.get_dbus_name().replace(ERROR, "")
        return None

    def output(self, *arguments):
        reply = self.call(*arguments)
        with os.fdopen(reply.get_args_list()[0].take(), "rb") as pipe:
            return pipe.read().decode()

    def leave(self):
        self.bus.close()


class HelperTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        for name in os.listdir(FOLDER):
            if name.startswith("t-"):
                shutil.rmtree(path(name))
        self.write("status", "0")
        for name in ("notes", "slow", "interrupted"):
            if os.path.exists(path(name)):
                os.remove(path(name))
        os.chmod(FOLDER, 0o711)
        self.address = "unix:path=" + path("bus")
        self.write("bus.conf", CONFIG % path("bus"))
        self.write("front-end", SCRIPT % {"folder": FOLDER})
        os.chmod(path("front-end"), 0o755)
        self.processes = []
        self.watcher = None
        self.addCleanup(self.end)
        self.start(["dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + path("bus.conf")])
        until(self.bus_answers)
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = self.address
        self.start([TESTED], {"DBUS_SYSTEM_BUS_ADDRESS": self.address, "TEST_FRONT_END": path("front-end"),
                              "LD_BIND_NOW": "1", "APT_CONFIG": "/tmp/evil", "LC_ALL": "evil",
                              "PAKMART_SYSROOT": "/tmp/evil", "ASAN_OPTIONS": "detect_leaks=0"})
        self.watcher = Client(self.address)
        until(lambda: self.watcher.bus.name_has_owner(NAME))

    def end(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait(30)
        if self.watcher:
            self.watcher.leave()
        if os.path.exists(path("bus")):
            os.remove(path("bus"))

    @staticmethod
    def bus_answers():
        # The socket's name is there a moment before the bus listens.
        with socket.socket(socket.AF_UNIX) as probe:
            return probe.connect_ex(path("bus")) == 0

    def start(self, words, environment=None):
        self.processes.append(subprocess.Popen(words, env=environment))

    def write(self, name, text):
        with open(path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def startPolkit(self, allowed=(), hangs=False):
        self.start([sys.executable, "-m", "dbusmock", "--system", "--template", "polkitd"],
                   dict(os.environ, PYTHONUNBUFFERED="1"))
        name = "org.freedesktop.PolicyKit1"
        until(lambda: self.watcher.bus.name_has_owner(name))
        polkit = self.watcher.bus.get_object(name, "/org/freedesktop/PolicyKit1/Authority")
        self.mock = dbus.Interface(polkit, dbusmock.MOCK_IFACE)
        self.mock.SetAllowed(dbus.Array([NAME + "." + one for one in allowed], signature="s"))
        self.mock.SimulateHang(hangs)

    def questions(self):
        """What polkit was asked: (caller, action)."""
        calls = self.mock.GetMethodCalls("CheckAuthorization")
        return [(str(one[1][0][0]), str(one[1][0][1]["name"]), str(one[1][1])) for one in calls]

    def notes(self):
        """What the front end got; None if it was not run."""
        if not os.path.exists(path("notes")):
            return None
        with open(path("notes"), encoding="utf-8") as file:
            return file.read().splitlines()

    def words(self):
        return until(self.notes)[0].split(" ")[1:]

    # The twelve classes of mistakes that privileged helpers have made.

    def test_01_arguments_do_not_change_between_check_and_use(self):
        self.startPolkit(["install"], hangs=True)
        client = Client(self.address)
        client.bus.send_message(client.message("install", ["good"], DIGEST))
        client.bus.flush()
        until(lambda: self.hangs())
        self.assertEqual(client.error("install", ["evil"], DIGEST), "Busy")
        self.mock.ReleaseHangingCalls()
        self.assertEqual(self.words()[-2:], ["install", "good"])

    def hangs(self):
        return self.mock.HaveHangingCalls()

    def test_02_check_and_action_are_about_the_same_change(self):
        self.startPolkit(["install"])
        client = Client(self.address)
        self.assertEqual(client.error("remove", ["app"], DIGEST), "Declined")
        self.assertIsNone(self.notes())
        client.output("install", ["app"], DIGEST)
        self.assertIn("--expect=" + DIGEST, self.words())
        self.assertEqual([one[2] for one in self.questions()],
                         [NAME + ".remove", NAME + ".install"])

    def test_03_a_client_brings_no_configuration(self):
        self.startPolkit(VERBS)
        client = Client(self.address)
        for option in ("-o", "--allow-unauthenticated", "-oDir=/tmp", "--", "-", "Dir::Etc=/tmp"):
            self.assertEqual(client.error("install", [option, "app"], DIGEST), "Invalid", option)
            self.assertEqual(client.error(option, ["app"], DIGEST), "Invalid", option)
            self.assertEqual(client.error("install", ["app"], option), "Invalid", option)
        options = dbus.Dictionary({"locale": "x"}, signature="sv")
        self.assertIsNotNone(client.error("install", ["app"], DIGEST, ("a{sv}", options)))
        for member in ("Set", "Configure", "change", "Change2"):
            self.assertIsNotNone(client.error("install", ["app"], DIGEST, member=member))
        self.assertEqual([self.questions(), self.notes()], [[], None])

    def test_04_names_do_not_become_paths(self):
        self.startPolkit(VERBS)
        client = Client(self.address)
        chance = random.Random(20)
        parts = ["app", "../", "/", "~", "$(id)", "`id`", ";", "|", "\n", "\t", " ", "*", "?", "[a]",
                 "%s", "\\", "'", '"', "=", ":", "ä", "\u202e", "-o", "x" * 300, "/etc/passwd",
                 "file:", "./app.deb", "app/", "app_1.deb", "&", ">", "<", "#", "!", "{a,b}", "^"]
        bad = "/~$`;|\n\t *?[%\\'\"ä\u202e&><#!{^_"
        for number in range(10000):
            name = "".join(chance.choices(parts, k=chance.randint(1, 5))) + chance.choice(bad)
            verb = chance.choice(["install", "remove", "repair", "exchange", "download"])
            names = [name] if number % 2 else ["app", name, "lib"]
            self.assertEqual(client.error(verb, names, DIGEST), "Invalid", repr(name))
        for names in ([""], [], ["a" * 300], ["app"] * 1001, ["app", "-"], ["app", "old--"]):
            for verb in ("install", "exchange", "download"):
                self.assertEqual(client.error(verb, names, DIGEST), "Invalid", names)
        for verb in ("install", "remove", "repair", "download"):
            self.assertEqual(client.error(verb, ["old-"], DIGEST), "Invalid", verb)
        self.assertEqual([self.questions(), self.notes()], [[], None])

    def test_05_files_that_the_client_can_write_are_not_read(self):
        self.startPolkit(VERBS)
        client = Client(self.address)
        for name in ("./app.deb", path("app.deb"), "app.deb/", "/proc/self/fd/3"):
            self.assertEqual(client.error("install", [name], DIGEST), "Invalid", name)
        client.output("install", ["app"], DIGEST)
        paths = [word for word in self.words() if "/" in word]
        self.assertEqual(paths, ["--option=Dir::Etc::SourceParts=/etc/pakmart/stores.d",
                                 "--option=Dir::State::lists=/var/lib/pakmart/lists/"])

    def test_06_the_subject_is_the_connection_of_the_call(self):
        self.startPolkit(VERBS)
        one, other = Client(self.address), Client(self.address)
        one.output("clean", [], "")
        other.output("clean", [], "")
        self.assertEqual([question[:2] for question in self.questions()],
                         [("system-bus-name", one.name), ("system-bus-name", other.name)])

    def test_07_a_change_belongs_to_its_caller(self):
        self.startPolkit(VERBS)
        self.write("slow", "")
        owner, other = Client(self.address), Client(self.address)
        heard = []
        other.bus.add_match_string("type='signal',sender='%s'" % NAME)
        other.bus.add_message_filter(lambda _bus, message: heard.append(message.get_member()))
        reply = owner.call("install", ["app"], DIGEST)
        self.words()
        other.leave()
        another = Client(self.address)
        for member in ("Cancel", "Ended", "Stop"):
            self.assertIsNotNone(another.error("clean", [], "", member=member))
        time.sleep(0.3)
        self.assertFalse(os.path.exists(path("interrupted")))
        os.remove(path("slow"))
        with os.fdopen(reply.get_args_list()[0].take(), "rb") as pipe:
            self.assertEqual(pipe.read(), b"Setting up app (1.0) ...\n")
        self.assertNotIn("Ended", heard)

    def test_08_without_polkit_nothing_is_done(self):
        client = Client(self.address)
        for verb, names in VERBS.items():
            digest = "" if verb == "clean" else DIGEST
            self.assertEqual(client.error(verb, names, digest), "Declined", verb)
        self.assertIsNone(self.notes())

    def test_09_no_path_goes_round_the_question(self):
        self.startPolkit()
        client = Client(self.address)
        for verb, names in VERBS.items():
            digest = "" if verb == "clean" else DIGEST
            self.assertEqual(client.error(verb, names, digest), "Declined", verb)
            self.assertEqual(client.error(verb, names, digest, interactive=False), "Declined")
        self.assertEqual([one[2] for one in self.questions()],
                         [NAME + "." + verb for verb in VERBS for _twice in range(2)])
        self.assertIsNone(self.notes())

    def test_10_nothing_of_an_environment_reaches_the_front_end(self):
        self.startPolkit(VERBS)
        Client(self.address).output("install", ["app"], DIGEST)
        notes = until(self.notes)
        self.assertEqual(notes[1:3], ["0022", "/"])
        self.assertLessEqual(int(notes[3]), 5)  # three of its own, one of ls, one of the group
        names = {line.split("=")[0] for line in notes[4:-1]}
        self.assertEqual(names, {"PATH", "LC_ALL", "HOME"})
        self.assertEqual(notes[-1], "/dev/null")

    def test_11_the_installed_helper_has_no_door_for_tests(self):
        with open(INSTALLED, "rb") as file:
            installed = file.read()
        with open(TESTED, "rb") as file:
            tested = file.read()
        self.assertIn(b"TEST_FRONT_END", tested)
        self.assertNotIn(b"clearenv", tested)  # which finds its bus in the environment
        self.assertIn(b"clearenv", installed)
        self.assertNotIn(b"TEST_FRONT_END", installed)
        self.assertIn(b"org.vantrelos.pakmart.Helper", installed)

    def test_12_every_right_is_an_administrators(self):
        actions = {one.get("id"): [right.text for right in one.find("defaults")]
                   for one in xml.etree.ElementTree.parse(POLICY).getroot().iter("action")}
        self.assertEqual(actions, {NAME + "." + verb: ["auth_admin_keep"] * 3 for verb in VERBS})

    # The answers of polkit, and ends.

    def test_polkit_says_yes(self):
        self.startPolkit(["install"])
        self.assertEqual(Client(self.address).output("install", ["app"], DIGEST),
                         "Setting up app (1.0) ...\n")

    def takeBack(self):
        """Lets polkit take questions back."""
        self.mock.AddMethod("org.freedesktop.PolicyKit1.Authority", "CancelCheckAuthorization",
                            "s", "", "")

    def expectTakenBack(self):
        """The last question is not on the screen any more."""
        taken = until(lambda: self.mock.GetMethodCalls("CancelCheckAuthorization"))
        asked = self.mock.GetMethodCalls("CheckAuthorization")
        self.assertEqual([str(one[1][0]) for one in taken], [str(asked[-1][1][4])])

    def test_what_is_begun_is_not_taken_back(self):
        self.startPolkit(["install"])
        self.takeBack()
        Client(self.address).output("install", ["app"], DIGEST)
        self.assertEqual(self.mock.GetMethodCalls("CancelCheckAuthorization"), [])

    def test_each_verb_has_its_command_line(self):
        self.startPolkit(VERBS)
        expected = {"install": "install app", "remove": "remove app",
                    "repair": "--fix-broken install", "upgrade": "--with-new-pkgs upgrade",
                    "exchange": "install app --remove=old",
                    "download": "--download-only install app", "clean": "clean"}
        for verb, names in VERBS.items():
            digest = "" if verb == "clean" else DIGEST
            if os.path.exists(path("notes")):
                os.remove(path("notes"))
            Client(self.address).output(verb, names, digest)
            fixed = 6 + 1 if digest else 5  # words
            self.assertEqual(" ".join(self.words()[fixed:]), expected[verb])

    def test_the_helper_stays_small(self):
        folder = os.path.dirname(POLICY)
        lines = 0
        for name in os.listdir(folder):
            if name.endswith((".cpp", ".h")):
                with open(os.path.join(folder, name), encoding="utf-8") as file:
                    lines += len(file.readlines())
        self.assertTrue(300 < lines < 400, lines)

    def test_polkit_hangs(self):
        self.startPolkit(["install"], hangs=True)
        self.takeBack()
        self.assertEqual(Client(self.address).error("install", ["app"], DIGEST), "Declined")
        self.expectTakenBack()
        self.mock.ReleaseHangingCalls()
        self.assertEqual(Client(self.address).error("remove", ["app"], DIGEST), "Declined")
        self.assertIsNone(self.notes())

    def test_only_a_yes_is_a_yes(self):
        name = "org.freedesktop.PolicyKit1"
        place = ["/org/freedesktop/PolicyKit1/Authority", name + ".Authority"]
        self.start([sys.executable, "-m", "dbusmock", "--system", name, *place])
        until(lambda: self.watcher.bus.name_has_owner(name))
        mock = dbus.Interface(self.watcher.bus.get_object(name, place[0]), dbusmock.MOCK_IFACE)
        details = "dbus.Dictionary({'polkit.dismissed': 'true'}, signature='ss')"
        none = "dbus.Dictionary({}, signature='ss')"
        answers = {
            "dismissed": ("(bba{ss})", "ret = (False, True, %s)" % details),
            "challenge": ("(bba{ss})", "ret = (False, True, %s)" % none),
            "error": ("(bba{ss})", "raise dbus.exceptions.DBusException('no', name='a.b.C')"),
            "no structure": ("b", "ret = True"),
            "another structure": ("(bbs)", "ret = (True, False, 'x')"),
            "a text": ("(sba{ss})", "ret = ('true', False, %s)" % none),
            "nothing": ("", ""),
        }
        client = Client(self.address)
        for what, (kind, code) in answers.items():
            mock.AddMethod(place[1], "CheckAuthorization", "(sa{sv})sa{ss}us", kind, code)
            self.assertEqual(client.error("install", ["app"], DIGEST), "Declined", what)
        self.assertIsNone(self.notes())
        mock.AddMethod(place[1], "CheckAuthorization", "(sa{sv})sa{ss}us", "(bba{ss})",
                       "ret = (True, False, %s)" % none)
        self.assertIsNone(client.error("install", ["app"], DIGEST))
        self.words()

    def test_the_caller_goes_while_polkit_asks(self):
        self.startPolkit(["install"], hangs=True)
        self.takeBack()
        client = Client(self.address)
        client.bus.send_message(client.message("install", ["app"], DIGEST))
        client.bus.flush()
        until(self.hangs)
        client.leave()
        self.expectTakenBack()
        self.mock.ReleaseHangingCalls()
        self.mock.SimulateHang(False)
        self.assertEqual(Client(self.address).error("remove", ["app"], DIGEST), "Declined")
        self.assertIsNone(self.notes())

    def test_the_caller_goes_while_the_front_end_works(self):
        self.startPolkit(["install"])
        self.write("slow", "")
        client = Client(self.address)
        reply = client.call("install", ["app"], DIGEST)
        self.words()
        with os.fdopen(reply.get_args_list()[0].take(), "rb") as pipe:
            pipe.readline()
            self.assertFalse(os.path.exists(path("interrupted")))
            client.leave()
            until(lambda: os.path.exists(path("interrupted")))

    # The front end of a user who is not root.

    def startFrontEnd(self, *words):
        tool = path("vos-apt-get")
        shutil.copy(FRONT_END, tool)
        os.chmod(tool, 0o755)
        user = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        environment = {"PATH": "/usr/bin:/bin", "DBUS_SYSTEM_BUS_ADDRESS": self.address,
                       "HOME": "/nonexistent"}
        return subprocess.Popen([tool, *words], env=environment, stdout=subprocess.PIPE,
                                stdin=subprocess.DEVNULL, start_new_session=True, text=True,
                                **user)

    def frontEnd(self, *words):
        process = self.startFrontEnd(*words)
        output = process.communicate(timeout=120)[0]
        return subprocess.CompletedProcess(words, process.returncode, output)

    def test_the_front_end_hands_a_removal_over(self):
        self.startPolkit(["remove"])
        self.write("status", "7")
        done = self.frontEnd("-yp", "remove", "fonts-dejavu-core")
        self.assertEqual((done.returncode, done.stdout), (7, "Setting up app (1.0) ...\n"))
        words = self.words()
        self.assertEqual(words[-2:], ["remove", "fonts-dejavu-core"])
        digest = [word for word in words if word.startswith("--expect=")]
        again = self.frontEnd("-yp", "--plan", *[w for w in words[4:] if "expect" not in w])
        self.assertEqual(again.returncode, 0)
        self.assertEqual(len(digest[0]), len("--expect=") + 64)
        self.assertEqual(len(self.questions()), 1)

    def test_the_front_end_says_that_it_may_not(self):
        self.startPolkit()
        done = self.frontEnd("-yp", "remove", "fonts-dejavu-core")
        self.assertEqual((done.returncode, done.stdout),
                         (3, "E: Nothing was changed: this needs an administrator's permission, "
                             "which was not given.\n"))
        self.assertEqual(len(self.questions()), 1)
        self.assertIsNone(self.notes())

    def test_ctrl_c_while_polkit_asks(self):
        self.startPolkit(["remove"], hangs=True)
        self.takeBack()
        process = self.startFrontEnd("-yp", "remove", "fonts-dejavu-core")
        until(self.hangs)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.communicate(timeout=60)[0], "")
        self.assertEqual(process.returncode, -signal.SIGINT)
        # The question is taken back, and a late yes does nothing.
        self.expectTakenBack()
        self.mock.ReleaseHangingCalls()
        self.mock.SimulateHang(False)
        self.assertEqual(Client(self.address).error("install", ["app"], DIGEST), "Declined")
        self.assertIsNone(self.notes())

    def test_ctrl_c_while_the_change_is_made(self):
        self.startPolkit(["remove"])
        self.write("slow", "")
        process = self.startFrontEnd("-yp", "remove", "fonts-dejavu-core")
        self.words()
        self.assertEqual(process.stdout.readline(), "Setting up app (1.0) ...\n")
        process.send_signal(signal.SIGINT)
        # It stays until the change has ended.
        self.assertEqual(process.communicate(timeout=60)[0], "finished\n")
        self.assertEqual(process.returncode, 128 + signal.SIGINT)
        self.assertTrue(os.path.exists(path("interrupted")))
        # Its caller is gone, and the helper is free again.
        os.remove(path("slow"))
        self.assertEqual(Client(self.address).output("remove", ["app"], DIGEST),
                         "Setting up app (1.0) ...\n")

    def makeStore(self, *versions):
        """A store of these packages, "NAME_VERSION", and the options that select it."""
        for name in ("t-store", "t-lists/partial"):
            os.makedirs(path(name))
        index = ""
        for one in versions:
            name, version = one.split("_")
            control = ("Package: %s\nVersion: %s\nArchitecture: all\nMaintainer: m <m@x.y>\n"
                       "Description: d\n" % (name, version))
            os.makedirs(path("t-store/tree/DEBIAN"), exist_ok=True)
            self.write("t-store/tree/DEBIAN/control", control)
            subprocess.run(["dpkg-deb", "--build", "tree", one + ".deb"], check=True,
                           cwd=path("t-store"), stdout=subprocess.DEVNULL)
            with open(path("t-store/%s.deb" % one), "rb") as file:
                archive = file.read()
            index += "%sFilename: ./%s.deb\nSize: %d\nSHA256: %s\n\n" % (
                control, one, len(archive), hashlib.sha256(archive).hexdigest())
        self.write("t-store/Packages", index)
        self.write("t-store/store.sources", "Types: deb\nURIs: file:%s\nSuites: ./\n"
                   "Trusted: yes\n" % path("t-store"))
        subprocess.run(["chmod", "-R", "a+rwX", path("t-store"), path("t-lists")], check=True)
        options = ["-oDir::Etc::SourceParts=" + path("t-store"),
                   "-oDir::State::lists=" + path("t-lists")]
        done = self.frontEnd(*options, "update")
        self.assertEqual(done.returncode, 0, done.stdout)
        return options

    def test_the_front_end_hands_an_exchange_over(self):
        self.startPolkit(["exchange"])
        options = self.makeStore("pakmart-example_1.0")
        done = self.frontEnd("-yp", *options, "--allow-removals", "--remove=fonts-dejavu-core",
                             "install", "pakmart-example=1.0")
        self.assertEqual((done.returncode, done.stdout), (0, "Setting up app (1.0) ...\n"))
        self.assertEqual(self.words()[-3:],
                         ["install", "pakmart-example=1.0", "--remove=fonts-dejavu-core"])
        self.assertEqual([one[2] for one in self.questions()], [NAME + ".exchange"])

    def test_the_front_end_hands_a_download_over(self):
        self.startPolkit(["download"])
        options = self.makeStore("pakmart-example_1.0")
        done = self.frontEnd("-yp", *options, "--download-only", "install", "pakmart-example")
        self.assertEqual((done.returncode, done.stdout), (0, "Setting up app (1.0) ...\n"))
        self.assertEqual(self.words()[-3:], ["--download-only", "install", "pakmart-example"])
        self.assertEqual([one[2] for one in self.questions()], [NAME + ".download"])

    def test_the_front_end_leaves_the_rest_to_root(self):
        self.startPolkit(VERBS)  # "reuse" is installed, and nothing needs it
        options = self.makeStore("pakmart-example_1.0", "reuse_0.1")
        older = "put an older version in place of a newer one"
        download = "download this without installing it"
        for words, what in {
                ("--allow-downgrades", "install", "reuse=0.1"): older,
                ("--download-only", "upgrade"): download,
                ("--download-only", "--reinstall", "install", "pakmart-example"): download,
                ("--download-only", "--remove=dash", "install", "pakmart-example"): download,
                ("--reinstall", "--remove=dash", "install", "pakmart-example"): "do this: install",
                ("purge", "reuse"): "do this: purge"}.items():
            done = self.frontEnd("-yp", *options, *words)
            self.assertEqual(done.returncode, 3, done.stdout)
            self.assertRegex(done.stdout, "^E: Only root can %s[.]?\n$" % what)
        self.assertEqual([self.questions(), self.notes()], [[], None])

    def test_the_front_end_without_a_helper(self):
        self.processes[1].terminate()
        self.processes[1].wait(30)
        done = self.frontEnd("clean")
        self.assertEqual(done.returncode, 100)
        self.assertIn("E: The helper for package changes: ", done.stdout)

    def test_the_front_end_asks_for_nothing_without_a_change(self):
        self.startPolkit(VERBS)
        done = self.frontEnd("-yp", "remove", "no-such-package-anywhere")
        self.assertNotEqual(done.returncode, 3)
        done = self.frontEnd("-yp", "install", "dpkg", "-o", "APT::Get::Upgrade=false",
                             "--no-upgrade")
        self.assertEqual(done.returncode, 0)
        self.assertEqual([self.questions(), self.notes()], [[], None])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[5:], verbosity=2)
