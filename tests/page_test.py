#!/usr/bin/python3
"""The administration page in a real browser, in front of the whole appliance: page_test.py BUILD-FOLDER"""
import json
import re
import subprocess
import tarfile
import unittest
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


def failing_script(path):
    path.write_text("#!/bin/sh\nexit 1\n")
    path.chmod(0o755)


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


if __name__ == "__main__":
    unittest.main(verbosity=2)
