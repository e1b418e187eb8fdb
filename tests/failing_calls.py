#!/usr/bin/python3
"""Makes every system call of every save fail once, kills the program at each, and checks that nothing is lost.

strace lists the calls of a save. Then the save is repeated from fresh files for each fault of each call, with this one
fault injected. Afterwards the files must be those before the save or those after it. Each worker has its root in a
mount namespace of its own; where the system does not permit that, one worker uses the build's root.
"""
import argparse
import collections
import os
import shutil
import signal
import stat
import subprocess
import sys
import time
import urllib.parse
from pathlib import Path

from injected_faults import KILL, MEMORY_CALLS, SKIPPED, adopt_orphans, faults, injection, list_calls, run_workers

SOURCE = Path(__file__).resolve().parent.parent
SECONDS = 15  # a run that takes longer hangs

# --- Runs under strace -------------------------------------------------------------------------------------------

Run = collections.namedtuple("Run", "status answer hung trace")


def reap(group):
    """Waits until no child is left. Returns whether the children in the process group `group` had to be killed."""
    end = time.monotonic() + SECONDS
    killed = False
    while True:
        try:
            child, _ = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return killed
        if child == 0:
            if time.monotonic() > end and not killed:
                os.killpg(group, signal.SIGKILL)
                killed = True
            time.sleep(0.001)


def run_traced(program, trace, options=(), body=b"", environment=None):
    """Runs a program, not its children, under strace and waits until the children have ended, too."""
    process = subprocess.Popen([shutil.which("strace"), "-o", trace, *options, program], env=environment or {},
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    hung = False
    try:
        answer, _ = process.communicate(body, SECONDS)
    except subprocess.TimeoutExpired:
        hung = True
        os.killpg(process.pid, signal.SIGKILL)
        answer, _ = process.communicate()
    hung = reap(process.pid) or hung
    lines = trace.read_text(errors="replace").splitlines()
    return Run(process.returncode, answer.decode(errors="replace"), hung, lines)


def was_injected(call, fault, run):
    """Whether the program made the call and got the fault."""
    if fault == KILL:
        return run.status == -signal.SIGKILL
    return any(line.startswith(call.name + "(") and "(INJECTED)" in line for line in run.trace)


def ended_badly(call, fault, run):
    """Whether the program ended by a signal that neither the fault nor a lack of memory explains."""
    if fault == KILL:
        expected = signal.SIGKILL
    elif call.name in MEMORY_CALLS:
        expected = signal.SIGSEGV if call.loading else signal.SIGABRT
    else:
        expected = None
    return run.status < 0 and -run.status != expected


# --- The saves ---------------------------------------------------------------------------------------------------

SETTINGS = "dmsinfo.conf"
CLIENTS = "client_list.json"
CHOICES = "exposed_collection.json"

# Some switches are on and some are off: a setting that cannot be read must not look like one that is off.
STORED = {
    SETTINGS: "".join(f'{key}_mediaservice="{value}"\n' for key, value in {
        "musicinfo": "title", "photo_sort_by": "filename", "photo_sort_order": "asc", "suppradio": "no",
        "ebdvideoinfo": "yes", "integrateKinovo": "no", "sendthumb": "yes", "cmzalbumart": "no", "albumart": "a.jpg",
        "flactranscoding": "yes", "aactranscoding": "no", "oggtranscoding": "yes", "aifftranscoding": "no",
        "downsample_audiotranscoding": "yes", "disable_access_right": "yes", "cmzmimetype": "no", "mimetype": "a=b/c",
        "videotranscoding": "no", "vte_fileext": "rm", "advrexpire": "920", "language": "enu", "menustyle": "music",
        "network": "eth0", "loglevel": ""}.items()),
    "menu_mine.xml": '<menu name="mine"/>\n',
    CLIENTS: '{"ClientList": [{"macAddr": "02:00:5E:10:00:01", "profileName": "Television", "isAccess": true},'
             ' {"macAddr": "02:00:5E:10:00:02", "profileName": "Generic", "isAccess": true}]}\n',
    CHOICES: '{"0": {"exposed_collections": ["7"]}, "1026": {"exposed_collections": ["-1", "8"]}}\n',
}
LOG_ON = STORED[SETTINGS].replace('loglevel_mediaservice=""', 'loglevel_mediaservice="3"')
BROWSING = {"musicdisplayinfo": "artist", "photo_sort_by": "date", "photo_sort_order": "desc", "enableradio": "true",
            "cmzalbumart": "true", "albumartlist": "front.png"}
CHOSEN = {"exposed_collections": '["-1","4"]'}

# `stored` replaces files of STORED. `unreadable` is a file whose old content the save must keep as NAME.kept if it
# cannot read it.
Save = collections.namedtuple("Save", "title fields stored unreadable", defaults=({}, None))
SAVES = [
    Save("save_browsing_page", BROWSING),
    Save("save_browsing_page with the script", {**BROWSING, "integrateKinovo": "true"}),
    Save("save_dma_page", {"aactranscoding": "true", "aifftranscoding": "true", "cmzmimetype": "true",
                           "mimetypelist": "mkv=video/x-matroska", "videotranscoding": "true", "videoextlist": "mkv"}),
    Save("save_general_page", {"ssdp_advr": "900", "language": "ger", "templatetype": "simple",
                               "dmsInterface": "eth1"}),
    Save("save_general_page of one field", {"ssdp_advr": "920", "language": "ger"}),
    Save("savemenu", {"template": "mine", "content": "<menu>changed</menu>", "restartserver": "true"}),
    Save("savemenu of a new template", {"template": "new", "content": "<menu>new</menu>"}),
    Save("applylogconf on", {"dmslog": "true"}),
    Save("applylogconf off", {"dmslog": "false"}, {SETTINGS: LOG_ON}),
    Save("saveClientList", {"modifiedInfo":
         '[{"macAddr": "02:00:5E:10:00:02", "profileName": "Television", "isAccess": false}]'}),
    Save("clearClientList", {}),
    Save("saveCollection", CHOSEN, unreadable=CHOICES),
    Save("saveCollection over invalid JSON", CHOSEN, {CHOICES: '{"1026": {"exposed_coll'}, CHOICES),
]


def action_of(save):
    return save.title.split()[0]


class Appliance:
    """The files of an appliance below the root that the program was built with."""

    def __init__(self, build):
        self.program = build / "mediaserv"
        self.root = build / "root"
        package = self.root / "var/packages/Dalmira"
        self.etc = package / "etc"
        self.scripts = package / "target/scripts"
        self.at_script = self.root / "settings_at_script"

    def clear(self):
        for entry in self.root.iterdir():
            shutil.rmtree(entry) if entry.is_dir() else entry.unlink()

    def prepare(self, stored):
        self.clear()
        for folder in (self.etc, self.scripts / "sql", self.root / "var/run", self.root / "var/log"):
            folder.mkdir(parents=True)
        for name, content in stored.items():
            (self.etc / name).write_text(content)
        clients = self.etc / CLIENTS
        # A daemon writes its client list when it starts without one.
        self.write_script("S86vexadms.sh", f"test $1 != start || test -e {clients} || echo '{{}}' >{clients}")
        self.write_script("sql/video_metadata.sh", f"cp {self.etc / SETTINGS} {self.at_script}")
        (self.root / "var/run/dms.pid").write_text(f"{os.getpid()}\n")

    def write_script(self, name, command):
        path = self.scripts / name
        path.write_text(f"#!/bin/sh\n{command}\n")
        path.chmod(0o755)

    def files(self):
        return {path.name: (stat.S_IMODE(path.stat().st_mode), path.read_bytes()) for path in self.etc.iterdir()}

    def send(self, save, options=()):
        """Sends a save to the program as a web server does, without the program's pauses."""
        body = urllib.parse.urlencode({"action": action_of(save), **save.fields}).encode()
        environment = {"REQUEST_METHOD": "POST", "REMOTE_USER": "root", "CONTENT_LENGTH": str(len(body)),
                       "CONTENT_TYPE": "application/x-www-form-urlencoded"}
        options = ["-e", "inject=clock_nanosleep:retval=0", *options]
        return run_traced(self.program, self.root / "trace", options, body, environment)


class Expectation:
    """What an undisturbed save does, and which states of the files another may leave."""

    def __init__(self, appliance, save):
        stored = {**STORED, **save.stored}
        appliance.prepare(stored)
        self.old = appliance.files()
        run = appliance.send(save)
        self.calls = list_calls(run.trace)
        self.answer = run.answer
        self.new = appliance.files()
        self.saved = [self.new]
        self.states = [self.old, self.new]
        if appliance.at_script.exists():
            # The script runs between two replacements.
            self.states.append({**self.old, SETTINGS: (self.old[SETTINGS][0], appliance.at_script.read_bytes())})
        if action_of(save) == "clearClientList":
            self.states.append(without(self.old, CLIENTS))
            self.saved.append(self.old)  # a list that cannot be removed stays, and is the answer
        if save.unreadable:
            kept = {save.unreadable + ".kept": self.old[save.unreadable]}
            appliance.prepare(without(stored, save.unreadable))
            appliance.send(save)
            self.saved.append({**appliance.files(), **kept})
            self.states += [self.saved[-1], {**self.old, **kept}]
        self.problem = None  # what is wrong without any fault
        if not succeeded(self.answer) or self.new == self.old:
            self.problem = f"the save fails without a fault: {self.answer!r}"
        elif save.unreadable in save.stored and self.new != self.saved[-1]:
            self.problem = f"{save.unreadable} is not kept as {save.unreadable}.kept"


def without(items, *names):
    return {name: item for name, item in items.items() if name not in names}


def without_second_copies(files, expected):
    """Leaves out the copies NAME.kept.1 and so on: the save after a killed one may keep the old file once more."""
    return {name: file for name, file in files.items()
            if ".kept." not in name or file != expected.old.get(name.partition(".kept.")[0])}


def succeeded(answer):
    return '"success":true' in answer


def difference(files, expected):
    names = [name for name in files.keys() | expected.old.keys() | expected.new.keys()
             if files.get(name) not in (expected.old.get(name), expected.new.get(name))]
    return "neither as before nor as after the save: " + (", ".join(sorted(names)) or "the files together")


def violations(save, expected, call, fault, run, files):
    """Says what is wrong after a run with a fault."""
    if ended_badly(call, fault, run):
        yield "ended by " + signal.Signals(-run.status).name
    if fault == KILL:
        # The new file of a killed save: the next one removes it.
        files = {name: file for name, file in files.items() if not name.startswith(".")}
    if files not in expected.states:
        yield difference(files, expected)
    if succeeded(run.answer) and files not in expected.saved:
        yield "answers success, and the files are not the new ones"
    may_be_silent = (fault == KILL or call.loading or call.name in MEMORY_CALLS
                     or call.line.startswith(("write(1,", "writev(1,")))
    if '"success":' not in run.answer and not may_be_silent:
        yield "does not answer"
    if fault == "EINTR" and (run.answer != expected.answer or files != expected.new):
        yield "an interrupted call is not repeated"


def check(appliance, save, expected, call, fault):
    """Makes a run with a fault. Yields what is wrong."""
    appliance.prepare({**STORED, **save.stored})
    run = appliance.send(save, injection(call, fault))
    if run.hung:
        yield f"did not end within {SECONDS} seconds"
        return
    if not was_injected(call, fault, run):
        yield "the call was not made"
        return
    yield from violations(save, expected, call, fault, run, appliance.files())
    if fault == KILL:
        again = appliance.send(save)
        if not succeeded(again.answer) or without_second_copies(appliance.files(), expected) != expected.new:
            yield "the next save does not complete it"


# --- Workers -----------------------------------------------------------------------------------------------------

def work(appliance, saves, number, jobs):
    """Makes every `jobs`-th run and prints a line for each finding. Returns the numbers of runs and calls."""
    adopt_orphans()
    os.umask(0o022)
    for number_of_signal in (signal.SIGHUP, signal.SIGUSR2, signal.SIGCONT):
        # This process gets the daemon's signals. A child would inherit SIG_IGN.
        signal.signal(number_of_signal, lambda *_: None)
    runs = calls = 0
    for save in saves:
        expected = Expectation(appliance, save)
        if expected.problem:
            if number == 0:
                print(f"{save.title}: {expected.problem}")
            continue
        calls += len(expected.calls)
        tasks = [(call, fault) for call in expected.calls for fault in faults(call)]
        for call, fault in tasks[number::jobs]:
            runs += 1
            for finding in check(appliance, save, expected, call, fault):
                print(f"{save.title}: {call.name} {call.number} {fault}: {finding}: {call.line}")
    appliance.clear()
    return runs, calls


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--action", help="only the saves of this action")
    parser.add_argument("--jobs", type=int, default=2, help="number of workers")
    parser.add_argument("--worker", type=int, help=argparse.SUPPRESS)
    parser.add_argument("build", nargs="?", type=Path, default=SOURCE / "build/release-rooted")
    arguments = parser.parse_args()
    appliance = Appliance(arguments.build.resolve())
    saves = [save for save in SAVES if arguments.action in (None, action_of(save))]
    if not saves:
        parser.error("there is no such save")
    if arguments.worker is not None:
        print(*work(appliance, saves, arguments.worker, arguments.jobs))
        return 0

    result = run_workers(__file__, arguments.jobs, appliance.root)
    if result is None:
        print("failing calls: skipped, strace cannot trace a program on this machine")
        return SKIPPED
    findings, figures = result
    print("".join(line + "\n" for line in findings), end="")
    runs = sum(runs for runs, _ in figures)
    print(f"failing calls: {runs} runs of {len(saves)} saves, {figures[0][1]} calls; {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
