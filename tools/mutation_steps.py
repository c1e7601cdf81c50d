"""The steps that mutate the sources of the library: where they are, how they
are written into the sources, and how they are shown.

Code in constant expressions and from macros is not changed, only counted.
"""
import collections
import os
import pathlib
import re
import sys

from clang import cindex
from clang.cindex import CursorKind as Kind, TypeKind

ROOT = pathlib.Path(__file__).resolve().parent.parent

# The replacements for each operator.
OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",),
    "&": ("|",), "|": ("&",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "/=": ("*=",),
    "&=": ("|=",), "|=": ("&=",), "++": ("--",), "--": ("++",),
}
# Names of types in template code that are numbers.
NUMBERS = re.compile(r"\b(C|Char|char_type|int_type|size_type|Count|iostate)$")

# A change of the text from start to end. The changed text and the original are
# both wrapped in cast. With swapped, the extent of a second statement, the
# change puts the two statements in the other order.
Step = collections.namedtuple(
    "Step", "path function start end change cast swapped", defaults=("", None))


def flat(text):
    """Code on one line, without comments."""
    return " ".join(re.sub(r"//[^\n]*", "", text).split())


class Collector:
    """Finds the steps of the library's sources."""

    def __init__(self):
        self.texts = {}
        self.steps = set()
        self.skipped = set()
        self.returns_reference = False
        self.macros = collections.defaultdict(set)

    def parse(self, path, text=None):
        unit = cindex.Index.create().parse(
            str(path), args=["-xc++", "-std=c++2b", f"-I{ROOT}/sys/src"],
            unsaved_files=[(str(path), text)] if text else None,
            options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        if errors := [d for d in unit.diagnostics if d.severity >= 3]:
            sys.exit(f"mutate: {errors[0]}")
        for cursor in unit.cursor.get_children():
            file = cursor.location.file
            path = pathlib.Path(file.name).resolve() if file else None
            if path is None or not path.is_relative_to(ROOT / "sys"):
                continue
            if path not in self.texts:
                self.texts[path] = path.read_text()
            if cursor.kind == Kind.MACRO_INSTANTIATION:
                self.macros[path].add(self.extent(cursor))
            else:
                self.path = path
                self.text = self.texts[path]
                self.function = None
                self.frozen = False
                self.visit(cursor)

    @staticmethod
    def extent(cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def source(self, cursor):
        start, end = self.extent(cursor)
        return self.text[start:end]

    def add(self, extent, change, cast="", swapped=None):
        start, end = extent
        if (self.frozen or self.function is None or start >= end or
                any(a <= start < b for a, b in self.macros[self.path])):
            self.skipped.add((self.path, start))
        else:
            self.steps.add(Step(self.path, self.function, start, end,
                                flat(change), cast, swapped))

    def visit_all(self, cursors, **changed):
        saved = {name: getattr(self, name) for name in changed}
        self.__dict__.update(changed)
        for cursor in cursors:
            self.visit(cursor)
        self.__dict__.update(saved)

    def visit(self, cursor):
        children = list(cursor.get_children())
        kind = cursor.kind
        name = kind.name
        before = self.text[cursor.extent.start.offset:cursor.location.offset]
        if kind in (Kind.STATIC_ASSERT, Kind.CXX_UNARY_EXPR,
                    Kind.ENUM_CONSTANT_DECL) or "NOEXCEPT" in name:
            return
        if name in ("CXX_METHOD", "FUNCTION_DECL", "FUNCTION_TEMPLATE",
                    "CONSTRUCTOR", "DESTRUCTOR", "CONVERSION_FUNCTION"):
            self.visit_function(cursor, children, "consteval" in before)
        elif kind == Kind.LAMBDA_EXPR:
            self.visit_all(children, returns_reference=False)
        elif kind in (Kind.VAR_DECL, Kind.FIELD_DECL):
            # Array bounds and constants cannot be selected at run time.
            frozen = bool(re.search("constexpr|constinit", before)) or (
                "[" in self.source(cursor).partition("=")[0])
            where = self.function or (
                kind == Kind.FIELD_DECL and cursor.spelling or None)
            self.visit_all(children, frozen=self.frozen or frozen,
                           function=where)
        elif kind == Kind.COMPOUND_STMT:
            self.visit_block(children)
        elif kind == Kind.CASE_STMT:
            self.visit_all(children[:1], frozen=True)
            self.statements(children[1:])
        elif kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.FOR_STMT,
                      Kind.DO_STMT):
            self.visit_control(cursor, children)
        elif kind == Kind.CXX_FOR_RANGE_STMT:
            self.visit_all(children[:-1])
            self.statements(children[-1:])
        elif kind == Kind.SWITCH_STMT:
            self.visit_all(children)
        elif name.endswith("_STMT") and kind != Kind.RETURN_STMT:
            if kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
                self.add(self.extent(cursor), "", "if")
            self.statements(children)
        else:
            self.visit_expression(cursor, children)

    def visit_function(self, cursor, children, frozen):
        owner = cursor.semantic_parent
        name = re.sub(r"<\w.*", "", cursor.spelling)
        if owner and owner.kind.name.startswith(("CLASS", "STRUCT", "UNION")):
            name = f"{owner.spelling}::{name}"
        previous = None
        for child in children:
            initializes = previous in (Kind.MEMBER_REF, Kind.TYPE_REF,
                                       Kind.TEMPLATE_REF)
            has_body = self.source(child).startswith("{")
            if child.kind == Kind.PARM_DECL or has_body or (
                    child.kind.is_expression() and initializes and
                    "CONSTRUCTOR" in cursor.kind.name):
                result = cursor.result_type.get_canonical().kind
                self.visit_all(
                    [child], function=name, frozen=frozen,
                    returns_reference=result == TypeKind.LVALUEREFERENCE)
            previous = child.kind

    def statements(self, cursors):
        for cursor in cursors:
            if cursor.kind.is_expression():
                self.add(self.extent(cursor), "", "void")
            self.visit(cursor)

    def visit_block(self, children):
        self.statements(children)
        for first, second in zip(children, children[1:]):
            if (first.kind.is_expression() and second.kind.is_expression() and
                    self.depend(self.source(first), self.source(second))):
                self.add(self.extent(first), self.source(second), "void",
                         self.extent(second))

    @staticmethod
    def depend(*statements):
        """Whether the order of two statements may matter. It does not when
        neither writes what the other one names, and neither calls a client or a
        member."""
        names, written = [], []
        for text in map(flat, statements):
            plain = re.sub(r"\b(std::|Traits::|\w+_cast<.*?>)\w*\(", "(", text)
            store = re.match(
                r"(?:\+\+|--)?([\w.]+)[\w.\[\]]*(?: \W?= |$)", text)
            if re.search(r"[\w>]\(|\bnew\b|\bthrow\b", plain) or (
                    not store and plain == text):
                return True
            names.append(set(re.findall(r"\w[\w.]*", plain)))
            written.append({store[1]} if store else names[-1])
        return any(written[one] & names[1 - one] for one in (0, 1))

    def parenthesis(self, start):
        """The extent inside the first parenthesis after start, split at its
        top-level semicolons."""
        depth, parts = 0, []
        for match in re.compile(
                r"""'(?:\\.|[^'\\])+'|"(?:\\.|[^"\\])*"|//.*|[][(){};]"""
                ).finditer(self.text, start):
            if match[0] in "([{":
                depth += 1
                if depth == 1:
                    begin = match.end()
            elif match[0] in ")]}":
                depth -= 1
                if depth == 0:
                    return [*parts, (begin, match.start())]
            elif match[0] == ";" and depth == 1:
                parts.append((begin, match.start()))
                begin = match.end()

    def trimmed(self, extent):
        text = self.text[extent[0]:extent[1]]
        return (extent[0] + len(text) - len(text.lstrip()),
                extent[1] - len(text) + len(text.rstrip()))

    def visit_control(self, cursor, children):
        start = cursor.extent.start.offset
        if cursor.kind == Kind.DO_STMT:
            self.statements(children[:1])
            self.condition(self.extent(children[1]), ("false",))
            return self.visit(children[1])
        parts = self.parenthesis(start)
        end = parts[-1][1]
        head = [child for child in children if self.extent(child)[0] < end]
        body = [child for child in children if self.extent(child)[0] >= end]
        constant = re.match(r"if\s+constexpr", self.text[start:])
        declares = [child for child in head if child.kind == Kind.VAR_DECL and
                    len(parts) == 1]
        if declares:
            value = list(declares[0].get_children())[-1]
            self.add(self.extent(value), self.default(self.source(value)))
        elif not constant:
            loop = cursor.kind != Kind.IF_STMT
            part = parts[1] if cursor.kind == Kind.FOR_STMT else parts[-1]
            self.condition(self.trimmed(part),
                           ("false",) if loop else ("true", "false"))
            if cursor.kind == Kind.FOR_STMT and len(parts) == 3:
                self.add(self.trimmed(parts[2]), "", "void")
        self.visit_all(head, frozen=self.frozen or bool(constant))
        self.statements(body)

    def condition(self, extent, values):
        for value in values:
            self.add(extent, value, "bool")

    def visit_expression(self, cursor, children):
        kind = cursor.kind
        extent = self.extent(cursor)
        text = self.source(cursor)
        if kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR
                    ) or (kind == Kind.CALL_EXPR and len(children) > 1 and
                          cursor.spelling.startswith("operator")):
            sides = sorted(children, key=self.extent)
            self.binary(extent, sides[0], sides[-1])
        elif kind == Kind.UNARY_OPERATOR:
            self.unary(extent, children[0])
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.condition(self.extent(children[0]), ("true", "false"))
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            self.add(extent, "false" if text == "true" else "true")
        elif kind == Kind.INTEGER_LITERAL and not self.is_argument(extent):
            if number := re.fullmatch(
                    r"(?i)(0x[\da-f']+|[1-9][\d']*|0)([ul]*)", text):
                value = int(number[1].replace("'", ""), 0)
                for changed in (value + 1, value - 1) if value else (1,):
                    self.add(extent, f"{changed}{number[2]}")
        elif kind == Kind.CHARACTER_LITERAL:
            self.add(extent, f"static_cast<decltype({text})>({text} + 1)")
        elif kind == Kind.RETURN_STMT and children:
            self.result(children[0])
        self.visit_all(children)

    def is_argument(self, extent):
        """Whether a number is a template argument."""
        around = (self.text[:extent[0]].rstrip()[-1:] +
                  self.text[extent[1]:].lstrip()[:1])
        return around in ("<>", "<,", ",>")

    def binary(self, extent, left, right):
        between = self.text[self.extent(left)[1]:self.extent(right)[0]]
        operator = flat(between)
        types = [side.type.get_canonical().kind for side in (left, right)]
        left, right = self.source(left), self.source(right)
        if types[1] == TypeKind.POINTER and operator in "+-":
            return
        if operator == "<=>":
            self.add(extent, f"({right}) <=> ({left})")
        for changed in OPERATORS.get(operator, ()):
            self.add(extent, f"({left}) {changed} ({right})")
        if operator in ("&&", "||"):
            self.add(extent, left, "bool")
            self.add(extent, right, "bool")

    def unary(self, extent, operand):
        start, end = self.extent(operand)
        prefix = flat(self.text[extent[0]:start])
        postfix = flat(self.text[end:extent[1]])
        operand = self.text[start:end]
        if prefix in ("!", "-", "~"):
            self.add(extent, operand, "bool" if prefix == "!" else "")
        for changed in OPERATORS.get(prefix or postfix, ()):
            if changed in ("++", "--"):
                self.add(extent, (changed if prefix else "") + operand +
                         (changed if postfix else ""))

    def result(self, value):
        while value.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR) and (
                inner := list(value.get_children())):
            value = inner[0]
        changed_itself = (Kind.BINARY_OPERATOR, Kind.UNARY_OPERATOR,
                          Kind.CONDITIONAL_OPERATOR)
        if (self.returns_reference or value.kind in changed_itself or
                "LITERAL" in value.kind.name or value.spelling == "goodbit"):
            return
        text = self.source(value)
        type_ = value.type.get_canonical()
        if type_.kind == TypeKind.BOOL:
            self.add(self.extent(value), f"!({text})", "bool")
        elif (type_.kind == TypeKind.POINTER or type_.kind == TypeKind.ENUM or
              TypeKind.CHAR_U.value <= type_.kind.value <=
              TypeKind.INT128.value or NUMBERS.search(type_.spelling)):
            self.add(self.extent(value), self.default(text))

    @staticmethod
    def default(text):
        return f"std::decay_t<decltype({text})>()"


class Node:
    """The changes of one extent of a text: pairs of an id and a change."""

    def __init__(self):
        self.changes = []
        self.earlier = []  # changes that precede the text
        self.cast = ""

    def wrap(self, text):
        if self.cast == "if":
            return f"{{ if (!mutant({self.changes[0][0]})) {text}; }}"

        def value(change):
            return f"{self.cast}(({change}))" if change else "void()"

        choice = "".join(f"mutant({id_}) ? {value(change)} : "
                         for id_, change in self.changes)
        first = "".join(f"(mutant({id_}) ? {value(change)} : void()), "
                        for id_, change in self.earlier)
        return f"({first}({choice}{value(text)}))"


def with_steps(text, steps):
    """The text in which each of the steps can be selected by id."""
    nodes = collections.defaultdict(Node)
    for id_, step in steps.items():
        node = nodes[step.start, step.end]
        node.cast = max(node.cast, step.cast)
        if step.swapped:
            node.earlier.append((id_, step.change))
            second = nodes[step.swapped]
            second.changes.append((id_, ""))
            second.cast = "void"
        else:
            node.changes.append((id_, step.change))
    order = sorted(nodes, key=lambda extent: (extent[0], -extent[1]))

    def emit(start, end, index):
        parts = []
        while index < len(order) and order[index][1] <= end:
            extent = order[index]
            inner, index = emit(*extent, index + 1)
            parts += text[start:extent[0]], nodes[extent].wrap(inner)
            start = extent[1]
        return "".join(parts) + text[start:end], index

    return emit(0, len(text), 0)[0]


def describe(step, text):
    """The description of a step on one line, which also identifies it: its
    place and the lines that it changes, as in "file function: if (n {> 0 => >= 0}) return;"."""
    end = (step.swapped or (0, step.end))[1]
    begin = text.rfind("\n", 0, step.start) + 1
    until = text.find("\n", end)
    change = step.change
    if step.swapped:
        change += ";" + text[step.end:step.swapped[0]].strip("; ") + " " + (
            text[step.start:step.end])
    before, after = (
        re.findall(r"\w+|\W", flat(line)) for line in (
            text[begin:until],
            text[begin:step.start] + change + text[end:until]))
    head = os.path.commonprefix([before, after])
    before, after = before[len(head):], after[len(head):]
    tail = os.path.commonprefix([before[::-1], after[::-1]])[::-1]
    parts = ["".join(tokens) for tokens in (
        head, before[:len(before) - len(tail)], after[:len(after) - len(tail)],
        tail)]
    return (f"{step.path.relative_to(ROOT)} {step.function}: "
            "{}{{{} => {}}}{}".format(*parts))
