// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/catalogproduct.h"

#include "base/text.h"
#include "db/ccatalogfile.h"
#include "db/productfields.h"
#include "request/replynode.h"
#include "util/eventwait.h"
#include "util/logdb.h"
#include "util/urltext.h"

#include <QDomElement>
#include <QHash>

namespace Agent
{

namespace
{

// What is read of an element, of a document or of a piece.

QString NameOf(const QDomElement& element)
{
    return element.tagName();
}

QString TextOf(const QDomElement& element)
{
    return element.text();
}

std::string DecodedAttribute(const QDomElement& element, const char* name)
{
    return url_decode_utf8(element.attribute(QLatin1String(name)));
}

template <typename Take> void ForEachChild(const QDomElement& element, const Take& take)
{
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement())
        take(child);
}

QString NameOf(const ReplyNode& element)
{
    return element.words;
}

QString TextOf(const ReplyNode& element)
{
    return element.Text();
}

std::string DecodedAttribute(const ReplyNode& element, const char* name)
{
    return url_decode_utf8(element.Attribute(QLatin1String(name)));
}

template <typename Take> void ForEachChild(const ReplyNode& element, const Take& take)
{
    for (const ReplyNode& child : element.children)
        if (child.IsElement())
            take(child);
}

const QHash<QString, const ProductField*>& FieldsByElement()
{
    static const auto fields = [] {
        // The download address has the place of the ranking.
        QHash<QString, const ProductField*> all{ { QStringLiteral("downloadURL"),
                                                   &Catalog::FieldOf("ranking") } };
        for (const ProductField& field : Catalog::fields)
            if (field.element)
                all[QLatin1String(field.element)] = &field;
        return all;
    }();
    return fields;
}

// Texts are URL-encoded, numbers are not.
template <typename Element> void TakeElement(CatalogProduct& product, const Element& element)
{
    const QString tag = NameOf(element);
    if (const ProductField* const field = FieldsByElement().value(tag))
        product.Set(*field,
                    field->kind == ProductRecord::Kind::Text ? url_decode_utf8(TextOf(element))
                                                             : TextOf(element).toStdString());
    else if (tag == QLatin1String("briefdescription"))
        product.description = url_decode_utf8(TextOf(element));
    else if (tag == QLatin1String("dependencies"))
        ForEachChild(element, [&product](const Element& child) {
            product.dependencies.push_back(DecodedAttribute(child, "name"));
        });
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

// Takes an element if it is a product.
template <typename Element>
void TakeProduct(const Element& element, const CatalogProduct& blank,
                 const std::function<void(const CatalogProduct&)>& take)
{
    if (NameOf(element) != QLatin1String("product"))
        return;
    CatalogProduct product = blank;
    product.Set(Catalog::FieldOf("name"), DecodedAttribute(element, "name"));
    ForEachChild(element, [&product](const Element& child) { TakeElement(product, child); });
    take(product);
}

template <typename Element> CatalogProduct BlankOf(const Element& category)
{
    CatalogProduct blank;
    blank.Set(Catalog::FieldOf("category"), DecodedAttribute(category, "name"));
    blank.Set(Catalog::FieldOf("categoryPage"), DecodedAttribute(category, "home_page"));
    return blank;
}

} // namespace

void CatalogProduct::Set(const ProductField& field, const std::string& text)
{
    std::uint8_t* const at = m_record.data() + field.place.offset;
    switch (field.kind) {
    case Kind::Text:
        SetText(m_record.data(), field.place, text.c_str());
        break;
    case Kind::Flag:
        *at = LeadingNumber(text) != 0;
        break;
    default:
        PutInt32(at, LeadingNumber(text));
    }
}

void ForEachCategory(const QDomElement& catalog, const std::function<void(QDomElement&)>& take)
{
    const QString tag = QStringLiteral("category");
    for (QDomElement category = catalog.firstChildElement(tag); !category.isNull();
         category = category.nextSiblingElement(tag))
        take(category);
}

CatalogProduct BlankProduct(const ReplyNode& category)
{
    return BlankOf(category);
}

// Recursive: the gate limits the depth.
void ForEachProductIn(const ReplyNode& element, const CatalogProduct& blank,
                      const std::function<void(const CatalogProduct&)>& take)
{
    TakeProduct(element, blank, take);
    ForEachChild(element, [&](const ReplyNode& child) { ForEachProductIn(child, blank, take); });
}

void ForEachProduct(const QDomElement& category,
                    const std::function<void(const CatalogProduct&)>& take)
{
    const CatalogProduct blank = BlankOf(category);
    // Of all categories: many have few products.
    static Pacer pacer;
    for (QDomNode node = NextBelow(category, category); !node.isNull();
         node = NextBelow(category, node)) {
        pacer.Breathe();
        TakeProduct(node.toElement(), blank, take);
    }
}

void RecordProduct(const CatalogProduct& product, CCatalogFile& file)
{
    file.AddNew();
    file.setFields(product);
    file.setDescription(QString::fromStdString(product.description));
    for (const std::string& name : product.dependencies)
        file.AddDependency(name.c_str());
    // An index refuses the second product of a package, which is then stored in part.
    if (!file.SaveRecord())
        qCInfo(logDb, "product %d is not whole: an index refuses it, or it cannot be written",
               int(product.ServerSerialNumber()));
}

} // namespace Agent
