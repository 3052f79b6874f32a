#!/usr/bin/env bash
# Opens every file `lxip demo` wrote with an independent reader: ImageMagick for still images,
# ffprobe for videos. Exits 77 (skipped) when neither reader is installed.
set -u
dir=$1
have_magick=0; command -v identify >/dev/null && have_magick=1
have_ffprobe=0; command -v ffprobe >/dev/null && have_ffprobe=1
if [ $have_magick = 0 ] && [ $have_ffprobe = 0 ]; then echo "no ImageMagick, no ffprobe: skipped"; exit 77; fi
fail=0; checked=0
for f in "$dir"/*; do
  case "$f" in
    *.png|*.jpg|*.bmp|*.tif)
      [ $have_magick = 1 ] || continue
      size=$(identify -format '%wx%h' "$f" 2>&1) || { echo "FAIL $f: $size"; fail=1; continue; }
      [ "$size" = 800x600 ] || { echo "FAIL $f: ImageMagick reads $size, not 800x600"; fail=1; continue; }
      ;;
    *.avi|*.webm)
      [ $have_ffprobe = 1 ] || continue
      frames=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$f" 2>&1) ||
        { echo "FAIL $f: $frames"; fail=1; continue; }
      [ "$frames" -gt 0 ] 2>/dev/null || { echo "FAIL $f: ffprobe reads '$frames' frames"; fail=1; continue; }
      ;;
    *) continue ;;
  esac
  echo "ok $f"; checked=$((checked + 1))
done
[ $checked -gt 0 ] || { echo "no file to check"; exit 1; }
exit $fail
