// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "installcommand.h"

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "interrupt.h"

#include <vantrelagent/install/capiinstallpackages.h>

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

void InstallListener::onEndInstall(const bool) { }

namespace
{

CAPIInstallPackages* MakeRequest(QObject* listener, const QStringList& arguments, bool byPackage)
{
    if (byPackage) {
        PackageNameArray names;
        for (const QString& name : arguments)
            names.push_back(name.toStdString());
        return new CAPIInstallPackages(listener, names, false);
    }
    std::vector<long> serials;
    for (const QString& serial : arguments)
        serials.push_back(serial.toLong());
    return new CAPIInstallPackages(listener, serials, false);
}

} // namespace

int InstallCommand(Console& display, const BoxWatcher& boxes, const QStringList& arguments,
                   const InstallOptions& options)
{
    InstallListener listener(display, options.yes);
    bool succeeded = false;
    CAPIInstallPackages* request = MakeRequest(&listener, arguments, options.byPackage);
    QObject::connect(request, &CAPI::APIComplete, &listener,
                     [&succeeded](bool ok) { succeeded = ok; });
    const bool started = request->Execute();
    if (Interrupt::received())
        return ExitInterrupted;
    if (listener.declined()) {
        display.sayText(QStringLiteral("Nothing was installed."));
        return ExitDeclined;
    }
    if (started && succeeded)
        return ExitDone;
    // A box has told why, as a rule.
    if (boxes.errors() == 0)
        display.complain(QStringLiteral("the installation failed"));
    return ExitFailed;
}
