# Shared by the scripts; sourced, never run. The comment at a script's head is its usage.

set -euo pipefail
script=$(realpath "$0")
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# Debian's packages, by what they are needed for.
build_packages=(g++ cmake ninja-build pkg-config qtbase5-dev libqt5serialport5-dev)
document_packages=(python3)
simulator_packages=(umockdev libumockdev-dev libpcap-dev)
capture_packages=(tshark)
namespace_packages=(iproute2)
server_packages=(xvfb xdotool x11-xserver-utils qt5ct)
font_packages=(fonts-cantarell fonts-dejavu-core fonts-freefont-ttf fonts-liberation fonts-open-sans
    fonts-roboto-unhinted)
test_packages=("${build_packages[@]}" "${simulator_packages[@]}" "${capture_packages[@]}"
    "${namespace_packages[@]}" "${document_packages[@]}" "${font_packages[@]}" "${server_packages[@]}")
watch_packages=(strace valgrind)
screen_packages=(xvfb xdotool imagemagick fonts-dejavu-core)
manual_packages=(asciidoctor ruby-asciidoctor-pdf librsvg2-bin xvfb iproute2 fontconfig
    fonts-roboto-unhinted fonts-dejavu-core wireshark xdotool imagemagick python3-cryptography)
fuzz_packages=(clang llvm)
lint_packages=(clang-format clang-tidy clazy cppcheck shellcheck flake8 black python3-pil librsvg2-bin
    zopfli fonts-dejavu-core lua5.2 lua5.4 lua-check)

say() { printf '\n== %s\n' "$*"; }

complain() { printf '%s: %s\n' "$(basename "$script")" "$*" >&2; }

die()
{
    complain "$*"
    exit 1
}

reject()
{
    complain "$*; see --help"
    exit 2
}

usage()
{
    sed -n '2,/^$/s/^# \{0,1\}//p' "$script"
    exit 0
}

as_root()
{
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# Asks for the password, if there is one to be asked for and somebody to give it.
can_become_root()
{
    [ "$(id -u)" -eq 0 ] || sudo --non-interactive true 2> /dev/null \
        || { [ -t 0 ] && sudo --validate; }
}

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2> /dev/null)" = installed ]; }

# Installs those of the given packages that are missing, and says which.
need_packages()
{
    local missing=() package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    say "Installing Debian packages: ${missing[*]}"
    can_become_root || die "you may not install packages; have somebody run: apt-get install ${missing[*]}"
    run_apt update
    run_apt install -y --no-install-recommends "${missing[@]}"
}

# Runs apt-get, shows how far it is, and its words only when it fails. Just after a machine's
# start Debian's own upgrades may hold the lock.
run_apt()
{
    local log=build/apt.log
    mkdir -p build
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o APT::Status-Fd=1 \
        -o DPkg::Lock::Timeout=300 "$@" 2>&1 \
        | tee "$log" | sed -un 's/^\(dl\|pm\)status:.*:\([0-9]*\)\.[0-9]*:.*/\2/p' | show_percent \
        || die "apt-get $1 has failed:"$'\n'"$(grep -v '^..status:' "$log" | tail)"
}

# Shows percentages, one a line, as they come: in place on a terminal, else every tenth.
show_percent()
{
    local percent shown=-10
    while read -r percent; do
        if [ -t 1 ]; then
            printf '\r%3d %%' "$percent"
        elif ((percent >= shown + 10 || percent < shown)); then
            printf '%d %% ' "$percent"
            shown=$percent
        fi
    done
    echo
}

# What root has built, others can neither build nor remove.
check_build_folder()
{
    [ "$(id -u)" -eq 0 ] || [ -z "$(find build ! -user "$(id -u)" -print -quit 2> /dev/null)" ] \
        || die "the folder build is partly another user's; have it removed: sudo rm -r $PWD/build"
}

# build_preset PRESET [TARGET...]: configures and builds what has changed
build_preset()
{
    local preset=$1 log=build/configure.log targets=()
    shift
    [ $# -eq 0 ] || targets=(--target "$@")

    say "Building ($preset)"
    mkdir -p build
    cmake --preset "$preset" > "$log" 2>&1 || die "cmake has failed:"$'\n'"$(cat "$log")"
    cmake --build --preset "$preset" "${targets[@]}"
}

case ${1:-} in
-h | --help) usage ;;
esac
