#!/bin/bash
# make_locale.sh <folder> <language> <charset>, e.g. make_locale.sh build/locales ja_JP UTF-8
#
# Compiles a locale into a folder of the build. Wine takes the ANSI code page of a program from the locale. Few build
# machines have the locale for code page 932 installed. With LOCPATH=<folder> it does not have to be installed.
set -euo pipefail

folder=${1:?usage: make_locale.sh <folder> <language> <charset>}
language=${2:?}
charset=${3:?}
target=$folder/$language.$charset

mkdir -p "$folder"
exec 9>"$folder/.lock"
flock 9
if [[ -d $target ]]; then
  exit 0
fi
rm -rf "$target.new"
localedef -i "$language" -f "$charset" "$target.new"
mv "$target.new" "$target"
