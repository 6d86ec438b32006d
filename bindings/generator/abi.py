"""The binary interface as plain data, and what may become of it."""

from .c_header import CHeader
from .layout import Layout
from .model import Union


def describe(sdk, version):
    """Everything that a host compiled against these headers relies on."""
    c, layout = CHeader(sdk, version), Layout(sdk)

    def fields(record):
        size, _, placed = layout.record(record)
        rows = {}
        for offset, field in placed:
            members = field.type.members if isinstance(field.type, Union) else [field]
            for member in members:
                rows[member.name] = [offset, c.declare(member.type, "").strip()]
        return {"size": size, "fields": rows}

    def signature(function):
        parameters = [c.declare(p.type, "").strip() for p in function.parameters]
        parameters += ["..."] if function.variadic else []
        return f"{c.declare(function.result, '').strip()}({', '.join(parameters)})"

    return {
        "version": version,
        "numbers": {name: value for name, (_, value) in sdk.numbers.items()},
        "enums": {name: enum.values for name, enum in sdk.enums.items()},
        "texts": dict(sdk.texts),
        "identifiers": {name: "".join(f"{v:0{w}x}" for v, w in zip(values, [8, 4, 4] + [2] * 8))
                        for name, values in sdk.guids.items()},
        "types": {name: c.declare(kind, "").strip() for name, kind in sdk.aliases.items()},
        "records": {name: fields(record) for name, record in sdk.records.items()},
        "interfaces": {name: [f"{slot.name} {signature(slot.function)}"
                              for slot in sdk.slots(interface)]
                       for name, interface in sdk.interfaces.items()},
        "lists": dict(sdk.list_names),
        "tables": {name: list(value) for name, value in sdk.table_names.items()},
        "classes": {name: list(value) for name, value in sdk.class_names.items()},
        "exports": {name: signature(function) for name, (function, _) in sdk.functions.items()},
    }


# The module calls these, so an older host's would lack a new slot.
IMPLEMENTED_BY_HOSTS = {"IHashTableHelper", "IHashTableHelperKey"}


def breaks(old, new):
    """What of `old` a host may rely on and `new` no longer keeps. Additions are no breaks: a new
    name anywhere, a slot behind the last one of a function list or of an interface that the module
    implements."""
    problems = []
    for part in ("numbers", "texts", "identifiers", "types", "lists", "tables", "classes",
                 "exports"):
        for name, value in old[part].items():
            compare(problems, f"{part} {name}", value, new[part].get(name))
    for name, values in old["enums"].items():
        for key, value in values.items():
            compare(problems, f"{name}::{key}", value, new["enums"].get(name, {}).get(key))
    for name, slots in old["interfaces"].items():
        now = new["interfaces"].get(name, [])
        for number, slot in enumerate(slots):
            compare(problems, f"{name} slot {number}", slot,
                    now[number] if number < len(now) else None)
        if name in IMPLEMENTED_BY_HOSTS and len(now) > len(slots):
            problems.append(f"{name}: hosts implement it, and it has a new slot")
    for name, record in old["records"].items():
        compare_record(problems, name, record, new["records"].get(name),
                       grows=name in old["lists"])
    return problems


def compare_record(problems, name, old, new, grows):
    """A record that a host may hold or fill keeps its size; a function list may grow."""
    if new is None:
        problems.append(f"record {name} is gone")
        return
    for field, place in old["fields"].items():
        compare(problems, f"{name}.{field}", place, new["fields"].get(field))
    if new["size"] != old["size"] and not (grows and new["size"] > old["size"]):
        problems.append(f"record {name}: size was {old['size']}, is {new['size']}")


def compare(problems, what, old, new):
    if new is None:
        problems.append(f"{what} is gone")
    elif old != new:
        problems.append(f"{what}: was {old}, is {new}")
