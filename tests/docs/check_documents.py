#!/usr/bin/env python3
"""Holds the documents against the sources: links, runtime slots, lists, classes and commands.

check_documents.py ROOT
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
problems = []


def complain(file, text):
    problems.append(f"{file.relative_to(root)}: {text}")


def check_links(page):
    for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", page.read_text()):
        if "://" not in target and not (page.parent / target).exists():
            complain(page, f"no such file: {target}")


def header_slots():
    """(table, slot, name, fixed or assigned) of every runtime header."""
    pattern = re.compile(r"^VEXA_(FIXED|OUR)_SLOT\((\w+), (\w+), (\d+)\);", re.M)
    kinds = {"FIXED": "fixed", "OUR": "assigned"}
    return {
        (table, int(number), name, kinds[kind])
        for header in (root / "include/vexa/runtime").glob("*.h")
        for kind, table, name, number in pattern.findall(header.read_text())
    }


def page_slots(page):
    """The same of the contract: rows "| 3 | `Write` | fixed |" below a heading that ends with the table."""
    slots, table = set(), None
    for line in page.read_text().splitlines():
        if line.startswith("#"):
            name = re.search(r": `(\w+)`$", line)
            table = name and name.group(1)
        row = re.match(r"\| (\d+) \| `(\w+)` \| (fixed|assigned) \|", line)
        if row:
            slots.add((table, int(row.group(1)), row.group(2), row.group(3)))
    return slots


def check_contract():
    page = root / "docs/runtime-contract.md"
    wanted, given = header_slots(), page_slots(page)
    for slot in sorted(wanted - given):
        complain(page, f"missing slot: {slot}")
    for slot in sorted(given - wanted):
        complain(page, f"slot that the headers do not have: {slot}")
    if not wanted:
        complain(page, "the headers have no slots")


def check_services():
    """Every list's and class's name, and every slot of a list, stands on some page of a service."""
    pages = "".join(page.read_text() for page in (root / "docs/services").glob("*.md"))
    for header in (root / "include/vexa").glob("*.h"):
        text = header.read_text()
        names = re.findall(r'constexpr char k\w+(?:List|Class)Name\[\] =\s*"([^"]+)"', text)
        names += re.findall(r"VEXA_LIST_SLOT\(\w+, (\w+), \d+\)", text)
        names += re.findall(r"// Slots? \d.*?\n(?:  //.*\n)*  virtual \S+ (\w+)\(", text)
        for name in names:
            if not name.startswith("reserved") and f"`{name}" not in pages:
                complain(header, f"{name} is on no page of docs/services")


def check_commands():
    """Every command of the front script and of the host is in the README."""
    readme = (root / "README.md").read_text()
    script = (root / "dev").read_text()
    help_text = script[script.index("<<'HELP'") : script.index("\nHELP\n")]
    for name in re.findall(r"^\./dev (\w+)", help_text, re.M):
        if f"./dev {name}" not in readme:
            complain(root / "README.md", f"./dev {name} is missing")
    for source in (root / "host/commands").glob("*.cpp"):
        for name in re.findall(r'app\.add_subcommand\("(\w+)"', source.read_text()):
            if f"`{name}" not in readme and f"vexahost {name}" not in readme:
                complain(root / "README.md", f"vexahost {name} is missing")


documents = [root / "README.md", *sorted((root / "docs").rglob("*.md"))]
for document in documents:
    check_links(document)
check_contract()
check_services()
check_commands()
print("\n".join(problems) or f"{len(documents)} documents agree with the sources")
sys.exit(1 if problems else 0)
