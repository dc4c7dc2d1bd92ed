"""What uploads cost and how well they use their lines."""

import statistics

from report import SENDERS
from running import (
    BITS_PER_BYTE,
    BLOCK,
    BLOCK_ON_LINE,
    MIB,
    Upload,
    in_turns,
    medians,
    percentile,
    uploads_in_turns,
)


def cpu_per_mib(size):
    return lambda run: run["cpu"] * 1e3 / size * MIB


def measure_upload(shop, extent, report):
    """On lines that take no time. Those that write a byte per call take so long that less will do
    for them."""
    rounds, large, small = extent.rounds, extent.large_upload, extent.upload
    whole = uploads_in_turns(shop, rounds, large, ("boards", "sb", "packets", "ready"))
    cpu = medians(whole, cpu_per_mib(large))
    of_floor = cpu["boards"] / cpu["packets"]
    report.add("upload", "kvo-boards: processor time per MiB; other: no checksums", "ms",
               {**cpu, "other": cpu["ready"]},
               f"{of_floor:.2f} x packets, {cpu['boards'] / cpu['sb']:.2f} x sb",
               "<= 1.30 x packets", round(of_floor, 2) <= 1.30)
    single = uploads_in_turns(shop, rounds, small, ("utility", "bytes"))
    cpu = medians(single, cpu_per_mib(small))
    of_floor = cpu["utility"] / cpu["bytes"]
    report.add("upload", "utility: processor time per MiB", "ms", cpu,
               f"{of_floor:.3f} x bytes", "<= 1.05 x bytes", round(of_floor, 2) <= 1.05)
    measure_straightness(shop, extent, report)


def measure_straightness(shop, extent, report):
    """The longer image is to cost as much per MiB; what a start costs shows in the shorter one."""
    for sender, program, size in (("boards", "kvo-boards", extent.large_upload),
                                  ("utility", "utility", extent.upload)):
        actions = {name: lambda size=size: Upload(shop, sender, size).outcome()["cpu"] / size * MIB
                   for name, size in (("small", size), ("large", 4 * size))}
        cpu = medians(in_turns(min(extent.rounds, 3), **actions), lambda value: 1e3 * value)
        ratio = cpu["large"] / cpu["small"]
        report.add("upload", f"{program}: the same, image 4 times as large; other: usual size",
                   "ms", {sender: cpu["large"], "other": cpu["small"]},
                   f"{ratio:.3f} x other", "<= 1.05 x other", round(ratio, 2) <= 1.05)


def line_time(line, rate):
    return line["blocks"] * BLOCK_ON_LINE * BITS_PER_BYTE / rate


def efficiency(line, rate):
    return 100 * line_time(line, rate) / line["data"]


def measure_line(shop, extent, report, rate, size):
    group = f"line {rate}"
    rounds = extent.rounds if rate == 1000000 else min(extent.rounds, 3)
    results = uploads_in_turns(shop, rounds, size, SENDERS, rate)
    share = medians(results, lambda run: efficiency(run["lines"][0], rate))
    of_mib = {name: MIB / BLOCK * BLOCK_ON_LINE * BITS_PER_BYTE / rate * 100 / value
              for name, value in share.items()}
    report.add(group, "time for the blocks of 1 MiB", "s", of_mib)
    ours, utility = share["boards"] / share["utility"], share["utility"] / share["bytes"]
    report.add(group, "kvo-boards: efficiency", "%", share,
               f"{ours:.3f} x utility", ">= 1.00 x utility", round(ours, 2) >= 1)
    report.add(group, "utility: efficiency", "%", share,
               f"{utility:.3f} x bytes", ">= 1.00 x bytes", round(utility, 2) >= 1)
    measure_idle_times(report, group, results)
    if rate == 1000000:
        cpu = medians(results, cpu_per_mib(size))
        of_floor = cpu["boards"] / cpu["packets"]
        report.add(group, "processor time per MiB, start included", "ms", cpu,
                   f"{of_floor:.2f} x packets, {cpu['boards'] / cpu['sb']:.2f} x sb")


def measure_idle_times(report, group, results):
    gaps = {name: [gap * 1e6 for run in runs for gap in run["lines"][0]["gaps"]]
            for name, runs in results.items()}
    for name, part in (("median", 0.5), ("99th percentile", 0.99)):
        idle = {sender: percentile(values, part) for sender, values in gaps.items()}
        report.add(group, f"idle after an acknowledgement: {name}", "us", idle)


def many_uploads(shop, sender, count, size, rate):
    """At once: kvo-boards serves all of them by one run, the others by one each."""
    served = count if sender == "boards" else 1
    uploads = [Upload(shop, sender, size, rate, count=served) for _ in range(count // served)]
    runs = [upload.outcome() for upload in uploads]
    all_lines = [line for run in runs for line in run["lines"]]
    shares = [efficiency(line, rate) for line in all_lines]
    return {
        "efficiency": statistics.median(shares),
        "least": min(shares),
        "load": 100 * sum(run["cpu"] for run in runs) / sum(line_time(line, rate) for line in all_lines),
    }


def measure_boards(shop, extent, report):
    rate, single, most = 1000000, {}, {}
    for count in extent.boards:
        senders = ["boards", "packets"]
        senders += ["utility", "bytes"] if count <= extent.most_utilities else []
        results = in_turns(min(extent.rounds, 2), **{
            sender: lambda sender=sender: many_uploads(shop, sender, count, extent.fast_line, rate)
            for sender in senders})
        share = medians(results, lambda run: run["efficiency"])
        single = single or share
        kept = {name: share[name] / single[name] for name in share}
        most.update({name: count for name, value in kept.items() if value >= 0.95})
        goal = (">= 0.95 x one", round(kept["boards"], 2) >= 0.95) if count <= 16 else ()
        report.add("boards", f"{count} at once: efficiency of each", "%", share,
                   ", ".join(f"{name} {value:.2f}" for name, value in kept.items() if name in
                             ("boards", "utility")) + " x one", *goal)
        report.add("boards", f"{count} at once: the slowest", "%",
                   medians(results, lambda run: run["least"]))
        load = medians(results, lambda run: run["load"])
        report.add("boards", f"{count} at once: processor share per busy line", "%", load)
    report.add("boards", "most boards at once that keep 0.95 x one", "", most)
