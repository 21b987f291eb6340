#!/usr/bin/env python3
"""Writes the syllables of kana and of Korean in Latin letters, as Unicode names them, as C++ source.

usage: syllable_table.py <folder of UnicodeData.txt> <output>
"""
import os
import re
import sys

from unicode_data import UnicodeData

KANA = re.compile("(?:HIRAGANA|KATAKANA) LETTER (?:SMALL )?([A-Z]{1,4})$")


def kana(data):
    """Code points with their letters."""
    for code, character in sorted(data.characters.items()):
        match = KANA.match(character.name)
        if match:
            yield code, match.group(1)


def jamo(folder):
    """The short names of the parts of Korean syllables: leads, vowels, tails, each in order; no tail first."""
    parts = {0x1100: [], 0x1161: [], 0x11A8: [""]}
    with open(os.path.join(folder, "Jamo.txt"), encoding="utf-8") as lines:
        for line in lines:
            fields = line.partition("#")[0].split(";")
            if len(fields) == 2:
                code = int(fields[0], 16)
                parts[max(first for first in parts if first <= code)].append(fields[1].strip())
    return parts.values()


def array(name, values):
    return "const char* const %s[] = {%s};\n" % (name, ",".join('"%s"' % value for value in values))


def main():
    folder, output = sys.argv[1:]
    rows = list(kana(UnicodeData(folder)))
    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/text/tera_syllables_internal.h"\n')
        out.write("const int tera_num_kana = %d;\n" % len(rows))
        out.write("const TeraSound tera_kana[] = {%s};\n" % ",".join('{%d,"%s"}' % row for row in rows))
        for name, values in zip(("leads", "vowels", "tails"), jamo(folder)):
            out.write(array("tera_hangul_" + name, values))


if __name__ == "__main__":
    main()
