#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""compare.py LINUX WINDOWS DIFFERENCES: two outputs of windows_xml.

Texts of the classes are equal but for the last digits of figures. Of all other lines those that differ are the ones of
the file DIFFERENCES, a pair of lines each.
"""
import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1]))
from near import same

OF_CLASS = re.compile(r"(DataSelect|SubgroupData|EventData|CC\w+|CA\w+|PA\w+) \(")


def main(linux, windows, known):
    lines = [open(name, encoding="ascii").read().splitlines() for name in (linux, windows)]
    if len(lines[0]) != len(lines[1]) or lines[0][-1:] != ["end"]:
        return f"{len(lines[0])} lines and {len(lines[1])}, or no end"
    texts, differences = 0, []
    for one, other in zip(*lines):
        if OF_CLASS.match(one):
            texts += 1
            if not same(one, other):
                at = next((at for at, (a, b) in enumerate(zip(one, other)) if a != b), 0)
                return f"{one[:one.find('<')]}\n- ...{one[at - 60:at + 60]}\n+ ...{other[at - 60:at + 60]}"
        elif one != other:
            differences += [f"-{one}", f"+{other}"]
    if texts < 100:
        return f"only {texts} texts were compared"
    expected = open(known, encoding="ascii").read().splitlines()
    if differences != expected:
        return "\n".join(["expected:"] + expected + ["found:"] + differences)
    print(f"{texts} texts of classes are the same, {len(differences) // 2} single texts differ as listed")
    return None


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
