#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Runs grexctl on a throw-away element and compares all that it prints and its exit status.
#
#     grexctl_test.py GREXCTL [UNITTEST-ARGUMENT...]
import fcntl
import hashlib
import json
import os
import pty
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

GREXCTL = os.path.abspath(sys.argv.pop(1) if len(sys.argv) > 1 else os.environ["GREXCTL"])
PASSWORDS = {"root": "root's secret", "ann": "ann's secret", "joe": "joe's secret"}


def make_hash(password):
    return subprocess.run(["openssl", "passwd", "-6", "-stdin"], input=password + "\n", text=True,
                          check=True, capture_output=True).stdout.strip()


HASHES = {login: make_hash(password) for login, password in PASSWORDS.items()}
ROOT, ANN, JOE = (f"{login}:{gid}:{HASHES[login]}\n" for login, gid in (("root", 3), ("ann", 2), ("joe", 1)))
USERS = ROOT + "# staff\n\n" + ANN + JOE
MODACC = "http;1@1;2@3;3@3;4@1\nsnmp; 2@1 ;3@3\n"
CONF = "[cu/params/101]\nNMSServerUrl =\n"
WRONG = "wrong login or password; 'grexctl explain LOGIN' tells more\n"
NO_ADMIN = "no Admin and no SuperUser can get in after that unless the login service admits one"


def user(login, gid):
    return {"login": login, "gid": gid, "group": {0: "", 1: "User", 2: "Admin", 3: "SuperUser", 4: "Monitor"}[gid]}


def levels(module, *values):
    return {"module": module, "levels": dict(zip("1234", values))}


def granted(login, gid, level, context="http"):
    return dict({"granted": True}, **user(login, gid), context=context, level=level)


class Element(unittest.TestCase):
    def setUp(self):
        self.top = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.top)
        self.reset()

    def reset(self, **files):
        # The element as new; `files` replace whole files of the variable folder, None takes one away.
        for name in ("etc", "var"):
            shutil.rmtree(self.path(name), ignore_errors=True)
            os.mkdir(self.path(name))
        self.write("etc/borea.conf", f"[common]\nVarConfigDir = {self.path('var')}\n")
        content = {"users": USERS, "modacc": MODACC, "borea.conf": CONF}
        content.update({name.replace("__", "."): text for name, text in files.items()})
        for name, text in content.items():
            if text is not None:
                self.write("var/" + name, text)
        for name in {"users", "cache.db"}.intersection(name for name, text in content.items() if text is not None):
            if name + ".sig" not in content:
                self.write(f"var/{name}.sig", self.md5(name))

    def path(self, name):
        return os.path.join(self.top, name)

    def write(self, name, text):
        with open(self.path(name), "wb") as file:
            file.write(text.encode("latin-1"))

    def read(self, name, folder="var"):
        with open(self.path(f"{folder}/{name}"), "rb") as file:
            return file.read()

    def md5(self, *name):
        return hashlib.md5(self.read(*name)).hexdigest()

    def run_tool(self, *args, stdin="", **how):
        process = subprocess.run([GREXCTL, "--config-dir", self.path("etc"), *args], input=stdin.encode("latin-1"),
                                 stderr=subprocess.PIPE, timeout=60, check=False,
                                 **({"stdout": subprocess.PIPE, "env": {"PATH": "/bin:/usr/bin"}} | how))
        # The rest is what the synchronisation tool says, or the shell where there is none.
        stderr = "".join(re.findall(r"(?m)^(?:grexctl|Try).*\n", process.stderr.decode()))
        return process.returncode, (process.stdout or b"").decode(), stderr.replace(self.path("var"), "VAR")

    def expect(self, args, status, answer, stderr="", **how):
        """`answer`: the JSON value, or the text where the command is not asked for JSON."""
        with self.subTest(args=args):
            code, stdout, errors = self.run_tool(*args, **how)
            if "--json" in args and answer != "":
                stdout = json.loads(stdout)
            errors = "".join(line.removeprefix("grexctl: ") for line in errors.splitlines(keepends=True))
            self.assertEqual((code, stdout, errors), (status, answer, stderr))


class Answers(Element):
    def test_logins(self):
        for context, login, password, status, answer, stderr in (
                ("http", "root", "root's secret\n", 0, granted("root", 3, 3), ""),
                ("http", "root", "root's secret", 0, granted("root", 3, 3), ""),  # no line end
                ("snmp", "ann", "ann's secret\r\nx\n", 0, granted("ann", 2, 1, "snmp"), ""),
                ("http", "root", "ann's secret\n", 1, {"granted": False}, WRONG),
                ("http", "nobody", "x\n", 1, {"granted": False}, WRONG),
                ("http", "ann:2", "ann's secret\n", 1, {"granted": False}, WRONG),
                ("snmp", "joe", "joe's secret\n", 1, {"granted": False},
                 "group 1 User has no right on module 'snmp'; see VAR/modacc\n"),
                ("http", "ann", "", 2, "", "no password: give it as one line of standard input\n"),
                ("HTTP", "ann", "x\n", 2, "", "--context: no module 'HTTP' in VAR/modacc; it has: http, snmp\n")):
            self.expect(["--json", "--context", context, "login", login], status, answer, stderr, stdin=password)
        self.expect(["session"], 1, "denied\n",
                    "no login service is configured; set NMSServerUrl in VAR/borea.conf\n", stdin="<SessionStruct/>")

    def test_text_for_people(self):
        self.reset(users="a\x1b[1m\xff:2:x\n")
        for args, stdout in (
                (["modules"], "MODULE  User  Admin  SuperUser  Monitor\n"
                              "http    1     3      3          1\nsnmp    0     1      3          0\n"),
                (["access", "--group", "su", "snmp", "x"],
                 "group 3 SuperUser\n\nMODULE  LEVEL\nsnmp    3\nx       0  (not in modacc)\n"),
                (["users", "list"], "LOGIN         GROUP\na\\x1b[1m\\xff  2 Admin\n")):
            self.expect(args, 0, stdout)

    def test_rights_and_lists(self):
        may_not = "group {} may not list; Admin and SuperUser may\n"
        us, ad, su, mo = ({"gid": gid, "name": user("", gid)["group"]} for gid in (1, 2, 3, 4))
        root, ann, joe = user("root", 3), user("ann", 2), user("joe", 1)
        for args, status, answer, stderr in (
                (["access", "--login", "ann"], 0, {"gid": 2, "levels": {"http": 3, "snmp": 1}}, ""),
                (["access", "--login", "x", "http"], 0, {"gid": 0, "levels": {"http": 0}}, ""),
                (["access", "--group", "Monitor", "snmp", "x"], 0, {"gid": 4, "levels": {"snmp": 0, "x": 0}}, ""),
                (["modules"], 0, [levels("http", 1, 3, 3, 1), levels("snmp", 0, 1, 3, 0)], ""),
                (["groups"], 0, [su, us, ad, mo], ""), (["groups", "--as", "2"], 0, [us, ad, mo], ""),
                (["groups", "--as", "User"], 0, [], may_not.format("1 User")),
                (["users", "list"], 0, [root, ann, joe], ""), (["users", "list", "--as", "Admin"], 0, [ann, joe], ""),
                (["users", "list", "--as", "4"], 1, [], may_not.format("4 Monitor")), (["cache", "list"], 0, [], "")):
            self.expect(["--json", *args], status, answer, stderr)
        self.reset(users="", modacc="http;3@2\n", cache__db=ANN + "x\n")
        self.expect(["--json", "users", "list"], 1, [],
                    "group 3 SuperUser has no listing right (1) on module 'http'; see VAR/modacc\n")
        self.expect(["--json", "cache", "list"], 0, [ann], "VAR/cache.db, line 2: not of the form login:group:hash\n")
        self.reset(users=ROOT + "\nx:1\n")
        self.expect(["--json", "users", "list"], 1, [], "VAR/users, line 3: not of the form login:group:hash; "
                                                        "the list stops there, repair the line\n")
        self.reset(users=None, modacc=None)
        for args, refusal in ((["modules"], []), (["access", "--group", "1"], {"gid": 0, "levels": {}}),
                              (["users", "list"], []), (["login", "x"], {"granted": False})):
            self.expect(["--json", *args], 1, refusal, "cannot read VAR/modacc: No such file or directory\n")
        for args in (["users", "remove", "x"], ["users", "passwd", "x"]):
            self.expect(["--json", *args], 1, {"changed": False}, "cannot read VAR/users: No such file or directory\n")

    def test_wrong_usage(self):
        group = " is no group; give User, Admin, SuperUser, Monitor, 1 to 4, or su\nTry 'grexctl users add --help'.\n"
        either = "access: give either --login LOGIN or --group GROUP\n"
        for args, stderr in (
                ([], "a command is missing\nTry 'grexctl --help'.\n"),
                (["logni", "ann"], "unknown command 'logni'; did you mean 'login'?\nTry 'grexctl --help'.\n"),
                (["users", "ad"], "unknown command 'ad'; did you mean 'add'?\nTry 'grexctl users --help'.\n"),
                (["check", "--jsn"], "unknown option '--jsn'; did you mean '--json'?\nTry 'grexctl check --help'.\n"),
                (["login", "ann", "sesame"], "too many arguments; a password is read from standard input\n"
                                             "Try 'grexctl login --help'.\n"),
                (["login", ""], "LOGIN is empty; give the user's name\n"),
                (["access"], either), (["access", "--login", "a", "--group", "1"], either),
                (["users", "add", "x", "--group", "admin"], "--group: 'admin'" + group), (["users", "add", "x", "--group", "5"], "--group: '5'" + group),
                (["--config-dir", "/dev/null", "check"],
                 "--config-dir: '/dev/null': Not a directory; give the folder that borea.conf is in\n")):
            self.expect(args, 2, "", stderr)


class Changes(Element):
    def change(self, args, status, changed, stderr="", **how):
        self.expect(["--json", *args], status, {"changed": changed}, stderr, **how)

    def test_users(self):
        self.change(["users", "add", "kim", "--group", "Monitor"], 0, True, stdin="kim's secret\n")
        self.assertEqual([line[:6] for line in self.read("users").decode().splitlines()],
                         ["root:3", "ann:2:", "joe:1:", "kim:4:"])
        self.assertEqual(self.read("users.sig").decode().strip(), self.md5("users"))
        self.change(["users", "passwd", "kim"], 0, True, stdin="new\n")
        self.expect(["--json", "login", "kim"], 1, {"granted": False}, WRONG, stdin="kim's secret\n")
        self.expect(["--json", "login", "kim"], 0, granted("kim", 4, 1), stdin="new\n")
        self.change(["users", "remove", "kim"], 0, True)
        self.assertEqual(self.read("users").decode(), ROOT + ANN + JOE)
        self.change(["users", "remove", "kim"], 0, False)
        self.reset(users=None)
        self.change(["users", "add", "a b", "--group", "1"], 0, True, "warning: the password of 'a b' is empty\n", stdin="\n")
        self.expect(["--json", "login", "a b"], 0, granted("a b", 1, 1), stdin="\n")

    def test_refusals(self):
        def add(login):
            return ["users", "add", login, "--group", "1"]

        stored = "this password cannot be stored: it is too long or holds a NUL\n"
        for args, stdin, stderr in (
                (add("ann"), "x\n", "'ann' is in VAR/users already; 'grexctl users passwd' changes the password\n"),
                (add("a:b"), "x\n", "'a:b': a login cannot hold ':', which separates the fields of a record\n"),
                (add("a\nb"), "x\n", "'a\\x0ab': a login cannot hold a line end or a NUL\n"),
                (add("#a"), "x\n", "'#a': a login cannot begin with '#', which begins a comment\n"),
                (add(" a"), "x\n", "' a': a login cannot begin or end with white space\n"),
                (add("x"), "a\0b\n", stored), (["users", "passwd", "ann"], 600 * "x" + "\n", stored),
                (["users", "passwd", "x"], "y\n", "no user 'x' in VAR/users; 'grexctl users add' adds one\n")):
            self.change(args, 1, False, stderr, stdin=stdin)
        self.assertEqual(self.read("users").decode(), USERS)
        os.remove(self.path("var/users"))
        os.mkdir(self.path("var/users"))
        self.change(add("x"), 1, False, "cannot read VAR/users: Is a directory\n", stdin="x\n")

    def test_what_the_library_says_and_the_file_does_not(self):
        os.remove(self.path("var/users.sig"))
        os.mkdir(self.path("var/users.sig"))
        self.change(["users", "remove", "joe"], 1, True, "VAR/users was changed but could not be signed, and was not "
                    "synchronised: save file fail: VAR/users.sig: Is a directory\n")

    def test_a_lock_that_is_held(self):
        with open(self.path("var/users.lock"), "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.change(["users", "remove", "joe"], 1, False, "VAR/users stays locked by another process "
                        "(VAR/users.lock); nothing was changed\n")
            self.assertEqual(self.read("users").decode(), USERS)

    def test_last_administrator(self):
        self.reset(users=ROOT + JOE, cache__db=ANN)
        self.change(["users", "remove", "root", "--keep-admin"], 1, False, NO_ADMIN + "; --keep-admin refuses that\n")
        self.change(["users", "remove", "root"], 0, True, f"warning: {NO_ADMIN}\n")
        self.reset(users=JOE, cache__db=ANN, borea__conf="[cu/params/101]\nNMSServerUrl=http://127.0.0.1:1/\n")
        self.change(["cache", "remove", "ann"], 0, True, f"warning: {NO_ADMIN}\n")
        self.assertEqual((self.read("cache.db"), self.read("cache.db.sig").strip()), (b"\n", self.md5("cache.db").encode()))

    def test_apply(self):
        wanted = [{"login": "ann", "group": "Admin", "password": "ann's secret"}, {"login": "joe", "group": "Monitor"},
                  {"login": "kim", "group": 1, "password": "x"}, {"login": "zoe", "group": "su", "hash": HASHES["root"]}]
        plan = {"dryRun": False, "add": ["kim", "zoe"], "update": ["joe"], "remove": ["root"]}
        self.write("wanted", json.dumps(wanted))
        self.expect(["apply", "--dry-run", self.path("wanted")], 0, "~ joe  User -> Monitor\n+ kim  User\n"
                    "+ zoe  SuperUser\n- root\na dry run: nothing was changed\n")
        self.assertEqual(self.read("users").decode(), USERS)
        self.expect(["--json", "apply", self.path("wanted")], 0, dict(plan, changed=True))
        before = self.read("users")
        self.assertTrue(before.decode().startswith(ANN + JOE.replace(":1:", ":4:") + "kim:1:$6$"), before)
        self.assertEqual(self.read("users.sig").decode().strip(), self.md5("users"))
        self.expect(["--json", "apply", self.path("wanted")], 0,
                    {"changed": False, "dryRun": False, "add": [], "update": [], "remove": []})
        self.assertEqual(self.read("users"), before)
        for text, stderr in (
                ("[\n{\"password\": \"sesame\" x}]", "WANTED, line 2: this is no JSON\n"),
                ("{}", "WANTED: not a list of users, [{\"login\": ...}, ...]\n"),
                ([{"login": "ann", "group": "Staff"}], "WANTED, user 1: 'ann': no group; give User, Admin, SuperUser or Monitor\n"),
                ([wanted[0], {"login": "x", "grup": 1}],
                 "WANTED, user 2: unknown key 'grup'; known are login, group, password and hash\n"),
                ([wanted[0], wanted[0]], "WANTED, user 2: 'ann' is named twice\n"),
                ([{"login": "x", "group": 1}], "'x' is new and has neither password nor hash\n"),
                ([{"login": "x", "group": 1, "hash": "!"}], "WANTED, user 1: 'x': no password matches this hash\n")):
            self.write("wanted", text if isinstance(text, str) else json.dumps(text))
            self.change(["apply", self.path("wanted")], 1, False, stderr.replace("WANTED", self.path("wanted")))
        self.assertEqual(self.read("users"), before)


class Diagnosis(Element):
    def test_check(self):
        rows = (
            ({}, []), ({"cache__db": "\n", "users__sig": hashlib.md5(USERS.encode()).hexdigest() + "\n"}, []),
            ({"users": USERS + "x:1\n"}, [("users", 6, "record-format"), ("users", 6, "listing-stop")]),
            ({"users": ROOT + "\n" + ANN + ROOT}, [("users", 4, "duplicate")]),
            ({"users": ROOT + ANN.replace(":2:", ":5:")}, [("users", 2, "group-range")]),
            ({"users": ROOT + "a :1:*\n"}, [("users", 2, "login-format"), ("users", 2, "hash-unusable")]),
            ({"cache__db": "x\n"}, [("cache.db", 1, "record-format")]),
            ({"users__sig": None}, [("users.sig", 0, "signature-missing")]),
            ({"users__sig": "0\n"}, [("users.sig", 1, "signature-wrong")]),
            ({"modacc__sig": "0\n"}, [("modacc.sig", 1, "signature-wrong")]),
            ({"users": None}, [("users", 0, "unreadable")]), ({"modacc": None}, [("modacc", 0, "unreadable")]),
            ({"modacc": "#\nhttp;1@4;2@1;2@3\nhttp\n;1@1;x;9@1\n"},
             [("modacc", 2, "level-range"), ("modacc", 2, "duplicate"), ("modacc", 3, "duplicate"),
              ("modacc", 4, "module-format"), ("modacc", 4, "module-format"), ("modacc", 4, "group-range")]),
            ({"borea__conf": CONF + "[cu\nNMSConnectTimeout=x\n"}, [("borea.conf", 3, "settings"), ("borea.conf", 4, "settings")]),
            ({"users__a1B2c3": "", "cache__db__lock": ""},
             [("cache.db.lock", 0, "leftover-lock"), ("users.a1B2c3", 0, "leftover-temp")]))
        for files, findings in rows:
            self.reset(**files)
            before = sorted(os.listdir(self.path("var")))
            with self.subTest(files=files):
                status, stdout, _ = self.run_tool("--json", "check")
                found = [(finding["file"], finding["line"], finding["id"]) for finding in json.loads(stdout)]
                self.assertEqual((status, found), (1 if findings else 0, findings))
                self.assertEqual(sorted(os.listdir(self.path("var"))), before)
        self.reset()
        os.chmod(self.path("var/modacc"), 0o666)
        self.expect(["check"], 1, "FILE    LINE  FINDING             PROBLEM\n"
                    "modacc  -     writable-by-others  every account can change this file; chmod o-w\n"
                    + 34 * " " + self.path("var/modacc") + "\n")

    def test_explain(self):
        service = "[cu/params/101]\nNMSServerUrl=http://u:p@127.0.0.1:1/x\nNMSConnectTimeout=2\n"
        self.reset(users=ROOT + "Ann:1:x\n" + ANN, modacc="http;2@1;2@3\nsnmp;2@7\n", cache__db=ANN, borea__conf=service)
        status, stdout, _ = self.run_tool("--json", "explain", "ann")
        answer = json.loads(stdout)
        self.assertEqual((status, answer["service"], answer["granted"], "$6$" in stdout),
                         (0, {"url": "http://127.0.0.1:1/x", "connectTimeout": 2}, True, False))
        self.assertEqual([(one["file"], one["line"], one["hash"], one["problem"]) for one in answer["records"]],
                         [("users", 2, "", "another login: case and white space count"), ("users", 3, "SHA-512", ""),
                          ("cache.db", 1, "SHA-512", "")])
        self.assertEqual([tuple(one.values()) for one in answer["modules"]],
                         [("http", 1, 1, "2@1", "the first field of the group counts"),
                          ("snmp", 0, 2, "2@7", "a level that is none of 0 to 3 counts as 0")])
        for users, status, now in ((USERS, 0, "granted with the password of VAR/users, line 4: group 2 Admin, level 3 on module 'http'"),
                                   (ROOT, 1, "denied: no record in VAR/users"), ("ann:x:y\n", 1, "denied: VAR/users, line 1: its group is no number")):
            self.reset(users=users)
            code, stdout, _ = self.run_tool("--json", "explain", "ann")
            self.assertEqual((code, json.loads(stdout)["now"].replace(self.path("var"), "VAR")), (status, now))
            self.assertFalse(os.path.exists(self.path("var/cache.db")))

    def test_drill_and_fingerprint(self):
        def groups(*logins):
            return [dict(gid=gid, group=user("", gid)["group"], level=(1, 3, 3, 1)[gid - 1], logins=list(names))
                    for gid, names in enumerate(logins, 1)]

        service = "[cu/params/101]\nNMSServerUrl=http://127.0.0.1:1/\n"
        nobody = "no Admin and no SuperUser could get in; 'grexctl users add' adds one\n"
        for conf, status, logins, stderr in ((CONF, 1, (["joe"], [], [], []), nobody), (service, 0, (["joe"], ["ann"], [], []), "")):
            self.reset(users=JOE + "root:3:!\n", cache__db=ANN, borea__conf=conf)
            self.expect(["--json", "drill"], status, {"context": "http", "service": conf != CONF, "groups": groups(*logins),
                                                      "administrators": 1 - status}, stderr)
        counts = ("users.User=1 users.Admin=0 users.SuperUser=1 users.Monitor=0 "
                  "cached.User=0 cached.Admin=1 cached.SuperUser=0 cached.Monitor=0")
        self.expect(["fingerprint"], 0, f"users={self.md5('users')}:signed modacc={self.md5('modacc')}:unsigned "
                    f"cache.db={self.md5('cache.db')}:signed fixed={self.md5('borea.conf', 'etc')} variable={self.md5('borea.conf')} {counts}\n")


class Terminal(Element):
    def converse(self, args, typed, signum=None):
        # Types one line at each prompt; what the terminal showed, the exit status, and whether it echoes again.
        master, slave = pty.openpty()
        process = subprocess.Popen([GREXCTL, "--config-dir", self.path("etc"), *args], stdin=slave, stderr=slave,
                                   stdout=subprocess.DEVNULL)
        shown = b""
        for line in typed:
            while not shown.endswith(b": "):
                shown += os.read(master, 1000)
            os.write(master, line.encode() + b"\n")
            shown += os.read(master, 1)
        if signum:
            time.sleep(0.3)
            process.send_signal(signum)
        status = process.wait(timeout=30)
        echoes = bool(termios.tcgetattr(slave)[3] & termios.ECHO)
        os.set_blocking(master, False)
        shown += os.read(master, 1000)
        os.close(slave)
        os.close(master)
        return shown.decode(), status, echoes

    def test_passwords_are_not_shown(self):
        new = ["users", "passwd", "ann"]
        for args, typed, status, end in ((["login", "ann"], ["ann's secret"], 0, ""), (new, ["sesame", "sesame"], 0, ""),
                                         (new, ["sesame", "sesam"], 1, "the two passwords differ")):
            shown, code, echoes = self.converse(args, typed)
            self.assertEqual((code, echoes, "sesam" in shown, end in shown), (status, True, False, True), shown)
        shown, code, echoes = self.converse(new, ["sesame"], signal.SIGINT)
        self.assertEqual((code, echoes), (-signal.SIGINT, True), shown)

unittest.main()
