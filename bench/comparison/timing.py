"""Measuring whole processes: everything in one table is run in turns, so that what else the machine
does falls on all alike."""

import os
import statistics
import subprocess
import time
from dataclasses import dataclass, field
from typing import Callable


@dataclass
class Job:
    """A command line (a list, or a text for the shell), run in `cwd` after `before`."""

    name: str
    words: list | str
    cwd: str = "."
    env: dict = field(default_factory=dict)
    before: Callable = lambda: None


@dataclass
class Measured:
    name: str
    seconds: list
    processor: list

    @property
    def median(self):
        return statistics.median(self.seconds)

    @property
    def processor_median(self):
        return statistics.median(self.processor)

    @property
    def spread(self):
        """Half the distance between the quartiles, relative to the median."""
        if len(self.seconds) < 4:
            return (max(self.seconds) - min(self.seconds)) / 2 / self.median
        first, _, third = statistics.quantiles(self.seconds, n=4)
        return (third - first) / 2 / self.median


def run_once(job):
    """(wall seconds, processor seconds) of one run, which has to succeed."""
    job.before()
    before = os.times()
    began = time.perf_counter()
    done = subprocess.run(
        job.words,
        shell=isinstance(job.words, str),
        cwd=job.cwd,
        env={**os.environ, **job.env},
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        check=False,
    )
    seconds = time.perf_counter() - began
    after = os.times()
    if done.returncode != 0:
        raise SystemExit(f"{job.name} failed: {done.stderr.decode(errors='replace')[-2000:]}")
    used = after.children_user + after.children_system - before.children_user - before.children_system
    return seconds, used


def measure(jobs, rounds):
    """Runs every job `rounds` times after one that does not count."""
    measured = [Measured(job.name, [], []) for job in jobs]
    for number in range(rounds + 1):
        for job, result in zip(jobs, measured):
            seconds, used = run_once(job)
            if number > 0:
                result.seconds.append(seconds)
                result.processor.append(used)
    return measured


def measure_starts(spawn_timer, commands, rounds):
    """[(name, median, lower and upper quartile in seconds)] of programs that end at once."""
    words = [str(spawn_timer), str(rounds)]
    for _, command in commands:
        words += [str(len(command)), *command]
    output = subprocess.run(words, capture_output=True, text=True, check=True).stdout
    rows = []
    for (name, _), line in zip(commands, output.splitlines()):
        median, low, high = (float(number) / 1e9 for number in line.split())
        rows.append((name, median, low, high))
    return rows
