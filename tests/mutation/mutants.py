"""Small faults to put into C++ source: each mutant is one edit of one place."""

import re
from typing import Iterator, NamedTuple

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
    |(?P<directive>^[ \t]*\#[^\n]*)
    |(?P<raw>R"\(.*?\)")
    |(?P<text>"(?:\\.|[^"\\\n])*")
    |(?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*)(?:\.\d+)?[uUlLf]*)
    |(?P<character>'(?:\\.|[^'\\\n])')
    |(?P<word>[A-Za-z_]\w*)
    |(?P<operator>::|->|<<=|>>=|<=|>=|==|!=|&&|\|\||\+\+|--|\+=|-=|\|=|&=|<<|>>)
    |(?P<other>\S)""",
    re.DOTALL | re.MULTILINE | re.VERBOSE,
)

OPERATORS = {
    "==": "!=",
    "!=": "==",
    "<": "<=",
    "<=": "<",
    ">": ">=",
    ">=": ">",
    "&&": "||",
    "||": "&&",
    "+": "-",
    "-": "+",
    "++": "--",
    "--": "++",
    "+=": "-=",
    "-=": "+=",
    "<<": ">>",
    ">>": "<<",
    "&": "|",
    "|": "&",
    "|=": "&=",
    "&=": "|=",
}
# With blanks around them only: else they may be part of a type or a sign.
NEED_BLANKS = {"<", ">", "&&", "+", "-", "&", "|", "<<", ">>"}
WORDS = {
    "true": "false",
    "false": "true",
    "kAccepted": "kSendAgain",
    "kSendAgain": "kRefused",
    "kRefused": "kAccepted",
}
# Declarations and the like, without which nothing compiles.
NOT_LEFT_OUT = re.compile(
    r"(return|case|default|do|while|using|namespace|constexpr|static|static_assert|inline|enum|"
    r"struct|class|union|template|explicit|virtual|else|const)\b|(?!throw)[\w:<>&*, ]+[ &*]\w+( =|\(|\{|;)"
)
CLOSING = {"(": ")", "{": "}", "[": "]"}


class Mutant(NamedTuple):
    path: str
    line: int
    context: str  # the line before that is not empty
    before: str  # the line, or the lines, as they are
    after: str
    source: str  # of the whole file

    def difference(self) -> str:
        """The lines in question, which may have several places, after the line before them."""
        return f"    {joined(self.context)}\n  - {joined(self.before)}\n  + {joined(self.after)}"


def joined(lines: str) -> str:
    return " ".join(lines.split())


class Token(NamedTuple):
    kind: str
    text: str
    start: int
    end: int


def tokens_of(source: str) -> list[Token]:
    found = (Token(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(source))
    return [token for token in found if token.kind not in ("comment", "directive")]


def mutants_of(path: str, source: str) -> Iterator[Mutant]:
    tokens = tokens_of(source)
    edits = set(token_edits(source, tokens))
    edits.update(condition_edits(source, tokens))
    edits.update(choice_edits(source, tokens))
    if path.endswith(".cpp"):
        edits.update(statement_edits(source, tokens))
    for start, end, replacement in sorted(edits):
        yield mutant(path, source, start, end, replacement)


def mutant(path: str, source: str, start: int, end: int, replacement: str) -> Mutant:
    mutated = source[:start] + replacement + source[end:]
    first = source.rfind("\n", 0, start) + 1
    last = source.find("\n", end)
    return Mutant(
        path,
        source.count("\n", 0, start) + 1,
        source[:first].rstrip().rpartition("\n")[2],
        source[first:last],
        mutated[first : last + len(mutated) - len(source)],
        mutated,
    )


def token_edits(source: str, tokens: list[Token]):
    for token in tokens:
        if token.kind == "number" and not is_no_value(source, token):
            yield token.start, token.end, other_number(source, token)
        elif token.kind == "character":
            yield token.start, token.end, "'~'"
        elif token.kind == "text":
            yield token.end - 1, token.end, '~"'
        elif token.kind == "raw":
            yield token.end - 2, token.end, '~)"'
        elif token.kind == "word" and token.text in WORDS:
            yield token.start, token.end, WORDS[token.text]
        elif token.text in OPERATORS and is_operator(source, token):
            yield token.start, token.end, OPERATORS[token.text]


# A time that is off by one shows nowhere, ten times as long it may.
def other_number(source: str, token: Token) -> str:
    is_time = re.search(r"seconds(\(| \w+\{)$", source[max(token.start - 60, 0) : token.start]) or (
        re.match(r"m?s\b", source[token.end : token.end + 3])
    )
    return token.text + "0" if is_time and token.text != "0" else next_number(token.text)


def next_number(text: str) -> str:
    number = text.replace("'", "")
    if number.lower().startswith("0x"):
        digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+)([uUlL]*)", number).groups()
        return hex(int(digits, 16) + 1) + suffix
    digits, suffix = re.fullmatch(r"(.*?)([uUlLf]*)", number).groups()
    return str((float if "." in digits else int)(digits) + 1) + suffix


# `= 0` of a pure virtual function, and what poll() overwrites.
def is_no_value(source: str, token: Token) -> bool:
    before = source[max(token.start - 20, 0) : token.start]
    return token.text == "0" and re.search(r"(\)( const)?|\.revents) = $", before) is not None


def is_operator(source: str, token: Token) -> bool:
    if token.text in ("<<", ">>"):  # not of a stream
        return source[token.end + 1].isdigit()
    return token.text not in NEED_BLANKS or (
        source[token.start - 1].isspace() and source[token.end].isspace()
    )


def matching(tokens: list[Token], opening: int) -> int:
    closing = CLOSING[tokens[opening].text]
    depth = 0
    for i in range(opening, len(tokens)):
        if tokens[i].text == tokens[opening].text:
            depth += 1
        elif tokens[i].text == closing:
            depth -= 1
            if depth == 0:
                return i
    raise ValueError("no closing bracket")


# `if (x)` and `while (x)` the other way round.
def condition_edits(source: str, tokens: list[Token]):
    for i, token in enumerate(tokens[:-1]):
        if token.text in ("if", "while") and tokens[i + 1].text == "(":
            closing = matching(tokens, i + 1)
            start, end = tokens[i + 1].end, tokens[closing].start
            operators = [t.text for t in tokens[i + 2 : closing] if t.text in OPERATORS]
            if operators not in (["=="], ["!="]):  # whose own edits do the same
                yield start, end, f"!({source[start:end]})"


# `c ? a : b` becomes `c ? b : a`.
def choice_edits(source: str, tokens: list[Token]):
    for i, token in enumerate(tokens):
        if token.text == "?":
            colon = end_of_operand(tokens, i + 1, ":")
            last = end_of_operand(tokens, colon + 1, None)
            first_operand = source[token.end : tokens[colon].start].strip()
            second_operand = source[tokens[colon].end : tokens[last].start].strip()
            yield token.end, tokens[last].start, f" {second_operand} : {first_operand}"


def end_of_operand(tokens: list[Token], start: int, wanted) -> int:
    depth = 0
    for i in range(start, len(tokens)):
        text = tokens[i].text
        if depth == 0 and (text == wanted or (wanted is None and text in (";", ",", ")", "}"))):
            return i
        depth += (text in CLOSING) - (text in CLOSING.values())
    raise ValueError("no end of the operand")


# Each statement that ends in a semicolon, left out.
def statement_edits(source: str, tokens: list[Token]):
    starts = [None]  # of the statement that is open within each open bracket
    brackets = ["{"]
    for token, following in zip(tokens, tokens[1:] + tokens[:1]):
        if starts[-1] is None:
            starts[-1] = token.start
        if token.text in CLOSING:
            starts.append(None)
            brackets.append(token.text)
        elif token.text in CLOSING.values():
            starts.pop()
            brackets.pop()
            if token.text == "}" and following.text not in tuple("),;.}:?"):
                starts[-1] = None
        elif token.text == ";":
            if brackets[-1] == "{" and may_be_left_out(source[starts[-1] : token.end]):
                yield starts[-1], token.end, ";"
            starts[-1] = None


def may_be_left_out(statement: str) -> bool:
    return (
        len(statement) > 1
        and not statement.endswith("= delete;")
        and not NOT_LEFT_OUT.match(statement)
    )
