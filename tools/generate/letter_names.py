#!/usr/bin/env python3
"""Writes the letters of scripts that no transliteration covers in Latin letters, by the names that Unicode gives them, as
C++ source.

usage: letter_names.py <folder of UnicodeData.txt> <output>

A name begins with its sound: KHA, KHO KHAI, GAN, VOWEL SIGN AA. Of it, the consonants in front are taken, else the vowels;
of a syllable, which is a letter of its own, the whole.
"""
import os
import re
import sys

from unicode_data import Ranges, UnicodeData

# The first have transliterations, or sounds of their own; the names of the others are numbers or things.
LEFT_OUT = {"Latin", "Greek", "Cyrillic", "Arabic", "Hebrew", "Han", "Hangul", "Hiragana", "Katakana", "Bopomofo", "Common",
            "Inherited", "Braille", "Phags_Pa"}
LAST = 0xFFFF  # letters of the planes behind are those of the learned, most of them
NAMED_FIRST = {"Thai", "Lao"}  # the sound, then what a child learns it by
SIGNS = {"ANUSVARA": "N", "ANUSVARAYA": "N", "CANDRABINDU": "N", "BINDI": "N", "TIPPI": "N", "NIKAHIT": "M", "VISARGA": "H",
         "VISARGAYA": "H", "HAN-AKAT": "A", "PAA-PILLA": "U", "KOMBUVA": "E", "DEKA": "AI"}
IGNORED = re.compile("(SIGN )?(VIRAMA|NUKTA|AVAGRAHA|COENG|MAI|MAITAIKHU|THANTHAKHAT|MAIYAMOK|PAIYANNOI|LAKKHANGYAO)")
LETTER = re.compile(r"(?:.*? )?(?:(?:MODIFIER|SUBJOINED|CAPITAL|SMALL|FINAL|LIGATURE) )*"
                    r"(?P<kind>LETTER|SYLLABLE|SYLLABICS|CHARACTER|VOWEL SIGN|INDEPENDENT VOWEL|CONSONANT SIGN|SIGN) "
                    r"(?:(?:SMALL|FINAL|VOWEL SIGN|SARA|MAI) )*(?P<rest>[^(]+)$")
MOST = 4


def sound(name, script):
    """In capital letters; empty for a mark that is not heard."""
    if name.rpartition(" ")[2] in SIGNS:
        return SIGNS[name.rpartition(" ")[2]]
    found = LETTER.match(name.partition(" WITH ")[0])
    if found is None or found["kind"] == "SIGN" or IGNORED.fullmatch(found["rest"]):
        return ""
    words = found["rest"].split()
    letters = re.sub("[^A-Z]", "", words[0] if script in NAMED_FIRST else words[-1])
    if found["kind"] in ("SYLLABLE", "SYLLABICS") or script == "Cherokee":
        return letters[:MOST]
    if found["kind"] == "INDEPENDENT VOWEL":  # of Khmer, which writes a stop in front
        letters = letters.replace("Q", "")
    if script == "Tifinagh":
        letters = letters[1:] if len(letters) == 2 else letters[2:]
    return (re.match("[^AEIOU]+|[AEIOU]+|", letters).group() or letters)[:MOST]


def main():
    folder, output = sys.argv[1:]
    data = UnicodeData(folder)
    scripts = Ranges(os.path.join(folder, "Scripts.txt"))
    rows = []
    for code, character in sorted(data.characters.items()):
        script = scripts.value(code)
        if code > LAST or script is None or script in LEFT_OUT:
            continue
        if character.category == "Nd":
            letters = str(character.digit)
        elif character.category[0] in "LM":
            letters = sound(character.name, script)
        else:
            continue
        if letters:
            rows.append((code, letters))
    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/text/tera_syllables_internal.h"\n')
        out.write("const int tera_num_letter_names = %d;\n" % len(rows))
        out.write("const TeraSound tera_letter_names[] = {\n")
        for row in rows:
            out.write('{%d,"%s"},\n' % row)
        out.write("};\n")


if __name__ == "__main__":
    main()
