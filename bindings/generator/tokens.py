"""Tokens of a header of the SDK."""

import dataclasses
import re


class HeaderError(Exception):
    """A header says something that the generator does not understand."""


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str  # comment, directive, name, number, text, sign, end
    text: str
    line: int


PATTERN = re.compile(
    r"""
    (?P<blank>\s+)
  | (?P<comment>//[^\n]*)
  | (?P<directive>\#(?:[^\n\\]|\\\n|\\.)*)
  | (?P<text>"(?:[^"\\\n]|\\.)*")
  | (?P<number>0[xX][0-9A-Fa-f]+[uU]?|\d+[uU]?)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<sign>::|\.\.\.|&&|==|>=|<=|!=|\+\+|\|\||<<|[-+*/&|<>=(){}\[\],;:.~!?])
    """,
    re.X,
)


def tokenize(path):
    """The tokens of a file without blanks, with an end token last."""
    text = path.read_text(encoding="utf-8")
    tokens, at, line = [], 0, 1
    while at < len(text):
        match = PATTERN.match(text, at)
        if match is None:
            raise HeaderError(f"{path}:{line}: unexpected {text[at]!r}")
        if match.lastgroup != "blank":
            tokens.append(Token(match.lastgroup, match.group(), line))
        line += match.group().count("\n")
        at = match.end()
    tokens.append(Token("end", "", line))
    return tokens
