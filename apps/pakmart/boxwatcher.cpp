// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "boxwatcher.h"

#include "console.h"

#include <KLocalizedString>
#include <Pakmart/OpenJob>
#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QStringList>
#include <QTimer>
#include <vantrelagent/install/cdlginstallcomplete.h>

BoxWatcher::BoxWatcher(Console& display, bool shown, const QString& pictures)
    : m_display(display), m_shown(shown), m_pictures(pictures)
{
    qApp->installEventFilter(this);
}

bool BoxWatcher::eventFilter(QObject* watched, QEvent* event)
{
    auto* box = event->type() == QEvent::Show ? qobject_cast<QDialog*>(watched) : nullptr;
    if (box) {
        // After the box is drawn, and in the box's own event loop if it has one.
        QTimer::singleShot(0, box, [this, box] { Look(box); });
    }
    return false;
}

// The library has three kinds of boxes: the one after an install, modal messages, which are
// errors, and the box during a refresh, which closes by itself.
void BoxWatcher::Look(QDialog* box)
{
    const QPointer<QDialog> alive(box);
    if (auto* report = qobject_cast<CDlgInstallComplete*>(box)) {
        const bool failed = !box->property("succeeded").toBool();
        ReadOut(box->findChild<QPlainTextEdit*>()->toPlainText(), failed);
        Guard(report);
        Picture(box, failed ? "failure" : "success");
        if (!m_pictures.isEmpty() && !failed) {
            report->onDetails();
            auto* edit = box->findChild<QPlainTextEdit*>();
            edit->moveCursor(QTextCursor::End);
            edit->find(QStringLiteral("Installation Log"), QTextDocument::FindBackward);
            edit->centerCursor();
            Picture(box, "success-log");
        }
    } else if (box->isModal()) {
        QStringList texts;
        for (const QLabel* label : box->findChildren<QLabel*>()) {
            if (!label->text().isEmpty())
                texts << label->text();
        }
        ReadOut(texts.join(QLatin1Char('\n')), true);
        Picture(box, "message");
    } else {
        Picture(box, "setting-up");
        return;
    }
    if (!m_shown && alive)
        box->reject();
}

// "Run It!" starts nothing else than a program of what was installed.
void BoxWatcher::Guard(CDlgInstallComplete* report)
{
    const QString program = report->Program();
    if (program.isEmpty() || Pakmart::OpenJob::isProgramOf(m_products, program))
        return;
    report->findChild<QPushButton*>(QStringLiteral("run"))->setEnabled(false);
    m_display.Complain(
        i18n("'Run It!' is switched off: no package of this product has the program %1",
             program.simplified()));
}

void BoxWatcher::ReadOut(const QString& text, bool error)
{
    m_errors += error ? 1 : 0;
    if (m_shown)
        return;
    if (error)
        m_display.Complain(text);
    else
        m_display.SayText(text.trimmed());
}

void BoxWatcher::Picture(QDialog* box, const char* name)
{
    if (m_pictures.isEmpty())
        return;
    const QString file
        = m_pictures + QLatin1Char('/') + QLatin1String(name) + QLatin1String(".png");
    if (!box->grab().save(file))
        m_display.Complain(i18n("cannot write the picture %1", file));
}
