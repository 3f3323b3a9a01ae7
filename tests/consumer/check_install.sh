#!/bin/sh
# Usage: check_install.sh build-dir consumer-src-dir cmake
# Installs the build into a scratch prefix, then builds and runs the consumer
# once through pkg-config and once through find_package(ozrj).
set -eu
build=$1 src=$2 cmake=$3
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
"$cmake" --install "$build" --prefix "$prefix" > "$tmp/install.log"
for f in include/ozrj.h include/ozrcore.h lib/libozrjn8.so lib/libozrjn8.so.6 lib/libozrjn8.so.6.1 \
         lib/libozrcore.so lib/pkgconfig/ozrj.pc lib/cmake/ozrj/ozrjConfig.cmake; do
  [ -e "$prefix/$f" ] || { echo "missing after install: $f"; exit 1; }
done
soname=$(readelf -d "$prefix/lib/libozrjn8.so.6.1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = "libozrjn8.so.6" ] || { echo "SONAME is '$soname'"; exit 1; }
# pkg-config: the .pc file was written for the build's prefix; point it here.
sed "s|^prefix=.*|prefix=$prefix|" "$prefix/lib/pkgconfig/ozrj.pc" > "$tmp/ozrj.pc"
PKG_CONFIG_PATH=$tmp cc -o "$tmp/pc_consumer" "$src/consumer.c" $(PKG_CONFIG_PATH=$tmp pkg-config --cflags --libs ozrj)
LD_LIBRARY_PATH=$prefix/lib "$tmp/pc_consumer"
# CMake package.
"$cmake" -S "$src" -B "$tmp/cm" -DCMAKE_PREFIX_PATH="$prefix" > "$tmp/cm.log"
"$cmake" --build "$tmp/cm" > "$tmp/cmb.log"
LD_LIBRARY_PATH=$prefix/lib "$tmp/cm/consumer"
echo "install consumer ok"
