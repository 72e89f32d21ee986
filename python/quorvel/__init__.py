"""quorvel, an in-process e-mail component.

    import quorvel
    mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
    mailman.SmtpHost = "127.0.0.1"
    email = quorvel.create("QuorvelMail.QuorvelEmail")
    email.AddTo("Ann", "ann@example.org")
    mailman.SendEmail(email)

An object's attributes are its members; dir(object) and quorvel.members(object) list them. Texts are str,
which stands for the component's bytes as UTF-8 with surrogateescape, so that any byte survives; bytes are taken
wherever a text is. Flags and counts are int, dates naive datetime, a null object is None. An operation that
leaves an error report raises quorvel.Error; one that only returns a failure value returns it.

The shared library is the one that the environment variable QUORVEL_LIBRARY names, else libquorvel.so beside this
package, else that of the build tree, else the system's.
"""
from ._library import library as _c
from ._objects import Error, Object, create, members, set_certificate_root

__all__ = ["Error", "Object", "create", "members", "set_certificate_root"]
__version__ = _c.quorvel_version().decode("ascii")
