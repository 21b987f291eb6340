"""Writes the first example of a language in a Markdown file to a source file, and its expected output beside it.

usage: extract_example.py README.md EXAMPLE.cpp MAX_LINES      the language is told by the ending

The expected output is the first ```text block behind the example.
"""
import pathlib
import re
import sys

text = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
target = pathlib.Path(sys.argv[2])
language = {"py": "python"}.get(target.suffix[1:], target.suffix[1:])
found = re.search(rf"```{language}\n(.*?)```.*?```text\n(.*?)```", text, re.DOTALL)
if not found:
    sys.exit(f"{sys.argv[1]}: no ```{language} block followed by a ```text block")
code, output = found.groups()
if len(code.splitlines()) > int(sys.argv[3]):
    sys.exit(f"{sys.argv[1]}: the example has {len(code.splitlines())} lines, more than {sys.argv[3]}")
for path, content in ((target, code), (target.with_suffix(".txt"), output)):
    if not path.exists() or path.read_text(encoding="utf-8") != content:
        path.write_text(content, encoding="utf-8")
