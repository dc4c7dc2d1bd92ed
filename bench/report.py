"""The table of what was measured."""

import csv
import sys

SENDERS = ("boards", "utility", "sb", "packets", "bytes")


class Report:
    """Rows of figures, the one that counts beside its goal."""

    columns = ("group", "figure", "unit", *SENDERS, "other", "result", "goal", "met")

    def __init__(self):
        self.rows = []

    def add(self, group, figure, unit, values, result="", goal="", met=None):
        numbers = [number(values.get(name)) for name in (*SENDERS, "other")]
        verdict = "" if met is None else "yes" if met else "NO"
        self.rows.append((group, figure, unit, *numbers, result, goal, verdict))
        print(".", end="", file=sys.stderr, flush=True)

    def table(self):
        lines = [self.columns, *self.rows]
        widths = [max(len(line[i]) for line in lines) for i in range(len(self.columns))]
        for line in lines:
            cells = [
                cell.rjust(width) if 3 <= i <= 8 else cell.ljust(width)
                for i, (cell, width) in enumerate(zip(line, widths))
            ]
            print("  ".join(cells).rstrip())

    def write(self, path):
        with path.open("w", newline="", encoding="utf-8") as file:
            writer = csv.writer(file, lineterminator="\n")
            writer.writerow(self.columns)
            writer.writerows(self.rows)


def number(value):
    if value is None:
        return ""
    return f"{value:.4g}" if abs(value) < 1000 else f"{value:.0f}"
