#!/usr/bin/python3
"""The administration page in a real browser, in front of the whole appliance: page_test.py BUILD-FOLDER"""
import json
import re
import subprocess
import tarfile
import unittest
import xml.parsers.expat
from contextlib import contextmanager

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from page_box import BUILD, ETC, ROOT, SETTINGS, SOURCE, TARGET, Box, Browser

WEB = SOURCE / "web"
SECTIONS = ("general", "browsing", "media", "menu", "clients", "collections", "logs")
LANGUAGES = ("en", "de", "ja")

# A section's changes, and the lines of the settings file afterwards.
SETTINGS_PAGES = {
    "general": (
        {"language": "jpn", "templatetype": "own style", "ssdp_advr": "1800"},
        ['language_mediaservice="jpn"', 'menustyle_mediaservice="own style"', 'advrexpire_mediaservice="1800"']),
    "browsing": (
        {"musicdisplayinfo": "artist", "photo_sort_by": "date", "photo_sort_order": "desc", "enableradio": True,
         "ebdvideoinfo": True, "integrateKinovo": True, "sendthumb": False, "cmzalbumart": True,
         "albumartlist": ["front.png", "größe \"2\".jpg"]},
        ['musicinfo_mediaservice="artist"', 'photo_sort_by_mediaservice="date"', 'photo_sort_order_mediaservice="desc"',
         'suppradio_mediaservice="yes"', 'ebdvideoinfo_mediaservice="yes"', 'integrateKinovo_mediaservice="yes"',
         'sendthumb_mediaservice="no"', 'cmzalbumart_mediaservice="yes"',
         'albumart_mediaservice="front.png;größe "2".jpg"']),
    "media": (
        {"flactranscoding": False, "aactranscoding": True, "oggtranscoding": False, "aifftranscoding": True,
         "downsample_audio_transcoding": True, "disable_access_right": True, "cmzmimetype": True,
         "mimetypelist": ["mkv=video/x-matroska", "oga=audio/ogg"]},
        ['flactranscoding_mediaservice="no"', 'aactranscoding_mediaservice="yes"', 'oggtranscoding_mediaservice="no"',
         'aifftranscoding_mediaservice="yes"', 'downsample_audiotranscoding_mediaservice="yes"',
         'disable_access_right_mediaservice="yes"', 'cmzmimetype_mediaservice="yes"',
         'mimetype_mediaservice="mkv=video/x-matroska,oga=audio/ogg"']),
    "logs": ({"dmslog": False}, ['loglevel_mediaservice=""']),
}

# What is refused at the field: section, field, value, and what is said.
REFUSED = [
    ("general", "language", "x" * 32, "32 of 31 bytes"),
    ("general", "templatetype", "ü" * 16, "32 of 31 bytes"),
    ("general", "language", " ", "Enter a value."),
    ("general", "ssdp_advr", "4", "at least 5"),
    ("general", "ssdp_advr", "9" * 16, "16 of 15 bytes"),
    ("general", "ssdp_advr", "90 s", "whole number"),
    ("browsing", "albumartlist", ["映" * 86], "258 of 255 bytes"),
    ("browsing", "albumartlist", ["a;b"], "without"),
    ("browsing", "albumartlist", [], "at least one"),
    ("media", "mimetypelist", ["mkv=matroska"], "MIME type"),
    ("media", "mimetypelist", ["m,v=video/mp4"], "extension"),
]

HOSTILE = ['<img src=x onerror="document.title=1"><b>bold</b>', "'\"&amp;{name}%s\\", "🎄 Zoë 👩‍👩‍👧", "סלון של המשפחה",
           "long " * 100]


@contextmanager
def moved_away(path, stand_in=None):
    """Something in a file's place for a while, as `stand_in(path)` makes it."""
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


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.box = Box()
        cls.addClassCleanup(cls.box.end)
        cls.browser = Browser(cls.box)
        cls.addClassCleanup(cls.browser.end)

    def tearDown(self):
        self.assertEqual(self.browser.console(), [], "the browser's console, reports of the CSP among them")

    def test_settings_load_change_save_and_reload(self):
        b = self.browser
        for section, (changes, lines) in SETTINGS_PAGES.items():
            with self.subTest(section):
                b.open(section)
                self.assertFalse(b.can_save())
                before = b.requests()
                for field, value in changes.items():
                    b.set(field, value)
                b.save()
                self.assertFalse(b.can_save())
                self.assertEqual(b.requests(), before + 1)
                for line in lines:
                    self.assertIn(line, SETTINGS.read_text().splitlines())
                b.open(section)
                self.assertEqual({field: b.get(field) for field in changes}, changes)

    def test_refuses_at_the_field(self):
        b = self.browser
        for section, field, value, said in REFUSED:
            with self.subTest(field=field, value=value):
                b.open(section)
                for switch in ("cmzalbumart", "cmzmimetype"):
                    if b.all(f"[data-field={switch}]"):
                        b.set(switch, True)
                before = b.requests()
                b.set(field, value)
                b.save("check")
                self.assertIn(said, b.text(f"[data-field={field}] .error"))
                self.assertTrue(b.run("return document.activeElement.closest('[data-field]').dataset.field") == field)
                self.assertEqual(b.requests(), before)

    def test_menu_templates(self):
        b, text = self.browser, "#menu-text"
        b.open("menu")
        b.type("#menu-name", "music" + Keys.ENTER)
        b.wait_text(".editor-head .help", "stored in “music”")
        for wrong, place in (("<a>\n  <b>\n</a>", "line 3, column 1"), ("<a", "line 1, column 1"), ("<a>&nbsp;</a>", "column 4")):
            b.type(text, wrong)
            b.save("check")
            self.assertIn(place, b.text("#menu-text-error"))
            self.assertEqual(b.run("return document.activeElement.id"), "menu-text")
        b.type(text, "<menu>")
        b.find(text).send_keys(Keys.TAB, "".join(HOSTILE[1:4]).replace("&amp;", "").replace("👩‍👩‍👧", ""), "</menu>")
        content = b.run("return document.querySelector('#menu-text').value")
        self.assertIn("\t", content)
        b.type("#menu-name", "eigene ü")
        b.click(b.find("#menu-restart"))
        b.save("restarted")
        self.assertEqual((ETC / "menu_eigene ü.xml").read_text(), content)
        b.type("#menu-name", "simple")
        b.find(".save-bar .primary").click()
        b.wait(lambda: b.all("dialog"), "a question")
        b.button("Cancel", "dialog")
        b.wait_text(".save-message", "Not saved")
        self.assertNotEqual((ETC / "menu_simple.xml").read_text(), content)

        b.button("Save as a file")
        saved = b.downloads / "menu_simple.xml"
        b.wait(saved.exists, "the template as a file")
        self.assertEqual(saved.read_text(), content)
        saved.write_bytes(b"<menu>\r\n</menu>\r\n")
        b.find("input[type=file]").send_keys(str(saved))
        b.wait_text(".editor-head .help", "menu_simple.xml")
        b.find(".save-bar .primary").click()
        b.wait(lambda: b.all("dialog"), "a question")
        b.button("Replace", "dialog")
        b.wait_text(".save-message", "Saved")
        self.assertEqual((ETC / "menu_simple.xml").read_bytes(), b"<menu>\r\n</menu>\r\n")

    def test_xml_is_judged_as_by_another_parser(self):
        b, script = self.browser, """
            const [texts, done] = arguments;
            import('./xml.js').then(({ xmlError }) => done(texts.map((text) => !xmlError(text))));"""

        def expat(text):
            try:
                xml.parsers.expat.ParserCreate().Parse(text.encode(), True)
                return True
            except xml.parsers.expat.ExpatError:
                return False
        b.open("logs")
        texts = json.loads((SOURCE / "tests/cases/xml.json").read_text())
        for text, judged in zip(texts, b.driver.execute_async_script(script, texts)):
            with self.subTest(text):
                self.assertEqual(judged, expat(text))

    def test_clients(self):
        b = self.browser
        b.open("clients")
        row = "//tbody/tr[contains(., '{}')]"
        one = lambda name: b.driver.find_element(By.XPATH, row.format(name))
        b.type("input[type=search]", "radio")
        self.assertEqual(len(b.all("tbody tr")), 1)
        Select(one("Radio").find_element(By.TAG_NAME, "select")).select_by_value("Generic")
        b.type("input[type=search]", "02:00:5e:10:00:01")
        b.click(one("Living room").find_element(By.TAG_NAME, "input"))
        b.type("input[type=search]", "nothing like it")
        self.assertIn("Nothing matches", b.text(".empty"))
        before = self.client_list()
        b.save("at once")
        for client in before:
            if client["name"] == "Radio Küche":
                client |= {"profileName": "Generic", "profileName_UserSelected": "Generic"}
            if client["name"] == "Living room TV":
                client["isAccess"] = False
        self.assertEqual(self.client_list(), before)
        b.type("input[type=search]", " " + Keys.BACKSPACE)
        for member, key in (("ip", "192.0.2.21"), ("profileName", "Disc player")):
            b.click(b.find(f"[data-member={member}] button"))
            self.assertIn(key, b.text("tbody tr:first-child"))

        b.click(one("Bedroom").find_element(By.TAG_NAME, "input"))
        b.button("Refresh")
        b.wait_text(".save-message", "Asking")
        b.wait(lambda: "Asking" not in b.text(".save-message"), "refreshed")
        self.assertTrue(b.can_save(), "a refresh loses no change")
        b.button("Delete")
        self.assertIn("12 clients are lost", b.text("dialog"))
        b.button("Delete", "dialog")
        b.wait_text(".save-message", "forgotten")
        self.assertEqual(self.client_list(), [])
        self.assertIn("No device", b.text(".empty"))

    def client_list(self):
        return json.loads((ETC / "client_list.json").read_text())["ClientList"]

    def test_collections(self):
        b = self.browser
        b.open("collections")
        titles = [one.text for one in b.all(".collection")]
        self.assertEqual({"Favourites", "Watch list"}, set(titles[:2]))
        b.type("input[type=search]", "holiday")
        b.button("All")
        b.type("input[type=search]", "favo")
        b.click(b.find("li:not([hidden]) .check"))
        b.save()
        (choice,) = json.loads((ETC / "exposed_collection.json").read_text()).values()
        self.assertEqual(len(choice["exposed_collections"]), 3)
        self.assertIn("-1", choice["exposed_collections"])
        b.open("collections")
        checked = [one.text for one in b.all(".collection:has(:checked)")]
        self.assertEqual(checked, ["Favourites", "Holiday 2019", "Holiday 2024"])

    def test_logs(self):
        b = self.browser
        b.open("logs")
        b.button("Download")
        archive = b.downloads / "dms.dmslog"
        b.wait(archive.exists, "the download")
        with tarfile.open(archive) as logs:
            self.assertIn("dms.log", logs.getnames())
        b.button("Delete")
        b.wait(lambda: b.all("dialog"), "a question")
        b.button("Delete", "dialog")
        b.wait_text(".save-message", "are deleted")
        b.wait(lambda: not (ROOT / "var/log/dms.log.1").exists(), "the logs to go")

    # What goes wrong, how it is made to, what is said of it, and whether the browser's console may mention it.
    def failures(self):
        program, control = BUILD / "mediaserv", TARGET / "scripts/S86vexadms.sh"

        @contextmanager
        def lost():
            self.browser.driver.set_network_conditions(offline=True, latency=0, throughput=0)
            try:
                yield
            finally:
                self.browser.driver.delete_network_conditions()

        return [
            (lost(), "did not answer", True),
            # With a challenge the browser itself would ask for the password first, out of the test's reach.
            (moved_away(program, answering("Status: 401")), "no longer signed in", True),
            (moved_away(program, answering("Status: 200")), "did not come from", True),
            (moved_away(program, answering("Status: 413")), "did not come from", True),
            (moved_away(SETTINGS, lambda path: path.mkdir()), "“Music is listed by” could not be stored (line 546)", False),
            (moved_away(control, script("exit 1")), "could not be restarted (line 647)", False),
        ]

    def test_failures_are_told_apart_and_lose_nothing(self):
        b = self.browser
        for failure, said, console in self.failures():
            with self.subTest(said):
                b.open("browsing")
                wanted = "date" if b.get("photo_sort_by") == "filename" else "filename"
                b.set("photo_sort_by", wanted)
                with failure:
                    b.find(".save-bar .primary").click()
                    b.wait_text("[role=alert]", said)
                    self.assertEqual(b.get("photo_sort_by"), wanted)
                    self.assertIn("Not saved", b.text(".save-message"))
                if b.can_save():
                    b.save()
                self.assertIn(f'photo_sort_by_mediaservice="{wanted}"', SETTINGS.read_text())
                self.assertTrue(console or not b.console())
                b.console()

    def test_one_request_for_two_clicks(self):
        b = self.browser
        b.open("general")
        b.set("ssdp_advr", "1801")
        before = b.requests()
        b.run("const save = document.querySelector('.save-bar .primary'); save.click(); save.click();")
        b.wait_text(".save-message", "restarts to take up: Advertisement expiry")
        b.wait_text(".save-message", "has restarted")
        b.run("document.querySelector('.save-bar .primary').click()")
        self.assertEqual(b.requests(), before + 1)

    def test_leaving_asks_and_addresses_work(self):
        b, address = self.browser, lambda: b.driver.current_url.rpartition("#")[2]
        b.open("general")
        for section in ("logs", "media"):
            b.click(b.find(f"nav [href='#{section}']"))
            b.wait_shown(section)
        b.driver.back()
        b.wait(lambda: address() == "logs" and b.all("[data-field=dmslog]"), "back")
        b.driver.refresh()
        b.wait_shown("logs")
        changed = not b.get("dmslog")
        for leave in (b.driver.back, b.driver.forward, lambda: b.click(b.find("nav [href='#menu']"))):
            b.set("dmslog", changed)
            leave()
            b.wait(lambda: b.all("dialog"), "a question")
            b.button("Keep editing", "dialog")
            b.wait(lambda: address() == "logs" and not b.all("dialog"), "the address is back")
            self.assertEqual(b.get("dmslog"), changed)
        b.driver.back()
        b.wait(lambda: b.all("dialog"), "a question")
        b.button("Discard changes", "dialog")
        b.wait(lambda: address() == "general" and b.all("[data-field=language]"), "left")


if __name__ == "__main__":
    unittest.main(verbosity=2)
