"""Runs programs against receivers that play the boards, and takes what it cost."""

import binascii
import json
import os
import random
import statistics
import subprocess
import sys
from pathlib import Path

KIB, MIB = 1024, 1024 * 1024
BITS_PER_BYTE = 10
BLOCK = 1024
BLOCK_ON_LINE = 3 + BLOCK + 2 + 1  # with its acknowledgement

# So that a busy machine spoils no run of kvo-boards; it costs nothing.
PATIENT = ("--answer-timeout", 2000)


class Failure(Exception):
    pass


class Workshop:
    """The programs, and the files that they need."""

    def __init__(self, build):
        self.folder = build / "bench" / "run"
        self.folder.mkdir(parents=True, exist_ok=True)
        self.boards = build / "boards" / "kvo-boards"
        self.utility = build / "src" / "kvo-bootloader-tms"
        self.floor = build / "bench" / "kvo-bench-floor"
        self.receiver = build / "bench" / "kvo-bench-receiver"
        self.account = build / "bench" / "kvo-bench-account"
        self.bare = build / "bench" / "kvo-bench-bare"
        self.micro = build / "bench" / "kvo-bench-micro"
        self.idle_tools = self.make_idle_tools()

    def make_idle_tools(self):
        """An environment in which the utility's check of the port costs next to nothing."""
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
            empty = packet(0, b"\0" * 128)
            packets = [packet(number, data.ljust(BLOCK, b"\xff"))
                       for number, data in enumerate(blocks, start=1)]
            path.write_bytes(b"".join([empty, *packets, b"\x04", empty]))
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

    def memory(self):
        """Of the command, then of its children: KiB that each has, of what is shared its part."""
        try:
            command = children(self.process.pid)[0]
            return [proportional_kib(process) for process in (command, *children(command))]
        except (IndexError, OSError) as error:
            raise Failure(f"ended too early: {' '.join(self.command)}") from error


def children(process):
    return Path(f"/proc/{process}/task/{process}/children").read_text().split()


def proportional_kib(process):
    lines = Path(f"/proc/{process}/smaps_rollup").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Pss:"))


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
    """One sender and the receivers of its boards; only kvo-boards serves more than one. What
    arrives must be the image, or begin it with `blocks`."""

    def __init__(self, shop, sender, size, rate=None, blocks=None, count=1):
        image = shop.image(size)
        arguments = [image]
        arguments += ["--rate", rate] if rate else []
        arguments += ["--ask"] if sender == "sb" else []
        arguments += ["--most-blocks", blocks] if blocks else []
        self.receivers = [Receiver(shop, *arguments) for _ in range(count)]
        devices = [receiver.device for receiver in self.receivers]
        self.run = self.start(shop, sender, image, devices, may_fail=blocks is not None)

    def start(self, shop, sender, image, devices, may_fail):
        if sender == "sb":
            line = os.open(devices[0], os.O_RDWR | os.O_NOCTTY)
            run = Run(shop, ["sb", "-k", "-q", image], line)
            os.close(line)
            return run
        if sender == "boards":
            command = [shop.boards, "flash", "--no-switch", "--no-start", *PATIENT, image, *devices]
        elif sender == "utility":
            command = [shop.utility, devices[0], 1000000, image, "--no_active_bootloader"]
        else:
            manner = {"packets": "whole", "ready": "ready", "bytes": "bytes"}[sender]
            command = [shop.floor, devices[0], shop.packets(image), manner]
        return Run(shop, command, environment=shop.idle_tools, may_fail=may_fail)

    def outcome(self):
        """What the run cost, and what each line saw of it."""
        cost = self.run.cost()
        return {**cost, "lines": [receiver.reception() for receiver in self.receivers]}

    def wait_for_blocks(self):
        for receiver in self.receivers:
            receiver.process.stdout.readline()

    def stop(self):
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
    for _ in range(10):
        try:
            return action()
        except Failure as failure:
            print(f"\nbench: repeating what failed: {failure}", file=sys.stderr)
    return action()


def uploads_in_turns(shop, rounds, size, senders, rate=None):
    def action(sender):
        return lambda: Upload(shop, sender, size, rate).outcome()

    return in_turns(rounds, **{sender: action(sender) for sender in senders})


def medians(results, value):
    return {name: statistics.median(map(value, runs)) for name, runs in results.items()}


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]
