# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Read by tools that work in a clean Debian of their own: makes it below $root and runs
# commands there. What they print goes to $work/log and is shown if they fail. The reader
# sets work, root and name, by which messages begin.
# shellcheck shell=bash disable=SC2154

say() { echo "$name: $*"; }
fail() { echo "$name: $*" >&2; exit 1; }

# Copies the sources to $work/source: those that git knows or, in an unpacked archive, all.
copy_sources() {
    mkdir "$work/source"
    if git -C "$top" rev-parse --git-dir > /dev/null 2>&1; then
        git -C "$top" ls-files -z --cached --others --exclude-standard
    else
        (cd "$top" && find . \( -path './build*' -o -path ./.git \) -prune -o -type f -print0)
    fi | tar -C "$top" -c --null -T - | tar -x -C "$work/source"
}

quietly() { # COMMAND...
    "$@" > "$work/log" 2>&1 </dev/null || { tail -n 100 "$work/log" >&2; fail "failed: $*"; }
}

as_root=()
(( EUID == 0 )) || as_root=(sudo)

# In the background, since a shell looks at a signal only when what it runs in the foreground
# has ended.
inside() { # COMMAND...
    env --default-signal=INT --default-signal=QUIT "${as_root[@]}" \
        "$top/tools/in-root" "$root" ${CI:+env "CI=$CI"} "$@" </dev/null &
    running=$!
    local status=0
    wait "$running" || status=$?
    running=''
    return "$status"
}

# The reader has `trap stop INT TERM`: nothing goes on in the root after it.
stop() {
    trap '' INT TERM
    if [[ -n ${running:-} ]]; then
        "${as_root[@]}" kill "$running" 2>/dev/null || true
        wait "$running" || true
    fi
    exit 130
}

# Made here, a root would fail in the middle with a message that says little.
need_namespaces() {
    "${as_root[@]}" unshare --mount --pid --fork --kill-child mount -t tmpfs tmpfs /tmp ||
        fail "this machine does not let root make namespaces or mount, which a clean root needs"
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
