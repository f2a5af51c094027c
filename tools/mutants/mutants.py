"""Plants one fault at a time into a copy of the sources and tells which of them the tests notice."""
import argparse
import json
import random
import shutil
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

from sites import sites_of

ROOT = Path(__file__).resolve().parents[2]
TABLES = Path(__file__).resolve().parent
SCRATCH = ROOT / "build" / "mutants"
BUILD_LIMIT_S = 900


@dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    kind: str
    before: str
    after: str
    source: str

    def row(self, verdict, told):
        return "\t".join([verdict, self.file, str(self.line), self.kind, self.before, self.after, told])

    def key(self):
        return (self.file, str(self.line), self.before, self.after)


def mutants_of(path):
    source = path.read_text()
    for site in sites_of(source, path.suffix == ".qml"):
        changed = source[: site.begin] + site.text + source[site.end :]
        line = source.count("\n", 0, site.begin) + 1
        first, last = source.rfind("\n", 0, site.begin) + 1, source.find("\n", site.end)
        before = " ".join(source[first:last].split())
        after = " ".join((source[first : site.begin] + site.text + source[site.end : last]).split())
        yield Mutant(str(path.relative_to(ROOT)), line, site.kind, before, after, changed)


def choose(area, count, seed):
    """The faults of one run: seeded, and spread over kinds, so that numbers do not crowd out the rest."""
    paths = sorted({path for pattern in area["sources"] for path in ROOT.glob(pattern) if path.suffix in (".cpp", ".h", ".qml")})
    by_kind = {}
    for path in paths:
        for mutant in mutants_of(path):
            by_kind.setdefault(mutant.kind, []).append(mutant)
    dice = random.Random(seed)
    for kind in sorted(by_kind):
        dice.shuffle(by_kind[kind])
    chosen = []
    while len(chosen) < count and any(by_kind.values()):
        chosen += [by_kind[kind].pop() for kind in sorted(by_kind) if by_kind[kind]]
    return chosen[:count]


def copy_tree(tree):
    """A scratch copy of what git knows. Files that stand keep their time, so that little is built anew; one
    that a killed run left with its fault gets a new one, or its object would stay as it is."""
    tree.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True).stdout
    subprocess.run(["rsync", "-a", "--no-times", "--checksum", "--from0", "--files-from=-", f"{ROOT}/", f"{tree}/"], input=listed, check=True)


def run(command, tree, limit_s):
    """The exit code of a command and the end of what it printed; None where it did not end in time."""
    try:
        done = subprocess.run(command, cwd=tree, capture_output=True, text=True, errors="replace", timeout=limit_s)
    except subprocess.TimeoutExpired:
        return None, ""
    return done.returncode, done.stdout + done.stderr


def suites_of(tree, pattern):
    code, listed = run(["ctest", "--test-dir", "build/debug", "-N", "-R", pattern], tree, 60)
    if code != 0:
        sys.exit(f"ctest does not list its tests:\n{listed}")
    return [line.split(": ", 1)[1].strip() for line in listed.splitlines() if "Test #" in line or "Test  #" in line]


def build(tree, targets):
    return run(["cmake", "--build", "--preset", "debug", "--target", *targets], tree, BUILD_LIMIT_S)


def first_failure(tree, suites, limit_s):
    """The first suite that fails, a hang included, or nothing."""
    for suite in suites:
        code, told = run(["ctest", "--test-dir", "build/debug", "-R", f"^{suite}$", "--timeout", str(limit_s)], tree, limit_s + 30)
        if code != 0:
            return suite, told
    return None, ""


def judge(tree, mutant, targets, suites, limit_s):
    path = tree / mutant.file
    original = path.read_text()
    path.write_text(mutant.source)
    try:
        code, told = build(tree, targets)
        if code != 0:
            return "not compiling", ""
        suite, told = first_failure(tree, suites, limit_s)
        return ("killed", suite) if suite else ("survived", "")
    finally:
        path.write_text(original)


def known_equivalents():
    rows = (line.split("\t") for line in (TABLES / "equivalent.tsv").read_text().splitlines() if line and line[0] != "#")
    return {(file, before, after): why for file, before, after, why in rows}


def finished_rows(report):
    if not report.exists():
        return {}
    rows = (line.split("\t") for line in report.read_text().splitlines())
    return {tuple(row[i] for i in (1, 2, 4, 5)): row for row in rows}


def prepare(area, tree):
    copy_tree(tree)
    code, told = run(["cmake", "--preset", "debug"], tree, BUILD_LIMIT_S)
    if code != 0:
        sys.exit(f"the copy cannot be configured:\n{told}")
    suites = suites_of(tree, area["suites"])
    targets = suites + ["podsim", "apppodconsole"]
    code, told = build(tree, targets)
    if code != 0:
        sys.exit(f"the copy does not build:\n{told[-3000:]}")
    begin = time.monotonic()
    suite, told = first_failure(tree, suites, 600)
    if suite:
        sys.exit(f"{suite} fails without any fault:\n{told[-3000:]}")
    return targets, suites, max(60, int(4 * (time.monotonic() - begin)))


def tell(rows, name, seed):
    count = {verdict: sum(row[0] == verdict for row in rows) for verdict in ("killed", "equivalent", "survived", "not compiling")}
    judged = count["killed"] + count["survived"]
    share = f"{100 * count['killed'] / judged:.0f} %" if judged else "none judged"
    print(f"{name}: {len(rows)} mutants, {count['killed']} killed, {count['equivalent']} equivalent, {count['survived']} survived, "
          f"{count['not compiling']} not compiling, seed {seed}: {share}")


def run_area(name, area, arguments, deadline):
    chosen = choose(area, arguments.count, arguments.seed)
    if arguments.list:
        print("\n".join(mutant.row("listed", "") for mutant in chosen))
        return
    report = SCRATCH / f"{name}-{arguments.seed}.tsv"
    done, equivalents = finished_rows(report), known_equivalents()
    tree, prepared, rows = SCRATCH / "tree", None, []
    for mutant in chosen:
        row = done.get(mutant.key())
        if not row or row[0] == "survived" and arguments.again:
            if (mutant.file, mutant.before, mutant.after) in equivalents:
                row = mutant.row("equivalent", "").split("\t")
            elif time.monotonic() > deadline:
                break
            else:
                prepared = prepared or prepare(area, tree)
                row = mutant.row(*judge(tree, mutant, *prepared)).split("\t")
            with report.open("a") as file:
                file.write("\t".join(row) + "\n")
        print("\t".join(row), flush=True)
        rows.append(row)
    tell(rows, name, arguments.seed)


def main():
    areas = json.loads((TABLES / "areas.json").read_text())
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("area", nargs="?", choices=[*areas, "all"], default="all")
    parser.add_argument("count", nargs="?", type=int, default=40, help="faults an area (default 40)")
    parser.add_argument("seed", nargs="?", type=int, default=1)
    parser.add_argument("--minutes", type=float, default=240, help="begin no further fault after that time")
    parser.add_argument("--again", action="store_true", help="judge anew what survived in an earlier run of this seed")
    parser.add_argument("--list", action="store_true", help="tell the faults and plant none")
    arguments = parser.parse_args()
    if not shutil.which("rsync"):
        sys.exit("rsync is missing")
    SCRATCH.mkdir(parents=True, exist_ok=True)
    deadline = time.monotonic() + 60 * arguments.minutes
    for name in areas if arguments.area == "all" else [arguments.area]:
        run_area(name, areas[name], arguments, deadline)


if __name__ == "__main__":
    main()
