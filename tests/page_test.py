#!/usr/bin/python3
"""Tests of the administration page, in a real browser in front of the whole appliance: page_test.py BUILD-FOLDER"""
import gzip
import json
import re
import tarfile
import unittest
import xml.parsers.expat

from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from page_box import BUILD, ETC, ROOT, SETTINGS, SOURCE, TARGET, PageTestCase, answering, moved_away, script

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

# Texts of others that would do harm if they were inserted as markup, and texts that need room or another direction.
HOSTILE = ['<img src=x onerror="document.title=1"><b>bold</b>', "'\"&amp;{name}%s\\", "🎄 Zoë 👩‍👩‍👧", "סלון של המשפחה",
           "long " * 100]


def luminance(colour):
    parts = [value / 255 for value in colour]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


class PageTest(PageTestCase):
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
                b.wait(lambda: b.all(".server-status"), "the module of the state")
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
