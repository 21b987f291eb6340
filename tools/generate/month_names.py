#!/usr/bin/env python3
"""Writes the names of the months (kernel/dime/date/dime_month_data_internal.h) as C++ source.

usage: month_names.py <folder of en.xml and de.xml> <output>

Of each language the wide and the abbreviated names of the Gregorian calendar, without the points of abbreviations.
"""
import os
import sys
import xml.etree.ElementTree as ElementTree

LANGUAGES = ("en", "de")  # in the order of DimeMonthName::Language
CALENDAR = "dates/calendars/calendar[@type='gregorian']/months/monthContext"


def names_of(folder, language):
    """Month, name and whether it is the name in full, each name once, full ones first."""
    root = ElementTree.parse(os.path.join(folder, language + ".xml")).getroot()
    found = {}
    for width in ("wide", "abbreviated"):
        for months in root.findall(CALENDAR + "/monthWidth[@type='%s']" % width):
            for month in months.findall("month"):
                name = (month.text or "").rstrip(".")
                if name and name != "\u2191\u2191\u2191":
                    found.setdefault((int(month.get("type")), name), width == "wide")
    numbers = {number for number, name in found}
    if numbers != set(range(1, 13)):
        raise ValueError("%s has names of the months %s" % (language, sorted(numbers)))
    return [(number, name, wide) for (number, name), wide in found.items()]


def main():
    folder, output = sys.argv[1:]
    with open(output, "w", encoding="utf-8") as out:
        out.write("// Made by %s from the Unicode locale data.\n" % os.path.basename(__file__))
        out.write('#include "dime/date/dime_month_data_internal.h"\n\n')
        out.write("const DimeMonthName DIME_MONTH_NAMES[] = {\n")
        count = 0
        for index, language in enumerate(LANGUAGES):
            for number, name, wide in names_of(folder, language):
                out.write('    {%d, %d, %s, "%s"},\n' % (index, number, "true" if wide else "false", name))
                count += 1
        out.write("};\nconst int DIME_NUM_MONTH_NAMES = %d;\n" % count)


main()
