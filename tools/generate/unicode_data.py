"""Reads the files of the Unicode character database."""
import bisect
import bz2
import os

HANGUL_FIRST, HANGUL_COUNT = 0xAC00, 11172
HANGUL_LEAD, HANGUL_VOWEL, HANGUL_TAIL = 0x1100, 0x1161, 0x11A7
VOWELS, TAILS = 21, 28


class Character:
    def __init__(self, fields):
        self.name = fields[1]
        self.category = fields[2]
        self.combining = int(fields[3])
        mapping = fields[5].split()
        self.is_compat = bool(mapping) and mapping[0].startswith("<")
        self.decomposition = [int(code, 16) for code in mapping[self.is_compat:]]
        self.digit = int(fields[6]) if fields[6] else None
        self.upper = int(fields[12], 16) if fields[12] else None
        self.lower = int(fields[13], 16) if fields[13] else None


class Ranges:
    """A property file whose lines are "first..last ; value"."""

    def __init__(self, path):
        rows = []
        with open(path, encoding="utf-8") as lines:
            for line in lines:
                fields = line.split("#")[0].split(";")
                if len(fields) < 2:
                    continue
                first, _, last = fields[0].strip().partition("..")
                rows.append((int(first, 16), int(last or first, 16), fields[1].strip()))
        self.rows = sorted(rows)
        self.starts = [row[0] for row in self.rows]

    def value(self, code):
        row = bisect.bisect_right(self.starts, code) - 1
        return self.rows[row][2] if row >= 0 and code <= self.rows[row][1] else None


class UnicodeData:
    def __init__(self, folder):
        self.folder = folder
        self.characters = {}
        first = 0
        with open(os.path.join(folder, "UnicodeData.txt"), encoding="utf-8") as lines:
            for line in lines:
                fields = line.rstrip("\n").split(";")
                code = int(fields[0], 16)
                if fields[1].endswith(", First>"):
                    first = code
                elif fields[1].endswith(", Last>"):
                    for inner in range(first, code + 1):
                        self.characters[inner] = Character(fields)
                else:
                    self.characters[code] = Character(fields)
        for index in range(HANGUL_COUNT):
            self.characters[HANGUL_FIRST + index].decomposition = hangul_decomposition(index)
        self.by_name = {c.name: code for code, c in self.characters.items() if not c.name.startswith("<")}
        self.pairs = {}
        excluded = self._composition_exclusions()
        for code, character in self.characters.items():
            if len(character.decomposition) == 2 and not character.is_compat and code not in excluded:
                self.pairs[tuple(character.decomposition)] = code

    def version(self):
        with open(os.path.join(self.folder, "DerivedAge.txt"), encoding="utf-8") as lines:
            name = next(lines)  # "# DerivedAge-15.0.0.txt"
        return name.split("-")[1].rsplit(".", 1)[0]

    def category(self, code):
        character = self.characters.get(code)
        return character.category if character else "Cn"

    def combining(self, code):
        character = self.characters.get(code)
        return character.combining if character else 0

    def scripts(self):
        return Ranges(os.path.join(self.folder, "Scripts.txt"))

    def blocks(self):
        return Ranges(os.path.join(self.folder, "Blocks.txt"))

    def decompose(self, codes, compat):
        """NFD, or NFKD with `compat`."""
        result = []
        for code in codes:
            character = self.characters.get(code)
            if character and character.decomposition and (compat or not character.is_compat):
                result += self.decompose(character.decomposition, compat)
            else:
                result.append(code)
        start = 0
        for end in range(len(result) + 1):  # marks by their class
            if end == len(result) or self.combining(result[end]) == 0:
                result[start:end] = sorted(result[start:end], key=self.combining)
                start = end + 1
        return result

    def compose(self, codes):
        """NFC of decomposed text."""
        result = []
        starter = None
        last_class = 0
        for code in codes:
            rank = self.combining(code)
            blocked = starter is None or (starter != len(result) - 1 and last_class >= rank)
            joined = None if blocked else self.pairs.get((result[starter], code))
            if joined is not None:
                result[starter] = joined
                continue
            if rank == 0:
                starter = len(result)
            last_class = rank
            result.append(code)
        return result

    def _composition_exclusions(self):
        excluded = {code for code, c in self.characters.items() if c.decomposition and not c.is_compat
                    and (len(c.decomposition) == 1 or c.combining or self.combining(c.decomposition[0]))}
        with open(os.path.join(self.folder, "CompositionExclusions.txt"), encoding="utf-8") as lines:
            for line in lines:
                text = line.split("#")[0].strip()
                if text:
                    excluded.add(int(text, 16))
        return excluded


def hangul_decomposition(index):
    if index % TAILS:
        return [HANGUL_FIRST + index - index % TAILS, HANGUL_TAIL + index % TAILS]
    block = index // TAILS
    return [HANGUL_LEAD + block // VOWELS, HANGUL_VOWEL + block % VOWELS]


def open_text(folder, name):
    """A text file of the database, packed or not."""
    path = os.path.join(folder, name)
    if os.path.exists(path):
        return open(path, encoding="utf-8")
    return bz2.open(path + ".bz2", "rt", encoding="utf-8")
