"""Cuts C++ and QML sources into tokens, as far as planting faults needs it."""
import re
from dataclasses import dataclass

PATTERN = re.compile(
    r"""
      (?P<comment>//[^\n]*|/\*.*?\*/)
    | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*)
    | (?P<import>^[ \t]*(?:import|pragma)[ \t][^\n]*)
    | (?P<string>(?:u|u8|L)?"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)*'|`(?:[^`\\]|\\.)*`)
    | (?P<number>(?<![\w.])(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?(?:[eE][+-]?\d+)?)[uUlLfF]*(?!\w))
    | (?P<name>[A-Za-z_]\w*)
    | (?P<operator><=>|===|!==|<<=|>>=|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    begin: int

    @property
    def end(self):
        return self.begin + len(self.text)


def tokens_of(source):
    """The tokens of a source in order, without comments, directives and imports."""
    found = []
    for match in PATTERN.finditer(source):
        kind = match.lastgroup
        if kind not in ("comment", "directive", "import"):
            found.append(Token(kind, match.group(), match.start()))
    return found
