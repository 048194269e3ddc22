"""The pictures of the pages: made by the library, written as small files."""

import io
import re
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field, replace
from threading import Lock

from PIL import Image, ImageChops, ImageDraw, ImageOps

import sources
from qkz import CallError, Run

STRIP_WIDTH = 200
TILE = (240, 160)
SMALL_TILE = (144, 96)
QUALITY = 86
FRAME = "#e4007c"
GIVES_A_STRING = "PicturetoBinaryStringQKZ"
FROM_ELSEWHERE = ("RenderSamplesQKZ", "BinaryStringtoPictureQKZ")


@dataclass(frozen=True)
class Shown:
    """A picture on a page."""

    file: str
    width: int
    height: int
    alt: str
    caption: str = ""
    transparent: bool = False


@dataclass(frozen=True)
class Desk:
    """Where the calls of one entry run, and the values of the names that it was given."""

    run: Run
    values: dict


@dataclass
class Figure:
    """Before and after, or a picture and what was told of it; and the calls."""

    pictures: list = field(default_factory=list)
    steps: list = field(default_factory=list)  # (call, the lines that it printed)


def encoded(picture):
    """Bytes and file type: PNG for flat graphics, where it is hardly larger, WebP for the rest."""
    colours = picture.getcolors(256)
    flat = io.BytesIO()
    if colours and picture.mode == "RGB":
        palette = picture.quantize(len(colours), Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE)
        exact = palette.convert("RGB").tobytes() == picture.tobytes()
        (palette if exact else picture).save(flat, "PNG", optimize=True)
    else:
        picture.save(flat, "PNG", optimize=True)
    rich = io.BytesIO()
    picture.save(rich, "WEBP", quality=QUALITY, method=6)
    if len(flat.getvalue()) <= 1.5 * len(rich.getvalue()):
        return flat.getvalue(), "png"
    return rich.getvalue(), "webp"


class Studio:
    """Makes and writes pictures. What fails is told to `problems`; nothing then appears on the page."""

    def __init__(self, qkz, photos, work, output, problems):
        self._qkz = qkz
        self._work = work
        self._output = output
        self._problems = problems
        drawn = sources.pictures(photos)
        self.large = sources.Folder.write(work / "large", drawn)
        self.small = sources.Folder.write(work / "small", drawn, STRIP_WIDTH)
        self._run_small = Run(qkz, self.small.path)
        run = Run(qkz, self.large.path)
        for name in drawn:
            run(f"{name}.png", ["PicturetoBinaryStringQKZ($)"], self.large.path / f"{name}.ppic")
        self._shown = {}
        self._lock = Lock()
        self._pool = ThreadPoolExecutor(2)
        self._waiting = []

    def later(self, function, *arguments):
        """Does it beside other work; `finish` waits."""
        self._waiting.append(self._pool.submit(function, *arguments))

    def finish(self):
        for job in self._waiting:
            job.result()
        self._waiting.clear()

    def known(self, file, where, name):
        if name in self.large.pictures:
            return True
        self._problems.add(file, where, f"knows no picture {name}; there are {', '.join(sorted(self.large.pictures))}")
        return False

    def desk(self, file, where, name, given):
        """A folder of an entry's own with all sources and what its words give besides; and the values of the
        given names: files, or what is written."""
        folder = self._work / f"desk-{name}"
        folder.mkdir()
        for source in self.large.path.iterdir():
            (folder / source.name).hardlink_to(source)
        values = {}
        for given_name, value in given.items():
            if not isinstance(value, dict):
                values[given_name] = value
                continue
            source = value.get("of", "coffee")
            if not self.known(file, where, source):
                continue
            path = folder / f"{given_name}.png"
            path.unlink(missing_ok=True)
            picture = self.large.pictures[source]
            if area := value.get("area"):
                picture = picture.crop((area[0], area[1], area[0] + area[2], area[1] + area[3]))
            picture.save(path)
            try:
                if calls := value.get("calls"):
                    Run(self._qkz, folder)(path, calls, path)
            except CallError as error:
                self._problems.add(file, where, f"given {given_name}: {error}")
            values[given_name] = path
        return Desk(Run(self._qkz, folder), values)

    def write(self, picture, name, alt, caption=""):
        picture = picture.convert("RGBA" if picture.mode in ("RGBA", "LA", "P") else "RGB")
        transparent = picture.mode == "RGBA" and picture.getchannel("A").getextrema()[0] < 255
        if not transparent:
            picture = picture.convert("RGB")
        data, kind = encoded(picture)
        (self._output / f"{name}.{kind}").write_bytes(data)
        return Shown(f"{name}.{kind}", *picture.size, alt, caption, transparent)

    def source(self, name, caption):
        """A source as it is; the pages that show it share the file."""
        with self._lock:
            if name not in self._shown:
                picture = self.large.pictures[name]
                self._shown[name] = self.write(picture, f"source-{name}", sources.DESCRIPTIONS[name])
            return replace(self._shown[name], caption=caption)

    def figure(self, file, where, name, desk, words, figure, tiles, size):
        """Fills a figure from a `picture`, and makes a tile of a size for the overview."""
        names = [words.get("of"), *words.get("others", [])]
        if not all([self.known(file, where, n) for n in names]):
            return
        try:
            result = self._steps(desk, f"{names[0]}.png", words.get("calls") or [], figure)
        except CallError as error:
            self._problems.add(file, where, f"its picture: {error}")
            return
        before = self.large.pictures[names[0]]
        # What a call makes of something else than the picture has no before.
        made = figure.steps[0][0].startswith(FROM_ELSEWHERE) and "$" not in figure.steps[0][0]
        with Image.open(result) as after:
            piece = self._found(desk, *figure.steps[-1])
            others = [self.source(n, "Sought" if piece else "With") for n in names[1:]]
            if piece:
                after = after.convert("RGB")
                left, top, right, bottom = piece
                right, bottom = min(right + 2, after.width - 1), min(bottom + 2, after.height - 1)
                box = (max(left - 3, 0), max(top - 3, 0), right, bottom)
                ImageDraw.Draw(after).rectangle(box, outline=FRAME, width=3)
                figure.pictures = [self.write(after, name, words.get("alt", ""), "Found, in the frame"), *others]
            elif not made and _same(before, after):  # the calls told something and made nothing
                looked_at = self.source(names[0], "Looked at")
                figure.pictures = [replace(looked_at, alt=words.get("alt", "")), *others]
            else:
                if not made:
                    figure.pictures = [self.source(names[0], "Before")]
                caption = "After" if figure.pictures else "Made"
                figure.pictures += [*others, self.write(after, name, words.get("alt", ""), caption)]
            tiles[where] = self.write(_tile(after, size), f"tile-{name}", "")

    @staticmethod
    def _steps(desk, picture, calls, figure):
        """Runs calls one by one, so that each has what it printed. Gives the file of the last picture."""
        for i, call in enumerate(calls):
            output = None if call.startswith(GIVES_A_STRING) else desk.run.folder / f"step-{i}.png"
            printed = desk.run(picture, [call], output)
            picture = output or picture
            figure.steps.append((call, [line.partition(": ")[0] if " bytes: " in line else line for line in printed]))
        return desk.run.folder / picture

    @staticmethod
    def _found(desk, call, printed):
        """Where FindPictureQKZ found its piece: left, top, right, bottom."""
        match = re.match(r'FindPictureQKZ\(\s*"([^"]+)"', call)
        if not match or "true" not in printed:
            return None
        at = dict(line.split(" = ") for line in printed if " = " in line)
        left, top = (int(v) for v in list(at.values())[:2])
        with Image.open(desk.run.folder / match.group(1)) as piece:
            return left, top, left + piece.width, top + piece.height

    def strip(self, file, where, name, words, strip):
        """Appends five pictures, each with its value."""
        if not self.known(file, where, words.get("of")):
            return
        for i, value in enumerate(words.get("values", []), 1):
            result = self._work / f"{name}-{i}.png"
            written = str(value).lower() if isinstance(value, bool) else str(value)
            try:
                self._run_small(f"{words['of']}.png", [words["call"].replace("{}", written)], result)
            except CallError as error:
                self._problems.add(file, where, f"its strip: {error}")
                return
            shown = str(value).replace("-", "\u2212")
            with Image.open(result) as picture:
                strip.append(self.write(picture, f"{name}-{i}", f"{words['parameter']} {shown}", shown))


def _same(a, b):
    """Whether pictures look alike; what is transparent may come back a little rounded."""
    if a.size != b.size:
        return False
    grounds = [Image.new("RGBA", a.size, ground) for ground in ("black", "white")]
    apart = [ImageChops.difference(*(Image.alpha_composite(g, p.convert("RGBA")) for p in (a, b))) for g in grounds]
    return all(high <= (2 if "A" in a.mode else 0) for d in apart for _, high in d.getextrema())


def _tile(picture, size):
    """The middle of a picture, in a size."""
    picture = picture.convert("RGBA" if picture.mode in ("RGBA", "P") else "RGB")
    return ImageOps.fit(picture, size, Image.LANCZOS)
