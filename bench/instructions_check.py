#!/usr/bin/env python3
# instructions_check.py PROGRAM [record]
# Counts, with callgrind, the instructions of a send tick and of a delivery, and holds them against what
# instructions.json records. Counts repeat where times do not, so that a slow-down shows on any x86-64 machine, however
# busy. A speed-up is to be recorded.
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

MARGIN = 0.10
TIMES = 1000  # as often the program calls each function
RECORD = Path(__file__).with_name("instructions.json")


def count(program, function):
    with tempfile.TemporaryDirectory() as work:
        said = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={work}/out",
                               f"--toggle-collect={function}", program],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if said.returncode:
            sys.exit(said.stderr)
    return int(re.search(r"refs:\s+([\d,]+)", said.stderr)[1].replace(",", "")) / TIMES


counted = {function: round(count(sys.argv[1], function)) for function in ("CountedSendTick", "CountedDelivery")}
if sys.argv[2:] == ["record"]:
    RECORD.write_text(json.dumps(counted, indent=1) + "\n")
differ = 0
for function, recorded in json.loads(RECORD.read_text()).items():
    change = counted[function] / recorded - 1
    differ += abs(change) > MARGIN
    print(f"{function}: {counted[function]} instructions, recorded {recorded}, {change:+.1%}")
if differ:
    sys.exit(f"More than {MARGIN:.0%} off. Where it is meant: {sys.argv[0]} {sys.argv[1]} record")
