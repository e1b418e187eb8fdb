#!/usr/bin/python3
"""Makes every system call of dms fail once, kills dms at those that change something, and checks that it recovers.

strace lists the calls of a start and of the following end, and those for each signal of the administration pages. Then
dms starts again, or gets the signal again, for each fault of each call, with this one fault injected. Afterwards dms
must serve with the stored settings, or it must have ended, logged an error and left nothing behind. Each worker has a
network and a file system of its own; where the system does not permit that, one worker uses the build's root and leaves
out the client list and the packet filter.
"""
import argparse
import collections
import ctypes
import fcntl
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

from injected_faults import KILL, MEMORY_CALLS, SKIPPED, adopt_orphans, faults, injection, list_calls, run_workers

SOURCE = Path(__file__).resolve().parent.parent
MINIDLNAD = Path("/usr/sbin/minidlnad").resolve()
SECONDS = 15  # what takes longer hangs: dms waits 6 seconds for the end of minidlnad, and 1 before it starts it again
LOOK_TIME = 1  # how long the test waits before it lets dms look at its state, which dms does later by itself
HANDLING_TIME = 0.5  # dms handles a signal without a fault in less than this time
GOOD_TIME = 5.2  # after this time dms could return to this configuration if the next one does not work
LAUNCH = "clone"  # the call that creates the daemon's process

# dms is killed at these calls and where it creates a file. Between them, its files and processes do not change.
CHANGES = ("clone", "fsync", "kill", "mkdir", "mknodat", "rename", "renameat", "sendmsg", "unlink", "write")
LOADER_STEP = 10  # one of this many calls of the dynamic loader fails: the program has not begun

TELEVISION = "02:00:5E:10:00:01"
RADIO = "02:00:5E:10:00:02"
CLIENT = "02:00:5E:10:77:01"  # the one that sends requests


def eventually(condition, seconds=SECONDS):
    """Calls `condition` until its result is true, for at most `seconds`. Returns the last result."""
    end = time.monotonic() + seconds
    while not (result := condition()) and time.monotonic() < end:
        time.sleep(0.01)
    return result


# --- The machine -------------------------------------------------------------------------------------------------

def namespace(process="self"):
    return os.readlink(f"/proc/{process}/ns/net")


class Network:
    """An interface for dms, connected to a client in another network namespace, and the packet filter."""

    def __init__(self):
        # The process keeps the client's namespace, and ends with this one, which closes the pipe.
        self.holder = subprocess.Popen(["unshare", "--net", "cat"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        eventually(lambda: namespace(self.holder.pid) != namespace())
        self.client = ["nsenter", "--target", str(self.holder.pid), "--net"]
        for prefix, arguments in (
                ([], "link add served0 type veth peer name client0"), ([], "link set lo up"),
                ([], f"link set client0 netns {self.holder.pid}"),
                (self.client, f"link set client0 address {CLIENT}"),
                ([], "address add 192.0.2.1/24 dev served0"), (self.client, "address add 192.0.2.2/24 dev client0"),
                ([], "link set served0 up"), (self.client, "link set client0 up")):
            subprocess.run([*prefix, "ip", *arguments.split()], check=True)
        self.nft = ctypes.CDLL("libnftables.so.1")
        self.nft.nft_ctx_new.restype = ctypes.c_void_p
        self.nft.nft_ctx_get_output_buffer.restype = ctypes.c_char_p

    def rules(self, command=b"list ruleset"):
        # A new context has no cache, which would stay wrong after a change at the same time.
        context = ctypes.c_void_p(self.nft.nft_ctx_new(0))
        self.nft.nft_ctx_buffer_output(context)
        self.nft.nft_run_cmd_from_buffer(context, command)
        listed = self.nft.nft_ctx_get_output_buffer(context).decode()
        self.nft.nft_ctx_free(context)
        return listed

    def connect_client(self, port):
        subprocess.run([*self.client, "curl", "-s", "-o", "/dev/null", "-m", "5", "--noproxy", "*",
                        f"http://192.0.2.1:{port}/rootDesc.xml"], check=True)


def content(path):
    try:
        return path.read_text()
    except FileNotFoundError:
        return None


class Appliance:
    """The files below the root that dms was built with, and its processes."""

    def __init__(self, build, network):
        self.dms = build / "minidlna/dms"
        self.root = build / "root"
        self.network = network
        self.etc = self.root / "var/packages/Dalmira/etc"
        self.page = self.root / "var/packages/Dalmira/target/share/mediaserv"
        self.run = self.root / "var/run"
        self.log = self.root / "var/log/dms.log"
        self.pid_file = self.run / "dms.pid"
        self.output = self.root / "output"
        self.trace = self.root / "trace"
        with socket.socket() as listener:
            listener.bind(("127.0.0.1", 0))
            self.port = listener.getsockname()[1]

    def prepare(self):
        """Creates fresh files. minidlnad's database stays, so that minidlnad starts faster."""
        self.kill_all()
        for folder in (self.root / "var", self.root / "etc"):
            shutil.rmtree(folder, ignore_errors=True)
        for folder in (self.etc, self.page, self.run, self.log.parent, self.root / "etc", self.root / "media"):
            folder.mkdir(parents=True, exist_ok=True)
        self.write_settings("First", 900)
        self.write_clients(TELEVISION)
        if self.network:
            self.network.rules(b"flush ruleset")

    def write_settings(self, name, expiry):
        interface = "served0" if self.network else "lo"
        (self.etc / "dmsinfo.conf").write_text(f'network_mediaservice="{interface}"\nloglevel_mediaservice="3"\n'
                                               f'advrexpire_mediaservice="{expiry}"\n')
        (self.root / "etc/minidlna.conf").write_text(
            f"media_dir={self.root}/media\ndb_dir={self.root}/cache\nport={self.port}\nuser=root\n"
            f"friendly_name={name}\ninotify=no\n")

    def write_clients(self, *denied):
        clients = [{"isAccess": False, "macAddr": address, "profileName": "Generic"} for address in denied]
        (self.etc / "client_list.json").write_text(json.dumps({"ClientList": clients}))

    def clients(self):
        """The addresses in the client list, or nothing if it is not complete."""
        try:
            return [client["macAddr"] for client in json.loads(content(self.etc / "client_list.json"))["ClientList"]]
        except (ValueError, KeyError, TypeError):
            return None

    def name(self):
        """The name that minidlnad shows, or nothing if it does not respond."""
        try:
            with socket.create_connection(("127.0.0.1", self.port), 1) as connection:
                connection.settimeout(1)
                connection.sendall(b"GET /rootDesc.xml HTTP/1.0\r\n\r\n")
                return re.search("<friendlyName>(.*)</", connection.makefile(encoding="utf-8").read())[1]
        except (OSError, TypeError):
            return None

    def is_locked(self):
        """Whether a daemon holds the lock of its PID file."""
        try:
            with open(self.pid_file) as file:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
        except OSError as error:
            return isinstance(error, BlockingIOError)
        return False

    def left_over(self):
        """The files that should not be there."""
        known = {self.etc: {"dmsinfo.conf", "client_list.json"}, self.page: {"status.json"},
                 self.run: {"dms", "dms.pid", "dms.ip"}, self.run / "dms": {"minidlna.conf", "minidlna.log"}}
        return [entry.name for folder, names in known.items() if folder.exists()
                for entry in folder.iterdir() if entry.name not in names]

    def processes(self, program):
        """The process IDs of a program in this network."""
        found = []
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                if os.readlink(f"/proc/{process}/exe") == str(program) and namespace(process) == namespace():
                    found.append(int(process))
            except OSError:
                pass  # a process of the system, or one that has ended
        return found

    def is_alive(self):
        return bool(self.processes(self.dms))

    def signal(self, program, number):
        for process in self.processes(program):
            os.kill(process, number)

    def kill_all(self):
        self.signal(self.dms, signal.SIGKILL)
        self.signal(MINIDLNAD, signal.SIGKILL)
        eventually(lambda: not self.processes(self.dms) and not self.processes(MINIDLNAD))
        for process in content(Path(f"/proc/self/task/{os.getpid()}/children")).split():
            if not self.network or int(process) != self.network.holder.pid:
                os.waitpid(int(process), os.WNOHANG)


# What dms makes of the stored files.
State = collections.namedtuple("State", "name configuration address clients rules")


def state_of(appliance):
    return State(appliance.name(), content(appliance.run / "dms/minidlna.conf"), content(appliance.run / "dms.ip"),
                 appliance.clients(), appliance.network and appliance.network.rules())


def missing(appliance, state):
    """Says why dms does not serve as in `state`; in any state if `state` is none. Returns nothing if it does."""
    now = state_of(appliance)
    if not now.name:
        return "minidlnad does not respond"
    if wrong := [name for name in State._fields if state and getattr(now, name) != getattr(state, name)]:
        return "wrong " + ", ".join(wrong)
    if not appliance.is_locked():
        return "the PID file is not locked"
    if len(appliance.processes(MINIDLNAD)) != 1:
        return "there is not one minidlnad"
    try:
        running = json.loads(content(appliance.page / "status.json"))["running_since"]
    except (ValueError, TypeError):
        running = None
    return None if running else "the status file does not show that minidlnad is running"


def wait_for(appliance, state, seconds=SECONDS, look=signal.SIGCONT):
    """Waits until dms serves as in `state`. Returns what is missing, or nothing.

    The signal `look` makes dms check its state at once. It must not be the one whose handling is tested.
    """
    end, next_look = time.monotonic() + seconds, time.monotonic() + LOOK_TIME
    while (reason := missing(appliance, state)) and time.monotonic() < end and appliance.is_alive():
        if time.monotonic() > next_look:
            next_look += LOOK_TIME
            appliance.signal(appliance.dms, look)
        time.sleep(0.02)
    return reason


# --- Runs under strace -------------------------------------------------------------------------------------------

class Run:
    """A run of dms under strace: from its start, or while `attached` to a running one."""

    def __init__(self, appliance, options=(), attached=None):
        self.appliance = appliance
        self.log_before = content(appliance.log) or ""
        appliance.trace.write_text("")
        target = ["-f", "-b", "execve", "-p", str(attached)] if attached else [appliance.dms]
        with open(appliance.output, "w") as output:
            self.tracer = subprocess.Popen(["strace", "-q", "-o", appliance.trace, *options, *target], cwd="/",
                                           stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        eventually(lambda: self.tracer.poll() is not None or self.has_begun(attached))

    def has_begun(self, attached):
        if attached:
            return "TracerPid:\t0\n" not in Path(f"/proc/{attached}/status").read_text()
        return "\n" in self.appliance.trace.read_text(errors="replace")  # execve(2) has returned

    def lines(self):
        return self.appliance.trace.read_text(errors="replace").splitlines()

    def log(self):
        return (content(self.appliance.log) or "").removeprefix(self.log_before)

    def stop(self):
        """Ends dms, and kills it if it hangs. Returns whether it has ended."""
        self.appliance.signal(self.appliance.dms, signal.SIGTERM)
        ended = eventually(lambda: not self.appliance.is_alive())
        self.appliance.signal(self.appliance.dms, signal.SIGKILL)
        self.tracer.wait(SECONDS)
        return ended

    def detach(self):
        if self.tracer.poll() is None:
            self.tracer.send_signal(signal.SIGINT)
        self.tracer.wait(SECONDS)

    def was_injected(self, call, fault):
        if fault == KILL:
            return any("+++ killed by SIGKILL" in line for line in self.lines())
        return any(re.match(rf"(\d+ +)?{call.name}\(.*\(INJECTED\)", line) for line in self.lines()
                   if not is_launch(line))

    def crash(self, call, fault):
        """The signal that has killed a process of dms, unless the fault explains it."""
        explained = ["SIGTERM"]
        if fault == KILL:
            explained.append("SIGKILL")
        elif call.name in MEMORY_CALLS:
            explained += ["SIGABRT", "SIGSEGV"] if call.loading else ["SIGABRT"]
        signals = [match[1] for line in self.lines() if (match := re.search(r"\+\+\+ killed by (\w+)", line))]
        return next((name for name in signals if name not in explained), None)


def is_launch(line):
    return line.startswith(LAUNCH + "(") and line.endswith(" = 0 (INJECTED)")


def some_faults(calls):
    """Few faults of each call, because a run takes long."""
    for call in calls:
        changes = call.name in CHANGES or "O_CREAT" in call.line
        errors = [fault for fault in faults(call) if fault != KILL]
        yield from ((call, error) for error in errors if error in (errors[0], "EINTR"))
        if changes and not call.loading:
            yield call, KILL


class Worker:
    """Makes every `jobs`-th run and prints a line for each finding."""

    def __init__(self, appliance, number, jobs):
        self.appliance, self.number, self.jobs = appliance, number, jobs
        self.runs = self.missed = self.findings = 0

    def make(self, title, tasks, check):
        for call, fault in tasks[self.number::self.jobs]:
            self.runs += 1
            for finding in check(call, fault):
                print(f"{title}: {call.name} {call.number} {fault}: {finding}: {call.line}", flush=True)

    def violations(self, run, call, fault, stopped):
        """Says what is wrong after a run. `stopped` is whether the test has ended dms."""
        if not run.was_injected(call, fault):
            self.missed += 1
        if name := run.crash(call, fault):
            yield "killed by " + name
        if self.appliance.is_alive():
            return
        if not eventually(lambda: not self.appliance.processes(MINIDLNAD), 3):
            yield "minidlnad outlives dms"
        if self.appliance.clients() is None:
            yield "the client list is not complete"
        if fault == KILL or call.name in MEMORY_CALLS:
            return
        if self.appliance.pid_file.exists() and "dms.pid" not in call.line:
            yield "the PID file stays"
        if self.appliance.network and self.appliance.network.rules():
            yield "the packet filter's table outlives dms"
        if left := self.appliance.left_over():
            yield "leaves " + ", ".join(left)
        if not stopped and not call.loading and "] error: " not in run.log() and not content(self.appliance.output):
            yield "ends without a reason"

    def restart_violations(self, state, connects=False):
        """Says what is wrong when dms starts after it was killed."""
        if self.appliance.is_alive():
            return
        self.launch(connects)
        if reason := wait_for(self.appliance, state):
            yield "does not serve after the next start: " + reason

    def launch(self, connects):
        """Starts dms without strace, and lets the client connect."""
        subprocess.run([self.appliance.dms], check=True, cwd="/", stdin=subprocess.DEVNULL)
        if connects:
            eventually(self.appliance.name)
            self.appliance.network.connect_client(self.appliance.port)

    # --- The start and the end ---

    def start(self, title, options, choose):
        """Fails the calls of the start and of the following end that `choose` returns with their faults."""
        self.appliance.prepare()
        run = Run(self.appliance, options)
        reason = wait_for(self.appliance, None)
        state = state_of(self.appliance)
        if reason or not run.stop():
            print(f"{title}: dms does not serve without a fault: {reason}")
            return
        self.make(title, choose(list_calls(run.lines())),
                  lambda call, fault: self.check_start(state, options, call, fault))

    def check_start(self, state, options, call, fault):
        self.appliance.prepare()
        run = Run(self.appliance, [*options, *injection(call, fault)])
        reason = wait_for(self.appliance, state)
        stopped = self.appliance.is_alive()
        if stopped and reason:
            yield "does not serve: " + reason
        if not run.stop():
            yield "does not end"
        yield from self.violations(run, call, fault, stopped)
        if fault == KILL:
            yield from self.restart_violations(state)

    def all_starts(self):
        # strace counts the calls of each process. So that those of the daemon are counted alone, the call that would
        # create its process returns 0 and the first process becomes the daemon. It keeps both ends of its pipe.
        launch = ["-e", f"inject={LAUNCH}:retval=0:when=1"]
        self.appliance.prepare()
        run = Run(self.appliance, launch)
        eventually(lambda: any(map(is_launch, run.lines())) and any("setsid(" in line for line in run.lines()))
        run.stop()
        before = run.lines()[:next(i for i, line in enumerate(run.lines()) if is_launch(line))]
        closes = sum(line.startswith("close(") for line in before)

        def choose(calls):
            loader = [call for call in calls if call.loading]
            return list(some_faults(loader[::LOADER_STEP])) + list(some_faults(
                call for call in calls if not call.loading and call.name != LAUNCH))
        self.start("start", [*launch, "-e", f"inject=close:retval=0:when={closes + 1}"], choose)

        def choose_after_launch(calls):
            first = next(number for number, call in enumerate(calls) if call.name == LAUNCH)
            return [(call, fault) for call in calls[first:] for fault in faults(call)]
        self.start("start, first process", [], choose_after_launch)

    # --- Signals ---

    def send(self, case, turn, options=()):
        """Changes the files for a signal and sends it under strace."""
        case.change(self.appliance, turn)
        run = Run(self.appliance, options, self.appliance.processes(self.appliance.dms)[0])
        self.appliance.signal(self.appliance.dms, case.number)
        return run

    def signal(self, case):
        """Fails calls while dms handles a signal."""
        self.appliance.prepare()
        self.launch(case.connects)
        states = []
        for turn in (1, 0):
            before = state_of(self.appliance)
            run = self.send(case, turn)
            changed = eventually(lambda: state_of(self.appliance) != before or case.connects)
            time.sleep(HANDLING_TIME)  # for the calls after the change
            if not changed or wait_for(self.appliance, None):
                print(f"{case.title}: dms does not handle it without a fault")
                return
            run.detach()
            states.insert(0, state_of(self.appliance))
        second = subprocess.run([self.appliance.dms], cwd="/", stdin=subprocess.DEVNULL, capture_output=True, text=True)
        if second.returncode == 0 or "already running" not in second.stderr or missing(self.appliance, states[0]):
            print(f"{case.title}: a second dms disturbs the first")
        self.turn = 0
        self.make(case.title, list(some_faults(list_calls(run.lines()))),
                  lambda call, fault: self.check_signal(case, states, call, fault))

    def check_signal(self, case, states, call, fault):
        if not self.appliance.processes(self.appliance.dms):
            self.appliance.prepare()
            self.launch(case.connects)
            self.turn = 0
        if case.number == signal.SIGHUP and call.name in ("clone", "execve"):
            time.sleep(GOOD_TIME)
        self.turn = 1 - self.turn
        run = self.send(case, self.turn, injection(call, fault))
        eventually(lambda: run.was_injected(call, fault), HANDLING_TIME)
        wait_for(self.appliance, states[self.turn], HANDLING_TIME)
        run.detach()  # or the fault is injected into each further child process, too
        reason = wait_for(self.appliance, states[self.turn], SECONDS if case.recovers else 2 * LOOK_TIME, case.look)
        if reason and self.appliance.is_alive():
            if "] error: " not in run.log() or case.recovers:
                yield "does not serve: " + reason
            self.appliance.signal(self.appliance.dms, case.number)
            if reason := wait_for(self.appliance, states[self.turn]):
                yield "does not serve after the next signal: " + reason
        yield from self.violations(run, call, fault, False)
        if fault == KILL:
            yield from self.restart_violations(states[self.turn], case.connects)
        if "restarting minidlnad in" in run.log():
            run.stop()  # after several unexpected ends of minidlnad, dms ends, too
            yield from self.violations(run, call, fault, True)


# `change` changes the files before the signal. With `connects`, a client has sent a request to minidlnad. dms repeats
# the reading of the settings by itself. It logs an error if it cannot read or write the client list.
Signal = collections.namedtuple("Signal", "title number look recovers connects change")
SIGNALS = [
    Signal("SIGHUP", signal.SIGHUP, signal.SIGCONT, True, False,
           lambda appliance, turn: appliance.write_settings(("First", "Second")[turn], 900 + turn)),
    Signal("SIGUSR2", signal.SIGUSR2, signal.SIGHUP, False, False,
           lambda appliance, turn: appliance.write_clients((TELEVISION, RADIO)[turn])),
    Signal("SIGCONT", signal.SIGCONT, signal.SIGHUP, False, True,
           lambda appliance, turn: appliance.write_clients(TELEVISION)),
]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--case", help="only this case: start or the name of a signal")
    parser.add_argument("--jobs", type=int, default=2, help="number of workers")
    parser.add_argument("--isolated", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--worker", type=int, help=argparse.SUPPRESS)
    parser.add_argument("build", nargs="?", type=Path, default=SOURCE / "build/release-rooted")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    if arguments.worker is None:
        result = run_workers(__file__, arguments.jobs, build / "root", network=True)
        if result is None:
            print("failing daemon calls: skipped, strace cannot trace a program on this machine")
            return SKIPPED
        findings, figures = result
        print("".join(line + "\n" for line in findings), end="")
        runs, missed = (sum(column) for column in zip(*figures))
        print(f"failing daemon calls: {runs} runs, {missed} without the call; {len(findings)} findings")
        return 1 if findings else 0

    adopt_orphans()
    os.umask(0o022)
    appliance = Appliance(build, Network() if arguments.isolated else None)
    worker = Worker(appliance, arguments.worker, arguments.jobs)
    try:
        if arguments.case in (None, "start"):
            worker.all_starts()
        for case in SIGNALS:
            if arguments.case in (None, case.title) and (arguments.isolated or case.number == signal.SIGHUP):
                worker.signal(case)
    finally:
        appliance.kill_all()
    print(worker.runs, worker.missed)
    return 0


if __name__ == "__main__":
    sys.exit(main())
