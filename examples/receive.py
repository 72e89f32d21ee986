#!/usr/bin/env python3
"""Lists a mailbox, reads the messages that a filter keeps, and deletes those from the server.

Try it from the project's folder, with a mail server of its own (any name and password will do):

    ./dev run serve --port 2525 --pop3-port 1110                  (in another terminal)
    ./dev python examples/compose_and_send.py localhost 2525
    ./dev python examples/receive.py localhost 1110 bob
"""
import getpass
import sys

import quorvel


def password():
    return getpass.getpass() if sys.stdin.isatty() else sys.stdin.readline().rstrip("\n")


def main():
    mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
    mailman.MailHost = sys.argv[1] if len(sys.argv) > 1 else "localhost"
    mailman.MailPort = int(sys.argv[2]) if len(sys.argv) > 2 else 110
    mailman.PopUsername = sys.argv[3] if len(sys.argv) > 3 else getpass.getuser()
    mailman.PopPassword = password()
    mailman.ConnectTimeout = 30
    mailman.ReadTimeout = 30

    try:
        print(mailman.CheckMail(), "messages on the server")
        headers = mailman.GetAllHeaders(1)  # with one line of each body
    except quorvel.Error as error:
        sys.exit(f"cannot read the mailbox: {error}")
    if headers is None:
        sys.exit(f"cannot list the mailbox: {mailman.GetLog().LastError}")
    for index in range(headers.MessageCount):
        header = headers.GetEmail(index)
        print(f"  {header.LocalDate:%Y-%m-%d %H:%M}  {header.From}  {header.Subject}")

    mailman.Filter = 'Subject contains "fair" and not (From contains "noreply")'
    mailman.connect(lambda sender, message, percent, _: print(f"\rreading {percent:3}%", end=""))
    bundle = mailman.CopyMail()
    print()
    if bundle is None:
        sys.exit(f"cannot read the mailbox: {mailman.GetLog().LastError}")
    for index in range(bundle.MessageCount):
        email = bundle.GetEmail(index)
        print(f"{email.Subject}: {email.NumAttachments} attachments\n{email.GetPlainTextBody()}")

    # Only what was read goes; what the filter left out stays. Deleting reports nothing: look what is left.
    mailman.DeleteBundle(bundle)
    print(mailman.GetUidls().Count, "messages left")


if __name__ == "__main__":
    main()
