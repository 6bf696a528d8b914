#!/bin/sh
# Runs a command that sees BASE/tmp as /tmp and BASE/dev as /dev.
#
# usage: unshare -m[r] private_mounts.sh BASE BUILD [FILE OVER]... -- COMMAND [ARGUMENT]...
#
# The build directory is reachable as /tmp/.build, the true /dev as /tmp/.dev
# (BASE/dev is made of links into it); each FILE is seen in place of OVER. The
# source tree and the build directory keep their names, should they be below
# /tmp. The mounts die with the command.
set -eu
base=$1
build=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
shift 2
while [ "$1" != -- ]; do
    mount --bind "$1" "$2"
    shift 2
done
shift
mount --rbind /dev "$base/tmp/.dev"
mount --rbind "$base/dev" /dev
mount --rbind "$build" "$base/tmp/.build"
for directory in "$root" "$build"; do
    case $directory in
    /tmp/*)
        mkdir -p "$base$directory"
        mount --rbind "$directory" "$base$directory"
        ;;
    esac
done
mount --rbind "$base/tmp" /tmp
exec "$@"
