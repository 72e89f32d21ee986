"""A loopback SMTP server for tests: takes everything and remembers it."""
import contextlib
import socketserver
import threading


class _Session(socketserver.StreamRequestHandler):
    def handle(self):
        with contextlib.suppress(ConnectionError):
            self.say("220 ready")
            while True:
                line = self.rfile.readline()
                if not line.endswith(b"\n"):
                    return
                command = line.rstrip(b"\r\n")
                self.server.commands.append(command)
                verb = command[:4].upper()
                if verb == b"DATA":
                    self.say("354 go on")
                    self.server.messages.append(self.read_message())
                    self.say("250 taken")
                elif verb == b"QUIT":
                    return self.say("221 bye")
                else:
                    self.say(self.server.replies.get(verb, "250 ok"))

    def say(self, reply):
        self.wfile.write(reply.encode() + b"\r\n")

    def read_message(self):
        text = b""
        while not text.endswith(b"\r\n.\r\n"):
            line = self.rfile.readline()
            if not line:
                raise ConnectionError
            text += line
        lines = text[:-5].split(b"\r\n")
        return b"\r\n".join(line[1:] if line.startswith(b".") else line for line in lines)


class SmtpServer(socketserver.ThreadingTCPServer):
    """Use as a context manager; port, commands, and messages without their dot-stuffing. replies maps a verb of
    four letters to the reply that it gets."""

    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, replies=None):
        super().__init__(("127.0.0.1", 0), _Session)
        self.port = self.server_address[1]
        self.replies = replies or {}
        self.commands = []
        self.messages = []

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *fault):
        self.shutdown()
        self.server_close()
