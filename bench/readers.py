"""The inventory reader beside other ways to read the same from the same simulated machine, as whole processes."""

import os
import subprocess
import tempfile

import processes
import reader_machine
from relay import UdpRelay
from running import start_simulator

AT_ONCE = 4
CACHES = "/caches"


class Simulator:
    """A machine of the simulator; ends with this process."""

    def __init__(self, build, *options):
        self._process, self.ports = start_simulator(build, *options)

    def __enter__(self):
        return self.ports

    def __exit__(self, *_):
        self._process.stdin.close()
        self._process.wait()


def output_of(command, environment):
    return subprocess.run(command, env=environment, check=True, stdout=subprocess.PIPE, text=True).stdout


def requests_of(command, environment):
    return int(output_of(command, environment).split()[0])


def row(what, peer, times, requests):
    own, other = times
    return {"operation": what, "against": peer, "wall": (own[0], other[0]), "cpu": (own[1], other[1]),
            "peak": (own[2], other[2]), "requests": requests, "connections": (None, None)}


def curl_with(urls, folder):
    """curl that fetches these URLs, and throws the responses away."""
    path = f"{folder}/urls"
    with open(path, "w", encoding="ascii") as config:
        for url in urls:
            config.write(f'url = "{url}"\noutput = "/dev/null"\n')
    return ["curl", "-sk", "--parallel", "--parallel-max", str(AT_ONCE), "-u", f"{processes.USER}:{processes.PASSWORD}",
            "-K", path]


def redfish_rows(build, folder, count, expands, latency, environment):
    """One service: beside one request at a time, python3-sushy and curl."""
    kind = "expands" if expands else "no $expand"
    what = f"Redfish inventory, {count} resources, {kind}, {latency} ms"
    machine = f"{folder}/{count}-{expands}"
    if not os.path.exists(machine):
        reader_machine.make(machine, count, expands)
    slow = latency > 0 and count > 200
    with Simulator(build, "--machine", machine, "--serve", "redfish", "--latency", str(latency)) as ports:
        own = [f"{build}/bench/reader/read_inventory", "redfish", str(ports["redfish"]), f"at-once={AT_ONCE}"]
        requests = requests_of(own, environment)
        single = own[:-1] + ["at-once=1"]
        yield row(what, "one request at a time", processes.measure(build, 1 if slow else 5, own, single, environment),
                  (requests, requests_of(single, environment)))
        walk = ["/usr/bin/python3", f"{os.path.dirname(__file__)}/sushy_walk.py", str(ports["redfish"])]
        yield row(what, "python3-sushy", processes.measure(build, 1 if slow else 3, own, walk, environment),
                  (requests, requests_of(walk, environment)))
        urls = output_of(own + ["urls=yes"], environment).split()
        yield row(what, f"curl --parallel, {len(urls)} same URLs",
                  processes.measure(build, 3 if slow else 11, own, curl_with(urls, folder), environment),
                  (requests, len(urls)))


def growth_rows(build, folder, environment):
    """Ten times the resources: each row beside the size before."""
    for expands in (True, False):
        before = None
        for count in (200, 2000, 20000):
            machine = f"{folder}/{count}-{expands}"
            if not os.path.exists(machine):
                reader_machine.make(machine, count, expands)
            with Simulator(build, "--machine", machine, "--serve", "redfish") as ports:
                own = [f"{build}/bench/reader/read_inventory", "redfish", str(ports["redfish"])]
                requests = requests_of(own, environment)
                times = processes.measure(build, 5, own, ["true"], environment)[0]
            if before:
                kind = "expands" if expands else "no $expand"
                yield row(f"Redfish inventory, {count} resources, {kind}, 0 ms", "a tenth of the resources",
                          (times, before[0]), (requests, before[1]))
            before = (times, requests)


def peer_commands(port, cache):
    """{family: [(peer, its command)]}."""
    ipmitool = ["ipmitool", "-I", "lanplus", "-C", "3", "-H", "127.0.0.1", "-p", str(port), "-U", processes.USER, "-P",
                processes.PASSWORD, "-L", "user"]
    freeipmi = ["-D", "LAN_2_0", "-I", "3", "-l", "user", "-h", f"127.0.0.1:{port}", "-u", processes.USER, "-p",
                processes.PASSWORD, "-W", "opensesspriv", f"--sdr-cache-directory={cache}"]
    return {"sensors": [("ipmitool sdr elist", ipmitool + ["sdr", "elist"]), ("ipmitool sensor", ipmitool + ["sensor"]),
                        ("ipmi-sensors", ["ipmi-sensors", *freeipmi]),
                        ("ipmi-sensors with thresholds", ["ipmi-sensors", *freeipmi, "--output-sensor-thresholds"])],
            "logs": [("ipmitool sel elist", ipmitool + ["sel", "elist"]), ("ipmi-sel", ["ipmi-sel", *freeipmi])],
            "components": [("ipmi-fru", ["ipmi-fru", *freeipmi])]}


def sent(make_command, port):
    """Datagrams of one run through a relay."""
    relay = UdpRelay(port)
    subprocess.run(make_command(relay.port), check=True, timeout=600, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return relay.requests


def without_cache(command, cache):
    """The command after its cache is gone, in one process."""
    return ["sh", "-c", f'rm -rf "{cache}"; mkdir -p "{cache}"; exec "$@"', "sh", *command]


def ipmi_row(build, folder, port, family, number, warm, rounds, environment):
    """One family beside one peer; both with their caches, or both without."""
    def own(at, cache):
        settings = [f"cache-folder={cache}"] if warm else ["cache=no"]
        return [f"{build}/bench/reader/read_inventory", "ipmi", str(at), f"family={family}", *settings]

    def peer(at, cache):
        command = peer_commands(at, cache)[family][number][1]
        cached = command[0].startswith("ipmi-")
        return without_cache(command, cache) if cached and not warm else command

    cache = folder + CACHES
    os.makedirs(cache, mode=0o700, exist_ok=True)
    counted = sent(lambda at: own(at, cache), port), sent(lambda at: peer(at, cache), port)
    if warm:  # the caches know a target by its port; this fills them
        for command in (own(port, cache), peer(port, cache)):
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        counted = counted_warm(own, peer, cache, port)
    return counted, processes.measure(build, rounds, own(port, cache), peer(port, cache), environment)


def counted_warm(own, peer, cache, port):
    """Datagrams with warm caches: the second run through the same relay."""
    counts = []
    for make_command in (own, peer):
        relay = UdpRelay(port)
        for _ in range(2):
            before = relay.requests
            subprocess.run(make_command(relay.port, cache), check=True, timeout=600, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)
        counts.append(relay.requests - before)
    return tuple(counts)


def ipmi_rows(build, folder, path, fault, environment):
    """With a delay, the reading of the log takes a minute: once is enough for that."""
    faults = ["--fault", "ipmi:long-log"] + (["--fault", f"ipmi:{fault}"] if fault else [])
    with Simulator(build, "--machine", "many-sensors", "--serve", "ipmi", *faults) as ports:
        port = ports["ipmi"]
        for family, peers in peer_commands(port, "").items():
            rounds = 1 if fault and family == "logs" else 3
            for number, (peer, command) in enumerate(peers):
                for warm in ([False, True] if command[0].startswith("ipmi-") else [False]):
                    counted, times = ipmi_row(build, folder, port, family, number, warm, rounds, environment)
                    caches = "warm caches" if warm else "no cache"
                    yield row(f"IPMI {family}, {path}, {caches}", peer, times, counted)


def rows(build, quick, protocol):
    """Rows for the table, one at a time."""
    unwanted = {"REQUESTS_CA_BUNDLE", "CURL_CA_BUNDLE"}  # they would make python3-sushy verify the certificate
    with tempfile.TemporaryDirectory() as folder:
        environment = {key: value for key, value in os.environ.items() if key not in unwanted} | {"HOME": folder}
        if protocol == "ipmi":
            paths = [("no delay", None), ("20 ms away", "far-20"), ("20 ms a command", "latency-20")]
            for path, fault in paths[:1] if quick else paths:
                yield from ipmi_rows(build, folder, path, fault, environment)
            return
        for latency in (20, 0):
            for expands in (True, False):
                yield from redfish_rows(build, folder, 200 if quick else 2000, expands, latency, environment)
        if not quick:
            yield from growth_rows(build, folder, environment)
