"""What the headers of the SDK declare."""

import dataclasses


@dataclasses.dataclass
class Parameter:
    type: object
    name: str  # empty when the header gives none


@dataclasses.dataclass(frozen=True)
class Plain:
    """A type by its name: uint32_t, char, runtime::ByteBuffer (without its namespaces)."""

    name: str
    const: bool = False


@dataclasses.dataclass(frozen=True)
class Pointer:
    to: object
    const: bool = False


@dataclasses.dataclass
class Function:
    """The type of a function pointer, or of a slot of an interface."""

    result: object
    parameters: list
    variadic: bool = False


@dataclasses.dataclass
class Array:
    of: object
    count: int


@dataclasses.dataclass
class Union:
    members: list


@dataclasses.dataclass
class Field:
    name: str
    type: object
    comment: str = ""


@dataclasses.dataclass
class Record:
    """A plain record or a table of functions."""

    name: str
    fields: list
    header: str
    comment: str = ""
    slots: dict = dataclasses.field(default_factory=dict)  # number by name, as asserted


@dataclasses.dataclass
class Slot:
    name: str
    number: int
    function: Function
    comment: str


@dataclasses.dataclass
class Interface:
    name: str
    base: str  # empty for one of its own
    own_slots: list
    header: str
    comment: str = ""


@dataclasses.dataclass
class Enum:
    name: str
    type: str
    values: dict
    header: str


@dataclasses.dataclass
class Sdk:
    records: dict = dataclasses.field(default_factory=dict)
    interfaces: dict = dataclasses.field(default_factory=dict)
    enums: dict = dataclasses.field(default_factory=dict)
    aliases: dict = dataclasses.field(default_factory=dict)  # name: type
    numbers: dict = dataclasses.field(default_factory=dict)  # name: (type, value)
    texts: dict = dataclasses.field(default_factory=dict)
    guids: dict = dataclasses.field(default_factory=dict)
    functions: dict = dataclasses.field(default_factory=dict)  # exports of the reference runtime
    opaque: dict = dataclasses.field(default_factory=dict)  # name: header
    list_names: dict = dataclasses.field(default_factory=dict)  # of a list's record
    table_names: dict = dataclasses.field(default_factory=dict)  # component and name of a table
    class_names: dict = dataclasses.field(default_factory=dict)  # name and kind of a class
    interface_ids: dict = dataclasses.field(default_factory=dict)

    def slots(self, interface):
        """All slots of an interface, those of its bases first."""
        base = self.slots(self.interfaces[interface.base]) if interface.base else []
        return base + interface.own_slots
