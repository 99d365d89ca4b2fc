#!/usr/bin/python3
"""The package: its bytes, and what a user finds after unpacking it.

package_test.py --tool ovicam --local-module OviCam.so [--windows-build FOLDER] [unittest arguments]"""

import argparse
import base64
import hashlib
import html.parser
import os
import re
import shutil
import subprocess
import sys
import tempfile
import tomllib
import unittest
import zipfile
from pathlib import Path
from urllib.parse import unquote, urlsplit

from PIL import Image

ROOT = Path(__file__).resolve().parent.parent
RUN_WINE = ROOT / "cmake" / "run-wine.sh"
COMPILER = "x86_64-w64-mingw32-gcc"
NEEDED_OF_WINDOWS = ("OviCam.p", "OviCam.lib", "libOviCam.a", "ovicam-ray-service.exe")
# For CTest: the test did not take place.
SKIPPED = 77
# What the script reads besides what is built.
SOURCES = ("CMakeLists.txt", "CHANGELOG.md", "LICENSE", "cmake", "docs/package", "examples", "interop", "platform", "samples")
PNG = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAAAAAA6fptVAAAACklEQVR4nGNoAAAAggCBd81ytgAAAABJRU5ErkJggg==")

ARGUMENTS = None


def pack(output, root=ROOT, build=None, gallery=None, **options):
    command = [root / "cmake" / "make_package.py", "--build", build or ARGUMENTS.windows_build, "--gallery", gallery, "--output", output]
    return subprocess.run(command, text=True, capture_output=True, **options)


def age(folder, seconds):
    """Files as if they had last been written then."""
    for file in folder.rglob("*"):
        os.utime(file, (seconds, seconds))


class Targets(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.found = []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.found += [value for name, value in attributes if name in ("href", "src")]


class Package(unittest.TestCase):
    """A package of the built Windows module with pages of the module and pictures of one pixel."""

    @classmethod
    def setUpClass(cls):
        if not hasattr(Package, "unpacked"):
            Package.prepare()

    @classmethod
    def prepare(cls):
        folder = tempfile.TemporaryDirectory(prefix="ovicam-package-test-")
        unittest.addModuleCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        cls.gallery = cls.folder / "gallery"
        (cls.gallery / "pictures").mkdir(parents=True)
        listed = tomllib.loads((ROOT / "samples" / "gallery.toml").read_text(encoding="utf-8"))
        cls.pictures = [entry["file"] for entry in listed["picture"] + listed["pinhole"]]
        for picture in cls.pictures:
            (cls.gallery / "pictures" / picture).write_bytes(PNG)
        for entry in listed["picture"]:
            if entry.get("sphere"):
                Image.new("L", (2, 1)).save(cls.gallery / "pictures" / entry["file"])
        # What a machine measured is linked to from its gallery, and has no place in the package.
        (cls.folder / "bench").mkdir()
        (cls.folder / "bench/index.html").write_text("measured")
        pages = [ROOT / "docs/site/make_pages.py", "--module", ARGUMENTS.local_module, "--tool", ARGUMENTS.tool, "--output", cls.gallery]
        subprocess.run(pages, check=True, stdout=subprocess.DEVNULL)

        run = pack(cls.folder / "first", gallery=cls.gallery)
        assert run.returncode == 0, run.stderr
        packages = list((cls.folder / "first").iterdir())
        assert len(packages) == 1, packages
        cls.zip_file = packages[0]
        cls.top = cls.zip_file.name.removesuffix("-win64.zip")
        # What a user's folder may be called.
        cls.unpacked = cls.folder / "Ovi Cam é" / cls.top
        with zipfile.ZipFile(cls.zip_file) as package:
            package.extractall(cls.unpacked.parent)
            cls.contents = {name.removeprefix(f"{cls.top}/"): package.read(name) for name in package.namelist()}


class Bytes(Package):
    def test_other_folders_times_rights_and_languages_give_the_same_bytes(self):
        elsewhere = self.folder / "another tree"
        for name in SOURCES:
            copy = shutil.copytree if (ROOT / name).is_dir() else shutil.copy
            (elsewhere / name).parent.mkdir(parents=True, exist_ok=True)
            copy(ROOT / name, elsewhere / name)
        build = elsewhere / "built"
        build.mkdir()
        for name in NEEDED_OF_WINDOWS[:3]:
            shutil.copyfile(ARGUMENTS.windows_build / name, build / name)
            (build / name).chmod(0o600)
        gallery = shutil.copytree(self.gallery, elsewhere / "gallery")
        (gallery / "pictures" / "of somebody else é.png").write_bytes(PNG)
        (gallery / "pictures.json").write_text("{}")
        age(elsewhere, 1_000_000_000)
        environment = {**os.environ, "TZ": "Asia/Kathmandu", "LC_ALL": "C", "PYTHONHASHSEED": "7", "HOME": str(elsewhere)}
        run = pack(elsewhere / "out", root=elsewhere, build=build, gallery=gallery, umask=0o077, cwd=elsewhere, env=environment)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        again = elsewhere / "out" / self.zip_file.name
        self.assertEqual(again.read_bytes(), self.zip_file.read_bytes())
        self.assertIn(hashlib.sha256(again.read_bytes()).hexdigest(), run.stdout)
        self.assertEqual([file.name for file in (elsewhere / "out").iterdir()], [again.name])

    def test_entries_tell_nothing_of_the_machine(self):
        with zipfile.ZipFile(self.zip_file) as package:
            entries = package.infolist()
            self.assertIsNone(package.testzip())
        names = [entry.filename for entry in entries]
        self.assertEqual(names, sorted(set(names)))
        for entry in entries:
            self.assertRegex(entry.filename, rf"\A{re.escape(self.top)}/[A-Za-z0-9._/-]+\Z")
            self.assertEqual((entry.extra, entry.comment, entry.flag_bits), (b"", b"", 0))
        self.assertEqual(len({(entry.date_time, entry.external_attr, entry.create_system) for entry in entries}), 1)

    def test_the_version_is_the_projects(self):
        version = self.top.removeprefix("OviCam-")
        self.assertIn(f"project(OviCam VERSION {version} ", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))
        self.assertIn(f"OviCam {version} ".encode(), (self.unpacked / "OviCam.p").read_bytes())

    def test_everything_is_there_as_it_was_built_and_written(self):
        expected = {
            "OviCam.p": ARGUMENTS.windows_build / "OviCam.p",
            "lib/OviCam.lib": ARGUMENTS.windows_build / "OviCam.lib",
            "lib/libOviCam.a": ARGUMENTS.windows_build / "libOviCam.a",
            "include/interop/camera_link.h": ROOT / "interop/camera_link.h",
            "include/interop/euler.h": ROOT / "interop/euler.h",
            "README.txt": ROOT / "docs/package/README.txt",
            "LICENSE": ROOT / "LICENSE",
            "CHANGELOG.md": ROOT / "CHANGELOG.md",
        }
        for pattern in ("examples/*.c", "examples/*.py", "samples/*.lws", "samples/objects/*.lwo"):
            expected |= {file.relative_to(ROOT).as_posix(): file for file in ROOT.glob(pattern)}
        for pattern in ("*.html", "reference/*.html", "style.css", "sphere.js", "pictures/*.js"):
            expected |= {f"reference/{file.relative_to(self.gallery).as_posix()}": file for file in self.gallery.glob(pattern)}
        expected |= {f"reference/pictures/{name}": self.gallery / "pictures" / name for name in self.pictures}
        self.assertEqual(set(self.contents), set(expected) | {"SHA256SUMS"})
        for name, file in expected.items():
            self.assertEqual(self.contents[name], re.sub(rb'<p class="note" id="measured">.*\n', b"", file.read_bytes()), name)

    def test_sums_are_of_every_file(self):
        lines = (self.unpacked / "SHA256SUMS").read_text(encoding="ascii").splitlines()
        self.assertEqual({line.split("  ", 1)[1] for line in lines}, set(self.contents) - {"SHA256SUMS"})
        check = ["sha256sum", "--check", "--strict", "--quiet", "SHA256SUMS"]
        run = subprocess.run(check, cwd=self.unpacked, text=True, capture_output=True)
        self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ""))


class Use(Package):
    """What a user does in the unpacked folder."""

    def wine(self, *command):
        # What Wine says of a crash is in a character set of its own.
        options = {"text": True, "errors": "replace", "capture_output": True, "timeout": 300}
        return subprocess.run([RUN_WINE, *command], cwd=self.unpacked, **options)

    def compile(self, program, *arguments):
        self.run_here(COMPILER, "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Iinclude", *arguments, "-o", program)

    def run_here(self, *command):
        run = subprocess.run(command, cwd=self.unpacked, text=True, capture_output=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""), command)

    def test_the_module_renders_and_logs_from_a_folder_with_any_name(self):
        log = self.unpacked / "OviCam-diag.log"
        log.unlink(missing_ok=True)
        picture = self.unpacked / "frame.png"
        self.addCleanup(lambda: picture.unlink(missing_ok=True))
        command = [ARGUMENTS.tool, "render", self.unpacked / "samples" / "cameras.lws", "--module", self.unpacked / "OviCam.p"]
        command += ["--camera", "Panoramic", "--size", "64x36", "--samples", "1", "-o", picture]
        for language in ("C.UTF-8", "C"):
            picture.unlink(missing_ok=True)
            environment = {**os.environ, "OVICAM_RAY_SERVICE": str(ARGUMENTS.windows_build / "ovicam-ray-service.exe"), "LC_ALL": language}
            run = subprocess.run(command, text=True, capture_output=True, env=environment)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertTrue(picture.is_file(), language)
        statistics = subprocess.run(["oiiotool", "--stats", picture], text=True, capture_output=True, check=True).stdout
        self.assertIn("64 x   36", statistics)
        deviations = [float(number) for number in re.search(r"StdDev: ([\d. ]+)", statistics)[1].split()]
        self.assertGreater(min(deviations[:3]), 10, f"the picture is of one colour: {statistics}")
        lines = log.read_text(encoding="ascii").splitlines()
        self.assertIn(f"==== OviCam {self.top.removeprefix('OviCam-')} DLL_PROCESS_ATTACH ====", lines[0])

    def test_a_broken_module_there_is_named_as_it_is_written(self):
        broken = self.unpacked / "löst.p"
        module = (self.unpacked / "OviCam.p").read_bytes()
        self.addCleanup(lambda: broken.unlink(missing_ok=True))
        environment = {**os.environ, "OVICAM_RAY_SERVICE": str(ARGUMENTS.windows_build / "ovicam-ray-service.exe")}
        # What is cut off never gets as far as Windows' loader; what needs a library that is missing does.
        needs_too_much = module.replace(b"KERNEL32.dll", b"KERNEL99.dll")
        self.assertNotEqual(needs_too_much, module)
        for content, name in ((module[:4096], f"Ovi Cam é/{self.top}/löst.p"), (needs_too_much, f"Ovi Cam é\\{self.top}\\löst.p")):
            broken.write_bytes(content)
            run = subprocess.run([ARGUMENTS.tool, "info", broken], text=True, capture_output=True, env=environment)
            self.assertNotEqual(run.returncode, 0)
            self.assertIn(f"{name} cannot be loaded", run.stderr)

    def test_examples_are_built_and_run_in_the_folder(self):
        self.compile("camera_link_path.exe", "examples/camera_link_path.c", "lib/libOviCam.a")
        run = self.wine("camera_link_path.exe")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("\\Quorin_CameraLink.ini", run.stdout)
        self.compile("read_camera_link.exe", "examples/read_camera_link.c")
        run = self.wine("read_camera_link.exe", "OviCam.p")
        # Whether a camera has published something is not up to this test.
        told = run.stdout if run.returncode == 0 else run.stderr
        self.assertIn(run.returncode, (0, 1), run.stderr)
        self.assertRegex(told, "shutter" if run.returncode == 0 else r"\\Quorin_CameraLink\.ini")
        self.assertEqual(self.wine("read_camera_link.exe", "gone.p").returncode, 2)

    def test_headers_and_libraries_suit_both_linkers(self):
        program, object_file = self.folder / "uses_both.c", self.folder / "uses_both.obj"
        # Without a C runtime, so that one program suits both; Microsoft's compiler then asks for a word that the runtime has.
        program.write_text(
            '#include "interop/euler.h"\n#include "interop/camera_link.h"\nint _fltused;\n'
            "int start(void) {\n  char path[260];\n  Quat half_turn = Eul_ToQuat(Eul_(3.14159265f, 0.0f, 0.0f, 0));\n"
            "  return QrmLink_SidecarPath(path, 260) * 10 + (int)(half_turn.x + 0.5f);\n}\n"
        )
        options = ["-nostdlib", "-ffreestanding", "-Wl,--entry=start", program]
        self.compile("mingw.exe", *options, "lib/libOviCam.a")
        self.run_here("clang", "--target=x86_64-pc-windows-msvc", "-Iinclude", "-ffreestanding", "-c", program, "-o", object_file)
        self.run_here("lld-link", "-entry:start", "-subsystem:console", "-nodefaultlib", object_file, "lib/OviCam.lib", "-out:microsoft.exe")
        for name in ("mingw.exe", "microsoft.exe"):
            self.assertEqual(self.wine(name).returncode, 11, name)

    def test_links_of_the_reference_stay_in_the_package_and_lead_somewhere(self):
        site = self.unpacked / "reference"
        count = 0
        for page in site.rglob("*.html"):
            for target in Targets(page.read_text(encoding="utf-8")).found:
                parts = urlsplit(target)
                if parts.scheme == "data" or not parts.path:
                    continue
                self.assertEqual((parts.scheme, parts.netloc), ("", ""), page)
                file = (page.parent / unquote(parts.path)).resolve()
                self.assertTrue(file.is_file() and file.is_relative_to(site.resolve()), f"{page.name} links to {target}")
                count += 1
        self.assertGreater(count, 200)

    def test_the_text_for_artists_names_what_is_there(self):
        text = (self.unpacked / "README.txt").read_text(encoding="ascii")
        named = re.findall(r"^([\w.]+/?)  ", text, re.MULTILINE)
        there = {name.split("/", 1)[0] + "/" * ("/" in name) for name in self.contents}
        self.assertEqual(set(named), there - {"README.txt"})
        self.assertLessEqual(max(map(len, text.splitlines())), 80)


class Mistakes(Package):
    """What is told when something is missing."""

    def refusal(self, **options):
        output = self.folder / "refused"
        run = pack(output, **{"gallery": self.gallery, **options})
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertNotIn("Traceback", run.stderr)
        self.assertFalse(output.exists())
        return run.stderr

    def test_a_module_that_is_not_built(self):
        told = self.refusal(build=self.folder / "nowhere")
        self.assertIn("OviCam.p", told)
        self.assertIn("make module", told)

    def test_a_gallery_that_is_not_made_or_not_whole(self):
        told = self.refusal(gallery=self.folder / "nowhere")
        self.assertIn("index.html", told)
        self.assertIn("make gallery", told)
        gallery = shutil.copytree(self.gallery, self.folder / "part of a gallery")
        (gallery / "pictures" / self.pictures[0]).unlink()
        told = self.refusal(gallery=gallery)
        self.assertIn(self.pictures[0], told)
        self.assertIn("make gallery", told)
        for page in gallery.rglob("*.html"):
            page.write_text(page.read_text(encoding="utf-8").replace(f"pictures/{self.pictures[0]}", "style.css"), encoding="utf-8")
        (gallery / "style.css").replace(gallery / "reference" / "style.css")
        shutil.copy(gallery / "reference" / "style.css", gallery / "style.css")
        told = self.refusal(gallery=gallery)
        self.assertIn(f"do not show pictures/{self.pictures[0]};", told)

    def test_a_link_that_leaves_the_gallery(self):
        gallery = shutil.copytree(self.gallery, self.folder / "linking gallery")
        with open(gallery / "index.html", "a", encoding="utf-8") as page:
            page.write('<a href="../../LICENSE">Licence</a>')
        self.assertIn("../../LICENSE", self.refusal(gallery=gallery))

    def test_a_version_without_a_change_log(self):
        elsewhere = self.folder / "other version"
        (elsewhere / "cmake").mkdir(parents=True)
        shutil.copy(ROOT / "cmake" / "make_package.py", elsewhere / "cmake")
        shutil.copy(ROOT / "CHANGELOG.md", elsewhere)
        (elsewhere / "CMakeLists.txt").write_text("project(OviCam VERSION 9.9 LANGUAGES C)\n")
        told = self.refusal(root=elsewhere)
        self.assertIn('"## [9.9] - ', told)
        (elsewhere / "CMakeLists.txt").write_text("")
        self.assertIn("project(OviCam VERSION", self.refusal(root=elsewhere))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", type=Path, required=True)
    parser.add_argument("--local-module", type=Path, required=True)
    parser.add_argument("--windows-build", type=Path, default=ROOT / "build" / "windows")
    ARGUMENTS, rest = parser.parse_known_args()
    ARGUMENTS.windows_build = ARGUMENTS.windows_build.resolve()
    for needed in NEEDED_OF_WINDOWS:
        if not (ARGUMENTS.windows_build / needed).is_file():
            print(f"Skipped: there is no {ARGUMENTS.windows_build / needed}; build it with: make gallery")
            sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *rest])
