"""Reads the project's documents: the tables of texts, and the blocks of commands.
SPDX-License-Identifier: MIT"""
import pathlib
import re

PROJECT = pathlib.Path(__file__).resolve().parents[2]
INTERFACE = PROJECT / "docs" / "INTERFACE.md"


def documented_texts():
    """The texts of INTERFACE.md's tables as (section, text), with the marks for blanks resolved."""
    texts = []
    section = ""
    in_table = False
    for line in INTERFACE.read_text(encoding="utf-8").splitlines():
        if line.startswith("#"):
            section = line.lstrip("# ")
        begins = re.match(r"\| (Answer|Text) \|", line)
        in_table = line.startswith("|") and bool(in_table or begins)
        row = re.match(r"\| `(.*?)` \|", line)
        if in_table and row:
            texts.append((section, row[1].replace("␣", " ").replace("↵", "\n")))
    return texts


def pieces(text):
    """What of a text stands there byte for byte, between the placeholders."""
    return [piece for piece in re.split(r"\{[a-z]+\}", text) if piece]


class Block:
    """A block of a document: its kind ("sh" for commands, otherwise what stands behind the fence),
    the headings above it, its lines, and the number of the first."""

    def __init__(self, kind, headings, number):
        self.kind = kind
        self.headings = headings
        self.number = number
        self.lines = []

    def commands(self):
        """Those of its lines as (number, command); what ends in a backslash goes on in the next."""
        found = []
        goes_on = False
        for number, line in enumerate(self.lines, self.number):
            if goes_on:
                found[-1] = (found[-1][0], found[-1][1] + "\n" + line)
            elif line.strip():
                found.append((number, line))
            goes_on = line.endswith("\\")
        return found


def blocks(path):
    """The blocks of a Markdown document, indented or fenced."""
    found = []
    headings = []
    fence = None
    blank = True  # an indented block begins behind an empty line
    block = None
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        stripped = line.strip()
        if fence is not None:
            if stripped == "```":
                fence = block = None
            else:
                block.lines.append(line[fence:])
        elif stripped.startswith("```"):
            fence = len(line) - len(line.lstrip())
            block = Block(stripped[3:] or "text", list(headings), number + 1)
            found.append(block)
        elif line.startswith("    ") and (block or blank) and not re.match(r" {4,}[|-] ", line):
            if not block:
                block = Block("sh", list(headings), number)
                found.append(block)
            goes_on = block.lines and line.startswith(" " * 8)
            block.lines.append(line if goes_on else stripped)
        elif stripped:
            block = None
            if line.startswith("#"):
                level = len(line) - len(line.lstrip("#"))
                headings = headings[:level - 1] + [line.lstrip("# ")]
        blank = not stripped
    return found


def spans(path, beginning):
    """Code spans of a Markdown document that begin so, as (number, text)."""
    found = []
    indented = {number for block in blocks(path)
                for number in range(block.number, block.number + len(block.lines))}
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if number not in indented:
            found += [(number, text) for text in re.findall(r"`([^`]+)`", line)
                      if text.startswith(beginning)]
    return found


def chapter(path, number):
    """The heading of the second rank above a line."""
    lines = path.read_text(encoding="utf-8").splitlines()[:number]
    return next((line[3:] for line in reversed(lines) if line.startswith("## ")), "")


def manual_commands(path):
    """The lines of a manual page's examples, as (number, text), without troff's escapes."""
    found = []
    inside = False
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if line in (".EX", ".nf", ".EE", ".fi"):
            inside = line in (".EX", ".nf")
        elif inside:
            for escape, text in ((r"\-", "-"), (r"\(aq", "'"), (r"\(dq", '"'), (r"\e", "\\")):
                line = line.replace(escape, text)
            found.append((number, line))
    return found
