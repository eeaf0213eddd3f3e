"""The small changes: found by rules over the text of a source file, so that they work on whatever is there.

Left alone: comments, preprocessor lines, static_assert, attributes, and the halves for AArch64 (another machine's).
"""
import re
from dataclasses import dataclass

BLANK = re.compile(r"[^\n]")


def blank(text):
    return BLANK.sub(" ", text)


def code_of(text):
    """The text with everything blanked that is not to be changed; strings keep their quotes only."""
    parts = re.compile(
        r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\])'(?!\w)|\[\[[^\]]*\]\]|__attribute__\(\(.*?\)\)", re.S)
    text = parts.sub(lambda m: blank(m.group()), text)
    text = re.sub(r"\bstatic_assert\b[^;]*;", lambda m: blank(m.group()), text)
    lines = text.split("\n")
    other_machine = []  # a flag for every #if that is open
    for i, line in enumerate(lines):
        directive = line.strip()
        if directive.startswith("#if"):
            other_machine.append("__aarch64__" in directive)
        elif directive.startswith(("#else", "#elif")):
            other_machine[-1] = False
        elif directive.startswith("#endif"):
            other_machine.pop()
        if directive.startswith("#") or any(other_machine) or (i and lines[i - 1].endswith("\\")):
            lines[i] = blank(line)
    return "\n".join(lines)


@dataclass(frozen=True)
class Change:
    rule: str
    at: int
    end: int
    text: str


OPERATORS = {
    " < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ",
    " + ": " - ", " - ": " + ", " * ": " + ", " / ": " * ", " % ": " / ", " << ": " >> ", " >> ": " << ",
    " & ": " | ", " | ": " & ", " ^ ": " | ", " && ": " || ", " || ": " && ",
    " += ": " -= ", " -= ": " += ", " |= ": " = ", " *= ": " += ", " /= ": " *= ",
}
WORDS = {
    "true": "false", "false": "true",
    "__ATOMIC_ACQUIRE": "__ATOMIC_RELAXED", "__ATOMIC_RELEASE": "__ATOMIC_RELAXED",
    "byte_order::native": "byte_order::swapped", "byte_order::swapped": "byte_order::native",
    "direction::send": "direction::receive", "direction::receive": "direction::send",
    "table_role::root": "table_role::non_root", "table_role::non_root": "table_role::root",
    "table_check::position": "table_check::vtable_position",
    "table_check::vtable_position": "table_check::vtable_length",
    "table_check::vtable_length": "table_check::position",
    "log_kind": "log_kind_no_memory", "log_kind_no_memory": "log_kind",
    "log_line::root_table": "log_line::table", "log_line::table": "log_line::root_table",
    "log_line::root_allocation": "log_line::allocation", "log_line::allocation": "log_line::root_allocation",
    "log_line::pack_arguments": "log_line::unpack_arguments", "log_line::unpack_arguments": "log_line::pack_arguments",
    "cache_alloc": "mem_alloc", "mem_alloc": "cache_alloc", "cache_free": "mem_free", "mem_free": "cache_free",
    "word_size": "entry_size", "entry_size": "word_size", "uint64_t": "uint32_t", "uint16_t": "uint8_t",
    "services_bound": "cache_bound", "cache_bound": "services_bound", "UINT16_MAX": "UINT8_MAX",
}
CLOSING = {"(": ")", "[": "]", "{": "}"}
DECLARES = re.compile(
    r"\s*(?:(?:return|using|const|constexpr|static|inline|auto|template|typename|class|struct|enum|if|else|for|while|"
    r"public|private|namespace|case|friend|extern)\b|\w[\w:<>, ]*[\s*&]+\w+(?:\[\w*\])?\s*(?:=|\{|;|$))")


def matching(code, at):
    """The place of the bracket that closes the one at `at`, or None."""
    open_brackets = []
    for i in range(at, len(code)):
        c = code[i]
        if c in CLOSING:
            open_brackets.append(CLOSING[c])
        elif c in ")]}":
            if not open_brackets or open_brackets.pop() != c:
                return None
            if not open_brackets:
                return i
    return None


def end_of_operand(code, at):
    """Where an operand of && or || that begins at `at` ends."""
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
        elif code.startswith((" && ", " || ", " &&\n", " ||\n"), i):
            return i
        i += 1
    return None


def split_arguments(code, at, end):
    cuts, i = [at], at
    while i < end:
        if code[i] in CLOSING:
            i = matching(code, i) or end
        elif code[i] == ",":
            cuts.append(i + 1)
        i += 1
    cuts.append(end + 1)
    return [(a, b - 1) for a, b in zip(cuts, cuts[1:])]


def all_changes(text):
    """Every change of the file, in no order that matters."""
    code = code_of(text)
    found = []

    for operator, other in OPERATORS.items():
        for m in re.finditer(re.escape(operator), code):
            found.append(Change("operator", m.start(), m.end(), other))
    for m in re.finditer(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)", code):
        number = int(m.group(), 0)
        found.append(Change("constant", m.start(), m.end(), str(number + 1)))
        if number > 0:
            found.append(Change("constant", m.start(), m.end(), str(number - 1)))
    for word, other in WORDS.items():
        for m in re.finditer(r"(?<![\w:])" + re.escape(word) + r"(?!\w)", code):
            if word.startswith(("log_kind", "cache_id")) and "inline constexpr" in code[code.rfind("\n", 0, m.start()):m.start()]:
                continue
            found.append(Change("name", m.start(), m.end(), other))
    for m in re.finditer(r"\bif (?:constexpr )?\(", code):
        close = matching(code, m.end() - 1)
        if close is not None:
            found += [Change("condition", m.end(), close, value) for value in ("true", "false")]
    for m in re.finditer(r" (&&|\|\|)[ \n]", code):
        end = end_of_operand(code, m.end())
        if end is not None:
            found.append(Change("dropped operand", m.start(), end, ""))
    for m in re.finditer(r"(?<=[;{})])\n +(\w[^;{}]*;)", code):
        if not DECLARES.match(m.group(1)):
            found.append(Change("dropped statement", m.start(1), m.end(1), ";"))
    for m in re.finditer(r"\breturn ([^;{}]*);", code):
        for value in ("0", "true"):
            if m.group(1) not in ("0", "false", "true", value):
                found.append(Change("returned value", m.start(1), m.end(1), value))
    for m in re.finditer(r"\w[\w>]*\(", code):
        close = matching(code, m.end() - 1)
        if close is None or re.match(r"(if|for|while|switch|sizeof|defined)\(", m.group()):
            continue
        arguments = split_arguments(code, m.end(), close)
        for (a, b), (c, d) in zip(arguments, arguments[1:]):
            first, second = text[a:b].strip(), text[c:d].strip()
            is_whole = all(t and t.count("<") == t.count(">") and "{" not in t and
                           not re.fullmatch(r"[\w:<>. ]*[\w>.][\s*&]+\w+", t) for t in (first, second))
            if first != second and is_whole:
                found.append(Change("swapped arguments", a, d, second + ", " + first))
    # What the library says: names, texts, tags. Each says something else by one letter.
    code_with_strings = re.sub(r"//[^\n]*", lambda m: blank(m.group()), text)
    for m in re.finditer(r'"((?:\\.|[^"\\\n])+)"', code_with_strings):
        line_at = text.rfind("\n", 0, m.start()) + 1
        line = text[line_at:text.find("\n", m.start())]
        if not re.match(r"\s*(#|\[\[|static_assert|extern|asm|.*\bidlc\b)", line) and "static_assert" not in line \
                and code[line_at:m.start()].strip():
            found.append(Change("text", m.start(1), m.end(1), m.group(1) + "x"))
    return sorted(set(found), key=lambda c: (c.at, c.end, c.text))
