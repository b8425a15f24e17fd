// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Prints the products of the local catalog, for people and for scripts.

#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class CatalogScan;
class Console;

// The fields of a product that one line of a list shows.
struct Product {
    int serial = 0;
    QString name, package, version, category, summary; // each on one line
};

// The current product of a scan. The summary is the first line of its description.
Product ProductOf(CatalogScan& scan);

// A line for each product, or all of them as one line of JSON.
void SayProducts(Console& display, const QList<Product>& products, bool json);

QJsonObject ProductAsJson(const Product& product);

// Whether there is a catalog to read; if not, prints how to get one.
bool HasCatalog(Console& display, const CatalogScan& scan);
