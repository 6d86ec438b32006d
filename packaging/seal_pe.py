#!/usr/bin/env python3
"""Takes the right to write from sections of a Windows program that only its loader fills, and the
time from its header.

seal_pe.py FILE

The GNU linker leaves the import table (.idata) and the list of start functions (.CRT) writable. The
loader lifts the protection while it fills the import table. strip and objcopy write down when they
ran. The checksum is made anew.
"""

import pathlib
import struct
import sys

SEALED = (b".idata", b".CRT")
MEM_WRITE = 0x80000000
SECTION_SIZE = 40


def header_offset(image):
    offset = struct.unpack_from("<I", image, 0x3C)[0]
    if image[:2] != b"MZ" or image[offset:offset + 4] != b"PE\0\0":
        sys.exit("seal_pe.py: not a Windows program")
    return offset


def sections(image):
    """(name, offset of the section's header) of each section."""
    header = header_offset(image)
    count, optional_size = struct.unpack_from("<H12xH", image, header + 6)
    first = header + 24 + optional_size
    for index in range(count):
        offset = first + index * SECTION_SIZE
        yield bytes(image[offset:offset + 8]).rstrip(b"\0"), offset


def checksum(image):
    """The sum that CheckSumMappedFile makes, the field itself taken as 0."""
    field = header_offset(image) + 88
    data = bytes(image[:field]) + bytes(4) + bytes(image[field + 4:])
    total = sum(struct.unpack(f"<{len(data) // 2}H", data[:len(data) // 2 * 2]))
    if len(data) % 2:
        total += data[-1]
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(data)


def seal(image):
    for name, offset in sections(image):
        if name in SEALED:
            flags = struct.unpack_from("<I", image, offset + 36)[0]
            struct.pack_into("<I", image, offset + 36, flags & ~MEM_WRITE)
    struct.pack_into("<I", image, header_offset(image) + 8, 0)
    struct.pack_into("<I", image, header_offset(image) + 88, checksum(image))


def main():
    path = pathlib.Path(sys.argv[1])
    image = bytearray(path.read_bytes())
    seal(image)
    path.write_bytes(image)


if __name__ == "__main__":
    main()
