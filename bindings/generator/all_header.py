"""What vexa/all.h names: every list and class that the headers declare. New ones come last."""

import re
import textwrap

WIDTH = 100


def kept_in_order(old, names):
    return [name for name in old if name in names] + [name for name in names if name not in old]


def type_list(text, alias, names):
    """The text with `using ALIAS = TypeList<...>` of those names."""
    def anew(match):
        start = f"using {alias} = TypeList<"
        listed = kept_in_order(re.findall(r"\w+", match[1]), names)
        return textwrap.fill(f"{start}{', '.join(listed)}>;", WIDTH,
                             subsequent_indent=" " * len(start))
    return re.sub(rf"using {alias} = TypeList<([^>]*)>;", anew, text)


def replaced(text, sdk):
    headers = {sdk.records[name].header for name in sdk.list_names}
    headers |= {sdk.interfaces[name].header for name in sdk.class_names}
    lines = set(re.findall(r'^#include "vexa/.*\n', text, re.M))
    lines |= {f'#include "{header}"\n' for header in headers}
    text = re.sub(r'(^#include "vexa/.*\n)+', "".join(sorted(lines)), text, count=1, flags=re.M)
    text = type_list(text, "AllLists", list(sdk.list_names))
    return type_list(text, "AllClasses", list(sdk.class_names))
