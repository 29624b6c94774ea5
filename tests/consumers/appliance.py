"""The example appliance, rebuilt inside the private machine that `run` made."""
import contextlib
import json
import os
import pathlib
import shutil
import socket
import subprocess
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = SOURCE / "examples/appliance"
ROOT = pathlib.Path("/run/appliance")  # the appliance's own files, as the program saw them
ETC = pathlib.Path("/etc")
MNT = pathlib.Path("/mnt")
WRITTEN = ["samba/smb.conf", "proftpd/proftpd.conf", "pam.d/ftp", "pam.d/netatalk",
           "syslog.conf", "exports"]
PEOPLE = ["alice", "bob", "carol", "dave", "erika"]
ACCOUNTS = "".join(f"{name}:x:{number}:{502 if name == 'frank' else 100}::/mnt:/bin/sh\n"
                   for number, name in enumerate(["admin", "guest", *PEOPLE, "frank"], 2001))
# One share more than the example: people who are readers and writers at once.
MIXED = "mixed<>array1<>Beides<>alice,bob<>studio<>bob<>finance<>1<>1<>1<>0<><>0<>0<>0<>0\n"


def run(*command, **options):
    """Runs a command; its output, standard error included, is in `stdout`."""
    return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=30, check=False, **options)


def write_configuration(shares=None, **settings):
    """Lets the program write for the example with other shares and settings; fills /etc with it."""
    shutil.rmtree(ROOT, ignore_errors=True)
    shutil.copytree(EXAMPLE, ROOT)
    info = ROOT / "etc/korvel/info"
    kept = [line for line in info.read_text().splitlines() if line.split("=")[0] not in settings]
    info.write_text("\n".join(kept + [f"{key}={value}" for key, value in settings.items()] + [""]))
    (ROOT / "mnt/array1/mixed").mkdir()
    (ROOT / "etc/passwd").write_text(ACCOUNTS)
    listed = ROOT / "etc/korvel/shareinfo"
    listed.write_text(listed.read_text() + MIXED if shares is None else shares)
    done = run(SOURCE / "scripts/sandbox", "--host", "morvista-nas.example.net", ROOT,
               os.environ["TAVROGEN"], *"-c samba -c proftpd -c atalk -c syslog -c nfs".split())
    assert done.returncode == 0, done.stdout
    for name in WRITTEN:
        (ETC / name).parent.mkdir(exist_ok=True)
        shutil.copyfile(ROOT / "etc" / name, ETC / name)


def report():
    """What tavrogen-access says of the appliance."""
    return json.loads(run(os.environ["TAVROGEN"] + "-access", "--root", ROOT, "--json").stdout)


def make_accounts():
    """Makes the people and groups of the example; a password is the name and "-secret"."""
    groups = (EXAMPLE / "etc/group").read_text()
    taken = {field for line in groups.splitlines() for field in line.split(":")[0:3:2]}
    groups += "".join(line for line in (ETC / "group").read_text().splitlines(True)
                      if not taken & set(line.split(":")[0:3:2]))
    (ETC / "group").write_text(groups)
    with open(ETC / "passwd", "a") as passwd:
        passwd.write(ACCOUNTS)
    (ETC / "ftpusers").unlink(missing_ok=True)
    names = ["root", *(line.split(":")[0] for line in ACCOUNTS.splitlines())]
    run("pwconv").check_returncode()
    run("chpasswd", "--crypt-method", "SHA256",
        input="".join(f"{name}:{name}-secret\n" for name in names)).check_returncode()


def make_samba_accounts():
    """Makes the same people known to Samba, all but guest."""
    (ETC / "samba/lock").mkdir(exist_ok=True)
    (ETC / "samba/smbusers").touch()
    for name in ["admin", *PEOPLE]:
        run("smbpasswd", "-s", "-a", name, input=f"{name}-secret\n" * 2).check_returncode()


def make_folders():
    """Makes the volumes, free for all: rights are the services' business. Each folder holds a
    file `marker`."""
    run("find", MNT, "-mindepth", "1", "-delete").check_returncode()
    shutil.copytree(ROOT / "mnt", MNT, dirs_exist_ok=True)
    for folder in [folder for folder in MNT.rglob("*") if folder.is_dir()]:
        folder.chmod(0o777)
        (folder / "marker").write_text("kept")
        (folder / "marker").chmod(0o666)


def answers(port):
    with contextlib.closing(socket.socket()) as client:
        return client.connect_ex(("127.0.0.1", port)) == 0


def wait_until(condition):
    patience = time.monotonic() + 30
    while not condition():
        assert time.monotonic() < patience, "waited in vain"
        time.sleep(0.05)


@contextlib.contextmanager
def service(*command, ready):
    """Runs a service in the foreground, from the moment that ready() is true, and ends it.

    It gets a session of its own: smbd, once ended, signals its whole process group.
    """
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          start_new_session=True) as process:
        try:
            wait_until(lambda: ready() or process.poll() is not None)
            assert process.poll() is None, f"{command[0]} ended by itself"
            yield
        finally:
            process.terminate()
