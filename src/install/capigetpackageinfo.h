// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CAPIGetPackageInfo
/// The request that finds out where the packages of a product come from.
///
/// It lists the package files that a set of packages needs, using a download-only
/// run of the package front end, and sends their names to the server. For each
/// repository that the server returns it writes a sources line and the package index
/// into the private tree, so that the install that follows needs no refresh.

#pragma once

#include "../request/capi.h"
#include "packagelists.h"

#include <memory>
#include <set>

class CRunAptGet;
class CTracer;

class VANTRELAGENT_EXPORT CAPIGetPackageInfo : public CAPI
{
    Q_OBJECT

public:
    /// `names`: the packages. Does not wait for the server's answer; the run of the
    /// front end takes place in Execute.
    CAPIGetPackageInfo(PackageNameArray names, bool bSilent);
    ~CAPIGetPackageInfo() override;

    /// Lists the files, then asks the server. False, with the object gone, when
    /// there is nothing to ask for; signalDependencyErrors says why.
    bool Execute() override;

    /// Ends the request: the run of the front end, or the transfer. False, with nothing
    /// done, when it is over.
    bool Cancel();

    /// "?filename[]=FILE&filename[]=..."; computed once.
    QString DecorateURI() override;

    /// Empties the private tree that an install uses: removes its lists folder and
    /// its sources file. The argument is not used.
    static void DeleteTempLists(const PackageNameArray& urls);

    /// Adds the line "deb URL . ." to the private sources file. False when the
    /// package tools could misread the URL (white space, control characters, '[')
    /// or the file cannot be written.
    bool SaveURL(const std::string& url);

    /// Where the package tools look for the index of the repository `url`.
    std::string GetFilenameFromURL(const std::string& url);

    /// Writes an index: the data, a zero byte and a line end.
    bool SaveListData(const std::string& file, const std::string& data);

    /// Removes the lines that contain one of the URLs from the private sources file.
    void DeleteFromSourceList(const PackageNameArray& urls);
    /// Removes the indexes of these repositories.
    void DeleteURLs(const PackageNameArray& urls);
    /// Removes the index of this repository.
    void DeleteFileFromURL(const std::string& url);

    /// Whether the line contains one of the URLs; an empty URL never counts.
    bool ContainsURLs(const std::string& line, const std::set<std::string>& urls);

public slots:
    /// The payload: a "package_info" with "package" elements, each with a
    /// "package_url" and a "package_data". Stores them and emits their URLs. A payload
    /// without "package_info" makes the request fail. Only the last package decides
    /// whether storing counts as done.
    void onSuccessfulTransfer(QDomElement* pElement) override;

signals:
    /// The end of the list: whether the last package's data is stored.
    void signalURIListComplete(bool success);
    /// How many package files are needed.
    void signalPackageCount(int count);
    /// The repositories that serve them.
    void signalPackageURLs(PackageNameArray urls);
    /// Why the files could not be listed, and all output of the front end. Borrowed
    /// for the duration of the emission.
    void signalDependencyErrors(AptGetMessages& errors, AptGetMessages& report);

private:
    friend class CAPIInstallPackages;

    void SetHasTree(bool hasTree);
    QString GetPackageFiles();
    void TellDependencyErrors(const CRunAptGet& runner, int status);
    QString QueryFor(const PackageNameArray& files) const;
    bool SavePackage(const std::string& url, const std::string& data, CTracer& tracer);

    class Private;
    const std::unique_ptr<Private> d;
};
