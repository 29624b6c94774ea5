"""Measures whole runs of the program on many appliances, and checks that it grows in step.

Instructions and system calls come first: they do not depend on the load. callgrind counts the
instructions, the log of qemu those on ARM, strace the system calls. "to floor" compares the
instructions with those of bench/floor.cpp, which writes the same for ordinary shares in as few
steps as the work allows. The wall time is the lower quartile of rounds in turns: in ms, compared
with a program that only reads and writes as much ("to copy"), and the part of it that an empty
program takes as well ("start"). Ends with status 1 if a figure exceeds its limit.
"""

import argparse
import fnmatch
import json
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
    has_floor: bool = False
    machine: str = "native"


SHARES = appliances.ordinary_shares
DISKS = appliances.iscsi_disks
ALL_SIX = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs"
ROWS = (
    *(Row(f"samba-{n}", "-c samba", SHARES(n), True) for n in (10, 100, 1000, 10000)),
    *(Row(f"samba-{n}-side-lists", "-c samba", SHARES(n, True), True) for n in (100, 1000, 10000)),
    *(Row(f"all-{n}-side-lists", ALL_SIX, SHARES(n, True)) for n in (100, 1000, 10000)),
    *(Row(f"groups-{n}", "-c proftpd", SHARES(n)) for n in (100, 1000, 10000)),
    *(Row(f"msdfs-{n}", "-c samba", appliances.msdfs_links(n)) for n in (49, 98)),
    *(Row(f"iscsi-{m}x{n}", "-c iscsi", DISKS(m, n)) for m, n in ((1, 10), (1, 20), (10, 20))),
    Row("iscsi-10x20-80kB", "-c iscsi", DISKS(10, 20, 80_000)),
    *(Row(f"info-{n}kB", "-c samba", appliances.settings(n * 1000)) for n in (40, 80, 1000)),
    *(Row(f"folders-{n}", "-b /mnt/many", appliances.folders(n)) for n in (1000, 10000)),
    Row("arm-samba-1000", "-c samba", SHARES(1000), True, "arm"),
    Row("arm-iscsi-10x20", "-c iscsi", DISKS(10, 20), False, "arm"),
)

# A row's figure is at most so many, or at most so many times that of another row.
LIMITS = (
    *((f"samba-{n}{lists}", "instructions", most, "floor")
      for n in (100, 1000) for lists, most in (("", 4), ("-side-lists", 4.4))),
    ("samba-1000", "system_calls", 110, None),
    ("all-1000-side-lists", "instructions", 30e6, None),
    ("all-1000-side-lists", "system_calls", 350, None),
    ("iscsi-10x20", "instructions", 9e6, None),
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
    wall: float | None = None  # ms
    to_copy: float | None = None
    start: float | None = None


def start(root, *command, options=(), **how):
    return subprocess.Popen([TOP / "scripts/sandbox", *options, root, *command],
                            stderr=subprocess.PIPE, env=ENVIRONMENT, **how)


def run(root, *command, **how):
    """What the command prints on standard output and on standard error."""
    with start(root, *command, stdout=subprocess.PIPE, **how) as running:
        printed, errors = running.communicate()
    if running.returncode != 0:
        sys.exit(f"{command}: status {running.returncode}\n{errors.decode(errors='replace')}")
    return printed, errors


def files_in(root):
    return {path for path in (root / "etc").rglob("*") if path.is_file()}


def output_of(root, program, row):
    """What the program prints, and each file that it makes; takes these files away."""
    before = files_in(root)
    printed, _ = run(root, program, *row.arguments.split(),
                     options=["--emulator", EMULATOR] if row.machine == "arm" else [])
    made = {f"/{path.relative_to(root)}": path.read_bytes() for path in files_in(root) - before}
    for path in made:
        (root / path[1:]).unlink()
    return printed, made


def count_instructions(root, *command):
    _, report = run(root, "/usr/bin/valgrind.bin", "--tool=callgrind",
                    "--default-suppressions=no", "--callgrind-out-file=/dev/null", *command,
                    options=["--libraries"])
    return int(re.search(rb"Collected : (\d+)", report)[1])


def count_emulated_instructions(root, *command):
    """The emulator logs each block when it translates it, an instruction a line, and then each time
    that it runs it."""
    lengths = {}
    translated = total = 0
    with start(root, EMULATOR, "-d", "nochain,exec,in_asm", *command,
               stdout=subprocess.DEVNULL) as running:
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


def trace_system_calls(root, *command):
    """The number of the calls, and the files that they open for reading."""
    run(root, "/usr/bin/strace", "-o", "/calls", *command, options=["--libraries"])
    calls = (root / "calls").read_text(errors="replace")
    about_the_exit = 2  # lines
    return (calls.count("\n") - about_the_exit,
            set(re.findall(r'open\w*\(.*"(.*)", O_RDONLY.* = \d', calls)))


def quartiles(root, rounds, *commands):
    together = " vs ".join(commands).split()
    with open("/dev/null", "r+b") as null:
        report, _ = run(root, TOP / "build-bench/bench/wall", str(rounds), *together,
                        options=["--libraries"], stdin=null)
    quartile = {each["run_name"].split("/")[0]: each["real_time"] / 1e6
                for each in json.loads(report)["benchmarks"]
                if each.get("aggregate_name") == "quartile"}
    return [quartile[str(number)] for number in range(len(commands))]


def measure_program(root, program, row, made, rounds):
    inside = "/tools/program"
    shutil.copy(program, root / inside[1:])
    command = [inside, *row.arguments.split()]
    size = program.stat().st_size
    if row.machine == "arm":
        return Figures(size, count_emulated_instructions(root, *command))
    calls, inputs = trace_system_calls(root, *command)
    figures = Figures(size, count_instructions(root, *command), calls)
    if rounds:
        outputs = " ".join(f"{path} {len(text)}" for path, text in made.items())
        empty, copy, figures.wall = quartiles(
            root, rounds, "/tools/empty", f"/tools/copy {' '.join(inputs)} -- {outputs}",
            " ".join(command))
        figures.start = empty / figures.wall
        figures.to_copy = figures.wall / copy if outputs else None
    return figures


def measure(row, programs, rounds, work):
    """The figures of each program. The first one is the floor, of which some rows have none."""
    root = work / row.name
    shutil.copytree(TOP / "examples/appliance", root, symlinks=True)
    row.make(root)
    (root / "tools").mkdir()
    for tool in (CALLGRIND, TOP / "build-bench/bench/empty", TOP / "build-bench/bench/copy"):
        shutil.copy(tool, root / "tools")
    measured = programs if row.has_floor else programs[1:]
    outputs = [output_of(root, program, row) for program in measured]
    for program, output in zip(measured, outputs):
        if output != outputs[-1]:
            sys.exit(f"{row.name}: {program} does not write what {measured[-1]} writes")
    figures = [measure_program(root, program, row, outputs[0][1], rounds if number else 0)
               for number, program in enumerate(programs) if program in measured]
    shutil.rmtree(root)
    return figures if row.has_floor else [None, *figures]


def shown(value, width, form):
    return f"{'-' if value is None else format(value, form):>{width}}"


def print_header(programs, rounds):
    columns = " 10^6 instr. to floor  calls" + ("       ms to copy start" if rounds else "")
    if len(programs) > 2:
        print(22 * " " + "".join(f"{str(each)[1 - len(columns):]:>{len(columns)}}"
                                 for each in programs[1:]))
    print(22 * " " + (len(programs) - 1) * columns, flush=True)


def print_row(row, figures, rounds):
    floor, *others = figures
    line = f"{row.name:22}"
    for each in others:
        to_floor = each.instructions / floor.instructions if floor else None
        line += f"{each.instructions / 1e6:12.3f}" + shown(to_floor, 9, ".2f")
        line += shown(each.system_calls, 7, "")
        if rounds:
            line += shown(each.wall, 9, ".2f") + shown(each.to_copy, 8, ".2f")
            line += shown(each.start, 6, ".0%")
    print(line, flush=True)


def exceeded_limits(figures):
    for name, figure, most, base in LIMITS:
        if name not in figures or base not in ("floor", None, *figures):
            continue
        floor, *programs = figures[name]
        for number, each in enumerate(programs):
            value = getattr(each, figure)
            if base is None:
                if value > most:
                    yield f"{name}: {figure} {value:,}, at most {most:,.0f}"
                continue
            ratio = value / getattr(floor if base == "floor" else figures[base][number + 1], figure)
            if ratio > most:
                yield f"{name}: {figure} {ratio:.2f} times those of {base}, at most {most}"


def build(machine):
    preset = "arm" if machine == "arm" else "release"
    folder = "build-bench-arm" if machine == "arm" else "build-bench"
    subprocess.run(["cmake", "--preset", preset, "-B", folder, "-DTAVROGEN_BENCH=ON",
                    "-DBUILD_TESTING=OFF"], cwd=TOP, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", folder, "-j2", "--target", "bench_all"], cwd=TOP,
                   check=True, stdout=sys.stderr)
    return TOP / folder


def machine_of(program):
    with open(program, "rb") as elf:
        return "arm" if elf.read(20)[18] == 40 else "native"


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", action="store_true",
                        help="no wall times; no ARM rows unless they are named")
    parser.add_argument("--rounds", type=int, default=100, help="for the wall times (100)")
    parser.add_argument("--program", action="append", default=[], type=pathlib.Path,
                        help="a static program to measure, native or for ARM, instead of the one "
                             "built here; again for further columns")
    parser.add_argument("rows", nargs="*", metavar="ROW", help="the rows, as shell patterns")
    given = parser.parse_args()
    rounds = 0 if given.count else given.rounds
    rows = [row for row in ROWS
            if any(fnmatch.fnmatch(row.name, pattern) for pattern in given.rows) or
            not given.rows and (row.machine == "native" or not given.count)]
    if not rows:
        parser.error("no such row")
    programs = {}
    for machine in {"native", *(row.machine for row in rows)}:
        folder = build(machine)
        programs[machine] = [folder / "bench/floor",
                             *([each for each in given.program if machine_of(each) == machine] or
                               [folder / "tavrogen"])]
    print_header(max(programs.values(), key=len), rounds)
    figures = {}
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as work:
        def measured(row):
            return measure(row, programs[row.machine], rounds, pathlib.Path(work))
        with ThreadPoolExecutor(1 if rounds else os.cpu_count()) as pool:
            for row, figures[row.name] in zip(rows, pool.map(measured, rows)):
                print_row(row, figures[row.name], rounds)
    failures = list(exceeded_limits(figures))
    print(*failures, sep="\n", end="\n" if failures else "")
    sys.exit(1 if failures else 0)


main()
