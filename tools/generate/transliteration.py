"""Applies the rules of a transliteration of the Unicode locale data to single characters.

A rule is "before { text } after -> result", where the contexts may be missing and "|" in the result says
where to go on. The first rule that matches at the position is applied. Rules of the other direction, filters
and whole-text steps are left out: the caller chooses the characters and their normal form.
Source: the locale data markup language, part 2, section 10 (transform rules).
"""
import re
import xml.etree.ElementTree

IGNORED = " \t\r\n\u200e\u200f"
MAX_STEPS = 1000


class Rule:
    def __init__(self, before, text, after, result, cursor):
        self.before = re.compile("(?:" + before + r")\Z") if before else None
        self.text = re.compile("(?:" + text + ")(?=" + after + ")")
        self.result = result
        self.cursor = cursor


class Transliteration:
    def __init__(self, path, data):
        self.data = data
        self.scripts = data.scripts()
        self.blocks = data.blocks()
        self.universe = [code for code in data.characters if code < 0x3000]
        self.variables = {}
        self.rules = []
        text = xml.etree.ElementTree.parse(path).find(".//tRule").text
        for statement in statements(text):
            if statement.startswith("::"):
                continue
            if re.match(r"\$\w+\s*=", statement):
                name, _, value = statement.partition("=")
                self.variables[name.strip()[1:]] = value.strip()
            else:
                self.add_rule(statement)

    def add_rule(self, statement):
        match = re.search("[→↔←]", unquoted(statement))
        if match.group() == "←":
            return
        left, right = statement[:match.start()], statement[match.start() + 1:]
        before, text, after = contexts(left)
        result, cursor = self.replacement(contexts(right)[1])
        self.rules.append(Rule(self.pattern(before), self.pattern(text), self.pattern(after), result, cursor))

    def apply(self, text):
        """The transliterated text."""
        pos = steps = 0
        while pos < len(text):
            steps += 1
            if steps > MAX_STEPS:
                raise ValueError("endless transliteration of " + repr(text))
            for rule in self.rules:
                match = rule.text.match(text, pos)
                if match and (rule.before is None or rule.before.search(text[:pos])):
                    head, tail = ("".join(match.group(part) if isinstance(part, int) else part for part in parts)
                                  for parts in (rule.result[:rule.cursor], rule.result[rule.cursor:]))
                    text = text[:pos] + head + tail + text[match.end():]
                    pos += len(head)
                    break
            else:
                pos += 1
        return text

    # Texts of rules.

    def decomposed(self, text):
        return "".join(map(chr, self.data.decompose(map(ord, text), False)))

    def replacement(self, text):
        """Parts (texts and numbers of groups), and how many of them are before the cursor."""
        parts = []
        cursor = None
        pos = 0
        while pos < len(text):
            char = text[pos]
            if char in IGNORED:
                pos += 1
            elif char == "|":
                cursor = len(parts)
                pos += 1
            elif char == "$":
                name = re.match(r"\w+", text[pos + 1:]).group()
                if name.isdigit():
                    parts.append(int(name))
                else:
                    parts += self.replacement(self.variables[name])[0]
                pos += 1 + len(name)
            else:
                char, pos = literal(text, pos)
                parts.append(self.decomposed(char))
        return parts, len(parts) if cursor is None else cursor

    def pattern(self, text):
        """A regular expression."""
        result = ""
        pos = 0
        while pos < len(text):
            char = text[pos]
            if char in IGNORED:
                pos += 1
            elif char in "()*+?":
                result += char
                pos += 1
            elif char == "$":
                name = re.match(r"\w+", text[pos + 1:]).group()
                result += "(?:" + self.pattern(self.variables[name]) + ")"
                pos += 1 + len(name)
            elif char == "[":
                members, pos = self.char_set(text, pos)
                result += "[" + "".join(re.escape(chr(code)) for code in sorted(members)) + "]" if members else "(?!)"
            else:
                char, pos = literal(text, pos)
                result += re.escape(self.decomposed(char))
        return result

    # Sets, over the universe.

    def char_set(self, text, pos):
        """The set that starts at `pos`, and the position behind it."""
        if text.startswith("[:", pos):
            end = text.index(":]", pos)
            return self.property_set(text[pos + 2:end]), end + 2
        pos += 1
        inverted = text[pos] == "^"
        pos += inverted
        members = set()
        operation = set.union
        previous = None
        while text[pos] != "]":
            char = text[pos]
            if char in IGNORED:
                pos += 1
                continue
            if char == "&":
                operation = set.intersection
                pos += 1
                continue
            if char == "-" and previous is None:
                operation = set.difference
                pos += 1
                continue
            if char == "-":
                last, pos = literal(text, pos + 1)
                operand = set(range(ord(previous), ord(last) + 1))
                previous = None
            elif char == "[":
                operand, pos = self.char_set(text, pos)
                previous = None
            elif char == "$":
                name = re.match(r"\w+", text[pos + 1:]).group()
                operand = self.set_of(self.variables[name])
                pos += 1 + len(name)
                previous = None
            else:
                previous, pos = literal(text, pos)
                operand = {ord(previous)}
            members = operation(members, operand)
            operation = set.union
        return (set(self.universe) - members if inverted else members), pos + 1

    def set_of(self, text):
        text = text.strip(IGNORED)
        if text.startswith("["):
            return self.char_set(text, 0)[0]
        if text.startswith("$"):
            return self.set_of(self.variables[text[1:]])
        return {ord(literal(text, 0)[0])}

    def property_set(self, text):
        inverted = text.startswith("^")
        name, _, value = text.lstrip("^").partition("=")
        name = {"UppercaseLetter": "Lu", "Mark": "M"}.get(name, name)
        if name == "ccc":
            found = {code for code in self.universe if self.data.combining(code) == int(value)}
        elif name == "block":
            found = {code for code in self.universe if (self.blocks.value(code) or "").lower() == value.lower()}
        elif len(name) <= 2:
            found = {code for code in self.universe if self.data.category(code).startswith(name)}
        else:
            found = {code for code in self.universe if (self.scripts.value(code) or "").lower() == name.lower()}
        return set(self.universe) - found if inverted else found


def literal(text, pos):
    """The character or quoted text at `pos`, and the position behind it."""
    if text[pos] == "\\":
        if text[pos + 1] == "u":
            return chr(int(text[pos + 2:pos + 6], 16)), pos + 6
        return text[pos + 1], pos + 2
    if text[pos] == "'":
        end = text.index("'", pos + 1)
        return text[pos + 1:end] or "'", end + 1
    return text[pos], pos + 1


def unquoted(text):
    """The text with everything that is quoted, escaped or in a set replaced by blanks."""
    def blank(match):
        return " " * len(match.group())
    text = re.sub(r"\\.|'[^']*'", blank, text, flags=re.S)
    while True:
        inner = re.sub(r"\[[^\[\]]*\]", blank, text)
        if inner == text:
            return text
        text = inner


def statements(text):
    text = "\n".join(line[:comment_start(line)] for line in text.split("\n"))
    start = 0
    for match in re.finditer(";", unquoted(text)):
        statement = text[start:match.start()].strip(IGNORED)
        start = match.end()
        if statement:
            yield statement


def comment_start(line):
    found = unquoted(line).find("#")
    return len(line) if found < 0 else found


def contexts(side):
    """before, text, after"""
    plain = unquoted(side)
    opened, closed = plain.find("{"), plain.find("}")
    before = side[:opened] if opened >= 0 else ""
    after = side[closed + 1:] if closed >= 0 else ""
    return before, side[opened + 1:closed if closed >= 0 else len(side)], after
