# shellcheck shell=bash
# shellcheck disable=SC2034  # the lists are for those who source this
# Sourced by the other scripts: goes to the project's root and offers two functions.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Installs the named Debian packages that are missing.
need_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing: ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

build_packages=(g++ cmake ninja-build pkg-config libcairo2-dev libgd-dev libffi-dev libvips-dev libcli11-dev
    libgtest-dev python3-yaml)
display_packages=(xvfb xauth libgtk2.0-0)
help_packages=(fonts-dejavu-core python3-jinja2 python3-markdown python3-pil python3-yaml)
playground_packages=(emscripten)
package_packages=(zip dpkg-dev)
fuzz_packages=(clang libclang-rt-14-dev)

# Configures and builds a preset, quietly unless it fails; further arguments are targets, otherwise the
# preset says which.
build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    echo "Building ($preset)"
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}; } >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
