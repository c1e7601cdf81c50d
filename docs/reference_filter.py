#!/usr/bin/env python3
"""Doxygen's input filter for the headers: converts their // contract comments
to Doxygen comments, and each header to a group, which becomes a page.

A comment before a declaration belongs to it and to the declarations that follow
without a blank line. Indented text inside a comment is a table and is copied
verbatim. Other comments, such as those in bodies, are not converted. What is
not for clients, or documented elsewhere, is omitted: namespace impl, forward
declarations, members defined outside their class, explicit instantiations, and
what follows namespace nalo.
"""

import re
import sys


def as_doxygen(comment, command=""):
    """The text of a // comment, with commands and tags escaped."""
    yield "/** " + command
    is_table = False
    for line in comment:
        text = line.strip()[2:].removeprefix(" ")
        if text.startswith("  ") != is_table:
            is_table = not is_table
            yield "@verbatim" if is_table else "@endverbatim"
        yield text if is_table else re.sub(r"[@\\<>#%&]", r"\\\g<0>", text)
    if is_table:
        yield "@endverbatim"
    yield "*/"


def without_literals(line):
    line = re.sub(r"'(\\.|[^'\\])'|\"(\\.|[^\"\\])*\"", "0", line)
    return line.partition("//")[0]


class Scopes:
    """The open braces, told apart by whether they enclose code or not."""

    def __init__(self):
        self.open = []  # whether each is code
        self.statement = ""

    def read(self, line):
        for char in without_literals(line):
            if char == "{":
                is_type = re.search(r"\b(namespace|class|struct|union|enum)\b"
                                    r"[^()=]*$", self.statement)
                self.open.append(not is_type)
            elif char == "}":
                self.open.pop()
            if char in "{};":
                self.statement = ""
            else:
                self.statement += char
        self.statement += " "

    def declare(self):
        return not any(self.open)


def declarations(lines):
    """The number of lines of the declarations that a comment belongs to, and
    the number of declarations."""
    scopes, count = Scopes(), 0
    for number, line in enumerate(lines):
        stripped = line.strip()
        if not scopes.open and scopes.statement.strip() == "" and (
            not stripped
            or stripped.startswith(("//", "}", "#"))
            or re.match(r"(public|protected|private):", stripped)
        ):
            return number, count
        scopes.read(line)
        count += not scopes.open and stripped.endswith((";", "}"))
    return len(lines), count


def is_member_definition(lines):
    text = " ".join(lines)
    return not re.match(r"(template <.*?> *)*(class|struct|using) ", text) and (
        re.match(r"[^({;]*::(~?\w+|operator\W+)\(", text))


def end_of_comment(lines, number):
    while lines[number].strip().startswith("//"):
        number += 1
    return number


def end_of_left_out(lines, number):
    """The line after what is omitted at namespace level, or the same number."""
    if lines[number] == "namespace impl {":
        return lines.index("}  // namespace impl", number) + 1
    if re.match(r"(NALO_\w+\()?extern template", lines[number]):
        while not lines[number].endswith(";"):
            number += 1
        return number + 1
    begin = end_of_comment(lines, number)
    if re.match(r"\w", lines[begin]):
        end = begin + declarations(lines[begin:])[0]
        if is_member_definition(lines[begin:end]):
            return end
    return number


def filtered(header, lines):
    group = "header_" + re.sub(r"\W", "_", header)
    number = end_of_comment(lines, 1)
    yield from as_doxygen(lines[1:number], f"@defgroup {group} {header}")

    scopes, group_end = Scopes(), None
    while number < len(lines):
        if number == group_end:
            yield "/// @}"
        if len(scopes.open) == 1:
            left_out = number
            number = end_of_left_out(lines, number)
            if number != left_out:
                continue
        end = end_of_comment(lines, number)
        if end > number and scopes.declare() and re.match(
            r"\s*[^\s}#]", lines[end]
        ):
            length, count = declarations(lines[end:])
            if count > 1:
                yield "/// @{"
                group_end = end + length
            yield from as_doxygen(lines[number:end])
            number = end
            continue

        line = lines[number]
        if line.startswith("}  // namespace"):
            yield "/// @}"
        scopes.read(line)
        yield line
        if line == "}  // namespace nalo":
            return
        if re.match(r"namespace \w+ {$", line):
            yield f"/// @addtogroup {group}"
            yield "/// @{"
        number += 1


FORWARD = re.compile(r"^(template <[^\n]*>\n)?(class|struct) (NALO_API )?"
                     r"[\w<>]+;\n", re.MULTILINE)

if __name__ == "__main__":
    path = sys.argv[1]
    with open(path, encoding="utf-8") as file:
        lines = FORWARD.sub("", file.read()).split("\n")
    print("\n".join(filtered(path[path.rindex("/nalo/") + 1 :], lines)))
