"""All that the services of Debian 12 and 13 refuse, ignore or grant otherwise than the settings mean.

The program writes these lines and rights on purpose: the appliance's own, older services read
them. A test that finds more than its entry here, or less, fails. Which lines a version refuses is
data that scripts/preview reads, too.
"""
import pathlib
import re
import subprocess

LINES = pathlib.Path(__file__).resolve().parents[2] / "scripts/known-refusals"


def parts(version):
    return [(int(digits or 0), letter) for digits, letter in re.findall("([0-9]*)([a-z]?)", version)]


def refusals(checker, option):
    """What the lines begin with that the installed version refuses: what takes their place, why."""
    said = subprocess.run([checker, option], capture_output=True, text=True, check=True)
    version = re.search("[0-9][0-9.]*[a-z]?", said.stdout + said.stderr)[0]
    rows = [line.split("\t") for line in LINES.read_text().splitlines() if line[0] != "#"]
    return {text: (instead, why) for name, since, text, instead, why in rows
            if name == checker and parts(since) <= parts(version)}


def as_known(line, refused):
    """How the entry for a line begins; a line without one stands for itself."""
    return next((text for text in refused if line.lstrip().startswith(text)), line)


KNOWN = {
    "rsyslogd refuses or warns about": {
        "local0.*\t@": "forwarding switched on without a target",
        "local6.=info\t@": "forwarding switched on without a target",
    },
    "SMB rights": {},
    "FTP rights": {
        "guest on setup: nothing, not read and write":
            "the administrators' line names guest, whose logins the anonymous section takes",
        "guest on camera: nothing, not read":
            "the anonymous section hides USB disks whatever their shares say",
        "anonymous on camera: nothing, not read":
            "the anonymous section hides USB disks whatever their shares say",
    },
}
