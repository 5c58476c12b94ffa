"""Runs the real hopr program inside a namespace lab, as the agent or an operator would.

The program under test is the Linux build, or with HOPR_PROGRAM=wine the Windows hopr.exe under
Wine; every case runs against either with the same expectations.
"""

import fcntl
import itertools
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BINARY = os.environ.get("HOPR_BINARY", "../../build/hopr")
LAB = os.environ.get("HOPR_LAB", "../../scripts/lab")
_names = itertools.count()


class LinuxProgram:
    """The Linux build: settings from a registry export file read at every lookup, the exit
    event a FIFO in the event directory. It runs as user nobody with no capability at all,
    unless a case asks for root."""

    file_name = "hopr"
    finds_tunnel_adapter = True
    answers_on_probe_sockets = True  # no raw listeners

    def start(self, lab):
        pass

    def stop(self, lab):
        pass

    def environment(self, lab):
        return {"HOPR_REGISTRY_FILE": lab.registry, "HOPR_EVENT_DIR": lab.events}

    def command(self, lab, arguments):
        uid, gid = lab.user
        user = [] if lab.as_root else ["setpriv", f"--reuid={uid}", f"--regid={gid}",
                                       "--clear-groups"]
        return [*user, lab.binary, *arguments]

    def prepare(self, lab):
        """The log beside the binary and the event FIFOs are the user's to write."""
        if not lab.as_root:
            shutil.chown(lab.directory, *lab.user)

    def load_settings(self, lab):
        pass

    @staticmethod
    def event_path(lab, name):
        encoded = "".join(c if (c.isascii() and c.isalnum()) or c in "-_." else f"%{ord(c):02X}"
                          for c in name)
        return os.path.join(lab.events, encoded)

    def leave_stale_stop_request(self, lab, name):
        """What `printf x > FIFO` leaves when no run has made the FIFO: a regular file."""
        os.makedirs(lab.events, exist_ok=True)
        shutil.chown(lab.events, *lab.user)
        with open(self.event_path(lab, name), "w", encoding="utf-8") as f:
            f.write("x")

    def signal_event(self, lab, name):
        # As the README says: never create a file where the FIFO should be.
        fifo = os.open(self.event_path(lab, name), os.O_WRONLY | os.O_NONBLOCK)
        os.write(fifo, b"x")
        os.close(fifo)


class WineProgram:
    """hopr.exe under Wine. Wine's server opens the sockets and its device service lists the
    adapters, so each lab gets a prefix, and so a server, of its own inside the lab's client
    namespace. The prefix is a hard-linked copy of one booted once (Wine replaces the files it
    changes); settings are `reg import`-ed; the exit event is a named event that a small helper
    signals from outside hopr.exe."""

    file_name = "hopr.exe"
    # Wine's GetAdaptersAddresses gives an adapter whose default route is on-link no gateway.
    finds_tunnel_adapter = False
    answers_on_probe_sockets = False

    def __init__(self):
        self.template = os.environ.get("HOPR_WINE_TEMPLATE", "../../build-win/wineprefix-lab")
        self.set_event = os.environ.get("HOPR_SETEVENT", "../../build-win/tests/hopr_setevent.exe")

    def booted_template(self):
        """The prefix every lab copies, booted by the first lab of the run that needs it."""
        with open(self.template + ".lock", "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            ready = self.template + ".ready"
            if not os.path.exists(ready):
                shutil.rmtree(self.template, ignore_errors=True)
                env = dict(os.environ, WINEPREFIX=self.template, WINEDEBUG="-all")
                quiet = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL,
                         "stderr": subprocess.DEVNULL, "env": env}
                subprocess.run(["wine", "wineboot", "--init"], check=True, **quiet)
                # The server writes the registry out when it ends.
                subprocess.run(["wineserver", "-w"], check=True, **quiet)
                open(ready, "w", encoding="utf-8").close()
        return self.template

    def prepare(self, lab):
        pass

    def start(self, lab):
        prefix = self.prefix(lab)
        subprocess.run(["cp", "-al", self.booted_template(), prefix], check=True)
        # The registry files are the lab's own: a server that rewrote a shared one in place
        # would change every later lab's Wine (its device service then lists no adapter).
        for name in os.listdir(prefix):
            path = os.path.join(prefix, name)
            if os.path.isfile(path):
                shutil.copy2(path, path + ".own")
                os.replace(path + ".own", path)
        # A persistent server, and its services started now with no pipe of a test's run to
        # hold open.
        self.quietly(lab, "wineserver", "-p")
        self.quietly(lab, "wine", "wineboot")

    def stop(self, lab):
        self.quietly(lab, "wineserver", "-k", check=False)

    def prefix(self, lab):
        return os.path.join(lab.directory, "prefix")

    def environment(self, lab):
        return {"WINEPREFIX": self.prefix(lab), "WINEDEBUG": "-all"}

    def command(self, lab, arguments):
        return ["wine", lab.binary, *arguments]

    def quietly(self, lab, *command, check=True):
        return subprocess.run(lab.in_client(*command), env=lab.environment(), check=check,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=120)

    def load_settings(self, lab):
        self.quietly(lab, "wine", "reg", "delete", "HKLM\\SOFTWARE\\Velmora", "/f", check=False)
        self.quietly(lab, "wine", "reg", "import", "Z:" + lab.registry.replace("/", "\\"))

    def leave_stale_stop_request(self, lab, name):
        """A Windows event lives only while someone holds it: nothing can be left behind."""

    def signal_event(self, lab, name):
        done = subprocess.run(lab.in_client("wine", self.set_event, name), env=lab.environment(),
                              capture_output=True, text=True, timeout=60)
        assert done.returncode == 0, done.stderr


PROGRAM = WineProgram() if os.environ.get("HOPR_PROGRAM") == "wine" else LinuxProgram()


NO_TUNNEL_UNDER_WINE = ("Wine reports no gateway for an on-link default route, so hopr.exe "
                        "finds no tunnel adapter")


def not_under_wine(reason):
    """Skips a case that cannot run against hopr.exe under Wine, with the reason on one line."""
    return unittest.skipIf(isinstance(PROGRAM, WineProgram), reason)


def require_root():
    """Lab runs need root; outside CI they are skipped (ctest reads exit code 77 as skipped)."""
    if os.geteuid() == 0:
        return
    if os.environ.get("CI") == "true":
        raise RuntimeError("lab tests must run as root in CI")
    print("skipped: lab tests need root (network namespaces)")
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
    """One lab network and a private copy of hopr (its log file lives beside it). The Linux
    build runs as `user` (uid, gid), by default nobody; `as_root` runs it as root (hopr.exe
    always runs so, as Wine's server opens its raw sockets)."""

    def __init__(self, *options, registry="", as_root=False, user=("nobody", "nogroup")):
        self.name = f"h{os.getpid() % 100000}x{next(_names)}"
        self.options = [str(o) for o in options]
        self.directory = tempfile.mkdtemp(prefix="hopr-lab-")
        self.binary = os.path.join(self.directory, PROGRAM.file_name)
        self.registry = os.path.join(self.directory, "registry.reg")
        self.events = os.path.join(self.directory, "events")
        self.started = False
        self.as_root = as_root
        self.user = user
        self.write_registry(registry)

    def __enter__(self):
        shutil.copy(BINARY, self.binary)
        PROGRAM.prepare(self)
        subprocess.run([LAB, "up", self.name, *self.options], check=True)
        try:
            PROGRAM.start(self)
            self.started = True
            PROGRAM.load_settings(self)
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, failure=None, *_):
        if failure is not None:
            self.show_log_tail()
        PROGRAM.stop(self)
        processes = processes_in(self.namespaces())
        subprocess.run([LAB, "down", self.name], check=True)
        left = self.namespaces()
        shutil.rmtree(self.directory, ignore_errors=True)
        assert not left, f"namespaces left behind: {left}"
        outliving = survivors(processes)
        assert not outliving, f"processes outlived the lab: {outliving}"

    def show_log_tail(self):
        """The end of the run's log file, for a case that failed with the log in a file."""
        path = os.path.join(self.directory, "velmora_hopr.log")
        if os.path.exists(path):
            with open(path, encoding="utf-8", errors="replace") as f:
                print(f"--- end of {path}:\n{f.read()[-3000:]}", file=sys.stderr)

    def namespaces(self):
        """The lab's namespaces: the client, routers, target and tunnel router."""
        listed = subprocess.run(["ip", "netns", "list"], capture_output=True, text=True).stdout
        own = re.compile(re.escape(self.name) + r"(c|t|r\d+|u\d+|b\d+)")
        return [line.split()[0] for line in listed.splitlines()
                if own.fullmatch(line.split()[0])]

    def write_registry(self, body):
        """The agent's settings for the next runs."""
        with open(self.registry, "w", encoding="utf-8") as f:
            f.write("Windows Registry Editor Version 5.00\n\n" + body)
        if self.started:
            PROGRAM.load_settings(self)

    def signal_event(self, name):
        """Signals the named exit event from outside the program, as the agent does."""
        PROGRAM.signal_event(self, name)

    def leave_stale_stop_request(self, name):
        PROGRAM.leave_stale_stop_request(self, name)

    def environment(self):
        return dict(os.environ, **PROGRAM.environment(self))

    def in_client(self, *command):
        return ["ip", "netns", "exec", f"{self.name}c", *command]

    def command(self, *arguments):
        return self.in_client(*PROGRAM.command(self, [str(a) for a in arguments]))

    def client_ip(self, *arguments):
        """What `ip` shows of the client namespace, e.g. client_ip("route")."""
        return subprocess.run(["ip", "-n", f"{self.name}c", *arguments], check=True,
                              capture_output=True, text=True).stdout

    def run(self, *arguments, stdin=None, timeout=300):
        """Text in and out, or bytes when `stdin` is bytes."""
        return subprocess.run(self.command(*arguments), input=stdin, capture_output=True,
                              text=not isinstance(stdin, bytes), env=self.environment(),
                              timeout=timeout)

    def run_measured(self, *arguments, stdin=None, timeout=300):
        """Like run(), and the peak resident size of hopr alone, in KiB."""
        measure = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:]); "
                   "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, file=sys.stderr)")
        env = self.environment()
        # AddressSanitizer's quarantine would otherwise hold up to 256 MB of freed memory.
        env["ASAN_OPTIONS"] = "quarantine_size_mb=8"
        done = subprocess.run([sys.executable, "-c", measure, *self.command(*arguments)],
                              input=stdin, capture_output=True, text=True, env=env,
                              timeout=timeout)
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


def run_until(process, marker, action, timeout=120):
    """Reads the console log; does `action` once at the first line holding `marker`. Returns
    every line and the seconds from the action to the end of the process."""
    lines, acted = [], None
    for line in process.stdout:
        lines.append(line)
        if acted is None and marker in line:
            action()
            acted = time.monotonic()
    process.stdout.close()
    process.wait(timeout=timeout)
    assert acted is not None, f"never saw {marker!r}"
    return lines, time.monotonic() - acted


def results_of(lines):
    """The JSON array after the console log, which must parse whole."""
    last = lines[-1]
    return json.loads(last[last.index("[{"):])


class LabCase(unittest.TestCase):
    def assert_ok(self, completed):
        self.assertEqual(completed.returncode, 0, completed.stdout[-2000:] + completed.stderr)
        return json.loads(completed.stdout)

    def assert_stop_ends_serialised_run(self, event, stop):
        """Three serialised tests, the second to a silent target: `stop(lab, process)` while
        the second is on hop 2 ends it there, leaves the third unrun and exits 0 at once."""
        tests = [lab_test("198.18.3.1", "a"),
                 lab_test("198.19.0.2", "b", max_unknown=30),
                 lab_test("198.19.0.3", "c")]
        with Lab("--routers", 2, "--extra-targets", 2, "--silent", "1,2") as lab:
            process = lab.start_json(document(tests, serialised=True, event=event))
            lines, after = run_until(process, "On hop 2; repeat 0; address 198.19.0.2",
                                     lambda: stop(lab, process))
            # On Linux the event is a FIFO that hopr makes; nothing may stay behind.
            leftovers = os.listdir(lab.events) if os.path.isdir(lab.events) else []
        self.assertEqual(process.returncode, 0)
        results = results_of(lines)
        self.assertEqual([r["testUuid"] for r in results], ["a", "b", "c"])
        self.assertTrue(results[0]["report"]["hubs"])
        self.assertEqual([h["count"] for h in results[1]["report"]["hubs"]], ["1", "2"])
        self.assertEqual(results[2]["report"]["hubs"], [])
        self.assertIn("Sequential tracing is exiting due received signal.", "".join(lines))
        self.assertEqual(leftovers, [], "the event FIFO must go away with the run")
        self.assertLess(after, 20)
