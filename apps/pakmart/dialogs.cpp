// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The commands that show the library's dialogs, with the request classes that have them.

#include "boxwatcher.h"
#include "commands.h"
#include "console.h"
#include "names.h"
#include "outcome.h"

#include <KLocalizedString>
#include <QFile>
#include <QPointer>
#include <vantrelagent/install/capigetsourceslist.h>
#include <vantrelagent/install/capiinstallpackages.h>

// The listener of an install: shows its progress and asks for confirmation.
class InstallListener : public QObject
{
    Q_OBJECT

public:
    InstallListener(Console& console, BoxWatcher& boxes, bool yes)
        : m_console(console), m_boxes(boxes), m_yes(yes)
    {
    }

    bool IsDeclined() const { return m_declined; }
    bool HasSucceeded() const { return m_succeeded; }

public slots:
    void onPreInstallInformation(const std::string& text)
    {
        m_console.Activity(QString::fromStdString(text));
    }
    void onCanContinue(int count, bool& canContinue)
    {
        m_console.SayText(i18n("Package files to download: %1", count));
        canContinue
            = !Interrupt::Received() && (m_yes || m_console.Ask(i18n("Download and install?")));
        m_declined = !canContinue;
    }
    void onBeginReceivePackage(const std::string& name, const std::string&)
    {
        m_console.Activity(i18n("Downloading %1", QString::fromStdString(name)));
    }
    void onReceivePackagePulse(int, int overallPercent) { m_console.Progress(overallPercent); }
    void onBeginInstall(const std::string& name)
    {
        m_console.Activity(i18n("Setting up %1", QString::fromStdString(name)));
    }
    void onEndInstall(const bool success) { m_succeeded = success; }
    // Only what dpkg has installed is recorded.
    void onCanAddToNewStuff(PackageNameArray& names, bool& add)
    {
        const DpkgStatus now = ReadDpkgStatus();
        QStringList products;
        for (const std::string& name : names) {
            add = add && now.Of(name).IsInstalled();
            products << QString::fromStdString(name);
        }
        m_boxes.SetProducts(products);
    }

private:
    Console& m_console;
    BoxWatcher& m_boxes;
    const bool m_yes;
    bool m_declined = false, m_succeeded = false;
};

namespace
{

CAPIInstallPackages* MakeRequest(QObject* listener, const Pakmart::Request& request)
{
    std::vector<long> serials(request.products.begin(), request.products.end());
    PackageNameArray names;
    for (const QString& name : request.packages)
        names.push_back(name.toStdString());
    return serials.empty() ? new CAPIInstallPackages(listener, names, false)
                           : new CAPIInstallPackages(listener, serials, false);
}

} // namespace

int InstallWithDialogs(Console& console, const QStringList& names, bool byPackage, bool yes,
                       const DialogStyle& style)
{
    BoxWatcher boxes(console, style.shown, style.pictures);
    Pakmart::Request wanted;
    if (byPackage)
        wanted.packages = names;
    else if (!FindProducts(console, names, wanted))
        return ExitFailed;
    if (!wanted.products.isEmpty() && !wanted.packages.isEmpty()) {
        console.Complain(i18n("with dialogs, products and packages are installed one "
                              "after the other"));
        return ExitUsage;
    }
    InstallListener listener(console, boxes, yes);
    bool succeeded = false;
    const QPointer<CAPIInstallPackages> request = MakeRequest(&listener, wanted);
    QObject::connect(request, &CAPI::APIComplete, &listener,
                     [&succeeded](bool ok) { succeeded = ok; });
    QObject::connect(request, &CAPIInstallPackages::signalCanAddToNewStuff, &listener,
                     &InstallListener::onCanAddToNewStuff);
    const Interrupt::Handler handler([request] {
        if (request)
            request->Cancel();
    });
    const bool started = request->Execute();
    if (Interrupt::Received())
        return ExitInterrupted;
    if (listener.IsDeclined())
        return ExitDeclined;
    return started && succeeded && listener.HasSucceeded() && boxes.Errors() == 0 ? ExitDone
                                                                                  : ExitFailed;
}

int UpdateSourcesWithDialogs(Console& console, const DialogStyle& style)
{
    const BoxWatcher boxes(console, style.shown, style.pictures);
    bool answered = false;
    QObject context;
    auto* request = new CAPIGetSourcesList(false, true);
    QObject::connect(request, &CAPI::APIComplete, &context,
                     [&answered](bool succeeded) { answered = succeeded; });
    request->Execute();
    if (Interrupt::Received())
        return ExitInterrupted;
    return answered ? UpdateSourcesCommand(console) : ExitFailed;
}

#include "dialogs.moc"
