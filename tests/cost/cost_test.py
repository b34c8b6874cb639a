"""Counts the instructions that one PONG, one order, one page, one report and one log line cost, and fails when
one of them costs more than what is written in costs.txt, by more than a twentieth. Such a count is the same on
a busy machine and on an idle one; it says nothing about waiting.

    cost_test.py PROGRAM            compares
    cost_test.py PROGRAM --renew    writes down what is so now, to be committed with the change and its reason

The figures belong to a compiler: what another one makes is counted, told and not judged."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

COSTS = pathlib.Path(__file__).with_name("costs.txt")
GROWTH = 1.05
ROUNDS = 5
SKIPPED = 77  # for CTest: neither good nor bad
MARKET = """{"start": "2026-11-20 09:00:00", "tickMs": 60000,
 "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 1000000000}],
 "exchanges": [{"exchange": "PAPX"}],
 "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05}]}"""
# The C library's plainest functions, so that the processor does not matter.
PLAIN = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2,-AVX,-ERMS,-FSRM,-BMI2,-LZCNT,-MOVBE,-RTM,-SSE4_2,-AVX_Fast_Unaligned_Load"}


def count(program):
    """Name to instructions of one round."""
    with tempfile.TemporaryDirectory() as folder:
        market = pathlib.Path(folder, "market.json")
        market.write_text(MARKET)
        words = ["valgrind", "--quiet", "--tool=callgrind", "--separate-threads=yes", "--dump-line=no"]
        words += [f"--callgrind-out-file={folder}/counted", program, market, f"{folder}/cost.log"]
        done = subprocess.run(words, env=os.environ | PLAIN, capture_output=True, text=True, timeout=280)
        if done.returncode:
            sys.exit(f"the program failed under valgrind:\n{done.stdout}{done.stderr}")
        rounds = dict(line.split() for line in done.stdout.splitlines())
        costs = {}
        for dump in pathlib.Path(folder).glob("counted.*"):
            text = dump.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (\w+)", text, re.MULTILINE)[1]
            costs[name] = int(re.search(r"^summary: (\d+)", text, re.MULTILINE)[1]) // int(rounds[name])
        return {name: costs[name] for name in rounds}


def least_of(rounds, program):
    """What other threads do may cost the counted one a little; the least of several counts is without it."""
    counted = [count(program) for _ in range(rounds)]
    return {name: min(each[name] for each in counted) for name in counted[0]}


def compiler(program):
    """As the program itself tells."""
    comments = subprocess.run(["readelf", "-p", ".comment", program], capture_output=True, text=True).stdout
    return re.search(r"\]\s+(.*)", comments)[1]


def main(program, renew=False):
    costs, made_by = least_of(ROUNDS, program), compiler(program)
    if renew:
        lines = [f"{name} {cost}\n" for name, cost in costs.items()]
        COSTS.write_text(f"# instructions, by {made_by}; cost_test.py tells more\n" + "".join(lines))
        return 0
    head, *lines = COSTS.read_text().splitlines()
    written = {name: int(cost) for name, cost in map(str.split, lines)}
    for name, cost in costs.items():
        print(f"{name:8}{cost:10} instructions, {cost / written[name] - 1:+.1%}")
    if f"by {made_by};" not in head:
        print(f"not judged: this is {made_by}, {COSTS.name} is not")
        return SKIPPED
    grown = [name for name, cost in costs.items() if cost > GROWTH * written[name]]
    if grown:
        print(f"dearer by more than {GROWTH - 1:.0%}: {', '.join(grown)}; --renew when there is a reason")
    return 1 if grown or costs.keys() != written.keys() else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], *map("--renew".__eq__, sys.argv[2:])))
