# SPDX-License-Identifier: GPL-3.0-or-later
"""Draws what "tmux capture-pane -peN" prints as an SVG picture: screen_svg.py TITLE <CAPTURE >PICTURE

Nothing depends on the reader's fonts: boxes and shadows are lines and rectangles, and words are told how long they are.
"""
import collections
import html
import re
import sys
import unicodedata

WIDTH, HEIGHT = 9, 18  # of a cell
MARGIN = 12
# As the Linux console has them. What is bold shows bright there.
COLOURS = "#000 #a00 #0a0 #a50 #00a #a0a #0aa #aaa #555 #f55 #5f5 #ff5 #55f #f5f #5ff #fff".split()
FOREGROUND, BACKGROUND, DIM = 7, 0, 8
FONT = "'DejaVu Sans Mono',Menlo,Consolas,'Liberation Mono',monospace"
WIDE_FONT = "'Noto Sans Mono CJK JP','Noto Sans CJK JP','Hiragino Sans','Yu Gothic','MS Gothic',sans-serif"

# Which way the lines of a character go from the middle of its cell; "_" is at its foot.
ARMS = {"_": "_", "─": "lr", "│": "ud", "┌": "rd", "┐": "ld", "└": "ru", "┘": "lu", "├": "rud", "┤": "lud",
        "┬": "lrd", "┴": "lru", "┼": "lrud"}
SHAPES = {"▮": "m1.5 2h6v14h-6z", "▒": "m0 0h9v18h-9z", "↑": "m4.5 3l3.5 4.5h-2.75v7.5h-1.5v-7.5h-2.75z",
          "↓": "m4.5 15l3.5 -4.5h-2.75v-7.5h-1.5v7.5h-2.75z"}

Cell = collections.namedtuple("Cell", "text columns fore back")


class Pen:
    """The colours that a terminal's escape sequences choose."""

    def __init__(self):
        self.select([0])

    def select(self, codes):
        for code in codes:
            if code == 0:
                self.fore, self.back, self.bold, self.dim, self.reverse = FOREGROUND, BACKGROUND, False, False, False
            elif code in (1, 2, 22):
                self.bold, self.dim = code == 1, code == 2
            elif code in (7, 27):
                self.reverse = code == 7
            elif 30 <= code <= 37 or 90 <= code <= 97:
                self.fore = code % 10 + (8 if code >= 90 else 0)
            elif 40 <= code <= 47 or 100 <= code <= 107:
                self.back = code % 10 + (8 if code >= 100 else 0)
            elif code == 39:
                self.fore = FOREGROUND
            elif code == 49:
                self.back = BACKGROUND
            elif code not in (5, 25):
                sys.exit(f"screen_svg.py: no drawing for ESC [ {code} m")

    def cell(self, char):
        fore = self.fore + 8 if self.bold and self.fore < 8 else DIM if self.dim else self.fore
        fore, back = (self.back, fore) if self.reverse else (fore, self.back)
        return Cell(char, 2 if unicodedata.east_asian_width(char) in "WF" else 1, COLOURS[fore], COLOURS[back])


def read_cells(capture):
    """Every cell by column and row, with what stands there."""
    pen, cells = Pen(), {}
    for row, line in enumerate(capture.splitlines()):
        column = 0
        for codes, char in re.findall(r"\x1b\[([\d;]*)m|(.)", line):
            if not char:
                pen.select(int(code or 0) for code in codes.split(";"))
                continue
            cells[column, row] = pen.cell(char)
            column += cells[column, row].columns
    return cells


def joined(pieces):
    """Joins the pieces of (where, colour, begin, end) that touch."""
    whole = []
    for where, colour, begin, end in sorted(pieces):
        if whole and whole[-1][:2] == (where, colour) and whole[-1][3] == begin:
            begin = whole.pop()[2]
        whole.append((where, colour, begin, end))
    return whole


def rectangles(cells, common):
    runs = joined((row, cell.back, column, column + cell.columns)
                  for (column, row), cell in cells.items() if cell.back != common)
    stacks = joined(((begin, end), colour, row, row + 1) for row, colour, begin, end in runs)
    for (left, right), colour, top, bottom in stacks:
        yield (f'<rect x="{left * WIDTH}" y="{top * HEIGHT}" width="{(right - left) * WIDTH}" '
               f'height="{(bottom - top) * HEIGHT}" fill="{colour}"/>')


def lines(cells):
    across, down = [], []
    for (column, row), cell in cells.items():
        x, y = (column + 0.5) * WIDTH, (row + 0.5) * HEIGHT
        for arm in ARMS.get(cell.text, ""):
            begin_x, end_x = x - (WIDTH / 2 if arm in "l_" else 0), x + (WIDTH / 2 if arm in "r_" else 0)
            begin_y, end_y = y - (HEIGHT / 2 if arm == "u" else 0), y + (HEIGHT / 2 if arm == "d" else 0)
            if arm in "ud":
                down.append((x, cell.fore, begin_y, end_y))
            else:
                across.append((y + (6.5 if arm == "_" else 0), cell.fore, begin_x, end_x))
    paths = collections.defaultdict(str)
    for y, colour, begin, end in joined(across):
        paths[colour] += f"M{begin:g} {y:g}H{end:g}"
    for x, colour, begin, end in joined(down):
        paths[colour] += f"M{x:g} {begin:g}V{end:g}"
    for colour, path in sorted(paths.items()):
        yield f'<path d="{path}" stroke="{colour}" fill="none" stroke-width="1.2" stroke-linecap="square"/>'


def shapes(cells):
    for (column, row), cell in cells.items():
        if cell.text in SHAPES:
            see_through = ' fill-opacity=".4"' if cell.text == "▒" else ""
            yield f'<path d="M{column * WIDTH} {row * HEIGHT}{SHAPES[cell.text]}" fill="{cell.fore}"{see_through}/>'


def words(cells):
    """Texts of one colour and width; single blanks stand inside of them."""
    found = []
    for (column, row), cell in sorted(cells.items(), key=lambda item: (item[0][1], item[0][0])):
        if cell.text == " " or cell.text in ARMS or cell.text in SHAPES:
            continue
        last = found[-1] if found else None
        blanks = column - last["end"] if last and last["row"] == row else -1
        # No blank inside of wide ones: how wide it would be, depends on the font.
        if 0 <= blanks <= 2 - cell.columns and (last["columns"], last["fore"]) == (cell.columns, cell.fore):
            last["text"] += " " * blanks + cell.text
            last["end"] = column + cell.columns
        else:
            found.append({"row": row, "begin": column, "end": column + cell.columns, "text": cell.text,
                          "columns": cell.columns, "fore": cell.fore})
    return found


def texts(cells):
    for word in words(cells):
        x, y = word["begin"] * WIDTH + (word["columns"] - 1) / 2, word["row"] * HEIGHT + 13 + word["columns"]
        length = (word["end"] - word["begin"]) * WIDTH
        # A wide character is as wide as its font's size, and as high; what is left of its two cells goes around it.
        way = 'class="w"' if word["columns"] == 2 else 'lengthAdjust="spacingAndGlyphs"'
        yield (f'<text x="{x:g}" y="{y}" textLength="{length}" {way} fill="{word["fore"]}">'
               f'{html.escape(word["text"], quote=False)}</text>')


def picture(title, cells):
    width = max(column + cell.columns for (column, _), cell in cells.items()) * WIDTH
    height = (max(row for _, row in cells) + 1) * HEIGHT
    common = collections.Counter(cell.back for cell in cells.values()).most_common(1)[0][0]
    whole_width, whole_height = width + 2 * MARGIN, height + 2 * MARGIN
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {whole_width} {whole_height}" '
           f'width="{whole_width}" height="{whole_height}">')
    yield f"<title>{html.escape(title, quote=False)}</title>"
    yield f"<style>text{{font:15px {FONT}}}.w{{font:17px {WIDE_FONT};letter-spacing:1px}}</style>"
    yield (f'<rect x=".5" y=".5" width="{whole_width - 1}" height="{whole_height - 1}" rx="6" fill="{common}" '
           f'stroke="#888"/>')
    yield f'<g transform="translate({MARGIN} {MARGIN})">'
    yield '<g shape-rendering="crispEdges">'
    yield from rectangles(cells, common)
    yield "</g>"
    yield from lines(cells)
    yield from shapes(cells)
    yield from texts(cells)
    yield "</g>\n</svg>"


for line in picture(sys.argv[1], read_cells(sys.stdin.read())):
    print(line)
