#!/usr/bin/env python3
"""Writes the operations of a module as C++ functions, one for each, which the bindings of all languages call.

usage: operation_calls.py <folder of the table> <module> <output folder>

What is compiled here is checked against the kernel's headers: a method that has gone, an argument or a result that
does not fit without loss is an error of the compiler.
"""
import operation_table

PLAIN = {"int": "int", "number": "int", "huge": "Huge", "large": "Large", "double": "double", "bool": "bool",
         "string": "const char*", "text": "const char*", "bytes": "const SeamBytes&", "strings": "const char**", "ints": "const SeamNumbers&",
         "none": "void"}
SEVERAL = {"strings": "SeamTexts", "ints": "SeamNumbers", "bytes": "SeamBytes"}


def cpp_argument(argument):
    if argument.is_enum:
        return f"{argument.type[5:]} {argument.name}"
    if argument.type == "strings":
        return f"const char** {argument.name}, int {argument.name}_count"
    if argument.is_class:
        return f"{argument.type}* {argument.name}"
    return f"{PLAIN[argument.type]} {argument.name}"


def cpp_result(operation):
    if operation.result in SEVERAL:
        return SEVERAL[operation.result]
    if operation.result.startswith("enum:"):
        return "int"
    if operation.result_class:
        return f"const {operation.result_class}*"
    return PLAIN[operation.result]


def signature(operation):
    """Every call takes the attach and the reporter, whether it uses them or not."""
    arguments = [f"{operation.owner.name}* self"] if operation.has_self else []
    arguments += [cpp_argument(argument) for argument in operation.arguments]
    arguments += ["AceAttach* at", "AceReporter* rep"]
    return f"{cpp_result(operation)} {operation.call_name}({', '.join(arguments)})"


def default_expression(operation):
    names = ", ".join(argument.name for argument in operation.arguments)
    if operation.kind == "new":
        return f"new {operation.owner.name}({names})"
    if operation.kind == "static":
        return f"{operation.owner.name}::{operation.name}({names})"
    return f"self->{operation.name}({names})" if operation.has_self else f"::{operation.name}({names})"


def body(operation):
    unused = "[[maybe_unused]] AceAttach* at, [[maybe_unused]] AceReporter* rep"
    yield f"{signature(operation).replace('AceAttach* at, AceReporter* rep', unused)} {{"
    if operation.kind == "delete":
        yield f"  {operation.expression or 'delete self'};"
    else:
        expression = operation.expression or default_expression(operation)
        for statement in operation.statements:
            yield f"  {statement}"
        if operation.result == "none":
            yield f"  {expression};"
        elif operation.result.startswith("enum:"):
            yield f"  return static_cast<int>({expression});"
        elif operation.result in SEVERAL:
            yield f"  return {{{expression}}};"
        else:
            yield f"  {cpp_result(operation)} seam_value{{({expression})}};"  # braces refuse what would lose something
            yield "  return seam_value;"
    yield "}"


def header(module):
    yield "#pragma once"
    yield ""
    for include in sorted({*module.includes, "ace/ace_attach.h", "ace/ace_reporter.h", "seam/seam_enum.h", "seam/seam_kernel.h"}):
        yield f'#include "{include}"'
    yield ""
    yield "namespace seam {"
    for known in module.enums:
        yield f"extern const SeamEnum {known.cpp};"
    for known in module.classes:
        if known.base:
            yield f"void* {known.name}_to_{known.base}(void* object);"
    for operation in module.operations:
        yield f"{signature(operation)};"
    yield "}  // namespace seam"


def source(module):
    yield f'#include "seam/{module.name}.h"'
    yield ""
    yield "namespace seam {"
    for known in module.enums:
        yield ""
        yield f"constexpr SeamEnumValue {known.cpp}_values[] = {{"
        for value in known.values:
            yield f'    {{"{value}", static_cast<int>({known.name}::{value})}},'
        yield "};"
        yield f'constexpr SeamEnum {known.cpp}("{known.name}", {known.cpp}_values);'
    for known in module.classes:
        if known.base:
            yield ""
            yield f"void* {known.name}_to_{known.base}(void* object) {{"
            yield f"  return static_cast<{known.base}*>(static_cast<{known.name}*>(object));"
            yield "}"
    for operation in module.operations:
        yield ""
        yield from body(operation)
    yield ""
    yield "}  // namespace seam"


def main(folder, name, output):
    table = operation_table.Table(folder)
    module = next(known for known in table.modules if known.name == name)
    operation_table.write(f"{output}/seam/{name}.h", header(module))
    operation_table.write(f"{output}/seam/{name}.cpp", source(module))


operation_table.run(main)
