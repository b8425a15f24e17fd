# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Read by run-demo: the life of a machine with a store of 14 products.

say "2. A private machine and a demo store"
make_machine
"$top/demo/make-store" "$demo/store"

say "3. The store server"
serve main

say "4. The machine registers, and sees that the store is there"
register

say "5. The catalog: fetching it, and looking around"
products=$(grep -c '^Serial:' "$demo/store/products")
tells "The catalog has $products products in 4 categories." -- update
tells "4  Games" -- categories
tells "Star Lander" "Dice & Cards" -- list games
tells "1001  Star Lander" -- search LANDER
tells "Needs:        libpixel" "Installed:    no" -- show 1001
tells "Play: For long evenings." "10  Games" -- aisles

say "6. Installing a product, after a look at what that changes, and another with two programs"
tells "To be installed:" "needed by starlander" "Disk space needed:" -- install --dry-run 1001
install_product 1001 starlander libpixel
install_product 1003 dicecards
tells "Installed:    1.0-1" -- show 1001
tells "dicecards" "libpixel" "starlander" -- installed

say "7. Running what was installed"
"$PAKMART_SYSROOT/usr/games/starlander"
"$PAKMART_SYSROOT/usr/games/dice"
"$PAKMART_SYSROOT/usr/games/cards"

say "8. What was installed is in the list of applications, and what of the account is here"
recall "Star Lander" 1001 2
tells "Star Lander (starlander)" "Dice & Cards (dicecards)" -- sync

say "9. Updating the system: the machine came with an old agent"
update_agent

say "10. The store changes, and an update tells how"
sed -i 's/^Name: Maze Runner$/Name: Maze Runner II/' "$demo/store/products"
publish
tells "Changed, 1: Maze Runner II (1002)" -- update

say "11. Somebody else answers at the store's address, with descriptions of their own"
impersonate

say "12. What fails, and how: a dependency that nobody has, a damaged archive"
fail_product 9001 libwarpcore
fail_product 9002 "Hash Sum mismatch"
[[ -n $pictures ]] || grep -q "Hash Sum mismatch" "$demo/cache/pakmart/last.log" || fail "the log does not have the error"

say "13. A way out: a crash has left a package half-installed"
sed -i '/^Package: libpixel$/,/^$/ s/^Status: .*/Status: install reinstreq half-installed/' \
    "$PAKMART_SYSROOT/var/lib/dpkg/status"
! pakmart repair --check || fail "the broken package was not found"
tells "libpixel 1.2-3 is installed again." -- repair --yes
is_installed libpixel || fail "libpixel was not repaired"

say "14. Removing a product"
remove_package starlander /usr/games/starlander
pakmart forget 1001 || fail "Star Lander was not forgotten"

if [[ -n $pictures ]]; then
    for name in success success-log failure; do
        [[ -s $pictures/$name.png ]] || fail "there is no picture $name.png"
    done
    echo "the pictures are in $pictures"
fi
