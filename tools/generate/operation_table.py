"""The table of operations: what hosts in other languages can call (interface/operations/*.ops).

A module has enumerations, classes and functions:

    module tie_edit "Words found in spite of typing errors"
    include "tera/tera_edit.h"

    enum TeraEdit::Cluster USE_GREEDY_CLUSTER USE_CONT_CLUSTER

    class TeraEdit : TeraBitMatrix
      An index of words that are found in spite of typing errors.

    new map:TeraMap? phonetics:TeraTransform?
      An empty index, or one for a map and a phonetic coding.
      = new TeraEdit(map, phonetics)

    get_string entry:large -> string
      The string of an entry.
      = self->get_string(entry, at)

    delete

"utilities" is a class without objects, which C++ does not know: its operations are all static. "class <name> shared": several
threads may call at once what does not end the object's parts; with "locked" instead, everything. Objects of other classes
belong to one call at a time.

A line at the margin starts a thing; indented ones describe it, and from "=" or "|" on they are C++: an expression for
the result, and statements before it, in which `self` is the object, `at` an attach for the call and `rep` its
reporter. Without an expression the method of that name is called with the arguments as they stand.

    name           in front of the arguments: the method. "static name" has no object; "name!" ends the handles of what
                   the object owns, as "<class>!" does it for an argument; "function name" is a function of the module
    argument       name:type, name:type=default (a C++ expression) or name:type? (null when it is not given)
    types          int, huge, large, double, bool, string, text (a string that a user typed), bytes, strings, ints,
                   <class>, enum:<enumeration>
    results        none, the types above without text, "number" (an int that may well be negative), "new <class>" (of
                   the caller) and "<class>" (of the object)

"@ <name> needs <name>" tells that an object must not outlive another one, where a name is an argument's, self, rep or,
where no argument has that name, result; "@ <name> shares <name>" that it must not outlive what the other one must not outlive; "@ takes <name>" that the object of an argument belongs to the kernel from then on. "@ long" tells that a
call takes its time; so do all that have `rep`, and other threads of an interpreter may go on meanwhile.

In C++ an argument `a` of type strings has its count beside it, `a_count`; a result of type strings is a SeamTexts, one of
type ints a SeamNumbers, and bytes are SeamBytes.
"""
import dataclasses
import json
import pathlib
import re
import sys

ARGUMENT = re.compile(r"^(?P<name>\w+):(?P<type>[\w:]+)(?P<ends>!)?(?P<null>\?)?(?:=(?P<default>.+))?$")
WORD = re.compile(r'(?:[^\s"]|"[^"]*")+')
INCLUDE = "#include"  # of written files, in lines that are no includes of the tree
SIMPLE = {"int", "huge", "large", "double", "bool", "string", "text", "bytes", "strings", "ints"}


def quote(text):
    """A string of C++, Java or Python."""
    return json.dumps(text, ensure_ascii=False)


def enum_id(name):
    """An enumeration's name as an identifier."""
    return name.removeprefix("enum:").replace("::", "_")


class TableError(Exception):
    """The table is not what its form says."""


@dataclasses.dataclass
class Argument:
    name: str
    type: str
    default: str | None  # a C++ expression; None: must be given
    ends_owned: bool = False

    @property
    def is_class(self):
        return self.type not in SIMPLE and not self.is_enum

    @property
    def is_enum(self):
        return self.type.startswith("enum:")

    @property
    def in_cpp(self):
        """What a call in C++ gives for it."""
        return f"{self.name}, {self.name}_count" if self.type == "strings" else self.name


@dataclasses.dataclass
class Operation:
    owner: "Class | None"
    kind: str  # method, static, function, new, delete
    name: str
    arguments: list
    result: str = "none"
    ends_owned: bool = False
    line: int = 0
    sentence: str = ""
    statements: list = dataclasses.field(default_factory=list)
    expression: str = ""
    needs: list = dataclasses.field(default_factory=list)  # (one, other, needs or shares): self, result, rep or arguments
    takes: list = dataclasses.field(default_factory=list)  # names of arguments whose objects go over
    is_marked_long: bool = False

    @property
    def has_self(self):
        return self.kind in ("method", "delete")

    @property
    def is_new(self):
        return self.result.startswith("new ")

    @property
    def result_class(self):
        name = self.result.removeprefix("new ")
        known = SIMPLE | {"none", "number", "ints"}
        return None if name in known or name.startswith("enum:") else name

    def about_result(self, name):
        """Whether a name in a relation is the result's."""
        return name == "result" and all(argument.name != name for argument in self.arguments)

    def code(self):
        relations = [" ".join(words) for words in self.needs]
        return "\n".join([*self.statements, self.expression, *relations])

    def uses(self, name):
        return re.search(rf"\b{name}\b", self.code()) is not None

    @property
    def required(self):
        """Number of arguments in front that must be given."""
        count = len(self.arguments)
        while count > 0 and self.arguments[count - 1].default is not None:
            count -= 1
        return count

    def call(self, object_name, arguments, attach):
        """The call of its function in C++; an operation that reports finds its reporter in `rep`."""
        given = [object_name] if self.has_self else []
        given += [*arguments, attach, "rep" if self.uses("rep") else "nullptr"]
        return f"seam::{self.call_name}({', '.join(given)})"

    @property
    def is_long(self):
        return self.is_marked_long or self.uses("rep")

    @property
    def tcl_name(self):
        if self.kind == "new":
            return self.owner.name
        if self.kind == "delete":
            return "~" + self.owner.name
        return f"{self.owner.name}::{self.name}" if self.owner else self.name

    @property
    def call_name(self):
        return f"{self.owner.name}_{self.name}" if self.owner else self.name


@dataclasses.dataclass
class Class:
    name: str
    base: str | None
    is_shared: bool
    is_locked: bool
    sentence: str = ""


@dataclasses.dataclass
class Enumeration:
    name: str
    values: list

    @property
    def cpp(self):
        return enum_id(self.name)


@dataclasses.dataclass
class Module:
    name: str
    title: str
    path: pathlib.Path
    includes: list = dataclasses.field(default_factory=list)
    enums: list = dataclasses.field(default_factory=list)
    classes: list = dataclasses.field(default_factory=list)
    operations: list = dataclasses.field(default_factory=list)


class Reader:
    def __init__(self, path):
        self.path = path
        self.module = None
        self.owner = None
        self.current = None

    def fail(self, number, message):
        raise TableError(f"{self.path.name}:{number}: {message}")

    def read(self):
        for number, line in enumerate(self.path.read_text(encoding="utf-8").splitlines(), 1):
            text = line.strip()
            if not text or text.startswith("#"):
                continue
            if line[0] == " ":
                self.describe(number, text)
            else:
                self.begin(number, text)
        if self.module is None:
            self.fail(1, 'expected: module <name> "<title>"')
        for operation in self.module.operations:
            if not operation.sentence and operation.kind != "delete":
                self.fail(operation.line, f"{operation.call_name} has no sentence")
        return self.module

    def describe(self, number, text):
        if self.current is None:
            self.fail(number, "an indented line that belongs to nothing")
        if isinstance(self.current, Enumeration):
            self.current.values += text.split()
        elif text.startswith("=") and isinstance(self.current, Operation):
            self.current.expression = text[1:].strip()
        elif text.startswith("@") and isinstance(self.current, Operation):
            self.relation(number, text[1:].split())
        elif text.startswith("|") and isinstance(self.current, Operation):
            self.current.statements.append(text[1:].strip())
        elif isinstance(self.current, Operation) and self.current.expression:
            self.current.expression += " " + text
        else:
            self.current.sentence = (self.current.sentence + " " + text).strip()

    def relation(self, number, words):
        if len(words) == 3 and words[1] in ("needs", "shares"):
            self.current.needs.append((words[0], words[2], words[1]))
        elif len(words) == 2 and words[0] == "takes":
            self.current.takes.append(words[1])
        elif words == ["long"]:
            self.current.is_marked_long = True
        else:
            self.fail(number, f"expected: @ <name> needs|shares <name>, @ takes <name> or @ long, found: @ {' '.join(words)}")

    def begin(self, number, text):
        word, _, rest = text.partition(" ")
        if word == "module":
            name, _, title = rest.partition(" ")
            self.module = Module(name, title.strip('"'), self.path)
        elif self.module is None:
            self.fail(number, 'expected first: module <name> "<title>"')
        elif word == "include":
            self.module.includes.append(rest.strip('"'))
        elif word == "enum":
            name, *values = rest.split()
            self.current = Enumeration(name, values)
            self.module.enums.append(self.current)
        elif word in ("class", "utilities"):
            found = re.fullmatch(r"(\w+)(?:\s*:\s*(\w+))?(?:\s+(shared|locked))?", rest)
            if not found:
                self.fail(number, f"expected: {word} <name> [: <base>] [shared|locked], found: {text}")
            self.owner = self.current = Class(found[1], found[2], found[3] is not None, found[3] == "locked")
            if word == "class":
                self.module.classes.append(self.owner)
        elif word == "functions":
            self.owner = self.current = None
        else:
            self.operation(number, text)

    def operation(self, number, text):
        left, arrow, result = text.partition(" -> ")
        words = WORD.findall(left)
        kind = words[0] if words[0] in ("new", "delete", "static", "function") else "method"
        if kind in ("static", "function"):
            words.pop(0)
        name = words.pop(0)
        operation = Operation(None if kind == "function" else self.owner, kind, name.rstrip("!"),
                              [self.argument(number, word) for word in words], result.strip() or "none",
                              name.endswith("!"), number)
        if operation.owner is None and kind != "function":
            self.fail(number, f"{name} belongs to no class")
        if kind == "new":
            operation.result = f"new {self.owner.name}"
        if not arrow and kind == "method" and name == "":
            self.fail(number, "an operation without a name")
        self.current = operation
        self.module.operations.append(operation)

    def argument(self, number, word):
        found = ARGUMENT.match(word)
        if not found:
            self.fail(number, f"expected <name>:<type>[=<default>] or <name>:<type>?, found: {word}")
        default = "nullptr" if found["null"] else found["default"]
        return Argument(found["name"], found["type"], default, found["ends"] is not None)


class Table:
    """All modules, in the order of their names."""

    def __init__(self, folder):
        self.modules = [Reader(path).read() for path in sorted(pathlib.Path(folder).glob("*.ops"))]
        self.classes = {known.name: known for module in self.modules for known in module.classes}
        self.enums = {known.name: known for module in self.modules for known in module.enums}
        for module in self.modules:
            for operation in module.operations:
                self.check(module, operation)

    def parts_of(self, name, class_of):
        """What each binding's description of a class has, as C++: its base's description, the cast to it, and what
        deletes an object."""
        base = self.classes[name].base
        is_deleted = any(operation.kind == "delete" and operation.owner.name == name
                      for module in self.modules for operation in module.operations)
        destroy = f"[](void* object) {{ seam::{name}_delete(static_cast<{name}*>(object), nullptr, nullptr); }}"
        return (class_of(base) if base else "nullptr", f"seam::{name}_to_{base}" if base else "nullptr",
                destroy if is_deleted else "nullptr")

    def check(self, module, operation):
        def known(name):
            if name.startswith("enum:"):
                return name[5:] in self.enums
            return name in SIMPLE or name in self.classes

        where = f"{module.path.name}:{operation.line}: {operation.call_name}"
        for argument in operation.arguments:
            if not known(argument.type):
                raise TableError(f"{where}: {argument.type} is no type")
        result = operation.result.removeprefix("new ")
        if result not in ("none", "number", "ints") and not known(result):
            raise TableError(f"{where}: {result} is no type of a result")
        names = [argument.name for argument in operation.arguments]
        if len(set(names)) != len(names):
            raise TableError(f"{where}: two arguments of one name")


def write(path, lines):
    """Leaves a file alone that would not change, so that nothing is compiled again for it."""
    text = "\n".join(lines) + "\n"
    path = pathlib.Path(path)
    if path.exists() and path.read_text(encoding="utf-8") == text:
        path.touch()
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")


def run(main):
    try:
        main(*sys.argv[1:])
    except TableError as error:
        sys.exit(str(error))
