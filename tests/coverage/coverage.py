"""Tells which lines and conditions of the product ran in the tests, room by room, and names those that did not.

    coverage.py BUILD-FOLDER

A condition is what stands in the source and is true or false, so it counts twice; templates and what is compiled into
many programs count once, with all that any of them did. Ends with 1 when a goal is missed."""

import collections
import functools
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PRODUCT = "(access|app|feed|foundation|publish|request|tradeapi)/"  # paper is no part of what a platform is served with
GOALS = {"lines": 95, "branches": 90}
COMPLETE = r"request/(Envelope|LogIn|Operations|RepWorker|Sessions|Supervision)\.|tradeapi/(NumberText|Symbols|UserKeys)\.|" \
           r"request/orders/PriceText\.|foundation/support/(Format|Numbers|Strings|Utf)|foundation/logger/"  # fmt: skip
# What cannot run in a test, and why; whoever makes it reachable takes it off the list.
LEFT_OUT = [
    ("foundation/logger/LogScreen-posix.cpp", ".", "there are no windows"),
    ("foundation/logger/CLoggerImpl.cpp", r"PostToWindow|record\.release\(\)", "likewise"),
    ("foundation/support/Format.h", r"at < format\.size\(\)", "the compiler has looked whether a format is whole"),
    ("foundation/support/Zmq.cpp", "throw std::bad_alloc", "the library's own memory"),
]


def exported(build, form):
    programs = [*build.glob("bin/Halvane*"), *build.glob("bin/*_test"), build / "bin/hold/simulate"]
    words = ["llvm-cov", "export", f"-format={form}", f"-instr-profile={build}/counts.profdata"]
    words += [programs[0], *(f"-object={each}" for each in programs[1:])]
    return subprocess.run(words, stdout=subprocess.PIPE, encoding="utf-8", check=True).stdout


def measured(build):
    """For each file what stands in it, (line,) or (line, column, what it was), and how often it ran."""
    subprocess.run(["llvm-profdata", "merge", *build.glob("counts/*.profraw"), "-o", build / "counts.profdata"], check=True)
    files = collections.defaultdict(collections.Counter)
    for line in exported(build, "lcov").splitlines():
        name, _, value = line.partition(":")
        if name == "SF":
            file = files[value]
        elif name == "DA":
            at, count = map(int, value.split(","))
            file[at,] += count
    functions = json.loads(exported(build, "text"))["data"][0]["functions"]
    for function in functions:
        for line, column, _, _, yes, no, _, where, _ in function["branches"]:
            file = files[function["filenames"][where]]
            file[line, column, "true"] += yes
            file[line, column, "false"] += no
    inside = {path.removeprefix(f"{ROOT}/"): files[path] for path in sorted(files)}
    product = {path: inside[path] for path in inside if re.match(PRODUCT, path)}
    for function in functions:
        path, first, last = function["filenames"][0].removeprefix(f"{ROOT}/"), *function["regions"][0][:3:2]
        if path in product and function["count"] == 0 and re.search("const(expr|eval) ", lines_of(path)[first - 1]):
            for at in [at for at in product[path] if first <= at[0] <= last and product[path][at] == 0]:
                del product[path][at]  # the compiler alone runs it
    return product


@functools.cache
def lines_of(path):
    return (ROOT / path).read_text(encoding="utf-8").splitlines()


def told(path, counts):
    """Counts of one file, and what did not run."""
    text = lines_of(path)
    excuses = [re.compile(pattern) for where, pattern, _ in LEFT_OUT if where == path]
    rooms, missing = collections.Counter(), []
    for at in sorted(counts):
        what = "lines" if len(at) == 1 else "branches"
        if counts[at] == 0 and any(each.search(text[at[0] - 1]) for each in excuses):
            continue
        rooms[what] += counts[at] > 0
        rooms["all " + what] += 1
        if counts[at] == 0 and (what == "lines" or counts[at[0],] > 0):
            column = "" if what == "lines" else f"{at[2]} never: {text[at[0] - 1][at[1] - 1:]}"
            missing.append(f"{path}:{at[0]}: {column or text[at[0] - 1].strip()}")
    return rooms, missing


def share(counts, what):
    return 100 * counts[what] / max(1, counts["all " + what])


def main():
    rooms, missing = collections.defaultdict(collections.Counter), []
    for path, file in measured(pathlib.Path(sys.argv[1]).resolve()).items():
        counts, unrun = told(path, file)
        for room in {path.rpartition("/")[0], "complete" if re.match(COMPLETE, path) else "product", "product"}:
            rooms[room].update(counts)
        missing += unrun
    print("\nNot run:", *missing, sep="\n  ")
    print("\nLeft out:", *(f"{path}: {pattern}: {why}" for path, pattern, why in LEFT_OUT), sep="\n  ")
    print(f"\n{'room':24} {'lines':>12} {'':6} {'branches':>12}")
    for room in sorted(rooms):
        counts = rooms[room]
        print(f"{room:24} {counts['lines']:5} of {counts['all lines']:5} {share(counts, 'lines'):5.1f}% "
              f"{counts['branches']:5} of {counts['all branches']:5} {share(counts, 'branches'):5.1f}%")  # fmt: skip
    reached = all(share(rooms["product"], what) >= goal for what, goal in GOALS.items())
    return 0 if reached and share(rooms["complete"], "lines") == 100 else 1


if __name__ == "__main__":
    sys.exit(main())
