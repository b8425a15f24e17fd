// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/cmenueditor.h"

#include <QProcess>

CMenuEditor::~CMenuEditor() = default;

// The arguments are taken by value since they always were.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void CMenuEditor::addItem(QString, QString, QString, QString) { }

void CMenuEditor::removeItem(const QString&) { }

void CMenuEditor::copyItem(const QString&, const QString&, bool) { }

void CMenuEditor::restartMenu()
{
    QProcess shell;
    shell.setProgram(QStringLiteral("/bin/sh"));
    shell.setArguments({ QStringLiteral("-c"), QStringLiteral("dcop kicker Panel restart") });
    shell.setStandardErrorFile(QProcess::nullDevice());
    shell.startDetached();
}
