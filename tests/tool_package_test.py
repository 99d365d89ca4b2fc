#!/usr/bin/python3
"""The tool's package: unpacked elsewhere, with the sources and the build out of sight, it renders.

tool_package_test.py --build FOLDER [--shipped-module OviCam.p] [unittest arguments]"""

import argparse
import os
import re
import subprocess
import sys
import tarfile
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# For CTest: the test did not take place.
SKIPPED = 77
ARGUMENTS = None


class ToolPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="ovicam-tool-package-test-")
        cls.addClassCleanup(folder.cleanup)
        # What a user's folder may be called.
        cls.folder = Path(folder.name) / "Ovi Cam é"
        cls.folder.mkdir()
        # Wine's server writes its registry there as it ends, which is some seconds after its last program.
        cls.addClassCleanup(subprocess.run, ["wineserver", "-kw"], env={**os.environ, "WINEPREFIX": str(cls.folder / "wine")},
                            stderr=subprocess.DEVNULL)
        cls.archive = cls.pack(cls.folder / "first")
        with tarfile.open(cls.archive) as archive:
            cls.entries = archive.getmembers()
            archive.extractall(cls.folder, filter="data") if hasattr(tarfile, "data_filter") else archive.extractall(cls.folder)
        cls.unpacked = cls.folder / cls.archive.name.removesuffix(".tar.gz")
        for name in ("plaza.lws", "objects"):
            subprocess.run(["cp", "-r", ROOT / "samples" / name, cls.folder], check=True)
        subprocess.run(["cp", ARGUMENTS.shipped_module, cls.folder / "OviCam.p"], check=True)

    @staticmethod
    def pack(output):
        command = [ROOT / "cmake" / "make_tool_package.py", "--build", ARGUMENTS.build, "--output", output]
        run = subprocess.run(command, text=True, capture_output=True)
        assert run.returncode == 0, run.stderr
        return next(output.iterdir())

    def run_hidden(self, *arguments):
        """Where neither sources nor build can be seen: an empty folder is mounted over them."""
        hide = 'mount -t tmpfs none "$1" && shift && ! ls "$1/CMakeLists.txt" 2>/dev/null && shift && exec "$@"'
        command = ["unshare", "--mount", "--map-root-user", "sh", "-c", hide, "sh", ROOT, ROOT, self.unpacked / "bin/ovicam", *arguments]
        environment = {**os.environ, "OVICAM_WINEPREFIX": str(self.folder / "wine"), "HOME": str(self.folder)}
        environment.pop("OVICAM_RAY_SERVICE", None)
        return subprocess.run(command, text=True, capture_output=True, cwd=self.folder, env=environment)

    def render(self, name, *more, size="96x24"):
        run = self.run_hidden("render", "plaza.lws", "--camera", "Panorama", "--samples", "2", "-o", name, "--size", size, *more)
        self.assertEqual(run.returncode, 0, run.stderr)
        return (self.folder / name).read_bytes()

    def test_it_renders_natively_as_the_build_does(self):
        picture = self.render("here.png")
        built = [ARGUMENTS.build / "ovicam", "render", ROOT / "samples/plaza.lws", "--camera", "Panorama", "--size", "96x24"]
        subprocess.run([*built, "--samples", "2", "-o", self.folder / "built.png"], check=True, capture_output=True)
        self.assertEqual(picture, (self.folder / "built.png").read_bytes())

    def test_it_renders_through_the_module_for_windows_in_any_folder(self):
        self.render("shipped.png", "--module", "OviCam.p")
        difference = ["oiiotool", "--fail", "0.02", "--failpercent", "0.5", "--diff", "shipped.png", "here.png"]
        self.render("here.png")
        run = subprocess.run(difference, text=True, capture_output=True, cwd=self.folder)
        self.assertEqual(run.returncode, 0, run.stdout)

    def test_it_reads_pictures(self):
        self.render("frame.png", size="96x72")
        run = self.run_hidden("skybox", "split", "frame.png", "--layout", "cross", "-o", "faces")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(len(list(self.folder.glob("faces*/*.png"))), 6, run.stdout)

    def test_it_validates_both_kinds_of_modules(self):
        for module in (self.unpacked / "lib/ovicam/OviCam.so", "OviCam.p"):
            run = self.run_hidden("validate", module, "--only", "descriptor", "--only", "null", "--level", "1")
            self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def test_it_works_through_a_link(self):
        link = self.folder / "linked"
        link.symlink_to(self.unpacked / "bin/ovicam")
        run = subprocess.run([link, "rays", self.folder / "plaza.lws", "--camera", "Panorama", "--grid", "1x1"], capture_output=True)
        self.assertEqual(run.returncode, 0, run.stderr)

    def test_it_tells_nothing_of_the_machine_and_is_the_same_each_time(self):
        self.assertEqual(self.archive.read_bytes(), self.pack(self.folder / "second").read_bytes())
        for entry in self.entries:
            self.assertEqual((entry.uid, entry.gid, entry.uname, entry.gname), (0, 0, "", ""), entry.name)
        for file in self.unpacked.rglob("*"):
            if file.is_file():
                self.assertNotIn(str(ROOT).encode(), file.read_bytes(), file)

    def test_the_readme_names_packages_that_have_its_libraries(self):
        text = (self.unpacked / "README.txt").read_text(encoding="utf-8")
        named = set(re.search(r"apt-get install (.*)", text)[1].split())
        for file in ("bin/ovicam", "lib/ovicam/OviCam.so", "lib/ovicam/ovicam-pictures.so", "lib/ovicam/ovicam-ray-service", "lib/ovicam/ovicam-validate-runner"):
            listed = subprocess.run(["ldd", self.unpacked / file], text=True, capture_output=True, check=True).stdout
            self.assertNotIn("not found", listed)
        self.assertLessEqual({"libembree3-3", "libopenimageio2.4", "libc6", "libstdc++6"} - named, set(), named)
        for package in named:
            subprocess.run(["dpkg-query", "-W", package], check=True, capture_output=True)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--shipped-module", type=Path, default=ROOT / "build/windows/OviCam.p")
    ARGUMENTS, rest = parser.parse_known_args()
    if not ARGUMENTS.shipped_module.exists() or not ARGUMENTS.shipped_module.with_name("ovicam-ray-service.exe").exists():
        print("build/windows holds no OviCam.p with its ray service")
        sys.exit(SKIPPED)
    unittest.main(argv=[sys.argv[0], *rest])
