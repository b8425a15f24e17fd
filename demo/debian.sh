# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Sourced by run-demo: the life of a machine with a store made from the whole Debian
# archive that this machine uses.

# The package to install from the archive: the first of these that can be fetched. Each
# needs a library that no base system has, and none has maintainer scripts, which only root
# could run in a private root.
candidates=(jq rhash lzop)

try_jq() {
    jq --null-input --raw-output '"Debian" | ascii_downcase | test("^deb") | "jq has matched: \(.)"' \
        | grep 'jq has matched: true'
}
try_rhash() {
    [[ $(rhash --simple --sha256 "$index" | cut -c 1-64) == $(sha256sum "$index" | cut -c 1-64) ]] \
        && echo "rhash knows the sum of the index"
}
try_lzop() {
    lzop -c "$index" | lzop -dc | cmp - "$index" && echo "lzop has packed and unpacked the index"
}

# ---- the archive ----

# The largest package index with an address that a store can pass on: "FILE ADDRESS". The
# options are apt's.
find_index() {
    apt-get indextargets "$@" --format '$(CREATED_BY) $(REPO_URI) $(FILENAME)' 2>/dev/null \
        | awk '$1 == "Packages" && $2 ~ "^https?://" { sub("/*$", "", $2); print $3, $2 }' \
        | while read -r file address; do
            [[ ! -r $file ]] || echo "$(stat -c %s "$file") $file $address"
        done | sort -n | tail -n 1 | cut -d ' ' -f 2-
}

# Sets $index and $archive, from the lists that apt keeps here, or from new ones.
choose_index() {
    local own=(-o "Dir::State::Lists=$demo/lists" -o "Dir::Cache=$demo/apt-cache"
               -o APT::Sandbox::User= -o Acquire::Retries=0 -o Acquire::http::Timeout=20)
    read -r index archive < <(find_index) || true
    if [[ -z $index ]]; then
        echo "apt keeps no package index here: fetching one"
        mkdir -p "$demo"/{lists,apt-cache/archives}/partial
        apt-get update "${own[@]}" > "$demo/apt.log" 2>&1 || { cat "$demo/apt.log" >&2; true; }
        read -r index archive < <(find_index "${own[@]}") || true
    fi
    [[ -n $index ]] || fail "there is no package index of a Debian archive, and none could be fetched"
    echo "the index is $index"
}

# According to dpkg, the private machine has the base system of this one. Nothing in it is
# changed, so its files need not be there.
lend_base_system() {
    local dpkg=$PAKMART_SYSROOT/var/lib/dpkg package
    "$top/demo/base-system" > "$dpkg/status"
    while read -r package; do
        : > "$dpkg/info/$package.list"
    done < <(dpkg-query --admindir "$dpkg" -W -f '${binary:Package}\n')
    echo "the machine has a base system of $(grep -c '^Package:' "$dpkg/status") packages"
}

# The archive is reached as on this machine; the store is local.
lend_proxy() {
    apt-config dump | grep -E '^Acquire::https?::Proxy' > "$PAKMART_SYSROOT/etc/apt/apt.conf.d/proxy" || return 0
    echo 'Acquire::http::Proxy::127.0.0.1 "DIRECT";' >> "$PAKMART_SYSROOT/etc/apt/apt.conf.d/proxy"
}

# A field of a package of the index.
index_field() { # PACKAGE FIELD
    awk -v RS= -v name="$1" -v field="$2: " '
        index("\n" $0 "\n", "\nPackage: " name "\n") {
            for (count = split($0, lines, "\n"); count; --count)
                if (index(lines[count], field) == 1)
                    print substr(lines[count], length(field) + 1)
        }' "$demo/store/pool/debian/Packages"
}

# Sets $chosen to the first candidate that can be downloaded; empty if there is none.
choose_package() {
    local name file
    chosen=''
    for name in "${candidates[@]}"; do
        file=$(index_field "$name" Filename)
        [[ -n $file ]] || continue
        if /usr/lib/apt/apt-helper -o APT::Sandbox::User= -o Acquire::Retries=0 -o Acquire::http::Timeout=20 \
            download-file "$archive/$file" "$demo/probe" > "$demo/apt.log" 2>&1; then
            chosen=$name
            return
        fi
    done
    tail -n 2 "$demo/apt.log" >&2
}

serial_of() { # PACKAGE
    awk -v RS= -v name="$1" 'index($0 "\n", "\nPackage: " name "\n") { print $2 }' \
        "$demo/store/products"
}

# The store's own content: a product with its packages, the agent that it keeps up to date,
# aisles, and the account's applications.
add_own_shelves() {
    "$top/demo/make-store" "$demo/own" > /dev/null
    mv "$demo/own/pool/main" "$demo/store/pool/main"
    cp "$demo/own/updates" "$demo/store/"
    { echo; cat "$demo/own/sources"; } >> "$demo/store/sources"
    printf 'Name: Play\nDescription: For long evenings.\nCategory: games\n' > "$demo/store/aisles"
    printf 'Serial: %d\nName: Star Lander\nPackage: starlander\n' "$own" > "$demo/store/profile"
    awk -v RS= -v serial="$own" '/^Serial: 1001\n/ {
            sub(/^Serial: 1001/, "Serial: " serial)
            sub(/Category: Games/, "Category: games")
            print $0 "\n"
        }' "$demo/own/products" >> "$demo/store/products"
}

say "2. A private machine, and a store made of the Debian archive"
make_machine
choose_index
taking "$build/server/pakmart-storeserver" import --archive "$archive" "$index" "$demo/store"
lend_base_system
lend_proxy

say "3. The store server"
serve debian main

say "4. The machine registers, and sees that the store is there"
register

say "5. The catalog: fetching all of it, and looking around"
products=$(grep -c '^Serial:' "$demo/store/products")
categories=$(grep '^Category:' "$demo/store/products" | sort -u | wc -l)
taking tells "The catalog has $products products in $categories categories." -- update
tells "  games" -- categories
tells "gnuchess" -- list games
tells "jq: lightweight and flexible command-line JSON processor" -- search json processor
tells "Installed:    no" -- show "$(serial_of jq)"

say "6. The catalog compared with the index, product by product"
taking python3 -B "$top/tests/integration/comparecatalog.py" "$index" \
    "$build/tests/integration/readcatalog" "$top/tests/store" "$top/tests/db" \
    || fail "the catalog is not what the index says"
"$build/apps/dbtool/pakmart-dbtool" check catalog "$PAKMART_SYSROOT/usr/share/apps/vantrelagent" > "$demo/check" \
    || { cat "$demo/check" >&2; fail "the database is not sound"; }
tail -n 3 "$demo/check"

say "7. The store gets a product of its own and aisles, and an update tells"
own=$((products + 1))
add_own_shelves
tells "New since the last update, 1: Star Lander ($own)" -- update
tells "Play: For long evenings." "games" -- aisles

say "8. Installing the product of the store's own"
install_product "$own" starlander libpixel

say "9. Installing a package of the Debian archive"
choose_package
if [[ -n $chosen ]]; then
    mapfile -t needed < <(index_field "$chosen" Depends | tr ',' '\n' | sed 's/^ *//; s/[ (|:].*//' | grep -v '^libc6$')
    serial=$(serial_of "$chosen")
    install_product "$serial" "$chosen" "${needed[@]}"
    tells "Installed:    $(index_field "$chosen" Version)" -- show "$serial"
    "$PAKMART_SYSROOT/usr/bin/dpkg" --verify "$chosen" "${needed[@]}" || fail "the files are not those of the archive"
    echo "dpkg: the files of $chosen ${needed[*]} are those of the archive"
else
    echo "The Debian archive cannot be reached from here: no package of it is installed."
fi
tells "starlander" -- installed

say "10. Running what was installed"
"$PAKMART_SYSROOT/usr/games/starlander"
if [[ -n $chosen ]]; then
    libraries=$(echo "$PAKMART_SYSROOT"/usr/lib/*-linux-gnu*)
    (PATH=$PAKMART_SYSROOT/usr/bin:$PATH LD_LIBRARY_PATH=$libraries; export LD_LIBRARY_PATH; "try_$chosen") \
        || fail "$chosen does not run"
    LD_TRACE_LOADED_OBJECTS=1 LD_LIBRARY_PATH=$libraries "$PAKMART_SYSROOT/usr/bin/$chosen" \
        | grep -F "$PAKMART_SYSROOT" || fail "$chosen does not run with the libraries of the private machine"
fi

say "11. What was installed is in the list of applications, and what of the account is here"
recall "Star Lander" "$own" 1 # a package of the archive is no application
tells "Star Lander (starlander)" -- sync

say "12. Updating the system: the machine came with an old agent"
update_agent

say "13. Removing what was installed"
remove_package starlander /usr/games/starlander
pakmart forget "$own" || fail "Star Lander was not forgotten"
if [[ -n $chosen ]]; then
    remove_package "$chosen" "/usr/bin/$chosen"
fi
