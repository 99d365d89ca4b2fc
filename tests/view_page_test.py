#!/usr/bin/python3
"""The page of `ovicam view` in a browser: what a person turns changes the picture, and the page is whole in every shape.

view_page_test.py --tool ovicam [unittest arguments]"""

import argparse
import base64
import json
import math
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from urllib.request import urlopen

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
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

# Mean difference of two pictures, in parts of 255, over the middle of both: edges of the picture have neighbours that differ.
MEAN_DIFFERENCE = """
const [canvas, address, done] = arguments;
// What WebGL has drawn is there until the browser shows it.
const shot = Object.assign(document.createElement('canvas'), {width: canvas.width, height: canvas.height});
shot.getContext('2d').drawImage(canvas, 0, 0);
const image = new Image();
image.onload = () => {
  const read = (source) => {
    const copy = Object.assign(document.createElement('canvas'), {width: image.width, height: image.height});
    const context = copy.getContext('2d');
    context.drawImage(source, 0, 0, image.width, image.height);
    return context.getImageData(0, 0, image.width, image.height).data;
  };
  const [a, b] = [read(shot), read(image)];
  let sum = 0;
  for (let i = 0; i < a.length; ++i) sum += i % 4 === 3 ? 0 : Math.abs(a[i] - b[i]);
  done(sum / (a.length / 4 * 3));
};
image.src = address;
"""
# What has the focus, where it is seen.
FOCUSED = """
const element = document.activeElement;
const style = getComputedStyle(element);
return [element.id || element.ariaLabel || element.tagName, style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 1];
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
        # Without a graphics unit, the browser says how slow WebGL is.
        entries = [entry for entry in self.browser.get_log("browser")
                   if entry["level"] in ("SEVERE", "WARNING") and not re.search("software WebGL|GL Driver Message", entry["message"])]
        self.assertEqual(entries, [])

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

    def number(self, selector):
        return float(self.find(selector).get_attribute("value"))

    def rendered(self, arguments, extension=".png"):
        file = Path(self.folder.name, "rendered" + extension)
        subprocess.run([ARGUMENTS.tool, "render", *arguments, "-o", str(file)], check=True, cwd=ROOT, capture_output=True)
        return file.read_bytes()

    def rendered_as_the_page_says(self):
        words = shlex.split(self.find("#command").get_attribute("value"))
        self.assertEqual([words[:2], words[-2:]], [["ovicam", "render"], ["-o", "picture.png"]])
        return self.rendered(words[2:-2])

    def test_dragging_turns_the_camera_and_the_wheel_zooms(self):
        self.open_view("samples/plaza.lws", "--camera", "Plain", "--size", "96x54", "--samples", "1")
        before = (ROOT / "samples/plaza.lws").read_bytes()
        picture = self.find("#picture")
        self.after_change(lambda: ActionChains(self.browser).move_to_element(picture).click_and_hold().move_by_offset(-60, 40).release().perform())
        self.assertGreater(self.number("#heading"), 1, "what was on the right comes to the middle")
        self.assertLess(self.number("#pitch"), -1, "what was above comes to the middle")
        self.assertIn("--turn=", self.find("#command").get_attribute("value"))
        self.assertEqual(self.shown_bytes(), self.rendered_as_the_page_says())
        origin = ScrollOrigin.from_element(picture)
        zoomed = self.after_change(lambda: ActionChains(self.browser).scroll_from_origin(origin, 0, -400).perform())
        self.assertGreater(self.number("#zoom"), 1.2)
        self.assertEqual(zoomed, self.rendered_as_the_page_says())
        for key, field, way in (("d", "#heading", 1), ("a", "#heading", -1), ("w", "#pitch", -1), ("s", "#pitch", 1), ("+", "#zoom", 1), ("-", "#zoom", -1)):
            old = self.number(field)
            self.after_change(lambda: picture.send_keys(key))
            self.assertGreater((self.number(field) - old) * way, 0, key)
        self.after_change(lambda: self.replace("#heading", "33.5"))
        self.assertIn("--turn=33.5,", self.find("#command").get_attribute("value"))
        self.after_change(lambda: self.find("#level").click())
        self.assertNotRegex(self.find("#command").get_attribute("value"), "--turn|--zoom")
        self.assertEqual((ROOT / "samples/plaza.lws").read_bytes(), before)
        self.no_complaints()

    def test_the_wheel_turns_the_field_of_view_of_a_camera_without_zoom(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "1")
        field = '[aria-label="Horizontal FOV angle, °"]'
        start = self.number(field)
        first = self.shown_bytes()
        picture = self.find("#picture")
        self.after_change(lambda: ActionChains(self.browser).scroll_from_origin(ScrollOrigin.from_element(picture), 0, -300).perform())
        self.assertLess(self.number(field), start)
        self.assertEqual(self.number("#zoom"), 1)
        self.assertEqual(self.after_change(lambda: self.find("#level").click()), first)
        self.assertEqual(self.number(field), start)
        self.no_complaints()

    def test_a_headset_sees_what_a_perspective_sees_there(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--server", "QuorinImmersiveCam", "--size", "1024x512", "--samples", "4")
        canvas = self.find("#headset")
        self.assertFalse(canvas.is_displayed())
        self.find("#wear").click()
        self.assertTrue(canvas.is_displayed())
        self.browser.set_script_timeout(30)
        field = 60
        for heading, pitch in ((0, 0), (70, 0), (-150, 25)):
            # A perspective that is turned by as much; the host counts its pitch downward.
            seen = self.rendered(["samples/plaza.lws", "--camera", "Panorama", "--server", "Perspective", "--size", "160x90", "--samples", "16",
                                  f"--turn={heading},{-pitch},0", "--zoom", repr(1 / math.tan(math.radians(field / 2)) / self.zoom_of_camera("Panorama"))])
            address = "data:image/png;base64," + base64.b64encode(seen).decode()
            self.browser.execute_script("headset.look({headingDegrees: arguments[0], pitchDegrees: arguments[1], fieldDegrees: arguments[2]})",
                                        heading, pitch, field)
            draw = "headset.draw();" + MEAN_DIFFERENCE
            there = self.browser.execute_async_script(draw, canvas, address)
            self.browser.execute_script("headset.look({headingDegrees: headset.headingDegrees + 10})")
            beside = self.browser.execute_async_script(draw, canvas, address)
            self.assertLess(there, 10, (heading, pitch))
            self.assertLess(3 * there, beside, (heading, pitch))
        heading = lambda: self.browser.execute_script("return headset.headingDegrees")
        old = heading()
        canvas.send_keys(Keys.ARROW_RIGHT)
        self.assertGreater(heading(), old)
        old = heading()
        ActionChains(self.browser).move_to_element(canvas).click_and_hold().move_by_offset(50, 0).release().perform()
        self.assertLess(heading(), old)
        self.find("#wear").click()
        self.assertFalse(canvas.is_displayed())
        self.after_change(lambda: Select(self.find("#server")).select_by_visible_text("Quorin Fisheye Camera"))
        self.assertFalse(self.find("#wear").is_displayed(), "this is no full sphere")
        self.no_complaints()

    def zoom_of_camera(self, name):
        told = subprocess.run([ARGUMENTS.tool, "scene", "samples/plaza.lws", "--json"], check=True, cwd=ROOT, capture_output=True, text=True)
        return next(camera["zoom"] for camera in json.loads(told.stdout)["cameras"] if camera["name"] == name)

    def test_a_scene_is_saved_and_nothing_replaced_unasked(self):
        scene = Path(self.folder.name, "own.lws")
        shutil.copy(ROOT / "samples/plaza.lws", scene)
        same = ["--content", "samples"]
        self.open_view(str(scene), *same, "--camera", "Panorama", "--size", "96x54", "--samples", "2")
        shown = self.after_change(lambda: self.replace('[aria-label="Horizontal FOV angle, °"]', "111"))
        self.replace("#scene-name", "new")
        self.wait(lambda: "Saved:" in self.find("#scene-told").text, "the scene is saved")
        saved = Path(self.folder.name, "new.lws")
        before, after = (re.split(r"(?<=Plugin CameraHandler 1 QuorinPanoramicCam\n)(.*?)(?=EndPlugin\n)", file.read_text(), maxsplit=1, flags=re.DOTALL)
                         for file in (scene, saved))
        self.assertEqual([before[0], before[2]], [after[0], after[2]], "all else is as it was")
        self.assertIn(repr(math.radians(111))[:12], after[1])
        # The picture tells of its scene's name.
        saved.replace(scene)
        rendered = self.rendered([str(scene), *same, "--camera", "Panorama", "--size", "96x54", "--samples", "2"])
        self.assertEqual(shown, rendered)
        mine = Path(self.folder.name, "mine.lws")
        mine.write_text("mine")
        self.after_change(lambda: Select(self.find("#camera")).select_by_visible_text("Panorama") or self.replace("#width", "90"))
        self.replace("#scene-name", "mine.lws")
        self.wait(lambda: self.find("#replace-scene").is_displayed(), "a question")
        self.assertEqual(mine.read_text(), "mine")
        self.find("#replace-scene").click()
        self.wait(lambda: "Saved:" in self.find("#scene-told").text, "the scene is saved")
        self.assertTrue(mine.read_text().startswith("LWSC"))
        self.replace("#scene-name", "own.lws")
        self.wait(lambda: "never changed" in self.find("#scene-told").text, "a refusal")

    def test_the_exr_is_that_of_the_command(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "2")
        self.find("#save-exr").click()
        saved = Path(self.folder.name, "picture.exr")
        self.wait(saved.exists, "the saved picture")
        words = shlex.split(self.find("#command").get_attribute("value"))
        self.assertEqual(saved.read_bytes(), self.rendered(words[2:-2], ".exr"))
        self.no_complaints()

    def test_one_press_compares_with_the_plain_perspective(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--size", "96x54", "--samples", "1")
        kept = self.find("#kept")
        self.after_change(lambda: self.find("#plain").click())
        self.wait(kept.is_displayed, "the perspective")
        self.wait(lambda: self.browser.execute_script("return document.getElementById('kept').naturalWidth") == 96, "all of it")
        first = kept.get_attribute("src")
        self.after_change(lambda: self.replace("#time", "60"))
        self.wait(lambda: kept.get_attribute("src") != first, "it goes with the time")
        self.after_change(lambda: self.find("#plain").click())
        self.wait(lambda: not kept.is_displayed(), "it is gone")
        self.no_complaints()

    def test_the_keyboard_reaches_everything_and_is_seen_there(self):
        self.open_view("samples/plaza.lws", "--camera", "Panorama", "--server", "QuorinImmersiveCam", "--size", "96x48", "--samples", "1")
        wanted = set(self.browser.execute_script("""return [...document.querySelectorAll('input, select, button, textarea, [tabindex]')]
            .filter((element) => element.offsetParent && !element.disabled).map((element) => element.id || element.ariaLabel)"""))
        self.assertGreater(len(wanted), 20)
        reached = set()
        for _ in range(2 * len(wanted)):
            ActionChains(self.browser).send_keys(Keys.TAB).perform()
            name, is_seen = self.browser.execute_script(FOCUSED)
            if name != "BODY":
                self.assertTrue(is_seen, name)
            reached.add(name)
        self.assertEqual(wanted - reached, set())

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
