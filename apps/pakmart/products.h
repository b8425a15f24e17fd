// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Prints the products of the local catalog, for people and for scripts.

#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace Agent
{
class CatalogScan;
class DpkgStatus;
} // namespace Agent
class Console;

// The fields of a product that one line of a list shows.
struct Product {
    int serial = 0;
    int record = 0; // in the catalog that it was read from
    QString name, package, version, category, summary; // each on one line
};

// The current product of a scan. The summary is the first line of its description.
Product ProductOf(Agent::CatalogScan& scan);

// A line for each product; or all of them as JSON. Those that are installed are marked.
void SayProducts(Console& display, const QList<Product>& products);

// "installed", "upgradable" (the catalog has a newer version), or empty.
QString StateOf(const Product& product, const Agent::DpkgStatus& packages);

QJsonObject ProductAsJson(const Product& product);

// Whether there is a catalog to read; if not, prints how to get one.
bool HasCatalog(Console& display, const Agent::CatalogScan& scan);
