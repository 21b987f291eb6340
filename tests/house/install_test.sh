#!/usr/bin/env bash
# usage: install_test.sh BUILD_FOLDER HOST_FOLDER
#
# Installs into a fresh prefix, then builds and runs a host outside the tree: by find_package and by
# pkg-config. Afterwards the installed tree is moved and the host is built from its new place.
set -euo pipefail
build=$1 host=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved prefix"
prefix="$work/moved prefix"
[ -z "$(find "$prefix" -name '*_internal.h')" ]

cp -r "$host" "$work/host"
cmake -S "$work/host" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/host"

libdir=$(dirname "$(find "$prefix" -name libsorvanta.so)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
eval "flags=($(pkg-config --cflags --libs sorvanta))"
c++ "$work/host/host.cpp" -o "$work/host_pc" "${flags[@]}" -Wl,-rpath,"$libdir"
"$work/host_pc"

# The tool finds its library from its own place, and brings its texts.
printf 'name\ttown\nAnn\tBern\nBob\tBasel\n' > "$work/people.tsv"
"$prefix/bin/sorvanta" build "$work/people.tsv" >/dev/null
[[ $("$prefix/bin/sorvanta" find "$work/people.base" name=Anne) == *Bern* ]]
coproc page { exec "$prefix/bin/sorvanta" form "$work/people.base" --page; }
server=$page_PID  # which ends with it
read -r address <&"${page[0]}"
[[ $address == http://127.0.0.1:* ]]
kill -INT "$server"
wait "$server"
grep -q 'SS find' "$prefix/share/man/man1/sorvanta.1"
bash -n "$prefix/share/bash-completion/completions/sorvanta"
