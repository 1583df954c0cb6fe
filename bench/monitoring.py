"""What is shipped in monitoring, in a real Prometheus: 200 simulated targets of several manufacturers, faults switched on
one by one, each at a target of its own; its alert must fire for that target, and clear when the fault is gone. All
times are divided by SCALE. Prints when each fired and cleared, and what scrapes and processes took. Ends with 1 when
an alert failed to."""

import argparse
import collections
import http.client
import http.server
import json
import os
import re
import signal
import ssl
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
import urllib.request

from running import cpu_of, memory_of, start_exporter, start_simulator

SCALE = 12
FLEETS = [("rack-gen5", 58), ("rack-gen7", 30), ("stock-bmc", 60), ("legacy-thermal", 43)]
VICTIM_MACHINE = "stock-bmc"
CONFIG = """[serve]
targets = ["redfish://127.0.0.1:*"]
max-in-flight = 64
[[module]]
name = "sensors"
what = ["sensors", "leds"]
[[module]]
name = "inventory"
what = ["system", "firmware", "components", "logs"]
[[account]]
user = "admin"
password = "kelvar-demo"
"""


def dictionaries(value):
    """Every object of a document, so that expanded members are found as well."""
    if isinstance(value, dict):
        yield value
        value = list(value.values())
    if isinstance(value, list):
        for one in value:
            yield from dictionaries(one)


def of_type(name):
    return lambda one: one.get("@odata.type", "").startswith(f"#{name}.")


def is_temperature(one):
    return one.get("ReadingType") == "Temperature" and "UpperCritical" in one.get("Thresholds", {})


def with_health(word):
    return lambda one: one.update(Status={**one.get("Status", {}), "Health": word})


def beyond_threshold(one):
    one["Reading"] = one["Thresholds"]["UpperCritical"]["Reading"] + 5


def critical_now(one):
    one.update(Severity="Critical", Created=time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(STARTED)))


def other_version(one):
    one.update({key: one[key] + ".99" for key in ("Version", "FirmwareVersion") if one.get(key)})


STARTED = time.time()


class Victim(http.server.ThreadingHTTPServer):
    """One target: what a simulated machine answers, with a fault on the way back when one is switched on."""

    daemon_threads = True

    def __init__(self, upstream, certificates, port=0):
        super().__init__(("127.0.0.1", port), Relay)
        self.upstream = upstream
        self.certificate = certificates[0]
        self.ending_certificate = certificates[1]
        self.status = 0
        self.hangs = False
        self.change = None
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def get_request(self):
        connection, address = super().get_request()
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate)
        return context.wrap_socket(connection, server_side=True, do_handshake_on_connect=False), address

    def handle_error(self, request, client_address):
        pass


class Relay(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *arguments):
        pass

    def relay(self):
        while self.server.hangs:
            time.sleep(0.1)
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        context = ssl._create_unverified_context()
        upstream = http.client.HTTPSConnection("127.0.0.1", self.server.upstream, timeout=20, context=context)
        headers = {name: value for name, value in self.headers.items() if name.lower() not in ("host", "accept-encoding")}
        upstream.request(self.command, self.path, body, headers)
        answer = upstream.getresponse()
        payload = answer.read()
        status = self.server.status or answer.status
        if self.server.change and answer.status == 200:
            document = json.loads(payload)
            applies, change = self.server.change
            for one in list(dictionaries(document)):
                if applies(one):
                    change(one)
            payload = json.dumps(document).encode()
        self.send_response(status)
        for name, value in answer.getheaders():
            if name.lower() in ("x-auth-token", "location", "content-type", "odata-version"):
                self.send_header(name, value)
        self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        self.wfile.write(payload)
        upstream.close()

    do_GET = do_POST = do_DELETE = relay


def faults():
    """Alert, and how its fault is switched on."""

    def change(applies, how):
        return lambda victim: setattr(victim, "change", (applies, how))

    return {
        "KelvarTargetSilent": lambda victim: setattr(victim, "hangs", True),
        "KelvarLoginRefused": lambda victim: setattr(victim, "status", 401),
        "KelvarSensorNotOk": change(is_temperature, with_health("Warning")),
        "KelvarSensorBeyondThreshold": change(is_temperature, beyond_threshold),
        "KelvarNewCriticalEvent": change(of_type("LogEntry"), critical_now),
        "KelvarSupplyLost": change(of_type("PowerSupply"), with_health("Critical")),
        "KelvarComponentFailed": change(of_type("Memory"), with_health("Critical")),
        "KelvarFirmwareDrift": change(lambda one: of_type("SoftwareInventory")(one) or of_type("Manager")(one), other_version),
        "KelvarCertificateEnding": lambda victim: setattr(victim, "certificate", victim.ending_certificate),
    }


def mend(victim, folder):
    victim.status, victim.hangs, victim.change = 0, False, None
    if victim.certificate == victim.ending_certificate:
        victim.certificate = certificate(folder, 366)


def certificate(folder, days):
    path = f"{folder}/certificate.{days}"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=bmc", "-days", str(days),
                    "-keyout", path, "-out", path + ".crt"], check=True, stderr=subprocess.DEVNULL)
    with open(path, "a", encoding="ascii") as key, open(path + ".crt", encoding="ascii") as made:
        key.write(made.read())
    return path


def scaled(text):
    units = {"s": 1, "m": 60, "h": 3600}

    def divide(match):
        return f"{round(int(match[1]) * units[match[2]] * 1000 / SCALE)}ms"

    return re.sub(r"\b(\d+)([smh])\b", divide, text)


class Proof:
    def __init__(self, project, build, folder):
        self.folder = folder
        self._processes = []
        self._build = build
        targets = []
        for machine, count in FLEETS:
            listed = f"{folder}/{machine}"
            process, _ = start_simulator(build, "--serve", "redfish", "--machine", machine, "--fleet", str(count), "--targets",
                                         listed, machines=count)
            self._processes.append(process)
            with open(listed, encoding="ascii") as file:
                targets += [line.replace("admin@", "") for line in file.read().split()]
        process, told = start_simulator(build, "--serve", "redfish", "--machine", VICTIM_MACHINE)
        self._processes.append(process)
        certificates = [certificate(folder, 365), certificate(folder, 3)]
        self.victims = {alert: Victim(told["redfish"], certificates) for alert in faults()}
        targets += [self.instance(alert) for alert in self.victims]
        print(f"{len(targets)} targets, times divided by {SCALE}")
        self.serve, self.url = self._start_serve()
        self._start_prometheus(project, targets)

    def instance(self, alert):
        return f"redfish://127.0.0.1:{self.victims[alert].port}"

    def _start_serve(self):
        serve, url = start_exporter(self._build, self.folder, CONFIG)
        self._processes.append(serve)
        return serve, url

    def _start_prometheus(self, project, targets):
        os.mkdir(f"{self.folder}/targets")
        with open(f"{self.folder}/targets/all.yml", "w", encoding="ascii") as file:
            json.dump([{"targets": targets}], file)
        address = urllib.parse.urlsplit(self.url).netloc
        for name in ("prometheus.yml", "kelvar.rules.yml"):
            with open(f"{project}/monitoring/{name}", encoding="utf-8") as file:
                text = scaled(file.read()).replace("127.0.0.1:9764", address)
            with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
                file.write(text)
        listener = http.server.HTTPServer(("127.0.0.1", 0), http.server.BaseHTTPRequestHandler)
        port = listener.server_address[1]
        listener.server_close()
        with open(f"{self.folder}/prometheus.log", "wb") as log:
            self.prometheus = subprocess.Popen(["prometheus", f"--config.file={self.folder}/prometheus.yml",
                                                f"--storage.tsdb.path={self.folder}/data",
                                                f"--web.listen-address=127.0.0.1:{port}"], stdout=log, stderr=log)
        self._processes.append(self.prometheus)
        self._api = f"http://127.0.0.1:{port}/api/v1/"

    def query(self, expression):
        url = self._api + "query?" + urllib.parse.urlencode({"query": expression})
        with urllib.request.urlopen(url, timeout=30) as answer:
            return json.load(answer)["data"]["result"]

    def firing(self):
        found = self.query('ALERTS{alertstate="firing"}')
        return {(one["metric"]["alertname"], one["metric"].get("instance", "")) for one in found}

    def wait(self, alert, instance, state, seconds):
        started = time.time()
        while time.time() - started < seconds:
            if ((alert, instance) in self.firing()) == state:
                return time.time() - started
            time.sleep(1)
        return None

    def stop(self):
        for victim in self.victims.values():
            victim.hangs = False
        for process in self._processes:
            process.kill()
            process.wait()


class Course:
    """One fault: when it was switched on, when its alert fired, when it was mended, when the alert cleared."""

    def __init__(self, proof, alert):
        self.alert, self.instance, self._victim = alert, proof.instance(alert), proof.victims[alert]
        self._folder = proof.folder
        self.on = self.fired = self.cleared = None
        self.beside = set()

    def begin(self):
        faults()[self.alert](self._victim)
        self.on = time.time()

    def look(self, firing):
        """What fires now; true when all is told or nothing more will come."""
        if self.on is None:
            return False
        self.beside |= {name for name, instance in firing if instance == self.instance and name != self.alert}
        fires = (self.alert, self.instance) in firing
        if self.fired is None and fires:
            self.fired = time.time()
            mend(self._victim, self._folder)
        elif self.fired is not None and not fires:
            self.cleared = time.time()
        # A refused login is not tried again for five minutes, which no scale shortens.
        limit = 3600 / SCALE + 120 if self.fired is None else 900 / SCALE + 360
        return self.cleared is not None or time.time() - (self.fired or self.on) > limit

    def __str__(self):
        fired = f"fired after {self.fired - self.on:.0f} s" if self.fired else "never fired"
        cleared = f"cleared after {self.cleared - self.fired:.0f} s" if self.cleared else "never cleared"
        return f"{self.alert:28} {fired}, {cleared}" + (f"; beside it {sorted(self.beside)}" if self.beside else "")


def run(proof, alerts):
    time.sleep(3600 / SCALE + 60)  # what rules compare with must be there
    before = proof.firing()
    victims = {proof.instance(alert): alert for alert in proof.victims}
    for alert, instance in sorted(before):
        if instance in victims:
            print(f"fires before its fault: {alert} of the victim of {victims[instance]}")
    courses = [Course(proof, alert) for alert in alerts]
    waiting, under_way = list(courses), []
    begun = 0
    while waiting or under_way:
        if waiting and time.time() - begun > 15:
            begun = time.time()
            under_way.append(waiting.pop(0))
            under_way[-1].begin()
        firing = proof.firing()
        for course in [one for one in under_way if one.look(firing)]:
            under_way.remove(course)
            print(course, flush=True)
        time.sleep(1)
    others = collections.Counter(name for name, instance in proof.firing() - before if instance not in victims)
    if others:
        print(f"of other targets fire since then {dict(others)}")
    return sum(course.cleared is None for course in courses)


def measure(proof, seconds):
    durations = {job: [float(one["value"][1]) for one in proof.query(f'scrape_duration_seconds{{job="{job}"}}')]
                 for job in ("kelvar", "kelvar-inventory")}
    for job, values in durations.items():
        values.sort()
        print(f"{job}: {len(values)} targets, scrape median {statistics.median(values) * 1e3:.0f} ms, "
              f"99 % {values[int(len(values) * 0.99)] * 1e3:.0f} ms, longest {values[-1] * 1e3:.0f} ms")
    missed = proof.query(f"sum(count_over_time(up{{job=~'kelvar.*'}}[{int(seconds)}s])) - sum(sum_over_time("
                         f"up{{job=~'kelvar.*'}}[{int(seconds)}s]))")
    print(f"scrapes that failed: {missed[0]['value'][1] if missed else 'unknown'}")
    for name, process in (("kelvar serve", proof.serve), ("prometheus", proof.prometheus)):
        cpu, peak = cpu_of([process.pid]), memory_of(process.pid, "VmHWM")
        print(f"{name}: {cpu / seconds:.2f} cores, peak {peak:.0f} MiB")


def exporter_down(proof):
    address = urllib.parse.urlsplit(proof.url).netloc
    proof.serve.send_signal(signal.SIGSTOP)
    fired = proof.wait("KelvarExporterDown", address, True, 300 / SCALE + 120)
    proof.serve.send_signal(signal.SIGCONT)
    cleared = proof.wait("KelvarExporterDown", address, False, 120)
    print(f"{'KelvarExporterDown':28} fired after {fired or -1:.0f} s, cleared after {cleared or -1:.0f} s")
    return fired is None or cleared is None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("project")
    parser.add_argument("build")
    parser.add_argument("--only", choices=list(faults()), action="append", metavar="ALERT", help="this fault, not all")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        started = time.time()
        proof = Proof(options.project, options.build, folder)
        try:
            failed = run(proof, options.only or list(faults()))
            measure(proof, time.time() - started)
            failed += exporter_down(proof)
        finally:
            proof.stop()
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
