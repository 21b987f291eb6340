"""Rules of the tree that a script can keep.

usage: check_tree.py ROOT [LIBRARY]

Includes: a folder includes itself and lower ones only, headers are named from the folder above ("ace/x.h"),
and each source includes its own header first. With LIBRARY, also: nothing but C++ names and data with a folder's prefix is exported, so
that no C library of a host can take the place of a kernel function.
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
    ["svcpp", "tie", "jie", "seam"],
    ["svtie", "svjava", "svpie"],
]
LEVEL = {folder: level for level, row in enumerate(LAYERS) for folder in row}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def check_includes(root):
    for top in ("kernel", "support", "interface"):
        for source in sorted((root / top).rglob("*")):
            if source.suffix not in (".h", ".cpp", ".ipp"):
                continue
            folder = source.relative_to(root / top).parts[0]
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
            own = f"{folder}/{source.stem}.h"
            if source.suffix == ".cpp" and source.with_suffix(".h").exists() and names[:1] != [own]:
                yield f'{source}: "{own}" is not its first include'


def check_exports(library):
    listing = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    for line in listing.stdout.splitlines():
        kind, name = line.split()[-2:]
        if kind in "TBDRVW" and not name.startswith("_Z") and name.split("_")[0] not in LEVEL:
            yield f"{library}: exports the C name {name}"


def main():
    faults = list(check_includes(pathlib.Path(sys.argv[1])))
    if len(sys.argv) > 2:
        faults += check_exports(sys.argv[2])
    print("\n".join(faults))
    sys.exit(1 if faults else 0)


main()
