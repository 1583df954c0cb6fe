"""Starts simulated machines and an exporter for the tests of what is shipped in monitoring."""

import json
import os
import subprocess
import urllib.parse
import urllib.request

CONFIG = """[serve]
targets = ["redfish://127.0.0.1:*"]
timeout = 30
[[module]]
name = "everything"
[[account]]
user = "admin"
password = "kelvar-demo"
"""


class Simulator:
    """A process that serves machines over Redfish until it is stopped; restarts keep the ports."""

    def __init__(self, build, *arguments):
        self._process = subprocess.Popen([f"{build}/simulator/kelvar-bmcsim", "--until-eof", "--serve", "redfish",
                                          *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.first = json.loads(self._process.stdout.readline())

    def stop(self):
        self._process.kill()
        self._process.wait()
        self._process.stdin.close()
        self._process.stdout.close()


class Exporter:
    def __init__(self, build, folder, config=CONFIG):
        path = f"{folder}/kelvar.toml"
        with open(path, "w", encoding="ascii") as file:
            file.write(config)
        os.chmod(path, 0o600)
        with open(f"{folder}/exporter.log", "wb") as log:
            self.process = subprocess.Popen([f"{build}/tools/kelvar/kelvar", "serve", "--listen", "127.0.0.1:0",
                                             "--config", path], stdout=subprocess.PIPE, stderr=log)
        self.url = json.loads(self.process.stdout.readline())["url"]

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=60) as answer:
            return answer.read().decode()

    def probe(self, target, module):
        return self.get("probe?" + urllib.parse.urlencode({"target": target, "module": module}))

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()
