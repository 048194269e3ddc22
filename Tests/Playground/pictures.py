"""Writes pictures as bytes, and files that calls can name: pictures.py FOLDER. Always the same."""

import random
import sys
from pathlib import Path

from PIL import Image

ROOT = Path(__file__).resolve().parents[2]
SIZE = (211, 157)  # odd, and not a multiple of any vector
chance = random.Random(20)


def noise(alpha):
    return Image.frombytes("RGBA", SIZE, chance.randbytes(SIZE[0] * SIZE[1] * 4)) if alpha else \
        Image.frombytes("RGB", SIZE, chance.randbytes(SIZE[0] * SIZE[1] * 3))


def flat():
    """Grays and few colours in large areas, as searches and tests for gray, black and white like them."""
    picture = Image.new("RGB", SIZE, "white")
    for _ in range(40):
        x, y = chance.randrange(SIZE[0]), chance.randrange(SIZE[1])
        color = chance.choice([(0, 0, 0), (255, 0, 0), (250, 250, 252), (128, 128, 128), (255, 255, 255)])
        picture.paste(color, (x, y, x + chance.randrange(60), y + chance.randrange(40)))
    return picture


def photograph(name, size=SIZE):
    return Image.open(ROOT / f"Docs/help/photos/{name}.jpg").convert("RGB").resize(size)


def faded(picture):
    """Transparent from left to right."""
    ramp = Image.linear_gradient("L").rotate(90).resize(picture.size)
    return Image.merge("RGBA", (*picture.split(), ramp))


def main(folder):
    piece = photograph("chelsea").crop((70, 50, 100, 71))
    pictures = {
        "noise.png": noise(False), "other.png": noise(False), "alpha.png": noise(True), "flat.png": flat(),
        "coffee.png": photograph("coffee"), "chelsea.png": photograph("chelsea"),
        "faded.png": faded(photograph("astronaut")), "large.png": photograph("chelsea", (640, 427)),
        "piece.png": piece, "near.png": piece.point(lambda level: level ^ 2),
        "dot.png": Image.new("RGB", (1, 1), "red"),
    }
    lines = []
    for name, picture in pictures.items():
        alpha = picture.mode == "RGBA"
        (folder / name).write_bytes(picture.convert("RGBA").tobytes())
        lines.append(f"{name} {picture.width} {picture.height} {int(alpha)}\n")
    (folder / "pictures").write_text("".join(lines))
    (folder / "samples.raw").write_bytes(chance.randbytes(20001))
    (folder / "table.raw").write_bytes(chance.randbytes(256))
    side = 7
    entries = [[chance.random() * 1.2 - 0.1 for _ in range(3)] for _ in range(side ** 3)]
    (folder / "look.cube").write_text(
        f"LUT_3D_SIZE {side}\n" + "".join("%.5f %.5f %.5f\n" % tuple(entry) for entry in entries))
    width, height = 40, 30
    pixels = chance.randbytes(width * height * 3)
    words = (40 + len(pixels), width, height, 32, 40)
    packed = b"PPIC" + b"".join(word.to_bytes(4, "big") for word in words) + bytes(16) + pixels
    (folder / "packed.ppic").write_bytes(packed)
    (folder / "broken.ppic").write_bytes(packed[:-1])


main(Path(sys.argv[1]))
