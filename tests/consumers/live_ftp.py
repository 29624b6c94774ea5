"""proftpd on any appliance in study.ROOT: who really may do what, asked folder by folder."""
import contextlib
import ftplib
import io
import os
import re
import shutil

import appliance
import study
from appliance import ETC, MNT, run
from known import refusals

CONFIGURATION = ETC / "proftpd/proftpd.conf"
# Debian 13 has some of the server's modules apart.
MODULES = "".join(f"{instead}\n" for instead, _ in refusals("proftpd", "-v").values()
                  if instead.startswith("LoadModule"))
SYSTEM = {name: (ETC / name).read_bytes().splitlines(True) for name in ("passwd", "group")}


def move_in():
    """Lays the appliance's accounts, folders and proftpd.conf over this machine's; the lines that
    only the appliance's own server knows are left out. Any password will do."""
    os.environ["HOME"] = "/root"  # the server's, too
    (ETC / "pam.d/ftp").write_text("".join(
        f"{kind} required pam_permit.so\n" for kind in ("auth", "account", "session")))
    (ETC / "ftpusers").unlink(missing_ok=True)
    server_file = (study.ROOT / "etc/proftpd/proftpd.conf").read_bytes()
    CONFIGURATION.write_bytes(MODULES.encode() + re.sub(
        rb"(?m)^Charset(Local|Remote) .*|(?<=^  </Limit) READ(?=>$)", b"", server_file))
    for name, lines in SYSTEM.items():
        own = (study.ROOT / "etc" / name).read_bytes()
        taken = {field for line in own.splitlines() for field in line.split(b":")[0:3:2]}
        (ETC / name).write_bytes(own + b"".join(
            line for line in lines if not taken & set(line.split(b":")[0:3:2])))
    run("find", MNT, "-mindepth", "1", "-delete")
    shutil.copytree(bytes(study.ROOT / "mnt"), bytes(MNT), dirs_exist_ok=True)
    for folder, _, _ in os.walk(bytes(MNT)):
        os.chmod(folder, 0o777)
        with open(folder + b"/marker", "wb") as marker:
            marker.write(b"kept")


def people():
    """Those who can log in; the anonymous one where there is one."""
    passwd = study.as_text((study.ROOT / "etc/passwd").read_bytes()).splitlines()
    names = [line.split(":")[0] for line in passwd if not line.startswith("root:")]
    return names + ["anonymous"] * (b"\n<Anonymous" in CONFIGURATION.read_bytes())


def starts():
    return run("proftpd", "--configtest", "--config", CONFIGURATION,
               errors="replace").returncode == 0


def folders():
    """The volumes and their folders, as far as a client can name them."""
    return [folder for folder, _, _ in os.walk(bytes(MNT))
            if folder.count(b"/") in (2, 3) and b"\r" not in folder]


def done(action, *arguments):
    try:
        action(*arguments)
        return True
    except (ftplib.error_perm, ftplib.error_temp):
        return False


def right(session, folder):
    """Whether the session may read, and whether it may write in a folder."""
    content = io.BytesIO()
    below = folder.removeprefix(bytes(MNT)).decode("latin-1")
    done(session.retrbinary, f"RETR {below}/marker", content.write)
    stored = done(session.storbinary, f"STOR {below}/new", io.BytesIO(b"new"))
    if stored:
        os.unlink(folder + b"/new")
    return content.getvalue() == b"kept", stored


def rights(names, asked):
    """A person's rights by folder, person by person."""
    with appliance.service("proftpd", "--nodaemon", "--config", str(CONFIGURATION),
                           ready=lambda: appliance.answers(21)):
        found = {}
        for name in names:
            with contextlib.closing(ftplib.FTP("127.0.0.1", timeout=20, encoding="latin-1")) as one:
                known = done(one.login, name, "any")
                found[name] = {folder: right(one, folder) if known else (False, False)
                               for folder in asked}
        return found
