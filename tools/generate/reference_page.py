#!/usr/bin/env python3
"""Writes the reference page of all operations.

usage: reference_page.py <folder of the table> <output>
"""
import operation_table


def argument(known):
    kind = known.type.removeprefix("enum:")
    if known.default is None:
        return f"{known.name}:{kind}"
    default = "none" if known.default == "nullptr" else known.default.rpartition("::")[2]
    return f"[{known.name}:{kind} = {default}]"


def call(operation):
    words = {"new": operation.owner.name if operation.owner else "", "delete": operation.tcl_name}
    name = words.get(operation.kind, operation.tcl_name)
    arguments = ["object"] if operation.has_self else []
    arguments += [argument(known) for known in operation.arguments]
    result = "" if operation.result == "none" or operation.kind in ("new", "delete") else f" → {operation.result}"
    return f"`{' '.join([name, *arguments])}`{result.replace('enum:', '')}"


def page(table):
    yield "# All operations"
    for module in table.modules:
        yield from ["", f"## {module.title}"]
        for known in module.enums:
            yield from ["", f"`{known.name}`: {', '.join(known.values)}"]
        seen = None
        for operation in module.operations:
            if operation.owner is not seen and operation.owner is not None:
                base = f" (a {operation.owner.base})" if operation.owner.base else ""
                yield from ["", f"### {operation.owner.name}{base}", "", operation.owner.sentence, ""]
            seen = operation.owner
            yield f"- {call(operation)}: {operation.sentence or 'Deletes the object.'}"


def main(folder, output):
    operation_table.write(output, page(operation_table.Table(folder)))


operation_table.run(main)
