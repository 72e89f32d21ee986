"""What the tests of the program `quorvel` share: running it, servers for it to talk to, looking at what it did."""

import contextlib
import fcntl
import glob
import os
import pty
import re
import signal
import socket
import socketserver
import struct
import subprocess
import tempfile
import termios
import threading
import unittest

TOOL = os.environ.get("QUORVEL_TOOL")
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
EXAMPLES = os.path.join(ROOT, "examples")
SEND = ("--from", "Ann Lee <ann@x.org>", "--subject", "s")
TO_BOB = (*SEND, "--to", "bob@x.org", "--body", "hello")
PASSWORD = b"pass w\xc3\xb6rd"


def quorvel(*args, stdin=b"", cwd=None, **options):
    return subprocess.run([TOOL, *args], input=stdin, capture_output=True, timeout=60, cwd=cwd, **options)


def on_mailbox(port, command, *args, stdin=PASSWORD + b"\n", **options):
    """A command on the mailbox of bob, whose password comes by standard input."""
    return quorvel(command, "--server", f"127.0.0.1:{port}", "--user", "bob", "--password-fd", "0", *args,
                   stdin=stdin, **options)


def content(path):
    with open(path, "rb") as file:
        return file.read()


def on_terminal(*args, answers=(), columns=80):
    """Runs the program on a terminal of its own. `answers` are (what is waited for, what is typed then). Gives all
    that the terminal showed, the exit status (less than 0: the signal that ended it), and whether it
    shows what is typed at the end."""
    process, terminal = pty.fork()
    if process == 0:
        try:
            os.execv(TOOL, [TOOL, *args])
        finally:
            os._exit(127)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    seen, start = b"", 0
    answers = list(answers)
    with contextlib.suppress(OSError):  # how a terminal says that its other end is closed
        while piece := os.read(terminal, 4096):
            seen += piece
            if answers and answers[0][0] in seen[start:]:
                start = len(seen)
                os.write(terminal, answers.pop(0)[1])
    _, status = os.waitpid(process, 0)
    echo = termios.tcgetattr(terminal)[3] & termios.ECHO != 0
    os.close(terminal)
    return seen, os.waitstatus_to_exitcode(status), echo


class Serving:
    """`quorvel serve` on free ports, with a folder of its own."""

    def __init__(self, *args, **options):
        self.folder = tempfile.TemporaryDirectory()
        self.process = subprocess.Popen([TOOL, "serve", "--port", "0", "--dir", self.folder.name, *args],
                                        stdout=subprocess.PIPE, text=True, **options)
        self.port = self.read_port()
        self.pop_port = self.read_port() if "--pop3-port" in args else None

    def read_port(self):
        return int(re.search(r"127\.0\.0\.1:(\d+)", self.process.stdout.readline()).group(1))

    def send(self, *args, **options):
        return quorvel("send", "--server", f"127.0.0.1:{self.port}", *args, **options)

    def kept(self):
        """(envelope lines, text) of each message, oldest first."""
        return [(content(name[:-3] + "envelope").decode().splitlines(), content(name))
                for name in sorted(glob.glob(os.path.join(self.folder.name, "*.eml")))]

    def stop(self, how=signal.SIGTERM):
        """What it printed after its first lines, and its exit status."""
        if self.process.poll() is None:
            self.process.send_signal(how)
        printed, _ = self.process.communicate(timeout=20)
        self.folder.cleanup()
        return printed, self.process.returncode


@contextlib.contextmanager
def scripted(*answers, heard=None):
    """A server that greets and answers each line of a client with the next answer, and then closes. Gives its port;
    `heard` gets the lines."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        def converse():
            while True:
                try:
                    connection = listener.accept()[0]
                except OSError:
                    return
                with contextlib.suppress(OSError), connection, connection.makefile("rb") as lines:
                    for answer in answers:
                        connection.sendall(answer)
                        line = lines.readline()
                        if heard is not None:
                            heard.append(line.rstrip())
                        # After 354 comes the text, which is answered as one.
                        while answer.startswith(b"354") and line not in (b".\r\n", b""):
                            line = lines.readline()
        thread = threading.Thread(target=converse)
        thread.start()
        try:
            yield listener.getsockname()[1]
        finally:
            listener.shutdown(socket.SHUT_RDWR)
            thread.join()


class _PopSession(socketserver.StreamRequestHandler):
    def handle(self):
        server, deleted = self.server, set()
        self.wfile.write(b"+OK\r\n")
        while line := self.rfile.readline().decode():
            line = line.rstrip("\r\n")
            server.commands.append(line)
            special = server.replies(line, server.commands.count(line))
            if special is not None:
                self.wfile.write(special)
                if not special:
                    return
                continue
            verb, *numbers = line.split()
            number = int(numbers[0]) if numbers and numbers[0].isdigit() else 0
            message = server.messages[number - 1] if 0 < number <= len(server.messages) else None
            if verb in ("RETR", "TOP"):
                self.wfile.write(b"+OK\r\n" + re.sub(rb"(^|\r\n)\.", rb"\1..", message[1]) + b"\r\n.\r\n")
            elif verb == "UIDL":
                listing = b"".join(b"%d %s\r\n" % (n + 1, m[0]) for n, m in enumerate(server.messages))
                self.wfile.write(b"+OK\r\n" + listing + b".\r\n")
            elif verb == "STAT":
                self.wfile.write(b"+OK %d 999\r\n" % len(server.messages))
            else:
                if verb == "DELE":
                    deleted.add(number)
                if verb == "QUIT":  # done before the client hears of it
                    server.messages = [m for n, m in enumerate(server.messages) if n + 1 not in deleted]
                self.wfile.write(b"+OK\r\n")
                if verb == "QUIT":
                    return


class Server(socketserver.ThreadingTCPServer):
    """Listens on the loopback address for as long as it is used as a context manager."""

    daemon_threads = True

    def __init__(self, session):
        super().__init__(("127.0.0.1", 0), session)
        self.port = self.server_address[1]

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *fault):
        self.shutdown()
        self.server_close()


class PopServer(Server):
    """A POP3 server with messages of any unique ids and texts, (id, text), that says what a test tells it to: for a
    command and how often it has come, `replies` gives a reply, no bytes to close, or None for the usual one."""

    def __init__(self, *messages, replies=lambda command, times: None):
        super().__init__(_PopSession)
        self.messages = list(messages)
        self.replies = replies
        self.commands = []

    def left(self):
        return [uidl for uidl, _ in self.messages]


@unittest.skipUnless(TOOL, "QUORVEL_TOOL does not say where the program is")
class ProgramTest(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()
        self.addCleanup(self.temporary.cleanup)

    def serving(self, *args, **options):
        server = Serving(*args, **options)
        self.addCleanup(server.stop)
        return server

    def file(self, name, text=None):
        path = os.path.join(self.temporary.name, name)
        if text is not None:
            with open(path, "wb") as file:
                file.write(text if isinstance(text, bytes) else text.encode())
        return path

    def check(self, result, status, said=b""):
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertIn(said, result.stderr)
        if status not in (0, 2, 6):
            self.assertIn(b"\nNext: ", result.stderr)
