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
lint_packages=(ansible-lint clang clang-tidy cppcheck)
inband_packages=(qemu-system-x86 busybox-static cpio)
package_packages=(build-essential debhelper)
package_check_packages=(lintian man-db systemd-container tmux)
screenshot_packages=(tmux python3)
fleet_packages=(ansible-core python3-prometheus-client)

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

# Out of Debian's package, which, installed, would start a server.
need_promtool() {
    local tool=$project/build/tools/promtool folder
    if [ -n "$(type -P promtool)" ] || [ -x "$tool" ]; then return; fi
    echo "Fetching promtool" >&2
    folder=$(mktemp -d)
    (
        cd "$folder"
        apt-get download -qq prometheus || { as_root apt-get update -qq && apt-get download -qq prometheus; }
        dpkg-deb --fsys-tarfile prometheus_*.deb | tar -x --transform='s|.*/||' ./usr/bin/promtool
    ) >"$folder/log" 2>&1 || { cat "$folder/log" >&2 && return 1; }
    mkdir -p "${tool%/*}"
    mv "$folder/promtool" "$tool"
    rm -r "$folder"
}

# The first folder on the way to a path that others than root and we could change. The programs ignore a ZelDir where
# there is one, and would start on the system's folders instead.
changeable() {
    local folder
    folder=$(realpath "$1")
    until [ -n "$(find "$folder" -maxdepth 0 \( ! -uid 0 ! -uid "$EUID" -o -perm /022 ! -perm -1000 \))" ]; do
        [ "$folder" != / ] || return 1
        folder=$(dirname "$folder")
    done
    echo "$folder"
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
