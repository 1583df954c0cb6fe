"""Hours of service squeezed into minutes: an exporter and fleets read 500 simulated targets that come, go, lie and hang,
and memory, descriptors and threads of the readers are watched. Ends with 1 when they grow."""

import argparse
import base64
import collections
import concurrent.futures
import http.client
import json
import os
import random
import resource
import ssl
import statistics
import subprocess
import tempfile
import threading
import time
import urllib.error
import urllib.parse
import urllib.request

from running import start_exporter, start_simulator, status_of

FAULTS = ["0.08:dead", "0.06:silent", "0.05:garbage", "0.06:slow", "0.04:401", "0.03:503", "0.04:redfish:cut",
          "0.03:redfish:bomb", "0.03:redfish:deep", "0.03:redfish:loop", "0.04:redfish:impatient"]
GROUPS = [("redfish", 115, FAULTS)] * 4 + [("cim", 32, ["0.1:dead", "0.1:silent", "0.1:slow"]), ("ipmi", 8, [])]
KEPT = 2  # sessions that the exporter keeps at one target
LONGEST_READING = 330  # seconds, of a service that always says that it is starting
FLEET_ENDS = {"0", "21", "22"}  # all complete, some failed, some different
CONFIG = """[serve]
targets = ["redfish://127.0.0.1:*", "cim+http://127.0.0.1:*", "ipmi://127.0.0.1:*"]
max-in-flight = 64
timeout = 8
[[account]]
user = "admin"
password = "kelvar-demo"
"""


class Group:
    """Simulated targets in a process of their own, which can be killed and started again, on other ports."""

    def __init__(self, build, folder, number):
        protocol, self._count, faults = GROUPS[number]
        self._list = f"{folder}/targets.{number}"
        self._arguments = [build, "--fleet", str(self._count), "--serve", protocol, "--latency", "5", "--targets", self._list]
        for fault in faults:
            self._arguments += ["--fleet-fault", fault]
        self.targets = []
        self.start()

    def start(self):
        self._process, _ = start_simulator(*self._arguments, machines=self._count)
        with open(self._list, encoding="ascii") as file:
            self.targets = file.read().split()

    def kill(self):
        self._process.kill()
        self._process.wait()
        self._process.stdin.close()
        self._process.stdout.close()


class Watched:
    """What a process holds."""

    def __init__(self, pid):
        self.mib = self.threads = self.files = self.sockets = 0
        try:
            fields = status_of(pid)
            self.mib = int(fields["VmRSS"].split()[0]) / 1024
            self.threads = int(fields["Threads"])
            links = [self._link(f"/proc/{pid}/fd/{name}") for name in os.listdir(f"/proc/{pid}/fd")]
            self.files = len(links)
            self.sockets = sum(link.startswith("socket:") for link in links)
        except (OSError, KeyError):
            pass  # it has just ended

    @staticmethod
    def _link(path):
        try:
            return os.readlink(path)
        except OSError:
            return ""


class Soak:
    def __init__(self, build, folder):
        self._kelvar = f"{build}/tools/kelvar/kelvar"
        self._folder = folder
        self.over = threading.Event()
        self.counts = collections.Counter()
        self.groups = [Group(build, folder, number) for number in range(len(GROUPS))]
        self.serve, self.url = start_exporter(build, folder, CONFIG)
        self.fleet = None
        self.fleet_peaks = []

    def targets(self):
        return [target for group in self.groups for target in group.targets]

    def come_and_go(self):
        while not self.over.wait(random.uniform(5, 15)):
            group = random.choice(self.groups)
            group.kill()
            self.counts["groups that went"] += 1
            self.over.wait(random.uniform(0, 5))
            group.start()

    def scrape(self):
        while not self.over.is_set():
            target = random.choice(self.targets()).replace("admin@", "")
            request = urllib.request.Request(self.url + "probe?target=" + urllib.parse.quote(target),
                                             headers={"X-Prometheus-Scrape-Timeout-Seconds": str(random.choice([1, 4, 9]))})
            try:
                with urllib.request.urlopen(request, timeout=15) as answer:
                    text = answer.read().decode()
                self.counts["scrapes, target up" if "\nkelvar_up 1\n" in text else "scrapes, target down"] += 1
            except urllib.error.HTTPError as error:
                self.counts[f"scrapes, status {error.code}"] += 1
            except OSError:
                self.counts["scrapes, no answer"] += 1

    def read_fleets(self):
        environment = dict(os.environ, KELVAR_PASSWORD="kelvar-demo")
        former = ""
        while not self.over.is_set():
            listed, saved = f"{self._folder}/list", f"{self._folder}/run.{self.counts['fleets'] % 2}"
            with open(listed, "w", encoding="ascii") as file:
                file.write("\n".join(self.targets()) + "\n")
            if os.path.exists(saved):
                os.unlink(saved)
            command = [self._kelvar, "--targets", listed, "--jobs", "48", "--deadline", "5", "--quiet", "--save", saved]
            command += ["--diff", former] if former else []
            self.fleet = subprocess.Popen(command + ["firmware", "system"], env=environment, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.DEVNULL)
            _, status, usage = os.wait4(self.fleet.pid, 0)
            self.counts["fleets"] += 1
            self.counts[f"fleets, exit code {os.waitstatus_to_exitcode(status)}"] += 1
            self.fleet_peaks.append(usage.ru_maxrss / 1024)
            former = saved

    def sessions(self):
        """How many sessions are open at each Redfish target that says so."""

        def ask(target):
            url = target.replace("redfish://admin@", "https://") + "/redfish/v1/SessionService/Sessions"
            request = urllib.request.Request(url, headers={"Authorization": "Basic " + account})
            try:
                with urllib.request.urlopen(request, timeout=5, context=context) as answer:
                    return len(json.load(answer)["Members"])
            except (OSError, ValueError, KeyError, TypeError, http.client.HTTPException, RecursionError):
                return None  # one with a fault

        account = base64.b64encode(b"admin:kelvar-demo").decode()
        context = ssl._create_unverified_context()
        with concurrent.futures.ThreadPoolExecutor(16) as pool:
            told = pool.map(ask, [target for target in self.targets() if target.startswith("redfish:")])
        return [count for count in told if count is not None]

    def own_metric(self, name):
        with urllib.request.urlopen(self.url + "metrics", timeout=15) as answer:
            for line in answer.read().decode().splitlines():
                if line.startswith(name + " "):
                    return float(line.split()[1])
        return -1.0


def run(soak, minutes, every):
    """Samples of the exporter while everything goes on."""
    workers = [threading.Thread(target=soak.scrape) for _ in range(12)]
    workers += [threading.Thread(target=soak.read_fleets), threading.Thread(target=soak.come_and_go)]
    for worker in workers:
        worker.start()
    samples = []
    print(f"{'minute':>6} {'exporter MiB':>12} {'threads':>7} {'files':>6} {'sockets':>7} {'fleet MiB':>9} {'files':>6}  events")
    start = time.monotonic()
    while time.monotonic() - start < minutes * 60:
        time.sleep(every)
        sample = Watched(soak.serve.pid)
        fleet = Watched(soak.fleet.pid if soak.fleet else 0)
        samples.append(sample)
        scrapes = sum(count for name, count in soak.counts.items() if name.startswith("scrapes"))
        print(f"{(time.monotonic() - start) / 60:6.1f} {sample.mib:12.1f} {sample.threads:7} {sample.files:6} "
              f"{sample.sockets:7} {fleet.mib:9.1f} {fleet.files:6}  {scrapes} scrapes, {soak.counts['fleets']} fleets",
              flush=True)
    soak.over.set()
    for worker in workers:
        worker.join()
    return samples


def judge(soak, before, samples):
    """Reasons why the readers are not flat."""
    for name in sorted(soak.counts):
        print(f"{soak.counts[name]:8} {name}")
    start = time.monotonic()
    while soak.own_metric("kelvar_readings_in_flight") > 0 and time.monotonic() - start < LONGEST_READING:
        time.sleep(1)
    after = Watched(soak.serve.pid)
    print(f"exporter at rest after {time.monotonic() - start:.0f} s: {before.files} files and {before.threads} threads before, "
          f"{after.files} and {after.threads} after")
    reasons = []
    third = max(1, len(samples) // 3)
    early = statistics.median(sample.mib for sample in samples[third:2 * third] or samples)
    late = statistics.median(sample.mib for sample in samples[-third:])
    print(f"exporter memory: {early:.1f} MiB in the second third, {late:.1f} MiB in the last one")
    if late > early * 1.1 + 8:
        reasons.append("the exporter's memory grows")
    if after.sockets > before.sockets + 2:  # the watcher's own connection
        reasons.append("the exporter keeps sockets")
    if soak.own_metric("kelvar_readings_in_flight") > 0:
        reasons.append("readings are still in flight")
    if soak.fleet_peaks:
        half = max(1, len(soak.fleet_peaks) // 2)
        first, last = statistics.median(soak.fleet_peaks[:half]), statistics.median(soak.fleet_peaks[-half:])
        print(f"fleet memory, peak: {first:.1f} MiB in the first half, {last:.1f} MiB in the second one")
    if soak.counts["scrapes, no answer"]:
        reasons.append("scrapes got no answer")
    ends = {name.split()[-1] for name in soak.counts if name.startswith("fleets, exit")}
    if ends - FLEET_ENDS or not ends:
        reasons.append("a fleet was not read")
    return reasons + judge_sessions(soak)


def judge_sessions(soak):
    kept = soak.sessions()
    soak.serve.terminate()
    soak.serve.wait()
    left = soak.sessions()
    print(f"sessions of {len(kept)} targets: {sum(kept)} while the exporter keeps them, at most {max(kept, default=0)} each; "
          f"{sum(left)} after its end")
    reasons = ["targets have more sessions open than are kept"] if max(kept, default=0) > KEPT else []
    return reasons + (["sessions stay open"] if sum(left) else [])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", help="folder of a build with the tool and the simulator")
    parser.add_argument("--minutes", type=float, default=20)
    parser.add_argument("--every", type=float, default=15, help="seconds between two samples")
    options = parser.parse_args()
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, min(hard, 4096)), hard))
    with tempfile.TemporaryDirectory() as folder:
        soak = Soak(options.build, folder)
        try:
            before = Watched(soak.serve.pid)
            reasons = judge(soak, before, run(soak, options.minutes, options.every))
        finally:
            soak.over.set()
            soak.serve.terminate()
            soak.serve.wait()
            for group in soak.groups:
                group.kill()
    for reason in reasons:
        print("FAILED:", reason)
    print("" if reasons else "flat")
    return 1 if reasons else 0


if __name__ == "__main__":
    raise SystemExit(main())
