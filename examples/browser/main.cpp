// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fetches the store's catalog, and prints the products in the database, by categories.

#include <Pakmart/RefreshCatalogJob>
#include <QCoreApplication>
#include <VantrelAgent/CCatalogFile>
#include <iostream>
#include <vantrelagent/store/indexfile.h>

void PrintCatalog()
{
    InitIndex(); // the indexes of the database share a page cache
    CCatalogFile catalog;
    std::string category;
    // All categories in turn; with a name instead of null, only that category.
    for (bool more = catalog.Open() && catalog.FindFirstForCategory(nullptr); more;
         more = catalog.FindNextForCategory(nullptr)) {
        if (category != catalog.Category())
            std::cout << (category = catalog.Category()) << '\n';
        std::cout << "  " << catalog.ServerSerialNumber() << "  " << catalog.Name() << " ("
                  << catalog.PackageName() << ")\n";
    }
    catalog.Close();
    UnInitIndex();
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    auto* job = new Pakmart::RefreshCatalogJob;
    QObject::connect(job, &KJob::result, [job] {
        if (job->error())
            std::cerr << "browser: " << job->errorString().toStdString() << std::endl;
        else
            PrintCatalog();
        QCoreApplication::exit(job->error() ? 1 : 0);
    });
    job->start();
    return application.exec();
}
