// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/cdlginstallcomplete.h"

#include "install/crun.h"
#include "support/ctracer.h"
#include "util/paths.h"
#include "util/standardoutput.h"
#include "util/translated.h"

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
    for (const QString& label :
         { Translated("Details"), Translated("Run It!"), Translated("Close") })
        widest = std::max(widest, font.horizontalAdvance(label));
    return std::max({ 1.0, (widest + 10) / 70.0, (font.height() + 8) / 32.0 });
}

} // namespace

class CDlgInstallComplete::Private
{
public:
    QPlainTextEdit* m_pEditBox = nullptr; // read-only
    QPushButton* m_pBtnClose = nullptr;
    QPushButton* m_pBtnDetails = nullptr;
    QPushButton* m_pBtnRun = nullptr;
    PackageNameArray m_log;
    QString m_program;
    double m_scale = 1; // of the unscaled geometry
};

CDlgInstallComplete::CDlgInstallComplete(QWidget* parent, const char* name, const char* text,
                                         PackageNameArray log, bool success, const QString& program)
    : QDialog(parent), d(std::make_unique<Private>())
{
    CTracer tracer("CDlgInstallComplete::CDlgInstallComplete");
    d->m_log = std::move(log);
    d->m_program = program;
    setObjectName(QString::fromUtf8(name));
    setProperty("succeeded", success);
    setModal(true);
    d->m_scale = ScaleFor(*this);
    setFixedSize(Scaled(QRect(0, 0, 370, 220)).size());
    setWindowTitle(success ? Translated("Pakmart - Installation Success")
                           : Translated("Pakmart - Installation Failure"));

    d->m_pEditBox = new QPlainTextEdit(this);
    d->m_pEditBox->setGeometry(Scaled(QRect(10, 10, 350, 158)));
    d->m_pEditBox->setReadOnly(true);
    d->m_pEditBox->setPlainText(QString::fromUtf8(text));
    d->m_pBtnDetails = MakeButton(Translated("Details"), 10);
    d->m_pBtnRun = MakeButton(Translated("Run It!"), 210);
    d->m_pBtnClose = MakeButton(Translated("Close"), 290);
    connect(d->m_pBtnClose, &QPushButton::clicked, this, &CDlgInstallComplete::onClose);
    connect(d->m_pBtnDetails, &QPushButton::clicked, this, &CDlgInstallComplete::onDetails);
    connect(d->m_pBtnRun, &QPushButton::clicked, this, &CDlgInstallComplete::onRun);

    d->m_pBtnDetails->setHidden(d->m_log.empty());
    d->m_pBtnRun->setObjectName(QStringLiteral("run"));
    d->m_pBtnRun->setHidden(!success || d->m_program.isEmpty());
}

CDlgInstallComplete::~CDlgInstallComplete() = default;

QString CDlgInstallComplete::Program() const
{
    return d->m_program;
}

QPushButton* CDlgInstallComplete::MakeButton(const QString& label, int x)
{
    auto* button = new QPushButton(label, this);
    button->setGeometry(Scaled(QRect(x, 178, 70, 32)));
    return button;
}

QRect CDlgInstallComplete::Scaled(const QRect& plain) const
{
    const auto scaled = [this](int length) { return qRound(length * d->m_scale); };
    return { scaled(plain.x()), scaled(plain.y()), scaled(plain.width()), scaled(plain.height()) };
}

void CDlgInstallComplete::onDetails()
{
    CTracer tracer("CDlgInstallComplete::onDetails");
    std::string log;
    for (const std::string& line : d->m_log)
        log += line + '\n';
    d->m_pEditBox->setPlainText(d->m_pEditBox->toPlainText() + Translated("\n\nInstallation Log\n")
                                + QString::fromStdString(log));
    d->m_pBtnDetails->setEnabled(false);
}

void CDlgInstallComplete::onRun()
{
    CTracer tracer("CDlgInstallComplete::onRun");
    WriteLine(d->m_program);
    CRun(SystemPath(d->m_program), QString(), false).Run();
}

void CDlgInstallComplete::onClose()
{
    CTracer tracer("CDlgInstallComplete::onClose");
    WriteLine(QStringLiteral("onClose"));
    accept();
}
