#!/usr/bin/env bash
# Fetches real photographs for benchmarks and real-data checks from a Debian
# wallpaper package into data/photos/ (git-ignored), as binary PPM:
#   photo-3840x2160.ppm   a 4K photograph
#   photo-4096x2048.ppm   a 4K x 2K crop of a larger one
# Needs apt-get (root) and djpeg; does nothing when the files are there.
set -euo pipefail
cd "$(dirname "$0")/.."
out=data/photos
[ -f "$out/photo-3840x2160.ppm" ] && [ -f "$out/photo-4096x2048.ppm" ] && exit 0
mkdir -p "$out"
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
(cd "$tmp" && apt-get download mate-backgrounds > /dev/null 2>&1)
dpkg -x "$tmp"/mate-backgrounds_*.deb "$tmp/x"
src="$tmp/x/usr/share/backgrounds/mate/abstract"
djpeg -pnm -outfile "$out/photo-3840x2160.ppm" "$src/Elephants_3840x2160.jpg"
djpeg -pnm -outfile "$tmp/big.ppm" "$src/Elephants_5640x3172.jpg"
python3 - "$tmp/big.ppm" "$out/photo-4096x2048.ppm" <<'PY'
import sys
data = open(sys.argv[1], "rb").read()
fields, pos = [], 0
while len(fields) < 4:                      # magic, width, height, maxval
    while data[pos:pos + 1].isspace(): pos += 1
    start = pos
    while not data[pos:pos + 1].isspace(): pos += 1
    fields.append(data[start:pos])
pos += 1
w, h = int(fields[1]), int(fields[2])
cw, ch = 4096, 2048
x0, y0 = (w - cw) // 2, (h - ch) // 2
rows = [data[pos + ((y0 + y) * w + x0) * 3: pos + ((y0 + y) * w + x0 + cw) * 3] for y in range(ch)]
open(sys.argv[2], "wb").write(b"P6\n%d %d\n255\n" % (cw, ch) + b"".join(rows))
PY
echo "photos in $out"
