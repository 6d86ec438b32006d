#!/usr/bin/env python3
"""Holds the binary interface against the one of the last release, and the comparison itself against
changes that it must refuse or let pass.

check_interface.py --report FILE SOURCE ABI_JSON
"""

import copy
import json
import pathlib
import sys

from counts import argument, run_checks

RELEASED = "tests/conformance/abi-1.0.json"


def without(interface, part, name):
    del interface[part][name]


def swap_slots(interface):
    slots = interface["interfaces"]["IJsonObject"]
    slots[5], slots[6] = slots[6], slots[5]


def grow_record(interface):
    record = interface["records"]["ByteBuffer"]
    record["fields"]["more"] = [16, "uint64_t"]
    record["size"] = 24


def move_field(interface):
    interface["records"]["SafeBag"]["fields"]["shrouded"][0] += 1


def change_signature(interface):
    interface["records"]["TimeList"]["fields"]["ConvertTime"][1] = "uint64_t (*)(void)"


def change_text(interface):
    interface["texts"]["kJsonApiListName"] = "jsonapi2"


def change_number(interface):
    interface["enums"]["JsonType"]["kJsonBool"] = 7


def change_identifier(interface):
    interface["identifiers"]["IID_IURLParser"] = "0" * 32


def grow_helper(interface):
    interface["interfaces"]["IHashTableHelperKey"].append("another int32_t()")


def add_list_slot(interface):
    record = interface["records"]["TimeList"]
    record["fields"]["Another"] = [record["size"], "uint64_t (*)(void)"]
    record["size"] += 8


def add_things(interface):
    interface["numbers"]["kNew"] = 1
    interface["enums"]["JsonType"]["kJsonDate"] = 7
    interface["records"]["NewRecord"] = {"size": 8, "fields": {"a": [0, "uint64_t"]}}
    interface["interfaces"]["INew"] = ["QueryInterface"]
    interface["interfaces"]["IURLParser"].append("another int32_t()")


REFUSED = {
    "a list that is gone": lambda one: without(one, "lists", "TimeList"),
    "an identifier that is gone": lambda one: without(one, "identifiers", "IID_IURLParser"),
    "a record that is gone": lambda one: without(one, "records", "ByteBuffer"),
    "two slots that changed places": swap_slots,
    "a record that grew": grow_record,
    "a field that moved": move_field,
    "another signature": change_signature,
    "another list name": change_text,
    "another number": change_number,
    "another identifier": change_identifier,
    "a new slot of an interface that hosts implement": grow_helper,
}
ALLOWED = {
    "nothing new": lambda one: None,
    "a slot behind the last one of a list": add_list_slot,
    "new names": add_things,
}


def check(checks, options):
    sys.path.insert(0, str(options.source / "bindings"))
    from generator.abi import breaks

    released = json.loads((options.source / RELEASED).read_text(encoding="utf-8"))
    current = json.loads(options.interface.read_text(encoding="utf-8"))
    problems = breaks(released, current)
    checks.expect(f"the interface of {released['version']}, with additions at most", not problems,
                  "\n".join(problems))
    for refused, changes in ((True, REFUSED), (False, ALLOWED)):
        for name, change in changes.items():
            changed = copy.deepcopy(released)
            change(changed)
            checks.expect(f"{name} is {'refused' if refused else 'let pass'}",
                          bool(breaks(released, changed)) == refused)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("source", type=pathlib.Path),
               argument("interface", type=pathlib.Path))
