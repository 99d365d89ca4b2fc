#!/usr/bin/python3
"""The page of `ovicam view` in a browser: what a person turns changes the picture, and the page is whole in every shape.

view_page_test.py --tool ovicam [unittest arguments]"""

import argparse
import re
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from urllib.request import urlopen

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

ROOT = Path(__file__).resolve().parent.parent
PATIENCE_SECONDS = 120
ARGUMENTS = None

FIND_OVERFLOW = """
const found = [];
const width = document.documentElement.clientWidth;
if (document.documentElement.scrollWidth > width) found.push(`the page is ${document.documentElement.scrollWidth} wide`);
// Where picture and panel stand side by side, the panel alone is longer than the window.
const page = document.documentElement;
if (width > 1000 && page.scrollHeight > page.clientHeight) found.push(`the page is ${page.scrollHeight} high`);
for (const element of document.body.querySelectorAll('*')) {
  if (element.tagName === 'OPTION' || element.closest('[hidden], .hidden')) continue;
  const box = element.getBoundingClientRect();
  if (box.width > 1 && (box.left < -0.5 || box.right > width + 0.5)) found.push(`${element.tagName} #${element.id} leaves the page`);
}
return found;
"""
# Everything that takes the keyboard, and whether it has a name for those who cannot see its label.
FIND_NAMELESS = """
return [...document.querySelectorAll('input, select, button, textarea, img[tabindex]')]
  .filter((element) => !(element.ariaLabel || element.alt || element.labels?.length || element.textContent.trim()))
  .map((element) => element.outerHTML);
"""


class ViewPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        options = webdriver.ChromeOptions()
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        options.add_experimental_option("prefs", {"download.default_directory": cls.folder.name})
        for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync"):
            options.add_argument(flag)
        options.add_argument(f"--user-data-dir={cls.folder.name}/profile")
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.folder.cleanup()

    def open_view(self, *arguments, width=1280, height=800, dark=False):
        command = [ARGUMENTS.tool, "view", "--no-browser", *arguments]
        self.tool = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=ROOT)
        self.addCleanup(self.end_view)
        self.address = self.tool.stdout.readline().strip()
        self.assertRegex(self.address, r"^http://127\.0\.0\.1:\d+/[0-9a-f]{32}/$")
        self.shape(width, height, dark)
        # What the tool of the test before has left is not about this one.
        self.browser.get("about:blank")
        self.browser.get_log("browser")
        self.browser.get(self.address)
        self.wait(lambda: self.picture()["refined"], "the first picture is refined")

    def end_view(self):
        if self.tool.poll() is None:
            self.tool.send_signal(signal.SIGINT)
        self.tool.communicate()

    def shape(self, width, height, dark):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                     {"features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})

    def wait(self, condition, what):
        WebDriverWait(self.browser, PATIENCE_SECONDS, 0.05).until(lambda _: condition(), what)

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def picture(self):
        data = self.browser.execute_script("return {...document.getElementById('picture').dataset}")
        return {"change": int(data.get("change", 0)), "refined": data.get("refined") == "yes"}

    def shown_bytes(self):
        """Of the picture on the page, which is refined."""
        with urlopen(self.address + "picture.png") as answer:
            self.assertEqual(answer.headers["Picture-Refined"], "yes")
            return answer.read()

    def after_change(self, act):
        before = self.picture()["change"]
        act()
        self.wait(lambda: self.picture()["change"] > before and self.picture()["refined"], "a refined picture of the change")
        return self.shown_bytes()

    def replace(self, selector, text):
        field = self.find(selector)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text, Keys.ENTER)

    def no_complaints(self):
        self.assertEqual([entry for entry in self.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")], [])

    def test_what_is_turned_changes_the_picture(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "2")
        first = self.shown_bytes()
        field = '[aria-label="Horizontal FOV angle, °"]'
        second = self.after_change(lambda: self.replace(field, "90"))
        self.assertNotEqual(first, second)
        self.assertIn("'Horizontal FOV angle=90'", self.find("#command").get_attribute("value"))
        slider = self.find('[aria-label="Horizontal FOV angle, slider"]')
        third = self.after_change(lambda: slider.send_keys(Keys.ARROW_RIGHT))
        self.assertNotEqual(second, third)
        self.assertNotEqual(self.find(field).get_attribute("value"), "90")
        fourth = self.after_change(lambda: self.replace("#time", "60"))
        self.assertNotEqual(third, fourth)
        fifth = self.after_change(lambda: self.replace("#width", "80"))
        self.assertEqual(int.from_bytes(fifth[16:20], "big"), 80)
        sixth = self.after_change(lambda: Select(self.find("#camera")).select_by_visible_text("Plain"))
        self.assertNotEqual(fifth, sixth)
        self.assertIn("no panel", self.find("#panel").text)
        self.after_change(lambda: Select(self.find("#server")).select_by_visible_text("Quorin Fisheye Camera"))
        self.assertIn("Quorin Fisheye Camera", self.find("#panel").text)
        drawn = self.after_change(lambda: self.find("#gizmo").click())
        self.assertNotEqual(drawn, sixth)
        self.no_complaints()

    def test_a_wrong_value_is_told_and_the_old_one_comes_back(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "32x18", "--samples", "1")
        self.browser.execute_script("send({settings: [['Horizontal FOV angle', 'wide']]})")
        self.wait(lambda: self.find("#trouble").is_displayed(), "a sentence")
        self.assertIn("is not a number", self.find("#trouble").text)

    def test_play_goes_on_until_paused(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "32x18", "--samples", "1")
        frame = lambda: int(self.find("#time").get_attribute("value"))
        start = frame()
        self.find("#play").click()
        self.wait(lambda: frame() >= start + 3, "three frames later")
        self.find("#play").click()
        self.assertEqual(self.find("#play").text, "Play")
        self.no_complaints()

    def test_pointing_tells_of_the_ray(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "1")
        self.find("#picture").send_keys(Keys.ARROW_DOWN)
        self.wait(lambda: "Projects back to" in self.find("#look").text, "what is seen there")
        self.assertRegex(self.find("#look").text, r"Film position\n[-\d.]+, [-\d.]+ mm")
        self.assertTrue(self.find("#cross").is_displayed())

    def test_the_saved_picture_is_that_of_the_command(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "3")
        self.after_change(lambda: self.replace('[aria-label="Horizontal FOV angle, °"]', "120"))
        self.find("#save").click()
        saved = Path(self.folder.name, "picture.png")
        self.wait(saved.exists, "the saved picture")
        command = self.find("#command").get_attribute("value")
        self.assertTrue(command.startswith("ovicam render "), command)
        rendered = Path(self.folder.name, "rendered.png")
        line = re.sub(r"^ovicam", f"'{ARGUMENTS.tool}'", command).replace("-o picture.png", f"-o '{rendered}'")
        subprocess.run(line, shell=True, check=True, cwd=ROOT, capture_output=True)
        self.assertEqual(saved.read_bytes(), rendered.read_bytes())

    def test_the_kept_picture_stands_left_of_the_line(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "1")
        kept = self.find("#kept")
        self.assertFalse(kept.is_displayed())
        self.find("#keep").click()
        self.wait(kept.is_displayed, "the kept picture")
        source = kept.get_attribute("src")
        self.after_change(lambda: self.replace('[aria-label="Horizontal FOV angle, °"]', "90"))
        self.assertEqual(kept.get_attribute("src"), source, "it stays while the other one changes")
        for _ in range(10):
            self.find("#share").send_keys(Keys.ARROW_RIGHT)
        self.assertIn("40%", self.browser.execute_script("return document.getElementById('kept').style.clipPath"))
        self.assertEqual(self.browser.execute_script("return document.getElementById('split').style.left"), "60%")
        self.find("#keep").click()
        self.wait(lambda: not kept.is_displayed(), "no kept picture")
        self.no_complaints()

    def test_the_page_is_whole_in_every_shape(self):
        self.open_view("samples/cameras.lws", "--camera", "Stereo Convergence", "--size", "68x34", "--samples", "1")
        for server in Select(self.find("#server")).options:
            name = server.text
            if not server.is_selected():
                self.after_change(lambda: Select(self.find("#server")).select_by_visible_text(name))
            for width in (1280, 390, 320):
                for dark in (False, True):
                    self.shape(width, 844, dark)
                    with self.subTest(server=name, width=width, dark=dark):
                        self.assertEqual(self.browser.execute_script(FIND_OVERFLOW), [])
            self.assertEqual(self.browser.execute_script(FIND_NAMELESS), [])
            self.shape(1280, 800, False)
        self.no_complaints()

    def test_the_end_of_the_tool_is_told(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "32x18", "--samples", "1")
        self.tool.send_signal(signal.SIGINT)
        self.assertEqual(self.tool.wait(), 0)
        self.wait(lambda: "has ended" in self.find("#progress").text, "a sentence")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True, type=lambda path: str(Path(path).resolve()))
    ARGUMENTS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
