"""What the programs cost without their lines: memory, start, their own work."""

import json
import statistics
import subprocess

from running import KIB, MIB, Receiver, Run, Upload, in_turns, medians

# What `info` waits for by itself: 100 ms for each of seven answers, and 20 ms more for the ping's,
# which has no line end.
INFO_PAUSES_MS = 7 * 100 + 20


def memory_of_boards(shop, count, size):
    """While blocks go out: the supervisor's, and the median of the workers'."""
    upload = Upload(shop, "boards", size, rate=1000000, blocks=4, count=count)
    upload.wait_for_blocks()
    supervisor, *workers = upload.run.memory()
    upload.stop()
    return {"supervisor": supervisor, "worker": statistics.median(workers)}


def peak_of_upload(shop, size):
    """The peak is there when the image has been read, so it needn't arrive whole."""
    upload = Upload(shop, "utility", size, blocks=16)
    upload.wait_for_blocks()
    return upload.stop()


def measure_memory(shop, extent, report):
    sizes, rounds, count = (1, 4), min(extent.rounds, 3), extent.most_utilities
    peaks = in_turns(rounds, bare=lambda: Run(shop, [shop.bare]).cost(), **{
        str(mib): lambda size=mib * MIB: peak_of_upload(shop, size) for mib in sizes})
    peak = medians(peaks, lambda run: run["peak_kib"])
    parts = in_turns(rounds, **{
        str(mib): lambda size=mib * MIB: memory_of_boards(shop, count, size) for mib in sizes})
    supervisor = medians(parts, lambda part: part["supervisor"])
    worker = medians(parts, lambda part: part["worker"])
    for mib in sizes:
        own = peak[str(mib)] - mib * KIB
        of_bare = own / peak["bare"]
        report.add("memory", f"utility: peak, image of {mib} MiB; other: bare C++", "KiB",
                   {"utility": peak[str(mib)], "other": peak["bare"]},
                   f"image + {own / KIB:.2f} MiB, {of_bare:.2f} x bare C++",
                   "<= image + 1.10 x bare C++", round(of_bare, 2) <= 1.10)
        beyond = worker[str(mib)] - mib * KIB
        report.add("memory", f"kvo-boards: each of {count} workers, image of {mib} MiB", "KiB",
                   {"boards": worker[str(mib)]}, f"image + {beyond / KIB:.2f} MiB")
        report.add("memory", "kvo-boards: the supervisor", "KiB", {"boards": supervisor[str(mib)]})


def measure_start(shop, extent, report):
    commands = {"boards": [shop.boards, "--version"], "utility": [shop.utility],
                "other": [shop.bare]}
    actions = {name: lambda command=command: Run(shop, command, may_fail=True).cost()
               for name, command in commands.items()}
    results = in_turns(extent.start_rounds, **actions)
    for figure, part in (("wall", "wall time"), ("cpu", "processor time")):
        start = medians(results, lambda run, figure=figure: run[figure] * 1e3)
        excess = max(start["boards"], start["utility"]) - start["other"]
        report.add("start", f"version or usage text: {part}; other: bare C++", "ms", start,
                   f"{excess:+.2f} ms", "<= other + 2 ms", excess <= 2)


def asked(shop, command, environment=None):
    receiver = Receiver(shop, "--ping")
    words = [receiver.device if word == "DEVICE" else word for word in command]
    cost = Run(shop, words, environment=environment).cost()
    receiver.reception()
    return cost


def measure_questions(shop, extent, report):
    def shell(command):
        return lambda: Run(shop, ["sh", "-c", command], may_fail=True).cost()

    ping = [shop.utility, "DEVICE", 1000000, "--command", "0x30"]
    floor, info = [shop.floor, "DEVICE"], [shop.boards, "info", "DEVICE"]
    results = in_turns(
        extent.start_rounds // 4 + 1,
        info=lambda: asked(shop, info),
        utility=lambda: asked(shop, ping, shop.idle_tools),
        bytes=lambda: asked(shop, floor, shop.idle_tools),
        utility_whole=lambda: asked(shop, ping),
        bytes_whole=lambda: asked(shop, floor),
        lsof=shell("lsof /dev/tty"),
        ps=shell("ps -aux | grep [m]inicom"))
    times = medians(results, lambda run: run["wall"] * 1e3)
    excess = times["info"] - INFO_PAUSES_MS
    report.add("start", "info of a bootloader; other: its pauses", "ms",
               {"boards": times["info"], "other": INFO_PAUSES_MS},
               f"{excess:+.1f} ms", "<= other + 20 ms", excess <= 20)
    excess = times["utility"] - times["bytes"]
    report.add("start", "ping answered at once; bytes: the same steps, bare", "ms", times,
               f"{excess:+.2f} ms", "<= bytes + 2 ms", excess <= 2)
    whole = {"utility": times["utility_whole"], "bytes": times["bytes_whole"]}
    report.add("start", "the same with the real lsof, ps and grep", "ms", whole)
    for part, time in (("lsof", times["lsof"]), ("ps | grep", times["ps"]), ("pause", 50)):
        report.add("start", f"of that: {part}", "ms", {"bytes": time})


def measure_own_work(shop, extent, report):
    result = shop.folder / "micro.json"
    subprocess.run(
        [shop.micro, f"--benchmark_out={result}", "--benchmark_out_format=json",
         "--benchmark_repetitions=5", f"--benchmark_min_time={extent.micro_seconds}"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    for benchmark in json.loads(result.read_text())["benchmarks"]:
        if benchmark.get("aggregate_name") == "median":
            time = benchmark["block"] * 1e9 if "block" in benchmark else benchmark["cpu_time"]
            sender = "boards" if "Boards" in benchmark["run_name"] else "utility"
            report.add("own work", benchmark["run_name"], "ns", {sender: time})
