// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/jobtitle.h"

#include "util/showntext.h"

#include <QCoreApplication>

namespace Pakmart
{

namespace
{

constexpr int mostNames = 3; // more do not fit a line

// What a request is about; empty if it names nothing.
QString SubjectOf(const Request& request, const QList<PlanProduct>& products)
{
    QStringList names;
    for (const PlanProduct& product : products)
        names << (product.name.isEmpty() ? product.package : product.name);
    if (names.isEmpty())
        names = request.packages;
    if (names.isEmpty())
        for (const int serial : request.products)
            names << QCoreApplication::translate("Pakmart", "product %1").arg(serial);
    const QString ending = names.size() > mostNames ? QStringLiteral(", ...") : QString();
    return Agent::ShownLine(QStringList(names.mid(0, mostNames)).join(QStringLiteral(", ")))
        + ending;
}

QString TitleWith(Request::Kind kind, const QString& subject)
{
    switch (kind) {
    case Request::Install:
        return QCoreApplication::translate("Pakmart", "Install %1").arg(subject);
    case Request::Remove:
        return QCoreApplication::translate("Pakmart", "Remove %1").arg(subject);
    case Request::Upgrade:
        return QCoreApplication::translate("Pakmart", "Upgrade %1").arg(subject);
    case Request::Reinstall:
        return QCoreApplication::translate("Pakmart", "Reinstall %1").arg(subject);
    default:
        return QCoreApplication::translate("Pakmart", "Change %1").arg(subject);
    }
}

} // namespace

QString TitleOf(const Request& request, const QList<PlanProduct>& products)
{
    const QString subject = SubjectOf(request, products);
    switch (request.kind) {
    case Request::SystemUpdate:
        return QCoreApplication::translate("Pakmart", "Update the system");
    case Request::Repair:
        return QCoreApplication::translate("Pakmart", "Repair the installation");
    case Request::RemoveUnneeded:
        return QCoreApplication::translate("Pakmart", "Remove packages that are no longer needed");
    case Request::Upgrade:
        return subject.isEmpty() ? QCoreApplication::translate("Pakmart", "Upgrade all packages")
                                 : TitleWith(request.kind, subject);
    default:
        return subject.isEmpty() ? QCoreApplication::translate("Pakmart", "Change packages")
                                 : TitleWith(request.kind, subject);
    }
}

QString TitleOfPreview(const Request& request, const QList<PlanProduct>& products)
{
    return QCoreApplication::translate("Pakmart", "Preview: %1").arg(TitleOf(request, products));
}

} // namespace Pakmart
