"""Checks how the house is built: includes run downhill, functions and files stay short, nobody sleeps or
prints where it must not, the README is short and its links lead somewhere. The checks are tried on small
made-up inputs first: a check that cannot fail finds nothing."""

import json
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent

# A room and its floor. A file belongs to the longest room that it lies in.
FLOORS = {
    "foundation/support": 1,
    "foundation/cpputility": 2,
    "foundation/logger": 2,
    "tradeapi": 3,
    "tradeapi/com": 4,
    "paper": 4,
    "publish": 4,
    "feed": 4,
    "access": 4,
    "request": 5,
    "request/orders": 5,
    "request/queries": 5,
    "request/status": 5,
    "app": 6,
}
# A room that is a house of its own: its rooms and their floors, which stand on all below the house.
# From outside only its door is seen.
HOUSES = {
    "paper": {
        "paper/base": 1,
        "paper/market": 2,
        "paper/file": 3,
        "paper/orders": 3,
        "paper/accounts": 4,
        "paper/exchange": 5,
        "paper/rows": 5,
        "paper": 6,
    },
}
DOORS = {"paper": "paper/Paper.h", "clients/cpp": "clients/cpp/halvane.h"}
# Outside the floors, with the rooms that they may include beside their own. No floor includes them.
OUTSIDE = {
    "component": {"foundation/support", "tradeapi", "paper"},
    "clients/cpp": {"foundation/support"},
    "desk": {"clients/cpp", "foundation/support"},
    "relay": {"clients/cpp", "foundation/support"},
    "doctor": {"foundation/support", "tradeapi", "tradeapi/com", "clients/cpp"},
    "tests": {*FLOORS, "clients/cpp"},
    "bench": set(FLOORS),
}
# What the floors alone would not allow: who, and whom.
EXCEPTIONS = [
    (r"request/(orders|queries)/", r"request/(RepWorker|Envelope|PlatformObjects)\.h"),
    (r"request/Operations\.cpp", r"request/(orders/Orders|queries/Queries|status/Status)\.h"),
    (r"request/status/", r"request/(RepWorker|Envelope|Operations|Activity|Sessions)\.h"),
    (r"request/status/", r"publish/Publications\.h"),
    (r"component/", r"paper/(base/PaperItem|rows/Tracker)\.h"),
    (r"(tests|bench)/paper/|tests/fuzz/market\.cpp", r"paper/.*"),
]
# What the floors alone would allow: who, whom, and which headers of it all the same.
NARROWED = [
    (r"request/", r"publish/", r"publish/\w+Record\.h"),
]

# What may not be written, why, and the files where it may. Strings are looked at apart from code.
FORBIDDEN_CODE = [
    (
        r"this_thread::sleep_|\b(?:u|nano)sleep\s*\(|(?:^|[;{}(),=!&|]|\breturn)\s*(?:::)?[sS]leep(?:Ex)?\s*\(",
        "sleeps elsewhere than in Clock",
        r"foundation/support/Clock",
    ),
    (
        r"\b(?:system|steady|high_resolution)_clock::now|\bGetTickCount|\bGetLocalTime\b|\bgettimeofday\b",
        "reads the time elsewhere than in Clock",
        r"foundation/support/Clock|tests/|bench/",
    ),
    (
        r"\bw(?:cout|cerr|cin|clog|[io]?fstream|[io]?stringstream|[io]stream)\b",
        "wide stream",
        None,
    ),
    (
        r"\b(?:wcs(?:r|n|nr)?tombs|mbs(?:r|n|nr)?towcs|tow(?:upper|lower)|setlocale)\b",
        "depends on the locale",
        None,
    ),
    (r"\bshared_ptr\b", "shares ownership", None),
    (
        r"\bstd::(?:(?:recursive_|shared_)?mutex|(?:lock_guard|unique_lock|scoped_lock)\b|condition_variable(?!_any))",
        "a lock that Clang cannot check",
        r"foundation/support/Mutex\.h|tradeapi/paper/",
    ),
]
FORBIDDEN_STRINGS = [
    (r"%[-+ #0-9.*]*l[dux]", "a format whose width differs between systems", r"tests/"),
]
MAX_FUNCTION, MAX_FILE, MAX_README = 70, 600, 120

TOKEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|'
    r"(?<![0-9a-zA-Z_])'(?:\\.|[^'\\\n])+'",
    re.DOTALL,
)


def blank(text):
    return re.sub(r"[^\n]", " ", text)


def code_of(text):
    """The text without comments, with empty strings and characters; lines stay where they are."""
    return TOKEN.sub(lambda m: blank(m[0]) if m[0][0] == "/" else '""' + "\n" * m[0].count("\n"), text)


def strings_of(text):
    """Blank but for the strings; lines stay where they are."""
    kept, end = [], 0
    for match in TOKEN.finditer(text):
        kept += [blank(text[end : match.start()]), blank(match[0]) if match[0][0] == "/" else match[0]]
        end = match.end()
    return "".join(kept) + blank(text[end:])


def line_at(text, index):
    return text.count("\n", 0, index) + 1


def room_of(path, rooms=(*FLOORS, *OUTSIDE)):
    return max((room for room in rooms if path.startswith(room + "/")), key=len, default=None)


def may_include(path, header):
    room, other = room_of(path), room_of(header)
    if any(re.match(who, path) and re.fullmatch(whom, header) for who, whom in EXCEPTIONS):
        return True
    for who, whom, headers in NARROWED:
        if re.match(who, path) and re.match(whom, header):
            return bool(re.fullmatch(headers, header))
    if room == other:
        return may_see(HOUSES.get(room, {}), path, header)
    if header != DOORS.get(other, header):
        return False
    if room in OUTSIDE:
        return other in OUTSIDE[room]
    return other in FLOORS and FLOORS[other] < FLOORS[room]


def may_see(floors, path, header):
    room, other = room_of(path, floors), room_of(header, floors)
    return room == other or floors[other] < floors[room]


def includes(text):
    return re.finditer(r'^[ \t]*#[ \t]*include[ \t]*"([^"]+)"', text, re.MULTILINE)


def check_includes(files):
    for path, text in files.items():
        if room_of(path) is None:
            yield f"{path}: lies in no room"
            continue
        for match in includes(text):
            header, where = match[1], f"{path}:{line_at(text, match.start())}"
            if header not in files:
                yield f"{where}: there is no {header}, seen from the root"
            elif not may_include(path, header):
                yield f"{where}: may not include {header}"


def check_circles(files):
    """A header and its source count as one; only houses of their own are looked at."""
    below = {}
    for path, text in files.items():
        unit = re.sub(r"\.\w+$", "", path)
        seen = {re.sub(r"\.\w+$", "", match[1]) for match in includes(text)} - {unit}
        below[unit] = below.get(unit, set()) | {each for each in seen if room_of(each) in HOUSES}
    while ends := [unit for unit in below if not below[unit] & below.keys()]:
        for unit in ends:
            del below[unit]
    for unit in sorted(below):
        if room_of(unit) in HOUSES:
            yield f"{unit}: includes in a circle, or stands on one"


def functions_in(files):
    """Yields (path, first line, lines) of every function, as universal-ctags finds them."""
    with tempfile.TemporaryDirectory() as folder:
        for path, text in files.items():
            copy = pathlib.Path(folder, path)
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_text(text, encoding="utf-8")
        words = "ctags-universal -R --map-C++=+.h --kinds-C++=f --fields=Fne --extras=-p --output-format=json -f -"
        tags = subprocess.run(words.split(), cwd=folder, capture_output=True, text=True, check=True).stdout
    for tag in map(json.loads, tags.splitlines()):
        yield tag["path"], tag["line"], tag["end"] - tag["line"] + 1


def check_sizes(files):
    for path, text in files.items():
        if text.count("\n") > MAX_FILE:
            yield f"{path}: {text.count(chr(10))} lines"
    for path, first, length in functions_in(files):
        if length > MAX_FUNCTION:
            yield f"{path}:{first}: a function of {length} lines"


def check_words(files):
    for path, text in files.items():
        for form, table in ((code_of(text), FORBIDDEN_CODE), (strings_of(text), FORBIDDEN_STRINGS)):
            for pattern, why, where in table:
                if where and re.match(where, path):
                    continue
                for match in re.finditer(pattern, form, re.MULTILINE):
                    yield f"{path}:{line_at(form, match.start())}: {why}: {match[0].strip()}"


def check_readme(text, exists):
    lines = text.count("\n")
    if lines > MAX_README:
        yield f"README.md: {lines} lines"
    for target in re.findall(r"\]\(([^)#\s]+)[^)]*\)", text):
        if "://" not in target and not exists(target):
            yield f"README.md: links to {target}, which is not there"


def sources():
    for room in [*{room.split("/")[0] for room in FLOORS}, *OUTSIDE]:
        for path in (ROOT / room).rglob("*"):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8")


class TheHouse(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = dict(sources())

    def check(self, findings):
        self.assertEqual("\n".join(findings), "")

    def test_the_sources_are_found(self):
        self.assertIn("foundation/support/Text.h", self.files)
        self.assertGreater(len(self.files), 50)

    def test_includes_run_downhill(self):
        self.check(check_includes(self.files))

    def test_no_includes_go_in_a_circle(self):
        self.check(check_circles(self.files))

    def test_functions_and_files_are_short(self):
        self.check(check_sizes(self.files))

    def test_nothing_forbidden_is_written(self):
        self.check(check_words(self.files))

    def test_no_compiler_flag_makes_wide_text_short(self):
        for path in [*ROOT.glob("CMake*"), *ROOT.glob("cmake/*"), *ROOT.glob("*/**/CMakeLists.txt")]:
            if "build" not in path.relative_to(ROOT).parts:
                self.assertNotIn("-fshort-wchar", path.read_text(encoding="utf-8"), path)

    def test_the_readme_is_short_and_its_links_lead_somewhere(self):
        text = (ROOT / "README.md").read_text(encoding="utf-8")
        self.check(check_readme(text, lambda target: (ROOT / target).exists()))


class TheChecks(unittest.TestCase):
    """Each row must give as many findings as it says."""

    def check(self, rows, check):
        for text, expected in rows:
            with self.subTest(text):
                self.assertEqual(len(list(check(text))), expected)

    def test_includes(self):
        headers = [
            "foundation/support/A.h", "foundation/cpputility/A.h", "foundation/logger/A.h", "tradeapi/A.h",
            "paper/A.h", "paper/Paper.h", "paper/base/A.h", "paper/base/PaperItem.h", "paper/exchange/A.h",
            "paper/rows/A.h", "publish/A.h", "publish/ARecord.h", "request/A.h", "request/RepWorker.h",
            "request/orders/Orders.h", "request/queries/A.h", "app/A.h", "component/A.h", "tests/A.h",
            "clients/cpp/A.h", "clients/cpp/halvane.h",
        ]  # fmt: skip
        rows = [
            ("foundation/support/B.h", "foundation/support/A.h", 0),
            ("foundation/support/B.h", "foundation/logger/A.h", 1),
            ("foundation/logger/B.h", "foundation/support/A.h", 0),
            ("foundation/logger/B.h", "foundation/cpputility/A.h", 1),
            ("tradeapi/B.h", "paper/Paper.h", 1),
            ("paper/B.h", "tradeapi/A.h", 0),
            ("paper/base/B.h", "tradeapi/A.h", 0),
            ("paper/B.h", "publish/A.h", 1),
            ("paper/B.h", "paper/rows/A.h", 0),
            ("paper/rows/B.h", "paper/base/A.h", 0),
            ("paper/rows/B.h", "paper/exchange/A.h", 1),
            ("paper/base/B.h", "paper/Paper.h", 1),
            ("publish/B.h", "request/A.h", 1),
            ("request/B.h", "publish/A.h", 1),
            ("request/queries/B.cpp", "publish/ARecord.h", 0),
            ("request/orders/B.cpp", "request/RepWorker.h", 0),
            ("request/orders/B.cpp", "request/A.h", 1),
            ("request/orders/B.cpp", "request/queries/A.h", 1),
            ("request/B.cpp", "request/orders/Orders.h", 1),
            ("request/Operations.cpp", "request/orders/Orders.h", 0),
            ("request/Operations.h", "request/orders/Orders.h", 1),
            ("app/B.cpp", "request/A.h", 0),
            ("app/B.cpp", "tests/A.h", 1),
            ("app/B.cpp", "paper/Paper.h", 0),
            ("app/B.cpp", "paper/A.h", 1),
            ("app/B.cpp", "paper/base/PaperItem.h", 1),
            ("component/B.cpp", "paper/Paper.h", 0),
            ("component/B.cpp", "paper/base/PaperItem.h", 0),
            ("component/B.cpp", "paper/base/A.h", 1),
            ("tests/paper/B.cpp", "paper/exchange/A.h", 0),
            ("tests/B.cpp", "paper/exchange/A.h", 1),
            ("component/B.cpp", "publish/A.h", 1),
            ("tests/B.cpp", "app/A.h", 0),
            ("tests/B.cpp", "component/A.h", 1),
            ("clients/cpp/B.cpp", "foundation/support/A.h", 0),
            ("clients/cpp/B.cpp", "tradeapi/A.h", 1),
            ("tests/B.cpp", "clients/cpp/halvane.h", 0),
            ("tests/B.cpp", "clients/cpp/A.h", 1),
            ("app/B.cpp", "clients/cpp/halvane.h", 1),
            ("desk/B.cpp", "clients/cpp/halvane.h", 0),
            ("desk/B.cpp", "clients/cpp/A.h", 1),
            ("desk/B.cpp", "tradeapi/A.h", 1),
            ("app/B.cpp", "desk/A.h", 1),
            ("doctor/B.cpp", "clients/cpp/halvane.h", 0),
            ("doctor/B.cpp", "app/A.h", 1),
            ("app/B.cpp", "A.h", 1),
            ("elsewhere/B.cpp", "app/A.h", 1),
        ]
        for path, header, expected in rows:
            files = dict.fromkeys(headers, "") | {path: f'// why\n  # include "{header}"\n'}
            with self.subTest(path, header=header):
                self.assertEqual(len(list(check_includes(files))), expected)

    def test_circles(self):
        rows = [
            ("", 0),
            ('#include "paper/base/C.h"', 0),
            ('#include "paper/base/A.h"', 2),
            ('#include "paper/base/C.h"\n#include "paper/base/A.h"', 2),
        ]
        for text, expected in rows:
            files = {"paper/base/A.h": "", "paper/base/A.cpp": '#include "paper/base/B.h"'}
            files |= {"paper/base/B.h": text, "paper/base/C.h": ""}
            with self.subTest(text):
                self.assertEqual(len(list(check_circles(files))), expected)

    def test_sizes(self):
        def sized(before, after="}\n", lines=MAX_FUNCTION - 1):
            return before + "\n" + "    x();\n" * (lines - 1) + after

        rows = [
            (sized("void F() {"), 0),
            (sized("void F() {", lines=MAX_FUNCTION), 1),
            (sized("void F()\n{"), 1),
            (sized("namespace a {\nclass B : C {\n  public:\n    B() : c_{1}, d_(2) {\n"), 1),
            (sized("template <class T> std::map<T, int> F(T a = {}) const {", lines=80), 1),
            (sized("TEST(A, B) {", lines=80), 1),
            (sized("auto f = [](int a) {", lines=80), 1),
            (sized("struct A {\n    int b = 0;\n    void F() {}\n", "};\n", lines=80), 0),
            (sized("constexpr Field kTable[] = {", "};\n", lines=80), 0),
            (sized("namespace {", "}\nvoid F() {}\n", lines=80), 0),
            (sized('void F() { G("}"); /* } */ H(\'}\');', lines=80), 1),
            ("//\n" * MAX_FILE, 0),
            ("//\n" * (MAX_FILE + 1), 1),
        ]
        self.check(rows, lambda text: check_sizes({"app/A.cpp": text}))

    def test_words(self):
        rows = [
            ("std::this_thread::sleep_for(a);", 1),
            ("if (a) ::Sleep(1000);", 1),
            ("    Sleep(1000);", 1),
            ("return usleep(3);", 1),
            ("TheClock().Sleep(10); // Sleep(10);", 0),
            ("bool Sleep(std::uint32_t timeMs);", 0),
            ("auto now = std::chrono::steady_clock::now();", 1),
            ('Log(L"%ld", a);', 1),
            ('Log(L"%-5lu", a); // "%ld"', 1),
            ('Log(L"%lld of 100%", a); int b = c % ld;', 0),
            ("std::wostringstream out;", 1),
            ('char a = \'"\'; std::wcout << "";', 1),
            ("1'000'000; towupper(L'a');", 1),
            ("std::shared_ptr<int> a;", 1),
            ("std::mutex a; std::lock_guard b(a); std::condition_variable c;", 3),
            ("Mutex a; const MutexLock b(a); std::condition_variable_any c;", 0),
        ]
        self.check(rows, lambda text: check_words({"app/A.cpp": text}))
        self.assertFalse(list(check_words({"foundation/support/Clock-win32.cpp": "Sleep(1);"})))

    def test_readme(self):
        rows = [
            ("[a](docs/a.md) [b](https://b) [c](docs/a.md#d)\n", 0),
            ("[a](docs/b.md)\n", 1),
            ("\n" * MAX_README, 0),
            ("\n" * (MAX_README + 1), 1),
        ]
        self.check(rows, lambda text: check_readme(text, lambda target: target == "docs/a.md"))


if __name__ == "__main__":
    unittest.main()
