# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Lessons. Needs the pixel library next to it.

# shellcheck disable=SC2154
. "$share/pixel/pixel.sh"

# lesson TITLE: a heading, then numbered lines from standard input.
lesson() {
    banner "$1"
    number=0
    while IFS= read -r line; do
        number=$((number + 1))
        printf '%2d. %s\n' "$number" "$line"
    done
}
