"""Pictures of the help list, drawn by the service itself.

A tiny raster canvas (filled and outlined rectangles, a 5x7 bitmap font for
key labels) and a PNG encoder built on zlib, so that the service needs nothing
beyond the standard library. Each help entry's picture shows the keys or the
window part its answer talks about.
"""

import struct
import zlib

# 5x7 glyphs, one string of five cells per row, "#" lit.
_FONT = {
    "A": [" ### ", "#   #", "#   #", "#####", "#   #", "#   #", "#   #"],
    "B": ["#### ", "#   #", "#   #", "#### ", "#   #", "#   #", "#### "],
    "C": [" ### ", "#   #", "#    ", "#    ", "#    ", "#   #", " ### "],
    "D": ["#### ", "#   #", "#   #", "#   #", "#   #", "#   #", "#### "],
    "E": ["#####", "#    ", "#    ", "#### ", "#    ", "#    ", "#####"],
    "F": ["#####", "#    ", "#    ", "#### ", "#    ", "#    ", "#    "],
    "G": [" ### ", "#   #", "#    ", "# ###", "#   #", "#   #", " ####"],
    "H": ["#   #", "#   #", "#   #", "#####", "#   #", "#   #", "#   #"],
    "I": [" ### ", "  #  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "],
    "J": ["  ###", "   # ", "   # ", "   # ", "   # ", "#  # ", " ##  "],
    "K": ["#   #", "#  # ", "# #  ", "##   ", "# #  ", "#  # ", "#   #"],
    "L": ["#    ", "#    ", "#    ", "#    ", "#    ", "#    ", "#####"],
    "M": ["#   #", "## ##", "# # #", "# # #", "#   #", "#   #", "#   #"],
    "N": ["#   #", "#   #", "##  #", "# # #", "#  ##", "#   #", "#   #"],
    "O": [" ### ", "#   #", "#   #", "#   #", "#   #", "#   #", " ### "],
    "P": ["#### ", "#   #", "#   #", "#### ", "#    ", "#    ", "#    "],
    "Q": [" ### ", "#   #", "#   #", "#   #", "# # #", "#  # ", " ## #"],
    "R": ["#### ", "#   #", "#   #", "#### ", "# #  ", "#  # ", "#   #"],
    "S": [" ####", "#    ", "#    ", " ### ", "    #", "    #", "#### "],
    "T": ["#####", "  #  ", "  #  ", "  #  ", "  #  ", "  #  ", "  #  "],
    "U": ["#   #", "#   #", "#   #", "#   #", "#   #", "#   #", " ### "],
    "V": ["#   #", "#   #", "#   #", "#   #", "#   #", " # # ", "  #  "],
    "W": ["#   #", "#   #", "#   #", "# # #", "# # #", "# # #", " # # "],
    "X": ["#   #", "#   #", " # # ", "  #  ", " # # ", "#   #", "#   #"],
    "Y": ["#   #", "#   #", " # # ", "  #  ", "  #  ", "  #  ", "  #  "],
    "Z": ["#####", "    #", "   # ", "  #  ", " #   ", "#    ", "#####"],
    "0": [" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "],
    "1": ["  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "],
    "2": [" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"],
    "3": ["#####", "   # ", "  #  ", "   # ", "    #", "#   #", " ### "],
    "4": ["   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "],
    "5": ["#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "],
    "6": ["  ## ", " #   ", "#    ", "#### ", "#   #", "#   #", " ### "],
    "7": ["#####", "    #", "   # ", "  #  ", " #   ", " #   ", " #   "],
    "8": [" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "],
    "9": [" ### ", "#   #", "#   #", " ####", "    #", "   # ", " ##  "],
    "-": ["     ", "     ", "     ", "#####", "     ", "     ", "     "],
    "=": ["     ", "     ", "#####", "     ", "#####", "     ", "     "],
    "+": ["     ", "  #  ", "  #  ", "#####", "  #  ", "  #  ", "     "],
    ",": ["     ", "     ", "     ", "     ", " ##  ", "  #  ", " #   "],
    ".": ["     ", "     ", "     ", "     ", "     ", " ##  ", " ##  "],
    "/": ["    #", "    #", "   # ", "  #  ", " #   ", "#    ", "#    "],
    "?": [" ### ", "#   #", "    #", "   # ", "  #  ", "     ", "  #  "],
    "<": ["   # ", "  #  ", " #   ", "#    ", " #   ", "  #  ", "   # "],
    ">": [" #   ", "  #  ", "   # ", "    #", "   # ", "  #  ", " #   "],
    "'": ["  #  ", "  #  ", " #   ", "     ", "     ", "     ", "     "],
    ";": ["     ", " ##  ", " ##  ", "     ", " ##  ", "  #  ", " #   "],
    "[": [" ### ", " #   ", " #   ", " #   ", " #   ", " #   ", " ### "],
    "]": [" ### ", "   # ", "   # ", "   # ", "   # ", "   # ", " ### "],
    "_": ["     ", "     ", "     ", "     ", "     ", "     ", "#####"],
    " ": ["     "] * 7,
}

WHITE = (255, 255, 255)
PAGE = (246, 247, 250)
KEY = (255, 255, 255)
KEY_EDGE = (190, 195, 205)
KEY_TEXT = (80, 86, 100)
ACCENT = (232, 72, 60)
ACCENT_TEXT = (255, 255, 255)
PANEL = (255, 255, 255)
PANEL_EDGE = (170, 176, 190)
MUTED = (205, 210, 220)
GREEN = (60, 170, 100)


class Canvas:
    def __init__(self, width, height, background=PAGE):
        self.width = width
        self.height = height
        self.rows = [bytearray(bytes(background) * width) for _ in range(height)]

    def fill(self, x, y, w, h, colour):
        x0, y0 = max(0, x), max(0, y)
        x1, y1 = min(self.width, x + w), min(self.height, y + h)
        if x1 <= x0 or y1 <= y0:
            return
        span = bytes(colour) * (x1 - x0)
        for row in range(y0, y1):
            self.rows[row][x0 * 3 : x1 * 3] = span

    def frame(self, x, y, w, h, colour, thickness=1):
        self.fill(x, y, w, thickness, colour)
        self.fill(x, y + h - thickness, w, thickness, colour)
        self.fill(x, y, thickness, h, colour)
        self.fill(x + w - thickness, y, thickness, h, colour)

    def text_width(self, text, scale):
        return len(text) * 6 * scale - scale if text else 0

    def text(self, x, y, text, colour, scale=2):
        for index, char in enumerate(text.upper()):
            glyph = _FONT.get(char, _FONT["?"])
            for gy, line in enumerate(glyph):
                for gx, cell in enumerate(line):
                    if cell == "#":
                        self.fill(x + (index * 6 + gx) * scale, y + gy * scale, scale, scale, colour)

    def centred_text(self, x, y, w, h, text, colour, scale=2):
        tx = x + (w - self.text_width(text, scale)) // 2
        ty = y + (h - 7 * scale) // 2
        self.text(tx, ty, text, colour, scale)

    def key(self, x, y, w, h, label, lit=False):
        self.fill(x, y + 2, w, h, MUTED)
        self.fill(x, y, w, h, ACCENT if lit else KEY)
        self.frame(x, y, w, h, ACCENT if lit else KEY_EDGE)
        scale = 2 if self.text_width(label, 2) <= w - 6 else 1
        self.centred_text(x, y, w, h, label, ACCENT_TEXT if lit else KEY_TEXT, scale)

    def png(self):
        raw = b"".join(b"\x00" + bytes(row) for row in self.rows)

        def chunk(kind, data):
            body = kind + data
            return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

        header = struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)
        return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")


def _keyboard(lit, width=440, height=180):
    """A compact keyboard with the named keys lit."""
    canvas = Canvas(width, height)
    rows = [
        ["ESC", "1", "2", "3", "4", "5", "6", "7", "8", "9", "0", "-", "="],
        ["TAB", "Q", "W", "E", "R", "T", "Y", "U", "I", "O", "P", "[", "]"],
        ["CAPS", "A", "S", "D", "F", "G", "H", "J", "K", "L", ";", "'", "ENTER"],
        ["SHIFT", "Z", "X", "C", "V", "B", "N", "M", ",", ".", "/", "SHIFT"],
        ["CTRL", "ALT", "SPACE", "ALT", "CTRL"],
    ]
    unit = 24
    gap = 3
    top = 14
    for r, row in enumerate(rows):
        widths = []
        for label in row:
            if label == "SPACE":
                widths.append(unit * 6 + gap * 5)
            elif len(label) > 2:
                widths.append(unit * 2 + gap)
            else:
                widths.append(unit)
        total = sum(widths) + gap * (len(widths) - 1)
        x = (width - total) // 2
        y = top + r * (unit + gap + 3)
        for label, w in zip(row, widths):
            canvas.key(x, y, w, unit, label, label in lit)
            x += w + gap
    return canvas


def _candidate_window(pinyin, lit_keys, width=400, height=180):
    """A candidate window over a row of keys."""
    canvas = Canvas(width, height)
    canvas.fill(40, 24, 320, 70, PANEL)
    canvas.frame(40, 24, 320, 70, PANEL_EDGE)
    canvas.text(54, 34, pinyin, KEY_TEXT, 2)
    for i in range(5):
        x = 54 + i * 60
        canvas.text(x, 62, str(i + 1) + ".", ACCENT if i == 0 else KEY_TEXT, 2)
        canvas.fill(x + 22, 60, 26, 18, ACCENT if i == 0 else MUTED)
    x = (width - (len(lit_keys) * 64 - 8)) // 2
    for label in lit_keys:
        canvas.key(x, 120, 56, 34, label, True)
        x += 64
    return canvas


def _settings_panel(rows, checked, width=400, height=180):
    """A preference panel: labelled check boxes, some ticked."""
    canvas = Canvas(width, height)
    canvas.fill(30, 16, 340, 148, PANEL)
    canvas.frame(30, 16, 340, 148, PANEL_EDGE)
    canvas.fill(30, 16, 340, 24, MUTED)
    canvas.text(42, 22, "VESKO", KEY_TEXT, 2)
    for i, label in enumerate(rows):
        y = 52 + i * 26
        canvas.fill(46, y, 16, 16, ACCENT if i in checked else KEY)
        canvas.frame(46, y, 16, 16, ACCENT if i in checked else KEY_EDGE)
        if i in checked:
            canvas.fill(50, y + 7, 8, 3, ACCENT_TEXT)
        canvas.text(74, y + 1, label, KEY_TEXT, 2)
    return canvas


def _window(title_keys, lines, width=400, height=180):
    """A plain window with a title bar and lines of text."""
    canvas = Canvas(width, height)
    canvas.fill(30, 16, 340, 148, PANEL)
    canvas.frame(30, 16, 340, 148, PANEL_EDGE)
    canvas.fill(30, 16, 340, 24, MUTED)
    for i in range(3):
        canvas.fill(40 + i * 14, 24, 8, 8, (ACCENT, (240, 190, 60), GREEN)[i])
    canvas.text(100, 22, title_keys, KEY_TEXT, 2)
    for i, line in enumerate(lines):
        canvas.text(46, 54 + i * 22, line, KEY_TEXT, 2)
    return canvas


# Picture of each built-in help entry, by picture name.
_PICTURES = {
    "helpinfo_101": lambda: _keyboard({"CTRL", "SPACE"}),
    "helpinfo_102": lambda: _keyboard({"SHIFT"}),
    "helpinfo_103": lambda: _candidate_window("NIHAO", ["-", "=", "1"]),
    "helpinfo_104": lambda: _settings_panel(["Z = ZH", "C = CH", "S = SH", "N = L"], {0, 3}),
    "helpinfo_105": lambda: _settings_panel(["QUANPIN", "SHUANGPIN", "XIAOHE", "ZIRANMA"], {1, 2}),
    "helpinfo_106": lambda: _candidate_window("SHURUFA", ["CTRL", "DEL"]),
    "helpinfo_107": lambda: _keyboard({"CTRL", "."}),
    "helpinfo_108": lambda: _window("FEEDBACK", ["1. DESCRIBE IT", "2. ADD PICTURES", "3. SUBMIT"]),
    "helpinfo_109": lambda: _window(
        "ENVIRONMENT", ["GTK_IM_MODULE", "QT_IM_MODULE", "XMODIFIERS"]
    ),
}

_cache = {}


def picture(name):
    """PNG bytes of the picture named name (without suffix), or None."""
    if name not in _PICTURES:
        return None
    if name not in _cache:
        _cache[name] = _PICTURES[name]().png()
    return _cache[name]


def names():
    return sorted(_PICTURES)
