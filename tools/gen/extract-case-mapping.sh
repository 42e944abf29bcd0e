#!/bin/sh
# Writes the simple case mappings of the BMP (code;upper;lower) from the Unicode data of the Debian
# package unicode-data, for case_tables.py.
set -e
ucd=/usr/share/unicode
echo "# Made by tools/gen/extract-case-mapping.sh from UnicodeData.txt: code;upper;lower"
sed -n 's/.*for Version \([0-9.]*\) of the Unicode Standard.*/# Unicode \1/p' $ucd/ReadMe.txt
echo "# Copyright Unicode, Inc., https://www.unicode.org/copyright.html"
awk -F';' 'length($1) == 4 && ($13 != "" || $14 != "") { print $1 ";" $13 ";" $14 }' \
    $ucd/UnicodeData.txt
