// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Handles the library's boxes when nobody can see them: prints the text of each and closes
// it, so that nothing waits for a click that cannot come.

#pragma once

#include <QObject>
#include <QStringList>

class CDlgInstallComplete;
class Console;
class QDialog;

class BoxWatcher : public QObject
{
    Q_OBJECT

public:
    // With `shown` the boxes are left to the user. Pictures of them are written
    // to the folder `pictures`, if it is not empty.
    BoxWatcher(Console& display, bool shown, const QString& pictures);

    // The packages of the products that are being installed.
    void SetProducts(const QStringList& packages) { m_products = packages; }

    // The number of boxes that reported an error.
    int Errors() const { return m_errors; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Look(QDialog* box);
    void Guard(CDlgInstallComplete* report);
    void ReadOut(const QString& text, bool error);
    void Picture(QDialog* box, const char* name);

    Console& m_display;
    const bool m_shown;
    const QString m_pictures;
    QStringList m_products;
    int m_errors = 0;
};
