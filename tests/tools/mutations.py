"""Wrong edits: what may be changed in a C++ source so that a good test notices.

A mutation is (kind, line number from 0, old line, new line). Comments, directives, declarations of
names and compile-time checks are left alone; what stands in texts is changed only by the kind that
is meant for it.
"""

import itertools
import re
from typing import NamedTuple


class Mutation(NamedTuple):
    kind: str
    line: int
    old: str
    new: str


COMPARISONS = {
    "==": ["!="], "!=": ["=="],
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
}
RESULTS = ["kOk", "kFalse", "kFail", "kInvalidArgument", "kNullPointer", "kOutOfMemory",
           "kNoInterface", "kNotImplemented"]
# Statements that stand alone on their line: a call, a lock, an assignment to a member.
CALL = re.compile(r"^\s*(\(void\)\s*)?[A-Za-z_][\w:.>()*\[\]-]*\([^;{}]*\);\s*$")
LOCK = re.compile(r"^\s*(?:\w+::)*ScopedLock \w+\(.*\);\s*$")
STORE = re.compile(r"^\s*\*?[a-z][\w.>\[\]-]* [|&^+-]?= [^;{}]+;\s*$")
# An object at the margin that is there for what its constructor does.
RECORD = re.compile(r"^(?:\w+::)*[A-Z]\w+ \w+(?:\{.*\})?;\s*$")
# An entry of a table.
ENTRY = re.compile(r"^(\s+\.\w+ = )(.*?)(,?\s*)$")
# The numbers of a GUID: any others would name what it names just as well.
GUID = re.compile(r"0x\w{8}, 0x\w{4}, 0x\w{4}, \{")
DECLARES = re.compile(r"^\s*(#|//|using |namespace |template|static_assert|class |struct |enum "
                      r"|public:|private:|protected:|friend |extern )")


def blank_texts(line):
    """The line with what stands in quotes and behind // replaced by blanks of the same length."""
    out, quote, i = [], None, 0
    while i < len(line):
        c = line[i]
        if quote:
            step = 2 if c == "\\" else 1
            out.append(c if c == quote else " " * min(step, len(line) - i))
            quote = None if c == quote else quote
            i += step
            continue
        if line.startswith("//", i):
            out.append(" " * (len(line) - i))
            break
        if c in "\"'" and not (c == "'" and i and line[i - 1].isdigit()):
            quote = c
        out.append(c)
        i += 1
    return "".join(out)


def _replace(line, match, text):
    return line[:match.start()] + text + line[match.end():]


def _comparisons(line, code):
    for match in re.finditer(r"(?<=[\w)\]] )(==|!=|<=|>=|<|>)(?= [\w(*&!'\"-])", code):
        for other in COMPARISONS[match.group()]:
            yield "comparison", _replace(line, match, other)


def _logic(line, code):
    for match in re.finditer(r"(?<= )(&&|\|\|)(?= |$)", code):
        yield "logic", _replace(line, match, "||" if match.group() == "&&" else "&&")
    for match in re.finditer(r"\b(true|false)\b", code):
        yield "truth", _replace(line, match, "false" if match.group() == "true" else "true")


def _constants(line, code):
    for match in re.finditer(r"(?<![\w.'])(0x[0-9a-fA-F]+|\d+)(?=u?\b)(?!['.\w]*[x'])", code):
        value = int(match.group(), 0)
        yield "constant", _replace(line, match, str(value + 1))
        if value > 1:
            yield "constant", _replace(line, match, str(value - 1))


def _arithmetic(line, code):
    for match in re.finditer(r"(?<=[\w)\]] )([+-])(?= [\w(])", code):
        yield "arithmetic", _replace(line, match, "-" if match.group() == "+" else "+")
    for match in re.finditer(r"\+\+|--", code):
        yield "arithmetic", _replace(line, match, "--" if match.group() == "++" else "++")


def _conditions(line, code):
    match = re.match(r"^(\s*(?:\} else )?(?:if|while) )\((.*)\) \{\s*$", code)
    if match and ";" not in match.group(2):
        inner = line[match.start(2):match.end(2)]
        yield "condition", line[:match.start(2)] + f"!({inner})" + line[match.end(2):]


def _results(line, code):
    for match in re.finditer(r"\b(" + "|".join(RESULTS) + r")\b", code):
        other = "kFail" if match.group() != "kFail" else "kOk"
        yield "result", _replace(line, match, other)
        if match.group() not in ("kOk", "kFail"):
            yield "result", _replace(line, match, "kOk")


def _drops(line, code):
    if LOCK.match(code):
        yield "lock", ""
    elif CALL.match(code) and not code.lstrip().startswith(("return", "static_assert")):
        yield "call", ""
    elif STORE.match(code):
        yield "store", ""
    elif RECORD.match(code):
        yield "record", ""


def _texts(line, code):
    """A letter of a text that is traced or written changes."""
    for match in re.finditer(r'"( *)"', code):
        at = next((i for i in range(match.start(1), match.end(1)) if line[i].isalpha()
                   and line[i - 1] not in "%\\"), None)
        if at is not None:
            yield "text", line[:at] + ("x" if line[at] != "x" else "y") + line[at + 1:]


def _entry_of_another(line_above, line):
    """An entry has the value of the one above it."""
    above, here = ENTRY.match(line_above), ENTRY.match(line)
    if above and here:
        yield "entry", here.group(1) + above.group(2) + here.group(3)


EDITS = (_comparisons, _logic, _constants, _arithmetic, _conditions, _results, _drops, _texts)


def mutations_of(text):
    """Every mutation of a source, from its top to its end."""
    found = []
    inside_check = False
    lines = text.split("\n")
    for number, (line_above, line) in enumerate(zip(["", *lines], lines)):
        code = blank_texts(line)
        inside_check |= "static_assert" in code or "VEXA_SLOT" in code
        if inside_check:
            inside_check = ";" not in code
            continue
        if DECLARES.match(line) or GUID.search(code) or not code.strip():
            continue
        made = itertools.chain(_entry_of_another(line_above, line),
                               *(edit(line, code) for edit in EDITS))
        found.extend(Mutation(kind, number, line, new) for kind, new in made if new != line)
    return found
