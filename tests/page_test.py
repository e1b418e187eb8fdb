#!/usr/bin/python3
"""The administration page in a real browser, in front of the whole appliance: page_test.py BUILD-FOLDER"""
import unittest

from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select

from page_box import PACKAGE, Box, Browser

SETTINGS = PACKAGE / "etc/dmsinfo.conf"


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.box = Box()
        cls.browser = Browser()
        cls.browser.driver.get(cls.box.page.replace("://", f"://{cls.box.login}@"))

    @classmethod
    def tearDownClass(cls):
        cls.browser.end()
        cls.box.end()

    def test_saves_a_setting(self):
        field = self.browser.wait_for("[data-field=language] select")
        Select(field).select_by_value("ger")
        self.browser.find(".save-bar .primary").click()
        self.browser.wait(lambda: "restarted" in self.browser.find(".save-message").text, "saved")
        self.assertIn('language_mediaservice="ger"', SETTINGS.read_text())


if __name__ == "__main__":
    unittest.main(verbosity=2)
