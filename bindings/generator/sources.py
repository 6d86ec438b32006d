"""What is made from the headers and kept among the sources: the lists and classes in vexa/all.h, the
tables of vexabase.py, the signatures on the pages."""

from . import all_header, pages, python_tables


def made(root, sdk):
    """(path, text, text made anew) of each of them."""
    makers = [(root / "include/vexa/all.h", all_header),
              (root / "bindings/python/vexabase.py", python_tables)]
    makers += [(path, pages) for path in sorted((root / "docs").rglob("*.md"))]
    for path, maker in makers:
        text = path.read_text(encoding="utf-8")
        yield path, text, maker.replaced(text, sdk)


def outdated(root, sdk):
    return [path for path, text, anew in made(root, sdk) if anew != text]


def renew(root, sdk):
    for path, text, anew in list(made(root, sdk)):
        if anew != text:
            path.write_text(anew, encoding="utf-8")
            print(path.relative_to(root))
