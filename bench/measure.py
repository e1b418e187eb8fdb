#!/usr/bin/python3
"""Measures the build in the given folder and prints the table of bench/run: measure.py FOLDER"""
import json
import random
import re
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import time
from pathlib import Path
from urllib.parse import quote_plus

BUILD = Path(sys.argv[1])
BENCH = BUILD / "bench"
ROOT = BUILD / "root"
ETC = ROOT / "var/packages/Dalmira/etc"
INPUTS = BUILD / "inputs"
SETTINGS = ETC / "dmsinfo.conf"
LOAD = {"REMOTE_USER": "user", "QUERY_STRING": "action=load_browsing_page", "SETTINGS_FILE": str(SETTINGS)}

# The numbers of rounds in which the cases alternate, and of the runs of each case in a round.
START_ROUNDS, STARTS = 15, 7
REQUEST_ROUNDS, REQUESTS = 15, 200
SAVE_ROUNDS, SAVES = 15, 8
MERGE_ROUNDS = 5
TRANSFER_ROUNDS = 3
CLIENTS_AT_ONCE = 4
GIB = 1 << 30
STATIC = "static C, a literal"
BARE = "bare dynamic C, a literal"
NO_FSYNC = "libeatmydata.so"

rows = []


def row(what, instructions="", faults="", rate="", milliseconds="", processor="", mebibytes=""):
    rows.append((what, instructions, faults, rate, milliseconds, processor, mebibytes))


def progress(text):
    print(text, file=sys.stderr, flush=True)


class Case:
    """A program to launch. Measures wall and processor time (ms), page faults and peak memory (MiB)."""

    def __init__(self, name, command, environment, inputs=("/dev/null",)):
        self.name, self.environment = name, environment
        self.command = [*inputs, "--", *command]
        self.lines = []

    def launch(self, runs):
        command = [BENCH / "launch", str(runs), *self.command]
        quiet = {"stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL}
        output = subprocess.run(command, env=self.environment, check=True, **quiet).stdout
        self.lines += [[float(number) for number in line.split()] for line in output.splitlines()]

    def medians(self):
        wall, processor, faults, peak = map(statistics.median, zip(*self.lines))
        return wall / 1000, processor / 1000, round(faults), peak / 1024


def alternate(cases, rounds, runs=1):
    """Launches the cases in turn, so that other work on the machine affects all of them equally."""
    for _ in range(rounds):
        for case in cases:
            case.launch(runs)


def compare(cases, rounds, runs=1, digits=0):
    alternate(cases, rounds, runs)
    for case in cases:
        wall, processor, _, peak = case.medians()
        row(case.name, milliseconds=f"{wall:.{digits}f}", processor=f"{processor:.{digits}f}", mebibytes=f"{peak:.1f}")


def instructions(program):
    valgrind = ["/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program]
    output = subprocess.run(valgrind, env=LOAD, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True)
    return int(re.search(rb"Collected : (\d+)", output.stderr)[1])


class WebServer:
    """lighttpd with each program at its own address; it ends with the block."""

    def __init__(self, programs):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        aliases = ", ".join(f'"/{number}" => "{path}"' for number, path in enumerate(programs))
        variables = ", ".join(f'"{name}" => "{value}"' for name, value in LOAD.items())
        self.file = BUILD / "lighttpd.conf"
        self.file.write_text(
            'server.modules = ("mod_alias", "mod_setenv", "mod_cgi")\n'
            f'server.bind = "127.0.0.1"\nserver.port = {self.port}\nserver.document-root = "{INPUTS}"\n'
            f'alias.url = ({aliases})\ncgi.assign = ("" => "")\nserver.stream-response-body = 2\n'
            f"setenv.set-environment = ({variables})\n"
        )

    def __enter__(self):
        self.process = subprocess.Popen(["/usr/sbin/lighttpd", "-D", "-f", self.file], stderr=subprocess.DEVNULL)
        for _ in range(100):
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                break
            except ConnectionRefusedError:
                time.sleep(0.1)
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()

    def requests_per_second(self, number):
        address = f"http://127.0.0.1:{self.port}/{number}?{LOAD['QUERY_STRING']}"
        load = ["/usr/bin/ab", "-q", "-s", "60", "-n", str(REQUESTS), "-c", str(CLIENTS_AT_ONCE), address]
        output = subprocess.run(load, capture_output=True, text=True, check=True).stdout
        if "Non-2xx" in output or not re.search(r"Failed requests: +0\n", output):
            raise SystemExit(f"{address} fails:\n{output}")
        return float(re.search(r"Requests per second: +([\d.]+)", output)[1])


def starts():
    archived = BENCH.joinpath("jsoncpp_alone").stat().st_size > BENCH.joinpath("jsoncpp_alone_shared").stat().st_size
    programs = {
        STATIC: BENCH / "literal_static",
        BARE: BENCH / "literal",
        "**mediaserv**, static libraries": BUILD / "mediaserv" if archived else None,
        "mediaserv, shared libraries": BENCH / "mediaserv_shared",
        "jsoncpp alone, static libraries": BENCH / "jsoncpp_alone" if archived else None,
        "jsoncpp alone, shared libraries": BENCH / "jsoncpp_alone_shared",
        "Python CGI": Path(__file__).with_name("page.py").resolve(),
    }
    programs = {name: path for name, path in programs.items() if path is not None}
    progress("starts")
    rates = {name: [] for name in programs}
    with WebServer(programs.values()) as server:
        for _ in range(REQUEST_ROUNDS):
            for number, name in enumerate(programs):
                rates[name].append(server.requests_per_second(number))
    cases = [Case(name, [path], LOAD) for name, path in programs.items()]
    alternate(cases, START_ROUNDS, STARTS)
    counts = {name: instructions(path) for name, path in programs.items()}
    for case in cases:
        wall, processor, faults, peak = case.medians()
        count = f"{counts[case.name]:,} ({counts[case.name] / counts[BARE]:.2f})"
        share = statistics.median(rate / static for rate, static in zip(rates[case.name], rates[STATIC]))
        rate = f"{statistics.median(rates[case.name]):.0f} ({share:.2f})"
        row(case.name, count, str(faults), rate, f"{wall:.2f}", f"{processor:.2f}", f"{peak:.1f}")


def form(name, **fields):
    """Returns the file of a request body and the environment to send it with."""
    body = "&".join(f"{field}={quote_plus(value)}" for field, value in fields.items())
    path = INPUTS / name
    path.write_text(body)
    return path, {
        "REMOTE_USER": "user",
        "REQUEST_METHOD": "POST",
        "CONTENT_TYPE": "application/x-www-form-urlencoded",
        "CONTENT_LENGTH": str(len(body)),
    }


def saves():
    progress("saves")
    page = {"action": "save_browsing_page", "cmzalbumart": "no"}
    on, environment = form("on", sendthumb="true", **page)
    off, _ = form("off", sendthumb="none", **page)
    name = "`save_browsing_page`, one change"
    cases = [
        Case(name, [BUILD / "mediaserv"], environment, (on, off)),
        Case("the same without fsync", [BUILD / "mediaserv"], {**environment, "LD_PRELOAD": NO_FSYNC}, (on, off)),
    ]
    compare(cases, SAVE_ROUNDS, SAVES, digits=2)


def client(number):
    address = ":".join(f"{byte:02X}" for byte in (0x0200 << 32 | number).to_bytes(6, "big"))
    return {"ip": "192.0.2.1", "isAccess": True, "macAddr": address, "name": f"TV {number}",
            "profileName": "Television"}


def merges():
    for count in (10_000, 100_000):
        clients = [client(number) for number in range(count)]
        changes = [
            {"macAddr": one["macAddr"], "profileName": "Game console", "isAccess": number % 2 == 0}
            for number, one in enumerate(clients)
        ]
        document = INPUTS / "clients"
        document.write_text(json.dumps({"ClientList": clients}))
        for order in ("in file order", "shuffled"):
            progress(f"merge of {count} clients {order}")
            if order == "shuffled":
                random.Random(1).shuffle(changes)
            text = INPUTS / "changes"
            text.write_text(json.dumps(changes))
            body, environment = form("merge", action="saveClientList", modifiedInfo=text.read_text())
            shutil.copy(document, ETC / "client_list.json")
            merge = Case(f"merge of {count:,} clients, {order}", [BUILD / "mediaserv"], environment, (body,))
            merge.launch(1)
            written = json.loads((ETC / "client_list.json").read_text())["ClientList"]
            if len(written) != count or any(one["profileName"] != "Game console" for one in written):
                raise SystemExit("the merge did not change every client")
            alone = [BENCH / "jsoncpp_merge", ETC / "client_list.json", text, INPUTS / "output"]
            compare([merge, Case("jsoncpp's parse and write of the same", alone, {})], MERGE_ROUNDS)


def write_log(path):
    """Writes a log of 1 GiB that repeats 9 MiB of different lines."""
    numbers = random.Random(1)
    lines = "".join(
        f"[2026/11/23 09:{i % 60:02}:{i % 59:02}] http.c:{i % 997}: GET /MediaItems/{numbers.randrange(10**6)}.mp3 "
        f"from 192.0.2.{numbers.randrange(256)}, {numbers.randrange(10**9)} bytes\n"
        for i in range(100_000)
    ).encode()
    with open(path, "wb") as file:
        while file.tell() < GIB:
            file.write(lines[: GIB - file.tell()])


def transfers():
    progress("log download")
    log = ROOT / "var/log/dms.log"
    write_log(log)
    tar = f"cd {log.parent} && /bin/tar czhO dms.log* lighttpd {ETC} | cat"
    environment = {"REMOTE_USER": "user", "PATH": "/usr/bin:/bin"}
    cases = [
        Case("`downloadlog` of 1 GiB", [BUILD / "mediaserv"], {**environment, "QUERY_STRING": "action=downloadlog"}),
        Case("`tar czhO \\| cat` of the same", ["/bin/sh", "-c", tar], environment),
    ]
    compare(cases, TRANSFER_ROUNDS)
    log.unlink()
    progress("template")
    with open(ETC / "menu_large.xml", "wb") as file:
        file.truncate(GIB)
    environment["QUERY_STRING"] = "action=loadmenu&template=large"
    compare([Case("`loadmenu` of 1 GiB", [BUILD / "mediaserv"], environment)], TRANSFER_ROUNDS)


def main():
    INPUTS.mkdir(exist_ok=True)
    try:
        starts()
        saves()
        merges()
        transfers()
    finally:
        shutil.rmtree(INPUTS)
    print("| | instructions | page faults | requests/s | ms | ms of processor | peak MiB |")
    print("|---|--:|--:|--:|--:|--:|--:|")
    for cells in rows:
        print("| " + " | ".join(cells) + " |")


main()
