# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Sourced by run-demo: the private machine that it works on, a server for the store in
# $demo/store, and the functions of its steps.

demo=$(mktemp -d "${TMPDIR:-/tmp}/pakmart-demo.XXXXXX")
server='' front='' bus='' url='' installed=0 failures=0

finish() {
    status=$?
    for pid in $front $server $bus; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    [[ -n $keep ]] || rm -rf "$demo"
    exit "$status"
}
trap finish EXIT
trap 'exit 130' INT TERM

make_machine() {
    export HOME=$demo/home PAKMART_SYSROOT=$demo/root
    export XDG_CONFIG_HOME=$demo/config XDG_CACHE_HOME=$demo/cache XDG_DATA_HOME=$demo/data
    export XDG_RUNTIME_DIR=$demo/run QT_QPA_PLATFORM=offscreen
    export no_proxy=127.0.0.1,localhost
    mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME"
    mkdir -m 700 "$XDG_RUNTIME_DIR"
    # A cookie jar and a web cache would start daemons that keep running.
    printf '[Cookie Policy]\nCookies=false\n' > "$XDG_CONFIG_HOME/kcookiejarrc"
    printf 'UseCache=false\n' > "$XDG_CONFIG_HOME/kio_httprc"
    dbus-daemon --session --nofork --address="unix:path=$XDG_RUNTIME_DIR/bus" 2> "$demo/bus.log" &
    bus=$!
    export DBUS_SESSION_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/bus
    "$top/platform/pakmart-mkroot" --front-end "$build/platform/vos-apt-get" "$PAKMART_SYSROOT"
}

# The store signs with a key of its own, which is made here.
make_key() {
    local -x GNUPGHOME=$demo/gnupg
    mkdir -m 700 "$GNUPGHOME"
    gpg --batch --quiet --passphrase '' --quick-generate-key 'The demo store' ed25519 sign never
    gpg --batch --quiet --pinentry-mode loopback --passphrase '' --armor --export-secret-keys > "$demo/store.key"
    chmod 600 "$demo/store.key"
    gpg --batch --quiet --export > "$demo/store.gpg"
    gpgconf --kill gpg-agent
}

# The machine trusts the repositories and the replies of the store, with that key.
trust_store() {
    local name
    install -D -m 644 "$demo/store.gpg" "$PAKMART_SYSROOT/etc/pakmart/keys/demo.gpg"
    for name in "$@"; do
        install -m 644 /dev/stdin "$PAKMART_SYSROOT/etc/pakmart/stores.d/$name.sources" <<END
Types: deb
URIs: $url/pool/$name
Suites: ./
Signed-By: /etc/pakmart/keys/demo.gpg
Release-Origin: Pakmart
Release-Suite: $name
END
    done
    printf '[Stores]\nRequireSignedReplies=yes\n' |
        install -m 644 /dev/stdin "$PAKMART_SYSROOT/etc/pakmart/settings"
    echo "the machine trusts the key of the store"
}

start_server() { # STORE OPTION...
    : > "$demo/server.out"
    "$build/server/pakmart-storeserver" "${@:2}" "$1" > "$demo/server.out" &
    server=$!
    for (( i = 0; i < 100; i++ )); do
        [[ ! -s $demo/server.out ]] || break
        kill -0 "$server" 2>/dev/null || fail "the store server did not start"
        sleep 0.1
    done
}

# The address stays the same when the server is started again.
choose_address() { url=:0; }

start_store() {
    start_server "$demo/store" --port "${url##*:}" --sign "$demo/store.key"
    url=$(sed -n 's,^listening on \(http://[^/]*\)/$,\1,p' "$demo/server.out")
}

# Has what serves the store notice that it has changed.
publish() { true; }
tell_shares() { true; }

serve() { # REPOSITORY...
    make_key 2> "$demo/gpg.log" || { cat "$demo/gpg.log" >&2; fail "the store has no key"; }
    choose_address
    start_store
    [[ -n $url ]] || fail "the store server did not print its address"
    echo "the store is at $url"
    trust_store "$@"
    echo "agent api url = $url/getagentapi.php" > "$PAKMART_SYSROOT/usr/share/apps/vantrelagent/.vauf"
}

stop_serving() {
    if [[ -n $front ]]; then
        kill "$front"
        wait "$front" || fail "nginx did not stop cleanly"
        front=
    fi
    kill "$server"
    wait "$server" || fail "the store server did not stop cleanly"
    server=
}

# Somebody else answers at the store's address, with other descriptions.
impersonate() {
    stop_serving
    cp -r "$demo/store" "$demo/forged"
    sed -i 's/^Description: .*/Description: Forged./' "$demo/forged/products"
    start_server "$demo/forged" --port "${url##*:}"
    ! pakmart update > "$demo/told" 2>&1 || fail "a forged catalog was believed"
    cat "$demo/told"
    grep -qF "The store '$url' is refused: its reply has no signature." "$demo/told" || fail "the refusal has no reason"
    ! pakmart show 1001 | grep -F Forged || fail "a forged description was shown"
    stop_serving
    start_store
}

pakmart() {
    echo "\$ pakmart $*"
    "$build/apps/pakmart/pakmart" ${pictures:+--pictures "$pictures"} "$@"
}

# Shows the beginning of a command's output.
show_told() {
    local lines most=16
    lines=$(wc -l < "$demo/told")
    head -n "$most" "$demo/told"
    (( lines <= most )) || echo "  ... and $((lines - most)) lines more"
}

# The output of the command must contain these texts.
tells() { # TEXT... -- COMMAND...
    local texts=()
    while [[ $1 != -- ]]; do texts+=("$1"); shift; done
    shift
    pakmart "$@" > "$demo/told" || fail "pakmart $* failed"
    show_told
    for text in "${texts[@]}"; do
        grep -qF -- "$text" "$demo/told" || fail "pakmart $* did not print '$text'"
    done
}

is_installed() {
    "$PAKMART_SYSROOT/usr/bin/dpkg" --status "$1" 2>/dev/null | grep -q '^Status: install ok installed$'
}

install_product() { # SERIAL PACKAGE...
    pakmart install --yes "$1" || fail "product $1 was not installed"
    for package in "${@:2}"; do
        is_installed "$package" || fail "$package is not installed"
        echo "dpkg: $package install ok installed"
    done
    installed=$((installed + 1))
}

fail_product() { # SERIAL TEXT
    local status=0
    pakmart install --yes "$1" 2> "$demo/errors" || status=$?
    cat "$demo/errors" >&2
    (( status == 1 )) || fail "product $1 should have failed with status 1, not $status"
    grep -q "$2" "$demo/errors" || fail "product $1 failed without telling of '$2'"
    failures=$((failures + 1))
}

remove_package() { # PACKAGE FILE
    pakmart remove --yes "$1" || fail "$1 was not removed"
    ! is_installed "$1" || fail "$1 is still installed"
    [[ ! -e $PAKMART_SYSROOT$2 ]] || fail "the program is still there"
}

# Runs a command and prints how long it took.
taking() { # COMMAND...
    local begun=$SECONDS
    "$@" || return
    echo "(it took $((SECONDS - begun)) s)"
}

# The machine registers its system builder, and checks that the store can be reached.
register() {
    mkdir -p "$PAKMART_SYSROOT/etc/vantrel-welcome"
    echo "id=0000000042" > "$PAKMART_SYSROOT/etc/vantrel-welcome/builder.txt"
    touch "$demo/store/registrations" # the store keeps a list where there is one
    tells "system builder 0000000042" -- register
    grep -q ' 0000000042$' "$demo/store/registrations" || fail "the store does not know the builder"
    tells "can be reached: $url" "System builder: 0000000042" -- status
}

# The machine starts with an old agent, which updates itself.
update_agent() {
    "$PAKMART_SYSROOT/usr/bin/dpkg" --install "$demo/store/pool/main/vantrelagent_1.0-1_all.deb" > "$demo/dpkg.log" 2>&1 \
        || { cat "$demo/dpkg.log" >&2; fail "the old agent was not installed"; }
    tells "vantrelagent 1.0-1 is updated to 1.1-1." "The agent itself was updated" -- os-update --yes
    tells "The system is up to date." -- os-update --yes
}

# The list of recently used applications must have LINES lines, including this one.
recall() { # NAME SERIAL LINES
    pakmart recent | tee "$demo/recent"
    grep -q "$1 ($2)\$" "$demo/recent" || fail "$1 is not in the list"
    (( $(grep -c '^ *[0-9]* .*([0-9]*)$' "$demo/recent") == $3 )) || fail "the list has not $3 lines"
    pakmart recent --run "$(awk -v name="$1" 'index($0, name) { print $1 }' "$demo/recent")" \
        || fail "$1 does not start"
}
