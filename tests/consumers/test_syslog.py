"""rsyslogd with the written syslog.conf."""
import logging.handlers
import pathlib
import re
import socket
import unittest

import appliance
from appliance import ETC, run
from known import as_known, refusals

LOG = pathlib.Path("/var/log")
# Where a message of a facility and level comes to stand; "@" is the log host.
ROUTES = {
    ("daemon", "info"): {"messages"},
    ("daemon", "debug"): set(),
    ("user", "err"): set(),
    ("cron", "debug"): {"cron"},
    ("local0", "debug"): {"morvista.log", "@"},
    ("local0", "info"): {"morvista.log", "messages", "@"},
    ("local6", "info"): {"file.smb", "@"},
    ("local6", "err"): set(),
    ("local7", "debug"): {"backup.log"},
    ("daemon", "emerg"): {"messages"},
    ("local7", "notice"): {"backup.log", "messages"},  # the last: waited for
}
FORWARDED = 3
KNOWN = {"local0.*\t@", "local6.=info\t@"}  # forwarding switched on without a target


class Syslog(unittest.TestCase):
    def test_each_message_reaches_its_files_and_the_log_host(self):
        names = set().union(*ROUTES.values())
        for name in names:
            (LOG / name).unlink(missing_ok=True)
        appliance.write_configuration()
        (ETC / "rsyslog.conf").write_text(
            'module(load="imuxsock" SysSock.Use="off")\n'
            'input(type="imuxsock" Socket="/run/log")\n'
            '$IncludeConfig /etc/syslog.conf\n')
        host = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(host.close)
        host.bind(("192.0.2.50", 514))
        host.settimeout(20)
        with appliance.service("rsyslogd", "-n", ready=pathlib.Path("/run/log").exists):
            for facility, level in ROUTES:
                sender = logging.handlers.SysLogHandler("/run/log", facility)
                sender.mapPriority = lambda name, level=level: level
                sender.handle(logging.makeLogRecord({"msg": f"test: {facility}-{level}."}))
                sender.close()
            appliance.wait_until(lambda: (LOG / "backup.log").exists() and
                                 "local7-notice" in (LOG / "backup.log").read_text())
        texts = {name: (LOG / name).read_text() for name in names - {"@"}}
        texts["@"] = "".join(host.recv(4096).decode() for _ in range(FORWARDED))
        host.setblocking(False)
        self.assertRaises(BlockingIOError, host.recv, 1)
        for (facility, level), expected in ROUTES.items():
            counts = {name: text.count(f"{facility}-{level}.") for name, text in texts.items()}
            self.assertEqual(counts, {name: name in expected for name in names}, (facility, level))

    def test_only_known_lines_are_refused_or_warned_about(self):
        known = refusals("rsyslogd", "-v")
        complaints = set()
        for target in ("192.0.2.50", ""):
            appliance.write_configuration(syslog_forward_target=target)
            lines = (ETC / "syslog.conf").read_text().splitlines()
            done = run("rsyslogd", "-N1", "-f", ETC / "syslog.conf")
            self.assertEqual("could not interpret" in done.stdout, not target, done.stdout)
            numbers = re.findall(r"/etc/syslog.conf, on or before line (\d+)", done.stdout)
            complaints |= {as_known(lines[int(number) - 1], known) for number in numbers
                           if int(number) <= len(lines)}  # the end of the file is no line
        self.assertEqual(complaints, {*known, *KNOWN})
