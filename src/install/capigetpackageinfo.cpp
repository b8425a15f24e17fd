// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capigetpackageinfo.h"

#include "catalog/cxmlnode.h"
#include "install/crun.h"
#include "install/crunaptget.h"
#include "install/failurereason.h"
#include "support/ctracer.h"
#include "util/standardoutput.h"
#include "util/translated.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>
#include <utility>

using namespace Agent;

namespace
{

// Whether a URL is one word of a sources line, and no option block.
bool IsOneWord(const std::string& url)
{
    return !url.empty() && std::none_of(url.begin(), url.end(), [](unsigned char c) {
        return c <= ' ' || c == 0x7F || c == '[';
    });
}

void ReplaceAll(std::string& text, const std::string& what, const std::string& by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

// Removes a file or a folder with all that is in it.
void RemoveTree(const QString& path)
{
    // The process runner splits its arguments at blanks; it must not remove half a path
    // instead of the whole one.
    const bool oneWord = !path.contains(QLatin1Char(' ')) && !path.contains(QLatin1Char('"'));
    if (oneWord)
        CRun(QStringLiteral("/bin/rm"), QLatin1String("-rf ") + path, true).Run();
    else if (!QFile::remove(path))
        QDir(path).removeRecursively();
}

} // namespace

class CAPIGetPackageInfo::Private
{
public:
    PackageNameArray m_names;
    QString m_query;
    AgentError::Code m_nSaveFailure = AgentError::NoFailure; // of the last package
    QString m_sSaveFailure;
    CRunAptGet* m_pRunner = nullptr; // while it runs
    bool m_bCancelled = false;
    bool m_bHasTree = false; // part of a transaction that has the private tree
};

CAPIGetPackageInfo::CAPIGetPackageInfo(PackageNameArray names, bool bSilent)
    : CAPI(bSilent, false, false), d(std::make_unique<Private>())
{
    d->m_names = std::move(names);
    CTracer tracer("CAPIGetPackageInfo::CAPIGetPackageInfo");
    CopiesReply();
}

CAPIGetPackageInfo::~CAPIGetPackageInfo() = default;

void CAPIGetPackageInfo::SetHasTree(bool hasTree)
{
    d->m_bHasTree = hasTree;
}

bool CAPIGetPackageInfo::Execute()
{
    CTracer tracer("CAPIGetPackageInfo::Execute");
    const bool empty = DecorateURI().isEmpty();
    if (d->m_bCancelled)
        SetFailure(AgentError::Cancelled);
    if (empty || d->m_bCancelled) {
        m_bSucceeded = false;
        delete this;
        return false;
    }
    return CAPI::Execute();
}

bool CAPIGetPackageInfo::Cancel()
{
    CTracer tracer("CAPIGetPackageInfo::Cancel");
    d->m_bCancelled = true;
    return d->m_pRunner ? d->m_pRunner->Cancel() : CancelTransfer();
}

QString CAPIGetPackageInfo::DecorateURI()
{
    CTracer tracer("CAPIGetPackageInfo::DecorateURI");
    if (d->m_query.isEmpty())
        d->m_query = GetPackageFiles();
    return d->m_query;
}

// Has the front end list the package files that an install would need, and returns the query
// for them. This runs in the private tree for dependencies; the server then sends the indexes
// for the tree from which packages are installed.
QString CAPIGetPackageInfo::GetPackageFiles()
{
    CTracer tracer("CAPIGetPackageInfo::GetPackageFiles");
    std::string names;
    for (const std::string& name : d->m_names)
        names += ' ' + name;
    CRunAptGet runner;
    runner.SetHasTree(d->m_bHasTree);
    d->m_pRunner = &runner;
    const int status = runner.Run('D', names, false, false);
    d->m_pRunner = nullptr;
    if (status != 0) {
        TellDependencyErrors(runner, status);
        return QString();
    }
    const PackageNameArray files = runner.PackageFiles();
    if (files.empty()) {
        const FailureReason reason = ReasonOfNoFiles(runner.Messages());
        SetFailure(reason.code, reason.sentence, reason.details);
    }
    emit signalPackageCount(int(files.size()));
    return QueryFor(files);
}

void CAPIGetPackageInfo::TellDependencyErrors(const CRunAptGet& runner, int status)
{
    SetFailure(runner.Failure(), runner.FailureSentence(), runner.FailureDetails());
    // The caller that cancels it knows why.
    if (runner.WasCancelled())
        return;
    AptGetMessages errors = runner.Errors();
    AptGetMessages report = runner.Messages();
    const bool refused = runner.Failure() == AgentError::RefusedName
        || runner.Failure() == AgentError::BadHomeFolder
        || runner.Failure() == AgentError::LockHeld;
    // The status follows the text as a character: kept as it is.
    if (status == 127 && !refused)
        errors.push_back(std::string("Unable to run /usr/bin/vos-apt-get. Make sure it exists "
                                     "and has execute permissions.")
                         + char(status));
    emit signalDependencyErrors(errors, report);
}

QString CAPIGetPackageInfo::QueryFor(const PackageNameArray& files) const
{
    QString query;
    for (const std::string& file : files) {
        query += query.isEmpty() ? QLatin1Char('?') : QLatin1Char('&');
        query += QLatin1String("filename[]=") + QString::fromStdString(file);
    }
    return query;
}

void CAPIGetPackageInfo::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetPackageInfo::onSuccessfulTransfer");
    CXMLNode body(nullptr);
    body.ReadNode(*pElement);
    const std::vector<CXMLNode*> infos = body.ChildArray("package_info");
    if (infos.empty()) {
        WriteLine(QStringLiteral("CAPIGetPackageInfo::onSuccessfulTransfer - there are no "
                                 "packages to install"));
        const QString text = Translated("Pakmart encountered an error while requesting "
                                        "information about the products(s) that you are "
                                        "trying to install.");
        SetFailure(AgentError::ReplyNotUnderstood, text);
        emit ErroneousTransfer(text);
        return;
    }
    // A refresh of the sources makes the folders, unless it failed.
    if (access(CRunAptGet::ListsDir(false).c_str(), F_OK) != 0)
        CRunAptGet::CreateAptGetDirs();
    bool success = true;
    PackageNameArray urls;
    for (CXMLNode* package : infos.front()->ChildArray("package")) {
        const std::string url = package->ChildValue("package_url", "");
        // Only the last package decides.
        success = SavePackage(url, package->ChildValue("package_data", ""), tracer);
        urls.push_back(url);
    }
    emit signalPackageURLs(urls);
    emit signalURIListComplete(success);
    m_bSucceeded = success;
    if (!success)
        SetFailure(d->m_nSaveFailure, QString(), d->m_sSaveFailure);
}

bool CAPIGetPackageInfo::SavePackage(const std::string& url, const std::string& data,
                                     CTracer& tracer)
{
    errno = 0;
    d->m_nSaveFailure = AgentError::CannotWrite;
    const bool savedUrl = SaveURL(url);
    if (savedUrl && SaveListData(GetFilenameFromURL(url), data))
        return true;
    if (!savedUrl)
        tracer.trace_out("failed to save url");
    if (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)
        d->m_nSaveFailure = AgentError::NoDiskSpace;
    else if (!IsOneWord(url))
        d->m_nSaveFailure = AgentError::ReplyNotUnderstood;
    d->m_sSaveFailure = QString::fromStdString(url);
    return false;
}

// Adds a flat repository to the sources. The address becomes part of a line that the package
// tools trust, so anything that could be more than an address is refused.
bool CAPIGetPackageInfo::SaveURL(const std::string& url)
{
    CTracer tracer("CAPIGetPackageInfo::SaveURL");
    if (!IsOneWord(url)) {
        tracer.trace_out("refused a url that is not one word: " + url);
        return false;
    }
    std::ofstream sources(CRunAptGet::SourcesFile(false), std::ios::app);
    if (!sources) {
        tracer.trace_out("failed to open CRunAptGet::SourcesFile().c_str(), std::ios::app");
        return false;
    }
    sources << "deb " << url << " . ." << std::endl;
    return bool(sources);
}

// The name under which apt-get looks for the index of this address: placed there by hand, the
// index is used without being fetched.
std::string CAPIGetPackageInfo::GetFilenameFromURL(const std::string& url)
{
    CTracer tracer("CAPIGetPackageInfo::GetFilenameFromURL");
    const auto scheme = url.find("://");
    std::string name = scheme == std::string::npos ? url : url.substr(scheme + 3);
    ReplaceAll(name, "/", "_");
    ReplaceAll(name, "=", "%3d");
    ReplaceAll(name, "&", "%26");
    return CRunAptGet::ListsDir(false) + name + "_dists_._._binary-i386_Packages";
}

bool CAPIGetPackageInfo::SaveListData(const std::string& file, const std::string& data)
{
    CTracer tracer("CAPIGetPackageInfo::SaveListData");
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
    FILE* index = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (!index)
        return false;
    const std::string text = data + '\0' + '\n';
    const bool written = std::fwrite(text.data(), 1, text.size(), index) == text.size();
    const bool closed = std::fclose(index) == 0;
    if (written && closed)
        return true;
    // Half an index must not be mistaken for a whole one.
    unlink(file.c_str());
    return false;
}

void CAPIGetPackageInfo::DeleteTempLists(const PackageNameArray&)
{
    CTracer tracer("CAPIGetPackageInfo::DeleteTempLists");
    for (const std::string& path : { CRunAptGet::ListsDir(false), CRunAptGet::SourcesFile(false) })
        RemoveTree(QFile::decodeName(path.c_str()));
}

void CAPIGetPackageInfo::DeleteFileFromURL(const std::string& url)
{
    CTracer tracer("CAPIGetPackageInfo::DeleteFileFromURL");
    std::remove(GetFilenameFromURL(url).c_str());
}

void CAPIGetPackageInfo::DeleteURLs(const PackageNameArray& urls)
{
    CTracer tracer("CAPIGetPackageInfo::DeleteURLs");
    for (const std::string& url : urls)
        DeleteFileFromURL(url);
}

bool CAPIGetPackageInfo::ContainsURLs(const std::string& line, const std::set<std::string>& urls)
{
    CTracer tracer("CAPIGetPackageInfo::ContainsURLs");
    return std::any_of(urls.begin(), urls.end(), [&line](const std::string& url) {
        return !url.empty() && line.find(url) != std::string::npos;
    });
}

void CAPIGetPackageInfo::DeleteFromSourceList(const PackageNameArray& urls)
{
    CTracer tracer("CAPIGetPackageInfo::DeleteFromSourceList");
    const std::string path = CRunAptGet::SourcesFile(false);
    const std::set<std::string> dropped(urls.begin(), urls.end());
    std::ifstream sources(path);
    if (!sources)
        return;
    std::string kept, line;
    while (tracer.trace_out("Reading line from sources.list"), std::getline(sources, line)) {
        tracer.trace_out("Read this line: '" + line + '\'');
        if (ContainsURLs(line, dropped))
            continue;
        tracer.trace_out("Saving this line: '" + line + '\'');
        kept += line + '\n';
    }
    tracer.trace_out("Closing sources.list");
    sources.close();
    tracer.trace_out("Opening sources.list for writing");
    std::ofstream rewritten(path, std::ios::trunc);
    tracer.trace_out("Writing to sources.list");
    rewritten << kept;
    tracer.trace_out("closing sources.list for writing");
}
