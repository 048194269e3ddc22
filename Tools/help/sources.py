"""What the pictures of the help are made from: photographs, and pictures drawn here."""

import itertools
import math
import random
from dataclasses import dataclass

from PIL import Image, ImageChops, ImageDraw, ImageFilter, ImageFont

FONTS = "/usr/share/fonts/truetype/dejavu"

# What one sees on a source, for those who do not.
DESCRIPTIONS = {
    "astronaut": "An astronaut in an orange space suit, smiling, before a flag and a model of a shuttle",
    "blank": "An empty scanned page: almost white paper with a little dust",
    "button": "A green button with the word OK",
    "chelsea": "The face of a tabby cat, from near",
    "coffee": "A cup of coffee with a spoon on a wooden table",
    "cross": "A small red cross in a circle",
    "frames": "Boxes of pure red, green, blue, yellow and black on white",
    "icon": "A round symbol with soft edges on a transparent ground",
    "scan": "A scanned letter on yellowish, uneven paper, with a red stamp",
    "screenshot": "A dialog window with text fields, a red cross, a Cancel button and a green OK button",
}
PHOTOGRAPHS = ("astronaut", "chelsea", "coffee")
SAMPLES = 8000
BUTTON = (374, 272, 462, 302)
CROSS = (28, 228, 48, 248)


def _font(size, face="DejaVuSans"):
    return ImageFont.truetype(f"{FONTS}/{face}.ttf", size)


def _smooth(size, draw, factor=4):
    """A picture that `draw(ImageDraw, factor)` draws larger, made smaller: its edges are soft."""
    large = Image.new("RGBA", (size[0] * factor, size[1] * factor))
    draw(ImageDraw.Draw(large), factor)
    return large.resize(size, Image.LANCZOS)


def _paste(picture, drawn, at):
    picture.paste(drawn, at, drawn)


def _rounded(picture, box, radius, fill, outline=None):
    """A box with round, soft corners and a line of one pixel."""
    left, top, right, bottom = box

    def draw(pen, k):
        end = ((right - left) * k - 1, (bottom - top) * k - 1)
        pen.rounded_rectangle((0, 0, *end), radius * k, fill=outline or fill)
        if outline:
            pen.rounded_rectangle((k, k, end[0] - k, end[1] - k), (radius - 1) * k, fill=fill)

    _paste(picture, _smooth((right - left, bottom - top), draw), (left, top))


def screenshot():
    picture = Image.new("RGB", (480, 320), "#3c6e84")
    pen = ImageDraw.Draw(picture)
    for y in range(320):  # a desktop behind the window
        pen.line((0, y, 480, y), fill=(60 - y // 14, 110 - y // 10, 132 - y // 9))
    shadow = Image.new("L", picture.size)
    ImageDraw.Draw(shadow).rounded_rectangle((10, 14, 470, 316), 8, fill=110)
    picture.paste("#0c2029", (0, 0), shadow.filter(ImageFilter.GaussianBlur(5)))
    _rounded(picture, (8, 8, 472, 312), 8, "#f4f4f2", "#8a9499")
    _rounded(picture, (9, 9, 471, 50), 7, "#e3e6e7")
    pen.rectangle((9, 36, 470, 40), fill="#e3e6e7")
    pen.rectangle((9, 41, 470, 52), fill="#f4f4f2")
    pen.line((9, 40, 470, 40), fill="#c3c9cc")
    bold, plain, small = _font(13, "DejaVuSans-Bold"), _font(12), _font(11)
    pen.text((240, 25), "Connect to a server", font=bold, fill="#2a3236", anchor="mm")
    for i, colour in enumerate(("#d8dcde", "#d8dcde", "#e06c5c")):
        _rounded(picture, (404 + i * 22, 18, 418 + i * 22, 32), 7, colour, "#a9b0b3")
    fields = (("Server", "files.example.org", 66), ("Name", "robin", 104), ("Password", "••••••••••", 142))
    for label, value, y in fields:
        pen.text((112, y + 14), label + ":", font=plain, fill="#2a3236", anchor="rm")
        focused = label == "Name"
        _rounded(picture, (122, y, 452, y + 28), 4, "#ffffff", "#2f7f9b" if focused else "#b4bcc0")
        pen.text((131, y + 14), value, font=plain, fill="#20272a", anchor="lm")
    cursor = 131 + plain.getlength("robin") + 2
    pen.line((cursor, 111, cursor, 125), fill="#20272a")
    _rounded(picture, (122, 184, 138, 200), 3, "#2f7f9b")
    pen.line((126, 192, 129, 196, 135, 187), fill="white", width=2)
    pen.text((146, 192), "Remember the password", font=plain, fill="#2a3236", anchor="lm")
    _rounded(picture, (18, 218, 462, 258), 4, "#fbecea", "#e3b4ae")
    left, top, right, bottom = CROSS

    def cross(draw, k):
        draw.ellipse((0, 0, 20 * k - 1, 20 * k - 1), fill="#c8281e")
        for line in ((6, 6, 14, 14), (6, 14, 14, 6)):
            draw.line([v * k for v in line], fill="white", width=2 * k + k // 2)

    _paste(picture, _smooth((right - left, bottom - top), cross), (left, top))
    pen.text((58, 238), "The last attempt failed: the password is wrong.", font=small, fill="#6b1d17", anchor="lm")
    _rounded(picture, (276, 272, 364, 302), 5, "#fdfdfd", "#a9b0b3")
    pen.text((320, 287), "Cancel", font=plain, fill="#2a3236", anchor="mm")
    _rounded(picture, BUTTON, 5, "#2e9e4f", "#1f7a3a")
    pen.text((418, 287), "OK", font=bold, fill="#ffffff", anchor="mm")
    return picture


def _paper(size, colour, unevenness, seed):
    """Scanned paper: darker towards the edges, with a grain, in three channels that differ a little."""
    chance = random.Random(seed)
    width, height = size
    coarse = Image.new("L", (12, 16))
    coarse.putdata([128 + chance.randrange(-unevenness, unevenness + 1) for _ in range(12 * 16)])
    cloud = coarse.resize(size, Image.BICUBIC)
    shade = Image.new("L", size)
    shade.putdata([
        128 - int(unevenness * 2 * (abs(2 * x / width - 1) ** 4 + abs(2 * y / height - 1) ** 6) / 2)
        for y in range(height) for x in range(width)
    ])
    channels = []
    for level in colour:
        grain = Image.new("L", size)
        grain.putdata([128 + chance.randrange(-1, 2) for _ in range(width * height)])
        channel = Image.new("L", size, level)
        for layer in (cloud, shade, grain):
            channel = ImageChops.add(channel, layer, offset=-128)
        channels.append(channel)
    return Image.merge("RGB", channels)


LETTER = """Dear Ms Winter,

thank you for the four boxes of glass negatives that
reached us last week. All of them arrived whole, and
the labels, though faded, can still be read.

We shall begin with the views of the harbour. Each plate
is cleaned, placed on the light table and photographed
twice; the better picture goes into the catalogue. The
originals stay in the cool room and can be seen there
on Tuesdays after two o'clock.

Of the plate with the lighthouse a corner is missing.
Should you find it among your papers, please let us
know. It is the only picture of the old lamp.

Yours sincerely"""


def scan():
    size = (360, 480)
    ink = Image.new("L", size, 255)
    pen = ImageDraw.Draw(ink)
    title, plain = _font(14, "DejaVuSerif-Bold"), _font(9, "DejaVuSerif")
    pen.text((36, 36), "Town Archive", font=title, fill=40)
    pen.text((324, 40), "12 March", font=plain, fill=70, anchor="ra")
    pen.line((36, 60, 324, 60), fill=90)
    y = 84
    for line in LETTER.splitlines():
        pen.text((36, y), line, font=plain, fill=48)
        y += 17
    points = [(40 + x * 0.9, y + 22 + 9 * math.sin(x / 5.5) * math.cos(x / 23)) for x in range(90)]
    pen.line(points, fill=60, width=2, joint="curve")
    ink = ink.rotate(0.6, Image.BICUBIC, fillcolor=255).filter(ImageFilter.GaussianBlur(0.4))
    picture = ImageChops.multiply(_paper(size, (243, 232, 205), 5, 1), Image.merge("RGB", (ink,) * 3))

    def stamp(draw, k):
        red = (190, 40, 44, 205)
        draw.rounded_rectangle((2 * k, 2 * k, 118 * k, 46 * k), 6 * k, outline=red, width=3 * k)
        draw.text((60 * k, 17 * k), "RECEIVED", font=_font(16 * k, "DejaVuSans-Bold"), fill=red, anchor="mm")
        draw.text((60 * k, 34 * k), "14 March", font=_font(10 * k), fill=red, anchor="mm")

    tilted = _smooth((120, 48), stamp).rotate(9, Image.BICUBIC, expand=True)
    _paste(picture, tilted, (204, 392))
    return picture


def blank():
    picture = _paper((360, 480), (250, 250, 248), 2, 2)
    chance = random.Random(3)
    pen = ImageDraw.Draw(picture)
    for _ in range(14):
        x, y, gray = chance.randrange(360), chance.randrange(480), chance.randrange(212, 236)
        pen.point((x, y), fill=(gray, gray, gray - 2))
    return picture


def icon():
    """A lens over a picture frame, in a disc whose edge fades out."""

    def draw(pen, k):
        pen.ellipse((14 * k, 14 * k, 146 * k, 146 * k), fill="#2f7f9b")
        pen.rounded_rectangle((44 * k, 50 * k, 116 * k, 104 * k), 5 * k, fill="#f6f3ea")
        pen.rectangle((50 * k, 56 * k, 110 * k, 98 * k), fill="#bfe0ea")
        pen.ellipse((90 * k, 61 * k, 102 * k, 73 * k), fill="#f2b632")
        pen.polygon([v * k for v in (50, 98, 50, 90, 66, 72, 80, 88, 90, 78, 110, 96, 110, 98)], fill="#3c8a5a")
        pen.line([v * k for v in (108, 112, 122, 126)], fill="#f6f3ea", width=8 * k)
        pen.ellipse((86 * k, 90 * k, 114 * k, 118 * k), fill="#bfe0ea", outline="#f6f3ea", width=5 * k)

    picture = _smooth((160, 160), draw)
    fade = Image.new("L", picture.size)
    ImageDraw.Draw(fade).ellipse((18, 18, 142, 142), fill=255)
    picture.putalpha(ImageChops.multiply(picture.getchannel("A"), fade.filter(ImageFilter.GaussianBlur(4))))
    return picture


def frames():
    picture = Image.new("RGB", (320, 200), "white")
    pen = ImageDraw.Draw(picture)
    pen.rectangle((20, 20, 109, 89), fill="#ff0000")
    pen.rectangle((130, 30, 179, 79), fill="#00ff00")
    pen.rectangle((210, 20, 299, 99), outline="#0000ff", width=6)
    pen.rectangle((40, 120, 149, 179), outline="#000000", width=3)
    pen.rectangle((180, 130, 279, 169), fill="#ffff00")
    return picture


def samples():
    """A second of mono sound, 8 bits a sample: three plucked notes, the loudest last."""
    sound = []
    for i in range(SAMPLES):
        note, since = divmod(i / SAMPLES * 3, 1)
        loudness = (0.45 + 0.25 * note) * min(1, since * 30) * math.exp(-3.2 * since)
        phase = 2 * math.pi * (220, 277, 330)[int(note)] * i / SAMPLES
        wave = 0.7 * math.sin(phase) + 0.2 * math.sin(2 * phase) + 0.1 * math.sin(5 * phase)
        sound.append(128 + round(125 * loudness * wave))
    return bytes(sound)


def cube():
    """The colour table of the examples, by its corners: shadows towards blue, lights towards yellow."""
    corners = itertools.product((1, 16), repeat=3)
    rows = (f"{r * 16 / 255:.9f} {(g * 15 + 4) / 255:.9f} {(b * 9 + 50) / 255:.9f}\n" for b, g, r in corners)
    return "LUT_3D_SIZE 2\n" + "".join(rows)


def pictures(photos):
    """All sources by name; `photos` is the folder of the photographs."""
    window = screenshot()
    drawn = {
        "blank": blank(), "button": window.crop(BUTTON), "cross": window.crop(CROSS), "frames": frames(),
        "icon": icon(), "scan": scan(), "screenshot": window,
    }
    for name in PHOTOGRAPHS:
        with Image.open(photos / f"{name}.jpg") as photograph:
            drawn[name] = photograph.convert("RGB")
    return drawn


@dataclass(frozen=True)
class Folder:
    """Where the sources lie as files, all in one size."""

    path: object
    pictures: dict

    @staticmethod
    def write(path, drawn, width=None):
        """Writes every source as PNG, those wider than `width` scaled down to it."""
        path.mkdir(parents=True)
        scaled = {}
        for name, picture in drawn.items():
            if width and picture.width > width:
                picture = picture.resize((width, round(picture.height * width / picture.width)), Image.LANCZOS)
            scaled[name] = picture
            picture.save(path / f"{name}.png")
        (path / "samples.raw").write_bytes(samples())
        (path / "look.cube").write_text(cube(), encoding="ascii")
        return Folder(path, scaled)


__all__ = ["DESCRIPTIONS", "Folder", "pictures"]
