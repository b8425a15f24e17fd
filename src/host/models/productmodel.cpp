// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/productmodel.h"

#include "host/beside.h"
#include "host/models/catalogfeed.h"
#include "host/models/categoryicon.h"
#include "host/models/picturefeed.h"
#include "host/models/productdetails.h"
#include "host/models/productquery.h"
#include "util/showntext.h"

#include <QCoreApplication>
#include <QTimer>
#include <mutex>

namespace Pakmart
{

namespace
{

QString Tr(const char* text)
{
    return QCoreApplication::translate("Pakmart", text);
}

struct TextRole {
    int role;
    CatalogText text;
};

constexpr TextRole textRoles[] = {
    { ProductModel::NameRole, NameText },
    { ProductModel::PackageRole, PackageText },
    { ProductModel::VersionRole, VersionText },
    { ProductModel::SummaryRole, SummaryText },
    { ProductModel::VendorRole, VendorText },
    { ProductModel::CopyrightRole, CopyrightText },
    { ProductModel::PriceRole, PriceText },
    { ProductModel::ReleasedRole, ReleasedText },
    { ProductModel::ReviewScoreRole, ReviewScoreText },
    { ProductModel::CategoryRankingRole, CategoryRankingText },
    { ProductModel::SubcategoryRankingRole, SubcategoryRankingText },
    { ProductModel::RankingRole, RankingText },
    { ProductModel::CategoryPageRole, CategoryPageText },
    { ProductModel::PageRole, PageText },
    { ProductModel::AuthorPageRole, AuthorPageText },
};

// What comes from the server is one line.
QString Line(const CatalogTable& table, std::uint32_t place, CatalogText text)
{
    return Agent::ShownLine(QString::fromUtf8(table.text(place, text)));
}

} // namespace

class ProductModel::Private
{
public:
    static constexpr quint32 changed = 0x100; // in the extra number, beside the state

    // An answer and what it was made of.
    struct Made {
        ProductQuery query;
        SharedTable table;
        std::shared_ptr<const InstalledPackages> packages;
        ProductAnswer answer;
    };

    // For the thread.
    void work(bool isNarrower)
    {
        const ProductSource source{ *next.table, next.packages.get(), shown.table.get(),
                                    isNarrower ? &shown.answer.matching : nullptr };
        next.answer = Answer(
            next.query, source, [this] { return beside.isCancelled(); },
            [this](ProductAnswer answer) {
                const std::lock_guard<std::mutex> lock(mutex);
                first = std::move(answer);
                beside.report();
            });
    }

    QString installedVersion(const Row& row) const
    {
        if (!shown.packages)
            return QString();
        const auto found = shown.packages->constFind(shown.table->text(row.place, PackageText));
        return found == shown.packages->constEnd() ? QString() : QString::fromUtf8(found->version);
    }

    const std::shared_ptr<CatalogFeed> catalog = CatalogFeed::shared();
    const std::shared_ptr<PackageFeed> packages = PackageFeed::shared();
    const std::shared_ptr<PictureFeed> pictures = PictureFeed::shared();
    ProductQuery query;
    Made shown; // without its products, which are the rows
    Made next; // while the thread works on it
    std::mutex mutex;
    ProductAnswer first; // what the thread has found without the descriptions
    bool isAsked = false;
    bool isBusy = true;
    QTimer soon;
    ProductDetailsFeed details;
    Beside beside; // the last one, so that the thread has ended when the others go
};

ProductModel::ProductModel(QObject* parent) : ListModel(parent), d(std::make_unique<Private>())
{
    setState(Loading, Tr("Reading the catalog."));
    d->soon.setSingleShot(true);
    connect(&d->soon, &QTimer::timeout, this, &ProductModel::begin);
    connect(&d->beside, &Beside::reported, this, &ProductModel::takeFirst);
    connect(&d->details, &ProductDetailsFeed::arrived, this, &ProductModel::showDetails);
    connect(d->catalog.get(), &CatalogFeed::changed, this, &ProductModel::ask);
    connect(d->packages.get(), &PackageFeed::changed, this, &ProductModel::ask);
    connect(d->pictures.get(), &PictureFeed::changed, this, &ProductModel::showPictures);
    ask();
}

ProductModel::~ProductModel() = default;

QString ProductModel::category() const
{
    return d->query.category;
}

QString ProductModel::text() const
{
    return d->query.text;
}

ProductModel::Show ProductModel::show() const
{
    return d->query.show;
}

int ProductModel::serial() const
{
    return d->query.serial;
}

ProductModel::Sort ProductModel::sortedBy() const
{
    return d->query.sort;
}

bool ProductModel::isBusy() const
{
    return d->isBusy;
}

void ProductModel::setBusy()
{
    const SharedTable& table = d->shown.table;
    const bool isBusy = d->isAsked || d->beside.isRunning() || !table || !table->isWhole;
    if (d->isBusy == isBusy)
        return;
    d->isBusy = isBusy;
    emit busyChanged();
}

void ProductModel::setCategory(const QString& category)
{
    if (d->query.category == category)
        return;
    d->query.category = category;
    emit categoryChanged();
    ask();
}

void ProductModel::setText(const QString& text)
{
    if (d->query.text == text)
        return;
    d->query.text = text;
    emit textChanged();
    ask();
}

void ProductModel::setShow(Show show)
{
    if (d->query.show == show)
        return;
    d->query.show = show;
    emit showChanged();
    ask();
}

void ProductModel::setSerial(int serial)
{
    if (d->query.serial == serial)
        return;
    d->query.serial = serial;
    emit serialChanged();
    ask();
}

void ProductModel::setSort(Sort sort)
{
    if (d->query.sort == sort)
        return;
    d->query.sort = sort;
    emit sortChanged();
    ask();
}

void ProductModel::ask()
{
    d->isAsked = true;
    // What is being worked out for another query is of no use; for an older catalog it is.
    if (d->beside.isRunning() && !(d->next.query == d->query))
        d->beside.cancel();
    if (!d->soon.isActive())
        d->soon.start(0);
    setBusy();
}

void ProductModel::begin()
{
    if (d->beside.isRunning() || !d->isAsked || !d->catalog->table())
        return;
    d->isAsked = false;
    d->next = { d->query, d->catalog->table(), d->packages->packages(), {} };
    const bool isNarrower = d->next.table == d->shown.table && d->shown.table->isWhole
        && d->shown.answer.isWhole && IsNarrower(d->next.query, d->shown.query);
    d->beside.start([this, isNarrower] { d->work(isNarrower); },
                    [this] {
                        if (!d->beside.isCancelled())
                            take();
                        if (d->isAsked)
                            begin();
                        setBusy();
                    });
}

// The thread still reads what it works with and what was shown until now, so that only the
// rows are taken. With another catalog, they wait for the end.
void ProductModel::takeFirst()
{
    if (d->beside.isCancelled() || !d->beside.isRunning() || d->next.table != d->shown.table)
        return;
    ProductAnswer first;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        first = std::move(d->first);
    }
    changeRows(
        rowsOf(first, *d->next.table), [] {}, isChanged);
    if (count() > 0)
        setState(Filled);
    else
        setState(Loading, Tr("Searching."));
}

void ProductModel::take()
{
    Private::Made made = std::move(d->next);
    Rows after = rowsOf(made.answer, *made.table);
    std::vector<FoundProduct>().swap(made.answer.products);
    QSet<int> wanted;
    changeRows(
        std::move(after),
        [this, &made, &wanted] {
            d->shown = std::move(made);
            wanted = d->details.setTable(d->shown.table);
        },
        isChanged);
    askAgain(wanted);
    describe();
}

// After an update, for the products whose details a view has asked for.
void ProductModel::askAgain(const QSet<int>& wanted)
{
    if (wanted.isEmpty())
        return;
    for (const Row& row : rows())
        if (wanted.contains(int(row.key)))
            d->details.ask(int(row.key), row.place);
}

void ProductModel::showPictures()
{
    if (count() > 0)
        emit dataChanged(index(0), index(count() - 1), { PictureRole, ProductRole });
}

void ProductModel::showDetails(const QSet<int>& serials)
{
    int left = int(serials.size());
    for (int row = 0; row < count() && left > 0; ++row) {
        if (!serials.contains(int(rows()[std::size_t(row)].key)))
            continue;
        --left;
        emit dataChanged(index(row), index(row), { DescriptionRole, NeedsRole, ProductRole });
    }
}

QVariant ProductModel::detail(const Row& row, int role) const
{
    d->details.ask(int(row.key), row.place);
    const ProductDetails* const known = d->details.known(int(row.key));
    if (!known)
        return QVariant();
    return role == NeedsRole ? QVariant(known->needs) : QVariant(known->description);
}

ListModel::Rows ProductModel::rowsOf(const ProductAnswer& answer, const CatalogTable& table)
{
    Rows rows;
    rows.reserve(answer.products.size());
    for (const FoundProduct& found : answer.products)
        rows.push_back({ table.entry(found.place).serial, found.place,
                         quint32(found.state) | (found.isChanged ? Private::changed : 0) });
    return rows;
}

bool ProductModel::isChanged(const Row& before, const Row& after)
{
    return (after.extra & Private::changed) != 0
        || ((before.extra ^ after.extra) & ~Private::changed) != 0;
}

void ProductModel::describe()
{
    const CatalogTable& table = *d->shown.table;
    const ProductQuery& query = d->shown.query;
    const bool needsPackages = query.show != All;
    if (count() > 0)
        setState(Filled);
    else if (table.condition == CatalogTable::Unreadable)
        setState(Failed, Tr("The catalog on this computer cannot be read."));
    else if (table.condition == CatalogTable::Missing)
        setState(Empty, Tr("There is no catalog on this computer yet."));
    else if (needsPackages && !d->packages->isReadable())
        setState(Failed, Tr("The list of installed packages cannot be read."));
    else if (!table.isWhole || (needsPackages && !d->shown.packages))
        setState(Loading, Tr("Reading the catalog."));
    else if (!query.text.simplified().isEmpty())
        setState(Empty, Tr("Nothing was found for \"%1\".").arg(query.text.simplified()));
    else if (query.show == Installed)
        setState(Empty, Tr("No application of the store is installed."));
    else if (query.show == Upgradable)
        setState(Empty, Tr("All installed applications are up to date."));
    else
        setState(Empty, Tr("There is no product here."));
}

Product ProductModel::product(int row) const
{
    Product product;
    if (row < 0 || row >= count())
        return product;
    const QModelIndex index = this->index(row);
    const auto text = [&](int role) { return data(index, role).toString(); };
    product.serial = data(index, SerialRole).toInt();
    product.name = text(NameRole);
    product.package = text(PackageRole);
    product.version = text(VersionRole);
    product.category = text(CategoryRole);
    product.summary = text(SummaryRole);
    product.vendor = text(VendorRole);
    product.copyright = text(CopyrightRole);
    product.price = text(PriceRole);
    product.released = text(ReleasedRole);
    product.reviewScore = text(ReviewScoreRole);
    product.categoryRanking = text(CategoryRankingRole);
    product.subcategoryRanking = text(SubcategoryRankingRole);
    product.ranking = text(RankingRole);
    product.categoryPage = text(CategoryPageRole);
    product.page = text(PageRole);
    product.authorPage = text(AuthorPageRole);
    product.downloads = data(index, DownloadsRole).toInt();
    product.size = data(index, SizeRole).toInt();
    product.state = Product::State(rows()[std::size_t(row)].extra & ~Private::changed);
    product.installedVersion = text(InstalledVersionRole);
    product.iconName = text(IconNameRole);
    product.picture = text(PictureRole);
    if (const ProductDetails* const known = d->details.known(product.serial)) {
        product.description = known->description;
        product.needs = known->needs;
    }
    return product;
}

int ProductModel::rowOf(int serial) const
{
    for (std::size_t row = 0; row < rows().size(); ++row)
        if (rows()[row].key == serial)
            return int(row);
    return -1;
}

QVariant ProductModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const Row& row = rows()[std::size_t(index.row())];
    const CatalogTable& table = *d->shown.table;
    for (const TextRole& text : textRoles)
        if (text.role == role)
            return Line(table, row.place, text.text);
    const CatalogEntry& entry = table.entry(row.place);
    switch (role) {
    case SerialRole:
        return entry.serial;
    case CategoryRole:
        return table.categories[entry.category].name;
    case DownloadsRole:
        return entry.downloads;
    case SizeRole:
        return entry.size;
    case ProductStateRole:
        return int(row.extra & ~Private::changed);
    case InstalledVersionRole:
        return d->installedVersion(row);
    case IconNameRole:
        return CategoryIcon(table.categories[entry.category].name);
    case PictureRole:
        return d->pictures->addressOf(entry.serial);
    case DescriptionRole:
    case NeedsRole:
        return detail(row, role);
    case ProductRole:
        return QVariant::fromValue(product(index.row()));
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> ProductModel::roleNames() const
{
    return { { NameRole, "name" },
             { SerialRole, "serial" },
             { PackageRole, "package" },
             { VersionRole, "version" },
             { CategoryRole, "category" },
             { SummaryRole, "summary" },
             { VendorRole, "vendor" },
             { CopyrightRole, "copyright" },
             { PriceRole, "price" },
             { ReleasedRole, "released" },
             { ReviewScoreRole, "reviewScore" },
             { CategoryRankingRole, "categoryRanking" },
             { SubcategoryRankingRole, "subcategoryRanking" },
             { RankingRole, "ranking" },
             { CategoryPageRole, "categoryPage" },
             { PageRole, "page" },
             { AuthorPageRole, "authorPage" },
             { DownloadsRole, "downloads" },
             { SizeRole, "size" },
             { ProductStateRole, "productState" },
             { InstalledVersionRole, "installedVersion" },
             { IconNameRole, "iconName" },
             { ProductRole, "product" },
             { DescriptionRole, "description" },
             { NeedsRole, "needs" },
             { PictureRole, "picture" } };
}

InstalledModel::InstalledModel(QObject* parent) : ProductModel(parent)
{
    setShow(Installed);
}

} // namespace Pakmart
