# Paths and functions shared by the virtual board's steps; sourced, not run.
VB_SRC=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
VB_REPO=$(dirname "$VB_SRC")
VB_OUT=${VB_OUT:-$VB_REPO/build/vboard}
VB_CACHE=$VB_OUT/cache
VB_DEBS=$VB_CACHE/debs
VB_ROOT=$VB_CACHE/root      # every arm64 package unpacked over one tree
VB_HOSTROOT=$VB_CACHE/host  # kbuild's programs for the build machine

vb_log() { printf 'vboard: %s\n' "$*" >&2; }
vb_die() { vb_log "$*"; exit 1; }

# The kernel package apt offers today, e.g. linux-image-6.1.0-56-arm64.
vb_kernel_pkg() {
  if [ -s "$VB_CACHE/kernel-pkg" ]; then
    cat "$VB_CACHE/kernel-pkg"
    return
  fi
  local pkg
  pkg=$(apt-cache depends linux-image-arm64:arm64 2>/dev/null |
    sed -n 's/^ *Depends: \(linux-image-[0-9.]*-[0-9]*-arm64\)\(:arm64\)\?$/\1/p' | head -n1)
  [ -n "$pkg" ] || return 1
  mkdir -p "$VB_CACHE"
  echo "$pkg" >"$VB_CACHE/kernel-pkg"
  echo "$pkg"
}

# apt-get download into dir, without apt's progress chatter; the caller
# checks what arrived.
vb_apt_download() { # dir package...
  local dir=$1
  shift
  (cd "$dir" && apt-get download -q "$@" 2>&1 |
    grep -Ev '^(Get:|W: Download is performed unsandboxed)' >&2) || true
}

vb_kernel_release() { vb_kernel_pkg | sed 's/^linux-image-//'; }
