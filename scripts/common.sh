# SPDX-License-Identifier: GPL-3.0-or-later
# shellcheck shell=bash disable=SC2034  # the lists are for those that source it
# What the scripts share: where the project is, its packages, its builds. Sourced, not run.
set -euo pipefail

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What docs/ARCHITECTURE.md gives the reason for.
build_packages=(cmake ninja-build g++ pkg-config libnewt-dev libslang2-dev libmount-dev
    libsystemd-dev libfreeipmi-dev libfreeipmi17 nlohmann-json3-dev)
simulator_packages=(openipmi libopenipmi-dev)
test_packages=(libgtest-dev libgmock-dev libvterm-dev python3-jsonschema systemd-journal-remote "${simulator_packages[@]}")
bench_packages=(libvterm-dev monit whiptail ipmitool freeipmi-tools "${simulator_packages[@]}")
drawing_packages=(gnuplot-nox)
fuzz_packages=(clang libclang-rt-dev llvm)
text_packages=(clang-format shellcheck man-db mandoc)
lint_packages=(clang clang-tidy cppcheck)
inband_packages=(qemu-system-x86 busybox-static cpio)
package_packages=(build-essential debhelper)
package_check_packages=(lintian man-db systemd-container tmux)
screenshot_packages=(tmux python3)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif [ -n "$(type -P sudo)" ]; then
        sudo "$@"
    else
        echo "$(basename "$0"): this needs root: run it as root or install sudo." >&2
        exit 1
    fi
}

# Installs those of the packages that are not there; asks nothing and no network when all are.
need_packages() {
    local missing
    mapfile -t missing < <(printf '%s\n' "$@" | sort -u |
        comm -23 - <(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
            sed -n 's/^installed //p' | sort -u))
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "Installing ${missing[*]}" >&2
    as_root apt-get update -qq >&2
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
        >/dev/null
}

# The project under a name that the compiler's lists of dependencies can hold: with an ampersand in it, for example,
# everything would be built at each start.
plain_path() {
    if [[ $project =~ ^[[:alnum:]/._+-]*$ ]]; then
        echo "$project"
        return
    fi
    local link
    link=${XDG_CACHE_HOME:-$HOME/.cache}/zelagent-project-$(cksum <<<"$project" | cut -d ' ' -f 1)
    mkdir -p "$(dirname "$link")"
    ln -sfn "$project" "$link"
    echo "$link"
}

# build PRESET [TARGET ...]: configures a preset once and brings its build (or some targets of it) up to date,
# quietly unless something is to be done. What a checkout that has moved had built is built again.
build() {
    local preset=$1 folder=build/$1 log
    shift
    cd "$(plain_path)"
    if ! grep -sqxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$folder/CMakeCache.txt"; then rm -rf "$folder"; fi
    if [ ! -f "$folder/build.ninja" ]; then
        echo "Configuring $folder" >&2
        log=$(cmake --preset "$preset" 2>&1) || { echo "$log" >&2 && return 1; }
    fi
    if ! ninja -C "$folder" -n "$@" 2>/dev/null | grep -q 'no work to do'; then
        echo "Building $folder" >&2
        ninja -C "$folder" "$@" >&2
    fi
    cd "$project"
}
