"""The slots that vexabase.py calls, as the block of Python that stands in it."""

from .model import Array, Function, Plain, Pointer

BEGIN = "# --- Made from the headers (./dev build native renew); not edited by hand. ---\n"
END = "# --- End of what is made from the headers. ---\n"
CODES = {"void": "v", "bool": "?", "int8_t": "b", "uint8_t": "B", "int32_t": "i", "uint32_t": "I",
         "int64_t": "q", "uint64_t": "Q", "uintptr_t": "Q"}
TABLES = ("RootList", "CommonTypes", "StringTable", "CertificateTable", "ObjectHeader")


def code(kind):
    if isinstance(kind, Pointer):
        return "z" if kind.to == Plain("char", True) else "p"
    return CODES[kind.name] if isinstance(kind, Plain) and kind.name in CODES else "p"


def signature(function):
    return code(function.result) + "(" + "".join(code(p.type) for p in function.parameters) + ")"


def table_slots(sdk, record):
    """(number, name, signature) of a record of function pointers."""
    rows, number = [], 0
    for field in record.fields:
        function = sdk.aliases.get(getattr(field.type, "name", ""), field.type)
        if isinstance(function, Function):
            rows.append((number, field.name, signature(function)))
        if isinstance(field.type, Array):
            number += field.type.count
        elif field.type == Plain("ObjectHeader"):
            number += 7
        else:
            number += 1
    return rows


def block(sdk):
    lines = [BEGIN, "_SLOTS: Dict[str, Dict[str, Tuple[int, str]]] = {\n"]

    def rows(name, slots):
        lines.append(f'    "{name}": {{\n')
        for number, slot, types in slots:
            lines.append(f'        "{slot}": ({number}, "{types}"),\n')
        lines.append("    },\n")

    for name in [*sdk.list_names, *TABLES]:
        rows(name, table_slots(sdk, sdk.records[name]))
    for interface in sdk.interfaces.values():
        # The object itself comes first.
        rows(interface.name, [(slot.number, slot.name, signature(slot.function).replace("(", "(p", 1))
                              for slot in sdk.slots(interface)])
    lines.append("}\n_LIST_NAMES: Dict[str, str] = {\n")
    lines += [f'    "{record}": "{name}",\n' for record, name in sdk.list_names.items()]
    lines.append("}\n_CLASSES: Dict[str, Tuple[str, str]] = {\n")
    for interface, (name, _) in sdk.class_names.items():
        lines.append(f'    "{interface}": ("{name}", "{guid_text(sdk, interface)}"),\n')
    lines += ["}\n", END]
    return "".join(lines)


def guid_text(sdk, interface):
    values = sdk.guids[sdk.interface_ids[interface]]
    tail = "".join(f"{value:02x}" for value in values[3:])
    return f"{values[0]:08x}-{values[1]:04x}-{values[2]:04x}-{tail[:4]}-{tail[4:]}"


def replaced(text, sdk):
    """The text of vexabase.py with its block made anew."""
    start, end = text.index(BEGIN), text.index(END) + len(END)
    return text[:start] + block(sdk) + text[end:]
