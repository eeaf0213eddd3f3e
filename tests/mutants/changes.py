"""The small changes: found by rules over the text of a source file, so that they work on whatever is there.

Left alone: comments, preprocessor lines but for the bodies of macros, static_assert, attributes and what else only advises the
optimiser, and the halves for AArch64 (another machine's).

A rule is a function code, text, names -> changes. `code` is what code_of makes of the text, of the same length.
"""
import re
from collections import defaultdict
from dataclasses import dataclass
from functools import lru_cache

BLANK = re.compile(r"[^\n]")
CLOSING = {"(": ")", "[": "]", "{": "}"}
OPENING = {closing: opening for opening, closing in CLOSING.items()}


@dataclass(frozen=True)
class Change:
    rule: str
    at: int
    end: int
    text: str


# What is looked at.

def blank(text):
    return BLANK.sub(" ", text)


def code_of(text):
    """The text with everything blanked that is not to be changed; strings keep their quotes only."""
    parts = re.compile(
        r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\])'(?!\w)|\[\[[^\]]*\]\]|__attribute__\(\(.*?\)\)", re.S)
    text = parts.sub(lambda m: f'"{blank(m.group())[2:]}"' if m.group()[0] == '"' else blank(m.group()), text)
    text = re.sub(r"\bstatic_assert\b[^;]*;", lambda m: blank(m.group()), text)
    code = "\n".join(without_directives(text.split("\n")))
    hints = list(re.finditer(r"\b__builtin_expect\(", code))
    for close in filter(None, (matching(code, m.end() - 1) for m in hints)):
        hint = code.rindex(",", 0, close)
        code = code[:hint] + blank(code[hint:close]) + code[close:]
    return code


def without_directives(lines):
    """The lines, with those of the preprocessor blanked, and those for another machine; of a macro the body stays."""
    halves = []  # for every #if that is open: whether this half is for AArch64, and whether #else would be
    directive = ""
    for i, line in enumerate(lines):
        is_continued = directive and lines[i - 1].endswith("\\")
        if not is_continued:
            directive = line.strip() if line.strip().startswith("#") else ""
        head = 0
        if directive and not is_continued:
            if directive.startswith("#if"):
                halves.append(("__aarch64__" in directive, "__x86_64__" in directive))
            elif directive.startswith("#elif"):
                halves[-1] = ("__aarch64__" in directive, halves[-1][1])
            elif directive.startswith("#else"):
                halves[-1] = (halves[-1][1], False)
            elif directive.startswith("#endif"):
                halves.pop()
            define = re.match(r"\s*#\s*define\s+\w+(\([^)]*\))?", line)
            head = define.end() if define else len(line)
        elif directive and not directive.startswith("#define"):
            head = len(line)
        if any(is_other for is_other, _ in halves):
            head = len(line)
        yield blank(line[:head]) + (re.sub(r"\\$", " ", line[head:]) if directive else line[head:])


@lru_cache(maxsize=None)
def brackets(code):
    """(closing by opening, opening by closing): the places of the brackets that belong together."""
    closing, waiting = {}, []
    for m in re.finditer(r"[][(){}]", code):
        if m.group() in CLOSING:
            waiting.append(m)
        elif waiting and CLOSING[waiting[-1].group()] == m.group():
            closing[waiting.pop().start()] = m.start()
        else:
            waiting.clear()  # nothing that is open here ends as it should
    return closing, {close: at for at, close in closing.items()}


def matching(code, at):
    """The place of the bracket that closes the one at `at`, or None."""
    return brackets(code)[0].get(at)


def matching_back(code, at):
    """The place of the bracket that opens the one at `at`, or None."""
    return brackets(code)[1].get(at)


def enclosing(code, at):
    """The place of the brace that is open at `at`, or None."""
    i = at - 1
    while i >= 0:
        if code[i] in OPENING:
            i = matching_back(code, i)
            if i is None:
                return None
        elif code[i] in CLOSING:
            return i if code[i] == "{" else None
        i -= 1
    return None


def head_of(code, brace):
    """The keyword of the statement that a brace is the block of: if, for, while, switch, else, do; "" of anything else."""
    before = code[:brace].rstrip()
    if before.endswith(")"):
        open_at = matching_back(code, len(before) - 1)
        before = before[:open_at].rstrip() if open_at is not None else ""
    word = re.search(r"\b(if constexpr|if|for|while|switch|else|do)$", before)
    return word.group(1) if word else ""


def end_of_operand(code, at, ends=(" && ", " || ", " &&\n", " ||\n")):
    """Where an operand that begins at `at` ends: before one of `ends`, or with what it stands in."""
    i = at
    while i < len(code):
        c = code[i]
        if c in CLOSING:
            closed = matching(code, i)
            if closed is None:
                return None
            i = closed
        elif code.startswith("::", i):
            i += 1
        elif c == "<" and code[i - 1] not in " <" and ">" in code[i:]:
            i = code.index(">", i)  # template arguments
        elif c in ");?:]},":
            return i
        elif code.startswith(ends, i):
            return i
        i += 1
    return None


def start_of_operand(code, at):
    """Where an operand that ends before `at` begins."""
    i = at - 1
    while i >= 0:
        c = code[i]
        if c in OPENING:
            i = matching_back(code, i)
            if i is None:
                return None
        elif c in "({[;,?:=" and not code.startswith(("==", "::"), i) and code[i - 1:i + 1] not in ("==", "!=", "<=", ">=", "::"):
            break
        elif code.startswith(("&& ", "|| ", "&&\n", "||\n"), i - 1):
            break
        elif re.match(r"return\b", code[i - 5:i + 1] if i >= 5 else ""):
            break
        i -= 1
    return i + 1 + len(code[i + 1:]) - len(code[i + 1:].lstrip())


def split_list(code, at, end):
    """The items of a list between brackets: [(begin, end)]."""
    cuts, i = [at], at
    while i < end:
        if code[i] in CLOSING:
            i = matching(code, i) or end
        elif code[i] == ",":
            cuts.append(i + 1)
        i += 1
    cuts.append(end + 1)
    return [(a, b - 1) for a, b in zip(cuts, cuts[1:])]


class Names:
    """What may stand for what: enumerators of an enum, constants of one file and type, members of a struct of one type."""

    KEYWORDS = re.compile(r"\b(using|friend|typedef|static|return|public|private|template|operator|enum|struct|class|case)\b")

    def __init__(self, texts):
        self.enumerators, self.constants, self.members = defaultdict(set), defaultdict(set), defaultdict(set)
        for text in texts:
            code = code_of(text)
            for m in re.finditer(r"\benum (?:class |struct )?(\w*)[^{;()]*\{([^}]*)\}", code):
                values = [v.split("=")[0].strip() for v in m.group(2).split(",")]
                scope = m.group(1) + "::" if re.match(r"enum (class|struct)", m.group()) else ""
                self._group(self.enumerators, [scope + v for v in values if v])
            constants = defaultdict(list)
            for m in re.finditer(r"(?m)^( *)(?:inline |static )*constexpr ([\w:]+[ *]+)(\w+) = ", code):
                constants[m.group(1), m.group(2).strip()].append(m.group(3))
            for group in constants.values():
                self._group(self.constants, group)
            for m in re.finditer(r"\b(?:struct|class)\b[^;{}()=]*\{", code):
                self._read_members(code, m.end() - 1)

    def _read_members(self, code, brace):
        close = matching(code, brace)
        if close is None:
            return
        parts, at = [], brace + 1
        for inner in (m.start() for m in re.finditer(r"\{", code[:close])):
            if inner >= at:
                parts.append(code[at:inner])
                at = (matching(code, inner) or close) + 1
                # A function's body ends its declaration; an initialiser's braces do not.
                parts.append(";" if parts[-1].rstrip().endswith((")", "const")) else "")
        parts.append(code[at:close])
        members = defaultdict(list)
        for declaration in "".join(parts).split(";"):
            declaration = re.sub(r"\b(public|protected|private):", "", " ".join(declaration.split(" = ")[0].split())).strip()
            if self.KEYWORDS.search(declaration):
                continue
            if m := re.fullmatch(r"([\w:<>, ]*[\w>][ *&]+)(\w+)((?:\[.*\])?)", declaration):
                members[m.group(1).strip(), m.group(3)].append(m.group(2))
            elif m := re.fullmatch(r"([\w: *&]+)\(\*(\w+)\)(\(.*\))", declaration):
                members[m.group(1).strip(), m.group(3)].append(m.group(2))
        for group in members.values():
            self._group(self.members, group)

    @staticmethod
    def _group(into, names):
        """Each may stand for the one before it and the one behind it; behind the last comes the first."""
        names = list(dict.fromkeys(names))
        for name, other in zip(names, names[1:] + names[:1]):
            if name != other:
                into[name].add(other)
                into[other].add(name)


# The rules.

OPERATORS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["/"], "<<": [">>"], ">>": ["<<"],
    "&": ["|"], "|": ["&"], "^": ["|"], "&&": ["||"], "||": ["&&"],
    "+=": ["-=", "="], "-=": ["+=", "="], "|=": ["=", "&="], "&=": ["=", "|="], "^=": ["|="], "*=": ["+="], "/=": ["*="],
    "%=": ["/="], "<<=": [">>="], ">>=": ["<<="],
}


def operators(code, text, names):
    for m in re.finditer(r"(?<= )([<>=!+\-*/%&|^]{1,3})(?=[ \n])", code):
        for other in OPERATORS.get(m.group(1), []):
            yield "operator", m.start(1), m.end(1), other
    for m in re.finditer(r"\+\+|--", code):
        yield "operator", m.start(), m.end(), "--" if m.group() == "++" else "++"
    for m in re.finditer(r"(?<![\w)\]])[!~](?=[\w(:])|(?<=[=,?:(] )-(?=[\w(])|(?<=[(\[])-(?=[\w(])", code):
        yield "operator", m.start(), m.end(), ""


def constants(code, text, names):
    for m in re.finditer(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)", code):
        number = int(m.group(), 0)
        yield "constant", m.start(), m.end(), str(number + 1)
        if number > 0:
            yield "constant", m.start(), m.end(), str(number - 1)


WORDS = {
    "true": "false", "false": "true",
    "__ATOMIC_ACQUIRE": "__ATOMIC_RELAXED", "__ATOMIC_RELEASE": "__ATOMIC_RELAXED",
    "uint64_t": "uint32_t", "uint32_t": "uint16_t", "uint16_t": "uint8_t",
    "UINT64_MAX": "UINT32_MAX", "UINT32_MAX": "UINT16_MAX", "UINT16_MAX": "UINT8_MAX",
}


def other_names(code, text, names):
    for m in re.finditer(r"(?<![\w:])\w+(?!\w)", code):
        word = m.group()
        if word in WORDS:
            yield "name", m.start(), m.end(), WORDS[word]
        line = code[code.rfind("\n", 0, m.start()) + 1:m.start()]
        if not re.search(r"\bconstexpr [\w: *]+$", line):  # else it is declared here
            for other in names.constants.get(word, ()):
                if code[m.start() - 1] != "." and code[m.start() - 2:m.start()] != "->":
                    yield "name", m.start(), m.end(), other
        if not re.match(r"\s*(=|,|\})", code[m.end():m.end() + 40]) or code[m.start() - 1] != " ":
            for other in names.enumerators.get(word, ()):
                yield "name", m.start(), m.end(), other
    for m in re.finditer(r"\b(\w+)::(\w+)(?!\w|::)", code):
        for other in names.enumerators.get(m.group(), ()):
            yield "name", m.start(), m.end(), other
    for m in re.finditer(r"[\w)\]]\s*(?:\.|->)(\w+)(?!\w)", code):
        for other in names.members.get(m.group(1), ()):
            yield "name", m.start(1), m.end(1), other


def conditions(code, text, names):
    for m in re.finditer(r"\b(if(?: constexpr)?|while) \(", code):
        close = matching(code, m.end() - 1)
        if close is None:
            continue
        condition, i = m.end(), m.end()
        while i < close:
            if code[i] in CLOSING:
                i = matching(code, i) or close
            elif code[i] == ";":  # if (initialisation; condition)
                condition = i + 1
            i += 1
        yield "condition", condition, close, "false"
        if m.group(1) != "while":  # which would not end
            yield "condition", condition, close, "true"
            yield "condition", condition, close, "!(" + text[condition:close].strip() + ")"
    for m in re.finditer(r"(?<=[ \n])\?(?=[ \n])", code):
        colon = end_of_operand(code, m.end())
        if colon is None or not code.startswith(": ", colon):
            continue
        end = end_of_operand(code, colon + 2, ())
        if end is not None:
            first, second = text[m.end():colon].strip(), text[colon + 2:end].strip()
            yield "condition", m.end(), end, f" {second} : {first}"


def dropped_operands(code, text, names):
    for m in re.finditer(r" (&&|\|\|)[ \n]", code):
        end = end_of_operand(code, m.end())
        if end is not None:
            yield "dropped operand", m.start(), end, ""
        start = start_of_operand(code, m.start())
        if start is not None and start < m.start():
            yield "dropped operand", start, m.end(), ""


DECLARES = re.compile(
    r"\s*(?:(?:return|break|continue|using|const|constexpr|static|inline|auto|template|typename|class|struct|enum|if|else|for|"
    r"while|public|private|namespace|case|default|friend|extern)\b|"
    r"\w[\w:<>, ]*[\s*&]+\w+(?:\[\w*\])?\s*(?:=|\{|;|$))")


def dropped_statements(code, text, names):
    for m in re.finditer(r"(?:(?<=[;{})])|(?<=\belse)|\b(?:case [^:;{}]*(?:::[^:;{}]*)*|default):)(?: *\n)? +(\w[^;{}]*;)", code):
        if not DECLARES.match(m.group(1)):
            yield "dropped statement", m.start(1), m.end(1), ";"


def jumps(code, text, names):
    for m in re.finditer(r"\b(break|continue);", code):
        yield "jump", m.start(), m.end(), ";"
        yield "jump", m.start(1), m.end(1), "continue" if m.group(1) == "break" else "break"
    for m in re.finditer(r"\breturn\b[^;{}]*;", code):
        before, behind = code[:m.start()].rstrip(), code[m.end():].lstrip()
        if before.endswith((")", "else")) and not behind.startswith("}"):
            yield "jump", m.start(), m.end(), ";"  # the statement of an if, with more to come
        elif behind.startswith(("case ", "default:")):
            yield "jump", m.start(), m.end(), ";"
        elif behind.startswith("}"):
            brace = enclosing(code, m.start())
            close = brace is not None and matching(code, brace)
            if close and head_of(code, brace) in ("if", "else", "for", "while") and \
                    not code[close + 1:].lstrip().startswith("}"):
                yield "jump", m.start(), m.end(), ";"


def returned_values(code, text, names):
    for m in re.finditer(r"\breturn ([^;{}]*);", code):
        value = text[m.start(1):m.end(1)]
        for other in ("0", "true", f"!({value})"):
            if value not in ("0", "false", "true", other):
                yield "returned value", m.start(1), m.end(1), other


def loops(code, text, names):
    for m in re.finditer(r"\b(?:for|while) \(", code):
        close = matching(code, m.end() - 1)
        block = re.match(r"\s*\{", code[close + 1:]) if close is not None else None
        if block is None:
            continue
        brace = close + block.end()
        end = matching(code, brace)
        if end is not None:
            yield "loop", end, end, "break; "  # once
            yield "loop", brace + 1, brace + 1, " break;"  # not at all


def swapped_arguments(code, text, names):
    for m in re.finditer(r"\w[\w>]*\(|(?:[=(,{]|\breturn|\w) ?\{", code):
        close = matching(code, m.end() - 1)
        if close is None or re.match(r"(if|for|while|switch|sizeof|defined)\(", m.group()):
            continue
        if m.group().endswith("{") and ";" in code[m.end():close]:
            continue  # a block
        items = split_list(code, m.end(), close)
        for (a, b), (c, d) in zip(items, items[1:]):
            first, second = text[a:b].strip(), text[c:d].strip()
            is_whole = all(t and t.count("<") == t.count(">") and "{" not in t and not t.startswith(".") and
                           not re.fullmatch(r"[\w:<>. ]*[\w>.][\s*&]+\w+", t) for t in (first, second))
            if first != second and is_whole:
                yield "swapped arguments", a, d, second + ", " + first


def initialisers(code, text, names):
    """Of a list with designated ones: one left out, or the values of two neighbours exchanged."""
    for m in re.finditer(r"\{(?=\s*\.\w+ = )", code):
        close = matching(code, m.end() - 1)
        if close is None:
            continue
        items = [(a, b) for a, b in split_list(code, m.end(), close) if re.match(r"\s*\.\w+ = ", code[a:b])]
        for a, b in items:
            yield "initialiser", a, b + (code[b] == ","), ""
        for (a, b), (c, d) in zip(items, items[1:]):
            (first, value), (second, other) = text[a:b].split(" = ", 1), text[c:d].split(" = ", 1)
            if value.strip() != other.strip():
                yield "initialiser", a, d, f"{first} = {other},{second} = {value}"


def cases(code, text, names):
    """The bodies of two cases exchanged, by their labels."""
    for m in re.finditer(r"\bswitch \(", code):
        close = matching(code, m.end() - 1)
        brace = code.find("{", close) if close is not None else -1
        end = matching(code, brace) if brace >= 0 else None
        if end is None:
            continue
        labels = [n for n in re.finditer(r"\b(?:case ((?:[^:;{}]|::)+)|default):(?!:)", code[:end])
                  if n.start() > brace and enclosing(code, n.start()) == brace]
        for one, two in zip(labels, labels[1:]):
            if code[one.end():two.start()].strip():
                first, second = text[one.start():one.end()], text[two.start():two.end()]
                yield "case", one.start(), two.end(), second + text[one.end():two.start()] + first


def texts(code, text, names):
    """What the library says: names, texts, tags. Each says something else by one letter."""
    for m in re.finditer(r'"( *)"', code):
        statement = code[max(code.rfind(c, 0, m.start()) for c in ";{}") + 1:m.start()]
        if not re.search(r"\b(asm|extern)\b", statement):
            yield "text", m.start(1), m.end(1), text[m.start(1):m.end(1)] + "x"


RULES = (operators, constants, other_names, conditions, dropped_operands, dropped_statements, jumps, returned_values, loops,
         swapped_arguments, initialisers, cases, texts)


def all_changes(text, names):
    """Every change of the file, in the order of their places."""
    code = code_of(text)
    found = {Change(*change) for rule in RULES for change in rule(code, text, names)}
    return sorted((c for c in found if text[c.at:c.end] != c.text), key=lambda c: (c.at, c.end, c.text, c.rule))
