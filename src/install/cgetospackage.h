// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CGetOSPackage
/// One action of the package front end on one package.

#pragma once

#include <QString>
#include <vantrelagent/export.h>

class VANTRELAGENT_EXPORT CGetOSPackage
{
public:
    /// `action`: its first character is an action letter of CRunAptGet::Run.
    /// `flag` is kept and not used.
    CGetOSPackage(const QString& action, const QString& package, bool flag);
    virtual ~CGetOSPackage();

    /// Runs it; the result is not reported.
    void Execute();

private:
    QString m_sPackage;
    QString m_sAction;
    [[maybe_unused]] bool m_bFlag;
};
