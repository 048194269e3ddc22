"""The examples: every name is looked up, and what can be run is run.

A small reader of the host's language. It knows declarations and assignments of variables, calls of the library's
methods, its classes, If ... Then with Else, and expressions of literals, names, comparisons and simple arithmetic.
What else an example holds is not run, and neither is what depends on it.
"""

import itertools
import operator
import re
from dataclasses import dataclass, field
from pathlib import Path

from PIL import Image

from qkz import CallError

_TOKEN = re.compile(
    r"""\s*(?:(?P<comment>'.*|//.*)|(?P<string>"(?:[^"]|"")*")|(?P<colour>&[cC][0-9A-Fa-f]+)
    |(?P<hex>&[hH][0-9A-Fa-f]+)|(?P<directive>\#\w+)|(?P<number>\d+(?:\.\d+)?(?:[eE][-+]?\d+)?)
    |(?P<name>[A-Za-z_]\w*)|(?P<sign><=|>=|<>|[-+*/=<>(),.\\\[\]]))""",
    re.X,
)
# What pictures of the host have by themselves.
_HOST_MEMBERS = {
    "bitmap", "copymask", "depth", "graphics", "hasalphachannel", "height", "horizontalresolution", "image",
    "imagecount", "mask", "rgbsurface", "save", "todata", "transparent", "verticalresolution", "width", "applymask",
}
_BLOCKS = ("for", "while", "do", "select", "try", "#if")
_ENDS = ("next", "wend", "loop", "end", "#endif")
_ORDER = {
    "=": operator.eq, "<>": operator.ne, "<": operator.lt, ">": operator.gt, "<=": operator.le, ">=": operator.ge,
    "is": operator.is_,
}


class WrongExample(Exception):
    """The library does not have what is called, or not so."""


class NotRun(Exception):
    """Something that this reader does not run; the text says what."""


@dataclass
class Instance:
    """An object of one of the library's classes."""

    class_name: str
    table: dict = field(default_factory=dict)  # of colours: (r, g, b, x) -> level
    set: dict = field(default_factory=dict)
    destination: Path = None


class Block:
    """A memory block, as a file."""

    # Bytes and sign of the members that read and write.
    MEMBERS = {
        "byte": (1, False), "uint8value": (1, False), "int8value": (1, True), "uint32value": (4, False),
        "int32value": (4, True), "long": (4, True),
    }

    def __init__(self, path):
        self.path = path

    def _place(self, member, arguments):
        if member.lower() == "size" and not arguments:
            return None
        if member.lower() not in self.MEMBERS or len(arguments) != 1:
            raise NotRun(f"MemoryBlock.{member} is not run")
        return int(arguments[0][1]), *self.MEMBERS[member.lower()]

    def get(self, member, arguments):
        data = self.path.read_bytes()
        if (place := self._place(member, arguments)) is None:
            return len(data)
        at, width, signed = place
        return int.from_bytes(data[at:at + width], "little", signed=signed)

    def put(self, member, arguments, value):
        if (place := self._place(member, arguments)) is None:
            raise NotRun("a MemoryBlock of another size")
        at, width, signed = place
        data = bytearray(self.path.read_bytes())
        data[at:at + width] = int(value).to_bytes(width, "little", signed=signed)
        self.path.write_bytes(data)


@dataclass(frozen=True)
class Colour:
    text: str


@dataclass
class Outcome:
    calls: list = field(default_factory=list)  # what ran, as qkz was given it
    not_run: list = field(default_factory=list)  # (line, reason)

    @property
    def ran(self):
        return len(self.calls)


def tokens(line):
    """The tokens of a line as (kind, text), without comments."""
    result, at = [], 0
    line = line.rstrip()
    while at < len(line):
        match = _TOKEN.match(line, at)
        if not match:
            raise NotRun(f"'{line[at:].strip()[:12]}' is not understood")
        at = match.end()
        if match.lastgroup != "comment":
            result.append((match.lastgroup, match.group(match.lastgroup)))
    return result


class Example:
    """One example on its desk. `run` gives what became of it; wrong calls are told to `problems`."""

    def __init__(self, catalogue, desk, source, problems, file, where):
        self._catalogue = catalogue
        self._desk = desk
        self._problems = problems
        self._file, self._where = file, where
        self._outcome = Outcome()
        self._files = 0
        self._types = {}  # names whose class is known
        self._values = {"true": True, "false": False, "nil": None}
        if source:
            self._values["p"] = desk.run.folder / f"{source}.png"
        for name, value in desk.values.items():
            self._values[name.lower()] = value

    def run(self, text):
        joined = re.sub(r"[ \t]_[ \t]*\n\s*", " ", text)
        lines = [(line.strip(), self._tokens(line)) for line in joined.splitlines()]
        self._check(lines)
        if not self._wrong:
            self._block(lines)
        return self._outcome

    def _tokens(self, line):
        try:
            return tokens(line)
        except NotRun as error:
            self._problems.add(self._file, self._where, f"example: {error}")
            return []

    # Names and numbers of arguments, whether or not the line can be run.

    def _check(self, lines):
        self._wrong = False
        for line, parts in lines:
            words = [text.lower() for _, text in parts]
            if words[:1] == ["dim"] and "as" in words:
                class_name = [t for k, t in parts if k == "name"][-1] if "(" not in words else None
                for name in self._declared(parts):
                    self._types[name] = class_name
            for i, (kind, text) in enumerate(parts):
                if kind == "name":
                    try:
                        self._check_name(parts, i, text)
                    except WrongExample as error:
                        self._wrong = True
                        self._problems.add(self._file, self._where, f"example, \"{line}\": {error}")

    @staticmethod
    def _declared(parts):
        names = []
        for kind, text in parts[1:]:
            if text.lower() in ("as", "="):
                break
            if kind == "name":
                names.append(text.lower())
        return names

    def _check_name(self, parts, i, text):
        after_dot = i > 0 and parts[i - 1][1] == "."
        owner = parts[i - 2][1].lower() if i > 1 and after_dot and parts[i - 2][0] == "name" else ""
        class_name = self._catalogue.spelled(self._types.get(owner) or "")
        if class_name in self._catalogue.classes:
            key = f"{class_name}.{text}"
        elif text.lower().endswith("qkz") or self._catalogue.spelled(text):
            key = text
        elif owner and isinstance(self._values.get(owner), Path) and text.lower() not in _HOST_MEMBERS:
            raise WrongExample(f"pictures have no {text}")
        else:
            return
        spelled = self._catalogue.spelled(key)
        if key in self._catalogue.modules + self._catalogue.classes:
            return
        if not spelled:
            raise WrongExample(f"{key} is not registered")
        declarations = self._catalogue.of(key)
        if not any(d.kind == "method" for d in declarations) or self._is_address(parts, i):
            return
        count, end = self._count(parts, i + 1)
        statement = i == 0 or (i == 2 and after_dot)
        assigned = statement and parts[end:end + 1] == [("sign", "=")]
        if not any(d.takes(count, assigned) for d in declarations):
            known = "; ".join(d.text for d in declarations)
            done = "assigned" if assigned else "called"
            raise WrongExample(f"{key} is {done} with {count} arguments, but is {known}")

    @staticmethod
    def _is_address(parts, i):
        return any(text.lower() in ("addressof", "weakaddressof") for _, text in parts[max(0, i - 3):i])

    @staticmethod
    def _count(parts, at):
        """The number of arguments between brackets from `at` on, and what is behind them."""
        if parts[at:at + 1] != [("sign", "(")]:
            return 0, at
        depth, count, end = 0, 0, at
        for end in range(at, len(parts)):
            text = parts[end][1]
            depth += (text == "(") - (text == ")")
            if depth == 0:
                break
            count += depth == 1 and text == ","
        return (count + 1 if end > at + 1 else 0), end + 1

    # Running.

    def _block(self, lines):
        """Runs lines, with the blocks among them."""
        at = 0
        while at < len(lines):
            line, parts = lines[at]
            at += 1
            words = [text.lower() for _, text in parts]
            if not parts:
                continue
            if words[0] in _BLOCKS or (words[0] == "if" and words[-1] == "then"):
                end = self._end(lines, at)
                inner, at = lines[at:end], end + 1
                if words[0] == "for":
                    self._guarded(line, lambda: self._loop(parts, words, inner))
                elif words[0] == "while":
                    self._guarded(line, lambda: self._while(parts, inner))
                elif words[0] == "if":
                    self._guarded(line, lambda: self._branch(parts, inner))
                else:
                    self._outcome.not_run.append((line, f"{parts[0][1]} is not run"))
            else:
                self._guarded(line, lambda: self._statement(parts, words))

    @staticmethod
    def _end(lines, at):
        """The line that closes the block whose inside begins at `at`."""
        depth = 1
        for i in range(at, len(lines)):
            words = [text.lower() for _, text in lines[i][1]]
            if words[:1] and (words[0] in _BLOCKS or (words[0] == "if" and words[-1] == "then")):
                depth += 1
            elif words[:1] and words[0] in _ENDS:
                depth -= 1
            if depth == 0:
                return i
        return len(lines)

    def _guarded(self, line, action):
        try:
            action()
        except NotRun as error:
            self._outcome.not_run.append((line, str(error)))
        except (CallError, WrongExample) as error:
            self._problems.add(self._file, self._where, f"example, \"{line}\": {error}")

    def _loop(self, parts, words, inner):
        if "each" in words or "to" not in words or "downto" in words:
            raise NotRun("such a loop is not run")
        start, to = words.index("="), words.index("to")
        step = words.index("step") if "step" in words else len(parts)
        by = self._whole(parts[step + 1:]) if step < len(parts) else 1
        first, last = self._whole(parts[start + 1:to]), self._whole(parts[to + 1:step])
        if not by or (last - first) / by > 5000:
            raise NotRun("a loop of more than 5000 rounds")
        for value in range(first, last + (1 if by > 0 else -1), by):
            self._values[words[1]] = value
            if not self._round(inner):
                return

    def _while(self, parts, inner):
        for _ in range(1000):
            if not self._whole(parts[1:]) or not self._round(inner):
                return
        raise NotRun("a loop of more than 1000 rounds")

    def _round(self, inner):
        """One round of a loop; false when something in it is not run, which would be so in each."""
        missed = len(self._outcome.not_run)
        self._block(inner)
        return len(self._outcome.not_run) == missed

    def _branch(self, parts, inner):
        """If ... Then on lines of its own."""
        branches, depth = [(parts[1:-1], [])], 0
        for line, words in inner:
            first = words[0][1].lower() if words else ""
            if depth == 0 and first in ("elseif", "else"):
                branches.append((words[1:-1] if first == "elseif" else None, []))
                continue
            depth += first == "if" and words[-1][1].lower() == "then"
            depth -= first == "end"
            branches[-1][1].append((line, words))
        for condition, lines in branches:
            if condition is None or self._whole(condition):
                self._block(lines)
                return

    def _statement(self, parts, words):
        if words[0] == "if":  # on one line
            then = words.index("then")
            if self._whole(parts[1:then]):
                self._simple(parts[then + 1:])
        else:
            self._simple(parts)

    def _simple(self, parts):
        words = [text.lower() for _, text in parts]
        if words[0] in ("dim", "var", "static"):
            self._dim(parts, words)
            return
        if words[0] == "return" or words[0] == "exit":
            raise NotRun(f"{parts[0][1]} leaves the example")
        if words[0] == "call":
            parts = parts[1:]
        depth = 0
        for i, (_, text) in enumerate(parts):
            depth += (text == "(") - (text == ")")
            if text == "=" and depth == 0:
                self._assign(parts[:i], parts[i + 1:])
                return
        self._whole(parts)

    def _dim(self, parts, words):
        names = self._declared(parts)
        if "as" not in words:
            raise NotRun("a declaration without a type")
        kind = words[words.index("as") + 1:]
        for name in names:
            self._values.pop(name, None)
        if "=" in kind:
            value = self._whole(parts[words.index("=") + 1:])
            if kind[0] == "integer" and isinstance(value, float):
                value = int(value)  # as the host does
        elif kind[0] == "new":
            value = self._new(parts[words.index("new") + 1:])
        else:
            starts = {"integer": 0, "double": 0.0, "boolean": False, "string": ""}
            value = starts.get(kind[0])
        for name in names:
            self._values[name] = value

    def _new(self, parts):
        class_name = self._catalogue.spelled(parts[0][1])
        if class_name in self._catalogue.classes:
            return Instance(class_name)
        if parts[0][1].lower() == "memoryblock" and len(parts) == 4 and parts[2][0] == "number":
            block = Block(self._new_file("bin"))
            block.path.write_bytes(bytes(int(parts[2][1])))
            return block
        raise NotRun(f"New {parts[0][1]} is the application's")

    def _assign(self, target, source):
        value = self._whole(source)
        if len(target) == 1 and target[0][0] == "name":
            self._values[target[0][1].lower()] = value
            return
        if target[0][1] in self._catalogue.modules:
            raise NotRun("properties of modules are not set here")
        owner = self._value_of(target[0][1])
        member = target[2][1] if len(target) > 2 and target[1][1] == "." else ""
        if isinstance(owner, Instance) and len(target) == 3:
            owner.set[member.lower()] = value
        elif isinstance(owner, Instance) and member.lower() == "table":
            owner.table[tuple(v for _, v in _Expression(self, target[3:]).arguments())] = value
        elif isinstance(owner, Path) and self._catalogue.spelled(member):
            reader = _Expression(self, target[3:])
            self.call(member, owner, reader.arguments(), assigned=(value,))
        elif isinstance(owner, Block):
            owner.put(member, _Expression(self, target[3:]).arguments(), value)
        else:
            raise NotRun(f"{''.join(t for _, t in target)} is the application's")

    def _whole(self, parts):
        reader = _Expression(self, parts)
        value = reader.expression()
        if reader.rest():
            raise NotRun(f"'{reader.rest()[0][1]}' is not understood")
        return value

    def _value_of(self, name):
        if name.lower() not in self._values:
            raise NotRun(f"{name} is not known here")
        return self._values[name.lower()]

    def _new_file(self, kind):
        self._files += 1
        return self._desk.run.folder / f"value-{self._files}.{kind}"

    def member(self, owner, name, arguments):
        """The value of `owner.name(arguments)`."""
        if isinstance(owner, Path):
            if self._catalogue.spelled(name):
                return self.call(name, owner, arguments)
            if name.lower() in ("width", "height"):
                with Image.open(owner) as picture:
                    return getattr(picture, name.lower())
            raise NotRun(f"{name} is the application's")
        if isinstance(owner, Instance):
            if name.lower() == "run":
                return self._run_instance(owner)
            if name.lower() == "destinationpicture":
                return owner.destination
            if name.lower() == "table":
                return owner.table.get(tuple(v for _, v in arguments), 0.0)
            if name.lower() in owner.set and not arguments:
                return owner.set[name.lower()]
            raise NotRun(f"{owner.class_name}.{name} is not run")
        if isinstance(owner, Block):
            return owner.get(name, arguments)
        raise NotRun(f"{name} is the application's")

    def _run_instance(self, instance):
        source = instance.set.get("sourcepicture")
        if source is None:
            return False
        texts = []
        for name, value in instance.set.items():
            if name not in ("sourcepicture", "destinationpicture"):
                texts.append(f"{name}={self._written(value)}")
        if instance.table:
            texts.append(f'Table="{self._cube(instance.table).name}"')
        output = self._new_file("png")
        text = f"{instance.class_name}({', '.join(texts)})"
        self._desk.run(source, [text], output)
        self._outcome.calls.append(text)
        instance.destination = output
        return True

    def _cube(self, table):
        """A table as a .cube file: indices 1 to 16 are the levels 0 to 255 in steps of 17."""
        path = self._new_file("cube")
        rows = []
        for b, g, r in itertools.product(range(1, 17), repeat=3):
            rows.append(" ".join(f"{table.get((r, g, b, x), 0) / 255:.9f}" for x in range(3)))
        path.write_text("LUT_3D_SIZE 16\n" + "\n".join(rows) + "\n", encoding="ascii")
        return path

    def call(self, name, receiver, arguments, assigned=()):
        """Calls a method; arguments are (name or None, value)."""
        declarations = [d for d in self._catalogue.of(name) if d.kind == "method"]
        fitting = [d for d in declarations if d.takes(len(arguments), bool(assigned))]
        if not fitting:
            raise WrongExample(f"{name} takes other arguments")
        declaration = fitting[0]
        if declaration.section == "iOSPictureQKZ":
            raise NotRun(f"{name} is for iOS")
        written, variables = [], {}
        for parameter, (variable, value) in zip(declaration.parameters, arguments):
            if parameter.type.lower() == "integer" and isinstance(value, float):
                value = int(value)  # as the host does
            if not parameter.byref:
                written.append(self._written(value))
                continue
            if not variable:
                raise WrongExample(f"{name} wants a variable for {parameter.name}")
            variables[variable] = None
            if parameter.type.lower() == "memoryblock":
                variables[variable] = Block(self._new_file("bin"))
                before = self._written(value) if value is not None else variable
                written.append(f'{before}>"{variables[variable].path.name}"')
            else:
                written.append(variable)
        text = f"{name}({', '.join(written)})" if written else name
        if assigned:
            text += f" = {self._written(assigned[0])}"
        result = declaration.result.lower()
        output = self._new_file({"picture": "png", "string": "ppic"}.get(result, "png"))
        printed = self._desk.run(receiver or "coffee.png", [text], output)
        self._outcome.calls.append(text)
        told = dict(line.split(" = ", 1) for line in printed if " = " in line)
        for variable, block in variables.items():
            self._values[variable] = block or _literal(told[variable])
        if result in ("picture", "string"):
            return output
        if receiver:  # changed in place, perhaps
            output.replace(receiver)
        values = [line for line in printed if " = " not in line]
        return _literal(values[0]) if values else None

    @staticmethod
    def _written(value):
        """An argument as qkz takes it."""
        if isinstance(value, (Path, Block)):
            return f'"{getattr(value, "path", value).name}"'
        if value is None or isinstance(value, bool):
            return {None: "nil", True: "true", False: "false"}[value]
        if isinstance(value, str) and (value.endswith((".raw", ".cube", ".png", ".ppic")) or ":" in value):
            return f'"{value}"'
        return value.text if isinstance(value, Colour) else f'"text:{value}"' if isinstance(value, str) else str(value)


def _literal(text):
    if text in ("true", "false"):
        return text == "true"
    return float(text) if re.search(r"[.eE]", text) else int(text)


class _Expression:
    """Reads an expression and computes it on the way. And and Or compute both sides, as the host does."""

    def __init__(self, example, parts):
        self._example = example
        self._parts = parts
        self._at = 0

    def rest(self):
        return self._parts[self._at:]

    def _peek(self):
        return self._parts[self._at][1].lower() if self._at < len(self._parts) else ""

    def _take(self, *texts):
        if self._peek() not in texts:
            return None
        self._at += 1
        return self._parts[self._at - 1][1].lower()

    def expression(self):
        value = self._comparison()
        while sign := self._take("and", "or"):
            other = self._comparison()
            value = value and other if sign == "and" else value or other
        return value

    def _comparison(self):
        if self._take("not"):
            return not self._comparison()
        value = self._sum()
        while sign := self._take(*_ORDER):
            try:
                value = _ORDER[sign](value, self._sum())
            except TypeError:
                raise NotRun("an order of what is not numbers") from None
        return value

    def _sum(self):
        value = self._product()
        while sign := self._take("+", "-"):
            other = self._product()
            value = self._number(value) + self._number(other) * (1 if sign == "+" else -1)
        return value

    def _product(self):
        value = self._unary()
        while sign := self._take("*", "/", "\\"):
            value, other = self._number(value), self._number(self._unary())
            value = value * other if sign == "*" else value / other if sign == "/" else int(value / other)
        return value

    def _unary(self):
        if self._take("-"):
            return -self._number(self._unary())
        value = self._primary()
        while self._take("."):
            name = self._parts[self._at][1]
            self._at += 1
            value = self._example.member(value, name, self.arguments())
        return value

    @staticmethod
    def _number(value):
        if isinstance(value, (int, float)) and not isinstance(value, bool):
            return value
        raise NotRun("arithmetic with what is not numbers")

    def _primary(self):
        if not self.rest():
            raise NotRun("an expression is missing")
        kind, text = self._parts[self._at]
        self._at += 1
        if kind == "number":
            return float(text) if re.search(r"[.eE]", text) else int(text)
        if kind == "colour":
            return Colour(text)
        if kind == "hex":
            return int(text[2:], 16)
        if kind == "string":
            return text[1:-1].replace('""', '"')
        if text == "(":
            value = self.expression()
            self._take(")")
            return value
        if kind != "name":
            raise NotRun(f"'{text}' is not understood")
        registered = self._example._catalogue.of(text)
        if registered and registered[0].kind == "method" and not registered[0].receiver:
            return self._example.call(text, None, self.arguments())
        return self._example._value_of(text)

    def arguments(self):
        """Those in brackets, if there are any: (the name, where it is a plain one, value)."""
        result = []
        if not self._take("(") or self._take(")"):
            return result
        while True:
            start = self._at
            single = self._parts[start:start + 2]
            plain = single[0][0] == "name" and single[1:2] and single[1][1] in ",)"
            name = single[0][1].lower() if plain and single[0][1].lower() not in ("nil", "true", "false") else None
            result.append((name, self.expression()))
            if not self._take(","):
                break
        self._take(")")
        return result
