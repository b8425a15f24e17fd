// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/cappinfo.h"

#include "base/text.h"
#include "catalog/cmenueditor.h"
#include "db/crufile.h"
#include "db/dboptions.h"
#include "db/dbshared.h"
#include "db/listlock.h"
#include "request/replydocument.h"
#include "support/ctracer.h"
#include "util/translated.h"
#include "util/urlcodec.h"

#include <QDomDocument>
#include <algorithm>
#include <ctime>

using namespace Agent;

namespace
{

// The root of a successful reply; a null element when the file holds none.
QDomElement SuccessfulReply(const QString& file, QDomDocument& document)
{
    if (!ReadReplyDocument(file, document))
        return QDomElement();
    const QDomElement root = document.documentElement();
    const bool ok = root.tagName() == QLatin1String("agentfunction")
        && root.attribute(QStringLiteral("resultcode"), QStringLiteral("FAILED"))
            == QLatin1String("OK");
    return ok ? root : QDomElement();
}

QDomElement FirstPackage(const QDomElement& root)
{
    return root.firstChildElement(QStringLiteral("package"));
}

QDomElement NextPackage(const QDomElement& package)
{
    return package.nextSiblingElement(QStringLiteral("package"));
}

QByteArray IconOrDefault(const QString& icon)
{
    return icon.isEmpty() ? QByteArrayLiteral("kcmkwm") : icon.toUtf8();
}

// Seconds since 1970, limited to what the list can hold.
std::int32_t Now()
{
    return std::int32_t(std::min<std::time_t>(std::time(nullptr), INT32_MAX));
}

// Stores it as the item of its product in the open list, or as a new one.
bool Record(CRUFile& list, std::int32_t number, const CAppInfoObject& program)
{
    if (!list.FindServerSerialNumber(number))
        list.AddNew();
    list.SetServerSerialNumber(number);
    const bool named = list.SetUniqueDescription(program.Name().toUtf8());
    list.SetExecutablePath(program.Path().toUtf8());
    list.SetIconPath(IconOrDefault(program.LargeIcon()));
    list.SetSmallIconPath(IconOrDefault(program.SmallIcon()));
    list.SetLastAccessed(Now());
    return named && list.Update();
}

} // namespace

CAppInfoObject::~CAppInfoObject() = default;

CAppInfo::~CAppInfo() = default;

bool CAppInfo::BuildApplicationInformation(std::vector<CAppInfo>& out, const QString& file)
{
    CTracer tracer("CAppInfo::BuildApplicationInformation");
    QDomDocument document(QStringLiteral("VantrelAgentXML"));
    QDomElement package = FirstPackage(SuccessfulReply(file, document));
    if (package.isNull())
        return false;
    for (; !package.isNull(); package = NextPackage(package)) {
        CAppInfo info;
        info.ProcessPackage(package);
        out.push_back(info);
    }
    return true;
}

bool CAppInfo::BuildApplicationInformation(const QString& file)
{
    CTracer tracer("CAppInfo::BuildApplicationInformation");
    QDomDocument document(QStringLiteral("VantrelAgentXML"));
    QDomElement root = SuccessfulReply(file, document);
    if (FirstPackage(root).isNull())
        return false;
    ProcessXML(&root);
    return true;
}

void CAppInfo::ProcessXML(QDomElement* root)
{
    CTracer tracer("CAppInfo::ProcessXML");
    for (QDomElement package = FirstPackage(*root); !package.isNull();
         package = NextPackage(package))
        ProcessPackage(package);
}

void CAppInfo::ProcessPackage(QDomElement& package)
{
    CTracer tracer("CAppInfo::ProcessPackage");
    for (QDomElement child = package.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        if (tag == QLatin1String("binary"))
            ProcessRecordsInPackage(child);
        else if (tag == QLatin1String("name"))
            m_sFriendlyName = url_decode(child.text());
        else if (tag == QLatin1String("serialnumber"))
            m_sServerSerialNumber = url_decode(child.text());
        else if (tag == QLatin1String("packagename"))
            m_sPackageName = url_decode(child.text());
    }
}

void CAppInfo::ProcessRecordsInPackage(QDomElement& binary)
{
    CTracer tracer("CAppInfo::ProcessRecordsInPackage");
    CAppInfoObject program;
    for (QDomElement child = binary.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = url_decode(child.text());
        if (tag == QLatin1String("name"))
            program.setName(text);
        else if (tag == QLatin1String("path"))
            program.setPath(text);
        else if (tag == QLatin1String("smallicon"))
            program.setSmallIcon(text);
        else if (tag == QLatin1String("largeicon"))
            program.setLargeIcon(text);
        else if (tag == QLatin1String("menu"))
            program.setMenuPath(text);
    }
    // A program gets only a serial number that precedes it.
    program.setServerSerialNumber(m_sServerSerialNumber);
    m_applications.push_back(program);
}

bool CAppInfo::IsValid() const
{
    return !m_applications.empty() && !m_applications.front().Name().isEmpty()
        && !m_applications.front().Path().isEmpty();
}

bool CAppInfo::AddAppToDatabase()
{
    return AddAppToDatabase(DbOptions());
}

bool CAppInfo::AddAppToDatabase(const DbOptions& options)
try {
    CTracer tracer("CAppInfo::AddAppToDatabase");
    const std::int32_t number = LeadingNumber(m_sServerSerialNumber.toStdString());
    if (number <= 0 || m_applications.empty())
        return false;
    const IndexLayer layer;
    CRUFile list(options);
    const ListLock lock(list.DataFilePath());
    if (!lock || !list.OpenOrRepair())
        return false;
    // A product that was recorded only in part is missing from some indexes.
    const bool recorded = list.Repair() && Record(list, number, m_applications.front());
    if (!recorded)
        list.Repair();
    return list.Close() && recorded;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CAppInfo::RemoveAppFromDatabase()
{
    return RemoveAppFromDatabase(DbOptions());
}

bool CAppInfo::RemoveAppFromDatabase(const DbOptions& options)
try {
    CTracer tracer("CAppInfo::RemoveAppFromDatabase");
    const std::int32_t number = LeadingNumber(m_sServerSerialNumber.toStdString());
    const IndexLayer layer;
    CRUFile list(options);
    const ListLock lock(list.DataFilePath());
    if (!lock || !list.OpenOrRepair())
        return false;
    const auto isThere
        = [&list, number] { return number > 0 && list.FindServerSerialNumber(number); };
    list.Repair();
    if (isThere())
        list.DeleteRecord(number);
    const bool gone = list.Repair() && !isThere();
    return list.Close() && gone;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool CAppInfo::AddAppToMenu()
{
    CTracer tracer("CAppInfo::AddAppToMenu");
    CMenuEditor editor;
    for (const CAppInfoObject& program : m_applications)
        editor.addItem(program.Name(), program.Path(), QString(), program.LargeIcon());
    if (!m_applications.empty())
        editor.restartMenu();
    return !m_applications.empty();
}

bool CAppInfo::RemoveAppFromMenu()
{
    CTracer tracer("CAppInfo::RemoveAppFromMenu");
    CMenuEditor editor;
    for (const CAppInfoObject& program : m_applications)
        editor.removeItem(program.Name());
    if (!m_applications.empty())
        editor.restartMenu();
    return !m_applications.empty();
}

void CAppInfo::GetAppInfo(QString& name, QString& message, QString& icon, QString& path) const
{
    CTracer tracer("CAppInfo::GetAppInfo");
    for (const CAppInfoObject& program : m_applications) {
        name = program.Name();
        path = program.Path();
        if (!message.isEmpty())
            message += QLatin1String("\n");
        if (!name.isEmpty())
            message += Translated("%1 has been installed!\n\n").arg(name);
        if (!program.MenuPath().isEmpty()) {
            message += Translated("You can run it by:\n\n  - Clicking the link in %1\n")
                           .arg(program.MenuPath());
            if (!path.isEmpty())
                message += Translated("  - Clicking the link in New Stuff on your desktop\n"
                                      "  - Clicking the \"Run It!\" button below\n");
        }
        if (icon.isEmpty())
            icon = program.SmallIcon();
    }
}
