#!/usr/bin/python3
"""Tests of what two people do on the administration page at the same time: page_merge_test.py BUILD-FOLDER"""
import json
import re
import unittest

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from page_box import BUILD, ETC, ROOT, SETTINGS, Browser, PageTestCase, moved_away, script

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


class PageMergeTest(PageTestCase):
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
