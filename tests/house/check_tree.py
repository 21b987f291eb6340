"""Rules of the tree that a script can keep.

usage: check_tree.py ROOT [LIBRARY [OBJECT...]]

Includes: a folder includes itself and lower ones only, and so does a room (a sub-folder) within its folder; headers
are named from the folder above ("ace/x.h"), public ones lie in the folder and not in a room, and each source includes
its own header first. With LIBRARY, also: nothing but C++ names and data with a folder's prefix is exported, so
that no C library of a host can take the place of a kernel function; and OBJECTs, which are compiled for processors with
wider registers, define no weak function, which the linker could give to all others.

Names: a file that a comment, a document or a build file speaks of is there.
"""
import pathlib
import re
import subprocess
import sys

# From the bottom. Folders of one row may not include each other.
LAYERS = [
    ["ace"],
    ["ebos"],
    ["tera"],
    ["dast"],
    ["dime"],
    ["dare"],
    ["damo"],
    ["svcpp", "seam"],
    ["tie", "jie"],
    ["svtie", "svjava", "svpie"],
    ["sorvanta"],  # a program, which no folder includes
]
# The rooms of a folder, from the bottom. A public header belongs to the room of the source that is named like it.
ROOMS = {
    "tera": ["text", "transform", "measure", "store", "result", "edit", "graph", "teaser", "count", "auto", "multi"],
    "dast": ["info", "alias", "method", "detect", "base", "build", "recall", "count"],
    "dime": ["method", "edit", "auto", "words", "date", "number", "pattern", "detect", "code", "place"],
    "dare": ["logic", "result", "context", "rule", "config", "evaluate", "command", "manager"],
    "damo": ["output", "text", "statistic", "input", "json", "xml", "odbc", "diff", "cascade", "extract"],
}
# What hosts in other languages look for by these names when they load the library.
ENTRIES = {"Svcppt", "Svcpptd", "Java", "JNI"}
LEVEL = {folder: level for level, row in enumerate(LAYERS) for folder in row}
HASH = re.compile(r"#.*")
COMMENTS = {".h": re.compile(r"//.*"), ".cpp": re.compile(r"//.*"), ".py": HASH, ".cmake": HASH, ".md": None}
FILE_NAME = re.compile(r"(?<![\w./<*-])[\w][\w/-]*\.(?:h|cpp|py|md|cmake|sh)\b(?![\w.*>])")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def sources(root):
    for top in ("kernel", "support", "interface", "programs"):
        for source in sorted((root / top).rglob("*")):
            if source.suffix in (".h", ".cpp", ".ipp"):
                yield source, source.relative_to(root / top).parts


def header_rooms(root):
    """Name of each header as it is included, to the level of its room; one without a source has that of its includes."""
    includes, rooms, by_stem = {}, {}, {}
    for source, (folder, *rest) in sources(root):
        if folder not in ROOMS:
            continue
        if len(rest) > 1 and rest[0] in ROOMS[folder]:
            by_stem[folder, source.stem] = ROOMS[folder].index(rest[0])
        if source.suffix == ".h":
            includes["/".join([folder, *rest])] = INCLUDE.findall(source.read_text(encoding="utf-8"))

    def room(name):
        if name not in rooms:
            folder, stem = name.split("/")[0], pathlib.Path(name).stem
            rooms[name] = 0  # a circle of includes ends here
            own = (room(i) for i in includes.get(name, []) if i.split("/")[0] == folder)
            rooms[name] = by_stem[folder, stem] if (folder, stem) in by_stem else max(own, default=0)
        return rooms[name]

    return {name: room(name) for name in includes}


def check_rooms(root):
    rooms = header_rooms(root)
    for source, (folder, *rest) in sources(root):
        if folder not in ROOMS:
            continue
        if len(rest) == 1:
            if source.suffix == ".cpp" or source.stem.endswith("_internal"):
                yield f"{source}: a source or internal header outside of the rooms of {folder}"
            level = rooms.get(f"{folder}/{rest[0]}", 0)
        elif rest[0] not in ROOMS[folder]:
            yield f"{source}: {rest[0]} is no room of {folder}"
            continue
        else:
            level = ROOMS[folder].index(rest[0])
            if source.suffix == ".h" and not source.stem.endswith("_internal"):
                yield f"{source}: a public header in a room"
        for name in INCLUDE.findall(source.read_text(encoding="utf-8")):
            if rooms.get(name, 0) > level and name.split("/")[0] == folder:
                yield f'{source}: "{name}" lies in the room {ROOMS[folder][rooms[name]]}, above {ROOMS[folder][level]}'


def check_includes(root):
    for source, (folder, *rest) in sources(root):
        if folder not in LEVEL:
            yield f"{source}: folder {folder} is in no layer"
            continue
        names = INCLUDE.findall(source.read_text(encoding="utf-8"))
        for name in names:
            target = name.split("/")[0]
            if "/" not in name or target not in LEVEL:
                yield f'{source}: "{name}" does not start with a folder of the tree'
            elif target != folder and LEVEL[target] >= LEVEL[folder]:
                yield f'{source}: "{name}" lies in a layer that is not below {folder}'
        if source.suffix != ".cpp":
            continue
        for own in (f"{folder}/{source.stem}.h", "/".join([folder, *rest[:-1], f"{source.stem}.h"])):
            if (source.parents[len(rest)] / own).exists() and names[:1] != [own]:
                yield f'{source}: "{own}" is not its first include'


def check_exports(library):
    listing = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    for line in listing.stdout.splitlines():
        kind, name = line.split()[-2:]
        if kind in "TBDRVW" and not name.startswith("_Z") and name.split("_")[0] not in {*LEVEL, *ENTRIES}:
            yield f"{library}: exports the C name {name}"


def check_objects(objects):
    for name in objects:
        listing = subprocess.run(["nm", "--defined-only", name], capture_output=True, text=True, check=True)
        for line in listing.stdout.splitlines():
            if line.split()[-2] in "WVu":
                yield f"{name}: defines {line.split()[-1]} for all"


def check_names(root):
    listing = subprocess.run(["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard"],
                             capture_output=True, text=True, check=True)
    tracked = listing.stdout.split()
    ends = {"/".join(parts[i:]) for parts in (name.split("/") for name in tracked) for i in range(len(parts))}
    for name in tracked:
        kind, path = pathlib.Path(name).suffix, root / name
        if not path.is_file() or (kind not in COMMENTS and path.name != "CMakeLists.txt"):
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            text = line if kind == ".md" else "".join(COMMENTS.get(kind, HASH).findall(line))
            for spoken in FILE_NAME.findall(text):
                if spoken not in ends:
                    yield f"{path}:{number}: {spoken} is not in the tree"


def main():
    root = pathlib.Path(sys.argv[1])
    faults = [*check_includes(root), *check_rooms(root), *check_names(root)]
    if len(sys.argv) > 2:
        faults += [*check_exports(sys.argv[2]), *check_objects(sys.argv[3:])]
    print("\n".join(faults))
    sys.exit(1 if faults else 0)


main()
