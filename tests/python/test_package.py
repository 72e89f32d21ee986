"""The Python package: members, types, errors, texts of any bytes, dates, sinks, finding the library."""
import copy
import datetime
import gc
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import weakref

import quorvel
from smtp_server import SmtpServer

MEMBERS = pathlib.Path(__file__).resolve().parent.parent / "data" / "members.txt"
PACKAGE = pathlib.Path(quorvel.__file__).resolve().parent


def new_mailman(port=1):
    mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
    mailman.SmtpHost = "127.0.0.1"
    mailman.SmtpPort = port
    mailman.ReadTimeout = 20
    return mailman


def new_email():
    email = quorvel.create("QuorvelMail.QuorvelEmail")
    email.From = "Me <me@example.org>"
    email.AddTo("Ann", "ann@example.org")
    email.Subject = "greetings"
    email.Body = "Dear Ann,\n.\nit works."
    return email


class Members(unittest.TestCase):
    def pinned(self, interface):
        """The members of an interface and of all its later versions."""
        rows = (line.split() for line in MEMBERS.read_text().splitlines() if not line.startswith("#"))
        return [(int(row[1]), row[2], row[3]) for row in rows if row[0].rstrip("0123456789") == interface]

    def test_members_are_the_pinned_ones(self):
        mailman = quorvel.create("QuorvelMail.QuorvelMailMan.1")
        for target, interface in [(mailman, "IQuorvelMailMan"), (mailman.GetLog(), "IQuorvelLog"),
                                  (quorvel.create("QuorvelMail.QuorvelEmail"), "IQuorvelEmail")]:
            self.assertEqual(quorvel.members(target), self.pinned(interface))
            names = {name for _, _, name in quorvel.members(target)}
            self.assertEqual(names - set(dir(target)), set())

    def test_names_are_exact(self):
        mailman, email = new_mailman(), new_email()
        for act in [lambda: mailman.smtphost, lambda: mailman.Nothing, lambda: email._handle_of_another,
                    lambda: setattr(mailman, "Nothing", 1), lambda: setattr(mailman, "_own", 1),
                    lambda: setattr(mailman, "Version", "3"), lambda: setattr(mailman, "SendEmail", 1),
                    lambda: delattr(mailman, "SmtpHost")]:
            with self.assertRaises(AttributeError):
                act()

    def test_wrong_arguments_name_the_member_and_its_signature(self):
        mailman, email = new_mailman(), new_email()
        aware = datetime.datetime.now(datetime.timezone.utc)
        for act in [lambda: mailman.SendEmail(), lambda: mailman.SendEmail(email, email)]:
            with self.assertRaisesRegex(TypeError, r"SendEmail\(email: IQuorvelEmail\) -> int takes 1 argument, not"):
                act()
        for act in [lambda: mailman.SendEmail("x"), lambda: mailman.SendEmail(1), lambda: mailman.SendEmail(mailman)]:
            with self.assertRaisesRegex(TypeError, r"SendEmail\(email: IQuorvelEmail\) -> int"):
                act()
        for name, value, signature in [
                ("SmtpPort", "25", "SmtpPort: int"), ("SmtpPort", 25.0, "SmtpPort: int"),
                ("SmtpPort", None, "SmtpPort: int"), ("SmtpHost", 1, "SmtpHost: str"),
                ("SmtpHost", None, "SmtpHost: str")]:
            with self.assertRaisesRegex(TypeError, signature):
                setattr(mailman, name, value)
        for value in [1, "x", datetime.date.today(), aware]:
            with self.assertRaisesRegex(TypeError, "EmailDate: datetime"):
                email.EmailDate = value
        with self.assertRaisesRegex(TypeError, r"AddTo\(friendlyName: str, emailAddress: str\) -> int"):
            email.AddTo("Ann", 5)
        for value in [2**31, -2**31 - 1]:
            with self.assertRaisesRegex(OverflowError, "SmtpPort: int"):
                mailman.SmtpPort = value
        with self.assertRaises(TypeError):
            email.GetTo(0, index=0)

    def test_methods_describe_themselves(self):
        self.assertIn("AddTo(friendlyName: str, emailAddress: str) -> int", new_email().AddTo.__doc__)


class Values(unittest.TestCase):
    def test_any_byte_survives(self):
        email = new_email()
        everything = bytes(range(256)).replace(b"\r", b"").replace(b"\n", b"\r\n")
        for given in [everything, bytearray(everything), memoryview(everything),
                      everything.decode("utf-8", "surrogateescape")]:
            email.Body = given
            self.assertEqual(email.Body.encode("utf-8", "surrogateescape"), everything)
        email.Subject = "grüße, \U0001f600"
        self.assertEqual(email.Subject, "grüße, \U0001f600")
        self.assertIn("\r\nSubject: grüße, \U0001f600\r\n", email.GetMime() + "\r\n")

    def test_integers(self):
        mailman = new_mailman()
        for given in [0, 1, -1, 2**31 - 1, -2**31, True]:
            mailman.SmtpPort = given
            self.assertEqual(mailman.SmtpPort, int(given))

    def test_dates_are_exact(self):
        from quorvel import _objects
        for text in ["2002-03-05 19:03:07", "2026-12-31 23:59:59.999999", "1899-12-30 00:00:00", "1899-12-30 12:00:00",
                     "1899-12-29 06:00:00", "1601-02-03 04:05:06.000007", "0100-01-01 23:59:59", "9999-12-31 23:59:59"]:
            moment = datetime.datetime.fromisoformat(text)
            self.assertEqual(_objects._to_datetime(_objects._from_datetime(moment)), moment, text)
        self.assertEqual(_objects._from_datetime(datetime.datetime(1899, 12, 29, 6)), -1.25)
        email = new_email()
        email.AddHeaderField("Date", "Tue, 05 Mar 2002 14:03:07 -0500")
        self.assertEqual(email.EmailDate, datetime.datetime(2002, 3, 5, 19, 3, 7))
        self.assertIsNone(email.LocalDate.tzinfo)


class Errors(unittest.TestCase):
    def test_a_report_raises_and_a_failure_value_does_not(self):
        mailman, email = new_mailman(), new_email()
        with self.assertRaises(quorvel.Error) as caught:
            mailman.SendEmail(None)
        self.assertEqual(str(caught.exception), "Email parameter is NULL in SendEmail")
        self.assertEqual((caught.exception.source, caught.exception.interface, caught.exception.result),
                         ("QuorvelMail.QuorvelMailMan", "IQuorvelMailMan2", 0))
        self.assertEqual((email.AddTo("Ann", " "), mailman.VerifySmtpConnection(), email.GetTo(99)), (0, 0, ""))
        with SmtpServer({b"RCPT": "550 unable to relay"}) as server:
            mailman.SmtpPort = server.port
            with self.assertRaises(quorvel.Error) as caught:
                mailman.SendEmail(email)
        self.assertIn("550 unable to relay", str(caught.exception))  # the server's own words

    def test_unknown_classes(self):
        for name in ["", "QuorvelMail.Nothing", "CQuorvelEmail"]:
            with self.assertRaises(quorvel.Error):
                quorvel.create(name)

    def test_objects_are_not_copied(self):
        with self.assertRaises(TypeError):
            copy.copy(new_email())


class Sinks(unittest.TestCase):
    def test_events_reach_every_sink(self):
        unraised = []
        self.addCleanup(setattr, sys, "unraisablehook", sys.unraisablehook)
        sys.unraisablehook = lambda fault: unraised.append(fault.exc_value)
        events, tokens = [], []
        with SmtpServer() as server:
            mailman = new_mailman(server.port)

            def once(*_):
                mailman.disconnect(tokens[0])
                self.assertEqual(mailman.SmtpHost, "127.0.0.1")

            def fails(*_):
                raise ValueError("sink")

            tokens.append(mailman.connect(once))
            mailman.connect(fails)
            token = mailman.connect(lambda *event: events.append(event))
            self.assertEqual(mailman.SendEmail(new_email()), 1)
            mailman.disconnect(token)
            count = len(events)
            mailman.SendEmail(new_email())
        self.assertEqual(len(events), count)
        self.assertEqual({event[:2] + event[3:] for event in events}, {(102, 2, 0)})
        percent = [event[2] for event in events]
        self.assertEqual((percent, percent[-1]), (sorted(set(percent)), 100))
        self.assertGreaterEqual(len(unraised), 2)
        self.assertTrue(all(isinstance(each, ValueError) for each in unraised))
        with self.assertRaises(ValueError):
            mailman.disconnect(token)

    def test_a_sink_is_let_go_with_its_connection(self):
        class Sink:
            def __call__(self, *_):
                pass

        mailman, sinks = new_mailman(), [Sink(), Sink()]
        alive = [weakref.ref(sink) for sink in sinks]
        token = mailman.connect(sinks[0])
        mailman.connect(sinks[1])
        del sinks
        gc.collect()
        self.assertTrue(all(each() for each in alive))
        mailman.disconnect(token)
        self.assertIsNone(alive[0]())
        del mailman
        self.assertIsNone(alive[1]())

    def test_a_sink_may_let_go_of_the_object(self):
        held = [new_mailman()]
        held[0].connect(lambda *_: held.clear())
        with self.assertRaises(quorvel.Error):
            held[0].SendEmail(new_email())
        self.assertEqual(held, [])

    def test_only_events_and_functions(self):
        for act in [lambda: new_email().connect(print), lambda: new_mailman().connect(5)]:
            with self.assertRaises(TypeError):
                act()


class Lifetime(unittest.TestCase):
    def test_objects_are_released(self):
        mailman = new_mailman()
        log = mailman.GetLog()
        del mailman
        log.LogInfo("still here")
        self.assertIn("still here", log.GetInfoEntries())



class FindingTheLibrary(unittest.TestCase):
    def version(self, package_folder, **environment):
        """What a fresh interpreter finds when it looks for the package in a folder."""
        variables = {name: value for name, value in os.environ.items() if name != "QUORVEL_LIBRARY"}
        variables.update(environment, PYTHONPATH=str(package_folder))
        script = ("import quorvel\nfrom quorvel._library import library\n"
                  "print(quorvel.__version__, library._name)")
        result = subprocess.run([sys.executable, "-c", script], env=variables, capture_output=True, text=True,
                                cwd="/")
        return result.stdout.strip() or result.stderr.strip().splitlines()[-1]

    def test_order(self):
        real = os.environ.get("QUORVEL_LIBRARY")
        if not real:
            self.skipTest("QUORVEL_LIBRARY does not say where the library is")
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            package = root / "python" / "quorvel"
            package.mkdir(parents=True)
            for source in PACKAGE.glob("*.py"):
                (package / source.name).write_bytes(source.read_bytes())
            built = root / "build" / "release" / "libquorvel.so"
            built.parent.mkdir(parents=True)
            built.symlink_to(real)
            self.assertEqual(self.version(package.parent), f"2.9.0 {built}")
            beside = package / "libquorvel.so"
            beside.symlink_to(real)
            self.assertEqual(self.version(package.parent), f"2.9.0 {beside}")
            self.assertEqual(self.version(package.parent, QUORVEL_LIBRARY=str(built)), f"2.9.0 {built}")
            self.assertIn("cannot load the quorvel library",
                          self.version(package.parent, QUORVEL_LIBRARY="/nonexistent.so"))
            beside.unlink()
            built.unlink()
            by_loader = root / "libquorvel.so.2"
            by_loader.symlink_to(real)
            self.assertEqual(self.version(package.parent, LD_LIBRARY_PATH=str(root)), "2.9.0 libquorvel.so.2")


if __name__ == "__main__":
    unittest.main()
