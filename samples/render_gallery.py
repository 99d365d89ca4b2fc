#!/usr/bin/python3
"""Renders the pictures that samples/gallery.toml lists through the shipped Windows module, and only what has changed since."""

import argparse
import concurrent.futures
import fcntl
import functools
import hashlib
import json
import os
import shlex
import subprocess
import sys
import tempfile
import tomllib
from dataclasses import dataclass
from pathlib import Path

from PIL import Image, ImageChops, ImageDraw, ImageFilter
from tqdm import tqdm

ROOT = Path(__file__).resolve().parent.parent
SECONDS_FOR_A_PICTURE = 600

# Their pictures depend on other cameras of the scene.
SERVERS_THAT_SHOW_CAMERAS = {"QuorinMultiCam", "Quorin4UpCam", "Quorin12UpCam", "QuorinOverscanCam", "QuorinDpiCam"}


class CatalogueError(Exception):
    """The list of pictures, or the command line, asks for something impossible."""


@dataclass(frozen=True)
class Picture:
    file: str
    kind: str
    camera: str
    arguments: tuple[str, ...]
    pinhole: str | None
    # Without the folder; None for the scene of the command line.
    scene: str | None = None
    # What is drawn after rendering: DRAWN, and for "coverage" the camera that sees the object as its map has it.
    drawn: str | None = None
    share: float | None = None
    front: tuple[str, str] | None = None
    # What is reprojected after rendering, side by side: the number of the pane that it comes from, and the arguments.
    panes: tuple[tuple[int, tuple[str, ...]], ...] = ()


# --- The list of pictures ---------------------------------------------------------------------------------------------


def read_picture(entry: dict, kind: str, where: str) -> Picture:
    """An entry of the list, checked. Raises CatalogueError."""
    file = entry.get("file")
    if not isinstance(file, str) or not file.endswith(".png") or Path(file).name != file or file.startswith("."):
        raise CatalogueError(f'{where}: "file" must be the name of a PNG picture without a folder, not {file!r}')
    camera = entry.get("camera")
    if not isinstance(camera, str) or not camera:
        raise CatalogueError(f'{where}: {file}: "camera" must name a camera of the scene')
    arguments = entry.get("arguments", [])
    if not isinstance(arguments, list) or not all(isinstance(argument, str) for argument in arguments):
        raise CatalogueError(f'{where}: {file}: "arguments" must be a list of texts')
    if kind not in COMMANDS:
        raise CatalogueError(f'{where}: {file}: "kind" must be one of {", ".join(COMMANDS)}, not {kind!r}')
    scene = entry.get("scene")
    if scene is not None and (not isinstance(scene, str) or Path(scene).name != scene):
        raise CatalogueError(f'{where}: {file}: "scene" must be the name of a scene beside the others, not {scene!r}')
    drawn, share = entry.get("drawn"), entry.get("share")
    if drawn is not None and drawn not in DRAWN:
        raise CatalogueError(f'{where}: {file}: "drawn" must be one of {", ".join(DRAWN)}, not {drawn!r}')
    if (drawn == "frame") != (isinstance(share, float) and 0 < share < 1):
        raise CatalogueError(f'{where}: {file}: "drawn" as a frame, and nothing else, needs a "share" between 0 and 1')
    front = entry.get("front")
    if front is not None and (kind != "coverage" or not isinstance(front, list) or [type(part) for part in front] != [str, str]):
        raise CatalogueError(f'{where}: {file}: "front" must be the scene and the camera that a coverage is drawn over')
    panes = tuple(read_pane(pane, number, f"{where}: {file}") for number, pane in enumerate(entry.get("panes", []), 1))
    return Picture(file, kind, camera, tuple(arguments), entry.get("pinhole"), scene, drawn, share,
                   front and tuple(front), panes)


def read_pane(pane: object, number: int, where: str) -> tuple[int, tuple[str, ...]]:
    """A picture that is reprojected from one of those before it. Raises CatalogueError."""
    sound = isinstance(pane, list) and len(pane) == 4 and all(isinstance(word, str) for word in pane)
    if not sound or not pane[0].isdigit() or int(pane[0]) >= number:
        raise CatalogueError(f'{where}: each of "panes" must be four texts: the number of a picture before it, lens, lens, and size')
    of, before, after, size = pane
    return int(of), ("--from", before, "--to", after, "--size", size)


def read_catalogue(path: Path) -> dict[str, Picture]:
    """All pictures by file name. Raises CatalogueError."""
    try:
        catalogue = tomllib.loads(path.read_text(encoding="utf-8"))
    except (OSError, UnicodeDecodeError, tomllib.TOMLDecodeError) as error:
        raise CatalogueError(f"{path}: {error}") from error
    where = path.name
    pinholes = [read_picture(entry, "render", where) for entry in catalogue.get("pinhole", [])]
    shown = [read_picture(entry, entry.get("kind"), where) for entry in catalogue.get("picture", [])]
    lenses = [read_picture(entry, "render", where) for entry in catalogue.get("lens", [])]
    pictures: dict[str, Picture] = {}
    for picture in pinholes + shown + lenses:
        if picture.file in pictures:
            raise CatalogueError(f"{where}: {picture.file} is listed twice")
        pictures[picture.file] = picture
    plain = {picture.file for picture in pinholes}
    for picture in shown:
        if picture.pinhole is not None and picture.pinhole not in plain:
            raise CatalogueError(f"{where}: {picture.file}: there is no [[pinhole]] with the file {picture.pinhole!r}")
    return pictures


def chosen_pictures(pictures: dict[str, Picture], names: list[str]) -> list[Picture]:
    """The named pictures with their pinholes, or all. Raises CatalogueError."""
    if not names:
        return list(pictures.values())
    chosen = {}
    for name in names:
        file = name if name.endswith(".png") else name + ".png"
        if file not in pictures:
            raise CatalogueError(f"no picture is called {name}; there are {', '.join(pictures)}")
        for wanted in (file, pictures[file].pinhole):
            if wanted is not None:
                chosen[wanted] = pictures[wanted]
    return list(chosen.values())


# --- What a picture depends on ----------------------------------------------------------------------------------------


@functools.cache
def hash_of_file(path: Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()


class SceneFile:
    """A scene's text, separated into its cameras and the rest."""

    def __init__(self, path: Path):
        self.path = path
        self._cameras: dict[str, list[str]] = {}
        self._others: list[str] = []
        self._objects: list[str] = []
        block = self._others
        for line in path.read_text(encoding="utf-8", errors="surrogateescape").splitlines():
            word, _, rest = line.partition(" ")
            if word == "AddCamera":
                # The item's number in this line depends on how many cameras there are; the picture does not.
                block = []
                continue
            if not line:
                block = self._others
                continue
            if word == "CameraName" and block is not self._others:
                self._cameras[rest] = block
            block.append(line)
            if word == "LoadObjectLayer":
                self._objects.append(rest.split(" ", 2)[-1])

    def content_for(self, picture: Picture) -> list:
        """The parts of the scene and of its objects' files that the picture depends on."""
        own = self._cameras.get(picture.camera)
        servers = {word for line in own or [] if line.startswith("Plugin CameraHandler ") for word in line.split()[3:4]}
        # The arguments can name another server than the scene.
        servers.update(picture.arguments)
        alone = own is not None and not servers & SERVERS_THAT_SHOW_CAMERAS
        cameras = own if alone else self._cameras
        return [self._others, cameras, self._object_hashes]

    @functools.cached_property
    def _object_hashes(self) -> dict[str, str]:
        files = {name: self.path.parent / name for name in self._objects}
        return {name: hash_of_file(file) for name, file in files.items() if file.is_file()}


@functools.cache
def scene_file(path: Path) -> SceneFile:
    try:
        return SceneFile(path)
    except OSError as error:
        raise CatalogueError(f"{path}: {error.strerror}; \"scene\" must name a scene beside the others") from error


@dataclass(frozen=True)
class Renderer:
    """The programs and files that pictures come from."""

    tool: Path
    module: Path
    local_module: Path
    scene: SceneFile

    def scene_of(self, picture: Picture) -> SceneFile:
        return self.scene if picture.scene is None else scene_file(self.scene.path.parent / picture.scene)

    def command(self, picture: Picture, output: Path) -> list[str]:
        words, module = COMMANDS[picture.kind]
        return [str(self.tool), words[0], str(self.scene_of(picture).path), "--module", str(getattr(self, module)), "--camera",
                picture.camera, *words[1:], *light_of(picture), *picture.arguments, "-o", str(output)]

    def pane_command(self, picture: Picture, arguments: tuple[str, ...], before: Path, output: Path) -> list[str]:
        """Its lens "camera" is the one that the picture was rendered through."""
        lens = f"{self.scene_of(picture).path}:{picture.camera}"
        words = [lens if word == "camera" else word for word in arguments]
        return [str(self.tool), "reproject", str(before), *words, "--module", str(self.module), "-o", str(output)]

    def front_of(self, picture: Picture, *arguments: str) -> Picture:
        """What a coverage is drawn over."""
        scene, camera = picture.front
        return Picture(picture.file, "render", camera, arguments, None, scene)

    def key(self, picture: Picture) -> str:
        """Changes with everything that the picture depends on."""
        words, module = COMMANDS[picture.kind]
        module_file = getattr(self, module)
        binaries = [self.tool, module_file, *module_file.parent.glob("ovicam-ray-service*")]
        parts = [words, light_of(picture), picture.camera, picture.arguments, [hash_of_file(file) for file in sorted(binaries) if file.is_file()],
                 self.scene_of(picture).content_for(picture)]
        if picture.drawn or picture.front or picture.panes:
            parts.append([picture.drawn, picture.share, picture.panes, hash_of_file(Path(__file__))])
        if picture.front:
            parts.append(self.key(self.front_of(picture)))
        return hashlib.sha256(json.dumps(parts).encode()).hexdigest()


# By kind: the words of the command, and the module that it takes. Gizmos are drawn by this machine's build of the module.
COMMANDS = {
    "render": (["render"], "module"),
    "gizmo": (["render", "--gizmo"], "local_module"),
    "coverage": (["bake-coverage"], "module"),
}

# Smooth enough for the eye; more samples cost every fresh build their time.
LIGHT = {"--light": "soft", "--samples": "12"}


def light_of(picture: Picture) -> list[str]:
    """What its own arguments do not say."""
    if picture.kind != "render":
        return []
    return [word for option, value in LIGHT.items() if option not in picture.arguments for word in (option, value)]


# --- The gallery's folder ---------------------------------------------------------------------------------------------


class Gallery:
    """A folder of pictures, and the file beside it that says what each was rendered from."""

    def __init__(self, folder: Path):
        self.pictures = folder / "pictures"
        self.pictures.mkdir(parents=True, exist_ok=True)
        self._key_file = folder / "pictures.json"
        # Held until the program ends: two runs at once would mistake each other's pictures for their own.
        self._lock = os.open(folder, os.O_RDONLY)
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            print(f"gallery: waiting for another run in {folder}", file=sys.stderr, flush=True)
            fcntl.flock(self._lock, fcntl.LOCK_EX)
        try:
            self._keys = dict(json.loads(self._key_file.read_text(encoding="utf-8")))
        except (OSError, ValueError, TypeError):
            self._keys = {}

    def has(self, picture: Picture, key: str) -> bool:
        return self._keys.get(picture.file) == key and (self.pictures / picture.file).is_file()

    def forget(self, files: list[str]) -> None:
        """A picture that is rendered again does not count as done until it is."""
        for file in files:
            self._keys.pop(file, None)
        self._save()

    def remember(self, picture: Picture, key: str) -> None:
        self._keys[picture.file] = key
        self._save()

    def remove_leftovers(self, listed: dict[str, Picture]) -> list[str]:
        """Deletes pictures whose entries were removed, and what interrupted runs left behind; returns their names."""
        left = [file for file in self._keys if file not in listed]
        unfinished = [path.name for path in self.pictures.glob(".*.unfinished-*")]
        for file in left + unfinished:
            (self.pictures / Path(file).name).unlink(missing_ok=True)
        self.forget(left)
        return left

    def _save(self) -> None:
        new = self._key_file.with_suffix(".unfinished")
        new.write_text(json.dumps(self._keys, indent=1, sort_keys=True) + "\n", encoding="utf-8")
        new.replace(self._key_file)


class Progress:
    """A progress bar in a terminal; elsewhere an occasional line."""

    def __init__(self, total: int):
        self._total = total
        self._done = 0
        terminal = sys.stderr.isatty()
        self._bar = tqdm(total=total, desc="Gallery", unit="picture", disable=not terminal)
        self._every = None if terminal else max(1, -(-total // 5))

    def step(self) -> None:
        self._done += 1
        self._bar.update()
        if self._every and (self._done % self._every == 0 or self._done == self._total):
            print(f"gallery: {self._done} of {self._total} pictures", file=sys.stderr, flush=True)

    def say(self, text: str) -> None:
        self._bar.clear()
        print(text, file=sys.stderr, flush=True)
        self._bar.refresh()

    def close(self) -> None:
        self._bar.close()


# --- What is drawn after rendering ------------------------------------------------------------------------------------

HIGHLIGHT = (255, 138, 0)


def with_circle(picture: Image.Image, _share: float | None) -> Image.Image:
    """Only what is within the circle that touches the edges, as a dome shows it."""
    # Drawn four times as large, so that its edge is smooth.
    mask = Image.new("L", (4 * picture.width, 4 * picture.height))
    ImageDraw.Draw(mask).ellipse((0, 0, mask.width - 1, mask.height - 1), fill=255)
    cut = picture.convert("RGBA")
    cut.putalpha(ImageChops.multiply(cut.getchannel("A"), mask.resize(picture.size, Image.Resampling.LANCZOS)))
    return cut


def with_frame(picture: Image.Image, share: float) -> Image.Image:
    """Darker outside of a frame in the middle, whose edges are that share of the picture's."""
    whole = picture.convert("RGB")
    left, top = (round(side * (1 - share) / 2) for side in whole.size)
    box = (left, top, whole.width - left, whole.height - top)
    drawn = Image.blend(whole, Image.new("RGB", whole.size), 0.35)
    drawn.paste(whole.crop(box), box)
    ImageDraw.Draw(drawn).rectangle((box[0] - 2, box[1] - 2, box[2] + 1, box[3] + 1), outline=HIGHLIGHT, width=2)
    return drawn


def beside_its_object(coverage: Image.Image, front: Image.Image) -> Image.Image:
    """The object as its map has it, and beside it what of the map is covered, over the object."""
    front = front.convert("RGB")
    white = coverage.convert("L").point(lambda value: 255 if value > 127 else 0)
    pale = Image.blend(front, Image.new("RGB", front.size, (24, 26, 30)), 0.72)
    # Single pixels would not be seen in a smaller picture.
    pale.paste(HIGHLIGHT, mask=white.filter(ImageFilter.MaxFilter(3)))
    gap = 16
    both = Image.new("RGBA", (2 * front.width + gap, front.height))
    both.paste(front, (0, 0))
    both.paste(pale, (front.width + gap, 0))
    return both


def side_by_side(panes: list[Image.Image]) -> Image.Image:
    gap = 12
    whole = Image.new("RGBA", (sum(pane.width + gap for pane in panes) - gap, max(pane.height for pane in panes)))
    left = 0
    for pane in panes:
        whole.paste(pane, (left, (whole.height - pane.height) // 2))
        left += pane.width + gap
    return whole


DRAWN = {"circle": with_circle, "frame": with_frame}


# --- Rendering --------------------------------------------------------------------------------------------------------


def render(renderer: Renderer, picture: Picture, output: Path) -> tuple[str, list[str]]:
    """What went wrong, with the command; empty on success."""
    command = renderer.command(picture, output)
    if not picture.drawn and not picture.front and not picture.panes:
        return run_tool(command, output), command
    with tempfile.TemporaryDirectory(prefix="ovicam-gallery-") as folder:
        seen, below = Path(folder, "seen.png"), Path(folder, "below.png")
        command = renderer.command(picture, seen)
        problem = run_tool(command, seen)
        if not problem and picture.front:
            width, height = Image.open(seen).size
            command = renderer.command(renderer.front_of(picture, "--size", f"{width}x{height}"), below)
            problem = run_tool(command, below)
        panes = [seen]
        for of, words in picture.panes:
            if not problem:
                panes.append(Path(folder, f"pane{len(panes)}.png"))
                command = renderer.pane_command(picture, words, panes[of], panes[-1])
                problem = run_tool(command, panes[-1])
        if problem:
            return problem, command
        try:
            drawn = Image.open(seen)
            if picture.panes:
                drawn = side_by_side([Image.open(pane).convert("RGBA") for pane in panes])
            if picture.front:
                drawn = beside_its_object(drawn, Image.open(below))
            if picture.drawn:
                drawn = DRAWN[picture.drawn](drawn, picture.share)
            unfinished = output.with_name(f".{output.stem}.unfinished-{os.getpid()}.png")
            drawn.save(unfinished, optimize=True)
            unfinished.replace(output)
        except (OSError, ValueError) as error:
            return str(error), command
    return "", command


def run_tool(command: list[str], output: Path) -> str:
    """What went wrong; empty on success."""
    try:
        run = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace",
                             timeout=SECONDS_FOR_A_PICTURE, check=False)
    except subprocess.TimeoutExpired:
        return f"it took more than {SECONDS_FOR_A_PICTURE} s and was stopped"
    except OSError as error:
        return str(error)
    if run.returncode != 0:
        return (run.stderr + run.stdout).strip() or f"it ended with {run.returncode} and said nothing"
    return "" if output.is_file() else "it said that all is well, and wrote no picture"


def render_all(renderer: Renderer, gallery: Gallery, waiting: dict[Picture, str], jobs: int) -> int:
    """Renders the pictures, each with its key; returns how many failed."""
    gallery.forget([picture.file for picture in waiting])
    progress = Progress(len(waiting))
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as threads:
        try:
            running = {}
            for picture in waiting:
                output = gallery.pictures / picture.file
                running[threads.submit(render, renderer, picture, output)] = picture
            for done in concurrent.futures.as_completed(running):
                picture = running[done]
                problem, command = done.result()
                if problem:
                    failures += 1
                    progress.say(f"gallery: {picture.file} could not be rendered\n  by: {shlex.join(command)}\n  it says: {problem}")
                else:
                    gallery.remember(picture, waiting[picture])
                progress.step()
        except BaseException:
            threads.shutdown(cancel_futures=True)
            raise
        finally:
            progress.close()
    return failures


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, epilog="Example: samples/render_gallery.py fisheye_power_two stereo")
    parser.add_argument("names", nargs="*", metavar="PICTURE", help="names of pictures; their pinhole pictures are included (default: all)")
    parser.add_argument("--tool", type=Path, default=ROOT / "build/native/ovicam", help="the ovicam program")
    parser.add_argument("--module", type=Path, default=ROOT / "build/windows/OviCam.p", help="module that renders")
    parser.add_argument("--local-module", type=Path,
                        help="this machine's build of the module, for gizmos (default: OviCam.so beside the tool)")
    parser.add_argument("--output", type=Path, default=ROOT / "build/gallery", help="the gallery's folder")
    parser.add_argument("--catalogue", type=Path, default=ROOT / "samples/gallery.toml", help="list of the pictures")
    parser.add_argument("--scene", type=Path, default=ROOT / "samples/cameras.lws", help="scene with the cameras")
    # Each render uses all processors; a second one uses them while the first starts its programs.
    parser.add_argument("--jobs", type=int, default=2, help="renders at a time")
    given = parser.parse_args()
    given.local_module = given.local_module or given.tool.parent / "OviCam.so"
    for file in (given.tool, given.module, given.local_module, given.scene):
        if not file.is_file():
            parser.error(f"{file} is not there; build it with: make gallery")
    if given.jobs < 1:
        parser.error(f"--jobs {given.jobs}: give 1 or more")
    return given


def main() -> int:
    given = arguments()
    pictures = read_catalogue(given.catalogue)
    chosen = chosen_pictures(pictures, given.names)
    renderer = Renderer(given.tool.resolve(), given.module, given.local_module, SceneFile(given.scene))
    gallery = Gallery(given.output)
    removed = gallery.remove_leftovers(pictures)
    keys = {picture: renderer.key(picture) for picture in chosen}
    waiting = {picture: key for picture, key in keys.items() if not gallery.has(picture, key)}
    failures = render_all(renderer, gallery, waiting, given.jobs) if waiting else 0
    print(f"gallery: {len(waiting) - failures} rendered, {len(keys) - len(waiting)} unchanged, {len(removed)} removed, "
          f"{failures} failed; in {gallery.pictures}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except CatalogueError as error:
        sys.exit(f"gallery: {error}")
    except KeyboardInterrupt:
        sys.exit("gallery: stopped; the next run continues from here")
