#!/usr/bin/env python3
"""Writes the module svpie.kernel and its stubs.

usage: python_binding.py <folder of the table> <output folder>
"""
import keyword

import operation_table
from operation_table import INCLUDE, enum_id, quote

PASSED = {True: "PyObject* pieArgs, PyObject* pieNames", False: "PyObject* const* pieArgs, Py_ssize_t pieCount, PyObject* pieNames"}
LIMITS = {"int": "INT_MIN, INT_MAX", "huge": "LONG_MIN, LONG_MAX", "large": "0, 0xFFFFFFFF"}
TYPES = {"int": "int", "number": "int", "huge": "int", "large": "int", "double": "float", "bool": "bool", "string": "str",
         "text": "str", "bytes": "bytes", "strings": "list[str]", "ints": "list[int]", "none": "None"}


def python_name(name):
    return name + "_" if keyword.iskeyword(name) else name


def converted(index, argument):
    optional = "true" if argument.default == "nullptr" else "false"
    default = argument.default
    name = argument.name
    if argument.is_enum:
        value = f"static_cast<int>({default})" if default else "0"
        return (f"const auto {name} = static_cast<{argument.type[5:]}>(call.enumeration({index}, "
                f"seam::{enum_id(argument.type)}, {value}));")
    if argument.is_class:
        return f"auto* const {name} = static_cast<{argument.type}*>(call.object({index}, pie_class<{argument.type}>(), {optional}));"
    if argument.type in ("string", "text"):
        return f"const char* const {name} = call.text({index}, {default or 'nullptr'}, {optional});"
    if argument.type == "strings":
        return (f"int {name}_count = 0;\n    const char** const {name} = call.texts({index}, &{name}_count, {optional});")
    if argument.type == "ints":
        return f"const SeamNumbers {name} = call.numbers({index}, {optional});"
    if argument.type == "bytes":
        return f"const SeamBytes {name} = call.bytes({index});"
    if argument.type == "bool":
        return f"const bool {name} = call.truth({index}, {default or 'false'});"
    if argument.type == "double":
        return f"const double {name} = call.real({index}, {default or '0'});"
    cpp = {"int": "int", "huge": "Huge", "large": "Large"}[argument.type]
    return f"const auto {name} = static_cast<{cpp}>(call.integer({index}, {default or '0'}, {LIMITS[argument.type]}));"


def returned(operation):
    if operation.kind == "new":
        return f"call.made_as(pieType, pie_class<{operation.owner.name}>(), pieValue)"
    if operation.result_class:
        owner = "self" if operation.has_self and not operation.is_new else "nullptr"
        return f"call.made(pie_class<{operation.result_class}>(), pieValue, {'true' if operation.is_new else 'false'}, {owner})"
    if operation.result in ("int", "number", "huge"):
        return f"call.number(pieValue, {'false' if operation.result == 'number' else 'true'})"
    if operation.result.startswith("enum:"):
        return "call.number(pieValue, false)"
    if operation.result == "large":
        return "call.large(pieValue)"
    return "call.none()" if operation.result == "none" else "call.result(pieValue)"


def relations(operation):
    names = {argument.name: f"call.given({index})" for index, argument in enumerate(operation.arguments)}
    names["rep"] = f"call.given({len(operation.arguments)})"
    names.setdefault("self", "self")
    for one, other, how in operation.needs:
        yield f"PieCall::{how}({'pieMade' if operation.about_result(one) else names[one]}, {names[other]});"
    for name in operation.takes:
        yield f"PieCall::given_away({names[name]});"


def function(operation):
    name = f"{operation.owner.name}_{operation.name}"
    listed = [python_name(argument.name) for argument in operation.arguments] + (["rep"] if operation.uses("rep") else [])
    shown = operation.owner.name if operation.kind == "new" else f"{operation.owner.name}.{operation.name}"
    yield f"PyObject* {name}({'PyTypeObject* pieType' if operation.kind == 'new' else '[[maybe_unused]] PyObject* self'}, {PASSED[operation.kind == 'new']}) {{"
    names = ", ".join(quote(known) for known in listed) or "nullptr"
    yield f"  static constexpr const char* NAMES[] = {{{names}}};"
    yield f"  static constexpr PieParameters PARAMETERS = {{{quote(shown)}, NAMES, {len(listed)}, {operation.required}}};"
    yield f"  PieCall call(PARAMETERS, {'pieArgs, pieNames' if operation.kind == 'new' else 'pieArgs, pieCount, pieNames'});"
    yield "  try {"
    if operation.has_self:
        owner = operation.owner.name
        yield f"    auto* const pieObject = static_cast<{owner}*>(call.self(self, pie_class<{owner}>()));"
    for index, argument in enumerate(operation.arguments):
        yield f"    {converted(index, argument)}"
    if operation.uses("rep"):
        yield f"    auto* rep = static_cast<AceReporter*>(call.object({len(operation.arguments)}, pie_class<AceReporter>(), true));"
        common = "AceReporter::use_default()" if operation.result_class else "call.default_reporter()"  # objects may keep it
        yield f"    if (rep == nullptr) rep = {common};"
    yield "    if (call.failed()) return nullptr;"
    if operation.ends_owned:
        yield "    if (!call.end_owned(self)) return nullptr;"
    for index, argument in enumerate(operation.arguments):
        if argument.ends_owned:
            yield f"    if (!call.end_owned(call.given({index}))) return nullptr;"
    value = "" if operation.result == "none" else "const auto pieValue = "
    made = operation.call("pieObject", [argument.in_cpp for argument in operation.arguments], "&call")
    if operation.is_long:
        yield f"    {value}[&] {{"
        yield "      const PieWithoutLock unlocked;"
        yield f"      return {made};"
        yield "    }();"
        yield "    if (PyErr_Occurred() != nullptr) return nullptr;"
    else:
        yield f"    {value}{made};"
    yield f"    PyObject* const pieMade = {returned(operation)};"
    for relation in relations(operation):
        yield f"    {relation}"
    yield "    return call.done(pieMade);"
    yield "  } catch (...) {"
    yield "    return call.thrown();"
    yield "  }"
    yield "}"


def methods(table, owner, listed):
    yield f"PyMethodDef {owner}_methods[] = {{"
    for operation in listed:
        if operation.kind in ("new", "delete"):
            continue
        flags = "METH_FASTCALL | METH_KEYWORDS" + (" | METH_STATIC" if operation.kind == "static" else "")
        yield f"    {{{quote(python_name(operation.name))}, pie_function({owner}_{operation.name}), {flags}, {quote(operation.sentence)}}},"
    yield "    {nullptr, nullptr, 0, nullptr},"
    yield "};"


def by_owner(table):
    found = {}
    for module in table.modules:
        for known in module.classes:
            found.setdefault(known.name, [known, []])
        for operation in module.operations:
            if operation.owner is not None:
                found.setdefault(operation.owner.name, [operation.owner, []])[1].append(operation)
    return found


def in_order(table):
    """Bases first."""
    listed = by_owner(table)
    done = []
    while len(done) < len(listed):
        done += [name for name, (known, _) in listed.items()
                 if name not in done and (known.base is None or known.base in done)]
    return [(name, *listed[name]) for name in done]


def source(table):
    yield f'{INCLUDE} "svpie/pie_classes.h"'
    yield ""
    yield f"{INCLUDE} <climits>"
    yield ""
    for module in table.modules:
        yield f'{INCLUDE} "seam/{module.name}.h"'
    yield ""
    yield "namespace {"
    yield ""
    yield "PyCFunction pie_function(PyObject* (*function)(PyObject*, PyObject* const*, Py_ssize_t, PyObject*)) {"
    yield "  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));"
    yield "}"
    for name, _, listed in in_order(table):
        for operation in listed:
            if operation.kind != "delete":
                yield ""
                yield from function(operation)
        yield ""
        yield from methods(table, name, listed)
    yield ""
    yield "}  // namespace"
    for name, known, _ in in_order(table):
        if name not in table.classes:
            continue
        base, cast, destroy = table.parts_of(name, lambda base: f"&pie_class<{base}>()")
        if name == "AceReporter":
            destroy = "[](void* object) { delete static_cast<AceReporter*>(object); }"
        yield ""
        yield "template <>"
        yield f"PieClass& pie_class<{name}>() {{"
        yield f'  static PieClass theClass = {{"{name}", {base}, {cast}, {destroy}, {"true" if known.is_shared else "false"}, nullptr}};'
        yield "  return theClass;"
        yield "}"
    yield ""
    yield "int pie_add_all(PyObject* module) {"
    for name in sorted(table.enums):
        yield f"  if (pie_add_enum(module, seam::{enum_id(name)}) != 0) return -1;"
    for name, known, listed in in_order(table):
        make = f"{name}_new" if any(operation.kind == "new" for operation in listed) else "nullptr"
        if name == "AceReporter":
            make = "pie_make_reporter"
        if name in table.classes:
            kind = f"&pie_class<{name}>()"
        else:
            yield f'  static PieClass {name}_class = {{"{name}", nullptr, nullptr, nullptr, true, nullptr}};'
            kind = f"&{name}_class"
        yield f"  if (pie_add_class(module, {kind}, {name}_methods, {quote(known.sentence)}, {make}) != 0) return -1;"
    yield "  return 0;"
    yield "}"


def header(table):
    yield "#pragma once"
    yield ""
    yield f'{INCLUDE} "svpie/pie_call.h"'
    for module in table.modules:
        yield f'{INCLUDE} "seam/{module.name}.h"'
    for name in sorted(table.classes):
        yield ""
        yield "template <>"
        yield f"PieClass& pie_class<{name}>();"
    yield ""
    yield "/// Adds all classes and enumerations. Returns 0 or -1."
    yield "int pie_add_all(PyObject* module);"


def stub_type(name, is_argument):
    if name.startswith("enum:"):
        return "int | str" if is_argument else "int"
    if name in ("strings", "ints") and is_argument:
        return "Iterable[str]" if name == "strings" else "Iterable[int]"
    if name == "string" and is_argument:
        return "str | PathLike[str]"
    return TYPES.get(name, name)


def stubs(table):
    yield "from collections.abc import Iterable, Mapping, Sequence"
    yield "from os import PathLike"
    yield "from types import TracebackType"
    yield "from typing import Self"
    yield ""
    yield "__version__: str"
    yield "enumerations: dict[str, dict[str, int]]"
    yield ""
    yield "class SorvantaError(RuntimeError):"
    yield "    condition: str"
    yield "    detail: str"
    yield "    reports: Sequence[str]"
    yield ""
    yield "class SorvantaWarning(UserWarning): ..."
    yield ""
    yield "def arrow_array(columns: Mapping[str, memoryview]) -> tuple[object, object]:"
    yield '    "The capsules of an Arrow table of columns: their schema and their data."'
    yield "    ..."
    yield ""
    yield "def arrow_stream(columns: Mapping[str, memoryview]) -> object:"
    yield '    "The capsule of a stream of one Arrow table of columns."'
    yield "    ..."
    yield ""
    yield "class Object:"
    yield "    def close(self) -> None: ..."
    yield "    def __enter__(self) -> Self: ..."
    yield "    def __exit__(self, kind: type[BaseException] | None, value: BaseException | None, traceback: TracebackType | None) -> None: ..."
    for name, known, listed in in_order(table):
        yield ""
        yield f"class {name}({known.base or 'Object'}):"
        yield f"    {quote(known.sentence)}"
        if name == "AceReporter":
            yield "    def report(self, text: str) -> None: ..."
            yield "    def event(self, text: str, code: str) -> None: ..."
        for operation in listed:
            if operation.kind == "delete":
                continue
            shown = ["self"] if operation.kind in ("method", "new") else []
            for argument in operation.arguments:
                optional = " | None" if argument.default == "nullptr" else ""
                default = "" if argument.default is None else " = ..."
                shown.append(f"{python_name(argument.name)}: {stub_type(argument.type, True)}{optional}{default}")
            if operation.uses("rep"):
                shown.append("rep: AceReporter | None = ...")
            result = stub_type(operation.result.removeprefix("new "), False)
            if operation.result_class and not operation.is_new or operation.result == "string":
                result += " | None"
            if operation.kind == "static":
                yield "    @staticmethod"
            own = "__init__" if operation.kind == "new" else python_name(operation.name)
            yield f"    def {own}({', '.join(shown)}) -> {'None' if operation.kind == 'new' else result}:"
            yield f"        {quote(operation.sentence)}"
            yield "        ..."


def enum_stubs(table):
    yield "import enum"
    for known in table.enums.values():
        yield ""
        yield f"class {known.name.rpartition(':')[2]}(enum.IntEnum):"
        yield from (f"    {value}: int" for value in known.values)


def main(folder, output):
    table = operation_table.Table(folder)
    operation_table.write(f"{output}/svpie/pie_classes.h", header(table))
    operation_table.write(f"{output}/svpie/pie_table.cpp", source(table))
    operation_table.write(f"{output}/python/svpie/kernel.pyi", stubs(table))
    operation_table.write(f"{output}/python/svpie/enums.pyi", enum_stubs(table))


operation_table.run(main)
