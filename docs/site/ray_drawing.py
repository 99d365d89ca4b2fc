"""Draws film positions and the rays that a camera gives for them, as SVG elements for a page.

Colours and line widths are the style sheet's: classes `film`, `ray`, `dim`, `axis`, and --tint for a colour of its own.
"""

import html
import math

FILM_WIDTH = 300
VIEW_SIZE = 300
MARGIN = 26
LEFT, MIDDLE, RIGHT = (38, 122, 214), (138, 138, 138), (228, 112, 28)
BOTTOM, TOP = (146, 84, 214), (34, 158, 96)


# --- Small mathematics.


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


def plus(a, b, times=1.0):
    return tuple(x + times * y for x, y in zip(a, b))


def blend(low, high, share):
    """From `low` through grey to `high`."""
    start, end = (low, MIDDLE) if share < 0.5 else (MIDDLE, high)
    part = share * 2 - (share >= 0.5)
    return "rgb({},{},{})".format(*(round(a + (b - a) * part) for a, b in zip(start, end)))


def share(index, count):
    return index / (count - 1) if count > 1 else 0.5


def column_color(column, columns):
    return blend(LEFT, RIGHT, share(column, columns))


def row_color(row, rows):
    return blend(TOP, BOTTOM, share(row, rows))


def tile_color(column, row, columns, rows):
    """Row 0 is the lowest. Hues of equal lightness, well separated."""
    hue = (250 + 360 * (column + row * columns) / (columns * rows)) % 360
    return f"oklch(64% .16 {hue:.0f})"


# --- Rays in the camera's own directions, or the world's.


class Ray:
    """Start and direction as (right, up, ahead)."""

    def __init__(self, entry, axes):
        self.column, self.row, self.film = entry["column"], entry["row"], entry["film"]
        numbers = [*entry.get("start", [None]), *entry.get("direction", [None])]
        self.seen = entry["result"] != 0 and all(value is not None for value in numbers)
        if self.seen:
            origin, *directions = axes
            self.start = tuple(dot(plus(entry["start"], origin, -1.0), axis) for axis in directions)
            self.direction = tuple(dot(entry["direction"], axis) for axis in directions)


WORLD = ((0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1))


def own_axes(answer):
    pose = answer["pose"]
    return pose["position"], pose["right"], pose["up"], pose["forward"]


class Fan:
    """Rays of one colour scheme: (ray, colour, class) triples, and a name to write at their end."""

    def __init__(self, rays, name=""):
        self.rays = rays
        self.name = name


# --- SVG.


def element(name, **attributes):
    content = attributes.pop("content", None)
    written = "".join(f' {key.rstrip("_").replace("_", "-")}="{html.escape(str(value))}"' for key, value in attributes.items())
    return f"<{name}{written}/>" if content is None else f"<{name}{written}>{content}</{name}>"


def short(value):
    return f"{value:.1f}"


def text(x, y, words, anchor="middle", **more):
    return element("text", x=short(x), y=short(y), text_anchor=anchor, content=html.escape(words), **more)


def svg(width, height, title, parts):
    return element(
        "svg", viewBox=f"0 0 {width} {short(height)}", role="img", aria_label=title, content="".join(["\n", *(p + "\n" for p in parts)])
    )


def figure(title, drawing):
    return {"title": title, "svg": drawing}


def arrow(x1, y1, x2, y2, head=True, **style):
    """A line, with or without an arrow head, or a dot where it points at the reader."""
    length = math.hypot(x2 - x1, y2 - y1)
    if length < 2.5:
        return element("circle", cx=short(x1), cy=short(y1), r=2.5, **style)
    ux, uy = (x2 - x1) / length, (y2 - y1) / length
    size = min(6.0, length / 2)
    line = f"M{short(x1)} {short(y1)}L{short(x2)} {short(y2)}"
    for side in (1, -1) if head else ():
        bx, by = x2 - size * ux + side * size * 0.45 * -uy, y2 - size * uy + side * size * 0.45 * ux
        line += f"M{short(x2)} {short(y2)}L{short(bx)} {short(by)}"
    return element("path", d=line, **style)


# --- The film.


def film_figure(answer, tiles, tile_names):
    width, height = answer["film"]
    scale = (FILM_WIDTH - 2 * MARGIN) / width
    drawn_height = height * scale

    def place(film):
        return MARGIN + (film[0] / width + 0.5) * width * scale, MARGIN + (0.5 - film[1] / height) * drawn_height

    parts = [element("rect", class_="film", x=MARGIN, y=MARGIN, width=FILM_WIDTH - 2 * MARGIN, height=short(drawn_height))]
    if tiles:
        parts += tile_parts(answer, tiles, tile_names, drawn_height)
    else:
        columns, rows = answer["columns"], answer["rows"]
        for entry in answer["rays"]:
            x, y = place(entry["film"])
            middle_row, middle_column = entry["row"] == rows // 2, entry["column"] == columns // 2
            style = {"class_": "dim"}
            if middle_row or middle_column:
                color = column_color(entry["column"], columns) if middle_row else row_color(entry["row"], rows)
                style = {"class_": "spot", "style": f"--tint:{color}"}
            parts.append(element("circle", cx=short(x), cy=short(y), r=4 if middle_row or middle_column else 1.6, **style))
    parts.append(text(MARGIN + (FILM_WIDTH - 2 * MARGIN) / 2, drawn_height + 2 * MARGIN - 8, f"{1000 * width:.3g} × {1000 * height:.3g} mm"))
    return figure("The film, as the picture shows it", svg(FILM_WIDTH, drawn_height + 2 * MARGIN, "Film positions", parts))


def tile_parts(answer, tiles, names, drawn_height):
    columns, rows = tiles
    tile_width, tile_height = (FILM_WIDTH - 2 * MARGIN) / columns, drawn_height / rows
    parts = []
    for row in range(rows):
        for column in range(columns):
            x, y = MARGIN + column * tile_width, MARGIN + (rows - 1 - row) * tile_height
            box = dict(x=short(x), y=short(y), width=short(tile_width), height=short(tile_height))
            if any(ray_seen(entry) for entry in entries_of_tile(answer, tiles, column, row)):
                parts.append(element("rect", class_="tile", style=f"--tint:{tile_color(column, row, columns, rows)}", **box))
                parts.append(text(x + tile_width / 2, y + tile_height / 2 + 4, names[row * columns + column]))
            else:
                parts.append(element("rect", class_="empty", **box))
                parts.append(text(x + tile_width / 2, y + tile_height / 2 + 4, "no ray", class_="faint"))
    return parts


def ray_seen(entry):
    return entry["result"] != 0


def entries_of_tile(answer, tiles, column, row):
    """Row 0 of the tiles is the lowest, row 0 of the answer the topmost."""
    for entry in answer["rays"]:
        if entry["column"] * tiles[0] // answer["columns"] != column:
            continue
        if (answer["rows"] - 1 - entry["row"]) * tiles[1] // answer["rows"] == row:
            yield entry


# --- Views of the rays.


def evenly(items, count):
    if len(items) <= count:
        return items
    return [items[round(index * (len(items) - 1) / (count - 1))] for index in range(count)]


def tile_fans(answer, tiles, names, axes, across):
    """One fan per tile: rays of its middle row, or of its middle column."""
    fans = []
    for row in range(tiles[1]):
        for column in range(tiles[0]):
            rays = [Ray(entry, axes) for entry in entries_of_tile(answer, tiles, column, row)]
            lines = sorted({ray.row if across else ray.column for ray in rays})
            middle = lines[len(lines) // 2]
            chosen = [ray for ray in rays if (ray.row if across else ray.column) == middle and ray.seen]
            if chosen:
                style = {"class_": "ray", "style": f"--tint:{tile_color(column, row, *tiles)}"}
                fans.append(Fan([(ray, style) for ray in evenly(chosen, 5)], names[row * tiles[0] + column]))
    return fans


def line_fan(answer, axes, across):
    columns, rows = answer["columns"], answer["rows"]
    rays = [Ray(entry, axes) for entry in answer["rays"]]
    rays = [ray for ray in rays if ray.seen and (ray.row == rows // 2 if across else ray.column == columns // 2)]
    color = (lambda ray: column_color(ray.column, columns)) if across else (lambda ray: row_color(ray.row, rows))
    return Fan([(ray, {"class_": "ray", "style": f"--tint:{color(ray)}"}) for ray in rays])


# By the axis that a drawing does not show: where a ray along it goes.
ALONG = {0: ("left", "right"), 1: ("down", "up"), 2: ("back", "ahead")}


def view_figure(title, fans, plane, labels, length, marks=()):
    """`plane`: which of (right, up, ahead) run to the right and to the top of the drawing. `length`: of the rays, metres, or
    none to suit the distances between their starts. `marks`: names and points to show."""
    across, upward = plane
    off_plane = ({0, 1, 2} - {across, upward}).pop()

    def towards_reader(fan):
        return sum(abs(ray.direction[off_plane]) for ray, _ in fan.rays) >= 0.75 * len(fan.rays)

    # Rays that point mostly at the reader would show nothing here: a symbol stands for them.
    symbols = [fan for fan in fans if towards_reader(fan) and fan.name]
    fans = [fan for fan in fans if not towards_reader(fan)]
    rays = [ray for fan in fans for ray, _ in fan.rays]
    if not rays:
        return None
    starts = [(ray.start[across], ray.start[upward]) for ray in rays]
    spread = max(math.dist(a, b) for a in starts for b in starts)
    if length is None:
        length = 1.0 if spread < 1e-6 else 0.6 * spread

    def ends(ray):
        tip = plus(ray.start, ray.direction, length)
        return (ray.start[across], ray.start[upward]), (tip[across], tip[upward])

    marked = [(name, (point[across], point[upward])) for name, point in marks]
    points = [point for ray in rays for point in ends(ray)] + [point for _, point in marked]
    low = [min(point[i] for point in points) for i in (0, 1)]
    high = [max(point[i] for point in points) for i in (0, 1)]
    inner = VIEW_SIZE - 2 * MARGIN - 16
    scale = inner / max(high[0] - low[0], high[1] - low[1], 1e-9)
    middle = [(low[i] + high[i]) / 2 for i in (0, 1)]

    def place(point):
        return VIEW_SIZE / 2 + (point[0] - middle[0]) * scale, VIEW_SIZE / 2 - (point[1] - middle[1]) * scale

    parts = []
    for fan in fans:
        for ray, style in fan.rays:
            start, end = ends(ray)
            parts.append(arrow(*place(start), *place(end), **style))
    for point in {(round(x, 1), round(y, 1)) for x, y in map(place, starts)}:
        parts.append(element("circle", class_="eye", cx=point[0], cy=point[1], r=3))
    parts += fan_names(fans, place, across, upward, length)
    for name, point in marked:
        x, y = place(point)
        parts.append(element("path", class_="mark", d=f"M{short(x)} {short(y - 6)}l6 6l-6 6l-6 -6z"))
        parts.append(text(x + 11, y + 4, name, "start", class_="halo"))
    parts += symbol_legend(symbols, off_plane)
    parts.append(text(VIEW_SIZE / 2, 12, f"↑ {labels[1]}", class_="faint"))
    parts.append(text(VIEW_SIZE - 4, VIEW_SIZE - 6, f"{labels[0]} →", "end", class_="faint"))
    if spread >= 1e-6:
        step = scale_step(inner / scale)
        parts.append(element("path", class_="axis", d=f"M8 {VIEW_SIZE - 12}v4h{short(step * scale)}v-4"))
        parts.append(text(8, VIEW_SIZE - 16, length_text(step), "start", class_="faint"))
    return figure(title, svg(VIEW_SIZE, VIEW_SIZE, title, parts))


def symbol_legend(fans, axis):
    """As in drawings of currents: a dot for rays that come towards the reader, a cross for those that go away."""
    for row, fan in enumerate(fans):
        rises = sum(ray.direction[axis] for ray, _ in fan.rays) > 0
        # The views look down and to the right.
        comes = rises if axis == 1 else not rises
        x, y, size = 12, 14 + 16 * row, 3.2
        style = fan.rays[0][1]["style"]
        inside = f"M{x - size} {y - size}l{2 * size} {2 * size}m0 {-2 * size}l{-2 * size} {2 * size}"
        yield element("circle", class_="ray open", style=style, cx=x, cy=y, r=5)
        yield element("circle", class_="spot", style=style, cx=x, cy=y, r=2) if comes else element("path", class_="ray", style=style, d=inside)
        yield text(x + 9, y + 4, f"{fan.name} {ALONG[axis][rises]}", "start", class_="halo")


def fan_names(fans, place, across, upward, length):
    """Names at the fans' tips, or under their starts where every fan has a place of its own."""
    named = [fan for fan in fans if fan.name]
    starts = [place((fan.rays[0][0].start[across], fan.rays[0][0].start[upward])) for fan in named]
    apart = all(math.dist(a, b) > 40 for i, a in enumerate(starts) for b in starts[:i])
    written = []
    for fan, start in zip(named, starts):
        ray = fan.rays[len(fan.rays) // 2][0]
        tip = plus(ray.start, ray.direction, length)
        x, y = place((tip[across], tip[upward]))
        dx, dy = ray.direction[across], -ray.direction[upward]
        size = math.hypot(dx, dy) or 1.0
        half_width = 2.8 * len(fan.name)
        beside = (5 + half_width) * dx / size
        x, y = (start[0], start[1] + 15) if apart else (x + beside, y + 4 + 9 * dy / size)
        while any(abs(x - other[0]) < 26 and abs(y - other[1]) < 11 for other in written):
            y += 11
        written.append((x, y))
        yield text(min(max(x, half_width + 2), VIEW_SIZE - half_width - 2), y, fan.name, class_="halo")


def scale_step(extent):
    """A round length, between a fifth and a half of the extent."""
    power = 10.0 ** math.floor(math.log10(extent / 2))
    return max(power * factor for factor in (1, 2, 5) if power * factor <= extent / 2)


def length_text(metres):
    return f"{metres:g} m" if metres >= 1 else f"{metres * 100:g} cm"


def dashed(fan):
    """The same rays as lines to compare with."""
    return Fan([(ray, {"class_": "ray compare", "head": False}) for ray, _ in fan.rays])


def film_and_rays(settings, answer, compared):
    """Figures (title and svg) for a drawing's settings, the answer of `ovicam rays`, and that of a camera to compare."""
    tiles = settings.get("tiles")
    names = settings.get("tile_names")
    if tiles and names is None:
        names = [f"{row + 1}-{column + 1}" for row in range(tiles[1]) for column in range(tiles[0])]
    world = settings.get("axes") == "world"
    axes = WORLD if world else own_axes(compared or answer)
    origin, *directions = axes
    marks = [(mark["name"], tuple(dot(plus(mark["at"], origin, -1.0), axis) for axis in directions)) for mark in settings.get("marks", [])]
    figures = [film_figure(answer, tiles, names)]
    views = {
        "above": ("The rays from above", (0, 2), ("X" if world else "right", "Z" if world else "ahead"), True),
        "side": ("The rays from the left side", (2, 1), ("ahead", "up"), False),
    }
    for view in settings.get("views", ["above", "side"]):
        title, plane, labels, across = views[view]
        fans = tile_fans(answer, tiles, names, axes, across) if tiles else [line_fan(answer, axes, across)]
        if compared:
            fans.insert(0, dashed(line_fan(compared, axes, across)))
        drawn = view_figure(title, fans, plane, labels, settings.get("length_metres"), marks)
        if drawn:
            figures.append(drawn)
    return figures
