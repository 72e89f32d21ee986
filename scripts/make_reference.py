#!/usr/bin/env python3
"""Writes docs/reference: a page for each interface, from the library's own table of members.

Usage: ./dev python scripts/make_reference.py           writes the pages
       ./dev python scripts/make_reference.py --check   names the pages that differ; exits with 1 when one does
"""
import pathlib
import sys

from quorvel import _library as c
from quorvel._members import KIND_NAMES, classes, interfaces, type_name

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "docs" / "reference"


def cpp_type(parameter, is_result=False):
    if parameter.type == c.OBJECT:
        return f"Ref<{parameter.interface}>" if is_result else f"{parameter.interface}*"
    text = "std::string" if is_result else "std::string_view"
    return {c.NOTHING: "void", c.INTEGER: "int32_t", c.DATE: "double", c.TEXT: text, c.BYTES: "Bytes"}[parameter.type]


def cpp_signature(member):
    name = member.name if member.kind == c.METHOD else f"{KIND_NAMES[member.kind]}_{member.name}"
    parameters = ", ".join(f"{cpp_type(each)} {each.name}" for each in member.parameters)
    return f"{cpp_type(member.result, True)} {name}({parameters})"


def page(interface):
    own_classes = [each for each in classes() if each.interface == interface.name]
    lines = [f"# {interface.name}", ""]
    if interface.base:
        lines += [f"Extends [{interface.base}]({interface.base}.md).", ""]
    for each in own_classes:
        created = f'created as `"{each.prog_id}"`' if each.prog_id else "handed out by other objects"
        lines += [f"The last interface of `{each.name}`, {created}.", ""]
    lines += ["| Id | Kind | Python | C++ | |", "|---|---|---|---|---|"]
    for member in interface.members:
        lines.append(f"| {member.id} | {KIND_NAMES[member.kind]} | `{member.signature}` | `{cpp_signature(member)}` "
                     f"| {member.summary} |")
    return "\n".join(lines) + "\n"


def index(all_interfaces):
    lines = ["# Reference", "",
             "The members of each interface. A member is reached by its name or its id; see",
             "[embedding](../embedding.md) for how. These pages are written by `scripts/make_reference.py` from the",
             "table of members; do not edit them.", "",
             "| Interface | Members |", "|---|---|"]
    for each in all_interfaces:
        names = dict.fromkeys(f"`{member.name}`" for member in each.members)
        lines.append(f"| [{each.name}]({each.name}.md) | {', '.join(names)} |")
    return "\n".join(lines) + "\n"


def pages():
    all_interfaces = interfaces()
    texts = {f"{each.name}.md": page(each) for each in all_interfaces}
    texts["README.md"] = index(all_interfaces)
    return texts


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
