"""Measures whole runs of the program on many appliances, and checks that it grows in step.

Instructions and system calls do not depend on the load of the machine. callgrind counts the
instructions, the log of qemu those on ARM, strace the system calls. Ends with status 1 if a figure
exceeds its limit.
"""

import argparse
import fnmatch
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from typing import Callable

import appliances

TOP = pathlib.Path(__file__).resolve().parent.parent
CALLGRIND = "/usr/libexec/valgrind/callgrind-amd64-linux"
EMULATOR = "/usr/bin/qemu-arm-static"
# Nothing else: the C library's start looks at every variable.
ENVIRONMENT = {"PATH": os.environ["PATH"], "VALGRIND_LIB": "/tools"}


@dataclass
class Row:
    name: str
    arguments: str
    make: Callable[[pathlib.Path], None]  # what is special about the appliance
    machine: str = "native"


SHARES = appliances.ordinary_shares
DISKS = appliances.iscsi_disks
ALL_SIX = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs"
ROWS = (
    *(Row(f"samba-{n}", "-c samba", SHARES(n)) for n in (10, 100, 1000, 10000)),
    *(Row(f"samba-{n}-side-lists", "-c samba", SHARES(n, True)) for n in (100, 1000, 10000)),
    *(Row(f"all-{n}-side-lists", ALL_SIX, SHARES(n, True)) for n in (100, 1000, 10000)),
    *(Row(f"groups-{n}", "-c proftpd", SHARES(n)) for n in (100, 1000, 10000)),
    *(Row(f"msdfs-{n}", "-c samba", appliances.msdfs_links(n)) for n in (49, 98)),
    *(Row(f"iscsi-{m}x{n}", "-c iscsi", DISKS(m, n)) for m, n in ((1, 10), (1, 20), (10, 20))),
    Row("iscsi-10x20-80kB", "-c iscsi", DISKS(10, 20, 80_000)),
    *(Row(f"info-{n}kB", "-c samba", appliances.settings(n * 1000)) for n in (40, 80, 1000)),
    *(Row(f"folders-{n}", "-b /mnt/many", appliances.folders(n)) for n in (1000, 10000)),
    Row("arm-samba-1000", "-c samba", SHARES(1000), "arm"),
    Row("arm-iscsi-10x20", "-c iscsi", DISKS(10, 20), "arm"),
)

# A row's figure is at most so much, or at most so many times that of another row.
LIMITS = (
    ("samba-100", "instructions", 0.75e6, None),
    ("samba-1000", "instructions", 6.5e6, None),
    ("samba-1000-side-lists", "instructions", 11e6, None),
    ("samba-1000", "system_calls", 110, None),
    ("all-1000-side-lists", "instructions", 30e6, None),
    ("all-1000-side-lists", "system_calls", 350, None),
    ("iscsi-10x20", "instructions", 6e6, None),
    ("arm-samba-1000", "instructions", 8e6, None),
    ("arm-iscsi-10x20", "instructions", 16e6, None),
    ("arm-samba-1000", "size", 416 * 1024, None),
    # Twice as much to do.
    ("iscsi-1x20", "instructions", 2.2, "iscsi-1x10"),
    ("msdfs-98", "instructions", 2.2, "msdfs-49"),
    ("info-80kB", "instructions", 2.2, "info-40kB"),
    ("info-80kB", "system_calls", 1.2, "info-40kB"),
    # Ten times as much, or 25 times.
    *((f"{row}{ten_times}{lists}", figure, 11, f"{row}{once}{lists}")
      for row, lists in (("samba-", ""), ("samba-", "-side-lists"), ("all-", "-side-lists"),
                         ("groups-", ""), ("folders-", ""))
      for once, ten_times in ((100, 1000), (1000, 10000))
      for figure in ("instructions", "system_calls")),
    ("iscsi-10x20", "instructions", 11, "iscsi-1x20"),
    ("iscsi-10x20", "system_calls", 11, "iscsi-1x20"),
    ("info-1000kB", "instructions", 27.5, "info-40kB"),
    ("info-1000kB", "system_calls", 1.2, "info-40kB"),
    # Nearly ten times the bytes, but as many devices.
    ("iscsi-10x20-80kB", "instructions", 4, "iscsi-10x20"),
    ("iscsi-10x20-80kB", "system_calls", 1.2, "iscsi-10x20"),
)


@dataclass
class Figures:
    size: int  # of the program, in bytes
    instructions: int
    system_calls: int | None = None


def start(root, *command, options=()):
    return subprocess.Popen([TOP / "scripts/sandbox", *options, root, *command],
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=ENVIRONMENT)


def run(root, *command):
    """What the command prints on standard error."""
    with start(root, *command, options=["--libraries"]) as running:
        errors = running.stderr.read()
    if running.returncode != 0:
        sys.exit(f"{command}: status {running.returncode}\n{errors.decode(errors='replace')}")
    return errors


def count_instructions(root, *command):
    report = run(root, "/usr/bin/valgrind.bin", "--tool=callgrind",
                 "--default-suppressions=no", "--callgrind-out-file=/dev/null", *command)
    return int(re.search(rb"Collected : (\d+)", report)[1])


def count_emulated_instructions(root, *command):
    """The emulator logs each block when it translates it, an instruction a line, and then each time
    that it runs it."""
    lengths = {}
    translated = total = 0
    with start(root, EMULATOR, "-d", "nochain,exec,in_asm", *command) as running:
        for line in running.stderr:
            if line.startswith(b"0x"):
                translated += 1
            elif line.startswith(b"Trace 0: "):
                block = line[9:25]
                if translated:
                    lengths[block] = translated
                    translated = 0
                total += lengths[block]
    if running.returncode != 0:
        sys.exit(f"{command}: status {running.returncode}")
    return total


def count_system_calls(root, *command):
    run(root, "/usr/bin/strace", "-o", "/calls", *command)
    about_the_exit = 2  # lines
    return (root / "calls").read_text(errors="replace").count("\n") - about_the_exit


def measure(row, program, work):
    root = work / row.name
    shutil.copytree(TOP / "examples/appliance", root, symlinks=True)
    row.make(root)
    (root / "tools").mkdir()
    for tool, inside in ((CALLGRIND, "tools"), (program, "tools/program")):
        shutil.copy(tool, root / inside)
    command = ["/tools/program", *row.arguments.split()]
    size = program.stat().st_size
    if row.machine == "arm":
        figures = Figures(size, count_emulated_instructions(root, *command))
    else:
        figures = Figures(size, count_instructions(root, *command),
                          count_system_calls(root, *command))
    shutil.rmtree(root)
    return figures


def exceeded_limits(figures):
    for name, figure, limit, base in LIMITS:
        if name not in figures or base not in (None, *figures):
            continue
        value = getattr(figures[name], figure)
        if base is None and value > limit:
            yield f"{name}: {figure} {value:,}, at most {limit:,.0f}"
        elif base is not None and value > limit * getattr(figures[base], figure):
            ratio = value / getattr(figures[base], figure)
            yield f"{name}: {figure} {ratio:.2f} times those of {base}, at most {limit}"


def build(machine):
    preset, folder = ("arm", "build-arm") if machine == "arm" else ("release", "build")
    for command in (["cmake", "--preset", preset],
                    ["cmake", "--build", "--preset", preset, "-j2", "--target", "tavrogen"]):
        subprocess.run(command, cwd=TOP, check=True, stdout=subprocess.DEVNULL)
    return TOP / folder / "tavrogen"


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("rows", nargs="*", metavar="ROW", default=["*"],
                        help="the rows, as shell patterns")
    given = parser.parse_args()
    rows = [row for row in ROWS
            if any(fnmatch.fnmatch(row.name, pattern) for pattern in given.rows)]
    if not rows:
        parser.error("no such row")
    programs = {machine: build(machine) for machine in {row.machine for row in rows}}
    print(f"{'':22}{'10^6 instr.':>12}{'calls':>7}{'bytes':>9}", flush=True)
    figures = {}
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as work, ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda row: measure(row, programs[row.machine], pathlib.Path(work)), rows)
        for row, each in zip(rows, results):
            figures[row.name] = each
            print(f"{row.name:22}{each.instructions / 1e6:12.3f}{each.system_calls or '':>7}"
                  f"{each.size:9}",
                  flush=True)
    failures = list(exceeded_limits(figures))
    print(*failures, sep="\n", end="\n" if failures else "")
    sys.exit(1 if failures else 0)


main()
