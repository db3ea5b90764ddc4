"""What the C++ sources say, for tests that hold documents to them. Plain scanning, no compiler."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
SOURCE = ROOT / "src"

LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
ESCAPES = {"n": "\n", "t": "\t", "r": "\r"}

# Stands for what is not literal in a text that is built from pieces.
GAP = "\0"


def code_of(path):
    """A file's text without line comments and raw strings."""
    text = re.sub(r'R"\((.*?)\)"', '""', path.read_text(encoding="utf-8"), flags=re.DOTALL)
    return re.sub(r"(^|\s)//.*", "", text)


def source_files():
    return sorted(SOURCE.rglob("*.cpp"))


def unescaped(text):
    return re.sub(r"\\(.)", lambda match: ESCAPES.get(match[1], match[1]), text)


def literals(code):
    """Every string literal; adjacent ones are one."""
    joined = re.sub(r'(?<!\\)"\s*\n?\s*"(?=[^,;)\n])', "", code)
    return [unescaped(text) for text in LITERAL.findall(joined)]


def calls(code, name):
    """The argument lists of every call of `name`, as lists of expressions."""
    found = []
    for match in re.finditer(rf"\b{name}\(", code):
        arguments, depth, begin, at = [], 0, match.end(), match.end()
        while depth >= 0:
            if literal := LITERAL.match(code, at):
                at = literal.end()
                continue
            if code[at] in "([{":
                depth += 1
            elif code[at] in ")]}":
                depth -= 1
            if depth < 0 or (depth == 0 and code[at] == ","):
                arguments.append(code[begin:at].strip())
                begin = at + 1
            at += 1
        found.append(arguments)
    return found


def built_text(expression):
    """The text of an expression of literals and values; each value is a GAP."""
    text, at, in_value = "", 0, False
    while at < len(expression):
        if literal := LITERAL.match(expression, at):
            text += unescaped(literal[1])
            at, in_value = literal.end(), False
        else:
            if expression[at] not in " +\n" and not in_value:
                text += GAP
                in_value = True
            elif expression[at] == "+":
                in_value = False
            at += 1
    return re.sub(f"{GAP}+", GAP, text)


def command_files():
    """{command word: its source file}, in the order of the dispatcher's table."""
    dispatcher = code_of(SOURCE / "cli" / "dispatcher.cpp")
    table = re.search(r"allCommands\{\{(.*?)\}\};", dispatcher, re.DOTALL)[1]
    words = re.findall(r'\{"(\w+)", \w+\}', table)
    files = {path.stem: path for path in source_files()}
    return {word: files[f"{word}_command"] for word in words}


def option_names(code):
    return set(re.findall(r'\b(?:hasFlag|getOption)\("([^"]+)"', code))


def options_of(path, seen=None):
    """The options that a source file asks for, itself or in the services it includes."""
    seen = set() if seen is None else seen
    code = code_of(path)
    found = option_names(code)
    for included in re.findall(r'#include "([^"]+)\.h"', code):
        service = SOURCE / f"{included}.cpp"
        if included not in seen and service.exists():
            seen.add(included)
            found |= options_of(service, seen)
    return found


def general_options():
    """The options of every command, which the dispatcher reads: with their dashes, as one would
    write them. The short -h is stored as the flag help, and --h is never advertised."""
    names = option_names(code_of(SOURCE / "cli" / "dispatcher.cpp"))
    return {f"-{name}" if re.fullmatch("h|v+", name) else f"--{name}" for name in names}


def command_options():
    """{command word: its own options}, without the general ones."""
    return {
        word: {f"--{name}" for name in options_of(path)} - general_options()
        for word, path in command_files().items()
    }
