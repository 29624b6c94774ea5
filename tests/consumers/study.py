"""Holds tavrogen-lint against the services on drawn appliances, inside the private machine.

A misreading is what a service gives otherwise than the settings mean; it is named when a finding
of that service, of the same effect, mentions the share. A finding is true when there is such a
misreading. A finding for several services has the worst effect of them all.
"""
import collections
import os
import pathlib
import re
import shutil
import subprocess

import draw
from appliance import SOURCE, run

ROOT = pathlib.Path("/run/drawn")
FINDING = re.compile(r"(?P<file>/etc/korvel/[\w.]+)(:\d+)?: (?P<services>[A-Za-z, ]+): "
                     r"(?P<effect>exposes|stops|breaks|looks): (?P<text>.*)", re.S)
# `about` is what a finding must mention: a share's name or a path. `exposes` is None where that
# is told by another misreading.
Misreading = collections.namedtuple("Misreading", "about exposes what")


def as_text(raw):
    return raw.decode("utf-8", "surrogateescape")


def draw_root(kind, seed, **options):
    shutil.rmtree(ROOT, ignore_errors=True)
    draw.draw(kind, seed, ROOT, **options)


def let_write(*services):
    """Lets the program write below ROOT for the services."""
    wanted = [word for service in services for word in ("-c", service)]
    run(SOURCE / "scripts/sandbox", "--host", "morvista-nas.example.net", ROOT,
        os.environ["TAVROGEN"], *wanted, errors="replace")


def write_drawn(kind, seed, *services, **options):
    draw_root(kind, seed, **options)
    let_write(*services)


def findings(service):
    """The lint's findings on ROOT for one service: effect, text and number of services of each."""
    lint = pathlib.Path(os.environ["TAVROGEN"]).with_name("tavrogen-lint")
    said = as_text(subprocess.run([lint, "--root", ROOT], stdout=subprocess.PIPE, timeout=30,
                                  check=False).stdout)
    matches = map(FINDING.fullmatch, re.split(r"\n(?=/etc/korvel/)", said.rstrip("\n")))
    found = [match for match in matches if match]
    assert said == "" or found, said
    return [(match["effect"], match["text"], match["services"].count(",") + 1) for match in found
            if service in match["services"].split(", ")]


def listed(name, separator="<>"):
    """The fields of each line of a list file, as the program cuts them."""
    path = ROOT / "etc/korvel" / name
    lines = as_text(path.read_bytes()).split("\n")[:-1] if path.exists() else []
    return [re.split("[<>\0].?", line, flags=re.S) for line in lines]


def setting(name, key):
    path = ROOT / "etc/korvel" / name
    for line in as_text(path.read_bytes()).split("\n"):
        if line.startswith(key + "="):
            return line[len(key) + 1:].split("\0")[0]
    return ""


class Tally:
    """Counts over many appliances, and the first cases that went wrong."""

    def __init__(self):
        self.misread = self.named = self.exposing = self.exposing_named = 0
        self.findings = self.true = 0
        self.wrong = []

    def add(self, case, misreadings, found):
        def agree(misreading, finding):
            effect, text, services = finding
            return misreading.about in text and (
                misreading.exposes in (None, effect == "exposes")
                or (services > 1 and not misreading.exposes))

        for misreading in misreadings:
            named = any(agree(misreading, finding) for finding in found)
            self.misread += 1
            self.named += named
            self.exposing += bool(misreading.exposes)
            self.exposing_named += bool(misreading.exposes and named)
            if not named:
                self.wrong.append(f"{case}: not named: {misreading}")
        for finding in found:
            true = any(agree(misreading, finding) for misreading in misreadings)
            self.findings += 1
            self.true += true
            if not true:
                self.wrong.append(f"{case}: not true: {finding}")

    def __str__(self):
        def part(some, of):
            return f"{some} of {of}" + (f" ({100 * some / of:.1f} %)" if of else "")

        return (f"misreadings named {part(self.named, self.misread)}, "
                f"exposing ones {part(self.exposing_named, self.exposing)}, "
                f"findings true {part(self.true, self.findings)}")
