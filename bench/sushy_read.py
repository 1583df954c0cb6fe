"""What kelvar reads, read with python3-sushy: sushy_read.py PORT firmware|system."""

import sys

import sushy
import urllib3
from sushy.resources.updateservice.softwareinventory import SoftwareInventoryCollection

urllib3.disable_warnings()
login = sushy.auth.BasicAuth(username="admin", password="kelvar-demo")
root = sushy.Sushy(f"https://127.0.0.1:{sys.argv[1]}/redfish/v1/", verify=False, auth=login)
if sys.argv[2] == "firmware":
    # Straight to the collection: the update service itself sushy reads only with "Actions", which are optional.
    path = "/redfish/v1/UpdateService/FirmwareInventory"
    for item in SoftwareInventoryCollection(root._conn, path, redfish_version=root.redfish_version).get_members():
        print(item.identity, item.version)
else:
    system = root.get_system_collection().get_members()[0]
    print(system.sku, system.serial_number, system.uuid)
