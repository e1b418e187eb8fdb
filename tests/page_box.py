"""The appliance in a box with a browser in front of it: what the tests of the administration page stand on."""
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

SOURCE = Path(__file__).resolve().parent.parent
BUILD = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else SOURCE / "build/release-rooted"
ROOT = BUILD / "root"
PACKAGE = ROOT / "var/packages/Dalmira"
QUIET = ("--headless", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--window-size=1280,900", "--accept-lang=en")


class Box:
    """The appliance's processes: started fresh, ended as Ctrl-C ends them."""

    def __init__(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.output = BUILD / "page_box.output"
        with self.output.open("w") as output:
            self.process = subprocess.Popen(
                [SOURCE / "demo/appliance.sh", "--fresh", "--build", BUILD, "--port", str(self.port)],
                stdout=output, stderr=output)
        while "ready: " not in self.output.read_text():
            if self.process.poll() is not None:
                raise RuntimeError(self.output.read_text())
            time.sleep(0.05)
        self.login = (BUILD / "demo/login").read_text().strip()
        self.page = f"http://127.0.0.1:{self.port}/"

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


class Browser:
    """Chromium with an empty profile, and the few things that the tests do with it."""

    def __init__(self):
        self.profile = tempfile.mkdtemp(prefix="page-test.")
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in (*QUIET, f"--user-data-dir={self.profile}", *(["--no-sandbox"] if os.geteuid() == 0 else [])):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    def end(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def wait(self, condition, what, seconds=10):
        return WebDriverWait(self.driver, seconds, 0.02).until(lambda _: condition(), what)

    def wait_for(self, selector):
        return self.wait(lambda: self.driver.find_elements(By.CSS_SELECTOR, selector), selector)[0]
