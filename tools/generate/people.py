"""Makes a table of people and addresses, and questions about it with the mistakes that people make.

usage: people.py RECORDS QUERIES COUNT [QUESTIONS]

RECORDS gets a line per person: given name, surname, street, house number, postcode, city, birth date and e-mail,
between tabs. QUERIES gets lines of a record number and given name, surname, street and city, each with perhaps a typing
error, a swap, an abbreviation or nothing at all. The same arguments give the same bytes. Names, cities and the parts of
street names are the lists of python3-fake-factory (German, Austrian, French, Dutch, Spanish, Swedish, Czech and
English ones).
"""
import importlib
import random
import sys
import unicodedata

LOCALES = ["de_DE", "de_AT", "fr_FR", "nl_NL", "es_ES", "sv_SE", "cs_CZ", "en_US"]
SEED = 20260101


def load_lists():
    for locale in LOCALES:
        person = importlib.import_module("faker.providers.person." + locale).Provider
        address = importlib.import_module("faker.providers.address." + locale).Provider
        suffixes = list(getattr(address, "street_suffixes_long", address.street_suffixes))
        # Several spellings of one name, in lists for the genders, or with weights, are flattened.
        given = sorted(set(map(str, person.first_names)))
        surnames = sorted(set(map(str, person.last_names)))
        yield given, surnames, suffixes, [str(city) for city in getattr(address, "cities", [])]


def plain(text):
    base = unicodedata.normalize("NFKD", text.replace("ß", "ss").replace("ø", "o"))
    return "".join(c for c in base if c.isascii() and c.isalnum()).lower()


def street(rng, surnames, suffixes):
    suffix = rng.choice(suffixes)
    name = rng.choice(surnames)
    return name + suffix if suffix.startswith("st") or suffix[0].islower() else f"{name} {suffix}"


def people(rng, count):
    lists = list(load_lists())
    cities = sorted({city for entry in lists for city in entry[3]})
    weights = [1 / (i + 2) for i in range(len(cities))]  # few are large
    homes = rng.choices(range(len(cities)), weights, k=count)
    order = list(range(len(cities)))
    rng.shuffle(order)
    for home in homes:
        given, surnames, suffixes, _ = rng.choice(lists)
        first = rng.choice(given)
        if rng.random() < 0.15:
            first += " " + rng.choice(given)
        last = rng.choice(surnames)
        if rng.random() < 0.2:
            last += "-" + rng.choice(surnames)
        city = order[home]
        yield [
            first, last, street(rng, surnames, suffixes), f"{min(int(rng.paretovariate(0.7)), 999)}{rng.choice(['', '', '', 'a', 'b'])}",
            f"{10000 + city * 29 + rng.randrange(29):05d}", cities[city],
            f"{rng.randrange(1930, 2010)}-{rng.randrange(1, 13):02d}-{rng.randrange(1, 29):02d}",
            f"{plain(first)}.{plain(last)}{rng.randrange(1000)}@example.org",
        ]


def mistake(rng, text):
    """The text with one of the mistakes of hurried people."""
    kind = rng.randrange(8)
    pos = rng.randrange(max(len(text) - 1, 1))
    letter = rng.choice("aeiounrst")
    if kind == 0:
        return text[:pos] + text[pos + 1:] if len(text) > 3 else text
    if kind == 1:
        return text[:pos] + letter + text[pos:]
    if kind == 2:
        return text[:pos] + letter + text[pos + 1:]
    if kind == 3:
        return text[:pos] + text[pos + 1:pos + 2] + text[pos:pos + 1] + text[pos + 2:]
    if kind == 4:
        return "".join(c for c in unicodedata.normalize("NFKD", text) if not unicodedata.combining(c))
    if kind == 5:
        return text.upper()
    if kind == 6:
        return text.replace("straße", "str.").replace(" Street", " St").replace("gasse", "g.")
    return text


def main():
    records, queries, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
    questions = int(sys.argv[4]) if len(sys.argv) > 4 else 12
    rng = random.Random(SEED)
    asked = set(rng.sample(range(count), min(questions, count)))
    with open(records, "w", encoding="utf-8", newline="\n") as table, open(queries, "w", encoding="utf-8", newline="\n") as quiz:
        for number, person in enumerate(people(rng, count)):
            table.write("\t".join(person) + "\n")
            if number in asked:
                fields = [mistake(rng, person[field]) for field in (0, 1, 2, 5)]
                if rng.random() < 0.3:
                    fields[rng.randrange(4)] = ""
                quiz.write("\t".join([str(number + 1), *fields]) + "\n")


main()
