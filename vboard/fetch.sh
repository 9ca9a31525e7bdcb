#!/usr/bin/env bash
# Downloads the arm64 kernel, busybox, the peer tools and their libraries,
# and unpacks them into one tree. Packages already in the cache are kept, so
# a second run downloads nothing.
set -euo pipefail
. "$(dirname "$0")/common.sh"

release=$(vb_kernel_release) || vb_die "apt offers no linux-image-arm64:arm64 (is the arm64 architecture added?)"
kbuild=linux-kbuild-$(echo "$release" | cut -d. -f1,2)

arm64=(
  "linux-image-$release" "linux-headers-$release"
  busybox-static smartmontools hdparm mtd-utils net-tools ethtool
  libc6 libgcc-s1 libstdc++6 libcap-ng0 libcap2 libselinux1 libpcre2-8-0
  libsystemd0 libgcrypt20 libgpg-error0 liblz4-1 liblzma5 libzstd1
  libiniparser1 liblzo2-2 libssl3 libuuid1 zlib1g libmnl0
)
common=("linux-headers-${release%-arm64}-common")
# Module post-processing runs on the build machine, so kbuild's programs come
# in the host's architecture.
host=("$kbuild")

mkdir -p "$VB_DEBS/arm64" "$VB_DEBS/all" "$VB_DEBS/host"
fetch() { # dir pkg...
  local dir=$1; shift
  local missing=()
  local p
  for p in "$@"; do
    local name=${p%%:*}
    compgen -G "$dir/${name}_*.deb" >/dev/null || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  vb_log "downloading ${missing[*]}"
  vb_apt_download "$dir" "${missing[@]}"
  for p in "${missing[@]}"; do
    compgen -G "$dir/${p%%:*}_*.deb" >/dev/null || vb_die "could not download $p"
  done
}
fetch "$VB_DEBS/arm64" "${arm64[@]/%/:arm64}"
fetch "$VB_DEBS/all" "${common[@]}"
fetch "$VB_DEBS/host" "${host[@]}"

unpack() { # root dir
  local root=$1 dir=$2 deb stamp
  mkdir -p "$root/.unpacked"
  for deb in "$dir"/*.deb; do
    stamp="$root/.unpacked/$(basename "$deb")"
    [ -e "$stamp" ] && continue
    dpkg-deb -x "$deb" "$root"
    touch "$stamp"
  done
}
unpack "$VB_ROOT" "$VB_DEBS/arm64"
unpack "$VB_ROOT" "$VB_DEBS/all"
unpack "$VB_HOSTROOT" "$VB_DEBS/host"
vb_log "packages ready for $release"
