"""Where a fault can be planted in a source, and what it makes of the place."""
import re
from dataclasses import dataclass

from tokens import tokens_of

COMPARED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "===": "!==", "!==": "==="}
LOGIC = {"&&": "||", "||": "&&"}
SIGNS = {"+": "-", "-": "+", "+=": "-=", "-=": "+="}
TRUTH = {"true": "false", "false": "true"}
# What a checker of the compiler sees, not a test; a fault there would only not compile.
UNTOUCHED_LINE = re.compile(r"^\s*(static_assert|namespace|using |template|Q_[A-Z]+\(|class |struct |enum )")
# One whole statement on one line: a call, a signal, an assignment.
CPP_STATEMENT = re.compile(r"^(\s+)((?:emit )?[\w:.>\-()*]+(?:\(.*\)| [-+|&]?= .+);)$")
QML_STATEMENT = re.compile(r"^(\s+)([\w.]+(?:\(.*\)| [-+]?= .+);?)$")
BINDING = re.compile(r"^(\s+)([\w.]+): ([^{}\[\]]+)$")
# Not compiled here.
ELSEWHERE = re.compile(r"^#ifdef Q_OS_WIN\n.*?^#(?:else|endif)", re.DOTALL | re.MULTILINE)
# A time in milliseconds: one more of them is nobody's fault.
TIME = re.compile(r"Ms\b|\bms\b|interval|duration|msec|chrono", re.IGNORECASE)
SIMPLE_ARGUMENT = ("name", "number", "string")


@dataclass(frozen=True)
class Site:
    """One planted fault: the text from `begin` to `end` becomes `text`."""

    kind: str
    begin: int
    end: int
    text: str


def line_of(source, place):
    return source[source.rfind("\n", 0, place) + 1 : source.find("\n", place)]


def is_binary(tokens, index):
    """Whether an operator stands between two values rather than before one or in a template's brackets."""
    before = tokens[index - 1] if index else None
    if not before or index + 1 >= len(tokens):
        return False
    return before.kind in ("name", "number", "string") and before.text not in ("return", "case", "operator") or before.text in (")", "]")


def stands_free(source, token):
    """Whether blanks stand around a token: clang-format sets them around comparisons, not around templates."""
    return source[token.begin - 1 : token.begin].isspace() and source[token.end : token.end + 1].isspace()


def other_numbers(text, line):
    """A number off by one, and one that is twice as large, as a time-out would be."""
    plain = text.replace("'", "").rstrip("uUlLfF")
    try:
        if "." in plain:
            return [str(float(plain) * 2 if float(plain) else 1.0)]
        value = int(plain, 0)
    except ValueError:
        return []
    return ([] if value >= 100 and TIME.search(line) else [str(value + 1)]) + ([str(value * 2)] if value >= 100 else [])


def token_sites(source, tokens):
    strings = [token for token in tokens if token.kind == "string" and len(token.text) > 4]
    for index, token in enumerate(tokens):
        if token.kind == "number":
            for text in other_numbers(token.text, line_of(source, token.begin)):
                yield Site("number", token.begin, token.end, text)
        elif token.text in TRUTH:
            yield Site("truth", token.begin, token.end, TRUTH[token.text])
        elif token.text in COMPARED and stands_free(source, token) and is_binary(tokens, index):
            yield Site("comparison", token.begin, token.end, COMPARED[token.text])
        elif token.text in LOGIC and stands_free(source, token) and is_binary(tokens, index):
            yield Site("logic", token.begin, token.end, LOGIC[token.text])
        elif token.text in SIGNS and stands_free(source, token) and is_binary(tokens, index):
            yield Site("sign", token.begin, token.end, SIGNS[token.text])
        elif token.text == "!":
            yield Site("negation", token.begin, token.end, "")
        elif token.text == "-" and not is_binary(tokens, index) and index + 1 < len(tokens) and tokens[index + 1].kind == "number":
            yield Site("sign", token.begin, token.end, "")
        elif token.kind == "string" and len(token.text) > 4 and len(strings) > 1:
            other = strings[(strings.index(token) + 1) % len(strings)]
            if other.text != token.text and other.text[0] == token.text[0]:
                yield Site("text", token.begin, token.end, other.text)


def argument_sites(tokens):
    """Two neighbouring simple arguments, exchanged."""
    for index in range(1, len(tokens) - 4):
        left, comma, right = tokens[index : index + 3]
        before, after = tokens[index - 1], tokens[index + 3]
        if (
            comma.text == ","
            and before.text in ("(", ",")
            and after.text in (")", ",")
            and left.kind in SIMPLE_ARGUMENT
            and right.kind in SIMPLE_ARGUMENT
            and left.text != right.text
        ):
            yield Site("exchange", left.begin, right.end, f"{right.text}, {left.text}")


def line_sites(source, is_qml):
    """Statements left out, and in QML two neighbouring bindings that exchange their values."""
    statement = QML_STATEMENT if is_qml else CPP_STATEMENT
    begin, previous = 0, None
    for line in source.splitlines(keepends=True):
        text = line.rstrip("\n")
        match = statement.match(text)
        if match and not match.group(2).startswith(("return", "delete", "//", "using")):
            yield Site("dropped", begin + match.start(2), begin + match.end(2), ";" if not is_qml else "void 0")
        binding = BINDING.match(text) if is_qml else None
        if binding and previous and binding.group(1) == previous[0].group(1) and binding.group(3) != previous[0].group(3):
            first, first_begin = previous
            between = source[first_begin + first.end(3) : begin + binding.start(3)]
            yield Site("exchange", first_begin + first.start(3), begin + binding.end(3), binding.group(3) + between + first.group(3))
        previous = (binding, begin) if binding else None
        begin += len(line)


def sites_of(source, is_qml):
    """Every fault that can be planted in a source, in the order of the text."""
    tokens = tokens_of(source)
    found = list(token_sites(source, tokens)) + list(argument_sites(tokens)) + list(line_sites(source, is_qml))

    elsewhere = [match.span() for match in ELSEWHERE.finditer(source)]

    def is_wanted(site):
        line = line_of(source, site.begin)
        if any(begin <= site.begin < end for begin, end in elsewhere):
            return False
        return not UNTOUCHED_LINE.match(line) and "qWarning" not in line and "qCDebug" not in line and "qDebug" not in line

    return sorted({site for site in found if is_wanted(site)}, key=lambda site: (site.begin, site.end, site.text))
