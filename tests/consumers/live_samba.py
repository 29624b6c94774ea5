"""smbd on drawn appliances: who really gets what, asked share by share in one process.

Needs the Python of the system, which has Samba's own client library.
"""
import contextlib
import os
import pathlib
import re
import shutil
import subprocess

from samba import NTSTATUSError, credentials
from samba.samba3 import libsmb_samba_internal as libsmb
from samba.samba3 import param

import appliance
import study
from appliance import ETC, MNT, run

NOTHING, READ, WRITE = 0, 1, 2
ACCOUNTS = ["admin", "guest", "alice", "bob", "carol", "dave", "erika", "alice smith"]
PASSWD = [f"{name}:x:{number}:100::/mnt:/bin/sh\n" for number, name in enumerate(ACCOUNTS, 2001)]
SYSTEM = {}  # the files of this machine itself, before the first appliance


def make_accounts():
    """Makes everybody known to Samba; a password is the name and "-secret"."""
    for name in ("passwd", "group"):
        SYSTEM[name] = (ETC / name).read_text().splitlines(True)
    with open(ETC / "passwd", "a") as passwd:
        passwd.writelines(PASSWD)
    (ETC / "samba/lock").mkdir(exist_ok=True)
    (ETC / "samba/smbusers").touch()
    (ETC / "samba/smb.conf").write_text("[global]\nlock directory = /etc/samba/lock\n"
                                        "passdb backend = tdbsam:/etc/samba/smbpasswd.tdb\n")
    for name in ACCOUNTS:
        run("smbpasswd", "-s", "-a", name, input=f"{name}-secret\n" * 2).check_returncode()


def move_in():
    """Lays the drawn appliance's accounts, folders and smb.conf over this machine's."""
    for name in ("passwd", "group"):
        drawn_file = study.ROOT / "etc" / name
        drawn = drawn_file.read_text().splitlines(True) if drawn_file.exists() else PASSWD
        taken = {field for line in drawn for field in line.split(":")[0:3:2]}
        kept = [line for line in SYSTEM[name] if not taken & set(line.split(":")[0:3:2])]
        (ETC / name).write_text("".join(drawn + kept))
    with contextlib.suppress(FileNotFoundError):
        os.remove("/var/cache/samba/gencache.tdb")
    for folder in [study.ROOT / "mnt", *(study.ROOT / "mnt").rglob("*/")]:
        folder.chmod(0o777)
        (folder / "here").write_bytes(b"/" + bytes(folder.relative_to(study.ROOT)))
    run("mount", "--bind", study.ROOT / "mnt", MNT).check_returncode()
    # Who may log in is asked of this machine alone; what a list means stays that of the mode.
    written = (study.ROOT / "etc/samba/smb.conf").read_bytes()
    (ETC / "samba/smb.conf").write_bytes(
        re.sub(rb"(?m)^    security = .*$", b"    security = user", written, count=1))


@contextlib.contextmanager
def served():
    """Serves the drawn appliance; yields whether smbd has started."""
    move_in()
    try:
        with appliance.service("smbd", "--foreground", "--no-process-group", "--debug-stdout",
                               ready=lambda: appliance.answers(445)):
            yield True
    except AssertionError as error:
        if "ended by itself" not in str(error):
            raise
        yield False
    finally:
        appliance.wait_until(lambda: not appliance.answers(445))
        run("umount", MNT).check_returncode()


def client():
    settings = param.get_context()
    settings.load("/dev/null")
    return settings


def access(settings, person, name):
    """What a person (None: nobody known) gets by a share's name: a right and the folder."""
    login = credentials.Credentials()
    login.guess(settings)
    if person is None:
        login.set_anonymous()
    else:
        login.set_username(person)
        login.set_password(f"{person}-secret")
    try:
        share = libsmb.Conn("127.0.0.1", name, lp=settings, creds=login)
        folder = study.as_text(share.loadfile("here"))
    except (NTSTATUSError, UnicodeEncodeError):
        return NOTHING, ""
    try:
        share.savefile("put", b"")
        share.unlink("put")
    except NTSTATUSError:
        return READ, folder
    return WRITE, folder


def comments():
    """The comment of each listed share; None when the list cannot be had."""
    listing = subprocess.run(["smbclient", "-gL", "127.0.0.1", "-N"], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, check=False).stdout
    rows = [line.split("|", 2) for line in study.as_text(listing).split("\n")]
    shares = {row[1]: row[2] for row in rows if len(row) == 3 and row[0] in ("Disk", "IPC")}
    return {name: text for name, text in shares.items() if name != "IPC$"} if shares else None
