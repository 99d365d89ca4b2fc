#!/usr/bin/python3
"""Packs what users get, OviCam-VERSION-win64.zip, from what is built: cmake/make_package.py [--build FOLDER] [--gallery FOLDER]
[--output FOLDER]

The same files give the same bytes, whenever, wherever and by whomever they are packed.
"""

import argparse
import hashlib
import html.parser
import posixpath
import re
import stat
import sys
import tomllib
import zipfile
from pathlib import Path
from urllib.parse import unquote, urlsplit

ROOT = Path(__file__).resolve().parent.parent

# By the name in the package.
SOURCES = {
    "README.txt": "docs/package/README.txt",
    "CHANGELOG.md": "CHANGELOG.md",
    "LICENSE": "LICENSE",
    "include/interop/camera_link.h": "interop/camera_link.h",
    "include/interop/euler.h": "interop/euler.h",
    "examples/camera_link_path.c": "examples/camera_link_path.c",
    "examples/read_camera_link.c": "examples/read_camera_link.c",
    "examples/read_camera_link.py": "examples/read_camera_link.py",
}
BUILT = {"OviCam.p": "OviCam.p", "lib/libOviCam.a": "libOviCam.a", "lib/OviCam.lib": "OviCam.lib"}
SAMPLES = ("*.lws", "objects/*.lwo")


class PackageError(Exception):
    """What a person has to do, in a sentence."""


def project_version():
    found = re.search(r"^project\(OviCam VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"), re.MULTILINE)
    if not found:
        raise PackageError("CMakeLists.txt does not say project(OviCam VERSION ...)")
    return found[1]


def release_date(version):
    """Year, month and day that the change log gives the version. Unlike a commit's date it is in the sources themselves."""
    heading = rf"^## \[{re.escape(version)}\] - (\d{{4}})-(\d\d)-(\d\d)$"
    found = re.search(heading, (ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), re.MULTILINE)
    if not found:
        raise PackageError(f'CHANGELOG.md has no entry for this version; write one below the line "## [{version}] - YEAR-MONTH-DAY"')
    return tuple(map(int, found.groups()))


def bytes_of(file, remedy):
    try:
        return file.read_bytes()
    except OSError as error:
        raise PackageError(f"{file} cannot be read ({error.strerror}); {remedy}") from error


# What one machine measured stays there.
MEASURED = re.compile(rb'<p class="note" id="measured">.*\n')


class Targets(html.parser.HTMLParser):
    """What a page links to and shows."""

    def __init__(self, text):
        super().__init__()
        self.found = []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.found += [value for name, value in attributes if name in ("href", "src") and value]


def site_files(gallery):
    """The gallery's files by name: its first page and whatever can be reached from there, and nothing that lies about."""
    remedy = "make the pages and pictures with: make gallery"
    files = {}
    waiting = ["index.html"]
    while waiting:
        name = waiting.pop()
        if name in files:
            continue
        files[name] = MEASURED.sub(b"", bytes_of(gallery / name, remedy))
        if not name.endswith(".html"):
            continue
        for target in Targets(files[name].decode("utf-8")).found:
            parts = urlsplit(target)
            if parts.scheme or parts.netloc or not parts.path:
                continue
            linked = posixpath.normpath(posixpath.join(posixpath.dirname(name), unquote(parts.path)))
            if linked.startswith(("/", "..")):
                raise PackageError(f"{gallery / name} links to {target}, which is not in the gallery; correct the page")
            waiting.append(linked)

    listed = tomllib.loads((ROOT / "samples" / "gallery.toml").read_text(encoding="utf-8"))
    pictures = [f"pictures/{entry['file']}" for entry in listed["pinhole"] + listed["picture"]]
    missing = [picture for picture in pictures if picture not in files]
    if missing:
        raise PackageError(f"the pages in {gallery} do not show {', '.join(missing)}; {remedy}")
    return files


def package_files(build, gallery):
    """Content by name, without the folder that holds it all."""
    files = {name: bytes_of(ROOT / source, "it belongs to the sources; check it out again") for name, source in SOURCES.items()}
    files |= {name: bytes_of(build / file, "build it with: make module") for name, file in BUILT.items()}
    files |= {f"reference/{name}": content for name, content in site_files(gallery).items()}
    for pattern in SAMPLES:
        found = sorted((ROOT / "samples").glob(pattern))
        if not found:
            raise PackageError(f"there is no samples/{pattern}; check the samples out again")
        files |= {file.relative_to(ROOT).as_posix(): file.read_bytes() for file in found}
    sums = [f"{hashlib.sha256(content).hexdigest()}  {name}\n" for name, content in sorted(files.items())]
    files["SHA256SUMS"] = "".join(sums).encode("ascii")
    return files


def write_zip(path, top, files, date):
    """Replaces the file in one step, so that there is never half a package."""
    unfinished = path.with_name(f".{path.name}.unfinished")
    with zipfile.ZipFile(unfinished, "w") as package:
        for name, content in sorted(files.items()):
            entry = zipfile.ZipInfo(f"{top}/{name}", (*date, 0, 0, 0))
            entry.compress_type = zipfile.ZIP_DEFLATED
            # Of the machine that packs, nothing gets in: neither its system nor its files' rights.
            entry.create_system = 3
            entry.external_attr = (stat.S_IFREG | 0o644) << 16
            package.writestr(entry, content, compresslevel=9)
    unfinished.replace(path)


def main():
    parser = argparse.ArgumentParser(description="Packs the module, its reference and what belongs to it for users.")
    parser.add_argument("--build", type=Path, default=ROOT / "build/windows", help="the Windows build (default: %(default)s)")
    parser.add_argument("--gallery", type=Path, default=ROOT / "build/gallery", help="the gallery's folder (default: %(default)s)")
    parser.add_argument("--output", type=Path, default=ROOT / "build/package", help="folder of the package (default: %(default)s)")
    arguments = parser.parse_args()
    try:
        version = project_version()
        date = release_date(version)
        files = package_files(arguments.build, arguments.gallery)
        arguments.output.mkdir(parents=True, exist_ok=True)
        path = arguments.output / f"OviCam-{version}-win64.zip"
        write_zip(path, f"OviCam-{version}", files, date)
    except (PackageError, OSError) as error:
        sys.exit(f"make_package.py: {error}")
    print(f"{path}: {len(files)} files, {path.stat().st_size / 1e6:.1f} MB, SHA-256 {hashlib.sha256(path.read_bytes()).hexdigest()}")


if __name__ == "__main__":
    main()
