#!/usr/bin/env python3
# report.py RESULTS-DIRECTORY
# Reads what run.sh measured, prints the table of figures, and writes docs/performance.md and docs/performance.json.
import json
import os
import platform
import re
import statistics
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).parent
DOCS = HERE.parent / "docs"
results = Path(sys.argv[1])


def read(name):
    return json.loads((results / name).read_text())


medians = {each["run_name"].replace("/manual_time", ""): each["real_time"]  # nanoseconds
           for each in read("bench.json")["benchmarks"] if each["aggregate_name"] == "median"}
footprint, ending, sizes = read("footprint.json"), read("ending.json"), read("sizes.json")


def at_rest(process):
    runs = [read(f"{process}-{i}.json") for i in range(1, 6)]
    return {field: statistics.median(run[field] for run in runs) for field in runs[0]}


bare, engine, engine_rtcp = at_rest("bare"), at_rest("engine"), at_rest("engine-rtcp")


def ratio(name, baseline, argument=""):
    return medians[name + argument] / medians[baseline + argument]


def of_bare(name, argument=""):
    return ratio(name, name + "Bare", argument)


def dearest(name, first, others):
    return max(medians[f"{name}/{each}"] for each in others) / medians[f"{name}/{first}"]


def rest(process, field):
    return process[field] / bare[field]


KIB = 1024
# Figure, what was measured, its unit, and the goal, which is the most it may be.
FIGURES = [
    ("typed character to wire, level 2", of_bare("TypedCharacter"), "x", 1.25),
    ("send tick with 10 characters, level 2", of_bare("SendTick"), "x", 1.3),
    ("the engine's part of sending 3 characters, level 0", of_bare("SendWork", "/0/3"), "x", None),
    ("the engine's part of sending 3 characters, level 2", of_bare("SendWork", "/2/3"), "x", 0.15),
    ("the engine's part of sending 3 characters, level 5", of_bare("SendWork", "/5/3"), "x", None),
    ("the engine's part of sending 10 characters, level 2", of_bare("SendWork", "/2/10"), "x", None),
    ("the engine's part of receiving 3 characters, level 0", of_bare("ReceiveWork", "/0"), "x", None),
    ("the engine's part of receiving 3 characters, level 2", of_bare("ReceiveWork", "/2"), "x", 0.8),
    ("the engine's part of receiving 3 characters, level 5", of_bare("ReceiveWork", "/5"), "x", None),
    ("RED payload built and parsed, level 2", of_bare("RedPayload", "/2"), "x", 12),
    ("RED payload built and parsed, level 5", of_bare("RedPayload", "/5"), "x", 12),
    ("a silenced log site", medians["LogLine/silenced"] - medians["LogLineSilencedBare"], "ns", 1),
    ("a printed log line without its output", medians["LogLine/printed"] / medians["LogLinePrintedBare"], "x", 2.2),
    ("a delivery, 10 to 10 000 packets waiting", dearest("DeliveryWithWaiting", 10, (100, 1000, 10000)), "x", 1.2),
    ("a packet, 2 and 3 channels", dearest("PacketsOnChannels", 1, (2, 3)), "x", 1.2),
    ("wake-ups of an idle channel", rest(engine, "wake_ups_a_second"), "x", 1.1),
    ("processor time of an idle channel", rest(engine, "processor_ms_a_minute"), "x", 1.1),
    ("wake-ups of an idle channel with RTCP", rest(engine_rtcp, "wake_ups_a_second"), "x", None),
    ("processor time of an idle channel with RTCP", rest(engine_rtcp, "processor_ms_a_minute"), "x", None),
    ("heap of a started channel, level 2", footprint["heap_of_a_channel"] / KIB, "KiB", 24),
    ("heap of the engine without channels", footprint["heap_without_channels"] / KIB, "KiB", None),
    ("allocations for a packet sent", footprint["allocations_sent"], "", 6),
    ("allocations for a packet received", footprint["allocations_received"], "", 6),
    ("libVRN.so, stripped, x86-64", sizes["x86_64"] / KIB, "KiB", 160),
    ("libVRN.so, stripped, arm64", sizes["arm64"] / KIB, "KiB", 160),
    ("ending: deletion of the last channel, median", ending["ending_median_ms"], "ms", 100),
]


def row(figure, measured, unit, goal):
    if goal is None:
        return [figure, "reported", f"{measured:.2f} {unit}", "-"]
    return [figure, f"at most {goal} {unit}", f"{measured:.2f} {unit}", "met" if measured <= goal else "NOT MET"]


def machine():
    model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    compiler = subprocess.check_output(["clang++", "--version"], text=True).splitlines()[0]
    return f"{model[1] if model else platform.machine()}, {os.cpu_count()} processors, " \
           f"Linux {platform.release().split('-')[0]}, {compiler}"


def times():
    return "\n".join(f"| {name} | {value:,.1f} |" for name, value in sorted(medians.items()))


rows = [row(*figure) for figure in FIGURES]
for figure, goal, measured, met in [("figure", "goal", "measured", ""), *rows]:
    print(f"{figure:54} {goal:15} {measured:>12}  {met}")

table = "\n".join(f"| {' | '.join(cell.strip() for cell in each)} |" for each in rows)
counts = json.loads((HERE / "instructions.json").read_text())
idle = [f"{process['wake_ups_a_second']:.1f} wake-ups a second and {process['processor_ms_a_minute']:.0f} ms"
        for process in (engine, engine_rtcp)]
text = (HERE / "performance.md.in").read_text()
for name, value in {"MACHINE": machine(), "FIGURES": table, "IDLE": idle[0], "IDLE_RTCP": idle[1],
                    "TICK": counts["CountedSendTick"], "DELIVERY": counts["CountedDelivery"], "TIMES": times()}.items():
    text = text.replace(f"@{name}@", str(value))
(DOCS / "performance.md").write_text(text)
(DOCS / "performance.json").write_text(json.dumps({
    "machine": machine(),
    "figures": [{"figure": figure, "measured": round(measured, 4), "unit": unit, "goal": goal,
                 "met": None if goal is None else measured <= goal} for figure, measured, unit, goal in FIGURES],
    "median_ns": medians, "footprint": footprint, "ending": ending, "bytes": sizes,
    "idle": {"bare": bare, "engine": engine, "engine_rtcp": engine_rtcp}}, indent=1) + "\n")
