#!/usr/bin/env python3
"""Writes the code-page tables (kernel/tera/tera_charset.h) as C++ source.

usage: charset_tables.py <folder of UnicodeData.txt> <folder of cp1252.enc> <output>
"""
import os
import sys

from unicode_data import UnicodeData

NAMES = """ascii cp1250 cp1251 cp1252 cp1253 cp1254 cp1255 cp1256 cp1257 cp1258 cp437 cp737 cp775 cp850 cp852
cp855 cp857 cp860 cp861 cp862 cp863 cp864 cp865 cp866 cp869 cp874 cp932 cp936 cp949 cp950 ebcdic euc-cn euc-jp
euc-kr gb1988 gb2312 identity iso8859-1 iso8859-10 iso8859-13 iso8859-14 iso8859-15 iso8859-16 iso8859-2
iso8859-3 iso8859-4 iso8859-5 iso8859-6 iso8859-7 iso8859-8 iso8859-9 jis0201 koi8-r koi8-u macCentEuro
macCroatian macCyrillic macGreek macIceland macJapan macRoman macRomania macThai macTurkish macUkraine shiftjis
symbol tis-620""".split()
IDENTITIES = ("ascii", "identity")
# Bytes at which the encoding files are older than, or differ from, the published code page.
CORRECTIONS = {
    "koi8-u": {0xB4: 0x0404},
    "macGreek": {0x9C: 0x20AC, 0xFF: 0x00AD},
    "macRomania": {0xAF: 0x0218, 0xBD: 0x03A9, 0xBF: 0x0219, 0xDB: 0x20AC, 0xDE: 0x021A, 0xDF: 0x021B},
    "macUkraine": {0xFF: 0x20AC},
}
DIGITS = 4  # of a code point in an encoding file

CLASSES = {"L": 1, "M": 2, "N": 4, "P": 8, "S": 16, "Z": 32, "Cc": 64, "Cf": 64, "Ll": 1 + 128}


def code_points(folder, name):
    """The page of lead byte 0 of an encoding file.

    Its third line is "fallback symbol-flag pages"; a page is its number and 16 lines of 16 code points.
    """
    if name in IDENTITIES:
        return list(range(256))
    with open(os.path.join(folder, name + ".enc"), encoding="ascii") as file:
        lines = [line.strip() for line in file if not line.startswith("#")]
    if lines[2] != "00":
        raise ValueError(name + ": expected page 00 first, found " + lines[2])
    digits = "".join(lines[3:19])
    codes = [int(digits[pos:pos + DIGITS], 16) for pos in range(0, len(digits), DIGITS)]
    if len(codes) != 256:
        raise ValueError("%s: expected 256 code points, found %d" % (name, len(codes)))
    for byte, code in CORRECTIONS.get(name, {}).items():
        codes[byte] = code
    return codes


def type_of(data, byte, code):
    if code == 0 and byte != 0:
        return 0
    category = data.category(code)
    return CLASSES.get(category, CLASSES.get(category[0], 0))


def main():
    unicode_folder, folder, output = sys.argv[1:]
    data = UnicodeData(unicode_folder)
    pages = [code_points(folder, name) for name in NAMES]
    types = [[type_of(data, byte, code) for byte, code in enumerate(page)] for page in pages]

    def rows(tables):
        return ",\n".join("{" + ",".join(map(str, table)) + "}" for table in tables)

    with open(output, "w", encoding="ascii") as out:
        out.write('#include "tera/tera_charset.h"\n')
        out.write("const char* const tera_charsets[] = {%s, nullptr};\n" % ", ".join('"%s"' % n for n in NAMES))
        out.write("const int tera_uni_maps[][256] = {\n%s};\n" % rows(pages))
        out.write("const unsigned char tera_uni_types[][256] = {\n%s};\n" % rows(types))


if __name__ == "__main__":
    main()
