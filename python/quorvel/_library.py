"""The shared library and its C functions (see <quorvel/quorvel_c.h>, which this file mirrors)."""
import ctypes
import os
import pathlib
from ctypes import POINTER, c_char_p, c_double, c_int32, c_size_t, c_uint64, c_void_p

OK, FAILED, UNKNOWN_CLASS, UNKNOWN_OBJECT, UNKNOWN_MEMBER = 0, 1, 2, 3, 4
WRONG_COUNT, WRONG_TYPE, NULL_POINTER, NO_EVENTS, OUT_OF_MEMORY = 5, 6, 7, 8, 9

METHOD, GET, PUT = 1, 2, 3
NOTHING, INTEGER, DATE, TEXT, BYTES, OBJECT = 0, 1, 2, 3, 4, 5


class Value(ctypes.Structure):
    _fields_ = [("type", c_int32), ("number", c_int32), ("date", c_double), ("data", c_void_p),
                ("size", c_size_t), ("object", c_uint64), ("owner", c_void_p)]


class Parameter(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("type", c_int32), ("interface_name", c_char_p)]


class Member(ctypes.Structure):
    _fields_ = [("id", c_int32), ("kind", c_int32), ("name", c_char_p), ("interface_name", c_char_p),
                ("parameters", POINTER(Parameter)), ("num_parameters", c_size_t), ("result", Parameter),
                ("summary", c_char_p)]


class Interface(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("base", c_char_p), ("members", POINTER(Member)),
                ("num_members", c_size_t), ("num_inherited", c_size_t)]


class Class(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("prog_id", c_char_p), ("interface_name", c_char_p)]


class ErrorReport(ctypes.Structure):
    _fields_ = [("description", c_void_p), ("description_size", c_size_t), ("source", c_char_p),
                ("interface_name", c_char_p)]


MessageProc = ctypes.CFUNCTYPE(None, c_void_p, c_int32, c_int32, c_int32, c_int32)
Dispose = ctypes.CFUNCTYPE(None, c_void_p)

_FUNCTIONS = {
    "quorvel_version": (c_char_p, []),
    "quorvel_create": (c_int32, [c_char_p, POINTER(c_uint64)]),
    "quorvel_add_ref": (c_int32, [c_uint64]),
    "quorvel_release": (c_int32, [c_uint64]),
    "quorvel_class_name": (c_int32, [c_uint64, POINTER(c_char_p)]),
    "quorvel_members": (c_int32, [c_uint64, POINTER(POINTER(Member)), POINTER(c_size_t)]),
    "quorvel_interfaces": (POINTER(Interface), [POINTER(c_size_t)]),
    "quorvel_classes": (POINTER(Class), [POINTER(c_size_t)]),
    "quorvel_invoke": (c_int32, [c_uint64, c_int32, c_int32, POINTER(Value), c_size_t, POINTER(Value)]),
    "quorvel_free_value": (None, [POINTER(Value)]),
    "quorvel_connect": (c_int32, [c_uint64, MessageProc, c_void_p, Dispose, POINTER(c_int32)]),
    "quorvel_disconnect": (c_int32, [c_uint64, c_int32]),
    "quorvel_last_error": (c_int32, [POINTER(ErrorReport)]),
    "quorvel_set_certificate_root": (c_int32, [c_char_p]),
}


def _candidates():
    """The places where the library may be, the best first; names without a directory are the loader's."""
    set_by_host = os.environ.get("QUORVEL_LIBRARY")
    if set_by_host:
        return [set_by_host]
    package = pathlib.Path(__file__).resolve().parent
    project = package.parent.parent
    places = [package, package.parent, project / "build" / "release"]
    files = [str(place / "libquorvel.so") for place in places if (place / "libquorvel.so").is_file()]
    return files + ["libquorvel.so.2", "libquorvel.so"]


def _load():
    faults = []
    for candidate in _candidates():
        try:
            loaded = ctypes.CDLL(candidate)
            break
        except OSError as fault:
            faults.append(str(fault))
    else:
        raise ImportError("cannot load the quorvel library: " + "; ".join(faults))
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(loaded, name)
        function.restype = result
        function.argtypes = arguments
    return loaded


library = _load()
