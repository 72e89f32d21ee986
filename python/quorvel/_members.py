"""The members of each class, as the library lists them."""
import ctypes
from collections import namedtuple

from . import _library as c

KIND_NAMES = {c.METHOD: "method", c.GET: "get", c.PUT: "put"}
_TYPE_NAMES = {c.NOTHING: "None", c.INTEGER: "int", c.DATE: "datetime", c.TEXT: "str", c.BYTES: "bytes"}

Parameter = namedtuple("Parameter", "name type interface")


def _text(name):
    return name.decode("ascii")


def _parameter(source):
    return Parameter(_text(source.name), source.type, _text(source.interface_name))


def type_name(parameter):
    return parameter.interface if parameter.type == c.OBJECT else _TYPE_NAMES[parameter.type]


class Member:
    """One row of the table of members."""

    def __init__(self, source):
        self.id = source.id
        self.kind = source.kind
        self.name = _text(source.name)
        self.interface = _text(source.interface_name)
        self.parameters = [_parameter(source.parameters[i]) for i in range(source.num_parameters)]
        self.result = _parameter(source.result)
        self.summary = _text(source.summary)

    @property
    def signature(self):
        """As "AddTo(friendlyName: str, emailAddress: str) -> int" or "Subject: str"."""
        if self.kind == c.GET:
            return f"{self.name}: {type_name(self.result)}"
        if self.kind == c.PUT:
            return f"{self.name}: {type_name(self.parameters[0])}"
        parameters = ", ".join(f"{each.name}: {type_name(each)}" for each in self.parameters)
        return f"{self.name}({parameters}) -> {type_name(self.result)}"


class Interface:
    """An interface and the members that it adds to the one it extends."""

    def __init__(self, source):
        self.name = _text(source.name)
        self.base = _text(source.base)
        self.members = [Member(source.members[i]) for i in range(source.num_inherited, source.num_members)]


Class = namedtuple("Class", "name prog_id interface")


def interfaces():
    """All interfaces; each stands after the one that it extends."""
    count = ctypes.c_size_t()
    first = c.library.quorvel_interfaces(ctypes.byref(count))
    return [Interface(first[i]) for i in range(count.value)]


def classes():
    """All classes of objects."""
    count = ctypes.c_size_t()
    first = c.library.quorvel_classes(ctypes.byref(count))
    return [Class(_text(first[i].name), _text(first[i].prog_id), _text(first[i].interface_name))
            for i in range(count.value)]


class ClassMembers:
    """The members of one class, in the order of the table and by name."""

    _known = {}

    def __init__(self, handle):
        first, count = ctypes.POINTER(c.Member)(), ctypes.c_size_t()
        c.library.quorvel_members(handle, ctypes.byref(first), ctypes.byref(count))
        self.all = [Member(first[i]) for i in range(count.value)]
        self.by_name = {}
        for member in self.all:
            self.by_name.setdefault(member.name, {})[member.kind] = member

    @classmethod
    def of(cls, handle, class_name):
        if class_name not in cls._known:
            cls._known[class_name] = cls(handle)
        return cls._known[class_name]
