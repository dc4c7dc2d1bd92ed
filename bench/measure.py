#!/usr/bin/env python3
"""Runs the benchmarks; docs/performance.md says what they measure and why.

All that is compared is run in turns (A B A B), and compared by the medians of these runs.

    bench/measure.py BUILD-FOLDER [--quick]
"""

import argparse
import sys
from dataclasses import dataclass
from pathlib import Path

import lines
import programs
from report import Report
from running import KIB, MIB, Failure, Workshop
from summary import summary


@dataclass
class Extent:
    """How much is run: enough for medians in less than eight minutes, or each thing once."""

    rounds: int
    start_rounds: int
    upload: int
    large_upload: int
    slow_line: int
    fast_line: int
    boards: tuple
    most_utilities: int
    micro_seconds: float


FULL = Extent(5, 41, 512 * KIB, 4 * MIB, 32 * KIB, 256 * KIB, (1, 4, 16, 32, 64), 16, 0.2)
QUICK = Extent(1, 1, 16 * KIB, 64 * KIB, 4 * KIB, 16 * KIB, (1, 2), 2, 0.01)


def measure(shop, extent, report):
    lines.measure_upload(shop, extent, report)
    lines.measure_line(shop, extent, report, 115200, extent.slow_line)
    lines.measure_line(shop, extent, report, 1000000, extent.fast_line)
    lines.measure_boards(shop, extent, report)
    programs.measure_memory(shop, extent, report)
    programs.measure_start(shop, extent, report)
    programs.measure_questions(shop, extent, report)
    programs.measure_own_work(shop, extent, report)
    print(file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description="Runs the benchmarks.")
    parser.add_argument("build", type=Path)
    parser.add_argument("--quick", action="store_true", help="each thing once, to see it work")
    arguments = parser.parse_args()
    report = Report()
    try:
        measure(Workshop(arguments.build), QUICK if arguments.quick else FULL, report)
    except Failure as failure:
        report.table()
        sys.exit(f"bench: {failure}")
    report.table()
    report.write(arguments.build / "results.csv")
    (arguments.build / "summary.md").write_text(summary(report), encoding="utf-8")


if __name__ == "__main__":
    main()
