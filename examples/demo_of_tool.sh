#!/usr/bin/env bash
# usage: demo_of_tool.sh TOOL FOLDER    the command line tool over the people of the demo
set -euo pipefail
tool=$1
mkdir -p "$2/tool"
cd "$2/tool"
ln -sf ../people.csv .
show() {
  echo
  echo "\$ sorvanta $*"
  "$tool" "$@"
}
show build people.csv
show find people.base given=Tod surname=Frosst city=Zwartebrork
show find people.base --number 3 todd frosst zwartebrork
show explain people.base "$("$tool" find people.base -n 1 -o tsv given=Tod surname=Frosst city=Zwartebrork | tail -n 1 | cut -f 2)" \
  given=Tod surname=Frosst city=Zwartebrork
echo
echo "Go on in $PWD with"
echo "  $tool form people.base"
echo "  $tool find people.base --from people.csv --to matches.tsv"
echo "  $tool --help"
