"""Which lines the services of Debian 12 and 13 refuse or ignore, as scripts/preview reads it, too.

The program writes them on purpose: the appliance's own, older services read them. A test that finds
more than what is known here, or less, fails.
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
