#!/usr/bin/env bash
# usage: packages_test.sh SOURCE_FOLDER BUILD_FOLDER EXAMPLES_FOLDER
#
# Makes the packages and unpacks them into a root of its own: each language runs its first example from there, and a
# program is built. The wheel is installed into a fresh environment.
set -euo pipefail
source=$1 build=$2 examples=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1
shows() { diff <("${@:2}") "$examples/$1"; }

"$source/tools/make-packages" "$build" "$work/packages"
[ "$(find "$work/packages" -name '*.deb' | wc -l)" = 6 ]
for package in "$work"/packages/*.deb; do
  dpkg-deb -x "$package" "$work/root"
  case $(basename "$package") in  # each language needs itself only
    *-tcl_*) others='java|python' ;;
    *-java_*) others='tcl|python' ;;
    python3-*) others='tcl|java' ;;
    *) others='tcl|java|python|odbc' ;;
  esac
  if dpkg-deb -f "$package" Depends | grep -E "$others"; then exit 1; fi
done
usr=$work/root/usr
for needed in $(readelf -d "$usr/lib/libsorvanta.so.0" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'); do
  owner=$(dpkg -S "*/x86_64-linux-gnu/$needed" | sed -n '1s/:.*//p')
  dpkg-deb -f "$work"/packages/sorvanta_*.deb Depends | grep -w -- "$owner" >/dev/null
done

cd "$work"
shows languages_example.txt env TCLLIBPATH="$usr/lib/tcltk" tclsh8.6 "$examples/languages_example.tcl"
shows Cities.txt java -cp "$usr/share/java/sorvanta.jar" "$examples/Cities.java"
shows cities_example.txt env PYTHONPATH="$usr/lib/python3/dist-packages" python3 -B "$examples/cities_example.py"
eval "flags=($(PKG_CONFIG_PATH="$usr/lib/pkgconfig" pkg-config --cflags --libs sorvanta))"
c++ -std=c++20 "$examples/readme_example.cpp" -o readme_example "${flags[@]}" -Wl,-rpath,"$usr/lib"
shows readme_example.txt ./readme_example
"$usr/bin/sorvanta" --help >/dev/null

"$source/tools/make-wheel" "$build" "$work/wheel"
/usr/bin/python3 -m venv "$work/venv"
"$work/venv/bin/pip" install --quiet --no-deps --no-index "$work"/wheel/*.whl
shows cities_example.txt "$work/venv/bin/python" -B "$examples/cities_example.py"
