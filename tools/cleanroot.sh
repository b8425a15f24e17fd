# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Read by tools that work in a clean Debian of their own: makes it below $root and runs
# commands there. What they print goes to $work/log and is shown if they fail. The reader
# sets work, root and name, by which messages begin.
# shellcheck shell=bash disable=SC2154

say() { echo "$name: $*"; }
fail() { echo "$name: $*" >&2; exit 1; }
quietly() { # COMMAND...
    "$@" > "$work/log" 2>&1 </dev/null || { tail -n 100 "$work/log" >&2; fail "failed: $*"; }
}

as_root=()
(( EUID == 0 )) || as_root=(sudo)

# A command in the root, with its own processes, /proc and the machine's devices. What is
# mounted for it is so in a namespace that ends with its processes.
inside() {
    "${as_root[@]}" unshare --mount --pid --fork --kill-child --mount-proc="$root/proc" \
        sh -c 'mount --rbind /dev "$0/dev" && exec chroot "$0" env -i HOME=/root \
               PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"' \
        "$root" ${CI:+env "CI=$CI"} "$@"
}

# The lines of a sources.list for a release, from where this machine fetches its own.
archive_lines() { # RELEASE
    apt-get indextargets --format '$(ORIGIN) $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        awk -v own="$("$top/tools/release")" -v wanted="$1" \
            '$1 == "Debian" && index($3, own) == 1 && sub(own, wanted, $3) { print "deb", $2, $3, $4 }' |
        sort -u
}

# Made with the access to the archive that this machine has: proxies and the like count there, too.
make_root() { # RELEASE PACKAGE,...
    archive_lines "$1" > "$work/sources.list"
    if [[ ! -s $work/sources.list ]]; then # the machine may have thrown its lists away
        quietly "${as_root[@]}" apt-get update
        archive_lines "$1" > "$work/sources.list"
    fi
    [[ -s $work/sources.list ]] || fail "this machine has no Debian among its sources"
    apt-config dump | grep -E '^Acquire::(http|https|Check-)' > "$work/apt.conf" || true
    # What is mounted meanwhile is so in a namespace, too. Nothing in the root has to outlive
    # a failure of power.
    quietly "${as_root[@]}" unshare --mount mmdebstrap --mode=root --variant=minbase --include="$2" \
        --aptopt="$work/apt.conf" --dpkgopt=force-unsafe-io "$1" "$root" "$work/sources.list"
    "${as_root[@]}" cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
    "${as_root[@]}" sh -c 'echo force-unsafe-io > "$0/etc/dpkg/dpkg.cfg.d/quickly"' "$root"
    say "a clean $1 with $(inside dpkg-query -W | wc -l) packages"
}
