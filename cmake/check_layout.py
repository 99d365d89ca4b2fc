#!/usr/bin/python3
"""Refuses an include that climbs: a folder knows those below it, and nothing of those above. Argument: the project's folder."""
import re
import subprocess
import sys
from pathlib import Path

# From bottom to top; folders in one row do not know each other.
LAYERS = (
    ("platform",),
    ("sdk",),
    ("framework",),
    ("interop",),
    ("cameras/photographic", "cameras/multiview"),
    ("cameras/advanced_panoramic",),
    ("cameras",),
    ("module",),
    ("standin/scene",),
    ("standin/host",),
    ("standin/session",),
    ("standin/remote",),
    ("standin/validate",),
    ("tool/output",),
    ("tool/pictures",),
    ("tool/render", "tool/lens"),
    ("tool/view",),
    ("tool/commands",),
    ("samples",),
    ("examples",),
    ("tests", "bench"),
)
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def place_of(file):
    """Layer and folder. Tests stand beside what they test, and may use whatever they need."""
    if re.search(r"_(test|suite|facts)\.\w+$", file):
        return len(LAYERS) - 1, "tests"
    matches = [(folder, layer) for layer, row in enumerate(LAYERS) for folder in row if file.startswith(folder + "/")]
    if not matches:
        sys.exit(f"{file}: its folder has no layer in {Path(__file__).name}")
    folder, layer = max(matches, key=lambda match: len(match[0]))
    # Each camera is a house of its own.
    return layer, "/".join(file.split("/")[:2]) if folder == "cameras" else folder


def climbing_includes(root):
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root, text=True, capture_output=True)
    files = listed.stdout.split("\0")
    if listed.returncode:  # Not a clone: whatever is there, but for what was built.
        files = (path.relative_to(root).as_posix() for path in root.rglob("*") if "build" not in path.parts)
    for file in sorted(file for file in files if re.search(r"\.(c|cpp|h|inc)$", file) and (root / file).is_file()):
        layer, folder = place_of(file)
        for included in INCLUDE.findall((root / file).read_text(encoding="utf-8")):
            other_layer, other_folder = place_of(included)
            if other_layer > layer or (other_layer == layer and other_folder != folder):
                yield f'{file}: includes "{included}", but {folder}/ stands no higher than {other_folder}/'


if __name__ == "__main__":
    found = list(climbing_includes(Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()))
    print("\n".join(found), end="\n" if found else "")
    sys.exit(1 if found else 0)
