#!/usr/bin/env python3
"""Writes the readings of Chinese characters (kernel/tera/tera_convert_map.h) as C++ source.

usage: pinyin_table.py <folder of UnicodeData.txt> <output>

A row packs the code point and the index of its syllable, so that the table needs no pointers.
"""
import re
import sys

from unicode_data import UnicodeData, open_text

READINGS = "Unihan_Readings.txt"
FIELDS = ("kMandarin", "kHanyuPinlu", "kXHC1983", "kHanyuPinyin")  # the first that a character has
DIAERESIS = 0x0308
SYLLABLE_BITS = 10


def syllable(data, field, value):
    """The first reading in plain letters; None for one without."""
    reading = value.split()[0].split(":")[-1].split(",")[0]
    if field == "kHanyuPinlu":
        reading = reading.split("(")[0]
    letters = "".join(map(chr, data.decompose(map(ord, reading), False)))
    letters = re.sub("u([^a-z]*)" + chr(DIAERESIS), "v", letters)
    letters = re.sub("[^a-z]", "", letters)
    return letters or None


def main():
    folder, output = sys.argv[1:]
    data = UnicodeData(folder)
    readings = {}
    with open_text(folder, READINGS) as lines:
        for line in lines:
            if line.startswith("#") or not line.strip():
                continue
            code, field, value = line.rstrip("\n").split("\t")
            if field in FIELDS:
                readings.setdefault(int(code[2:], 16), {})[field] = value
    sounds = {}
    for code, fields in readings.items():
        field = next(field for field in FIELDS if field in fields)
        sound = syllable(data, field, fields[field])
        if sound:
            sounds[code] = sound
    syllables = sorted(set(sounds.values()))
    if len(syllables) > 1 << SYLLABLE_BITS:
        raise ValueError("%d syllables, room for %d" % (len(syllables), 1 << SYLLABLE_BITS))
    index = {sound: number for number, sound in enumerate(syllables)}
    rows = [str(code << SYLLABLE_BITS | index[sound]) for code, sound in sorted(sounds.items())]
    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/text/tera_pinyin_internal.h"\n')
        out.write("const int tera_pinyin_syllable_bits = %d;\n" % SYLLABLE_BITS)
        out.write("const int tera_num_pinyin = %d;\n" % len(rows))
        out.write("const char* const tera_pinyin_syllables[] = {%s};\n" % ",".join('"%s"' % s for s in syllables))
        out.write("const Large tera_pinyin_rows[] = {\n")
        for pos in range(0, len(rows), 16):
            out.write("u,".join(rows[pos:pos + 16]) + "u,\n")
        out.write("};\n")


if __name__ == "__main__":
    main()
