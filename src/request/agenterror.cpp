// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/agenterror.h"

#include "util/translated.h"

#include <iterator>

namespace
{

struct Row {
    AgentError::Code code;
    const char* name;
    const char* sentence;
};

// clang-format off
const Row rows[] = {
    { AgentError::NoFailure, "none", "" },
    { AgentError::ServerUnreachable, "server-unreachable",
      QT_TRANSLATE_NOOP("Pakmart", "The store server cannot be reached.") },
    { AgentError::TimedOut, "timed-out",
      QT_TRANSLATE_NOOP("Pakmart", "The store server did not answer in time.") },
    { AgentError::Cancelled, "cancelled",
      QT_TRANSLATE_NOOP("Pakmart", "This was cancelled.") },
    { AgentError::UnknownFunction, "unknown-function",
      QT_TRANSLATE_NOOP("Pakmart", "The store server does not offer this function.") },
    { AgentError::BadAddress, "bad-address",
      QT_TRANSLATE_NOOP("Pakmart", "The address of the store server is not valid.") },
    { AgentError::Locked, "locked",
      QT_TRANSLATE_NOOP("Pakmart", "Another request to the store server has to finish first. Please try again.") },
    { AgentError::RefusedByServer, "refused-by-server",
      QT_TRANSLATE_NOOP("Pakmart", "The store server refused this request.") },
    { AgentError::ServerFailed, "server-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The store server reported an error of its own.") },
    { AgentError::RedirectRefused, "redirect-refused",
      QT_TRANSLATE_NOOP("Pakmart", "The store server led to an address that is not safe to follow.") },
    { AgentError::ReplyNotUnderstood, "reply-not-understood",
      QT_TRANSLATE_NOOP("Pakmart", "The reply of the store server could not be understood.") },
    { AgentError::ReplyTooLarge, "reply-too-large",
      QT_TRANSLATE_NOOP("Pakmart", "The reply of the store server is too large.") },
    { AgentError::CannotWrite, "cannot-write",
      QT_TRANSLATE_NOOP("Pakmart", "A file could not be written.") },
    { AgentError::NoDiskSpace, "no-disk-space",
      QT_TRANSLATE_NOOP("Pakmart", "There is not enough room on the disk.") },
    { AgentError::UnknownProduct, "unknown-product",
      QT_TRANSLATE_NOOP("Pakmart", "The store does not have this product.") },
    { AgentError::NothingToDo, "nothing-to-do",
      QT_TRANSLATE_NOOP("Pakmart", "There is nothing to do: this is installed already.") },
    { AgentError::Declined, "declined",
      QT_TRANSLATE_NOOP("Pakmart", "This was not done, since it was not agreed to.") },
    { AgentError::DependencyError, "dependency-error",
      QT_TRANSLATE_NOOP("Pakmart", "Packages that this product needs cannot be installed.") },
    { AgentError::WouldRemove, "would-remove",
      QT_TRANSLATE_NOOP("Pakmart", "Other packages would have to be removed.") },
    { AgentError::HashMismatch, "hash-mismatch",
      QT_TRANSLATE_NOOP("Pakmart", "A downloaded package is not the one that the store describes.") },
    { AgentError::DownloadFailed, "download-failed",
      QT_TRANSLATE_NOOP("Pakmart", "A package could not be downloaded.") },
    { AgentError::RefusedName, "refused-name",
      QT_TRANSLATE_NOOP("Pakmart", "This is not the name of a package.") },
    { AgentError::LockHeld, "lock-held",
      QT_TRANSLATE_NOOP("Pakmart", "Another program is installing or removing software at the moment.") },
    { AgentError::RefreshFailed, "refresh-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The lists of packages could not be refreshed.") },
    { AgentError::PackageToolsMissing, "package-tools-missing",
      QT_TRANSLATE_NOOP("Pakmart", "The package tools of the system cannot be started.") },
    { AgentError::PackageToolsFailed, "package-tools-failed",
      QT_TRANSLATE_NOOP("Pakmart", "The package tools of the system reported an error.") },
    { AgentError::BadHomeFolder, "bad-home-folder",
      QT_TRANSLATE_NOOP("Pakmart", "The home folder cannot hold the package lists of the store.") },
    { AgentError::NotPermitted, "not-permitted",
      QT_TRANSLATE_NOOP("Pakmart", "You do not have the permission to do this.") },
    { AgentError::ReplyNotTrusted, "reply-not-trusted",
      QT_TRANSLATE_NOOP("Pakmart", "The reply of the store server is not signed as this machine requires.") },
    { AgentError::Other, "other",
      QT_TRANSLATE_NOOP("Pakmart", "Something went wrong.") },
};
// clang-format on

const Row& RowOf(AgentError::Code code)
{
    const Row* found = std::end(rows) - 1;
    for (const Row& row : rows) {
        if (row.code == code)
            found = &row;
    }
    return *found;
}

} // namespace

QString AgentError::Name(Code nCode)
{
    return QString::fromLatin1(RowOf(nCode).name);
}

QString AgentError::Sentence(Code nCode)
{
    return *RowOf(nCode).sentence ? Agent::Translated(RowOf(nCode).sentence) : QString();
}
