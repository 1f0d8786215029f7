# SPDX-License-Identifier: GPL-3.0-or-later
# shellcheck shell=bash
# What the scripts share: where the project is, its packages, its builds. Sourced, not run.
set -euo pipefail

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What docs/ARCHITECTURE.md gives the reason for.
build_packages=(cmake ninja-build g++ pkg-config libnewt-dev libslang2-dev libmount-dev
    libsystemd-dev libfreeipmi-dev libfreeipmi17)
simulator_packages=(openipmi libopenipmi-dev)
test_packages=(libgtest-dev libgmock-dev libvterm-dev "${simulator_packages[@]}")
bench_packages=(libvterm-dev whiptail ipmitool freeipmi-tools "${simulator_packages[@]}")
fuzz_packages=(clang libclang-rt-dev llvm)
lint_packages=(clang-format clang-tidy cppcheck)
inband_packages=(qemu-system-x86 busybox-static cpio)
package_packages=(build-essential debhelper)
package_check_packages=(lintian man-db mandoc systemd-container tmux "${simulator_packages[@]}")
screenshot_packages=(tmux)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs those of the packages that are not there; asks nothing and no network when all are.
need_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "Installing ${missing[*]}" >&2
    as_root apt-get update -qq >&2
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# build PRESET [TARGET ...]: configures a preset once and brings its build (or some targets of it) up to date,
# quietly unless something is to be done.
build() {
    local preset=$1 log
    shift
    cd "$project"
    log=$(mktemp)
    if ! { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } >"$log" 2>&1; then
        cat "$log" >&2 && rm -f "$log" && return 1
    fi
    rm -f "$log"
    ninja -C "build/$preset" -n "$@" 2>/dev/null | grep -q 'no work to do' || ninja -C "build/$preset" "$@" >&2
}
