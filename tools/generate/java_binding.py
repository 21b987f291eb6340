#!/usr/bin/env python3
"""Writes the native methods of a module, and the Java classes that have them.

usage: java_binding.py <folder of the table> <folder of Java parts> <output folder>

A method with arguments that may be left out is native with all of them; shorter forms, which fill in the defaults, are
Java. A part, <class>.part, is put into the body of its class as it is.
"""
import pathlib
import textwrap

import operation_table
from operation_table import INCLUDE, enum_id, quote

PACKAGE = "com.veltrane.jie"
PATH = PACKAGE.replace(".", "/")
NATIVE = {"int": "jint", "number": "jint", "bool": "jboolean", "huge": "jlong", "large": "jlong", "double": "jdouble",
          "string": "jstring", "text": "jstring", "bytes": "jbyteArray", "strings": "jobjectArray", "ints": "jlongArray",
          "none": "void"}
JAVA = {"int": "int", "number": "int", "bool": "boolean", "huge": "long", "large": "long", "double": "double",
        "string": "String", "text": "String", "bytes": "byte[]", "strings": "String[]", "ints": "long[]", "none": "void"}
NEUTRAL = {"int": "0", "number": "0", "bool": "0", "huge": "0", "large": "0", "double": "0", "none": ""}
NUMBERS = {"int", "huge", "large", "double", "bool"}
DEFAULTS = {"nullptr": "null", "SEAM_QUOTE": '"\\""'}
QUALITY = "a quality, 0 to 255"
# What the numbers of arguments count, where one name means the same in all operations.
UNITS = {"field:int": "its place, from 0", "index:int": "from 0", "quality:int": QUALITY, "min_value:int": QUALITY,
         "min_quality:int": QUALITY, "max_dist:int": "how far below the best quality, 0 to 255",
         "max_distance:int": "how far below the best quality, 0 to 255", "num_cands:int": "how many at most",
         "num_suggs:int": "how many at most", "max_length:int": "in bytes", "milliseconds:int": "of time",
         "percent:int": "0 to 100", "threads:int": "how many at most", "part:int": "from 0", "num_parts:int": "from 1",
         "entry:large": "its number, from 0", "image:bytes": "as written by toBuffer or dump", "file:string": "a path",
         "filename:string": "a path"}


def camel(name):
    first, *rest = name.split("_")
    return first + "".join(word[:1].upper() + word[1:] for word in rest)


def method_name(operation):
    return {"new": "createInstance", "delete": "destroy"}.get(operation.kind, camel(operation.name))


def enum_java(name):
    scope, _, own = name.rpartition("::")
    return f"{scope}.{own}" if scope else own


def native_type(name):
    return "jobject" if name.startswith("enum:") or name not in NATIVE else NATIVE[name]


def java_type(name):
    if name.startswith("enum:"):
        return enum_java(name[5:])
    return JAVA.get(name, name)


def java_default(argument):
    if argument.is_enum:
        return f"{enum_java(argument.type[5:])}.{argument.default.rpartition('::')[2]}"
    if argument.type == "double":
        return argument.default
    return DEFAULTS.get(argument.default, argument.default)


def parameters(operation):
    """Name and type of all parameters of the native method, and the defaults of those that may be left out."""
    listed = [(known.name, known.type, java_default(known) if known.default is not None else None)
              for known in operation.arguments]
    return [*listed, ("rep", "AceReporter", "null")] if operation.uses("rep") else listed


# C++

def converted(argument):
    java, optional = f"java_{argument.name}", "true" if argument.default == "nullptr" else "false"
    name = quote(argument.name)
    if argument.is_enum:
        return (f"const auto {argument.name} = static_cast<{argument.type[5:]}>(jie.enum_value({java}, "
                f"&jie_enums::{enum_id(argument.type)}, {name}));")
    if argument.is_class:
        return f"auto* const {argument.name} = jie_object<{argument.type}>(&jie, {java}, {name}, {optional});"
    if argument.type in ("string", "text"):
        return f"const char* const {argument.name} = jie.jie_get_string({java}, {name}, {optional});"
    if argument.type == "strings":
        return (f"int {argument.name}_count = 0;\n    const char** const {argument.name} = "
                f"jie.jie_get_strings({java}, &{argument.name}_count, {name}, {optional});")
    if argument.type == "ints":
        return f"const SeamNumbers {argument.name} = jie.numbers({java}, {name}, {optional});"
    if argument.type == "bytes":
        return f"const SeamBytes {argument.name} = jie.bytes({java}, {name});"
    if argument.type == "large":
        return f"const Large {argument.name} = jie.large({java}, {name});"
    if argument.type == "bool":
        return f"const bool {argument.name} = {java} != 0;"
    return f"const auto {argument.name} = {java};"


def returned(operation, call):
    if operation.kind == "new":
        return [f"jie.take(javaSelf, jie_class<{operation.owner.name}>(), const_cast<{operation.owner.name}*>({call}));"]
    if operation.result == "none":
        return [f"{call};"]
    if operation.result in ("strings", "ints", "bytes", "string"):
        make = {"strings": "jie_new_strings", "ints": "jie_new_integers", "bytes": "new_bytes", "string": "jie_new_string"}
        return [f"return jie.{make[operation.result]}({call});"]
    if operation.result_class:
        made = "true" if operation.is_new else "false"
        owner = "javaSelf" if operation.has_self and not operation.is_new else "nullptr"
        lines = [f"const auto* const made = {call};"]
        if operation.is_new:
            lines.append('if (made == nullptr) return jie.throw_exception("no object returned"), nullptr;')
        return [*lines, f"const jobject javaResult = jie.new_object(jie_class<{operation.result_class}>(), made, {made}, "
                        f"{owner});"]
    if operation.result.startswith("enum:"):
        name = enum_id(operation.result)
        return [f"return jie.new_enum(&jie_enums::{name}, seam::{name}, {call});"]
    if operation.result == "large":
        return [f"const Large value = {call};", "if (value == ~Large{0}) jie.checked(-1);", "return value;"]
    if operation.result in ("number", "bool", "double", "huge"):
        return [f"return static_cast<{NATIVE[operation.result]}>({call});"]
    return [f"return jie.checked({call});"]


def said(name):
    return quote("this" if name == "self" else name)


def native(operation):
    owner = operation.owner.name
    is_static = operation.kind in ("static", "function")
    name = method_name(operation)
    result = "void" if operation.kind in ("new", "delete") else native_type(operation.result.removeprefix("new "))
    takes = "".join(f", {native_type(kind)} java_{argument}" for argument, kind, _ in parameters(operation))
    yield f"JNIEXPORT {result} JNICALL Java_{PACKAGE.replace('.', '_')}_{owner}_{name}("
    yield f"    JNIEnv* env, {'jclass' if is_static else 'jobject javaSelf'}{takes}) {{"
    yield f"  JieHandle jie(env, {quote(owner)}, {quote(name)});"
    yield "  try {"
    if operation.has_self:
        yield f'    auto* const self = jie_object<{owner}>(&jie, javaSelf, "this", false);'
    for argument in operation.arguments:
        yield f"    {converted(argument)}"
    if operation.uses("rep"):
        yield '    AceReporter* rep = jie_object<AceReporter>(&jie, java_rep, "rep", true);'
        yield "    if (rep == nullptr) rep = AceReporter::use_default();"
    yield f"    if (jie.failed()) return{'' if result == 'void' else ' {}'};"
    if operation.ends_owned:
        alone = operation.owner.is_shared and not operation.owner.is_locked
        yield f"    jie.{'change' if alone else 'end_owned'}(javaSelf);"
    for argument in operation.arguments:
        if argument.ends_owned:
            yield f"    jie.end_owned(java_{argument.name});"
    call = operation.call("self", [argument.in_cpp for argument in operation.arguments], "&jie")
    relations, before = [], []
    for one, other, how in operation.needs:
        into = relations if operation.about_result(one) else before  # a call may fail half way
        names = {"self": "javaSelf"}
        if operation.about_result("result"):
            names["result"] = "javaSelf" if operation.kind == "new" else "javaResult"
        one_java, other_java = names.get(one, f"java_{one}"), names.get(other, f"java_{other}")
        if other == "rep":  # maybe the default
            into.append(f"jie.needs_object({one_java}, rep, jie_class<AceReporter>());")
        else:
            made = ", true" if operation.about_result(one) else ""
            into.append(f"jie.{how}({{{one_java}, {said(one)}{made}}}, {{{other_java}, {said(other)}}});")
    before += [f"jie.end_owned(java_{taken});" for taken in operation.takes]
    relations += [f"jie.give_away(java_{known.name}, {known.name}, jie_class<{known.type}>());"
                  for known in operation.arguments if known.name in operation.takes]
    lines = returned(operation, call)
    for line in before:
        yield f"    {line}"
    if relations and lines[-1].startswith("return "):
        lines = [f"const auto value = {lines[-1].removeprefix('return ')}", *relations, "return value;"]
    else:
        lines = [*lines, *relations]
    if operation.result_class and operation.kind != "new":
        lines.append("return javaResult;")
    for line in lines:
        yield f"    {line}"
    yield "  } catch (...) {"
    yield "    jie.throw_caught();"
    if result != "void":
        yield "    return {};"
    yield "  }"
    yield "}"


def wrapped(owner):
    """What every wrapped class has."""
    head = f"Java_{PACKAGE.replace('.', '_')}_{owner}"
    yield f"JNIEXPORT void JNICALL {head}_destroy(JNIEnv* env, jobject javaSelf) {{"
    yield f'  JieHandle jie(env, "{owner}", "destroy");'
    yield "  try {"
    yield "    jie.destroy(javaSelf);"
    yield "  } catch (...) {"
    yield "    jie.throw_caught();"
    yield "  }"
    yield "}"
    yield ""
    yield f"JNIEXPORT jobject JNICALL {head}_copyInstance(JNIEnv* env, jobject javaSelf) {{"
    yield f'  JieHandle jie(env, "{owner}", "copyInstance");'
    yield "  try {"
    yield f'    auto* const self = jie_object<{owner}>(&jie, javaSelf, "this", false);'
    yield f"    return jie.failed() ? nullptr : jie.new_object(jie_class<{owner}>(), self, false, javaSelf);"
    yield "  } catch (...) {"
    yield "    jie.throw_caught();"
    yield "    return nullptr;"
    yield "  }"
    yield "}"


def has_deep_copy(table, owner):
    return any(operation.owner and operation.owner.name == owner and operation.name == "copy_instance"
               for module in table.modules for operation in module.operations)


def source(table, module):
    yield f'{INCLUDE} "seam/{module.name}.h"'
    yield f'{INCLUDE} "svjava/jie_classes.h"'
    yield ""
    yield 'extern "C" {'
    for operation in module.operations:
        if operation.owner is not None and operation.kind != "delete":
            yield ""
            yield from native(operation)
    for known in module.classes:
        yield ""
        lines = list(wrapped(known.name))
        yield from (lines[:lines.index("")] if has_deep_copy(table, known.name) else lines)
    yield "}"


def classes_header(table):
    yield "#pragma once"
    yield ""
    yield f'{INCLUDE} "jie/jie_handle.h"'
    for module in table.modules:
        yield f'{INCLUDE} "seam/{module.name}.h"'
    yield ""
    yield "namespace jie_enums {"
    for name in sorted(table.enums):
        yield f"extern JieEnumToEnum {enum_id(name)};"
    yield "}  // namespace jie_enums"
    for name in sorted(table.classes):
        yield ""
        yield "template <>"
        yield f"const JieClass* jie_class<{name}>();"


def classes_source(table):
    yield f'{INCLUDE} "svjava/jie_classes.h"'
    yield ""
    yield "namespace jie_enums {"
    for name in sorted(table.enums):
        yield f'JieEnumToEnum {enum_id(name)} = {{"{PATH}/{name.replace("::", "$")}", "value"}};'
    yield "}  // namespace jie_enums"
    for name in sorted(table.classes):
        parts = table.parts_of(name, lambda base: f"jie_class<{base}>()")
        yield ""
        yield "template <>"
        yield f"const JieClass* jie_class<{name}>() {{"
        yield f'  static const JieClass CLASS = {{"{PATH}/{name}", {", ".join(parts)}}};'
        yield "  return &CLASS;"
        yield "}"


# Java

def comment(text, indent="", more=()):
    def escaped(line):
        return line.replace("*/", "* /").replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
    lines = [escaped(line) for line in (text, *more)]
    return f"\n{indent} * ".join([f"{indent}/** {lines[0]}", *lines[1:]]) + (f"\n{indent} */" if more else " */")


def tags(operation, count):
    """What the comment of a method with so many of its parameters tells beside the sentence."""
    listed = operation.arguments[:count]
    for known in listed:
        if unit := UNITS.get(f"{known.name}:{known.type}"):
            yield f"@param {known.name} {unit}"
    objects = [known.name for known in listed if known.default is None and known.type not in NUMBERS]
    if objects:
        yield f"@throws NullPointerException for a null as {' or '.join(objects)}"
    yield "@throws RuntimeException for what fails, with its reason"


def java_method(operation):
    owner = operation.owner.name
    name = method_name(operation)
    result = "void" if operation.kind == "new" else java_type(operation.result.removeprefix("new "))
    static = "static " if operation.kind in ("static", "function") else ""
    listed = parameters(operation)
    shown = ", ".join(f"{java_type(kind)} {argument}" for argument, kind, _ in listed)
    yield comment(operation.sentence, "    ", tags(operation, len(listed)))
    yield f"    public {static}native {result} {name}({shown});"
    required = operation.required
    for count in range(len(listed) - 1, required - 1, -1):
        shown = ", ".join(f"{java_type(kind)} {argument}" for argument, kind, _ in listed[:count])
        given = ", ".join([argument for argument, _, _ in listed[:count]] + [default for _, _, default in listed[count:]])
        yield comment(f"{operation.sentence} The rest as usual.", "    ", tags(operation, count))
        yield f"    public {static}{result} {name}({shown}) {{"
        yield f"        {'return ' if result != 'void' else ''}{name}({given});"
        yield "    }"
    if operation.kind == "new":
        for count in range(len(listed), required - 1, -1):
            shown = ", ".join(f"{java_type(kind)} {argument}" for argument, kind, _ in listed[:count])
            given = ", ".join(argument for argument, _, _ in listed[:count])
            yield comment(operation.sentence, "    ", tags(operation, count))
            yield f"    public {owner}({shown}) {{"
            yield f"        createInstance({given});"
            yield "    }"


def java_enum(known):
    own = known.name.rpartition("::")[2]
    yield comment(f"Values of {known.name}.", "    ")
    yield f"    public enum {own} {{"
    values = ", ".join(f"{value}({number})" for number, value in enumerate(known.values))
    yield f"        {values};"
    yield "        /** The library's number. */"
    yield "        public final int value;"
    yield ""
    yield f"        {own}(int position) {{"
    yield f'            value = JieObject.enumValue("{known.name}", position);'
    yield "        }"
    yield "    }"


def java_enum_file(known):
    """An enumeration of no class."""
    yield f"package {PACKAGE};"
    yield ""
    yield from textwrap.dedent("\n".join(java_enum(known))).split("\n")


def java_class(table, owner, module, parts):
    own = [operation for operation in module.operations if operation.owner is owner and operation.kind != "delete"]
    is_wrapped = owner.name in table.classes
    base = owner.base or "JieObject"
    yield f"package {PACKAGE};"
    yield ""
    yield comment(owner.sentence)
    yield f"public {'class' if is_wrapped else 'final class'} {owner.name}{f' extends {base}' if is_wrapped else ''} {{"
    if is_wrapped:
        yield f"    {owner.name}(long wrap, long serial) {{"
        yield "        super(wrap, serial);"
        yield "    }"
        if not any(operation.kind == "new" and not operation.arguments for operation in own):
            yield ""
    else:
        yield f"    private {owner.name}() {{"
        yield "    }"
        yield ""
        yield "    static {"
        yield "        JieObject.load();"
        yield "    }"
    for known in module.enums:
        if known.name.rpartition("::")[0] == owner.name:
            yield ""
            yield from java_enum(known)
    for operation in own:
        yield ""
        yield from java_method(operation)
    part = parts / f"{owner.name}.part"
    if part.exists():
        yield ""
        yield from part.read_text(encoding="utf-8").rstrip().split("\n")
    if is_wrapped:
        yield ""
        yield "    /** Gives the object up; what needs it keeps it until it ends itself. Harmless a second time. */"
        yield "    @Override"
        yield "    public native void destroy();"
        if not has_deep_copy(table, owner.name):
            yield ""
            yield "    /** Another Java object for the same object of the library. */"
            yield f"    public native {owner.name} copyInstance();"
    yield "}"


def enum_values(table):
    yield f'{INCLUDE} "svjava/jie_classes.h"'
    yield f'{INCLUDE} "svjava/jie_enums.h"'
    yield ""
    yield "const SeamEnum* const* jie_all_enums() {"
    yield "  static const SeamEnum* const ALL[] = {"
    for name in sorted(table.enums):
        yield f"      &seam::{enum_id(name)},"
    yield "      nullptr};"
    yield "  return ALL;"
    yield "}"


def print_left_out(table, path):
    """Tells what is left out, and refuses a list that names what is there."""
    there = {f"{operation.owner.name}.{method_name(operation)}" for module in table.modules
             for operation in module.operations if operation.owner is not None}
    print("Java methods that are left out:")
    for line in path.read_text(encoding="utf-8").splitlines():
        owner, colon, names = line.partition(": ")
        if line.startswith(("#", " ")) or not colon:
            continue
        print(f"  {owner}: {names}")
        for name in names.split():
            if f"{owner}.{name}" in there:
                raise operation_table.TableError(f"{path.name}: {owner}.{name} is there")


def main(folder, parts, output):
    table = operation_table.Table(folder)
    print_left_out(table, pathlib.Path(parts) / "left_out.txt")
    operation_table.write(f"{output}/svjava/jie_classes.h", classes_header(table))
    operation_table.write(f"{output}/svjava/jie_classes.cpp", classes_source(table))
    operation_table.write(f"{output}/svjava/jie_enum_list.cpp", enum_values(table))
    for module in table.modules:
        operation_table.write(f"{output}/svjava/{module.name}.cpp", source(table, module))
        for known in module.enums:
            if "::" not in known.name:
                operation_table.write(f"{output}/java/{PATH}/{known.name}.java", java_enum_file(known))
        owners = {id(operation.owner): operation.owner for operation in module.operations if operation.owner}
        owners.update({id(known): known for known in module.classes})
        for owner in owners.values():
            operation_table.write(f"{output}/java/{PATH}/{owner.name}.java",
                                  java_class(table, owner, module, pathlib.Path(parts)))


operation_table.run(main)
