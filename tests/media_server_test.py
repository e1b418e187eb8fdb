#!/usr/bin/python3
"""Tests the media server of the demo appliance as its clients see it: media_server_test.py BUILD

The tests save settings through the web server and the program. The media server announces itself only on the loopback
interface and on interfaces that a test creates.
"""
import base64
import json
import os
import re
import signal
import socket
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
import xml.etree.ElementTree as ET
from pathlib import Path

BUILD = Path(sys.argv[1]).resolve()
ROOT = BUILD / "root"
SOURCE = Path(__file__).resolve().parent.parent
PACKAGE = ROOT / "var/packages/Dalmira"
SETTINGS = PACKAGE / "etc/dmsinfo.conf"
CLIENTS = PACKAGE / "etc/client_list.json"
CONF = ROOT / "etc/minidlna.conf"
LOG = ROOT / "var/log/dms.log"
PID_FILE = ROOT / "var/run/dms.pid"
SCRIPT = PACKAGE / "target/scripts/S86vexadms.sh"
MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
CONTENT = "urn:schemas-upnp-org:service:ContentDirectory:1"
local = urllib.request.build_opener(urllib.request.ProxyHandler({}))
box = None


def eventually(condition, seconds=15):
    """Calls `condition` until its result is true, for at most `seconds`. Returns the last result."""
    end = time.monotonic() + seconds
    while not (result := condition()) and time.monotonic() < end:
        time.sleep(0.1)
    return result


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Box:
    def __init__(self):
        self.output = open(BUILD / "media_server.output", "w+")
        command = [SOURCE / "demo/appliance.sh", "--fresh", "--build", BUILD, "--port", str(free_port())]
        self.process = subprocess.Popen(command, stdout=self.output, stderr=self.output)
        text = eventually(lambda: (found := Path(self.output.name).read_text()) and "\nready: " in found and found, 60)
        assert text, Path(self.output.name).read_text()
        login = re.search("^login: (.*)$", text, re.M)[1]
        self.headers = {"Authorization": "Basic " + base64.b64encode(login.encode()).decode()}
        self.url = re.search("^ready: (.*)$", text, re.M)[1]
        self.media = re.search(r"http://(127\.0\.0\.1:\d+)/rootDesc\.xml", text)[1]

    def post(self, action, **fields):
        form = urllib.parse.urlencode({"action": action, **fields}).encode()
        with local.open(urllib.request.Request(self.url, form, self.headers), timeout=60) as response:
            result = json.load(response)
        assert result["success"], result
        return result

    def end(self):
        self.process.terminate()
        return self.process.wait()


def setUpModule():
    global box
    box = Box()


def tearDownModule():
    assert box.end() == 0, Path(box.output.name).read_text()


def fetched(path="/rootDesc.xml"):
    """Returns a document of the media server, or nothing if there is no response."""
    try:
        return local.open(f"http://{box.media}{path}", timeout=5).read()
    except OSError:
        return b""


def browse(container):
    """Returns the entries of a container as a player requests them: title, album art address, children."""
    body = (f'<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>'
            f'<u:Browse xmlns:u="{CONTENT}"><ObjectID>{container}</ObjectID>'
            "<BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter>*</Filter><StartingIndex>0</StartingIndex>"
            "<RequestedCount>0</RequestedCount><SortCriteria/></u:Browse></s:Body></s:Envelope>")
    request = urllib.request.Request(f"http://{box.media}/ctl/ContentDir", body.encode(),
                                     {"SOAPAction": f'"{CONTENT}#Browse"', "Content-Type": "text/xml"})
    try:
        envelope = ET.fromstring(local.open(request, timeout=5).read())
    except OSError:
        return []
    found = ET.fromstring(next(envelope.iter("Result")).text)
    return [{re.sub("{.*}", "", member.tag): member.text for member in entry} | entry.attrib for entry in found]


def titles(container="0"):
    return [entry["title"] for entry in browse(container)]


def announcement():
    """Returns the server's response to a search on the loopback interface. Ignores other servers."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as searcher:
        searcher.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
        searcher.settimeout(2)
        searcher.sendto(f'M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: "ssdp:discover"\r\nMX: 1\r\n'
                        f"ST: {MEDIA_SERVER}\r\n\r\n".encode(), ("239.255.255.250", 1900))
        try:
            while f"http://{box.media}/" not in (found := searcher.recv(4096).decode()):
                pass
        except TimeoutError:
            return ""
        return found


def daemon():
    return int(PID_FILE.read_text())


def minidlnad():
    """Returns the process ID of minidlnad, or 0 if it is not running."""
    command = ["pgrep", "--runstates", "DRST", "--parent", str(daemon())]  # without zombies
    found = subprocess.run(command, capture_output=True, text=True).stdout.split()
    return int(found[0]) if found else 0


def is_running(process):
    return Path(f"/proc/{process}/stat").exists() and Path(f"/proc/{process}/stat").read_text().split()[2] != "Z"


def restart():
    subprocess.run([SCRIPT, "restart"], check=True)
    assert eventually(fetched)


def status():
    return json.loads((PACKAGE / "target/share/mediaserv/status.json").read_text())


class SettingsTest(unittest.TestCase):
    def test_announces_the_saved_expiry(self):
        for saved, announced in {600: 600, 1201: 1200, 5: 12}.items():
            box.post("save_general_page", ssdp_advr=saved)
            found = eventually(announcement)
            self.assertRegex(found, rf"(?i)cache-control: *max-age={announced}\r", saved)
        self.assertIn(b"<friendlyName>Appliance in a box<", fetched())
        self.assertEqual((ROOT / "var/run/dms.ip").read_text(), "127.0.0.1")

    def test_menu_style_selects_the_root_container(self):
        for style, root in {
            "full": ["Browse Folders", "Music", "Pictures", "Video"],
            "music": ["Album", "All Music", "Artist", "Folders", "Genre", "Playlists", "Recently Added"],
            "video": ["All Video", "Folders", "Recently Added"],
            "simple": ["music", "photo", "video"],
            "photo": ["All Pictures", "Camera", "Date Taken", "Folders", "Recently Added"],
        }.items():
            box.post("save_general_page", templatetype=style)
            self.assertTrue(eventually(fetched))
            self.assertEqual(titles(), root, style)

        def photos():
            return [title for title in titles("3$B") if title in ("ebb", "flood", "Harbour")]
        for sort, sorted_photos in {("date", "desc"): ["Harbour", "ebb", "flood"],
                                    ("filename", "desc"): ["Harbour", "flood", "ebb"],
                                    ("date", "asc"): ["flood", "ebb", "Harbour"]}.items():
            box.post("save_browsing_page", photo_sort_by=sort[0], photo_sort_order=sort[1])
            self.assertTrue(eventually(fetched))
            self.assertEqual(photos(), sorted_photos, sort)

    def test_album_art_list_selects_the_picture(self):
        box.post("save_browsing_page")  # later saves change only the album art, which needs no restart
        daemon_before, songs, folder = daemon(), "1$4", ROOT / "volume1/music/Low Tones"
        database = (ROOT / "var/cache/minidlna/files.db").stat().st_ino
        for names, picture in {"none.jpg;front.jpg": "front.jpg", "cover.jpg;front.jpg": "cover.jpg"}.items():
            box.post("save_browsing_page", cmzalbumart="true", albumartlist=names)

            def shown():
                art = next((song.get("albumArtURI", "") for song in browse(songs) if song["title"] == "First Tone"), "")
                return fetched(urllib.parse.urlparse(art).path) == (folder / picture).read_bytes()
            self.assertTrue(eventually(shown), names)
        self.assertEqual(daemon(), daemon_before, "the daemon reloads and does not restart")
        self.assertEqual((ROOT / "var/cache/minidlna/files.db").stat().st_ino, database)

    def test_log_switch(self):
        box.post("applylogconf", dmslog="true")
        self.assertTrue(eventually(lambda: "minidlnad: HTTP listening" in LOG.read_text()))
        box.post("applylogconf", dmslog="false")
        box.post("clearlog")
        self.assertTrue(eventually(fetched))
        self.assertFalse(LOG.exists())
        box.post("applylogconf", dmslog="true")
        self.assertTrue(eventually(lambda: LOG.exists() and "info: started" in LOG.read_text()))

    def test_status_file(self):
        restart()
        expected = {"audio": 3, "video": 1, "images": 6, "clients": 0, "scanning": False}
        self.assertTrue(eventually(lambda: expected.items() <= status().items()), status())
        self.assertLess(time.time() - status()["running_since"], 60)
        written = (PACKAGE / "target/share/mediaserv/status.json").stat().st_mtime_ns
        os.kill(daemon(), signal.SIGCONT)
        time.sleep(1)
        self.assertEqual((PACKAGE / "target/share/mediaserv/status.json").stat().st_mtime_ns, written)

    def test_clearing_the_client_list(self):
        self.assertEqual(box.post("clearClientList")["ClientList"], [])


class SupervisionTest(unittest.TestCase):
    def setUp(self):
        self.kept = {file: file.read_bytes() for file in (SETTINGS, CONF)}
        box.post("applylogconf", dmslog="true")
        restart()

    def tearDown(self):
        for file, content in self.kept.items():
            file.write_bytes(content)
        subprocess.run([SCRIPT, "restart"], check=True)

    def logged(self, text):
        self.assertTrue(eventually(lambda: text in LOG.read_text()), text + "\n" + LOG.read_text()[-3000:])

    def test_restarts_minidlnad_only_for_a_change(self):
        first, read = minidlnad(), LOG.read_text().count("settings: ")
        os.kill(daemon(), signal.SIGHUP)
        self.assertTrue(eventually(lambda: LOG.read_text().count("settings: ") > read))
        time.sleep(0.5)
        self.assertEqual(minidlnad(), first)
        CONF.write_bytes(self.kept[CONF].replace(b"friendly_name=", b"friendly_name=Renamed "))
        os.kill(daemon(), signal.SIGHUP)
        self.assertTrue(eventually(lambda: b"Renamed Appliance" in fetched()))
        self.assertNotEqual(minidlnad(), first)

    def test_minidlnad_ends_when_dms_is_killed(self):
        server = minidlnad()
        os.kill(daemon(), signal.SIGKILL)
        self.assertTrue(eventually(lambda: not is_running(server), 5))

    def test_gives_up_after_five_exits(self):
        dms = daemon()
        for exits in range(5):
            server = eventually(minidlnad)
            self.assertTrue(server, f"minidlnad did not start after {exits} exits")
            os.kill(server, signal.SIGKILL)
            self.assertTrue(eventually(lambda: not is_running(server)))
        self.assertTrue(eventually(lambda: not is_running(dms)))
        self.assertFalse(PID_FILE.exists())
        self.logged("minidlnad ended 5 times within 60 seconds: dms stops")
        self.assertIsNone(status()["running_since"])
        self.assertIn("dms stops", status()["last_error"]["text"])

    def test_logs_unusable_files_and_keeps_running(self):
        server = minidlnad()
        for file, bad, message in (
                (SETTINGS, b"\x00\xff nonsense\n", f"cannot read any setting in {SETTINGS}"),
                (CLIENTS, b'{"ClientList": 7', f"{CLIENTS} is not a valid client list"),
                (CONF, None, f"cannot read {CONF}")):
            good = file.read_bytes()
            if bad is None:
                file.unlink()
            else:
                file.write_bytes(bad)
            os.kill(daemon(), signal.SIGHUP)
            os.kill(daemon(), signal.SIGUSR2)
            self.logged(message)
            self.assertEqual(minidlnad(), server, file)
            file.write_bytes(good)
        with socket.socket() as holder:
            holder.bind(("0.0.0.0", 0))
            holder.listen()
            busy = b"port=%d" % holder.getsockname()[1]
            time.sleep(5)
            for bad, advice in {(b"port=" + box.media.split(":")[1].encode(), busy): "another program uses the port",
                                (b"inotify=yes", b"media_dir=/nowhere"): "create the directory",
                                (b"inotify=yes", b"network_interface=x\nnonsense"): f"correct {CONF})"}.items():
                CONF.write_bytes(self.kept[CONF].replace(*bad))
                os.kill(daemon(), signal.SIGHUP)
                self.logged(advice)
                self.assertTrue(eventually(fetched), advice)
        box.post("save_general_page", dmsInterface="nowhere0")
        self.logged("interface nowhere0 has no IPv4 address: choose another interface")


def inside(namespace, *command):
    return ["nsenter", "--target", str(namespace), "--user", "--net", "--preserve-credentials", *command]


class AccessTest(unittest.TestCase):
    """A client on another network: two network namespaces, connected by a pair of virtual interfaces."""
    MAC = "02:00:5E:10:77:01"

    def setUp(self):
        if subprocess.run(["unshare", "-rn", "true"], capture_output=True).returncode != 0:
            self.skipTest("this host does not allow network namespaces (unshare -rn)")
        self.holders = []
        self.server = self.hold("unshare", "-rn", "sleep", "600")
        self.client = self.hold(*inside(self.server, "unshare", "-n", "sleep", "600"))
        for namespace, arguments in (
                (self.server, "link add served0 type veth peer name client0"), (self.server, "link set lo up"),
                (self.server, f"link set client0 netns {self.client}"),
                (self.client, f"link set client0 address {self.MAC}"),
                (self.server, "address add 192.0.2.1/24 dev served0"),
                (self.client, "address add 192.0.2.2/24 dev client0"),
                (self.server, "link set served0 up"), (self.client, "link set client0 up")):
            subprocess.run(inside(namespace, "ip", *arguments.split()), check=True)
        self.kept = {file: file.read_bytes() for file in (SETTINGS, CONF)}
        subprocess.run([SCRIPT, "stop"], check=True)
        SETTINGS.write_bytes(re.sub(rb"network_mediaservice=.*", b'network_mediaservice="served0"',
                                    self.kept[SETTINGS]))
        CONF.write_bytes(re.sub(rb"user=.*", b"user=root", self.kept[CONF]))
        subprocess.run(inside(self.server, SCRIPT, "start"), check=True)

    def hold(self, *command):
        """Starts a process that keeps a new network namespace alive, and waits for the namespace."""
        self.holders.append(subprocess.Popen(command))
        self.addCleanup(self.holders[-1].wait)
        self.addCleanup(self.holders[-1].kill)
        # The last program of the command runs as soon as the namespace is complete.
        program = Path(f"/proc/{self.holders[-1].pid}/cmdline")
        self.assertTrue(eventually(lambda: program.read_bytes().startswith(b"sleep")))
        return self.holders[-1].pid

    def tearDown(self):
        subprocess.run(inside(self.server, SCRIPT, "stop"), check=True)
        for file, content in self.kept.items():
            file.write_bytes(content)
        subprocess.run([SCRIPT, "start"], check=True)

    def fetches(self):
        url = f"http://192.0.2.1:{box.media.split(':')[1]}/rootDesc.xml"
        curl = ("curl", "-s", "-o", "/dev/null", "-m", "2", "-A", "SEC_HHP_[TV] Samsung Q/1.0", "--noproxy", "*", url)
        return subprocess.run(inside(self.client, *curl)).returncode == 0

    def change(self, access):
        box.post("saveClientList", modifiedInfo=json.dumps(
            [{"macAddr": self.MAC, "profileName": "Television", "isAccess": access}]))

    def test_lists_a_client_and_denies_its_access(self):
        self.assertTrue(eventually(self.fetches))
        found = [client for client in box.post("loadClientList")["ClientList"] if client["macAddr"] == self.MAC]
        self.assertLess(abs(found[0].pop("lastSeen") - time.time()), 60)
        self.assertEqual(found, [{"ip": "192.0.2.2", "isAccess": True, "macAddr": self.MAC,
                                  "name": "Samsung Series [Q]", "profileName": "Television"}])
        self.assertTrue(eventually(lambda: status()["clients"] == 1))
        self.change(False)
        self.assertTrue(eventually(lambda: not self.fetches()))
        self.change(True)
        self.assertTrue(eventually(self.fetches))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)
