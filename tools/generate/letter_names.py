#!/usr/bin/env python3
"""Writes the letters that no transliteration covers in Latin letters, as C++ source: Latin ones by the locale data's rules
for ASCII, others by the names that Unicode gives them.

usage: letter_names.py <folder of UnicodeData.txt> <folder of the CLDR transforms> <output>

A name begins with its sound: KHA, KHO KHAI, GAN, VOWEL SIGN AA. Of it, the consonants in front are taken, else the vowels;
of a syllable, which is a letter of its own, the whole.
"""
import os
import re
import sys
import xml.etree.ElementTree as xml

from unicode_data import Ranges, UnicodeData

TRANSLITERATED = {"Greek", "Cyrillic", "Arabic", "Hebrew"}  # most of their letters
# These have sounds of their own; the names of the others are numbers or things.
LEFT_OUT = {"Latin", "Han", "Hangul", "Hiragana", "Katakana", "Bopomofo", "Common", "Inherited", "Braille", "Phags_Pa"}
LAST = 0xFFFF  # letters of the planes behind are those of the learned, most of them
NAMED_FIRST = {"Thai", "Lao", "Arabic"}  # the sound, then what tells it from others
ORIGINS = re.compile("(FARSI|KIRGHIZ|HIGH|SWASH|DOTLESS|AFRICAN|ROHINGYA|STRAIGHT|BARRED|ABKHASIAN) ")
SCHWA = (0x18F, 0x259)  # of Azerbaijan, where it is spelt a
SIGNS = {"ANUSVARA": "N", "ANUSVARAYA": "N", "CANDRABINDU": "N", "BINDI": "N", "TIPPI": "N", "NIKAHIT": "M", "VISARGA": "H",
         "VISARGAYA": "H", "HAN-AKAT": "A", "PAA-PILLA": "U", "AIN": "A", "KOMBUVA": "E", "DEKA": "AI"}
IGNORED = re.compile("(HARD|SOFT) SIGN|(SIGN )?(VIRAMA|NUKTA|AVAGRAHA|COENG|MAI|MAITAIKHU|THANTHAKHAT|MAIYAMOK|PAIYANNOI|LAKKHANGYAO)")
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
    words = ORIGINS.sub("", found["rest"]).split()
    letters = re.sub("[^A-Z]", "", words[0] if script in NAMED_FIRST else words[-1])
    if found["kind"] in ("SYLLABLE", "SYLLABICS") or script == "Cherokee":
        return letters[:MOST]
    if found["kind"] == "INDEPENDENT VOWEL":  # of Khmer, which writes a stop in front
        letters = letters.replace("Q", "")
    if script == "Tifinagh":
        letters = letters[1:] if len(letters) == 2 else letters[2:]
    return (re.match("[^AEIOU]+|[AEIOU]+|", letters).group() or letters)[:MOST]


def latin(folder):
    text = "".join(xml.parse(os.path.join(folder, "Latin-ASCII.xml")).getroot().itertext())
    text = re.sub(r"\\u([0-9A-Fa-f]{4})", lambda code: chr(int(code.group(1), 16)), text)
    rules = re.findall(r"(?m)^\s*(\S)\s*\u2192\s*([A-Za-z]{1,4})\s*;", text)
    return [(ord(letter), target.upper()) for letter, target in rules] + [(code, "A") for code in SCHWA]


def array(name, rows):
    entries = "".join('{%d,"%s"},\n' % row for row in sorted(rows))
    return "const int tera_num_%s = %d;\nconst TeraSound tera_%s[] = {\n%s};\n" % (name, len(rows), name, entries)


def main():
    folder, transforms, output = sys.argv[1:]
    data = UnicodeData(folder)
    scripts = Ranges(os.path.join(folder, "Scripts.txt"))
    rows, more = [], latin(transforms)
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
            (more if script in TRANSLITERATED else rows).append((code, letters))
    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/text/tera_syllables_internal.h"\n')
        out.write(array("more_letters", more))
        out.write(array("letter_names", rows))


if __name__ == "__main__":
    main()
