// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The requests whose reply is a file of the data folder or nothing: aisles, profile,
// registration.

#include "host/worker/tasks.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <cerrno>
#include <unistd.h>
#include <vantrelagent/catalog/capigetaisles.h>
#include <vantrelagent/catalog/capisyncmymachine.h>
#include <vantrelagent/catalog/cxmlnode.h>
#include <vantrelagent/catalog/savedtree.h>
#include <vantrelagent/request/capisetoeminfo.h>

using namespace Agent;

namespace
{

constexpr int most = 20000; // entries of a list; no real store comes near

// A text of a saved file, in which a plus sign is written as "%2b".
QString Text(const std::string& text)
{
    return Plain(QString::fromStdString(text).replace(QLatin1String("%2b"), QLatin1String("+")));
}

QJsonArray CategoriesOf(CXMLNode& aisle, int& count)
{
    QJsonArray categories;
    for (const CXMLNode* category : aisle.ChildArray("category")) {
        if (++count > most)
            break;
        categories << QJsonObject{ { QStringLiteral("serial"),
                                     Text(category->Attribute("serialnumber", "")).toInt() },
                                   { QStringLiteral("name"), Text(category->Value()) } };
    }
    return categories;
}

QJsonArray AislesOf(CXMLNode& tree)
{
    QJsonArray aisles;
    int count = 0;
    for (CXMLNode* aisle : tree.ChildArray("aisle")) {
        if (++count > most)
            break;
        aisles << QJsonObject{ { QStringLiteral("name"), Text(aisle->Attribute("name", "")) },
                               { QStringLiteral("description"),
                                 Text(aisle->ChildValue("description", "")) },
                               { QStringLiteral("categories"), CategoriesOf(*aisle, count) } };
    }
    return aisles;
}

QJsonArray ApplicationsOf(CXMLNode& tree)
{
    QJsonArray applications;
    for (CXMLNode* application : tree.ChildArray("application")) {
        if (applications.size() >= most)
            break;
        applications << QJsonObject{
            { QStringLiteral("serial"), Text(application->ChildValue("serialnumber", "")).toInt() },
            { QStringLiteral("name"), Text(application->ChildValue("name", "")) },
            { QStringLiteral("package"), Text(application->ChildValue("packagename", "")) }
        };
    }
    return applications;
}

// What a reply would leave in the data folder.
struct Kept {
    CXMLNode tree{ nullptr };
    bool isGood = false;
};

// As the request prunes what it saves; false where it would refuse it.
bool Prune(CAPISyncMyMachine& request, CXMLNode& profile)
{
    const std::size_t count = profile.ChildArray("application").size();
    const bool isGood = count <= std::size_t(CAPISyncMyMachine::maxApplications);
    if (isGood)
        request.KeepInstalledPackages(profile);
    return isGood;
}

bool Prune(CAPIGetAisles&, CXMLNode&)
{
    return true;
}

// A request that also keeps what it would save, for a user to whom the data folder does not
// belong. It has no meta-object of its own, so that the server gets the name of the base class.
template <typename Request> class KeptReply : public Request
{
public:
    explicit KeptReply(Kept& kept) : Request(true), m_kept(kept) { }

    void onSuccessfulTransfer(QDomElement* body) override
    {
        m_kept.isGood = ReadFirstElement(*body, m_kept.tree) && Prune(*this, m_kept.tree);
        Request::onSuccessfulTransfer(body);
    }

private:
    Kept& m_kept;
};

bool MayNotWrite(const char* name)
{
    const QString folder = QFileInfo(SavedTreePath(name)).path();
    return access(QFile::encodeName(folder).constData(), W_OK) != 0 && errno == EACCES;
}

// Runs the request that saves its reply as `name` in the data folder, and reads that file.
template <typename Request> Outcome Fetch(const char* name, QJsonArray (*listOf)(CXMLNode&))
{
    Outcome outcome;
    const bool isSaved = !MayNotWrite(name);
    Kept kept;
    const SavedMark saved(name);
    if (!RunToItsEnd(isSaved ? new Request(true) : new KeptReply<Request>(kept), outcome))
        return outcome;
    if (isSaved && !saved.isNew())
        return saved.failure();
    CXMLNode tree(nullptr);
    if (isSaved ? ReadSavedTree(name, tree) : kept.isGood)
        outcome.result = { { QStringLiteral("list"), listOf(isSaved ? tree : kept.tree) } };
    else
        outcome.code = AgentError::ReplyNotUnderstood;
    return outcome;
}

} // namespace

Outcome FetchAisles(const QStringList&, Report&)
{
    return Fetch<CAPIGetAisles>(".aisles", AislesOf);
}

Outcome SyncMachine(const QStringList&, Report&)
{
    return Fetch<CAPISyncMyMachine>(".profile", ApplicationsOf);
}

Outcome RegisterMachine(const QStringList&, Report&)
{
    Outcome outcome;
    if (RunToItsEnd(new CAPISetOEMInfo, outcome))
        outcome.result = { { QStringLiteral("builder"), Text(CGetOEMInfo().getID()) } };
    return outcome;
}
