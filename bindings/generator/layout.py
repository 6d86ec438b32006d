"""Sizes and offsets by the rules that all 64-bit compilers share."""

from .model import Array, Function, Plain, Pointer, Union
from .tokens import HeaderError

NUMBERS = {
    "bool": 1, "char": 1, "int8_t": 1, "uint8_t": 1, "int16_t": 2, "uint16_t": 2, "char16_t": 2,
    "int": 4, "int32_t": 4, "uint32_t": 4, "int64_t": 8, "uint64_t": 8, "size_t": 8,
    "uintptr_t": 8,
}
POINTER = 8


class Layout:
    def __init__(self, sdk):
        self.sdk = sdk

    def of(self, kind):
        """(size, alignment) of a type."""
        if isinstance(kind, (Pointer, Function)):
            return POINTER, POINTER
        if isinstance(kind, Array):
            size, alignment = self.of(kind.of)
            return size * kind.count, alignment
        if isinstance(kind, Union):
            members = [self.of(member.type) for member in kind.members]
            alignment = max(one[1] for one in members)
            return rounded(max(one[0] for one in members), alignment), alignment
        if kind.name in NUMBERS:
            return NUMBERS[kind.name], NUMBERS[kind.name]
        if kind.name in self.sdk.aliases:
            return self.of(self.sdk.aliases[kind.name])
        if kind.name in self.sdk.enums:
            return self.of(Plain(self.sdk.enums[kind.name].type))
        if kind.name in self.sdk.records:
            size, alignment, _ = self.record(self.sdk.records[kind.name])
            return size, alignment
        raise HeaderError(f"the size of {kind} is not known")

    def record(self, record):
        """(size, alignment, [(offset, field)])"""
        at, alignment, fields = 0, 1, []
        for field in record.fields:
            size, needed = self.of(field.type)
            at = rounded(at, needed)
            fields.append((at, field))
            at += size
            alignment = max(alignment, needed)
        return rounded(at, alignment), alignment, fields


def rounded(number, unit):
    return (number + unit - 1) // unit * unit
