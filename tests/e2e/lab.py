"""Runs the real hopr binary inside a namespace lab, as the agent or an operator would."""

import itertools
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BINARY = os.environ.get("HOPR_BINARY", "../../build/hopr")
LAB = os.environ.get("HOPR_LAB", "../../scripts/lab")
_names = itertools.count()


def require_root():
    """Lab runs need root; outside CI they are skipped (ctest reads exit code 77 as skipped)."""
    if os.geteuid() == 0:
        return
    if os.environ.get("CI") == "true":
        raise RuntimeError("lab tests must run as root in CI")
    print("skipped: lab tests need root (network namespaces, raw sockets)")
    sys.exit(77)


def start_time(pid):
    """The process's start time in clock ticks (with the pid, it names one process); None once it
    has ended, also while its zombie waits to be reaped."""
    try:
        with open(f"/proc/{pid}/stat", encoding="utf-8") as f:
            fields = f.read().rsplit(")", 1)[1].split()
    except OSError:
        return None
    return None if fields[0] == "Z" else fields[19]


def processes_in(namespaces):
    """(pid, start time) of every process in these network namespaces."""
    found = set()
    for namespace in namespaces:
        pids = subprocess.run(["ip", "netns", "pids", namespace], capture_output=True,
                              text=True).stdout.split()
        found.update((pid, start_time(pid)) for pid in pids)
    return {(pid, started) for pid, started in found if started is not None}


def survivors(processes):
    return [pid for pid, started in processes if start_time(pid) == started]


def hub_addresses(result):
    return [hub["address"] for hub in result["report"]["hubs"]]


class Lab:
    """One lab network and a private copy of hopr (its log file lives beside it)."""

    def __init__(self, *options, registry=""):
        self.name = f"h{os.getpid() % 100000}x{next(_names)}"
        self.options = [str(o) for o in options]
        self.directory = tempfile.mkdtemp(prefix="hopr-lab-")
        self.binary = os.path.join(self.directory, "hopr")
        self.registry = os.path.join(self.directory, "registry.reg")
        self.events = os.path.join(self.directory, "events")
        self.write_registry(registry)

    def __enter__(self):
        shutil.copy(BINARY, self.binary)
        subprocess.run([LAB, "up", self.name, *self.options], check=True)
        return self

    def __exit__(self, *_):
        processes = processes_in(self.namespaces())
        subprocess.run([LAB, "down", self.name], check=True)
        left = self.namespaces()
        shutil.rmtree(self.directory, ignore_errors=True)
        assert not left, f"namespaces left behind: {left}"
        outliving = survivors(processes)
        assert not outliving, f"processes outlived the lab: {outliving}"

    def namespaces(self):
        """The lab's namespaces: the client, routers, target and tunnel router."""
        listed = subprocess.run(["ip", "netns", "list"], capture_output=True, text=True).stdout
        own = re.compile(re.escape(self.name) + r"(c|t|r\d+|u\d+)")
        return [line.split()[0] for line in listed.splitlines()
                if own.fullmatch(line.split()[0])]

    def write_registry(self, body):
        with open(self.registry, "w", encoding="utf-8") as f:
            f.write("Windows Registry Editor Version 5.00\n\n" + body)

    def environment(self):
        env = dict(os.environ)
        env.update(HOPR_REGISTRY_FILE=self.registry, HOPR_EVENT_DIR=self.events)
        return env

    def command(self, *arguments):
        return ["ip", "netns", "exec", f"{self.name}c", self.binary, *map(str, arguments)]

    def client_ip(self, *arguments):
        """What `ip` shows of the client namespace, e.g. client_ip("route")."""
        return subprocess.run(["ip", "-n", f"{self.name}c", *arguments], check=True,
                              capture_output=True, text=True).stdout

    def run(self, *arguments, stdin=None, timeout=300):
        return subprocess.run(self.command(*arguments), input=stdin, capture_output=True,
                              text=True, env=self.environment(), timeout=timeout)

    def run_measured(self, *arguments, timeout=300):
        """Like run(), and the peak resident size of hopr alone, in KiB."""
        measure = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:]); "
                   "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, file=sys.stderr)")
        env = self.environment()
        # AddressSanitizer's quarantine would otherwise hold up to 256 MB of freed memory.
        env["ASAN_OPTIONS"] = "quarantine_size_mb=8"
        done = subprocess.run([sys.executable, "-c", measure, *self.command(*arguments)],
                              capture_output=True, text=True, env=env, timeout=timeout)
        return done, int(done.stderr.split()[-1])

    def run_json(self, document, log="f", timeout=300):
        return self.run("json", "-l", log, stdin=json.dumps(document) + "\n", timeout=timeout)

    def start_json(self, document):
        """Starts a console-logging run whose log lines can be read as they happen."""
        process = subprocess.Popen(self.command("json", "-l", "c"), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, text=True, env=self.environment())
        process.stdin.write(json.dumps(document) + "\n")
        process.stdin.close()
        return process

    def log(self, name="velmora_hopr.log"):
        with open(os.path.join(self.directory, name), encoding="utf-8") as f:
            return f.read()


def lab_test(target, uuid, port=80, probes=2, max_unknown=3, **flags):
    test = {
        "target": target, "testUuid": uuid, "netObjUuid": f"net-{uuid}", "timeout": 1,
        "port": port, "maxUnknown": max_unknown, "probesPerNode": probes,
        "muRunTestsFromTrustedNetworks": False,
        "muRunTestsFromUntrustedNetworksWithVPNDisabled": True,
        "rnRunTestsOnActivePathsOnly": False, "networkObjectDomainOrIpIndex": 0,
        "serverType": 1, "testName": f"name {uuid}", "applicationName": "lab",
        "isSplitTunnel": False,
    }
    test.update(flags)
    return test


def document(tests, serialised=False, event="", min_port=0, max_port=0):
    return {"tests": tests, "isSerialised": serialised, "exitEventName": event,
            "minPort": min_port, "maxPort": max_port}


class LabCase(unittest.TestCase):
    def assert_ok(self, completed):
        self.assertEqual(completed.returncode, 0, completed.stdout[-2000:] + completed.stderr)
        return json.loads(completed.stdout)
