#!/usr/bin/env python3
"""Walks every #include of ours: no ring of files or of folders, and no folder includes upward.

A header and the source of the same name are one thing here: two of them that include each other are
a ring, be it from the source.

check_includes.py ROOT
"""

import collections
import pathlib
import re
import sys

# What each folder may include besides itself. A folder without a line may include everything.
SERVICES = ("json", "webclient", "monitor", "certs", "pkcs12", "capi", "scrambler", "time")
LAYERS = {
    "include": (),
    "pal": (),
    "base": ("include", "pal"),
    "collections": ("include", "pal", "base"),
    **{service: ("include", "pal", "base") for service in SERVICES},
    "webclient": ("include", "pal", "base", "collections"),
    "module": ("include", "pal", "base", "collections", *SERVICES),
    "runtime": ("include",),
    "host": ("include",),
}
ABOVE_ALL = ("tests", "fuzz", "bench", "docs")


def our_sources(root):
    folders = [*LAYERS, *ABOVE_ALL]
    return [path for folder in folders for path in sorted((root / folder).rglob("*"))
            if path.suffix in (".h", ".c", ".cpp") and path.is_file()]


def include_roots(root, source):
    """Where a source's includes are looked up, the nearest first."""
    folder = source.relative_to(root).parts[0]
    return [source.parent, root / folder, root, root / "include", root / "tests", root / "bench",
            root / "fuzz"]


def includes_of(root, source):
    """The files of ours that it includes."""
    found = []
    for name in re.findall(r'^\s*#\s*include\s*["<]([^">]+)[">]', source.read_text(), re.M):
        for place in include_roots(root, source):
            target = (place / name).resolve()
            if target.is_file() and target.is_relative_to(root):
                found.append(target)
                break
    return found


def rings(graph):
    """The strongly connected groups of more than one node (Tarjan)."""
    index, low, stack, on_stack, result = {}, {}, [], set(), []

    def visit(start):
        work = [(start, iter(graph[start]))]
        index[start] = low[start] = len(index)
        stack.append(start)
        on_stack.add(start)
        while work:
            node, successors = work[-1]
            for successor in successors:
                if successor not in index:
                    index[successor] = low[successor] = len(index)
                    stack.append(successor)
                    on_stack.add(successor)
                    work.append((successor, iter(graph[successor])))
                    break
                if successor in on_stack:
                    low[node] = min(low[node], index[successor])
            else:
                work.pop()
                if work:
                    low[work[-1][0]] = min(low[work[-1][0]], low[node])
                if low[node] == index[node]:
                    group = []
                    while not group or group[-1] != node:
                        group.append(stack.pop())
                        on_stack.discard(group[-1])
                    if len(group) > 1:
                        result.append(sorted(group))

    for node in graph:
        if node not in index:
            visit(node)
    return result


def upward(root, graph):
    for source, targets in graph.items():
        folder = source.relative_to(root).parts[0]
        if folder in ABOVE_ALL:
            continue
        for target in targets:
            other = target.relative_to(root).parts[0]
            if other != folder and other not in LAYERS[folder]:
                yield f"{source.relative_to(root)} includes {target.relative_to(root)}"


def merged(graph, name_of):
    """The same graph between groups of files."""
    groups = collections.defaultdict(set)
    for source, targets in graph.items():
        here = name_of(source)
        groups[here] |= {name_of(target) for target in targets} - {here}
    for targets in list(groups.values()):
        for target in targets:
            groups.setdefault(target, set())
    return groups


def all_rings(root, graph):
    def unit(file):
        return str(file.relative_to(root).with_suffix(""))

    def folder(file):
        return str(file.relative_to(root).parent)

    for name_of, what in ((unit, ""), (folder, "folders ")):
        for ring in rings(merged(graph, name_of)):
            yield what + " <-> ".join(ring)


def main(root):
    graph = {source.resolve(): includes_of(root, source) for source in our_sources(root)}
    problems = list(upward(root, graph))
    problems += [f"ring: {ring}" for ring in all_rings(root, graph)]
    if not graph:
        problems.append("there are no sources")
    for problem in problems:
        print(f"FAILED  {problem}")
    print(f"{len(graph)} files, {sum(map(len, graph.values()))} includes")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve()))
