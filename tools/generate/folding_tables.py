#!/usr/bin/env python3
"""Writes the folding tables (kernel/tera/tera_unicode_tables.h) as C++ source.

usage: folding_tables.py <folder of UnicodeData.txt> <folder of Greek-Latin.xml> <output>
"""
import os
import sys

from transliteration import Transliteration
from unicode_data import UnicodeData

MAX_EXPANSION = 5  # as TERA_MAX_EXPANSION
BLANK = 0x20

WHITESPACE = [*range(0x01, 0x20), 0xA0, *range(0x2000, 0x200C), 0x202F, 0x205F, 0x3000, 0xFEFF, 0x180E, 0x3000,
              0x2060, 0x2028, 0x2029]
CURRENCY = {0xA2: "c", 0xA3: "L", 0xA4: "E", 0x20A0: "E", 0x20AC: "E", 0xA5: "Y", 0x24: "S", 0x20A3: "F",
            0x20B0: "p", 0x20AF: "D", 0x20A7: "P"}

# Spacing forms that the database does not give as a blank with the mark.
SPACING_FORMS = {0x0300: 0x60, 0x0302: 0x5E, 0x0303: 0x7E, 0x0332: 0x5F, 0x030D: 0x02C8, 0x0329: 0x02CC,
                 0x0304: 0xAF, 0x0312: 0x02BB, 0x0313: 0x02BC, 0x0314: 0x02BD, 0x031C: 0x02D3, 0x0339: 0x02D2,
                 0x031D: 0x02D4, 0x031E: 0x02D5, 0x031F: 0x02D6, 0x0320: 0x02D7, 0x030C: 0x02C7, 0x0331: 0x02CD,
                 0x0316: 0x02CE, 0x0317: 0x02CF}
COMBINING = range(0x0300, 0x0370)
PERISPOMENI = 0x0342  # its spacing form is used in Greek only, whose letters carry it


def base_letter(data, code):
    """Without its diacritics: by decomposition, and by a name "<other letter> WITH ..."."""
    for _ in range(MAX_EXPANSION + 1):
        character = data.characters[code]
        if character.decomposition and not character.is_compat:
            code = data.decompose([code], False)[0]
            continue
        plain = data.by_name.get(character.name.partition(" WITH ")[0])
        if character.category[0] != "L" or " WITH " not in character.name or plain is None:
            break
        code = plain
    return code


def pair_tables(data):
    characters = sorted(data.characters.items())
    yield "tera_lower_to_upper_map", [(code, c.upper) for code, c in characters if c.upper is not None]
    yield "tera_upper_to_lower_map", [(code, c.lower) for code, c in characters if c.lower is not None]
    bases = ((code, base_letter(data, code)) for code, _ in characters)
    yield "tera_deaccentuate_map", [(code, base) for code, base in bases if base != code]
    yield "tera_spaces_map", [(ord(char), BLANK) for char in sorted("-/\\_")]
    yield "tera_whitespace_map", [(code, BLANK) for code in sorted(WHITESPACE)]
    yield "tera_currency_map", [(code, ord(letter)) for code, letter in sorted(CURRENCY.items())]
    yield "tera_combined_to_spaced_map", sorted(spaced_marks(data).items())


def spaced_marks(data):
    spaced = {}
    for code, character in sorted(data.characters.items(), reverse=True):
        mapping = character.decomposition
        if character.is_compat and len(mapping) == 2 and mapping[0] == BLANK and data.combining(mapping[1]):
            spaced[mapping[1]] = code
    spaced.update(SPACING_FORMS)
    return {mark: code for mark, code in spaced.items() if mark in COMBINING and mark != PERISPOMENI}


def rows_of(code, components):
    """Rows of three: the character and two components, further ones below -1."""
    rows = []
    for pos in range(0, len(components), 2):
        pair = components[pos:pos + 2]
        rows.append((code if pos == 0 else -1, pair[0], pair[1] if len(pair) > 1 else 0))
    return rows


def decompositions(data, compat):
    rows = []
    for code, character in sorted(data.characters.items()):
        if character.decomposition and character.is_compat == compat:
            rows += rows_of(code, character.decomposition)
    return rows


def letters_of(data, script):
    scripts, blocks = data.scripts(), data.blocks()
    for code in sorted(data.characters):
        if code < 0x10000 and script in (scripts.value(code), (blocks.value(code) or "").split(" ")[0]):
            yield code


def transliterations(data, script, rules, compat):
    """Letters that have a rule; and those that differ from one by a diacritic only."""
    scripts = data.scripts()

    def latin(code):
        text = rules.apply("".join(map(chr, data.decompose([code], compat))))
        return data.compose(data.decompose(list(map(ord, text)), False))

    rows = []
    for code in letters_of(data, script):
        result = latin(code)
        if any(scripts.value(part) == script for part in result):
            result = latin(base_letter(data, code))
        changed = result != [code] and not any(scripts.value(part) == script for part in result)
        if changed and 0 < len(result) <= MAX_EXPANSION:
            rows += rows_of(code, result)
    return rows


def triple_tables(data, transforms):
    yield "tera_expand_accent_map", decompositions(data, False)
    yield "tera_expand_compatibility_map", decompositions(data, True)
    for script, compat in (("Cyrillic", False), ("Greek", False), ("Arabic", True), ("Hebrew", True)):
        rules = Transliteration(os.path.join(transforms, script + "-Latin.xml"), data)
        yield "tera_translit_%s_to_latin" % script.lower(), transliterations(data, script, rules, compat)


def table(name, rows, columns):
    lines = ["const int %s[][%d] = {" % (name, columns)]
    for pos in range(0, len(rows), 8):
        lines.append("".join("{" + ",".join(map(str, row)) + "}," for row in rows[pos:pos + 8]))
    lines.append("{" + ",".join("0" * columns) + "}};")
    return "\n".join(lines)


def main():
    folder, transforms, output = sys.argv[1:]
    data = UnicodeData(folder)
    parts = ['#include "tera/tera_unicode_tables.h"',
             'const char* const tera_unicode_version = "%s";' % data.version()]
    parts += [table(name, rows, 2) for name, rows in pair_tables(data)]
    parts += [table(name, rows, 3) for name, rows in triple_tables(data, transforms)]
    with open(output, "w", encoding="ascii") as out:
        out.write("\n".join(parts) + "\n")


if __name__ == "__main__":
    main()
