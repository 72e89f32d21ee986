"""The documentation of the members: reading docs/members, and finding what is wrong with it.

docs/members has a text for each interface, one (steps.txt) for what several members do, and the beginning of the
reference (index.txt). A text begins with what is said of the whole; then come entries:

    = AddTo AddCC AddBcc                    the members that it is about, or the title of a step
    Markdown, or nothing.
    friendlyName: one line for each argument; "value" is that of a property
    result: what it gives; of a property that can be set, "value" says it
    log: context {name}; data `name`        "nothing" where it logs nothing
    fails: when | "Message", "Message" | quiet or reported
    fails: never

A step has `context`, `error`, `info`, `debug` and `data` lines instead: what is logged, and after a bar when. A line
goes on where the next one is indented. In messages, words in angle brackets stand for what is put in.
"""
import pathlib
import re
from collections import namedtuple

from quorvel import _library as c

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDER = ROOT / "docs" / "members"
STEPS = "steps"

Line = namedtuple("Line", "key text")
Failure = namedtuple("Failure", "when messages outcome")  # messages: as written

_KEY = re.compile(r"(\w+): (.*)")
_MESSAGE = re.compile(r'"([^"]*)"')
_CONTEXT = re.compile(r"\bcontext (\w+|\{name\})(?=[;,.])")
_STEP_LINK = re.compile(r"\(steps\.md#([\w-]+)\)")


class Entry:
    """What is said of one member, of several that do the same, or of a step."""

    def __init__(self, title):
        self.title = title
        self.text = []
        self.lines = []

    @property
    def names(self):
        return self.title.split()

    def values(self, key):
        return [line.text for line in self.lines if line.key == key]

    def value(self, key):
        return next(iter(self.values(key)), None)

    @property
    def log(self):
        return self.value("log") or ""

    def contexts(self, member_name):
        """The contexts that a member is said to open."""
        return [member_name if name == "{name}" else name for name in _CONTEXT.findall(self.log)]

    @property
    def failures(self):
        return [Failure(*(part.strip() for part in text.split(" | "))) for text in self.values("fails")
                if text != "never"]


def messages_in(text):
    return _MESSAGE.findall(text)


def as_code(text):
    """Quoted messages and the names of contexts as Markdown shows code."""
    return _CONTEXT.sub(r"context `\1`", _MESSAGE.sub(r"`\1`", text))


def anchor(title):
    """As Markdown readers make one of a heading."""
    return re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-")


def parse(text):
    """The introduction and the entries of a text."""
    introduction, entries, end = [], [], None
    for line in text.splitlines():
        if line.startswith("= "):
            entries.append(Entry(line[2:].strip()))
        elif not entries:
            introduction.append(line)
        elif line.startswith("    ") and end is not None:
            end[-1] = Line(end[-1].key, end[-1].text + " " + line.strip())
        elif key := _KEY.fullmatch(line):
            entries[-1].lines.append(Line(*key.groups()))
            end = entries[-1].lines
            continue
        elif line.strip():
            entries[-1].text.append(line)
        if not line.startswith("    "):
            end = None
    return "\n".join(introduction).strip(), entries


def read(name):
    return parse((FOLDER / f"{name}.txt").read_text(encoding="utf-8"))


def read_all(interfaces):
    """The entries of all interfaces and of the steps, by the name of the text. Texts that are missing are empty."""
    names = [interface.name for interface in interfaces] + [STEPS]
    return {name: read(name) if (FOLDER / f"{name}.txt").is_file() else ("", []) for name in names}


def entry_of(entries, member_name):
    return next((entry for entry in entries if member_name in entry.names), None)


# --- What an entry must say ---------------------------------------------------------------------------------


def entry_faults(entry, members):
    """`members` are the rows that the entry is about."""
    wanted = {"log", "fails"}
    for member in members:
        wanted.update(parameter.name for parameter in member.parameters)
    if any(member.result.type != c.NOTHING for member in members) and "value" not in wanted:
        wanted.add("result")
    present = {line.key for line in entry.lines}
    for key in sorted(wanted - present):
        yield f"there is no line {key!r}"
    for key in sorted(present - wanted):
        yield f"no member of it has {key!r}"
    for text in entry.values("fails"):
        fields = text.split(" | ")
        if text != "never" and (len(fields) != 3 or fields[2] not in ("quiet", "reported")):
            yield f"not `when | messages | quiet or reported`: {text}"
            return
    failures = entry.failures
    objects = (each for member in members for each in member.parameters if each.type == c.OBJECT)
    for parameter in objects:
        if not any(f"`{parameter.name}` is null" in failure.when for failure in failures):
            yield f"what happens when {parameter.name} is null?"


def faults(interfaces, texts):
    """Everything that is missing, left over or written twice."""
    found = []
    for interface in interfaces:
        entries = texts[interface.name][1]
        known = [member.name for member in interface.members]
        named = [name for entry in entries for name in entry.names]
        for name in dict.fromkeys(known):
            if named.count(name) != 1:
                found.append(f"{interface.name}.{name}: {named.count(name)} entries instead of one")
        found += [f"{interface.name}.{name}: there is no such member" for name in named if name not in known]
        for entry in entries:
            members = [member for member in interface.members if member.name in entry.names]
            found += [f"{interface.name}, {entry.title}: {fault}" for fault in entry_faults(entry, members)]
    unknown = {path.stem for path in FOLDER.glob("*.txt")} - texts.keys() - {"index"}
    return found + [f"docs/members/{name}.txt: there is no such interface" for name in sorted(unknown)]


# --- What an entry may say: what the sources say ------------------------------------------------------------

_PLACE = "\0"


def _with_places(message):
    return re.sub(r"<[^<>]+>", _PLACE, message)


class SourceTexts:
    """The texts in the sources, to hold quoted messages against."""

    def __init__(self, folder=ROOT / "src"):
        literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
        together = re.compile(r'(?:"(?:[^"\\\n]|\\.)*"\s*)+')
        character = re.compile(r"'([^\w\\])'")
        call = re.compile(r"\b(?:logError|logInfo|logCommonError|logDebug|fail|failWith|failedFor|guarded|isGiven)"
                          r"\((?:\w+\(?\)?, )*((?:\"(?:[^\"\\\n]|\\.)*\"\s*)+)")
        self.pieces, self.logged = set(), {}
        for path in sorted([*folder.rglob("*.cc"), *folder.rglob("*.h")]):
            text = path.read_text(encoding="utf-8")
            joined = ("".join(literal.findall(match)) for match in together.findall(text))
            self.pieces.update(re.sub("%[sd]", _PLACE, each) for each in joined)
            self.pieces.update(character.findall(text))
            for match in call.finditer(text):
                message = "".join(literal.findall(match.group(1)))
                self.logged[_with_places(re.sub("%[sd]", _PLACE, message))] = path.relative_to(folder.parent).as_posix()
        self.pieces.discard("")

    def has(self, message):
        """Whether a message is put together of texts in the sources, or is the beginning of one there."""
        message = _with_places(message)
        reached = {0}
        for start in range(len(message)):
            if start not in reached:
                continue
            reached.update(start + len(piece) for piece in self.pieces if message.startswith(piece, start))
            if message[start] == _PLACE:
                reached.add(start + 1)
        if len(message) in reached:
            return True
        shape = re.compile(".+".join(map(re.escape, message.split(_PLACE))), re.DOTALL)
        return any(shape.fullmatch(piece) for piece in self.pieces)

    def undocumented(self, documented):
        """The messages that the sources log and no text has."""
        all_of_it = "\n".join(_with_places(message) for message in documented)
        return [f"{path}: {message}" for message, path in sorted(self.logged.items())
                if message.strip() and message not in all_of_it]


def quoted(texts):
    """All messages of all texts."""
    return {message for _, entries in texts.values() for entry in entries for line in entry.lines
            if line.key in ("log", "fails", "error", "info", "debug") for message in messages_in(line.text)}


def data_keys(texts):
    """The keys of all data that texts name."""
    lines = [line for _, entries in texts.values() for entry in entries for line in entry.lines]
    told = [line.text for line in lines if line.key == "data"]
    for line in lines:
        told += re.findall(r"data ((?:`[\w-]+`(?:, | and )?)+)", line.text)
    return {key for each in told for key in re.findall(r"`([\w-]+)`", each.partition(" | ")[0])}


def logged_by(entry, texts):
    """The messages of an entry and of the steps that it links to."""
    links = set(_STEP_LINK.findall(" ".join(line.text for line in entry.lines)))
    if any(link.startswith("smtp") or link.startswith("pop3") for link in links):
        links.add("connection")
    steps = [step for step in texts[STEPS][1] if anchor(step.title) in links]
    return [message for each in [entry, *steps] for line in each.lines for message in messages_in(line.text)]


def matches(message, documented):
    """Whether what was logged is a documented message."""
    shape = ".+".join(map(re.escape, _with_places(documented).split(_PLACE)))
    return re.fullmatch(shape, message, re.DOTALL) is not None
