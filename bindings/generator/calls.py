"""A C++ source that calls every function of the SDK and holds every layout against the model: it
shows that the headers compile, and mean the same, beside other headers and with other compilers."""

from .layout import Layout
from .model import Array, Function, Plain, Pointer, Union

C_TYPES = {"bool", "char", "char16_t", "int", "void", "va_list"}


class Calls:
    def __init__(self, sdk):
        self.sdk, self.layout = sdk, Layout(sdk)
        self.homes = {record.name: record.header for record in sdk.records.values()}
        self.homes.update({one.name: one.header for one in sdk.interfaces.values()})
        self.homes.update(sdk.opaque)

    def qualified(self, name):
        home = self.homes.get(name)
        if name in C_TYPES or name.endswith("_t") or name.startswith("Velmora"):
            return name
        if name in self.sdk.aliases and name in self.runtime_aliases:
            return f"vexa::runtime::{name}"
        if home is not None and home.startswith("vexa/runtime/"):
            return f"vexa::runtime::{name}"
        return f"vexa::{name}"

    # Aliases have no header in the model; those that name a record of the runtime live there.
    runtime_aliases = {"Reserved", "CertificateSlot", "CertificateSetter", "GetRootListFunction"}

    def declare(self, kind, name=""):
        if isinstance(kind, Pointer):
            return self.declare(kind.to, ("*const " if kind.const else "*") + name)
        if isinstance(kind, Array):
            return self.declare(kind.of, f"(&{name})[{kind.count}]")
        if isinstance(kind, Function):
            parameters = [self.declare(p.type) for p in kind.parameters]
            parameters += ["..."] if kind.variadic else []
            return self.declare(kind.result, f"(*{name})({', '.join(parameters)})")
        const = "const " if kind.const else ""
        return f"{const}{self.qualified(kind.name)} {name}".rstrip()

    def call(self, number, what, receiver, function):
        """A function that hands its arguments to one slot."""
        names = [f"a{i}" for i in range(len(function.parameters))]
        declared = [receiver] + [self.declare(p.type, name)
                                 for p, name in zip(function.parameters, names)]
        result = self.declare(function.result)
        back = "" if function.result == Plain("void") else "return "
        return (f"{result} call{number}({', '.join(declared)});\n"
                f"{result} call{number}({', '.join(declared)}) {{\n"
                f"  {back}{what}({', '.join(names)});\n}}\n")

    def write(self):
        headers = sorted(set(self.homes.values()) | {"vexa/all.h"})
        lines = [f'#include "{header}"' for header in headers]
        includes = "\n".join(lines)
        parts = [
            "#ifdef WINDOWS_FIRST\n#include <windows.h>\n#include <objbase.h>\n#endif",
            includes,
            "#ifdef WINDOWS_LAST\n#include <windows.h>\n#include <objbase.h>\n#endif",
            "using namespace vexa;",
            "#if defined(WINDOWS_FIRST) || defined(WINDOWS_LAST)\n"
            "IUnknown* theUnknownOfWindows = nullptr;\n"
            "const IID* itsIdentifier = &IID_IUnknown;\n#endif",
        ]
        parts += self.layouts()
        number = 0
        for interface in self.sdk.interfaces.values():
            for slot in interface.own_slots:
                parts.append(self.call(number, f"object.{slot.name}",
                                       f"{self.qualified(interface.name)}& object", slot.function))
                number += 1
        for record in self.sdk.records.values():
            for field in record.fields:
                function = self.sdk.aliases.get(getattr(field.type, "name", ""), field.type)
                if isinstance(function, Function) and not function.variadic:
                    parts.append(self.call(number, f"table.{field.name}",
                                           f"const {self.qualified(record.name)}& table",
                                           function))
                    number += 1
        return "\n".join(parts) + "\n"

    def layouts(self):
        """Sizes and offsets as the generator computes them."""
        lines = []
        for record in self.sdk.records.values():
            name = self.qualified(record.name)
            size, _, fields = self.layout.record(record)
            lines.append(f'static_assert(sizeof({name}) == {size}, "{name}");')
            for offset, field in fields:
                members = field.type.members if isinstance(field.type, Union) else [field]
                for member in members:
                    lines.append(f"static_assert(offsetof({name}, {member.name}) == {offset}, "
                                 f'"{name}::{member.name}");')
        return lines
