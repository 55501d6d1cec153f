"""What can be broken in a C++ source file: its mutants, each with one small change.

The file is taken as a row of tokens, not as a grammar: the layout of .clang-format tells an operator
between two values (blanks on both sides) from the bracket of a template or the mark of a reference.
What is no C++ any more after its change, the compiler refuses; such a mutant does not count.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<text>(?:u8|[LuU])?"(?:[^"\\\n]|\\.)*")
  | (?P<character>(?:u8|[LuU])?'(?:[^'\\\n]|\\.)+')
  | (?P<number>\d(?:'?[\w.])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<space>\s+)
  | (?P<sign><<=|>>=|<=>|->|\+\+|--|&&|\|\||<<|>>|::|[-+*/%&|^<>=!]=|.)
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

BETWEEN_VALUES = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"],
    "%": ["*"], "&": ["|"], "|": ["&"], "^": ["|"], "<<": [">>"], ">>": ["<<"], "+=": ["-="],
    "-=": ["+="], "*=": ["+="], "|=": ["&="], "&=": ["|="], "^=": ["|="],
    "?": ["&& false ?", "|| true ?"],
}
ANYWHERE = {"++": ["--"], "--": ["++"], "!": [""], "~": [""]}
COMPARISONS = {"==", "!=", "<", ">", "<=", ">=", "!"}
WORDS = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}
EXITS = {"return", "throw", "break", "continue"}
NO_CALL = {"if", "for", "while", "switch", "case", "default", "do", "else", "try", "catch", "using",
           "public", "private", "protected", "template", "typedef", "delete", "static_assert"}
SCOPES = {"class", "struct", "union", "enum", "namespace"}
CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclass(frozen=True)
class Mutant:
    """`source[start:end]` of the file becomes `replacement`."""
    file: str
    start: int
    end: int
    replacement: str

    def applied_to(self, source):
        return source[:self.start] + self.replacement + source[self.end:]

    def described(self, source):
        """The whole line with the change in it; no line number, so that it stays true for long."""
        first = source.rfind("\n", 0, self.start) + 1
        last = source.find("\n", self.end)
        change = f"{{{source[self.start:self.end]} => {self.replacement.strip()}}}"
        line = source[first:self.start] + change + source[self.end:last]
        return " ".join(line.split())


class SourceFile:
    """The tokens of a file that count, and the mutants that can be made of them."""

    def __init__(self, name, source):
        self.name = name
        self.source = source
        self.mutants = []
        self.tokens = [Token(match.lastgroup, match.group(), match.start())
                       for match in TOKEN.finditer(source)
                       if match.lastgroup not in ("comment", "directive", "space")]
        self.partner = self._match_brackets()
        self.untouchable = self._find_untouchable()

    def _match_brackets(self):
        partner, open_ones = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in CLOSING:
                open_ones.append(index)
            elif token.kind == "sign" and token.text in CLOSING.values() and open_ones:
                first = open_ones.pop()
                partner[first], partner[index] = index, first
        return partner

    def _find_untouchable(self):
        """What only the compiler reads: assertions, attributes, linkage, names of operators."""
        found = set()
        for index, token in enumerate(self.tokens):
            if token.text in ("static_assert", "alignas", "decltype", "__declspec"):
                found.update(range(index, self.partner.get(index + 1, index) + 1))
            elif token.text == "[" and self._text(index + 1) == "[":
                found.update(range(index, self.partner.get(index, index) + 1))
            elif token.text in ("operator", "extern", "template"):
                found.add(index + 1)
        return found

    def _text(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def _add(self, first, last, replacement):
        """Breaks the tokens from `first` to `last`; the lines of the file stay as many."""
        start, end = self.tokens[first].start, self.tokens[last].end
        lines = self.source.count("\n", start, end)
        self.mutants.append(Mutant(self.name, start, end, "\n" * lines + replacement))

    def find_mutants(self):
        for index, token in enumerate(self.tokens):
            if index in self.untouchable:
                continue
            if token.kind == "sign":
                self._break_sign(index, token)
            elif token.kind == "number":
                self._break_number(index, token.text)
            elif token.kind == "character":
                self._add(index, index, re.sub(r"'.*'", "'y'" if "x" in token.text else "'x'",
                                               token.text))
            elif token.text in WORDS:
                self._add(index, index, WORDS[token.text])
            elif token.text in ("if", "while") and self._text(index + 1) == "(":
                self._negate_condition(index + 1)
        self._break_texts()
        self._remove_statements()
        return self.mutants

    def _break_sign(self, index, token):
        around = self.source[token.start - 1:token.start] + self.source[token.end:token.end + 1]
        if len(around) == 2 and around.isspace():
            replacements = BETWEEN_VALUES.get(token.text, [])
        elif token.text == "~" and re.match(r"[A-Z]\w*\(", self.source[token.end:]):
            replacements = []  # a destructor
        else:
            replacements = ANYWHERE.get(token.text, [])
        for replacement in replacements:
            self._add(index, index, replacement)

    def _break_number(self, index, text):
        match = re.fullmatch(r"(0[xX][\dA-Fa-f']+|\d[\d']*)([uUlLzZ]*)", text)
        if not match:
            return
        value = int(match[1].replace("'", ""), 0 if match[1][:2] in ("0x", "0X") else 10)
        other = 0 if value == 1 else value + 1
        self._add(index, index,
                  (f"0x{other:X}" if match[1][:2] in ("0x", "0X") else str(other)) + match[2])

    def _negate_condition(self, bracket):
        end = self.partner[bracket]
        inside = [self._text(index) for index in range(bracket + 1, end)]
        signs = [text for text in inside if text in COMPARISONS or text in ("&&", "||")]
        if inside and ";" not in inside and not (len(signs) == 1 and signs[0] in COMPARISONS):
            start, stop = self.tokens[bracket].end, self.tokens[end].start
            self.mutants.append(
                Mutant(self.name, start, stop, f"!({self.source[start:stop]})"))

    def _break_texts(self):
        """A row of literals is one text: another letter in it; the file's next text, or none."""
        rows = []
        for index, token in enumerate(self.tokens):
            if token.kind != "text" or index in self.untouchable:
                continue
            if rows and rows[-1][-1] == index - 1:
                rows[-1].append(index)
            else:
                rows.append([index])
        for row, following in zip(rows, rows[1:] + [None]):
            middle = row[len(row) // 2]
            self._add(middle, middle, with_another_letter(self._text(middle)))
            whole = self._row_text(row)
            other = self._row_text(following) if following else ""
            if "%" in whole or whole.endswith('""'):
                continue  # a format without its conversions is refused by the compiler
            prefix = whole[:whole.index('"')]
            if other[:other.find('"')] != prefix or other == whole or "%" in other:
                other = prefix + '""'
            self._add(row[0], row[-1], other)

    def _row_text(self, row):
        return " ".join(self._text(index) for index in row)

    def _remove_statements(self):
        """Calls for their effect alone, and leaving a block early."""
        headings = [["namespace"]]
        heading = []
        heads_of_loops = self._heads_of_loops()
        for index, token in enumerate(self.tokens):
            if index in heads_of_loops:
                continue
            if token.text == "{":
                headings.append(heading)
            elif token.text == "}":
                headings.pop()
            if token.text in ("{", "}", ";") or (token.text == ":" and "case" in heading):
                heading = []
                if not SCOPES.intersection(headings[-1]):
                    self._remove_statement(index + 1, NO_CALL.intersection(headings[-1]))
            else:
                heading.append(token.text)

    def _heads_of_loops(self):
        return {inside for index in range(len(self.tokens)) if self._text(index) == "for"
                for inside in range(index + 1, self.partner.get(index + 1, index) + 1)}

    def _remove_statement(self, first, may_go_on):
        """Without the last return of a function with a result, there is none: that is no mutant."""
        index = first
        texts = []
        while index < len(self.tokens) and self._text(index) != ";":
            if self._text(index) in ("{", "}"):
                return
            texts.append(self._text(index))
            index = self.partner.get(index, index) + 1
        if not texts or index >= len(self.tokens):
            return
        if texts[0] == "return" and not may_go_on and self._text(index + 1) == "}":
            return
        # The inner of brackets is left out of `texts`: what is left is `a . b (`.
        declares = re.search(r"[\w>&*] +[A-Za-z_]\w* \($", " ".join(texts))
        assigns = any(text.endswith("=") and text not in COMPARISONS for text in texts)
        if texts[0] in EXITS or (texts[-1] == "(" and texts[0] not in NO_CALL and not declares
                                 and not assigns and first not in self.untouchable):
            self._add(first, index, ";")


def with_another_letter(literal):
    """Changes the last letter or digit that is part of no escape and of no conversion."""
    opening = literal.index('"') + 1
    letters = [match.start(1) for match in
               re.finditer(r"\\.[0-9a-fA-F]*|%[-+ #0-9.*lI]*[A-Za-z]|([A-Za-z0-9])", literal[opening:])
               if match[1]]
    if not letters:
        return literal[:-1] + 'x"'
    at = opening + letters[-1]
    old = literal[at]
    new = str((int(old) + 1) % 10) if old.isdigit() else ("y" if old in "xX" else "x")
    return literal[:at] + new + literal[at + 1:]


def mutants_of(name, source):
    return SourceFile(name, source).find_mutants()
