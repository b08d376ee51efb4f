#!/usr/bin/env python3
"""Makes tables and a picture of what vemo_bench measured.

    report.py COMMIT TABLE.md PICTURE.svg RESULT.json...

Every figure is the median of the repetitions in its RESULT.json, and every ratio compares two medians of the same one.
"""

import json
import os
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as pyplot  # noqa: E402  (the backend comes first)

ROWS = (10, 100, 1000, 10000)
MEDIA = {"memory": "memory file system", "disk": "disk"}
LEVELS = ("off", "normal", "full")
PICTURED = ("save", "update", "delete", "find by resource", "find by three resources", "list all",
            "find by identifier", "INSERT in a transaction, a row")


def medians(result):
    """{(operation, engine, medium, rows): microseconds}, in the order in which the program knows its operations"""
    times = {}
    for entry in sorted(result["benchmarks"], key=lambda entry: entry["family_index"]):
        if entry.get("aggregate_name") == "median":
            name = entry["run_name"].removesuffix("/manual_time")
            operation, engine, medium, rows = name.rsplit("/", 3)
            times[operation, engine, medium, int(rows)] = 1e6 / entry["items_per_second"]
    return times


def ratio_cell(times, operation, medium, rows, level):
    own = times.get((operation, "file-" + level, medium, rows))
    other = times.get((operation, "sqlite-" + level, medium, rows))
    if own is None:
        return "–"
    if other is None:
        return f"{own:.0f} µs"
    return f"{own / other:.2f} ({own:.0f}/{other:.0f})"


def table(times, operations, medium, level):
    lines = ["| operation | " + " | ".join(f"{rows:,} rows" for rows in ROWS) + " |",
             "|---|" + "---:|" * len(ROWS)]
    for operation in operations:
        if all((operation, "file-" + level, medium, rows) not in times for rows in ROWS):
            continue
        cells = (ratio_cell(times, operation, medium, rows, level) for rows in ROWS)
        lines.append(f"| {operation} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def save_table(times):
    """A save at each level, on disk, beside SQLite's, and as a ratio of what SQLite takes at FULL"""
    lines = ["| | " + " | ".join(f"{rows:,} rows" for rows in ROWS) + " |", "|---|" + "---:|" * len(ROWS)]
    for title, engine in (("this library", "file"), ("SQLite", "sqlite")):
        for level in LEVELS:
            name = f"`{level}`" if engine == "file" else level.upper()
            cells = []
            for rows in ROWS:
                time = times.get(("save", f"{engine}-{level}", "disk", rows))
                full = times.get(("save", "sqlite-full", "disk", rows))
                cells.append("–" if time is None or full is None else f"{time:.0f} µs ({time / full:.2f})")
            lines.append(f"| {title}, {name} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def write_tables(path, context, commit, times):
    operations = list(dict.fromkeys(key[0] for key in times))
    with open(path, "w", encoding="utf-8") as out:
        out.write(f"Measured {context['date'][:10]} at commit {commit} on {context['num_cpus']} cores of "
                  f"{context['mhz_per_cpu']} MHz, release build. Each cell: our time as a ratio of SQLite's, and in "
                  "brackets both medians in microseconds.\n")
        for medium, title in MEDIA.items():
            for level in LEVELS:
                if any(key[1:3] == ("file-" + level, medium) for key in times):
                    out.write(f"\n### {title.capitalize()}, `{level}` beside SQLite's synchronous={level.upper()}\n\n")
                    out.write(table(times, operations, medium, level) + "\n")
        out.write("\n### A save on disk at each level, and as a ratio of SQLite's FULL\n\n")
        out.write(save_table(times) + "\n")


def draw(path, times):
    figure, axes = pyplot.subplots(1, len(MEDIA), figsize=(13, 5.5), sharey=True)
    for axis, (medium, title) in zip(axes, MEDIA.items()):
        for operation in PICTURED:
            points = [(rows, times[operation, "file-off", medium, rows] / times[operation, "sqlite-off", medium, rows])
                      for rows in ROWS if (operation, "sqlite-off", medium, rows) in times]
            if points:
                axis.plot(*zip(*points), marker="o", label=operation)
        axis.axhline(1, color="black", linewidth=1)
        axis.set(xscale="log", yscale="log", title=title.capitalize(), xlabel="rows in the table")
        axis.grid(True, which="major", alpha=0.3)
    axes[0].set_ylabel("our time / SQLite's time (both off)")
    axes[-1].legend(loc="upper left", fontsize="small")
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def main():
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    commit, table_path, picture_path, *sources = sys.argv[1:]
    times = {}
    for source in sources:
        if os.path.getsize(source) > 0:  # nothing was written where no benchmark had the wanted name
            with open(source, encoding="utf-8") as file:
                result = json.load(file)
            times.update(medians(result))
    if not times:
        sys.exit("no benchmark has such a name; vemo_bench --benchmark_list_tests=true lists them")
    write_tables(table_path, result["context"], commit, times)
    draw(picture_path, times)


if __name__ == "__main__":
    main()
