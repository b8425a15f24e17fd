// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A scripted store server and package front end, for whole installs of product 7 with the
// package "foo".

#pragma once

#include "install/capiinstallpackages.h"
#include "tests/common/frontend.h"
#include "tests/request/requests.h"

#include <QFile>
#include <functional>

class InstallScene
{
public:
    InstallScene()
    {
        Setting("agent api url", server.url("/api").toStdString());
        server.answer("/api",
                      Directory({ { "CAPIGetSourcesList", server.url("/s") },
                                  { "CAPIGetPackageInfo", server.url("/p") },
                                  { "CAPIDownloadAppInfo", server.url("/a") } }));
        reset();
    }

    // Everything succeeds.
    void reset()
    {
        server.answer("/s", reply("<list type=\"dep\"/>"));
        server.answer("/p",
                      reply("<package_info><package><package_url>http://h/r</package_url>"
                            "<package_data>x</package_data></package></package_info>"));
        server.answer("/a",
                      reply("<package><name>Foo</name><serialnumber>7</serialnumber>"
                            "<packagename>foo</packagename><binary><name>Foo</name>"
                            "<path>/usr/bin/foo</path><menu>Games</menu></binary></package>"));
        listing = "echo \"'http://h/pool/foo_1_all.deb' foo_1_all.deb 5 SHA256:0\"";
        install = "echo 'Setting up foo (1) ...'";
        update = "exit 0";
        frontEnd = ScriptedFrontEnd();
        frontEnd.forget();
    }

    // Runs an install to its end. `prepare` gets the object before it is executed.
    QStringList run(const std::function<void(CAPIInstallPackages*)>& prepare = nullptr,
                    bool byName = false)
    {
        frontEnd.install(QStringLiteral("vos-apt-get"),
                         "case \" $* \" in *--print-uris*) " + listing + ";; *' install '*) "
                             + install + ";; *' update '*|' update '*) " + update + ";; esac");
        std::vector<long> serials{ 7 };
        PackageNameArray names{ "foo" };
        auto* request = byName ? new CAPIInstallPackages(nullptr, names, true)
                               : new CAPIInstallPackages(nullptr, serials, true);
        events.clear();
        follow(request);
        if (prepare)
            prepare(request);
        started = request->Execute();
        return events;
    }

    static QByteArray reply(const QByteArray& content)
    {
        return ScriptedServer::http("<agentfunction resultcode=\"OK\">" + content
                                    + "</agentfunction>");
    }

    ScriptedServer server;
    ScriptedFrontEnd frontEnd;
    QByteArray listing, install, update; // shell commands of the front end
    bool started = false;
    QStringList events;
    QString sentence, details; // of the last failure

private:
    void follow(CAPIInstallPackages* request)
    {
        using I = CAPIInstallPackages;
        const auto add = [this](const QString& event) { events << event; };
        QObject::connect(request, &I::signalPreInstallInformation, qApp,
                         [add](const std::string& text) {
                             if (text != "Preparing to download product...")
                                 add(QLatin1String("pre ") + QString::fromStdString(text));
                         });
        QObject::connect(request, &I::signalWaitingFor, qApp, [add](const std::string& text) {
            add(QLatin1String("wait ") + QString::fromStdString(text));
        });
        QObject::connect(request, &I::signalBeginInstall, qApp,
                         [add] { add(QStringLiteral("begin")); });
        QObject::connect(request, &I::signalAptGetReport, qApp, [add](AptGetMessages& report) {
            add(QStringLiteral("report %1").arg(report.size()));
        });
        QObject::connect(request, &I::signalBuildErrorReport, qApp,
                         [add](bool ok) { add(QStringLiteral("outcome %1").arg(ok)); });
        QObject::connect(request, &CAPI::ErroneousTransfer, qApp,
                         [add](const QString& text) { add(QLatin1String("error ") + text); });
        QObject::connect(request, &CAPI::signalFailure, qApp,
                         [this, add](AgentError::Code code, const QString& s, const QString& d) {
                             add(QLatin1String("failure ") + AgentError::Name(code));
                             sentence = s;
                             details = d;
                         });
        QObject::connect(request, &CAPI::APIComplete, qApp,
                         [add](bool ok) { add(QStringLiteral("complete %1").arg(ok)); });
    }
};
