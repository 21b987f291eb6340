"""Makes a program of the examples of a page, the files that they read, and what they are to print.

usage: extract_page.py PAGE.md FOLDER

A block "```<language> <name>" is the file of that name. A "```cpp" block is run as a function, and the "```text" block behind
it is what it prints; without such a block it is a part of the program that the others use. FOLDER gets the files, page.cpp and
page.txt.
"""
import pathlib
import re
import sys

PRELUDE = """#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
@HEADERS@
#include "tera/tera_standard_transform.h"

namespace {

AceReporter* const rep = AceReporter::null();

[[maybe_unused]] void show(const char* file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  std::fputs(text.str().c_str(), stdout);
}

"""


def write(path, content):
    if not path.exists() or path.read_text(encoding="utf-8") != content:
        path.write_text(content, encoding="utf-8")


page, folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
folder.mkdir(parents=True, exist_ok=True)
blocks = re.findall(r"^```(\w+) ?(\S*)\n(.*?)^```$", page.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)
headers = sorted((page.parent.parent / "kernel" / "damo").glob("*.h"))
program = PRELUDE.replace("@HEADERS@", "\n".join(f'#include "damo/{header.name}"' for header in headers))
printed, calls = "", ""
for number, (language, name, content) in enumerate(blocks):
    if name:
        write(folder / name, content)
    if language != "cpp":
        continue
    following = blocks[number + 1] if number + 1 < len(blocks) else ("", "", "")
    if following[0] == "text" and not following[1]:
        program += f"void example_{number}() {{\n{content}}}\n\n"
        calls += f"  example_{number}();\n"
        printed += following[2]
    else:
        program += content + "\n"
if not calls:
    sys.exit(f"{page}: no example")
program += f"}}  // namespace\n\nint main() try {{\n{calls}  return 0;\n}} catch (const AceException& error) {{\n"
program += "  return error.print(static_cast<AceReporter*>(nullptr)), 1;\n}\n"
write(folder / "page.cpp", program)
write(folder / "page.txt", printed)
