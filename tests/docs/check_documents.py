#!/usr/bin/env python3
"""Holds the documents against the sources: links, slots, names and commands.

check_documents.py ROOT
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(root / "bindings"))
from generator import pages  # pylint: disable=wrong-import-position
from generator.reader import read_sdk  # pylint: disable=wrong-import-position

# Bases whose slots the pages explain in words.
HELPERS = {"IComponent"}
problems = []


def complain(file, text):
    problems.append(f"{file.relative_to(root)}: {text}")


def check_links(page):
    for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", page.read_text()):
        if "://" not in target and not (page.parent / target).exists():
            complain(page, f"no such file: {target}")


def check_slots(sdk):
    """Every list, interface and table of the headers is on a page, with the slots it has there."""
    shown = set()
    for page in sorted((root / "docs").rglob("*.md")):
        text = page.read_text()
        shown |= pages.named(text)
        if pages.replaced(text, sdk) != text:
            complain(page, "its slots are not those of the headers; make them anew")
    tables = {record.name for record in sdk.records.values() if record.slots}
    for name in sorted({*tables, *sdk.interfaces} - HELPERS - shown):
        complain(root / "docs", f"no page shows the slots of {name}")


def check_names(sdk):
    """Every name by which something is looked up stands on a page."""
    text = "".join(page.read_text() for page in (root / "docs").rglob("*.md"))
    names = [*sdk.list_names.values(), *(name for name, _ in sdk.class_names.values()),
             *(name for _, name in sdk.table_names.values())]
    for name in names:
        if f"`{name}`" not in text:
            complain(root / "docs", f"no page names {name}")


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
sdk = read_sdk(root / "include")
check_slots(sdk)
check_names(sdk)
check_commands()
print("\n".join(problems) or f"{len(documents)} documents agree with the sources")
sys.exit(1 if problems else 0)
