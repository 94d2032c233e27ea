#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what two walks over the public classes print.

compare_walks.py ONE OTHER            line by line; numbers to 1e-12 relative, all else exactly
compare_walks.py --script ONE OTHER   every line of the script ONE against the line of OTHER with the
                                      same section, name and place; numbers to 15 digits; of arrays
                                      the script knows the kind alone
compare_walks.py --exactly ONE OTHER  every line byte for byte; texts of GetXML are among them
compare_walks.py --called LIST WALK...  no member of LIST that none of the walks names
compare_walks.py --self-test

Exit status 1 when something differs, with the first differences.
"""

import collections
import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1]))
from near import same

# "Class.Member(arguments) = value" or ":= value"; notes have words between name and sign.
LINE = re.compile(r"([A-Za-z]+\.[A-Za-z_]+)(.*?) (:?=) (.*)", re.DOTALL)
SHOWN = 20


def read(path):
    with open(path, encoding="utf-8", newline="") as file:
        return file.read().replace("\r\n", "\n").split("\n")


def compare(one, other):
    differences = []
    inexact = 0
    for number, (a, b) in enumerate(zip(one, other), 1):
        if a == b:
            continue
        if same(a, b):
            inexact += 1
        else:
            differences.append(f"line {number}:\n  {a[:400]}\n  {b[:400]}")
    if len(one) != len(other):
        differences.append(f"{len(one)} lines, {len(other)} lines")
    return differences, f"{len(one)} lines equal, of which {inexact} but for the last digits"


def placed(lines):
    """(section, name, how often it came before in the section), its value; in order."""
    section, counts, found = "", collections.Counter(), {}
    for line in lines:
        if line.startswith("["):
            section, counts = line, collections.Counter()
            continue
        match = LINE.fullmatch(line)
        if match:
            name = match[1] + match[2] + " " + match[3]
            found[(section, name, counts[name])] = match[4]
            counts[name] += 1
    return found


def script_value(value, expected):
    """The other walk's value as a script has it."""
    for kind, number in (("Long(", 8195), ("Double(", 8197)):
        if expected.startswith(kind):
            return value == f"VarType {number}"
    return same(value, expected, 1e-14)


def compare_script(script, other):
    wanted, found = placed(other), placed(script)
    differences = []
    for key, value in found.items():
        place = f"{key[0]} {key[1]}, occurrence {key[2] + 1}"
        if key not in wanted:
            differences.append(f"{place}: only in the script")
        elif not script_value(value, wanted[key]):
            differences.append(f"{place}:\n  {value[:400]}\n  {wanted[key][:400]}")
    if len(found) == 0:
        differences.append("the script has no lines")
    return differences, f"{len(found)} lines of the script are equal"


def compare_exactly(one, other):
    differences = [f"line {number}:\n  {a[:400]}\n  {b[:400]}"
                   for number, (a, b) in enumerate(zip(one, other), 1) if a != b]
    if len(one) != len(other):
        differences.append(f"{len(one)} lines, {len(other)} lines")
    # Beside the name of the call: what is quoted may hold any text.
    texts = sum(1 for line in one if re.match(r"[A-Za-z]+\.GetXML = \"", line))
    if texts == 0:
        differences.append("no text of GetXML")
    return differences, f"{len(one)} lines equal byte for byte, {texts} of them texts of GetXML"


def never_called(members, walks):
    called = set()
    for lines in walks:
        for line in lines:
            match = LINE.fullmatch(line)
            if match:
                called.add(match[1] + ("(let)" if match[3] == ":=" else ""))
        # What a walk called without printing it, its own count knows.
        if "[never called]" in lines:
            start = lines.index("[never called]")
            missed = set(lines[start + 1:])
            called |= {member for member in members if member not in missed}
    missed = [member for member in members if member and member not in called]
    return missed, f"{len(members)} members, each called"


def self_test():
    base = ["[a]", "X.Y = 1.5", 'X.Z = "one 2 <a b=\\"0.1\\"/>"', "X.L(1) := 3", "[b]",
            "X.A = Long(2) {1, 2}", "X.E = Empty", "X.Y = nan", "X.GetXML = \"<a/>\""]

    def changed(index, line):
        return base[:index] + [line] + base[index + 1:]

    assert not compare(base, base)[0]
    assert not compare(base, changed(1, "X.Y = 1.5000000000000002"))[0]
    for index, line in ((1, "X.Y = 1.50000000001"), (1, "X.Q = 1.5"), (1, "X.Y = -1.5"),
                        (2, 'X.Z = "one 2 <a b=\\"0.2\\"/>"'), (5, "X.A = Long(2) {1, 3}"),
                        (5, "X.A = Long(2) {1}"), (6, "X.E = 0"), (7, "X.Y = 0"),
                        (0, "[c]"), (2, 'X.Z = "two 2 <a b=\\"0.1\\"/>"')):
        assert compare(base, changed(index, line))[0], line
    assert compare(base, base[:-1])[0]
    script = ["[a]", "X.Y = 1.5", "[b]", "X.A = VarType 8195", "X.E = Empty", "X.Y = nan"]
    assert not compare_script(script, base)[0]
    for index, line in ((1, "X.Y = 1.5000000000001"), (1, "X.N = 1"), (3, "X.A = VarType 8197"),
                        (4, "X.E = 0"), (0, "[z]")):
        assert compare_script(script[:index] + [line] + script[index + 1:], base)[0], line
    assert compare_script([], base)[0]
    assert compare_script(script + ["X.Y = nan"], base)[0]
    assert not compare_exactly(base, base)[0]
    assert compare_exactly(base, changed(8, "X.GetXML = \"<b/>\""))[0]
    assert compare_exactly(base, changed(1, "X.Y = 1.50"))[0]
    assert compare_exactly(base, base[:-1])[0]
    assert compare_exactly(base[:-1], base[:-1])[0]
    assert not never_called(["X.Y", "X.L(let)"], [base])[0]
    assert never_called(["X.Y", "X.Y(let)"], [base])[0] == ["X.Y(let)"]
    assert never_called(["X.N", "X.M"], [["[never called]", "X.M", ""]])[0] == ["X.M"]
    print("the comparison sees every difference that it should")


def main(arguments):
    if arguments == ["--self-test"]:
        self_test()
        return 0
    ways = {"--script": compare_script, "--exactly": compare_exactly}
    if len(arguments) >= 3 and arguments[0] == "--called":
        members = [line for line in read(arguments[1]) if line]
        differences, summary = never_called(members, [read(each) for each in arguments[2:]])
    elif len(arguments) == 3 and arguments[0] in ways:
        differences, summary = ways[arguments[0]](*map(read, arguments[1:]))
    elif len(arguments) == 2:
        differences, summary = compare(*map(read, arguments))
    else:
        sys.exit(__doc__)
    for difference in differences[:SHOWN]:
        print(difference)
    print(f"{len(differences)} differences" if differences else summary)
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
