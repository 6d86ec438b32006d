#!/usr/bin/env python3
"""Holds the documents against the sources: links, slots, names and commands.

check_documents.py ROOT
"""

import collections
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(root / "bindings"))
from generator import pages  # pylint: disable=wrong-import-position
from generator.reader import read_sdk  # pylint: disable=wrong-import-position

# Bases whose slots the pages explain in words.
HELPERS = {"IComponent"}
# As many words in a row are said in one place.
SAME_WORDS = 8
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


def prose(path):
    """Its words: of a page without code, of a header the comments alone."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".h":
        text = "\n".join(line.partition("//")[2] for line in text.splitlines())
    else:
        text = re.sub(r"```.*?```|^\|.*?$|^#.*?$", ".", text, flags=re.S | re.M)
        text = re.sub(r"\]\([^)]*\)", "]", text)
    return re.findall(r"[\w']+", text.lower())


def check_said_once():
    """No page repeats a header, or another page: it links."""
    pages_and_headers = [*documents, *sorted((root / "include").rglob("*.h"))]
    places = collections.defaultdict(list)
    for path in pages_and_headers:
        words = prose(path)
        for at in range(len(words) - SAME_WORDS + 1):
            places[" ".join(words[at : at + SAME_WORDS])].append(path)
    for words, paths in places.items():
        files = sorted({path.relative_to(root).as_posix() for path in paths})
        if len(files) > 1 and paths[0].suffix == ".md":
            complain(paths[0], f'"{words}" is also said in {", ".join(files)}')


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


def check_tree():
    """The README names every folder of the tree, and no other."""
    readme = (root / "README.md").read_text()
    tree = re.search(r"^## The tree\n+```\n(.*?)^```", readme, re.M | re.S).group(1)
    named = {name.split("/")[0] for line in tree.splitlines()
             for name in re.findall(r"(?:^|  )(\w[\w/]*)/(?=\s|$)", line)}
    there = {path.parent.name for path in root.glob("*/CMakeLists.txt")} | {"packaging"}
    for name in sorted(named ^ there):
        complain(root / "README.md", f"the tree: {name}/ is {'not there' if name in named else 'missing'}")


def check_built_before():
    """What the README starts from a build folder was built by a line above it."""
    for block in re.findall(r"^```sh\n(.*?)^```", (root / "README.md").read_text(), re.M | re.S):
        built = {}
        for line in (line.partition("#")[0].split() for line in block.splitlines()):
            if line[:2] == ["./dev", "build"]:
                built.setdefault(line[2], []).append(line[3:])
            for preset, program in re.findall(r"build/(\w+)/(?:bin|tests)/([\w]+)", " ".join(line)):
                if not any(not targets or program in targets for targets in built.get(preset, [])):
                    complain(root / "README.md", f"nothing built {program} ({preset}) before it runs")


documents = [root / "README.md", *sorted((root / "docs").rglob("*.md"))]
for document in documents:
    check_links(document)
sdk = read_sdk(root / "include")
check_slots(sdk)
check_names(sdk)
check_said_once()
check_commands()
check_tree()
check_built_before()
print("\n".join(problems) or f"{len(documents)} documents agree with the sources")
sys.exit(1 if problems else 0)
