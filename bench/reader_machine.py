"""A simulated machine of N times 200 Redfish resources: as many chassis, each with sensors, fans, power supplies, cards
and adapters, and a share of one system's memory, processors, drives, firmware and log."""

import json
import pathlib

OK = {"Health": "OK", "State": "Enabled"}
EACH = {"sensors": 60, "fans": 8, "supplies": 4, "cards": 8, "adapters": 2, "ports": 4, "processors": 4, "memory": 16,
        "drives": 12, "firmware": 20}
UNIT = 200


class Pages:
    """The pages of a machine."""

    def __init__(self):
        self.list = []

    def add(self, path, kind, **members):
        self.list.append({"@odata.id": path, "@odata.type": f"#{kind}.v1_9_0.{kind}", "Id": path.rsplit("/", 1)[1],
                          "Name": f"{kind} {path.rsplit('/', 1)[1]}", "Status": OK, **members})

    def add_collection(self, path, kind):
        self.list.append({"@odata.id": path, "@odata.type": f"#{kind}Collection.{kind}Collection",
                          "Name": f"{kind} Collection", "Members": "@all"})


def link(path):
    return {"@odata.id": path}


def links(base, names):
    return {name: link(f"{base}/{name}") for name in names}


def made(number, model):
    return {"Manufacturer": "Quorvane", "Model": model, "PartNumber": f"QV-{model}-01", "SerialNumber": f"QX{number:06d}"}


def add_service(pages, expands):
    features = {"ProtocolFeaturesSupported": {
        "ExpandQuery": {"ExpandAll": True, "Levels": True, "Links": True, "MaxLevels": 2, "NoLinks": True}}}
    root = "/redfish/v1"
    pages.list.append({"@odata.id": root, "@odata.type": "#ServiceRoot.v1_16_0.ServiceRoot", "Id": "RootService",
                       "Name": "Root Service", "RedfishVersion": "1.18.0", **(features if expands else {}),
                       "SessionService": link(f"{root}/SessionService"),
                       "Links": {"Sessions": link(f"{root}/SessionService/Sessions")},
                       **links(root, ("Systems", "Chassis", "Managers", "UpdateService"))})
    for name, kind in (("Systems", "ComputerSystem"), ("Chassis", "Chassis"), ("Managers", "Manager")):
        pages.add_collection(f"{root}/{name}", kind)
    pages.add(f"{root}/UpdateService", "UpdateService", FirmwareInventory=link(f"{root}/UpdateService/FirmwareInventory"))
    pages.add_collection(f"{root}/UpdateService/FirmwareInventory", "SoftwareInventory")
    pages.add(f"{root}/Managers/1", "Manager", ManagerType="BMC", FirmwareVersion="1.14")


def add_system(pages, units):
    base = "/redfish/v1/Systems/1"
    drives = [link(f"{base}/Storage/1/Drives/{n}") for n in range(units * EACH["drives"])]
    pages.add(base, "ComputerSystem", **made(1, "QD38"), PowerState="On",
              **links(base, ("Processors", "Memory", "Storage", "LogServices")))
    for name, kind in (("Processors", "Processor"), ("Memory", "Memory"), ("Storage", "Storage"),
                       ("LogServices", "LogService")):
        pages.add_collection(f"{base}/{name}", kind)
    pages.add(f"{base}/Storage/1", "Storage", Drives=drives)
    pages.add(f"{base}/LogServices/Log", "LogService", Entries=link(f"{base}/LogServices/Log/Entries"))
    pages.add_collection(f"{base}/LogServices/Log/Entries", "LogEntry")


def add_share(pages, unit):
    """What the system, the update service and the log have more with each unit."""
    base = "/redfish/v1/Systems/1"

    def numbers(kind):
        return range(unit * EACH[kind], (unit + 1) * EACH[kind])

    for n in numbers("processors"):
        pages.add(f"{base}/Processors/{n}", "Processor", **made(n, "V9340"), ProcessorType="CPU", Socket=f"Proc {n}",
                  TotalCores=32, TotalThreads=64, MaxSpeedMHz=4000, InstructionSet="x86-64")
    for n in numbers("memory"):
        pages.add(f"{base}/Memory/{n}", "Memory", **made(n, "D64G"), CapacityMiB=65536, MemoryDeviceType="DDR5",
                  OperatingSpeedMhz=4800, DeviceLocator=f"DIMM {n}", DataWidthBits=64, BusWidthBits=72, RankCount=2)
    for n in numbers("drives"):
        pages.add(f"{base}/Storage/1/Drives/{n}", "Drive", **made(n, "N3T8"), CapacityBytes=3840755982336, MediaType="SSD",
                  Protocol="NVMe", PredictedMediaLifeLeftPercent=97, FailurePredicted=False,
                  PhysicalLocation={"PartLocation": {"ServiceLabel": f"Bay {n}", "LocationType": "Bay"}})
    for n in numbers("firmware"):
        pages.add(f"/redfish/v1/UpdateService/FirmwareInventory/{n}", "SoftwareInventory", Version=f"2.{n}.1",
                  Updateable=True, ReleaseDate="2026-01-30T00:00:00Z", SoftwareId=f"FW-{n:05d}", Manufacturer="Quorvane")


def add_log(pages, first, last):
    for n in range(first, last):
        pages.add(f"/redfish/v1/Systems/1/LogServices/Log/Entries/{n}", "LogEntry", EntryType="Event", Severity="OK",
                  Created=f"2026-03-{n % 28 + 1:02d}T{n % 24:02d}:15:00Z", MessageId="Base.1.8.Success",
                  Message=f"The event {n} of the machine was written into its log by the service processor.",
                  MessageArgs=[str(n)], SensorType="System Event")


def add_chassis(pages, unit):
    base = f"/redfish/v1/Chassis/{unit}"
    pages.add(base, "Chassis", **made(unit, "QC4"), ChassisType="RackMount",
              **links(base, ("Sensors", "PowerSubsystem", "ThermalSubsystem", "PCIeDevices", "NetworkAdapters")))
    pages.add(f"{base}/PowerSubsystem", "PowerSubsystem", PowerSupplies=link(f"{base}/PowerSubsystem/PowerSupplies"))
    pages.add(f"{base}/ThermalSubsystem", "ThermalSubsystem", Fans=link(f"{base}/ThermalSubsystem/Fans"))
    for name, kind in (("Sensors", "Sensor"), ("PowerSubsystem/PowerSupplies", "PowerSupply"),
                       ("ThermalSubsystem/Fans", "Fan"), ("PCIeDevices", "PCIeDevice"),
                       ("NetworkAdapters", "NetworkAdapter")):
        pages.add_collection(f"{base}/{name}", kind)
    for n in range(EACH["sensors"]):
        pages.add(f"{base}/Sensors/T{n}", "Sensor", Reading=30 + n / 8, ReadingUnits="Cel", ReadingType="Temperature",
                  ReadingRangeMin=-20, ReadingRangeMax=125, PhysicalContext="SystemBoard",
                  Thresholds={"UpperCaution": {"Reading": 85}, "UpperCritical": {"Reading": 95},
                              "LowerCaution": {"Reading": 5}})
    for n in range(EACH["supplies"]):
        pages.add(f"{base}/PowerSubsystem/PowerSupplies/{n}", "PowerSupply", **made(unit * 10 + n, "P1600"),
                  PowerCapacityWatts=1600, FirmwareVersion="1.02")
    for n in range(EACH["fans"]):
        pages.add(f"{base}/ThermalSubsystem/Fans/{n}", "Fan", **made(unit * 10 + n, "F60"), HotPluggable=True)
    for n in range(EACH["cards"]):
        pages.add(f"{base}/PCIeDevices/{n}", "PCIeDevice", **made(unit * 10 + n, "X16"), FirmwareVersion="3.1",
                  DeviceType="SingleFunction")
    for n in range(EACH["adapters"]):
        adapter = f"{base}/NetworkAdapters/{n}"
        pages.add(adapter, "NetworkAdapter", **made(unit * 10 + n, "N200"), Ports=link(f"{adapter}/Ports"))
        pages.add_collection(f"{adapter}/Ports", "Port")
        for port in range(EACH["ports"]):
            pages.add(f"{adapter}/Ports/{port}", "Port", CurrentSpeedGbps=25, LinkStatus="LinkUp",
                      Ethernet={"AssociatedMACAddresses": [f"02:00:5E:{unit:02X}:{n:02X}:{port:02X}"]})


def make_pages(count, expands):
    """Pages of a service of exactly `count` resources, a multiple of 200."""
    pages = Pages()
    units = count // UNIT
    add_service(pages, expands)
    add_system(pages, units)
    for unit in range(units):
        add_chassis(pages, unit)
        add_share(pages, unit)
    add_log(pages, 0, count - len(pages.list))
    return pages.list


def make(folder, count, expands):
    """Writes the machine."""
    lists = pathlib.Path(folder, "redfish", "resources")
    lists.mkdir(parents=True)
    pathlib.Path(folder, "machine.json").write_text(json.dumps({
        "name": "bench", "description": f"{count} resources", "facts": {},
        "accounts": [{"user": "admin", "password": "kelvar-demo"}]}), encoding="ascii")
    (lists.parent / "service.json").write_text(json.dumps({"expand": "supported" if expands else "refused"}), encoding="ascii")
    (lists / "all.json").write_text(json.dumps(make_pages(count, expands)), encoding="ascii")
