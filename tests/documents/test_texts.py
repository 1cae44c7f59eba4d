#!/usr/bin/python3
"""The texts of docs/INTERFACE.md are those of the program: none is missing, none is another.
SPDX-License-Identifier: MIT"""
import re
import sys
import unittest
from xml.etree import ElementTree

from document import INTERFACE, PROJECT, documented_texts, pieces

INTERFACE_XML = "com.corvane.Quorvix.QVXInterface.xml"

# What the source has besides: no answer of a method.
NO_ANSWERS = {
    # Log lines that go through a variable.
    " -- error type : facility config file corrupted -- Facility : ",
    " --error type : level value not an int -- Facility: ",
    " --error type : level value not exists -- Facility : ",
    " --error type : facility value is not an int -- Facility : ",
    "No config file for facility : ",
    "Files does not exists: ",
    "Impossible to read in Read/Write mode : ",
    "search facility ",
    "syncRemoteCall error : ",
    "syncRemotecall error : ",
    "[Method :readActivityInConfigFile] -- restoring of syslog-ng config file aborted",
    "Process operation timed out",
    "Resource error (fork failure): %1",
    "execvp: ",
    "it does not run",
    # Results of inner operations; what calls them answers with a text of its own.
    "No valid configuration file : ",
    "Can not create a new facility config file !",
    "sylog-ng config file restored",
    "[modify] -- file configuration access error",
    "[modify] --file configuration access error",
    "[initializeLevelDestination] -- file configuration access error",
    "[initializeLevelDestination] --file configuration access error",
    "No such an activity: ",
    "No such an activity ",
    # An answer without its last blank, to compare with.
    "All levels changed to err value",
    # What the files hold.
    "# BEGIN ",
    "# END",
    "destination d_",
    "; };\n",
    "); };",
    "\" port(",
    "facility signature field",
    "Only ",
    " lines in file : Defence.log \n",
    # In a cell of the table.
    "IP :",
    # Command lines.
    "syslog-ng -s -f ",
    " 2>&1",
    "tar -chzf /var/volatile/tmp/all_logs.tar.gz ",
    "/var/log /log /data/core",
    " && ln -sf /var/volatile/tmp/all_logs.tar.gz /www/pages/all_logs.tar.gz",
    # The end of a process, and of a call that no slot takes.
    "LoggerModule: no thread for background jobs: %s\n",
    "Adaptor::invokeMethod failed: %s",
    "Adaptor::invokeMethod failed: ",
}

STRING = r'"(?:\\.|[^"\\\n])*"'
TOKEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|^\s*#[^\n]*|R"re\(.*?\)re"'
    rf"|(?P<log>\blog(?:Error|Warning|Info|Debug)\s*\()|(?P<strings>{STRING}(?:\s*{STRING})*)"
    r"|'(?P<character>\\?.)'|(?P<open>\()|(?P<close>\))", re.DOTALL | re.MULTILINE)


def value(strings):
    """Of string literals that stand one behind the other."""
    text = "".join(part[1:-1] for part in re.findall(STRING, strings))
    return re.sub(r"\\(.)", lambda escape: {"n": "\n"}.get(escape[1], escape[1]), text)


def texts_of(source):
    """The string literals of a source, but for those that are only logged."""
    found = set()
    depth = 0  # parentheses within a call that logs
    for token in TOKEN.finditer(source):
        if token["log"] or (depth and token["open"]):
            depth += 1
        elif depth and token["close"]:
            depth -= 1
        elif not depth and token["strings"]:
            found.add(value(token["strings"]))
        elif not depth and token["character"]:
            found.add(token["character"])
    return found


def program_texts():
    found = set()
    for path in sorted((PROJECT / "src").glob("*/*.cpp")):
        found |= texts_of(path.read_text(encoding="utf-8"))
    return found


def is_built_from(text, parts):
    """Whether the text can be cut into some of the parts."""
    reachable = {0}
    for end in range(1, len(text) + 1):
        if any(part and text.endswith(part, 0, end) and end - len(part) in reachable
               for part in parts):
            reachable.add(end)
    return len(text) in reachable


class Texts(unittest.TestCase):
    def setUp(self):
        self.program = program_texts()
        self.documented = documented_texts()

    def test_source_is_read(self):
        source = 'x = "a b"\n  "c\\n"; logError(f(")") + "d e"); y("f g"); // "h i"\n'
        self.assertEqual(texts_of(source), {"a bc\n", "f g"})

    def test_every_method_is_documented(self):
        interface = ElementTree.parse(PROJECT / "data" / INTERFACE_XML).getroot()
        described = {(method.get("name"), tuple((arg.get("type"), arg.get("name")) for arg in method
                                                if arg.get("direction") == "in"))
                     for method in interface.iter("method")}
        text = INTERFACE.read_text(encoding="utf-8")
        documented = {(name, tuple(tuple(argument.split(" ")) for argument in arguments.split(", ")
                                   if argument))
                      for name, arguments in re.findall(r"^### (\w+)\((.*)\)$", text, re.MULTILINE)}
        record = re.search(r"one record `(.*?)`", text)[1]
        documented |= {(name, ((record, "setting"),))
                       for name in re.findall(r"\| `(logRemoteServer\w*)` \|", text)}
        self.assertEqual(documented, described)

    def test_every_documented_text_is_the_programs(self):
        self.assertGreater(len(self.documented), 50)
        for section, text in self.documented:
            for piece in pieces(text):
                with self.subTest(section=section, text=text):
                    self.assertTrue(is_built_from(piece, self.program), f"{piece!r} is not in src/")

    def test_every_text_of_the_program_is_documented(self):
        documented = [piece for _, text in self.documented for piece in pieces(text)]
        for text in sorted(self.program - NO_ANSWERS):
            # A text without a blank or a lone mark is a name, a key or a separator.
            if " " not in text or not re.search("[A-Za-z]", text):
                continue
            with self.subTest(text=text):
                self.assertTrue(any(text in piece for piece in documented),
                                f"{text!r} is not in INTERFACE.md")

    def test_exceptions_are_the_programs(self):
        self.assertEqual(NO_ANSWERS - self.program, set())


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    unittest.main()
