#!/usr/bin/python3
"""Ratios of speed that no machine explains, far beyond what they should be: speed_ratios_test.py CAMERA_BENCH MODULE"""

import json
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))
import run_bench

PROCESSES = 5
# Twice what they should be.
MOST_THROUGH_THE_HANDLER = 2 * 1.15
MOST_THROUGH_THE_SKYBOX = 2 * 1.4
MOST_WITH_MANY_TIMES = 2 * 1.1


class SpeedRatios(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        least = {}
        for _ in range(PROCESSES):
            run = subprocess.run([PROGRAM, MODULE, "ray", "times"], check=True, capture_output=True, text=True)
            run_bench.keep_least(least, json.loads(run.stdout))
        cls.ratios = run_bench.ratios(least)

    def test_a_ray_through_the_handler_costs_little_more_than_its_arithmetic(self):
        rays = {name: ratio for name, ratio in self.ratios.items() if name.startswith("ray/")}
        self.assertGreaterEqual(len(rays), 26)
        for name, ratio in rays.items():
            with self.subTest(name):
                self.assertLess(ratio, MOST_THROUGH_THE_SKYBOX if "skybox" in name else MOST_THROUGH_THE_HANDLER)

    def test_many_times_in_a_frame_cost_what_one_does(self):
        for count in (31, 64, 512):
            with self.subTest(count):
                self.assertLess(self.ratios[f"times in a frame/{count}"], MOST_WITH_MANY_TIMES)


if __name__ == "__main__":
    MODULE, PROGRAM = sys.argv.pop(2), sys.argv.pop(1)
    unittest.main()
