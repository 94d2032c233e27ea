#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Control chart constants from 40-digit integration.

    python3 tools/control_constants.py            writes the two generated headers
    python3 tools/control_constants.py --check    makes them again and compares; exit status 1 when they differ

Writes engine/statistics/control_constants_table.h (what the engine looks up and the polynomials that it uses for
larger samples) and tests/certified/control_constants_reference.h (what the engine is tested against). For samples
above the table the two come from different integrals. Needs mpmath (Debian: python3-mpmath).
"""
import argparse
import difflib
import math
import os
import re
import sys

import mpmath as mp

mp.mp.dps = 40
BITS = 160                      # fixed point of the two-dimensional integrals: 48 digits
ONE = 1 << BITS

TABLE_LAST = 100
SAMPLES = [101, 102, 128, 150, 199, 200, 250, 317, 500, 641, 999, 1000, 2500, 10000, 1000000]
LARGEST = 2**31                 # one past the largest 32-bit size
DIGITS = 20


def Phi(x):
    return mp.ncdf(x)


def phi(x):
    return mp.npdf(x)


def fixed(x):
    return int(mp.floor(mp.ldexp(x, BITS) + mp.mpf(1) / 2))


def fixed_power(base, n):
    result = ONE
    while n:
        if n & 1:
            result = (result * base) >> BITS
        base = (base * base) >> BITS
        n >>= 1
    return result


def gauss_legendre(count):
    """Nodes and weights on [-1, 1]."""
    nodes = []
    for i in range(count):
        x = mp.cos(mp.pi * (i + mp.mpf(3) / 4) / (count + mp.mpf(1) / 2))
        for _ in range(8):
            p0, p1 = mp.mpf(1), x
            for k in range(2, count + 1):
                p0, p1 = p1, ((2 * k - 1) * x * p1 - (k - 1) * p0) / k
            slope = count * (x * p1 - p0) / (x * x - 1)
            x -= p1 / slope
        nodes.append((x, 2 / ((1 - x * x) * slope * slope)))
    return nodes


def panels(end, count, order):
    """Gauss-Legendre nodes and weights on [0, end] cut into `count` panels."""
    rule = gauss_legendre(order)
    half = mp.mpf(end) / count / 2
    return [((2 * p + 1) * half + half * x, half * w) for p in range(count) for x, w in rule]


class RangeDistribution:
    """Moments of the range by its distribution function on a grid.

    F(w) = n integral g(c, w) G(c, w)^(n-1) dc,  G = Phi(c + w/2) - Phi(c - w/2),
    g = (phi(c + w/2) + phi(c - w/2))/2;  E W = integral (1 - F) dw,  E W^2 = 2 integral w (1 - F) dw.
    The line c is summed by the trapezoidal rule, which converges geometrically there; w by Gauss-Legendre.
    """

    def __init__(self):
        step = mp.mpf(1) / 24
        self.nodes = []
        for w, weight in panels(18, 14, 24):
            cells = []
            for k in range(int((13 + w / 2) / step) + 1):
                c = k * step
                high, low = c + w / 2, c - w / 2
                big = mp.ncdf(-low) - mp.ncdf(-high) if low > 0 else mp.ncdf(high) - mp.ncdf(low)
                density = (phi(high) + phi(low)) / 2 * step * (1 if k == 0 else 2)
                cells.append((fixed(big), fixed(density)))
            self.nodes.append((w, weight, cells))

    def moments(self, n):
        mean = second = mp.mpf(0)
        for w, weight, cells in self.nodes:
            total = sum((fixed_power(big, n - 1) * density) >> BITS for big, density in cells)
            rest = 1 - n * mp.ldexp(mp.mpf(total), -BITS)
            mean += weight * rest
            second += 2 * weight * w * rest
        return mean, mp.sqrt(second - mean * mean)


def moments_of_maximum(n):
    """Mean and variance of the largest of n normals; n need not be whole."""
    step = mp.mpf(1) / 96
    total = first = second = mp.mpf(0)
    for k in range(-8 * 96, 14 * 96):
        x = k * step
        tail = mp.ncdf(-x)
        if n * tail > 110:
            continue
        f = n * phi(x) * mp.exp((n - 1) * mp.log1p(-tail)) * step
        total += f
        first += f * x
        second += f * x * x
    assert abs(total - 1) < mp.mpf(10)**-25, total
    return first, second - first * first


def covariance_of_extremes(n):
    """Covariance of the smallest and the largest of n >= 100 normals, as a float: it is under a hundredth of d3^2.

    Integral over the plane of P(min <= x, max <= y) - P(min <= x) P(max <= y), with x = -s, y = t:
    (1-p)^n (1-q)^n (1 - (1 - r)^n), p, q the tails beyond s and t, r = pq/((1-p)(1-q)).
    """
    n = float(n)
    step = 1 / math.sqrt(2 * math.log(n)) / 6
    grid = []
    for k in range(int(-1 / step), int(12 / step)):
        tail = float(mp.ncdf(-k * mp.mpf(step)))
        if n * tail < 80 and tail > 1e-25:
            grid.append((k, tail, math.exp(n * math.log1p(-tail))))
    terms = []
    for k, p, ep in grid:
        for j, q, eq in grid:
            if k + j <= 0 or n * p * q < 1e-24:
                continue
            r = p * q / ((1 - p) * (1 - q))
            if r < 1:
                terms.append(-ep * eq * math.expm1(n * math.log1p(-r)))
    return math.fsum(terms) * step * step


def range_constants_of_large(n):
    mean, variance = moments_of_maximum(n)
    return 2 * mean, mp.sqrt(2 * variance - 2 * mp.mpf(covariance_of_extremes(n)))


def c4(n):
    return mp.sqrt(mp.mpf(2) / (n - 1)) * mp.gamma(mp.mpf(n) / 2) / mp.gamma(mp.mpf(n - 1) / 2)


MEDIAN_PANELS = panels(1, 4, 20)


def median_grid(m):
    """Step and number of steps for functions that fall like Phi(c)^m (1 - Phi(c))^m."""
    deviation = 1 / mp.sqrt(mp.mpf("1.273") * max(m, 1))
    return deviation / 2, 34


def median_sd_odd(n):
    m = (mp.mpf(n) - 1) / 2
    step, count = median_grid(m)
    factor = mp.gamma(mp.mpf(n) + 1) / mp.gamma(m + 1)**2
    total = mp.mpf(0)
    for k in range(1, count):
        x = k * step
        tail = mp.ncdf(-x)
        total += 2 * x * x * phi(x) * mp.exp(m * (mp.log(tail) + mp.log1p(-tail)))
    return mp.sqrt(factor * total * step)


def median_sd_even(n):
    """e^2 = E X(m)^2 - E D^2/4, D = X(m+1) - X(m), E D^2 = 2 C(n, m) integral over s < t of Phi(s)^m (1-Phi(t))^m."""
    m = mp.mpf(n) / 2
    step, count = median_grid(m)
    second = mp.mpf(0)
    for k in range(-count, count + 1):
        x = k * step
        low, high = mp.ncdf(x), mp.ncdf(-x)
        second += x * x * phi(x) * mp.exp((m - 1) * mp.log(low) + m * mp.log(high))
    second *= step * mp.gamma(mp.mpf(n) + 1) / (mp.gamma(m) * mp.gamma(m + 1))
    end = 2 * mp.findroot(lambda u: 2 * m * mp.log(mp.ncdf(-u) * 2) + 75, 75 / (1.6 * (m + 5)), tol=1e-6)
    gap = mp.mpf(0)
    for u, weight in MEDIAN_PANELS:
        half = u * end / 2
        line = mp.mpf(0)
        for k in range(count):
            x = k * step
            line += (1 if k == 0 else 2) * mp.exp(m * mp.log(mp.ncdf(x - half) * mp.ncdf(-x - half)))
        gap += weight * line
    gap *= end * step * 2 * mp.gamma(mp.mpf(n) + 1) / mp.gamma(m + 1)**2
    return mp.sqrt(second - gap / 4)


def median_sd(n):
    return median_sd_odd(n) if n % 2 else median_sd_even(n)


def chebyshev(function, low, high, count):
    """Coefficients of the polynomial through `count` Chebyshev points; the first is halved already."""
    angles = [(mp.mpf(k) + mp.mpf(1) / 2) * mp.pi / count for k in range(count)]
    values = [function((low + high) / 2 + (high - low) / 2 * mp.cos(a)) for a in angles]
    result = []
    for j in range(count):
        total = sum(v * mp.cos(j * a) for v, a in zip(values, angles)) * 2 / count
        result.append(total / 2 if j == 0 else total)
    return result


def text(x, digits=DIGITS):
    return mp.nstr(x, digits, strip_zeros=False, min_fixed=-3, max_fixed=4)


def row(n, grid):
    d2, d3 = grid.moments(n)
    c = c4(n)
    return n, d2, d3, c, mp.sqrt(1 - c * c), median_sd(n)


BANNER = """// SPDX-License-Identifier: Apache-2.0
// Generated by tools/control_constants.py: change the program, not this file.
#pragma once
"""


def engine_header(rows, d2_series, d3_series, odd_series, even_series):
    out = [BANNER, "#include <cstdint>", "", "namespace orvspc::engine::statistics::control_constants {", "",
           "struct Row {", "  double d2, d3, c4, c5, median_sd;", "};", "",
           "inline constexpr std::int32_t kFirst = 2;", f"inline constexpr std::int32_t kLast = {TABLE_LAST};", "",
           "// Sample sizes kFirst to kLast.", "inline constexpr Row kTable[] = {"]
    for n, *values in rows:
        out.append("    {" + ", ".join(text(v) for v in values) + f"}},  // {n}")
    out += ["};", ""]
    for name, note, series in [
            ("kD2Series", "Chebyshev coefficients in log n, log kLast to log 2^31.", d2_series),
            ("kD3Series", "The same for d3.", d3_series),
            ("kMedianOddSeries",
             "Chebyshev coefficients of sqrt(2n/pi) e(n) in 1/n, 0 to 1/kLast, for odd n.", odd_series),
            ("kMedianEvenSeries", "The same for even n.", even_series)]:
        out += [f"// {note}", f"inline constexpr double {name}[] = {{"]
        out += [f"    {mp.nstr(v, DIGITS, strip_zeros=False, min_fixed=0, max_fixed=0)}," for v in series]
        out += ["};", ""]
    out += ["}  // namespace orvspc::engine::statistics::control_constants", ""]
    return "\n".join(out)


def reference_header(rows):
    out = [BANNER, "#include <cstdint>", "", "namespace orvspc::certified {", "",
           "// Constants by numerical integration with 40 digits, written with 20.",
           "struct ControlConstantsRow {", "  std::int32_t n;", "  double d2, d3, c4, c5, median_sd;", "};", "",
           "inline constexpr ControlConstantsRow kControlConstants[] = {"]
    for n, *values in rows:
        out.append(f"    {{{n}, " + ", ".join(text(v) for v in values) + "},")
    out += ["};", "", "}  // namespace orvspc::certified", ""]
    return "\n".join(out)


def trimmed(series):
    """Without the last coefficients that no double can see."""
    while abs(series[-1]) < abs(series[0]) * mp.mpf(10)**-18:
        series = series[:-1]
    return series


def generate():
    grid = RangeDistribution()
    rows = [row(n, grid) for n in range(2, TABLE_LAST + 1)]
    samples = [row(n, grid) for n in SAMPLES]
    cache = {}

    def range_at(t):
        key = mp.nstr(t, 30)
        if key not in cache:
            cache[key] = range_constants_of_large(mp.exp(t))
        return cache[key]

    ends = mp.log(TABLE_LAST), mp.log(LARGEST)
    d2_series = trimmed(chebyshev(lambda t: range_at(t)[0], *ends, 36))
    d3_series = trimmed(chebyshev(lambda t: range_at(t)[1], *ends, 36))
    scale = lambda n: mp.sqrt(2 * n / mp.pi)
    odd = trimmed(chebyshev(lambda x: scale(1 / x) * median_sd_odd(1 / x), mp.mpf(0), mp.mpf(1) / TABLE_LAST, 14))
    even = trimmed(chebyshev(lambda x: scale(1 / x) * median_sd_even(1 / x), mp.mpf(0), mp.mpf(1) / TABLE_LAST, 14))
    return {
        "engine/statistics/control_constants_table.h": engine_header(rows, d2_series, d3_series, odd, even),
        "tests/certified/control_constants_reference.h": reference_header(rows + samples),
    }


NUMBER = re.compile(r"-?\d+\.\d+(?:e[-+]\d+)?")


def same(there, content):
    """Equal but for numbers that differ by less than a double can show: mathematical libraries round differently."""
    old, new = NUMBER.findall(there), NUMBER.findall(content)
    if NUMBER.sub("#", there) != NUMBER.sub("#", content) or len(old) != len(new):
        return False
    return all(abs(mp.mpf(a) - mp.mpf(b)) <= max(1, abs(mp.mpf(b))) * mp.mpf(10)**-17 for a, b in zip(old, new))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="compare with the files that are there")
    check = parser.parse_args().check
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    different = False
    for name, content in generate().items():
        path = os.path.join(root, name)
        if not check:
            with open(path, "w", encoding="utf-8") as file:
                file.write(content)
            continue
        with open(path, encoding="utf-8") as file:
            there = file.read()
        if not same(there, content):
            different = True
            sys.stdout.writelines(difflib.unified_diff(there.splitlines(True), content.splitlines(True), name, "new"))
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
