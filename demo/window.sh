# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Read by run-demo: a visit to the store's window on a private machine.

# The machine comes with an older version of a product.
install_older() { # PACKAGE
    local folder=$demo/older
    dpkg-deb -R "$demo/store/pool/main/$1"_*.deb "$folder"
    sed -i 's/^Version: .*/Version: 0.9-1/' "$folder/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$folder" "$demo/older.deb" > /dev/null
    "$PAKMART_SYSROOT/usr/bin/dpkg" --install "$demo/older.deb" > "$demo/dpkg.log" 2>&1 \
        || { cat "$demo/dpkg.log" >&2; fail "the older $1 was not installed"; }
}

say "2. A private machine and a demo store"
make_machine
"$top/demo/make-store" "$demo/store"
install_older dicecards

say "3. The store server"
serve main

say "4. A visit to the window, drawn where nobody sees it"
"$build/demo/window/visit" ${pictures:+"$pictures"} 2> "$demo/visit.log" \
    || { cat "$demo/visit.log" >&2; fail "the visit came to no good end"; }
installed=2

say "5. What dpkg says of it"
is_installed dicecards || fail "dicecards is not installed"
[[ $("$PAKMART_SYSROOT/usr/bin/dpkg" --status dicecards) == *"Version: 2.1-1"* ]] || fail "dicecards was not updated"
! is_installed starlander || fail "starlander is still installed"
[[ ! -e $PAKMART_SYSROOT/usr/games/starlander ]] || fail "the program is still there"
echo "dicecards is updated, and starlander was removed again"
"$PAKMART_SYSROOT/usr/games/dice"

if [[ -n $pictures ]]; then
    for look in light dark narrow mirrored contrast; do
        [[ -s $pictures/$look-front.png ]] || fail "there is no picture $look-front.png"
    done
    echo "$(ls "$pictures"/*.png | wc -l) pictures are in $pictures"
fi
