// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/cdlginstallcomplete.h"

#include "install/crun.h"
#include "support/ctracer.h"
#include "util/diagnostics.h"
#include "util/paths.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <algorithm>
#include <utility>

using namespace Agent;

namespace
{

// The unscaled geometry is made for the usual font. If the labels of the buttons need more
// room (a larger font, a high-resolution display), the whole box grows with them.
double ScaleFor(const QWidget& box)
{
    const QFontMetrics font(box.font());
    int widest = 0;
    for (const char* label : { "Details", "Run It!", "Close" })
        widest = std::max(widest, font.horizontalAdvance(QLatin1String(label)));
    return std::max({ 1.0, (widest + 10) / 70.0, (font.height() + 8) / 32.0 });
}

} // namespace

CDlgInstallComplete::CDlgInstallComplete(QWidget* parent, const char* name, const char* text,
                                         PackageNameArray log, bool success, const QString& program)
    : QDialog(parent), m_log(std::move(log)), m_program(program)
{
    CTracer tracer("CDlgInstallComplete::CDlgInstallComplete");
    setObjectName(QString::fromUtf8(name));
    setModal(true);
    m_scale = ScaleFor(*this);
    setFixedSize(Scaled(QRect(0, 0, 370, 220)).size());
    setWindowTitle(success ? QStringLiteral("Pakmart - Installation Success")
                           : QStringLiteral("Pakmart - Installation Failure"));

    m_pEditBox = new QPlainTextEdit(this);
    m_pEditBox->setGeometry(Scaled(QRect(10, 10, 350, 158)));
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
    button->setGeometry(Scaled(QRect(x, 178, 70, 32)));
    return button;
}

QRect CDlgInstallComplete::Scaled(const QRect& plain) const
{
    const auto scaled = [this](int length) { return qRound(length * m_scale); };
    return { scaled(plain.x()), scaled(plain.y()), scaled(plain.width()), scaled(plain.height()) };
}

void CDlgInstallComplete::onDetails()
{
    CTracer tracer("CDlgInstallComplete::onDetails");
    std::string log;
    for (const std::string& line : m_log)
        log += line + '\n';
    m_pEditBox->setPlainText(m_pEditBox->toPlainText() + QLatin1String("\n\nInstallation Log\n")
                             + QString::fromStdString(log));
    m_pBtnDetails->setEnabled(false);
}

void CDlgInstallComplete::onRun()
{
    CTracer tracer("CDlgInstallComplete::onRun");
    WriteLine(m_program);
    CRun(SystemPath(m_program), QString(), false).Run();
}

void CDlgInstallComplete::onClose()
{
    CTracer tracer("CDlgInstallComplete::onClose");
    WriteLine(QStringLiteral("onClose"));
    accept();
}
