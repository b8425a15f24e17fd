// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @file
/// The contents of an installed product: its programs, how to start them, their
/// icons and their place in the menu. Read from the reply of CAPIDownloadAppInfo.

#pragma once

#include <QString>
#include <vantrelagent/export.h>
#include <vector>

class QDomElement;

namespace Agent
{
struct DbOptions;
} // namespace Agent

/// One program. All texts are empty at first.
class VANTRELAGENT_EXPORT CAppInfoObject
{
public:
    CAppInfoObject() = default;
    virtual ~CAppInfoObject();
    /// Copies share nothing.
    /// @{
    CAppInfoObject(const CAppInfoObject&) = default;
    CAppInfoObject& operator=(const CAppInfoObject&) = default;
    /// @}

    QString Name() const { return m_sName; } ///< the name to show
    QString Path() const { return m_sPath; } ///< the command that starts it
    QString LargeIcon() const { return m_sLargeIcon; } ///< the path of its icon
    QString SmallIcon() const { return m_sSmallIcon; } ///< the path of its small icon
    QString MenuPath() const { return m_sMenuPath; } ///< its place in the desktop menu
    QString ServerSerialNumber() const { return m_sServerSerialNumber; } ///< of its product

    /// Set what the functions above return.
    /// @{
    void setName(const QString& sName) { m_sName = sName; }
    void setPath(const QString& sPath) { m_sPath = sPath; }
    void setLargeIcon(const QString& sIcon) { m_sLargeIcon = sIcon; }
    void setSmallIcon(const QString& sIcon) { m_sSmallIcon = sIcon; }
    void setMenuPath(const QString& sPath) { m_sMenuPath = sPath; }
    void setServerSerialNumber(const QString& sNumber) { m_sServerSerialNumber = sNumber; }
    /// @}

private:
    QString m_sName;
    QString m_sPath;
    QString m_sLargeIcon;
    QString m_sSmallIcon;
    QString m_sMenuPath;
    QString m_sServerSerialNumber;
};

/// One package with its programs.
class VANTRELAGENT_EXPORT CAppInfo
{
public:
    CAppInfo() = default;
    virtual ~CAppInfo();
    /// Copies share nothing.
    /// @{
    CAppInfo(const CAppInfo&) = default;
    CAppInfo& operator=(const CAppInfo&) = default;
    /// @}

    /// Appends a CAppInfo for each package of the reply file. False, with `out`
    /// unchanged, when the file cannot be read, is not a successful reply or has no
    /// package.
    static bool BuildApplicationInformation(std::vector<CAppInfo>& out, const QString& file);

    /// Reads all packages of the reply file into this object: it gets all programs, and
    /// the names of the last package. Returns the same as the other overload.
    bool BuildApplicationInformation(const QString& file);

    /// The steps of reading: the document element, a "package", a "binary".
    /// @{
    void ProcessXML(QDomElement* root);
    void ProcessPackage(QDomElement& package);
    void ProcessRecordsInPackage(QDomElement& binary);
    /// @}

    int Count() const { return int(m_applications.size()); } ///< the number of programs
    /// A program, 0 to Count() - 1: this is not checked. Owned by this object.
    CAppInfoObject& operator[](int index) { return m_applications[std::size_t(index)]; }
    QString FriendlyName() const { return m_sFriendlyName; } ///< the name to show
    QString PackageName() const { return m_sPackageName; } ///< the Debian package
    QString ServerSerialNumber() const { return m_sServerSerialNumber; } ///< of the product

    /// Whether the first program has a name and a path; false without programs.
    bool IsValid() const;

    /// Record the first program in the recently-used list as used now, or remove it.
    /// If another product in the list has the same name, the serial number is appended
    /// to the name. Both first repair what an earlier failure left (CRUFile::Repair).
    /// False when there is nothing to record, the list does not open, or it could not be
    /// written: the program may then be in the list or not, and the next call repairs
    /// that. Removing a program that is not in the list returns true.
    /// @{
    bool AddAppToDatabase();
    bool RemoveAppFromDatabase();
    /// @}
    /// The same for another list; the type of the options is internal to the library.
    /// @{
    bool AddAppToDatabase(const Agent::DbOptions& options);
    bool RemoveAppFromDatabase(const Agent::DbOptions& options);
    /// @}

    /// Pass the programs to the menu (CMenuEditor). True when there is at least one.
    /// @{
    bool AddAppToMenu();
    bool RemoveAppFromMenu();
    /// @}

    /// Appends the completion text to `message`, which names each program and the ways
    /// to start it. Sets `name` and `path` to those of the last program, and `icon`,
    /// if it is empty, to the first small icon.
    void GetAppInfo(QString& name, QString& message, QString& icon, QString& path) const;

private:
    std::vector<CAppInfoObject> m_applications;
    QString m_sFriendlyName;
    QString m_sPackageName;
    QString m_sServerSerialNumber;
};
