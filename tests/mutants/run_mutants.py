#!/usr/bin/python3
"""Makes small faults in the module's sources, one at a time, and tells what share of them the tests notice.

Works on a copy of the sources in build/mutants, so that the tree stays as it is. A fault that does not compile does not count,
nor one that without_effect.toml has, with the reason why nothing could notice it. What the tests do not notice is listed with its
line. Interrupt it at any time: what was found until then is told.
"""

import argparse
import collections
import fnmatch
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutants"
# What every fault is held against, besides the tests of the camera that it is in.
COMMON_TESTS = ("camera_rays_test", "camera_lifecycle_test", "camera_edges_test", "panel_test", "panel_hints_test", "motion_samples_test",
                "module_test", "gizmo_test", "photographic_publishing_test", "publication_pace_test", "host_trust_test",
                "host_refusal_test", "envelope_test", "pose_cache_test", "sine_cosine_test", "camera_axes_test")
SOURCES = ("framework/*.h", "framework/*.cpp", "cameras/*/*_cam.h", "cameras/*/*_cam.cpp", "cameras/multiview/tile_*.h", "cameras/photographic/*.h")
TESTS = "portable_tests"
TURNED = {"<=": "<", ">=": ">", "<": "<=", ">": ">=", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+", "*": "/"}
OPERATOR = re.compile(r"(?<= )(<=|>=|==|!=|&&|\|\||<|>|\+|-|\*)(?= )")
NUMBER = re.compile(r"(?<![\w.'])(\d+\.\d+|[1-9]\d*|0)(?![\w.'x])")
STATEMENT = re.compile(r"^\s+(?!return|case|using|static|constexpr|const |auto |struct|if|for|while|else|template|}).*[^,{]\);$")
MEMBERS = re.compile(r"\b(\w+)\.(x|y|width|first)\b")
OTHER_MEMBER = {"x": "y", "y": "x", "width": "height", "first": "second"}


def files_of(patterns):
    return {path.relative_to(ROOT) for pattern in patterns for path in ROOT.glob(pattern) if not path.stem.endswith(("_test", "_suite"))}


def line_of(file, fault):
    return (ROOT / file).read_text(encoding="utf-8").splitlines()[fault[0]]


def code_of(line):
    """The line without comment; nothing for what is no code."""
    stripped = line.split("//")[0]
    if stripped.lstrip().startswith(("#", "*", "/*", "static_assert")) or '"' in stripped:
        return ""
    return stripped


def faults_of(file):
    """(line number, new line, what was done) for every small fault in a file."""
    found = []
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines()):
        code = code_of(line)
        for match in OPERATOR.finditer(code):
            if match[1] in "<>" and ("template" in code or "include" in code):
                continue
            other = TURNED[match[1]]
            found.append((number, line[: match.start()] + other + line[match.end() :], f"{match[1]} became {other}"))
        for match in NUMBER.finditer(code):
            other = str(int(match[1]) + 1) if match[1].isdigit() else str(float(match[1]) + 0.5)
            found.append((number, line[: match.start()] + other + line[match.end() :], f"{match[1]} became {other}"))
        for match in MEMBERS.finditer(code):
            other = f"{match[1]}.{OTHER_MEMBER[match[2]]}"
            found.append((number, line[: match.start()] + other + line[match.end() :], f"{match[0]} became {other}"))
        if STATEMENT.match(code):
            found.append((number, "", "the statement was removed"))
    return found


def without_effect(faults):
    """Those of (file, fault) that nothing could notice; the program ends if there is no such fault any more."""
    with open(pathlib.Path(__file__).with_name("without_effect.toml"), "rb") as listed:
        entries = tomllib.load(listed)["fault"]
    found = set()
    for entry in entries:
        pattern = re.compile(entry.get("lines") or r"\s*" + re.escape(entry["line"]))
        names = [entry["file"]] if isinstance(entry["file"], str) else entry["file"]
        of_entry = {
            (file, fault)
            for file, fault in faults
            if any(fnmatch.fnmatch(str(file), name) for name in names) and fault[2] == entry.get("change", fault[2]) and pattern.fullmatch(line_of(file, fault))
        }
        if not of_entry:
            sys.exit(f"run_mutants: without_effect.toml has what is not in the sources: {entry}")
        found |= of_entry
    return found


def tests_of(file):
    # What cameras share is tested with the cameras.
    of_camera = list((ROOT / file.parent).glob("*_cam_test.cpp")) or list(ROOT.glob("cameras/*/*_cam_test.cpp"))
    own = sorted({path.stem for path in [*of_camera, *(ROOT / file.parent).glob("*_test.cpp")]})
    return [*own, *(name for name in COMMON_TESTS if name not in own)]


def run(command, seconds):
    try:
        return subprocess.run(command, cwd=COPY, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=seconds, check=False).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def build(targets):
    return run(["cmake", "--build", "build/native", "--target", *targets], 1200)


def pass_all(names):
    """Stops at the first that fails."""
    pattern = "^(" + "|".join(names) + ")$"
    return run(["ctest", "--test-dir", "build/native", "-R", pattern, "--timeout", "600", "--stop-on-failure", "--parallel", "2"], 1800)


def seconds_of(test):
    """How long a test takes that passes; None for one that fails."""
    start = time.monotonic()
    return time.monotonic() - start if pass_all([test]) else None


def make_copy():
    COPY.mkdir(parents=True, exist_ok=True)
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.splitlines()
    for name in files:
        source, target = ROOT / name, COPY / name
        if source.is_file() and (not target.exists() or source.read_bytes() != target.read_bytes()):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source, target)
    # The compiler is most of what a fault costs: the quickest one optimises nothing, and reads a header once for a few sources of
    # the module. Of the tests, a fault in a header concerns few.
    quickly = [
        "-DCMAKE_C_COMPILER=clang",
        "-DCMAKE_CXX_COMPILER=clang++",
        "-DCMAKE_CXX_FLAGS_RELEASE=-O0",
        "-DCMAKE_UNITY_BUILD=ON",
        "-DCMAKE_UNITY_BUILD_BATCH_SIZE=4",
        "-DOVICAM_UNITY=OFF",
    ]
    subprocess.run(["cmake", "--preset", "native", *quickly], cwd=COPY, stdout=subprocess.DEVNULL, check=True)


def notice(file, fault, groups_of_tests):
    """True when a test fails, False when none does, None when it does not compile."""
    number, line, _ = fault
    target = COPY / file
    original = target.read_text(encoding="utf-8")
    lines = original.splitlines(keepends=True)
    lines[number] = line + "\n"
    tests_have_fault = False
    try:
        target.write_text("".join(lines), encoding="utf-8")
        if not build(["ovicam_module"]):
            return None
        if not all(map(pass_all, groups_of_tests)):
            return True
        # What is in headers is compiled into tests as well.
        tests_have_fault = file.suffix == ".h"
        return tests_have_fault and (not build([TESTS]) or not all(map(pass_all, groups_of_tests)))
    finally:
        target.write_text(original, encoding="utf-8")
        # Or they would notice this fault again in place of the next one.
        if tests_have_fault and not build([TESTS]):
            sys.exit("run_mutants: the sources do not build any more")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seed", type=int, default=1, help="the same seed makes the same faults")
    parser.add_argument("--count", type=int, default=200, help="how many faults")
    parser.add_argument("--files", nargs="*", default=SOURCES, help="patterns of some of the sources, such as 'framework/*.h'")
    arguments = parser.parse_args()
    os.environ["GTEST_FAIL_FAST"] = "1"
    os.environ.setdefault("CMAKE_CXX_COMPILER_LAUNCHER", "ccache" if shutil.which("ccache") else "")
    of_module = [(file, fault) for file in sorted(files_of(SOURCES)) for fault in faults_of(ROOT / file)]
    known = without_effect(of_module)
    chosen = files_of(arguments.files)
    faults = [(file, fault) for file, fault in of_module if file in chosen and (file, fault) not in known]
    random.Random(arguments.seed).shuffle(faults)
    faults = faults[: arguments.count]
    make_copy()
    every_test = sorted({name for file, _ in faults for name in tests_of(file)})
    if not build(["ovicam_module", TESTS]):
        sys.exit("run_mutants: the sources do not build as they are")
    tests_there = subprocess.run(["ctest", "--test-dir", "build/native", "--show-only"], cwd=COPY, capture_output=True, text=True, check=True).stdout.split()
    seconds = {name: seconds_of(name) if name in tests_there else None for name in every_test}
    broken = [name for name in every_test if seconds[name] is None]
    if broken:
        sys.exit("run_mutants: without any fault these fail already: " + ", ".join(broken))
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    noticed, missed, survivors = collections.Counter(), collections.Counter(), []
    try:
        for index, (file, fault) in enumerate(faults, 1):
            # Most faults are noticed by what takes no time.
            quick = [name for name in tests_of(file) if seconds[name] < 1.0]
            slow = [name for name in tests_of(file) if name not in quick]
            result = notice(file, fault, [group for group in (quick, slow) if group])
            text = {None: "does not compile", True: "noticed", False: "MISSED"}[result]
            print(f"{index}/{len(faults)} {file}:{fault[0] + 1}: {fault[2]}: {text}", flush=True)
            if result is None:
                continue
            (noticed if result else missed)[file] += 1
            if not result:
                survivors.append(f"{file}:{fault[0] + 1}: {fault[2]}")
    except KeyboardInterrupt:
        print("interrupted")
    if not build(["ovicam_module", TESTS]) or not pass_all(every_test):
        sys.exit("run_mutants: without any fault tests fail by now, so that what was noticed says nothing")
    print()
    for file in sorted(set(noticed) | set(missed)):
        total = noticed[file] + missed[file]
        print(f"{100 * noticed[file] / total:5.1f}% of {total:3}  {file}")
    total = sum(noticed.values()) + sum(missed.values())
    if total:
        print(f"{100 * sum(noticed.values()) / total:5.1f}% of {total:3}  all")
    print("\n".join(["", "Missed:", *survivors] if survivors else ["", "Nothing was missed."]))


if __name__ == "__main__":
    main()
