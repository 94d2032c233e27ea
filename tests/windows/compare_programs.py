#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs two builds of the program with the same command lines and compares what they do.

  compare_programs.py --self-test
  compare_programs.py COMMANDS FILES FIRST... -- SECOND...

COMMANDS has a line for each run: the expected exit status, and the words. Each program runs in a
folder of its own that has a copy of the folder FILES. FIRST and SECOND are how a program is called.

Equal must be: the exit status, the output, the errors, and in the end every file of the folder but
the databases, which are compared by what the programs read from them. Texts are compared as they
are, except that JSON and XML may differ in a number by 1e-12 of it, and JSON in the times at which
the rows of its database were stored and by a few steps in how long a search was. What a run writes
must say nothing of the system, but for the separator and the quotes of command lines that it
prints.
"""
import json
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

from near import near, same

SECONDS = 60  # for one run
STARTED = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime())
TIME = re.compile(r"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}")
DATABASES = (".db", ".db-wal", ".db-shm")
COMMAND = re.compile(r"""  (?:'[^']*orvspc'|"[^"]*orvspc\.exe"|\S*orvspc(?:\.exe)?) """)
COUNTS_OF_STEPS = ("Iterations",)  # until nothing improves: the last bit of a logarithm decides


def just_stored(text) -> bool:
    """A time since this program began."""
    return isinstance(text, str) and bool(TIME.fullmatch(text)) and text >= STARTED


def json_difference(a, b, path: str = "$") -> str | None:
    """What differs first between two parsed documents; numbers are texts."""
    if isinstance(a, Number) and isinstance(b, Number):
        return None if near(a, b) else f"{path}: {a} and {b}"
    if type(a) is not type(b):
        return f"{path}: {a!r} and {b!r}"
    if isinstance(a, dict):
        if list(a) != list(b):
            return f"{path}: keys {list(a)} and {list(b)}"
        pairs = [(f"{path}.{key}", a[key], b[key]) for key in a]
    elif isinstance(a, list):
        if len(a) != len(b):
            return f"{path}: {len(a)} and {len(b)} elements"
        pairs = [(f"{path}[{i}]", x, y) for i, (x, y) in enumerate(zip(a, b))]
    else:
        fits = a == b or just_stored(a) and just_stored(b)
        return None if fits else f"{path}: {a!r} and {b!r}"
    for where, x, y in pairs:
        if where.endswith(COUNTS_OF_STEPS) and steps_near(x, y):
            continue
        found = json_difference(x, y, where)
        if found:
            return found
    return None


class Number(str):
    """A number of a document as it is written."""


def steps_near(a, b) -> bool:
    """Two numbers of steps that differ by no more than a twentieth, or by two."""
    if not isinstance(a, Number) or not isinstance(b, Number):
        return False
    return abs(int(a) - int(b)) <= max(2, int(a) // 20)


def parsed(text: str):
    """The document, or None when the text is no JSON."""
    try:
        return json.loads(text, parse_float=Number, parse_int=Number, parse_constant=Number)
    except ValueError:
        return None


def text_difference(a: str, b: str) -> str | None:
    for number, (x, y) in enumerate(zip(a.split("\n"), b.split("\n")), 1):
        if x != y:
            return f"line {number}:\n  {x[:300]}\n  {y[:300]}"
    return None if len(a) == len(b) else f"{len(a)} and {len(b)} characters"


def xml_difference(a: str, b: str) -> str | None:
    """As text_difference, but numbers may be close."""
    return None if same(a, b) else text_difference(a, b)


def difference(a: str, b: str) -> str | None:
    """What differs between two texts, by what they are; None when nothing does."""
    if a == b:
        return None
    documents = parsed(a), parsed(b)
    if a.startswith(("{", "[")) and None not in documents:
        return json_difference(*documents)
    if re.match(r"<(?!svg|!DOCTYPE)", a) and re.match(r"<(?!svg|!DOCTYPE)", b):
        return xml_difference(a, b)
    return text_difference(a, b)


def neutral(text: str) -> str:
    """Command lines without the program's path and the quotes of the system's shell, and lines that
    go on in the next one as Linux ends them."""
    lines = []
    for line in text.split("\n"):
        goes_on = line.endswith((" ^", " \\"))
        if goes_on:
            line = line[:-2]
        if line.startswith("All charts: "):
            line = line.replace("\\", "/")
            line = "All charts: " + "/".join(line.split("/")[-2:])
        elif COMMAND.match(line) or " --db " in line:
            line = line.replace("\\", "/").replace('"', "'")
            line = re.sub(r"^  ('[^']*'|\S+)", "  orvspc", line)
        lines.append(line + " \\" if goes_on else line)
    return "\n".join(lines)


class Program:
    def __init__(self, call: list[str], folder: pathlib.Path):
        self.call, self.folder = call, folder

    def run(self, words: list[str]) -> tuple[int, str, str]:
        done = subprocess.run(self.call + words, cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=SECONDS, check=False)
        return (done.returncode, done.stdout.decode("utf-8", "backslashreplace"),
                done.stderr.decode("utf-8", "backslashreplace"))

    def files(self) -> dict[str, pathlib.Path]:
        return {path.relative_to(self.folder).as_posix(): path
                for path in self.folder.rglob("*") if path.is_file()}


def command_lines(text: str):
    for line in text.splitlines():
        if line and not line.startswith("#"):
            words = shlex.split(line)
            yield line, int(words[0]), words[1:]


def compare(commands: str, first: Program, second: Program) -> tuple[int, list[str]]:
    """The number of things compared, and what differs."""
    count, found = 0, []
    for line, status, words in command_lines(commands):
        count += 1
        runs = [program.run(words) for program in (first, second)]
        runs = [(run[0], neutral(run[1]), neutral(run[2])) for run in runs]
        if runs[0][0] != status:
            found.append(f"{line}: the first program ends with {runs[0][0]}: {runs[0][2]}")
        if runs[0][0] != runs[1][0]:
            found.append(f"{line}: status {runs[0][0]} and {runs[1][0]}: {runs[1][2]}")
        for name, a, b in (("output", runs[0][1], runs[1][1]), ("errors", runs[0][2], runs[1][2])):
            said = difference(a, b)
            if said:
                found.append(f"{line}: {name}: {said}")
    files = first.files(), second.files()
    for name in sorted(files[0].keys() | files[1].keys()):
        count += 1
        if name not in files[0] or name not in files[1]:
            found.append(f"{name}: only one program made it")
        elif not name.endswith(DATABASES):
            said = difference(*(each[name].read_bytes().decode("utf-8") for each in files))
            if said:
                found.append(f"{name}: {said}")
    return count, found


def self_test() -> list[str]:
    """Plants a difference of each sort and looks whether it is found, and which are none."""
    equal = [
        ('{"a": 1.0000000000001, "b": [true, null]}', '{"a": 1.0000000000002, "b": [true, null]}'),
        ('{"a": 1}', '{"a": 1.0}'),
        ('{"a": NaN}', '{"a": NaN}'),
        ('{"Iterations": 210}', '{"Iterations": 212}'),
        ('{"a": "2998-01-01T00:00:00"}', '{"a": "2998-01-01T00:00:05"}'),
        ('<A X="0.30000000000000004"/>', '<A X="0.3"/>'),
        ("text 1", "text 1"),
    ]
    unequal = [
        ('{"a": 1.00000000001}', '{"a": 1.00000000002}'),
        ('{"a": 0}', '{"a": 1e-300}'),
        ('{"a": 1}', '{"a": "1"}'),
        ('{"a": "1.0000000000001"}', '{"a": "1.0000000000002"}'),
        ('{"a": 1, "b": 2}', '{"b": 2, "a": 1}'),
        ('{"a": "2024-01-01T00:00:00"}', '{"a": "2024-01-01T00:00:05"}'),
        ('{"a": [1]}', '{"a": [1, 1]}'),
        ('{"a": 210}', '{"a": 211}'),
        ('{"Iterations": 210}', '{"Iterations": 230}'),
        ('{"Iterations": 210}', '{"Iterations": null}'),
        ('{"a": true}', '{"a": 1}'),
        ('{"a": 1}', '{"a": 1}\r\n x'),
        ('<A X="0.300000001"/>', '<A X="0.3"/>'),
        ('<A X="1"/>', '<B X="1"/>'),
        ("text 1.0000000000001", "text 1.0000000000002"),
        ('<svg x="1.0000000000001">', '<svg x="1.0000000000002">'),
        ("a\n", "a\r\n"),
        ("a\n", "a"),
    ]
    faults = [f"taken for different: {a!r} and {b!r}" for a, b in equal if difference(a, b)]
    faults += [f"taken for equal: {a!r} and {b!r}" for a, b in unequal if not difference(a, b)]

    if neutral("  orvspc x ^\n      y ^ z") != "  orvspc x \\\n      y ^ z":
        faults.append("a line that goes on is not neutral")
    for call in ("../bin/orvspc", "..\\bin\\orvspc.exe", '"C:\\a b\\orvspc.exe"', "'/a b/orvspc'"):
        if neutral(f"  {call} study design --arl0 370") != "  orvspc study design --arl0 370":
            faults.append(f"a command line is not neutral: {call}")

    # Whole programs: each script prints its words and writes them to a file.
    sound = 'echo "$@"; echo "$@" >"$2"; exit 3'
    planted = {
        "status": 'echo "$@"; echo "$@" >"$2"; exit 4',
        "output": 'echo "$@" x; echo "$@" >"$2"; exit 3',
        "errors": 'echo "$@"; echo x >&2; echo "$@" >"$2"; exit 3',
        "made.txt": 'echo "$@"; echo x >"$2"; exit 3',
        "only one": 'echo "$@"; exit 3',
    }
    with tempfile.TemporaryDirectory() as work:
        def said_of(script: str, commands: str = "3 run made.txt\n") -> list[str]:
            programs = []
            for name, text in (("a", sound), ("b", script)):
                folder = pathlib.Path(tempfile.mkdtemp(dir=work, prefix=name))
                programs.append(Program(["sh", "-c", text, "sh"], folder))
            return compare(commands, *programs)[1]

        faults += [f"said of equal programs: {line}" for line in said_of(sound)]
        for what, script in planted.items():
            if not any(what in line for line in said_of(script)):
                faults.append(f"not found: {what}")
        if not any("first program" in line for line in said_of(sound, "0 run made.txt\n")):
            faults.append("not found: another status than expected")
    return faults


def main() -> int:
    words = sys.argv[1:]
    if words == ["--self-test"]:
        faults = self_test()
        print("\n".join(faults))
        return 1 if faults else 0
    commands, files, *calls = words
    at = calls.index("--")
    with tempfile.TemporaryDirectory() as work:
        programs = []
        for name, call in (("first", calls[:at]), ("second", calls[at + 1:])):
            folder = pathlib.Path(work) / name
            shutil.copytree(files, folder)
            (folder / "Maße").mkdir()
            shutil.copy(folder / "sizes.csv", folder / "Maße" / "Größen µ.csv")
            (folder / "text.csv").write_text("x" * 5000, encoding="utf-8")
            programs.append(Program(call, folder))
        count, found = compare(pathlib.Path(commands).read_text(encoding="utf-8"), *programs)
    print("\n".join(found))
    print(f"{count} runs and files compared, {len(found)} differences")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
