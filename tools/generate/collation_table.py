#!/usr/bin/env python3
"""Writes a table of collation weights (docs/formats.md) from a key file of the Unicode Collation Algorithm.

usage: collation_table.py <folder of UnicodeData.txt> <key file> <output>

Beside the lines of the key file, which lack them, characters get lines that the algorithm gives weights by a
rule: those with a canonical decomposition (Hangul syllables too) the weights of their parts, and unified
ideographs weights behind all scripts, in the order of code points.
"""
import os
import re
import sys

from unicode_data import Ranges, UnicodeData

TABLE_SIZE = 0x10000  # as TeraUnicode::UNICODEPOINTS
IDEOGRAPHS, MORE_IDEOGRAPHS = 0xFB40, 0xFB80  # first weights of the common blocks and of the extensions
COMMON_BLOCKS = ("CJK Unified Ideographs", "CJK Compatibility Ideographs")


def read_keys(path):
    """Elements by the tuple of code points, in the order of the file."""
    keys = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            codes, semicolon, weights = line.split("#")[0].partition(";")
            if semicolon and not line.startswith("@"):
                keys[tuple(int(code, 16) for code in codes.split())] = re.findall(r"\[[^]]*\]", weights)
    return keys


def ideograph_weights(code, block):
    base = IDEOGRAPHS if block in COMMON_BLOCKS else MORE_IDEOGRAPHS
    return [f"[.{base + (code >> 15):04X}.0020.0002]", f"[.{code & 0x7FFF | 0x8000:04X}.0000.0000]"]


def add_ideographs(keys, folder):
    unified = Ranges(os.path.join(folder, "PropList.txt"))
    blocks = Ranges(os.path.join(folder, "Blocks.txt"))
    for first, last, value in unified.rows:
        if value == "Unified_Ideograph":
            for code in range(first, last + 1):
                keys.setdefault((code,), ideograph_weights(code, blocks.value(code)))


def add_decomposable(keys, data):
    for code in sorted(data.characters):
        parts = data.decompose([code], False)
        if (code,) not in keys and parts != [code] and all((part,) in keys for part in parts):
            keys[(code,)] = [element for part in parts for element in keys[(part,)]]


def main():
    folder, key_file, output = sys.argv[1:]
    keys = read_keys(key_file)
    add_ideographs(keys, folder)
    add_decomposable(keys, UnicodeData(folder))
    with open(output, "w", encoding="utf-8") as out:
        for codes, elements in keys.items():
            if max(codes) < TABLE_SIZE:
                out.write(f"{' '.join(f'{code:04X}' for code in codes)} ; {''.join(elements)}\n")


main()
