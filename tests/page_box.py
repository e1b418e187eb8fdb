"""What the tests of the administration page share: the demo appliance, and a browser in front of it."""
import base64
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
from contextlib import contextmanager
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else SOURCE / "build/release-rooted"
ROOT = BUILD / "root"
ETC = ROOT / "var/packages/Dalmira/etc"
TARGET = ROOT / "var/packages/Dalmira/target"
SETTINGS = ETC / "dmsinfo.conf"
QUIET = ("--headless", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--window-size=1280,900", "--accept-lang=en")


def plain(text):
    """Returns a text of the page without the isolating characters around values."""
    return text.replace("\u2068", "").replace("\u2069", "")


class Box:
    """The processes of a new appliance; `end` stops them as Ctrl-C does."""

    def __init__(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        output = BUILD / "page_box.output"
        with output.open("w") as out, (BUILD / "page_box.errors").open("w") as errors:
            self.process = subprocess.Popen(
                [SOURCE / "demo/appliance.sh", "--fresh", "--build", BUILD, "--port", str(port)],
                stdout=out, stderr=errors)
        while "ready: " not in output.read_text():
            if self.process.poll() is not None:
                raise RuntimeError((BUILD / "page_box.errors").read_text())
            time.sleep(0.05)
        # Without the additions of the media server. One test adds them.
        appliance = BUILD / "demo/www/appliance.json"
        appliance.unlink()
        appliance.write_bytes((SOURCE / "web/appliance.json").read_bytes())
        self.page = output.read_text().splitlines()[0].removeprefix("page: ")
        self.login = (BUILD / "demo/login").read_text().strip()
        self.authorization = "Basic " + base64.b64encode(self.login.encode()).decode()

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()

    def request(self, method, path, login=True, headers=()):
        """Returns the status and the headers of a response."""
        request = urllib.request.Request(self.page + path, method=method, headers=dict(headers))
        if login:
            request.add_header("Authorization", self.authorization)
        try:
            with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request) as answer:
                return answer.status, answer.headers
        except urllib.error.HTTPError as answer:
            return answer.code, answer.headers

    def call(self, action, **fields):
        """Runs an action of the program, as the page of somebody else does. Returns its answer."""
        url = urllib.parse.urljoin(self.page, "/cgi-bin/mediaserv")
        body = urllib.parse.urlencode({"action": action, **fields}).encode()
        request = urllib.request.Request(url, body, {"Authorization": self.authorization})
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request) as answer:
            return json.load(answer)

    def change_settings(self, page, **changes):
        """Somebody else saves changes of a settings page, together with all other settings as they are stored."""
        stored = self.call(f"load_{page}_page")["data"]
        fields = {name: str(value).lower() if isinstance(value, bool) else value
                  for name, value in stored.items() if isinstance(value, (str, int))}
        assert self.call(f"save_{page}_page", **{**fields, **changes})["success"]


class Browser:
    """Chromium with an empty profile, and what a user does with it."""

    def __init__(self, box):
        self.box = box
        self.profile = tempfile.mkdtemp(prefix="page-test.")
        self.downloads = Path(self.profile, "downloads")
        self.loads = 0
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in (*QUIET, f"--user-data-dir={self.profile}", *(["--no-sandbox"] if os.geteuid() == 0 else [])):
            options.add_argument(argument)
        options.add_experimental_option("prefs", {"download.default_directory": str(self.downloads)})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
        self.driver.get(box.page.replace("://", f"://{box.login}@"))
        # After a response with status 401 the browser forgets the login and asks for it where no test can answer.
        self.devtools("Network.enable")
        self.devtools("Network.setExtraHTTPHeaders", headers={"Authorization": box.authorization})

    def end(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def devtools(self, command, **parameters):
        return self.driver.execute_cdp_cmd(command, parameters)

    def console(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def open(self, section):
        """Loads the page with this section."""
        self.loads += 1
        self.driver.get(f"{self.box.page}?{self.loads}#{section}")
        self.wait_shown(section)

    def wait_shown(self, section):
        shown = "return performance.getEntriesByName(`section ${arguments[0]}`).length"
        self.wait(lambda: self.run(shown, section), section)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        texts = self.run("return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", selector)
        return plain(" ".join(texts))

    def wait(self, condition, what, seconds=20):
        return WebDriverWait(self.driver, seconds, 0.02).until(lambda _: condition(), what)

    def wait_text(self, selector, part):
        try:
            self.wait(lambda: part in self.text(selector), part)
        except TimeoutException:
            raise AssertionError(f"no '{part}' in {selector}: '{self.text(selector)}'") from None

    def set_size(self, width, height):
        size = {"width": width, "height": height}
        self.devtools("Emulation.setDeviceMetricsOverride", **size, deviceScaleFactor=1, mobile=False)

    @contextmanager
    def offline(self):
        self.driver.set_network_conditions(offline=True, latency=0, throughput=0)
        try:
            yield
        finally:
            self.driver.delete_network_conditions()

    def click(self, element):
        self.run("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def button(self, name, inside=""):
        buttons = [one for one in self.all(f"{inside} button") if plain(one.accessible_name) == name]
        self.click(next(one for one in buttons if one.is_displayed()))

    def type(self, selector, text):
        field = self.find(selector)
        field.clear()
        field.send_keys(text)

    def set(self, field, value):
        """Changes a setting: a switch by a bool, a list by its entries, a choice or an input by a string."""
        inside = f"[data-field={field}] "
        if isinstance(value, bool):
            switch = self.find(inside + "input")
            if switch.is_selected() != value:
                self.click(switch)
        elif isinstance(value, list):
            while removes := self.all(inside + "li button"):
                self.click(removes[0])
            for entry in value:
                self.button("Add", inside)
                for part, text in enumerate(entry.split("="), 1):
                    self.type(f"{inside} li:last-child input:nth-of-type({part})", text)
        elif selects := self.all(inside + "select"):
            choice = Select(selects[0])
            if any(option.get_attribute("value") == value for option in choice.options):
                choice.select_by_value(value)
            else:
                choice.select_by_visible_text("Other …")
                self.type(inside + "input", value)
        else:
            self.type(inside + "input", value)

    def get(self, field):
        """Returns what a setting shows, in the form that `set` accepts."""
        return self.run("""
            const field = document.querySelector(`[data-field=${arguments[0]}]`);
            const entries = [...field.querySelectorAll('.list li')];
            const partsOf = (entry) => [...entry.querySelectorAll('input')].map((input) => input.value);
            if (entries.length) return entries.map((entry) => partsOf(entry).join('='));
            const control = field.querySelector('select, input');
            return control.type === 'checkbox' ? control.checked : control.value;""", field)

    def save(self, done="Saved."):
        self.find(".save-bar .primary").click()
        self.wait_text(".save-message", done)

    def press(self, *keys):
        for key in keys:
            self.driver.switch_to.active_element.send_keys(key)

    def focused(self):
        """Returns the accessible name of the element with the focus."""
        return plain(self.driver.switch_to.active_element.accessible_name)

    def can_save(self):
        return self.find(".save-bar .primary").get_attribute("aria-disabled") == "false"

    def requests(self):
        """Returns how many requests the page has sent to the program."""
        return self.run("""
            const loads = performance.getEntriesByType('resource');
            return loads.filter(({ name }) => name.endsWith('/mediaserv')).length;""")


@contextmanager
def moved_away(path, stand_in=None):
    """A file is missing for a while, or replaced by what `stand_in(path)` creates."""
    aside = path.with_name(path.name + ".aside")
    path.rename(aside)
    try:
        if stand_in:
            stand_in(path)
        yield
    finally:
        if path.is_dir():
            path.rmdir()
        aside.replace(path)


def script(lines):
    def write(path):
        path.write_text(f"#!/bin/sh\n{lines}\n")
        path.chmod(0o755)
    return write


def answering(header):
    return script(f"echo '{header}'; echo; echo '<p>{{}}'")


class PageTestCase(unittest.TestCase):
    """One appliance and one browser for all tests of a class. Every test starts with the same files."""
    @classmethod
    def setUpClass(cls):
        cls.box = Box()
        cls.addClassCleanup(cls.box.end)
        cls.browser = Browser(cls.box)
        cls.addClassCleanup(cls.browser.end)
        cls.fresh = {path: path.read_bytes() for path in ETC.iterdir()}

    def setUp(self):
        for path in ETC.iterdir():
            if path not in self.fresh:
                path.unlink()
        for path, content in self.fresh.items():
            path.write_bytes(content)
        self.signal_daemon("USR2")
        self.signal_daemon("HUP")

    def tearDown(self):
        self.assertEqual(self.browser.console(), [], "messages in the browser's console, such as violations of the CSP")

    def client_list(self):
        return json.loads((ETC / "client_list.json").read_text())["ClientList"]

    @staticmethod
    def client_row(browser, name):
        return browser.driver.find_element(By.XPATH, f"//tbody/tr[contains(., '{name}')]")

    def change_client(self, browser, name, profile=None, access=False):
        row = self.client_row(browser, name)
        if profile:
            Select(row.find_element(By.TAG_NAME, "select")).select_by_value(profile)
        if access:
            browser.click(row.find_element(By.TAG_NAME, "input"))

    @staticmethod
    def run_sql(statement):
        subprocess.run(["psql", "-Xqh", (ROOT / "var/services/pgsql/home").resolve(), "-U", "postgres",
                        "-d", "video_metadata", "-c", statement], check=True)

    def add_collections(self, titles):
        rows = ", ".join(f"$q${title}$q$" for title in titles)
        self.run_sql(f"INSERT INTO collection (uid, title) SELECT {os.getuid()}, unnest(ARRAY[{rows}])")

    def signal_daemon(self, name):
        subprocess.run(["kill", f"-{name}", (ROOT / "var/run/dms.pid").read_text().strip()], check=True)

    def check_width(self):
        overflow = "const all = document.documentElement; return all.scrollWidth - all.clientWidth"
        self.assertEqual(self.browser.run(overflow), 0)

    def check_controls(self):
        """Each control has a name, and the tab key alone reaches it with a visible focus."""
        b = self.browser
        tree = b.devtools("Accessibility.getFullAXTree")["nodes"]
        roles = {"button", "checkbox", "switch", "combobox", "textbox", "searchbox", "link", "spinbutton"}
        controls = [node for node in tree if not node["ignored"] and node["role"]["value"] in roles]
        self.assertEqual([node for node in controls if not node.get("name", {}).get("value")], [])
        b.run("document.activeElement.blur(); document.body.tabIndex = -1; document.body.focus();")
        reached = set()
        for _ in range(150):
            ActionChains(b.driver).send_keys(Keys.ESCAPE, Keys.TAB).perform()
            state = b.run("""
                const one = document.activeElement, box = one.getBoundingClientRect();
                const hit = document.elementFromPoint(box.x + box.width / 2, box.y + box.height / 2);
                one.reached = true;
                const isVisible = hit === one || one.contains(hit) || one.closest('.table-area, textarea');
                const hasOutline = getComputedStyle(one).outlineStyle !== 'none';
                return [one === document.body, hasOutline && isVisible, one.outerHTML.slice(0, 120)];""")
            if state[0]:
                break
            self.assertTrue(state[1], f"hidden or without a visible focus: {state[2]}")
            reached.add(state[2])
        left = b.run("""
            return [...document.querySelectorAll('a, button, input, select, textarea, summary')]
                .filter((one) => !one.reached && !one.disabled && one.checkVisibility())
                .map((one) => one.outerHTML);""")
        self.assertEqual(left, [])
