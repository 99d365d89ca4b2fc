#!/usr/bin/python3
"""Measures the module and draws what it finds: bench/run_bench.py [--against MODULE] [--processes N] [--output FOLDER]

A process is fast or slow by where it was loaded, up to half as fast again, and a busy machine makes it slower still. So each
measurement is made in many short processes, of both builds and of the other module in turns, and the least one stands.
docs/performance.md says how to read the table, bench.json and index.html.
"""

import argparse
import datetime
import json
import os
import platform
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import jinja2
from tqdm import tqdm

ROOT = Path(__file__).resolve().parent.parent
RUN_WINE = ROOT / "cmake/run-wine.sh"
FEWEST_PROCESSES = 20
BAKING_PROCESSES = 3
REPROJECTION_PROCESSES = 2
SECONDS_FOR_A_PROCESS = 300


class BenchError(Exception):
    """A sentence that says what has to be done."""


class Build:
    """The programs and the module of a build; with `module`, another module under the same programs."""

    def __init__(self, name, folder, module):
        self.name, self.folder, self.module = name, folder, module
        self.is_windows = module.suffix != ".so"

    def command(self, program, *arguments):
        file = self.folder / (f"{program}.exe" if self.is_windows else program)
        for needed in (file, self.module):
            if not needed.exists():
                raise BenchError(f"there is no {needed}; build it with: make bench")
        return [*([RUN_WINE] if self.is_windows else []), file, self.module, *arguments]


def output_of(command, folder):
    """What a process prints. Its temporary folder is its own: the link file of whoever measures stays as it is."""
    environment = {**os.environ, "TMPDIR": str(folder), "TMP": str(folder)}
    try:
        run = subprocess.run(command, env=environment, capture_output=True, text=True, timeout=SECONDS_FOR_A_PROCESS)
    except subprocess.TimeoutExpired as error:
        raise BenchError(f"{command[-1]} has not ended after {SECONDS_FOR_A_PROCESS} s; measure on a quieter machine") from error
    if run.returncode != 0:
        raise BenchError(f"{' '.join(map(str, command))} failed: {(run.stderr or run.stdout).strip() or run.returncode}")
    return run.stdout


def keep_least(least, numbers):
    for name, value in numbers.items():
        least[name] = min(value, least.get(name, value))


def measure(builds, processes, groups):
    """The least of each measurement, by the name of the build and its own."""
    least = {build.name: {} for build in builds}
    with tempfile.TemporaryDirectory(prefix="ovicam-bench-") as scratch:
        for _ in tqdm(range(processes), desc="cameras", unit="round", leave=False, disable=None):
            for build in builds:
                keep_least(least[build.name], json.loads(output_of(build.command("camera_bench", *groups), scratch)))
        if not groups:
            baked = Path(scratch) / "baking.json"
            for _ in tqdm(range(BAKING_PROCESSES), desc="baking", unit="round", leave=False, disable=None):
                for build in builds:
                    output_of(build.command("baking_bench", baked), scratch)
                    keep_least(least[build.name], json.loads(baked.read_text(encoding="utf-8")))
            # No module takes part in it.
            for _ in tqdm(range(REPROJECTION_PROCESSES), desc="reprojection", unit="round", leave=False, disable=None):
                program = builds[0].folder / "reprojection_bench"
                keep_least(least[builds[0].name], json.loads(output_of([program], scratch)))
    return least


def measure_renderer(modules):
    """The rows that renderer_bench writes; none where it is not built, or writes none."""
    program = ROOT / "build/native/renderer_bench"
    if not program.exists() or "--json" not in subprocess.run([program], capture_output=True, text=True).stderr:
        return []
    with tempfile.TemporaryDirectory(prefix="ovicam-bench-") as scratch:
        file = Path(scratch) / "renderer.json"
        output_of([program, "--json", file, ROOT / "samples/plaza.lws", *modules], scratch)
        return json.loads(file.read_text(encoding="utf-8"))["renderer"]


# --- What follows from the numbers ------------------------------------------------------------------------------------


def ratios(least):
    """Every ratio within one build: a ray through the handler to the same arithmetic inlined, many times in a frame to one,
    and how many times the rays of one thread two of them have."""
    found = {}
    for name, value in least.items():
        if name.endswith("/handler"):
            found[name.removesuffix("/handler")] = value / least[name.removesuffix("handler") + "inlined"]
        elif name.startswith("times in a frame/") and not name.endswith("/1"):
            found[name] = value / least["times in a frame/1"]
        elif name.startswith("threads/") and name.endswith("/two"):
            found[name.removesuffix("/two")] = 2 * least[name.removesuffix("two") + "one"] / value
    return found


def in_order(names):
    """As people sort: numbers by their size."""
    return sorted(names, key=lambda name: [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", name)])


def as_text(name, value):
    if name.endswith("/bytes"):
        return f"{value / 1024:.1f} KiB"
    for size, unit in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
        if value >= size:
            return f"{value / size:.2f} {unit}"
    return f"{value:.1f} ns"


def print_table(least):
    builds = list(least)
    print(f"{'':58}" + "".join(f"{build:>16}" for build in builds))
    for name in in_order(set().union(*least.values())):
        print(f"{name:58}" + "".join(f"{as_text(name, least[build][name]) if name in least[build] else '':>16}" for build in builds))
    print("\nRatios")
    all_ratios = {build: ratios(least[build]) for build in builds}
    for name in in_order(set().union(*all_ratios.values())):
        print(f"{name:58}" + "".join(f"{all_ratios[build].get(name, float('nan')):16.2f}" for build in builds))


def charts(least):
    """One for each group: rows by name, with a bar for each build."""
    groups = {"ray": []}
    for name in in_order(set().union(*least.values())):
        group, _, rest = name.partition("/")
        groups.setdefault(group, []).append((rest, name))
    result = []
    for group, names in groups.items():
        if not names:
            continue
        greatest = max(least[build].get(name, 0.0) for build in least for _, name in names) or 1.0
        rows = []
        for label, name in names:
            bars = [
                {"build": i, "share": least[build][name] / greatest, "text": as_text(name, least[build][name])}
                for i, build in enumerate(least)
                if name in least[build]
            ]
            rows.append({"label": label.removesuffix("/bytes"), "bars": bars})
        result.append({"title": group, "rows": rows})
    return result


def machine():
    model = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.MULTILINE)
    return f"{platform.node()}, {model[1] if model else platform.machine()}, {os.cpu_count()} processors"


def write(file, text):
    """Whole or not at all."""
    new = file.with_suffix(".new")
    new.write_text(text, encoding="utf-8")
    new.replace(file)


def main():
    parser = argparse.ArgumentParser(description="Measures the cameras, the baking camera, reprojections and the renderer.")
    parser.add_argument("groups", nargs="*", help="groups of camera_bench (default: all, and everything else)")
    parser.add_argument("--against", type=Path, help="another module, measured in turns with the one of its build")
    parser.add_argument("--processes", type=int, default=FEWEST_PROCESSES, help="for each build (default: %(default)s)")
    parser.add_argument("--output", type=Path, default=ROOT / "build/bench", help="folder (default: %(default)s)")
    arguments = parser.parse_args()
    if arguments.processes < 1:
        parser.error("--processes must be 1 or more")
    if arguments.against and not arguments.against.exists():
        parser.error(f"there is no {arguments.against}; name a module file")
    builds = [
        Build("native", ROOT / "build/native", ROOT / "build/native/OviCam.so"),
        Build("windows", ROOT / "build/windows", ROOT / "build/windows/OviCam.p"),
    ]
    if arguments.against:
        same = builds[0] if arguments.against.suffix == ".so" else builds[1]
        builds.append(Build("against", same.folder, arguments.against.resolve()))
    try:
        least = measure(builds, arguments.processes, arguments.groups)
        renderer = [] if arguments.groups else measure_renderer([build.module for build in builds[:2]])
    except (BenchError, OSError) as error:
        sys.exit(f"run_bench.py: {error}")
    print_table(least)
    for row in renderer:
        print(" ".join(f"{key}: {value:.3g}" if isinstance(value, float) else f"{key}: {value}" for key, value in row.items()))
    facts = {"machine": machine(), "date": datetime.date.today().isoformat(), "processes": arguments.processes}
    arguments.output.mkdir(parents=True, exist_ok=True)
    all_ratios = {build: ratios(numbers) for build, numbers in least.items()}
    write(arguments.output / "bench.json",
          json.dumps({**facts, "least": least, "ratios": all_ratios, "renderer": renderer}, indent=1) + "\n")
    environment = jinja2.Environment(loader=jinja2.FileSystemLoader(Path(__file__).parent), autoescape=True,
                                     undefined=jinja2.StrictUndefined, trim_blocks=True, lstrip_blocks=True)
    environment.filters["in_order"] = in_order
    write(arguments.output / "index.html",
          environment.get_template("page.html").render(**facts, builds=list(least), charts=charts(least), ratios=all_ratios,
                                                       renderer=renderer))
    print(f"{arguments.output / 'index.html'} shows it all")


if __name__ == "__main__":
    main()
