"""Tells which lines and branches of the product ran in the tests, room by room, and names those that did not.

    coverage.py BUILD-FOLDER

Of branches only those count that stand in the source: those that the compiler makes for exceptions and for what
cannot be reached are left out by gcovr, and the preset inlines nothing, so that those inside the libraries' functions
do not stand in ours. Ends with 1 when a goal is missed."""

import collections
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PRODUCT = "(access|app|feed|foundation|publish|request|tradeapi)/"  # paper is no part of what a platform is served with
GOAL_LINES, GOAL_BRANCHES = 95, 90
COMPLETE = r"request/(Envelope|LogIn|Operations|RepWorker|Sessions|Supervision)\.|tradeapi/(NumberText|Symbols|UserKeys)\.|" \
           r"request/orders/PriceText\.|foundation/support/(Format|Numbers|Strings|Utf)|foundation/logger/"  # fmt: skip
# Lines that cannot run in a test, and why; whoever makes one reachable takes it off the list.
LEFT_OUT = [
    ("foundation/logger/LogScreen-posix.cpp", ".", "there are no windows"),
    ("foundation/logger/CLoggerImpl.cpp", r"record\.release\(\)", "likewise"),
    ("foundation/support/Zmq.cpp", "throw std::bad_alloc", "the library's own memory"),
]


def measured(build):
    words = ["gcovr", "--root", ROOT, build, "--filter", PRODUCT, "--exclude-throw-branches", "--exclude-unreachable-branches",
             "--json", "-j", "2"]  # fmt: skip
    files = json.loads(subprocess.run(words, cwd=ROOT, stdout=subprocess.PIPE, check=True).stdout)["files"]
    for file in files:
        file["lines"] = [line for line in file["lines"] if not line["gcovr/noncode"]]
        for line in file["lines"]:
            line["branches"] = [each for each in line["branches"] if not each["throw"]]
    return files


def left_out(path, line):
    text = (ROOT / path).read_text(encoding="utf-8").splitlines()[line - 1]
    return any(path == where and re.search(pattern, text) for where, pattern, _ in LEFT_OUT)


def ranges(lines):
    """1-3,7 of the numbers."""
    parts = []
    for line in lines:
        if parts and parts[-1][1] == line - 1:
            parts[-1][1] = line
        else:
            parts.append([line, line])
    return ",".join(str(a) if a == b else f"{a}-{b}" for a, b in parts)


def share(counts, what):
    return 100 * counts[what] / max(1, counts["all " + what])


def main():
    rooms, missing = collections.defaultdict(collections.Counter), []
    for file in measured(sys.argv[1]):
        path, counts = file["file"], collections.Counter()
        never = [each["line_number"] for each in file["lines"] if each["count"] == 0]
        excused = [line for line in never if left_out(path, line)]
        counts["lines"] = len(file["lines"]) - len(never)
        counts["all lines"] = len(file["lines"]) - len(excused)
        for line in file["lines"]:
            if line["line_number"] not in excused:
                counts["branches"] += sum(each["count"] > 0 for each in line["branches"])
                counts["all branches"] += len(line["branches"])
        for room in (path.rpartition("/")[0], "complete" if re.match(COMPLETE, path) else "", "product"):
            rooms[room].update(counts)
        if never := [line for line in never if line not in excused]:
            missing.append(f"{path}: {ranges(never)}")
    print(f"{'room':24} {'lines':>12} {'':6} {'branches':>12}")
    for room in sorted(each for each in rooms if each):
        counts = rooms[room]
        print(f"{room:24} {counts['lines']:5} of {counts['all lines']:5} {share(counts, 'lines'):5.1f}% "
              f"{counts['branches']:5} of {counts['all branches']:5} {share(counts, 'branches'):5.1f}%")  # fmt: skip
    print("\nNot run:", *missing, sep="\n  ")
    print("\nLeft out:", *(f"{path}: {pattern}: {why}" for path, pattern, why in LEFT_OUT), sep="\n  ")
    reached = share(rooms["product"], "lines") >= GOAL_LINES and share(rooms["product"], "branches") >= GOAL_BRANCHES
    return 0 if reached and share(rooms["complete"], "lines") == 100 else 1


if __name__ == "__main__":
    sys.exit(main())
