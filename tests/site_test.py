#!/usr/bin/python3
"""The gallery's page and the reference: what a browser makes of them, and which mistakes of a page are told.

site_test.py --module OviCam.so --tool ovicam [unittest arguments]"""

import argparse
import html
import json
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import time
import tomllib
import types
import unittest
import urllib.request
import zlib
from pathlib import Path
from urllib.parse import unquote, urlsplit

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

ROOT = Path(__file__).resolve().parent.parent
MAKE_PAGES = ROOT / "docs" / "site" / "make_pages.py"
sys.dont_write_bytecode = True
sys.path.insert(0, str(MAKE_PAGES.parent))
import make_pages

ARGUMENTS = None

# What a page shows that it should not: boxes that leave the page, and texts that leave their boxes.
FIND_OVERFLOW = """
const found = [];
const page = document.documentElement;
if (page.scrollWidth > page.clientWidth) found.push(`the page is ${page.scrollWidth} wide`);
const about = (node) => `${node.tagName} "${node.textContent.trim().slice(0, 40)}"`;
for (const element of document.body.querySelectorAll('*')) {
  if (element.closest('pre') || element.tagName === 'OPTION') continue;
  const box = element.getBoundingClientRect();
  // What is for screen readers alone is a pixel wide.
  if (box.width <= 1) continue;
  if (box.left < -0.5 || box.right > page.clientWidth + 0.5) found.push(`${about(element)} leaves the page`);
  const drawing = element.closest('svg');
  if (drawing && element.tagName === 'text') {
    const frame = drawing.getBoundingClientRect();
    if (box.left < frame.left - 1 || box.right > frame.right + 1 || box.top < frame.top - 1 || box.bottom > frame.bottom + 1)
      found.push(`${about(element)} leaves its drawing`);
  }
  if (drawing || getComputedStyle(element).display === 'inline' || element.closest('math')) continue;
  for (const node of element.childNodes) {
    if (node.nodeType !== Node.TEXT_NODE || !node.textContent.trim()) continue;
    const range = document.createRange();
    range.selectNodeContents(node);
    const text = range.getBoundingClientRect();
    if (text.width && (text.left < box.left - 1 || text.right > box.right + 1 || text.bottom > box.bottom + 3))
      found.push(`the text "${node.textContent.trim().slice(0, 40)}" leaves its ${element.tagName}`);
  }
}
return found;
"""

LOAD_IMAGES = """
const done = arguments[0];
const images = [...document.images];
for (const image of images) image.loading = 'eager';
Promise.all(images.map((image) => image.decode().then(() => null, () => image.getAttribute('src').slice(0, 80))))
  .then((sources) => done(sources.filter((source) => source !== null)));
"""

FIND_TARGETS = """
return [...document.querySelectorAll('a[href], link[href], img[src]')].map((each) => each.getAttribute('href') ?? each.getAttribute('src'));
"""


def png(width, height):
    """A grey picture."""

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = (b"\0" + b"\x80" * width) * height
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def run_make_pages(*arguments):
    return subprocess.run(
        [MAKE_PAGES, "--module", ARGUMENTS.module, "--tool", ARGUMENTS.tool, *map(str, arguments)], text=True, capture_output=True
    )


class Pages(unittest.TestCase):
    """The finished pages in a browser."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="ovicam-site-test-")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.site = Path(cls.folder.name) / "gallery"
        (cls.site / "pictures").mkdir(parents=True)
        listed = tomllib.loads((ROOT / "samples" / "gallery.toml").read_text(encoding="utf-8"))
        for number, entry in enumerate(listed["picture"] + listed["pinhole"]):
            size = (640, 320) if "sphere" in entry else [(640, 360), (960, 240), (360, 360)][number % 3]
            (cls.site / "pictures" / entry["file"]).write_bytes(png(*size))
        (cls.site.parent / "bench").mkdir()
        (cls.site.parent / "bench/index.html").write_text("measured")
        run = run_make_pages("--output", cls.site)
        assert run.returncode == 0, run.stderr
        cls.pages = sorted(cls.site.rglob("*.html"))

        options = webdriver.ChromeOptions()
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for flag in (
            "--headless=new --no-sandbox --disable-gpu --no-first-run --disable-background-networking "
            "--disable-component-update --disable-sync --enable-unsafe-swiftshader"
        ).split():
            options.add_argument(flag)
        options.add_argument(f"--user-data-dir={cls.folder.name}/profile")
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def show(self, page, width, theme):
        self.browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride", {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": width < 600}
        )
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": theme}]})
        self.browser.get(page.as_uri())

    def test_there_is_a_page_for_every_page_of_the_docs(self):
        names = {page.name for page in (self.site / "reference").glob("*.html")}
        self.assertEqual(names, {file.stem + ".html" for pattern in ("docs/*.md", "cameras/*/*.md") for file in ROOT.glob(pattern)} | {"index.html"})
        self.assertIn(self.site / "index.html", self.pages)

    def test_every_page_fits_phone_and_desk_in_light_and_dark_without_a_complaint(self):
        for page in self.pages:
            for width in (320, 390, 1280):
                for theme in ("light", "dark"):
                    with self.subTest(page=page.name, width=width, theme=theme):
                        self.show(page, width, theme)
                        self.assertEqual(self.browser.execute_async_script(LOAD_IMAGES), [], "images that are broken")
                        self.assertEqual(self.browser.execute_script(FIND_OVERFLOW), [])
                        dark = self.browser.execute_script("return getComputedStyle(document.body).backgroundColor") == "rgb(24, 26, 30)"
                        self.assertEqual(dark, theme == "dark")
                        # A graphics driver in software is slow, and says so.
                        complaints = [entry["message"] for entry in self.browser.get_log("browser") if "(OpenGL, Performance," not in entry["message"]]
                        self.assertEqual(complaints, [])

    def test_every_picture_has_a_line_that_the_tool_takes(self):
        lines = set()
        for page in self.pages:
            text = page.read_text(encoding="utf-8")
            found = [html.unescape(line) for line in re.findall(r'<details class="try">.*?<code>(.*?)</code>', text, flags=re.DOTALL)]
            self.assertEqual(len(found), text.count('<figcaption>') - text.count('drawing-figure') - text.count('panel-figure'), page)
            lines.update(found)
        self.assertGreater(len(lines), 40)
        for line in sorted(lines):
            with self.subTest(line=line):
                self.try_line(line)

    def try_line(self, line):
        """What a person's shell makes of the line has to lead to a picture."""
        if line.startswith("ovicam bake-coverage"):
            line = line.replace("coverage.png", f"'{self.folder.name}/coverage.png'")
            run = subprocess.run(f'ovicam() {{ "{ARGUMENTS.tool}" "$@"; }}\n{line}', shell=True, cwd=ROOT, capture_output=True, text=True)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertGreater(make_pages.png_size(Path(self.folder.name) / "coverage.png")[0], 0)
            return
        self.assertTrue(line.startswith("ovicam view samples/"))
        command = f'ovicam() {{ exec "{ARGUMENTS.tool}" "$@"; }}\n{line} --no-browser --module "{ARGUMENTS.module}"'
        with subprocess.Popen(["sh", "-c", command], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as view:
            try:
                address = view.stdout.readline().strip()
                self.assertTrue(address.startswith("http://127.0.0.1:"), address or view.stderr.read())
                state = json.load(urllib.request.urlopen(f"{address}state", timeout=60))
                words = shlex.split(line)
                camera = words[words.index("--camera") + 1]
                self.assertEqual(state["cameras"][state["choice"]["camera"]]["name"], camera)
                self.assertEqual((state["trouble"], state["warnings"]), ("", []))
                if "--size" in words:
                    size = words[words.index("--size") + 1]
                    self.assertEqual(size, "{}x{}".format(*state["choice"]["size"]))
                if camera not in ("Ride", "Grid Fisheye", "Twelve-up"):
                    return
                # It renders as long as somebody listens for news.
                with urllib.request.urlopen(f"{address}news", timeout=60) as news:
                    while not re.search(rb'"picture":[1-9]', news.readline()):
                        pass
                    picture = urllib.request.urlopen(f"{address}picture.png", timeout=60).read()
                self.assertEqual(picture[:8], b"\x89PNG\r\n\x1a\n")
            finally:
                view.terminate()

    def test_a_picture_of_the_full_sphere_can_be_dragged(self):
        for name in ("index.html", "reference/immersive.html"):
            self.show(self.site / name, 1280, "light")
            state = self.browser.execute_script("""
                const canvas = document.querySelector('.sphere canvas');
                return [canvas.parentElement.hidden, canvas.tabIndex, canvas.title, typeof SphereViewer];""")
            with self.subTest(page=name):
                self.assertEqual(state[:2], [False, 0])
                self.assertEqual(state[3], "function")
                # The canvas has a title only where it says why it shows nothing.
                self.assertIn(state[2], ("", "This browser has no WebGL 2, which looking around needs"))
        self.assertNotIn("<script", (self.site / "reference" / "panoramic.html").read_text(encoding="utf-8"))

    def test_the_overviews_show_every_camera_under_its_name(self):
        programs = make_pages.Programs(ARGUMENTS.tool, ARGUMENTS.module)
        self.addCleanup(programs.temporary.cleanup)
        names = [camera["user_name"] for camera in programs.module_description()["cameras"]]
        for page in ("index.html", "reference/index.html"):
            self.show(self.site / page, 1280, "light")
            shown = self.browser.execute_script("return [...document.querySelector('.thumbnails').querySelectorAll('.name')].map((name) => name.textContent)")
            self.assertEqual(sorted(shown), sorted(names), page)
            self.assertIn("Surface baking", self.browser.execute_script("return document.body.innerText"))

    def test_the_readme_names_every_type_of_the_menu(self):
        programs = make_pages.Programs(ARGUMENTS.tool, ARGUMENTS.module)
        self.addCleanup(programs.temporary.cleanup)
        rows = [line for line in (ROOT / "README.md").read_text(encoding="utf-8").splitlines() if line.startswith("| ") and "Quorin" in line]
        named = [name.strip() for row in rows for name in row.split("|")[2].split(",")]
        self.assertEqual(sorted(named), sorted(camera["user_name"] for camera in programs.module_description()["cameras"]))

    def test_drawings_show_all_that_they_are_about(self):
        twelve = (self.site / "reference" / "twelve-up.html").read_text(encoding="utf-8").split('aria-label="The rays from above"')[1]
        self.assertEqual({f"{row}-{column}" for row in (1, 2, 3) for column in (1, 2, 3, 4)}, set(re.findall(r">(\d-\d)[ <]", twelve.split("</svg>")[0])))
        stereo = (self.site / "reference" / "stereo.html").read_text(encoding="utf-8").split('aria-label="The rays from above"')[1]
        self.assertIn('class="mark"', stereo.split("</svg>")[0])

    def test_panel_and_change_log_give_the_version_one_date(self):
        shown = re.search(r"v4\.0\.0\.22 (\w+ \d+ \d+)", (self.site / "reference" / "panoramic.html").read_text(encoding="utf-8"))[1]
        logged = re.search(r"^## \[4\.0\.0\.22\] - ([-\d]+)$", (ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), flags=re.MULTILINE)[1]
        self.assertEqual(time.strptime(shown, "%b %d %Y")[:3], time.strptime(logged, "%Y-%m-%d")[:3])

    def test_what_was_measured_is_linked_to_from_the_first_page(self):
        self.assertIn('href="../bench/index.html"', (self.site / "index.html").read_text(encoding="utf-8"))

    def test_every_link_leads_somewhere_on_this_disk(self):
        ids = {page: set(re.findall(r'\bid="([^"]+)"', page.read_text(encoding="utf-8"))) for page in self.pages}
        for page in self.pages:
            self.show(page, 1280, "light")
            targets = self.browser.execute_script(FIND_TARGETS)
            self.assertGreater(len(targets), 3, page)
            for target in targets:
                with self.subTest(page=page.name, target=target[:80]):
                    parts = urlsplit(target)
                    if parts.scheme == "data":
                        continue
                    self.assertEqual((parts.scheme, parts.netloc), ("", ""))
                    file = (page.parent / unquote(parts.path)).resolve() if parts.path else page
                    self.assertTrue(file.is_file(), f"{file} is not there")
                    if parts.fragment:
                        self.assertIn(parts.fragment, ids[file])

    def test_camera_pages_show_what_the_module_says(self):
        page = (self.site / "reference" / "stereo.html").read_text(encoding="utf-8")
        for part in (
            'src="data:image/png;base64,',  # the panel's mark
            "Convergence Toe In",
            '<code>HorizontalShiftFactor</code>',
            "1 to 360",
            '<span class="field">6 cm</span>',
            '<td data-label="Default">6\N{NO-BREAK SPACE}cm</td>',
            '<td data-label="Default">no</td>',
            "kept, shown nowhere",
            "yes, but the scene keeps one value",
            "(none) or an object of the scene",
            "<svg",
            "<math",
            "pictures/stereo",
        ):
            self.assertIn(part, page)
        self.assertIn("-500.0\N{NO-BREAK SPACE}% to 500.0\N{NO-BREAK SPACE}%", (self.site / "reference" / "advanced-panoramic.html").read_text(encoding="utf-8"))
        self.assertIn("projects: no", (self.site / "reference" / "skybox.html").read_text(encoding="utf-8"))
        self.assertNotIn("<script", page)

    def test_shared_notes_stand_where_they_are_true(self):
        pages = {page.stem: " ".join(re.sub(r"<[^>]*>", "", page.read_text(encoding="utf-8")).split()) for page in self.pages}
        photographic = {"perspective", "spherical", "stereo"}
        without_lens = {"advanced-panoramic", "cylinder", "immersive", "panoramic", "spherical"}
        blurred = without_lens | {"fisheye", "perspective", "radial-shift", "stereo"}
        split = {"dual", "four-up", "twelve-up"}
        for text, expected in (
            ("There is no depth of field. The zoom factor has no influence.", without_lens),
            ("With depth of field, the lens is sampled along the world", {"fisheye", "perspective"}),
            ("The camera announces no depth of field, so the host gives it the middle of the lens", {"radial-shift", "stereo"}),
            ("Motion samples: the host", blurred),
            ("values are read once for each frame, at its start: animated ones", blurred - {"immersive", "perspective"}),
            ("The zoom factor is read once for each frame", {"perspective"}),
            ("motion is followed in the same way", {"stereo"}),
            ("in the link file, each time one of them changes", photographic),
            ("A scene keeps one plain number for each of the three", photographic),
            ("Film or sensor speed of the shot.", photographic),
            ("Shutter opening of the shot, in degrees of a turn.", photographic),
            ("Rays follow the camera's own zoom factor", {"fisheye", "perspective", "radial-shift", "stereo"}),
            ("It is on no panel, is not kept with the scene, and nothing", {"advanced-panoramic", "immersive", "panoramic"}),
            ("The camera's own ray is handed on", split),
            ("This camera is not in its own lists.", split),
            ("This camera is not in its own list.", {"overscan", "dpi"}),
            ("the half shows more or less of it.", {"dual"}),
            ("the tile shows more or less of it.", {"four-up", "twelve-up"}),
            ("the picture shows more or less of it. Give both cameras the same aperture height.", {"overscan"}),
            ("A half without a camera stays empty", {"dual"}),
            ("A tile without a camera stays empty", {"four-up", "twelve-up"}),
            ("The choices are kept as numbers", split),
            ("The selected camera is kept by its number", {"overscan", "dpi"}),
            ("The camera to look through, of any kind.", {"overscan", "dpi"}),
        ):
            plain = text.replace("'", "’"), text, text.replace("'", "&#39;")
            with self.subTest(text=text):
                self.assertEqual({name for name, page in pages.items() if any(form in page for form in plain)}, expected)

    def test_no_paragraph_is_written_on_three_pages(self):
        pages_of = {}
        for file in ROOT.glob("cameras/*/*.md"):
            for line in set(file.read_text(encoding="utf-8").splitlines()):
                pages_of.setdefault(line, []).append(file.stem)
        repeated = {line: pages for line, pages in pages_of.items() if len(line) > 50 and len(pages) > 2}
        self.assertEqual(repeated, {}, "what several pages say belongs in docs/site/shared_notes.md")

    def test_panels_have_the_style_of_the_tool(self):
        for page in self.pages:
            self.show(page, 1280, "light")
            rows = self.browser.execute_script("return [...document.querySelectorAll('.panel .row')].map((row) => row.offsetHeight)")
            with self.subTest(page=page.name):
                self.assertEqual(bool(rows), 'id="panel"' in page.read_text(encoding="utf-8"))
                # Only the style makes a row as high, and no label needs a second line at the panel's full width.
                self.assertEqual(set(rows) - {26}, set())

    def test_a_page_of_a_panel_is_as_large_as_its_picture(self):
        for camera in ("Stereo Convergence", "Skybox Cross", "DPI", "Dual"):
            page = Path(self.folder.name) / f"{camera}.html"
            arguments = ["panel", ROOT / "samples" / "cameras.lws", "--module", ARGUMENTS.module, "--camera", camera, "-o", page]
            subprocess.run([ARGUMENTS.tool, *arguments], check=True, capture_output=True)
            width, height = make_pages.png_size(page.with_suffix(".png"))
            self.show(page, width, "light")
            size = "const body = document.body.getBoundingClientRect(); return [document.documentElement.scrollWidth, body.height]"
            self.assertEqual(self.browser.execute_script(size), [width, height], camera)

    def test_the_first_page_counts_the_cameras_of_the_module(self):
        page = (self.site / "index.html").read_text(encoding="utf-8")
        programs = make_pages.Programs(ARGUMENTS.tool, ARGUMENTS.module)
        self.addCleanup(programs.temporary.cleanup)
        count = make_pages.in_words(len(programs.module_description()["cameras"]))
        self.assertIn(f"<title>OviCam – {count} cameras for LightWave</title>", page)
        self.assertIn(f'<p class="summary">{count.capitalize()} cameras for LightWave,', page)

    def test_pages_that_are_made_are_left_alone(self):
        # The first of the two makes up for whatever was edited since the pages were made.
        run_make_pages("--output", self.site)
        again = run_make_pages("--output", self.site)
        self.assertEqual((again.returncode, again.stderr), (0, ""))
        self.assertIn("are up to date", again.stdout)


class Words(unittest.TestCase):
    def test_numbers_are_written_as_people_say_them(self):
        said = {0: "zero", 1: "one", 12: "twelve", 17: "seventeen", 19: "nineteen", 20: "twenty", 21: "twenty-one",
                40: "forty", 99: "ninety-nine", 100: "100"}
        self.assertEqual({number: make_pages.in_words(number) for number in said}, said)


class Mistakes(unittest.TestCase):
    """What is told of a page that does not suit the module."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="ovicam-site-test-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        programs = make_pages.Programs(ARGUMENTS.tool, ARGUMENTS.module)
        cls.addClassCleanup(programs.temporary.cleanup)
        cls.cameras = {camera["server_name"]: camera for camera in programs.module_description()["cameras"]}

    def mistake(self, slug, *changes):
        """What is said of a page in which the first text of each change is replaced by the second; empty when nothing is."""
        text = next(ROOT.glob(f"cameras/*/{slug}.md")).read_text(encoding="utf-8")
        for old, new in changes:
            self.assertIn(old, text)
            text = text.replace(old, new)
        file = self.folder / f"{slug}.md"
        file.write_text(text, encoding="utf-8")
        try:
            page = make_pages.CameraPage(file)
            cameras = [self.cameras[name] for name in page.servers]
            page.add_shared_notes(cameras)
            make_pages.check_names(page, cameras)
            page.make_sections()
        except make_pages.PageError as error:
            self.assertIn(str(file), str(error))
            return str(error)
        return ""

    def test_pages_as_they_are_have_none(self):
        for slug in ("panoramic", "perspective", "cylinder", "stereo", "dual", "overscan"):
            self.assertEqual(self.mistake(slug), "")

    def test_a_parameter_that_the_module_does_not_have(self):
        told = self.mistake("panoramic", ('"Horizontal FOV angle" =', '"Horizontal FOV" ='))
        self.assertIn('no parameter "Horizontal FOV"', told)
        self.assertIn('"Upper Vertical FOV angle"', told)

    def test_a_parameter_without_a_description(self):
        told = self.mistake("panoramic", ('"Horizontal FOV angle" =', '#'))
        self.assertIn('does not say what "Horizontal FOV angle" does', told)
        self.assertIn('"SizeAxis"', self.mistake("perspective", ('"SizeAxis" =', "#")))

    def test_a_name_in_the_text_that_the_module_does_not_have(self):
        self.assertIn('the text names "Toe In"', self.mistake("stereo", ("whatever **Convergence Toe In** says", "whatever **Toe In** says")))
        self.assertIn('the text names "Upright Axis"', self.mistake("cylinder", ("`Vertical Axis`", "`Upright Axis`")))

    def test_settings_that_the_module_contradicts_or_nobody_knows(self):
        self.assertIn('lens is "none", but the module says', self.mistake("perspective", ('lens = "thin"', 'lens = "none"')))
        self.assertIn('lens is "thick"; it can be: "none", "thin"', self.mistake("stereo", ('lens = "thin"', 'lens = "thick"')))
        self.assertIn('film_part is "corner"', self.mistake("dual", ('film_part = "half"', 'film_part = "corner"')))
        self.assertIn('no setting "lense"', self.mistake("stereo", ('lens = "thin"', 'lense = "thin"')))

    def test_a_shared_description_gives_way_to_the_page(self):
        text = (ROOT / "cameras" / "spherical" / "spherical.md").read_text(encoding="utf-8")
        file = self.folder / "spherical.md"
        file.write_text(text.replace("[parameters]\n", '[parameters]\n"ISO" = "Its own."\n'), encoding="utf-8")
        page = make_pages.CameraPage(file)
        page.add_shared_notes([self.cameras["QuorinSphericalCam"]])
        self.assertEqual(page.parameters["ISO"], "Its own.")
        self.assertIn("Published only", page.parameters["Shutter Angle"])

    def test_sections_that_are_not_the_four(self):
        self.assertIn("the sections must be", self.mistake("panoramic", ("## Projection", "## Projections")))

    def test_settings_that_are_not_there_or_no_toml(self):
        self.assertIn("between two lines +++", self.mistake("panoramic", ("+++\n", "---\n")))
        self.assertIn("not TOML", self.mistake("panoramic", ("title = ", "title ")))
        self.assertIn('lack "summary"', self.mistake("panoramic", ("summary =", "summaries =")))

    def test_mathematics_that_pandoc_does_not_understand(self):
        page = self.folder / "panoramic.md"
        text = (ROOT / "cameras" / "panoramic" / "panoramic.md").read_text(encoding="utf-8")
        page.write_text(text.replace(r"\frac xW", r"\fraction xW"), encoding="utf-8")
        with self.assertRaisesRegex(make_pages.PageError, "pandoc"):
            make_pages.CameraPage(page).make_sections()

    def test_a_camera_that_no_picture_shows_is_found(self):
        page = types.SimpleNamespace(slug="both")
        page_of = {"OneCam": page, "OtherCam": page, "ThirdCam": types.SimpleNamespace(slug="third")}
        one = {"page": "both", "server": "OneCam"}
        self.assertEqual(make_pages.without_picture({"picture": [one]}, page_of, list(page_of)), ["OtherCam", "ThirdCam"])
        self.assertEqual(make_pages.without_picture({"picture": [{"page": "both"}]}, page_of, list(page_of)), ["ThirdCam"])
        self.assertEqual(make_pages.without_picture({}, page_of, ["OneCam"]), ["OneCam"])

    def test_a_picture_that_is_not_of_the_full_sphere(self):
        file = self.folder / "half.png"
        file.write_bytes(png(30, 30))
        with self.assertRaisesRegex(make_pages.PageError, "half.png is no picture of the full sphere"):
            make_pages.sphere_script(file)
        file.write_bytes(png(60, 30))
        self.assertIn('["half.png"] = \'data:image/jpeg;base64,', make_pages.sphere_script(file))

    def test_lines_to_try_are_quoted_for_a_shell(self):
        entry = {"camera": "Joe's \"Eye\" $HOME", "arguments": ["--set", "A b=5%", "--frames", "3", "--eye", "left"]}
        line, more = make_pages.command_for(entry)
        told = subprocess.run(["sh", "-c", f"ovicam() {{ printf '%s|' \"$@\"; }}\n{line}"], capture_output=True, text=True, check=True)
        self.assertEqual(told.stdout, f"view|samples/cameras.lws|--camera|{entry['camera']}|--set|A b=5%|--frame|3|")
        self.assertIn("“left”", more)

    def test_the_program_ends_with_the_sentence(self):
        pages = self.folder / "pages"
        pages.mkdir()
        for file in ROOT.glob("cameras/*/*.md"):
            if file.stem != "dual":
                (pages / file.name).write_bytes(file.read_bytes())
        output = self.folder / "gallery"
        run = run_make_pages("--output", output, "--pages", pages)
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn('no page is about "QuorinMultiCam"', run.stderr)
        self.assertEqual(list(output.rglob("*.html")), [])
        run = run_make_pages("--output", output, "--module", self.folder / "gone.so")
        self.assertEqual(run.returncode, 1)
        self.assertIn("there is no", run.stderr)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--module", required=True)
    parser.add_argument("--tool", required=True)
    ARGUMENTS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
