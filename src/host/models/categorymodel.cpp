// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/categorymodel.h"

#include "host/models/catalogfeed.h"
#include "host/models/categoryicon.h"

#include <QCoreApplication>
#include <map>

namespace Pakmart
{

namespace
{

struct Node {
    QString key; // the folded name, by which rows are sorted
    QString name;
    QString category;
    int products = 0;
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> below;

    int rowIn(const Node& above) const
    {
        const auto at = std::find_if(above.below.begin(), above.below.end(),
                                     [this](const auto& node) { return node.get() == this; });
        return int(at - above.below.begin());
    }
};

// What the catalog has, by folded names.
struct Wanted {
    QString name;
    QString category;
    int products = 0;
    std::map<QString, Wanted> below;
};

Wanted TreeOf(const CatalogTable& table)
{
    Wanted top;
    for (const CatalogCategory& category : table.categories) {
        if (category.products == 0)
            continue;
        Wanted* at = &top;
        for (const QString& part : category.name.split(QLatin1Char('/'))) {
            Wanted& next = at->below[part.toCaseFolded()];
            if (next.name.isEmpty()) { // another one may differ in letter case
                next.name = part;
                next.category
                    = at->category.isEmpty() ? part : at->category + QLatin1Char('/') + part;
            }
            next.products += category.products;
            at = &next;
        }
    }
    return top;
}

QString Tr(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

} // namespace

class CategoryModel::Private
{
public:
    explicit Private(CategoryModel* owner) : model(owner) { }

    QModelIndex indexOf(Node& node) const
    {
        return node.parent ? model->createIndex(node.rowIn(*node.parent), 0, &node) : QModelIndex();
    }
    Node& nodeOf(const QModelIndex& index)
    {
        return index.isValid() ? *static_cast<Node*>(index.internalPointer()) : top;
    }

    // Both lists are sorted by their keys.
    void change(Node& node, const Wanted& wanted)
    {
        removeOthers(node, wanted);
        int row = 0;
        for (const auto& [key, below] : wanted.below) {
            if (row == int(node.below.size()) || node.below[std::size_t(row)]->key != key)
                insert(node, row, key, below);
            Node& child = *node.below[std::size_t(row++)];
            if (set(child, below))
                emit model->dataChanged(indexOf(child), indexOf(child));
            change(child, below);
        }
    }
    void removeOthers(Node& node, const Wanted& wanted)
    {
        for (int row = int(node.below.size()) - 1; row >= 0; --row) {
            if (wanted.below.count(node.below[std::size_t(row)]->key) > 0)
                continue;
            model->beginRemoveRows(indexOf(node), row, row);
            node.below.erase(node.below.begin() + row);
            model->endRemoveRows();
        }
    }
    void insert(Node& node, int row, const QString& key, const Wanted& wanted)
    {
        auto child = std::make_unique<Node>();
        child->key = key;
        child->parent = &node;
        set(*child, wanted);
        model->beginInsertRows(indexOf(node), row, row);
        node.below.insert(node.below.begin() + row, std::move(child));
        model->endInsertRows();
    }
    // Whether anything is another value now.
    static bool set(Node& node, const Wanted& wanted)
    {
        if (node.name == wanted.name && node.category == wanted.category
            && node.products == wanted.products)
            return false;
        node.name = wanted.name;
        node.category = wanted.category;
        node.products = wanted.products;
        return true;
    }

    CategoryModel* const model;
    const std::shared_ptr<CatalogFeed> catalog = CatalogFeed::shared();
    Node top;
    ListModel::State state = ListModel::Loading;
    QString text = Tr("Reading the catalog.");
};

CategoryModel::CategoryModel(QObject* parent)
    : QAbstractItemModel(parent), d(std::make_unique<Private>(this))
{
    connect(d->catalog.get(), &CatalogFeed::changed, this, &CategoryModel::take);
    // Nothing is emitted in here, and a catalog that is there already is taken at once after.
    if (d->catalog->table())
        QMetaObject::invokeMethod(this, &CategoryModel::take, Qt::QueuedConnection);
}

CategoryModel::~CategoryModel() = default;

void CategoryModel::take()
{
    const CatalogTable& table = *d->catalog->table();
    d->change(d->top, TreeOf(table));
    describe(table);
}

void CategoryModel::describe(const CatalogTable& table)
{
    ListModel::State state = ListModel::Filled;
    QString text;
    if (d->top.below.empty() && table.condition == CatalogTable::Unreadable) {
        state = ListModel::Failed;
        text = Tr("The catalog on this computer cannot be read.");
    } else if (d->top.below.empty()) {
        state = ListModel::Empty;
        text = table.condition == CatalogTable::Missing
            ? Tr("There is no catalog on this computer yet.")
            : Tr("There is no product here.");
    }
    if (d->state == state && d->text == text)
        return;
    d->state = state;
    d->text = text;
    emit stateChanged();
}

ListModel::State CategoryModel::state() const
{
    return d->state;
}

QString CategoryModel::stateText() const
{
    return d->text;
}

QModelIndex CategoryModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!hasIndex(row, column, parent))
        return QModelIndex();
    return createIndex(row, column, d->nodeOf(parent).below[std::size_t(row)].get());
}

QModelIndex CategoryModel::parent(const QModelIndex& index) const
{
    return index.isValid() ? d->indexOf(*d->nodeOf(index).parent) : QModelIndex();
}

int CategoryModel::rowCount(const QModelIndex& parent) const
{
    return parent.column() > 0 ? 0 : int(d->nodeOf(parent).below.size());
}

int CategoryModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant CategoryModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const Node& node = d->nodeOf(index);
    switch (role) {
    case NameRole:
        return node.name;
    case CategoryRole:
        return node.category;
    case ProductsRole:
        return node.products;
    case IconNameRole:
        return CategoryIcon(node.category);
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> CategoryModel::roleNames() const
{
    return { { NameRole, "name" },
             { CategoryRole, "category" },
             { ProductsRole, "products" },
             { IconNameRole, "iconName" } };
}

} // namespace Pakmart
