"""Prints the rows of CSV files: fields end with 0x1f, rows with 0x1e, files with 0x1d.

usage: csv_rows.py (FILE SEPARATOR QUOTE ESCAPE)...      ESCAPE "" for doubled quotes
"""
import csv
import io
import sys

csv.field_size_limit(1 << 30)
args = sys.argv[1:]
for name, separator, quote, escape in zip(*[iter(args)] * 4):
    with open(name, "rb") as file:
        text = file.read().removeprefix(b"\xef\xbb\xbf").decode("latin-1")
    rows = csv.reader(io.StringIO(text, newline=""), delimiter=separator, quotechar=quote,
                      escapechar=escape or None, doublequote=not escape)
    for row in rows:
        fields = "".join(field.replace("\r\n", "\n") + "\x1f" for field in row or [""])
        sys.stdout.buffer.write((fields + "\x1e").encode("latin-1"))
    sys.stdout.buffer.write(b"\x1d")
