// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The request that finds out where the packages of a product come from.
//
// It lists the package files that a set of packages needs by a download-only
// run of the package front end, sends their names to the server, and stores
// what the server returns for each: a sources line and the package index,
// written into the private tree, so that the install that follows needs no
// refresh.

#pragma once

#include "../request/capi.h"
#include "packagelists.h"

#include <set>

class VANTRELAGENT_EXPORT CAPIGetPackageInfo : public CAPI
{
    Q_OBJECT

public:
    CAPIGetPackageInfo(PackageNameArray names, bool bSilent);

    // Lists the files, then asks the server. False, with the object gone, when
    // there is nothing to ask for; signalDependencyErrors says why.
    bool Execute() override;

    // "?filename[]=FILE&filename[]=..."; worked out once.
    QString DecorateURI() override;

    // Empties the private tree that an install uses: its lists folder and its
    // sources file go. The argument is not used.
    static void DeleteTempLists(const PackageNameArray& urls);

    // Adds the line "deb URL . ." to the private sources file. False when the
    // URL could say something else to the package tools (white space, control
    // characters, '[') or the file cannot be written.
    bool SaveURL(const std::string& url);

    // Where the package tools look for the index of the repository `url`.
    std::string GetFilenameFromURL(const std::string& url);

    // Writes an index: the data, a zero byte and a line end.
    bool SaveListData(const std::string& file, const std::string& data);

    // Take back what SaveURL and SaveListData stored for these URLs.
    void DeleteFromSourceList(const PackageNameArray& urls);
    void DeleteURLs(const PackageNameArray& urls);
    void DeleteFileFromURL(const std::string& url);

    // Whether one of the URLs stands in the line.
    bool ContainsURLs(const std::string& line, const std::set<std::string>& urls);

public slots:
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    // The end of the list: whether the last package's data is stored.
    void signalURIListComplete(bool success);
    // How many package files are needed.
    void signalPackageCount(int count);
    // The repositories that serve them.
    void signalPackageURLs(PackageNameArray urls);
    // Why the files could not be listed, and all that the front end said.
    void signalDependencyErrors(AptGetMessages& errors, AptGetMessages& report);

private:
    QString GetPackageFiles();
    bool SavePackage(const std::string& url, const std::string& data);

    PackageNameArray m_names;
    QString m_query;
};
