// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Installs products by their serial numbers, and prints each signal of the install when it
// is emitted, with a star before it. The lines in between are the library's own.
//
//     listener 1001

#include <QApplication>
#include <VantrelAgent/CAPIInstallPackages>
#include <cstdlib>
#include <iostream>

// "* NAME PART PART..."
template <typename... Parts> void Tell(const char* name, const Parts&... parts)
{
    std::cout << "* " << name;
    ((std::cout << ' ' << parts), ...);
    std::cout << std::endl;
}

// An install connects its signals to slots with these names; a host leaves out those that it
// does not need.
class Listener : public QObject
{
    Q_OBJECT

public slots:
    void onPreInstallInformation(const std::string& text) { Tell("onPreInstallInformation", text); }

    // The last chance to stop: with `canContinue = false` nothing is downloaded.
    void onCanContinue(int count, bool& canContinue) { Tell("onCanContinue", count, canContinue); }

    void onBeginInstall() { Tell("onBeginInstall"); }
    void onReceivedPackageNames(const AptGetPackages& packages)
    {
        for (const auto& [name, size] : packages)
            Tell("onReceivedPackageNames", name, size);
    }
    void onReceivedTotalBytes(const std::string& size) { Tell("onReceivedTotalBytes", size); }
    void onBeginReceivePackage(const std::string& name, const std::string& size)
    {
        Tell("onBeginReceivePackage", name, size);
    }
    void onReceivePackagePulse(int itemPercent, int overallPercent)
    {
        Tell("onReceivePackagePulse", itemPercent, overallPercent);
    }
    void onEndReceivePackage(const std::string& name) { Tell("onEndReceivePackage", name); }
    void onBeginInstall(const std::string& name) { Tell("onBeginInstall", name); }
    void onEndInstall(const bool success) { Tell("onEndInstall", success); }
};

// Prints the install's own signals, and those that every request has. A slot that gets a
// pointer or a reference must copy what it needs: both are valid only during the emission.
void TellSignals(const CAPIInstallPackages* install, const QObject* context)
{
    using Install = CAPIInstallPackages;
    QObject::connect(install, &Install::signalAptGetReport, context,
                     [](AptGetMessages& lines) { Tell("signalAptGetReport", lines.size()); });
    QObject::connect(install, &Install::signalCanAddToNewStuff, context,
                     [](PackageNameArray& names, bool& add) {
                         Tell("signalCanAddToNewStuff", names.size(), add);
                     });
    QObject::connect(install, &Install::signalBuildErrorReport, context,
                     [](bool success) { Tell("signalBuildErrorReport", success); });
    QObject::connect(install, &CAPI::BeforeTransfer, context,
                     [](const QString& url) { Tell("BeforeTransfer", url.toStdString()); });
    QObject::connect(install, &CAPI::APIDestinationFile, context, [](const QFile& file) {
        Tell("APIDestinationFile", file.fileName().toStdString());
    });
    QObject::connect(install, &CAPI::SuccessfulTransfer, context,
                     [](QDomElement*) { Tell("SuccessfulTransfer"); });
    QObject::connect(install, &CAPI::FailedTransfer, context,
                     [](QDomElement*) { Tell("FailedTransfer"); });
    QObject::connect(install, &CAPI::ErroneousTransfer, context,
                     [](const QString& text) { Tell("ErroneousTransfer", text.toStdString()); });
    QObject::connect(install, &CAPI::APIComplete, context,
                     [](bool succeeded) { Tell("APIComplete", succeeded); });
}

int main(int argc, char** argv)
{
    // With widgets: the library shows a box while package lists are refreshed.
    const QApplication application(argc, argv);
    std::vector<long> serials;
    for (int i = 1; i < argc; ++i)
        serials.push_back(std::strtol(argv[i], nullptr, 10));
    if (serials.empty()) {
        std::cerr << "Usage: listener SERIAL..." << std::endl;
        return 2;
    }

    Listener listener;
    // Silent: only signals report the outcome, no box waits for a click.
    auto* install = new CAPIInstallPackages(&listener, serials, true);
    TellSignals(install, &listener);
    bool succeeded = false;
    QObject::connect(install, &CAPI::APIComplete, &listener,
                     [&succeeded](bool ok) { succeeded = ok; });
    // Returns at the end of the install, which has destroyed itself by then.
    install->Execute();
    return succeeded ? 0 : 1;
}

#include "main.moc"
