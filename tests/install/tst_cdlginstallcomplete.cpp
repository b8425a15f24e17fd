// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The box that tells how an install ended.

#include "install/cdlginstallcomplete.h"
#include "tests/common/observe.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

class DialogTest : public QObject
{
    Q_OBJECT

private:
    static QPushButton* button(const CDlgInstallComplete& dialog, const char* label)
    {
        for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
            if (candidate->text() == QLatin1String(label))
                return candidate;
        }
        return nullptr;
    }

private slots:
    void layoutOfASuccess()
    {
        CDlgInstallComplete dialog(nullptr, "pDlgInstall", "all w\xC3\xA4ll", { "line" }, true,
                                   QStringLiteral("/bin/true"));
        dialog.show();
        QCOMPARE(dialog.objectName(), QStringLiteral("pDlgInstall"));
        QVERIFY(dialog.isModal());
        QCOMPARE(dialog.minimumSize(), QSize(370, 220));
        QCOMPARE(dialog.maximumSize(), QSize(370, 220));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Pakmart - Installation Success"));
        auto* edit = dialog.findChild<QPlainTextEdit*>();
        QCOMPARE(edit->geometry(), QRect(10, 10, 350, 158));
        QCOMPARE(edit->toPlainText(), QString::fromUtf8("all w\xC3\xA4ll"));
        QVERIFY(edit->isReadOnly());
        QCOMPARE(button(dialog, "Details")->geometry(), QRect(10, 178, 70, 32));
        QCOMPARE(button(dialog, "Run It!")->geometry(), QRect(210, 178, 70, 32));
        QCOMPARE(button(dialog, "Close")->geometry(), QRect(290, 178, 70, 32));
        for (const char* label : { "Details", "Run It!", "Close" })
            QVERIFY2(button(dialog, label)->isVisible(), label);
    }

    void failureOffersNothingToRun()
    {
        CDlgInstallComplete dialog(nullptr, "d", "t", {}, false, QStringLiteral("/bin/true"));
        dialog.show();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Pakmart - Installation Failure"));
        QVERIFY(!button(dialog, "Run It!")->isVisible());
        QVERIFY(!button(dialog, "Details")->isVisible());
    }

    void successWithoutAProgramOffersNothingToRun()
    {
        CDlgInstallComplete dialog(nullptr, "d", "t", {}, true, QString());
        dialog.show();
        QVERIFY(!button(dialog, "Run It!")->isVisible());
    }

    void detailsAddTheLogOnce()
    {
        CDlgInstallComplete dialog(nullptr, "d", "text", { "one", "two" }, false, QString());
        dialog.show();
        button(dialog, "Details")->click();
        button(dialog, "Details")->click();
        QCOMPARE(dialog.findChild<QPlainTextEdit*>()->toPlainText(),
                 QStringLiteral("text\n\nInstallation Log\none\ntwo\n"));
        QVERIFY(!button(dialog, "Details")->isEnabled());
    }

    void runStartsTheProgramAndStaysOpen()
    {
        const QString root = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"));
        QFile program(root + QStringLiteral("/usr/bin/program"));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\ntouch \"$0.ran\"\n");
        program.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        program.close();
        CDlgInstallComplete dialog(nullptr, "d", "t", {}, true, QStringLiteral("/usr/bin/program"));
        dialog.show();
        const StandardOutput output;
        button(dialog, "Run It!")->click();
        QTRY_VERIFY(QFile::exists(program.fileName() + QStringLiteral(".ran")));
        QVERIFY(output.lines().contains(QStringLiteral("/usr/bin/program")));
        QVERIFY(dialog.isVisible());
    }

    void closeAccepts()
    {
        CDlgInstallComplete dialog(nullptr, "d", "t", {}, true, QString());
        dialog.show();
        const StandardOutput output;
        button(dialog, "Close")->click();
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(output.lines().contains(QStringLiteral("onClose")));
    }
};

QTEST_MAIN(DialogTest)
#include "tst_cdlginstallcomplete.moc"
