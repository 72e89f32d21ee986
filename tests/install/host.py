"""A host in Python: makes an e-mail by the installed package and reads its text."""
import quorvel

email = quorvel.create("QuorvelMail.QuorvelEmail")
email.Subject = "from an installed package"
assert "Subject: from an installed package\r\n" in email.GetMime(), email.GetMime()
print("python host: ok")
