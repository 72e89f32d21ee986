"""Objects of the component as Python objects."""
import ctypes
import datetime
import itertools
import math
import operator
import os

from . import _library as c
from ._members import KIND_NAMES, ClassMembers, type_name

_EPOCH = datetime.datetime(1899, 12, 30)
_MICROSECONDS_A_DAY = 86400 * 1000000


class Error(Exception):
    """An operation failed and left an error report, whose description is the text of this exception.

    source and interface are the report's; result is what the operation returned.
    """

    def __init__(self, description, source="", interface="", result=None):
        super().__init__(description)
        self.source = source
        self.interface = interface
        self.result = result


def _text(data):
    return data.decode("utf-8", "surrogateescape")


# --- Dates: an OLE automation date counts days; below zero, its fraction is still a time of day. ---


def _to_datetime(date):
    days = int(date)
    microseconds = round(abs(date - days) * _MICROSECONDS_A_DAY)
    # Far from 1899 a double cannot tell one microsecond from the next: take the whole millisecond when it may be.
    whole = round(microseconds, -3)
    if abs(microseconds - whole) <= math.ulp(date) * _MICROSECONDS_A_DAY:
        microseconds = whole
    return _EPOCH + datetime.timedelta(days=days, microseconds=microseconds)


def _from_datetime(moment):
    since = moment - _EPOCH
    fraction = (since.seconds * 1000000 + since.microseconds) / _MICROSECONDS_A_DAY
    return since.days + fraction if since.days >= 0 else since.days - fraction


# --- Arguments and results ---


class _WrongArgument(Exception):
    pass


def _set_integer(value, argument):
    try:
        number = operator.index(argument)
    except TypeError:
        raise _WrongArgument from None
    if not -2**31 <= number < 2**31:
        raise OverflowError(f"{number} does not fit into 32 bits")
    value.number = number


def _set_date(value, argument):
    if not isinstance(argument, datetime.datetime):
        raise _WrongArgument
    if argument.tzinfo is not None:
        raise _WrongArgument("without a time zone")
    value.date = _from_datetime(argument)


def _set_text(value, argument):
    if isinstance(argument, str):
        argument = argument.encode("utf-8", "surrogateescape")
    elif isinstance(argument, (bytearray, memoryview)):
        argument = bytes(argument)
    elif not isinstance(argument, bytes):
        raise _WrongArgument
    value.size = len(argument)
    # The pointer is into `argument` itself; whoever calls keeps that alive.
    value.data = ctypes.cast(ctypes.c_char_p(argument), ctypes.c_void_p)
    return argument


def _set_object(value, argument):
    if argument is None:
        return
    if not isinstance(argument, Object):
        raise _WrongArgument
    value.object = argument._handle


_SETTERS = {c.INTEGER: _set_integer, c.DATE: _set_date, c.TEXT: _set_text, c.BYTES: _set_text,
            c.OBJECT: _set_object}


def _take_result(value):
    """The result as a Python value; the library's part of it is given back."""
    if value.type == c.OBJECT:
        return Object(value.object) if value.object else None  # the wrapper takes over the reference
    if value.type == c.INTEGER:
        return value.number
    if value.type == c.DATE:
        return _to_datetime(value.date)
    if value.type == c.NOTHING:
        return None
    data = ctypes.string_at(value.data, value.size)
    is_text = value.type == c.TEXT
    c.library.quorvel_free_value(ctypes.byref(value))
    return _text(data) if is_text else data


def _raise_report(result):
    report = c.ErrorReport()
    c.library.quorvel_last_error(ctypes.byref(report))
    description = _text(ctypes.string_at(report.description, report.description_size))
    raise Error(description, _text(report.source), _text(report.interface_name), result)


def _invoke(target, member, arguments):
    count = len(member.parameters)
    if len(arguments) != count:
        raise TypeError(f"{member.signature} takes {count} argument{'' if count == 1 else 's'}, "
                        f"not {len(arguments)}")
    values = (c.Value * count)()
    alive = []
    for value, parameter, argument in zip(values, member.parameters, arguments):
        value.type = parameter.type
        try:
            alive.append(_SETTERS[parameter.type](value, argument))
        except _WrongArgument as fault:
            wanted = f"{type_name(parameter)} {fault}".rstrip()
            raise TypeError(f"{member.signature}: {parameter.name} must be {wanted}, "
                            f"not {type(argument).__name__}") from None
        except OverflowError as fault:
            raise OverflowError(f"{member.signature}: {parameter.name}: {fault}") from None
    result = c.Value()
    status = c.library.quorvel_invoke(target._handle, member.id, member.kind, values, count,
                                      ctypes.byref(result))
    if status == c.OK:
        return _take_result(result)
    if status == c.FAILED:
        _raise_report(_take_result(result))
    if status == c.WRONG_TYPE:  # what only the library can tell: an object of another interface
        raise TypeError(f"{member.signature}: an argument is an object of another interface")
    if status == c.OUT_OF_MEMORY:
        raise MemoryError(member.signature)
    raise RuntimeError(f"{member.signature}: status {status}")


# --- Sinks: the library holds a number, this table the function. ---

_sinks = {}
_sink_numbers = itertools.count(1)


@c.MessageProc
def _message_proc(number, sender_id, message_id, param1, param2):
    # What the function raises is reported by sys.unraisablehook and goes no further.
    _sinks[number](sender_id, message_id, param1, param2)


@c.Dispose
def _dispose(number, forget=_sinks.pop):  # may run when this module is already gone
    forget(number)


# --- Objects ---


class Method:
    """A method of an object, ready to be called."""

    __slots__ = ("_target", "_member")

    def __init__(self, target, member):
        self._target = target
        self._member = member

    @property
    def __name__(self):
        return self._member.name

    @property
    def __doc__(self):
        return f"{self._member.signature}\n\n{self._member.summary}"

    def __call__(self, *arguments):
        return _invoke(self._target, self._member, arguments)

    def __repr__(self):
        return f"<method {self._member.signature} of {self._target!r}>"


class Object:
    """An object of the component; made by quorvel.create and by other objects.

    Its attributes are the members of its interfaces: dir(object) lists them. The object is released when
    this wrapper goes.
    """

    __slots__ = ("_handle", "_class_name", "_members", "__weakref__")

    def __init__(self, handle):
        put = super().__setattr__
        put("_handle", handle)
        name = ctypes.c_char_p()
        c.library.quorvel_class_name(handle, ctypes.byref(name))
        put("_class_name", name.value.decode("ascii"))
        put("_members", ClassMembers.of(handle, self._class_name))

    def __del__(self, release=c.library.quorvel_release):
        try:
            release(self._handle)
        except AttributeError:
            pass  # it was never made

    def _member(self, name, kind):
        kinds = self._members.by_name.get(name)
        if kinds is None:
            raise AttributeError(f"{self._class_name} has no member {name!r}")
        return kinds.get(kind)

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        method = self._member(name, c.METHOD)
        if method is not None:
            return Method(self, method)
        getter = self._member(name, c.GET)
        if getter is None:
            raise AttributeError(f"{self._class_name}.{name} cannot be read")
        return _invoke(self, getter, ())

    def __setattr__(self, name, value):
        setter = self._member(name, c.PUT)
        if setter is None:
            raise AttributeError(f"{self._class_name}.{name} cannot be set")
        _invoke(self, setter, (value,))

    def __delattr__(self, name):
        raise AttributeError(f"{self._class_name}.{name} cannot be deleted")

    def __dir__(self):
        return sorted(set(super().__dir__()) | self._members.by_name.keys())

    def __eq__(self, other):
        return isinstance(other, Object) and self._handle == other._handle

    def __hash__(self):
        return hash(self._handle)

    def __reduce_ex__(self, protocol):
        raise TypeError(f"a {self._class_name} cannot be copied or pickled")

    def __repr__(self):
        return f"<quorvel {self._class_name} {self._handle}>"

    def connect(self, callback):
        """Calls callback(senderID, messageID, param1, param2) for every event of this object, in the middle of
        the operation and on its thread. Returns the token for disconnect. What the callback raises is reported
        by sys.unraisablehook and changes nothing of the operation."""
        if not callable(callback):
            raise TypeError(f"connect(callback): a {type(callback).__name__} cannot be called")
        number = next(_sink_numbers)
        _sinks[number] = callback
        token = ctypes.c_int32()
        status = c.library.quorvel_connect(self._handle, _message_proc, number, _dispose, ctypes.byref(token))
        if status != c.OK:
            del _sinks[number]
            raise TypeError(f"{self._class_name} raises no events")
        return token.value

    def disconnect(self, token):
        """Ends a connection; ValueError when there is none of that token."""
        if c.library.quorvel_disconnect(self._handle, token) != c.OK:
            raise ValueError(f"no sink is connected with token {token}")


def create(name):
    """A new object by the name of its class, as "QuorvelMail.QuorvelEmail"."""
    if not isinstance(name, str):
        raise TypeError(f"create(name: str), not a {type(name).__name__}")
    handle = ctypes.c_uint64()
    data = name.encode("utf-8", "surrogateescape")
    if b"\0" in data or c.library.quorvel_create(data, ctypes.byref(handle)) != c.OK:
        raise Error(f"there is no class {name!r}")
    return Object(handle.value)


def members(target):
    """The members of an object as a list of (dispid, kind, name); kind is "method", "get" or "put"."""
    return [(each.id, KIND_NAMES[each.kind], each.name) for each in target._members.all]


def set_certificate_root(path):
    """The directory below which certificate stores live; "" for the one below the user's home."""
    c.library.quorvel_set_certificate_root(os.fsencode(path))
