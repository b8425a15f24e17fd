# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Sums of money, in cents.

# money CENTS
money() {
    printf '%d.%02d' $(($1 / 100)) $(($1 % 100))
}
