# SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# Sourced by the scripts that need another Debian than this machine's.

# in_debian ROOT COMMAND...: in new namespaces, so that no mounts and no processes of maintainer scripts remain.
in_debian() {
    # shellcheck disable=SC2016 # the inner shell's own variables
    unshare --mount --pid --fork --kill-child bash -c \
        'root=$1; shift; mount -t proc proc "$root/proc"; mount -t tmpfs tmpfs "$root/run"
        exec chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"' \
        _ "$@"
}

# make_debian RELEASE ROOT: a minimal one, from the archive in this machine's own sources, of either format.
make_debian() {
    local mirror proxy
    mirror=$({ grep -hoE '(https?|file)://[^ ]*/debian/?( |$)' /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null ||
        true; } | head -n 1 | tr -d ' ')
    debootstrap --variant=minbase "$1" "$2" "$mirror"
    cp -L /etc/resolv.conf "$2/etc/resolv.conf"
    eval "$(apt-config shell proxy Acquire::http::Proxy)"
    [[ -z ${proxy:-} ]] || echo "Acquire::http::Proxy \"$proxy\";" >"$2/etc/apt/apt.conf.d/90proxy"
    in_debian "$2" apt-get update
}

# forbid_daemons ROOT: while packages are installed there
forbid_daemons() {
    printf '#!/bin/sh\nexit 101\n' >"$1/usr/sbin/policy-rc.d"
    chmod +x "$1/usr/sbin/policy-rc.d"
}
