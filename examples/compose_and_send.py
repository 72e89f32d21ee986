#!/usr/bin/env python3
"""Composes a mail with a plain and an HTML text and sends it.

Try it from the project's folder, with a mail server of its own:

    ./dev run serve --port 2525                                   (in another terminal)
    ./dev python examples/compose_and_send.py localhost 2525
"""
import pathlib
import sys

import quorvel

SAMPLES = pathlib.Path(__file__).parent


def compose():
    email = quorvel.create("QuorvelMail.QuorvelEmail")
    email.From = "Ann Lee <ann@example.org>"
    email.AddTo("Bob Moss", "bob@example.org")
    email.AddCC("Carol Reed", "carol@example.org")
    email.Subject = "The harvest fair"
    email.Body = (SAMPLES / "letter.txt").read_text()
    email.AddHtmlAlternativeBody((SAMPLES / "letter.html").read_text())
    return email


def main():
    host = sys.argv[1] if len(sys.argv) > 1 else "localhost"
    port = sys.argv[2] if len(sys.argv) > 2 else "25"
    mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
    mailman.SmtpHost = host
    mailman.SmtpPort = int(port)
    mailman.SmtpAuthMethod = "NONE"  # no login
    mailman.ConnectTimeout = 30
    mailman.ReadTimeout = 30
    mailman.connect(lambda sender, message, percent, _: print(f"\rsending {percent:3}%", end=""))
    try:
        mailman.SendEmail(compose())
        print("\nsent")
    except quorvel.Error as error:
        sys.exit(f"\nnot sent: {error}")


if __name__ == "__main__":
    main()
