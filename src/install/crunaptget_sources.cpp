// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Refreshing the sources. The one place where the runner makes a request, whose
// class itself uses the runner.

#include "install/capigetsourceslist.h"
#include "install/crun.h"
#include "install/crunaptget.h"
#include "util/paths.h"

#include <QDialog>
#include <QLabel>
#include <QTimer>
#include <algorithm>

namespace
{

const char* const SettingUp = "Setting up Pakmart\nPlease wait\n";

QString Blanks(int n)
{
    return QString(2 * std::max(n - 1, 0) + n % 2, QLatin1Char(' '));
}

// Two brackets that move apart, cross over and close in again.
QString Marker(int counter)
{
    if (counter < 11)
        return QLatin1Char('<') + Blanks(counter) + QLatin1Char('>');
    return QLatin1Char('>') + Blanks(19 - counter) + QLatin1Char('<');
}

} // namespace

bool CRunAptGet::checkSources(bool)
{
    auto* request = new CAPIGetSourcesList(false, true);
    connect(request, SIGNAL(signalSourcesListModified(bool)), this, SLOT(onRunAptGetUpdate(bool)));
    request->Execute();
    return true;
}

void CRunAptGet::update(bool deps)
{
    checkSources(deps);
}

void CRunAptGet::onRunAptGetUpdate(bool deps)
{
    QTimer timer;
    timer.setObjectName(QStringLiteral("tmrTimer"));
    QDialog dialog(nullptr);
    dialog.setSizeGripEnabled(false);
    dialog.setFixedSize(337, 80);
    dialog.setWindowTitle(QStringLiteral("Setting up Pakmart"));
    QLabel label(&dialog);
    label.setGeometry(0, 0, dialog.width(), dialog.height() - 23);
    label.setText(QLatin1String(SettingUp));
    label.setIndent(10);
    label.setAlignment(Qt::AlignCenter);
    label.show();
    m_pUpdateDialog = &dialog;
    m_pUpdateLabel = &label;
    connect(&timer, SIGNAL(timeout()), this, SLOT(onAptGetUpdateTimer()));
    timer.start(100);
    dialog.show();

    CRun(SystemPath(QStringLiteral("/usr/bin/vos-apt-get")),
         QString::fromStdString("update" + AptGetOptions(deps)), true)
        .Run();

    timer.stop();
    dialog.hide();
    m_pUpdateLabel = nullptr;
    m_pUpdateDialog = nullptr;
}

void CRunAptGet::onAptGetUpdateTimer()
{
    static int counter = 0;
    if (!m_pUpdateLabel)
        return;
    counter = (counter + 1) % 20;
    m_pUpdateLabel->setText(QLatin1String(SettingUp) + Marker(counter));
}
