#!/bin/sh
# Cuts the fonts of the pages down to the characters that the style sheet says they have: fonts.sh FOLDER
set -eu
mkdir -p "$1"
latin="U+0000-00FF,U+0131,U+0152-0153,U+02BB-02BC,U+02C6,U+02DA,U+02DC,U+0304,U+0308,U+0329,U+2000-206F,U+20AC,U+2122,U+2191,U+2193,U+2212,U+2215,U+FEFF,U+FFFD"
extended="U+0100-0130,U+0132-0151,U+0154-02BA,U+02BD-02C5,U+02C7-02CC,U+02CE-02D7,U+02DD-02FF,U+1D00-1DBF,U+1E00-1E9F,U+1EF2-1EFF,U+20A0-20AB,U+20AD-20C0"
code="U+0000-00FF,U+2000-206F,U+20AC,U+2122,U+2191,U+2193,U+2212"
cut() { # cut FONT CHARACTERS NAME
    pyftsubset "$1" --unicodes="$2" --flavor=woff2 --layout-features=kern,liga,mark,mkmk,ccmp,locl --output-file="$target/$3.woff2"
}
target=$1
for weight in Medium SemiBold Bold; do
    name=manrope-$(echo "$weight" | tr 'A-Z' 'a-z')
    cut "/usr/share/fonts/truetype/manrope/Manrope-$weight.ttf" "$latin" "$name"
    cut "/usr/share/fonts/truetype/manrope/Manrope-$weight.ttf" "$extended" "$name-ext"
done
cut /usr/share/fonts/truetype/jetbrains-mono/JetBrainsMono-Regular.ttf "$code" jetbrains-mono
# Their licence asks to go with them.
for font in manrope jetbrains-mono; do
    cp "/usr/share/doc/fonts-$font/copyright" "$1/$font-licence.txt"
done
