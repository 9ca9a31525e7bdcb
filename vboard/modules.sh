#!/usr/bin/env bash
# The raw NAND core and nandsim, which the distribution's kernel leaves out,
# built out of tree from the matching kernel source against its headers with
# the cross compiler. Built once per kernel release and kept in the cache.
set -euo pipefail
. "$(dirname "$0")/common.sh"

release=$(vb_kernel_release)
out=$VB_CACHE/modules-$release
if [ -e "$out/nandsim.ko" ] && [ -e "$out/rawnand.ko" ]; then
  exit 0
fi
series=$(echo "$release" | cut -d. -f1,2)
mkdir -p "$VB_DEBS/src"
if ! compgen -G "$VB_DEBS/src/linux-source-${series}_*.deb" >/dev/null; then
  vb_log "downloading linux-source-$series"
  vb_apt_download "$VB_DEBS/src" "linux-source-$series"
fi
deb=$(compgen -G "$VB_DEBS/src/linux-source-${series}_*.deb" | head -n1) ||
  vb_die "could not download linux-source-$series"

work=$VB_CACHE/nand-build
rm -rf "$work"
mkdir -p "$work/src"
vb_log "unpacking the NAND sources"
dpkg-deb --fsys-tarfile "$deb" | tar -xO --wildcards "*/linux-source-$series.tar.xz" | xz -dc |
  tar -x -C "$work/src" --strip-components=5 --wildcards \
    "linux-source-$series/drivers/mtd/nand/raw/nand_*.c" \
    "linux-source-$series/drivers/mtd/nand/raw/nandsim.c" \
    "linux-source-$series/drivers/mtd/nand/raw/internals.h"

# The headers package names its common half and kbuild's programs by absolute
# paths of an installed system: point them into the cache instead, and take
# the programs in the build machine's architecture.
headers=$work/headers
mkdir -p "$headers"
cp -r "$VB_ROOT/usr/src/linux-headers-$release"/{.config,.kernelvariables,Module.symvers,arch,include} "$headers/"
common=$VB_ROOT/usr/src/linux-headers-${release%-arm64}-common
echo "include $common/Makefile" >"$headers/Makefile"
ln -s "$VB_HOSTROOT/usr/lib/linux-kbuild-$series/scripts" "$headers/scripts"
ln -s "$VB_HOSTROOT/usr/lib/linux-kbuild-$series/tools" "$headers/tools"
ln -sfn "$VB_HOSTROOT/usr/lib/linux-kbuild-$series" "$VB_ROOT/usr/lib/linux-kbuild-$series"

cat >"$work/src/Kbuild" <<'KBUILD'
obj-m := rawnand.o nandsim.o
rawnand-y := nand_base.o nand_legacy.o nand_bbt.o nand_timings.o nand_ids.o nand_onfi.o \
	nand_jedec.o nand_amd.o nand_esmt.o nand_hynix.o nand_macronix.o nand_micron.o \
	nand_samsung.o nand_toshiba.o
KBUILD
vb_log "building rawnand.ko and nandsim.ko"
make -s -C "$headers" M="$work/src" ARCH=arm64 CROSS_COMPILE=aarch64-linux-gnu- \
  KBUILD_EXTRA_SYMBOLS= -j2 modules >"$work/build.log" 2>&1 ||
  { tail -n 30 "$work/build.log" >&2; vb_die "module build failed (log: $work/build.log)"; }
mkdir -p "$out"
aarch64-linux-gnu-strip --strip-debug -o "$out/rawnand.ko" "$work/src/rawnand.ko"
aarch64-linux-gnu-strip --strip-debug -o "$out/nandsim.ko" "$work/src/nandsim.ko"
