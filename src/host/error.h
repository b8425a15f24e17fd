// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::Error
/// What went wrong in a job: a code for programs, which is KJob::error(), with a name that
/// stays the same from release to release, and a sentence for people.
///
///     if (job->error())
///         show(job->errorText(), job->details());

#pragma once

#include <QObject>
#include <QString>
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT Error
{
    Q_GADGET

public:
    /// What went wrong. New codes may be added: treat an unknown one as Other.
    enum Code {
        NoError = 0, ///< nothing
        Cancelled = 1, ///< the user or the host ended it; the same number as KJob's own
        Other = 100, ///< anything else; the sentence of the job says what

        InvalidName, ///< a text is not the name of a package
        UnknownPackage, ///< no package source has the package
        NotInstalled, ///< what is to be removed, upgraded or reinstalled is not installed
        Unresolvable, ///< the needed packages cannot be installed together
        RemovalsNotAllowed, ///< packages would be removed that nobody asked to remove
        EssentialPackage, ///< a package would be removed without which the system fails
        PackageOnHold, ///< a package is on hold and would have to be changed

        PlanChanged, ///< what would be done now is not what was shown
        OutcomeDiffers, ///< what dpkg reports afterwards is not what was planned
        ScriptFailed, ///< a script of a package failed
        PlanNotUnderstood, ///< the output of the package tools cannot be read
        StatusUnreadable, ///< dpkg's status cannot be read

        DownloadFailed, ///< a package file could not be fetched
        ChecksumMismatch, ///< a package file is not the one that the index describes
        NoDiskSpace, ///< the disk is full
        CannotWrite, ///< a file or folder could not be written
        NotPermitted, ///< the user may not do that
        LockHeld, ///< another program kept the package tools locked for too long
        ToolsMissing, ///< the package tools cannot be started
        ToolsFailed, ///< the package tools ended with an error
        BadHomeFolder, ///< the user's home cannot hold the private package lists
        RefreshFailed, ///< the package lists could not be refreshed

        ServerUnreachable, ///< no connection to the store server
        TimedOut, ///< the store server was silent, or slow, for too long
        ServerFailed, ///< the store server answered with an error
        RefusedByServer, ///< the store server says no
        ReplyNotUnderstood, ///< the reply of the store server is not a valid one
        UnknownProduct, ///< the store does not have the product
        ReplyNotTrusted, ///< the reply of the store server is not signed as the machine requires
        NoProgram, ///< a product has no program that can be started
        Last = NoProgram ///< the highest code of this release
    };
    Q_ENUM(Code)

    Error() = delete;

    /// The code of a number such as KJob::error(): Other for one that is not a code.
    static Code fromNumber(int number);

    /// The stable name of a code: lower case, with hyphens ("plan-changed", "other"; "none"
    /// for NoError). "other" for a number that is not a code.
    static QString name(Code code);

    /// A sentence for the user: of a translator of the host for the context "Pakmart"
    /// (QCoreApplication::installTranslator), or else of the library's own catalogs
    /// (KLocalizedString::languages()), or else in English; empty for NoError.
    static QString sentence(Code code);
};

} // namespace Pakmart
