# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Text graphics.

# repeat TEXT COUNT
repeat() {
    i=0
    while [ "$i" -lt "$2" ]; do printf '%s' "$1"; i=$((i + 1)); done
}

# banner TEXT
banner() {
    line=$(repeat = $((${#1} + 4)))
    printf '%s\n  %s\n%s\n' "$line" "$1" "$line"
}

# bar VALUE MAXIMUM: a bar of twenty characters.
bar() {
    full=$(($1 * 20 / $2))
    printf '[%s%s]' "$(repeat '#' "$full")" "$(repeat . $((20 - full)))"
}
