// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class AgentError
/// Why a request did not do what it was made for: a code for programs, with a name
/// that stays the same from release to release, and a sentence for people.
///
///     QObject::connect(request, &CAPI::signalFailure, host,
///                      [](AgentError::Code code, const QString& sentence, const QString& details)
///                      {
///                          ... AgentError::Name(code), sentence, details
///                      });
///
/// A slot found by name has the arguments (AgentError::Code,QString,QString).

#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <vantrelagent/export.h>

class VANTRELAGENT_EXPORT AgentError
{
    Q_GADGET

public:
    /// What went wrong. New codes may be added: treat an unknown one as Other.
    enum Code {
        NoFailure = 0, ///< nothing; never emitted

        ServerUnreachable, ///< no connection to the store server, or it broke
        TimedOut, ///< the server was silent, or slow, for too long
        Cancelled, ///< the user or the host ended it
        UnknownFunction, ///< the server's directory does not list the function
        BadAddress, ///< the address of the function is not a web address
        Locked, ///< another request has locked the requests of this process
        RefusedByServer, ///< the server says no; the sentence is the server's
        ServerFailed, ///< the server answered with an HTTP error
        RedirectRefused, ///< the server redirects to where requests must not go
        ReplyNotUnderstood, ///< the reply is not a valid envelope
        ReplyTooLarge, ///< the reply is over a limit of size or memory
        CannotWrite, ///< a file could not be made or written
        NoDiskSpace, ///< a file could not be written because the disk is full

        UnknownProduct, ///< the store does not have the product
        NothingToDo, ///< everything is already installed, or removed
        Declined, ///< the user or the host said no before anything was changed
        DependencyError, ///< the needed packages cannot be installed together
        WouldRemove, ///< packages would be removed without anybody's consent
        HashMismatch, ///< a package file does not match the store's description
        DownloadFailed, ///< a package file could not be fetched
        RefusedName, ///< a name is not the name of a package
        LockHeld, ///< another program is installing or removing packages
        RefreshFailed, ///< the lists of packages could not be refreshed
        PackageToolsMissing, ///< the package tools cannot be started
        PackageToolsFailed, ///< the package tools ended with an error
        BadHomeFolder, ///< the user's home cannot hold the private package lists
        NotPermitted, ///< the user may not do that
        ReplyNotTrusted, ///< the reply is not signed as this machine requires

        Other ///< anything else; the sentence says what
    };
    Q_ENUM(Code)

    AgentError() = delete;

    /// The stable name of a code: lower case, with hyphens ("server-unreachable",
    /// "other"; "none" for NoFailure). "other" for a number that is not a code.
    static QString Name(Code nCode);

    /// A sentence for the user, in English; empty for NoFailure.
    static QString Sentence(Code nCode);
};
