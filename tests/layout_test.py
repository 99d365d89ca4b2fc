#!/usr/bin/python3
"""The folders of the project keep their order, and the check that sees to it finds what breaks it."""
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def check(folder):
    return subprocess.run([ROOT / "cmake" / "check_layout.py", folder], text=True, capture_output=True)


class Layout(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)

    def write(self, name, text):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def test_no_folder_of_the_project_includes_one_above_it(self):
        run = check(ROOT)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, "", ""))

    def test_an_include_that_climbs_is_refused(self):
        self.write("framework/lens.h", '#pragma once\n  #  include "cameras/panoramic/panoramic_cam.h"\n')
        run = check(self.folder)
        self.assertEqual(run.returncode, 1)
        self.assertIn('framework/lens.h: includes "cameras/panoramic/panoramic_cam.h"', run.stdout)

    def test_cameras_do_not_include_one_another(self):
        self.write("cameras/dual/dual_cam.cpp", '#include "cameras/skybox/skybox_cam.h"\n')
        self.assertEqual(check(self.folder).returncode, 1)

    def test_the_way_down_and_the_tests_are_free(self):
        self.write("cameras/dual/dual_cam.cpp", '#include "cameras/multiview/tile_grid.h"\n#include "cameras/dual/dual_cam.h"\n')
        self.write("cameras/dual/dual_cam_test.cpp", '#include "tests/support/camera_facts.h"\n')
        self.write("tool/commands/render.cpp", '#include "tool/render/tracer.h"\n#include "standin/session/session.h"\n')
        run = check(self.folder)
        self.assertEqual((run.returncode, run.stdout), (0, ""))

    def test_a_folder_without_a_layer_is_refused(self):
        self.write("attic/old.h", "#pragma once\n")
        run = check(self.folder)
        self.assertEqual(run.returncode, 1)
        self.assertIn("attic/old.h", run.stderr)


if __name__ == "__main__":
    unittest.main()
