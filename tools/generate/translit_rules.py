#!/usr/bin/env python3
"""Writes the transliteration rules (kernel/tera/transform/tera_translit_internal.h) as C++ source.

usage: translit_rules.py <folder of UnicodeData.txt> <folder of the CLDR transforms> <output>

Taken from the transforms is what leads to Latin letters and depends on nothing but the characters and the one
behind them. Left out is what only serves the way back: separators, apostrophes, tildes, contexts in front.
"""
import os
import re
import sys
import unicodedata
import xml.etree.ElementTree as xml

from unicode_data import UnicodeData, open_text

NONE, SUBSTITUTE, LOOKAHEAD = 1, 2, 3
SYLLABLE_BITS = 11
HIRAGANA_SHIFT = 0x60
KATAKANA = range(0x30A1, 0x30F7)
MACRON = "\u0304"
LENGTH_MARK = "\u30FC"
VU = "\u30F4"
SMALL_VOWELS = "\u30A1\u30A3\u30A7\u30A9"
ARROWS = "\u2190\u2192\u2194"  # left, right, both


class Rules:
    """The rules of one transform file, in their order: (arrow, left side, right side), variables replaced."""

    def __init__(self, folder, name):
        text = "".join(xml.parse(os.path.join(folder, name)).getroot().itertext())
        text = re.sub(r"(?m)^\s*#.*$|\s#[^\n]*$", "", text).replace("\\\n", "")
        text = re.sub(r"\\u([0-9A-Fa-f]{4})", lambda code: chr(int(code.group(1), 16)), text)
        self.variables = {}
        self.rules = []
        for statement in text.split(";"):
            statement = statement.strip()
            variable = re.match(r"\$(\w+)\s*=\s*(.*)$", statement, re.S)
            if variable:
                self.variables[variable.group(1)] = self.expand(variable.group(2))
            elif not statement.startswith("::"):
                sides = re.split("([%s])" % ARROWS, statement)
                if len(sides) == 3:
                    self.rules.append((sides[1], self.expand(sides[0]), self.expand(sides[2])))

    def expand(self, text):
        return re.sub(r"\$([A-Za-z]\w*)", lambda name: self.variables.get(name.group(1), "\0"), text)


def characters(text):
    """What a context stands for, one set or a sequence of sets: the single characters among it, composed."""
    strings = [""]
    for part in re.findall(r"\[((?:[^\[\]]|\[[^\[\]]*\])*)\]|(\S)", text):
        if part[0]:
            inner = part[0].replace("[", "").replace("]", "").replace(" ", "")
            inner = re.sub("(.)-(.)", lambda ends: "".join(map(chr, range(ord(ends[1]), ord(ends[2]) + 1))), inner)
        else:
            inner = part[1]
        strings = [start + end for start in strings for end in inner]
    composed = {unicodedata.normalize("NFC", string) for string in strings}
    return {string for string in composed if len(string) == 1}


def plain(text):
    """A side without quotes, tildes and blanks; None where it needs more than characters."""
    text = re.sub(r"[\s'~]", "", text)
    return None if re.search(r"[\[\]{}()$|?*.\0]", text) else unicodedata.normalize("NFC", text)


def split_context(side):
    """(characters, set of what must follow or None); None for other contexts."""
    if "{" in side:
        return None
    key, brace, behind = side.partition("}")
    key = plain(key)
    if not key:
        return None
    if not brace:
        return key, None
    return key, characters(behind)


def jamo_letters(folder):
    """The letters of the conjoining jamo, without the separators between syllables."""
    letters = {0x110B: "", 0x11A7: ""}
    for arrow, latin, jamo in Rules(folder, "Latin-ConjoiningJamo.xml").rules:
        key = re.search(r"\{([a-z ]+)\}", latin)
        latin = key.group(1) if key else latin
        if arrow != ARROWS[1] and len(jamo.strip()) == 1 and re.fullmatch("[a-z ]+", latin):
            letters.setdefault(ord(jamo.strip()), latin.replace(" ", ""))
    return [[letters[code] for code in codes]
            for codes in (range(0x1100, 0x1113), range(0x1161, 0x1176), range(0x11A7, 0x11C3))]


def kana_rules(folder):
    rules = []
    for arrow, latin, kana in Rules(folder, "Latin-Katakana.xml").rules:
        if arrow == ARROWS[1] or "\0" in kana or "\0" in latin:
            continue
        doubled = latin.partition("}")[0]  # "k } k <> tsu } k_start": the first consonant of two
        target = plain(doubled.replace("|", ""))
        source = split_context(kana)
        if source and target and not target.isspace() and ord(source[0][0]) in KATAKANA:
            rules.append((source[0], source[1], target))
    rules.append((LENGTH_MARK, None, MACRON))
    rules.append((VU, set(SMALL_VOWELS), "v"))  # in front of them it is the consonant alone, like the f of fa
    shifted = {chr(code): chr(code - HIRAGANA_SHIFT) for code in KATAKANA}
    hiragana = str.maketrans(shifted)
    half = {}
    for code in range(0xFF61, 0xFFA0):
        half[unicodedata.normalize("NFKC", chr(code))] = chr(code)
    halfwidth = {}
    for code in list(KATAKANA) + [ord(LENGTH_MARK)]:
        parts = unicodedata.normalize("NFD", chr(code)).replace("\u3099", "\uFF9E").replace("\u309A", "\uFF9F")
        halfwidth[chr(code)] = "".join(half.get(part, part) for part in parts)

    def variants(rule, change):
        source, behind, target = rule
        starts = None if behind is None else {change(c) for c in behind if len(change(c)) == 1}
        return change(source), starts, target

    full = list(rules)
    for change in (lambda text: text.translate(hiragana),
                   lambda text: "".join(halfwidth.get(character, character) for character in text)):
        changed = (variants(rule, change) for rule in full)
        rules += [rule for rule in changed if rule[1] is None or rule[1]]
    return rules


def hindi_rules(folder):
    to_common = {}
    for _, letter, common in Rules(folder, "Devanagari-InterIndic.xml").rules:
        letter, common = plain(letter), plain(common)
        if letter and common and len(common) == 1:
            to_common.setdefault(common, letter)
    rules = []
    for _, source, latin in Rules(folder, "InterIndic-Latin.xml").rules:
        if "''" in latin or "\0" in source:
            continue
        target = plain(latin)
        source = split_context(source)
        if target is None or not source or any(character not in to_common for character in source[0]):
            continue
        if "\u0314" in target:  # marks an order of vowels that no word has
            continue
        behind = source[1] and {to_common[character] for character in source[1] if character in to_common}
        rules.append(("".join(to_common[character] for character in source[0]), behind, target))
    for code in range(0x0958, 0x0960):  # letters with a nukta in one character
        decomposed = unicodedata.normalize("NFD", chr(code))
        rules += [(chr(code) + source[len(decomposed):], behind, target)
                  for source, behind, target in rules if source.startswith(decomposed)]
    return rules


def literal(text):
    return '"' + "".join("\\x%02x" % byte for byte in text.encode("utf-8")) + '"'


def write_rules(out, name, rules):
    """Rules by their first character, the longest source first, those with a context before those without."""
    heads = {}
    for source, behind, target in rules:
        group = heads.setdefault(ord(source[0]), {})
        group.setdefault((source[1:], "".join(sorted(behind)) if behind else ""), target)
    out.write("const TranslitRule tera_translit_%s_rules[] = {\n" % name)
    index = []
    count = 0
    for code in sorted(heads):
        group = sorted(heads[code].items(), key=lambda item: (-len(item[0][0]), item[0][1] == ""))
        index.append("{%d,%d,%d}" % (code, count, len(group)))
        count += len(group)
        for (rest, behind), target in group:
            kind = LOOKAHEAD if behind else SUBSTITUTE if target or rest else NONE
            out.write("{%d,%s,%s,%s},\n" % (kind, literal(rest), literal(behind), literal(target)))
    out.write("};\nconst TranslitHead tera_translit_%s_heads[] = {%s};\n" % (name, ",".join(index)))
    out.write("const int tera_translit_%s_num_heads = %d;\n" % (name, len(index)))


def write_cantonese(out, folder):
    sounds = {}
    with open_text(folder, "Unihan_Readings.txt") as lines:
        for line in lines:
            fields = line.rstrip("\n").split("\t")
            if len(fields) == 3 and fields[1] == "kCantonese":
                sounds[int(fields[0][2:], 16)] = re.sub("[^a-z]", "", fields[2].split()[0])
    syllables = sorted(set(sounds.values()))
    if len(syllables) > 1 << SYLLABLE_BITS:
        raise ValueError("%d syllables, room for %d" % (len(syllables), 1 << SYLLABLE_BITS))
    number = {sound: index for index, sound in enumerate(syllables)}
    out.write("const char* const tera_cantonese_syllables[] = {%s};\n" % ",".join('"%s"' % s for s in syllables))
    rows = ["%du" % (code << SYLLABLE_BITS | number[sound]) for code, sound in sorted(sounds.items())]
    out.write("const Large tera_cantonese_rows[] = {%s};\n" % ",\n".join(rows))
    out.write("const int tera_num_cantonese = %d;\n" % len(rows))


def main():
    unicode_folder, transforms, output = sys.argv[1:]
    UnicodeData(unicode_folder).version()  # fails where the data is not what it seems
    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/transform/tera_translit_internal.h"\n')
        out.write("const int tera_cantonese_syllable_bits = %d;\n" % SYLLABLE_BITS)
        for name, letters in zip(("lead", "vowel", "tail"), jamo_letters(transforms)):
            out.write("const char* const tera_translit_jamo_%s[] = {%s};\n"
                      % (name, ",".join('"%s"' % text for text in letters)))
        write_rules(out, "japanese", kana_rules(transforms))
        write_rules(out, "hindi", hindi_rules(transforms))
        write_cantonese(out, unicode_folder)


if __name__ == "__main__":
    main()
