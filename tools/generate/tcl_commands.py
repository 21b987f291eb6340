#!/usr/bin/env python3
"""Writes the Tcl commands of a module of the table of operations.

usage: tcl_commands.py <folder of the table> <module> <output folder>
       tcl_commands.py <folder of the table> --all <output folder>      what all modules share
"""
import operation_table
from operation_table import INCLUDE, enum_id, quote

KINDS = {True: "TieHandle::ARGUMENT", False: "TieHandle::OPTIONAL_ARGUMENT"}
ZERO = {"int": "0", "huge": "Huge{0}", "large": "Huge{0}", "double": "0.0", "bool": "0"}
POINTER = {"string": "const char*", "text": "const char*", "strings": "const char**"}


def identifier(name):
    return "run_" + name.replace("::", "_").replace("~", "delete_")


def declared(argument):
    """The declaration of an argument, as a C++ statement."""
    kind = KINDS[argument.default is None]
    default = argument.default
    head = f"tie.arg({quote(argument.name)}, "
    if argument.is_enum:
        known = f"seam::{enum_id(argument.type)}"
        value = f"static_cast<int>({default})" if default else f"{known}.get_values()[0].value"
        return f"const int {argument.name} = {head}&{known}, {kind}, {value});"
    if argument.is_class:
        value = f"static_cast<{argument.type}*>({default or 'nullptr'})"
        return f"auto* const {argument.name} = tie_object<{argument.type}>(&tie, {quote(argument.name)}, {kind}, {value});"
    if argument.type in POINTER:
        value = f"static_cast<{POINTER[argument.type]}>({default or 'nullptr'})"
        return f"auto* const {argument.name} = {head}{kind}, {value});"
    if argument.type == "bytes":
        return f"const SeamBytes {argument.name} = tie_bytes(&tie, {quote(argument.name)}, {kind});"
    if argument.type == "ints":
        return f"const SeamNumbers {argument.name} = tie_numbers(&tie, {quote(argument.name)}, {kind});"
    if argument.type == "large":
        return f"const Large {argument.name} = tie_large(&tie, {quote(argument.name)}, {kind}, {default or '0'});"
    if argument.type == "huge":
        return f"const Huge {argument.name} = {head}{kind}, Huge{{{default or '0'}}});"
    if argument.type == "double":
        return f"const double {argument.name} = {head}{kind}, double{{{default or '0'}}});"
    return f"const int {argument.name} = {head}{kind}, static_cast<int>({default or '0'}));"


def passed(argument):
    if argument.is_enum:
        return f"static_cast<{argument.type[5:]}>({argument.name})"
    if argument.type == "strings":
        return f"{argument.name}, TieHandle::num_strings({argument.name})"
    if argument.type == "bool":
        return f"{argument.name} != 0"
    return argument.name


def handed(operation, call):
    """The call with its result handed to Tcl, as C++ statements."""
    if operation.kind == "delete":
        return ["tie_erase(self);", f"{call};", "tie.result(0);"]
    if operation.result == "none":
        return [f"{call};", "tie.result(0);"]
    if operation.result == "strings":
        return [f"const SeamTexts texts = {call};", "tie.result(texts.texts, texts.count);"]
    if operation.result in ("ints", "bytes"):
        return [f"tie_result(&tie, {call});"]
    if operation.result_class:
        made = "true" if operation.is_new else "false"
        needs = [("result", "self", "needs")] if operation.has_self and not operation.is_new else []
        needs += [relation for relation in operation.needs if operation.about_result(relation[0])]
        return [f"auto* const result = {call};", f"tie._result(tie_class<{operation.result_class}>(), result, {made});",
                *[f"tie_{how}({one}, {other});" for one, other, how in needs]]
    unchecked = ["tie.unset_return_check();"] if operation.result == "number" else []
    if operation.result.startswith("enum:"):
        return [f"tie_enum_result(&tie, seam::{enum_id(operation.result)}, {call});"]
    return [*unchecked, f"tie.result({call});"]


def command(operation):
    name = operation.tcl_name
    uses_reporter = operation.uses("rep")
    yield f"int {identifier(name)}(ClientData tieData, Tcl_Interp* tieInterp, int tieCount, Tcl_Obj* const* tieWords) {{"
    yield f"  static TieCommand command({quote('Tie::' + name)}, {quote(operation.sentence or 'Deletes the object.')});"
    if uses_reporter:
        yield "  static TieReporterOption reporter(command.options());"
    yield f"  TieHandle tie(tieInterp, tieCount, tieWords, {quote(name)}, command.options(), tieData);"
    yield "  return command.run(&tie, [&] {"
    yield '    tie.opt("-help", command.help());'
    if uses_reporter:
        yield '    tie.opt("-rep", &reporter);'
    if any(argument.type == "text" for argument in operation.arguments):
        yield "    tie.stop();"  # what a user typed may look like an option
    if operation.has_self:
        owner = operation.owner.name
        yield f'    auto* const self = tie_object<{owner}>(&tie, "object", TieHandle::ARGUMENT, static_cast<{owner}*>(nullptr));'
    if operation.kind == "delete":
        yield "    tie.must_be_made(self);"
    if operation.kind == "delete" or operation.ends_owned:
        yield "    tie.must_be_idle(self);"
    for argument in operation.arguments:
        yield f"    {declared(argument)}"
        if argument.ends_owned or argument.name in operation.takes:
            yield f"    tie.must_be_idle({argument.name});"
    yield "    if (!tie.ready()) return;"
    if operation.ends_owned:
        yield "    tie_erase_owned(self);"
    for argument in operation.arguments:
        if argument.ends_owned:
            yield f"    tie_erase_owned({argument.name});"
    if uses_reporter:
        yield "    AceReporter* const rep = reporter.get();"
    for one, other, how in operation.needs:  # before the call, which may fail half way
        if not operation.about_result(one):
            yield f"    tie_{how}({one}, {other});"
    call = operation.call("self", [passed(argument) for argument in operation.arguments], "&tie")
    for statement in handed(operation, call):
        yield f"    {statement}"
    for name in operation.takes:
        yield f"    tie_erase({name});"
    yield "  });"
    yield "}"


def variable(module):
    return f"module_{identifier(module.name)}"


def entries(module):
    for operation in module.operations:
        name = operation.tcl_name
        yield f"const TieEntry call_{identifier(name)}(&{variable(module)}, {identifier(name)}, {quote(name)}, {operation.line}, nullptr);"
        yield (f"const TieEntry tell_{identifier(name)}(&{variable(module)}, {identifier(name)}, {quote('Tie::' + name)}, "
               f"{operation.line}, tie_describe());")


def source(module):
    yield f'#include "seam/{module.name}.h"'
    yield f'{INCLUDE} "svtie/tie_classes.h"'
    yield '#include "svtie/tie_common.h"'
    yield ""
    yield "namespace {"
    yield ""
    yield f'TieModule {variable(module)}("{module.name}");'
    yield ""
    for operation in module.operations:
        yield from command(operation)
        yield ""
    yield from entries(module)
    yield f'const TieModuleCommands {variable(module)}_itself(&{variable(module)}, "{module.name}::version", "{module.name}::built", "{module.name}::cancel");'
    yield ""
    yield "}  // namespace"
    yield ""
    yield f"TieModule* {module.name}_module() {{"
    yield f"  return &{variable(module)};"
    yield "}"


def classes_header(table):
    yield "#pragma once"
    yield ""
    yield '#include "tie/tie_handle.h"'
    yield '#include "tie/tie_module.h"'
    for module in table.modules:
        yield f'#include "seam/{module.name}.h"'
    yield ""
    for name in sorted(table.classes):
        yield "template <>"
        yield f"const TieClass* tie_class<{name}>();"


def classes_source(table):
    yield f'{INCLUDE} "svtie/tie_classes.h"'
    for name in sorted(table.classes):
        if name == "AceReporter":
            continue  # the framework knows it
        yield ""
        yield "template <>"
        yield f"const TieClass* tie_class<{name}>() {{"
        parts = table.parts_of(name, lambda base: f"tie_class<{base}>()")
        yield f'  static const TieClass CLASS = {{"{name}", {", ".join(parts)}}};'
        yield "  return &CLASS;"
        yield "}"
    yield ""


def modules_source(table):
    """The modules in the order in which they come alive."""
    order = ["svtie", "tie_tera", "tie_edit", "tie_auto", "tie_index", "tie_heap", "tie_file", "tie_map", "tie_multi", "tie_word",
             "tie_result", "tie_combination", "tie_strings", "tie_ebos", "tie_java", "tie_base", "tie_session",
             "tie_session_result", "tie_damo", "tie_ace", "tie_flexform", "tie_scripting"]
    names = {module.name for module in table.modules}
    unknown = names - set(order)
    if unknown:
        raise operation_table.TableError(f"modules without a place in the order: {', '.join(sorted(unknown))}")
    present = [name for name in order if name in names]
    yield '#include "svtie/tie_modules.h"'
    yield ""
    for name in present:
        yield f"TieModule* {name}_module();"
    yield ""
    yield "std::vector<TieModule*> tie_table_modules() {"
    yield "  return {" + ", ".join(f"{name}_module()" for name in present) + "};"
    yield "}"


def main(folder, name, output):
    table = operation_table.Table(folder)
    if name == "--all":
        operation_table.write(f"{output}/svtie/tie_classes.h", classes_header(table))
        operation_table.write(f"{output}/svtie/tie_classes.cpp", classes_source(table))
        operation_table.write(f"{output}/svtie/tie_table.cpp", modules_source(table))
        return
    module = next(known for known in table.modules if known.name == name)
    operation_table.write(f"{output}/svtie/{name}.cpp", source(module))


operation_table.run(main)
