// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products of the catalog on this machine, as a person and a script read them.

#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class CatalogScan;
class Console;

// What a line of a list tells of a product.
struct Product {
    int serial = 0;
    QString name, package, version, category, summary; // each on one line
};

// The product on which a scan stands. The summary is the first line of its description.
Product ProductOf(CatalogScan& scan);

// A line for each product, or all of them as one line of JSON.
void SayProducts(Console& display, const QList<Product>& products, bool json);

QJsonObject ProductAsJson(const Product& product);

// Whether there is a catalog to read; where there is none, tells how to get one.
bool HasCatalog(Console& display, const CatalogScan& scan);
