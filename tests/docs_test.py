#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""docs_test.py BUILD-FOLDER C++-COMPILER C-COMPILER PAGE...: runs every example of the man pages on an element.

In the source of a page a comment stands above each example, a display:
    .\\" example: file NAME    its text becomes that file
    .\\" example: shell        "$ command" lines are run, the others are what they print ("..." stands for anything)
The folders of an element and of an installed library stand for those of the test. Compilers are absolute paths, with
their flags behind them.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

EXAMPLE = re.compile(r'^\.\\" example: (\w+) ?(\S*)\n\.Bd [^\n]*\n(.*?)^\.Ed$', re.M | re.S)
# What examples name, and what that is in the folder of the test.
NAMES = {"/var/opt/borea/etc": "{top}/var", "/opt/borea/etc": "{top}/etc",
         "/usr/share/locale": "{top}/usr/share/locale", "pam_grex.so": "{module} config_dir={top}/etc"}
PAMTESTER = """env LD_PRELOAD="$PAM_TEST_PRELOAD libpam_wrapper.so" ASAN_OPTIONS=detect_leaks=0 PAM_WRAPPER=1 \
    PAM_WRAPPER_DISABLE_DEEPBIND=1 PAM_WRAPPER_SERVICE_DIR="%s/pam.d" /usr/bin/pamtester"""
HERE = '''
#include <grex/settings.h>
static const bool isHere = (grex::Settings::get()->setConfigDir("%s"), true);
'''
ELEMENT = r'''
echo "[common]
VarConfigDir = $PWD/var" > etc/borea.conf
cd var
printf "http;1@1;2@3;3@3;4@1\nsnmp;2@1;3@3\n" > modacc
record() { echo "$1:$2:$(openssl passwd -6 "$1-secret")"; }
record kim 2 > cache.db
{ record root 3; record ann 2; record joe 1; } > users
for file in users cache.db; do md5sum $file | cut -d " " -f 1 > $file.sig; done
'''


class Element:
    """A folder with an element (etc, var), an installation (usr) and the programs that the examples call (bin)."""

    def __init__(self, top, build, compilers, compiles):
        self.top = top
        for folder in ("etc", "var", "bin", "locale", "pam.d"):
            (top / folder).mkdir()
        subprocess.run(["cmake", "--install", build, "--prefix", top / "usr"], check=True, stdout=subprocess.DEVNULL)
        lib = next((top / "usr").rglob("libgrex.so")).parent
        # What the compilers link turns to this element before main(). A sanitizer finds crypt() in the program alone.
        (top / "here.cpp").write_text(HERE % (top / "etc"))
        here = f'case " $* " in *" -c "*) ;; *) set -- "$@" -Wl,--no-as-needed "{top}/libhere.so" -lcrypt ;; esac\n'
        for name, command, prelude in (("grexctl", f'"{top}/usr/bin/grexctl" --config-dir "{top}/etc"', ""),
                                       ("c++", compilers[0], here), ("cc", compilers[1], here),
                                       ("pamtester", PAMTESTER % top, "")):
            (top / "bin" / name).write_text(f'#!/bin/sh\n{prelude}exec {command} "$@"\n')
            (top / "bin" / name).chmod(0o755)
        # A locale of another name than C is all that gettext(3) asks for.
        shutil.copytree("/usr/lib/locale/C.utf8", top / "locale/de_DE.utf8")
        # With LOCPATH, newlocale(3) leaks.
        self.env = dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0",
                        PATH=f"{top}/bin:{os.environ['PATH']}", CXX=f"{top}/bin/c++", CC=f"{top}/bin/cc",
                        PKG_CONFIG_PATH=str(lib / "pkgconfig"), CMAKE_PREFIX_PATH=str(top / "usr"),
                        LD_LIBRARY_PATH=f"{lib}:{top}", LOCPATH=str(top / "locale"), LC_ALL="C.UTF-8")
        self.run(ELEMENT)
        if compiles:
            self.run(f"{compilers[0]} -fPIC -shared -o libhere.so here.cpp -Iusr/include/libgrex -L{lib} -lgrex")

    def here(self, text):
        for name, own in NAMES.items():
            own = own.format(top=self.top, module=next((self.top / "usr").rglob("pam_grex.so"), ""))
            text = re.sub(rf"(?<![\w./]){name}", own, text)
        return text

    def run(self, script):
        return subprocess.run(["bash", "-c", script], cwd=self.top, env=self.env, text=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, check=False).stdout

    def shell(self, transcript):
        """The transcript as a terminal would show it."""
        script = ""
        for command in re.findall(r"^\$ (.*\n(?:> .*\n)*)", transcript, re.M):
            shown = command.rstrip("\n").replace("'", "'\\''")
            script += f"s=$?; printf '$ %s\\n' '{shown}'; (exit $s)\n" + re.sub("^> ", "", command, flags=re.M)
        return self.run(script)


def failures_of(page, build, compilers):
    lint = ["mandoc", "-T", "lint", "-W", "warning", page]
    yield from subprocess.run(lint, stdout=subprocess.PIPE, text=True, check=False).stdout.splitlines()
    source = Path(page).read_text(encoding="utf-8")
    examples = EXAMPLE.findall(source)
    if len(examples) != source.count("\n.Bd -literal"):
        yield f"{page}: a display that is no marked example"
    with tempfile.TemporaryDirectory() as folder:
        element = Element(Path(folder), build, compilers, "$ c++" in source)
        for kind, name, text in examples:
            wanted = element.here(re.sub(r"\\([e&-])", lambda m: {"e": "\\", "&": "", "-": "-"}[m[1]], text))
            if kind == "file":
                (element.top / name).write_text(wanted, encoding="utf-8")
                continue
            shown = element.shell(wanted)
            if not re.fullmatch(re.escape(wanted).replace(r"\.\.\.", ".*?"), shown, re.S):
                yield f"{page}: expected\n{wanted}--- but saw\n{shown}"


def main(build, cxx, cc, *pages):
    failures = [failure for page in pages for failure in failures_of(page, Path(build).resolve(), (cxx, cc))]
    print("\n".join(failures) or f"{len(pages)} pages, every example as shown")
    return bool(failures) or not pages


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
