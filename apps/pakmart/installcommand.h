// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The listener of an install: shows its progress and asks for confirmation.

#pragma once

#include <QObject>
#include <string>
#include <vantrelagent/install/packagelists.h>

class Console;

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
