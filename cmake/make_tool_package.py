#!/usr/bin/python3
"""Packs the command-line tool for Debian machines, ovicam-VERSION-linux-x86_64.tar.gz, from what is built:
cmake/make_tool_package.py [--build FOLDER] [--output FOLDER]

The same files give the same bytes. README.txt in it names the packages that it needs, as the machine that packs has them.
"""

import argparse
import gzip
import io
import re
import subprocess
import sys
import tarfile
import tempfile
from datetime import datetime, timezone
from pathlib import Path

from make_package import ROOT, PackageError, bytes_of, project_version, release_date

NEEDED = ("bin/ovicam", "lib/ovicam/OviCam.so", "lib/ovicam/ovicam-pictures.so", "lib/ovicam/ovicam-ray-service", "lib/ovicam/ovicam-ray-service.exe", "lib/ovicam/ovicam-validate-runner", "lib/ovicam/ovicam-validate-runner.exe", "lib/ovicam/run-wine.sh")


def installed_files(build):
    """What `cmake --install` makes of the build, by name."""
    with tempfile.TemporaryDirectory(prefix="ovicam-tool-package-") as folder:
        run = subprocess.run(["cmake", "--install", build, "--prefix", folder, "--strip"], text=True, capture_output=True)
        if run.returncode != 0:
            raise PackageError(f"cmake --install {build} failed ({run.stderr.strip()}); build it with: make tool-package")
        files = {path.relative_to(folder).as_posix(): path for path in Path(folder).rglob("*") if path.is_file()}
        missing = [name for name in NEEDED if name not in files]
        if missing:
            raise PackageError(f"the build installs no {', '.join(missing)}; build it with: make tool-package")
        libraries = set()
        for name, path in files.items():
            if path.read_bytes().startswith(b"\x7fELF"):
                libraries |= needed_libraries(path)
        return {name: path.read_bytes() for name, path in files.items()}, libraries


def needed_libraries(path):
    listed = subprocess.run(["readelf", "-d", path], text=True, capture_output=True, check=True).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", listed))


def packages_of(libraries):
    packages = set()
    for library in sorted(libraries):
        found = subprocess.run(["dpkg-query", "-S", f"*/{library}"], text=True, capture_output=True).stdout
        names = [line.split(":")[0] for line in found.splitlines() if not line.startswith("diversion") and "cross" not in line]
        if not names:
            raise PackageError(f"no Debian package has {library}; install what the tool is linked with from Debian's packages")
        packages.add(names[0])
    return sorted(packages)


def readme(version, packages):
    return f"""ovicam {version}
===============

Renders the host's scenes through the cameras of OviCam, on a Debian machine
(bookworm, x86-64), and shows what a module holds. It runs from any folder:

    bin/ovicam --help
    bin/ovicam render scene.lws -o picture.png
    bin/ovicam render scene.lws --module /any/folder/OviCam.p -o picture.png

It needs these packages:

    apt-get install {' '.join(packages)}

and for the module for Windows, OviCam.p, with which it uses Wine:

    apt-get install wine64

Wine is set up in ~/.local/share/ovicam/wine the first time; to have that
elsewhere, set OVICAM_WINEPREFIX. Panels become pictures if there is Chromium
(package chromium).
"""


def write_archive(path, top, files, seconds):
    """Replaces the file in one step, so that there is never half a package."""
    unfinished = path.with_name(f".{path.name}.unfinished")
    with open(unfinished, "wb") as raw, gzip.GzipFile(filename="", mode="wb", fileobj=raw, mtime=seconds) as packed:
        with tarfile.open(fileobj=packed, mode="w", format=tarfile.GNU_FORMAT) as archive:
            for name, content in sorted(files.items()):
                entry = tarfile.TarInfo(f"{top}/{name}")
                entry.size = len(content)
                entry.mtime = seconds
                entry.mode = 0o755 if name.startswith(("bin/", "lib/")) else 0o644
                archive.addfile(entry, io.BytesIO(content))
    unfinished.replace(path)


def main():
    parser = argparse.ArgumentParser(description="Packs the command-line tool for Debian machines.")
    parser.add_argument("--build", type=Path, default=ROOT / "build/native", help="the build (default: %(default)s)")
    parser.add_argument("--output", type=Path, default=ROOT / "build/package", help="folder of the package (default: %(default)s)")
    arguments = parser.parse_args()
    try:
        version = project_version()
        seconds = int(datetime(*release_date(version), tzinfo=timezone.utc).timestamp())
        files, libraries = installed_files(arguments.build)
        files["README.txt"] = readme(version, packages_of(libraries)).encode("utf-8")
        for name in ("LICENSE", "CHANGELOG.md"):
            files[name] = bytes_of(ROOT / name, "it belongs to the sources; check it out again")
        arguments.output.mkdir(parents=True, exist_ok=True)
        path = arguments.output / f"ovicam-{version}-linux-x86_64.tar.gz"
        write_archive(path, path.name.removesuffix(".tar.gz"), files, seconds)
    except (PackageError, OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"make_tool_package.py: {error}")
    print(f"{path}: {len(files)} files, {path.stat().st_size / 1e6:.1f} MB")


if __name__ == "__main__":
    main()
