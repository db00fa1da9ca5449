"""Single-token faults that C++ sources can be given."""

import dataclasses
import hashlib
import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<char>'(?:[^'\\\n]|\\.)')
  | (?P<number>(?<![\w.])(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)(?P<suffix>[uUlL]*)\b(?![.\w]))
  | (?P<word>[A-Za-z_]\w*)
  | (?P<spaced>(?<=\ )(?:==|!=|<=|>=|&&|\|\||<|>|\+|-)(?=\ ))
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

OTHER = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||",
         "||": "&&", "+": "-", "-": "+", "true": "false", "false": "true"}
KIND = {"&&": "condition", "||": "condition", "+": "sign", "-": "sign", "true": "truth",
        "false": "truth"}

PLACE = r"[A-Za-z_][\w:]*(?:(?:->|\.)\w+|\[[^\]]*\])*"
STATEMENT = re.compile(
    rf"^[ ]+(?P<what>(?:{PLACE}\([^;]*\)|\*?{PLACE} [-+|&]?= [^;]*|{PLACE}(?:\+\+|--)|break);)$",
    re.MULTILINE)
SIMPLE = r"[\w.>&*:\-]+"
CALL = re.compile(rf"\b[A-Za-z_]\w*\((?P<first>{SIMPLE}), (?P<second>{SIMPLE})(?=[,)])")


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    begin: int
    old: str
    new: str
    kind: str
    text: str  # of the line, as it stands

    @property
    def name(self):
        return hashlib.sha256(f"{self.file}|{self.begin}|{self.text}|{self.change}".encode()
                              ).hexdigest()[:12]

    @property
    def change(self):
        old = " ".join(self.old.split())
        return f"{old} -> {self.new}" if self.new else f"without {old}"

    def applied(self, source):
        assert source[self.begin:self.begin + len(self.old)] == self.old
        return source[:self.begin] + self.new + source[self.begin + len(self.old):]


def token_faults(match):
    """(kind, old, new, place in the token)."""
    text = match.group()
    if match["spaced"]:
        yield KIND.get(text, "comparison"), text, OTHER[text], 0
    elif match["word"] and text in OTHER:
        yield "truth", text, OTHER[text], 0
    elif match["number"]:
        digits = text[:len(text) - len(match["suffix"])].replace("'", "")
        value = int(digits, 16) if digits[:2] in ("0x", "0X") else int(digits, 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                yield "constant", text, f"{other}{match['suffix']}", 0
    elif match["string"]:
        # Not the letter of a conversion or of an escape.
        for letter in re.finditer(r"(?<![%\\\w])[A-Za-z](?=[A-Za-z])", text):
            old = letter.group()
            yield "text", old, "x" if old != "x" else "y", letter.start()


def mutants_of(file, source):
    hidden = []

    def mutant(kind, begin, old, new):
        start = source.rfind("\n", 0, begin) + 1
        end = source.find("\n", begin)
        return Mutant(file, source.count("\n", 0, begin) + 1, begin, old, new, kind,
                      source[start:end].strip())

    for match in TOKEN.finditer(source):
        if match["comment"] or match["directive"]:
            hidden.append(match.span())
        for kind, old, new, place in token_faults(match):
            yield mutant(kind, match.start() + place, old, new)

    def is_code(place):
        return not any(begin <= place < end for begin, end in hidden)

    for match in STATEMENT.finditer(source):
        if is_code(match.start("what")):
            yield mutant("statement", match.start("what"), match["what"], "")
    for match in CALL.finditer(source):
        if is_code(match.start()) and match["first"] != match["second"]:
            yield mutant("arguments", match.start("first"),
                         f"{match['first']}, {match['second']}",
                         f"{match['second']}, {match['first']}")
