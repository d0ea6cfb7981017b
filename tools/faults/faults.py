# SPDX-License-Identifier: BSD-2-Clause
"""Finds places in C and C++ sources where a small fault can be put in, and puts it there.

All faults are compiled into one build, and each is switched on by its number when a program starts:
`a < b` becomes `(DREND_FAULT(7) ? (a <= b) : (a < b))`. A line gets one fault at most. Sources are
read line by line, in the one way in which the formatter lays them out; what does not compile is taken
out again by who builds.
"""

import collections
import re

Fault = collections.namedtuple("Fault", "number path line kind before after")

# An operator with a blank on both sides, and what it is mistaken for.
OPERATORS = {
    " < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ",
    " && ": " || ", " || ": " && ", " + ": " - ", " - ": " + ", " & ": " | ",
}
OPERATOR = re.compile("|".join(re.escape(word) for word in OPERATORS))
CONDITION = re.compile(r"^(\s*(?:\} else )?(?:if|while) \()(.*)(\)(?: \{)?)$")
RETURN = re.compile(r"^(\s*return )(.+)(;)$")
ASSIGNMENT = re.compile(r"^(\s*[\w.\->\[\]*]+ [-+|&]?= )(.+)(;)$")
STATEMENT = re.compile(r"^(\s*)((?:[\w.\->\[\]:]+\(.*\)|[\w.\->\[\]*]+ [-+|&]?= .+|(?:\+\+|--)[\w.\->]+);)$")
NUMBER = re.compile(r"(?<![\w.\"'])(\d+)(?![\w.\"'])")
KEYWORDS = re.compile(r"^\s*(assert|static_assert|case|delete|else|for|new|return|throw|using|va_\w+)\b")


def is_balanced(text):
    depth = 0
    for character in text:
        depth += (character in "([{") - (character in ")]}")
        if depth < 0:
            return False
    return depth == 0


def is_expression(text):
    """Whether text is a whole expression, and nothing declares anything in it."""
    return (is_balanced(text) and ";" not in text and "[&" not in text and "[this" not in text
            and '"' not in text and not re.search(r"\b(const|auto)\b|[^=!<>+\-|&]= ", text))


def choice(number, wrong, right):
    return f"(DREND_FAULT({number}) ? ({wrong}) : ({right}))"


def in_expression(number, text):
    """The faults that an expression can have, each as (kind, wrong expression, text with both)."""
    for found in OPERATOR.finditer(text):
        wrong = text[:found.start()] + OPERATORS[found.group()] + text[found.end():]
        yield "operator", wrong, choice(number, wrong, text)
    for found in NUMBER.finditer(text):
        wrong = text[:found.start()] + str(int(found.group()) + 1) + text[found.end():]
        yield "constant", wrong, choice(number, wrong, text)
    if text in ("true", "false"):
        wrong = "false" if text == "true" else "true"
        yield "constant", wrong, choice(number, wrong, text)


def in_line(number, line):
    """The faults that a line can have, each as (kind, wrong line, line with both)."""
    found = CONDITION.match(line)
    if found and is_expression(found[2]):
        before, text, behind = found.groups()
        yield ("condition", f"{before}!({text}){behind}",
               f"{before}DREND_FAULT({number}) != !!({text}){behind}")
        for kind, wrong, both in in_expression(number, text):
            yield kind, before + wrong + behind, before + both + behind
        return
    for pattern in (RETURN, ASSIGNMENT):
        found = pattern.match(line)
        if found and is_expression(found[2]):
            before, text, behind = found.groups()
            for kind, wrong, both in in_expression(number, text):
                yield kind, before + wrong + behind, before + both + behind
    found = STATEMENT.match(line)
    if found and is_balanced(found[2]) and not KEYWORDS.match(line):
        yield "statement", found[1] + ";", f"{found[1]}{{ if (!DREND_FAULT({number})) {found[2]} }}"


def begins_statement(above):
    """Whether what stands above lets a line begin a statement: not in the middle of one."""
    return above == "" or above[-1] in ";{}:" or CONDITION.match(above) or above.endswith(" else")


def faults_in(text):
    """All faults that a file's text can have, as (line number, kind, line, wrong line).

    Within functions, that is: a definition begins in the first column and ends with a brace there, a
    member's body stands two steps in.
    """
    above, is_function = "", False
    for at, line in enumerate(text.split("\n"), 1):
        bare = re.sub(r"\s*//.*$", "", line.strip())
        if re.match(r"[\w\[~]", line):
            is_function = "(" in line and "constexpr" not in line
        if line.startswith("    " if is_function else "        ") and begins_statement(above):
            for kind, wrong, _ in in_line(0, line):
                yield at, kind, line, wrong
        above = bare or above


def put_in(text, faults):
    """The text with these faults, each switched by its number."""
    lines = text.split("\n")
    for fault in faults:
        for _, wrong, both in in_line(fault.number, fault.before):
            if wrong == fault.after:
                lines[fault.line - 1] = both
                break
    return "\n".join(lines)
