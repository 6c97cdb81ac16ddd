#!/usr/bin/python3
"""Prints the numbers that statistics_test.cpp holds, computed by NumPy and SciPy (Debian: python3-numpy,
python3-scipy) instead of the tool's own code."""

import numpy as np
from scipy import fft, special, stats


def load(count, persistence):
    """The test's series: a load that persists, driven by a small linear congruential generator."""
    state, value, values = 12345, 0.0, []
    for _ in range(count):
        state = (state * 1103515245 + 12345) % 2**31
        value = persistence * value + state / 2**31 - 0.5
        values.append(40 + 10 * value)
    return np.array(values)


def autocovariance(series, lags):
    deviations = series - series.mean()
    full = np.correlate(deviations, deviations, mode="full") / len(series)
    return full[len(series) - 1:][:lags + 1]


def long_run_variance(series, components):
    return np.mean(fft.dct(series - series.mean(), type=2, norm="ortho")[1:components + 1] ** 2)


def block_length(series):
    """Patton, Politis and White (2009), for the stationary bootstrap."""
    n = len(series)
    run = max(5, int(np.ceil(np.log10(n))))
    longest = int(np.ceil(np.sqrt(n))) + run
    covariance = autocovariance(series, longest)
    small = np.abs(covariance / covariance[0]) < 2 * np.sqrt(np.log10(n) / n)
    followed = [m for m in range(longest - run + 1) if small[m + 1:m + run + 1].all()]
    width = min(2 * max(followed[0], 1), longest) if followed else longest
    lags = np.arange(-width, width + 1)
    flat_top = np.clip(2 * (1 - np.abs(lags) / width), 0, 1)
    terms = flat_top * covariance[np.abs(lags)]
    g = np.sum(np.abs(lags) * terms)
    d = 2 * np.sum(terms) ** 2
    return min((2 * g**2 / d) ** (1 / 3) * n ** (1 / 3), np.ceil(min(3 * np.sqrt(n), n / 3)))


def stationary_bootstrap_error(series, probability, block, resamples):
    random = np.random.default_rng(1)
    n, results = len(series), []
    for _ in range(resamples):
        starts = random.integers(n, size=n)
        fresh = random.random(n) < 1 / block
        fresh[0] = True
        begun = np.maximum.accumulate(np.where(fresh, np.arange(n), 0))
        places = (starts[begun] + np.arange(n) - begun) % n
        results.append(np.quantile(series[places], probability))
    return np.std(results)


def show(name, *values):
    print(f"{name:34}", *(f"{value:.12g}" for value in values))


small = np.array([3.5, -1, 4, 4, 10, 2.25, 7])
show("quantiles 0, .05, .5, .95, 1", *np.quantile(small, [0, 0.05, 0.5, 0.95, 1]))
show("mean, variance", small.mean(), small.var())

for t, freedom in [(2.5, 3), (0.1, 16), (6, 16), (-12, 40.5), (40, 8), (3, 1)]:
    show(f"tails t={t} freedom={freedom}", 2 * stats.t.sf(abs(t), freedom))
for probability, freedom in [(0.05, 10), (1e-5, 16), (0.5, 2)]:
    show(f"limit p={probability} freedom={freedom}", stats.t.isf(probability / 2, freedom))
show("incomplete beta", special.betainc(2, 3, 0.4), special.betainc(8, 0.5, 0.999), special.betainc(0.5, 20, 0.01))

for persistence in (0, 0.6, 0.9):
    series = load(1000, persistence)
    variance = long_run_variance(series, 12)
    show(f"persistence {persistence}: covariances", *autocovariance(series, 3))
    show("  long-run variance, effective n", variance, min(1000, 1000 * series.var() / variance))
    show("  block length", block_length(series))
    show("  error of p95", stationary_bootstrap_error(series, 0.95, block_length(series), 20000))
swing = 40 + 30 * np.sin(2 * np.pi * np.arange(1000) / 64)
show("swing: block length", block_length(swing))

left, right = np.array([10.0, 12, 11, 13]), np.array([15.0, 14, 19])
welch = stats.ttest_ind(right, left, equal_var=False)
show("Welch", welch.statistic, welch.pvalue)
variances = left.var(ddof=1) / 4, right.var(ddof=1) / 3
freedom = sum(variances) ** 2 / (variances[0] ** 2 / 3 + variances[1] ** 2 / 2)
show("  freedom, margin at 0.01", freedom, stats.t.isf(0.005, freedom) * np.sqrt(sum(variances)))
power = lambda change: stats.nct.sf(stats.t.isf(0.005, 30), 30, change)
smallest = stats.t.isf(0.005, 30) + stats.t.isf(0.1, 30)
show("smallest, its power, freedom 30", smallest, power(smallest))
t = (16 - left.mean()) / (left.std(ddof=1) * np.sqrt(1 + 1 / 4))
show("one against four", t, 2 * stats.t.sf(t, 3))
