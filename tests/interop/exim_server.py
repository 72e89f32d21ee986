"""Exim on a loopback address and a port of its own, in a folder of its own, for the length of a test."""

import glob
import os
import pwd
import shutil
import signal
import socket
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def why_not():
    """Why Exim cannot be run here, or None when it can."""
    if os.geteuid() != 0:
        return "needs root to run Exim with its own configuration"
    if shutil.which("exim4") is None:
        return "Exim is not installed (another mail transport agent may be in its place)"
    return None


def why_no_logins():
    """Why the server cannot offer logins here, or None when it can."""
    if shutil.which("saslpasswd2") is None or not glob.glob("/usr/lib/*/sasl2/libntlm.so*"):
        return "Cyrus SASL with its NTLM is not installed"
    return why_not()


def free_port(address="127.0.0.1"):
    with socket.socket() as probe:
        probe.bind((address, 0))
        return probe.getsockname()[1]


class EximServer:
    """A running server; `mailboxes` are the names it accepts in the domain "test". With `logins`, passwords by
    name, it offers PLAIN, LOGIN, CRAM-MD5 and NTLM."""

    def __init__(self, mailboxes, address="127.0.0.1", port=None, logins=None):
        self.address = address
        self.port = port or free_port(address)
        self.dir = tempfile.mkdtemp(prefix="quorvel-exim-")
        os.chmod(self.dir, 0o755)
        self.process = None
        mail = pwd.getpwnam("mail")
        for name in ("spool", "mail", "log"):
            path = os.path.join(self.dir, name)
            os.mkdir(path)
            os.chown(path, mail.pw_uid, mail.pw_gid)
        with open(os.path.join(self.dir, "users"), "w") as users:
            users.writelines(f"{name}: {name}\n" for name in mailboxes)
        with open(os.path.join(HERE, "exim.conf")) as template:
            text = template.read()
        if logins:
            text += self._take_logins(logins, mail)
        text = text.replace("@DIR@", self.dir).replace("@SMTP_PORT@", str(self.port))
        config = os.path.join(self.dir, "exim.conf")
        with open(config, "w") as out:
            out.write(text.replace("@ADDRESS@", self.address))
        os.chmod(config, 0o644)
        self.process = subprocess.Popen(
            ["exim4", "-C", config, "-bdf", "-q30m"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "SASL_CONF_PATH": os.path.join(self.dir, "sasl")})
        self._wait_until_listening()

    def _take_logins(self, logins, mail):
        """Makes the users known and gives the part of the configuration that lets them in."""
        with open(os.path.join(self.dir, "logins"), "w") as out:
            out.writelines(f"{name}: {password}\n" for name, password in logins.items())
        database = os.path.join(self.dir, "sasldb2")
        for name, password in logins.items():
            subprocess.run(["saslpasswd2", "-p", "-c", "-f", database, "-u", "mail.test", name],
                           input=password.encode(), check=True)
        os.chown(database, mail.pw_uid, mail.pw_gid)
        os.mkdir(os.path.join(self.dir, "sasl"))
        with open(os.path.join(self.dir, "sasl", "exim.conf"), "w") as out:
            out.write("pwcheck_method: auxprop\nauxprop_plugin: sasldb\nmech_list: ntlm\n"
                      f"sasldb_path: {database}\n")
        with open(os.path.join(HERE, "exim_logins.conf")) as template:
            return template.read()

    def _wait_until_listening(self):
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            if self.process.poll() is not None:
                break
            try:
                socket.create_connection((self.address, self.port), 1).close()
                return
            except OSError:
                time.sleep(0.05)
        log = self.log()
        self.stop()
        raise RuntimeError(f"Exim does not listen on {self.address}:{self.port}: {log}")

    def log(self):
        text = ""
        for name in ("mainlog", "paniclog", "rejectlog"):
            try:
                with open(os.path.join(self.dir, "log", name), errors="replace") as file:
                    text += file.read()
            except OSError:
                pass
        return text

    def delivered(self, mailbox, count, seconds=60):
        """The bytes of a mailbox's messages, oldest first, once there are `count` of them."""
        folder = os.path.join(self.dir, "mail", mailbox, "Maildir", "new")
        deadline = time.monotonic() + seconds
        names = []
        while time.monotonic() < deadline:
            names = os.listdir(folder) if os.path.isdir(folder) else []
            if len(names) >= count:
                break
            time.sleep(0.02)
        if len(names) != count:
            raise AssertionError(f"{mailbox} holds {len(names)} messages, not {count}: {self.log()}")
        paths = sorted((os.path.join(folder, name) for name in names), key=os.path.getmtime)
        messages = []
        for path in paths:
            with open(path, "rb") as file:
                messages.append(file.read())
        return messages

    def holds(self, mailbox):
        folder = os.path.join(self.dir, "mail", mailbox, "Maildir", "new")
        return len(os.listdir(folder)) if os.path.isdir(folder) else 0

    def transactions(self):
        """Messages that the server has accepted so far, by its own log."""
        return sum(1 for line in self.log().splitlines() if " <= " in line)

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        shutil.rmtree(self.dir, ignore_errors=True)
