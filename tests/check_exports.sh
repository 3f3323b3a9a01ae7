#!/bin/sh
# Usage: check_exports.sh libozrjn8.so libozrcore.so include-dir
# The dynamic symbols each library defines must be exactly the functions its
# public header declares (ozrj.h for libozrjn8, ozrcore.h for libozrcore).
set -eu
lib=$1 core=$2 inc=$3
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
declared() {
  # every "NAME(" that follows an export macro on a declaration line
  grep -E "^[[:space:]]*$2[[:space:]]" "$1" | sed -E 's/\(.*//; s/.*[[:space:]*]([A-Za-z_][A-Za-z0-9_]*)$/\1/' | sort -u
}
exported() {
  nm -D --defined-only "$1" | awk '$2 ~ /^[TtWwDdBbRrVvi]$/ {print $3}' | sed 's/@.*//' \
    | grep -vE '^(_init|_fini|_edata|_end|__bss_start)$' | sort -u
}
status=0
check() {
  declared "$2" "$3" > "$tmp/want"
  exported "$1" > "$tmp/have"
  if ! diff -u "$tmp/want" "$tmp/have" > "$tmp/diff"; then
    echo "FAIL: $(basename "$1") exports differ from $(basename "$2") (- declared only, + exported only):"
    grep -E '^[-+][^-+]' "$tmp/diff" || true
    status=1
  else
    echo "ok: $(basename "$1") exports the $(wc -l < "$tmp/want") functions of $(basename "$2")"
  fi
}
check "$lib" "$inc/ozrj.h" OZRAPI
check "$core" "$inc/ozrcore.h" OZRCORE_API
exit $status
