// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/error.h"

#include <QCoreApplication>
#include <algorithm>
#include <iterator>

namespace Pakmart
{

namespace
{

struct Entry {
    Error::Code code;
    const char* name;
    const char* sentence;
};

// clang-format off
const Entry entries[] = {
    { Error::NoError, "none", "" },
    { Error::Cancelled, "cancelled",
      QT_TRANSLATE_NOOP("Pakmart", "It was cancelled.") },
    { Error::Other, "other",
      QT_TRANSLATE_NOOP("Pakmart", "It failed for an unknown reason.") },
    { Error::InvalidName, "invalid-name",
      QT_TRANSLATE_NOOP("Pakmart", "This is not the name of a package.") },
    { Error::UnknownPackage, "unknown-package",
      QT_TRANSLATE_NOOP("Pakmart", "The package is in no package source.") },
    { Error::NotInstalled, "not-installed",
      QT_TRANSLATE_NOOP("Pakmart", "The package is not installed.") },
    { Error::Unresolvable, "unresolvable",
      QT_TRANSLATE_NOOP("Pakmart", "The packages that are needed cannot be installed together.") },
    { Error::RemovalsNotAllowed, "removals-not-allowed",
      QT_TRANSLATE_NOOP("Pakmart", "Other packages would have to be removed.") },
    { Error::EssentialPackage, "essential-package",
      QT_TRANSLATE_NOOP("Pakmart", "The system does not work without this package.") },
    { Error::PackageOnHold, "package-on-hold",
      QT_TRANSLATE_NOOP("Pakmart", "A package that is on hold would have to be changed.") },
    { Error::PlanChanged, "plan-changed",
      QT_TRANSLATE_NOOP("Pakmart", "What would be done is not what was shown any more, so nothing was changed.") },
    { Error::OutcomeDiffers, "outcome-differs",
      QT_TRANSLATE_NOOP("Pakmart", "Not everything was done as planned.") },
    { Error::ScriptFailed, "script-failed",
      QT_TRANSLATE_NOOP("Pakmart", "A script of a package failed.") },
    { Error::PlanNotUnderstood, "plan-not-understood",
      QT_TRANSLATE_NOOP("Pakmart", "The output of the package tools cannot be understood.") },
    { Error::StatusUnreadable, "status-unreadable",
      QT_TRANSLATE_NOOP("Pakmart", "It cannot be found out which packages are installed.") },
    { Error::DownloadFailed, "download-failed",
      QT_TRANSLATE_NOOP("Pakmart", "A package could not be downloaded.") },
    { Error::ChecksumMismatch, "checksum-mismatch",
      QT_TRANSLATE_NOOP("Pakmart", "A downloaded package is damaged, or is not the one that was expected.") },
    { Error::NoDiskSpace, "no-disk-space",
      QT_TRANSLATE_NOOP("Pakmart", "There is not enough space on the disk.") },
    { Error::CannotWrite, "cannot-write",
      QT_TRANSLATE_NOOP("Pakmart", "A file could not be written.") },
    { Error::NotPermitted, "not-permitted",
      QT_TRANSLATE_NOOP("Pakmart", "You do not have the permission to do that.") },
    { Error::LockHeld, "lock-held",
      QT_TRANSLATE_NOOP("Pakmart", "Another program is installing or removing packages.") },
    { Error::ToolsMissing, "tools-missing",
      QT_TRANSLATE_NOOP("Pakmart", "The package tools of the system cannot be started.") },
    { Error::ToolsFailed, "tools-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The package tools of the system failed.") },
    { Error::BadHomeFolder, "bad-home-folder",
      QT_TRANSLATE_NOOP("Pakmart", "Packages cannot be installed from this home folder.") },
    { Error::RefreshFailed, "refresh-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The package lists could not be refreshed.") },
    { Error::ServerUnreachable, "server-unreachable",
      QT_TRANSLATE_NOOP("Pakmart", "The store cannot be reached.") },
    { Error::TimedOut, "timed-out",
      QT_TRANSLATE_NOOP("Pakmart", "The store did not answer in time.") },
    { Error::ServerFailed, "server-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The store reports an error of its own.") },
    { Error::RefusedByServer, "refused-by-server",
      QT_TRANSLATE_NOOP("Pakmart", "The store refused the request.") },
    { Error::ReplyNotUnderstood, "reply-not-understood",
      QT_TRANSLATE_NOOP("Pakmart", "The answer of the store cannot be understood.") },
    { Error::UnknownProduct, "unknown-product",
      QT_TRANSLATE_NOOP("Pakmart", "The store does not have this product.") },
    { Error::ReplyNotTrusted, "reply-not-trusted",
      QT_TRANSLATE_NOOP("Pakmart", "The answer of the store is not signed as this machine requires.") },
    { Error::NoProgram, "no-program",
      QT_TRANSLATE_NOOP("Pakmart", "It is not known which program belongs to this product.") },
};
// clang-format on

const Entry* Find(int number)
{
    const auto found = std::find_if(std::begin(entries), std::end(entries),
                                    [number](const Entry& entry) { return entry.code == number; });
    return found == std::end(entries) ? nullptr : found;
}

const Entry& EntryOf(int number)
{
    const Entry* found = Find(number);
    return found ? *found : *Find(Error::Other);
}

} // namespace

Error::Code Error::fromNumber(int number)
{
    return EntryOf(number).code;
}

QString Error::name(Code code)
{
    return QLatin1String(EntryOf(code).name);
}

QString Error::sentence(Code code)
{
    const char* text = EntryOf(code).sentence;
    return *text ? QCoreApplication::translate("Pakmart", text) : QString();
}

} // namespace Pakmart
