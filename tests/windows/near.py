#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Texts that are equal but for the last digits of their numbers, which the mathematical functions of a
system give: each is within 1e-12 of the larger one of a pair.

near.py --self-test
"""
import math
import re
import sys

RELATIVE = 1e-12
NUMBER = re.compile(r"[-+]?(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eE][-+]?[0-9]+)?")


def near(one, other, relative=RELATIVE):
    """Whether two numbers are, given as numbers or as they are written."""
    one, other = float(one), float(other)
    return one == other or math.isclose(one, other, rel_tol=relative, abs_tol=0.0)


def same(one, other, relative=RELATIVE):
    """Whether two texts are."""
    if one == other:
        return True
    return (NUMBER.split(one) == NUMBER.split(other) and
            all(near(a, b, relative) for a, b in zip(NUMBER.findall(one), NUMBER.findall(other))))


def self_test():
    equal = [("", ""), ("a", "a"), ("nan", "nan"), ("1.5", "1.5000000000000002"), ("1", "1.0"), ("0", "-0.0"),
             ("-2E-7 x", "-2.0000000000000001e-07 x"), ('<A X="0.30000000000000004"/>', '<A X="0.3"/>'),
             ("{1, .5}", "{1.0000000000001, 0.5}")]
    unequal = [("a", "b"), ("1", ""), ("1", "1 "), ("1", "1 1"), ("1.5", "-1.5"), ("nan", "0"), ("0", "1e-300"),
               ("1", "1.00000000001"), ("1e5", "1e6"), ("a1", "b1"), ("1, 2", "1, 3"), ("1, 2", "1; 2"),
               ('<A X="1"/>', '<B X="1"/>'), ("text\n", "text\r\n")]
    faults = [f"taken for different: {a!r} and {b!r}" for a, b in equal if not same(a, b)]
    faults += [f"taken for equal: {a!r} and {b!r}" for a, b in unequal if same(a, b)]
    if near(1.0, 1.0 + 1e-13, 1e-14) or not near(1.0, 1.0 + 1e-15, 1e-14):
        faults.append("the given width is not used")
    return "\n".join(faults) or None


if __name__ == "__main__":
    sys.exit(self_test() if sys.argv[1:] == ["--self-test"] else __doc__)
