// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What pages need of the desktop: words for sizes and dates, the clipboard, the date of the offers.

#pragma once

#include <QDateTime>
#include <QObject>
#include <QVariantMap>

class Desktop : public QObject
{
    Q_OBJECT
    // When the catalog on this computer was fetched, in words; empty if there is none.
    Q_PROPERTY(QString offersDate READ offersDate NOTIFY offersChanged)
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    explicit Desktop(QObject* parent = nullptr) : QObject(parent) { }

    QString offersDate() const;
    static QString version();

    Q_INVOKABLE static QString size(double bytes);
    // Whether the icon theme has this icon.
    Q_INVOKABLE static bool hasIcon(const QString& name);
    Q_INVOKABLE static QString date(const QDateTime& when);
    Q_INVOKABLE static void copy(const QString& text);
    // The store's address as "address" and the file that gives it as "addressFile"; folders with
    // what is kept as "catalog", "recentlyUsed", "packageLists" and "pictures". Read at each call.
    Q_INVOKABLE static QVariantMap places();

Q_SIGNALS:
    // Pages emit it when the catalog has been fetched.
    void offersChanged();
};
