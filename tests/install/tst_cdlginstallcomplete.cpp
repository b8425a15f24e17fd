// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The box that shows how an install ended.

#include "install/cdlginstallcomplete.h"
#include "tests/common/observe.h"

#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QtTest>
#include <csignal>
#include <sys/wait.h>

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

    void runDoesNotWaitForTheProgram()
    {
        QFile program(QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
                      + QStringLiteral("/usr/bin/slow"));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\necho $$ > $0.started\nexec sleep 20\n");
        program.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        program.close();
        CDlgInstallComplete dialog(nullptr, "d", "t", {}, true, QStringLiteral("/usr/bin/slow"));
        dialog.show();
        QElapsedTimer time;
        time.start();
        button(dialog, "Run It!")->click();
        QVERIFY(time.elapsed() < 10000);
        QFile started(program.fileName() + QStringLiteral(".started"));
        QTRY_VERIFY(started.exists() && started.size() > 1);
        QVERIFY(started.open(QIODevice::ReadOnly));
        const pid_t pid = started.readAll().trimmed().toInt();
        QCOMPARE(kill(pid, SIGTERM), 0);
        waitpid(pid, nullptr, 0);
    }

    // Every label fits into its button, and nothing overlaps or lies outside.
    void everythingFits()
    {
        CDlgInstallComplete dialog(nullptr, "d", "t", { "line" }, true,
                                   QStringLiteral("/bin/true"));
        dialog.show();
        QList<QRect> places;
        for (const QWidget* child :
             dialog.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            QVERIFY(dialog.rect().contains(child->geometry()));
            for (const QRect& other : std::as_const(places))
                QVERIFY(!child->geometry().intersects(other));
            places << child->geometry();
            const auto* push = qobject_cast<const QPushButton*>(child);
            if (!push)
                continue;
            const QFontMetrics font(push->font());
            QVERIFY(push->width() >= font.horizontalAdvance(push->text()) + 8);
            QVERIFY(push->height() >= font.height() + 6);
        }
        QCOMPARE(places.size(), 4);
    }
    void everythingFitsInALargeFont()
    {
        const QFont before = QApplication::font();
        for (const double factor : { 0.5, 1.5, 2.0, 4.0 }) {
            QFont font = before;
            font.setPointSizeF(before.pointSizeF() * factor);
            QApplication::setFont(font);
            everythingFits();
        }
        QApplication::setFont(before);
    }
    void everythingFitsOnOtherDisplays_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        for (const char* dpi : { "96", "144", "192" })
            QTest::addRow("%s dpi", dpi) << "QT_FONT_DPI" << QString::fromLatin1(dpi);
        for (const char* scale : { "1.5", "2" })
            QTest::addRow("scaled by %s", scale) << "QT_SCALE_FACTOR" << QString::fromLatin1(scale);
    }
    void everythingFitsOnOtherDisplays()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        QProcess other;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(variable, value);
        other.setProcessEnvironment(environment);
        other.start(QCoreApplication::applicationFilePath(), { QStringLiteral("everythingFits") });
        QVERIFY(other.waitForFinished(60000));
        QVERIFY2(other.exitCode() == 0, other.readAllStandardOutput().constData());
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
