// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class CDlgInstallComplete
/// The box that reports how an install ended, with the log of the package front
/// end under a "Details" button and a "Run It!" button for the new application.

#pragma once

#include "packagelists.h"

#include <QDialog>
#include <memory>
#include <vantrelagent/export.h>

class QPushButton;

class VANTRELAGENT_EXPORT CDlgInstallComplete : public QDialog
{
    Q_OBJECT

public:
    /// `text` (UTF-8) is the text of the box. Without a `log` there is no "Details".
    /// `program` is the path that "Run It!" starts; without it, or if the install
    /// failed, there is no such button.
    CDlgInstallComplete(QWidget* parent, const char* name, const char* text, PackageNameArray log,
                        bool success, const QString& program);
    ~CDlgInstallComplete() override;

    /// What "Run It!" starts. It comes from the store: a host may look at it first, and disable
    /// the button.
    QString Program() const;

public slots:
    void onClose(); ///< closes the box
    void onRun(); ///< starts the program, without waiting for it; the box stays open
    void onDetails(); ///< shows the log and disables the button

private:
    QPushButton* MakeButton(const QString& label, int x);
    QRect Scaled(const QRect& plain) const;

    class Private;
    const std::unique_ptr<Private> d;
};
