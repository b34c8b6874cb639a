"""Checks the manual's table of log lines against the sources: every line that asks for somebody's attention is
explained, and nothing is explained that is never written. The check is tried on small made-up inputs first."""

import re
import unittest

from house_test import ROOT, TOKEN, line_at, sources

TEXT = r'((?:L"(?:\\.|[^"\\])*"\s*)*)'
CALL = re.compile(r"\bLog\(\)\s*\.\s*(Warn|Error|Fatal)\(\s*" + TEXT)
NOTICE = re.compile(r"\bown\(\w+,\s*" + TEXT)  # the logger's own words on what it could not write
ROW = re.compile(r"\| (Warn|Error|Fatal) \| `([^`]+)` \| [^|]+ \| [^|]+ \|")


def lines_of(files):
    """Yields (level, format, where) of each; the format is empty where it does not stand in the call."""
    for path, text in files.items():
        code = TOKEN.sub(lambda m: m[0] if '"' in m[0][:2] else " ", text)
        for match in CALL.finditer(code):
            yield match[1], plain(match[2]), f"{path}:{line_at(code, match.start())}"
        if path.startswith("foundation/logger/"):
            for match in NOTICE.finditer(code):
                if match[1]:
                    yield "Warn", "%lld messages " + plain(match[1]), f"{path}:{line_at(code, match.start())}"


def plain(literals):
    return re.sub(r"\\(.)", r"\1", "".join(re.findall(r'L"((?:\\.|[^"\\])*)"', literals)))


def check_lines(files, manual):
    told = [(row[1], row[2]) for row in map(ROW.fullmatch, manual.splitlines()) if row]
    written = set()
    for level, line, where in lines_of(files):
        written.add((level, line))
        if not line:
            yield f"{where}: the line does not stand in the call, so nobody can look it up"
        elif (level, line) not in told:
            yield f"{where}: docs/operations.md does not explain | {level} | `{line}` |"
    for level, line in told:
        if (level, line) not in written:
            yield f"docs/operations.md: nothing writes | {level} | `{line}` |"
    if len(told) > len(set(told)):
        yield "docs/operations.md: a line is explained twice"


class TheManual(unittest.TestCase):
    maxDiff = None

    def test_every_line_that_wants_attention_is_explained(self):
        files = {path: text for path, text in sources() if not path.startswith(("tests/", "bench/"))}
        self.assertGreater(len(list(lines_of(files))), 30)
        findings = check_lines(files, (ROOT / "docs" / "operations.md").read_text(encoding="utf-8"))
        self.assertEqual("\n".join(findings), "")

    def test_the_check(self):
        row = "| Warn | `a %s` | it means | do |\n"
        rows = [
            ('Log().Warn(L"a %s", b);', row, 0),
            ('Log().Warn(\n  L"a " // why\n  L"%s", b);', row, 0),
            ('Log().Error(L"a %s", b);', row, 2),
            ('Log().Warn(L"a %s", b); Log().Fatal(L"c");', row, 1),
            ('Log().Info(L"a %s", b);', row, 1),
            ('// Log().Warn(L"a %s", b);', row, 1),
            ('Log().Warn(L"a %s", b);', row + row, 1),
            ('Log().Warn(L"a %s", b); Log().Error(text);', row, 1),
            ('Log().Warn(L"a %s", b); own(c, L"lost");', row, 1),
            ('Log().Warn(L"a %s", b);', "| Warn | `a %s` | it means | |\n", 1),
        ]
        for text, manual, expected in rows:
            with self.subTest(text, manual=manual):
                self.assertEqual(len(list(check_lines({"foundation/logger/A.cpp": text}, manual))), expected)


if __name__ == "__main__":
    unittest.main()
