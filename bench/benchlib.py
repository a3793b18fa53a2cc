"""Shared timing helpers: ratios against a baseline measured in the same run."""
import gc
import time


def time_loop(fn, n):
    gc.disable()
    try:
        start = time.time()
        fn(n)
        return time.time() - start
    finally:
        gc.enable()


def median(values):
    values = sorted(values)
    mid = len(values) // 2
    return values[mid] if len(values) % 2 else (values[mid - 1] + values[mid]) / 2.0


def ratios(baseline, candidates, n, rounds):
    """Runs baseline and each candidate alternately; returns the median
    candidate/baseline time ratio per candidate and the median baseline
    seconds per call."""
    per = dict((name, []) for name in candidates)
    base_times = []
    for _ in range(rounds):
        b = time_loop(baseline, n)
        base_times.append(b / n)
        for name, fn in candidates.items():
            per[name].append(time_loop(fn, n) / b)
    return dict((name, median(v)) for name, v in per.items()), median(base_times)
