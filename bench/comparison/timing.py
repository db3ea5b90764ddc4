"""Measuring whole processes: everything in one table is run in turns, so that what else the machine
does falls on all alike."""

import contextlib
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable


@dataclass
class Job:
    """A command line (a list, or a text for the shell), run in `cwd` after `before`, for at most
    `limit` seconds; less often than others when it takes seconds, unless it is `own`."""

    name: str
    words: list | str
    cwd: str = "."
    env: dict = field(default_factory=dict)
    before: Callable = lambda: None
    limit: float = 60
    own: bool = False


@dataclass
class Row:
    """What a job took: seconds of every run, seconds of processor time of every run (or nothing)."""

    name: str
    seconds: list
    processor: list = field(default_factory=list)

    @property
    def median(self):
        return statistics.median(self.seconds)

    @property
    def processor_median(self):
        return statistics.median(self.processor) if self.processor else None

    @property
    def spread(self):
        """Half the distance between the quartiles, relative to the median; nothing for one run."""
        if len(self.seconds) == 1:
            return None
        if len(self.seconds) < 4:
            return (max(self.seconds) - min(self.seconds)) / 2 / self.median
        first, _, third = statistics.quantiles(self.seconds, n=4)
        return (third - first) / 2 / self.median


class Failed(Exception):
    """A job that did not succeed, and why."""


def run_once(job):
    """(wall seconds, processor seconds) of one run. Raises Failed."""
    job.before()
    with tempfile.TemporaryFile() as errors:
        began = time.perf_counter()
        process = subprocess.Popen(
            job.words,
            shell=isinstance(job.words, str),
            cwd=job.cwd,
            env={**os.environ, **job.env},
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=errors,
            start_new_session=True,
        )

        def give_up():
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)

        watch = threading.Timer(job.limit, give_up)
        watch.start()
        _, status, used = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - began
        watch.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        if seconds >= job.limit:
            raise Failed(f"{job.name} takes more than {job.limit:.0f} s")
        if process.returncode != 0:
            errors.seek(0)
            text = errors.read().decode(errors="replace").strip()
            raise Failed(f"{job.name} fails: {' '.join(text.split())[-300:]}")
    return seconds, used.ru_utime + used.ru_stime


def most_rounds(seconds, rounds):
    """How often to run what takes so long."""
    if seconds < 1:
        return rounds
    return min(rounds, 3 if seconds < 5 else 1)


def measure(jobs, rounds):
    """(rows, texts about jobs that were left out). Runs every job `rounds` times, or less often when
    it takes long, after one run that does not count. The first job has to succeed."""
    rows = {job.name: Row(job.name, []) for job in jobs}
    most, left_out = {}, {}
    for number in range(-1, rounds):
        # Each round begins with another job: what a large program leaves behind, memory above all,
        # would otherwise always fall on the same one.
        first = max(number, 0) % len(jobs)
        for job in [*jobs[first:], *jobs[:first]]:
            if job.name in left_out or number >= most.get(job.name, rounds):
                continue
            try:
                seconds, used = run_once(job)
            except Failed as failure:
                if job is jobs[0]:
                    raise SystemExit(str(failure)) from failure
                left_out[job.name] = str(failure)
                continue
            if number < 0:
                most[job.name] = rounds if job.own else most_rounds(seconds, rounds)
                continue
            row = rows[job.name]
            row.seconds.append(seconds)
            row.processor.append(used)
    return [row for name, row in rows.items() if name not in left_out], list(left_out.values())


def peak_memory(job):
    """Bytes of memory that a job with a list of words has at most."""
    job.before()
    words = [sys.executable, Path(__file__).with_name("peak_memory.py"), *job.words]
    output = subprocess.run(words, cwd=job.cwd, env={**os.environ, **job.env}, check=True, capture_output=True)
    return int(output.stdout)


def measure_starts(spawn_timer, commands, rounds):
    """Rows for programs that end at once."""
    words = [str(spawn_timer), str(rounds)]
    for _, command in commands:
        words += [str(len(command)), *command]
    output = subprocess.run(words, capture_output=True, text=True, check=True).stdout
    return [
        Row(name, [float(number) / 1e9 for number in line.split()])
        for (name, _), line in zip(commands, output.splitlines())
    ]
