"""Scrapes of many slow targets on one exporter: missed and failed ones, their durations, and what they cost the exporter.

Each target is scraped once an interval, and takes 50 ms for an answer. Over IPMI prometheus-ipmi-exporter reads the same
targets, if it is there. What the simulator took is told as well: where it, and not the exporter, fills the cores, take
fewer targets."""

import argparse
import concurrent.futures
import http.client
import os
import resource
import shutil
import socket
import statistics
import subprocess
import tempfile
import threading
import time
import urllib.parse

from running import cpu_of, memory_of, start_exporter, start_simulator
from slow_answers import SlowAnswers

TIMEOUT = 30  # seconds of a scrape
CONFIG = """[serve]
targets = ["redfish://127.0.0.1:*", "ipmi://127.0.0.1:*"]
[[module]]
name = "sensors"
what = ["sensors"]
[[account]]
user = "admin"
password = "kelvar-demo"
"""
PEER = "prometheus-ipmi-exporter"
PEER_CONFIG = """modules:
  default:
    user: admin
    pass: kelvar-demo
    driver: LAN_2_0
    privilege: user
    timeout: 20000
    collectors: [ipmi]
    workaround_flags: [opensesspriv]
"""


class Simulators:
    """`count` slow targets of one protocol."""

    def __init__(self, build, folder, protocol, options):
        self._processes = []
        self._relay = None
        delay = ["--latency", str(options.latency)]
        if protocol == "redfish":
            groups = min(options.simulators, options.targets)
            shares = [options.targets // groups + (number < options.targets % groups) for number in range(groups)]
            ports = [port for share in shares for port in self._start(build, folder, protocol, options.redfish, share, delay)]
            self.targets = [f"redfish://127.0.0.1:{port}" for port in ports]
        else:
            share = min(options.ipmi_machines, options.targets)
            machines = self._start(build, folder, protocol, options.ipmi, share, [])
            self._relay = SlowAnswers(machines, options.targets, options.latency / 1000)
            self.targets = [f"ipmi://127.0.0.1:{port}?suite=3" for port in self._relay.ports]

    def _start(self, build, folder, protocol, machine, count, more):
        listed = f"{folder}/{protocol}.{len(self._processes)}"
        process, _ = start_simulator(build, "--machine", machine, "--serve", protocol, "--fleet", str(count), "--targets", listed,
                                     *more, machines=count)
        self._processes.append(process)
        with open(listed, encoding="ascii") as file:
            return [urllib.parse.urlsplit(line.strip()).port for line in file]

    def cpu(self):
        return cpu_of([process.pid for process in self._processes] + ([self._relay.pid] if self._relay else []))

    def stop(self):
        if self._relay:
            self._relay.stop()
        for process in self._processes:
            process.stdin.close()
            process.wait()


class Kelvar:
    name = "kelvar serve"

    def __init__(self, build, folder):
        self.process, url = start_exporter(build, folder, CONFIG)
        self.address = urllib.parse.urlsplit(url).netloc

    @staticmethod
    def path(target):
        return "/probe?module=sensors&target=" + urllib.parse.quote(target)

    @staticmethod
    def succeeded(text):
        return b"\nkelvar_up 1\n" in text and b"\nkelvar_probe_finished 1\n" in text


class Peer:
    name = PEER

    def __init__(self, _, folder):
        path = f"{folder}/peer.yml"
        with open(path, "w", encoding="ascii") as file:
            file.write(PEER_CONFIG)
        with socket.create_server(("127.0.0.1", 0)) as free:
            self.address = f"127.0.0.1:{free.getsockname()[1]}"
        environment = dict(os.environ, HOME=folder)  # its caches of sensor data records go there
        self.process = subprocess.Popen([PEER, "--config.file", path, "--web.listen-address", self.address, "--log.level=error"],
                                        env=environment, stderr=subprocess.DEVNULL)
        for _ in range(100):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", int(self.address.rsplit(":", 1)[1]))) == 0:
                    return
            time.sleep(0.1)
        raise RuntimeError(f"{PEER} did not start")

    @staticmethod
    def path(target):
        return "/ipmi?target=" + urllib.parse.urlsplit(target).netloc

    @staticmethod
    def succeeded(text):
        return b'ipmi_up{collector="ipmi"} 1' in text


class Scraper:
    """Asks for each target once an interval, all spread over it, whether or not the answers come."""

    def __init__(self, exporter, targets, interval):
        self._exporter = exporter
        self._targets = targets
        self._interval = interval
        self._busy = set()
        self._pool = concurrent.futures.ThreadPoolExecutor(200)

    def round(self):
        """Scrapes under way, and how many were not begun."""
        missed, scrapes, begun = 0, [], time.monotonic()
        for number, target in enumerate(self._targets):
            due = begun + number * self._interval / len(self._targets)
            time.sleep(max(0, due - time.monotonic()))
            if target in self._busy:  # as Prometheus does
                missed += 1
                continue
            self._busy.add(target)
            scrapes.append(self._pool.submit(self._scrape, target))
        time.sleep(max(0, begun + self._interval - time.monotonic()))
        return scrapes, missed

    def _scrape(self, target):
        """Seconds, and whether it succeeded."""
        started = time.monotonic()
        connection = http.client.HTTPConnection(self._exporter.address, timeout=TIMEOUT)
        try:
            connection.request("GET", self._exporter.path(target),
                               headers={"X-Prometheus-Scrape-Timeout-Seconds": str(TIMEOUT)})
            answer = connection.getresponse()
            text = answer.read()
            good = answer.status == 200 and self._exporter.succeeded(text)
        except (OSError, http.client.HTTPException):
            good = False
        connection.close()
        self._busy.discard(target)
        return time.monotonic() - started, good

    def stop(self):
        self._pool.shutdown()


class Peak(threading.Thread):
    """The most memory that an exporter and what it starts have at one time."""

    def __init__(self, pid):
        super().__init__(daemon=True)
        self.mib = 0
        self._pid = pid
        self._over = threading.Event()
        self.start()

    def run(self):
        while not self._over.wait(0.25):
            self.mib = max(self.mib, memory_of(self._pid))

    def stop(self):
        self._over.set()
        self.join()


COLUMNS = "{:32} {:>6} {:>6} {:>6} {:>9} {:>8} {:>10} {:>6} {:>9}"


def scraped(exporter, simulators, scraper, rounds, what):
    """What some rounds came to, as a printed line and as numbers to compare."""
    started, own, other = time.monotonic(), cpu_of([exporter.process.pid]), simulators.cpu()
    passes = [scraper.round() for _ in range(rounds)]
    ended = [scrape.result() for scrapes, _ in passes for scrape in scrapes]
    missed, failed = sum(one for _, one in passes), sum(not good for _, good in ended)
    seconds = time.monotonic() - started
    own, other = cpu_of([exporter.process.pid]) - own, simulators.cpu() - other
    durations = sorted(duration for duration, _ in ended)
    result = {"median": statistics.median(durations), "late": durations[int(len(durations) * 0.99)], "cpu": own / len(durations)}
    print(COLUMNS.format(what, len(durations), missed, failed, f"{result['median'] * 1e3:.0f}",
                         f"{result['late'] * 1e3:.0f}", f"{result['cpu'] * 1e3:.2f}", f"{own / seconds:.2f}",
                         f"{other / seconds:.2f}"), flush=True)
    return result


def measure(make, build, folder, protocol, options):
    """One exporter over one protocol."""
    simulators = Simulators(build, folder, protocol, options)
    exporter = make(build, folder)
    try:
        peak = Peak(exporter.process.pid)
        rest = memory_of(exporter.process.pid)
        scraper = Scraper(exporter, simulators.targets, options.interval)
        print(COLUMNS.format(f"{exporter.name}, {protocol}", "scrapes", "missed", "failed", "median ms", "99 % ms", "CPU ms each",
                             "cores", "simulator"))
        scraped(exporter, simulators, scraper, 1, "  first round")
        result = scraped(exporter, simulators, scraper, options.rounds, f"  {options.rounds} further rounds")
        scraper.stop()
        after = memory_of(exporter.process.pid)
        peak.stop()
        result["peak"] = peak.mib
        print(f"  memory: {rest:.1f} MiB before, {after:.1f} MiB after, {(after - rest) * 1024 / options.targets:.0f} KiB a target, "
              f"peak {result['peak']:.1f} MiB with all that it starts; {len(os.listdir(f'/proc/{exporter.process.pid}/fd'))} files\n",
              flush=True)
        return result
    finally:
        exporter.process.terminate()
        exporter.process.wait()
        simulators.stop()


def compare(own, peer):
    words = {"median": "median of scrapes", "late": "99 % of scrapes", "cpu": "CPU of a scrape", "peak": "peak of memory"}
    print(f"kelvar serve by {PEER}, of this run: " + ", ".join(f"{word} {own[key] / peer[key]:.2f}" for key, word in words.items()))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", help="folder of a build with the tool and the simulator")
    parser.add_argument("--targets", type=int, default=2000)
    parser.add_argument("--interval", type=float, default=60, help="seconds between two scrapes of a target")
    parser.add_argument("--rounds", type=int, default=4, help="intervals after the first one")
    parser.add_argument("--latency", type=int, default=50, help="milliseconds of an answer")
    parser.add_argument("--only", choices=["redfish", "ipmi", "peer"], action="append", help="these parts, not all")
    parser.add_argument("--redfish", default="stock-bmc", metavar="MACHINE", help="what is simulated over Redfish")
    parser.add_argument("--ipmi", default="full", metavar="MACHINE", help="what is simulated over IPMI")
    parser.add_argument("--simulators", type=int, default=4, help="processes of Redfish machines")
    parser.add_argument("--ipmi-machines", type=int, default=40, help="machines over IPMI, each with many addresses")
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
    parts = {"redfish": (Kelvar, "redfish"), "ipmi": (Kelvar, "ipmi"), "peer": (Peer, "ipmi")}
    results = {}
    for part, (make, protocol) in parts.items():
        if part not in (options.only or parts):
            continue
        if make is Peer and not shutil.which(PEER):
            print(f"{PEER} is not installed")
            continue
        with tempfile.TemporaryDirectory() as folder:
            results[part] = measure(make, options.build, folder, protocol, options)
    if "ipmi" in results and "peer" in results:
        compare(results["ipmi"], results["peer"])


if __name__ == "__main__":
    main()
