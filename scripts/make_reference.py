#!/usr/bin/env python3
"""Writes docs/reference: a page for each interface, from the library's own table of members and what docs/members says
of them.

Usage: ./dev python scripts/make_reference.py           writes the pages
       ./dev python scripts/make_reference.py --check   names the pages that differ; exits with 1 when one does
"""
import pathlib
import sys

import member_docs
from quorvel import _library as c
from quorvel._members import KIND_NAMES, classes, interfaces

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "docs" / "reference"
STEP_COLUMNS = "| Kind | Entry | |\n|---|---|---|"


def cpp_type(parameter, is_result=False):
    if parameter.type == c.OBJECT:
        return f"Ref<{parameter.interface}>" if is_result else f"{parameter.interface}*"
    text = "std::string" if is_result else "std::string_view"
    data = "Bytes" if is_result else "const Bytes&"
    return {c.NOTHING: "void", c.INTEGER: "int32_t", c.DATE: "double", c.TEXT: text, c.BYTES: data}[parameter.type]


def cpp_signature(member):
    name = member.name if member.kind == c.METHOD else f"{KIND_NAMES[member.kind]}_{member.name}"
    parameters = ", ".join(f"{cpp_type(each)} {each.name}" for each in member.parameters)
    return f"{cpp_type(member.result, True)} {name}({parameters})"


def log_line(entry):
    own = f"`{entry.title}`" if len(entry.names) == 1 else "of the member's name"
    return member_docs.as_code(entry.log).replace("`{name}`", own)


def failure_line(failure):
    messages = "" if failure.messages == "-" else f": {member_docs.as_code(failure.messages)}"
    return f"{failure.when}{messages}; *{failure.outcome}*"


def section(entry, members):
    lines = ["".join(f'<a id="{name}"></a>' for name in entry.names), "", f"## {', '.join(entry.names)}", "",
             "| Id | Kind | C++ | Python | |", "|---|---|---|---|---|"]
    for member in members:
        lines.append(f"| {member.id} | {KIND_NAMES[member.kind]} | `{cpp_signature(member)}` | `{member.signature}` "
                     f"| {member.summary} |")
    lines += [""] + (entry.text + [""] if entry.text else [])
    keys = dict.fromkeys(each.name for member in members for each in member.parameters)
    lines += [f"- *{key}*: {entry.value(key)}" for key in keys]
    if entry.value("result"):
        lines.append(f"- **Result:** {entry.value('result')}")
    failures = [failure_line(each) for each in entry.failures]
    if not failures:
        return lines + [f"- **Log:** {log_line(entry)} **Fails:** never.", ""]
    lines.append(f"- **Log:** {log_line(entry)}")
    if len(failures) == 1:
        return lines + [f"- **Fails:** {failures[0]}", ""]
    return lines + ["- **Fails**"] + [f"  - {each}" for each in failures] + [""]


def page(interface, text):
    introduction, entries = text
    lines = [f"# {interface.name}", ""]
    if interface.base:
        lines += [f"Extends [{interface.base}]({interface.base}.md).", ""]
    for each in classes():
        if each.interface == interface.name:
            created = f'created as `"{each.prog_id}"`' if each.prog_id else "handed out by other objects"
            lines += [f"The last interface of `{each.name}`, {created}.", ""]
    lines += [introduction, "", "| Id | Kind | Member | |", "|---|---|---|---|"]
    for name in dict.fromkeys(member.name for member in interface.members):
        members = [member for member in interface.members if member.name == name]
        kinds = "/".join(KIND_NAMES[member.kind] for member in members)
        lines.append(f"| {members[0].id} | {kinds} | [{name}](#{name}) | {members[0].summary} |")
    lines.append("")
    for entry in entries:
        lines += section(entry, [member for member in interface.members if member.name in entry.names])
    return "\n".join(lines).rstrip() + "\n"


def steps_page(text):
    introduction, entries = text
    lines = ["# Steps", "", introduction, ""]
    lines += [f"- [{entry.title}](#{member_docs.anchor(entry.title)})" for entry in entries] + [""]
    for entry in entries:
        lines += [f"## {entry.title}", ""] + (entry.text + [""] if entry.text else []) + [STEP_COLUMNS]
        for key, value in entry.lines:
            what, _, when = value.partition(" | ")
            shown = "<br>".join(f"`{each}`" for each in member_docs.messages_in(what))
            if key == "context":
                shown = f"`{what}`"
            lines.append(f"| {key} | {shown or what} | {member_docs.as_code(when)} |")
        lines.append("")
    return "\n".join(lines).rstrip() + "\n"


def index(all_interfaces):
    introduction, _ = member_docs.read("index")
    lines = ["# Reference", "", introduction, "", "## The interfaces", "", "| Interface | Members |", "|---|---|"]
    for each in all_interfaces:
        names = dict.fromkeys(f"[{member.name}]({each.name}.md#{member.name})" for member in each.members)
        lines.append(f"| [{each.name}]({each.name}.md) | {', '.join(names)} |")
    return "\n".join(lines) + "\n"


def pages():
    all_interfaces = interfaces()
    texts = member_docs.read_all(all_interfaces)
    found = {f"{each.name}.md": page(each, texts[each.name]) for each in all_interfaces}
    found["README.md"] = index(all_interfaces)
    found["steps.md"] = steps_page(texts[member_docs.STEPS])
    return found


def outdated(texts):
    """The names of the pages that differ from the written ones, missing and left-over pages included."""
    written = {path.name: path.read_text(encoding="utf-8") for path in FOLDER.glob("*.md")}
    return sorted(name for name in texts.keys() | written.keys() if texts.get(name) != written.get(name))


def main():
    texts = pages()
    different = outdated(texts)
    if "--check" in sys.argv[1:]:
        for name in different:
            print(f"docs/reference/{name} is out of date: ./dev python scripts/make_reference.py")
        return 1 if different else 0
    FOLDER.mkdir(parents=True, exist_ok=True)
    for name in different:
        if name in texts:
            (FOLDER / name).write_text(texts[name], encoding="utf-8")
        else:
            (FOLDER / name).unlink()
    return 0


if __name__ == "__main__":
    sys.exit(main())
