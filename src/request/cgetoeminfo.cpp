// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "request/cgetoeminfo.h"

#include "request/capisetoeminfo.h"
#include "support/ctracer.h"
#include "util/paths.h"
#include "util/vendor.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <strings.h>

using namespace Agent;

namespace
{

// The beginning of the value in `line` if its key is `key` ("id="); else null.
char* ValueOf(char* line, const char* key)
{
    const std::size_t length = std::strlen(key);
    return strncasecmp(line, key, length) == 0 ? line + length : nullptr;
}

} // namespace

CGetOEMInfo::CGetOEMInfo() : m_sID("0000000001"), m_sName(VendorDomain)
{
    CTracer tracer("CGetOEMInfo::CGetOEMInfo");
    readFile();
}

CGetOEMInfo::~CGetOEMInfo() = default;

void CGetOEMInfo::readFile()
{
    CTracer tracer("CGetOEMInfo::readFile");
    const std::string path = SystemPath("/etc/vantrel-welcome/builder.txt");
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "re"), std::fclose);
    if (!file)
        return;
    char line[1024];
    while (std::fgets(line, sizeof line, file.get())) {
        line[std::strcspn(line, "\n")] = '\0';
        line[std::strcspn(line, "\r")] = '\0';
        char* id = ValueOf(line, "id=");
        char* name = ValueOf(line, "name=");
        if (!id && !name)
            continue;
        char* value = id ? id : name;
        SkipWhite(&value);
        (id ? m_sID : m_sName) = value;
    }
}

void CGetOEMInfo::SkipWhite(char** pp)
{
    while (**pp != '\0' && std::isspace(static_cast<unsigned char>(**pp)))
        ++*pp;
}

CAPISetOEMInfo::CAPISetOEMInfo() : CAPI(true, false, false)
{
    CTracer tracer("CAPISetOEMInfo::CAPISetOEMInfo");
}

QString CAPISetOEMInfo::DecorateURI()
{
    CTracer tracer("CAPISetOEMInfo::DecorateURI");
    return QLatin1String("?id=") + QString::fromStdString(m_OEMInfo.getID());
}

void CAPISetOEMInfo::onSuccessfulTransfer(QDomElement*)
{
    CTracer tracer("CAPISetOEMInfo::onSuccessfulTransfer");
}
