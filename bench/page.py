"""Lines for people, the table of docs/performance.md, and its chart."""

import math
import re
from xml.sax.saxutils import escape

BEGIN = "<!-- made by ./dev bench --page -->"
END = "<!-- end -->"


def figure(value, unit):
    """A figure as people read it."""
    if unit == "ratio":
        return f"{value:.2f}"
    return f"{value / 1e6:.2f} ms" if value >= 1e5 else f"{value:.1f} ns"


def bar(value, unit):
    """What a figure has to reach."""
    if unit == "ratio":
        return f"{value:g}"
    return f"{value / 1e6:g} ms" if value >= 1e5 else f"{value:g} ns"


def verdict(row):
    """In a few words."""
    if not row["mustMet"]:
        return "must missed"
    return "must met, aim met" if row["aimMet"] else "must met, aim missed"


def lines(report):
    """One line for each row."""
    for row in report["rows"]:
        peer = f" of {row['peer']}" if row["peer"] else ""
        wine = f", under Wine {figure(row['underWine'], row['unit'])}" if row["underWine"] else ""
        yield (f"{row['name']:<48} {figure(row['value'], row['unit']) + peer:<28} "
               f"must {bar(row['must'], row['unit']):<6} aim {bar(row['aim'], row['unit']):<6} "
               f"{verdict(row)}{wine}")
    for row in report["growing"]:
        yield (f"{row['name'] + ' beside a quarter':<48} {row['times']:.2f} times{'':<17} "
               f"{'linear' if row['linear'] else 'NOT LINEAR'}")
    for row in report["chosen"]:
        yield (f"{row['name']:<48} {row['times']:.2f} times an ordinary one "
               f"{'bounded' if row['bounded'] else 'TOO SLOW'}")


def table(report):
    """The rows in Markdown."""
    yield "| job | measured | beside | must | aim | verdict | under Wine |"
    yield "|---|---|---|---|---|---|---|"
    for row in report["rows"]:
        unit = row["unit"]
        yield (f"| {row['name']} | {figure(row['value'], unit)} | {row['peer']} | "
               f"{bar(row['must'], unit)} | {bar(row['aim'], unit)} | {verdict(row)} | "
               f"{figure(row['underWine'], unit) if row['underWine'] else ''} |")
    yield ""
    yield "| input, beside a quarter of it | time |"
    yield "|---|---|"
    for row in report["growing"]:
        yield f"| {row['name']} | {row['times']:.2f} times |"
    yield ""
    yield "| input made to be slow, beside an ordinary one of its size | time |"
    yield "|---|---|"
    for row in report["chosen"]:
        yield f"| {row['name']} | {row['times']:.2f} times |"
    yield ""
    where = report["machine"]
    yield f"Measured on: {where['processor']}, {where['system']}, {where['compiler']}."


# One colour for each verdict; the grey stands out from white and from black.
STYLE = """
text { font: 12px sans-serif; fill: #1f2328 }
.bar { fill: #2f7d4f } .slow { fill: #b4451f }
.mark { stroke: #57606a; stroke-width: 2 } .grid { stroke: #8c959f; stroke-dasharray: 2 3 }
@media (prefers-color-scheme: dark) {
  text { fill: #e6edf3 }
  .bar { fill: #56b27b } .slow { fill: #e58a63 } .mark { stroke: #c9d1d9 }
}
"""
LEFT, WIDTH, STEP = 350, 400, 22


def place(ratio):
    """Where a ratio lies on the axis, which doubles at even distances from 1/8 to 4."""
    return LEFT + WIDTH * (min(max(math.log2(ratio), -3), 2) + 3) / 5


def chart(report):
    """The rows that have a peer: shorter bars are faster; the mark is what must be reached."""
    rows = [row for row in report["rows"] if row["unit"] == "ratio"]
    height = STEP * (len(rows) + 2)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {LEFT + WIDTH + 60} {height}" '
           f'role="img" aria-label="Time relative to the peer of each row">')
    yield f"<style>{STYLE}</style>"
    for ratio in (0.125, 0.25, 0.5, 1, 2, 4):
        x = place(ratio)
        yield f'<line class="grid" x1="{x:.1f}" y1="{STEP}" x2="{x:.1f}" y2="{height - STEP}"/>'
        yield f'<text x="{x:.1f}" y="{STEP - 6}" text-anchor="middle">{ratio:g}</text>'
    for index, row in enumerate(rows):
        y = STEP * (index + 1) + 4
        end, must = place(row["value"]), place(row["must"])
        kind = "bar" if row["mustMet"] else "slow"
        yield f'<text x="{LEFT - 8}" y="{y + 12}" text-anchor="end">{escape(row["name"])}</text>'
        yield f'<rect class="{kind}" x="{LEFT}" y="{y}" width="{end - LEFT:.1f}" height="{STEP - 8}"/>'
        yield f'<line class="mark" x1="{must:.1f}" y1="{y - 2}" x2="{must:.1f}" y2="{y + STEP - 6}"/>'
        x = max(end, must) + 6
        yield f'<text x="{x:.1f}" y="{y + 12}">{row["value"]:.2f}</text>'
    yield (f'<text x="{LEFT + WIDTH}" y="{height - 6}" text-anchor="end">time relative to the peer of '
           "each row; the marks are what must be reached</text>")
    yield "</svg>"


def names_in(text):
    """The rows of a page's table."""
    return re.findall(r"^\| (.+?) \| [\d.]+(?: ns| ms| times)? \|", section(text), re.MULTILINE)


def section(text):
    """What stands between the marks."""
    return text[text.index(BEGIN) + len(BEGIN):text.index(END)]


def write(docs, report):
    """Puts table and chart into the documents."""
    file = docs / "performance.md"
    text = file.read_text(encoding="utf-8")
    made = "\n" + "\n".join(table(report)) + "\n"
    file.write_text(text[:text.index(BEGIN) + len(BEGIN)] + made + text[text.index(END):],
                    encoding="utf-8")
    (docs / "performance.svg").write_text("\n".join(chart(report)) + "\n", encoding="utf-8")
