"""Writes the first C++ example of a Markdown file to a source file, and its expected output beside it.

usage: extract_example.py README.md EXAMPLE.cpp MAX_LINES

The expected output is the first ```text block behind the example.
"""
import pathlib
import re
import sys

text = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
found = re.search(r"```cpp\n(.*?)```.*?```text\n(.*?)```", text, re.DOTALL)
if not found:
    sys.exit(f"{sys.argv[1]}: no ```cpp block followed by a ```text block")
code, output = found.groups()
if len(code.splitlines()) > int(sys.argv[3]):
    sys.exit(f"{sys.argv[1]}: the example has {len(code.splitlines())} lines, more than {sys.argv[3]}")
target = pathlib.Path(sys.argv[2])
for path, content in ((target, code), (target.with_suffix(".txt"), output)):
    if not path.exists() or path.read_text(encoding="utf-8") != content:
        path.write_text(content, encoding="utf-8")
