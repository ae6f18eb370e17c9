# Clean Debian systems for the scripts, each a folder that root enters; sourced after
# common.sh, never run.

root_packages=(mmdebstrap debian-archive-keyring iproute2)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/fennix
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
registry=/proc/sys/fs/binfmt_misc

native_architecture=$(dpkg --print-architecture)
native_suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)

# take_options OPTIONS ARGUMENT...: those of a script that takes OPTIONS, of --suite and --arch;
# sets $suite and $architecture, and $arguments to what is no option
take_options()
{
    local options=$1
    shift
    suite=$native_suite
    architecture=$native_architecture
    arguments=()
    while [ $# -gt 0 ]; do
        case $1 in
        -h | --help) usage ;;
        -*)
            [[ " $options " = *" $1 "* ]] || reject "unknown option '$1'"
            [ $# -ge 2 ] || reject "$1 needs a name"
            [ "$1" = --suite ] && suite=$2 || architecture=$2
            shift
            ;;
        *) arguments+=("$1") ;;
        esac
        shift
    done
    [[ $suite =~ ^(bookworm|trixie)$ ]] || reject "no suite '$suite'"
}

# For scripts that take options only.
reject_arguments() { [ ${#arguments[@]} -eq 0 ] || reject "unknown argument '${arguments[0]}'"; }

# The release's repository, from where this machine itself has Debian's. Without the security
# updates: mirrors have those of two architectures at different times, and then nothing installs.
debian_source()
{
    local uri
    uri=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Label: Debian' | sed -n 1p)
    [ -n "$uri" ] || die "this machine's apt has no repository of Debian"
    echo "deb [signed-by=$keyring] $uri $1 main"
}

# make_archive SUITE OPTION...: has mmdebstrap make a system, unless there is one of this week
# by the same options, from any checkout; its name is in $archive then
make_archive()
{
    local suite=$1 source part
    shift
    archive=$cache/$suite-$(sha256sum <<< "${*//"$PWD"/}" | head -c 12).tar
    [ -z "$(find "$archive" -mtime -7 2> /dev/null)" ] || return 0

    need_packages "${root_packages[@]}"
    say "Making a clean root of $suite, which takes some minutes"
    source=$(debian_source "$suite")
    mkdir -p "$cache" build
    find "$cache" -maxdepth 1 -type f -mtime +7 -delete
    part=$(mktemp "$archive.XXXXXX")
    as_root mmdebstrap --quiet --variant=minbase "$@" "$suite" - "$source" \
        2> build/root.log > "$part" \
        || { rm "$part" && die "mmdebstrap has failed:"$'\n'"$(tail -n 20 build/root.log)"; }
    mv "$part" "$archive"
}

# Unpacks the archive into a folder, $root, that goes when the script ends.
unpack_root()
{
    need_packages "${root_packages[@]}"
    can_become_root || die "only root can make a clean root"
    root=$(mktemp -d -p "${TMPDIR:-/var/tmp}" fennix-root.XXXXXX)
    trap 'as_root rm -rf --one-file-system "$root"' EXIT
    as_root tar -xf "$archive" -C "$root" --exclude='./dev/*'
}

# Has the kernel run programs of ARM by qemu-user; what is set up already stays as it is.
enable_emulation()
{
    need_packages qemu-user-static binfmt-support arch-test
    ! arch-test armhf > /dev/null || return 0
    say "Setting this machine up to run programs of ARM"
    [ -e "$registry/register" ] || as_root mount -t binfmt_misc binfmt_misc "$registry" \
        || die "this machine's kernel knows no foreign programs (binfmt_misc)"
    as_root update-binfmts --enable qemu-arm
    arch-test armhf > /dev/null || die "this machine cannot run programs of ARM"
}

# Copies the project's own files into $root, as /build/fennix.
copy_sources()
{
    as_root mkdir -p "$root/build/fennix"
    tar -c --exclude-vcs --exclude=./build . | as_root tar -x -C "$root/build/fennix" --no-same-owner
}

# in_root COMMAND...: runs it in $root as root, with no network but its own loopback
#
# Entered by pivot_root: a chroot refuses the namespaces in which tests run and pictures are
# taken.
in_root()
{
    as_root unshare --mount --uts --ipc --net --pid --fork --kill-child bash -ec '
        ip link set lo up
        mount --bind "$1" "$1"
        cd "$1"
        shift
        mount -t proc proc proc
        mount --rbind /sys sys
        mount --rbind /dev dev
        mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts dev/pts
        mount --bind dev/pts/ptmx dev/ptmx
        mount -t tmpfs tmpfs tmp
        pivot_root . mnt
        cd /
        umount --lazy mnt
        exec env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"' - "$root" "$@"
}
