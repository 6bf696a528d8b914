# A Debian root of its own, to build and run tests in. Sourced by tests/run32,
# tests/run_arm, tests/packaging and packaging/build, which name in
#
#   root_for           what the root is for, in messages
#   root_place         the directory that gets the root, in root/, and the build, in build/
#   root_variable      the variable of the environment that can name another root_place
#   root_architecture  Debian's name of the architecture of the root's programs
#   root_entry         what the script is started through inside the root, or nothing
#
# and define
#
#   install_in_root    installs what is needed there; gets the script's arguments and
#                      runs inside the root, where its last status counts
#   build_and_test     gets the script's arguments; runs inside the root, where the
#                      tree is in /vandel, to be read only, and the build in /build
#
# and end with run_in_root "$@".
#
# The root is made once, kept and reused; where root_is_fresh is set, it stays as it was
# made, and what is written there is forgotten. The mounts are made in a mount
# namespace of their own, and every process runs in a process namespace that
# ends with the script: nothing stays behind, however it ends.
#
# shellcheck shell=bash
# shellcheck disable=SC2154 # the script that sources this sets root_*

root_suite=bookworm
root_script=$(basename "$0")
root_folder=$(cd "$(dirname "$0")" && pwd)
PATH=$PATH:/usr/sbin:/sbin

say() {
    printf '%s: %s\n' "$root_script" "$*" >&2
}

# Seconds spent on the step that ends here, for whoever looks after CI's time.
step_done() {
    say "$1: $((SECONDS - step_start)) s"
    step_start=$SECONDS
}
step_start=0

# The first Debian mirror among the sources of the machine's apt, in whichever of
# its formats they are written: apt reads them itself. It tells of those only whose
# lists it has. Others than Debian may use the same code name, and neither debootstrap
# nor the root reads from all that apt does, such as a directory of this machine.
mirror_of_apt() {
    # shellcheck disable=SC2016 # apt-get expands $(SITE)
    apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Origin: Debian' \
        "Codename: $root_suite" 'Component: main' 2>/dev/null |
        grep -E -m 1 '^(https?|ftp):' || true
}

# Where the root comes from; says so and fails where nobody has said it.
mirror() {
    local uri=${VANDEL_MIRROR:-$(mirror_of_apt)}
    if [[ -z $uri ]]; then # apt may have no lists yet
        apt-get update >/dev/null 2>&1 || true
        uri=$(mirror_of_apt)
    fi
    if [[ -z $uri ]]; then
        say "this machine's apt has no Debian mirror with $root_suite: name one in VANDEL_MIRROR"
        return 1
    fi
    printf '%s\n' "$uri"
}

# What the machine's apt is told about its network holds for the root's, too.
apt_settings() {
    apt-config dump | grep -E '^Acquire::(https?::|Check-|Retries)' || true
    printf 'APT::Install-Recommends "false";\n'
    printf 'DPkg::Options:: "--force-unsafe-io";\n'
}

# The root is made under another name, so that one that is there is whole.
make_root() {
    local root=$root_place/root proxy='' uri
    if [[ -d $root ]]; then
        say "using the Debian root for $root_for that is in $root"
        return
    fi
    say "making a Debian root for $root_for in $root"
    "$source_tree/.ci/install" debootstrap debian-archive-keyring
    uri=$(mirror)
    rm -rf --one-file-system "$root.new"
    mkdir -p "$root_place"
    eval "$(apt-config shell proxy Acquire::http::Proxy)"
    [[ -z $proxy ]] || export "http_proxy=$proxy" # not among arguments, which all can read
    debootstrap "--arch=$root_architecture" --variant=minbase \
        "$root_suite" "$root.new" "$uri" >"$root_place/debootstrap.log" 2>&1 </dev/null || {
        tail -n 20 "$root_place/debootstrap.log" >&2
        exit 1
    }
    (umask 077 && apt_settings >"$root.new/etc/apt/apt.conf.d/90vandel") # with passwords of proxies
    # No manual is read there.
    printf 'path-exclude=/usr/share/%s/*\n' doc man locale >"$root.new/etc/dpkg/dpkg.cfg.d/90vandel"
    mkdir -p "$root.new/vandel" "$root.new/build"
    mv "$root.new" "$root"
}

# In the new namespaces: what the root needs to see, then on inside it.
enter_root() {
    local root=$root_place/root
    mkdir -p "$root_place/build"
    if [[ -n ${root_is_fresh-} ]]; then
        mount -t tmpfs tmpfs /mnt
        mkdir /mnt/written /mnt/work
        mount -t overlay overlay \
            -o "lowerdir=$root,upperdir=/mnt/written,workdir=/mnt/work" "$root"
    else
        mount --bind "$root" "$root"
    fi
    mount --bind "$source_tree" "$root/vandel"
    mount -o remount,bind,ro "$root/vandel"
    mount --bind "$root_place/build" "$root/build"
    mount --rbind /dev "$root/dev"
    mount -t proc proc "$root/proc"
    mount --rbind /sys "$root/sys"
    mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    printf '127.0.0.1 localhost\n' >"$root/etc/hosts"
    exec chroot "$root" env -i HOME=/root "PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin" \
        ${root_entry:+"$root_entry"} "/vandel/${root_folder##*/}/$root_script" --inside-root "$@"
}

# Inside the root, as process 1: a signal's trap is what can end it.
inside_root() {
    trap 'exit 143' HUP INT TERM
    say 'installing in it what is missing'
    if ! install_in_root "$@" 2>/build/install.log; then
        tail -n 20 /build/install.log >&2
        return 1
    fi
    step_done 'installing'
    if [[ ${1-} != --prepare ]]; then
        build_and_test "$@"
    fi
}

# Makes the packages of another architecture known to apt, inside the root.
add_architecture() {
    dpkg --print-foreign-architectures | grep -qx "$1" && return
    dpkg --add-architecture "$1" && apt-get update >&2
}

# Runs ctest, 4 tests at a time, for most of them wait most of the time.
run_ctest() {
    local status=0
    ctest --test-dir /build --parallel 4 --output-on-failure --no-tests=error "$@" || status=$?
    step_done 'testing'
    return "$status"
}

run_in_root() {
    local script=$root_folder/$root_script status=0
    case ${1-} in
    --enter-root)
        enter_root "${@:2}"
        ;;
    --inside-root)
        inside_root "${@:2}"
        exit
        ;;
    esac

    exec </dev/null
    if ((EUID != 0)); then
        say 'going on as root, through sudo'
        exec sudo "$root_variable=$root_place" "VANDEL_MIRROR=${VANDEL_MIRROR-}" "$script" "$@"
    fi
    make_root
    step_done 'the root'

    # In the background, for a signal to this script would wait for a program in
    # the foreground; what ends unshare ends all that runs below it.
    trap 'kill -KILL "$child" 2>/dev/null || true' EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    unshare --mount --propagation private --pid --fork --kill-child "$script" --enter-root "$@" &
    child=$!
    wait "$child" || status=$?
    exit "$status"
}
