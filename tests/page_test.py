#!/usr/bin/python3
"""Tests of the administration page, in a real browser in front of the whole appliance: page_test.py BUILD-FOLDER"""
import gzip
import json
import os
import re
import subprocess
import tarfile
import unittest
import xml.parsers.expat
from contextlib import contextmanager

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from page_box import BUILD, ETC, ROOT, SETTINGS, SOURCE, TARGET, Box, Browser

WEB = SOURCE / "web"
SECTIONS = ("general", "browsing", "media", "menu", "clients", "collections", "logs")
LANGUAGES = ("en", "de", "ja")
PLURAL_FORMS = {"en": {"one", "other"}, "de": {"one", "other"}, "ja": {"other"}}
FIRST_VISIT_LIMIT = 60 * 1024  # bytes of all files that a first visit loads, compressed

# For each section with settings: the changes that a user makes, and the lines of the settings file afterwards.
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

# Values that a field does not accept: section, field, value, and a part of the error.
INVALID_VALUES = [
    ("general", "language", "x" * 32, "32 of 31 bytes"),
    ("general", "templatetype", "ü" * 16, "32 of 31 bytes"),
    ("general", "language", " ", "Enter a value."),
    ("general", "ssdp_advr", "4", "at least 5"),
    ("general", "ssdp_advr", "9" * 16, "16 of 15 bytes"),
    ("general", "ssdp_advr", "90 s", "whole number"),
    ("browsing", "albumartlist", ["映" * 86], "258 of 255 bytes"),
    ("browsing", "albumartlist", ["a;b"], "without"),
    ("browsing", "albumartlist", [], "Enter a value"),
    ("media", "mimetypelist", ["mkv=matroska"], "MIME type"),
    ("media", "mimetypelist", ["m,v=video/mp4"], "extension"),
]

# What two people do in the same section: the page of the program, the settings file at first, what somebody else saves,
# what the user changes, the field for which the user has to choose a value, the question, and the choice.
MIME_TYPES = ("media", "dma", 'cmzmimetype_mediaservice="yes"\n', {"cmzmimetype": "false"},
              {"mimetypelist": ["oga=audio/ogg"]}, "cmzmimetype", "Somebody else set this to off. Your value is on.")
CONFLICTS = [
    ("general", "general", "", {"ssdp_advr": "800"}, {"ssdp_advr": "900"}, "ssdp_advr",
     "Somebody else set this to 800. Your value is 900.", "Keep mine"),
    ("general", "general", "", {"templatetype": "music"}, {"templatetype": "own style"}, "templatetype",
     "Somebody else set this to Music. Your value is own style.", "Use theirs"),
    ("browsing", "browsing", "", {"musicdisplayinfo": "album"}, {"musicdisplayinfo": "artist"}, "musicdisplayinfo",
     "Somebody else set this to Album. Your value is Artist.", "Keep mine"),
    ("browsing", "browsing", 'cmzalbumart_mediaservice="yes"\n', {"albumartlist": "a.jpg;b.jpg"},
     {"albumartlist": ["c.jpg"]}, "albumartlist", "Somebody else set this to a.jpg; b.jpg. Your value is c.jpg.",
     "Use theirs"),
    (*MIME_TYPES, "Keep mine"),
    (*MIME_TYPES, "Use theirs"),
]

# Texts of others that would do harm if they were inserted as markup, and texts that need room or another direction.
HOSTILE = ['<img src=x onerror="document.title=1"><b>bold</b>', "'\"&amp;{name}%s\\", "🎄 Zoë 👩‍👩‍👧", "סלון של המשפחה",
           "long " * 100]


def luminance(colour):
    parts = [value / 255 for value in colour]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


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


class PageTest(unittest.TestCase):
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

    def test_a_field_shows_why_its_value_is_invalid(self):
        b = self.browser
        for section, field, value, error in INVALID_VALUES:
            with self.subTest(field=field, value=value):
                b.open(section)
                for switch in ("cmzalbumart", "cmzmimetype"):
                    if b.all(f"[data-field={switch}]"):
                        b.set(switch, True)
                before = b.requests()
                b.set(field, value)
                b.save("check")
                self.assertIn(error, b.text(f"[data-field={field}] .error"))
                self.assertEqual(b.run("return document.activeElement.closest('[data-field]').dataset.field"), field)
                self.assertEqual(b.requests(), before)

    def test_menu_templates(self):
        b, text = self.browser, "#menu-text"
        b.open("menu")
        b.type("#menu-name", "music" + Keys.ENTER)
        b.wait_text(".editor-head .help", "“music” as it is stored")
        for malformed, place in (("<a>\n  <b>\n</a>", "line 3, column 1"), ("<a", "line 1, column 1"),
                                 ("<a>&nbsp;</a>", "column 4")):
            b.type(text, malformed)
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

    def test_what_the_media_server_adds(self):
        b, folder = self.browser, BUILD / "demo/www"
        with_error = {"running_since": None, "audio": 0, "video": 0, "images": 0, "scanning": True, "clients": 0,
                      "last_error": {"time": 1, "text": HOSTILE[0]}}
        with moved_away(folder / "appliance.json", lambda path: path.symlink_to(SOURCE / "minidlna/appliance.json")):
            b.open("media")
            b.wait_text(".server-status", "Running since")
            since, *others = [part.text for part in b.all(".server-status > span")]
            self.assertRegex(since, r"^Running since .*20\d\d")
            counts = [part for part in others if "error" not in part]  # an earlier test may have caused one
            self.assertEqual(counts, ["3 audio files", "1 video", "6 pictures", "0 clients"])
            self.assertFalse(b.find("[data-field=flactranscoding] input").is_enabled())
            self.assertIn("converts nothing", b.text("[data-field=flactranscoding]"))
            Select(b.find("#language")).select_by_value("de")
            b.wait_text("h1", "Umwandlung")
            self.assertIn("wandelt nichts um", b.text("[data-field=flactranscoding] .reason"))
            since, *others = [part.text for part in b.all(".server-status > span")]
            self.assertRegex(since, r"^Läuft seit .*20\d\d")
            counts = [part for part in others if "Fehler" not in part]
            self.assertEqual(counts, ["3 Audiodateien", "1 Video", "6 Bilder", "0 Geräte"])
            b.run("localStorage.clear()")
            with moved_away(folder / "status.json", lambda path: path.write_text(json.dumps(with_error))):
                b.open("logs")
                b.wait_text(".server-status", HOSTILE[0])
                self.assertIn("Not running", b.text(".server-status"))
            with moved_away(folder / "status.json", lambda path: path.write_text("")):
                b.open("logs")
                self.assertFalse(b.find(".server-status").is_displayed())

    def test_xml_is_checked_as_another_parser_does(self):
        b, check = self.browser, """
            const [texts, done] = arguments;
            import('./xml.js').then(({ findXmlError }) => done(texts.map((text) => !findXmlError(text))));"""

        def is_well_formed(text):
            try:
                xml.parsers.expat.ParserCreate().Parse(text.encode(), True)
                return True
            except xml.parsers.expat.ExpatError:
                return False
        b.open("logs")
        texts = json.loads((SOURCE / "tests/cases/xml.json").read_text())
        for text, accepted in zip(texts, b.driver.execute_async_script(check, texts)):
            with self.subTest(text):
                self.assertEqual(accepted, is_well_formed(text))

    def test_clients(self):
        b = self.browser
        b.open("clients")

        b.type("input[type=search]", "radio")
        self.assertEqual(len(b.all("tbody tr")), 1)
        self.change_client(b, "Radio", profile="Generic")
        b.type("input[type=search]", "02:00:5e:10:00:01")
        self.change_client(b, "Living room", access=True)
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
        for member, first in (("ip", "192.0.2.21"), ("profileName", "Disc player")):
            b.click(b.find(f"[data-member={member}] button"))
            self.assertIn(first, b.text("tbody tr:first-child"))

        self.change_client(b, "Bedroom", access=True)
        b.button("Refresh")
        b.wait_text(".save-message", "Loading")
        b.wait(lambda: "Loading" not in b.text(".save-message"), "refreshed")
        self.assertTrue(b.can_save(), "a refresh loses no change")
        b.button("Delete")
        self.assertIn("12 clients are lost", b.text("dialog"))
        b.button("Delete", "dialog")
        b.wait_text(".save-message", "are deleted")
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
        b.button("Select all")
        b.type("input[type=search]", "favo")
        b.click(b.find("li:not([hidden]) .check"))
        b.save()
        (choice,) = json.loads((ETC / "exposed_collection.json").read_text()).values()
        self.assertEqual(len(choice["exposed_collections"]), 3)
        self.assertIn("-1", choice["exposed_collections"])
        b.open("collections")
        checked = [one.text for one in b.all(".collection:has(:checked)")]
        self.assertEqual(checked, ["Favourites", "Holiday 2019", "Holiday 2024"])

    def refused_saves(self):
        """Returns how many saves the program has refused because somebody else has changed the state meanwhile. The
        browser reports each, and nothing else."""
        messages = self.browser.console()
        self.assertEqual([message for message in messages if "status of 412" not in message], [])
        return len(messages)

    def settings(self):
        return SETTINGS.read_text().splitlines()

    def client(self, name):
        return next(client for client in self.client_list() if client["name"] == name)

    @staticmethod
    def client_row(browser, name):
        return browser.driver.find_element(By.XPATH, f"//tbody/tr[contains(., '{name}')]")

    def change_client(self, browser, name, profile=None, access=False):
        row = self.client_row(browser, name)
        if profile:
            Select(row.find_element(By.TAG_NAME, "select")).select_by_value(profile)
        if access:
            browser.click(row.find_element(By.TAG_NAME, "input"))

    def replace_client_list(self, change):
        """The daemon gets a list in which `change` has changed the clients."""
        clients = self.client_list()
        (ETC / "client_list.json").write_text(json.dumps({"ClientList": change(clients)}))
        self.signal_daemon("USR2")

    def other_saves_client(self, name, **changes):
        client = {"profileName": "", "isAccess": True} | self.client(name) | changes
        info = {member: client[member] for member in ("macAddr", "profileName", "isAccess")}
        self.assertTrue(self.box.call("saveClientList", modifiedInfo=json.dumps([info]))["success"])

    def test_two_people_keep_each_others_changes(self):
        mine, other = self.browser, Browser(self.box)
        self.addCleanup(other.end)
        for browser in (mine, other):
            browser.open("general")
        other.set("ssdp_advr", "700")
        other.save()
        mine.set("templatetype", "music")
        mine.save("made elsewhere")
        self.assertIn('advrexpire_mediaservice="700"', self.settings())
        self.assertIn('menustyle_mediaservice="music"', self.settings())
        self.assertEqual(mine.get("ssdp_advr"), "700")

        for browser in (mine, other):
            browser.open("clients")
        self.change_client(other, "Living room", access=True)
        other.save("at once")
        self.change_client(mine, "Living room", profile="Generic")
        mine.save("made elsewhere")
        living_room = self.client("Living room TV")
        self.assertEqual((living_room["isAccess"], living_room["profileName"]), (False, "Generic"))
        self.assertFalse(self.client_row(mine, "Living room").find_element(By.TAG_NAME, "input").is_selected())
        self.assertEqual(self.refused_saves(), 2)

    def test_changes_of_others_are_kept_in_every_settings_section(self):
        b = self.browser
        cases = [("general", "general", {"language": "ger"}, {"ssdp_advr": "900"},
                  ['language_mediaservice="ger"', 'advrexpire_mediaservice="900"']),
                 ("browsing", "browsing", {"enableradio": "true"}, {"musicdisplayinfo": "artist"},
                  ['suppradio_mediaservice="yes"', 'musicinfo_mediaservice="artist"']),
                 ("media", "dma", {"aactranscoding": "true"}, {"cmzmimetype": True, "mimetypelist": ["a=b/c"]},
                  ['aactranscoding_mediaservice="yes"', 'mimetype_mediaservice="a=b/c"'])]
        for section, page, theirs, mine, lines in cases:
            with self.subTest(section):
                b.open(section)
                for field, value in mine.items():
                    b.set(field, value)
                self.box.change_settings(page, **theirs)
                b.save("made elsewhere")
                self.assertLessEqual(set(lines), set(self.settings()))
                self.assertEqual(self.refused_saves(), 1)

    def test_the_same_change_of_two_people_is_no_conflict(self):
        b = self.browser
        b.open("logs")
        b.set("dmslog", not b.get("dmslog"))
        self.box.call("applylogconf", dmslog=str(b.get("dmslog")).lower())
        b.save()
        b.open("browsing")
        b.set("photo_sort_order", "desc")
        self.box.change_settings("browsing", photo_sort_order="desc")
        b.save()
        self.assertNotIn("elsewhere", b.text(".save-message"))
        b.open("menu")
        b.type("#menu-text", "<same/>")
        self.box.call("savemenu", template="simple", content="<same/>")
        b.save()
        self.assertEqual((b.all(".conflict"), self.refused_saves()), ([], 3))

    def test_the_user_chooses_if_both_changed_a_setting(self):
        b = self.browser
        for section, page, stored, theirs, mine, field, question, choice in CONFLICTS:
            with self.subTest(field=field, choice=choice):
                keeps_mine = choice == "Keep mine"
                SETTINGS.write_text(stored)
                b.open(section)
                for name, value in mine.items():
                    b.set(name, value)
                self.box.change_settings(page, **theirs)
                content = SETTINGS.read_bytes()
                b.save("Not saved yet")
                self.assertEqual((SETTINGS.read_bytes(), b.text(".conflict p")), (content, question))
                label = b.text(f"[data-field={field}] label")
                self.assertEqual((b.find(".conflict").aria_role, b.focused()), ("group", label))
                b.press(*[Keys.TAB] * (1 if keeps_mine else 2))
                self.assertEqual(b.focused(), f"{choice}: {label}")
                b.press(Keys.ENTER)
                self.assertEqual((b.all(".conflict"), b.focused(), b.can_save()), ([], "Save", keeps_mine))
                b.press(Keys.ENTER)
                if keeps_mine:
                    b.wait_text(".save-message", "Saved.")
                b.open(section)
                self.assertEqual({name: b.get(name) for name in mine} == mine, keeps_mine)
                self.assertEqual(SETTINGS.read_bytes() == content, not keeps_mine)
                self.assertEqual(self.refused_saves(), 1)

    def test_a_conflict_remains_until_it_is_solved(self):
        b = self.browser
        b.open("general")
        b.set("ssdp_advr", "900")
        b.set("templatetype", "full")
        self.box.change_settings("general", ssdp_advr="800", templatetype="music")
        b.save("Not saved yet")
        self.assertEqual(len(b.all(".conflict")), 2)
        before = b.requests()
        b.save("Please check")
        self.assertEqual((b.requests(), b.focused()), (before, "Menu style"))
        b.set("ssdp_advr", "901")
        self.assertIn("Your value is 901.", b.text("[data-field=ssdp_advr] .conflict"))
        b.set("ssdp_advr", "800")
        self.assertEqual(len(b.all(".conflict")), 1)
        Select(b.find("#language")).select_by_value("de")
        b.wait_text(".conflict", "Jemand anders hat hier Musik eingestellt. Ihr Wert ist Vollständig.")
        b.run("localStorage.clear()")
        self.addCleanup(b.devtools, "Emulation.clearDeviceMetricsOverride")
        b.set_size(360, 740)
        self.check_width()
        self.check_controls()
        b.button("Änderungen verwerfen")
        self.assertEqual((b.all(".conflict"), b.get("templatetype"), b.can_save()), ([], "music", False))
        self.assertEqual(self.refused_saves(), 1)

    def test_other_saves_are_no_conflict(self):
        b = self.browser
        cases = [("browsing", lambda: b.set("photo_sort_order", "desc"),
                  lambda: self.box.change_settings("general", ssdp_advr="800")),
                 ("clients", lambda: self.change_client(b, "Bedroom", access=True),
                  lambda: self.replace_client_list(lambda clients: [one | {"ip": "192.0.2.250"} for one in clients])),
                 ("menu", lambda: b.type("#menu-text", "<mine/>"),
                  lambda: self.box.call("savemenu", template="full", content="<theirs/>"))]
        for section, change, other in cases:
            with self.subTest(section):
                b.open(section)
                change()
                before = b.requests()
                other()
                b.save()
                self.assertEqual(b.requests(), before + 1)
        self.assertEqual({client["ip"] for client in self.client_list()}, {"192.0.2.250"})

    def test_clients_that_two_people_change(self):
        b = self.browser
        b.open("clients")
        self.change_client(b, "Living room", profile="Generic")
        self.change_client(b, "Bedroom", profile="Generic")
        self.other_saves_client("Living room TV", profileName="Loudspeaker")
        before = self.client_list()
        b.save("Not saved yet")
        self.assertEqual(self.client_list(), before)
        self.assertEqual(b.text(".conflict p"), "Profile of Living room TV "
                         "Somebody else set this to Loudspeaker. Your value is Generic.")
        self.assertEqual(b.focused(), "Profile of Living room TV")
        b.save("Please check")
        b.button("Keep mine: Profile of Living room TV")
        self.assertEqual((b.all(".conflict"), b.focused()), ([], "Save"))
        b.save("at once")
        for name in ("Living room TV", "Bedroom TV"):
            self.assertEqual(self.client(name)["profileName"], "Generic")

        self.change_client(b, "Living room", profile="Television")
        self.change_client(b, "Bedroom", access=True)
        self.other_saves_client("Living room TV", profileName="Loudspeaker")
        b.button("Refresh")
        b.wait(lambda: b.all(".conflict"), "a conflict")
        b.button("Use theirs: Profile of Living room TV")
        profile = Select(self.client_row(b, "Living room").find_element(By.TAG_NAME, "select"))
        self.assertEqual(profile.first_selected_option.text, "Loudspeaker")
        self.assertTrue(b.can_save(), "the other change remains")

        self.change_client(b, "Radio", profile="Generic")
        self.replace_client_list(lambda clients: [one for one in clients if "Radio" not in one["name"]])
        b.save("no longer in the list: Profile of Radio Küche.")
        self.assertFalse(self.client("Bedroom TV")["isAccess"])
        self.assertEqual(self.refused_saves(), 2)

    @staticmethod
    def run_sql(statement):
        subprocess.run(["psql", "-Xqh", (ROOT / "var/services/pgsql/home").resolve(), "-U", "postgres",
                        "-d", "video_metadata", "-c", statement], check=True)

    def add_collections(self, titles):
        rows = ", ".join(f"$q${title}$q$" for title in titles)
        self.run_sql(f"INSERT INTO collection (uid, title) SELECT {os.getuid()}, unnest(ARRAY[{rows}])")

    def collection_ids(self):
        (choice,) = json.loads((ETC / "exposed_collection.json").read_text()).values()
        return set(choice["exposed_collections"])

    def test_collections_that_two_people_change(self):
        b = self.browser

        def check(title):
            b.click(b.driver.find_element(By.XPATH, f"//li[contains(., '{title}')]//input"))
        self.add_collections(["Zebras"])
        listed = {one["title"]: one["id"] for one in self.box.call("loadCollection")["data"]["collections"]}
        first, second, third = [title for title in listed if not title.startswith("vexa")][:3]
        zebras = listed["Zebras"]
        self.box.call("saveCollection", exposed_collections=json.dumps(["-1", listed[first], zebras]))
        b.open("collections")
        check("Favourites")
        check(second)
        self.box.call("saveCollection", exposed_collections=json.dumps(["-1", listed[third], zebras]))
        self.run_sql("DELETE FROM collection WHERE title = 'Zebras'")
        b.save("made elsewhere")
        self.assertEqual(self.collection_ids(), {listed[second], listed[third], zebras}, "also what is not listed")
        checked = {one.text for one in b.all(".collection:has(:checked)")}
        self.assertEqual(checked, {second, third})

        check(first)
        self.box.call("saveCollection", exposed_collections=json.dumps(["-2"]))
        before = self.collection_ids()
        with moved_away((ROOT / "var/services/pgsql/home").resolve() / ".s.PGSQL.5432"):
            b.find(".save-bar .primary").click()
            b.wait_text("[role=alert]", "the video library does not answer")
        self.assertEqual(self.collection_ids(), before)
        b.save("made elsewhere")
        self.assertEqual(self.collection_ids(), {listed[first], "-2", zebras})
        self.assertEqual(self.refused_saves(), 3)

    def test_menu_templates_that_two_people_change(self):
        b, text, file = self.browser, "#menu-text", ETC / "menu_simple.xml"
        b.open("menu")
        b.type(text, "<mine/>")
        self.box.call("savemenu", template="simple", content="<theirs/>")
        b.save("Not saved yet")
        self.assertEqual(file.read_text(), "<theirs/>")
        self.assertIn("Somebody else has changed “simple”", b.text(".conflict"))
        self.assertEqual(b.find(".conflict textarea").get_attribute("value"), "<theirs/>")
        self.assertEqual((b.find(text).get_attribute("value"), b.focused()), ("<mine/>", "Contents"))
        b.button("Keep mine: Contents")
        b.save()
        self.assertEqual((file.read_text(), b.all(".conflict")), ("<mine/>", []))

        b.type("#menu-name", "new" + Keys.ENTER)
        b.wait_text(".editor-head .help", "is a new template")
        b.type(text, "<mine/>")
        self.box.call("savemenu", template="new", content="<theirs/>")
        b.save("Not saved yet")
        b.button("Use theirs: Contents")
        self.assertEqual((b.find(text).get_attribute("value"), b.can_save()), ("<theirs/>", False))
        self.assertEqual((ETC / "menu_new.xml").read_text(), "<theirs/>")
        self.assertEqual(self.refused_saves(), 1)

    def test_a_save_that_others_overtake_gives_up(self):
        b, program = self.browser, BUILD / "mediaserv"
        b.open("general")
        b.set("ssdp_advr", "900")
        before = b.requests()
        overtaking = script(f"""body=$(cat)
            case $body in *action=save*) echo "language_mediaservice=\\"x$$\\"" >'{SETTINGS}' ;; esac
            printf %s "$body" | '{program}.aside'""")
        with moved_away(program, overtaking):
            b.find(".save-bar .primary").click()
            b.wait_text("[role=alert]", "Others keep saving")
        self.assertIn("Not saved", b.text(".save-message"))
        self.assertEqual(b.requests(), before + 5, "three saves, two loads")
        self.assertNotIn('advrexpire_mediaservice="900"', self.settings())
        self.assertEqual(b.get("ssdp_advr"), "900")
        b.save()
        self.assertIn('advrexpire_mediaservice="900"', self.settings())
        self.assertEqual(self.refused_saves(), 4)

    def test_a_lost_answer_is_no_conflict_with_oneself(self):
        b, program = self.browser, BUILD / "mediaserv"
        cases = [("general", lambda: b.set("ssdp_advr", "0900"), SETTINGS),
                 ("clients", lambda: self.change_client(b, "Bedroom", profile="Generic"), ETC / "client_list.json"),
                 ("collections", lambda: b.click(b.find(".check")), ETC / "exposed_collection.json"),
                 ("menu", lambda: b.type("#menu-text", "<mine/>"), ETC / "menu_simple.xml")]
        silent = script(f"""body=$(cat)
            answer=$(printf %s "$body" | '{program}.aside')
            case $body in *action=save*) ;; *) echo "$answer" ;; esac""")
        for section, change, file in cases:
            with self.subTest(section):
                b.open(section)
                before = file.read_bytes() if file.exists() else b""
                change()
                with moved_away(program, silent):
                    b.find(".save-bar .primary").click()
                    b.wait_text("[role=alert]", "unexpected answer")
                stored = file.read_bytes()
                self.assertNotEqual(stored, before)
                self.assertTrue(b.can_save())
                b.save()
                self.assertEqual((b.all(".conflict"), file.read_bytes()), ([], stored))
                self.assertNotIn("elsewhere", b.text(".save-message"))
                reported = b.console()
                self.assertEqual([re.search(r"status of (\d+)", one)[1] for one in reported], ["500", "412"])

    def test_a_section_loads_again_when_it_is_shown_again(self):
        b = self.browser

        def show(section):
            b.run("performance.clearMarks()")
            b.click(b.find(f"nav [href='#{section}']"))
            b.wait_shown(section)
        b.open("clients")
        for section in ("menu", "general"):
            show(section)
        self.other_saves_client("Living room TV", profileName="Loudspeaker")
        self.box.change_settings("general", ssdp_advr="800")
        show("clients")
        profile = Select(self.client_row(b, "Living room").find_element(By.TAG_NAME, "select"))
        self.assertEqual(profile.first_selected_option.text, "Loudspeaker")
        show("general")
        self.assertEqual(b.get("ssdp_advr"), "800")

    def test_merge(self):
        """The merge of base, mine and theirs: the merged state, the conflicts, and what only somebody else changed."""
        cases = [
            ({"a": 1, "b": 1}, {"a": 1, "b": 1}, {"a": 1, "b": 1}, [], {"a": 1, "b": 1}, [], []),
            ({"a": 1, "b": 1}, {"a": 2, "b": 1}, {"a": 1, "b": 1}, [], {"a": 2, "b": 1}, [], []),
            ({"a": 1, "b": 1}, {"a": 2, "b": 1}, {"a": 1, "b": 3}, [], {"a": 2, "b": 3}, [], ["b"]),
            ({"a": 1}, {"a": 2}, {"a": 3}, [], {"a": 2}, ["a"], []),
            ({"a": 1}, {"a": 2}, {"a": 2}, [], {"a": 2}, [], []),
            ({"a": "1"}, {"a": "1"}, {"a": 1}, [], {"a": 1}, [], ["a"]),
            ({"a": ""}, {"a": "x"}, {"a": ""}, [], {"a": "x"}, [], []),
            # The user's change needs `a` as it is.
            ({"a": True, "b": 1}, {"a": True, "b": 2}, {"a": False, "b": 1}, ["a"], {"a": True, "b": 2}, ["a"], []),
            ({"a": True, "b": 1}, {"a": True, "b": 2}, {"a": True, "b": 1}, ["a"], {"a": True, "b": 2}, [], []),
            # A name that only one of the two has, also one of Object.prototype.
            ({"a": 1, "b": 1}, {"a": 2, "b": 1}, {}, [], {"a": 2, "b": 1}, [], []),
            ({}, {}, {"a": 1}, [], {"a": 1}, [], []),
            ({"toString": 1}, {"toString": 1}, {}, [], {"toString": 1}, [], []),
            ({}, {}, {}, [], {}, [], []),
        ]
        run = """
            const [cases, done] = arguments;
            import('./merge.js').then(({ merge }) => done(cases.map((states) => merge(...states))));"""
        self.browser.open("logs")
        results = self.browser.driver.execute_async_script(run, [case[:4] for case in cases])
        for case, result in zip(cases, results):
            with self.subTest(str(case)):
                self.assertEqual((result["merged"], result["conflicts"], result["adopted"]), case[4:])

    def test_settings_are_as_documented(self):
        """The rows of each settings section and the document describe the same settings."""
        read_rows = """
            const [files, done] = arguments;
            const describe = ({ kind, ...row }) => [row.field, {
                isSwitch: kind.name === 'toggle',
                limit: row.limit ?? null,
                defaultValue: row.defaultValue ?? null,
                failureNumbers: row.failureNumbers,
                needs: row.reload ? 'reload' : 'restart',
                enabledBy: row.enabledBy ?? null,
            }];
            Promise.all(files.map((file) => import(`./${file}.js`))).then((modules) => done(Object.fromEntries(
                modules.flatMap((one) => Object.values(one)).map(({ save, restartFailureNumber, rows }) =>
                    [save, [restartFailureNumber, Object.fromEntries(rows.map(describe))]]))));"""
        self.browser.open("logs")
        shown = self.browser.driver.execute_async_script(
            read_rows, ["general", "browsing", "media_adapter", "logs"])
        shown["save_browsing_page"][1]["integrateKinovo"]["failureNumbers"].remove(599)  # a step of its own
        documented = {action: self.documented_settings(action) for action in shown}
        for action, (restart, fields) in shown.items():
            documented_restart, documented_fields = documented[action]
            self.assertEqual(sorted(fields.keys() ^ documented_fields.keys()), [], f"{action}: missing on one side")
            self.assertEqual(restart, documented_restart, action)
            for field, row in fields.items():
                with self.subTest(field):
                    self.assertEqual(row, documented_fields[field])

    @staticmethod
    def documented_settings(action):
        """Returns the failure number of a failed restart and the settings that docs/api.md describes for a save."""
        sections = (SOURCE / "docs/api.md").read_text().split("\n### ")
        (section,) = [one for one in sections if action in one.splitlines()[0]]
        lines = [[cell.strip(" `") for cell in line.strip("|").split("|")]
                 for line in section.splitlines() if line.startswith("|")]
        if action == "applylogconf":
            numbers = [int(line[0]) for line in lines if line[0].isdecimal()]
            restart = numbers.pop()
            return restart, {"dmslog": {"isSwitch": True, "limit": None, "defaultValue": None, "enabledBy": None,
                                        "failureNumbers": numbers, "needs": "restart"}}
        head = next(line for line in lines if "Failure numbers" in line)
        rows = [dict(zip(head, line)) for line in lines if len(line) == len(head) and line[1] in ("text", "switch")]
        restart = int(re.search(r"Failure number of a failed restart: (\d+)", section)[1])
        return restart, {row["Field"]: {
            "isSwitch": row["Kind"] == "switch",
            "limit": int(row["Limit"]) if row["Limit"] else None,
            "defaultValue": row["Default"] or None,
            "failureNumbers": [int(number) for number in row["Failure numbers"].split(",")],
            "needs": row["A change needs"],
            "enabledBy": row["Enabled by"] or None,
        } for row in rows}

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

    def failures(self):
        """For each failure: its cause, the message, and whether the browser's console may report it."""
        program, control = BUILD / "mediaserv", TARGET / "scripts/S86vexadms.sh"

        return [
            (self.browser.offline(), "did not answer", True),
            # Without a challenge: with one the browser would ask for the password first, where no test can answer.
            (moved_away(program, answering("Status: 401")), "no longer signed in", True),
            (moved_away(program, answering("Status: 200")), "unexpected answer (status 200)", True),
            (moved_away(program, answering("Status: 413")), "unexpected answer (status 413)", True),
            # The page then shows the default values. The next save is refused, since the file is back.
            (moved_away(SETTINGS, lambda path: path.mkdir()), "“Show tracks by” could not be saved (error 546)", True),
            (moved_away(control, script("exit 1")), "could not be restarted (error 647)", False),
            (moved_away(program, answering("Status: 412")), "unexpected answer (status 412)", True),
        ]

    def test_failures_are_told_apart_and_lose_nothing(self):
        b = self.browser
        for failure, message, may_report in self.failures():
            with self.subTest(message):
                b.open("browsing")
                wanted = "date" if b.get("photo_sort_by") == "filename" else "filename"
                b.set("photo_sort_by", wanted)
                with failure:
                    b.find(".save-bar .primary").click()
                    b.wait_text("[role=alert]", message)
                    self.assertEqual(b.get("photo_sort_by"), wanted)
                    self.assertIn("Not saved", b.text(".save-message"))
                if b.can_save():
                    b.save()
                self.assertIn(f'photo_sort_by_mediaservice="{wanted}"', SETTINGS.read_text())
                reported = b.console()  # which also empties it
                self.assertTrue(may_report or not reported, reported)

    def test_one_request_for_two_clicks(self):
        b = self.browser
        b.open("general")
        b.set("ssdp_advr", "1801")
        before = b.requests()
        b.run("const save = document.querySelector('.save-bar .primary'); save.click(); save.click();")
        b.wait_text(".save-message", "restarts to apply: Expiry of announcements")
        b.wait_text(".save-message", "has restarted")
        b.run("document.querySelector('.save-bar .primary').click()")
        self.assertEqual(b.requests(), before + 1)

    def test_the_page_asks_before_changes_are_lost(self):
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
            b.button("Cancel", "dialog")
            b.wait(lambda: address() == "logs" and not b.all("dialog"), "the address is back")
            self.assertEqual(b.get("dmslog"), changed)
        b.driver.back()
        b.wait(lambda: b.all("dialog"), "a question")
        b.button("Discard changes", "dialog")
        b.wait(lambda: address() == "general" and b.all("[data-field=language]"), "left")

    def test_texts_of_others_are_shown_as_text(self):
        b = self.browser
        members = ("name", "macAddr", "ip", "profileName")
        clients = [dict.fromkeys(members, text) | {"isAccess": True} for text in HOSTILE]
        (ETC / "client_list.json").write_text(json.dumps({"ClientList": clients}))
        self.signal_daemon("USR2")
        self.add_collections(HOSTILE)
        texts = TARGET / "app/texts/enu/strings.json"
        texts.write_text(json.dumps({"customize": dict(zip("abcde", HOSTILE))}))
        SETTINGS.write_text("".join(f'{key}_mediaservice="{text[:7]}"\n' for key, text in
                                    zip(("musicinfo", "photo_sort_by", "menustyle", "network"), HOSTILE)))
        self.signal_daemon("HUP")
        b.wait(lambda: not (ROOT / "var/run/dms.ip").exists(), "no address")
        for section, where in (("clients", ".client-name"), ("collections", ".collection"), ("general", ".preview li")):
            b.open(section)
            if section == "general":
                Select(b.find("[data-field=language] select")).select_by_value("enu")
                b.click(b.find(".preview summary"))
                b.wait(lambda: b.all(where), "the texts")
                self.assertEqual(b.get("templatetype"), HOSTILE[2][:7])
                self.assertIn(f"{HOSTILE[3][:7]} (not present)", b.text("[data-field=dmsInterface] option"))
            shown = b.run("return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", where)
            self.assertLessEqual(set(HOSTILE), set(shown), section)
            self.assertEqual(b.all("main b, main img, main script"), [])
            self.assertNotEqual(b.driver.title, "1")
        b.open("browsing")
        self.assertEqual((b.get("musicdisplayinfo"), b.get("photo_sort_by")), (HOSTILE[0][:7], HOSTILE[1][:7]))

    def signal_daemon(self, name):
        subprocess.run(["kill", f"-{name}", (ROOT / "var/run/dms.pid").read_text().strip()], check=True)

    def test_ten_thousand_clients(self):
        b = self.browser
        clients = [{"name": f"Client {n}", "macAddr": f"02:00:00:00:{n // 256:02X}:{n % 256:02X}",
                    "profileName": "Generic", "ip": f"10.0.{n // 256}.{n % 256}", "isAccess": True}
                   for n in range(10000)]
        (ETC / "client_list.json").write_text(json.dumps({"ClientList": clients}))
        self.signal_daemon("USR2")
        b.open("clients")
        self.assertIn("10,000 of 10,000", b.text(".count"))
        self.assertEqual(len(b.all("tbody tr")), 25)
        for _ in range(3):
            b.button("Next page")
        self.assertIn("Client 75", b.text("tbody tr:first-child"))
        times = b.run("""
            const search = document.querySelector('input[type=search]');
            return ['c', 'cl', 'cli', 'clie', 'clien', 'client'].map((words) => {
                const start = performance.now();
                search.value = words;
                search.dispatchEvent(new Event('input', { bubbles: true }));
                document.body.getBoundingClientRect();
                return performance.now() - start;
            });""")
        self.assertLess(min(times), 50, times)

    def test_every_section_in_every_language_and_width(self):
        b = self.browser
        for language in LANGUAGES:
            for section in SECTIONS:
                with self.subTest(language=language, section=section):
                    b.run("localStorage.setItem('mediaserv.language', arguments[0])", language)
                    b.set_size(360, 740)
                    b.open(section)
                    self.check_width()
                    self.assertEqual(b.run("return document.documentElement.lang"), language)
                    if language == "en":
                        self.check_controls()
        b.devtools("Emulation.clearDeviceMetricsOverride")
        b.run("localStorage.clear()")

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

    def test_another_language_changes_nothing_that_was_typed(self):
        b = self.browser
        b.open("general")
        b.set("ssdp_advr", "1234")
        for language, title in (("de", "Allgemein"), ("ja", "全般"), ("en", "General")):
            Select(b.find("#language")).select_by_value(language)
            b.wait_text("h1", title)
            self.assertIn(title, b.driver.title)
            self.assertEqual(b.get("ssdp_advr"), "1234")
        with b.offline():
            Select(b.find("#language")).select_by_value("de")
            b.wait_text("[role=alert]", "did not answer")
        self.assertEqual((b.text("h1"), b.find("#language").get_attribute("value")), ("General", "en"))
        self.assertEqual(b.get("ssdp_advr"), "1234")
        b.console()  # contains the failed request
        b.run("localStorage.clear()")

    def test_appliance_json_and_what_the_program_supports(self):
        b, file = self.browser, BUILD / "demo/www/appliance.json"
        complete = {
            "name": "Böx",
            "languages": [{"code": "fre", "name": "Français"}, 7],
            "unsupported": {
                "enableradio": {"en": "No <i>radio</i> here.", "de": "Kein Radio."},
                "photo_sort_by": "Sorted by name.",
                "sendthumb": "no_pictures",
            },
            "reasons": {"no_pictures": {"en": "No pictures here.", "de": "Keine Bilder."}},
        }
        reasons = {"enableradio": "No <i>radio</i> here.", "photo_sort_by": "Sorted by name.",
                   "sendthumb": "No pictures here."}
        cases = [(json.dumps(complete), "Böx", {"fre", "enu"}, reasons),
                 ('{"languages": 1, "menu_styles": {}, "unsupported": 7, "reasons": []}', "", {"enu"}, {}),
                 ("[", "", {"enu"}, {})]
        for content, name, languages, shown_reasons in cases:
            with moved_away(file, lambda path: path.write_text(content)):
                SETTINGS.write_text('language_mediaservice="enu"\n')
                b.open("general")
                self.assertEqual(b.text("#appliance"), name)
                options = Select(b.find("[data-field=language] select")).options
                self.assertEqual({option.get_attribute("value") for option in options} - {"Other …"}, languages)
                b.open("browsing")
                for field in reasons:
                    control = b.find(f"[data-field={field}] :is(input, select)")
                    self.assertEqual(control.is_enabled(), field not in shown_reasons)
                    self.assertEqual(b.text(f"[data-field={field}] .reason"), shown_reasons.get(field, ""))
        with moved_away(ROOT / "var/packages/Kinovo/enabled"):
            b.open("browsing")
            self.assertFalse(b.find("[data-field=integrateKinovo] input").is_enabled())
            self.assertIn("not enabled", b.text("[data-field=integrateKinovo] .reason"))
        b.open("media")
        self.assertEqual(b.all("[data-field=videotranscoding], [data-field=videoextlist]"), [])
        program = BUILD / "mediaserv"
        with_video = script(f"{program}.aside | sed 's/\\(support_video_transcoding\":\\)false/\\1true/'")
        with moved_away(program, with_video):
            b.open("media")
            b.set("videotranscoding", True)
            b.set("videoextlist", ["rm", "vob"])
            b.save()
        self.assertIn('vte_fileext_mediaservice="rm;vob"', SETTINGS.read_text())

    def test_names_that_ship_are_translated_and_stored_as_they_are(self):
        b = self.browser
        clients = [{"name": f"Client {n}", "macAddr": f"02:00:00:00:00:0{n}", "profileName": profile, "isAccess": True}
                   for n, profile in enumerate(("Loudspeaker", "Own.profile"))]
        (ETC / "client_list.json").write_text(json.dumps({"ClientList": clients}))
        self.signal_daemon("USR2")
        b.run("localStorage.setItem('mediaserv.language', 'de')")
        b.open("clients")
        shown = [Select(select).first_selected_option.text for select in b.all("tbody select")]
        self.assertEqual(shown, ["Lautsprecher", "Own.profile"])
        b.type("input[type=search]", "lautspr")
        self.assertEqual(b.text(".count"), "1 von 2 Geräten")
        Select(b.find("tbody select")).select_by_visible_text("Fernseher")
        b.save("Gespeichert.")
        self.assertEqual([client["profileName"] for client in self.client_list()], ["Television", "Own.profile"])

        SETTINGS.write_text('menustyle_mediaservice="own style"\n')
        b.open("general")
        style = Select(b.find("[data-field=templatetype] select"))
        self.assertEqual(style.first_selected_option.text, "own style")
        style.select_by_visible_text("Vollständig")
        b.save("Gespeichert.")
        self.assertIn('menustyle_mediaservice="full"', SETTINGS.read_text())
        b.run("localStorage.clear()")

    def test_texts(self):
        """Each text is used and has the same values in each language, and the plural forms of its language."""
        (agent,) = (SOURCE / "appliance").rglob("agent.conf")
        used = {f"profiles.{name}" for name in re.findall(r'"profileName" : "([^"]+)"', agent.read_text())}
        for appliance in (WEB / "appliance.json", SOURCE / "minidlna/appliance.json"):
            used |= {f"menu_styles.{name}" for name in json.loads(appliance.read_text())["menu_styles"]}
        used |= {f"menu_styles.{path.stem[5:]}" for path in (SOURCE / "appliance/etc").glob("menu_*.xml")}
        texts = {language: self.load_texts(language) for language in LANGUAGES}
        self.assertEqual(texts["de"].keys(), texts["en"].keys())
        self.assertEqual(texts["ja"].keys(), texts["en"].keys())
        sections = "|".join({key.partition(".")[0] for key in texts["en"]})
        for source in (*WEB.glob("*.js"), WEB / "index.html", SOURCE / "minidlna/page/status.js"):
            code = source.read_text()
            used |= set(re.findall(rf"[\"'`]((?:{sections})\.(?!js|css)\w+)[\"'`]", code))
            if section := re.search(r"\bname: '(\w+)',\s+(?:load|open)", code):
                names = ["title", "intro", *re.findall(r"\bfield: '(\w+)'", code)]
                used |= {f"{section[1]}.{name}" for name in names}
        used |= {f"{key}_help" for key in used} & texts["en"].keys()
        self.assertEqual(used, set(texts["en"]))
        for key, english in texts["en"].items():
            for language in LANGUAGES:
                text = texts[language][key]
                with self.subTest(key=key, language=language):
                    self.assertEqual(isinstance(text, dict), isinstance(english, dict))
                    if isinstance(text, dict):
                        self.assertEqual(text.keys(), PLURAL_FORMS[language])
                    for form in self.forms(text):
                        self.assertEqual(set(re.findall(r"\{(\w+)\}", form)),
                                         set(re.findall(r"\{(\w+)\}", self.forms(english)[0])))

    def load_texts(self, language):
        files = WEB / f"texts/{language}.json", SOURCE / f"minidlna/page/status_texts.{language}.json"
        return {f"{section}.{name}": text for file in files
                for section, texts in json.loads(file.read_text()).items() for name, text in texts.items()}

    @staticmethod
    def forms(text):
        return list(text.values()) if isinstance(text, dict) else [text]

    def test_plural_forms(self):
        count = """
            const [count, done] = arguments;
            import('./texts.js').then(({ textOf }) => done(textOf(['clients.count', { found: 0, count }])));"""
        self.browser.open("logs")
        for number, text in ((0, "0 of 0 clients"), (1, "0 of 1 client"), (1234, "0 of 1,234 clients")):
            self.assertEqual(self.browser.driver.execute_async_script(count, number), text)

    def test_contrast_and_motion(self):
        b = self.browser
        pairs = [("text", "ground", 4.5), ("text", "card", 4.5), ("muted", "ground", 4.5), ("muted", "card", 4.5),
                 ("muted", "line", 4.5), ("accent", "card", 4.5), ("on-accent", "accent", 4.5),
                 ("accent-strong", "accent-soft", 4.5), ("bad", "card", 4.5), ("text", "bad-soft", 4.5),
                 ("edge", "card", 3), ("edge", "ground", 3)]
        for scheme in ("light", "dark"):
            b.devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme},
                                                               {"name": "prefers-reduced-motion", "value": "reduce"}])
            b.open("logs")
            duration = "return getComputedStyle(document.querySelector('.switch')).transitionDuration"
            self.assertEqual(b.run(duration), "0s")
            colours = b.run("""
                const names = arguments[0].flat().filter((name) => typeof name === 'string');
                return Object.fromEntries(names.map((name) => {
                    document.body.style.color = `var(--${name})`;
                    return [name, getComputedStyle(document.body).color.match(/\\d+/g).map(Number)];
                }));""", pairs)
            for colour, ground, minimum in pairs:
                light, dark = sorted((luminance(colours[colour]), luminance(colours[ground])), reverse=True)
                self.assertGreaterEqual((light + 0.05) / (dark + 0.05), minimum, (scheme, colour, ground))
        b.devtools("Emulation.setEmulatedMedia", features=[])

    def test_the_page_opens_quickly(self):
        times = []
        for _ in range(3):
            self.browser.open("general")
            times.append(self.browser.run("""
                return performance.getEntriesByName('section general')[0].startTime
                    - performance.getEntriesByType('navigation')[0].loadEventEnd"""))
        self.assertLess(min(times), 300, times)

    def test_what_the_web_server_allows(self):
        for method, path, status in (("GET", "", 200), ("HEAD", "app.js", 200), ("GET", "texts/ja.json", 200),
                                     ("POST", "", 403), ("PUT", "app.js", 403), ("GET", "cgi-bin/mediaserv", 403),
                                     ("GET", "demo", 404)):
            with self.subTest(method=method, path=path):
                self.assertEqual(self.box.request(method, path)[0], status)
                self.assertIn(self.box.request(method, path, login=False)[0], (401, 403) if status == 403 else (401,))
        headers = self.box.request("GET", "index.html")[1]
        self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
        self.assertEqual((headers["X-Content-Type-Options"], headers["Referrer-Policy"]), ("nosniff", "no-referrer"))
        unchanged = {"If-None-Match": headers["ETag"]}
        self.assertEqual(self.box.request("GET", "index.html", headers=unchanged.items())[0], 304)

    def test_a_first_visit_transfers_little(self):
        """The compressed size of all files that the browser loads, those of the media server included."""
        b, folder = self.browser, BUILD / "demo/www"
        with moved_away(folder / "appliance.json", lambda path: path.symlink_to(SOURCE / "minidlna/appliance.json")):
            for language in LANGUAGES:
                b.run("localStorage.setItem('mediaserv.language', arguments[0])", language)
                b.open("general")
                b.wait(lambda: b.all(".server-status > span"), "the status of the media server")
                urls = b.run("return performance.getEntriesByType('resource').map(({ name }) => name)")
                paths = {url.removeprefix(self.box.page) for url in urls if not url.endswith("cgi-bin/mediaserv")}
                self.assertLessEqual({"app.js", "style.css", "status.js", f"texts/{language}.json"}, paths)
                size = sum(len(gzip.compress((folder / path).read_bytes(), 9)) for path in paths | {"index.html"})
                self.assertLessEqual(size, FIRST_VISIT_LIMIT, language)
        b.run("localStorage.clear()")


if __name__ == "__main__":
    unittest.main(verbosity=2)
