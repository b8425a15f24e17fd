// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/cdlginstallcomplete.h"

#include "install/crun.h"
#include "util/output.h"
#include "util/paths.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <utility>

CDlgInstallComplete::CDlgInstallComplete(QWidget* parent, const char* name, const char* text,
                                         PackageNameArray log, bool success, const QString& program)
    : QDialog(parent), m_log(std::move(log)), m_program(program)
{
    setObjectName(QString::fromUtf8(name));
    setModal(true);
    setFixedSize(370, 220);
    setWindowTitle(success ? QStringLiteral("Pakmart - Installation Success")
                           : QStringLiteral("Pakmart - Installation Failure"));

    m_pEditBox = new QPlainTextEdit(this);
    m_pEditBox->setGeometry(10, 10, 350, 158);
    m_pEditBox->setReadOnly(true);
    m_pEditBox->setPlainText(QString::fromUtf8(text));
    m_pBtnDetails = MakeButton(QStringLiteral("Details"), 10);
    m_pBtnRun = MakeButton(QStringLiteral("Run It!"), 210);
    m_pBtnClose = MakeButton(QStringLiteral("Close"), 290);
    connect(m_pBtnClose, &QPushButton::clicked, this, &CDlgInstallComplete::onClose);
    connect(m_pBtnDetails, &QPushButton::clicked, this, &CDlgInstallComplete::onDetails);
    connect(m_pBtnRun, &QPushButton::clicked, this, &CDlgInstallComplete::onRun);

    m_pBtnDetails->setHidden(m_log.empty());
    m_pBtnRun->setHidden(!success || m_program.isEmpty());
}

QPushButton* CDlgInstallComplete::MakeButton(const QString& label, int x)
{
    auto* button = new QPushButton(label, this);
    button->setGeometry(x, 178, 70, 32);
    return button;
}

void CDlgInstallComplete::onDetails()
{
    std::string log;
    for (const std::string& line : m_log)
        log += line + '\n';
    m_pEditBox->setPlainText(m_pEditBox->toPlainText() + QLatin1String("\n\nInstallation Log\n")
                             + QString::fromStdString(log));
    m_pBtnDetails->setEnabled(false);
}

void CDlgInstallComplete::onRun()
{
    WriteLine(m_program);
    CRun(SystemPath(m_program), QString(), false).Run();
}

void CDlgInstallComplete::onClose()
{
    WriteLine(QStringLiteral("onClose"));
    accept();
}
