# Shared by scripts/demo and scripts/test: package installation and configure/build helpers.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc 2>/dev/null || echo 2)
export CCACHE_BASEDIR="$root"
export CCACHE_NOHASHDIR=1

# Installs, with one apt-get run, every package of scripts/packages.txt that is not installed.
ensure_packages() {
    local wanted missing=()
    wanted=$(grep -vE '^\s*(#|$)' "$root/scripts/packages.txt")
    for pkg in $wanted; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$pkg")
        fi
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "== installing: ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -eq 0 ] || sudo="sudo"
        $sudo apt-get update -qq
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
            "${missing[@]}" >/dev/null
    fi
}

# configure DIR [cmake options...]
configure() {
    local dir=$1
    shift
    cmake -S "$root" -B "$root/$dir" -G Ninja "$@" >/dev/null
}

# build DIR [targets...]
build() {
    local dir=$1
    shift
    local targets=()
    for t in "$@"; do targets+=(--target "$t"); done
    cmake --build "$root/$dir" -j "$jobs" "${targets[@]}"
}
