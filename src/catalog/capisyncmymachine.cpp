// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capisyncmymachine.h"

#include "catalog/cxmlnode.h"
#include "catalog/savedtree.h"
#include "db/cdpkg.h"
#include "support/ctracer.h"

using namespace Agent;

namespace
{

const char applicationElement[] = "application";

// A package without a stanza has an empty record, whose status is that of an
// installed one.
bool IsInstalled(const CDpkgInfo& info)
{
    return !info.GetName().empty() && info.GetStatus() == 0;
}

} // namespace

CAPISyncMyMachine::CAPISyncMyMachine(bool bSilent) : CAPI(bSilent, false, false)
{
    CTracer tracer("CAPISyncMyMachine::CAPISyncMyMachine");
    CopiesReply();
}

void CAPISyncMyMachine::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPISyncMyMachine::onSuccessfulTransfer");
    CXMLNode profile(nullptr);
    // The cost of removing applications is quadratic.
    if (!ReadFirstElement(*pElement, profile)
        || profile.ChildArray(applicationElement).size() > std::size_t(maxApplications))
        return;
    KeepInstalledPackages(profile);
    tracer.trace_out("Preparing to save .profile");
    SaveTree(profile, ".profile");
}

void CAPISyncMyMachine::KeepInstalledPackages(CXMLNode& profile)
{
    CTracer tracer("CAPISyncMyMachine::KeepInstalledPackages");
    std::vector<CXMLNode*> applications = profile.ChildArray(applicationElement);
    CXMLNode::SortChildrenByAttribute(applications, "name", false, true);
    CDpkg packages;
    packages.ReadStatusFile();
    for (CXMLNode* application : applications) {
        const std::string name = application->ChildValue("packagename", "");
        tracer.trace_out("Checking package: " + name);
        if (IsInstalled(packages.GetPackageInfo(name)))
            continue;
        tracer.trace_out("Deleting package: " + name);
        profile.DeleteChild(application);
        tracer.trace_out("Finished deleting");
    }
}
