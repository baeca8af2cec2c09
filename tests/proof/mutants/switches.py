# SPDX-License-Identifier: Apache-2.0
"""Puts many mutants into one build, each behind a switch.

`a < b` becomes `(mutants::is(7) ? (a <= b) : (a < b))`: the expression around the mutant stands there as
it is and as the mutant has it, and the environment says at run time which one counts. What no run-time
switch can stand in (constants, types, template arguments of types) gets none.
"""

import re

MOST = 4096  # as in switches.h

# How much of the code around a mutant stands there twice: the whole expression, so that operands that
# must be constants stay constants; the operand alone; nothing, where neither compiles.
WIDE, NARROW, NONE = range(3)

HIDDEN = re.compile(r"""//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|(?<!\d)'(?:[^'\\\n]|\\.)'"""
                    r"""|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*""", re.MULTILINE | re.DOTALL)
CONTROL = re.compile(r"\b(?:if|for|while|switch|catch|constexpr|alignas|sizeof|decltype|noexcept)\s*$")
HEAD = re.compile(r"\s*(?:if|while|for)\s*(?:constexpr\s*)?\(")
PREFIX = re.compile(r"\s*(?:return\b|else\b|throw\b|default\s*:(?!:)|case\b[^;:?]*:(?!:)|TAVIX_EACH\(\w+\)\s)")
ASSIGNMENT = re.compile(r"(?<![<>=!+\-*/%&|^])=(?!=)")
DECLARATION = re.compile(r"(?:const|static|template|using|struct|class|explicit|void|auto|enum|inline|TAVIX_INLINE)\b"
                         r"|[\w:]+(?:<[^;]*>)?(?:\s*[*&]+\s*|\s+[*&]*)\(?[*&]?\w+\)?\s*[\[({]")
CONSTANT = re.compile(r"\b(?:constexpr|constinit|static_assert|template|using|enum)\b")
MACRO = re.compile(r"[A-Z][A-Z0-9_]+\(")  # that stands as a statement


# The code with comments, texts and directives blanked, and with the brackets of templates, which have no
# spaces before them, as braces of their own.
def blanked(text):
    def blank(match):
        kept = match.group()
        if kept[0] in "\"'":
            return kept[0] + "_" * (len(kept) - 2) + kept[-1]
        first = ";" if kept.lstrip().startswith("#") else " "
        return first + re.sub(r"[^\n]", " ", kept[1:])

    code = HIDDEN.sub(blank, text)
    code = re.sub(r"(?<=\w)<(?![<=])", "\N{LEFT DOUBLE QUOTATION MARK}", code)
    return re.sub(r"(?<=[^\s>-])>+(?!=)", lambda m: "\N{RIGHT DOUBLE QUOTATION MARK}" * len(m.group()), code)


OPEN, CLOSE = "([{\N{LEFT DOUBLE QUOTATION MARK}", ")]}\N{RIGHT DOUBLE QUOTATION MARK}"
ANGLE, END_ANGLE = OPEN[-1], CLOSE[-1]


# Where each bracket has its partner.
def partners(code):
    found, stack = {}, []
    for i, c in enumerate(code):
        if c in OPEN:
            stack.append(i)
        elif c in CLOSE and stack:
            while len(stack) > 1 and code[stack[-1]] == ANGLE and c != END_ANGLE:
                stack.pop()
            if OPEN.index(code[stack[-1]]) == CLOSE.index(c):
                found[i] = stack.pop()
                found[found[i]] = i
    return found


class Code:
    def __init__(self, text):
        self.text = text
        self.code = blanked(text)
        self.partner = partners(self.code)

    # To the left of `at`, the first of these characters outside of brackets, or the bracket around.
    def left(self, at, characters):
        i = at - 1
        while i >= 0:
            c = self.code[i]
            if c in CLOSE and i in self.partner and not (c == "}" and ";" in characters and self.ends_block(i)):
                i = self.partner[i]
            elif c in characters or c == "}" or (c in OPEN and i in self.partner):
                return i
            i -= 1
        return -1

    def right(self, at, characters):
        i = at
        while i < len(self.code):
            c = self.code[i]
            if c in OPEN and i in self.partner:
                if c == "{" and self.code[:i].rstrip().endswith(")"):
                    return i
                i = self.partner[i]
            elif c in characters or (c in CLOSE and i in self.partner):
                return i
            i += 1
        return len(self.code)

    # Of a block of statements, not of a value in braces.
    def ends_block(self, at):
        before = self.code[: self.partner[at]].rstrip()
        block = before.endswith((")", "else", ";", "}", "{", "const", "noexcept"))
        return block or re.match(r"\s*\n", self.code[at + 1 :]) is not None

    # Whether the compiler computes it: a constant, a type, a template's default.
    def is_constant(self, at):
        while at >= 0:
            start = self.left(at, ";")
            head = self.code[start + 1 : at]
            function = self.code[at : at + 1] == "{" and re.search(r"\)(?:\s*(?:const|noexcept))*\s*$", head)
            if CONSTANT.search(head) and not function and not re.search(r"if constexpr \(.*\)\s", head, re.DOTALL):
                return True
            at = start
            while at >= 0 and self.code[at] not in OPEN:
                at = self.left(at, "")
                if at >= 0 and self.code[at] == "}":
                    at = self.partner.get(at, -1)
            if function:
                return False
        return False

    # A whole statement that can be left out, or None.
    def statement(self, a, b):
        closed = all(a <= self.partner.get(i, -1) < b for i in range(a, b) if self.code[i] in OPEN + CLOSE)
        return (a, b) if closed and not self.is_constant(a) and not DECLARATION.match(self.code, a) else None

    # From where to where the code is to stand twice, or None.
    def expression(self, start, end, level):
        if level == NONE or self.is_constant(start):
            return None
        a, stops = start, ";" if level == WIDE else ";,"
        while True:
            a = self.left(a, stops)
            if a < 0 or self.code[a] in ";,{}":
                break
            if self.code[a] == ANGLE:
                if self.code[self.partner[a] + 1] not in "(":
                    return None
                continue
            if level == NARROW or CONTROL.search(self.code[:a]):
                break
        a += 1
        b = end
        while True:
            b = self.right(b, stops)
            if b >= len(self.code) or self.code[b] in ";,{" or self.partner[b] < a:
                break
            b += 1
        a = self.after_head(a, start)
        if level == WIDE:
            a, b = self.between_commas(a, b, start, end)
        for i in self.outside_brackets(a, start):
            if ASSIGNMENT.match(self.code, i):
                a = i + 1
        while self.code[a].isspace():
            a += 1
        while self.code[b - 1].isspace():
            b -= 1
        if a > start or b < end or ";" in self.code[a:b] and level == NARROW:
            return None
        if level == WIDE and (DECLARATION.match(self.code, a) or self.names_first(a, start)):
            return self.expression(start, end, NARROW)
        return a, b

    # What stands before an expression: conditions, labels, keywords.
    def after_head(self, a, start):
        while True:
            head = HEAD.match(self.code, a, start)
            if head and self.partner[head.end() - 1] < start:
                a = self.partner[head.end() - 1] + 1
                continue
            prefix = PREFIX.match(self.code, a, start)
            if not prefix:
                return a
            a = prefix.end()

    def outside_brackets(self, a, b):
        i = a
        while i < b:
            if self.code[i] in OPEN and i in self.partner:
                i = self.partner[i]
            else:
                yield i
            i += 1

    def between_commas(self, a, b, start, end):
        commas = [i for i in self.outside_brackets(a, b) if self.code[i] == ","]
        return max([i + 1 for i in commas if i < start] + [a]), min([i for i in commas if i >= end] + [b])

    # The list of a constructor, or what a loop runs over.
    def names_first(self, a, start):
        colons = [i for i in self.outside_brackets(a, start)
                  if self.code[i] == ":" and ":" not in self.code[i - 1] + self.code[i + 1]]
        return bool(colons) and "?" not in self.code[a : colons[0]]


# The text with each of the numbered mutants behind its switch, and of those that have one the lines that
# they span. `levels` holds what else than WIDE is tried.
def with_switches(text, numbered, levels):
    code = Code(text)
    places = []  # [start, end, whether it is a statement, mutants]
    for number, mutant in numbered:
        place, statement = None, mutant.new == "" and mutant.old.rstrip().endswith(";")
        level = levels.get(number, WIDE)
        if statement:
            if level == WIDE:
                place = code.statement(mutant.end - len(mutant.old.lstrip()), mutant.end)
        else:
            place = code.expression(mutant.start, mutant.end, level)
            if place and MACRO.match(code.code, place[0]) and code.code[place[1]] == ";":
                place, statement = (place[0], place[1] + 1), True
        if place:
            places.append([*place, statement, [(number, mutant)]])
    merged = []
    for place in sorted(places, key=lambda p: (p[0], -p[1])):
        if not merged or place[0] >= merged[-1][1]:
            merged.append(place)
        elif place[2] and not merged[-1][2]:
            continue  # a statement inside of an expression
        else:
            merged[-1][1] = max(merged[-1][1], place[1])
            merged[-1][3] += place[3]

    spans, out, at = {}, [], 0
    for a, b, statement, members in merged:
        variants = []
        for number, mutant in members:
            spans[number] = text.count("\n", 0, a) + 1, text.count("\n", 0, b) + 1
            variants.append((number, one_line(text[a : mutant.start] + mutant.new + text[mutant.end : b])))
        out.append(text[at:a])
        if statement:
            out += [f"if (mutants::is({number})) {{ {variant} }} else " for number, variant in variants]
            out += ["{ ", text[a:b], " }"]
        else:
            out += ["("] + [f"mutants::is({number}) ? ({variant}) : " for number, variant in variants]
            out += ["(", text[a:b], "))"]
        at = b
    out.append(text[at:])
    return "".join(out), spans


def one_line(text):
    return re.sub(r"\\?\n", " ", re.sub(r"//[^\n]*", "", text))
