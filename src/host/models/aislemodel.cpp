// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/aislemodel.h"

#include "catalog/cxmlnode.h"
#include "catalog/savedtree.h"
#include "host/beside.h"
#include "host/models/catalogfeed.h"
#include "host/models/categoryicon.h"
#include "host/models/pathwatch.h"
#include "util/showntext.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QVariant>

using namespace Agent;

namespace Pakmart
{

namespace
{

const char savedAisles[] = ".aisles";

// What the store has sent.
struct SavedAisle {
    QString name, description;
    QStringList categories;
};

// What is shown of it.
struct ShownAisle {
    QString name, description;
    QVariantList categories;

    bool operator==(const ShownAisle& other) const
    {
        return name == other.name && description == other.description
            && categories == other.categories;
    }
};

using Categories = QHash<QString, const CatalogCategory*>; // by their folded names

// A text of a saved file, in which a plus sign is written as "%2b".
QString Text(const std::string& text)
{
    constexpr int longest = 1000;
    const QString plain
        = QString::fromStdString(text).replace(QLatin1String("%2b"), QLatin1String("+"));
    return ShownLine(plain.left(longest));
}

// For any thread. No real store has more than a few aisles.
std::vector<SavedAisle> ReadAisles()
{
    constexpr std::size_t most = 100;
    std::vector<SavedAisle> aisles;
    CXMLNode tree(nullptr);
    if (!ReadSavedTree(savedAisles, tree))
        return aisles;
    for (CXMLNode* aisle : tree.ChildArray("aisle")) {
        if (aisles.size() == most)
            break;
        SavedAisle saved{ Text(aisle->Attribute("name", "")),
                          Text(aisle->ChildValue("description", "")), QStringList() };
        for (const CXMLNode* category : aisle->ChildArray("category"))
            if (std::size_t(saved.categories.size()) < most)
                saved.categories << Text(category->Value());
        aisles.push_back(saved);
    }
    return aisles;
}

ShownAisle ShownOf(const SavedAisle& saved, const Categories& categories)
{
    ShownAisle shown{ saved.name, saved.description, QVariantList() };
    for (const QString& name : saved.categories)
        if (const CatalogCategory* const found = categories.value(name.toCaseFolded()))
            shown.categories << QVariantMap{
                { QStringLiteral("name"), found->name.section(QLatin1Char('/'), -1) },
                { QStringLiteral("category"), found->name },
                { QStringLiteral("products"), found->products },
                { QStringLiteral("iconName"), CategoryIcon(found->name) }
            };
    return shown;
}

} // namespace

class AisleModel::Private
{
public:
    std::vector<ShownAisle> shown;
    std::vector<SavedAisle> saved;
    std::vector<SavedAisle> next; // the thread's
    bool isAsked = false;
    bool isRead = false;
    const std::shared_ptr<CatalogFeed> catalog = CatalogFeed::shared();
    PathWatch watch{ QFileInfo(SavedTreePath(savedAisles)).path(), QLatin1String(savedAisles) };
    Beside beside;
};

AisleModel::AisleModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Loading, QCoreApplication::translate("Pakmart", "Reading the catalog."));
    connect(&d->watch, &PathWatch::changed, this, &AisleModel::read);
    connect(d->catalog.get(), &CatalogFeed::changed, this, &AisleModel::take);
    read();
}

AisleModel::~AisleModel() = default;

void AisleModel::read()
{
    d->isAsked = d->beside.isRunning();
    if (d->isAsked)
        return;
    d->beside.start([this] { d->next = ReadAisles(); },
                    [this] {
                        d->saved = std::move(d->next);
                        d->isRead = true;
                        take();
                        if (d->isAsked)
                            read();
                    });
}

// Both the aisles and the catalog have to be there.
void AisleModel::take()
{
    const SharedTable table = d->catalog->table();
    if (!d->isRead || !table)
        return;
    Categories categories;
    for (const CatalogCategory& category : table->categories)
        if (category.products > 0)
            categories[category.name.toCaseFolded()] = &category;
    std::vector<ShownAisle> after;
    Rows rows;
    for (const SavedAisle& saved : d->saved) {
        ShownAisle shown = ShownOf(saved, categories);
        if (shown.categories.isEmpty())
            continue;
        rows.push_back({ qint64(after.size()), quint32(after.size()), 0 });
        after.push_back(std::move(shown));
    }
    const std::vector<ShownAisle> before = d->shown;
    changeRows(
        std::move(rows), [this, &after] { d->shown = std::move(after); },
        [this, &before](const Row& a, const Row& b) {
            return !(before[a.place] == d->shown[b.place]);
        });
    if (count() > 0)
        setState(Filled);
    else
        setState(Empty, QCoreApplication::translate("Pakmart", "The store has no aisles."));
}

QVariant AisleModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const ShownAisle& aisle = d->shown[rows()[std::size_t(index.row())].place];
    switch (role) {
    case NameRole:
        return aisle.name;
    case DescriptionRole:
        return aisle.description;
    case CategoriesRole:
        return aisle.categories;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> AisleModel::roleNames() const
{
    return { { NameRole, "name" },
             { DescriptionRole, "description" },
             { CategoriesRole, "categories" } };
}

} // namespace Pakmart
