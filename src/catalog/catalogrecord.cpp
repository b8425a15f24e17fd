// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/catalogrecord.h"

#include "catalog/catalogproduct.h"
#include "catalog/catalogstage.h"
#include "db/ccatalogfile.h"
#include "db/indexlayer.h"
#include "util/diagnostics.h"

bool RebuildCatalogDatabase(const std::function<void(CCatalogFile&)>& fill)
{
    const IndexLayer layer;
    CCatalogFile file;
    CatalogStage stage;
    if (!stage.canReplace() || !file.Create()) {
        file.Close();
        return false;
    }
    file.AddNew();
    fill(file);
    file.Close();
    return stage.Publish();
}

void RecordProduct(const CatalogProduct& product, CCatalogFile& file)
{
    file.AddNew();
    file.setInstalled(false);
    file.setCategory(product.category.c_str());
    file.setName(product.name.c_str());
    file.setCategoryURL(product.categoryURL.c_str());
    file.setPackageName(product.packageName.c_str());
    file.setDescription(QString::fromStdString(product.description));
    file.setVersion(product.version.c_str());
    file.setVendor(product.vendor.c_str());
    file.setCopyright(product.copyright.c_str());
    file.setPrice(product.price.c_str());
    file.setHidden(product.hidden);
    file.setServerSerialNumber(product.serverSerialNumber);
    file.setReleaseDate(product.releaseDate.c_str());
    file.setReviewScore(product.reviewScore.c_str());
    file.setCategoryRanking(product.categoryRanking.c_str());
    file.setSubCategoryRanking(product.subCategoryRanking.c_str());
    file.setVantrelRanking(product.vantrelRanking.c_str());
    file.setDownloads(product.downloads);
    file.setFileSize(product.fileSize);
    file.setApplicationURL(product.applicationURL.c_str());
    file.setAuthorURL(product.authorURL.c_str());
    for (const std::string& name : product.dependencies)
        file.AddDependency(name.c_str());
    // A second product of a package is refused by an index and stays half there.
    if (!file.SaveRecord())
        qCInfo(logDb, "product %d is not whole: an index refuses it, or it cannot be written",
               int(product.serverSerialNumber));
}
