"""vexabase.h: the binary interface for C and whoever reads C."""

import re

from .layout import Layout
from .model import Array, Function, Plain, Pointer, Union

HEAD = """\
/* The binary interface of vexabase {version} for C11. Made from the C++ headers by the build; do not edit.
 *
 * A function list and a table of the runtime are records of function pointers. An object begins with
 * the address of its table, and every slot takes the object first:
 *
 *   object->table->SetInteger(object, "port", 443);
 *
 * What each slot does, its results and who owns what stands in the C++ header named beside it.
 */
#ifndef VEXABASE_H
#define VEXABASE_H

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#define VEXA_ASSERT _Static_assert
#else
#define VEXA_ASSERT static_assert
extern "C" {{
#endif
"""
TAIL = """
#undef VEXA_ASSERT
#ifdef __cplusplus
}
#endif
#endif
"""
C_TYPES = {"bool", "char", "char16_t", "int", "int8_t", "int16_t", "int32_t", "int64_t", "uint8_t",
           "uint16_t", "uint32_t", "uint64_t", "uintptr_t", "size_t", "void", "va_list"}


def upper(name):
    """kMoreNeeded and IID_IURLParser as VEXA_MORE_NEEDED and VEXA_IID_IURLPARSER."""
    name = re.sub(r"^k(?=[A-Z])", "", name)
    words = re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name)
    return "VEXA_" + words.upper()


class CHeader:
    def __init__(self, sdk, version):
        self.sdk, self.version, self.layout = sdk, version, Layout(sdk)
        self.lines = []

    # --- Types ---

    def name(self, name):
        if name in C_TYPES:
            return name
        return name if name.startswith(("vexa_", "Velmora")) else f"vexa_{name}"

    def declare(self, kind, name):
        """A declaration of `name`, as C writes it."""
        if isinstance(kind, Pointer):
            inner = ("*const " if kind.const else "*") + name
            return self.declare(kind.to, inner)
        if isinstance(kind, Array):
            return self.declare(kind.of, f"{name}[{kind.count}]")
        if isinstance(kind, Function):
            return self.declare(kind.result, f"(*{name})({self.parameters(kind)})")
        const = "const " if kind.const else ""
        return f"{const}{self.name(kind.name)} {name}".rstrip()

    def parameters(self, function, first=()):
        parts = list(first)
        parts += [self.declare(p.type, p.name) for p in function.parameters]
        parts += ["..."] if function.variadic else []
        return ", ".join(parts) or "void"

    # --- Parts of the header ---

    def write(self):
        self.lines = [HEAD.format(version=self.version)]
        self.forward()
        self.aliases()
        self.constants()
        self.records()
        self.interfaces()
        self.module()
        self.lines.append(TAIL)
        return "\n".join(self.lines)

    def forward(self):
        names = {*self.sdk.opaque, *self.sdk.records, *self.sdk.interfaces}
        for name in sorted(names):
            self.lines.append(f"typedef struct {self.name(name)} {self.name(name)};")
        for enum in self.sdk.enums.values():
            self.lines.append(f"typedef {enum.type} {self.name(enum.name)};")

    def aliases(self):
        self.lines.append("")
        for name, kind in self.sdk.aliases.items():
            self.lines.append(f"typedef {self.declare(kind, self.name(name))};")

    def constants(self):
        self.lines.append("")
        for name, (kind, value) in self.sdk.numbers.items():
            suffix = "u" if kind.startswith("uint") else ""
            if kind == "int32_t" and value < 0:
                text = f"((int32_t)0x{value & 0xFFFFFFFF:08X}u)"
            else:
                text = f"(({kind}){value}{'l' * 2 if value > 2**31 else ''}{suffix})"
            self.lines.append(f"#define {upper(name)} {text}")
        for enum in self.sdk.enums.values():
            self.lines.append(f"/* {enum.name}, {enum.header} */")
            for key, value in enum.values.items():
                self.lines.append(f"#define {upper(key)} (({enum.type}){value}u)")
        for name, text in self.sdk.texts.items():
            self.lines.append(f'#define {upper(name)} "{text}"')

    def ordered(self):
        """Records, those that are part of others first."""
        done = []

        def visit(record):
            if record in done:
                return
            for field in record.fields:
                for needed in by_value(field.type):
                    if needed in self.sdk.records:
                        visit(self.sdk.records[needed])
            done.append(record)

        for record in self.sdk.records.values():
            visit(record)
        return done

    def records(self):
        for record in self.ordered():
            name = self.name(record.name)
            self.lines.append(f"\n/* {record.header} */\nstruct {name} {{")
            self.fields(record.fields, "  ")
            self.lines.append("};")
            size, _, fields = self.layout.record(record)
            self.lines.append(f'VEXA_ASSERT(sizeof({name}) == {size}, "{name}");')
            for offset, field in fields:
                if field.name:
                    self.lines.append(f"VEXA_ASSERT(offsetof({name}, {field.name}) == {offset}, "
                                      f'"{name}.{field.name}");')

    def fields(self, fields, indent):
        for field in fields:
            if isinstance(field.type, Union):
                self.lines.append(indent + "union {")
                self.fields(field.type.members, indent + "  ")
                self.lines.append(indent + "};")
            else:
                self.lines.append(f"{indent}{self.declare(field.type, field.name)};")

    def interfaces(self):
        self.lines.append("")
        for name, values in self.sdk.guids.items():
            self.lines.append(f"static const vexa_Guid {name.replace('IID_', 'vexa_IID_')} = "
                              f"{{0x{values[0]:08X}u, 0x{values[1]:04X}, 0x{values[2]:04X}, "
                              f"{{{', '.join(f'0x{v:02X}' for v in values[3:])}}}}};")
        for interface in self.sdk.interfaces.values():
            name = self.name(interface.name)
            self.lines.append(f"\n/* {interface.header} */")
            self.lines.append(f"typedef struct {name}_Table {{")
            slots = self.sdk.slots(interface)
            for slot in slots:
                parameters = self.parameters(slot.function, [f"{name}* self"])
                declared = self.declare(slot.function.result, f"(*{slot.name})({parameters})")
                self.lines.append(f"  {declared};")
            self.lines.append(f"}} {name}_Table;")
            self.lines.append(f"struct {name} {{\n  const {name}_Table* table;\n}};")
            self.lines.append(f'VEXA_ASSERT(sizeof({name}_Table) == {8 * len(slots)}, "{name}");')

    def module(self):
        self.lines.append("\n/* Exports of the reference runtime, found by name. */")
        for name, (function, _) in self.sdk.functions.items():
            declared = self.declare(function, f"{name}_function")
            self.lines.append(f"typedef {declared};")


def by_value(kind):
    if isinstance(kind, Plain):
        return [kind.name]
    if isinstance(kind, Array):
        return by_value(kind.of)
    if isinstance(kind, Union):
        return [name for member in kind.members for name in by_value(member.type)]
    return []
