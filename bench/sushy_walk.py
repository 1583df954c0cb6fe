"""Reads what the inventory reader reads with python3-sushy, each member of a collection by itself: sushy_walk.py PORT."""

import sys

import sushy
import urllib3
from sushy.resources import base

LEADS_ON = ("Systems", "Chassis", "Managers", "UpdateService", "Processors", "Memory", "Storage", "LogServices", "Entries",
            "Drives", "Sensors", "PowerSubsystem", "PowerSupplies", "ThermalSubsystem", "Fans", "PCIeDevices",
            "NetworkAdapters", "Ports", "FirmwareInventory")


class Anything(base.ResourceBase):
    """Any resource."""


def paths_at(value):
    return [one["@odata.id"] for one in (value if isinstance(value, list) else [value])]


def visit(service, resource):
    for name in LEADS_ON:
        for path in paths_at(resource.json.get(name, [])):
            target = Anything(service._conn, path, redfish_version=service.redfish_version)
            if "Members" not in target.json:
                visit(service, target)
                continue
            for member in target.json["Members"]:
                visit(service, Anything(service._conn, member["@odata.id"], redfish_version=service.redfish_version))


urllib3.disable_warnings()
login = sushy.auth.BasicAuth(username="admin", password="kelvar-demo")
root = sushy.Sushy(f"https://127.0.0.1:{sys.argv[1]}/redfish/v1/", verify=False, auth=login)
get = root._conn.get
count = 1  # the service root


def counted(*arguments, **options):
    global count
    count += 1
    return get(*arguments, **options)


root._conn.get = counted
visit(root, root)
print(count, "requests")
