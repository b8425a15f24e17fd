// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/cmenueditor.h"

#include "support/ctracer.h"

#include <QProcess>

CMenuEditor::~CMenuEditor() = default;

// The arguments are taken by value since they always were.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void CMenuEditor::addItem(QString, QString, QString, QString)
{
    CTracer tracer("CMenuEditor::addItem");
}

void CMenuEditor::removeItem(const QString&)
{
    CTracer tracer("CMenuEditor::removeItem");
}

void CMenuEditor::copyItem(const QString&, const QString&, bool)
{
    CTracer tracer("CMenuEditor::copyItem");
}

void CMenuEditor::restartMenu()
{
    CTracer tracer("CMenuEditor::restartMenu");
    QProcess shell;
    shell.setProgram(QStringLiteral("/bin/sh"));
    shell.setArguments({ QStringLiteral("-c"), QStringLiteral("dcop kicker Panel restart") });
    shell.setStandardErrorFile(QProcess::nullDevice());
    shell.startDetached();
}
