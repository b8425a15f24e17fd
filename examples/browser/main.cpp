// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fetches the store's catalog and walks it twice: with the catalog reader, which has
// everything that the store sent, and in the database, which finds products fast and does
// not load the catalog into memory.
//
//     browser

#include <QCoreApplication>
#include <QDomElement>
#include <VantrelAgent/CAPIUpdateCatalog>
#include <VantrelAgent/CCatalogFile>
#include <VantrelAgent/CCatalogMgr>
#include <iostream>
#include <vantrelagent/store/indexfile.h>

// Fetches the catalog into its file and fills the database from it.
bool FetchCatalog()
{
    bool filled = false;
    // Silent, since there are no boxes without widgets. Execute waits for the end of the
    // request, which destroys itself.
    auto* request = new CAPIUpdateCatalog(true, true);
    QObject::connect(request, &CAPI::SuccessfulTransfer, request, [&](QDomElement* body) {
        QDomElement catalog = body->firstChildElement();
        filled = request->ProcessVantrelCatalogRequest(catalog);
    });
    QObject::connect(request, &CAPI::FailedTransfer, request, [](QDomElement* body) {
        std::cerr << body->attribute(QStringLiteral("msg")).toStdString() << std::endl;
    });
    QObject::connect(request, &CAPI::ErroneousTransfer, request,
                     [](const QString& text) { std::cerr << text.toStdString() << std::endl; });
    return request->Execute() && filled;
}

void PrintProduct(const std::string& serial, const std::string& name, const std::string& package)
{
    std::cout << "  " << serial << "  " << name << " (" << package << ")\n";
}

bool PrintFromReader()
{
    CCatalogMgr catalog;
    if (!catalog.ReadCatalog())
        return false;
    std::cout << "The catalog's file:\n";
    for (const auto& [number, category] : catalog.Categories()) {
        std::cout << category->Attribute("name", "(no name)") << '\n';
        for (CXMLNode* product : category->ChildArray("product"))
            PrintProduct(product->ChildValue("serialnumber", "?"),
                         product->Attribute("name", "(no name)"),
                         product->ChildValue("packagename", "?"));
    }
    return true;
}

bool PrintFromDatabase()
{
    CCatalogFile catalog;
    if (!catalog.Open())
        return false;
    std::cout << "The database:\n";
    std::string category;
    // All categories in turn; with a name instead of null, only that category.
    for (bool more = catalog.FindFirstForCategory(nullptr); more;
         more = catalog.FindNextForCategory(nullptr)) {
        if (category != catalog.Category())
            std::cout << (category = catalog.Category()) << '\n';
        PrintProduct(std::to_string(catalog.ServerSerialNumber()), catalog.Name(),
                     catalog.PackageName());
    }
    return true; // the object closes its files
}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    // The indexes of the databases share a page cache, which the host creates.
    if (InitIndex() != 0)
        return 1;
    const bool done = FetchCatalog() && PrintFromReader() && PrintFromDatabase();
    UnInitIndex();
    if (!done)
        std::cerr << "browser: there is no catalog" << std::endl;
    return done ? 0 : 1;
}
