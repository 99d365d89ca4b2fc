#!/usr/bin/python3
"""Makes the gallery's page and the reference: docs/site/make_pages.py [--module FILE] [--tool FILE] [--output FOLDER]

Tables, panels and drawings come from the module itself; the pages say what they mean. A page that names what the
module does not have, or leaves out what it has, is an error.
"""

import argparse
import base64
import html
import io
import json
import os
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import tomllib
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from xml.etree import ElementTree

import jinja2
from PIL import Image

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).parent))
from cube_drawing import layout_drawings
from ray_drawing import film_and_rays

SITE = Path(__file__).resolve().parent
ROOT = SITE.parent.parent
SECTIONS = ("What it is for", "Mapping", "Projection", "Worth knowing")
SHARED_NOTES = "shared_notes.md"
PAGE_SETTINGS = (
    "title", "servers", "summary", "parameters", "drawing", "lens", "motion_samples", "also_followed", "values_read", "film_part"
)
LENSES = ("", "none", "thin")
FILM_PARTS = ("", "half", "tile", "picture")
DEVELOPER_PAGES = ("link-file", "euler-angles", "stmap", "reproject", "cubemaps", "players", "validate", "performance", "security")
MATHML = "http://www.w3.org/1998/Math/MathML"
INCLUDED_FILES = ("interop/camera_link.h", "interop/euler.h", "examples/read_camera_link.c", "examples/read_camera_link.py")


# For text that is not HTML yet.
MARKDOWN_TEMPLATES = jinja2.Environment(
    loader=jinja2.FileSystemLoader(SITE), undefined=jinja2.StrictUndefined, trim_blocks=True, lstrip_blocks=True, autoescape=False
)


class PageError(Exception):
    """A sentence that says what has to be changed."""


def measured_page(output):
    """What `make bench` makes, beside the gallery."""
    return output.parent / "bench/index.html"


# --- Pages as they are written.


def split_page(file, text=None):
    """Front matter and Markdown of a page, or of a text that was made from the file."""
    text = file.read_text(encoding="utf-8") if text is None else text
    parts = re.split(r"^\+\+\+\n", text, maxsplit=2, flags=re.MULTILINE)
    if len(parts) != 3 or parts[0]:
        raise PageError(f"{file}: the page must begin with its settings between two lines +++")
    try:
        return tomllib.loads(parts[1]), parts[2]
    except tomllib.TOMLDecodeError as error:
        raise PageError(f"{file}: the settings between the lines +++ are not TOML: {error}") from error


def without_math(markdown):
    return re.sub(r"\$\$.*?\$\$|\$[^$]*\$", "", markdown, flags=re.DOTALL)


def html_of(markdown):
    run = subprocess.run(
        ["pandoc", "-f", "markdown", "-t", "html5", "--mathml", "--no-highlight"], input=markdown, text=True, capture_output=True
    )
    # Pandoc leaves mathematics that it does not understand unchanged, and warns.
    if run.returncode or run.stderr:
        raise PageError(f"pandoc says: {run.stderr.strip()}")
    return re.sub(r"<math.*?</math>", lambda match: with_plain_brackets(match[0]), run.stdout, flags=re.DOTALL)


def with_plain_brackets(math_element):
    """Brackets stretch around fractions only: without a font for mathematics, browsers stretch them everywhere."""
    ElementTree.register_namespace("", MATHML)
    tree = ElementTree.fromstring(math_element)
    for row in tree.iter(f"{{{MATHML}}}mrow"):
        if not any(element.tag.endswith(("mfrac", "mtable")) for element in row.iter()):
            for bracket in row.findall(f"{{{MATHML}}}mo[@stretchy='true']"):
                bracket.set("stretchy", "false")
    return ElementTree.tostring(tree, encoding="unicode")


def text_by_section(markdown):
    """What stands above the first heading, and the text below each."""
    parts = re.split(r"^## (.*)\n", markdown, flags=re.MULTILINE)
    return parts[0], dict(zip(parts[1::2], parts[2::2]))


def continued(text, more):
    """One text after another; a list goes on."""
    between = "\n" if more.strip().startswith("- ") else "\n\n"
    return f"{text.rstrip()}{between}{more.strip()}\n\n"


class CameraPage:
    """A page in a camera's folder, with its sections as HTML. What it shares with others is added by add_shared_notes."""

    def __init__(self, file):
        self.file = file
        self.slug = file.stem
        self.settings, self.markdown = split_page(file)
        for key in ("title", "servers", "summary", "parameters"):
            if key not in self.settings:
                raise PageError(f'{file}: the settings lack "{key}"')
        unknown = [key for key in self.settings if key not in PAGE_SETTINGS]
        if unknown:
            raise PageError(f"{file}: there is no setting {quoted(unknown)}; there are: {quoted(PAGE_SETTINGS)}")
        self.title = self.settings["title"]
        self.summary = self.settings["summary"]
        self.servers = self.settings["servers"]
        self.parameters = self.settings["parameters"]
        self.drawing = self.settings.get("drawing")

    def add_shared_notes(self, cameras):
        """Adds what the page has in common with others, as true of its cameras; the first is the one that it describes."""
        camera = cameras[0]
        depth_of_field = any(each["depth_of_field"] for each in cameras)
        lens, film_part = self.settings.get("lens", ""), self.settings.get("film_part", "")
        for name, value, known in (("lens", lens, LENSES), ("film_part", film_part, FILM_PARTS)):
            if value not in known:
                raise PageError(f'{self.file}: {name} is "{value}"; it can be: {quoted(known[1:])}')
        if lens == "none" and depth_of_field:
            raise PageError(f'{self.file}: lens is "none", but the module says that the camera has depth of field')
        channels = {parameter["channel_name"] for parameter in camera["parameters"]}
        rows = camera["panel_rows"]
        text = MARKDOWN_TEMPLATES.get_template(SHARED_NOTES).render(
            camera_choices=sum(row["choices_of"] == "cameras" for row in rows),
            channels=channels,
            row_channels={row["channel_name"] for row in rows},
            saved_channels={name for item in camera["saved_items"] for name in item["channel_names"]},
            panel_parameters=any(map(is_parameter, rows)),
            publishes_exposure="PhotoISO" in channels,
            depth_of_field=depth_of_field,
            lens=lens,
            film_part=film_part,
            motion_samples=self.settings.get("motion_samples", False),
            also_followed=self.settings.get("also_followed", ""),
            values_read=self.settings.get("values_read", ""),
        )
        settings, markdown = split_page(SITE / SHARED_NOTES, text)
        self.parameters = {**settings["parameters"], **self.parameters}
        shared = text_by_section(markdown)[1]
        above, own = text_by_section(self.markdown)
        self.markdown = above + "".join(f"## {title}\n{continued(own_text, shared.get(title, ''))}" for title, own_text in own.items())

    def make_sections(self):
        parts = re.split(r"<h2 id=\"[^\"]*\">(.*?)</h2>", html_of(self.markdown))
        found = dict(zip((html.unescape(title) for title in parts[1::2]), parts[2::2]))
        if tuple(found) != SECTIONS:
            raise PageError(f"{self.file}: the sections must be: {', '.join(SECTIONS)}; they are: {', '.join(found)}")
        self.sections = found


# --- What the module says.


def is_parameter(row):
    """Whether a row has to be described: not a drawing, and not the version, which every panel shows."""
    return not row["drawn"] and row["label"] != "Version"


def row_key(row):
    """The name of a row in pages: its label, or the channel where it has none."""
    return row["label"] or row["channel_name"]


def channels_without_row(camera):
    shown = {row["channel_name"] for row in camera["panel_rows"]}
    return [parameter for parameter in camera["parameters"] if parameter["channel_name"] not in shown]


def parameter_keys(camera):
    keys = [row_key(row) for row in camera["panel_rows"] if is_parameter(row)]
    return keys + [parameter["channel_name"] for parameter in channels_without_row(camera)]


def check_names(page, cameras):
    """The page describes exactly the parameters there are. In its text, bold words and `code` are names: of panel rows,
    choices, channels, or programs and functions, which start with `ovicam` or end with `Handler`."""
    keys = list(dict.fromkeys(key for camera in cameras for key in parameter_keys(camera)))
    unknown = [key for key in page.parameters if key not in keys]
    if unknown:
        raise PageError(f"{page.file}: the module has no parameter {quoted(unknown)}; it has: {quoted(keys)}")
    missing = [key for key in keys if key not in page.parameters]
    if missing:
        raise PageError(f"{page.file}: [parameters] does not say what {quoted(missing)} does")
    names = set(keys)
    for camera in cameras:
        names.update(parameter["channel_name"] for parameter in camera["parameters"])
        for row in camera["panel_rows"]:
            names.update([row["label"], *row["choices"]])
    used = re.findall(r"\*\*(.+?)\*\*|`(.+?)`", without_math(page.markdown), flags=re.DOTALL)
    for name in (" ".join((bold or code).split()) for bold, code in used):
        if name not in names and not name.startswith("ovicam ") and not name.endswith("Handler") and name != "ovicam":
            raise PageError(f'{page.file}: the text names "{name}", which the module does not have; it has: {quoted(sorted(names))}')


def quoted(names):
    return ", ".join(f'"{name}"' for name in names)


UNITS = {
    "angle": "angle; radians in the channel",
    "percent": "percent; 1 is 100 % in the channel",
    "length": "length; metres in the channel",
    "number": "number",
    "whole number": "whole number",
}


def unbroken(text):
    """A number stays on the line of its unit."""
    return text.replace(" ", "\N{NO-BREAK SPACE}")


def in_words(count):
    """A whole number from 0 to 99 in English; greater ones in digits."""
    small = (
        "zero one two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen sixteen seventeen "
        "eighteen nineteen"
    ).split()
    tens = "twenty thirty forty fifty sixty seventy eighty ninety".split()
    if count < 20:
        return small[count]
    if count > 99:
        return str(count)
    return tens[count // 10 - 2] + (f"-{small[count % 10]}" if count % 10 else "")


def value_range(row):
    """What the panel takes, in its own words and units."""
    if row["quantity"] == "text":
        return "–"
    if row["quantity"] == "yes or no":
        return "yes, no"
    if row["choices"] == ["(none)"]:
        others = {"cameras": "another camera of the scene", "objects": "an object of the scene"}
        return f"(none) or {others.get(row['choices_of'], 'one of those in the scene')}"
    if row["choices"]:
        return ", ".join(choice.strip() for choice in row["choices"])
    low, high = (limit and unbroken(limit) for limit in (row["displayed_minimum"], row["displayed_maximum"]))
    if low is not None and high is not None:
        return f"{low} to {high}"
    if low is not None:
        return f"{low} and above"
    return "any" if high is None else f"{high} and below"


def parameter_rows(page, camera):
    saved_kind = {name: item["kind"] for item in camera["saved_items"] for name in item["channel_names"]}

    def animatable(channel):
        if not channel:
            return "no"
        kind = saved_kind.get(channel)
        return {"envelope": "yes", None: "yes, but not kept with the scene"}.get(kind, "yes, but the scene keeps one value")

    rows = []
    for row in filter(is_parameter, camera["panel_rows"]):
        rows.append(
            {
                "name": row["label"] or "(no label)",
                "channel": row["channel_name"] or "–",
                "unit": UNITS.get(row["quantity"], "–"),
                "range": value_range(row),
                "default": (unbroken(row["displayed_text"]) if row["displayed_unit"] else row["displayed_text"]) or "–",
                "animatable": animatable(row["channel_name"]),
                "text": page.parameters[row_key(row)],
            }
        )
    for parameter in channels_without_row(camera):
        rows.append(
            {
                "name": "(not on the panel)",
                "channel": parameter["channel_name"],
                "unit": UNITS["number"],
                "range": "any",
                "default": parameter["displayed_default"],
                "animatable": animatable(parameter["channel_name"]),
                "text": page.parameters[parameter["channel_name"]],
            }
        )
    return rows


def saved_rows(camera):
    kinds = {
        "envelope": "animated value, a VParm block",
        "float": "number of 4 bytes",
        "integer": "whole number of 4 bytes; base 16 in a scene's text",
    }
    rows = []
    for item in camera["saved_items"]:
        names = item["labels"] or item["channel_names"]
        what = ", ".join(names) if names else "kept, shown nowhere"
        if item["labels"] and item["channel_names"] and item["labels"] != item["channel_names"]:
            what += f" ({', '.join(item['channel_names'])})"
        rows.append({"kind": kinds.get(item["kind"], item["kind"]), "what": what})
    return rows


# --- Programs.


class Programs:
    def __init__(self, tool, module):
        self.tool, self.module = tool, module
        # Cameras publish their exposure for the user who renders; making pages must not overwrite that.
        self.temporary = tempfile.TemporaryDirectory(prefix="ovicam-pages-")
        self.environment = {**os.environ, "TMPDIR": self.temporary.name}

    def json(self, *arguments):
        run = subprocess.run([self.tool, *arguments, "--json"], text=True, capture_output=True, env=self.environment)
        if run.returncode:
            raise PageError(f"{' '.join(map(str, (self.tool, *arguments)))}: {run.stderr.strip()}")
        return json.loads(run.stdout)

    def module_description(self):
        return self.json("info", self.module)

    def rays(self, settings, grid):
        arguments = ["rays", ROOT / settings.get("scene", "samples/cameras.lws"), "--module", self.module]
        arguments += ["--camera", settings["camera"], "--grid", grid]
        if "server" in settings:
            arguments += ["--server", settings["server"]]
        for setting in settings.get("set", []):
            arguments += ["--set", setting]
        return self.json(*arguments)


def drawings(page, programs):
    """The figures of film and rays, or none for a camera without rays."""
    if page.drawing is None:
        return []
    grid = page.drawing.get("grid", "84x63" if "tiles" in page.drawing else "13x9")
    compare = page.drawing.get("compare")
    try:
        return film_and_rays(page.drawing, programs.rays(page.drawing, grid), programs.rays(compare, grid) if compare else None)
    except KeyError as error:
        raise PageError(f"{page.file}: [drawing] lacks {error}") from error


# --- Pictures.


def png_size(file):
    with open(file, "rb") as stream:
        head = stream.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n":
        raise PageError(f"{file} is not a PNG picture; render the gallery again")
    return struct.unpack(">II", head[16:24])


def without_picture(listed, page_of, servers):
    """The servers that no picture of the gallery shows. A picture that names no server is about all of its page."""
    shown = {(entry["page"], entry.get("server")) for entry in listed.get("picture", [])}
    return [server for server in servers if not shown & {(page_of[server].slug, None), (page_of[server].slug, server)}]


def command_for(entry):
    """The line, of a shell in the folder above the samples, that shows a picture, and what is left to do on its page."""
    scene = f"samples/{entry.get('scene', 'cameras.lws')}"
    arguments = entry.get("arguments", [])
    if entry.get("kind") == "coverage":
        return shlex.join(["ovicam", "bake-coverage", scene, "--camera", entry["camera"], *arguments, "-o", "coverage.png"]), ""
    words, more = ["ovicam", "view", scene, "--camera", entry["camera"]], []
    for option, value in zip(arguments[::2], arguments[1::2]):
        if option == "--eye":
            more.append(f"choose the eye “{value}”")
        elif option == "--frames":
            words += ["--frame", value]
        else:
            words += [option, value]
    if entry.get("kind") == "gizmo":
        more.append("tick “Show the gizmo's drawing”")
    return shlex.join(words), f"On the page, {' and '.join(more)}." if more else ""


def first_picture(pictures, page, server=None):
    """The first picture of a page that is no drawing: the server's own where there is one; or none."""
    own = [entry for entry in pictures if entry["page"] == page and entry["kind"] != "gizmo"]
    return next((entry for entry in own if entry.get("server") == server), own[0] if own else None)


def sphere_script(file):
    """A script that holds a picture of the full sphere: of a page that is opened as a file, browsers let no other be read."""
    picture = Image.open(file).convert("RGB")
    if picture.width != 2 * picture.height:
        raise PageError(f"{file} is no picture of the full sphere, which is twice as wide as high")
    jpeg = io.BytesIO()
    picture.save(jpeg, "JPEG", quality=85, optimize=True)
    data = base64.b64encode(jpeg.getvalue()).decode("ascii")
    return f"(window.spherePictures ??= {{}})[{json.dumps(file.name)}] = 'data:image/jpeg;base64,{data}';\n"


def read_pictures(listed, folder):
    """The pictures that exist, in the list's order, with their sizes; the pinhole pictures by file; and those of lenses."""

    def present(entries):
        for entry in entries:
            if (folder / entry["file"]).exists():
                width, height = png_size(folder / entry["file"])
                line, more = command_for(entry)
                yield {**entry, "width": width, "height": height, "try_line": line, "try_more": more}

    pinholes = {entry["file"]: entry for entry in present(listed.get("pinhole", []))}
    return list(present(listed.get("picture", []))), pinholes, list(present(listed.get("lens", [])))


# --- Putting it together.


def developer_page(slug, programs):
    settings, markdown = split_page(ROOT / "docs" / f"{slug}.md")

    def included(match):
        if match[1] not in INCLUDED_FILES:
            raise PageError(f"docs/{slug}.md: {match[1]} cannot be included; files that can: {', '.join(INCLUDED_FILES)}")
        file = ROOT / match[1]
        language = {".h": "c", ".c": "c", ".py": "python"}[file.suffix]
        return f"~~~~ {{.{language}}}\n{file.read_text(encoding='utf-8').rstrip()}\n~~~~"

    body = html_of(re.sub(r"^\{\{include (\S+)\}\}$", included, markdown, flags=re.MULTILINE))
    if "{{cube layouts: " in body:
        for kind, drawn in layout_drawings(programs.json("skybox", "layouts")).items():
            body = body.replace(f"<p>{{{{cube layouts: {kind}}}}}</p>", drawn)
    return {**settings, "slug": slug, "body": body}


def write_if_changed(file, text):
    if not file.exists() or file.read_text(encoding="utf-8") != text:
        file.write_text(text, encoding="utf-8")


def make_pages(module, tool, output, pages_folder):
    programs = Programs(tool, module)
    page_files = sorted(pages_folder.rglob("*.md"), key=lambda file: file.stem)
    if not page_files:
        raise PageError(f"{pages_folder} holds no page")
    pages = [CameraPage(file) for file in page_files]
    with ThreadPoolExecutor(max_workers=os.cpu_count() or 2) as pool:
        described = pool.submit(programs.module_description)
        drawn = {page.slug: pool.submit(drawings, page, programs) for page in pages}
        developer = [pool.submit(developer_page, slug, programs) for slug in DEVELOPER_PAGES]
        description = described.result()
        by_name = {camera["server_name"]: camera for camera in description["unregistered_cameras"] + description["cameras"]}
        cameras_of = {page.slug: [by_name[name] for name in page.servers if name in by_name] for page in pages}
        for page in pages:
            if cameras_of[page.slug]:
                page.add_shared_notes(cameras_of[page.slug])
        written = [pool.submit(page.make_sections) for page in pages]
        for task in written:
            task.result()
        drawn = {slug: task.result() for slug, task in drawn.items()}
        developer = [task.result() for task in developer]

    registered = [camera["server_name"] for camera in description["cameras"]]
    page_of = {server: page for page in pages for server in page.servers}
    without_page = [server for server in registered if server not in page_of]
    if without_page:
        raise PageError(f"{pages_folder}: no page is about {quoted(without_page)}")

    listed = tomllib.loads((ROOT / "samples" / "gallery.toml").read_text(encoding="utf-8"))
    homeless = [entry["file"] for entry in listed.get("lens", []) if entry.get("page") not in DEVELOPER_PAGES]
    if homeless:
        raise PageError(f"samples/gallery.toml: there is no page of docs/ for {quoted(homeless)}")
    unseen = without_picture(listed, page_of, registered)
    if unseen:
        raise PageError(f"samples/gallery.toml: no picture shows {quoted(unseen)}")
    pictures, pinholes, lenses = read_pictures(listed, output / "pictures")
    for entry in pictures:
        if entry.get("sphere"):
            write_if_changed(output / "pictures" / f"{entry['file']}.js", sphere_script(output / "pictures" / entry["file"]))
    servers = [
        {
            "server_name": name,
            "user_name": by_name[name]["user_name"],
            "page": page_of[name].slug,
            "title": page_of[name].title,
            "summary": page_of[name].summary,
        }
        for name in registered
    ]
    shared = {
        "servers": servers,
        "is_measured": measured_page(output).exists(),
        "pages": pages,
        "developer_pages": developer,
        "pinholes": pinholes,
        "lens_pictures": {page["slug"]: [entry for entry in lenses if entry["page"] == page["slug"]] for page in developer},
        "thumbnail_of": {server["server_name"]: first_picture(pictures, server["page"], server["server_name"]) for server in servers},
        "unregistered": [page for page in pages if not any(server in registered for server in page.servers)],
        "wide_picture": next((entry for entry in pictures if entry.get("wide")), None),
        "pictures": {page.slug: [entry for entry in pictures if entry["page"] == page.slug] for page in pages},
    }
    # Panels come from the tool as HTML; whatever else the templates mark as safe was made here.
    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(SITE), autoescape=True, undefined=jinja2.StrictUndefined, trim_blocks=True, lstrip_blocks=True
    )
    environment.filters["in_words"] = in_words
    (output / "reference").mkdir(parents=True, exist_ok=True)
    style = (SITE / "style.css").read_text(encoding="utf-8")
    write_if_changed(output / "style.css", f"{style}\n{description['panel_style']}")
    viewer = (ROOT / "tool/view/sphere_viewer.js").read_text(encoding="utf-8")
    write_if_changed(output / "sphere.js", viewer + (SITE / "sphere.js").read_text(encoding="utf-8"))

    def write(name, template, **values):
        root = "../" if "/" in name else ""
        write_if_changed(output / name, environment.get_template(template).render(root=root, **shared, **values))

    for page in pages:
        cameras = cameras_of[page.slug]
        if cameras:
            check_names(page, cameras)
        first = cameras[0] if cameras else None
        write(
            f"reference/{page.slug}.html",
            "camera.html",
            title=page.title,
            page=page,
            cameras=cameras,
            registered=[camera for camera in cameras if camera["server_name"] in registered],
            panel=first and first["panel_html"],
            parameters=parameter_rows(page, first) if first else None,
            saved=saved_rows(first) if first else None,
            figures=drawn[page.slug],
        )
    for page in developer:
        write(f"reference/{page['slug']}.html", "developer.html", title=page["title"], page=page)
    write("reference/index.html", "reference.html", title="Reference")
    write("index.html", "gallery.html", title="OviCam")
    return len(pages) + len(developer) + 2


def is_made(stamp, arguments, inputs):
    """Whether the pages were made with the same arguments, after the last change of every input."""
    if not stamp.exists() or stamp.read_text(encoding="utf-8") != arguments:
        return False
    made = stamp.stat().st_mtime_ns
    # A folder's time changes when a file in it is added or removed.
    return all(file.exists() and file.stat().st_mtime_ns < made for file in inputs)


def main():
    parser = argparse.ArgumentParser(description="Makes the gallery's page and the reference from the module and docs.")
    parser.add_argument("--module", type=Path, default=ROOT / "build/windows/OviCam.p", help="module file (default: %(default)s)")
    parser.add_argument("--tool", type=Path, default=ROOT / "build/native/ovicam", help="the program ovicam (default: %(default)s)")
    parser.add_argument("--output", type=Path, default=ROOT / "build/gallery", help="folder (default: %(default)s)")
    parser.add_argument("--pages", type=Path, default=ROOT / "cameras", help="folder of the cameras and their pages (default: %(default)s)")
    arguments = parser.parse_args()
    for file in (arguments.module, arguments.tool):
        if not file.exists():
            sys.exit(f"make_pages.py: there is no {file}; build it first, for example with: make module")
    stamp = arguments.output / "reference" / ".made"
    inputs = [arguments.module, arguments.tool, arguments.output / "pictures", *SITE.glob("*"), *arguments.pages.rglob("*"), arguments.pages]
    inputs += [ROOT / "tool/view/sphere_viewer.js", *(ROOT / "docs").glob("*.md"), *(ROOT / "samples").glob("*.*"), *(ROOT / file for file in INCLUDED_FILES)]
    made_of = f"{arguments} {measured_page(arguments.output).exists()}"
    if is_made(stamp, made_of, inputs):
        print(f"The pages in {arguments.output} are up to date")
        return
    try:
        count = make_pages(arguments.module, arguments.tool, arguments.output, arguments.pages)
    except PageError as error:
        sys.exit(f"make_pages.py: {error}")
    stamp.write_text(made_of, encoding="utf-8")
    print(f"{count} pages are in {arguments.output}")


if __name__ == "__main__":
    main()
