"""Plants one fault at a time into a copy of the sources and tells which of them the tests notice."""
import argparse
import json
import random
import shutil
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from scratch import Tree
from sites import sites_of

ROOT = Path(__file__).resolve().parents[2]
TABLES = Path(__file__).resolve().parent
SCRATCH = ROOT / "build" / "mutants"


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


def known_equivalents():
    rows = (line.split("\t") for line in (TABLES / "equivalent.tsv").read_text().splitlines() if line and line[0] != "#")
    return {(file, before, after): why for file, before, after, why in rows}


def finished_rows(report):
    if not report.exists():
        return {}
    rows = (line.split("\t") for line in report.read_text().splitlines())
    return {tuple(row[i] for i in (1, 2, 4, 5)): row for row in rows}


class Workers:
    """The copies, made when the first fault of a run needs them."""

    def __init__(self, count):
        streams = threading.Lock()
        self.trees = [Tree(SCRATCH / f"tree-{index}", ROOT, streams) for index in range(count)]
        self.copied = False

    def prepare(self, names):
        if not self.copied: # all at once: whoever edits the sources meanwhile disturbs nothing
            for tree in self.trees:
                tree.copy()
        self.copied = True
        for tree in self.trees:
            tree.build_whole(names)
        suites = self.trees[0].suites(names)
        self.trees[0].measure(suites)
        print("suites: " + ", ".join(f"{suite.name} {suite.took_s:.0f} s" for suite in suites), flush=True)
        return suites

    def judge(self, mutants, suites, deadline, told):
        """Each copy takes the next fault when it is done with one; `told` hears of every verdict."""
        waiting, lock = iter(mutants), threading.Lock()

        def work(tree):
            while time.monotonic() < deadline:
                with lock:
                    mutant = next(waiting, None)
                if not mutant:
                    return
                row = mutant.row(*tree.judge(mutant, suites)).split("\t")
                with lock:
                    told(row)

        with ThreadPoolExecutor(len(self.trees)) as pool:
            for job in [pool.submit(work, tree) for tree in self.trees]:
                job.result()


def tell(rows, name, seed):
    count = {verdict: sum(row[0] == verdict for row in rows) for verdict in ("killed", "equivalent", "survived", "not compiling")}
    late = sum(row[0] == "killed" and row[6].endswith(" time-out") for row in rows)
    judged = count["killed"] + count["survived"]
    share = f"{100 * count['killed'] / judged:.0f} %" if judged else "none judged"
    print(f"{name}: {len(rows)} mutants, {count['killed']} killed ({late} by time-out), {count['equivalent']} equivalent, "
          f"{count['survived']} survived, {count['not compiling']} not compiling, seed {seed}: {share}", flush=True)


def run_area(name, area, arguments, workers, deadline):
    chosen = choose(area, arguments.count, arguments.seed)
    if arguments.list:
        print("\n".join(mutant.row("listed", "") for mutant in chosen))
        return
    report = SCRATCH / f"{name}-{arguments.seed}.tsv"
    done, equivalents = finished_rows(report), known_equivalents()

    def told(row):
        done[tuple(row[i] for i in (1, 2, 4, 5))] = row
        print("\t".join(row), flush=True)
        with report.open("a") as file:
            file.write("\t".join(row) + "\n")

    def is_due(mutant):
        row = done.get(mutant.key())
        return not row or row[0] == "survived" and arguments.again

    due = [mutant for mutant in chosen if is_due(mutant)]
    for mutant in due:
        if (mutant.file, mutant.before, mutant.after) in equivalents:
            told(mutant.row("equivalent", "").split("\t"))
    due = [mutant for mutant in due if (mutant.file, mutant.before, mutant.after) not in equivalents]
    late = []

    def told_unless_late(row):
        if row[0] == "survived" and area["last"]:
            late.append(next(mutant for mutant in due if list(mutant.key()) == [row[i] for i in (1, 2, 4, 5)]))
        else:
            told(row)

    # The suites that take long to build and run judge only what the others left over.
    for stage, hear in ((area["suites"], told_unless_late), (area["last"], told)):
        judged = due if hear is told_unless_late else late
        if judged and stage and time.monotonic() < deadline:
            workers.judge(judged, workers.prepare(stage), deadline, hear)
    tell([done[mutant.key()] for mutant in chosen if mutant.key() in done], name, arguments.seed)


def main():
    areas = json.loads((TABLES / "areas.json").read_text())
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("area", nargs="?", choices=[*areas, "all"], default="all")
    parser.add_argument("count", nargs="?", type=int, default=40, help="faults an area (default 40)")
    parser.add_argument("seed", nargs="?", type=int, default=1)
    parser.add_argument("--minutes", type=float, default=240, help="begin no further fault after that time")
    parser.add_argument("--again", action="store_true", help="judge anew what survived in an earlier run of this seed")
    parser.add_argument("--list", action="store_true", help="tell the faults and plant none")
    parser.add_argument("--jobs", type=int, default=2, help="copies at work at the same time (default 2)")
    arguments = parser.parse_args()
    if not shutil.which("rsync"):
        sys.exit("rsync is missing")
    SCRATCH.mkdir(parents=True, exist_ok=True)
    deadline = time.monotonic() + 60 * arguments.minutes
    workers = Workers(arguments.jobs)
    for name in areas if arguments.area == "all" else [arguments.area]:
        run_area(name, areas[name], arguments, workers, deadline)


if __name__ == "__main__":
    main()
