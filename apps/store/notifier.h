// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Asks the store for its offers once, and tells the user by a notification of the desktop if
// products can be updated. Nothing goes on afterwards.

#pragma once

#include <Pakmart/ProductModel>
#include <QObject>
#include <QTimer>
#include <memory>

class QDBusPendingCallWatcher;

class Notifier : public QObject
{
    Q_OBJECT

public:
    explicit Notifier(QObject* parent = nullptr) : QObject(parent) { }

    // Ends with `finished`, from the event loop.
    void start();

Q_SIGNALS:
    // Whether the user wants to see the updates.
    void finished(bool isWanted);

private Q_SLOTS:
    void onAction(uint notification, const QString& action);
    void onClosed(uint notification, uint reason);

private:
    void count();
    void take();
    void show(int updates);
    void onShown(QDBusPendingCallWatcher* call);
    void finish(bool isWanted);

    std::unique_ptr<Pakmart::ProductModel> m_updates;
    QTimer m_patience;
    uint m_notification = 0; // none
    bool m_hasFinished = false;
};
