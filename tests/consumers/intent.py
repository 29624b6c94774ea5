"""What the appliance's settings mean: who may read and write which share.

Reads the settings by itself and knows nothing of how the program or the services say it.
"""
import multiprocessing.pool

from appliance import ROOT, report

NOTHING, READ, WRITE = "nothing", "read", "read and write"
RIGHTS = {(False, False): NOTHING, (True, False): READ, (True, True): WRITE}


def fields_of(name, separator="<>"):
    return [line.split(separator) for line in (ROOT / name).read_text().splitlines()]


class Share:
    """One shared folder, for each service under the name and folder that its clients see."""

    def __init__(self, fields, on_usb):
        self.name, volume, self.comment = fields[:3]
        self.lists = fields[3:7]
        self.smb, self.ftp = fields[7] == "1", fields[9] == "1"
        self.folder = volume if on_usb else f"{volume}/{self.name}"
        medium = {mount[1]: mount[2] for mount in fields_of("proc/mounts", " ")}
        self.read_only = fields[12] == "1" or on_usb and medium[f"/mnt/{volume}"] == "vfat"
        shown = {line[0]: line[1] for line in fields_of("etc/korvel/shareinfo.hidden")}
        self.smb_name = self.name + "$" * (shown.get(self.name) == "off")
        self.smb_comment = self.comment + "(Read Only)" * self.read_only

    def rights(self, person):
        """What a person may do here by any service that serves the share."""
        rw_users, rw_groups, ro_users, ro_groups = self.lists
        full = READ if self.read_only else WRITE
        if self.lists == ["all"] * 4:
            return full
        if not any(self.lists):  # the administrators' shares
            return full if person in {"admin", "guest", *members("hdusers")} else NOTHING
        if person in {*ro_users.split(","), *members(ro_groups)}:  # to read only wins over both
            return READ
        return full if person in {*rw_users.split(","), *members(rw_groups)} else NOTHING


def members(groups):
    wanted = groups.replace("@", "").split(",")
    return {member for group in fields_of("etc/group", ":") if group[0] in wanted
            for member in group[3].split(",")}


def shares():
    return [Share(fields, on_usb) for name, on_usb in (("shareinfo", False), ("usbshareinfo", True))
            for fields in fields_of(f"etc/korvel/{name}")]


def deviations(people, served, granted, at_once=1):
    """Compares granted(person, share) with the intent for every person and share."""
    pairs = [(person, share) for person in people for share in served]
    with multiprocessing.pool.ThreadPool(at_once) as pool:
        found = pool.starmap(granted, pairs)
    return {f"{person} on {share.name}: {got}, not {share.rights(person)}"
            for (person, share), got in zip(pairs, found) if got != share.rights(person)}


def cells(service):
    """What tavrogen-access says: for each folder what each person may do."""
    return {row["folder"]: {"anonymous": cell["guests"], **cell["people"]}
            for row in report()["folders"] for cell in row["rights"]
            if service in [other["name"] for other in cell["services"]]}


def reported(service):
    """granted() of what tavrogen-access says."""
    told, found = {"none": NOTHING, "read": READ, "write": WRITE}, cells(service)
    return lambda person, share: told[found.get(f"/mnt/{share.folder}", {}).get(person, "none")]
