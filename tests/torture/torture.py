#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Makes what surrounds the library fail, die, race and lie, and looks at what is left.
#     torture.py [--short] VICTIM [faults|memory|kills|races|texts|secrets|answers|borrowed]...
# Prints one line of figures for each part; a violation is told on standard error and ends it with 1.
import collections, fcntl, hashlib, itertools, os, random, re, shutil, subprocess, sys, tempfile, threading, time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

Answer = collections.namedtuple("Answer", "value tool failed log rss")
HASH = r"\$6\$[./0-9A-Za-z]{16}\$[./0-9A-Za-z]{86}"
KNOWN = {"borea.conf", "modacc", "users", "users.sig", "cache.db", "cache.db.sig", "cookies.txt"}
LOGINS = {"ann": "pw-ann", "bob": "pw-bob", "carol": "pw-carol"}
ERRORS = {"openat": "EIO EROFS EMFILE ENOSPC ENOMEM EACCES", "read": "EIO", "write": "ENOSPC EIO",
          "fsync": "EIO ENOSPC", "fchmod": "EIO EROFS", "rename": "EIO ENOSPC EROFS", "unlink": "EIO EROFS",
          "mmap": "ENOMEM", "flock": "ENOLCK", "newfstatat": "EIO", "utimensat": "EIO", "fchown": "EPERM",
          "socket": "EMFILE", "connect": "ENETUNREACH", "sendto": "ECONNRESET", "recvfrom": "ECONNRESET"}


def need(true, *case):
    if not true:
        raise AssertionError(" | ".join(str(c) for c in case))


# Admits whoever gives one of the passwords, unless the path asks for one of the hostile answers.
class Service(BaseHTTPRequestHandler):
    passwords, answers, touched, protocol_version = {"good"}, {}, [], "HTTP/1.1"
    log_message = lambda *_: None

    def do_GET(self):
        self.touched.append(self.path)
        self.reply("<!ENTITY x 'touched'>")

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"])).decode(errors="replace")
        password = re.search("<Password>(.*)</Password>", body, re.S)
        code = 0 if not password or password[1] in self.passwords else 1
        if self.path.startswith("http:"):  # as a proxy
            self.touched.append(self.path)
            return self.reply("", 502)
        self.answers.get(self.path, lambda s: s.reply(answer_of("OpenSession", code)))(self)

    def reply(self, body, status=200, chunks=1, **headers):
        self.send_response(status)
        for name, value in ({"Content-Length": chunks * len(body)} | headers).items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        for _ in range(chunks):
            self.wfile.write((f"{len(body):x}\r\n{body}\r\n" if "Transfer_Encoding" in headers else body).encode())


def answer_of(method, code=0, group="2", login="ned", prolog="", extra=""):
    fields = {"Login": login, "Tag": "t", "ID": 1, "Group": group, "UserGroup": group, "Name": "n", "IP": "i",
              "MethodLog": "m", "SessionStruct": "s"}
    record = "SessionStruct" if method == "OpenSession" else "UserInfo"
    return (f'{prolog}<e><{method}Response xmlns="http://borea.example/customerdb"><{method}Result><ResultCode>{code}'
            f'</ResultCode></{method}Result><{record}>{"".join(f"<{k}>{v}</{k}>" for k, v in fields.items())}'
            f'</{record}>{extra}</{method}Response></e>')


SERVER = ThreadingHTTPServer(("127.0.0.1", 0), Service)
PORT, SERVER.handle_error = SERVER.server_port, lambda *_: None


# A folder of data files, the same at each reset().
class Element:
    def __init__(self, victim, remote=False, path="db"):
        self.root = tempfile.mkdtemp()
        os.chmod(self.root, 0o755)
        self.dir, self.model, self.victim = self.root + "/etc", self.root + "/model", shutil.copy(victim, self.root)
        os.mkdir(self.dir)
        url = f"http://127.0.0.1:{PORT}/{path}" if remote else ""
        self.write("borea.conf", f"[common]\nVarConfigDir={self.dir}\n[cu/params/101]\nNMSServerUrl={url}\n")
        self.write("modacc", "http;1@1;2@3;3@3;4@1\n")
        Service.passwords = {"stale"}
        made = self.run(*(("add", n, i, p) for i, (n, p) in enumerate(LOGINS.items(), 1)), ("login", "ned", "stale"))
        need([a.value for a in made[:3]] == ["1"] * 3 and (path != "db" or made[3].value == str(int(remote))), made)
        Service.passwords = {"good"}
        for name in os.listdir(self.dir):
            os.utime(f"{self.dir}/{name}", (1e9, 1e9))
        shutil.copytree(self.dir, self.model)

    def reset(self):
        shutil.rmtree(self.dir)
        shutil.copytree(self.model, self.dir)

    def write(self, name, text):
        with open(f"{self.dir}/{name}", "w", encoding="utf-8") as out:
            out.write(text)

    def read(self, name, folder=None):
        with open(f"{folder or self.dir}/{name}", encoding="utf-8", errors="surrogateescape", newline="") as file:
            return file.read()

    def start(self, trace=(), **environment):
        return subprocess.Popen([*trace, self.victim, self.dir], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                cwd=self.dir, env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0", **environment})

    # The answers to the operations, fewer where the victim died.
    def run(self, *operations, trace=(), **environment):
        out = self.start(trace, **environment).communicate("".join(map(encoded, operations)).encode())[0]
        return [decoded(line) for line in out.decode().splitlines()]

    def values(self, *operations):
        return [a.value for a in self.run(*operations)]

    def is_signed(self, name):
        return self.read(name + ".sig").strip() == hashlib.md5(self.read(name).encode(errors="surrogateescape")).hexdigest()

    def strays(self):
        return set(os.listdir(self.dir)) - KNOWN

    # The answers, and the calls before and within the operation.
    def traced(self, operation, *inject):
        file = self.root + "/trace"
        command = ["strace", "-qq", "-o", file, "-e", "trace=access,?" + ",?".join(ERRORS), *inject]
        answers = self.run(operation, trace=command)
        with open(file, encoding="utf-8", errors="replace") as trace:
            return answers, (re.split(r'access\("/torture-mark".*\n', trace.read()) + [""])[:2]


def encoded(operation):
    fields = (f if isinstance(f, bytes) else str(f).encode(errors="surrogateescape") for f in operation[1:])
    return " ".join([operation[0], *(f.hex() or "-" for f in fields)]) + "\n"


def decoded(line):
    text = lambda word: "" if word == "-" else bytes.fromhex(word).decode(errors="surrogateescape")
    value, tool, failed, log, rss = line.split()
    return Answer(text(value), int(tool), int(failed), text(log), int(rss))


def ask(victim, *operation):
    victim.stdin.write(encoded(operation).encode())
    victim.stdin.flush()
    return decoded(victim.stdout.readline().decode())


# One operation under torture: the record of its file that it replaces, by what, and what holds whatever happened.
class Change:
    def __init__(self, operation, old, new, remote=False):
        self.operation, self.old, self.new, self.remote = operation, old, new, remote
        self.file, self.is_stale = "cache.db" if remote else "users", operation[-1] == "stale"

    def state(self, element, *case):
        text, model = element.read(self.file), element.read(self.file, element.model)
        parts = map(re.escape, re.split(self.old, model, maxsplit=1) if self.old else (model, ""))
        need(text == model or re.fullmatch(self.new.join(parts), text), "file torn", repr(text), *case)
        return "old" if text == model else "new"

    # What the operation answered, logged and started is what its description says of such a file.
    def judge(self, element, answer, has_log, *case):
        state, fits = self.state(element, *case), element.is_signed(self.file)
        case = (self.operation, *case, state, fits, answer)
        need(fits or state == "new", "signature lost", *case)
        need(answer.value == "0" or "server authentication fail" not in answer.log, "let in", *case)
        if has_log and "net auth failed" in answer.log.replace("net auth failed: server authentication fail", ""):
            return need((answer.tool, state) == (0, "old"), "changed without an answer", *case)
        done, unwritten = state == "new" and fits, state == "old" and answer.tool == 1
        need(answer.tool == int(done or unwritten), "tool", *case)
        need(self.remote or answer.value == str(int(done or unwritten)), "result", *case)
        reason = "" if done else "save file" if unwritten else "can't sign" if state == "new" else "can't (read|lock)"
        need(not has_log or re.search(reason, answer.log), "log", *case)

    # The next change works, puts file and signature in agreement, and everybody can log in as before.
    def recover(self, element, *case):
        probe = ("login", "ned", "good") if self.remote else ("add", "probe", 2, "pw")
        logins = [("login", n, p) for n, p in LOGINS.items() if n != "bob"]
        wrong = [("login", n, "wrong") for n in ("ann", "bob", "ned")] + [("login", "ned", "stale")] * self.remote
        answers = element.run(probe, *logins, *wrong)
        need([a.value for a in answers] == ["1"] * (len(logins) + 1) + ["0"] * len(wrong), "afterwards", case, answers)
        need(element.is_signed(self.file) and answers[0].tool == 1, "not signed and shown afterwards", case, answers)


CHANGES = [Change(("add", "dave", 2, "pw"), "", f"dave:2:{HASH}\n"), Change(("remove", "bob"), f"bob:2:{HASH}\n", ""),
           Change(("passwd", "bob", "new"), f"bob:2:{HASH}\n", f"bob:2:{HASH}\n"),
           Change(("login", "ned", "good"), f"ned:2:{HASH}\n", f"ned:2:{HASH}\n", True),
           Change(("login", "ned", "stale"), f"ned:2:{HASH}\n", "\n", True)]


# Each change with each call under it: the call, how many come before the operation, and how many within.
def calls(victim):
    elements = Element(victim), Element(victim, remote=True)
    for change in CHANGES:
        element = elements[change.remote]
        element.reset()
        before, within = element.traced(change.operation)[1]
        for call in ERRORS:
            yield element, change, call, *(len(re.findall(rf"^{call}\(", part, re.M)) for part in (before, within))


def faults(victim, short):
    failed = collections.Counter()
    for element, change, call, before, _ in calls(victim):
        lasts = ("",) if short or call == "newfstatat" else ("", "+")
        for error, lasting in itertools.product(ERRORS[call].split()[:1 if short else None], lasts):
            for n in itertools.count(before + 1):
                element.reset()
                case = f"{call}:error={error}:when={n}{lasting}"
                answers, trace = element.traced(change.operation, "-e", f"inject={case}")
                if "(INJECTED)" not in trace[1]:
                    break
                need(answers, "died", change.operation, case)
                change.judge(element, answers[0], True, case)
                may_stay = {change.file + ".lock"} if call in ("unlink", "flock") else set()  # for the next change
                need(element.strays() <= may_stay, "stray", element.strays(), case)
                change.recover(element, case)
                need(not element.strays(), "stray", element.strays(), case)
                failed[call] += 1
    return f"{failed.total()} runs with a failing call: " + ", ".join(f"{n} {c}" for c, n in failed.items())


def memory(victim, short):
    failed, elements = collections.Counter(), (Element(victim), Element(victim, remote=True))
    others = [("login", "ann", "wrong"), ("login", "ned", "wrong"), ("session", answer_of("OpenSession")), ("lists",)]
    tried = [(c, c.operation) for c in CHANGES] + [(c, o) for c in CHANGES[::3] for o in others]
    for (change, operation), lasting in itertools.product(tried, ("0", "1")):
        element = elements[change.remote]
        for n in itertools.count(0, 7 if short else 1):
            element.reset()
            answers = element.run(("new", n, lasting), operation)
            case = (operation, n, lasting, answers)
            need(len(answers) == 2, "an exception left", *case)
            if answers[1].failed == 0:
                break
            failed[operation[0]] += 1
            need(operation[-1] != "wrong" or answers[1].value == "0", "let in", *case)
            need("$" not in answers[1].value and not element.strays(), "shown or left", element.strays(), *case)
            if operation is change.operation:
                change.judge(element, answers[1], False, *case)
                change.recover(element, *case)
    return f"{failed.total()} runs with a failing allocation: " + ", ".join(f"{n} {o}" for o, n in failed.items())


def kills(victim, short):
    killed, rounds = 0, 0
    for element, change, call, before, count in calls(victim):
        for n in range(before + 1, before + count + 1, 4 if short else 1):
            element.reset()
            case = f"{call}:signal=KILL:when={n}"
            need(not element.traced(change.operation, "-e", f"inject={case}")[0], "survived", case)
            change.state(element, case)
            change.recover(element, case)
            killed += 1
    element = Element(victim)
    script = [op for i in range(8) for op in (("add", f"u{i}", 2, "a"), ("passwd", f"u{i}", "b"), ("remove", f"u{i}"))]
    for rounds in range(1, 21 if short else max(1001 - killed, 201)):
        element.reset()
        process = element.start()
        process.stdin.write("".join(map(encoded, script)).encode())
        process.stdin.flush()
        time.sleep(random.uniform(0, 0.15))
        process.kill()
        done = len(process.communicate()[0].splitlines())
        text, model = element.read("users"), element.read("users", element.model)
        added = text.removeprefix(model)
        need(text.startswith(model) and re.fullmatch(rf"(u\d:2:{HASH}\n)?", added), "file torn", repr(text))
        may_be = [k % 3 != 0 for k in (done, min(done + 1, len(script)))]
        need(bool(added) in may_be, "acknowledged change lost", done, repr(text))
        CHANGES[0].recover(element, "random kill")
    return f"{killed + rounds} kills survived: {killed} at calls, {rounds} at random moments"


def races(victim, short):
    element, rounds, processes = Element(victim, remote=True), 2 if short else 8, []
    element.run(("add", "eve", 1, "0"), ("add", "tool", 1, "0"))
    element.write("../tool", "".join(map(encoded, [("login", "ann", LOGINS["ann"]), ("passwd", "tool", "1")])))
    tool = f"env -u TORTURE_TOOL {element.victim} {element.dir} <{element.root}/tool >/dev/null"

    def spawn(kind, operations, **environment):
        answers = []
        thread = threading.Thread(target=lambda: answers.extend(element.run(*operations, **environment)))
        thread.start()
        processes.append((kind, operations, thread, answers))

    started, count = time.time(), collections.Counter()
    for i in range(16):
        user = [("add", f"w{i}", 2, "a"), ("passwd", f"w{i}", "b"), ("remove", f"w{i}")]
        spawn("change", user * rounds + user[:2], **({"TORTURE_TOOL": tool} if i % 4 == 0 else {}))
    for i in range(8):
        spawn("remote", [("login", f"net{i}", "good")] * 3 * rounds)
    spawn("read", [("login", "ann", LOGINS["ann"])] * 80 * rounds)
    writer, reader = element.start(), element.start()
    for k in range(1, 6 * rounds):  # several of them within one second
        need(ask(writer, "passwd", "eve", k).value == "1", "change refused", k)
        need([ask(reader, "login", "eve", p).value for p in (k, k - 1)] == ["1", "0"], "change unseen", k)
    for kind, operations, thread, answers in processes:
        thread.join(120)
        need(not thread.is_alive(), "deadlock", kind)
        need([a.value for a in answers] == ["1"] * len(operations), "refused", kind, answers)
        count[kind] += len(answers)
    for process in (writer, reader):
        process.communicate()
    for name, users in (("users", [f"w{i}" for i in range(16)]), ("cache.db", [f"net{i}" for i in range(8)])):
        need(all(element.read(name).count(f"\n{u}:2:") == 1 for u in users), "change lost", element.read(name))
        need(element.is_signed(name), "signature", name)
    need(element.values(*(("login", f"w{i}", "b") for i in range(16))) == ["1"] * 16, "login lost")
    need(not element.strays(), element.strays())
    return (f"{count['change']} changes by 16 processes, {count['remote']} remote logins by 8, {count['read']} logins of a"
            f" stable user beside them in {time.time() - started:.0f} s, none lost; {locks(element)}")


def locks(element):
    def change():
        started = time.time()
        return element.run(("add", "late", 1, "pw"), ("remove", "late"))[0], time.time() - started

    element.write("users.lock", "")  # of a process that died
    answer, left = change()
    need(answer.value == "1" and left < 5 and not element.strays(), "waits for the dead", answer, left)
    with open(element.dir + "/users.lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        threading.Timer(1, lambda: (os.unlink(lock.name), fcntl.flock(lock, fcntl.LOCK_UN))).start()
        answer, held = change()
        need(answer.value == "1" and 1 <= held < 6, "held lock", answer, held)
    return f"lock left over {left:.1f} s, held for a second {held:.1f} s"


def texts(victim, short):
    hostile = [b"a:2:x", b"a\nroot:3:x", b"a\rb", b"a\0b", b"#a", b" a", b"a\t", b"\x1b[2Ja", b"%n%s%500$s", b"\xff\xfe",
               b"x" * 10240, b"</Login><Login>ann", b"&e;", b"a'b\"`id`$(id)", b"-", b"../../etc/passwd", b"]]>", b"\x01"]
    stored, local, remote = 0, Element(victim), Element(victim, remote=True)
    for text in hostile:
        name = text.decode(errors="surrogateescape")
        storable = not re.search("[:\n\0]|^#|^[ \t\r\v\b]|[ \t\r\v\b]$", name)
        local.reset()
        *values, found = local.values(("add", text, 1, "pw"), ("login", text, "pw"), ("login", text, ""), ("find", text))
        need(values == [str(int(storable))] * 2 + ["0"], "login text", text, values)
        need(local.read("users") == local.read("users", local.model) + (found + "\n") * storable, "not read back", text)
        need(not storable or re.fullmatch(re.escape(name) + f":1:{HASH}", found), "planted", text, found)
        local.reset()
        accepted, *values = local.values(("passwd", "bob", text), ("login", "bob", text), ("login", "bob", text[:-1]),
                                         ("login", "bob", text + b"x"), ("login", "bob", "pw-bob"))
        need(values == [accepted, "0", "0", str(1 - int(accepted))] and (b"\0" not in text or accepted == "0"), text, values)
        remote.reset()
        values = remote.values(("login", text, "good"), ("login", "ned", text), ("session", text))
        need(len(values) == 3 and values[1:] == ["0", "0"], "remote", text, values)
        record = re.compile(f"({re.escape(name)}|ned):2:{HASH}|")
        need(all(record.fullmatch(line) for line in remote.read("cache.db").split("\n")), "planted", text)
        need(remote.read("users") == remote.read("users", remote.model), "users file changed", text)
        stored += int(accepted) + storable
    return f"{len(hostile)} hostile texts as login and as password, local and remote; {stored} of {2 * len(hostile)} storable"


def secrets(victim, short):
    element, mark = Element(victim, remote=True), f"Secret{random.randrange(10**12)}of-the-user"
    Service.passwords, seen = {mark + "-net"}, element.root + "/seen"
    tool = "(ls -l /proc/self/fd; tr '\\0' '\\n' </proc/$PPID/environ; env; cat /proc/$PPID/cmdline /proc/$$/cmdline)"
    process = element.start(TORTURE_TOOL=f"{tool} >>{seen}")
    answers = [ask(process, *operation) for operation in (
        ("login", "ned", mark + "-net"), ("add", "eve", 2, mark + "-local"), ("login", "eve", mark + "-local"),
        ("login", "eve", mark + "-wrong"), ("passwd", "eve", mark + "-new"), ("login", "ned", mark + "-no"), ("lists",))]
    need([a.value[0] for a in answers] == list("1110103"), answers)
    copies, size = [], 0
    with open(f"/proc/{process.pid}/maps", encoding="utf-8") as maps, open(f"/proc/{process.pid}/mem", "rb") as memory_of:
        for low, high in re.findall("^(.*)-(.*) rw", maps.read(), re.M):
            memory_of.seek(int(low, 16))
            content = memory_of.read(int(high, 16) - int(low, 16))
            copies += re.findall(mark.encode() + rb"-\w+", content)
            size += len(content)
    process.communicate()
    need(not copies, "left in memory", copies)
    with open(seen, encoding="utf-8") as file:
        shown = file.read()
    need(shown.count("\n") > 10 and mark not in shown, "shown to the tool")
    inherited = [fd for fd, path in re.findall(r" (\d+) -> (.*)", shown) if int(fd) > 2 and not path.startswith("/proc/")]
    need(not inherited, "descriptors of the tool", shown)
    need(not any(secret in a.log + a.value for a in answers for secret in (mark, "$6$")), "shown", answers)
    return f"no password in {size >> 20} MB of memory, {len(answers)} logs, the tool's environment and descriptors"


def answers(victim, short):
    bait, url = tempfile.mkdtemp() + "/bait", f"http://127.0.0.1:{PORT}/touched"
    os.mkfifo(bait)  # whoever opens it hangs
    laughs = '<!ENTITY l0 "ha">' + "".join(f'<!ENTITY l{i} "{f"&l{i - 1};" * 10}">' for i in range(1, 10))
    of, info = lambda **f: answer_of("OpenSession", **f), lambda **f: answer_of("GetUserInfo", **f)
    xml = {"bomb": of(prolog=f"<!DOCTYPE e [{laughs}]>", extra="<a>&l9;</a>"),
           "file": of(prolog=f'<!DOCTYPE e [<!ENTITY x SYSTEM "file://{bait}">]>', login="&x;"),
           "url": of(prolog=f'<!DOCTYPE e [<!ENTITY x SYSTEM "{url}">]>', login="&x;"),
           "dtd": of(prolog=f'<!DOCTYPE e SYSTEM "{url}">'),
           "include": of(extra=f'<i:include xmlns:i="http://www.w3.org/2001/XInclude" href="{url}"/>', group=""),
           "style": of(prolog=f'<?xml-stylesheet href="{url}"?>', group="x"), "five": of(group="5"),
           "deep": of(extra="<a>" * 99999 + "</a>" * 99999), "group": of(group="3:x"), "lines": of(group="3\nroot:3:x"),
           "attributes": of(extra=f"<a {' '.join(f'a{i}=&quot;&quot;' for i in range(60000))}/>".replace("&quot;", '"'), group="9"),
           "plant": info(login="root:3:x", group="3"), "plant2": info(login="a&#10;root", group="3")}
    Service.answers = {f"/{n}": (lambda s, t=t: s.reply(t)) for n, t in xml.items()} | {
        "/huge": lambda s: s.reply("<" * (1 << 20), chunks=200), "/to": lambda s: s.reply("", 302, Location="/to"),
        "/chunked": lambda s: s.reply("<" * (1 << 20), chunks=200, Transfer_Encoding="chunked"),
        "/tofile": lambda s: s.reply("", 302, Location=f"file://{bait}"),
        "/toftp": lambda s: s.reply("", 302, Location="ftp://127.0.0.1/")}
    fields = "MethodLog", "Login", "Name", "IP", "UserGroup", "SessionStruct"
    session = f"<r><SessionStruct>{''.join(f'<{f}>1</{f}>' for f in fields)}</SessionStruct></r>"
    largest, slowest = 0, 0.0
    for path in Service.answers:
        element = Element(victim, remote=True, path=path[1:])
        before, started = element.read("cache.db"), time.time()
        done = element.run(("login", "zoe", "good"), ("session", session), ("session", xml["bomb"]))
        slowest, largest = max(slowest, time.time() - started), max(largest, *(a.rss for a in done))
        # The two that plant are sound but for names that no file takes.
        need([a.value for a in done] == ["0", "1" if "plant" in path else "0", "0"], "let in", path, done)
        need(element.read("cache.db") == before, "planted", path, element.read("cache.db"))
        need((largest < 100 << 10 or "asan" in victim) and slowest < (20 if "asan" in victim else 8), "memory or time", path, largest, slowest)
        need("/touched" not in Service.touched, "touched", path)
    return f"{len(Service.answers)} hostile answers: at most {largest >> 10} MB and {slowest:.1f} s, nothing touched or planted"


# A setuid program of root, and the same without that bit, started by a user whose proxy and folder lie in wait.
def borrowed(victim, short):
    if os.getuid() != 0 or os.statvfs(tempfile.tempdir).f_flag & os.ST_NOSUID:
        sys.exit(77)
    for mode, wanted in ((0o755, ("0", True, True)), (0o4755, ("1", False, False))):
        element = Element(victim, remote=True)
        os.remove(element.dir + "/cookies.txt")
        os.symlink("planted", element.dir + "/cookies.txt")
        subprocess.run(["chown", "-R", "1234", element.dir], check=True)
        os.chmod(element.victim, mode)
        Service.touched.clear()
        answer = element.run(("login", "ned", "good"), trace=["setpriv", "--reuid=1234", "--clear-groups"],
                             http_proxy=f"http://127.0.0.1:{PORT}/proxy")[0]
        seen = answer.value, bool(Service.touched), os.path.lexists(element.dir + "/planted")
        need(seen == wanted, oct(mode), seen, wanted, answer)
        if mode == 0o755 and not short:  # a lock of another account is waited for
            element.write("users.lock", "")
            os.chmod(element.dir + "/users.lock", 0o600)
            answer = element.run(("remove", "bob"), trace=["setpriv", "--reuid=1234", "--clear-groups"])[0]
            need(answer.value == "0" and "can't lock file" in answer.log, "foreign lock", answer)
    return "a proxy and a planted link of the caller's: obeyed without the bit, ignored with it"


PARTS = {f.__name__: f for f in (faults, memory, kills, races, texts, secrets, answers, borrowed)}


def main(arguments):
    short = "--short" in arguments
    victim, *parts = [a for a in arguments if a != "--short"]
    threading.Thread(target=SERVER.serve_forever, daemon=True).start()
    tempfile.tempdir = tempfile.mkdtemp(prefix="torture.")
    os.chmod(tempfile.tempdir, 0o755)
    try:
        for part in parts or PARTS:
            started = time.time()
            print(f"{part}: {PARTS[part](os.path.abspath(victim), short)} ({time.time() - started:.0f} s)", flush=True)
    except AssertionError as violation:
        sys.exit(f"{part}: {violation}")
    finally:
        shutil.rmtree(tempfile.tempdir, ignore_errors=True)


main(sys.argv[1:])
