#!/usr/bin/python3
"""Records the page of `ovicam view` as an animated picture: somebody turns a lens, looks around, and compares.

record_view.py [--tool ovicam] [--output docs/view.webp]"""

import argparse
import io
import os
import signal
import subprocess
import tempfile
from pathlib import Path

from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

ROOT = Path(__file__).resolve().parent.parent
WIDTH, HEIGHT = 960, 600
SECONDS_FOR_A_PICTURE = 120
QUALITY = 55
STEP_MILLISECONDS = 90
PAUSE_MILLISECONDS = 1300


class Recording:
    """Frames of a page, each as soon as its picture is refined."""

    def __init__(self, address: str, profile: str):
        options = webdriver.ChromeOptions()
        for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     f"--user-data-dir={profile}"):
            options.add_argument(flag)
        self.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": WIDTH, "height": HEIGHT, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                     {"features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        self.frames: list[Image.Image] = []
        self.milliseconds: list[int] = []
        self.browser.get(address)
        self.wait(lambda: self.picture()["refined"] == "yes")

    def picture(self) -> dict:
        return self.browser.execute_script("return {change: '0', refined: 'no', ...document.getElementById('picture').dataset}")

    def wait(self, condition) -> None:
        WebDriverWait(self.browser, SECONDS_FOR_A_PICTURE, 0.02).until(lambda _: condition())

    def find(self, selector: str):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def change(self, act) -> None:
        before = int(self.picture()["change"])
        act()
        self.wait(lambda: int(self.picture()["change"]) > before and self.picture()["refined"] == "yes")

    def frame(self, milliseconds: int = STEP_MILLISECONDS) -> None:
        self.frames.append(Image.open(io.BytesIO(self.browser.get_screenshot_as_png())).convert("RGB"))
        self.milliseconds.append(milliseconds)

    def show(self, selector: str) -> None:
        self.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", self.find(selector))

    def slide(self, selector: str, values) -> None:
        for value in values:
            self.change(lambda: self.browser.execute_script(
                "arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input'))", self.find(selector), value))
            self.frame()

    def play(self) -> None:
        self.show('[aria-label="Horizontal FOV angle, slider"]')
        self.frame(PAUSE_MILLISECONDS)
        self.slide('[aria-label="Horizontal FOV angle, slider"]', range(345, 135, -15))
        self.milliseconds[-1] = PAUSE_MILLISECONDS
        self.show("#heading")
        picture = self.find("#picture")
        held = ActionChains(self.browser, duration=0)
        self.change(lambda: held.move_to_element(picture).click_and_hold().move_by_offset(-12, 0).perform())
        self.frame()
        for _ in range(9):
            self.change(lambda: ActionChains(self.browser, duration=0).move_by_offset(-14, 0).perform())
            self.frame()
        ActionChains(self.browser).release().perform()
        self.milliseconds[-1] = PAUSE_MILLISECONDS
        self.change(lambda: self.find("#plain").click())
        self.wait(lambda: self.find("#kept").is_displayed())
        self.browser.execute_script("document.getElementById('plain').blur()")
        for share in (*range(50, 20, -5), *range(20, 85, 5)):
            self.browser.execute_script(
                "const share = document.getElementById('share'); share.value = arguments[0]; share.dispatchEvent(new Event('input'))", share)
            self.frame()
        self.milliseconds[-1] = PAUSE_MILLISECONDS
        self.change(lambda: self.find("#plain").click())
        self.change(lambda: Select(self.find("#server")).select_by_visible_text("Quorin Immersive Camera"))
        self.frame(PAUSE_MILLISECONDS)
        self.find("#wear").click()
        for turn in range(0, 130, 8):
            self.browser.execute_script("headset.look({headingDegrees: arguments[0], pitchDegrees: 8}); headset.draw()", turn)
            self.frame()
        self.milliseconds[-1] = PAUSE_MILLISECONDS


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tool", type=Path, default=ROOT / "build" / "native" / "ovicam")
    parser.add_argument("--output", type=Path, default=ROOT / "docs" / "view.webp")
    arguments = parser.parse_args()
    command = [str(arguments.tool.resolve()), "view", "--no-browser", "samples/plaza.lws", "--camera", "Panorama", "--frame", "60",
               "--size", "960x480", "--samples", "8"]
    with tempfile.TemporaryDirectory() as folder, subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=ROOT) as tool:
        try:
            recording = Recording(tool.stdout.readline().strip(), f"{folder}/profile")
            try:
                recording.play()
            finally:
                recording.browser.quit()
        finally:
            tool.send_signal(signal.SIGINT)
    unfinished = arguments.output.with_name(f".{arguments.output.name}.unfinished")
    recording.frames[0].save(unfinished, format="WEBP", save_all=True, append_images=recording.frames[1:],
                             duration=recording.milliseconds, loop=0, quality=QUALITY, method=6)
    os.replace(unfinished, arguments.output)
    print(f"{arguments.output}: {len(recording.frames)} frames, {arguments.output.stat().st_size} bytes")


if __name__ == "__main__":
    main()
