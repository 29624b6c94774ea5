"""rsyslogd, by the packets that it sends, against tavrogen-lint's findings on the log host."""
import pathlib
import re
import socket
import sys

import appliance
import study
from appliance import ETC, run
from study import ROOT, Misreading, Tally, setting

NAMES = dict.fromkeys(("loghost", "loghost.example.net", "log-1"), "192.0.2.50")
ADDRESSES = ("192.0.2.50", "192.0.2.51", "127.0.0.1", "fd00::50", "::1")
MESSAGES = {"local0": b"<134>test: to local0", "local6": b"<182>test: to local6"}
LAST = b"<189>test: the last one"
# Whom a value may mean, and the port.
PLACE = re.compile(r"(\d+\.\d+\.\d+\.\d+|[0-9a-f]*::[0-9a-f]*|(?<!\w)log[-.a-z0-9]*)\]?(?::(\d+))?", re.I)


class LogHosts:
    """This machine with many addresses, and a socket for each of them and of two ports."""

    def __init__(self):
        for address in ADDRESSES:  # an IPv6 address cannot be bound before it is known as unique
            run("ip", "address", "add", address, "dev", "lo", *["nodad"] * (":" in address))
        with open(ETC / "hosts", "a") as hosts:
            hosts.write(f"192.0.2.50 {' '.join(NAMES)}\n")
        (ETC / "rsyslog.conf").write_text(
            'module(load="imuxsock" SysSock.Use="off")\n'
            'input(type="imuxsock" Socket="/run/log")\n'
            '$IncludeConfig /etc/syslog.conf\n')
        self.sockets = {}
        for address in ADDRESSES:
            for port in (514, 1514):
                family = socket.AF_INET6 if ":" in address else socket.AF_INET
                self.sockets[address, port] = socket.socket(family, socket.SOCK_DGRAM)
                self.sockets[address, port].bind((address, port))
                self.sockets[address, port].setblocking(False)

    def close(self):
        for receiver in self.sockets.values():
            receiver.close()

    def arrivals(self):
        """Who gets which messages by the written file: tuples of address, port, facility."""
        (ETC / "syslog.conf").write_bytes((ROOT / "etc/syslog.conf").read_bytes())
        last_log = pathlib.Path("/var/log/backup.log")
        for path in (last_log, pathlib.Path("/run/log")):
            path.unlink(missing_ok=True)
        with appliance.service("sh", "-c", "exec rsyslogd -n 2>/run/rsyslogd.said",
                               ready=pathlib.Path("/run/log").exists):
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                sender.connect("/run/log")
                for message in (*MESSAGES.values(), LAST):
                    sender.send(message)
            appliance.wait_until(lambda: last_log.exists() and "last" in last_log.read_text())
        return {(*place, facility) for place, receiver in self.sockets.items()
                for facility in self.received(receiver)}

    @staticmethod
    def received(receiver):
        try:
            while True:
                yield receiver.recv(4096).decode(errors="replace").rsplit(" ", 1)[1]
        except BlockingIOError:
            pass


def misreadings(hosts):
    """At most one: a message does not come to all whom the value of the setting means."""
    written = (ROOT / "etc/syslog.conf").read_bytes()
    forwarded = [facility for facility in MESSAGES
                 if re.search(rf"^{facility}\.\S*\t@".encode(), written, re.M)]
    if not forwarded:
        return []
    value = setting("info", "syslog_forward_target")
    meant = [(NAMES.get(host.lower(), host), int(port or 514), facility)
             for host, port in PLACE.findall(value) for facility in forwarded]
    got = hosts.arrivals()
    if got and set(meant) <= got:
        return []
    return [Misreading("", False, f"{value!r}: {got} for {meant}")]


def measure(hosts, kinds, seeds):
    tally = Tally()
    for kind in kinds:
        for seed in seeds:
            study.write_drawn(kind, seed, "syslog")
            tally.add(f"{kind} {seed}", misreadings(hosts), study.findings("syslog"))
    return tally


if __name__ == "__main__":
    result = measure(LogHosts(), ("plain", "plausible", "wild"), range(int(sys.argv[1])))
    print(*map(ascii, result.wrong), result, sep="\n")
