// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What dpkg knows of packages: what they need, who needs them, and which are on hold.

#include "commands.h"
#include "console.h"
#include "names.h"
#include "outcome.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <fstream>
#include <vantrelagent/util/paths.h>

namespace
{

// The fields by which a package needs others, with the sentences for it.
struct Relation {
    const char* field;
    KLazyLocalizedString needs;
    KLazyLocalizedString neededBy;
};

const Relation relations[] = {
    { "Pre-Depends", kli18n("%1 needs %2"), kli18n("%1 is needed by %2") },
    { "Depends", kli18n("%1 needs %2"), kli18n("%1 is needed by %2") },
    { "Recommends", kli18n("%1 recommends %2"), kli18n("%1 is recommended by %2") },
};

// The stanzas of the packages that are not gone, by their names.
QMap<QString, Agent::StatusStanza> ReadStanzas()
{
    QMap<QString, Agent::StatusStanza> stanzas;
    const DpkgStatus status = ReadDpkgStatus();
    std::ifstream file(Agent::SystemPath(std::string("/var/lib/dpkg/status")));
    for (Agent::StatusStanza stanza; stanza.Read(file);) {
        const std::string key = stanza.Key();
        if (!key.empty() && !status.Of(key).IsGone())
            stanzas[QString::fromStdString(key)] = stanza;
    }
    return stanzas;
}

QString Field(const Agent::StatusStanza& stanza, const char* name)
{
    return QString::fromStdString(stanza.Field(name)).simplified();
}

// The names in "a (>= 1) | b:any".
QStringList NamesIn(const QString& alternatives)
{
    QStringList names;
    for (const QString& one : alternatives.split(QLatin1Char('|'))) {
        static const QRegularExpression end(QStringLiteral("[ :(\\[]"));
        names << one.trimmed().section(end, 0, 0);
    }
    return names;
}

// A package is also present as what it provides.
QStringList NamesOf(const QString& package, const Agent::StatusStanza& stanza)
{
    QStringList names{ package };
    for (const QString& one : Field(stanza, "Provides").split(QLatin1Char(','), Qt::SkipEmptyParts))
        names += NamesIn(one);
    return names;
}

// Whether a package needs one of `names`.
bool Needs(const Agent::StatusStanza& stanza, const Relation& relation, const QStringList& names)
{
    const QStringList all = Field(stanza, relation.field).split(QLatin1Char(','));
    for (const QString& alternatives : all) {
        for (const QString& name : NamesIn(alternatives)) {
            if (!name.isEmpty() && names.contains(name))
                return true;
        }
    }
    return false;
}

// Says something about each package, as `about` finds it.
template <typename About>
int ForInstalled(Console& console, const QStringList& names, const About& about)
{
    QStringList packages;
    if (!FindPackages(console, names, packages))
        return ExitFailed;
    const auto stanzas = ReadStanzas();
    int status = ExitDone;
    QJsonArray all;
    for (const QString& package : packages) {
        if (!stanzas.contains(package)) {
            console.Fail(QStringLiteral("not-installed"), i18n("%1 is not installed", package));
            SayUnknown(console, package);
            status = ExitFailed;
            continue;
        }
        all << about(package, stanzas);
    }
    if (status == ExitDone)
        console.SayJson(all);
    return status;
}

} // namespace

int DependsCommand(Console& console, const QStringList& names)
{
    return ForInstalled(console, names, [&console](const QString& package, const auto& stanzas) {
        QJsonArray list;
        for (const Relation& relation : relations) {
            const QString text = Field(stanzas[package], relation.field);
            for (const QString& one : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
                console.SayText(relation.needs.subs(package).subs(one.trimmed()).toString());
                list << QJsonObject{ { QStringLiteral("relation"), QLatin1String(relation.field) },
                                     { QStringLiteral("on"), one.trimmed() } };
            }
        }
        if (list.isEmpty())
            console.SayText(i18n("%1 needs nothing.", package));
        return QJsonObject{ { QStringLiteral("package"), package },
                            { QStringLiteral("depends"), list } };
    });
}

int WhyCommand(Console& console, const QStringList& names)
{
    return ForInstalled(console, names, [&console](const QString& package, const auto& stanzas) {
        const QStringList wanted = NamesOf(package, stanzas[package]);
        QJsonArray list;
        for (const Relation& relation : relations) {
            for (auto at = stanzas.begin(); at != stanzas.end(); ++at) {
                if (at.key() == package || !Needs(at.value(), relation, wanted))
                    continue;
                console.SayText(relation.neededBy.subs(package).subs(at.key()).toString());
                list << QJsonObject{ { QStringLiteral("relation"), QLatin1String(relation.field) },
                                     { QStringLiteral("package"), at.key() } };
            }
        }
        if (list.isEmpty())
            console.SayText(i18n("No installed package needs %1.", package));
        return QJsonObject{ { QStringLiteral("package"), package },
                            { QStringLiteral("neededBy"), list } };
    });
}

int HoldCommand(Console& console, const QStringList& names, bool hold)
{
    QStringList packages;
    if (!FindPackages(console, names, packages))
        return ExitFailed;
    const DpkgStatus before = ReadDpkgStatus();
    QByteArray input;
    for (const QString& package : packages) {
        if (before.Of(package.toStdString()).IsGone()) {
            console.Fail(QStringLiteral("not-installed"), i18n("%1 is not installed", package));
            SayUnknown(console, package);
            return ExitFailed;
        }
        input += package.toUtf8() + (hold ? " hold\n" : " install\n");
    }
    QProcess dpkg;
    dpkg.setProcessChannelMode(QProcess::MergedChannels);
    dpkg.start(Agent::SystemPath(QStringLiteral("/usr/bin/dpkg")),
               { QStringLiteral("--set-selections") });
    dpkg.write(input);
    dpkg.closeWriteChannel();
    dpkg.waitForFinished(-1);
    const DpkgStatus now = ReadDpkgStatus();
    for (const QString& package : packages) {
        if (now.Of(package.toStdString()).want == (hold ? "hold" : "install"))
            continue;
        console.Fail(QStringLiteral("tools-failed"),
                     i18n("the selection of %1 could not be changed", package),
                     QString::fromLocal8Bit(dpkg.readAll()));
        return ExitFailed;
    }
    for (const QString& package : packages)
        console.SayText(hold ? i18n("%1 is on hold.", package)
                             : i18n("%1 is not on hold any more.", package));
    console.SayJson(QJsonArray::fromStringList(packages));
    return ExitDone;
}
