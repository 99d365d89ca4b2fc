#!/usr/bin/python3
"""Tests of the gallery's pictures and page: gallery_test.py OVICAM MODULE [unittest's options]"""

import html.parser
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import tomllib
import unittest
from pathlib import Path

from PIL import Image

ROOT = Path(__file__).resolve().parent.parent
SAMPLES = ROOT / "samples"
TOOL, MODULE = Path(), Path()

sys.dont_write_bytecode = True
sys.path.insert(0, str(SAMPLES))
import render_gallery  # noqa: E402

TINY = ["--size", "16x9", "--samples", "1"]


def committed_catalogue():
    return tomllib.loads((SAMPLES / "gallery.toml").read_text(encoding="utf-8"))


def catalogue_text(entries):
    """Entries by table name, as TOML; a JSON text or list of texts is one of TOML as well."""
    lines = []
    for table, entry in entries:
        lines += [f"[[{table}]]", *(f"{key} = {json.dumps(value)}" for key, value in entry.items()), ""]
    return "\n".join(lines)


class InFolder(unittest.TestCase):
    """With a copy of the sample scene in a folder of its own, whose name is not an easy one."""

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="gallery test é "))
        self.addCleanup(shutil.rmtree, self.folder)
        self.scene = self.folder / "cameras.lws"
        shutil.copy(SAMPLES / "cameras.lws", self.scene)
        shutil.copy(SAMPLES / "charts.lws", self.folder)
        shutil.copytree(SAMPLES / "objects", self.folder / "objects")
        self.catalogue = self.folder / "gallery.toml"
        self.output = self.folder / "out"
        self.pictures = self.output / "pictures"
        self.tool, self.module = TOOL, MODULE

    def write(self, *entries):
        self.catalogue.write_text(catalogue_text(entries), encoding="utf-8")

    def run_script(self, *names, environment=None):
        options = ["--tool", self.tool, "--module", self.module, "--local-module", MODULE, "--output", self.output]
        options += ["--catalogue", self.catalogue, "--scene", self.scene]
        return subprocess.run([SAMPLES / "render_gallery.py", *options, *names], capture_output=True, text=True,
                              env={**os.environ, "TMPDIR": str(self.folder), **(environment or {})})

    def outcome(self, *names):
        """What a run that ends well counted: rendered, unchanged, removed."""
        run = self.run_script(*names)
        self.assertEqual(run.returncode, 0, run.stderr)
        counts = re.search(r"(\d+) rendered, (\d+) unchanged, (\d+) removed, 0 failed", run.stderr)
        self.assertIsNotNone(counts, run.stderr)
        return tuple(map(int, counts.groups()))

    def time_of(self, file):
        return (self.pictures / file).stat().st_mtime_ns


PLAIN = ("pinhole", {"file": "plain.png", "camera": "Fountain", "arguments": TINY})
FISHEYE = ("picture", {"file": "fisheye.png", "page": "fisheye", "kind": "render", "camera": "Fisheye Power 2",
                       "caption": "Look!", "arguments": TINY, "pinhole": "plain.png"})
DUAL = ("picture", {"file": "dual.png", "page": "dual", "kind": "render", "camera": "Dual", "caption": "Look!",
                    "arguments": TINY, "pinhole": "plain.png"})

LENS = ("lens", {"file": "lens.png", "page": "stmap", "camera": "Fisheye Power 2", "caption": "Look!", "arguments": TINY,
                 "panes": [["0", "camera", "perspective:90deg", "12x9"], ["1", "perspective:90deg", "camera", "16x8"]]})


def changed(entry, **values):
    return entry[0], {**entry[1], **values}


class RenderGallery(InFolder):
    def setUp(self):
        super().setUp()
        self.write(PLAIN, FISHEYE, DUAL)

    def change_scene(self, old, new):
        text = self.scene.read_text(encoding="utf-8")
        self.assertIn(old, text)
        self.scene.write_text(text.replace(old, new, 1), encoding="utf-8")

    def change_camera(self, name, keyword, value):
        text = self.scene.read_text(encoding="utf-8")
        new, count = re.subn(rf"(CameraName {re.escape(name)}\n(?:.+\n)*?{keyword}) .*", rf"\1 {value}", text)
        self.assertEqual(count, 1)
        self.assertNotEqual(new, text)
        self.scene.write_text(new, encoding="utf-8")

    def test_unchanged_pictures_are_not_rendered_again(self):
        self.assertEqual(self.outcome(), (3, 0, 0))
        times = [self.time_of(file) for file in ("plain.png", "fisheye.png", "dual.png")]
        self.assertEqual(self.outcome(), (0, 3, 0))
        self.assertEqual(times, [self.time_of(file) for file in ("plain.png", "fisheye.png", "dual.png")])

    def test_a_name_renders_that_picture_and_its_pinhole(self):
        self.assertEqual(self.outcome("fisheye"), (2, 0, 0))
        self.assertEqual(sorted(file.name for file in self.pictures.iterdir()), ["fisheye.png", "plain.png"])
        self.assertEqual(self.outcome("dual.png"), (1, 1, 0))
        unknown = self.run_script("fishy")
        self.assertEqual(unknown.returncode, 1)
        self.assertIn("fishy", unknown.stderr)
        self.assertIn("fisheye.png", unknown.stderr)

    def test_a_caption_does_not_count(self):
        self.outcome()
        self.write(PLAIN, changed(FISHEYE, caption="Look again!"), DUAL)
        self.assertEqual(self.outcome(), (0, 3, 0))

    def test_arguments_and_cameras_count(self):
        self.outcome()
        before = (self.pictures / "fisheye.png").read_bytes()
        self.write(PLAIN, changed(FISHEYE, arguments=["--size", "32x18", "--samples", "1"]), DUAL)
        self.assertEqual(self.outcome(), (1, 2, 0))
        self.assertNotEqual((self.pictures / "fisheye.png").read_bytes(), before)
        self.write(changed(PLAIN, camera="Tram"), FISHEYE, DUAL)
        self.assertEqual(self.outcome(), (2, 1, 0))

    def test_the_scene_counts_where_the_picture_shows_it(self):
        self.outcome()
        self.change_scene("LightIntensity 0.75", "LightIntensity 0.7")
        self.assertEqual(self.outcome(), (3, 0, 0))
        self.change_camera("Fisheye Power 2", "ZoomFactor", "1.25")
        self.assertEqual(self.outcome(), (2, 1, 0), "the fisheye, and the dual camera, which might show it")
        self.change_camera("Fountain", "ZoomFactor", "1.75")
        self.assertEqual(self.outcome(), (2, 1, 0), "the plain picture, and the dual camera, which shows it")

    def test_a_further_camera_leaves_the_others_alone(self):
        self.outcome()
        text = self.scene.read_text(encoding="utf-8")
        first, rest = text.split("AddCamera ", 1)
        block = "AddCamera " + rest.split("\n\n", 1)[0] + "\n\n"
        later = rest.replace("AddCamera 3000", "AddCamera 3100")
        self.scene.write_text(first + block.replace("CameraName North Hall", "CameraName One More") + "AddCamera " + later)
        self.assertEqual(self.outcome(), (1, 2, 0), "only the dual camera counts cameras")

    def test_objects_count(self):
        self.outcome()
        with open(self.folder / "objects" / "tram.lwo", "ab") as stream:
            stream.write(b"\0")
        self.assertEqual(self.outcome(), (3, 0, 0))

    def test_the_module_and_the_tool_count(self):
        self.module = self.folder / "module" / MODULE.name
        self.module.parent.mkdir()
        shutil.copy(MODULE, self.module)
        self.tool = self.folder / "ovicam"
        self.tool.write_text(f'#!/bin/sh\nexec "{TOOL}" "$@"\n')
        self.tool.chmod(0o755)
        self.outcome()
        with open(self.module, "ab") as stream:
            stream.write(b"\0")
        self.assertEqual(self.outcome(), (3, 0, 0))
        with open(self.tool, "a") as stream:
            stream.write("# changed\n")
        self.assertEqual(self.outcome(), (3, 0, 0))

    def test_a_missing_picture_comes_back_and_a_removed_one_goes(self):
        self.outcome()
        (self.pictures / "dual.png").unlink()
        self.assertEqual(self.outcome(), (1, 2, 0))
        (self.pictures / "mine.png").write_bytes(b"somebody else's")
        (self.pictures / ".dual.unfinished-12.png").write_bytes(b"half")
        self.write(PLAIN, FISHEYE)
        self.assertEqual(self.outcome(), (0, 2, 1))
        self.assertEqual(sorted(file.name for file in self.pictures.iterdir()), ["fisheye.png", "mine.png", "plain.png"])

    def test_a_broken_list_of_keys_renders_everything(self):
        self.outcome()
        for broken in ("{", "[1]", ""):
            (self.output / "pictures.json").write_text(broken)
            self.assertEqual(self.outcome(), (3, 0, 0))

    def test_a_failure_is_told_and_the_rest_is_rendered(self):
        self.write(changed(FISHEYE, file="lost.png", camera="Nowhere"), PLAIN, FISHEYE, DUAL)
        run = self.run_script()
        self.assertEqual(run.returncode, 1)
        for told in ("lost.png could not be rendered", "--camera Nowhere", 'the scene has no camera "Nowhere"', "3 rendered", "1 failed"):
            self.assertIn(told, run.stderr)
        self.assertEqual(sorted(file.name for file in self.pictures.iterdir()), ["dual.png", "fisheye.png", "plain.png"])
        again = self.run_script()
        self.assertEqual(again.returncode, 1)
        self.assertIn("0 rendered, 3 unchanged, 0 removed, 1 failed", again.stderr)

    def test_what_is_drawn_after_rendering(self):
        square = changed(PLAIN, arguments=["--size", "40x40", "--samples", "1"])
        self.write(square, changed(square, file="circle.png", drawn="circle"),
                   changed(square, file="frame.png", drawn="frame", share=0.5))
        self.assertEqual(self.outcome(), (3, 0, 0))
        plain, circle, frame = (Image.open(self.pictures / f"{name}.png").convert("RGBA") for name in ("plain", "circle", "frame"))
        for at, alpha in (((0, 0), 0), ((39, 39), 0), ((2, 5), 0), ((20, 0), 255), ((0, 20), 255), ((20, 20), 255)):
            self.assertAlmostEqual(circle.getpixel(at)[3], alpha, delta=40 if 0 in at else 0, msg=at)
        self.assertEqual(circle.crop((15, 15, 25, 25)).tobytes(), plain.crop((15, 15, 25, 25)).tobytes())
        self.assertEqual(frame.crop((10, 10, 30, 30)).tobytes(), plain.crop((10, 10, 30, 30)).tobytes())
        self.assertEqual(frame.getpixel((9, 20))[:3], render_gallery.HIGHLIGHT)
        self.assertLess(sum(frame.getpixel((3, 3))[:3]), sum(plain.getpixel((3, 3))[:3]))
        # The frame's share is part of what the picture was made from.
        self.write(square, changed(square, file="circle.png", drawn="circle"),
                   changed(square, file="frame.png", drawn="frame", share=0.6))
        self.assertEqual(self.outcome(), (1, 2, 0))

    def test_coverage_is_drawn_over_the_object_as_its_map_has_it(self):
        self.write(PLAIN, ("picture", {"file": "map.png", "page": "surface-baking", "kind": "coverage", "camera": "Baking",
                                       "caption": "Look!", "arguments": ["--size", "64x64"],
                                       "front": ["charts.lws", "Hall Front"]}))
        self.assertEqual(self.outcome(), (2, 0, 0))
        both = Image.open(self.pictures / "map.png").convert("RGB")
        self.assertEqual(both.height, 64)
        covered = [at % both.width for at, color in enumerate(both.getdata()) if color == render_gallery.HIGHLIGHT]
        self.assertGreater(len(covered), 50)
        self.assertGreaterEqual(min(covered), both.width - 64)

    def test_lenses_are_undone_and_redone_beside_the_picture(self):
        self.write(PLAIN, changed(LENS, panes=[]), changed(LENS, file="panes.png"))
        self.assertEqual(self.outcome(), (3, 0, 0))
        alone, panes = (Image.open(self.pictures / f"{name}.png").convert("RGBA") for name in ("lens", "panes"))
        self.assertEqual(panes.size, (16 + 12 + 12 + 12 + 16, 9))
        self.assertEqual(panes.crop((0, 0, 16, 9)).tobytes(), alone.tobytes())
        for left, width in ((28, 12), (52, 16)):
            self.assertGreater(sum(pixel[3] > 0 for pixel in panes.crop((left, 0, left + width, 9)).getdata()), width)
        # The lenses are part of what the picture was made from.
        self.write(PLAIN, changed(LENS, panes=[]), changed(LENS, file="panes.png", panes=[["0", "camera", "fisheye180", "9x9"]]))
        self.assertEqual(self.outcome(), (1, 2, 0))

    def test_a_killed_run_leaves_nothing_that_counts_as_done(self):
        self.tool = self.folder / "ovicam"
        self.tool.write_text(
            '#!/bin/sh\nif [ -n "$STRIKE" ]; then\n  for word; do out=$word; done\n  printf half >"$out"\n  kill -9 $PPID\n  exit\nfi\n'
            f'exec "{TOOL}" "$@"\n'
        )
        self.tool.chmod(0o755)
        self.write(PLAIN)
        self.outcome()
        whole = (self.pictures / "plain.png").read_bytes()
        self.write(changed(PLAIN, camera="Tram"))
        self.assertLess(self.run_script(environment={"STRIKE": "1"}).returncode, 0)
        self.assertEqual((self.pictures / "plain.png").read_bytes(), b"half")
        # Even what the picture was rendered from before does not make the half one count.
        self.write(PLAIN)
        self.assertEqual(self.outcome(), (1, 0, 0))
        self.assertEqual((self.pictures / "plain.png").read_bytes(), whole)

    def test_progress_is_plain_lines_without_a_terminal(self):
        run = self.run_script()
        self.assertNotIn("\r", run.stderr)
        self.assertIn("gallery: 3 of 3 pictures\n", run.stderr)
        self.assertLess(run.stderr.count("\n"), 10)

    def test_a_wrong_list_is_refused_with_the_reason(self):
        for entries, told in (
            ([FISHEYE], "plain.png"),
            ([PLAIN, PLAIN], "twice"),
            ([changed(PLAIN, file="../plain.png")], "without a folder"),
            ([changed(PLAIN, file="plain.jpg")], "PNG"),
            ([changed(PLAIN, camera="")], "camera"),
            ([changed(PLAIN, arguments=[1])], "list of texts"),
            ([PLAIN, changed(FISHEYE, kind="video")], "coverage"),
            ([changed(PLAIN, scene="../cameras.lws")], "beside the others"),
            ([changed(PLAIN, scene="gone.lws")], "gone.lws"),
            ([changed(PLAIN, drawn="square")], "circle"),
            ([changed(PLAIN, drawn="frame")], "share"),
            ([changed(PLAIN, drawn="frame", share=1.5)], "share"),
            ([PLAIN, changed(FISHEYE, front=["charts.lws"])], "front"),
            ([PLAIN, changed(LENS, panes=["0"])], "panes"),
            ([PLAIN, changed(LENS, panes=[["1", "camera", "fisheye180", "9x9"]])], "panes"),
            ([PLAIN, changed(LENS, panes=[["0", "camera", "fisheye180"]])], "panes"),
        ):
            self.write(*entries)
            run = self.run_script()
            self.assertEqual(run.returncode, 1, entries)
            self.assertIn(told, run.stderr)
            self.assertNotIn("Traceback", run.stderr)
        self.catalogue.write_text("[[picture")
        self.assertIn("gallery.toml", self.run_script().stderr)


class Images(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.images, self.links, self.text = [], [], text
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        if tag == "img":
            self.images.append(dict(attributes))
        if tag == "a":
            self.links.append(dict(attributes)["href"])


class CommittedGallery(InFolder):
    @classmethod
    def setUpClass(cls):
        cls.listed = committed_catalogue()
        run = subprocess.run([TOOL, "info", MODULE, "--json"], capture_output=True, text=True, check=True)
        cls.module_description = json.loads(run.stdout)
        cls.server_of_camera = {}
        for scene in ("cameras.lws", "charts.lws"):
            text = (SAMPLES / scene).read_text(encoding="utf-8")
            blocks = re.findall(r"^CameraName (.+)\n(?:.+\n)*?Plugin CameraHandler 1 (\S+)$", text, flags=re.MULTILINE)
            cls.server_of_camera.update({(scene, camera): server for camera, server in blocks})

    def server_of(self, entry):
        return self.server_of_camera[entry.get("scene", "cameras.lws"), entry["camera"]]

    def test_every_registered_camera_has_a_picture_through_it(self):
        registered = {camera["server_name"] for camera in self.module_description["cameras"]}
        pictured = {self.server_of(entry) for entry in self.listed["picture"] if entry["kind"] == "render"}
        self.assertEqual(pictured, registered)

    def test_only_cameras_of_the_scene_are_named_and_by_their_servers(self):
        for entry in self.listed["picture"] + self.listed["pinhole"]:
            self.assertIn((entry.get("scene", "cameras.lws"), entry["camera"]), self.server_of_camera, entry["file"])
            self.assertEqual(entry.get("server", self.server_of(entry)), self.server_of(entry))

    def test_every_rendered_picture_has_a_pinhole_through_a_plain_camera(self):
        plain = {entry["file"]: self.server_of(entry) for entry in self.listed["pinhole"]}
        self.assertEqual(set(plain.values()), {"Perspective"})
        used = {entry.get("pinhole") for entry in self.listed["picture"] if entry["kind"] != "gizmo"}
        self.assertEqual(used, set(plain))

    def test_pictures_of_lenses_are_on_pages_and_of_the_scenes_cameras(self):
        pages = [entry["page"] for entry in self.listed["lens"]]
        self.assertEqual(set(pages), {"stmap", "reproject"})
        for entry in self.listed["lens"]:
            self.assertIn((entry.get("scene", "cameras.lws"), entry["camera"]), self.server_of_camera, entry["file"])
            self.assertTrue(entry["panes"], entry["file"])
            self.assertGreater(len(entry["caption"]), 40, entry["file"])

    def test_every_picture_says_what_to_look_at(self):
        for entry in self.listed["picture"]:
            self.assertGreater(len(entry["caption"]), 40, entry["file"])
            self.assertTrue(list(ROOT.glob(f"cameras/*/{entry['page']}.md")), entry["page"])

    def test_pictures_that_depend_on_other_cameras_are_known(self):
        choosing = {camera["server_name"] for camera in self.module_description["cameras"]
                    if any(row["choices_of"] == "cameras" for row in camera["panel_rows"])}
        self.assertEqual(render_gallery.SERVERS_THAT_SHOW_CAMERAS, choosing)

    def test_all_pictures_can_be_rendered_and_the_page_shows_them(self):
        tiny = []
        for table in ("pinhole", "picture", "lens"):
            for entry in self.listed[table]:
                given = entry.get("arguments", [])
                for option in ("--size", "--samples"):
                    if option in given:
                        at = given.index(option)
                        given = given[:at] + given[at + 2:]
                # Of the full sphere is only what is twice as wide as high.
                given = given + (["--size", "16x8", "--samples", "1"] if "sphere" in entry else TINY if entry.get("kind", "render") == "render" else ["--size", "32x18"])
                tiny.append(changed((table, entry), arguments=given))
        self.write(*tiny)
        self.assertEqual(self.outcome(), (len(tiny), 0, 0))

        run = subprocess.run([ROOT / "docs/site/make_pages.py", "--module", MODULE, "--tool", TOOL, "--output", self.output],
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)
        page = Images((self.output / "index.html").read_text(encoding="utf-8"))
        for camera in self.module_description["cameras"]:
            self.assertIn(f"<h3>{camera['user_name']}</h3>", page.text)
        cameras = len(self.module_description["cameras"])
        wide, overview, below = page.images[0], page.images[1:cameras + 1], page.images[cameras + 1:]
        self.assertEqual(wide["src"], f"pictures/{next(entry['file'] for entry in self.listed['picture'] if entry.get('wide'))}")
        pictured = {f"pictures/{entry['file']}": entry for entry in self.listed["picture"]}
        self.assertEqual({self.server_of(pictured[image["src"]]) for image in overview},
                         {camera["server_name"] for camera in self.module_description["cameras"]})
        shown = [image["src"] for image in below]
        expected = [f"pictures/{file}" for entry in self.listed["picture"] if entry["kind"] != "gizmo"
                    for file in (entry["file"], entry["pinhole"])]
        self.assertEqual(sorted(shown), sorted(expected))
        for image in overview + below:
            self.assertEqual(image["loading"], "lazy")
            self.assertGreater(len(image["alt"]), 10)
            self.assertTrue(int(image["width"]) > 0 and int(image["height"]) > 0)
        for link in page.links:
            if not link.startswith("#"):
                self.assertTrue((self.output / link).is_file(), link)


if __name__ == "__main__":
    TOOL, MODULE = (Path(argument).resolve() for argument in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
