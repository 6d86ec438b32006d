"""Signatures in the documents: a page says `<!-- slots of IURLParser -->`, and what stands between
that and `<!-- end of slots -->` is made from the headers."""

import re
import textwrap

from .model import Array, Function, Pointer
from .tokens import HeaderError

MARK = re.compile(r"<!-- slots of (\w+) -->\n.*?<!-- end of slots -->\n", re.S)
WIDTH = 96


def spelled(kind, name=""):
    """A declaration as C++ writes it, without namespaces."""
    if isinstance(kind, Pointer):
        return spelled(kind.to, ("*const " if kind.const else "*") + name)
    if isinstance(kind, Array):
        return spelled(kind.of, f"{name}[{kind.count}]")
    if isinstance(kind, Function):
        return f"{spelled(kind.result)} (*{name})({parameters(kind)})"
    text = ("const " if kind.const else "") + kind.name
    stars = re.match(r"\**", name)[0]
    return f"{text}{stars} {name[len(stars):]}".rstrip()


def parameters(function):
    parts = [spelled(p.type, p.name) for p in function.parameters]
    return ", ".join(parts + (["..."] if function.variadic else []))


def signature(name, function):
    return f"{spelled(function.result)} {name}({parameters(function)})"


def function_of(sdk, field):
    kind = sdk.aliases.get(getattr(field.type, "name", ""), field.type)
    return kind if isinstance(kind, Function) else None


def code_block(rows):
    """Rows (number, signature) as a listing."""
    lines = ["```cpp"]
    for number, text in rows:
        lines += wrapped(f"/* {number:2} */ {text};")
    return "\n".join([*lines, "```"]) + "\n"


def wrapped(text):
    """Lines that end behind a comma."""
    whole = text.replace(" ", "\0").replace(",\0", ", ")
    lines = textwrap.wrap(whole, WIDTH, subsequent_indent=" " * 13, break_long_words=False,
                          break_on_hyphens=False)
    return [line.replace("\0", " ") for line in lines]


def list_block(sdk, record):
    rows = []
    for number, field in enumerate(record.fields):
        rows.append((number, signature(field.name, function_of(sdk, field))))
    return code_block(rows)


def interface_block(interface):
    return code_block([(slot.number, signature(slot.name, slot.function))
                       for slot in interface.own_slots])


def table_block(sdk, record):
    """A table of the runtime: which slots, whose numbers, which types."""
    lines = ["| Slot | Operation | Number | Type |", "|---|---|---|---|"]
    fields = {field.name: field for field in record.fields}
    for name, (number, kind) in sorted(record.slots.items(), key=lambda item: item[1]):
        function = function_of(sdk, fields[name])
        text = (f"{spelled(function.result)}({parameters(function)})" if function
                else spelled(fields[name].type))
        lines.append(f"| {number} | `{name}` | {kind} | `{text}` |")
    return "\n".join(lines) + "\n"


def block(sdk, name):
    if name in sdk.list_names:
        return list_block(sdk, sdk.records[name])
    if name in sdk.interfaces:
        return interface_block(sdk.interfaces[name])
    if name in sdk.records:
        return table_block(sdk, sdk.records[name])
    raise HeaderError(f"a page wants the slots of {name}, which the headers do not have")


def replaced(text, sdk):
    """The text of a page with its slots made anew."""
    return MARK.sub(lambda match: f"<!-- slots of {match[1]} -->\n{block(sdk, match[1])}"
                                  "<!-- end of slots -->\n", text)


def named(text):
    return {match[1] for match in MARK.finditer(text)}
