# Shared by the scripts beside it; sourced, never run.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Debian's packages, by what they are needed for.
build_packages=(g++ cmake ninja-build pkg-config qtbase5-dev libqt5serialport5-dev)
simulator_packages=(umockdev libumockdev-dev libpcap-dev)
capture_packages=(tshark)
namespace_packages=(iproute2)
server_packages=(xvfb xdotool x11-xserver-utils)
font_packages=(fonts-cantarell fonts-dejavu-core fonts-freefont-ttf fonts-liberation fonts-open-sans
    fonts-roboto-unhinted)
screen_packages=(xvfb xdotool imagemagick fonts-dejavu-core)
manual_packages=(asciidoctor ruby-asciidoctor-pdf librsvg2-bin xvfb xauth iproute2 fontconfig
    fonts-roboto-unhinted)
lint_packages=(clang-format clang-tidy clazy cppcheck)

say() { printf '\n== %s\n' "$*"; }

die()
{
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

as_root()
{
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# Installs those of the given packages that are missing, and says which.
need_packages()
{
    local missing=() package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    say "Installing Debian packages: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# Configures and builds a preset; both steps do nothing when nothing has changed.
build_preset()
{
    local preset=$1
    say "Building ($preset)"
    cmake --preset "$preset"
    cmake --build --preset "$preset"
}
