"""Runs the real hopr in a namespace lab, as the agent or an operator would: the Linux build as
the lab's user with no capability (settings from a registry export file, the exit event a FIFO),
or with HOPR_PROGRAM=wine hopr.exe under Wine, with the same expectations unless a case says
otherwise. Wine's server opens the sockets and its device service lists the adapters, so each lab
has a prefix and server of its own in its client namespace; settings are `reg import`-ed; a
helper signals the exit event from outside hopr.exe."""

import fcntl
import glob
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BINARY = os.environ.get("HOPR_BINARY", "../../build/hopr")
LAB = os.environ.get("HOPR_LAB", "../../scripts/lab")
WINE = os.environ.get("HOPR_PROGRAM") == "wine"
TEMPLATE = os.environ.get("HOPR_WINE_TEMPLATE", "../../build-win/wineprefix-lab")
SET_EVENT = os.environ.get("HOPR_SETEVENT", "../../build-win/tests/hopr_setevent.exe")
QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
def not_under_wine(reason):
    """Skips a case that cannot run against hopr.exe under Wine, with the reason on one line."""
    return unittest.skipIf(WINE, reason)


def booted_template():
    """The Wine prefix every lab copies (hard-linked: Wine replaces the files it changes),
    booted by the first lab of the run that needs it."""
    with open(TEMPLATE + ".lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not os.path.exists(TEMPLATE + ".ready"):
            shutil.rmtree(TEMPLATE, ignore_errors=True)
            env = dict(os.environ, WINEPREFIX=TEMPLATE, WINEDEBUG="-all")
            subprocess.run(["wine", "wineboot", "--init"], check=True, env=env, **QUIET)
            # The server writes the registry out when it ends.
            subprocess.run(["wineserver", "-w"], check=True, env=env, **QUIET)
            open(TEMPLATE + ".ready", "w", encoding="utf-8").close()
    return TEMPLATE


def lab_test(target, uuid, port=80, probes=2, max_unknown=3, **flags):
    return {"target": target, "testUuid": uuid, "netObjUuid": f"net-{uuid}", "timeout": 1,
            "port": port, "maxUnknown": max_unknown, "probesPerNode": probes,
            "muRunTestsFromTrustedNetworks": False,
            "muRunTestsFromUntrustedNetworksWithVPNDisabled": True,
            "rnRunTestsOnActivePathsOnly": False, "networkObjectDomainOrIpIndex": 0,
            "serverType": 1, "testName": f"name {uuid}", "applicationName": "lab",
            "isSplitTunnel": False, **flags}


def document(tests, serialised=False, event="", min_port=0, max_port=0):
    return {"tests": tests, "isSerialised": serialised, "exitEventName": event,
            "minPort": min_port, "maxPort": max_port}


def hub_addresses(result):
    return [hub["address"] for hub in result["report"]["hubs"]]


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
    return json.loads(lines[-1][lines[-1].index("[{"):])


class LabCase(unittest.TestCase):
    """The cases of a class share one lab, built by `scripts/lab up NAME *layout`, and a private
    copy of hopr (its log file lives beside it) that runs as `user` with the class's `registry`
    settings. Each case starts with those settings and no log file."""

    layout, registry, user = (), "", ("nobody", "nogroup")

    @classmethod
    def setUpClass(cls):
        if os.geteuid() != 0:  # skipped (ctest reads status 77 so), but never in CI
            assert os.environ.get("CI") != "true", "lab tests must run as root in CI"
            print("skipped: lab tests need root (network namespaces)")
            sys.exit(77)
        cls.directory = tempfile.mkdtemp(prefix="hopr-lab-")
        cls.name = "h" + cls.directory[-8:]  # unique while the directory lives
        # The binary's folder, whose name is not ASCII, holds its log.
        cls.folder = os.path.join(cls.directory, "tëst-日本")
        cls.events, cls.prefix = (os.path.join(cls.directory, n) for n in ("events", "prefix"))
        cls.binary = os.path.join(cls.folder, "hopr.exe" if WINE else "hopr")
        os.chmod(cls.directory, 0o755)
        # The log and the event FIFOs are anyone's to write: the user's, and root's without the
        # capability to override mode bits.
        for path in (cls.folder, cls.events):
            os.mkdir(path)
            os.chmod(path, 0o777)
        shutil.copy(BINARY, cls.binary)
        subprocess.run([LAB, "up", cls.name, *map(str, cls.layout)], check=True)
        try:
            if WINE:
                subprocess.run(["cp", "-al", booted_template(), cls.prefix], check=True)
                # Registry files of its own: a server that rewrote a shared one in place would
                # change every later lab's Wine (its device service then lists no adapter).
                for path in filter(os.path.isfile, glob.glob(cls.prefix + "/*")):
                    shutil.copy2(path, path + ".own")
                    os.replace(path + ".own", path)
                # A persistent server, and its services started now with no pipe of a run's to
                # hold open.
                cls.quietly("wineserver", "-p")
                cls.quietly("wine", "wineboot")
            cls.write_registry(cls.registry)
        except BaseException:
            cls.tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        if WINE:
            cls.quietly("wineserver", "-k", check=False)
        subprocess.run([LAB, "down", cls.name], check=True)
        shutil.rmtree(cls.directory, ignore_errors=True)
        listed = subprocess.run(["ip", "netns", "list"], capture_output=True, text=True).stdout
        left = re.findall(rf"^{cls.name}(?:c|t|[rub]\d+)\b", listed, re.MULTILINE)
        assert not left, f"namespaces left behind: {left}"

    @classmethod
    def quietly(cls, *command, check=True):
        subprocess.run(cls.in_client(*command), env=cls.environment(), check=check, **QUIET)

    @classmethod
    def write_registry(cls, body):
        """The agent's settings for the next runs."""
        with open(os.path.join(cls.directory, "registry.reg"), "w", encoding="utf-8") as f:
            f.write("Windows Registry Editor Version 5.00\n\n" + body)
        if WINE:
            cls.quietly("wine", "reg", "delete", "HKLM\\SOFTWARE\\Velmora", "/f", check=False)
            cls.quietly("wine", "reg", "import", "Z:" + f.name.replace("/", "\\"))

    @classmethod
    def environment(cls):
        if WINE:
            return dict(os.environ, WINEPREFIX=cls.prefix, WINEDEBUG="-all")
        return dict(os.environ, HOPR_EVENT_DIR=cls.events,
                    HOPR_REGISTRY_FILE=os.path.join(cls.directory, "registry.reg"))

    @classmethod
    def in_client(cls, *command):
        return ["ip", "netns", "exec", f"{cls.name}c", *command]

    def setUp(self):
        for path in glob.glob(os.path.join(self.folder, "velmora_hopr*.log")):
            os.remove(path)

    def settings(self, body):
        """The agent's settings for this case's later runs."""
        self.write_registry(body)
        self.addCleanup(self.write_registry, self.registry)

    def signal_event(self, name):
        """Signals the named exit event from outside the program, as the agent does."""
        if WINE:
            subprocess.run(self.in_client("wine", SET_EVENT, name), env=self.environment(),
                           check=True, timeout=60)
            return
        # As the README says: never create a file where the FIFO should be.
        encoded = "".join(c if (c.isascii() and c.isalnum()) or c in "-_." else f"%{ord(c):02X}"
                          for c in name)
        fifo = os.open(os.path.join(self.events, encoded), os.O_WRONLY | os.O_NONBLOCK)
        os.write(fifo, b"x")
        os.close(fifo)

    def client_ip(self, *arguments):  # e.g. client_ip("link", "set", ...)
        subprocess.run(["ip", "-n", f"{self.name}c", *arguments], check=True)

    def command(self, *arguments, as_root=False):
        """hopr.exe under Wine runs as root: Wine's server opens its raw sockets."""
        uid, gid = self.user
        user = [] if as_root else ["setpriv", f"--reuid={uid}", f"--regid={gid}", "--clear-groups"]
        return self.in_client(*(["wine"] if WINE else user), self.binary, *map(str, arguments))

    def start(self, *arguments, line=None, as_root=False):
        """A run whose output is read as it comes; `line` goes to its input, which stays open."""
        process = subprocess.Popen(self.command(*arguments, as_root=as_root), text=True,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   env=self.environment())
        if line is not None:
            process.stdin.write(json.dumps(line) + "\n")
            process.stdin.flush()
        return process

    def run_hopr(self, *arguments, stdin=None, wrapper=(), as_root=False):
        """Text in and out; `wrapper` is a command that runs it, e.g. prlimit."""
        return subprocess.run([*wrapper, *self.command(*arguments, as_root=as_root)],
                              input=stdin, text=True, capture_output=True,
                              env=self.environment(), timeout=300)

    def run_json(self, line, log="f", **options):
        return self.run_hopr("json", "-l", log, stdin=json.dumps(line) + "\n", **options)

    def log(self, name="velmora_hopr.log"):
        """The log file's text; the file goes, so the next read sees only later runs."""
        path = pathlib.Path(self.folder, name)
        text = path.read_text(encoding="utf-8")
        path.unlink()
        return text

    def assert_ok(self, completed):
        self.assertEqual(completed.returncode, 0, completed.stdout[-2000:] + completed.stderr)
        return json.loads(completed.stdout)
