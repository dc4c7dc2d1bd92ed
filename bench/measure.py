#!/usr/bin/env python3
"""Runs the benchmarks; docs/performance.md says what they measure and why.

All that is compared is run in turns (A B A B), and compared by the medians of these runs.

    bench/measure.py BUILD-FOLDER [--quick]
"""

import argparse
import binascii
import csv
import json
import os
import random
import statistics
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

KIB, MIB = 1024, 1024 * 1024
BITS_PER_BYTE = 10
BLOCK = 1024
BLOCK_ON_LINE = 3 + BLOCK + 2 + 1  # with its acknowledgement
SENDERS = ("ours", "floor", "sb")


@dataclass
class Extent:
    """How much is run: enough for medians in less than five minutes, or each thing once."""

    rounds: int
    start_rounds: int
    upload: int
    large_upload: int
    slow_line: int
    fast_line: int
    boards: tuple
    micro_seconds: float


FULL = Extent(5, 41, 512 * KIB, 2 * MIB, 32 * KIB, 256 * KIB, (1, 4, 16, 32), 0.2)
QUICK = Extent(1, 1, 16 * KIB, 64 * KIB, 4 * KIB, 16 * KIB, (1, 2), 0.01)


# ---- Running things -------------------------------------------------------------------------------


class Failure(Exception):
    pass


class Workshop:
    """The programs, and the files that they need."""

    def __init__(self, build):
        self.folder = build / "bench" / "run"
        self.folder.mkdir(parents=True, exist_ok=True)
        self.utility = build / "src" / "kvo-bootloader-tms"
        self.floor = build / "bench" / "kvo-bench-floor"
        self.receiver = build / "bench" / "kvo-bench-receiver"
        self.account = build / "bench" / "kvo-bench-account"
        self.bare = build / "bench" / "kvo-bench-bare"
        self.micro = build / "bench" / "kvo-bench-micro"
        self.idle_tools = self.make_idle_tools()

    def make_idle_tools(self):
        """An environment in which the check of the port costs next to nothing."""
        folder = self.folder / "tools"
        folder.mkdir(exist_ok=True)
        for tool in ("lsof", "ps", "grep"):
            (folder / tool).unlink(missing_ok=True)
            (folder / tool).symlink_to("/bin/true")
        return {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}"}

    def image(self, size):
        """A file of `size` bytes, the same in every run."""
        path = self.folder / f"{size}_tv.bin"
        if not path.exists():
            path.write_bytes(random.Random(size).randbytes(size))
        return path

    def packets(self, image):
        """What an upload of `image` puts on the line, ready-made for the floor."""
        path = image.with_suffix(".packets")
        if not path.exists():
            content = image.read_bytes()
            blocks = [content[i : i + BLOCK] for i in range(0, len(content), BLOCK)]
            stream = packet(0, b"\0" * 128)
            for number, data in enumerate(blocks, start=1):
                stream += packet(number, data.ljust(BLOCK, b"\xff"))
            path.write_bytes(stream + b"\x04" + packet(0, b"\0" * 128))
        return path


def packet(number, data):
    header = bytes([2 if number else 1, number % 256, 255 - number % 256])
    return header + data + binascii.crc_hqx(data, 0).to_bytes(2, "big")


class Run:
    """A command under way, whose cost is taken."""

    count = 0

    def __init__(self, shop, command, line=None, environment=None, may_fail=False):
        Run.count += 1
        self.command, self.may_fail = [str(word) for word in command], may_fail
        self.result = shop.folder / f"account-{Run.count}.json"
        self.process = subprocess.Popen(
            [str(shop.account), str(self.result), *self.command],
            stdin=line if line is not None else subprocess.DEVNULL,
            stdout=line if line is not None else subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            env=environment,
        )

    def cost(self):
        self.process.wait()
        cost = json.loads(self.result.read_text())
        self.result.unlink()
        if cost["status"] != 0 and not self.may_fail:
            raise Failure(f"status {cost['status']}: {' '.join(self.command)}")
        return cost


class Receiver:
    def __init__(self, shop, *arguments):
        self.process = subprocess.Popen(
            [str(shop.receiver), *map(str, arguments)], stdout=subprocess.PIPE, text=True
        )
        self.device = self.process.stdout.readline().strip()

    def reception(self):
        output = self.process.stdout.read()
        if self.process.wait() != 0:
            raise Failure("the receiver failed")
        return json.loads(output) if output else {}


class Upload:
    """One sender and its receiver. What arrives must be the image, or begin it with `blocks`."""

    def __init__(self, shop, sender, size, rate=None, blocks=None):
        image = shop.image(size)
        arguments = [image]
        arguments += ["--rate", rate] if rate else []
        arguments += ["--ask"] if sender == "sb" else []
        arguments += ["--most-blocks", blocks] if blocks else []
        self.receiver = Receiver(shop, *arguments)
        self.run = self.start(shop, sender, image, may_fail=blocks is not None)

    def start(self, shop, sender, image, may_fail):
        device = self.receiver.device
        if sender == "sb":
            line = os.open(device, os.O_RDWR | os.O_NOCTTY)
            run = Run(shop, ["sb", "-k", "-q", image], line)
            os.close(line)
            return run
        if sender == "floor":
            command = [shop.floor, device, shop.packets(image)]
        else:
            command = [shop.utility, device, 1000000, image, "--no_active_bootloader"]
        return Run(shop, command, environment=shop.idle_tools, may_fail=may_fail)

    def outcome(self):
        cost = self.run.cost()
        return {**cost, **self.receiver.reception()}

    def outcome_of_beginning(self):
        """The sender is stopped when `blocks` have come."""
        self.receiver.process.stdout.readline()
        self.run.process.terminate()
        return self.run.cost()


def in_turns(rounds, **actions):
    """Runs each of the actions once a round; returns all results of each."""
    results = {name: [] for name in actions}
    for _ in range(rounds):
        for name, action in actions.items():
            results[name].append(patiently(action))
    return results


def patiently(action):
    """A machine that is busy otherwise may let an answer come later than senders wait for it."""
    for _ in range(3):
        try:
            return action()
        except Failure as failure:
            print(f"\nbench: again, as it failed: {failure}", file=sys.stderr)
    return action()


def upload_in_turns(shop, rounds, size, senders=SENDERS, rate=None):
    def action(sender):
        return lambda: Upload(shop, sender, size, rate).outcome()

    return in_turns(rounds, **{sender: action(sender) for sender in senders})


def medians(results, value):
    return {name: statistics.median(map(value, runs)) for name, runs in results.items()}


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


# ---- What is told ---------------------------------------------------------------------------------


class Report:
    """Rows of figures, the one that counts beside its goal."""

    columns = ("group", "figure", "unit", "ours", "floor", "other", "result", "goal", "met")

    def __init__(self):
        self.rows = []

    def add(self, group, figure, unit, values, result="", goal="", met=None):
        numbers = [number(values.get(name)) for name in ("ours", "floor", "other")]
        verdict = "" if met is None else "yes" if met else "NO"
        self.rows.append((group, figure, unit, *numbers, result, goal, verdict))
        print(".", end="", file=sys.stderr, flush=True)

    def table(self):
        lines = [self.columns, *self.rows]
        widths = [max(len(line[i]) for line in lines) for i in range(len(self.columns))]
        for line in lines:
            cells = [
                cell.rjust(width) if 3 <= i <= 5 else cell.ljust(width)
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


def with_sb(values):
    return {"ours": values["ours"], "floor": values["floor"], "other": values["sb"]}


# ---- What is measured -----------------------------------------------------------------------------


def measure_upload(shop, extent, report):
    results = upload_in_turns(shop, extent.rounds, extent.upload)
    mib = extent.upload / MIB
    cpu = medians(results, lambda run: run["cpu"] / mib)
    ratio = cpu["ours"] / cpu["floor"]
    report.add("upload", "processor time per MiB; other: sb", "s", with_sb(cpu),
               f"{ratio:.3f} of floor", "<= 1.05", ratio <= 1.05)
    wall = medians(results, lambda run: run["data"] / mib)
    report.add("upload", "wall time per MiB; other: sb", "s", with_sb(wall),
               f"{wall['ours'] / wall['floor']:.3f} of floor")
    measure_straightness(shop, extent, report)


def measure_straightness(shop, extent, report):
    sizes = {"small": extent.upload, "large": extent.large_upload}
    actions = {
        name: lambda size=size: Upload(shop, "ours", size).outcome()["cpu"] / size * MIB
        for name, size in sizes.items()
    }
    cpu = medians(in_turns(min(extent.rounds, 3), **actions), lambda value: value)
    ratio = cpu["large"] / cpu["small"]
    report.add("upload", "processor time per MiB: image 4 times as large; other: not larger", "s",
               {"ours": cpu["large"], "other": cpu["small"]},
               f"{ratio:.3f} of other", "<= 1.05", ratio <= 1.05)


def line_time(run, rate):
    return run["blocks"] * BLOCK_ON_LINE * BITS_PER_BYTE / rate


def efficiency(rate):
    return lambda run: 100 * line_time(run, rate) / run["data"]


def measure_line(shop, extent, report, rate, size):
    results = upload_in_turns(shop, extent.rounds, size, rate=rate)
    share = medians(results, efficiency(rate))
    of_floor, of_sb = share["ours"] / share["floor"], share["ours"] / share["sb"]
    met = round(of_floor, 2) >= 1 and (of_sb >= 0.98 or rate < 1000000)
    report.add(f"line {rate}", "efficiency; other: sb", "%", with_sb(share),
               f"{of_floor:.3f} of floor, {of_sb:.3f} of sb",
               ">= 1.00, >= 0.98" if rate == 1000000 else ">= 1.00", met)
    gaps = {name: [gap * 1e6 for run in runs for gap in run["gaps"]]
            for name, runs in results.items()}
    for name, part in (("median", 0.5), ("99th percentile", 0.99)):
        idle = {sender: percentile(values, part) for sender, values in gaps.items()}
        report.add(f"line {rate}", f"idle after an ACK: {name}; other: sb", "us", with_sb(idle))


def measure_start(shop, extent, report):
    commands = {"ours": shop.utility, "floor": "/bin/true", "other": shop.bare}
    actions = {name: lambda command=command: Run(shop, [command], may_fail=True).cost()
               for name, command in commands.items()}
    results = in_turns(extent.start_rounds, **actions)
    for figure, part in (("wall", "wall time"), ("cpu", "processor time")):
        start = medians(results, lambda run, figure=figure: run[figure] * 1e3)
        excess = start["ours"] - start["floor"]
        report.add("start", f"usage text: {part}; floor: /bin/true; other: bare C++", "ms", start,
                   f"{excess:+.2f} ms", "<= +2 ms", excess <= 2)


def ping(shop, command, environment=None):
    receiver = Receiver(shop, "--ping")
    cost = Run(shop, [*command[:1], receiver.device, *command[1:]], environment=environment).cost()
    receiver.reception()
    return cost


def measure_ping(shop, extent, report):
    def shell(command):
        return lambda: Run(shop, ["sh", "-c", command], may_fail=True).cost()

    ours, floor = [shop.utility, 1000000, "--command", "0x30"], [shop.floor]
    results = in_turns(
        extent.start_rounds // 2 + 1,
        ours=lambda: ping(shop, ours, shop.idle_tools),
        floor=lambda: ping(shop, floor, shop.idle_tools),
        ours_whole=lambda: ping(shop, ours),
        floor_whole=lambda: ping(shop, floor),
        lsof=shell("lsof /dev/tty"),
        ps=shell("ps -aux | grep [m]inicom"))
    times = medians(results, lambda run: run["wall"] * 1e3)
    excess = times["ours"] - times["floor"]
    report.add("start", "ping answered at once; floor: what it must do, bare", "ms", times,
               f"{excess:+.2f} ms", "<= +2 ms", excess <= 2)
    whole = {"ours": times["ours_whole"], "floor": times["floor_whole"]}
    report.add("start", "the same with the real lsof, ps and grep", "ms", whole)
    for part, time in (("lsof", times["lsof"]), ("ps | grep", times["ps"]), ("pause", 50)):
        report.add("start", f"of that: {part}", "ms", {"floor": time})


def peak_of_upload(shop, size):
    """The peak is there when the image has been read, so large ones needn't arrive whole."""
    if size <= MIB:
        return Upload(shop, "ours", size).outcome()
    return Upload(shop, "ours", size, blocks=16).outcome_of_beginning()


def measure_memory(shop, extent, report):
    sizes = {mib: mib * MIB for mib in (0, 1, 16, 64)}
    results = in_turns(
        min(extent.rounds, 3),
        bare=lambda: Run(shop, [shop.bare]).cost(),
        **{str(mib): lambda size=size: peak_of_upload(shop, size) for mib, size in sizes.items()})
    peak = medians(results, lambda run: run["peak_kib"])
    for mib in sizes:
        excess = peak[str(mib)] / KIB - mib
        report.add("memory", f"peak: image of {mib} MiB; other: bare C++", "KiB",
                   {"ours": peak[str(mib)], "other": peak["bare"]},
                   f"image + {excess:.2f} MiB", "<= 3 MiB", excess <= 3)


def many_uploads(shop, sender, count, size, rate):
    uploads = [Upload(shop, sender, size, rate) for _ in range(count)]
    runs = [upload.outcome() for upload in uploads]
    shares = [efficiency(rate)(run) for run in runs]
    return {
        "efficiency": statistics.median(shares),
        "least": min(shares),
        "load": statistics.median(100 * run["cpu"] / line_time(run, rate) for run in runs),
    }


def measure_boards(shop, extent, report):
    rate, single = 1000000, {}
    for count in extent.boards:
        results = in_turns(
            min(extent.rounds, 2),
            ours=lambda: many_uploads(shop, "ours", count, extent.fast_line, rate),
            floor=lambda: many_uploads(shop, "floor", count, extent.fast_line, rate))
        share = medians(results, lambda run: run["efficiency"])
        single = single or share
        kept = {name: share[name] / single[name] for name in share}
        result = f"{kept['ours']:.2f} of one, floor {kept['floor']:.2f}"
        goal = ()
        if count <= 16:
            met = kept["ours"] >= 0.95 or kept["ours"] >= 0.98 * kept["floor"]
            goal = (">= 0.95 or as floor", met)
        report.add("boards", f"{count} at once: efficiency of each", "%", share, result, *goal)
        report.add("boards", f"{count} at once: the slowest", "%",
                   medians(results, lambda run: run["least"]))
        load = medians(results, lambda run: run["load"])
        report.add("boards", f"{count} at once: processor share of each on a busy line", "%", load,
                   f"time of 2 cores for {200 / load['ours']:.0f}")


def measure_micro(shop, extent, report):
    result = shop.folder / "micro.json"
    subprocess.run(
        [shop.micro, f"--benchmark_out={result}", "--benchmark_out_format=json",
         "--benchmark_repetitions=5", f"--benchmark_min_time={extent.micro_seconds}"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    for benchmark in json.loads(result.read_text())["benchmarks"]:
        if benchmark.get("aggregate_name") == "median":
            time = benchmark["block"] * 1e9 if "block" in benchmark else benchmark["cpu_time"]
            report.add("micro", benchmark["run_name"], "ns", {"ours": time})


def measure(shop, extent):
    report = Report()
    measure_upload(shop, extent, report)
    measure_line(shop, extent, report, 115200, extent.slow_line)
    measure_line(shop, extent, report, 1000000, extent.fast_line)
    measure_start(shop, extent, report)
    measure_ping(shop, extent, report)
    measure_memory(shop, extent, report)
    measure_boards(shop, extent, report)
    measure_micro(shop, extent, report)
    print(file=sys.stderr)
    return report


def main():
    parser = argparse.ArgumentParser(description="Runs the benchmarks.")
    parser.add_argument("build", type=Path)
    parser.add_argument("--quick", action="store_true", help="each thing once, to see it work")
    arguments = parser.parse_args()
    try:
        report = measure(Workshop(arguments.build), QUICK if arguments.quick else FULL)
    except Failure as failure:
        sys.exit(f"bench: {failure}")
    report.table()
    report.write(arguments.build / "results.csv")


if __name__ == "__main__":
    main()
