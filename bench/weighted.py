# SPDX-License-Identifier: Apache-2.0
"""python3 weighted.py DATABASE ewma|cusum: reads a million values from a database with one row a
value and draws no chart of them: an EWMA by a filter, or a cusum by a plain loop, with their limits
and signals. Prints the processor time in seconds, the last point and the number of signals."""

import sqlite3
import sys
import time

import numpy
import scipy.signal

MEAN, SIGMA = 25.0, 0.02


def ewma(x, weight=0.2, width=3.0):
    z, _ = scipy.signal.lfilter([weight], [1.0, weight - 1.0], x, zi=[(1.0 - weight) * MEAN])
    t = numpy.arange(1, len(x) + 1)
    half = width * SIGMA * numpy.sqrt(
        weight / (2.0 - weight) * (1.0 - (1.0 - weight) ** (2.0 * t)))
    return z[-1], int(numpy.count_nonzero(numpy.abs(z - MEAN) > half))


def cusum(x, k=0.5, h=5.0):
    upper = lower = 0.0
    uppers, lowers = [], []
    signals = 0
    for z in ((x - MEAN) / SIGMA).tolist():
        upper = max(0.0, upper + z - k)
        lower = max(0.0, lower - z - k)
        uppers.append(upper)
        lowers.append(lower)
        signals += upper > h or lower > h
    return upper, signals


start = time.process_time()
rows = sqlite3.connect(sys.argv[1]).execute(
    "SELECT val FROM subgroup JOIN value ON sgid = id"
    " WHERE part = 1 AND process = 1 AND test = 1 ORDER BY time, id, tsno")
values = numpy.fromiter((row[0] for row in rows), float)
last, signals = {"ewma": ewma, "cusum": cusum}[sys.argv[2]](values)
print(time.process_time() - start, repr(last), signals)
