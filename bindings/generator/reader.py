"""Reads the headers of the SDK strictly: what is not understood is an error, so that nothing that
was added to a header can be missing from what is made of it."""

import re

from .model import (Array, Enum, Field, Function, Interface, Parameter, Plain, Pointer, Record, Sdk,
                    Slot, Union)
from .tokens import HeaderError, Token, tokenize

# Helpers for C++ hosts: they declare nothing of the binary interface.
HELPERS = {"traits.h", "table_traits.h", "shared_library.h", "all.h", "host.h", "holders.h"}
SLOT_MACROS = {"VEXA_SLOT": "own", "VEXA_FIXED_SLOT": "fixed", "VEXA_OUR_SLOT": "assigned"}


class Reader:
    def __init__(self, sdk, path, header):
        self.sdk, self.path, self.header = sdk, path, header
        self.tokens = [t for t in tokenize(path) if t.kind != "directive"]
        self.at = 0
        self.comment = ""

    # --- Tokens ---

    def fail(self, what):
        raise HeaderError(f"{self.path}:{self.tokens[self.at].line}: {what}")

    def peek(self, ahead=0):
        """The next token that is no comment."""
        at = self.at
        while True:
            while self.tokens[at].kind == "comment":
                at += 1
            if ahead == 0:
                return self.tokens[at]
            ahead -= 1
            at += 1

    def next(self):
        while self.tokens[self.at].kind == "comment":
            self.at += 1
        token = self.tokens[self.at]
        if token.kind == "end":
            self.fail("the header ends too early")
        self.at += 1
        return token

    def take(self, text):
        if self.peek().text == text:
            self.next()
            return True
        return False

    def expect(self, text):
        if not self.take(text):
            self.fail(f"expected {text!r}, found {self.peek().text!r}")

    def name(self):
        token = self.next()
        if token.kind != "name":
            self.fail(f"expected a name, found {token.text!r}")
        return token.text

    def leading_comment(self):
        """The comment lines right above the next token."""
        lines = []
        while self.tokens[self.at].kind == "comment":
            token = self.tokens[self.at]
            if lines and token.line != lines[-1].line + 1:
                lines = []
            lines.append(token)
            self.at += 1
        if lines and self.tokens[self.at].line != lines[-1].line + 1:
            lines = []
        return join(lines)

    def trailing_comment(self):
        """The comment behind the last token, on the same line and those below it."""
        lines, line = [], self.tokens[self.at - 1].line
        while self.tokens[self.at].kind == "comment" and self.tokens[self.at].line == line:
            lines.append(self.tokens[self.at])
            self.at += 1
            line += 1
            break
        return join(lines)

    def skip_braces(self):
        """Reads over a body in braces."""
        depth = 0
        while True:
            text = self.next().text
            depth += (text == "{") - (text == "}")
            if depth == 0 and text == "}":
                return

    def skip_statement(self):
        while self.next().text != ";":
            pass

    # --- Types ---

    def qualified(self):
        text = self.name()
        while self.take("::"):
            text = self.name()  # names are unique without their namespaces
        return text

    def plain_type(self):
        const = self.take("const")
        if self.peek().text == "std":
            for part in ("std", "::", "array", "<"):
                self.expect(part)
            of = Plain(self.name())
            self.expect(",")
            count = int(self.next().text)
            self.expect(">")
            return Array(of, count)
        return Plain(self.qualified(), const)

    def type(self):
        result = self.plain_type()
        while self.take("*"):
            result = Pointer(result, self.take("const"))
        return result

    def parameters(self):
        """After "(": parameters up to ")"."""
        parameters, variadic = [], False
        while not self.take(")"):
            if self.take("..."):
                variadic = True
            else:
                kind = self.type()
                name = self.name() if self.peek().kind == "name" else ""
                parameters.append(Parameter(kind, name))
            if not self.take(",") and self.peek().text != ")":
                self.fail(f"expected , or ) after a parameter, found {self.peek().text!r}")
        return parameters, variadic

    def declarator(self):
        """`type name;`, `type name[n];`, `type (*name)(parameters);`"""
        kind = self.type()
        if self.take("("):
            self.expect("*")
            name = "" if self.peek().text == ")" else self.name()
            self.expect(")")
            self.expect("(")
            parameters, variadic = self.parameters()
            return name, Function(kind, parameters, variadic)
        name = self.name()
        if self.take("["):
            kind = Array(kind, self.number())
            self.expect("]")
        return name, kind

    # --- Values ---

    def number(self):
        """A number, a known constant, or an operation on them."""
        value = self.operand()
        while self.peek().text in ("|", "+", "*", "<<"):
            sign = self.next().text
            other = self.operand()
            value = {"|": value | other, "+": value + other, "*": value * other,
                     "<<": value << other}[sign]
        return value

    def operand(self):
        if self.take("~"):
            return ~self.operand() & 0xFFFFFFFFFFFFFFFF
        if self.take("("):
            value = self.number()
            self.expect(")")
            return value
        token = self.next()
        if token.kind == "number":
            return int(token.text.rstrip("uU"), 0)
        if token.text == "resultFrom":
            self.expect("(")
            value = self.number()
            self.expect(")")
            return value - 2**32 if value >= 2**31 else value
        if token.text in ("uint64_t", "uint32_t") and self.take("{"):
            value = self.number()
            self.expect("}")
            return value
        if token.text in self.sdk.numbers:
            return self.sdk.numbers[token.text][1]
        for enum in [*self.sdk.enums.values(), self.open_enum]:
            if enum is not None and token.text in enum.values:
                return enum.values[token.text]
        return self.fail(f"unknown value {token.text!r}")

    open_enum = None

    # --- Declarations ---

    def read(self):
        while self.peek().kind != "end":
            self.declaration()

    def declaration(self):
        comment = self.leading_comment()
        token = self.peek()
        if token.text == "namespace":
            self.next()
            self.qualified()
            self.expect("{")
            self.body()
        elif token.text == "extern":
            self.next()
            if self.next().text != '"C"':
                self.fail('only extern "C" is known')
            self.expect("{")
            self.body()
        elif token.text == "static_assert":
            self.skip_statement()
        elif token.text in SLOT_MACROS:
            self.slot_macro()
        elif token.text == "VELMORA_EXPORT":
            self.export(comment)
        elif token.text == "enum":
            self.enum()
        elif token.text == "using":
            self.alias()
        elif token.text in ("struct", "class"):
            self.structure(comment)
        elif token.text == "template":
            self.traits()
        elif token.text in ("inline", "constexpr"):
            self.constant()
        else:
            self.fail(f"a declaration that is not known: {token.text!r}")

    def body(self):
        while not self.take("}"):
            self.declaration()

    def slot_macro(self):
        kind = SLOT_MACROS[self.name()]
        self.expect("(")
        record = self.name()
        self.expect(",")
        member = self.name()
        self.expect(",")
        number = self.number()
        self.expect(")")
        self.expect(";")
        self.sdk.records[record].slots[member] = (number, kind)

    def export(self, comment):
        self.next()
        result = self.type()
        name = self.name()
        self.expect("(")
        parameters, variadic = self.parameters()
        self.expect(";")
        self.sdk.functions[name] = (Function(result, parameters, variadic), comment)

    def enum(self):
        self.expect("enum")
        name = self.name()
        self.expect(":")
        enum = self.open_enum = Enum(name, self.name(), {}, self.header)
        self.expect("{")
        following = 0
        while not self.take("}"):
            key = self.name()
            value = self.number() if self.take("=") else following
            enum.values[key] = value
            following = value + 1
            if not self.take(",") and self.peek().text != "}":
                self.fail("expected , or } in an enumeration")
        self.expect(";")
        self.open_enum = None
        self.add(self.sdk.enums, name, enum)

    def alias(self):
        self.expect("using")
        name = self.name()
        self.expect("=")
        saved = self.at
        kind = self.type()
        if self.take("("):
            self.at = saved
            _, kind = self.declarator()
        self.expect(";")
        self.add(self.sdk.aliases, name, kind)

    def constant(self):
        self.take("inline")
        self.expect("constexpr")
        kind = self.type()
        name = self.name()
        if self.peek().text == "(":  # an inline function
            while self.peek().text != "{":
                self.next()
            self.skip_braces()
            return
        if kind == Plain("Guid"):
            self.add(self.sdk.guids, name, self.guid())
        elif self.take("["):
            self.expect("]")
            self.expect("=")
            self.add(self.sdk.texts, name, self.next().text[1:-1])
        else:
            self.expect("=")
            self.add(self.sdk.numbers, name, (kind.name, self.number()))
        self.expect(";")

    def guid(self):
        self.expect("{")
        values = []
        while not self.take("}"):
            if self.take("{"):
                while not self.take("}"):
                    values.append(self.number())
                    self.take(",")
            else:
                values.append(self.number())
            self.take(",")
        if len(values) != 11:
            self.fail(f"an identifier has 11 numbers, not {len(values)}")
        return values

    def structure(self, comment):
        keyword = self.name()
        name = self.name()
        if self.take(";"):
            self.sdk.opaque.setdefault(name, self.header)
        elif keyword == "class":
            self.interface(name, comment)
        else:
            self.expect("{")
            record = Record(name, self.members(), self.header, comment)
            self.expect(";")
            self.add(self.sdk.records, name, record)

    def members(self):
        fields = []
        while not self.take("}"):
            comment = self.leading_comment()
            if self.take("union"):
                self.expect("{")
                members = self.members()
                self.expect(";")
                fields.append(Field("", Union(members)))
                continue
            if self.peek().text == "friend":
                while self.peek().text != "{":
                    self.next()
                self.skip_braces()
                continue
            name, kind = self.declarator()
            self.expect(";")
            fields.append(Field(name, kind, comment or self.trailing_comment()))
        return fields

    def traits(self):
        for part in ("template", "<", ">", "struct"):
            self.expect(part)
        trait = self.name()
        self.expect("<")
        of = self.name()
        self.expect(">")
        self.expect("{")
        members = {}
        while not self.take("}"):
            for part in ("static", "constexpr"):
                self.expect(part)
            self.type()
            name = self.name()
            if self.take("["):
                self.expect("]")
                self.expect("=")
                members[name] = self.slot_names()
            else:
                self.expect("=")
                members[name] = self.next().text
            self.expect(";")
        self.expect(";")
        self.apply_trait(trait, of, members)

    def slot_names(self):
        """Rows VEXA_LIST_SLOT(list, member, number)."""
        rows = {}
        self.expect("{")
        while not self.take("}"):
            self.expect("VEXA_LIST_SLOT")
            self.expect("(")
            self.name()
            self.expect(",")
            member = self.name()
            self.expect(",")
            rows[member] = (self.number(), "own")
            self.expect(")")
            self.take(",")
        return rows

    def apply_trait(self, trait, of, members):
        if trait == "ListTraits":
            self.sdk.list_names[of] = self.sdk.texts[members["kName"]]
            self.sdk.records[of].slots = members["kSlots"]
        elif trait == "TableTraits":
            component = members["kComponent"]
            self.sdk.table_names[of] = (
                None if component == "nullptr" else self.sdk.texts[component],
                self.sdk.texts[members["kName"]])
        elif trait == "ClassTraits":
            self.sdk.class_names[of] = (self.sdk.texts[members["kName"]],
                                        members["kIsSingleton"] == "true")
        elif trait == "InterfaceTraits":
            self.sdk.interface_ids[of] = members["kId"]
        else:
            self.fail(f"a trait that is not known: {trait}")

    # --- Interfaces ---

    def interface(self, name, comment):
        base = ""
        if self.take(":"):
            self.expect("public")
            base = self.name()
        interface = Interface(name, base, [], self.header, comment)
        first = len(self.sdk.slots(self.sdk.interfaces[base])) if base else 0
        self.expect("{")
        self.expect("public")
        self.expect(":")
        stated = []  # numbers that the last comment gave and no slot has taken yet
        while not self.take("protected"):
            comment = self.leading_comment()
            if self.peek().text == "enum":
                self.enum()
            elif self.peek().text == "virtual":
                slot = self.virtual(comment)
                stated = numbers_in(slot.comment) or stated
                slot.number = first + len(interface.own_slots)
                if not stated or stated.pop(0) != slot.number:
                    self.fail(f"{name}::{slot.name} is in slot {slot.number}; its comment says not")
                interface.own_slots.append(slot)
            else:  # a helper that is no slot
                while self.peek().text != "{":
                    self.next()
                self.skip_braces()
        for part in (":", "~", name, "(", ")", "=", "default", ";"):
            self.expect(part)
        self.expect("}")
        self.expect(";")
        self.add(self.sdk.interfaces, name, interface)

    def virtual(self, comment):
        self.expect("virtual")
        result = self.type()
        name = self.name()
        self.expect("(")
        parameters, variadic = self.parameters()
        for part in ("=", "0", ";"):
            self.expect(part)
        return Slot(name, 0, Function(result, parameters, variadic),
                    comment or self.trailing_comment())

    def add(self, where, name, value):
        if name in where:
            self.fail(f"{name} is declared twice")
        where[name] = value


def join(tokens):
    return "\n".join(token.text[2:].removeprefix(" ") for token in tokens)


def numbers_in(comment):
    """"Slot 3." gives [3], "Slots 11 and 12." [11, 12], "Slots 6 to 12." all seven."""
    match = re.search(r"\b[Ss]lots? (\d+)(?: (and|to) (\d+))?", comment)
    if match is None:
        return []
    first, last = int(match[1]), int(match[3] or match[1])
    return list(range(first, last + 1))


def includes(path):
    return re.findall(r'^#include "(vexa/[^"]+)"', path.read_text(encoding="utf-8"), re.M)


def read_sdk(root):
    """The model of all headers below `root`, the folder that holds vexa/."""
    sdk, done = Sdk(), set()

    def visit(header):
        if header in done:
            return
        done.add(header)
        path = root / header
        if path.name in HELPERS:
            return
        for needed in includes(path):
            visit(needed)
        Reader(sdk, path, header).read()

    for path in sorted((root / "vexa").rglob("*.h")):
        visit(path.relative_to(root).as_posix())
    return sdk
