// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "storeelements.h"

namespace Pakmart
{

// As objects of QML, since an Aisle has its categories as a list of a type of its own.
QVariantList AislesElement::aisles() const
{
    QVariantList aisles;
    for (const Aisle& aisle : value(&AislesJob::aisles)) {
        QVariantList categories;
        for (const AisleCategory& category : aisle.categories)
            categories << QVariant::fromValue(category);
        aisles << QVariantMap{ { QStringLiteral("name"), aisle.name },
                               { QStringLiteral("description"), aisle.description },
                               { QStringLiteral("categories"), categories } };
    }
    return aisles;
}

} // namespace Pakmart
