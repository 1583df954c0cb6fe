"""Programs of a build that run beside a bench, and what they take."""

import json
import os
import subprocess


def start_simulator(build, *arguments, machines=1):
    """The process, which ends when its input is closed, and what it says of its first machine."""
    command = [f"{build}/simulator/kelvar-bmcsim", "--until-eof", *arguments]
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    announced = [process.stdout.readline() for _ in range(machines)]
    if not all(announced):
        raise RuntimeError("the simulator did not start: " + " ".join(command))
    return process, json.loads(announced[0])


def start_exporter(build, folder, config):
    """The process of kelvar serve, with its log in the folder, and its URL."""
    path = f"{folder}/kelvar.toml"
    with open(path, "w", encoding="ascii") as file:
        file.write(config)
    os.chmod(path, 0o600)
    with open(f"{folder}/serve.log", "wb") as log:
        process = subprocess.Popen([f"{build}/tools/kelvar/kelvar", "serve", "--listen", "127.0.0.1:0", "--config", path],
                                   stdout=subprocess.PIPE, stderr=log)
    return process, json.loads(process.stdout.readline())["url"]


def processes_of(pid):
    """A process and all that descend from it."""
    found = [pid]
    try:
        for task in os.listdir(f"/proc/{pid}/task"):
            with open(f"/proc/{pid}/task/{task}/children", encoding="ascii") as file:
                for child in file.read().split():
                    found += processes_of(int(child))
    except OSError:
        pass  # it has just ended
    return found


def cpu_of(pids):
    """Seconds, those of children that have ended included."""
    ticks = 0
    for pid in (one for root in pids for one in processes_of(root)):
        try:
            with open(f"/proc/{pid}/stat", encoding="ascii") as file:
                ticks += sum(int(field) for field in file.read().rsplit(")", 1)[1].split()[11:15])
        except OSError:
            pass
    return ticks / os.sysconf("SC_CLK_TCK")


def status_of(pid):
    """The fields of /proc/PID/status; none when it has just ended."""
    try:
        with open(f"/proc/{pid}/status", encoding="ascii") as file:
            return dict(line.strip().split(":", 1) for line in file)
    except OSError:
        return {}


def memory_of(pid, name="VmRSS"):
    """MiB of a process and its descendants."""
    return sum(int(status_of(one).get(name, "0").split()[0]) for one in processes_of(pid)) / 1024
