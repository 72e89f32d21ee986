"""Dovecot on a port of its own, on the Maildirs that an EximServer delivers into."""

import os
import shutil
import signal
import socket
import subprocess
import time

from exim_server import HERE, free_port


def why_not():
    """Why Dovecot cannot be run here, or None when it can."""
    if os.geteuid() != 0:
        return "needs root to run Dovecot with its own configuration"
    if shutil.which("dovecot") is None or not os.path.exists("/usr/lib/dovecot/pop3"):
        return "Dovecot's POP3 server is not installed"
    return None


class DovecotServer:
    """A running server; any name is let in with the password "secret". Lives in the folder of the EximServer."""

    address = "127.0.0.1"

    def __init__(self, exim):
        self.dir = exim.dir
        self.port = free_port()
        with open(os.path.join(HERE, "dovecot.conf")) as template:
            text = template.read()
        config = os.path.join(self.dir, "dovecot.conf")
        with open(config, "w") as out:
            out.write(text.replace("@DIR@", self.dir).replace("@POP_PORT@", str(self.port)))
        self.process = subprocess.Popen(["dovecot", "-F", "-c", config],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self._wait_until_greeting()

    def _wait_until_greeting(self):
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline and self.process.poll() is None:
            try:
                with socket.create_connection((self.address, self.port), 1) as connection:
                    connection.settimeout(5)
                    if connection.recv(100).startswith(b"+OK"):
                        return
            except OSError:
                pass
            time.sleep(0.05)
        log = self.log()
        self.stop()
        raise RuntimeError(f"Dovecot does not greet on {self.address}:{self.port}: {log}")

    def log(self):
        try:
            with open(os.path.join(self.dir, "log", "dovecot.log"), errors="replace") as file:
                return file.read()
        except OSError:
            return ""

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
