"""What the library registers, read from `qkz list`."""

import re
import subprocess
from dataclasses import dataclass, field
from functools import cached_property

# Versions of hosts, oldest first: what a version lacks is marked with the first that has it.
HOST_VERSIONS = [f"{year}.0{release}" for year in range(2009, 2025) for release in range(5)]


@dataclass(frozen=True)
class Parameter:
    name: str
    type: str
    default: str = ""
    byref: bool = False


@dataclass(frozen=True)
class Declaration:
    """One line of the list. `receiver` is what stands before the dot: "Picture", a class, or nothing."""

    text: str
    kind: str  # method, property or delegate
    section: str  # the module or class
    receiver: str
    name: str
    parameters: tuple = ()
    result: str = ""
    assigns: bool = False  # the last parameter is what is assigned
    attributes: tuple = ()

    def takes(self, count, assigned):
        """Whether a call with so many arguments (the assigned one is not counted) fits."""
        given = list(self.parameters[:-1] if self.assigns else self.parameters)
        needed = sum(not p.default for p in given)
        return assigned == self.assigns and needed <= count <= len(given)


@dataclass
class Catalogue:
    """All of the list; looked up when it is complete."""

    modules: list = field(default_factory=list)
    classes: list = field(default_factory=list)
    declarations: list = field(default_factory=list)
    since: dict = field(default_factory=dict)  # of what older hosts do not get: name -> version

    def key(self, declaration):
        """Under which name the words are: members of classes with their class."""
        if declaration.section in self.classes:
            return f"{declaration.section}.{declaration.name}"
        return declaration.name

    @cached_property
    def _by_key(self):
        found = {}
        for declaration in self.declarations:
            found.setdefault(self.key(declaration).lower(), []).append(declaration)
        return found

    @cached_property
    def _spellings(self):
        return {name.lower(): name for name in self.names()}

    def of(self, key):
        return self._by_key.get(key.lower(), [])

    def names(self):
        """All names that want words, in the order of the list."""
        return list(dict.fromkeys(self.classes + [self.key(d) for d in self.declarations]))

    def spelled(self, name):
        """The registered spelling of a name, or None; the language does not tell case apart."""
        return self._spellings.get(name.lower())


_ATTRIBUTE = re.compile(r"\s+\[([^\]]*)\]$")
_PARAMETER = re.compile(r"(byref )?(\w+) as (\w+)(?: = (.*))?$", re.I)
_MEMBER = re.compile(r"(Delegate )?(?:(\w+)\.)?(\w+)(?:\((.*?)\))?( = \w+ as \w+)?(?: as (\w+))?$", re.I)


def _parameter(text):
    byref, name, type_name, default = _PARAMETER.match(text.strip()).groups()
    return Parameter(name, type_name, default or "", bool(byref))


def _declaration(line, section, is_class):
    attributes = []
    while match := _ATTRIBUTE.search(line):
        attributes.insert(0, match.group(1))
        line = line[: match.start()]
    match = _MEMBER.match(line)
    if not match:
        raise ValueError(f"qkz list: a line of another form: {line}")
    delegate, receiver, name, parameters, assigned, result = match.groups()
    taken = [_parameter(p) for p in parameters.split(",")] if parameters else []
    if assigned:
        taken.append(_parameter(assigned[3:]))
    # Methods of classes carry the class before a dot; what has neither that nor parameters is a property.
    is_property = not (receiver or parameters or delegate or assigned)
    return Declaration(
        text=line,
        kind="delegate" if delegate else "property" if is_property else "method",
        section=section,
        receiver=receiver or (section if is_class else ""),
        name=name,
        parameters=tuple(taken),
        result=result or "",
        assigns=bool(assigned),
        attributes=tuple(attributes),
    )


def parse(listing):
    """The catalogue of what `qkz list` printed."""
    catalogue = Catalogue()
    section, is_class = "", False
    for line in listing.splitlines()[1:]:
        if not line.strip():
            continue
        if line.startswith("  "):
            catalogue.declarations.append(_declaration(line.strip(), section, is_class))
            continue
        kind, _, section = line.partition(" ")
        is_class = kind == "Class"
        if is_class:
            catalogue.classes.append(section)
        elif kind == "Module":
            catalogue.modules.append(section)
    return catalogue


def _listed(qkz, *options):
    done = subprocess.run([qkz, *options, "list"], capture_output=True, text=True, check=True)
    return parse(done.stdout)


def read(qkz):
    """What today's hosts get, and since when, where older ones go without."""
    catalogue = _listed(qkz)
    by_version = {}

    def has(version, name):
        if version not in by_version:
            by_version[version] = set(_listed(qkz, "--host-version", version).names())
        return name in by_version[version]

    for name in catalogue.names():
        if has(HOST_VERSIONS[0], name):
            continue
        without, with_it = 0, len(HOST_VERSIONS) - 1
        while with_it - without > 1:
            middle = (without + with_it) // 2
            if has(HOST_VERSIONS[middle], name):
                with_it = middle
            else:
                without = middle
        catalogue.since[name] = HOST_VERSIONS[with_it]
    return catalogue
