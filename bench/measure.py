"""Counts what the program does on appliances of many sizes, and checks that it grows in step."""

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

HERE = pathlib.Path(__file__).resolve().parent
SANDBOX = HERE.parent / "scripts/sandbox"
EXAMPLE = HERE.parent / "examples/appliance"
VALGRIND = pathlib.Path("/usr/libexec/valgrind")


# The appliances: the example, with one thing in great number.


def write(root, name, lines):
    (root / "etc/korvel" / name).write_text("".join(line + "\n" for line in lines))


def change(root, name, old, new):
    path = root / "etc/korvel" / name
    path.write_text(path.read_text().replace(old, new))


def ordinary_shares(count, side_lists=False):
    """A third of them is open to everyone; the others have lists, some with domain accounts.
    There are as many groups, no USB shares and no MSDFS. The side lists have a line for each."""
    access = (
        "all<>all<>all<>all",
        "alice,bob<>group{0}<>carol<>",
        "<>staff,group{0}<>NORTH+dave,erika<>finance",
    )

    def make(root):
        numbers = range(1, count + 1)
        write(root, "shareinfo", (
            f"share{i}<>array1<>Shared folder number {i} of the office<>{access[i % 3].format(i)}"
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
    def make(root):
        korvel = root / "etc/korvel"
        first = (korvel / "iscsi_disks1").read_text()
        (korvel / "iscsi_disks2").unlink()
        device = re.findall("^iscsi_device0(.*)", first, re.MULTILINE)
        lines = [f"iscsi_device{n}{setting}" for n in range(devices) for setting in device]
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
    has_floor: bool = False  # bench/floor.cpp writes the same


ALL_SIX = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs"
ROWS = (
    *(Row(f"samba-{n}", "-c samba", ordinary_shares(n), True) for n in (10, 100, 1000, 10000)),
    *(Row(f"samba-{n}-side-lists", "-c samba", ordinary_shares(n, True), True)
      for n in (100, 1000, 10000)),
    *(Row(f"groups-{n}", "-c proftpd", ordinary_shares(n)) for n in (100, 1000, 10000)),
    *(Row(f"all-{n}-side-lists", ALL_SIX, ordinary_shares(n, True)) for n in (100, 1000, 10000)),
    Row("msdfs-49", "-c samba", msdfs_links(49)),
    Row("msdfs-98", "-c samba", msdfs_links(98)),
    Row("iscsi-1x10", "-c iscsi", iscsi_disks(1, 10)),
    Row("iscsi-1x20", "-c iscsi", iscsi_disks(1, 20)),
    Row("iscsi-10x20", "-c iscsi", iscsi_disks(10, 20)),
    Row("iscsi-10x20-80kB", "-c iscsi", iscsi_disks(10, 20, 80_000)),
    Row("info-40kB", "-c samba", settings(40_000)),
    Row("info-80kB", "-c samba", settings(80_000)),
    Row("info-1MB", "-c samba", settings(1_000_000)),
    Row("folders-1000", "-b /mnt/many", folders(1000)),
    Row("folders-10000", "-b /mnt/many", folders(10000)),
)


# The figures.


@dataclass
class Figures:
    instructions: int
    system_calls: int


def sandbox(root, *command, options=(), **how):
    done = subprocess.run([SANDBOX, *options, root, *command], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, **how)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {done.returncode}\n"
                 f"{done.stderr.decode(errors='replace')}")
    return done


def count(root, program, arguments):
    """The program is a path inside the root."""
    report = sandbox(root, "/usr/bin/valgrind.bin", "--tool=callgrind",
                     "--default-suppressions=no", "--callgrind-out-file=/dev/null", program,
                     *arguments, options=["--libraries"],
                     env={**os.environ, "VALGRIND_LIB": "/valgrind"}).stderr.decode()
    instructions = int(re.search(r"Collected : (\d+)", report)[1])
    sandbox(root, "/usr/bin/strace", "-c", "-U", "calls,name", "-o", "/calls", program, *arguments,
            options=["--libraries"])
    system_calls = int((root / "calls").read_text().split()[-2])
    return Figures(instructions, system_calls)


def output_of(root, program, arguments):
    """What the program prints and each file that it writes."""
    before = {path: path.stat().st_mtime_ns for path in (root / "etc").rglob("*")}
    printed = sandbox(root, program, *arguments).stdout
    written = {path: path.read_bytes() for path in (root / "etc").rglob("*")
               if path.is_file() and path.stat().st_mtime_ns != before.get(path)}
    return printed, written


def measure(row, programs, work):
    root = work / row.name
    shutil.copytree(EXAMPLE, root, symlinks=True)
    row.make(root)
    shutil.copytree(work / "valgrind", root / "valgrind", copy_function=os.link)
    arguments = row.arguments.split()
    figures = []
    outputs = []
    for number, program in enumerate(programs):
        if number == 0 and not row.has_floor:
            figures.append(None)
            continue
        outputs.append(output_of(root, program, arguments))
        if outputs[-1] != outputs[0]:
            sys.exit(f"{row.name}: {program} writes something else than {programs[number - 1]}")
        os.link(program, root / f"program{number}")
        figures.append(count(root, f"/program{number}", arguments))
    shutil.rmtree(root)
    return figures


def print_header(programs):
    print(f"{'':22}" + "".join(f"  {str(program)[-28:]:>28}" for program in programs))
    print(f"{'':22}" + (len(programs) - 1) * "   10^6 instr.  calls  to floor" + "   10^6 instr.  calls")


def print_counts(row, figures):
    floor, *others = figures
    line = f"{row.name:22}"
    for each in others:
        to_floor = f"{each.instructions / floor.instructions:.2f}" if floor else "-"
        line += f"{each.instructions / 1e6:14.3f} {each.system_calls:6} {to_floor:>9}"
    if floor:
        line += f"{floor.instructions / 1e6:14.3f} {floor.system_calls:6}"
    print(line, flush=True)


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("--count", action="store_true",
                        help="count instructions and system calls only")
    parser.add_argument("--program", action="append", default=[], type=pathlib.Path,
                        help="a static program to measure instead of build-bench/tavrogen; "
                             "may be given again to compare builds")
    parser.add_argument("rows", nargs="*", metavar="ROW",
                        help="the rows to measure, as patterns (default: all)")
    given = parser.parse_args()
    build = HERE.parent / "build-bench"
    programs = [build / "bench/floor", *(given.program or [build / "tavrogen"])]
    rows = [row for row in ROWS
            if not given.rows or any(fnmatch.fnmatch(row.name, each) for each in given.rows)]
    print_header([*programs[1:], "floor"])
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as work:
        work = pathlib.Path(work)
        (work / "valgrind").mkdir()
        shutil.copy(VALGRIND / "callgrind-amd64-linux", work / "valgrind")
        programs = [shutil.copy(program, work / f"program{number}")
                    for number, program in enumerate(programs)]
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            for row, figures in zip(rows, pool.map(
                    lambda row: measure(row, programs, work), rows)):
                print_counts(row, figures)


main()
