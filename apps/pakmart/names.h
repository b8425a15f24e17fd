// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What a user may call a product: its serial number, its name, or the name of its package.

#pragma once

#include "products.h"

#include <Pakmart/Plan>
#include <QStringList>

class Console;

// Finds the products of the catalog that `names` mean, and sets `request` to them. A name that
// is in no catalog is taken for that of a package. False if a name means several products,
// which are listed, or cannot be one.
bool FindProducts(Console& console, const QStringList& names, Pakmart::Request& request);

// The packages that `names` mean. A package that is installed is preferred to a product of
// that name.
bool FindPackages(Console& console, const QStringList& names, QStringList& packages);

// The product that a name means; one with the number 0 after a complaint.
Product FindProduct(Console& console, const QString& name);

// Names like one that nothing has, the most similar first; for the user.
QStringList NearestNames(const QString& name);

// Complains about a name that nothing has.
void SayUnknown(Console& console, const QString& name);
