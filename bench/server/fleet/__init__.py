# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""What bench_fleet consists of: a store, the programs that serve it, and machines that use it."""
