"""Writes the examples of a language in a Markdown file to a source file, one behind the other, and their expected output
beside it.

usage: extract_example.py README.md EXAMPLE.cpp MAX_LINES      the language is told by the ending

The expected output of an example is the first ```text block behind it. MAX_LINES is what the first may have.
"""
import pathlib
import re
import sys

text = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
target = pathlib.Path(sys.argv[2])
language = {"py": "python"}.get(target.suffix[1:], target.suffix[1:])
found = re.findall(rf"```{language}\n(.*?)```.*?```text\n(.*?)```", text, re.DOTALL)
if not found:
    sys.exit(f"{sys.argv[1]}: no ```{language} block followed by a ```text block")
lines = len(found[0][0].splitlines())
if lines > int(sys.argv[3]):
    sys.exit(f"{sys.argv[1]}: the example has {lines} lines, more than {sys.argv[3]}")
code, output = map("".join, zip(*found))
for path, content in ((target, code), (target.with_suffix(".txt"), output)):
    if not path.exists() or path.read_text(encoding="utf-8") != content:
        path.write_text(content, encoding="utf-8")
