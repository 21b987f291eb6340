"""Keeps functions short.

usage: check_functions.py ROOT BUILD_FOLDER EXCESS

A function of the library or the examples has at most 60 lines and a cognitive complexity of at most 32. Those that have
more stand in the file EXCESS, a name a line, which only ever gets shorter: a function that is missing there fails, and
so does one that stands there without need.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

LIMITS = {
    "readability-function-size.LineThreshold": "60",
    "readability-function-size.StatementThreshold": "10000",
    "readability-function-cognitive-complexity.Threshold": "32",
    "readability-function-cognitive-complexity.IgnoreMacros": "true",
}
CONFIG = json.dumps({
    "Checks": "-*,readability-function-size,readability-function-cognitive-complexity",
    "CheckOptions": [{"key": key, "value": value} for key, value in LIMITS.items()],
})
FOUND = re.compile(r"^(/[^:]+):\d+:\d+: warning: function '([^']+)' (?:exceeds|has cognitive)", re.MULTILINE)


FLOW = re.compile(r"\b(?:if|for|while|do|switch|catch)\b|\?")
ADDED = re.compile(r"&&|\|\||\belse\b|\bgoto\b")


def is_suspicious(source):
    """Whether the file may have such a function: 2 blanks a level, so a line's indentation bounds how deep it is nested."""
    complexity = lines = 0
    for line in source.read_text(encoding="utf-8").splitlines():
        if line.startswith(("}", "namespace")):
            complexity = lines = 0
            continue
        code = line.split("//")[0]
        depth = (len(code) - len(code.lstrip())) // 2
        complexity += sum(depth + place for place, _ in enumerate(FLOW.findall(code))) + len(ADDED.findall(code))
        lines += 1
        if complexity > 31 or lines > 60:  # 31: one more for a function that calls itself
            return True
    return False


def long_functions(build, source):
    run = subprocess.run(["clang-tidy", "--quiet", f"--config={CONFIG}", "-p", build, source],
                         capture_output=True, text=True, check=False)
    if "error:" in run.stdout + run.stderr:
        sys.exit(run.stdout + run.stderr)
    return FOUND.findall(run.stdout)


def main():
    root, build, excess = pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3])
    known = {line for line in excess.read_text(encoding="utf-8").splitlines() if line and not line.startswith("#")}
    compiled = {entry["file"] for entry in json.loads((pathlib.Path(build) / "compile_commands.json").read_text())}
    names = subprocess.run(["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard", "kernel/*.cpp",
                            "support/*.cpp", "interface/*.cpp", "examples/*.cpp"], capture_output=True, text=True, check=True)
    chosen = [path for name in names.stdout.split() if (path := str(root / name)) in compiled and is_suspicious(root / name)]
    print(f"{len(chosen)} files to look at")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = {f"{pathlib.Path(file).relative_to(root)}: {name}"
                 for faults in pool.map(lambda source: long_functions(build, source), chosen) for file, name in faults}
    for name in sorted(found - known):
        print(f"{name} has more than 60 lines or a complexity above 32")
    for name in sorted(known - found):
        print(f"{name} stands in {excess.name} and need not")
    sys.exit(1 if found != known else 0)


main()
