// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The library's texts in the language of the user: from its own catalogs, unless the host has a
// translator that knows them.

#include "tests/common/locales.h"
#include "tests/host/shouting.h"

#include <KLocalizedString>
#include <Pakmart/Error>
#include <Pakmart/Plan>
#include <QtTest>
#include <clocale>
#include <vantrelagent/request/agenterror.h>

using namespace Pakmart;

class HostLanguagesTest : public QObject
{
    Q_OBJECT

private:
    PlanRow m_row;

private slots:
    void initTestCase()
    {
        qputenv("XDG_DATA_DIRS", CATALOGS ":/usr/share");
        // In C.UTF-8, the C library of Debian 13 translates nothing.
        const QString folder = QString::fromLocal8Bit(qgetenv("TEST_DIR"));
        QVERIFY(MakeLocale(folder, QStringLiteral("en_US.UTF-8")));
        qputenv("LOCPATH", folder.toLocal8Bit());
        QVERIFY(std::setlocale(LC_MESSAGES, "en_US.UTF-8"));
        m_row.reason = PlanRow::NeededBy;
        m_row.because = QStringLiteral("a%2b");
    }
    void init() { KLocalizedString::setLanguages({ QStringLiteral("de") }); }

    void textsComeFromTheCatalogs()
    {
        QCOMPARE(Error::sentence(Error::NotInstalled),
                 QStringLiteral("Das Paket ist nicht installiert."));
        QCOMPARE(Error::sentence(Error::NoError), QString());
    }
    void sentencesOfRequestsToo()
    {
        QCOMPARE(AgentError::Sentence(AgentError::ServerUnreachable),
                 QStringLiteral("Der Server des Ladens ist nicht erreichbar."));
        QCOMPARE(AgentError::Sentence(AgentError::NoFailure), QString());
        KLocalizedString::setLanguages({ QStringLiteral("eo") });
        QCOMPARE(AgentError::Sentence(AgentError::ServerUnreachable),
                 QStringLiteral("The store server cannot be reached."));
    }
    void argumentsAreFilledInAfterwards()
    {
        QCOMPARE(m_row.reasonText(), QStringLiteral("von a%2b benötigt"));
    }
    void textsOfOthersAreTheirs()
    {
        const char* const text = "The package is not installed.";
        QCOMPARE(QCoreApplication::translate("Host", text), QLatin1String(text));
    }
    void theHostIsAskedFirst()
    {
        Shouting translator;
        QCoreApplication::installTranslator(&translator);
        QCOMPARE(m_row.reasonText(), QStringLiteral("NEEDED BY a%2b"));
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(m_row.reasonText(), QStringLiteral("von a%2b benötigt"));
    }
    void otherLanguagesAreInEnglish()
    {
        for (const char* language : { "en_US", "eo" }) {
            KLocalizedString::setLanguages({ QLatin1String(language) });
            QCOMPARE(m_row.reasonText(), QStringLiteral("needed by a%2b"));
            QCOMPARE(Error::sentence(Error::NotInstalled),
                     QStringLiteral("The package is not installed."));
        }
    }
};

QTEST_GUILESS_MAIN(HostLanguagesTest)
#include "tst_hostlanguages.moc"
