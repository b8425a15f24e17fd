// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "install/capigetosver.h"

#include "catalog/cxmlnode.h"
#include "install/capiinstallpackages.h"
#include "support/cconfigfile.h"
#include "support/ctracer.h"
#include "support/funkydate.h"
#include "util/desktop.h"
#include "util/paths.h"
#include "util/translated.h"

#include <QDomElement>
#include <new>
#include <strings.h>

using namespace Agent;

class CAPIGetOSVer::Private
{
public:
    bool m_bUpdatedAgent = false;
};

CAPIGetOSVer::CAPIGetOSVer(bool bSilent)
    : CAPI(bSilent, false, true), d(std::make_unique<Private>())
{
    CTracer tracer("CAPIGetOSVer::CAPIGetOSVer");
    CopiesReply();
}

CAPIGetOSVer::~CAPIGetOSVer()
{
    CTracer tracer("CAPIGetOSVer::~CAPIGetOSVer");
    if (m_bSucceeded) {
        CConfigFile settings(SystemPath(std::string("/etc/pakmartd.conf")), false);
        settings.SetValue("DateOfLastUpdate", funky_date_str(), true);
        settings.Close();
    }
    emit signalUpdatedAgent(m_bSucceeded, d->m_bUpdatedAgent);
}

void CAPIGetOSVer::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetOSVer::onSuccessfulTransfer");
    CXMLNode root(nullptr);
    if (!root.ReadNode(*pElement))
        return;
    PackageNameArray names;
    for (CXMLNode* package : root.ChildArray("package"))
        names.push_back(package->ChildValue("name", ""));
    UpgradeOSPackages(names);
}

void CAPIGetOSVer::UpgradeOSPackages(PackageNameArray& arPackages)
{
    CTracer tracer("CAPIGetOSVer::UpgradeOSPackages");
    auto* install = new (std::nothrow) CAPIInstallPackages(nullptr, arPackages, true);
    if (!install)
        return;
    connect(install, &CAPIInstallPackages::signalCanContinue, this, &CAPIGetOSVer::onCanContinue);
    connect(install, &CAPIInstallPackages::signalCanAddToNewStuff, this,
            &CAPIGetOSVer::onCanAddToNewStuff);
    install->Execute();
}

void CAPIGetOSVer::onCanAddToNewStuff(PackageNameArray& arPackages, bool& bAddToNewStuff)
{
    CTracer tracer("CAPIGetOSVer::onCanAddToNewStuff");
    bAddToNewStuff = false;
    for (auto name = arPackages.begin(); name != arPackages.end() && !d->m_bUpdatedAgent; ++name)
        d->m_bUpdatedAgent = strcasecmp(name->c_str(), "vantrelagent") == 0;
}

void CAPIGetOSVer::onCanContinue(int nPackages, bool& bCanContinue)
{
    CTracer tracer("CAPIGetOSVer::onCanContinue");
    if (!bCanContinue)
        return;
    const QString text = Translated(
        "An update for VantrelOS is available, do you want to update your system now?\n"
        "(You will be reminded later if you select No at this time.)");
    const QString caption = Translated("Update Available");
    tracer.trace_out(QString(caption + QLatin1String(": ") + text).toStdString());
    bCanContinue = nPackages > 0 && okToDoUpdate(text, caption);
}
