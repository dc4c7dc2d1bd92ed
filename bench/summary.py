"""The figures that users ask for, as a table of Markdown."""

from running import KIB


def summary(report):
    def cells(group, figure, form):
        row = next(row for row in report.rows if row[0] == group and row[1].startswith(figure))
        return [form(float(value)) for value in row[3:5]]

    def time(rate):
        return cells(f"line {rate}", "time for the blocks", lambda seconds: f"{seconds:.1f} s")

    def memory(figure):
        row = [row for row in report.rows if row[0] == "memory" and figure in row[1]][-1]
        return row[9].split(",")[0].replace("image", "the image")

    supervisor = next(row[3] for row in report.rows if row[1].endswith("the supervisor"))
    lines = [
        ("", "`kvo-boards`", "`kvo-bootloader-tms`"),
        ("---", "---", "---"),
        ("1 MiB at 115200 baud", *time(115200)),
        ("1 MiB at 1000000 baud", *time(1000000)),
        ("most boards at once, each at 95 % of the speed of one alone",
         *cells("boards", "most boards", lambda count: f"{count:.0f}")),
        ("processor time per MiB (four uploads of 256 KiB at 1000000 baud)",
         *cells("line 1000000", "processor time", lambda ms: f"{ms:.0f} ms")),
        ("memory per board", memory("each of"), memory("utility")),
        ("memory of the supervisor", f"{float(supervisor) / KIB:.1f} MiB", "none"),
    ]
    return "".join(f"| {' | '.join(cells)} |\n" for cells in lines)
