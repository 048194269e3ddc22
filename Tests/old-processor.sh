#!/usr/bin/env bash
# Runs methods of every kind of loop under an emulated processor without AVX, and natively: the results must be
# the same bytes.      Tests/old-processor.sh FOLDER   (of a build: qkz, qkz-demo, libPictureQKZ.so)
set -euo pipefail
cd "$1"
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
./qkz-demo card -o "$folder/card.png"

# Prints what the calls print, and makes picture $1.
results() {
    local picture=$1 call
    shift
    for call in 'isGrayQKZ(200)' 'ColornessQKZ(10)' 'CountColorQKZ(&cFFFFFF)' \
        'CountColorsQKZ(red, blue, green, count)' "FindPictureQKZ(\"$folder/card.png\", x, y)"; do
        "$@" ./qkz run "$folder/card.png" "$call"
    done
    "$@" ./qkz run "$folder/card.png" 'InvertQKZ(3, 5, 200, 100)' 'ChangeContrastQKZ(0.3)' \
        'ChangeSaturationQKZ(90)' 'TintPictureQKZ($, &c4D961D, &cFFE0B0)' 'ScrollQKZ(13, 7, true, true)' \
        'PictureSepiaQKZ(SepiaRed=40)' "MergePictureQKZ(\$, \"$folder/card.png\")" -o "$picture"
    "$@" ./qkz run "$picture" 'PicturetoBinaryStringQKZ($)' -o "$picture.ppic"
}

results "$folder/native.png" >"$folder/native.txt"
results "$folder/emulated.png" qemu-x86_64 -cpu Westmere >"$folder/emulated.txt"
diff "$folder/native.txt" "$folder/emulated.txt"
cmp "$folder/native.png" "$folder/emulated.png"
cmp "$folder/native.png.ppic" "$folder/emulated.png.ppic"
