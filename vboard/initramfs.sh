#!/usr/bin/env bash
# Lays out the guest's root file system and packs it: busybox, the kernel
# modules the emulated hardware needs, the two board executables, the peer
# tools with their libraries, and the scripts that run the checks.
set -euo pipefail
. "$(dirname "$0")/common.sh"

release=$(vb_kernel_release)
board=${VB_BOARD:-$VB_REPO/build/board}
stage=$VB_OUT/initramfs
rm -rf "$stage"
mkdir -p "$stage"/{bin,sbin,usr/bin,usr/sbin,lib/aarch64-linux-gnu,proc,sys,dev,tmp,mnt,etc}

cp "$VB_ROOT/bin/busybox" "$stage/bin/busybox"
cp "$VB_SRC/guest/init" "$stage/init"
cp "$VB_SRC/guest/checks.sh" "$stage/checks.sh"
chmod +x "$stage/init" "$stage/checks.sh"
cp "$board/tav_tool" "$board/tav_factory" "$stage/usr/bin/"

# Modules and what they depend on, in an order insmod can follow.
moddir=$VB_ROOT/lib/modules/$release
want=(libahci ahci sd_mod sg virtio_pci virtio_blk e1000 e1000e i6300esb mtd nandcore)
declare -A modpath=() seen=()
while read -r path; do
  name=${path##*/}
  name=${name%.ko}
  modpath[${name//-/_}]=$path
done < <(find "$moddir" -name '*.ko')
order=()
add_module() {
  local name=${1//-/_} path dep
  [ -n "${seen[$name]:-}" ] && return 0
  seen[$name]=1
  path=${modpath[$name]:-}
  [ -n "$path" ] || vb_die "module $1 not in $release"
  for dep in $(aarch64-linux-gnu-objcopy -O binary -j .modinfo "$path" /dev/stdout |
    tr '\0' '\n' | sed -n 's/^depends=//p' | tr ',' ' '); do
    add_module "$dep"
  done
  cp "$path" "$stage/lib/modules/"
  order+=("${path##*/}")
}
mkdir -p "$stage/lib/modules"
for m in "${want[@]}"; do add_module "$m"; done
for ko in rawnand nandsim; do
  cp "$VB_CACHE/modules-$release/$ko.ko" "$stage/lib/modules/"
  order+=("$ko.ko")
done
# A 128 MiB large-page chip (2 KiB pages, 64 B OOB) under 4-bit BCH, so one
# flipped bit is corrected and five in a step are not; two blocks bad.
echo "id_bytes=0x2c,0xf1,0x80,0x95 bch=4 badblocks=3,7" >"$stage/lib/modules/nandsim.args"
printf '%s\n' "${order[@]}" >"$stage/lib/modules/order"

# Peer tools, with the shared libraries they name, found in the unpacked tree.
peers=(usr/sbin/smartctl sbin/hdparm usr/sbin/nanddump usr/sbin/nandflipbits usr/sbin/mtdinfo sbin/mii-tool sbin/ethtool)
libdirs=("$VB_ROOT/lib/aarch64-linux-gnu" "$VB_ROOT/usr/lib/aarch64-linux-gnu")
declare -A libs=()
add_libs() {
  local lib dir found
  for lib in $(aarch64-linux-gnu-readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
    [ -n "${libs[$lib]:-}" ] && continue
    found=
    for dir in "${libdirs[@]}"; do
      [ -e "$dir/$lib" ] && found=$dir/$lib && break
    done
    [ -n "$found" ] || vb_die "library $lib of $1 not found"
    libs[$lib]=1
    cp -L "$found" "$stage/lib/aarch64-linux-gnu/$lib"
    add_libs "$found"
  done
}
for p in "${peers[@]}"; do
  cp "$VB_ROOT/$p" "$stage/usr/sbin/"
  add_libs "$VB_ROOT/$p"
done
cp -L "$VB_ROOT/lib/ld-linux-aarch64.so.1" "$stage/lib/"

python3 "$VB_SRC/mkcpio.py" "$stage" "$VB_OUT/initramfs.cpio.gz"
vb_log "initramfs: $(du -h "$VB_OUT/initramfs.cpio.gz" | cut -f1)"
