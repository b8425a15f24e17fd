// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::ProductModel
/// The products of the catalog: all of them, those of a category, those that a text finds,
/// those with a state on this machine, or one.
///
///     Pakmart::ProductModel products;
///     products.setText(QStringLiteral("chess"));
///     view->setModel(&products);
///
/// Nothing blocks: the catalog is read, searched and sorted beside the event loop, and the rows
/// follow. All models of a process share one catalog in memory. When an update replaces it, or
/// packages are installed or removed, the rows change accordingly.

#pragma once

#include "listmodel.h"
#include "product.h"
#include <QSet>
#include <vantrelagent/export.h>

namespace Pakmart
{

class CatalogTable;
struct ProductAnswer;

class VANTRELAGENT_EXPORT ProductModel : public ListModel
{
    Q_OBJECT
    /// Only products of this category, and of those below it ("Games/Arcade" is below
    /// "Games"); empty for all. Letter case does not matter.
    Q_PROPERTY(QString category READ category WRITE setCategory NOTIFY categoryChanged)
    /// Only products that this text finds, with the ranking of "pakmart search"; empty for all.
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    /// Only products with this state.
    Q_PROPERTY(Pakmart::ProductModel::Show show READ show WRITE setShow NOTIFY showChanged)
    /// Only the product with this serial number; 0 for all.
    Q_PROPERTY(int serial READ serial WRITE setSerial NOTIFY serialChanged)
    /// The order of the rows.
    Q_PROPERTY(Pakmart::ProductModel::Sort sort READ sortedBy WRITE setSort NOTIFY sortChanged)
    /// Whether other rows may follow: the catalog is being read, or searched.
    Q_PROPERTY(bool busy READ isBusy NOTIFY busyChanged)

public:
    /// Which products are shown, by their states.
    enum Show {
        All, ///< all of them
        Installed, ///< those that are installed, also if only partly
        NotInstalled, ///< those that are not
        Upgradable, ///< those of which the store has a newer version
        OtherShow ///< a selection that this release does not know; it shows nothing
    };
    Q_ENUM(Show)

    /// The order of rows. Equal ones go by name, in any letter case.
    enum Sort {
        ByRelevance, ///< of a search: the best first. Without a text: by name
        ByName, ///< by name
        ByDownloads, ///< those that were downloaded most first
        BySize, ///< the largest first
        ByReleaseDate, ///< the latest first, if the store writes dates so that they sort
        OtherSort ///< an order that this release does not know: by name
    };
    Q_ENUM(Sort)

    /// The fields of Product, each under its name in QML. Descriptions and needs are read when
    /// they are asked for: there is no value until then, and dataChanged() follows.
    enum Role {
        NameRole = Qt::DisplayRole, ///< also for the views of widgets
        SerialRole = Qt::UserRole + 1,
        PackageRole,
        VersionRole,
        CategoryRole,
        SummaryRole,
        VendorRole,
        CopyrightRole,
        PriceRole,
        ReleasedRole,
        ReviewScoreRole,
        CategoryRankingRole,
        SubcategoryRankingRole,
        RankingRole,
        CategoryPageRole,
        PageRole,
        AuthorPageRole,
        DownloadsRole,
        SizeRole,
        ProductStateRole, ///< a Product::State, as int; "productState" in QML
        InstalledVersionRole,
        IconNameRole,
        ProductRole, ///< the whole Product; "product" in QML
        DescriptionRole, ///< may have several lines
        NeedsRole, ///< the names of what the product needs, as QStringList
        PictureRole ///< the address of its picture, for a PictureStore; empty without one
    };
    Q_ENUM(Role)

    /// Begins to read at once.
    explicit ProductModel(QObject* parent = nullptr);
    ~ProductModel() override;

    QString category() const; ///< the category that is shown; empty: all
    QString text() const; ///< what is searched for; empty: nothing
    Show show() const; ///< the states that are shown
    int serial() const; ///< the product that is shown; 0: all
    Sort sortedBy() const; ///< the order of the rows
    bool isBusy() const; ///< whether other rows may follow

    /// Change what is shown. The rows follow later, from the event loop.
    /// @{
    void setCategory(const QString& category);
    void setText(const QString& text);
    void setShow(Pakmart::ProductModel::Show show);
    void setSerial(int serial);
    void setSort(Pakmart::ProductModel::Sort sort);
    /// @}

    /// The product of a row; one with the serial number 0 if there is no such row.
    Q_INVOKABLE Pakmart::Product product(int row) const;
    /// The row of a product; -1 if it is not shown.
    Q_INVOKABLE int rowOf(int serial) const;

    /// As for any model.
    /// @{
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    /// @}

Q_SIGNALS:
    /// The properties have other values; the rows follow.
    /// @{
    void categoryChanged();
    void textChanged();
    void showChanged();
    void serialChanged();
    void sortChanged();
    void busyChanged();
    /// @}

private:
    void ask();
    void begin();
    void take();
    void takeFirst();
    void describe();
    void setBusy();
    void showPictures();
    void askAgain(const QSet<int>& wanted);
    void showDetails(const QSet<int>& serials);
    QVariant detail(const Row& row, int role) const;
    static Rows rowsOf(const ProductAnswer& answer, const CatalogTable& table);
    static bool isChanged(const Row& before, const Row& after);

    class Private;
    const std::unique_ptr<Private> d;
};

/// The installed applications: the products of the store whose packages are installed.
class VANTRELAGENT_EXPORT InstalledModel : public ProductModel
{
    Q_OBJECT

public:
    /// Begins to read at once.
    explicit InstalledModel(QObject* parent = nullptr);
};

} // namespace Pakmart
