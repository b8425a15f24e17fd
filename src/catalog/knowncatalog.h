// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// What the machine knows about its catalog: whether the store still has the same one, asked with
/// a request of a few hundred bytes.
///
/// The file ".catalogmark" of the data folder has the mark (ETag) of the reply from which the
/// catalog's file and database were made in one pass, its sum if it was signed, and which files
/// these are. It counts for them only: whatever else changes a file makes it worthless.

#pragma once

#include <QtGlobal>
#include <functional>
#include <vantrelagent/export.h>

namespace Agent
{

/// Whether the store says that its catalog is still the one from which this machine's file and
/// database were made; where replies have to be signed, with a signature of now. The date of the
/// file is that of this answer then. False in all other cases: the catalog is to be fetched.
/// Events are processed while `goOn`, which is called now and then, returns true.
VANTRELAGENT_EXPORT bool IsCatalogCurrent(const std::function<bool()>& goOn);

/// What the store server has sent to this process so far: heads and contents of its answers, in
/// bytes, packed if they came so. `isUnpacked` gets whether contents are counted unpacked, because
/// their packed length is not known (KDE Frameworks 6).
VANTRELAGENT_EXPORT qint64 TransferredBytes(bool& isUnpacked);

} // namespace Agent
