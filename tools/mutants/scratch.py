"""Scratch copies of the sources in which faults are planted, built and met by the tests."""
import hashlib
import json
import os
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from collections import Counter
from dataclasses import dataclass, field, replace
from pathlib import Path

BUILD = "build/debug"
BUILD_LIMIT_S = 900
# A machine under load is slow, not faulty: a suite may take this many times as long as without a fault.
PATIENCE = 6
LEAST_LIMIT_S = 60
# What is precompiled, of Qt where a library uses it.
MODULES = ["QtCore", "QtNetwork", "QtSerialPort", "QtGui", "QtQml", "QtQuick"]
WORTHWHILE = 6  # compilations, as long as precompiling takes
STANDARD = ["algorithm", "array", "atomic", "chrono", "functional", "map", "memory", "mutex", "optional", "thread", "utility", "variant", "vector"]
# Linked quickly, and without what only a debugger reads.
CONFIGURE = ["cmake", "--preset", "debug", "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld -Wl,-S"]


@dataclass
class Suite:
    name: str
    command: list
    environment: dict
    locked: bool
    limit_s: float = 600
    took_s: float = 0


@dataclass
class Outcome:
    kind: str  # passed, failed, crashed, time-out
    case: str = ""  # of Qt Test: function, or function:row

    def failed(self):
        return self.kind != "passed"


def run(command, folder, limit_s):
    """The exit code of a command and what it printed; None where it did not end in time."""
    try:
        done = subprocess.run(command, cwd=folder, capture_output=True, text=True, errors="replace", timeout=limit_s)
    except subprocess.TimeoutExpired:
        return None, ""
    return done.returncode, done.stdout + done.stderr


def failing_case(line):
    """`FAIL!  : TestLinks::tcpLink(row) ...` is tcpLink:row."""
    if not line.startswith(("FAIL!", "XPASS")) or "::" not in line:
        return ""
    call = line.split("::", 1)[1]
    function, _, rest = call.partition("(")
    row = rest.split(")", 1)[0]
    return f"{function}:{row}" if row else function


@dataclass
class Tree:
    """One copy. Several can work at the same time; suites of real streams then take turns, as under ctest."""

    path: object
    root: object
    streams: threading.Lock
    built: set = field(default_factory=set)
    entries: dict = field(default_factory=dict)  # of compile_commands.json, by their output
    uses: Counter = field(default_factory=Counter)  # of a set of options
    needed_by: dict = field(default_factory=dict)  # objects, by a source

    def folder(self):
        return self.path / BUILD

    def copy(self):
        """Files that stand keep their time, so that little is built anew; one that a killed run left with its
        fault gets a new one, or its object would stay as it is."""
        self.path.mkdir(parents=True, exist_ok=True)
        listed = subprocess.run(["git", "ls-files", "-z"], cwd=self.root, capture_output=True, check=True).stdout
        subprocess.run(["rsync", "-a", "--no-times", "--checksum", "--ignore-missing-args", "--from0", "--files-from=-", f"{self.root}/", f"{self.path}/"], input=listed, check=True)
        code, told = run(CONFIGURE, self.path, BUILD_LIMIT_S)
        if code != 0:
            sys.exit(f"the copy cannot be configured:\n{told}")

    def build(self, *targets):
        return run(["cmake", "--build", BUILD, "--target", *targets], self.path, BUILD_LIMIT_S)

    def build_whole(self, names):
        fresh = [name for name in names if name not in self.built]
        code, told = self.build(*fresh) if fresh else (0, "")
        if code != 0:
            sys.exit(f"the copy does not build:\n{told[-3000:]}")
        self.built.update(fresh)

    def suites(self, names):
        code, listed = run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], self.path, 60)
        if code != 0:
            sys.exit(f"ctest does not list its tests:\n{listed}")
        found = []
        for test in json.loads(listed)["tests"]:
            properties = {each["name"]: each["value"] for each in test["properties"]}
            if test["name"] in names:
                environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
                command = [word.replace(str(self.path), "{tree}") for word in test["command"]]
                found.append(Suite(test["name"], command, environment, "RESOURCE_LOCK" in properties))
        if missing := set(names) - {suite.name for suite in found}:
            sys.exit(f"no such suites: {', '.join(sorted(missing))}")
        return found

    def play(self, suite, case="", patience=1):
        if suite.locked:
            with self.streams:
                return self._play(suite, case, patience)
        return self._play(suite, case, patience)

    def _play(self, suite, case, patience):
        """Plays a suite, or one case of it, up to the first failure."""
        command = [word.replace("{tree}", str(self.path)) for word in suite.command]
        process = subprocess.Popen(
            command + ([case] if case else []), cwd=self.path / BUILD, env=os.environ | suite.environment, text=True,
            errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        ended_late = threading.Event()

        def end():
            ended_late.set()
            os.killpg(process.pid, signal.SIGKILL)

        clock = threading.Timer(suite.limit_s * patience, end)
        clock.start()
        try:
            for line in process.stdout:
                if found := failing_case(line):
                    return Outcome("failed", found)
            code = process.wait()
        finally:
            clock.cancel()
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
        if ended_late.is_set():
            return Outcome("time-out")
        return Outcome("passed" if code == 0 else "crashed" if code < 0 or not case else "failed")

    def fails_again(self, suite, outcome):
        """Whether a failure is the fault's: the case alone fails again, or the suite does."""
        if outcome.kind == "failed" and outcome.case:
            again = self.play(suite, outcome.case)
            if again.case or again.kind in ("crashed", "time-out"):
                return True
        return self.play(suite, patience=2).failed()

    def measure(self, suites):
        """The cheapest first; one that fails without any fault can judge nothing. Known for as long as the
        sources stay what they are."""
        told = run(["git", "diff", "HEAD", "--", "src", "qml", "sim", "tests"], self.root, 60)[1]
        state = run(["git", "rev-parse", "HEAD"], self.root, 60)[1].strip() + hashlib.md5(told.encode()).hexdigest()
        store = self.path.parent / "controls.json"
        known = json.loads(store.read_text()) if store.exists() else {}
        for suite in suites:
            key = f"{state} {suite.name}"
            if key not in known:
                begin = time.monotonic()
                outcome = self.play(suite)
                known[key] = time.monotonic() - begin
                if outcome.failed() and self.fails_again(suite, outcome):
                    sys.exit(f"{suite.name} fails without any fault: {outcome.kind} {outcome.case}")
                store.write_text(json.dumps(known))
            suite.took_s = known[key]
            suite.limit_s = max(LEAST_LIMIT_S, PATIENCE * suite.took_s)
        suites.sort(key=lambda suite: suite.took_s)

    def learn(self):
        """How each object is compiled, and which of them need which source."""
        entries = json.loads((self.folder() / "compile_commands.json").read_text())
        for entry in entries:
            words = shlex.split(entry["command"])
            self.entries[words[words.index("-o") + 1]] = entry
        code, told = run(["ninja", "-t", "deps"], self.folder(), 60)
        if code != 0:
            sys.exit(f"ninja tells no dependencies:\n{told}")
        output = ""
        for line in told.splitlines():
            if line and not line[0].isspace():
                output = line.split(":", 1)[0]
            elif line.strip() and output in self.entries:
                self.needed_by.setdefault(os.path.normpath(self.folder() / line.strip()), set()).add(output)

    def library_of(self, path):
        """The folder of the objects of the library that a source belongs to."""
        beside = [output for output, entry in self.entries.items() if os.path.dirname(entry["file"]) == str(path.parent) and ".dir/" in output]
        return {output.split(".dir/")[0] + ".dir/" for output in beside if output.startswith("src/")}

    def options_of(self, entry):
        words = shlex.split(entry["command"])
        at = words.index("-o")
        return [word for word in words[:at] + words[at + 2 :] if word not in ("-c", "-g", entry["file"])]

    def precompiled(self, options):
        """Qt's headers, read once for each set of options that is used often: most of a compiler's time is theirs."""
        self.uses[" ".join(options)] += 1
        header = self.folder() / "precompiled" / f"{hashlib.md5(' '.join(options).encode()).hexdigest()}.h"
        if not Path(f"{header}.gch").exists():
            if self.uses[" ".join(options)] < WORTHWHILE:
                return []
            modules = [name for name in MODULES if any(word.endswith("/" + name) for word in options)]
            header.parent.mkdir(exist_ok=True)
            header.write_text("".join(f"#include <{name}>\n" for name in [f"{m}/{m}" for m in modules] + STANDARD))
            run([*options, "-x", "c++-header", str(header), "-o", f"{header}.part"], self.folder(), BUILD_LIMIT_S)
            os.replace(f"{header}.part", f"{header}.gch")
        return ["-include", str(header)]

    def compile(self, output):
        """An object beside the build's own, and what the compiler complains of, if anything."""
        entry, place = self.entries[output], self.folder() / "planted" / output
        place.parent.mkdir(parents=True, exist_ok=True)
        options = self.options_of(entry)
        # A name of a header that the source does not ask for may be in its way.
        for more in (self.precompiled(options), []):
            code, told = run([*options, *more, "-c", entry["file"], "-o", str(place)], self.folder(), BUILD_LIMIT_S)
            if code == 0:
                return place, ""
        return None, next((line for line in told.splitlines() if ": error:" in line), "error").replace("\t", " ")

    def link(self, suite, made):
        """The suite's program with these objects, in copies of their libraries; or nothing."""
        code, told = run(["ninja", "-t", "commands", suite.name], self.folder(), 60)
        words = shlex.split(told.strip().splitlines()[-1])
        words = words[words.index("&&") + 1 :]
        words = words[: words.index("&&")]
        program = words[words.index("-o") + 1]
        libraries = {}
        for output, place in made.items():
            if output.startswith("src/"):
                libraries.setdefault(f"src/lib{output.split('/')[2].removesuffix('.dir')}.a", []).append(str(place))
        for library, places in libraries.items():
            (self.folder() / "planted" / library).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(self.folder() / library, self.folder() / "planted" / library)
            run(["ar", "r", f"planted/{library}", *places], self.folder(), 60)
        planted = {library: f"planted/{library}" for library in libraries} | {program: f"{program}-planted"}
        code, told = run([planted.get(word, str(made.get(word, word))) for word in words], self.folder(), BUILD_LIMIT_S)
        return replace(suite, command=[str(self.folder() / f"{program}-planted"), *suite.command[1:]]) if code == 0 else None

    def judge(self, mutant, suites):
        """Verdict, and what noticed it. Made anew are only the objects of the fault's own library and those of
        the suite itself, each suite's when its turn has come; podsim stays sound, as a peer."""
        path = self.path / mutant.file
        if not self.needed_by:
            self.learn()
        original = path.read_text()
        path.write_text(mutant.source)
        made, unsteady = {}, []
        try:
            for suite in suites:
                if path.suffix == ".qml":
                    code, told = self.build(suite.name)
                    if code != 0:
                        return "not compiling", ""
                    planted = suite
                else:
                    homes = tuple(self.library_of(path)) + (f"{self.entries_home(suite)}",)
                    for output in sorted(self.needed_by.get(str(path), set()) - set(made)):
                        if output.startswith(homes):
                            made[output], told = self.compile(output)
                            if told:
                                return "not compiling", told
                    planted = self.link(suite, made)
                    if not planted:
                        return "not compiling", "does not link"
                outcome = self.play(planted)
                if outcome.failed() and self.fails_again(planted, outcome):
                    return "killed", f"{suite.name} {outcome.kind if outcome.kind != 'failed' else outcome.case}"
                if outcome.failed():
                    unsteady.append(f"{suite.name} {outcome.kind} {outcome.case} once")
            return "survived", "; ".join(unsteady)
        finally:
            path.write_text(original)

    def entries_home(self, suite):
        """The folder of the suite's own objects."""
        mark = f"/{suite.name}.dir/"
        return next(output.split(mark)[0] + mark for output in self.entries if mark in output)
