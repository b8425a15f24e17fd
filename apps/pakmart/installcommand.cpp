// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "outcome.h"

#include <QFile>
#include <QObject>
#include <QPointer>
#include <algorithm>
#include <string>
#include <vantrelagent/install/capiinstallpackages.h>
#include <vantrelagent/install/packagelists.h>

// The listener of an install: shows its progress and asks for confirmation.
class InstallListener : public QObject
{
    Q_OBJECT

public:
    InstallListener(Console& display, bool yes) : m_display(display), m_yes(yes) { }

    bool declined() const { return m_declined; }
    // Whether the package tools have run, and succeeded.
    bool toolsSucceeded() const { return m_toolsSucceeded; }
    bool toolsBegan() const { return m_toolsBegan; }

public slots:
    void onPreInstallInformation(const std::string& text);
    void onCanContinue(int count, bool& canContinue);
    void onBeginInstall();
    void onReceivedPackageNames(const AptGetPackages& packages);
    void onReceivedTotalBytes(const std::string& size);
    void onBeginReceivePackage(const std::string& name, const std::string& size);
    void onReceivePackagePulse(int itemPercent, int overallPercent);
    void onEndReceivePackage(const std::string& name);
    void onBeginInstall(const std::string& name);
    void onEndInstall(const bool success);

private:
    Console& m_display;
    const bool m_yes;
    bool m_declined = false;
    bool m_toolsBegan = false;
    bool m_toolsSucceeded = false;
};

void InstallListener::onPreInstallInformation(const std::string& text)
{
    m_display.activity(QString::fromStdString(text));
}

void InstallListener::onCanContinue(int count, bool& canContinue)
{
    const QString files = count == 1 ? QStringLiteral("1 package file is")
                                     : QStringLiteral("%1 package files are").arg(count);
    m_display.sayText(files + QStringLiteral(" needed."));
    canContinue = !Interrupt::received()
        && (m_yes || m_display.ask(QStringLiteral("Download and install?")));
    m_declined = !canContinue;
}

void InstallListener::onBeginInstall()
{
    m_toolsBegan = true;
    m_display.activity(QStringLiteral("Installing"));
}

void InstallListener::onReceivedPackageNames(const AptGetPackages& packages)
{
    QStringList names;
    for (const auto& package : packages)
        names << QString::fromStdString(package.first);
    m_display.sayText(QStringLiteral("Packages: ") + names.join(QStringLiteral(", ")));
}

void InstallListener::onReceivedTotalBytes(const std::string& size)
{
    m_display.sayText(QStringLiteral("To download: ") + QString::fromStdString(size));
}

void InstallListener::onBeginReceivePackage(const std::string& name, const std::string& size)
{
    m_display.activity(QStringLiteral("Downloading %1 (%2)")
                           .arg(QString::fromStdString(name), QString::fromStdString(size)));
}

void InstallListener::onReceivePackagePulse(int itemPercent, int overallPercent)
{
    m_display.progress(itemPercent, overallPercent);
}

void InstallListener::onEndReceivePackage(const std::string&) { }

void InstallListener::onBeginInstall(const std::string& name)
{
    m_display.activity(QStringLiteral("Setting up ") + QString::fromStdString(name));
}

void InstallListener::onEndInstall(const bool success)
{
    m_toolsSucceeded = success;
}

namespace
{

// The result of an install; it outlives the request.
struct InstallRecord {
    QStringList wanted; // the requested packages
    bool succeeded = false; // according to the library
    AgentError::Code code = AgentError::NoFailure;
    QString sentence;
};

// The request; it knows the packages of its products once the server has answered. It has
// no meta-object of its own, so that the base class's name is printed and requested.
class Install : public CAPIInstallPackages
{
public:
    Install(QObject* listener, std::vector<long>& serials, InstallRecord& record)
        : CAPIInstallPackages(listener, serials, false), m_record(record)
    {
    }
    Install(QObject* listener, PackageNameArray& names, InstallRecord& record)
        : CAPIInstallPackages(listener, names, false), m_record(record)
    {
    }

    void onAppInfoDestinationFile(const QFile& file) override
    {
        m_infoFile = file.fileName();
        CAPIInstallPackages::onAppInfoDestinationFile(file);
    }
    // The application information has arrived: notes the packages of the products, to check
    // them in dpkg's status at the end.
    bool CalculateDependencies() override
    {
        std::vector<CAppInfo> infos;
        if (!m_infoFile.isEmpty() && CAppInfo::BuildApplicationInformation(infos, m_infoFile)) {
            for (const CAppInfo& info : infos)
                m_record.wanted << info.PackageName();
        }
        return CAPIInstallPackages::CalculateDependencies();
    }

private:
    InstallRecord& m_record;
    QString m_infoFile;
};

Install* MakeRequest(QObject* listener, const QStringList& arguments, bool byPackage,
                     InstallRecord& record)
{
    if (byPackage) {
        PackageNameArray names;
        for (const QString& name : arguments)
            names.push_back(name.toStdString());
        record.wanted = arguments;
        return new Install(listener, names, record);
    }
    std::vector<long> serials;
    for (const QString& serial : arguments)
        serials.push_back(serial.toLong());
    return new Install(listener, serials, record);
}

void Follow(Install* request, const InstallListener& listener, InstallRecord& record)
{
    QObject::connect(request, &CAPI::APIComplete, &listener,
                     [&record](bool ok) { record.succeeded = ok; });
    QObject::connect(request, &CAPI::signalFailure, &listener,
                     [&record](AgentError::Code code, const QString& text, const QString&) {
                         record.code = code;
                         record.sentence = text;
                     });
    // Only what dpkg has installed is recorded and announced.
    QObject::connect(request, &CAPIInstallPackages::signalCanAddToNewStuff, &listener,
                     [&](PackageNameArray& names, bool& add) {
                         const DpkgStatus now = ReadDpkgStatus();
                         add = add && (listener.toolsSucceeded() || !listener.toolsBegan());
                         for (const std::string& name : names)
                             add = add && now.Of(name).IsInstalled();
                     });
}

void SayInstalled(Console& console, const QStringList& names, const DpkgStatus& now,
                  const char* how)
{
    for (const QString& name : names) {
        const QString version = QString::fromStdString(now.Of(name.toStdString()).version);
        console.sayText(QStringLiteral("%1 %2 is %3.").arg(name, version, QLatin1String(how)));
    }
}

// Prints why it failed, unless a box already has, and what is left half-installed.
int Fail(Console& console, const BoxWatcher& boxes, const InstallRecord& record,
         const DpkgStatus& before, const DpkgStatus& now)
{
    // A box shows the lines of the package tools, which say nothing about an earlier failed
    // refresh.
    if (boxes.errors() == 0 || record.code == AgentError::RefreshFailed)
        console.complain(record.sentence.isEmpty() ? QStringLiteral("the installation failed")
                                                   : record.sentence);
    if (record.code == AgentError::WouldRemove)
        console.complain(
            QStringLiteral("an install removes nothing: if you can do without the "
                           "packages that are in its way, 'pakmart remove' them first"));
    if (!record.wanted.isEmpty())
        AreInstalled(console, record.wanted, now);
    SayNewTrouble(console, record.wanted, before, now);
    return ExitFailed;
}

} // namespace

int InstallCommand(Console& console, const BoxWatcher& boxes, const QStringList& arguments,
                   const InstallOptions& options)
{
    InstallListener listener(console, options.yes);
    InstallRecord record;
    const DpkgStatus before = ReadDpkgStatus();
    const QPointer<Install> request = MakeRequest(&listener, arguments, options.byPackage, record);
    Follow(request, listener, record);
    const Interrupt::Handler handler([request] {
        if (request)
            request->Cancel();
    });
    const bool started = request->Execute();
    const DpkgStatus now = ReadDpkgStatus();
    if (Interrupt::received()) {
        SayNewTrouble(console, {}, before, now);
        return ExitInterrupted;
    }
    if (listener.declined()) {
        console.sayText(QStringLiteral("Nothing was installed."));
        return ExitDeclined;
    }
    const bool here
        = std::all_of(record.wanted.begin(), record.wanted.end(),
                      [&](const QString& n) { return now.Of(n.toStdString()).IsInstalled(); });
    const bool already = record.code == AgentError::NothingToDo && boxes.errors() == 0;
    const bool done = started && record.succeeded && listener.toolsSucceeded();
    if (!here || record.wanted.isEmpty() || !(done || already))
        return Fail(console, boxes, record, before, now);
    SayInstalled(console, record.wanted, now, already ? "installed already" : "installed");
    SayNewTrouble(console, record.wanted, before, now);
    return ExitDone;
}

#include "installcommand.moc"
