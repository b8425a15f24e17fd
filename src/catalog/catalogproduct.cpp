// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/catalogproduct.h"

#include "util/number.h"
#include "util/pacer.h"
#include "util/urltext.h"

#include <QDomElement>
#include <QHash>

namespace Agent
{

namespace
{

using TextField = std::string CatalogProduct::*;
using NumberField = std::int32_t CatalogProduct::*;

std::string DecodedAttribute(const QDomElement& element, const char* name)
{
    return url_decode_utf8(element.attribute(QLatin1String(name)));
}

bool TakeText(CatalogProduct& product, const QDomElement& element)
{
    static const QHash<QString, TextField> fields{
        { QStringLiteral("packagename"), &CatalogProduct::packageName },
        { QStringLiteral("briefdescription"), &CatalogProduct::description },
        { QStringLiteral("version"), &CatalogProduct::version },
        { QStringLiteral("vendor"), &CatalogProduct::vendor },
        { QStringLiteral("copyright"), &CatalogProduct::copyright },
        { QStringLiteral("price"), &CatalogProduct::price },
        { QStringLiteral("releasedate"), &CatalogProduct::releaseDate },
        { QStringLiteral("reviewscore"), &CatalogProduct::reviewScore },
        { QStringLiteral("categoryranking"), &CatalogProduct::categoryRanking },
        { QStringLiteral("subcategoryranking"), &CatalogProduct::subCategoryRanking },
        { QStringLiteral("vantrelranking"), &CatalogProduct::vantrelRanking },
        { QStringLiteral("downloadURL"), &CatalogProduct::vantrelRanking },
        { QStringLiteral("applicationdetailURL"), &CatalogProduct::applicationURL },
        { QStringLiteral("authorpageURL"), &CatalogProduct::authorURL },
    };
    const auto field = fields.find(element.tagName());
    if (field == fields.end())
        return false;
    product.*field.value() = url_decode_utf8(element.text());
    return true;
}

bool TakeNumber(CatalogProduct& product, const QDomElement& element)
{
    static const QHash<QString, NumberField> fields{
        { QStringLiteral("serialnumber"), &CatalogProduct::serverSerialNumber },
        { QStringLiteral("downloads"), &CatalogProduct::downloads },
        { QStringLiteral("filesize"), &CatalogProduct::fileSize },
    };
    const auto field = fields.find(element.tagName());
    if (field == fields.end())
        return false;
    product.*field.value() = LeadingNumber(element.text().toStdString());
    return true;
}

void TakeElement(CatalogProduct& product, const QDomElement& element)
{
    if (TakeText(product, element) || TakeNumber(product, element))
        return;
    if (element.tagName() == QLatin1String("hidden")) {
        product.hidden = LeadingNumber(element.text().toStdString()) != 0;
    } else if (element.tagName() == QLatin1String("dependencies")) {
        for (QDomElement child = element.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement())
            product.dependencies.push_back(DecodedAttribute(child, "name"));
    }
}

// The next node in the order of the document, below `top`. Qt would make a list of the
// elements with one name at once, for all of a large category.
QDomNode NextBelow(const QDomNode& top, const QDomNode& node)
{
    if (node.hasChildNodes())
        return node.firstChild();
    for (QDomNode at = node; !at.isNull() && at != top; at = at.parentNode()) {
        const QDomNode next = at.nextSibling();
        if (!next.isNull())
            return next;
    }
    return QDomNode();
}

} // namespace

void ForEachCategory(const QDomElement& catalog, const std::function<void(QDomElement&)>& take)
{
    const QString tag = QStringLiteral("category");
    for (QDomElement category = catalog.firstChildElement(tag); !category.isNull();
         category = category.nextSiblingElement(tag))
        take(category);
}

void ForEachProduct(const QDomElement& category,
                    const std::function<void(const CatalogProduct&)>& take)
{
    CatalogProduct blank;
    blank.category = DecodedAttribute(category, "name");
    blank.categoryURL = DecodedAttribute(category, "home_page");
    // Of all categories: many have few products.
    static Pacer pacer;
    for (QDomNode node = NextBelow(category, category); !node.isNull();
         node = NextBelow(category, node)) {
        pacer.Breathe();
        const QDomElement element = node.toElement();
        if (element.tagName() != QLatin1String("product"))
            continue;
        CatalogProduct product = blank;
        product.name = DecodedAttribute(element, "name");
        for (QDomElement child = element.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement())
            TakeElement(product, child);
        take(product);
    }
}

} // namespace Agent
