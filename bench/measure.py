"""Measures whole runs of the program on appliances of many sizes, and checks that it grows in step.

Instructions (counted by callgrind, for ARM by qemu) and system calls (by strace) come first: they
do not depend on the load. Beside them stands the wall time, the lower quartile of rounds in turns:
in ms, as a ratio to a program that only reads and writes as much, and the part of it that an empty
program takes, too. "to floor" is the ratio of the instructions to those of a floor (bench/floor.cpp)
that does the same work for ordinary shares in as few steps as it takes. Ends with status 1 if a
figure is beyond its limit.
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

TOP = pathlib.Path(__file__).resolve().parent.parent
CALLGRIND = "/usr/libexec/valgrind/callgrind-amd64-linux"
EMULATOR = "/usr/bin/qemu-arm-static"
# Nothing else: the C library's start looks at every variable.
ENVIRONMENT = {"PATH": os.environ["PATH"], "VALGRIND_LIB": "/valgrind"}


# The appliances: the example, with one thing in great number.


def write(root, name, lines):
    (root / "etc/korvel" / name).write_text("".join(line + "\n" for line in lines))


def change(root, name, old, new):
    path = root / "etc/korvel" / name
    path.write_text(path.read_text().replace(old, new))


def ordinary_shares(count, side_lists=False):
    """A quarter of them is open to everyone; the others have lists, some with domain accounts.
    There are as many groups, no USB shares and no MSDFS. The side lists have a line for each."""
    access = (
        "all<>all<>all<>all",
        "alice,bob<>staff,group{0}<>carol<>finance",
        "alice<>staff,group{0}<>NORTH+dave,NORTH+erika<>NORTH+engineers",
        "carol,dave,erika<>finance<>alice,bob<>auditors,studio",
    )

    def make(root):
        numbers = range(1, count + 1)
        write(root, "shareinfo", (
            f"share{i}<>array1<>Shared folder number {i} of the office<>{access[i % 4].format(i)}"
            f"<>1<>1<>1<>0<><>{int(i % 5 == 0)}<>{i % 2}<>0<>0" for i in numbers))
        with (root / "etc/group").open("a") as group:
            group.writelines(f"group{i}:x:{1000 + i}:alice,bob,carol,dave\n" for i in numbers)
        write(root, "usbshareinfo", ())
        change(root, "msdfs", "msdfs_function=on", "msdfs_function=off")
        listed = numbers if side_lists else ()
        switch = ("off", "on")
        write(root, "offlinefile", (
            f"share{i}<>{switch[i % 2]}<>documents<><><><><>" for i in listed))
        write(root, "shareinfo.hidden", (
            f"share{i}<>{switch[i % 4 > 0]}<><><><><><>" for i in listed))
        write(root, "shareinfo.vfs", (
            f"share{i}<>{switch[i % 2]}<>{switch[i % 3 > 0]}<>{i % 2}<><><><>" for i in listed))
    return make


def iscsi_disks(files, devices, size=0):
    """Each device has all settings of its own, the first one also those that a file has once."""
    own = ("target path_lun0 alias IncomingUser_name IncomingUser_password OutgoingUser_name "
           "OutgoingUser_password initiators.allow available authtype").split()

    def make(root):
        korvel = root / "etc/korvel"
        lines = re.findall("iscsi_device0.*", (korvel / "iscsi_disks1").read_text())
        lines += ["iscsi_device0_OutgoingUser_name=morvista",
                  "iscsi_device0_OutgoingUser_password=examplesecret5"]
        lines += [line.replace("device0", f"device{n}", 1) for n in range(1, devices)
                  for line in lines if re.match(r"iscsi_device0_([^=]*)", line)[1] in own]
        (korvel / "iscsi_disks2").unlink()
        for number in range(1, files + 1):
            write(root, f"iscsi_disks{number}", fill(lines, size))
    return make


def msdfs_links(count):
    def make(root):
        links = [line for i in range(1, count + 1) for line in (
            f"msdfs_link{i}_name=branch{i}",
            rf"msdfs_link{i}_unc1=\\branch{i}.example.net\files")]
        write(root, "msdfs", ["msdfs_function=on", "msdfs_root_as_link=off",
                              "msdfs_root_name=branches", "msdfs_root_path=/mnt/array1/branches",
                              *links])
    return make


def settings(size):
    def make(root):
        lines = (root / "etc/korvel/info").read_text().splitlines()
        write(root, "info", fill(lines, size))
    return make


def fill(lines, size):
    """The lines of a file of `size` bytes: settings that nothing reads go before the others."""
    missing = size - sum(len(line.encode()) + 1 for line in lines)
    return [f"reserved_setting{i:05}=kept for later" for i in range(missing // 38)] + lines


def folders(count):
    def make(root):
        for i in range(count):
            (root / f"mnt/many/folder{i}").mkdir(parents=True)
    return make


@dataclass
class Row:
    name: str
    arguments: str
    make: Callable[[pathlib.Path], None]
    has_floor: bool = False
    machine: str = "native"


ALL_SIX = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs"
ROWS = (
    *(Row(f"samba-{n}", "-c samba", ordinary_shares(n), True) for n in (10, 100, 1000, 10000)),
    *(Row(f"samba-{n}-side-lists", "-c samba", ordinary_shares(n, True), True)
      for n in (100, 1000, 10000)),
    *(Row(f"all-{n}-side-lists", ALL_SIX, ordinary_shares(n, True)) for n in (100, 1000, 10000)),
    *(Row(f"groups-{n}", "-c proftpd", ordinary_shares(n)) for n in (100, 1000, 10000)),
    *(Row(f"msdfs-{n}", "-c samba", msdfs_links(n)) for n in (49, 98)),
    *(Row(f"iscsi-{m}x{n}", "-c iscsi", iscsi_disks(m, n)) for m, n in ((1, 10), (1, 20), (10, 20))),
    Row("iscsi-10x20-80kB", "-c iscsi", iscsi_disks(10, 20, 80_000)),
    *(Row(f"info-{n}kB", "-c samba", settings(n * 1000)) for n in (40, 80, 1000)),
    *(Row(f"folders-{n}", "-b /mnt/many", folders(n)) for n in (1000, 10000)),
    Row("arm-samba-1000", "-c samba", ordinary_shares(1000), True, "arm"),
    Row("arm-iscsi-10x20", "-c iscsi", iscsi_disks(10, 20), False, "arm"),
)

# A row's figure is at most so many, or at most so many times that of another row.
LIMITS = (
    *((f"samba-{n}{lists}", "instructions", 4, "floor")
      for n in (100, 1000) for lists in ("", "-side-lists")),
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
    # Nearly four times the bytes, as many devices.
    ("iscsi-10x20-80kB", "instructions", 4.4, "iscsi-10x20"),
    ("iscsi-10x20-80kB", "system_calls", 1.2, "iscsi-10x20"),
)


# The figures.


@dataclass
class Figures:
    size: int  # of the program
    instructions: int
    system_calls: int | None = None
    wall: float | None = None  # ms
    to_copy: float | None = None
    start: float | None = None


def sandbox(root, *command, options=(), **how):
    done = subprocess.run([TOP / "scripts/sandbox", *options, root, *command],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          env=ENVIRONMENT, **how)
    if done.returncode != 0:
        raise RuntimeError(f"{command}: status {done.returncode}\n{done.stderr}")
    return done


def emulated_instructions(root, program, arguments):
    """The emulator logs each block when it translates it, an instruction a line, and then each time
    that it runs it."""
    command = [EMULATOR, "-d", "nochain,exec,in_asm", program, *arguments]
    lengths = {}
    translated = total = 0
    with subprocess.Popen([TOP / "scripts/sandbox", root, *command],
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          env=ENVIRONMENT) as run:
        for line in run.stderr:
            if line.startswith(b"0x"):
                translated += 1
            elif line.startswith(b"Trace 0: "):
                block = line[9:25]
                if translated:
                    lengths[block] = translated
                    translated = 0
                total += lengths[block]
    if run.returncode != 0:
        raise RuntimeError(f"{command}: status {run.returncode}")
    return total


def instructions(root, program, arguments):
    report = sandbox(root, "/usr/bin/valgrind.bin", "--tool=callgrind",
                     "--default-suppressions=no", "--callgrind-out-file=/dev/null", program,
                     *arguments, options=["--libraries"]).stderr
    return int(re.search(r"Collected : (\d+)", report)[1])


def system_calls(root, program, arguments):
    """Their number and the files that they open for reading."""
    sandbox(root, "/usr/bin/strace", "-o", "/calls", program, *arguments, options=["--libraries"])
    calls = (root / "calls").read_text(errors="replace")
    ended = 2  # lines that tell of the exit
    return calls.count("\n") - ended, set(re.findall(r'open\w*\(.*"(.*)", O_RDONLY.* = \d', calls))


def output_of(root, program, arguments, machine):
    """What the program prints, and each file that it writes."""
    before = {path: path.stat().st_mtime_ns for path in (root / "etc").rglob("*")}
    emulator = ["--emulator", EMULATOR] if machine == "arm" else []
    printed = sandbox(root, program, *arguments, options=emulator).stdout
    return printed, {f"/{path.relative_to(root)}": path.read_bytes()
                     for path in (root / "etc").rglob("*")
                     if path.is_file() and path.stat().st_mtime_ns != before.get(path)}


def quartiles(root, rounds, *commands):
    command = " vs ".join(" ".join(map(str, each)) for each in commands).split()
    with open("/dev/null", "r+b") as null:
        report = sandbox(root, TOP / "build-bench/bench/wall", str(rounds), *command,
                         options=["--libraries"], stdin=null).stdout
    quartile = {each["run_name"].split("/")[0]: each["real_time"] / 1e6
                for each in json.loads(report)["benchmarks"]
                if each.get("aggregate_name") == "quartile"}
    return [quartile[str(number)] for number in range(len(commands))]


def measure(row, programs, rounds, work):
    """The figures of each program; the first one is the floor."""
    root = work / row.name
    shutil.copytree(TOP / "examples/appliance", root, symlinks=True)
    row.make(root)
    (root / "valgrind").mkdir()
    for tool in (CALLGRIND, TOP / "build-bench/bench/empty", TOP / "build-bench/bench/copy"):
        shutil.copy(tool, root / "valgrind")
    arguments = row.arguments.split()
    figures = []
    outputs = []
    for number, program in enumerate(programs):
        if number == 0 and not row.has_floor:
            figures.append(None)
            continue
        outputs.append(output_of(root, program, arguments, row.machine))
        if outputs[-1] != outputs[0]:
            raise RuntimeError(f"{row.name}: {program} does not write what {programs[0]} writes")
        inside = f"/program{number}"
        shutil.copy(program, root / inside[1:])
        if row.machine == "arm":
            figures.append(Figures(program.stat().st_size,
                                   emulated_instructions(root, inside, arguments)))
            continue
        calls, inputs = system_calls(root, inside, arguments)
        figures.append(Figures(program.stat().st_size, instructions(root, inside, arguments), calls))
        if rounds and number > 0:
            sizes = [f"{path} {len(text)}" for path, text in outputs[0][1].items()]
            empty, copy, own = quartiles(root, rounds, ["/valgrind/empty"],
                                         ["/valgrind/copy", *inputs, "--", *sizes],
                                         [inside, *arguments])
            figures[-1].wall, figures[-1].start = own, empty / own
            figures[-1].to_copy = own / copy if sizes else None
    shutil.rmtree(root)
    return figures


COLUMNS = " 10^6 instr. to floor  calls"
WALL_COLUMNS = "       ms to copy start"


def shown(value, width, form):
    return f"{'-' if value is None else format(value, form):>{width}}"


def print_header(programs, rounds):
    columns = COLUMNS + (WALL_COLUMNS if rounds else "")
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


def exceeded(figures):
    """What is beyond its limit, in words."""
    for name, figure, most, base in LIMITS:
        if name not in figures or base not in ("floor", None, *figures):
            continue
        floor, *programs = figures[name]
        for number, each in enumerate(programs):
            other = floor if base == "floor" else figures[base][number + 1] if base else None
            value = getattr(each, figure)
            value = value / getattr(other, figure) if other else value
            if value > most:
                if base:
                    yield f"{name}: {figure} {value:.2f} times those of {base}, at most {most}"
                else:
                    yield f"{name}: {figure} {value:,}, at most {most:,.0f}"


def build(machine):
    folder = TOP / ("build-bench" if machine == "native" else "build-bench-arm")
    preset = "release" if machine == "native" else "arm"
    subprocess.run(["cmake", "--preset", preset, "-B", folder, "-DTAVROGEN_BENCH=ON",
                    "-DBUILD_TESTING=OFF"], cwd=TOP, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", folder, "-j2"], check=True, stdout=sys.stderr)
    return folder


def machine_of(program):
    with open(program, "rb") as elf:
        return "arm" if elf.read(20)[18] == 40 else "native"


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", action="store_true",
                        help="no wall times; no ARM rows unless they are named")
    parser.add_argument("--rounds", type=int, default=100, help="rounds for the wall time (100)")
    parser.add_argument("--program", action="append", default=[], type=pathlib.Path,
                        help="a static program to measure, native or for ARM, instead of those "
                             "built here; again for further columns")
    parser.add_argument("rows", nargs="*", metavar="ROW",
                        help="the rows to measure, as shell patterns")
    given = parser.parse_args()
    rounds = 0 if given.count else given.rounds
    rows = [row for row in ROWS if any(fnmatch.fnmatch(row.name, each) for each in given.rows) or
            not given.rows and (row.machine == "native" or not given.count)]
    if not rows:
        parser.error("no such row")
    programs = {}
    for machine in {"native", *(row.machine for row in rows)}:
        folder = build(machine)
        own = [each for each in given.program if machine_of(each) == machine]
        programs[machine] = [folder / "bench/floor", *(own or [folder / "tavrogen"])]
    print_header(max(programs.values(), key=len), rounds)
    figures = {}
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as work:
        def measured(row):
            return measure(row, programs[row.machine], rounds, pathlib.Path(work))
        with ThreadPoolExecutor(1 if rounds else os.cpu_count()) as pool:
            for row, figures[row.name] in zip(rows, pool.map(measured, rows)):
                print_row(row, figures[row.name], rounds)
    failures = list(exceeded(figures))
    print(*failures, sep="\n", end="\n" if failures else "")
    sys.exit(1 if failures else 0)


main()
