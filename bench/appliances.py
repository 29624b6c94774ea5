"""Appliances to measure on: the example, with one thing in great number.

Each function here returns one that changes a copy of the example, whose folder it is given.
"""

import re


def write(root, name, lines):
    (root / "etc/korvel" / name).write_text("".join(line + "\n" for line in lines))


def fill(lines, size):
    """The lines of a file of `size` bytes: settings that nothing reads go before the others."""
    missing = size - sum(len(line.encode()) + 1 for line in lines)
    unread = "reserved_setting{:05}=kept for later"
    return [unread.format(i) for i in range(missing // len(unread.format(0) + "\n"))] + lines


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
        write(root, "msdfs", ("msdfs_function=off", "msdfs_root_as_link=off",
                              "msdfs_root_name=", "msdfs_root_path="))
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


def folders(count):
    def make(root):
        for i in range(count):
            (root / f"mnt/many/folder{i}").mkdir(parents=True)
    return make
