# SPDX-License-Identifier: BSD-2-Clause
"""Whether what was measured now and then stays what it is."""

import statistics

SHARE_MAX = 0.02


def quarters(samples):
    """The means of four quarters of the run."""
    count = len(samples)
    return [statistics.fmean(samples[n * count // 4:(n + 1) * count // 4]) for n in range(4)]


def growth(samples):
    """From the second quarter to the last one. The first is left out: caches fill in it, and the heap takes
    the size that it needs."""
    _, second, _, last = quarters(samples)
    return last - second


def is_flat(samples, slack):
    """Whether it grows by no more than two hundredths, or SLACK."""
    return growth(samples) <= max(SHARE_MAX * quarters(samples)[1], slack)
