"""Draws the layouts of a cube's six sides, as `ovicam skybox layouts --json` tells of them, as SVG elements for a page."""

import html

from ray_drawing import svg

FACE = 74
GAP = 8
COLORS = {
    "+X": "oklch(70% .13 150)",
    "-X": "oklch(66% .13 258)",
    "+Y": "oklch(80% .09 225)",
    "-Y": "oklch(66% .03 60)",
    "+Z": "oklch(66% .16 28)",
    "-Z": "oklch(80% .14 90)",
}
SIDES = {"+X": "right", "-X": "left", "+Y": "top", "-Y": "bottom", "+Z": "front", "-Z": "back"}


def along(axis, other):
    """1, -1, or 0 where the two axes stand across each other."""
    return 0 if axis[1] != other[1] else 1 if axis == other else -1


def arrow(face):
    """To the right and down on the picture: where up is, and above and below where the front is."""
    to = "+Z" if face["ahead"][1] == "Y" else "+Y"
    return along(face["right"], to), -along(face["up"], to)


def face_parts(face, left, top, label):
    right, down = arrow(face)
    # The names stay readable however the face is turned, and out of the arrow's way.
    x, y = left + FACE / 2, top + FACE / 2
    name_y = y - 19 * down if down else y - 16
    from_middle = 1 if down else -24
    if right:
        y += 17
    shaft, barb, tip = ((x + way * right, y + way * down) for way in (from_middle, 20, 31))
    points = [tip, [barb[0] + 6 * down, barb[1] + 6 * right], [barb[0] - 6 * down, barb[1] - 6 * right]]
    outline = " ".join(f"{x:g},{y:g}" for x, y in points)
    tint = COLORS[face["ahead"]]
    return [
        f'<rect class="tile" style="--tint:{tint}" x="{left:g}" y="{top:g}" width="{FACE}" height="{FACE}"/>',
        f'<path class="ray" style="--tint:{tint}" d="M{shaft[0]:g} {shaft[1]:g}L{barb[0]:g} {barb[1]:g}"/>',
        f'<polygon class="spot" style="--tint:{tint}" points="{outline}"/>',
        f'<text class="halo" x="{left + FACE / 2:g}" y="{name_y - 2:g}" text-anchor="middle">{html.escape(label)}</text>',
        f'<text class="halo" x="{left + FACE / 2:g}" y="{name_y + 11:g}" text-anchor="middle">{html.escape(face["ahead"])}</text>',
    ]


def layout_figure(layout):
    """A figure: its drawing, and what it shows, for a person."""
    parts = []
    if layout["columns"]:
        # So wide that faces have one size in most drawings.
        picture, height = layout["columns"] * FACE, layout["rows"] * FACE
        width = max(picture, 4 * FACE)
        left = (width - picture) / 2
        parts.append(f'<rect class="film" x="{left + 0.5:g}" y="0.5" width="{picture - 1}" height="{height - 1}"/>')
        for face in layout["faces"]:
            parts += face_parts(face, left + face["column"] * FACE, face["row"] * FACE, SIDES[face["ahead"]])
    else:
        # Two rows of files, so that the names can be read.
        width, height = 4 * FACE, 2 * (FACE + GAP) - GAP
        left = (width - 3 * (FACE + GAP) + GAP) / 2
        for i, face in enumerate(layout["faces"]):
            parts += face_parts(face, left + i % 3 * (FACE + GAP), i // 3 * (FACE + GAP), face["name"])
    return {"title": f"{layout['name']}: {layout['used_by']}", "name": layout["name"], "svg": svg(width, height, layout["name"], parts)}


def layout_drawings(layouts):
    """The figures of all layouts as HTML, those of one picture first."""

    def drawn(of_one_picture):
        figures = [layout_figure(layout) for layout in layouts if (layout["columns"] > 0) == of_one_picture]
        return "\n".join(
            f'<figure class="drawing-figure">{figure["svg"]}<figcaption>{html.escape(figure["title"])}</figcaption></figure>'
            for figure in figures
        )

    return {
        "pictures": f'<div class="drawings">\n{drawn(True)}\n</div>',
        "files": f'<div class="drawings">\n{drawn(False)}\n</div>',
    }
