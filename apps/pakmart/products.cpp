// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "products.h"

#include "console.h"
#include "layout.h"
#include "outcome.h"

#include <KLocalizedString>
#include <QJsonArray>
#include <algorithm>
#include <apt-pkg/debversion.h>
#include <vantrelagent/db/catalogscan.h>

using namespace Agent;

Product ProductOf(CatalogScan& scan)
{
    const auto line = [](const char* text) { return QString::fromUtf8(text).simplified(); };
    const std::string description = scan.Description();
    Product product;
    product.record = scan.RecordNumber();
    product.serial = scan.ServerSerialNumber();
    product.name = line(scan.Name());
    product.package = line(scan.PackageName());
    product.version = line(scan.Version());
    product.category = line(scan.Category());
    product.summary = line(description.substr(0, description.find('\n')).c_str());
    return product;
}

QJsonObject ProductAsJson(const Product& product)
{
    return { { QStringLiteral("serial"), product.serial },
             { QStringLiteral("name"), product.name },
             { QStringLiteral("package"), product.package },
             { QStringLiteral("version"), product.version },
             { QStringLiteral("category"), product.category },
             { QStringLiteral("summary"), product.summary } };
}

QString StateOf(const Product& product, const DpkgStatus& packages)
{
    const QString installed = InstalledVersion(packages, qUtf8Printable(product.package));
    if (installed.isNull())
        return QString();
    return debVS.CmpVersion(qUtf8Printable(installed), qUtf8Printable(product.version)) < 0
        ? QStringLiteral("upgradable")
        : QStringLiteral("installed");
}

namespace
{

// The states of StateOf() are for programs.
QString WordFor(const QString& state)
{
    return state == QLatin1String("upgradable") ? i18nc("state of a product", "upgradable")
                                                : i18nc("state of a product", "installed");
}

Color ColorOf(const QString& state)
{
    if (state.isEmpty())
        return Color::None;
    return state == QLatin1String("upgradable") ? Color::Notable : Color::Good;
}

} // namespace

void SayProducts(Console& display, const QList<Product>& products)
{
    const DpkgStatus packages = ReadDpkgStatus();
    QJsonArray all;
    int digits = 6;
    for (const Product& product : products)
        digits = std::max(digits, int(QString::number(product.serial).size()));
    for (const Product& product : products) {
        const QString state = StateOf(product, packages);
        const QString mark
            = state.isEmpty() ? QString() : QLatin1String(" [") + WordFor(state) + QLatin1Char(']');
        const QString summary
            = product.summary.isEmpty() ? QString() : QLatin1String(": ") + product.summary;
        display.Say(Fitted(QStringLiteral("%1  ").arg(product.serial, digits) + product.name + mark
                               + summary,
                           display.Width()),
                    ColorOf(state));
        QJsonObject object = ProductAsJson(product);
        object[QStringLiteral("state")] = state.isEmpty() ? QStringLiteral("available") : state;
        all << object;
    }
    display.SayJson(all);
}

bool HasCatalog(Console& display, const CatalogScan& scan)
{
    if (!scan)
        display.Complain(i18n("there is no catalog on this machine yet, or it cannot be "
                              "read: 'pakmart update' fetches it"));
    return bool(scan);
}
