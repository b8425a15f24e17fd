// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The tables of personal data.
//
//     account        name; each once
//     application    of an account, at its place from 0 on: serial, name, package
//     registration   time in seconds since 1970, builder; `request` is a name that a repeated
//                    call would have again, so that it is recorded once
//     imported       the sums of the files that were taken over, by their kinds
//     schema_version the numbers of the steps by which the tables were made
//
// A later version of the server may add a step, which changes the tables of an earlier one.

#pragma once

#include "sqlconnection.h"

// Makes the tables, or brings them to this version: each step in a transaction of its own, and of
// several servers one at a time. Throws StoreError for tables of a later version; SqlError.
void UpdateSchema(SqlConnection& connection);

// Waits until no other server does what may be done once only, until the end of the transaction.
void LockOthersOut(SqlConnection& connection);
